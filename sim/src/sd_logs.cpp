// The adapter's logs: the connection error log and the ARP table (up to 128
// entries each, the capacity of the caller's buffer), and the crash record,
// which SDGetCrashRecord writes to a file.
#include <cstdio>
#include <cstring>

#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::Bytes;
using izksim::SdCall;

namespace izksim {
namespace {

constexpr uint32_t kConnectionErrorLog = 1;
constexpr uint32_t kArpLog = 2;
constexpr size_t kCrashRecordMax = 64 * 1024;

static_assert(sizeof(CONNERRTABLE) == kConnErrSize, "CONNERRTABLE");
static_assert(sizeof(ARPTABLE) == kArpSize, "ARPTABLE");

const Layout kConnErr{"CONNERRTABLE",
                      kConnErrSize,
                      {
                          {"seconds", 0, Kind::U32, 4},
                          {"milliseconds", 4, Kind::U32, 4},
                          {"deviceIndex", 8, Kind::U16, 2},
                          {"connState", 10, Kind::U16, 2},
                          {"entryType", 12, Kind::U8, 1},
                          {"errorType", 13, Kind::U8, 1},
                          {"errorDetail", 14, Kind::U16, 2},
                          {"dupErrorCnt", 16, Kind::U8, 1},
                          {"reserved", 17, Kind::Hex, 3},
                      }};

const Layout kArp{"ARPTABLE",
                  kArpSize,
                  {
                      {"ipAddress", 0, Kind::IpAddr, 20},
                      {"macAddress", 20, Kind::Hex, 6},
                      {"valid", 26, Kind::U8, 1},
                      {"timeIn", 27, Kind::U8, 1},
                  }};

void load_list(const json& adapter, const char* key, const std::string& path, const Layout& layout,
               std::vector<Bytes>& out) {
  if (!adapter.contains(key)) return;
  const std::string p = path + "." + key;
  const json& list = adapter[key];
  require_array(list, p);
  if (list.size() > kLogEntriesMax) throw LoadError(p + ": more than 128 entries");
  for (size_t i = 0; i < list.size(); ++i) {
    Bytes b(layout.size, 0);
    load_record(list[i], layout, b, 0, p + "[" + std::to_string(i) + "]");
    out.push_back(std::move(b));
  }
}

json dump_list(const Layout& layout, const std::vector<Bytes>& entries) {
  json list = json::array();
  for (const Bytes& b : entries) list.push_back(dump_record(layout, b, 0));
  return list;
}

}  // namespace

// "connectionErrorLog" and "arpLog": arrays of CONNERRTABLE and ARPTABLE
// records by field name. "crashRecord": the record's bytes as hex, or
// {"text": "..."} for a record that is text.
void load_log_sections(const json& adapter, const std::string& path, Adapter& a) {
  load_list(adapter, "connectionErrorLog", path, kConnErr, a.connErrors);
  load_list(adapter, "arpLog", path, kArp, a.arpEntries);
  if (!adapter.contains("crashRecord")) return;
  const std::string p = path + ".crashRecord";
  const json& j = adapter["crashRecord"];
  if (j.is_object()) {
    check_keys(j, p, {"text"});
    const std::string text = json_string(j.value("text", json("")), p + ".text");
    a.crashRecord.assign(text.begin(), text.end());
  } else {
    a.crashRecord = parse_hex(json_string(j, p), p);
  }
  if (a.crashRecord.size() > kCrashRecordMax) throw LoadError(p + ": more than 65536 bytes");
  a.hasCrashRecord = true;
}

void dump_log_sections(const Adapter& a, json& out) {
  out["connectionErrorLog"] = dump_list(kConnErr, a.connErrors);
  out["arpLog"] = dump_list(kArp, a.arpEntries);
  if (a.hasCrashRecord) out["crashRecord"] = to_hex(a.crashRecord.data(), a.crashRecord.size());
}

}  // namespace izksim

// Log 1 is the connection error log (CONNERRTABLE records), log 2 the ARP
// table (ARPTABLE records); the buffer holds 128 of them. Any other log type
// is an invalid parameter.
SD_EXPORT SD_STATUS SDGetLogs(SDMGT_HANDLE handle, uint32_t logType, uint32_t* numEntries, void* buffer) {
  SdCall c("SDGetLogs");
  c.arg("handle", handle).arg("logType", logType).rec("numEntries", numEntries, numEntries ? sizeof *numEntries : 0);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  const std::vector<Bytes>* entries = logType == izksim::kConnectionErrorLog ? &a->connErrors
                                      : logType == izksim::kArpLog           ? &a->arpEntries
                                                                             : nullptr;
  if (!entries || !numEntries || !buffer) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  uint8_t* out = static_cast<uint8_t*>(buffer);
  for (const Bytes& e : *entries) {
    std::memcpy(out, e.data(), e.size());
    out += e.size();
  }
  *numEntries = uint32_t(entries->size());
  return c.done(IZKSIM_OK);
}

// Writes the crash record, as it stands, to the file (created or truncated).
// No crash record: IZKSIM_ST_ENTRY_NOT_FOUND, no file written. A file that
// cannot be opened or written: IZKSIM_ST_FILE_ERROR.
SD_EXPORT SD_STATUS SDGetCrashRecord(SDMGT_HANDLE handle, const char* fileName) {
  SdCall c("SDGetCrashRecord");
  c.arg("handle", handle).text("fileName", fileName);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!fileName) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  if (!a->hasCrashRecord) return c.done(IZKSIM_ST_ENTRY_NOT_FOUND);
  FILE* f = std::fopen(fileName, "wb");
  if (!f) return c.done(IZKSIM_ST_FILE_ERROR);
  const size_t n = a->crashRecord.size();
  const bool written = n == 0 || std::fwrite(a->crashRecord.data(), 1, n, f) == n;
  const bool closed = std::fclose(f) == 0;
  return c.done(written && closed ? IZKSIM_OK : IZKSIM_ST_FILE_ERROR);
}
