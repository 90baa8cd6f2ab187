// The one thing the inspector asks the simulator directly: why it holds no
// scenario. The inspector's class declares the native method; the JVM finds it
// here through the library's dependency on libizksdm.so, and against the
// vendor's library, which has no such symbol, the inspector gets an
// UnsatisfiedLinkError and knows the adapters are real.
#include <jni.h>

#include "sim.hpp"

extern "C" JNIEXPORT jstring JNICALL
Java_com_norvik_dvh_iscsi_examiner_SimulatedScenario_loadFailure0(JNIEnv* env, jclass) {
  std::string failure;
  {
    izksim::Sim& sim = izksim::Sim::get();
    std::lock_guard<std::mutex> lock(sim.mu);
    sim.ensure_loaded();
    failure = sim.loadFailure;
  }
  // The reason may quote a file name that is not modified UTF-8; keep it ASCII.
  for (char& ch : failure)
    if (static_cast<unsigned char>(ch) >= 0x80) ch = '?';
  return env->NewStringUTF(failure.c_str());
}
