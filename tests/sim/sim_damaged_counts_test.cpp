// The "damagedCounts" switch: a function reports the count the scenario gives
// when it hands records back, and writes no more records than it would.
#include <cstring>
#include <vector>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

class DamagedCountsTest : public SimTest {
 protected:
  SDMGT_HANDLE load(const std::string& adapter) {
    const std::string text = R"({"adapters": [{"instance": 0, )" + adapter + "}]}";
    EXPECT_EQ(0, izksim_load_scenario_json(text.c_str())) << izksim_last_error();
    return open(0);
  }
};

}  // namespace

TEST_F(DamagedCountsTest, TheCountIsReplacedAndTheRecordsStayWithinTheCallersRoom) {
  const SDMGT_HANDLE h = load(R"("damagedCounts": {"SDGetCHAPTable": 4000, "SDGetLogs": 129, "//": "x"},
      "chapTable": {"slots": 8, "entries": [{"index": 1, "name": "a"}, {"index": 2, "name": "b"}]},
      "connectionErrorLog": [{"raw": "0100000000000000000000000000000000000000"}])");
  std::vector<CHAPTABLE> table(3);
  std::memset(table.data(), 0xEE, sizeof(CHAPTABLE) * table.size());
  uint32_t count = 1;  // room for one record
  ASSERT_EQ(0u, SDGetCHAPTable(h, table.data(), &count));
  EXPECT_EQ(4000u, count);
  EXPECT_STREQ("a", reinterpret_cast<const char*>(table[0].ChapName));
  EXPECT_EQ(0xEE, table[1].ChapName[0]);  // untouched

  uint32_t entries = 0;
  std::vector<uint8_t> log(128 * 20, 0);
  ASSERT_EQ(0u, SDGetLogs(h, 1, &entries, log.data()));
  EXPECT_EQ(129u, entries);
  EXPECT_EQ(1, log[0]);
  EXPECT_EQ(0, log[20]);

  // A function without a damaged count answers the truth; a refused call leaves the count alone.
  ASSERT_EQ(0u, SDGetCHAPEntryNum(h, &count));
  EXPECT_EQ(2u, count);
  izksim_set_fault("SDGetCHAPTable", IZKSIM_ST_NOT_SUPPORTED, 1);
  count = 1;
  EXPECT_EQ(IZKSIM_ST_NOT_SUPPORTED, SDGetCHAPTable(h, table.data(), &count));
  EXPECT_EQ(1u, count);
}

TEST_F(DamagedCountsTest, APartialSparseReadReportsTheDamagedCountWithItsStatus) {
  const SDMGT_HANDLE h = load(R"("damagedCounts": {"SDGetCHAPTableMod": 999},
      "chapTable": {"slots": 4, "entries": [{"index": 3, "name": "z"}]})");
  std::vector<CHAPTABLE> table(2);
  uint32_t count = 2;
  EXPECT_EQ(IZKSIM_ST_MORE_DATA, SDGetCHAPTableMod(h, table.data(), &count));
  EXPECT_EQ(999u, count);
}

TEST_F(DamagedCountsTest, ScenarioErrorsNameThePlace) {
  EXPECT_NE(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "damagedCounts": []}]})"));
  EXPECT_STREQ("adapters[0].damagedCounts: expected an object, found array", izksim_last_error());
  EXPECT_NE(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "damagedCounts": {"SDGetLogs": -1}}]})"));
  EXPECT_NE(std::string::npos, std::string(izksim_last_error()).find("adapters[0].damagedCounts.SDGetLogs"));
}
