// The recording proxy: a libizksdm.so that loads the real device-management
// library named by $IZKSDM_RECORD_LIBRARY and forwards every SD call to it
// unchanged (same arguments, same status, same pointers), keeping a copy of
// what the library answered. Nothing is written during a call; the copies
// become a simulator scenario when the file is written (recording.cpp).
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "recording.hpp"
#include "sd_functions.hpp"
#include "sdm/sdm_api.h"

#define IZKREC_EXPORT extern "C" __attribute__((visibility("default")))

namespace izkrec {

namespace {

// Statuses answered when there is no real library to forward to.
constexpr uint32_t kNoSuchInstance = 0x20000002u;
constexpr uint32_t kInvalidHandle = 0x20000001u;

const char* const kNames[] = {
#define IZKREC_NAME(name) #name,
    IZKREC_SD_FUNCTIONS(IZKREC_NAME)
#undef IZKREC_NAME
};

struct Real {
  void* fn[kFunctionCount] = {};
};

Real load_real() {
  Real r;
  const char* path = std::getenv("IZKSDM_RECORD_LIBRARY");
  if (!path || !*path) {
    std::fprintf(stderr, "izksdm recorder: IZKSDM_RECORD_LIBRARY does not name the device-management library; "
                         "no adapter answers\n");
    return r;
  }
  // RTLD_DEEPBIND: the real library's calls of its own SD functions stay
  // inside it instead of coming back through these forwarders. The
  // sanitizers' runtime refuses it; their builds bind the usual way.
#if defined(__SANITIZE_ADDRESS__)
  void* lib = dlopen(path, RTLD_NOW | RTLD_LOCAL);
#else
  void* lib = dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
#endif
  if (!lib) {
    std::fprintf(stderr, "izksdm recorder: cannot load %s: %s\n", path, dlerror());
    return r;
  }
  std::string missing;
  int count = 0;
  for (int i = 0; i < kFunctionCount; ++i) {
    r.fn[i] = dlsym(lib, kNames[i]);
    if (!r.fn[i] && count++ < 3) missing += std::string(missing.empty() ? "" : ", ") + kNames[i];
  }
  if (count)
    std::fprintf(stderr, "izksdm recorder: %s lacks %d SD functions (%s%s); they answer 0x%08x\n", path, count,
                 missing.c_str(), count > 3 ? ", ..." : "", kInvalidHandle);
  install_hooks();
  return r;
}

const Real& real() {
  static const Real r = load_real();
  return r;
}

template <class T>
T* fn_of(Fn f) {
  return reinterpret_cast<T*>(real().fn[f]);
}

#define IZKREC_REAL(name) fn_of<decltype(::name)>(k_##name)
// Forwards a call, or answers `fallback` when the real library lacks the function.
#define IZKREC_FORWARD(fallback, name, ...) \
  (IZKREC_REAL(name) ? IZKREC_REAL(name)(__VA_ARGS__) : (fallback))

Bytes bytes_of(const void* p, size_t n) {
  const uint8_t* b = static_cast<const uint8_t*>(p);
  return Bytes(b, b + n);
}

using Lock = std::lock_guard<std::timed_mutex>;

// Runs f(adapter) under the recording's lock for an adapter opened through us.
template <class F>
void with_adapter(uint32_t handle, F f) {
  Recording& r = recording();
  Lock lock(r.mu);
  if (AdapterRec* a = r.by_handle(handle)) {
    f(*a);
    r.changed = true;
  }
}

// A whole-adapter read: keep(adapter) on success, its status on failure.
template <class F>
void read_outcome(uint32_t handle, Fn fn, uint32_t status, F keep) {
  with_adapter(handle, [&](AdapterRec& a) {
    if (status == 0) {
      keep(a);
      if (!a.failures.empty()) a.failures.erase(fn);
    } else {
      a.failures[fn] = status;
    }
  });
}

void read_answer(uint32_t handle, Fn fn, uint32_t status, const void* record, size_t size) {
  if (status == 0 && !record) return;
  read_outcome(handle, fn, status, [&](AdapterRec& a) {
    Answer& answer = a.reads[fn];
    answer.bytes.assign(static_cast<const uint8_t*>(record), static_cast<const uint8_t*>(record) + size);
    answer.seen = true;
  });
}

template <class T>
void read_record(uint32_t handle, Fn fn, uint32_t status, const T* record) {
  read_answer(handle, fn, status, record, sizeof(T));
}

std::vector<Bytes> split(const void* p, size_t count, size_t size) {
  std::vector<Bytes> out;
  const uint8_t* b = static_cast<const uint8_t*>(p);
  for (size_t i = 0; i < count; ++i) out.emplace_back(b + i * size, b + (i + 1) * size);
  return out;
}

uint32_t be(const uint8_t* p, size_t n) {
  uint32_t v = 0;
  for (size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

// The LUN a TARGETINFORMATION names.
LunRec& lun_of(AdapterRec& a, const TARGETINFORMATION* t) { return a.target(t->BusNumber, t->TargetID).luns[t->LUN]; }

// Standard INQUIRY data as far as the device filled it.
Bytes inquiry_bytes(const uint8_t* data, size_t length) {
  size_t n = length >= 5 ? size_t(data[4]) + 5 : length;
  return bytes_of(data, n < length ? n : length);
}

// What a pass-through command tells about its LUN.
void capture_passthru(AdapterRec& a, const TARGETINFORMATION* t, const uint8_t* cdb, uint32_t cdbLength,
                      const uint8_t* in, uint32_t inLength, const uint8_t* sense, uint32_t senseLength,
                      uint32_t status) {
  if (!cdb || cdbLength == 0) return;
  const uint8_t op = cdb[0];
  const bool good = status == 0;
  const bool checked = status == 0x20000040u && sense && senseLength >= 14;
  const uint8_t key = checked ? (sense[2] & 0x0F) : 0;
  switch (op) {
    case 0x00:  // TEST UNIT READY
      if (good) lun_of(a, t).ready = true;
      if (checked && key == 0x02) lun_of(a, t).ready = false;
      break;
    case 0x12:  // INQUIRY
      if (cdbLength < 6) break;
      if (!(cdb[1] & 1)) {
        if (good && in && inLength) lun_of(a, t).inquiry = inquiry_bytes(in, std::min<size_t>(inLength, be(cdb + 3, 2)));
      } else if (good && in && inLength >= 4) {
        const size_t n = std::min<size_t>({size_t(inLength), size_t(be(in + 2, 2)) + 4, size_t(be(cdb + 3, 2))});
        lun_of(a, t).vpd[cdb[2]] = bytes_of(in, n);
        lun_of(a, t).vpdRefused.erase(cdb[2]);
      } else if (checked) {
        lun_of(a, t).vpdRefused[cdb[2]] = status;
      }
      break;
    case 0x25:  // READ CAPACITY(10)
      if (good && in && inLength >= 8) lun_of(a, t).readCapacity10 = bytes_of(in, 8);
      break;
    case 0x9E:  // READ CAPACITY(16)
      if (good && in && inLength >= 12 && cdbLength >= 2 && (cdb[1] & 0x1F) == 0x10)
        lun_of(a, t).readCapacity16 = bytes_of(in, std::min<size_t>(inLength, 32));
      break;
    case 0x3C:  // READ BUFFER
      if (good && in && cdbLength >= 10 && (cdb[1] & 0x1F) == 0x02 && be(cdb + 3, 3) == 0) {
        LunRec& l = lun_of(a, t);
        l.buffer = bytes_of(in, std::min<size_t>(inLength, be(cdb + 6, 3)));
        l.bufferSupported = true;
      }
      if (checked && key == 0x05 && sense[12] == 0x20) lun_of(a, t).bufferSupported = false;
      break;
    default:
      break;
  }
}

std::atomic<bool> g_missing_reported{false};

}  // namespace

// A function whose answers are not recorded (writes, commands): forwarded as it is.
#define IZKREC_PASS(name, params, args)                  \
  IZKREC_EXPORT SD_STATUS name params {                  \
    auto* real_fn = IZKREC_REAL(name);                   \
    return real_fn ? real_fn args : kInvalidHandle;      \
  }

// A whole-adapter read of one record: forwarded, the record or the refusal kept.
#define IZKREC_READ(name, Record)                                 \
  IZKREC_EXPORT SD_STATUS name(SDMGT_HANDLE handle, Record* record) { \
    const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, name, handle, record); \
    read_record(handle, k_##name, st, record);                    \
    return st;                                                    \
  }

const char* fn_name(Fn f) { return f >= 0 && f < kFunctionCount ? kNames[f] : "?"; }

TargetRec& AdapterRec::target(uint16_t bus, uint16_t id) {
  TargetRec& t = targets[uint64_t(bus) << 16 | id];
  t.bus = bus;
  t.targetId = id;
  return t;
}

}  // namespace izkrec

using namespace izkrec;

// --- Library and adapter sessions -------------------------------------------

IZKREC_EXPORT SD_STATUS SDOpenDeviceiSCSI(uint32_t instance, SDMGT_HANDLE* handle) {
  const SD_STATUS st = IZKREC_FORWARD(kNoSuchInstance, SDOpenDeviceiSCSI, instance, handle);
  if (st == 0 && handle) {
    Recording& r = recording();
    Lock lock(r.mu);
    AdapterRec& a = r.adapters[instance];
    a.instance = instance;
    a.handle = *handle;
    r.instanceOf[*handle] = instance;
    r.changed = true;
  }
  return st;
}

IZKREC_PASS(SDCloseDeviceiSCSI, (SDMGT_HANDLE handle), (handle))

IZKREC_EXPORT SD_STATUS SDGetVersioniSCSI(char* buffer, uint32_t length) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetVersioniSCSI, buffer, length);
  if (st == 0 && buffer && length) {
    Recording& r = recording();
    Lock lock(r.mu);
    r.version = std::string(buffer, strnlen(buffer, length));
    r.changed = true;
  }
  return st;
}

IZKREC_EXPORT const char* SDGetErrorStringiSCSI(SD_STATUS status) {
  if (!IZKREC_REAL(SDGetErrorStringiSCSI)) {
    if (!g_missing_reported.exchange(true))
      std::fprintf(stderr, "izksdm recorder: no device-management library to ask for status texts\n");
    return "No device-management library loaded (izksdm recorder)";
  }
  return IZKREC_REAL(SDGetErrorStringiSCSI)(status);
}

IZKREC_PASS(SDEnableDebugTraceiSCSI, (SDMGT_HANDLE* handle, const char* fileName, int32_t level), (handle, fileName, level))

// --- Asynchronous event notifications ---------------------------------------

IZKREC_PASS(SDStartAENPoll, (SDMGT_HANDLE handle, uint32_t intervalMs, SDM_AEN_CALLBACK callback), (handle, intervalMs, callback))
IZKREC_PASS(SDStopAENPoll, (SDMGT_HANDLE handle), (handle))
IZKREC_PASS(SDEnableAeniSCSI, (SDMGT_HANDLE handle, uint32_t intervalMs), (handle, intervalMs))
IZKREC_PASS(SDDisableAeniSCSI, (SDMGT_HANDLE handle, int32_t levelShutdown), (handle, levelShutdown))

// The events handed out are kept (the newest 1024 per adapter), to be queued
// again when the scenario loads.
IZKREC_EXPORT SD_STATUS SDGetAeniSCSI(SDMGT_HANDLE handle, ASYNC_EVENT* events, uint32_t bufferSizeInEvents,
                                      uint32_t* count, uint32_t* rollOver) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetAeniSCSI, handle, events, bufferSizeInEvents, count,
                                      rollOver);
  if (st == 0 && events && count && *count) {
    const uint32_t n = *count < bufferSizeInEvents ? *count : bufferSizeInEvents;
    with_adapter(handle, [&](AdapterRec& a) {
      for (uint32_t i = 0; i < n; ++i) {
        a.events.push_back(bytes_of(&events[i], sizeof(ASYNC_EVENT)));
        if (a.events.size() > 1024) a.events.pop_front();
      }
    });
  }
  return st;
}

IZKREC_PASS(SDSetAENValidTime, (SDMGT_HANDLE handle, uint32_t validTime), (handle, validTime))

// --- Adapter properties -----------------------------------------------------

// Only portal 0 has a place in a scenario.
IZKREC_EXPORT SD_STATUS SDGetHbaDevicePortalPropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal,
                                                          HBAISCSIPORTAL* property) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetHbaDevicePortalPropertyiSCSI, handle, portal, property);
  if (portal == 0) read_record(handle, k_SDGetHbaDevicePortalPropertyiSCSI, st, property);
  return st;
}

IZKREC_READ(SDGetHbaDeviceNodePropertyiSCSI, HBAISCSINODE)
IZKREC_READ(SDGetHbaDeviceDriverPropertyiSCSI, DRIVERINFO)
IZKREC_READ(SDGetHbaDeviceChipPropertyiSCSI, CHIPINFO)

IZKREC_EXPORT SD_STATUS SDGetHBAAlias(SDMGT_HANDLE handle, char* alias) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetHBAAlias, handle, alias);
  if (st != 0 || alias)
    read_outcome(handle, k_SDGetHBAAlias, st, [&](AdapterRec& a) { a.alias = std::string(alias, strnlen(alias, 64)); });
  return st;
}

IZKREC_PASS(SDSetHBAAlias, (SDMGT_HANDLE handle, char* alias), (handle, alias))

IZKREC_EXPORT SD_STATUS SDGetTCPMaxWindowSize(SDMGT_HANDLE handle, uint16_t* size) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetTCPMaxWindowSize, handle, size);
  if (st != 0 || size) read_outcome(handle, k_SDGetTCPMaxWindowSize, st, [&](AdapterRec& a) { a.tcpMaxWindow = *size; });
  return st;
}

IZKREC_PASS(SDSetTCPMaxWindowSize, (SDMGT_HANDLE handle, uint32_t size), (handle, size))

// --- Firmware initialization block ------------------------------------------

IZKREC_READ(SDGetInitFW, INITFWISCSI)
IZKREC_PASS(SDSetInitFW, (SDMGT_HANDLE handle, INITFWISCSI* initFW), (handle, initFW))
IZKREC_READ(SDGetFWDefaults, INITFWISCSI)
IZKREC_PASS(SDSetFWDefaults, (SDMGT_HANDLE handle, INITFWISCSI* initFW), (handle, initFW))
IZKREC_PASS(SDRestoreDefaults, (SDMGT_HANDLE handle, uint32_t regionMask, uint32_t detailMask), (handle, regionMask, detailMask))
IZKREC_PASS(SDResetHBA, (SDMGT_HANDLE handle, HBARESET* reset), (handle, reset))

// --- Device database --------------------------------------------------------

IZKREC_PASS(SDGetDDBEntryNum, (SDMGT_HANDLE handle, uint32_t* count), (handle, count))

IZKREC_EXPORT SD_STATUS SDGetDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t index) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetDDBEntry, handle, entry, index);
  if (st == 0 && entry)
    with_adapter(handle, [&](AdapterRec& a) {
      const uint8_t* b = reinterpret_cast<const uint8_t*>(entry);
      a.ddb[index].assign(b, b + sizeof *entry);
    });
  return st;
}

IZKREC_PASS(SDSetDDBEntry, (SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t targetID), (handle, entry, targetID))
IZKREC_PASS(SDSetDDBEntryFlashOnly, (SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t targetID), (handle, entry, targetID))
IZKREC_READ(SDGetDefaultDDBEntry, DEVICEENTRYISCSI)
IZKREC_PASS(SDGetInitialDDBEntry, (SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t index), (handle, entry, index))
IZKREC_PASS(SDSendiSCSILogout, (SDMGT_HANDLE handle, LOGOUTISCSI* logout), (handle, logout))

// --- CHAP secret table ------------------------------------------------------

IZKREC_PASS(SDGetCHAPEntryNum, (SDMGT_HANDLE handle, uint32_t* count), (handle, count))

IZKREC_EXPORT SD_STATUS SDGetCHAPTable(SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count) {
  const uint32_t capacity = count ? *count : 0;
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetCHAPTable, handle, table, count);
  if (st == 0 && table && count)
    with_adapter(handle, [&](AdapterRec& a) {
      a.chapDense = split(table, *count < capacity ? *count : capacity, sizeof(CHAPTABLE));
    });
  return st;
}

// Every slot from index 0; *count is the number of slots coming out.
IZKREC_EXPORT SD_STATUS SDGetCHAPTableMod(SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count) {
  const uint32_t capacity = count ? *count : 0;
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetCHAPTableMod, handle, table, count);
  if (st == 0 && table && count)
    with_adapter(handle, [&](AdapterRec& a) {
      a.chapSlots = split(table, *count < capacity ? *count : capacity, sizeof(CHAPTABLE));
    });
  return st;
}

IZKREC_PASS(SDSetCHAPTable, (SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count), (handle, table, count))
IZKREC_PASS(SDSetCHAPTableEntry, (SDMGT_HANDLE handle, CHAPTABLE* entry, uint32_t index), (handle, entry, index))

// --- Targets, LUNs and SCSI commands ----------------------------------------

IZKREC_EXPORT SD_STATUS SDGetDiscPortalPropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal, uint32_t targetID,
                                                     uint32_t reserved, DISCISCSIPORTAL* property) {
  const SD_STATUS st =
      IZKREC_FORWARD(kInvalidHandle, SDGetDiscPortalPropertyiSCSI, handle, portal, targetID, reserved, property);
  if (st == 0 && property && portal == 0)
    with_adapter(handle, [&](AdapterRec& a) {
      a.target(property->TargetInfo.BusNumber, uint16_t(targetID)).portal = bytes_of(property, sizeof *property);
    });
  return st;
}

IZKREC_EXPORT SD_STATUS SDGetDiscNodePropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal, uint32_t targetID,
                                                   uint32_t reserved, DISCISCSINODE* property) {
  const SD_STATUS st =
      IZKREC_FORWARD(kInvalidHandle, SDGetDiscNodePropertyiSCSI, handle, portal, targetID, reserved, property);
  if (st == 0 && property && portal == 0)
    with_adapter(handle, [&](AdapterRec& a) {
      a.target(property->TargetInfo.BusNumber, uint16_t(targetID)).node = bytes_of(property, sizeof *property);
    });
  return st;
}

// The LUN list as far as its length field says, with the status it came with
// (some arrays end a good list with a data underrun status).
IZKREC_EXPORT SD_STATUS SDSendScsiReportLunsCmdiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* buffer,
                                                     uint32_t bufferSize, uint8_t* sense, uint32_t senseSize) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDSendScsiReportLunsCmdiSCSI, handle, target, buffer,
                                      bufferSize, sense, senseSize);
  if (target && buffer && bufferSize >= 8 && (st == 0 || be(buffer, 4) != 0) && st != 0x20000040u)
    with_adapter(handle, [&](AdapterRec& a) {
      TargetRec& t = a.target(target->BusNumber, target->TargetID);
      const size_t n = std::min<size_t>(bufferSize, size_t(be(buffer, 4)) + 8);
      t.reportLuns = bytes_of(buffer, n);
      t.reportLunsStatus = st;
    });
  return st;
}

IZKREC_EXPORT SD_STATUS SDSendScsiInquiryCmdiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* buffer,
                                                  uint32_t bufferSize, uint8_t* sense, uint32_t senseSize) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDSendScsiInquiryCmdiSCSI, handle, target, buffer, bufferSize,
                                      sense, senseSize);
  if (st == 0 && target && buffer && bufferSize)
    with_adapter(handle, [&](AdapterRec& a) {
      lun_of(a, target).inquiry = inquiry_bytes(buffer, bufferSize > 255 ? 255 : bufferSize);
    });
  return st;
}

IZKREC_EXPORT SD_STATUS SDSendReadMBCapacity(SDMGT_HANDLE handle, TARGETINFORMATION* target,
                                             SD_CAPACITY_INFO_STRUC* capacity) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDSendReadMBCapacity, handle, target, capacity);
  if (st == 0 && target && capacity)
    with_adapter(handle, [&](AdapterRec& a) { lun_of(a, target).capacity = bytes_of(capacity, sizeof *capacity); });
  return st;
}

IZKREC_EXPORT SD_STATUS SDSendScsiPassThruiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* cdb,
                                                uint32_t cdbLength, uint8_t* dataOut, uint32_t dataOutLength,
                                                uint8_t* dataIn, uint32_t dataInLength, uint8_t* sense,
                                                uint32_t senseLength) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDSendScsiPassThruiSCSI, handle, target, cdb, cdbLength,
                                      dataOut, dataOutLength, dataIn, dataInLength, sense, senseLength);
  if (target)
    with_adapter(handle, [&](AdapterRec& a) {
      capture_passthru(a, target, cdb, cdbLength, dataIn, dataInLength, sense, senseLength, st);
    });
  return st;
}

// --- Statistics, state and logs ---------------------------------------------

IZKREC_READ(SDGetStatisticsiSCSI, HBAPORTSTATISCSI)
IZKREC_READ(SDGetStatisticsiSCSIExtend, HBAPORTSTATISCSIEXTEND)
IZKREC_READ(SDGetStatisticsGen, HBAPORTSTATGEN)
IZKREC_PASS(SDResetStatisticsiSCSI, (SDMGT_HANDLE handle, uint16_t port), (handle, port))

// Log 1: connection errors (CONNERRTABLE), log 2: ARP table (ARPTABLE).
IZKREC_EXPORT SD_STATUS SDGetLogs(SDMGT_HANDLE handle, uint32_t logType, uint32_t* numEntries, void* buffer) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetLogs, handle, logType, numEntries, buffer);
  if (st == 0 && numEntries && buffer && (logType == 1 || logType == 2))
    with_adapter(handle, [&](AdapterRec& a) {
      const size_t n = *numEntries < 128 ? *numEntries : 128;  // the caller's buffer holds 128
      if (logType == 1)
        a.connErrors = split(buffer, n, sizeof(CONNERRTABLE));
      else
        a.arp = split(buffer, n, sizeof(ARPTABLE));
    });
  return st;
}

// The record the library wrote to the file is read back (at most 64 KiB).
IZKREC_EXPORT SD_STATUS SDGetCrashRecord(SDMGT_HANDLE handle, const char* fileName) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetCrashRecord, handle, fileName);
  if (st == 0 && fileName) {
    std::ifstream in(fileName, std::ios::binary);
    Bytes b;
    char chunk[4096];
    while (in && b.size() < 65536) {
      in.read(chunk, sizeof chunk);
      b.insert(b.end(), chunk, chunk + in.gcount());
    }
    if (b.size() > 65536) b.resize(65536);
    with_adapter(handle, [&](AdapterRec& a) { a.crashRecord = std::move(b); });
  } else if (st == 0x20000008u) {
    with_adapter(handle, [&](AdapterRec& a) { a.crashRecord.reset(); });
  }
  return st;
}

// --- iSNS discovery ---------------------------------------------------------

IZKREC_READ(SDGet_iSNSDiscoveryConfig, SDM_ISNS_CONFIG)
IZKREC_PASS(SDSet_iSNSDiscoveryConfig, (SDMGT_HANDLE handle, SDM_ISNS_CONFIG config), (handle, config))

IZKREC_EXPORT SD_STATUS SDGetAlliSNSDiscoveredTargets(SDMGT_HANDLE handle, uint32_t* count,
                                                      SDM_ISNS_DISCOVERED_TARGET* buffer, uint32_t bufferSize) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetAlliSNSDiscoveredTargets, handle, count, buffer,
                                      bufferSize);
  if (st == 0 && count && (buffer || *count == 0))
    with_adapter(handle, [&](AdapterRec& a) {
      const size_t fit = bufferSize / sizeof(SDM_ISNS_DISCOVERED_TARGET);
      a.isnsTargets = split(buffer, *count < fit ? *count : fit, sizeof(SDM_ISNS_DISCOVERED_TARGET));
    });
  return st;
}

// --- IPsec security ---------------------------------------------------------

// The table comes back slot by slot up to the capacity; *numEntries counts
// the policies in use.
IZKREC_EXPORT SD_STATUS SDGetSecurityPolicyTable(SDMGT_HANDLE handle, SECURITYPOLICY* table,
                                                 uint32_t* numEntries) {
  const uint32_t capacity = numEntries ? *numEntries : 0;
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetSecurityPolicyTable, handle, table, numEntries);
  if (st != 0 || (table && numEntries))
    read_outcome(handle, k_SDGetSecurityPolicyTable, st, [&](AdapterRec& a) {
      a.policies = split(table, capacity < 64 ? capacity : 64, sizeof(SECURITYPOLICY));
      a.policyCount = *numEntries;
    });
  return st;
}

IZKREC_PASS(SDSetSecurityPolicyTable, (SDMGT_HANDLE handle, SECURITYPOLICY* table, uint32_t numEntries, uint32_t flag), (handle, table, numEntries, flag))
IZKREC_READ(SDGetSecurityInfo, SECINFO)
IZKREC_READ(SDGetSecurityStatsGen, HBASECURITYSTATS)

// The reader's array holds 200 SAs.
IZKREC_EXPORT SD_STATUS SDGetAllIKESAStatsDetails(SDMGT_HANDLE handle, IKESA* array, uint32_t* count) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetAllIKESAStatsDetails, handle, array, count);
  if (st == 0 && array && count)
    with_adapter(handle, [&](AdapterRec& a) { a.ikeSAs = split(array, *count < 200 ? *count : 200, sizeof(IKESA)); });
  return st;
}

IZKREC_PASS(SDGetIPsecSACountForPolicy, (SDMGT_HANDLE handle, uint32_t priority, uint32_t* count), (handle, priority, count))

IZKREC_EXPORT SD_STATUS SDGetIPsecSAStatsDetails(SDMGT_HANDLE handle, uint32_t priority, uint32_t count,
                                                 IPSECSA* array) {
  const SD_STATUS st = IZKREC_FORWARD(kInvalidHandle, SDGetIPsecSAStatsDetails, handle, priority, count, array);
  if (st == 0 && array)
    with_adapter(handle, [&](AdapterRec& a) { a.ipsecSAs[priority] = split(array, count, sizeof(IPSECSA)); });
  return st;
}

IZKREC_PASS(SDFlushSAs, (SDMGT_HANDLE handle, uint32_t index), (handle, index))

// --- Boot configuration -----------------------------------------------------

IZKREC_READ(SDGetBootcodeInfo, SDMBOOTCODE)
IZKREC_PASS(SDSetBootcodeInfo, (SDMGT_HANDLE handle, SDMBOOTCODE* bootcode), (handle, bootcode))
IZKREC_READ(SDGetBootcodeDhcp, BOOTCODEDHCP)
IZKREC_PASS(SDSetBootcodeDhcp, (SDMGT_HANDLE handle, BOOTCODEDHCP* dhcp), (handle, dhcp))
IZKREC_PASS(SDEraseBootCode, (SDMGT_HANDLE handle), (handle))

// --- Diagnostics and maintenance --------------------------------------------

IZKREC_PASS(SDDiagPing, (SDMGT_HANDLE handle, PING* ping), (handle, ping))
IZKREC_PASS(SDPerformLoopBackTest, (SDMGT_HANDLE handle, uint32_t mode), (handle, mode))
IZKREC_READ(SDGetVPDInfo, VPD_INFO)
IZKREC_PASS(SDUpdateiSCSIFW, (SDMGT_HANDLE handle, const char* path, uint16_t type), (handle, path, type))

// --- Control ------------------------------------------------------------------

// Writes the scenario file now; 0 on success. For tests and for callers that
// want a snapshot without a signal.
IZKREC_EXPORT int izkrec_write_now(void) { return izkrec::write_now() ? 0 : -1; }

// Forgets everything recorded so far (tests start each case from nothing).
IZKREC_EXPORT void izkrec_clear(void) {
  Recording& r = recording();
  Lock lock(r.mu);
  r.adapters.clear();
  r.instanceOf.clear();
  r.last = nullptr;
  r.version.reset();
  r.changed = true;
}
