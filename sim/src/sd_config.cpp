// Adapter configuration: properties, alias and TCP window, the firmware
// initialization block and its defaults, reset, and the device database.
//
// Everything here reads and writes the adapter's state, which lives until the
// next reset or scenario load. Records are copied as raw bytes in the
// library's little-endian layout; only the few fields the simulator acts on
// are looked at.
#include <cstring>

#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::Bytes;
using izksim::SdCall;
using izksim::copy_out;
using izksim::read_stored;

namespace {

// Record sizes of the library's wire format.
constexpr size_t kPortalSize = 720;
constexpr size_t kNodeSize = 452;
constexpr size_t kDriverSize = 200;
constexpr size_t kChipSize = 122;
constexpr size_t kInitFwSize = 782;
constexpr size_t kResetSize = 8;
constexpr size_t kLogoutSize = 10;
constexpr size_t kAliasBuffer = izksim::kAliasMax + 1;  // the caller's buffer, NUL included

static_assert(sizeof(HBAISCSIPORTAL) == kPortalSize, "HBAISCSIPORTAL");
static_assert(sizeof(HBAISCSINODE) == kNodeSize, "HBAISCSINODE");
static_assert(sizeof(DRIVERINFO) == kDriverSize, "DRIVERINFO");
static_assert(sizeof(CHIPINFO) == kChipSize, "CHIPINFO");
static_assert(sizeof(INITFWISCSI) == kInitFwSize, "INITFWISCSI");
static_assert(sizeof(HBARESET) == kResetSize, "HBARESET");
static_assert(sizeof(LOGOUTISCSI) == kLogoutSize, "LOGOUTISCSI");
static_assert(sizeof(DEVICEENTRYISCSI) == izksim::kDdbEntrySize, "DEVICEENTRYISCSI");

// Device states of a database entry.
constexpr uint32_t kStateNoConnection = 1;
constexpr uint32_t kStateActive = 4;
constexpr uint32_t kStateFailed = 6;

// Logout option bit: drop the entry as well (it stays stored, with state 0).
constexpr uint16_t kLogoutFreeEntry = 0x0001;
// Restore region bit: the firmware initialization block.
constexpr uint32_t kRegionInitFw = 0x0001;

template <class T>
size_t size_of(const T* p) {
  return p ? sizeof(T) : 0;
}

void copy_in(Bytes& dst, const void* src, size_t size) {
  const uint8_t* p = static_cast<const uint8_t*>(src);
  dst.assign(p, p + size);
}

// The node property and the portal's address show what the running
// initialization block holds: its address, iSCSI name and alias.
void follow_init_fw(Adapter& a) {
  std::memcpy(a.portal.data() + 0, a.initFw.data() + 8, 20);          // IPAddr
  std::memcpy(a.node.data() + 130 + 0, a.initFw.data() + 8, 20);      // NodeInfoISCSI.IPAddr
  std::memcpy(a.node.data() + 130 + 20, a.initFw.data() + 444, 256);  // NodeInfoISCSI.iSCSIName
  std::memcpy(a.node.data() + 130 + 276, a.initFw.data() + 412, 32);  // NodeInfoISCSI.Alias
}

uint32_t entry_state(const izksim::DdbEntry& e) { return uint32_t(izksim::get_le(e.bytes, izksim::kDdbDeviceState, 4)); }

// Stores an entry at `targetID`. The written bytes come back unchanged from
// SDGetDDBEntry except NextValid, which follows the database from now on.
uint32_t store_entry(SdCall& c, SDMGT_HANDLE handle, const DEVICEENTRYISCSI* entry, uint32_t targetID) {
  Adapter* a = c.open_adapter(handle);
  if (!a) return IZKSIM_ST_INVALID_HANDLE;
  if (!entry || targetID >= izksim::kDdbEntries) return IZKSIM_ST_INVALID_PARAMETER;
  izksim::DdbEntry& e = a->ddb[targetID];
  copy_in(e.bytes, entry, sizeof *entry);
  e.fixedNextValid = false;
  return IZKSIM_OK;
}

}  // namespace

// --- Adapter properties -------------------------------------------------------

SD_EXPORT SD_STATUS SDGetHbaDevicePortalPropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal, HBAISCSIPORTAL* property) {
  SdCall c("SDGetHbaDevicePortalPropertyiSCSI");
  c.arg("handle", handle).arg("portal", portal).rec("property", property, size_of(property));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  // The simulated adapters have one network portal.
  if (!property || portal != 0) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  copy_out(property, a->portal, kPortalSize);
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDGetHbaDeviceNodePropertyiSCSI(SDMGT_HANDLE handle, HBAISCSINODE* property) {
  SdCall c("SDGetHbaDeviceNodePropertyiSCSI");
  c.arg("handle", handle).rec("property", property, size_of(property));
  return read_stored(c, handle, property, &Adapter::node);
}

SD_EXPORT SD_STATUS SDGetHbaDeviceDriverPropertyiSCSI(SDMGT_HANDLE handle, DRIVERINFO* property) {
  SdCall c("SDGetHbaDeviceDriverPropertyiSCSI");
  c.arg("handle", handle).rec("property", property, size_of(property));
  return read_stored(c, handle, property, &Adapter::driver);
}

SD_EXPORT SD_STATUS SDGetHbaDeviceChipPropertyiSCSI(SDMGT_HANDLE handle, CHIPINFO* property) {
  SdCall c("SDGetHbaDeviceChipPropertyiSCSI");
  c.arg("handle", handle).rec("property", property, size_of(property));
  return read_stored(c, handle, property, &Adapter::chip);
}

// The alias buffer is 65 bytes: the alias (at most 64 bytes) and its NUL are
// written, nothing after them.
SD_EXPORT SD_STATUS SDGetHBAAlias(SDMGT_HANDLE handle, char* alias) {
  SdCall c("SDGetHBAAlias");
  c.arg("handle", handle).rec("alias", alias, alias ? kAliasBuffer : 0);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!alias) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const size_t n = a->alias.size() < izksim::kAliasMax ? a->alias.size() : izksim::kAliasMax;
  std::memcpy(alias, a->alias.data(), n);
  alias[n] = '\0';
  return c.done(IZKSIM_OK);
}

// Keeps at most 64 bytes of the alias; the buffer is not read past its 65th byte.
SD_EXPORT SD_STATUS SDSetHBAAlias(SDMGT_HANDLE handle, char* alias) {
  SdCall c("SDSetHBAAlias");
  c.arg("handle", handle).text_n("alias", alias, kAliasBuffer);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!alias) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  a->alias.assign(alias, strnlen(alias, izksim::kAliasMax));
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDGetTCPMaxWindowSize(SDMGT_HANDLE handle, uint16_t* size) {
  SdCall c("SDGetTCPMaxWindowSize");
  c.arg("handle", handle).rec("size", size, size_of(size));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!size) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  *size = a->tcpMaxWindow;
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDSetTCPMaxWindowSize(SDMGT_HANDLE handle, uint32_t size) {
  SdCall c("SDSetTCPMaxWindowSize");
  c.arg("handle", handle).arg("size", size);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (size > 0xFFFF) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  a->tcpMaxWindow = uint16_t(size);
  return c.done(IZKSIM_OK);
}

// --- Firmware initialization block --------------------------------------------

SD_EXPORT SD_STATUS SDGetInitFW(SDMGT_HANDLE handle, INITFWISCSI* initFW) {
  SdCall c("SDGetInitFW");
  c.arg("handle", handle).rec("initFW", initFW, size_of(initFW));
  return read_stored(c, handle, initFW, &Adapter::initFw);
}

// The block is taken whole, as given (reserved bytes included).
SD_EXPORT SD_STATUS SDSetInitFW(SDMGT_HANDLE handle, INITFWISCSI* initFW) {
  SdCall c("SDSetInitFW");
  c.arg("handle", handle).rec("initFW", initFW, size_of(initFW));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!initFW) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  copy_in(a->initFw, initFW, kInitFwSize);
  follow_init_fw(*a);
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDGetFWDefaults(SDMGT_HANDLE handle, INITFWISCSI* initFW) {
  SdCall c("SDGetFWDefaults");
  c.arg("handle", handle).rec("initFW", initFW, size_of(initFW));
  return read_stored(c, handle, initFW, &Adapter::fwDefaults);
}

// Puts the stored defaults in effect. The block passed in is only logged:
// the defaults themselves are factory data and are never overwritten.
SD_EXPORT SD_STATUS SDSetFWDefaults(SDMGT_HANDLE handle, INITFWISCSI* initFW) {
  SdCall c("SDSetFWDefaults");
  c.arg("handle", handle).rec("initFW", initFW, size_of(initFW));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!initFW) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  a->initFw = a->fwDefaults;
  follow_init_fw(*a);
  return c.done(IZKSIM_OK);
}

// Region bit 0 puts the default initialization block in effect. Other
// region bits and the detail mask are accepted and change nothing.
SD_EXPORT SD_STATUS SDRestoreDefaults(SDMGT_HANDLE handle, uint32_t regionMask, uint32_t detailMask) {
  SdCall c("SDRestoreDefaults");
  c.arg("handle", handle).arg("regionMask", regionMask).arg("detailMask", detailMask);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (regionMask & kRegionInitFw) {
    a->initFw = a->fwDefaults;
    follow_init_fw(*a);
  }
  return c.done(IZKSIM_OK);
}

// A reset keeps the configuration; the sessions log in again, so entries
// (and targets) whose session had failed (state 6) are active (4) afterwards.
// ResetOptions are logged and otherwise ignored.
SD_EXPORT SD_STATUS SDResetHBA(SDMGT_HANDLE handle, HBARESET* reset) {
  SdCall c("SDResetHBA");
  c.arg("handle", handle).rec("reset", reset, size_of(reset));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!reset) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  for (auto& kv : a->ddb)
    if (entry_state(kv.second) == kStateFailed) a->set_entry_state(kv.first, kStateActive);
  return c.done(IZKSIM_OK);
}

// --- Device database ------------------------------------------------------------

// Counts the entries in use (DeviceState != 0).
SD_EXPORT SD_STATUS SDGetDDBEntryNum(SDMGT_HANDLE handle, uint32_t* count) {
  SdCall c("SDGetDDBEntryNum");
  c.arg("handle", handle).rec("count", count, size_of(count));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!count) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  *count = a->valid_entries();
  return c.done(IZKSIM_OK);
}

// An index never written answers success with an all-zero entry whose
// NextValid names the next entry in use (0 when there is none), so a reader
// walking the database can skip ahead.
SD_EXPORT SD_STATUS SDGetDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t index) {
  SdCall c("SDGetDDBEntry");
  c.arg("handle", handle).rec("entry", entry, size_of(entry)).arg("index", index);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!entry || index >= izksim::kDdbEntries) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  Bytes bytes(izksim::kDdbEntrySize, 0);
  auto it = a->ddb.find(index);
  if (it != a->ddb.end()) bytes = it->second.bytes;
  izksim::put_le(bytes, izksim::kDdbNextValid, 4, a->next_valid_of(index));
  copy_out(entry, bytes, izksim::kDdbEntrySize);
  return c.done(IZKSIM_OK);
}

// Both writers fill the same database; the call log tells them apart. An
// entry written with DeviceState 0 stays readable but no longer counts.
SD_EXPORT SD_STATUS SDSetDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t targetID) {
  SdCall c("SDSetDDBEntry");
  c.arg("handle", handle).rec("entry", entry, size_of(entry)).arg("targetID", targetID);
  if (c.faulted()) return c.status();
  return c.done(store_entry(c, handle, entry, targetID));
}

SD_EXPORT SD_STATUS SDSetDDBEntryFlashOnly(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t targetID) {
  SdCall c("SDSetDDBEntryFlashOnly");
  c.arg("handle", handle).rec("entry", entry, size_of(entry)).arg("targetID", targetID);
  if (c.faulted()) return c.status();
  return c.done(store_entry(c, handle, entry, targetID));
}

SD_EXPORT SD_STATUS SDGetDefaultDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry) {
  SdCall c("SDGetDefaultDDBEntry");
  c.arg("handle", handle).rec("entry", entry, size_of(entry));
  return read_stored(c, handle, entry, &Adapter::defaultDdb);
}

// The default entry, addressed to `index`.
SD_EXPORT SD_STATUS SDGetInitialDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t index) {
  SdCall c("SDGetInitialDDBEntry");
  c.arg("handle", handle).rec("entry", entry, size_of(entry)).arg("index", index);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!entry || index >= izksim::kDdbEntries) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  Bytes bytes = a->defaultDdb;
  izksim::put_le(bytes, izksim::kDdbTargetId, 4, index);
  copy_out(entry, bytes, izksim::kDdbEntrySize);
  return c.done(IZKSIM_OK);
}

// Ends the session of entry TargetID, which must be in use: its state becomes
// 1 (no active connection), or 0 (entry no longer in use) when Options bit 0
// is set; other Options bits, ConnectionID and NewTargetID are ignored. The
// target with that index follows the entry's state.
SD_EXPORT SD_STATUS SDSendiSCSILogout(SDMGT_HANDLE handle, LOGOUTISCSI* logout) {
  SdCall c("SDSendiSCSILogout");
  c.arg("handle", handle).rec("logout", logout, size_of(logout));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!logout) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  auto it = a->ddb.find(logout->TargetID);
  if (it == a->ddb.end() || entry_state(it->second) == 0) return c.done(IZKSIM_ST_ENTRY_NOT_FOUND);
  const uint32_t state = (logout->Options & kLogoutFreeEntry) ? 0 : kStateNoConnection;
  a->set_entry_state(it->first, state);
  return c.done(IZKSIM_OK);
}
