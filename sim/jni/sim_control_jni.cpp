// Native side of com.norvik.dvh.iscsi.sim.SimControl: the simulator's control
// API for JVM tests, and capture of the process's standard output (the
// product writes its messages with printf).
#include <fcntl.h>
#include <jni.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "izksim/izksim.h"

#define SIM_JNI extern "C" JNIEXPORT

namespace {

void throw_new(JNIEnv* env, const char* cls, const std::string& message) {
  if (env->ExceptionCheck()) return;  // keep the first error
  jclass c = env->FindClass(cls);
  if (!c) return;  // FindClass left its own error pending
  env->ThrowNew(c, message.c_str());
  env->DeleteLocalRef(c);
}

// UTF-8 characters of a Java string, released on scope exit. ok() is false
// for a null string or when the JVM is out of memory (an error is then pending).
class Utf {
 public:
  Utf(JNIEnv* env, jstring s) : env_(env), s_(s), chars_(s ? env->GetStringUTFChars(s, nullptr) : nullptr) {}
  ~Utf() {
    if (chars_) env_->ReleaseStringUTFChars(s_, chars_);
  }
  Utf(const Utf&) = delete;
  Utf& operator=(const Utf&) = delete;
  bool ok() const { return chars_ != nullptr; }
  const char* get() const { return chars_; }

 private:
  JNIEnv* env_;
  jstring s_;
  const char* chars_;
};

// Standard output capture: fd 1 goes to an unlinked temporary file (a file, not
// a pipe, so a large output cannot block the writer).
std::mutex g_capture_mu;
int g_saved_stdout = -1;
int g_capture_fd = -1;

std::string capture_dir() {
  const char* t = std::getenv("TMPDIR");
  return t && *t ? std::string(t) : std::string("/tmp");
}

bool read_all(int fd, std::vector<char>& out) {
  if (lseek(fd, 0, SEEK_SET) < 0) return false;
  char buf[65536];
  for (;;) {
    const ssize_t n = read(fd, buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    out.insert(out.end(), buf, buf + n);
  }
}

void write_all(int fd, const char* p, size_t n) {
  while (n > 0) {
    const ssize_t w = write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return;
    p += w;
    n -= size_t(w);
  }
}

// The JVM's -Xcheck:jni reports go to standard output; while it is captured
// they would vanish, so they are repeated on standard error.
void echo_jni_reports(const std::vector<char>& out) {
  static const char* const kMarks[] = {"WARNING in native method", "FATAL ERROR in native method"};
  size_t start = 0;
  while (start < out.size()) {
    size_t end = start;
    while (end < out.size() && out[end] != '\n') ++end;
    const std::string line(out.data() + start, end - start);
    for (const char* mark : kMarks) {
      if (line.find(mark) != std::string::npos) {
        write_all(2, line.data(), line.size());
        write_all(2, "\n", 1);
        break;
      }
    }
    start = end + 1;
  }
}

}  // namespace

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_reset(JNIEnv* env, jclass) {
  if (izksim_reset() != 0) throw_new(env, "java/lang/IllegalStateException", izksim_last_error());
}

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_loadScenario(JNIEnv* env, jclass, jstring json) {
  if (!json) {
    throw_new(env, "java/lang/IllegalArgumentException", "scenario text is null");
    return;
  }
  Utf text(env, json);
  if (!text.ok()) return;
  if (izksim_load_scenario_json(text.get()) != 0)
    throw_new(env, "java/lang/IllegalArgumentException", izksim_last_error());
}

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_loadScenarioFile(JNIEnv* env, jclass, jstring path) {
  if (!path) {
    throw_new(env, "java/lang/IllegalArgumentException", "scenario file name is null");
    return;
  }
  Utf name(env, path);
  if (!name.ok()) return;
  if (izksim_load_scenario_file(name.get()) != 0)
    throw_new(env, "java/lang/IllegalArgumentException", izksim_last_error());
}

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_fault(JNIEnv* env, jclass, jstring function,
                                                                    jint status, jboolean once) {
  if (!function) {
    throw_new(env, "java/lang/IllegalArgumentException", "function name is null");
    return;
  }
  Utf name(env, function);
  if (!name.ok()) return;
  izksim_set_fault(name.get(), uint32_t(status), once ? 1 : 0);
}

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_clearFaults(JNIEnv*, jclass) { izksim_clear_faults(); }

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_chaos(JNIEnv*, jclass, jlong seed, jint faultPerMille,
                                                                  jint garblePerMille) {
  izksim_set_chaos(uint64_t(seed), faultPerMille < 0 ? 0u : uint32_t(faultPerMille),
                   garblePerMille < 0 ? 0u : uint32_t(garblePerMille));
}

SIM_JNI jobjectArray JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_sdFunctions(JNIEnv* env, jclass) {
  jsize n = 0;
  while (izksim_sd_function(size_t(n))) ++n;
  jclass stringClass = env->FindClass("java/lang/String");
  if (!stringClass) return nullptr;
  jobjectArray out = env->NewObjectArray(n, stringClass, nullptr);
  env->DeleteLocalRef(stringClass);
  for (jsize i = 0; out && i < n; ++i) {
    jstring name = env->NewStringUTF(izksim_sd_function(size_t(i)));
    if (!name) return nullptr;
    env->SetObjectArrayElement(out, i, name);
    env->DeleteLocalRef(name);
  }
  return out;
}

// Fetches a text with the izksim "length needed" convention; the text may
// grow between the two calls, so ask until it fits.
template <class Fn>
static std::vector<char> fetch_text(Fn fn) {
  std::vector<char> buf(fn(nullptr, 0) + 1);
  for (;;) {
    const size_t need = fn(buf.data(), buf.size());
    if (need < buf.size()) {
      buf.resize(need);
      return buf;
    }
    buf.resize(need + 1);
  }
}

SIM_JNI jstring JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_callLogJson(JNIEnv* env, jclass) {
  std::vector<char> text = fetch_text(izksim_call_log_json);
  text.push_back('\0');
  return env->NewStringUTF(text.data());  // the log is ASCII-only JSON
}

SIM_JNI jstring JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_stateJson(JNIEnv* env, jclass) {
  std::vector<char> text = fetch_text(izksim_state_json);
  text.push_back('\0');
  return env->NewStringUTF(text.data());
}

SIM_JNI jstring JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_loadFailure(JNIEnv* env, jclass) {
  std::string reason = izksim_load_failure();
  for (char& ch : reason)  // a file name in it need not be modified UTF-8
    if (static_cast<unsigned char>(ch) >= 0x80) ch = '?';
  return env->NewStringUTF(reason.c_str());
}

SIM_JNI jstring JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_decodeRecord(JNIEnv* env, jclass, jbyteArray record) {
  if (!record) {
    throw_new(env, "java/lang/IllegalArgumentException", "record is null");
    return nullptr;
  }
  std::vector<uint8_t> bytes(static_cast<size_t>(env->GetArrayLength(record)));
  env->GetByteArrayRegion(record, 0, static_cast<jsize>(bytes.size()), reinterpret_cast<jbyte*>(bytes.data()));
  std::vector<char> text(izksim_decode_record(bytes.data(), bytes.size(), nullptr, 0) + 1);
  izksim_decode_record(bytes.data(), bytes.size(), text.data(), text.size());
  return env->NewStringUTF(text.data());  // ASCII-only JSON
}

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_clearCallLog(JNIEnv*, jclass) { izksim_clear_call_log(); }

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_pushEvent(JNIEnv* env, jclass, jint instance, jint code,
                                                                        jintArray payload) {
  uint32_t words[7] = {0};
  if (payload) {
    const jsize n = env->GetArrayLength(payload);
    if (n > 7) {
      throw_new(env, "java/lang/IllegalArgumentException", "an event has at most 7 payload words");
      return;
    }
    jint tmp[7] = {0};
    env->GetIntArrayRegion(payload, 0, n, tmp);
    if (env->ExceptionCheck()) return;
    for (jsize i = 0; i < n; ++i) words[i] = uint32_t(tmp[i]);
  }
  if (izksim_push_event(uint32_t(instance), uint32_t(code), words) != 0)
    throw_new(env, "java/lang/IllegalArgumentException", "no adapter with instance " + std::to_string(instance));
}

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_advanceClock(JNIEnv* env, jclass, jint milliseconds) {
  if (milliseconds < 0) {
    throw_new(env, "java/lang/IllegalArgumentException", "the clock only moves forward");
    return;
  }
  izksim_advance_clock(uint32_t(milliseconds));
}

SIM_JNI void JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_startCapture(JNIEnv* env, jclass) {
  std::lock_guard<std::mutex> lock(g_capture_mu);
  if (g_saved_stdout >= 0) {
    throw_new(env, "java/lang/IllegalStateException", "standard output is already being captured");
    return;
  }
  std::fflush(stdout);
  std::string path = capture_dir() + "/izksim-stdout-XXXXXX";
  std::vector<char> name(path.begin(), path.end());
  name.push_back('\0');
  const int fd = mkstemp(name.data());
  if (fd < 0) {
    throw_new(env, "java/lang/IllegalStateException", std::string("cannot create capture file: ") + std::strerror(errno));
    return;
  }
  unlink(name.data());  // gone when the descriptor is closed
  const int saved = dup(1);
  if (saved < 0 || dup2(fd, 1) < 0) {
    const int err = errno;
    if (saved >= 0) close(saved);
    close(fd);
    throw_new(env, "java/lang/IllegalStateException", std::string("cannot redirect standard output: ") + std::strerror(err));
    return;
  }
  g_saved_stdout = saved;
  g_capture_fd = fd;
}

SIM_JNI jbyteArray JNICALL Java_com_norvik_dvh_iscsi_sim_SimControl_stopCapture(JNIEnv* env, jclass) {
  std::vector<char> out;
  bool read_ok = true;
  {
    std::lock_guard<std::mutex> lock(g_capture_mu);
    if (g_saved_stdout < 0) {
      throw_new(env, "java/lang/IllegalStateException", "standard output is not being captured");
      return nullptr;
    }
    std::fflush(stdout);
    dup2(g_saved_stdout, 1);
    close(g_saved_stdout);
    g_saved_stdout = -1;
    read_ok = read_all(g_capture_fd, out);
    close(g_capture_fd);
    g_capture_fd = -1;
  }
  echo_jni_reports(out);
  if (!read_ok) {
    throw_new(env, "java/lang/IllegalStateException", "cannot read the captured output");
    return nullptr;
  }
  jbyteArray result = env->NewByteArray(jsize(out.size()));
  if (!result) return nullptr;  // OutOfMemoryError pending
  if (!out.empty()) env->SetByteArrayRegion(result, 0, jsize(out.size()), reinterpret_cast<const jbyte*>(out.data()));
  return result;
}
