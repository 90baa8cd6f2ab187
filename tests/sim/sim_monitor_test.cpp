// Statistics, ping, loopback and the buffer-test switches of the simulator.
#include <cstring>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

constexpr uint64_t kMax = UINT64_MAX;

std::vector<uint8_t> unhex(const std::string& h) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i + 1 < h.size(); i += 2) out.push_back(uint8_t(std::stoi(h.substr(i, 2), nullptr, 16)));
  return out;
}

// One adapter (handle 100) with a target 0 holding LUN 0 and the given extra sections.
std::string scenario(const std::string& extra) {
  return R"({"adapters": [{"instance": 0, "portal": {"ipAddress": "10.1.1.5"},
             "targets": [{"targetId": 0, "luns": [{"lun": 0}]}])" +
         (extra.empty() ? "" : ", " + extra) + "}]}";
}

class MonitorTest : public SimTest {
 protected:
  void load(const std::string& extra) {
    ASSERT_EQ(0, izksim_load_scenario_json(scenario(extra).c_str())) << izksim_last_error();
    handle = open(0);
  }

  uint32_t buffer(uint8_t opcode, uint8_t* io, uint32_t length, uint8_t* senseOut) {
    TARGETINFORMATION ti;
    std::memset(&ti, 0, sizeof ti);
    uint8_t cdb[10] = {opcode, 2, 0, 0, 0, 0, 0, 0, uint8_t(length), 0};
    const bool write = opcode == 0x3B;
    return SDSendScsiPassThruiSCSI(handle, &ti, cdb, 10, write ? io : nullptr, write ? length : 0,
                                   write ? nullptr : io, write ? 0 : length, senseOut, 80);
  }

  SDMGT_HANDLE handle = 0;
};

}  // namespace

TEST_F(MonitorTest, EachRecordShowsItsCountersAndTheyMoveAfterEveryRead) {
  load(R"("statistics": {"counters": {"MACTxFramesCount": 7, "iSCSISeqErrorCount": "0xffffffffffffffff",
          "IPv6RxPacketsCount": 5, "TCPTimerExpiredCount": 9, "InvalidCrcCount": 3},
          "perRead": {"MACTxFramesCount": 2, "iSCSISeqErrorCount": 1}})");
  HBAPORTSTATISCSI first;
  std::memset(&first, 0xAA, sizeof first);
  ASSERT_EQ(0u, SDGetStatisticsiSCSI(handle, &first));
  EXPECT_EQ(7u, first.MACTxFramesCount);
  EXPECT_EQ(kMax, first.iSCSISeqErrorCount);
  EXPECT_EQ(9u, first.TCPTimerExpiredCount);
  EXPECT_EQ(0u, first.Reserved1);
  EXPECT_EQ(0u, first.Reserved[19]);

  HBAPORTSTATISCSIEXTEND ext;
  ASSERT_EQ(0u, SDGetStatisticsiSCSIExtend(handle, &ext));
  EXPECT_EQ(9u, ext.Counters[HBAPORTSTATISCSIEXTEND::MACTxFramesCount]);
  EXPECT_EQ(0u, ext.Counters[HBAPORTSTATISCSIEXTEND::iSCSISeqErrorCount]);  // wrapped past 2^64 - 1
  EXPECT_EQ(5u, ext.Counters[HBAPORTSTATISCSIEXTEND::IPv6RxPacketsCount]);

  HBAPORTSTATGEN gen;
  ASSERT_EQ(0u, SDGetStatisticsGen(handle, &gen));
  EXPECT_EQ(3u, gen.InvalidCrcCount);
  EXPECT_EQ(0u, gen.IoCount);

  ASSERT_EQ(0u, SDResetStatisticsiSCSI(handle, 0));
  ASSERT_EQ(0u, SDGetStatisticsiSCSI(handle, &first));
  EXPECT_EQ(0u, first.MACTxFramesCount);
  EXPECT_EQ(0u, first.iSCSISeqErrorCount);
  EXPECT_EQ(1u, calls_of("SDResetStatisticsiSCSI").size());

  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetStatisticsGen(handle, nullptr));
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDGetStatisticsiSCSI(999, &first));
}

// A recording gives each statistics record as it was read: each answers its
// bytes as they stand, whatever traffic follows, until a reset; then the
// counters start from 0 and move again.
TEST_F(MonitorTest, RecordedRecordsAnswerAsRecordedUntilAReset) {
  std::string first(360 * 2, '0'), ext(624 * 2, '0');
  first.replace(0, 2, "05");           // MACTxFramesCount
  first.replace(104 * 2, 2, "77");     // Reserved1, as the adapter gave it
  first.replace(160 * 2, 16, "ffffffffffffffff");  // TCPTimerExpiredCount
  ext.replace(2 * 8 * 2, 2, "2a");     // index 2, MACTxMulticast
  ext.replace(0, 2, "06");             // MACTxFramesCount, read later
  load(R"("statistics": {"raw": ")" + first + R"("}, "statisticsExtend": {"raw": ")" + ext +
       R"("}, "statisticsGen": {"raw": "0102"})");
  uint8_t data[16] = {};
  uint8_t sense[80];
  ASSERT_EQ(0u, buffer(0x3B, data, 16, sense));  // traffic leaves the recorded records alone
  for (int read = 0; read < 2; ++read) {
    HBAPORTSTATISCSI s;
    ASSERT_EQ(0u, SDGetStatisticsiSCSI(handle, &s));
    EXPECT_EQ(0, std::memcmp(&s, unhex(first).data(), sizeof s));
    EXPECT_EQ(5u, s.MACTxFramesCount);
    EXPECT_EQ(0x77u, s.Reserved1);
    HBAPORTSTATISCSIEXTEND e;
    ASSERT_EQ(0u, SDGetStatisticsiSCSIExtend(handle, &e));
    EXPECT_EQ(0, std::memcmp(&e, unhex(ext).data(), sizeof e));
    HBAPORTSTATGEN g;
    std::memset(&g, 0xAA, sizeof g);
    ASSERT_EQ(0u, SDGetStatisticsGen(handle, &g));  // a short record: the rest is 0
    EXPECT_EQ(0x0201u, g.HBAPortErrorCount);
    EXPECT_EQ(0u, g.IoCount);
  }
  ASSERT_EQ(0u, SDResetStatisticsiSCSI(handle, 0));
  ASSERT_EQ(0u, buffer(0x3B, data, 16, sense));
  HBAPORTSTATISCSI s;
  ASSERT_EQ(0u, SDGetStatisticsiSCSI(handle, &s));
  EXPECT_EQ(0u, s.MACTxFramesCount);
  EXPECT_EQ(0u, s.Reserved1);
  EXPECT_EQ(2u, s.iSCSITxPDUCount);
  HBAPORTSTATGEN g;
  ASSERT_EQ(0u, SDGetStatisticsGen(handle, &g));
  EXPECT_EQ(1u, g.IoCount);
}

TEST_F(MonitorTest, ScsiCommandsMoveTheIoCounters) {
  load("");
  uint8_t data[64] = {1, 2, 3};
  uint8_t sense[80];
  ASSERT_EQ(0u, buffer(0x3B, data, 16, sense));
  ASSERT_EQ(0u, buffer(0x3C, data, 16, sense));
  HBAPORTSTATGEN gen;
  ASSERT_EQ(0u, SDGetStatisticsGen(handle, &gen));
  EXPECT_EQ(2u, gen.IoCount);
  EXPECT_EQ(2u, gen.InterruptCount);
  EXPECT_EQ(0u, gen.MBytesCount);
  HBAPORTSTATISCSI first;
  ASSERT_EQ(0u, SDGetStatisticsiSCSI(handle, &first));
  EXPECT_EQ(3u, first.iSCSITxPDUCount);  // two commands, one data-out PDU
  EXPECT_EQ(3u * 48 + 16, first.iSCSITxBytesCount);
}

TEST_F(MonitorTest, ScenarioErrorsNameThePlace) {
  EXPECT_NE(0, izksim_load_scenario_json(scenario(R"("statistics": {"counters": {"MACTxFrameCount": 1}})").c_str()));
  EXPECT_STREQ("unknown counter \"MACTxFrameCount\" in adapters[0].statistics.counters", izksim_last_error());
  EXPECT_NE(0, izksim_load_scenario_json(scenario(R"("statisticsGen": {})").c_str()));
  EXPECT_STREQ("adapters[0].statisticsGen: a recorded statistics record needs \"raw\"", izksim_last_error());
  EXPECT_NE(0, izksim_load_scenario_json(
                   scenario(R"("diagnostics": {"buffers": [{"targetId": 0, "failOn": "both"}]})").c_str()));
  EXPECT_STREQ("adapters[0].diagnostics.buffers[0].failOn: \"both\" is neither \"write\" nor \"read\"",
               izksim_last_error());
}

TEST_F(MonitorTest, PingAnswersTheAdapterAndTheListedAddresses) {
  load(R"("diagnostics": {"pingReplies": ["10.1.1.1"]})");
  PING ping;
  std::memset(&ping, 0, sizeof ping);
  ping.packetCount = 3;
  const uint8_t gateway[4] = {10, 1, 1, 1}, own[4] = {10, 1, 1, 5}, other[4] = {10, 1, 1, 9};
  std::memcpy(ping.IPAddr.IPAddress, gateway, 4);
  EXPECT_EQ(0u, SDDiagPing(handle, &ping));
  std::memcpy(ping.IPAddr.IPAddress, own, 4);
  EXPECT_EQ(0u, SDDiagPing(handle, &ping));
  std::memcpy(ping.IPAddr.IPAddress, other, 4);
  EXPECT_EQ(IZKSIM_ST_PING_NO_REPLY, SDDiagPing(handle, &ping));
  EXPECT_STREQ("No reply to ping", SDGetErrorStringiSCSI(IZKSIM_ST_PING_NO_REPLY));
  ping.packetCount = 0;
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDDiagPing(handle, &ping));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDDiagPing(handle, nullptr));
}

TEST_F(MonitorTest, LoopbackRunsFailAsListed) {
  load(R"("diagnostics": {"loopbackFailures": [2, 4]})");
  std::vector<uint32_t> got;
  for (int i = 0; i < 5; ++i) got.push_back(SDPerformLoopBackTest(handle, 1));
  EXPECT_EQ((std::vector<uint32_t>{0, IZKSIM_ST_LOOPBACK_FAILED, 0, IZKSIM_ST_LOOPBACK_FAILED, 0}), got);
  EXPECT_EQ(1u, calls_of("SDPerformLoopBackTest")[0]["args"]["mode"].get<uint32_t>());
}

TEST_F(MonitorTest, BufferSwitchesSpoilTheNthReadAndAnswerWithASenseKey) {
  load(R"("diagnostics": {"buffers": [{"targetId": 0, "lun": 0, "miscompareAt": 2,
          "senseKey": 5, "failOn": "write", "from": 4}]})");
  uint8_t pattern[8] = {0x5a, 1, 2, 3, 4, 5, 6, 7};
  uint8_t in[8];
  uint8_t sense[80];
  for (int i = 1; i <= 3; ++i) {
    ASSERT_EQ(0u, buffer(0x3B, pattern, 8, sense)) << i;
    std::memset(in, 0, sizeof in);
    ASSERT_EQ(0u, buffer(0x3C, in, 8, sense)) << i;
    EXPECT_EQ(i == 2 ? 0xa5 : 0x5a, in[0]) << i;
    EXPECT_EQ(0, std::memcmp(pattern + 1, in + 1, 7)) << i;
  }
  std::memset(sense, 0, sizeof sense);
  EXPECT_EQ(IZKSIM_ST_CHECK_CONDITION, buffer(0x3B, pattern, 8, sense));
  EXPECT_EQ(0x70, sense[0]);
  EXPECT_EQ(5, sense[2]);
  EXPECT_EQ(0x20, sense[12]);
}
