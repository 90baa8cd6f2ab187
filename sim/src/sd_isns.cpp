// iSNS discovery: the adapter's discovery configuration (SDM_ISNS_CONFIG,
// read and written whole) and the targets its iSNS server reported (0 to
// 512, each with up to four portals), handed out only to a buffer that holds
// them all.
#include <cstring>

#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::Bytes;
using izksim::SdCall;

namespace izksim {
namespace {

constexpr size_t kPortals = 4;
constexpr size_t kPortalSize = 24;
constexpr size_t kPortalsAt = 4;

static_assert(sizeof(SDM_ISNS_CONFIG) == kIsnsConfigSize, "SDM_ISNS_CONFIG");
static_assert(sizeof(SDM_ISNS_DISCOVERED_TARGET) == kIsnsTargetSize, "SDM_ISNS_DISCOVERED_TARGET");
static_assert(sizeof(SDM_DISCOVERED_TARGET_PORTAL) == kPortalSize, "SDM_DISCOVERED_TARGET_PORTAL");

const Layout kIsnsConfig{"SDM_ISNS_CONFIG",
                         kIsnsConfigSize,
                         {
                             {"performDiscovery", 0, Kind::U8, 1},
                             {"automaticDiscovery", 1, Kind::U8, 1},
                             {"initiatorName", 4, Kind::Text, 256},
                             {"serverAddress", 260, Kind::IpAddr, 20},
                         }};

const Layout kPortal{"SDM_DISCOVERED_TARGET_PORTAL",
                     kPortalSize,
                     {
                         {"address", 0, Kind::IpAddr, 20},
                         {"port", 20, Kind::U16, 2},
                     }};

// The portals are an array of their own in a scenario ("portals").
const Layout kTarget{"SDM_ISNS_DISCOVERED_TARGET",
                     kIsnsTargetSize,
                     {
                         {"numPortals", 0, Kind::U32, 4},
                         {"ddid", 100, Kind::U32, 4},
                         {"name", 104, Kind::Text, 256},
                         {"alias", 360, Kind::Text, 32},
                     }};

Bytes load_target(const json& j, const std::string& path) {
  require_object(j, path);
  Bytes t(kIsnsTargetSize, 0);
  json fields = json::object();
  for (auto it = j.begin(); it != j.end(); ++it)
    if (it.key() != "portals") fields[it.key()] = *it;
  if (j.contains("portals")) {
    const std::string pp = path + ".portals";
    require_array(j["portals"], pp);
    if (j["portals"].size() > kPortals) throw LoadError(pp + ": more than 4 portals");
    for (size_t i = 0; i < j["portals"].size(); ++i)
      load_record(j["portals"][i], kPortal, t, kPortalsAt + i * kPortalSize, pp + "[" + std::to_string(i) + "]");
    put_le(t, 0, 4, j["portals"].size());  // numPortals follows the list unless given
  }
  load_record(fields, kTarget, t, 0, path);
  return t;
}

}  // namespace

// "isnsConfig": SDM_ISNS_CONFIG by field name. "isnsTargets": up to 512
// targets, each {"name", "alias", "ddid", "portals": [{"address", "port"},
// up to 4]}; "numPortals" follows the portal list unless given.
void load_isns_sections(const json& adapter, const std::string& path, Adapter& a) {
  if (adapter.contains("isnsConfig"))
    load_record(adapter["isnsConfig"], kIsnsConfig, a.isnsConfig, 0, path + ".isnsConfig");
  if (!adapter.contains("isnsTargets")) return;
  const std::string p = path + ".isnsTargets";
  const json& list = adapter["isnsTargets"];
  require_array(list, p);
  if (list.size() > kIsnsTargetsMax) throw LoadError(p + ": more than 512 targets");
  for (size_t i = 0; i < list.size(); ++i) a.isnsTargets.push_back(load_target(list[i], p + "[" + std::to_string(i) + "]"));
}

void dump_isns_sections(const Adapter& a, json& out) {
  out["isnsConfig"] = dump_record(kIsnsConfig, a.isnsConfig, 0);
  json targets = json::array();
  for (const Bytes& t : a.isnsTargets) {
    json jt = dump_record(kTarget, t, 0);
    json portals = json::array();
    const size_t n = get_le(t, 0, 4) < kPortals ? size_t(get_le(t, 0, 4)) : kPortals;
    for (size_t i = 0; i < n; ++i) portals.push_back(dump_record(kPortal, t, kPortalsAt + i * kPortalSize));
    jt["portals"] = portals;
    targets.push_back(jt);
  }
  out["isnsTargets"] = targets;
}

}  // namespace izksim

SD_EXPORT SD_STATUS SDGet_iSNSDiscoveryConfig(SDMGT_HANDLE handle, SDM_ISNS_CONFIG* config) {
  SdCall c("SDGet_iSNSDiscoveryConfig");
  c.arg("handle", handle).rec("config", config, config ? sizeof *config : 0);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!config) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  std::memcpy(config, a->isnsConfig.data(), izksim::kIsnsConfigSize);
  return c.done(IZKSIM_OK);
}

// The record is taken whole, as given.
SD_EXPORT SD_STATUS SDSet_iSNSDiscoveryConfig(SDMGT_HANDLE handle, SDM_ISNS_CONFIG config) {
  SdCall c("SDSet_iSNSDiscoveryConfig");
  c.arg("handle", handle).rec("config", &config, sizeof config);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  const uint8_t* p = reinterpret_cast<const uint8_t*>(&config);
  a->isnsConfig.assign(p, p + sizeof config);
  return c.done(IZKSIM_OK);
}

// All targets or none: when bufferSize holds fewer records than there are
// targets, *count receives the number of targets and the status is
// IZKSIM_ST_BUFFER_TOO_SMALL, with nothing written to the buffer. The
// buffer's contents at entry are not logged (it is only written).
SD_EXPORT SD_STATUS SDGetAlliSNSDiscoveredTargets(SDMGT_HANDLE handle, uint32_t* count,
                                                  SDM_ISNS_DISCOVERED_TARGET* buffer, uint32_t bufferSize) {
  SdCall c("SDGetAlliSNSDiscoveredTargets");
  c.arg("handle", handle).rec("count", count, count ? sizeof *count : 0).arg("bufferSize", bufferSize);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!count) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const size_t n = a->isnsTargets.size();
  if (n > bufferSize / izksim::kIsnsTargetSize) {
    *count = uint32_t(n);
    return c.done(IZKSIM_ST_BUFFER_TOO_SMALL);
  }
  if (!buffer && n > 0) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  for (size_t i = 0; i < n; ++i) std::memcpy(&buffer[i], a->isnsTargets[i].data(), izksim::kIsnsTargetSize);
  *count = uint32_t(n);
  return c.done(IZKSIM_OK);
}
