// Process-wide simulator state, call log, faults, trace and the izksim_ API.
#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "sim.hpp"

namespace izksim {

Sim& Sim::get() {
  // Never destroyed: SD calls from threads still running at exit must not
  // find a destroyed mutex.
  static Sim* sim = new Sim();
  return *sim;
}

static std::string scenario_file_from_env() {
  const char* env = std::getenv("IZKSDM_SCENARIO");
  return env ? std::string(env) : std::string();
}

void Sim::close_trace() {
  if (trace) std::fclose(trace);
  trace = nullptr;
  traceFile.clear();
}

uint32_t Sim::load_text(const std::string& text, const std::string& origin, bool keep) {
  try {
    json j;
    try {
      j = json::parse(text);
    } catch (const json::parse_error& e) {
      throw LoadError((origin.empty() ? std::string() : origin + ": ") + "invalid JSON: " + e.what());
    }
    State s = load_scenario(j);
    close_trace();
    state = std::move(s);
    start_clock(state);
    faults.clear();
    log.clear();
    logBytes = 0;
    lastError.clear();
    loadFailure.clear();
    loaded = true;
    return IZKSIM_OK;
  } catch (const LoadError& e) {
    lastError = origin.empty() || std::strncmp(e.what(), origin.c_str(), origin.size()) == 0
                    ? std::string(e.what())
                    : origin + ": " + e.what();
  } catch (const std::exception& e) {
    lastError = origin + ": " + e.what();
  }
  return failed_load(keep);
}

// A failed explicit load keeps the state; a failed reset leaves no adapters and
// every SD function answers IZKSIM_ST_SCENARIO_ERROR until a scenario loads, so
// that a broken scenario is not taken for a machine without adapters.
uint32_t Sim::failed_load(bool keep) {
  if (!keep) {
    close_trace();
    state = State();
    reset_clock();
    faults.clear();
    log.clear();
    logBytes = 0;
    loadFailure = lastError;
    // Say why where someone will see it.
    std::fprintf(stderr, "izksim: %s\n", lastError.c_str());
  }
  loaded = true;
  return IZKSIM_ST_SCENARIO_ERROR;
}

uint32_t Sim::load_file(const std::string& path, bool keep) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    const int err = errno;
    lastError = "cannot read scenario file \"" + path + "\": " + std::strerror(err);
    return failed_load(keep);
  }
  std::ostringstream text;
  text << in.rdbuf();
  return load_text(text.str(), "scenario file \"" + path + "\"", keep);
}

uint32_t Sim::reset() {
  chaos_clear();
  const std::string file = scenario_file_from_env();
  if (!file.empty()) return load_file(file, false);
  return load_text(kDefaultScenario, "default scenario", false);
}

void Sim::ensure_loaded() {
  if (!loaded) reset();
}

void Sim::append_log(CallRecord&& rec) {
  rec.seq = nextSeq++;
  logBytes += rec.recordBytes;
  log.push_back(std::move(rec));
  while (!log.empty() && (log.size() > IZKSIM_CALL_LOG_LIMIT || logBytes > IZKSIM_CALL_LOG_BYTES)) {
    logBytes -= log.front().recordBytes;
    log.pop_front();
  }
}

// Text as valid UTF-8 for the JSON library: well-formed UTF-8 sequences stay,
// any other byte is taken as Latin-1.
static std::string as_utf8(const std::string& s) {
  std::string out;
  out.reserve(s.size());
  for (size_t i = 0; i < s.size();) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    size_t n = c < 0x80 ? 1 : c >= 0xF0 && c < 0xF5 ? 4 : c >= 0xE0 && c < 0xF0 ? 3 : c >= 0xC2 && c < 0xE0 ? 2 : 0;
    uint32_t cp = n == 4 ? (c & 7u) : n == 3 ? (c & 15u) : (c & 31u);
    bool ok = n != 0 && i + n <= s.size();
    for (size_t k = 1; ok && k < n; ++k) {
      const unsigned char cc = static_cast<unsigned char>(s[i + k]);
      ok = (cc & 0xC0) == 0x80;
      cp = (cp << 6) | (cc & 0x3F);
    }
    ok = ok && !(n == 3 && (cp < 0x800 || (cp >= 0xD800 && cp < 0xE000))) && !(n == 4 && (cp < 0x10000 || cp > 0x10FFFF));
    if (ok) {
      out.append(s, i, n);
      i += n;
    } else {
      out.push_back(char(0xC0 | (c >> 6)));
      out.push_back(char(0x80 | (c & 0x3F)));
      ++i;
    }
  }
  return out;
}

// The call log as ASCII-only JSON (non-ASCII text as \u escapes).
std::string Sim::log_json() {
  nlohmann::ordered_json out = nlohmann::ordered_json::array();
  for (const CallRecord& r : log) {
    nlohmann::ordered_json args = nlohmann::ordered_json::object();
    for (const auto& a : r.args) {
      if (a.isSigned)
        args[as_utf8(a.name)] = int64_t(a.value);
      else
        args[as_utf8(a.name)] = a.value;
    }
    nlohmann::ordered_json texts = nlohmann::ordered_json::object();
    for (const auto& t : r.texts)
      texts[as_utf8(t.first)] = t.second ? nlohmann::ordered_json(as_utf8(*t.second)) : nlohmann::ordered_json(nullptr);
    nlohmann::ordered_json records = nlohmann::ordered_json::object();
    for (const auto& rec : r.records)
      records[as_utf8(rec.first)] = rec.second ? nlohmann::ordered_json(to_hex(rec.second->data(), rec.second->size()))
                                               : nlohmann::ordered_json(nullptr);
    out.push_back({{"seq", r.seq}, {"fn", as_utf8(r.fn)}, {"args", std::move(args)}, {"text", std::move(texts)},
                   {"records", std::move(records)}, {"status", r.status}});
  }
  return out.dump(-1, ' ', true);
}

// --- SdCall -------------------------------------------------------------------

SdCall::SdCall(const char* fn) : sim_(Sim::get()), lock_(sim_.mu) {
  sim_.ensure_loaded();
  rec_.fn = fn;
}

SdCall::~SdCall() {
  if (!finished_) done(status_);
}

SdCall& SdCall::arg(const char* name, uint32_t value) {
  rec_.args.push_back({name, false, value});
  return *this;
}

SdCall& SdCall::arg_signed(const char* name, int64_t value) {
  rec_.args.push_back({name, true, uint64_t(value)});
  return *this;
}

SdCall& SdCall::text(const char* name, const char* value) {
  if (value)
    rec_.texts.emplace_back(name, std::string(value));
  else
    rec_.texts.emplace_back(name, std::nullopt);
  return *this;
}

SdCall& SdCall::text_n(const char* name, const char* value, size_t max) {
  if (value)
    rec_.texts.emplace_back(name, std::string(value, strnlen(value, max)));
  else
    rec_.texts.emplace_back(name, std::nullopt);
  return *this;
}

SdCall& SdCall::rec(const char* name, const void* data, size_t size) {
  if (data) {
    const uint8_t* p = static_cast<const uint8_t*>(data);
    rec_.records.emplace_back(name, Bytes(p, p + size));
    rec_.recordBytes += size;
    buffers_.emplace_back(data, size);
    if (size == sizeof(uint32_t) && (std::strcmp(name, "count") == 0 || std::strcmp(name, "numEntries") == 0))
      countOut_ = const_cast<void*>(data);
  } else {
    rec_.records.emplace_back(name, std::nullopt);
  }
  return *this;
}

bool SdCall::faulted() {
  if (!sim_.loadFailure.empty()) {
    // No scenario: the call is refused, and its log entry says why.
    status_ = IZKSIM_ST_SCENARIO_ERROR;
    rec_.texts.emplace_back("scenarioError", sim_.loadFailure);
    return true;
  }
  auto it = sim_.faults.find(rec_.fn);
  if (it == sim_.faults.end()) return recorded_failure() || chaos_fault(rec_.fn, status_);
  status_ = it->second.status;
  if (it->second.once) sim_.faults.erase(it);
  return true;
}

// A scenario's "failures": this function fails on this open adapter as it did
// on the adapter the scenario was recorded from.
bool SdCall::recorded_failure() {
  for (const CallArg& a : rec_.args) {
    if (std::strcmp(a.name, "handle") != 0) continue;
    Adapter* adapter = sim_.state.by_handle(uint32_t(a.value));
    if (!adapter || !adapter->open || adapter->failures.empty()) return false;
    auto f = adapter->failures.find(rec_.fn);
    if (f == adapter->failures.end()) return false;
    status_ = f->second;
    return true;
  }
  return false;
}

// A scenario's "damagedCounts": the count this function reports on this
// adapter replaces the true one, when the call hands records back.
void SdCall::damage_count() {
  if (!countOut_) return;
  for (const CallArg& a : rec_.args) {
    if (std::strcmp(a.name, "handle") != 0) continue;
    Adapter* adapter = sim_.state.by_handle(uint32_t(a.value));
    if (!adapter || adapter->damagedCounts.empty()) return;
    auto d = adapter->damagedCounts.find(rec_.fn);
    if (d != adapter->damagedCounts.end()) std::memcpy(countOut_, &d->second, sizeof d->second);
    return;
  }
}

Adapter* SdCall::open_adapter(uint32_t handle) {
  Adapter* a = sim_.state.by_handle(handle);
  if (!a || !a->open) return nullptr;
  // Whatever the adapter's script made happen by now has happened before
  // this call looks at the adapter.
  a->run_script();
  return a;
}

uint32_t SdCall::done(uint32_t status) {
  if (finished_) return status;
  finished_ = true;
  status_ = status;
  rec_.status = status;
  if (status == IZKSIM_OK || status == IZKSIM_ST_MORE_DATA) damage_count();
  if (status == IZKSIM_OK)
    for (const auto& b : buffers_) chaos_garble(rec_.fn, const_cast<void*>(b.first), b.second);
  if (sim_.trace) {
    std::string line = std::to_string(sim_.nextSeq) + " " + rec_.fn + "(";
    bool first = true;
    for (const CallArg& a : rec_.args) {
      line += (first ? "" : ", ") + std::string(a.name) + "=" +
              (a.isSigned ? std::to_string(int64_t(a.value)) : std::to_string(a.value));
      first = false;
    }
    for (const auto& t : rec_.texts) {
      line += (first ? "" : ", ") + std::string(t.first) + "=" + (t.second ? "\"" + *t.second + "\"" : "null");
      first = false;
    }
    for (const auto& r : rec_.records) {
      line += (first ? "" : ", ") + std::string(r.first) + "=" +
              (r.second ? "[" + std::to_string(r.second->size()) + " bytes]" : "null");
      first = false;
    }
    char tail[64];
    std::snprintf(tail, sizeof tail, ") = 0x%08" PRIx32 "\n", status);
    line += tail;
    std::fputs(line.c_str(), sim_.trace);
    std::fflush(sim_.trace);
  }
  sim_.append_log(std::move(rec_));
  return status;
}

// --- status texts ---------------------------------------------------------------

const char* status_text(uint32_t status) {
  switch (status) {
    case IZKSIM_OK: return "Success";
    case IZKSIM_ST_INVALID_HANDLE: return "Invalid or closed adapter handle";
    case IZKSIM_ST_NO_SUCH_INSTANCE: return "Adapter instance not present";
    case IZKSIM_ST_INVALID_PARAMETER: return "Invalid parameter (null pointer or value out of range)";
    case IZKSIM_ST_TARGET_NOT_FOUND: return "Target not found";
    case IZKSIM_ST_LUN_NOT_FOUND: return "Logical unit not found";
    case IZKSIM_ST_FILE_ERROR: return "File could not be opened";
    case IZKSIM_ST_ENTRY_NOT_FOUND: return "Entry not found";
    case IZKSIM_ST_AEN_NOT_ENABLED: return "Asynchronous events not enabled";
    case IZKSIM_ST_TARGET_NOT_ACTIVE: return "Target session not active";
    case IZKSIM_ST_NOT_SUPPORTED_OS: return "Request not supported on this operating system";
    case IZKSIM_ST_OUT_OF_MEMORY: return "Out of memory";
    case IZKSIM_ST_NOT_SUPPORTED: return "Request not supported by this adapter";
    case IZKSIM_ST_PING_NO_REPLY: return "No reply to ping";
    case IZKSIM_ST_LOOPBACK_FAILED: return "Loopback test failed";
    case IZKSIM_ST_CHECK_CONDITION: return "SCSI command completed with check condition (sense data returned)";
    case IZKSIM_ST_BUFFER_TOO_SMALL: return "Buffer too small";
    case IZKSIM_ST_DATA_UNDERRUN: return "SCSI command completed with data underrun";
    case IZKSIM_ST_MORE_DATA: return "Table read partially (more entries available)";
    case IZKSIM_ST_BOOTCODE_ERASE_NEEDED: return "Boot code region must be erased before update";
    case IZKSIM_ST_NOT_SIMULATED: return "Function not simulated";
    case IZKSIM_ST_SCENARIO_ERROR: return "Scenario could not be loaded";
    default: break;
  }
  // Each thread has its own buffer, so two threads asking at once do not
  // overwrite each other's text; it stays valid until that thread asks again.
  static thread_local char unknown[40];
  std::snprintf(unknown, sizeof unknown, "Unknown status 0x%08" PRIx32, status);
  return unknown;
}

}  // namespace izksim

// --- control API ------------------------------------------------------------------

using izksim::Sim;

// Every SD function the library exports, so that a fault for a misspelt name
// is reported instead of silently never firing.
static const char* const kSdFunctions[] = {
    "SDOpenDeviceiSCSI",
    "SDCloseDeviceiSCSI",
    "SDGetVersioniSCSI",
    "SDGetErrorStringiSCSI",
    "SDEnableDebugTraceiSCSI",
    "SDStartAENPoll",
    "SDStopAENPoll",
    "SDEnableAeniSCSI",
    "SDDisableAeniSCSI",
    "SDGetAeniSCSI",
    "SDSetAENValidTime",
    "SDGetHbaDevicePortalPropertyiSCSI",
    "SDGetHbaDeviceNodePropertyiSCSI",
    "SDGetHbaDeviceDriverPropertyiSCSI",
    "SDGetHbaDeviceChipPropertyiSCSI",
    "SDGetHBAAlias",
    "SDSetHBAAlias",
    "SDGetTCPMaxWindowSize",
    "SDSetTCPMaxWindowSize",
    "SDGetInitFW",
    "SDSetInitFW",
    "SDGetFWDefaults",
    "SDSetFWDefaults",
    "SDRestoreDefaults",
    "SDResetHBA",
    "SDGetDDBEntryNum",
    "SDGetDDBEntry",
    "SDSetDDBEntry",
    "SDSetDDBEntryFlashOnly",
    "SDGetDefaultDDBEntry",
    "SDGetInitialDDBEntry",
    "SDSendiSCSILogout",
    "SDGetCHAPEntryNum",
    "SDGetCHAPTable",
    "SDGetCHAPTableMod",
    "SDSetCHAPTable",
    "SDSetCHAPTableEntry",
    "SDGetDiscPortalPropertyiSCSI",
    "SDGetDiscNodePropertyiSCSI",
    "SDSendScsiReportLunsCmdiSCSI",
    "SDSendScsiInquiryCmdiSCSI",
    "SDSendReadMBCapacity",
    "SDSendScsiPassThruiSCSI",
    "SDGetStatisticsiSCSI",
    "SDGetStatisticsiSCSIExtend",
    "SDGetStatisticsGen",
    "SDResetStatisticsiSCSI",
    "SDGetLogs",
    "SDGetCrashRecord",
    "SDGet_iSNSDiscoveryConfig",
    "SDSet_iSNSDiscoveryConfig",
    "SDGetAlliSNSDiscoveredTargets",
    "SDGetSecurityPolicyTable",
    "SDSetSecurityPolicyTable",
    "SDGetSecurityInfo",
    "SDGetSecurityStatsGen",
    "SDGetAllIKESAStatsDetails",
    "SDGetIPsecSACountForPolicy",
    "SDGetIPsecSAStatsDetails",
    "SDFlushSAs",
    "SDGetBootcodeInfo",
    "SDSetBootcodeInfo",
    "SDGetBootcodeDhcp",
    "SDSetBootcodeDhcp",
    "SDEraseBootCode",
    "SDDiagPing",
    "SDPerformLoopBackTest",
    "SDGetVPDInfo",
    "SDUpdateiSCSIFW",
};

static bool is_sd_function(const char* name) {
  for (const char* f : kSdFunctions)
    if (std::strcmp(f, name) == 0) return true;
  return false;
}

extern "C" IZKSIM_EXPORT const char* izksim_sd_function(size_t index) {
  return index < sizeof kSdFunctions / sizeof kSdFunctions[0] ? kSdFunctions[index] : nullptr;
}

static size_t copy_out(const std::string& text, char* buffer, size_t capacity) {
  if (buffer && capacity > 0) {
    const size_t n = text.size() < capacity - 1 ? text.size() : capacity - 1;
    std::memcpy(buffer, text.data(), n);
    buffer[n] = '\0';
  }
  return text.size();
}

extern "C" {

IZKSIM_EXPORT int izksim_reset(void) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  return int(sim.reset());
}

IZKSIM_EXPORT int izksim_load_scenario_json(const char* json) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.ensure_loaded();
  if (!json) {
    sim.lastError = "scenario text is null";
    return int(IZKSIM_ST_SCENARIO_ERROR);
  }
  return int(sim.load_text(json, "", true));
}

IZKSIM_EXPORT int izksim_load_scenario_file(const char* path) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.ensure_loaded();
  if (!path) {
    sim.lastError = "scenario file name is null";
    return int(IZKSIM_ST_SCENARIO_ERROR);
  }
  return int(sim.load_file(path, true));
}

IZKSIM_EXPORT const char* izksim_last_error(void) {
  static thread_local std::string copy;
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  copy = sim.lastError;
  return copy.c_str();
}

IZKSIM_EXPORT const char* izksim_load_failure(void) {
  static thread_local std::string copy;
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.ensure_loaded();
  copy = sim.loadFailure;
  return copy.c_str();
}

IZKSIM_EXPORT size_t izksim_decode_record(const uint8_t* bytes, size_t size, char* buffer, size_t capacity) {
  // The record is known by its size: every layout below has a size of its own.
  using namespace izksim::layouts;
  static const izksim::Layout* const kKnown[] = {
      &kHbaIscsiPortal, &kNodeInfoIscsi, &kHbaIscsiNode, &kDriverInfo,        &kChipInfo,
      &kIscsiDevice,    &kDeviceEntryIscsi, &kDns,       &kInitFwIscsi,       &kTargetInformation,
      &kDiscIscsiPortal, &kDiscIscsiNode, &kSdmBootcode};
  std::string text;
  if (bytes)
    for (const izksim::Layout* l : kKnown)
      if (l->size == size) {
        text = izksim::dump_record(*l, izksim::Bytes(bytes, bytes + size), 0)
                   .dump(-1, ' ', true, izksim::json::error_handler_t::replace);
        break;
      }
  return copy_out(text, buffer, capacity);
}

IZKSIM_EXPORT void izksim_set_fault(const char* function, uint32_t status, int once) {
  if (!function) return;
  if (!is_sd_function(function)) std::fprintf(stderr, "izksim: fault set for unknown function \"%s\"\n", function);
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.ensure_loaded();
  sim.faults[function] = izksim::Fault{status, once != 0};
}

IZKSIM_EXPORT void izksim_clear_faults(void) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.faults.clear();
}

IZKSIM_EXPORT size_t izksim_call_log_json(char* buffer, size_t capacity) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  return copy_out(sim.log_json(), buffer, capacity);
}

IZKSIM_EXPORT void izksim_clear_call_log(void) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.log.clear();
  sim.logBytes = 0;
}

IZKSIM_EXPORT int izksim_push_event(uint32_t instance, uint32_t code, const uint32_t payload[7]) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.ensure_loaded();
  izksim::Adapter* a = sim.state.by_instance(instance);
  if (!a) return int(IZKSIM_ST_NO_SUCH_INSTANCE);
  a->run_script();  // script events already due come first
  a->queue_event(izksim::make_event(code, payload));
  return 0;
}

IZKSIM_EXPORT void izksim_advance_clock(uint32_t milliseconds) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.ensure_loaded();
  izksim::advance_clock(milliseconds);
}

IZKSIM_EXPORT size_t izksim_state_json(char* buffer, size_t capacity) {
  Sim& sim = Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.ensure_loaded();
  for (izksim::Adapter& a : sim.state.adapters) a.run_script();
  return copy_out(izksim::dump_state(sim.state).dump(2, ' ', true, izksim::json::error_handler_t::replace), buffer,
                  capacity);
}

}  // extern "C"
