// Scenario loading, sessions, version, status texts, faults, call log, trace.
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

const char* kOneAdapter = R"({"version": "T1", "adapters": [{"instance": 3}, {"instance": 4, "handle": 4711}]})";

std::string temp_path(const char* tag) {
  return std::string(::testing::TempDir()) + "izksim_" + tag + "_" + std::to_string(getpid());
}

std::string read_file(const std::string& path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

}  // namespace

// --- scenarios ---------------------------------------------------------------------

TEST_F(SimTest, ScenarioErrorsNameTheProblemAndKeepTheState) {
  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR),
            izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "portal": {"seriel": "x"}}]})"));
  EXPECT_STREQ("unknown key \"seriel\" in adapters[0].portal", izksim_last_error());

  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR),
            izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "targets": [{"targetId": 1, "luns": [{"lun": 0, "vendr": "A"}]}]}]})"));
  EXPECT_STREQ("unknown key \"vendr\" in adapters[0].targets[0].luns[0]", izksim_last_error());

  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR), izksim_load_scenario_json(R"({"version": "x",)"));
  EXPECT_EQ(0, std::strncmp("invalid JSON: ", izksim_last_error(), 14)) << izksim_last_error();

  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR),
            izksim_load_scenario_json(R"({"adapters": [{"instance": 0}, {"instance": 0}]})"));
  EXPECT_STREQ("adapters[1]: duplicate instance 0", izksim_last_error());

  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR),
            izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "chip": {"chipModel": "NV22100"}}]})"));
  EXPECT_STREQ("adapters[0].chip.chipModel: text of 7 bytes does not fit in 6", izksim_last_error());

  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR), izksim_load_scenario_file("/nonexistent/izksim.json"));
  EXPECT_EQ(0, std::strncmp("cannot read scenario file \"/nonexistent/izksim.json\"", izksim_last_error(), 51));

  // The default scenario is still in place after the failed loads.
  SDMGT_HANDLE h = 0;
  EXPECT_EQ(0u, SDOpenDeviceiSCSI(1, &h));
  EXPECT_EQ(11u, h);
}

TEST_F(SimTest, EnvironmentNamesTheScenarioReadOnReset) {
  const std::string path = temp_path("env.json");
  { std::ofstream(path) << kOneAdapter; }
  setenv("IZKSDM_SCENARIO", path.c_str(), 1);
  ASSERT_EQ(0, izksim_reset()) << izksim_last_error();
  char v[8] = {0};
  EXPECT_EQ(0u, SDGetVersioniSCSI(v, sizeof v));
  EXPECT_STREQ("T1", v);

  // A broken file leaves no adapters and says why: every SD function answers the scenario
  // error, its call log entry and the error's text carry the reason, until a scenario loads.
  { std::ofstream(path) << R"({"adapters": 5})"; }
  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR), izksim_reset());
  const std::string reason = "scenario file \"" + path + "\": adapters: expected an array, found number";
  EXPECT_EQ(reason, izksim_last_error());
  EXPECT_EQ(reason, izksim_load_failure());
  SDMGT_HANDLE h = 0;
  EXPECT_EQ(IZKSIM_ST_SCENARIO_ERROR, SDOpenDeviceiSCSI(0, &h));
  EXPECT_EQ(IZKSIM_ST_SCENARIO_ERROR, SDGetVersioniSCSI(v, sizeof v));
  EXPECT_EQ("Scenario could not be loaded: " + reason, SDGetErrorStringiSCSI(IZKSIM_ST_SCENARIO_ERROR));
  const json log = call_log();
  ASSERT_EQ(3u, log.size());
  EXPECT_EQ(reason, log[0]["text"]["scenarioError"]);
  EXPECT_EQ(IZKSIM_ST_SCENARIO_ERROR, log[1]["status"]);
  EXPECT_EQ(0u, log[2]["status"]);  // the text is answered, not refused
  ASSERT_EQ(0, izksim_load_scenario_json(kOneAdapter)) << izksim_last_error();
  EXPECT_STREQ("", izksim_load_failure());
  EXPECT_EQ(0u, SDOpenDeviceiSCSI(3, &h));
  EXPECT_STREQ("Scenario could not be loaded", SDGetErrorStringiSCSI(IZKSIM_ST_SCENARIO_ERROR));
  unsetenv("IZKSDM_SCENARIO");
  std::remove(path.c_str());
}

TEST_F(SimTest, StateDumpLoadsAgain) {
  SDMGT_HANDLE h = open(0);
  const size_t n = izksim_state_json(nullptr, 0);
  std::vector<char> buf(n + 1);
  ASSERT_EQ(n, izksim_state_json(buf.data(), buf.size()));
  ASSERT_EQ(0, izksim_load_scenario_json(buf.data())) << izksim_last_error();
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDCloseDeviceiSCSI(h));  // a load closes every adapter
  EXPECT_EQ(h, open(0));
  const json state = json::parse(buf.data());
  EXPECT_EQ("Norvik Storage Systems", state["adapters"][0]["portal"]["manufacturer"]);
  EXPECT_EQ(3, state["adapters"][0]["portal"]["discTargetCount"]);
  // Entries 0, 1, 3, 5, 64, 300, 511 in use, 7 written with state 0. A
  // computed NextValid is dumped as a comment, so the reload computes it again.
  const json& ddb = state["adapters"][0]["ddb"];
  ASSERT_EQ(8u, ddb.size());
  EXPECT_EQ(1, ddb[0]["//nextValid"]);
  EXPECT_EQ(3, ddb[1]["//nextValid"]);
  EXPECT_EQ(5, ddb[2]["//nextValid"]);
  EXPECT_EQ(64, ddb[3]["//nextValid"]);
  EXPECT_EQ(7, ddb[4]["index"]);
  EXPECT_EQ(64, ddb[4]["//nextValid"]);
  EXPECT_EQ(0, ddb[7]["//nextValid"]);
  EXPECT_FALSE(ddb[0].contains("nextValid"));
}

// --- sessions, version, texts -------------------------------------------------------

TEST_F(SimTest, OpenAndCloseLifeCycle) {
  ASSERT_EQ(0, izksim_load_scenario_json(kOneAdapter)) << izksim_last_error();
  SDMGT_HANDLE h = 0xDEAD;
  EXPECT_EQ(IZKSIM_ST_NO_SUCH_INSTANCE, SDOpenDeviceiSCSI(0, &h));
  EXPECT_EQ(0xDEADu, h);
  EXPECT_EQ(103u, open(3));     // default: 100 + instance
  EXPECT_EQ(4711u, open(4));    // configured
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDOpenDeviceiSCSI(3, nullptr));

  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDCloseDeviceiSCSI(0));
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDCloseDeviceiSCSI(999));
  EXPECT_EQ(0u, SDCloseDeviceiSCSI(103));
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDCloseDeviceiSCSI(103));  // already closed
  EXPECT_EQ(0u, SDCloseDeviceiSCSI(4711));
  EXPECT_EQ(103u, open(3));
  EXPECT_EQ(0u, SDCloseDeviceiSCSI(103));
}

TEST_F(SimTest, VersionIsBoundedByLength) {
  char buf[8];
  std::memset(buf, 'x', sizeof buf);
  EXPECT_EQ(0u, SDGetVersioniSCSI(buf, 5));
  EXPECT_EQ(0, std::memcmp("IZKS\0xxx", buf, 8));
  EXPECT_EQ(0u, SDGetVersioniSCSI(buf, 1));
  EXPECT_EQ('\0', buf[0]);
  EXPECT_EQ('Z', buf[1]);
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetVersioniSCSI(buf, 0));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetVersioniSCSI(nullptr, 31));
  char full[31];
  EXPECT_EQ(0u, SDGetVersioniSCSI(full, sizeof full));
  EXPECT_STREQ("IZKSDM iSCSI 4.02.17 SIM", full);
}

TEST_F(SimTest, StatusTextsAndConcurrentUnknownTexts) {
  EXPECT_STREQ("Success", SDGetErrorStringiSCSI(0));
  EXPECT_STREQ("SCSI command completed with check condition (sense data returned)",
               SDGetErrorStringiSCSI(0x20000040));
  EXPECT_STREQ("Function not simulated", SDGetErrorStringiSCSI(IZKSIM_ST_NOT_SIMULATED));
  EXPECT_STREQ("Unknown status 0x2000abcd", SDGetErrorStringiSCSI(0x2000abcd));

  std::atomic<int> bad{0};
  auto worker = [&bad](uint32_t status, const char* expected) {
    for (int i = 0; i < 2000; ++i)
      if (std::strcmp(SDGetErrorStringiSCSI(status), expected) != 0) ++bad;
  };
  std::thread a(worker, 0x12345678u, "Unknown status 0x12345678");
  std::thread b(worker, 0x0000abcdu, "Unknown status 0x0000abcd");
  a.join();
  b.join();
  EXPECT_EQ(0, bad.load());
}

// --- faults -------------------------------------------------------------------------

TEST_F(SimTest, FaultsOnceAndAlways) {
  izksim_set_fault("SDOpenDeviceiSCSI", 0x20000005, 1);
  SDMGT_HANDLE h = 7;
  EXPECT_EQ(0x20000005u, SDOpenDeviceiSCSI(0, &h));
  EXPECT_EQ(7u, h);  // the work was not done
  h = open(0);
  EXPECT_NE(0u, h);

  izksim_set_fault("SDCloseDeviceiSCSI", 0x2000002D, 0);
  EXPECT_EQ(0x2000002Du, SDCloseDeviceiSCSI(h));
  EXPECT_EQ(0x2000002Du, SDCloseDeviceiSCSI(h));
  izksim_clear_faults();
  EXPECT_EQ(0u, SDCloseDeviceiSCSI(h));

  // A fault given once answers one call without its work; the next call does it.
  h = open(0);
  izksim_set_fault("SDGetCHAPEntryNum", 0x2000002D, 1);
  uint32_t count = 77;
  EXPECT_EQ(0x2000002Du, SDGetCHAPEntryNum(h, &count));
  EXPECT_EQ(77u, count);
  EXPECT_EQ(0u, SDGetCHAPEntryNum(h, &count));
  EXPECT_NE(77u, count);

  const std::vector<json> opens = calls_of("SDOpenDeviceiSCSI");
  ASSERT_EQ(3u, opens.size());
  EXPECT_EQ(0x20000005u, opens[0]["status"].get<uint32_t>());
  EXPECT_EQ(0u, opens[1]["status"].get<uint32_t>());
  EXPECT_EQ(0u, opens[2]["status"].get<uint32_t>());
}

// --- call log -------------------------------------------------------------------------

TEST_F(SimTest, CallLogRecordsArgumentsAndBytesAtEntry) {
  izksim_clear_call_log();
  SDMGT_HANDLE h = open(0);
  TARGETINFORMATION ti;
  std::memset(&ti, 0, sizeof ti);
  ti.TargetID = 3;
  ti.LUN = 2;
  uint8_t cdb[6] = {0x12, 0, 0, 0, 36, 0};
  uint8_t data[36];
  std::memset(data, 0xAB, sizeof data);
  uint8_t sense[4] = {0};
  ASSERT_EQ(0u, SDSendScsiPassThruiSCSI(h, &ti, cdb, 6, nullptr, 0, data, 36, sense, 4));
  EXPECT_EQ(0, std::memcmp("KESTREL ", data + 8, 8));  // the answer arrived

  char name[] = "/nonexistent-dir/trace.txt";
  EXPECT_EQ(IZKSIM_ST_FILE_ERROR, SDEnableDebugTraceiSCSI(&h, name, -1));
  DEVICEENTRYISCSI entry;
  std::memset(&entry, 0, sizeof entry);
  EXPECT_EQ(0u, SDGetDDBEntry(h, &entry, 7));
  EXPECT_EQ(64u, entry.NextValid);

  const json log = call_log();
  ASSERT_EQ(4u, log.size());
  EXPECT_EQ("SDOpenDeviceiSCSI", log[0]["fn"]);
  EXPECT_EQ(json({{"instance", 0}}), log[0]["args"]);
  EXPECT_EQ("00000000", log[0]["records"]["handle"]);

  const json& pt = log[1];
  EXPECT_EQ(log[0]["seq"].get<uint64_t>() + 1, pt["seq"].get<uint64_t>());
  EXPECT_EQ(json({{"handle", h}, {"cdbLength", 6}, {"dataOutLength", 0}, {"dataInLength", 36}, {"senseLength", 4}}),
            pt["args"]);
  EXPECT_EQ(hex(reinterpret_cast<uint8_t*>(&ti), sizeof ti), pt["records"]["target"]);
  EXPECT_EQ("120000002400", pt["records"]["cdb"]);
  EXPECT_TRUE(pt["records"]["dataOut"].is_null());
  std::string ab;
  for (int i = 0; i < 36; ++i) ab += "ab";
  EXPECT_EQ(ab, pt["records"]["dataIn"]);  // as handed over, not as answered
  EXPECT_EQ("00000000", pt["records"]["sense"]);

  EXPECT_EQ(json({{"handle", h}, {"level", -1}}), log[2]["args"]);
  EXPECT_EQ("/nonexistent-dir/trace.txt", log[2]["text"]["fileName"]);
  EXPECT_EQ(uint32_t(IZKSIM_ST_FILE_ERROR), log[2]["status"].get<uint32_t>());
  EXPECT_EQ(std::string(968, '0'), log[3]["records"]["entry"]);  // as handed over
  EXPECT_EQ(7, log[3]["args"]["index"]);
}

TEST_F(SimTest, CallLogCopyAndBound) {
  izksim_clear_call_log();
  char v[4];
  SDGetVersioniSCSI(v, sizeof v);
  const std::string full = call_log_text();
  char small[11];
  std::memset(small, 'x', sizeof small);
  EXPECT_EQ(full.size(), izksim_call_log_json(small, 10));
  EXPECT_EQ(full.substr(0, 9), std::string(small));
  EXPECT_EQ('x', small[10]);
  EXPECT_EQ(full.size(), izksim_call_log_json(small, 0));

  for (int i = 0; i < IZKSIM_CALL_LOG_LIMIT + 50; ++i) SDGetErrorStringiSCSI(0);
  const json log = call_log();
  ASSERT_EQ(size_t(IZKSIM_CALL_LOG_LIMIT), log.size());
  EXPECT_EQ(log.back()["seq"].get<uint64_t>() - IZKSIM_CALL_LOG_LIMIT + 1, log.front()["seq"].get<uint64_t>());
  izksim_clear_call_log();
  EXPECT_EQ("[]", call_log_text());
}

TEST_F(SimTest, TextArgumentsStayValidJson) {
  izksim_clear_call_log();
  SDMGT_HANDLE h = 100;
  const char name[] = "/nonexistent-dir/\"q\"\\\xc3\xa9\xff\n";
  SDEnableDebugTraceiSCSI(&h, name, 1);
  const json log = call_log();
  EXPECT_EQ("/nonexistent-dir/\"q\"\\\xc3\xa9\xc3\xbf\n", log[0]["text"]["fileName"].get<std::string>());
  SDEnableDebugTraceiSCSI(&h, nullptr, 1);
  EXPECT_TRUE(call_log()[1]["text"]["fileName"].is_null());
}

// --- trace --------------------------------------------------------------------------

TEST_F(SimTest, DebugTraceWritesOneLinePerCallUntilReset) {
  const std::string path = temp_path("trace.txt");
  std::remove(path.c_str());
  SDMGT_HANDLE h = open(0);
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDEnableDebugTraceiSCSI(&h, nullptr, -1));
  ASSERT_EQ(0u, SDEnableDebugTraceiSCSI(&h, path.c_str(), -1));
  char v[31];
  SDGetVersioniSCSI(v, sizeof v);
  SDCloseDeviceiSCSI(77);
  ASSERT_EQ(0, izksim_reset());
  SDGetVersioniSCSI(v, sizeof v);  // not traced any more
  const std::string text = read_file(path);
  EXPECT_NE(std::string::npos, text.find(" SDGetVersioniSCSI(length=31, buffer=[31 bytes]) = 0x00000000\n"));
  EXPECT_NE(std::string::npos, text.find(" SDCloseDeviceiSCSI(handle=77) = 0x20000001\n"));
  EXPECT_EQ(std::string::npos, text.find("SDGetVersioniSCSI", text.find("SDCloseDeviceiSCSI")));
  std::remove(path.c_str());
}

// --- threads ----------------------------------------------------------------------------

TEST_F(SimTest, TwoThreadsCallingAtOnce) {
  izksim_clear_call_log();
  std::atomic<int> failures{0};
  auto worker = [&failures](uint32_t instance, uint16_t target, uint16_t lun) {
    for (int i = 0; i < 1500; ++i) {
      SDMGT_HANDLE h = 0;
      if (SDOpenDeviceiSCSI(instance, &h) != 0) ++failures;
      TARGETINFORMATION ti;
      std::memset(&ti, 0, sizeof ti);
      ti.TargetID = target;
      ti.LUN = lun;
      uint8_t cdb[10] = {0x25};
      uint8_t data[8];
      uint8_t sense[18];
      if (SDSendScsiPassThruiSCSI(h, &ti, cdb, 10, nullptr, 0, data, 8, sense, 18) != 0) ++failures;
      if (std::strcmp(SDGetErrorStringiSCSI(0x20000004), "Target not found") != 0) ++failures;
    }
  };
  std::thread a(worker, 0, 3, 1);
  std::thread b(worker, 1, 2, 0);
  a.join();
  b.join();
  EXPECT_EQ(0, failures.load());
  const json log = call_log();
  ASSERT_EQ(9000u, log.size());
  for (size_t i = 1; i < log.size(); ++i) ASSERT_EQ(log[i - 1]["seq"].get<uint64_t>() + 1, log[i]["seq"].get<uint64_t>());
}
