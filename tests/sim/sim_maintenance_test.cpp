// Boot code settings and DHCP options, the VPD image and firmware updates.
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

std::string text_at(const uint8_t* p, size_t n) { return std::string(reinterpret_cast<const char*>(p), n); }

// A temporary file holding `size` bytes; removed with the object.
struct TempImage {
  std::string path;
  explicit TempImage(size_t size) {
    char name[] = "/tmp/izksim-imageXXXXXX";
    const int fd = mkstemp(name);
    path = name;
    std::string data(size, '\x5a');
    if (fd >= 0) {
      EXPECT_EQ(ssize_t(size), write(fd, data.data(), size));
      close(fd);
    }
  }
  ~TempImage() { std::remove(path.c_str()); }
};

}  // namespace

TEST_F(SimTest, BootSettingsWriteKeepsTheBootCodeVersion) {
  const SDMGT_HANDLE h = open(0);
  SDMBOOTCODE b;
  std::memset(&b, 0xEE, sizeof b);
  ASSERT_EQ(0u, SDGetBootcodeInfo(h, &b));
  EXPECT_EQ(0x0208, b.Flags);
  EXPECT_EQ(0x80, b.PriID);
  EXPECT_EQ(0x83, b.SecID);
  EXPECT_EQ(1u, uint64_t{b.SecLUN});
  EXPECT_EQ(0, b.Pad0[0]);  // everything the record has is answered, padding zero
  EXPECT_EQ(2, b.MajorVer);
  EXPECT_EQ(1, b.BootcodeValid);

  SDMBOOTCODE w;
  std::memset(&w, 0, sizeof w);
  w.Flags = 0x0009;
  w.PriID = 0x85;
  w.PriLUN = 0x0102030405060708ULL;
  w.SecID = 0x06;
  ASSERT_EQ(0u, SDSetBootcodeInfo(h, &w));
  ASSERT_EQ(0u, SDGetBootcodeInfo(h, &b));
  EXPECT_EQ(0x0009, b.Flags);
  EXPECT_EQ(0x85, b.PriID);
  EXPECT_EQ(0x0102030405060708ULL, uint64_t{b.PriLUN});  // a copy: the packed field is not aligned
  EXPECT_EQ(0x06, b.SecID);
  EXPECT_EQ(0u, uint64_t{b.SecLUN});
  EXPECT_EQ(2, b.MajorVer);  // the image's version stays
  EXPECT_EQ(5, b.MinorVer);
  EXPECT_EQ(1, b.BootcodeValid);
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSetBootcodeInfo(h, nullptr));
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDGetBootcodeInfo(12345, &b));
}

TEST_F(SimTest, BootDhcpOptionsLengthsFollowTheTextsAndAreChecked) {
  const SDMGT_HANDLE h = open(0);
  BOOTCODEDHCP d;
  ASSERT_EQ(0u, SDGetBootcodeDhcp(h, &d));
  EXPECT_EQ("NVS-BOOT-V1", text_at(d.VendorID, d.VendorIDLength));
  EXPECT_EQ("rack3-p0", text_at(d.AltClientID, d.AltClientIDLength));
  EXPECT_EQ(0x0700, d.UseRequireVIDLearnIQN);

  BOOTCODEDHCP w;
  std::memset(&w, 0, sizeof w);
  std::memcpy(w.VendorID, "ABCDEFGHIJKL", 12);
  w.VendorIDLength = 12;
  ASSERT_EQ(0u, SDSetBootcodeDhcp(h, &w));
  ASSERT_EQ(0u, SDGetBootcodeDhcp(h, &d));
  EXPECT_EQ(0, std::memcmp(&w, &d, sizeof w));
  w.AltClientIDLength = 13;
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSetBootcodeDhcp(h, &w));
  // Instance 1 has no DHCP options: all zero.
  ASSERT_EQ(0u, SDGetBootcodeDhcp(open(1), &d));
  EXPECT_EQ(0, d.VendorIDLength);
}

TEST_F(SimTest, VpdImageIsAPciImageWithTheFieldsAtTheirPositions) {
  const SDMGT_HANDLE h = open(0);
  VPD_INFO v;
  std::memset(&v, 0, sizeof v);
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetVPDInfo(h, &v));  // no vendor id named
  v.VendorID = 0x02010000;
  ASSERT_EQ(0u, SDGetVPDInfo(h, &v));
  const uint8_t* d = v.VPDData;
  EXPECT_EQ(0x82, d[0]);
  EXPECT_EQ(42, d[1] | d[2] << 8);
  EXPECT_EQ("NV-2210C 2-Port 10GbE iSCSI HBA, PCIe x8 L", text_at(d + 3, 42));
  EXPECT_EQ(0x90, d[45]);
  EXPECT_EQ("PN", text_at(d + 48, 2));
  EXPECT_EQ(7, d[50]);
  EXPECT_EQ("46N2210", text_at(d + 51, 7));
  EXPECT_EQ("D27531", text_at(d + 61, 6));
  EXPECT_EQ("NVS0421", text_at(d + 70, 7));
  EXPECT_EQ("46N2211", text_at(d + 80, 7));
  EXPECT_EQ("5C2A", text_at(d + 90, 4));
  EXPECT_EQ("N1", text_at(d + 97, 2));
  EXPECT_EQ("RV", text_at(d + 99, 2));
  uint8_t sum = 0;
  for (int i = 0; i <= 102; ++i) sum = uint8_t(sum + d[i]);
  EXPECT_EQ(0, sum);  // the checksum covers everything up to itself
  EXPECT_EQ(102 - 47, d[46] | d[47] << 8);
  EXPECT_EQ(0x78, d[103]);
}

TEST_F(SimTest, VpdShortTextsMoveWhatFollowsAndRawImagesStandAsGiven) {
  ASSERT_EQ(0, izksim_load_scenario_json(
                   R"({"adapters": [{"instance": 0, "vpd": {"productDescription": "Short", "partNumber": "P1"}},
                                     {"instance": 1, "vpd": {"raw": "0102ff"}}]})"))
      << izksim_last_error();
  VPD_INFO v;
  std::memset(&v, 0, sizeof v);
  v.VendorID = 0x02010000;
  ASSERT_EQ(0u, SDGetVPDInfo(open(0), &v));
  EXPECT_EQ(0x90, v.VPDData[8]);
  EXPECT_EQ("PN", text_at(v.VPDData + 11, 2));
  EXPECT_EQ("P1", text_at(v.VPDData + 14, 2));
  ASSERT_EQ(0u, SDGetVPDInfo(open(1), &v));
  EXPECT_EQ("0102ff00", hex(v.VPDData, 4));

  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR),
            izksim_load_scenario_json((R"({"adapters": [{"instance": 0, "vpd": {"productDescription": ")" +
                                       std::string(120, 'x') + R"("}}]})")
                                          .c_str()));
  EXPECT_STREQ("adapters[0].vpd: the VPD image takes 149 bytes, more than 128", izksim_last_error());
}

TEST_F(SimTest, FirmwareUpdateTakesReadableImagesAndRefusesBootCodeUntilErased) {
  const SDMGT_HANDLE h0 = open(0);
  const SDMGT_HANDLE h1 = open(1);
  TempImage image(5000);
  TempImage empty(0);
  EXPECT_EQ(IZKSIM_ST_FILE_ERROR, SDUpdateiSCSIFW(h0, "/nonexistent/fw.bin", 1));
  EXPECT_EQ(IZKSIM_ST_FILE_ERROR, SDUpdateiSCSIFW(h0, "/tmp", 1));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDUpdateiSCSIFW(h0, empty.path.c_str(), 1));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDUpdateiSCSIFW(h0, nullptr, 1));
  EXPECT_EQ(0u, SDUpdateiSCSIFW(h0, image.path.c_str(), 6));

  // Instance 1 needs its boot code erased first; other images go through.
  EXPECT_EQ(IZKSIM_ST_BOOTCODE_ERASE_NEEDED, SDUpdateiSCSIFW(h1, image.path.c_str(), 6));
  EXPECT_EQ(0u, SDUpdateiSCSIFW(h1, image.path.c_str(), 1));
  ASSERT_EQ(0u, SDEraseBootCode(h1));
  SDMBOOTCODE b;
  ASSERT_EQ(0u, SDGetBootcodeInfo(h1, &b));
  EXPECT_EQ(0, b.BootcodeValid);
  EXPECT_EQ(0, b.MajorVer);
  EXPECT_EQ(0x0002, b.Flags);  // the settings stay
  EXPECT_EQ(0u, SDUpdateiSCSIFW(h1, image.path.c_str(), 6));
  ASSERT_EQ(0u, SDGetBootcodeInfo(h1, &b));
  EXPECT_EQ(1, b.BootcodeValid);

  const std::vector<json> updates = calls_of("SDUpdateiSCSIFW");
  ASSERT_EQ(8u, updates.size());
  EXPECT_EQ(image.path, updates[4]["text"]["path"]);
  EXPECT_EQ(6, updates[4]["args"]["type"]);
  const size_t n = izksim_state_json(nullptr, 0);
  std::vector<char> buf(n + 1);
  izksim_state_json(buf.data(), buf.size());
  const json state = json::parse(buf.data());
  EXPECT_EQ(2u, state["adapters"][1]["//flashUpdates"].size());
  EXPECT_EQ(5000, state["adapters"][1]["//flashUpdates"][1]["size"]);
  EXPECT_EQ(false, state["adapters"][1]["bootcodeEraseNeeded"]);

  // The list keeps the 16 most recent images.
  TempImage small(10);
  for (int i = 0; i < 20; i++) ASSERT_EQ(0u, SDUpdateiSCSIFW(h1, small.path.c_str(), 1));
  std::vector<char> again(izksim_state_json(nullptr, 0) + 1);
  izksim_state_json(again.data(), again.size());
  const json later = json::parse(again.data());
  EXPECT_EQ(16u, later["adapters"][1]["//flashUpdates"].size());
  EXPECT_EQ(10, later["adapters"][1]["//flashUpdates"][0]["size"]);
}

TEST_F(SimTest, MaintenanceSectionsSurviveADumpAndReload) {
  const SDMGT_HANDLE h = open(0);
  BOOTCODEDHCP w;
  std::memset(&w, 0, sizeof w);
  std::memcpy(w.VendorID, "V\xC3\xA9ND", 5);
  w.VendorIDLength = 5;
  w.Reserved3[3] = 0x44;  // outside every named field
  ASSERT_EQ(0u, SDSetBootcodeDhcp(h, &w));
  const size_t n = izksim_state_json(nullptr, 0);
  std::vector<char> buf(n + 1);
  izksim_state_json(buf.data(), buf.size());
  ASSERT_EQ(0, izksim_load_scenario_json(buf.data())) << izksim_last_error();
  BOOTCODEDHCP d;
  ASSERT_EQ(0u, SDGetBootcodeDhcp(open(0), &d));
  EXPECT_EQ(0, std::memcmp(&w, &d, sizeof w));
  VPD_INFO v;
  std::memset(&v, 0, sizeof v);
  v.VendorID = 0x02010000;
  ASSERT_EQ(0u, SDGetVPDInfo(open(0), &v));
  EXPECT_EQ("46N2210", text_at(v.VPDData + 51, 7));
}
