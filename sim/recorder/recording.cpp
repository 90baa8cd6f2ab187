// The recording as a simulator scenario, and when it is written: at exit, on
// SIGUSR1 (a snapshot; the process goes on), and on SIGTERM, SIGINT and SIGHUP
// before the process ends as it would have. Signals are only taken when
// nobody else handles them (a JVM does: it exits through exit(), which writes
// the file all the same).
#include "recording.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "layout.hpp"
#include "sd_functions.hpp"

namespace izkrec {

using izksim::json;
namespace layouts = izksim::layouts;

Recording& recording() {
  static Recording* r = new Recording();
  return *r;
}

AdapterRec* Recording::by_handle(uint32_t handle) {
  if (last && last->handle == handle) return last;
  auto it = instanceOf.find(handle);
  if (it == instanceOf.end()) return nullptr;
  auto a = adapters.find(it->second);
  if (a == adapters.end() || a->second.handle != handle) return nullptr;
  last = &a->second;
  return last;
}

namespace {

std::string hex(const Bytes& b) { return izksim::to_hex(b.data(), b.size()); }

uint64_t le(const Bytes& b, size_t at, size_t width) { return izksim::get_le(b, at, width); }

uint64_t be(const Bytes& b, size_t at, size_t width) {
  uint64_t v = 0;
  for (size_t i = 0; i < width && at + i < b.size(); ++i) v = (v << 8) | b[at + i];
  return v;
}

bool all_zero(const Bytes& b, size_t from = 0, size_t to = SIZE_MAX) {
  for (size_t i = from; i < b.size() && i < to; ++i)
    if (b[i] != 0) return false;
  return true;
}

// A record by field name where the names say everything about its bytes,
// otherwise as raw bytes.
json record(const izksim::Layout* layout, const Bytes& b) {
  if (layout && b.size() == layout->size) {
    try {
      json named = izksim::dump_record(*layout, b, 0);
      Bytes back(b.size(), 0);
      izksim::load_record(named, *layout, back, 0, "recorded");
      if (back == b) return named;
    } catch (const std::exception&) {
    }
  }
  return {{"raw", hex(b)}};
}

json raw_list(const std::vector<Bytes>& list) {
  json out = json::array();
  for (const Bytes& b : list) out.push_back(record(nullptr, b));
  return out;
}

std::string status_hex(uint32_t status) {
  char s[16];
  std::snprintf(s, sizeof s, "0x%08x", status);
  return s;
}

// Text of a fixed-width, space- or NUL-padded SCSI field.
std::string scsi_text(const Bytes& b, size_t at, size_t width) {
  std::string s;
  for (size_t i = at; i < at + width && i < b.size(); ++i) s.push_back(b[i] ? char(b[i]) : ' ');
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

// DEVICEENTRYISCSI offsets.
constexpr size_t kDeviceState = 464;
constexpr size_t kNextValid = 472;

json ddb_section(const AdapterRec& a) {
  // Entries worth keeping: anything but an all-zero answer for an unused index.
  std::map<uint32_t, const Bytes*> kept;
  for (const auto& kv : a.ddb) {
    Bytes body = kv.second;
    izksim::put_le(body, kNextValid, 4, 0);
    if (!all_zero(body)) kept[kv.first] = &kv.second;
  }
  auto computed_next = [&](uint32_t index) -> uint32_t {
    for (auto it = kept.upper_bound(index); it != kept.end(); ++it)
      if (le(*it->second, kDeviceState, 4) != 0) return it->first;
    return 0;
  };
  // An unused index whose NextValid the simulator would answer differently is kept too.
  for (const auto& kv : a.ddb)
    if (!kept.count(kv.first) && le(kv.second, kNextValid, 4) != computed_next(kv.first)) kept[kv.first] = &kv.second;
  json out = json::array();
  for (const auto& kv : kept) {
    json e = record(&layouts::kDeviceEntryIscsi, *kv.second);
    e["index"] = kv.first;
    const uint32_t next = uint32_t(le(*kv.second, kNextValid, 4));
    if (next != computed_next(kv.first)) e["nextValid"] = next;
    out.push_back(e);
  }
  return out;
}

json lun_json(uint16_t number, const LunRec* l) {
  json j = {{"lun", number}};
  if (!l) return j;
  if (l->inquiry && !l->inquiry->empty()) j["inquiryData"] = hex(*l->inquiry);
  for (const auto& kv : l->vpd) {
    char page[8];
    std::snprintf(page, sizeof page, "0x%02x", kv.first);
    j["vpdPages"][page] = hex(kv.second);
  }
  if (l->inquiry && l->inquiry->size() >= 36) {
    const Bytes& q = *l->inquiry;
    j["deviceType"] = q[0] & 0x1F;
    j["vendor"] = scsi_text(q, 8, 8);
    j["product"] = scsi_text(q, 16, 16);
    j["revision"] = scsi_text(q, 32, 4);
    if (q.size() > 36) j["serial"] = scsi_text(q, 36, 20);
  }
  auto p80 = l->vpd.find(0x80);
  if (p80 != l->vpd.end() && p80->second.size() >= 4)
    j["serial"] = scsi_text(p80->second, 4, std::min<size_t>(be(p80->second, 2, 2), p80->second.size() - 4));
  auto p83 = l->vpd.find(0x83);
  if (p83 != l->vpd.end()) {
    // The first NAA designator of 8 bytes.
    const Bytes& d = p83->second;
    for (size_t at = 4; at + 4 <= d.size(); at += 4 + d[at + 3]) {
      if ((d[at + 1] & 0x0F) == 0x03 && d[at + 3] == 8 && at + 12 <= d.size()) {
        j["wwuln"] = izksim::to_hex(d.data() + at + 4, 8);
        break;
      }
    }
  }
  if (l->vpdRefused.count(0x83)) j["page83"] = false;
  if (l->readCapacity16 && l->readCapacity16->size() >= 12) {
    j["blocks"] = be(*l->readCapacity16, 0, 8) + 1;
    j["blockLength"] = be(*l->readCapacity16, 8, 4);
  } else if (l->readCapacity10) {
    j["blocks"] = be(*l->readCapacity10, 0, 4) + 1;
    j["blockLength"] = be(*l->readCapacity10, 4, 4);
  } else if (l->capacity) {
    j["blocks"] = le(*l->capacity, 0, 8) + 1;
    j["blockLength"] = le(*l->capacity, 8, 8) > 0xFFFFFFFFu ? 512 : le(*l->capacity, 8, 8);
  }
  if (l->capacity)
    j["capacityRecord"] = {{"lba", le(*l->capacity, 0, 8)},
                           {"blockLength", le(*l->capacity, 8, 8)},
                           {"mbytes", le(*l->capacity, 16, 4)}};
  if (l->ready) j["ready"] = *l->ready;
  if (l->bufferSupported) j["bufferSupported"] = *l->bufferSupported;
  if (l->buffer && !l->buffer->empty()) {
    Bytes b = *l->buffer;
    if (b.size() > 64) b.resize(64);
    j["buffer"] = hex(b);
  }
  return j;
}

json targets_section(const AdapterRec& a) {
  json out = json::array();
  for (const auto& kv : a.targets) {
    const TargetRec& t = kv.second;
    json jt = {{"bus", t.bus}, {"targetId", t.targetId}};
    // TARGETINFORMATION inside the records: TargetState at +6, SupportsTest at +8.
    const Bytes* info = t.portal ? &*t.portal : t.node ? &*t.node : nullptr;
    const size_t at = t.portal ? 152 : 328;
    if (info) {
      jt["state"] = le(*info, at + 6, 2);
      jt["supportsTest"] = le(*info, at + 8, 1) != 0;
    }
    if (t.portal) jt["portal"] = record(&layouts::kDiscIscsiPortal, *t.portal);
    if (t.node) jt["node"] = record(&layouts::kDiscIscsiNode, *t.node);
    // LUNs: those REPORT LUNS named and those answered on their own.
    std::map<uint16_t, const LunRec*> luns;
    if (t.reportLuns) {
      const Bytes& r = *t.reportLuns;
      for (size_t i = 8; i + 8 <= r.size(); i += 8) {
        const uint8_t method = r[i] >> 6;
        const uint16_t n = method == 1 ? uint16_t((r[i] & 0x3F) << 8 | r[i + 1]) : r[i + 1];
        luns[n] = nullptr;
      }
      jt["reportLunsData"] = hex(r);
      if (t.reportLunsStatus) jt["reportLunsStatus"] = t.reportLunsStatus;
    }
    for (const auto& l : t.luns) luns[l.first] = &l.second;
    json jl = json::array();
    for (const auto& l : luns) jl.push_back(lun_json(l.first, l.second));
    jt["luns"] = jl;
    out.push_back(jt);
  }
  return out;
}

// CHAPTABLE: SecretLength at 3, Secret at 4..103, Name at 104.
json chap_section(const AdapterRec& a, bool secrets) {
  const std::vector<Bytes>& slots = a.chapSlots ? *a.chapSlots : *a.chapDense;
  json entries = json::array();
  for (size_t i = 0; i < slots.size(); ++i) {
    Bytes b = slots[i];
    if (!secrets) std::fill(b.begin() + 3, b.begin() + 104, 0);
    if (b[104] == 0 && b[3] == 0) continue;  // a free slot
    json e = record(nullptr, b);
    e["index"] = i;
    entries.push_back(e);
  }
  json out = {{"entries", entries}};
  if (a.chapSlots && !slots.empty())
    out["slots"] = slots.size();
  else if (slots.size() > 128)
    out["slots"] = slots.size();
  return out;
}

// SECURITYPOLICY key lengths and keys: pre-shared key 612..647, encryption
// key, IV and authentication key 656..763.
json policies_section(const AdapterRec& a, bool secrets) {
  json out = json::array();
  for (size_t slot = 0; slot < a.policies->size(); ++slot) {
    Bytes b = (*a.policies)[slot];
    if (all_zero(b)) continue;
    if (!secrets) {
      std::fill(b.begin() + 612, b.begin() + 648, 0);
      std::fill(b.begin() + 656, b.begin() + 764, 0);
    }
    json p = record(nullptr, b);
    p["slot"] = slot;
    out.push_back(p);
  }
  return out;
}

json adapter_json(const AdapterRec& a, bool secrets) {
  json j = {{"instance", a.instance}, {"handle", a.handle}};
  auto read = [&](Fn fn) -> const Bytes* {
    auto it = a.reads.find(fn);
    return it == a.reads.end() || !it->second.seen ? nullptr : &it->second.bytes;
  };
  struct Section {
    Fn fn;
    const char* key;
    const izksim::Layout* layout;
  };
  const Section sections[] = {
      {k_SDGetHbaDevicePortalPropertyiSCSI, "portal", &layouts::kHbaIscsiPortal},
      {k_SDGetHbaDeviceNodePropertyiSCSI, "node", &layouts::kHbaIscsiNode},
      {k_SDGetHbaDeviceDriverPropertyiSCSI, "driver", &layouts::kDriverInfo},
      {k_SDGetHbaDeviceChipPropertyiSCSI, "chip", &layouts::kChipInfo},
      {k_SDGetInitFW, "initFw", &layouts::kInitFwIscsi},
      {k_SDGetFWDefaults, "fwDefaults", &layouts::kInitFwIscsi},
      {k_SDGetDefaultDDBEntry, "defaultDdbEntry", &layouts::kDeviceEntryIscsi},
      {k_SDGetBootcodeInfo, "bootcode", &layouts::kSdmBootcode},
      {k_SDGetBootcodeDhcp, "bootcodeDhcp", nullptr},
      {k_SDGetStatisticsiSCSI, "statistics", nullptr},
      {k_SDGetStatisticsiSCSIExtend, "statisticsExtend", nullptr},
      {k_SDGetStatisticsGen, "statisticsGen", nullptr},
      {k_SDGet_iSNSDiscoveryConfig, "isnsConfig", nullptr},
      {k_SDGetSecurityInfo, "securityInfo", nullptr},
      {k_SDGetSecurityStatsGen, "securityStats", nullptr},
  };
  for (const Section& s : sections)
    if (const Bytes* b = read(s.fn)) j[s.key] = record(s.layout, *b);
  // VPD_INFO: the image is VPDData (bytes 12..139); VendorID is the caller's.
  if (const Bytes* v = read(k_SDGetVPDInfo); v && v->size() >= 140)
    j["vpd"] = {{"raw", hex(Bytes(v->begin() + 12, v->begin() + 140))}};
  // The simulator counts the portal's discovered targets itself unless told.
  if (const Bytes* p = read(k_SDGetHbaDevicePortalPropertyiSCSI)) j["portal"]["discTargetCount"] = le(*p, 686, 2);
  if (a.alias) j["alias"] = *a.alias;
  if (a.tcpMaxWindow) j["tcpMaxWindowSize"] = *a.tcpMaxWindow;
  if (!a.ddb.empty()) j["ddb"] = ddb_section(a);
  if (!a.targets.empty()) j["targets"] = targets_section(a);
  if (!a.events.empty()) {
    json events = json::array();
    for (const Bytes& e : a.events) {
      json payload = json::array();
      for (size_t i = 0; i < 7; ++i) payload.push_back(le(e, 4 + 4 * i, 4));
      events.push_back({{"code", le(e, 0, 4)}, {"payload", payload}});
    }
    j["events"] = events;
  }
  if (a.chapSlots || a.chapDense) j["chapTable"] = chap_section(a, secrets);
  if (a.isnsTargets) j["isnsTargets"] = raw_list(*a.isnsTargets);
  if (a.connErrors) j["connectionErrorLog"] = raw_list(*a.connErrors);
  if (a.arp) j["arpLog"] = raw_list(*a.arp);
  if (a.crashRecord) j["crashRecord"] = hex(*a.crashRecord);
  if (a.policies) {
    j["securityPolicies"] = policies_section(a, secrets);
    uint32_t inUse = 0;
    for (const Bytes& p : *a.policies) inUse += le(p, 0, 4) != 0 ? 1 : 0;
    if (a.policyCount && *a.policyCount != inUse) j["securityPolicyCount"] = *a.policyCount;
  }
  if (a.ikeSAs) j["ikeSAs"] = raw_list(*a.ikeSAs);
  if (!a.ipsecSAs.empty()) {
    json sas = json::array();
    for (const auto& kv : a.ipsecSAs)
      for (const Bytes& b : kv.second) sas.push_back(record(nullptr, b));
    j["ipsecSAs"] = sas;
  }
  if (!a.failures.empty()) {
    json failures = json::object();
    for (const auto& kv : a.failures) failures[fn_name(Fn(kv.first))] = status_hex(kv.second);
    j["failures"] = failures;
  }
  return j;
}

const char* env_or(const char* name, const char* fallback) {
  const char* v = std::getenv(name);
  return v && *v ? v : fallback;
}

bool secrets_wanted() {
  const char* v = std::getenv("IZKSDM_RECORD_SECRETS");
  return v && *v && std::strcmp(v, "0") != 0;
}

std::string output_path() {
  if (const char* p = std::getenv("IZKSDM_RECORD_FILE"); p && *p) return p;
  return std::string(env_or("TMPDIR", "/tmp")) + "/izksdm-recording-" + std::to_string(getpid()) + ".json";
}

// --- Signals -------------------------------------------------------------------

int g_request[2] = {-1, -1};  // signal handlers -> writer thread
int g_done[2] = {-1, -1};     // writer thread -> a handler waiting to end the process

void on_snapshot_signal(int) {
  const int saved = errno;
  const char c = 'S';
  (void)!write(g_request[1], &c, 1);
  errno = saved;
}

// Writes the file, then ends the process as the signal would have.
void on_ending_signal(int sig) {
  const char c = 'E';
  if (write(g_request[1], &c, 1) == 1) {
    pollfd p{g_done[0], POLLIN, 0};
    poll(&p, 1, 5000);
  }
  signal(sig, SIG_DFL);
  raise(sig);
}

void writer_thread() {
  for (;;) {
    char c = 0;
    const ssize_t n = read(g_request[0], &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    write_now();
    if (c == 'E') {
      const char d = 'D';
      (void)!write(g_done[1], &d, 1);
    }
  }
}

// Takes `sig` only when its disposition is the default one.
void take_if_default(int sig, void (*handler)(int)) {
  struct sigaction old;
  if (sigaction(sig, nullptr, &old) != 0 || old.sa_handler != SIG_DFL || (old.sa_flags & SA_SIGINFO)) return;
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = handler;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_RESTART;
  sigaction(sig, &sa, nullptr);
}

void write_at_exit() { write_now(true); }

}  // namespace

std::string scenario_text(Recording& r, bool secrets) {
  json adapters = json::array();
  for (const auto& kv : r.adapters) adapters.push_back(adapter_json(kv.second, secrets));
  json scenario = {{"adapters", adapters}};
  if (r.version) scenario["version"] = *r.version;
  scenario["//"] = secrets ? "Recorded by the izksdm recorder, secrets included"
                           : "Recorded by the izksdm recorder; CHAP secrets and IPsec keys left out";
  return scenario.dump(2) + "\n";
}

bool write_now(bool onlyChanged) {
  Recording& r = recording();
  std::string text;
  {
    // Calls still running at exit may hold the lock; give them a moment.
    std::unique_lock<std::timed_mutex> lock(r.mu, std::defer_lock);
    if (!lock.try_lock_for(std::chrono::seconds(2))) {
      std::fprintf(stderr, "izksdm recorder: the recording is busy; nothing written\n");
      return false;
    }
    if (onlyChanged && !r.changed) return true;
    r.changed = false;
    try {
      text = scenario_text(r, secrets_wanted());
    } catch (const std::exception& e) {
      std::fprintf(stderr, "izksdm recorder: cannot make the scenario: %s\n", e.what());
      return false;
    }
  }
  const std::string path = output_path();
  // A regular file is replaced whole (written beside it, then renamed), so
  // that a reader never sees half a scenario; anything else (a pipe, a
  // terminal) is written in place.
  struct stat st;
  const bool inPlace = stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode);
  const std::string tmp = inPlace ? path : path + ".tmp";
  FILE* f = std::fopen(tmp.c_str(), "wb");
  bool ok = f && std::fwrite(text.data(), 1, text.size(), f) == text.size();
  if (f) ok = std::fclose(f) == 0 && ok;
  if (!inPlace) ok = ok && std::rename(tmp.c_str(), path.c_str()) == 0;
  if (!ok) {
    std::fprintf(stderr, "izksdm recorder: cannot write %s: %s\n", path.c_str(), std::strerror(errno));
    if (!inPlace) std::remove(tmp.c_str());
  }
  return ok;
}

void install_hooks() {
  static bool done = false;
  if (done) return;
  done = true;
  std::atexit(write_at_exit);
  if (pipe2(g_request, O_CLOEXEC) != 0 || pipe2(g_done, O_CLOEXEC) != 0) return;
  try {
    std::thread(writer_thread).detach();
  } catch (const std::exception&) {
    return;
  }
  take_if_default(SIGUSR1, on_snapshot_signal);
  take_if_default(SIGTERM, on_ending_signal);
  take_if_default(SIGINT, on_ending_signal);
  take_if_default(SIGHUP, on_ending_signal);
}

}  // namespace izkrec
