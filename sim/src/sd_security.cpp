// The IPsec engine: security policy table, version texts, counters, security
// associations and their flush.
#include <algorithm>
#include <cstring>

#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::Bytes;
using izksim::SdCall;

namespace {

static_assert(sizeof(SECURITYPOLICY) == izksim::kPolicySize, "SECURITYPOLICY");
static_assert(sizeof(SECTRANSFORM) == izksim::kTransformSize, "SECTRANSFORM");
static_assert(sizeof(SECINFO) == izksim::kSecInfoSize, "SECINFO");
static_assert(sizeof(HBASECURITYSTATS) == izksim::kSecStatsSize, "HBASECURITYSTATS");
static_assert(sizeof(IKESA) == izksim::kIkeSaSize, "IKESA");
static_assert(sizeof(IPSECSA) == izksim::kIpsecSaSize, "IPSECSA");

template <class T>
size_t size_of(const T* p) {
  return p ? sizeof(T) : 0;
}

void copy_out(void* dst, const Bytes& src, size_t size) {
  std::memset(dst, 0, size);
  std::memcpy(dst, src.data(), std::min(src.size(), size));
}

uint32_t priority_of(const Bytes& sa, size_t at) { return uint32_t(izksim::get_le(sa, at, 4)); }

// Reads one stored record of the security engine.
template <class Record>
SD_STATUS read_security(SdCall& c, SDMGT_HANDLE handle, Record* out, Bytes izksim::SecurityState::*stored) {
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!out) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  copy_out(out, a->security.*stored, sizeof(Record));
  return c.done(IZKSIM_OK);
}

}  // namespace

// *numEntries holds the caller's capacity in slots going in. Slots are copied
// to the same positions (unused ones as zeros), at most the capacity; the
// answer is the number of policies in use (or the scenario's pinned count).
SD_EXPORT SD_STATUS SDGetSecurityPolicyTable(SDMGT_HANDLE handle, SECURITYPOLICY* table, uint32_t* numEntries) {
  SdCall c("SDGetSecurityPolicyTable");
  c.arg("handle", handle).rec("numEntries", numEntries, size_of(numEntries));
  if (numEntries) c.arg("capacity", *numEntries);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!table || !numEntries) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const izksim::SecurityState& s = a->security;
  const size_t slots = std::min<size_t>(*numEntries, izksim::kPolicySlots);
  for (size_t i = 0; i < slots; ++i) copy_out(&table[i], s.policies[i], izksim::kPolicySize);
  *numEntries = s.reportedCount ? *s.reportedCount : s.policies_in_use();
  return c.done(IZKSIM_OK);
}

// The policies given replace the whole table: record i goes to slot i, the
// slots after them are emptied. The flag is only logged. More than 64
// policies are refused.
SD_EXPORT SD_STATUS SDSetSecurityPolicyTable(SDMGT_HANDLE handle, SECURITYPOLICY* table, uint32_t numEntries,
                                             uint32_t flag) {
  SdCall c("SDSetSecurityPolicyTable");
  c.arg("handle", handle).arg("numEntries", numEntries).arg("flag", flag);
  // A count beyond the table is refused without reading the caller's buffer.
  c.rec("table", table, table && numEntries <= izksim::kPolicySlots ? size_t(numEntries) * sizeof(SECURITYPOLICY) : 0);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!table || numEntries > izksim::kPolicySlots) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  izksim::SecurityState& s = a->security;
  for (size_t i = 0; i < izksim::kPolicySlots; ++i) {
    Bytes& slot = s.policies[i];
    if (i < numEntries) {
      const uint8_t* p = reinterpret_cast<const uint8_t*>(&table[i]);
      slot.assign(p, p + izksim::kPolicySize);
    } else {
      slot.assign(izksim::kPolicySize, 0);
    }
  }
  s.reportedCount.reset();
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDGetSecurityInfo(SDMGT_HANDLE handle, SECINFO* info) {
  SdCall c("SDGetSecurityInfo");
  c.arg("handle", handle).rec("info", info, size_of(info));
  return read_security(c, handle, info, &izksim::SecurityState::info);
}

SD_EXPORT SD_STATUS SDGetSecurityStatsGen(SDMGT_HANDLE handle, HBASECURITYSTATS* stats) {
  SdCall c("SDGetSecurityStatsGen");
  c.arg("handle", handle).rec("stats", stats, size_of(stats));
  return read_security(c, handle, stats, &izksim::SecurityState::stats);
}

// Every IKE SA of the adapter (a scenario holds at most 200, what a reader's
// array takes); *count receives their number.
SD_EXPORT SD_STATUS SDGetAllIKESAStatsDetails(SDMGT_HANDLE handle, IKESA* array, uint32_t* count) {
  SdCall c("SDGetAllIKESAStatsDetails");
  c.arg("handle", handle).rec("count", count, size_of(count));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!array || !count) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const auto& sas = a->security.ikeSAs;
  for (size_t i = 0; i < sas.size(); ++i) copy_out(&array[i], sas[i], izksim::kIkeSaSize);
  *count = uint32_t(sas.size());
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDGetIPsecSACountForPolicy(SDMGT_HANDLE handle, uint32_t priority, uint32_t* count) {
  SdCall c("SDGetIPsecSACountForPolicy");
  c.arg("handle", handle).arg("priority", priority).rec("count", count, size_of(count));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!count) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const auto& sas = a->security.ipsecSAs;
  *count = uint32_t(std::count_if(sas.begin(), sas.end(), [priority](const Bytes& sa) {
    return priority_of(sa, izksim::kIpsecSaPriority) == priority;
  }));
  return c.done(IZKSIM_OK);
}

// Fills `count` records with the policy's IPsec SAs in scenario order; a
// count above what the policy has leaves the remaining records zero.
SD_EXPORT SD_STATUS SDGetIPsecSAStatsDetails(SDMGT_HANDLE handle, uint32_t priority, uint32_t count, IPSECSA* array) {
  SdCall c("SDGetIPsecSAStatsDetails");
  c.arg("handle", handle).arg("priority", priority).arg("count", count);
  c.rec("array", array, array ? size_t(count) * sizeof(IPSECSA) : 0);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!array && count != 0) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  uint32_t filled = 0;
  for (const Bytes& sa : a->security.ipsecSAs) {
    if (filled == count) break;
    if (priority_of(sa, izksim::kIpsecSaPriority) != priority) continue;
    copy_out(&array[filled++], sa, izksim::kIpsecSaSize);
  }
  for (uint32_t i = filled; i < count; ++i) std::memset(&array[i], 0, sizeof(IPSECSA));
  return c.done(IZKSIM_OK);
}

// `index` is a policy priority: the IKE and IPsec SAs of that policy are
// dropped; 0 drops every SA of the adapter.
SD_EXPORT SD_STATUS SDFlushSAs(SDMGT_HANDLE handle, uint32_t index) {
  SdCall c("SDFlushSAs");
  c.arg("handle", handle).arg("index", index);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  a->security.flush(index);
  return c.done(IZKSIM_OK);
}
