// The IPsec engine: policy table slots, table writes, version texts,
// counters, security associations and their flush, and the scenario schema.
#include <cstring>
#include <vector>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

const char* const kScenario = R"({"adapters": [{"instance": 0, "handle": 7,
  "securityPolicies": [
    {"slot": 63, "policyKind": 1, "priority": 40, "policyName": "last", "autoIpsec": 1},
    {"slot": 2, "policyKind": 3, "priority": 10, "policyName": "ike", "preSharedKey": "psk-text",
     "sourceAddr": "10.1.1.1", "transforms": [{"type": 1, "group": 14}, {"type": 1, "group": 2}]},
    {"slot": 4, "policyKind": 2, "priority": 20, "encryptKey": "ek", "numberOfTransforms": 17}],
  "securityInfo": {"securityFwVersion": "FW 1", "securityIkeVersion": "IKE 2"},
  "securityStats": {"totalOutIPsecPkts": 5, "totalInvalidIKECookies": "0xFFFFFFFF"},
  "ikeSAs": [{"priority": 10, "time": 1}, {"priority": 10, "time": 2}, {"priority": 50}],
  "ipsecSAs": [{"priority": 20, "spi": 1}, {"priority": 40, "spi": 2}, {"priority": 20, "spi": 3}]}]})";

class SimSecurityTest : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    ASSERT_EQ(0, izksim_load_scenario_json(kScenario)) << izksim_last_error();
    h = open(0);
  }
  SDMGT_HANDLE h = 0;
};

uint32_t ipsec_count(SDMGT_HANDLE h, uint32_t priority) {
  uint32_t n = 0xFFFF;
  EXPECT_EQ(0u, SDGetIPsecSACountForPolicy(h, priority, &n));
  return n;
}

}  // namespace

TEST_F(SimSecurityTest, TableReadKeepsSlotPositionsAndCountsPoliciesInUse) {
  std::vector<SECURITYPOLICY> table(64);
  std::memset(table.data(), 0xAB, 64 * sizeof(SECURITYPOLICY));
  uint32_t n = 64;
  ASSERT_EQ(0u, SDGetSecurityPolicyTable(h, table.data(), &n));
  EXPECT_EQ(3u, n);
  EXPECT_EQ(0u, table[0].PolicyKind);  // holes come back zeroed
  EXPECT_EQ(3u, table[2].PolicyKind);
  EXPECT_EQ(10u, table[2].Priority);
  EXPECT_STREQ("ike", reinterpret_cast<const char*>(table[2].PolicyName));
  EXPECT_EQ(2u, table[2].NumberOfTransforms);
  EXPECT_EQ(2u, table[2].Transforms[1].Group);
  EXPECT_EQ(8u, table[2].PreSharedKeyLen);  // the key's own length unless given
  EXPECT_EQ(10u, table[2].SourceAddr.IPAddress[0]);
  EXPECT_EQ(17u, table[4].NumberOfTransforms);
  EXPECT_EQ(2u, table[4].EncryptKeyLen);
  EXPECT_EQ(40u, table[63].Priority);
  EXPECT_EQ(64u, calls_of("SDGetSecurityPolicyTable")[0]["args"]["capacity"].get<uint64_t>());
}

TEST_F(SimSecurityTest, TableReadNeverWritesPastTheCapacityGiven) {
  std::vector<SECURITYPOLICY> table(4);
  std::memset(table.data(), 0xCD, 4 * sizeof(SECURITYPOLICY));
  uint32_t n = 3;
  ASSERT_EQ(0u, SDGetSecurityPolicyTable(h, table.data(), &n));
  EXPECT_EQ(3u, table[2].PolicyKind);
  EXPECT_EQ(0xCDCDCDCDu, table[3].PolicyKind);
  EXPECT_EQ(3u, n);
}

TEST_F(SimSecurityTest, TableWriteReplacesTheWholeTable) {
  SECURITYPOLICY sent[2] = {};
  sent[0].PolicyKind = 1;
  sent[0].Priority = 5;
  sent[1].PolicyKind = 3;
  sent[1].Priority = 6;
  ASSERT_EQ(0u, SDSetSecurityPolicyTable(h, sent, 2, 1));
  std::vector<SECURITYPOLICY> table(64);
  uint32_t n = 64;
  ASSERT_EQ(0u, SDGetSecurityPolicyTable(h, table.data(), &n));
  EXPECT_EQ(2u, n);
  EXPECT_EQ(5u, table[0].Priority);
  EXPECT_EQ(6u, table[1].Priority);
  EXPECT_EQ(0u, table[2].PolicyKind);
  EXPECT_EQ(0u, table[63].PolicyKind);
  // The call log holds the records as they were passed.
  const json c = calls_of("SDSetSecurityPolicyTable")[0];
  EXPECT_EQ(1u, c["args"]["flag"].get<uint64_t>());
  EXPECT_EQ(2 * sizeof(SECURITYPOLICY) * 2, c["records"]["table"].get<std::string>().size());
  std::vector<SECURITYPOLICY> many(65);
  EXPECT_EQ(0x20000003u, SDSetSecurityPolicyTable(h, many.data(), 65, 1));
}

TEST_F(SimSecurityTest, ScenarioMayPinTheReportedCount) {
  ASSERT_EQ(0, izksim_load_scenario_json(
                   R"({"adapters": [{"instance": 0, "securityPolicyCount": 1, "securityPolicies": [
                       {"slot": 0, "policyKind": 1}, {"slot": 1, "policyKind": 1}]}]})"))
      << izksim_last_error();
  SDMGT_HANDLE a = open(0);
  std::vector<SECURITYPOLICY> table(64);
  uint32_t n = 64;
  ASSERT_EQ(0u, SDGetSecurityPolicyTable(a, table.data(), &n));
  EXPECT_EQ(1u, n);
  EXPECT_EQ(1u, table[1].PolicyKind);
}

TEST_F(SimSecurityTest, VersionsAndCounters) {
  SECINFO info;
  std::memset(&info, 0xEE, sizeof info);
  ASSERT_EQ(0u, SDGetSecurityInfo(h, &info));
  EXPECT_STREQ("FW 1", reinterpret_cast<const char*>(info.SecurityFWVersion));
  EXPECT_STREQ("IKE 2", reinterpret_cast<const char*>(info.SecurityIKEVersion));
  EXPECT_EQ(0u, info.SecurityAPIVersion[0]);
  HBASECURITYSTATS stats;
  ASSERT_EQ(0u, SDGetSecurityStatsGen(h, &stats));
  EXPECT_EQ(5u, stats.TotalOutIPsecPkts);
  EXPECT_EQ(0xFFFFFFFFu, stats.TotalInvalidIKECookies);
  EXPECT_EQ(0u, stats.TotalInIPsecPkts);
}

TEST_F(SimSecurityTest, SecurityAssociationsPerPolicyAndTheirFlush) {
  std::vector<IKESA> ike(200);
  uint32_t n = 0;
  ASSERT_EQ(0u, SDGetAllIKESAStatsDetails(h, ike.data(), &n));
  ASSERT_EQ(3u, n);
  EXPECT_EQ(1u, ike[0].Time);
  EXPECT_EQ(50u, ike[2].Priority);

  EXPECT_EQ(2u, ipsec_count(h, 20));
  EXPECT_EQ(0u, ipsec_count(h, 30));
  std::vector<IPSECSA> sa(3);
  std::memset(sa.data(), 0x77, 3 * sizeof(IPSECSA));
  ASSERT_EQ(0u, SDGetIPsecSAStatsDetails(h, 20, 3, sa.data()));
  EXPECT_EQ(1u, sa[0].SPI);
  EXPECT_EQ(3u, sa[1].SPI);
  EXPECT_EQ(0u, sa[2].SPI);  // more asked for than there are: zeros

  ASSERT_EQ(0u, SDFlushSAs(h, 10));
  ASSERT_EQ(0u, SDGetAllIKESAStatsDetails(h, ike.data(), &n));
  EXPECT_EQ(1u, n);
  EXPECT_EQ(2u, ipsec_count(h, 20));
  ASSERT_EQ(0u, SDFlushSAs(h, 0));
  EXPECT_EQ(0u, ipsec_count(h, 20));
  EXPECT_EQ(0u, ipsec_count(h, 40));
}

TEST_F(SimSecurityTest, ClosedHandlesAndNullRecordsAreRefused) {
  uint32_t n = 64;
  EXPECT_EQ(0x20000001u, SDGetSecurityPolicyTable(999, nullptr, &n));
  EXPECT_EQ(0x20000003u, SDGetSecurityPolicyTable(h, nullptr, &n));
  EXPECT_EQ(0x20000003u, SDGetSecurityInfo(h, nullptr));
  EXPECT_EQ(0x20000001u, SDFlushSAs(999, 0));
}

std::string state_text() {
  std::vector<char> text(izksim_state_json(nullptr, 0) + 1);
  izksim_state_json(text.data(), text.size());
  return text.data();
}

TEST_F(SimSecurityTest, StateDumpLoadsAgainUnchanged) {
  const std::string dump = state_text();
  const json first = json::parse(dump);
  ASSERT_EQ(0, izksim_load_scenario_json(dump.c_str())) << izksim_last_error();
  const json second = json::parse(state_text());
  for (const char* key : {"securityPolicies", "securityInfo", "securityStats", "ikeSAs", "ipsecSAs"})
    EXPECT_EQ(first["adapters"][0][key], second["adapters"][0][key]) << key;
  EXPECT_EQ(17u, first["adapters"][0]["securityPolicies"][1]["numberOfTransforms"].get<uint64_t>());
}

TEST(SimSecurityScenario, BadSectionsNameThePlace) {
  EXPECT_NE(0, izksim_load_scenario_json(
                   R"({"adapters": [{"instance": 0, "securityPolicies": [{"slot": 64, "policyKind": 1}]}]})"));
  EXPECT_NE(std::string(izksim_last_error()).find("securityPolicies[0].slot"), std::string::npos)
      << izksim_last_error();
  EXPECT_NE(0, izksim_load_scenario_json(
                   R"({"adapters": [{"instance": 0, "securityPolicies": [{"slot": 1}, {"slot": 1}]}]})"));
  EXPECT_NE(std::string(izksim_last_error()).find("duplicate slot 1"), std::string::npos);
  EXPECT_NE(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "securityStats": {"bogus": 1}}]})"));
  EXPECT_NE(std::string(izksim_last_error()).find("unknown key \"bogus\""), std::string::npos);
  ASSERT_EQ(0, izksim_reset());
}
