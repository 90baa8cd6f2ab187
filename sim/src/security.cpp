// Scenario sections of the IPsec engine: the security policy table, version
// texts, counters and security associations, loaded into and dumped from
// SecurityState in the library's record layouts.
#include "security.hpp"

#include <algorithm>
#include <set>

namespace izksim {

namespace {

const Layout kSecTransform{"SECTRANSFORM",
                           24,
                           {
                               // 1: carries IKE parameters (group, ikeAuthMethod); else ipsecMode.
                               {"type", 0, Kind::U16, 2},
                               {"encryptAlgo", 2, Kind::U16, 2},
                               {"ipsecMode", 4, Kind::U16, 2},
                               {"authAlgo", 6, Kind::U16, 2},
                               {"kBytesLife", 8, Kind::U32, 4},
                               {"secondsLife", 12, Kind::U32, 4},
                               {"group", 16, Kind::U16, 2},
                               {"ikeAuthMethod", 18, Kind::U16, 2},
                               {"level", 20, Kind::U16, 2},
                           }};

const Layout kSecurityPolicy{"SECURITYPOLICY",
                             800,
                             {
                                 // 0: unused slot; 3: IKE policy.
                                 {"policyKind", 0, Kind::U32, 4},
                                 {"priority", 4, Kind::U32, 4},
                                 {"sourceAddr", 8, Kind::IpAddr, 20},
                                 {"destStartAddr", 28, Kind::IpAddr, 20},
                                 {"destEndAddr", 48, Kind::IpAddr, 20},
                                 {"action", 68, Kind::U32, 4},
                                 {"protocol", 72, Kind::U32, 4},
                                 {"destPort", 76, Kind::U32, 4},
                                 {"destType", 80, Kind::U32, 4},
                                 {"policyName", 84, Kind::Text, 128},
                                 {"enabledTarget", 212, Kind::U32, 4},
                                 {"numberOfTransforms", 600, Kind::U32, 4},
                                 {"ikeMode", 604, Kind::U32, 4},
                                 {"ikePfs", 608, Kind::U8, 1},
                                 {"ikeDirection", 609, Kind::U8, 1},
                                 {"preSharedKeyLen", 612, Kind::U32, 4},
                                 {"preSharedKey", 616, Kind::Text, 32},
                                 {"autoIpsec", 648, Kind::U8, 1},
                                 {"sourcePort", 652, Kind::U32, 4},
                                 {"encryptKeyLen", 656, Kind::U32, 4},
                                 {"encryptKey", 660, Kind::Text, 32},
                                 {"encryptIvLen", 692, Kind::U32, 4},
                                 {"encryptIv", 696, Kind::Text, 32},
                                 {"authKeyLen", 728, Kind::U32, 4},
                                 {"authKey", 732, Kind::Text, 32},
                                 {"spi", 764, Kind::U32, 4},
                                 {"associatedIkePolicy", 768, Kind::U32, 4},
                                 {"saControl", 772, Kind::U32, 4},
                                 {"changeBitMap", 776, Kind::U32, 4},
                                 {"tunnelIpAddr", 780, Kind::IpAddr, 20},
                             }};

const Layout kSecInfo{"SECINFO",
                      132,
                      {
                          {"securityFwVersion", 0, Kind::Text, 32},
                          {"securityIkeVersion", 32, Kind::Text, 32},
                          {"securityApiVersion", 64, Kind::Text, 32},
                          {"securityPostVersion", 96, Kind::Text, 32},
                          {"reserved", 128, Kind::U32, 4},
                      }};

const char* const kCounterNames[] = {
    "totalOutIPsecPkts",        "totalInIPsecPkts",        "outDiscardIPsecPkts",      "inDiscardIPsecPkts",
    "outBypassIPsecPkts",       "inBypassIPsecPkts",       "totalCreatedIPsecSAs",     "totalMatchIPsecSAs",
    "totalMisMatchIPsecSAs",    "totalIPsecSABundles",     "outEncryptFailIPsecCount", "outAuthFailIPsecCount",
    "inUnknownProtocolIPsec",   "inUnknownAlgorithmIPsec", "currentInESPSAs",          "currentOutESPSAs",
    "totalInESPSAs",            "totalOutESPSAs",          "currentIKESAs",            "currentInitIKESAs",
    "currentRespIKESAs",        "totalInitIKESAs",         "totalRespIKESAs",          "totalAttemptedIKESAs",
    "totalAttemptedInitIKESAs", "totalAttemptedRespIKESAs", "totalInIKEPkts",          "totalOutIKEPkts",
    "totalInIKEBytes",          "totalOutIKEBytes",        "ipsecDecryptionErrors",    "ipsecAuthErrors",
    "ipsecReplayErrors",        "ipsecPolicyErrors",       "ipsecOtherRxErrors",       "ipsecTxErrors",
    "ipsecUknownSPIErrors",     "totalNoIKEResponses",     "totalIKEResponseErrors",   "totalInvalidIKECookies",
};
static_assert(sizeof kCounterNames / sizeof kCounterNames[0] * 4 == kSecStatsSize, "forty u32 counters");

Layout counters_layout() {
  Layout l{"HBASECURITYSTATS", uint32_t(kSecStatsSize), {}};
  for (uint32_t i = 0; i < 40; ++i) l.fields.push_back({kCounterNames[i], 4 * i, Kind::U32, 4});
  return l;
}
const Layout kSecStats = counters_layout();

const Layout kIkeSa{"IKESA",
                    80,
                    {
                        {"remoteIpAddr", 0, Kind::IpAddr, 20},
                        {"initiatorCookie", 20, Kind::U64, 8},
                        {"responderCookie", 28, Kind::U64, 8},
                        {"localPort", 36, Kind::U16, 2},
                        {"remotePort", 38, Kind::U16, 2},
                        {"peerMajorVersion", 40, Kind::U8, 1},
                        {"peerMinorVersion", 41, Kind::U8, 1},
                        {"saDoi", 44, Kind::U32, 4},
                        {"status", 48, Kind::U16, 2},
                        {"locallyInitiated", 50, Kind::U8, 1},
                        {"exchangeType", 52, Kind::U16, 2},
                        {"time", 56, Kind::U32, 4},
                        {"outPkts", 60, Kind::U32, 4},
                        {"inPkts", 64, Kind::U32, 4},
                        {"outBytes", 68, Kind::U32, 4},
                        {"inBytes", 72, Kind::U32, 4},
                        {"priority", 76, Kind::U32, 4},
                    }};

const Layout kIpsecSa{"IPSECSA",
                      128,
                      {
                          {"inEncryptionAlg", 0, Kind::U16, 2},
                          {"outEncryptionAlg", 2, Kind::U16, 2},
                          {"inAuthAlg", 4, Kind::U16, 2},
                          {"outAuthAlg", 6, Kind::U16, 2},
                          {"inSoftByteLimit", 8, Kind::U64, 8},
                          {"outSoftByteLimit", 16, Kind::U64, 8},
                          {"inSoftTimeLimit", 24, Kind::U64, 8},
                          {"outSoftTimeLimit", 32, Kind::U64, 8},
                          {"inHardByteLimit", 40, Kind::U64, 8},
                          {"outHardByteLimit", 48, Kind::U64, 8},
                          {"inHardTimeLimit", 56, Kind::U64, 8},
                          {"outHardTimeLimit", 64, Kind::U64, 8},
                          {"spi", 72, Kind::U32, 4},
                          {"replayWindowSize", 76, Kind::U32, 4},
                          {"inPkts", 80, Kind::U64, 8},
                          {"outPkts", 88, Kind::U64, 8},
                          {"inBytes", 96, Kind::U64, 8},
                          {"outBytes", 104, Kind::U64, 8},
                          {"authErrors", 112, Kind::U32, 4},
                          {"replayErrors", 116, Kind::U32, 4},
                          {"padErrors", 120, Kind::U32, 4},
                          {"priority", 124, Kind::U32, 4},
                      }};

// Key texts and the lengths that go with them: a scenario giving a key
// without its length gets the text's length.
struct KeyField {
  const char* text;
  const char* length;
  size_t lengthOffset;
};
const KeyField kKeys[] = {
    {"preSharedKey", "preSharedKeyLen", 612},
    {"encryptKey", "encryptKeyLen", 656},
    {"encryptIv", "encryptIvLen", 692},
    {"authKey", "authKeyLen", 728},
};

constexpr size_t kTransformsAt = 216;
constexpr size_t kNumberOfTransforms = 600;

bool all_zero(const Bytes& b, size_t from, size_t size) {
  for (size_t i = from; i < from + size && i < b.size(); ++i)
    if (b[i] != 0) return false;
  return true;
}

void load_policy(const json& j, const std::string& path, SecurityState& s, std::set<uint32_t>& slots) {
  require_object(j, path);
  if (!j.contains("slot")) throw LoadError(path + ": missing key \"slot\"");
  const uint32_t slot = uint32_t(json_uint(j["slot"], path + ".slot", kPolicySlots - 1));
  if (!slots.insert(slot).second) throw LoadError(path + ": duplicate slot " + std::to_string(slot));
  Bytes& b = s.policies[slot];
  json fields = json::object();
  for (auto it = j.begin(); it != j.end(); ++it)
    if (it.key() != "slot" && it.key() != "transforms") fields[it.key()] = *it;
  load_record(fields, kSecurityPolicy, b, 0, path);
  if (j.contains("transforms")) {
    const json& t = j["transforms"];
    require_array(t, path + ".transforms");
    if (t.size() > kTransformsMax)
      throw LoadError(path + ".transforms: " + std::to_string(t.size()) + " transforms do not fit in 16");
    for (size_t i = 0; i < t.size(); ++i)
      load_record(t[i], kSecTransform, b, kTransformsAt + i * kTransformSize,
                  path + ".transforms[" + std::to_string(i) + "]");
    if (!j.contains("numberOfTransforms")) put_le(b, kNumberOfTransforms, 4, t.size());
  }
  for (const KeyField& k : kKeys)
    if (j.contains(k.text) && !j.contains(k.length) && j[k.text].is_string())
      put_le(b, k.lengthOffset, 4, j[k.text].get<std::string>().size());
}

void load_list(const json& j, const std::string& path, const Layout& layout, size_t max, std::vector<Bytes>& out) {
  require_array(j, path);
  if (j.size() > max)
    throw LoadError(path + ": " + std::to_string(j.size()) + " entries, at most " + std::to_string(max));
  for (size_t i = 0; i < j.size(); ++i) {
    Bytes b(layout.size, 0);
    load_record(j[i], layout, b, 0, path + "[" + std::to_string(i) + "]");
    out.push_back(std::move(b));
  }
}

}  // namespace

uint32_t SecurityState::policies_in_use() const {
  uint32_t n = 0;
  for (const Bytes& p : policies)
    if (get_le(p, kPolicyKind, 4) != 0) ++n;
  return n;
}

void SecurityState::flush(uint32_t priority) {
  auto owned = [priority](size_t at) {
    return [priority, at](const Bytes& sa) { return priority == 0 || get_le(sa, at, 4) == priority; };
  };
  ikeSAs.erase(std::remove_if(ikeSAs.begin(), ikeSAs.end(), owned(kIkeSaPriority)), ikeSAs.end());
  ipsecSAs.erase(std::remove_if(ipsecSAs.begin(), ipsecSAs.end(), owned(kIpsecSaPriority)), ipsecSAs.end());
}

bool is_security_key(const std::string& key) {
  return key == "securityPolicies" || key == "securityPolicyCount" || key == "securityInfo" ||
         key == "securityStats" || key == "ikeSAs" || key == "ipsecSAs";
}

void load_security(const json& adapter, const std::string& path, SecurityState& s) {
  if (adapter.contains("securityPolicies")) {
    const json& p = adapter["securityPolicies"];
    require_array(p, path + ".securityPolicies");
    std::set<uint32_t> slots;
    for (size_t i = 0; i < p.size(); ++i)
      load_policy(p[i], path + ".securityPolicies[" + std::to_string(i) + "]", s, slots);
  }
  if (adapter.contains("securityPolicyCount"))
    s.reportedCount = uint32_t(json_uint(adapter["securityPolicyCount"], path + ".securityPolicyCount", 0xFFFFFFFFu));
  if (adapter.contains("securityInfo")) load_record(adapter["securityInfo"], kSecInfo, s.info, 0, path + ".securityInfo");
  if (adapter.contains("securityStats"))
    load_record(adapter["securityStats"], kSecStats, s.stats, 0, path + ".securityStats");
  if (adapter.contains("ikeSAs")) load_list(adapter["ikeSAs"], path + ".ikeSAs", kIkeSa, kIkeSaMax, s.ikeSAs);
  if (adapter.contains("ipsecSAs")) load_list(adapter["ipsecSAs"], path + ".ipsecSAs", kIpsecSa, SIZE_MAX, s.ipsecSAs);
}

void dump_security(const SecurityState& s, json& adapter) {
  json policies = json::array();
  for (size_t slot = 0; slot < kPolicySlots; ++slot) {
    const Bytes& b = s.policies[slot];
    if (all_zero(b, 0, kPolicySize)) continue;
    json p = dump_record(kSecurityPolicy, b, 0);
    p["slot"] = slot;
    // Every transform up to the count or the last one holding data.
    size_t n = std::min<size_t>(get_le(b, kNumberOfTransforms, 4), kTransformsMax);
    for (size_t i = n; i < kTransformsMax; ++i)
      if (!all_zero(b, kTransformsAt + i * kTransformSize, kTransformSize)) n = i + 1;
    json transforms = json::array();
    for (size_t i = 0; i < n; ++i) transforms.push_back(dump_record(kSecTransform, b, kTransformsAt + i * kTransformSize));
    p["transforms"] = transforms;
    policies.push_back(p);
  }
  adapter["securityPolicies"] = policies;
  if (s.reportedCount) adapter["securityPolicyCount"] = *s.reportedCount;
  adapter["securityInfo"] = dump_record(kSecInfo, s.info, 0);
  adapter["securityStats"] = dump_record(kSecStats, s.stats, 0);
  json ike = json::array();
  for (const Bytes& sa : s.ikeSAs) ike.push_back(dump_record(kIkeSa, sa, 0));
  adapter["ikeSAs"] = ike;
  json ipsec = json::array();
  for (const Bytes& sa : s.ipsecSAs) ipsec.push_back(dump_record(kIpsecSa, sa, 0));
  adapter["ipsecSAs"] = ipsec;
}

}  // namespace izksim
