// Statistics and diagnostics of the simulated adapters.
//
// An adapter keeps one set of named counters. Each statistics record shows
// those of its own layout: the first-generation record (35 counters), the
// extended record (68 counters by index) and the generic record (the seven
// port, I/O and link counters). The scenario sets them and how much each
// moves after every read; SCSI commands make the I/O counters move as well.
// A record a recording gave answers as it was recorded. A reset sets every
// counter to 0 and drops the recorded records.
#include "monitor.hpp"

#include <algorithm>
#include <cstring>

#include "scsi.hpp"
#include "sdm/sdm_api.h"
#include "sim.hpp"

namespace izksim {

namespace {

// HBAPORTSTATISCSI, counter by counter (slot 13 is reserved and stays 0).
const char* const kFirstGeneration[] = {
    "MACTxFramesCount",       "MACTxBytesCount",          "MACRxFramesCount",         "MACRxBytesCount",
    "MACCRCErrorCount",       "MACEncodingErrorCount",    "IPTxPacketsCount",         "IPTxBytesCount",
    "IPTxFragmentsCount",     "IPRxPacketsCount",         "IPRxBytesCount",           "IPRxFragmentsCount",
    "IPDatagramReassemblyCount", nullptr,                 "IPRxPacketErrorCount",     "IPReassemblyErrorCount",
    "TCPTxSegmentsCount",     "TCPTxBytesCount",          "TCPRxSegmentsCount",       "TCPRxBytesCount",
    "TCPTimerExpiredCount",   "TCPRxACKCount",            "TCPTxACKCount",            "TCPRxErrorSegmentCount",
    "TCPWindowProbeUpdateCount", "iSCSITxPDUCount",       "iSCSITxBytesCount",        "iSCSIRxPDUCount",
    "iSCSIRxBytesCount",      "iSCSICompleteIOsCount",    "iSCSIUnexpectedIORxCount", "iSCSIFormatErrorCount",
    "iSCSIHeaderDigestCount", "iSCSIDataDigestErrorCount", "iSCSISeqErrorCount",
};
static_assert(sizeof kFirstGeneration / sizeof kFirstGeneration[0] == 35, "HBAPORTSTATISCSI counters");

// HBAPORTSTATISCSIEXTEND: the name of each index.
const char* const kExtended[] = {
    "MACTxFramesCount",          "MACTxBytesCount",            "MACTxMulticast",
    "MACTxBroadcast",            "MACTxPauseFrames",           "MACTxControlFrames",
    "MACTxDeferrals",            "MACTxExcessDeferrals",       "MACTxLateCollisions",
    "MACTxAborts",               "MACTxSingleCollisions",      "MACTxMultipleCollisions",
    "MACTxCollisions",           "MACTxFramesDropped",         "MACTxJumboFrames",
    "MACRxFramesCount",          "MACRxBytesCount",            "MACRxUnknownControlFrames",
    "MACRxPauseFrames",          "MACRxControlFrames",         "MACRxDribble",
    "MACRxFrameLengthError",     "MACRxJabber",                "MACRxCarrierSenseError",
    "MACRxFramesDropped",        "MACCRCErrorCount",           "MACEncodingErrorCount",
    "MACRxLengthErrorCountLarge", "MACRxLengthErrorCountSmall", "MACRxMulticast",
    "MACRxBroadcast",            "IPTxPacketsCount",           "IPTxBytesCount",
    "IPTxFragmentsCount",        "IPRxPacketsCount",           "IPRxBytesCount",
    "IPRxFragmentsCount",        "IPDatagramReassemblyCount",  "IPv6RxPacketsCount",
    "IPRxPacketErrorCount",      "IPRxFragmentOverlapCount",   "IPRxFragmentOutOfOrderCount",
    "IPFragmentReassemblyTimeout", "TCPTxSegmentsCount",       "TCPTxBytesCount",
    "TCPRxSegmentsCount",        "TCPRxBytesCount",            "TCPPersistTimerExpiredCount",
    "TCPRetransTimerExpiredCount", "TCPRxDuplicateACKCount",   "TCPRxPureACKCount",
    "TCPTxDelayedACKCount",      "TCPTxPureACKCount",          "TCPRxSegmentErrorCount",
    "TCPRxSegmentOutOfOrderCount", "TCPRxWindowProbeCount",    "TCPRxWindowUpdateCount",
    "ECCErrorCorrectionCount",   "iSCSITxPDUCount",            "iSCSITxBytesCount",
    "iSCSIRxPDUCount",           "iSCSIRxBytesCount",          "iSCSICompleteIOsCount",
    "iSCSIUnexpectedIORxCount",  "iSCSIFormatErrorCount",      "iSCSIHeaderDigestCount",
    "iSCSIDataDigestErrorCount", "iSCSISeqErrorCount",
};
static_assert(sizeof kExtended / sizeof kExtended[0] == HBAPORTSTATISCSIEXTEND::CounterCount,
              "HBAPORTSTATISCSIEXTEND counters");

// HBAPORTSTATGEN: its first seven counters (the rest of the record stays 0).
const char* const kGeneric[] = {
    "HBAPortErrorCount", "DevicePortErrorCount", "IoCount",        "MBytesCount",
    "InterruptCount",    "LinkFailureCount",     "InvalidCrcCount",
};

constexpr uint32_t kPduHeader = 48;  // bytes of an iSCSI basic header segment

bool known_counter(const std::string& name) {
  for (const char* n : kExtended)
    if (name == n) return true;
  for (const char* n : kFirstGeneration)
    if (n && name == n) return true;
  for (const char* n : kGeneric)
    if (name == n) return true;
  return false;
}

void all_counters(std::map<std::string, uint64_t>& m) {
  for (const char* n : kExtended) m[n] = 0;
  for (const char* n : kFirstGeneration)
    if (n) m[n] = 0;
  for (const char* n : kGeneric) m[n] = 0;
}

void load_counters(const json& j, const std::string& path, std::map<std::string, uint64_t>& into) {
  require_object(j, path);
  for (auto it = j.begin(); it != j.end(); ++it) {
    if (is_comment_key(it.key())) continue;
    if (!known_counter(it.key())) throw LoadError("unknown counter \"" + it.key() + "\" in " + path);
    into[it.key()] = json_uint(*it, path + "." + it.key(), UINT64_MAX);
  }
}

uint16_t u16(const json& j, const std::string& path) { return uint16_t(json_uint(j, path, 0xFFFF)); }

BufferFault load_buffer_fault(const json& j, const std::string& path) {
  check_keys(j, path, {"bus", "targetId", "lun", "miscompareAt", "senseKey", "failOn", "from"});
  if (!j.contains("targetId")) throw LoadError(path + ": missing key \"targetId\"");
  BufferFault f;
  if (j.contains("bus")) f.bus = u16(j["bus"], path + ".bus");
  f.targetId = u16(j["targetId"], path + ".targetId");
  if (j.contains("lun")) f.lun = u16(j["lun"], path + ".lun");
  if (j.contains("miscompareAt")) f.miscompareAt = json_uint(j["miscompareAt"], path + ".miscompareAt", UINT64_MAX);
  if (j.contains("senseKey")) {
    f.senseKey = uint8_t(json_uint(j["senseKey"], path + ".senseKey", 0x0F));
    if (f.senseKey == 0) throw LoadError(path + ".senseKey: 0 is no check condition");
  }
  if (j.contains("failOn")) {
    const std::string on = json_string(j["failOn"], path + ".failOn");
    if (on != "write" && on != "read") throw LoadError(path + ".failOn: \"" + on + "\" is neither \"write\" nor \"read\"");
    f.onRead = on == "read";
  }
  if (j.contains("from")) {
    f.from = json_uint(j["from"], path + ".from", UINT64_MAX);
    if (f.from == 0) throw LoadError(path + ".from: commands are counted from 1");
  }
  return f;
}

BufferFault* find_fault(Adapter& a, const ScsiRequest& r) {
  for (BufferFault& f : a.monitor.bufferFaults)
    if (f.bus == r.bus && f.targetId == r.targetId && f.lun == r.lun) return &f;
  return nullptr;
}

bool is_data_buffer_command(const ScsiRequest& r, uint8_t opcode) {
  return r.cdbLength >= 10 && r.cdb[0] == opcode && (r.cdb[1] & 0x1F) == kBufferModeData;
}

// Additional sense code that goes with a sense key the scenario switched on.
uint8_t asc_for(uint8_t key) {
  switch (key) {
    case kSenseIllegalRequest: return 0x20;  // invalid command operation code
    case kSenseNotReady: return 0x04;        // logical unit not ready
    case 0x04: return 0x44;                  // hardware error: internal target failure
    case 0x06: return 0x29;                  // unit attention: power on or reset
    default: return 0x00;
  }
}

void add(Monitor& m, const char* name, uint64_t n) { m.counters[name] += n; }

// The counters after a statistics read: each moves by its step (modulo 2^64).
void after_read(Monitor& m) {
  for (const auto& kv : m.perRead) m.counters[kv.first] += kv.second;
}

template <class T>
size_t size_of(const T* p) {
  return p ? sizeof(T) : 0;
}

// The frame every statistics getter shares: fault, handle, null record. A
// recorded record answers its bytes as they stand (a recording replays what
// the adapter said, not traffic on top of it); otherwise `fill` shows the
// counters.
template <class Record, class Fill>
SD_STATUS read_statistics(const char* fn, const char* section, SDMGT_HANDLE handle, Record* out, Fill fill) {
  SdCall c(fn);
  c.arg("handle", handle).rec("stats", out, size_of(out));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!out) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  std::memset(out, 0, sizeof(Record));
  auto rec = a->monitor.recorded.find(section);
  if (rec != a->monitor.recorded.end())
    std::memcpy(out, rec->second.data(), std::min(rec->second.size(), sizeof(Record)));
  else
    fill(a->monitor, out);
  after_read(a->monitor);
  return c.done(IZKSIM_OK);
}

bool same_address(const uint8_t* a, const std::vector<uint8_t>& b) { return std::memcmp(a, b.data(), 16) == 0; }

}  // namespace

void load_monitor(const json& adapter, const std::string& path, Adapter& a) {
  Monitor& m = a.monitor;
  m = Monitor();
  all_counters(m.counters);
  // A recording gives each record as it was read ({"raw": hex}); its counters
  // are taken by the record's layout, the later records' over the earlier.
  struct Recorded {
    const char* key;
    const char* const* names;
    size_t count;
  };
  const Recorded recorded[] = {
      {"statistics", kFirstGeneration, sizeof kFirstGeneration / sizeof kFirstGeneration[0]},
      {"statisticsExtend", kExtended, sizeof kExtended / sizeof kExtended[0]},
      {"statisticsGen", kGeneric, sizeof kGeneric / sizeof kGeneric[0]},
  };
  for (const Recorded& r : recorded) {
    if (!adapter.contains(r.key)) continue;
    const json& section = adapter[r.key];
    // "statistics" without "raw" is the counters section below.
    if (r.names == kFirstGeneration && !section.contains("raw")) continue;
    const std::string p = path + "." + r.key;
    check_keys(section, p, {"raw"});
    if (!section.contains("raw")) throw LoadError(p + ": a recorded statistics record needs \"raw\"");
    const Bytes raw = parse_hex(json_string(section["raw"], p + ".raw"), p + ".raw");
    m.recorded[r.key] = raw;
    for (size_t i = 0; i < r.count && 8 * (i + 1) <= raw.size(); ++i) {
      if (!r.names[i]) continue;
      uint64_t v = 0;
      for (size_t k = 0; k < 8; ++k) v |= uint64_t(raw[8 * i + k]) << (8 * k);
      m.counters[r.names[i]] = v;
    }
  }
  if (adapter.contains("statistics") && !adapter["statistics"].contains("raw")) {
    const std::string p = path + ".statistics";
    const json& s = adapter["statistics"];
    check_keys(s, p, {"counters", "perRead"});
    if (s.contains("counters")) load_counters(s["counters"], p + ".counters", m.counters);
    if (s.contains("perRead")) {
      load_counters(s["perRead"], p + ".perRead", m.perRead);
      for (auto it = m.perRead.begin(); it != m.perRead.end();) it = it->second ? std::next(it) : m.perRead.erase(it);
    }
  }
  if (adapter.contains("diagnostics")) {
    const std::string p = path + ".diagnostics";
    const json& d = adapter["diagnostics"];
    check_keys(d, p, {"pingReplies", "loopbackFailures", "buffers"});
    if (d.contains("pingReplies")) {
      require_array(d["pingReplies"], p + ".pingReplies");
      for (size_t i = 0; i < d["pingReplies"].size(); ++i) {
        const std::string q = p + ".pingReplies[" + std::to_string(i) + "]";
        const std::string text = json_string(d["pingReplies"][i], q);
        std::vector<uint8_t> addr(16, 0);
        bool v6 = false;
        if (!parse_ip(text, addr.data(), &v6)) throw LoadError(q + ": \"" + text + "\" is not an IP address");
        m.pingReplies.push_back(addr);
        m.pingReplyTexts.push_back(text);
      }
    }
    if (d.contains("loopbackFailures")) {
      require_array(d["loopbackFailures"], p + ".loopbackFailures");
      for (size_t i = 0; i < d["loopbackFailures"].size(); ++i) {
        const std::string q = p + ".loopbackFailures[" + std::to_string(i) + "]";
        const uint64_t run = json_uint(d["loopbackFailures"][i], q, UINT64_MAX);
        if (run == 0) throw LoadError(q + ": loopback runs are counted from 1");
        m.loopbackFailures.insert(run);
      }
    }
    if (d.contains("buffers")) {
      require_array(d["buffers"], p + ".buffers");
      for (size_t i = 0; i < d["buffers"].size(); ++i) {
        const std::string q = p + ".buffers[" + std::to_string(i) + "]";
        BufferFault f = load_buffer_fault(d["buffers"][i], q);
        for (const BufferFault& g : m.bufferFaults)
          if (g.bus == f.bus && g.targetId == f.targetId && g.lun == f.lun)
            throw LoadError(q + ": a second entry for the same LUN");
        m.bufferFaults.push_back(f);
      }
    }
  }
}

void dump_monitor(const Adapter& a, json& out) {
  const Monitor& m = a.monitor;
  json counters = json::object();
  for (const auto& kv : m.counters) counters[kv.first] = kv.second;
  json perRead = json::object();
  for (const auto& kv : m.perRead) perRead[kv.first] = kv.second;
  out["statistics"] = {{"counters", counters}, {"perRead", perRead}};
  json buffers = json::array();
  for (const BufferFault& f : m.bufferFaults) {
    json jf = {{"bus", f.bus}, {"targetId", f.targetId}, {"lun", f.lun}, {"//reads", f.reads}, {"//writes", f.writes}};
    if (f.miscompareAt) jf["miscompareAt"] = f.miscompareAt;
    if (f.senseKey) {
      jf["senseKey"] = f.senseKey;
      jf["failOn"] = f.onRead ? "read" : "write";
      jf["from"] = f.from;
    }
    buffers.push_back(jf);
  }
  out["diagnostics"] = {{"pingReplies", m.pingReplyTexts},
                        {"loopbackFailures", m.loopbackFailures},
                        {"//loopbackRuns", m.loopbackRuns},
                        {"buffers", buffers}};
}

uint32_t monitor_before_scsi(Adapter& a, const ScsiRequest& r, Sense* sense) {
  if (!r.cdb) return IZKSIM_OK;
  const bool write = is_data_buffer_command(r, kWriteBuffer);
  const bool read = is_data_buffer_command(r, kReadBuffer);
  if (!write && !read) return IZKSIM_OK;
  BufferFault* f = find_fault(a, r);
  if (!f) return IZKSIM_OK;
  const uint64_t n = write ? ++f->writes : ++f->reads;
  if (f->senseKey && f->onRead == read && n >= f->from) {
    // The target is reached only when the session is up; otherwise the
    // command ends as it would without the switch.
    Target* t = a.find_target(r.bus, r.targetId);
    if (!t || t->state != 4 || !t->find_lun(r.lun)) return IZKSIM_OK;
    if (sense) *sense = Sense{f->senseKey, asc_for(f->senseKey), 0};
    return IZKSIM_ST_CHECK_CONDITION;
  }
  return IZKSIM_OK;
}

void monitor_after_scsi(Adapter& a, const ScsiRequest& r, uint32_t status) {
  Monitor& m = a.monitor;
  if (status == IZKSIM_OK || status == IZKSIM_ST_CHECK_CONDITION) {
    const uint64_t in = status == IZKSIM_OK ? r.dataInLength : 0;
    add(m, "IoCount", 1);
    add(m, "InterruptCount", 1);
    add(m, "iSCSITxPDUCount", 1 + (r.dataOutLength ? 1 : 0));
    add(m, "iSCSIRxPDUCount", 1 + (in ? 1 : 0));
    add(m, "iSCSITxBytesCount", kPduHeader * (1 + (r.dataOutLength ? 1 : 0)) + r.dataOutLength);
    add(m, "iSCSIRxBytesCount", kPduHeader * (1 + (in ? 1 : 0)) + in);
    add(m, "iSCSICompleteIOsCount", 1);
    // MBytesCount counts whole mebibytes of data moved.
    const uint64_t before = m.ioBytes >> 20;
    m.ioBytes += r.dataOutLength + in;
    add(m, "MBytesCount", (m.ioBytes >> 20) - before);
  } else if (status == IZKSIM_ST_TARGET_NOT_ACTIVE) {
    add(m, "DevicePortErrorCount", 1);
  }
  if (status != IZKSIM_OK || !r.dataIn || r.dataInLength == 0 || !is_data_buffer_command(r, kReadBuffer)) return;
  BufferFault* f = find_fault(a, r);
  // One byte of the data read differs on the READ BUFFER the switch names.
  if (f && f->miscompareAt != 0 && f->reads == f->miscompareAt) r.dataIn[0] = uint8_t(~r.dataIn[0]);
}

}  // namespace izksim

using izksim::Adapter;
using izksim::Monitor;
using izksim::SdCall;

// --- Statistics --------------------------------------------------------------------

SD_EXPORT SD_STATUS SDGetStatisticsiSCSI(SDMGT_HANDLE handle, HBAPORTSTATISCSI* stats) {
  return izksim::read_statistics("SDGetStatisticsiSCSI", "statistics", handle, stats, [](Monitor& m, HBAPORTSTATISCSI* out) {
    uint64_t values[35] = {};
    for (size_t i = 0; i < 35; ++i)
      if (izksim::kFirstGeneration[i]) values[i] = m.counters[izksim::kFirstGeneration[i]];
    std::memcpy(out, values, sizeof values);
  });
}

SD_EXPORT SD_STATUS SDGetStatisticsiSCSIExtend(SDMGT_HANDLE handle, HBAPORTSTATISCSIEXTEND* stats) {
  return izksim::read_statistics("SDGetStatisticsiSCSIExtend", "statisticsExtend", handle, stats,
                                 [](Monitor& m, HBAPORTSTATISCSIEXTEND* out) {
                                   for (size_t i = 0; i < HBAPORTSTATISCSIEXTEND::CounterCount; ++i)
                                     out->Counters[i] = m.counters[izksim::kExtended[i]];
                                 });
}

SD_EXPORT SD_STATUS SDGetStatisticsGen(SDMGT_HANDLE handle, HBAPORTSTATGEN* stats) {
  return izksim::read_statistics("SDGetStatisticsGen", "statisticsGen", handle, stats, [](Monitor& m, HBAPORTSTATGEN* out) {
    uint64_t values[7];
    for (size_t i = 0; i < 7; ++i) values[i] = m.counters[izksim::kGeneric[i]];
    std::memcpy(out, values, sizeof values);
  });
}

// Every counter of the adapter goes back to 0, whichever port is named.
SD_EXPORT SD_STATUS SDResetStatisticsiSCSI(SDMGT_HANDLE handle, uint16_t port) {
  SdCall c("SDResetStatisticsiSCSI");
  c.arg("handle", handle).arg("port", port);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  for (auto& kv : a->monitor.counters) kv.second = 0;
  a->monitor.ioBytes = 0;
  a->monitor.recorded.clear();
  return c.done(IZKSIM_OK);
}

// --- Diagnostics -------------------------------------------------------------------

// The adapter's own address and the scenario's pingReplies answer; any other
// address does not. At least one packet and a non-zero address are needed.
SD_EXPORT SD_STATUS SDDiagPing(SDMGT_HANDLE handle, PING* ping) {
  SdCall c("SDDiagPing");
  c.arg("handle", handle).rec("ping", ping, ping ? sizeof(PING) : 0);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!ping || ping->packetCount == 0) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const uint8_t zero[16] = {};
  if (std::memcmp(ping->IPAddr.IPAddress, zero, 16) == 0) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  std::vector<uint8_t> own(a->portal.begin(), a->portal.begin() + 16);  // HBAISCSIPORTAL.IPAddr
  bool answers = izksim::same_address(ping->IPAddr.IPAddress, own);
  for (const auto& addr : a->monitor.pingReplies) answers = answers || izksim::same_address(ping->IPAddr.IPAddress, addr);
  return c.done(answers ? IZKSIM_OK : IZKSIM_ST_PING_NO_REPLY);
}

// Runs are counted from the scenario's load; those it lists fail. The mode
// is only logged.
SD_EXPORT SD_STATUS SDPerformLoopBackTest(SDMGT_HANDLE handle, uint32_t mode) {
  SdCall c("SDPerformLoopBackTest");
  c.arg("handle", handle).arg("mode", mode);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  const uint64_t run = ++a->monitor.loopbackRuns;
  return c.done(a->monitor.loopbackFailures.count(run) ? IZKSIM_ST_LOOPBACK_FAILED : IZKSIM_OK);
}
