// SCSI pass-through answers of the simulated logical units.
#include <cstring>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

class ScsiTest : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    handle = open(0);
  }

  // Sends a command to bus 0, `target`, `lun` with a data-in buffer of inLength.
  uint32_t send(uint16_t target, uint16_t lun, std::vector<uint8_t> cdb, uint32_t inLength, uint32_t senseLength = 32,
                const uint8_t* out = nullptr, uint32_t outLength = 0) {
    std::memset(data, 0xEE, sizeof data);
    std::memset(sense, 0xEE, sizeof sense);
    TARGETINFORMATION ti;
    std::memset(&ti, 0, sizeof ti);
    ti.TargetID = target;
    ti.LUN = lun;
    return SDSendScsiPassThruiSCSI(handle, &ti, cdb.data(), uint32_t(cdb.size()), const_cast<uint8_t*>(out), outLength,
                                   data, inLength, sense, senseLength);
  }

  std::string data_hex(size_t n) const { return hex(data, n); }
  std::string sense_hex(size_t n) const { return hex(sense, n); }

  SDMGT_HANDLE handle = 0;
  uint8_t data[300];
  uint8_t sense[64];
};

const std::vector<uint8_t> kInquiry83 = {0x12, 0x01, 0x83, 0x00, 0x40, 0x00};

}  // namespace

TEST_F(ScsiTest, InquiryStandardDataAndVpdPages) {
  ASSERT_EQ(0u, send(0, 1, {0x12, 0, 0, 0, 36, 0}, 36));
  EXPECT_EQ("000005125b000002", data_hex(8));
  EXPECT_EQ(0, std::memcmp("ACMEDISKVault-9000      0412", data + 8, 28));
  EXPECT_EQ(0xEE, data[36]);  // nothing beyond the allocation length

  ASSERT_EQ(0u, send(0, 1, {0x12, 0, 0, 0, 96, 0}, 96));
  EXPECT_EQ(0, std::memcmp("AV9K0000A1L1        ", data + 36, 20));  // serial in the vendor bytes 36..55

  ASSERT_EQ(0u, send(0, 1, {0x12, 1, 0x00, 0, 255, 0}, 255));
  EXPECT_EQ("00000003008083ee", data_hex(8));
  ASSERT_EQ(0u, send(0, 1, {0x12, 1, 0x80, 0, 255, 0}, 255));
  EXPECT_EQ("0080000c", data_hex(4));
  EXPECT_EQ(0, std::memcmp("AV9K0000A1L1", data + 4, 12));

  // Page 0x83: header, one NAA designator, the 8-byte identifier at offset 8.
  ASSERT_EQ(0u, send(0, 1, kInquiry83, 64));
  EXPECT_EQ("0083000c01030008" "500acde100a10001" "ee", data_hex(17));
  EXPECT_EQ("eeee", sense_hex(2));  // no sense on success
}

TEST_F(ScsiTest, UnsupportedPagesAnswerIllegalRequest) {
  const std::string illegal = "700005000000000a000000002400" "0000" "00" "00";
  // LUN with page 0x83 switched off; it is also left out of page 0x00.
  ASSERT_EQ(IZKSIM_ST_CHECK_CONDITION, send(1, 0, kInquiry83, 64));
  EXPECT_EQ(illegal, sense_hex(18));
  EXPECT_EQ(0xEE, sense[18]);
  EXPECT_EQ("ee", data_hex(1));
  ASSERT_EQ(0u, send(1, 0, {0x12, 1, 0x00, 0, 255, 0}, 255));
  EXPECT_EQ("000000020080ee", data_hex(7));

  EXPECT_EQ(IZKSIM_ST_CHECK_CONDITION, send(0, 0, {0x12, 1, 0xB0, 0, 64, 0}, 64));
  EXPECT_EQ(illegal, sense_hex(18));
  EXPECT_EQ(IZKSIM_ST_CHECK_CONDITION, send(0, 0, {0x12, 0, 0x83, 0, 64, 0}, 64));  // page without EVPD
  EXPECT_EQ(illegal, sense_hex(18));

  EXPECT_EQ(IZKSIM_ST_CHECK_CONDITION, send(0, 0, {0x28, 0, 0, 0, 0, 0, 0, 0, 1, 0}, 64));  // READ(10)
  EXPECT_EQ("700005000000000a000000002000", sense_hex(14));

  EXPECT_EQ(IZKSIM_ST_CHECK_CONDITION, send(3, 3, {0x00, 0, 0, 0, 0, 0}, 0));  // TEST UNIT READY, LUN not ready
  EXPECT_EQ("700002000000000a000000000400", sense_hex(14));
  EXPECT_EQ(0u, send(3, 2, {0x00, 0, 0, 0, 0, 0}, 0));
}

TEST_F(ScsiTest, SenseIsBoundedBySenseLength) {
  ASSERT_EQ(IZKSIM_ST_CHECK_CONDITION, send(1, 0, kInquiry83, 64, 3));
  EXPECT_EQ("700005" "eeeeeeee", sense_hex(7));
  TARGETINFORMATION ti;
  std::memset(&ti, 0, sizeof ti);
  ti.TargetID = 1;
  std::vector<uint8_t> cdb = kInquiry83;
  EXPECT_EQ(IZKSIM_ST_CHECK_CONDITION, SDSendScsiPassThruiSCSI(handle, &ti, cdb.data(), 6, nullptr, 0, data, 64, nullptr, 0));
}

TEST_F(ScsiTest, UnknownTargetOrLunAndBadArguments) {
  EXPECT_EQ(IZKSIM_ST_TARGET_NOT_FOUND, send(2, 0, kInquiry83, 64));
  EXPECT_EQ(IZKSIM_ST_LUN_NOT_FOUND, send(0, 7, kInquiry83, 64));
  EXPECT_EQ("eeee", sense_hex(2));
  EXPECT_EQ("eeee", data_hex(2));

  TARGETINFORMATION ti;
  std::memset(&ti, 0, sizeof ti);
  ti.BusNumber = 1;  // the bus counts too
  std::vector<uint8_t> cdb = kInquiry83;
  EXPECT_EQ(IZKSIM_ST_TARGET_NOT_FOUND, SDSendScsiPassThruiSCSI(handle, &ti, cdb.data(), 6, nullptr, 0, data, 64, sense, 32));
  ti.BusNumber = 0;
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSendScsiPassThruiSCSI(handle, nullptr, cdb.data(), 6, nullptr, 0, data, 64, sense, 32));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSendScsiPassThruiSCSI(handle, &ti, cdb.data(), 0, nullptr, 0, data, 64, sense, 32));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSendScsiPassThruiSCSI(handle, &ti, cdb.data(), 4, nullptr, 0, data, 64, sense, 32));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSendScsiPassThruiSCSI(handle, &ti, cdb.data(), 6, nullptr, 0, nullptr, 64, sense, 32));
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDSendScsiPassThruiSCSI(101, &ti, cdb.data(), 6, nullptr, 0, data, 64, sense, 32));
}

TEST_F(ScsiTest, ReportLunsListFormat) {
  ASSERT_EQ(0u, send(3, 0, {0xA0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x08, 0, 0}, 264));
  EXPECT_EQ("00000020" "00000000" "0000000000000000" "0001000000000000" "0002000000000000" "0003000000000000" "ee",
            data_hex(41));
  // Answered whichever LUN it is sent to; bounded by the buffer.
  ASSERT_EQ(0u, send(3, 9, {0xA0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x08, 0, 0}, 20));
  EXPECT_EQ("00000020" "00000000" "0000000000000000" "0001" "0000" "ee", data_hex(21));

  ASSERT_EQ(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "targets": [
      {"targetId": 4, "luns": [{"lun": 300}, {"lun": 5}]},
      {"targetId": 6, "reportLunsData": "00 00 80 c8 00 00 00 00 02 03"}]}]})")) << izksim_last_error();
  handle = open(0);
  ASSERT_EQ(0u, send(4, 0, {0xA0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x08, 0, 0}, 264));
  EXPECT_EQ("00000010" "00000000" "0005000000000000" "412c000000000000", data_hex(24));
  ASSERT_EQ(0u, send(6, 0, {0xA0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x08, 0, 0}, 264));
  EXPECT_EQ("000080c8000000000203ee", data_hex(11));
}

TEST_F(ScsiTest, ReadCapacityValues) {
  ASSERT_EQ(0u, send(0, 2, {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 8));
  EXPECT_EQ("0fffffff" "00001000", data_hex(8));  // 268435456 blocks of 4096
  ASSERT_EQ(0u, send(0, 2, {0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0}, 32));
  EXPECT_EQ("000000000fffffff" "00001000" "00000000", data_hex(16));

  ASSERT_EQ(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "targets": [
      {"targetId": 0, "luns": [{"lun": 0, "blocks": "0x200000000", "blockLength": 512}]}]}]})"));
  handle = open(0);
  ASSERT_EQ(0u, send(0, 0, {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 8));
  EXPECT_EQ("ffffffff" "00000200", data_hex(8));
  ASSERT_EQ(0u, send(0, 0, {0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 12, 0, 0}, 32));
  EXPECT_EQ("00000001ffffffff" "00000200" "eeee", data_hex(14));  // allocation length 12
}

TEST_F(ScsiTest, WriteThenReadBuffer) {
  uint8_t pattern[64];
  for (int i = 0; i < 64; ++i) pattern[i] = uint8_t(0xA0 + i);
  ASSERT_EQ(0u, send(0, 0, {0x3B, 0x02, 0, 0, 0, 0, 0, 0, 10, 0}, 0, 32, pattern, 10));
  ASSERT_EQ(0u, send(0, 0, {0x3C, 0x02, 0, 0, 0, 0, 0, 0, 64, 0}, 12));  // buffer shorter than asked
  EXPECT_EQ("a0a1a2a3a4a5a6a7a8a90000" "ee", data_hex(13));
  // The buffer belongs to the LUN.
  ASSERT_EQ(0u, send(0, 1, {0x3C, 0x02, 0, 0, 0, 0, 0, 0, 4, 0}, 64));
  EXPECT_EQ("00000000ee", data_hex(5));
  // Descriptor mode tells the capacity; beyond 64 bytes is refused.
  ASSERT_EQ(0u, send(0, 0, {0x3C, 0x03, 0, 0, 0, 0, 0, 0, 4, 0}, 4));
  EXPECT_EQ("00000040", data_hex(4));
  EXPECT_EQ(IZKSIM_ST_CHECK_CONDITION, send(0, 0, {0x3B, 0x02, 0, 0, 0, 60, 0, 0, 8, 0}, 0, 32, pattern, 8));
  EXPECT_EQ("700005000000000a000000002400", sense_hex(14));
  // A LUN without buffer support answers ILLEGAL REQUEST, invalid operation code.
  EXPECT_EQ(IZKSIM_ST_CHECK_CONDITION, send(1, 0, {0x3B, 0x02, 0, 0, 0, 0, 0, 0, 8, 0}, 0, 32, pattern, 8));
  EXPECT_EQ("700005000000000a000000002000", sense_hex(14));
}

TEST_F(ScsiTest, InactiveTargetAnswersNothing) {
  ASSERT_EQ(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "targets": [
      {"targetId": 2, "state": 1, "luns": [{"lun": 0}]}]}]})"));
  handle = open(0);
  EXPECT_EQ(IZKSIM_ST_TARGET_NOT_ACTIVE, send(2, 0, kInquiry83, 64));
}
