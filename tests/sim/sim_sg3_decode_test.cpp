// The simulated SCSI answers are standard: sg3_utils' own decoders (sg_inq,
// sg_vpd, sg_luns from the sg3-utils package) read from them what the
// scenario says each target and LUN is.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

std::string run(const std::string& command) {
  std::string out;
  FILE* p = popen((command + " 2>&1").c_str(), "r");
  if (!p) return out;
  char buf[512];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  pclose(p);
  return out;
}

bool have(const char* tool) { return run(std::string("command -v ") + tool).find(tool) != std::string::npos; }

std::string spaced_hex(const uint8_t* p, size_t n) {
  std::string h = hex(p, n), s;
  for (size_t i = 0; i < h.size(); i += 2) s += h.substr(i, 2) + (i + 2 < h.size() ? " " : "\n");
  return s;
}

// Decodes `n` bytes with `tool --inhex=FILE`.
std::string decode(const char* tool, const uint8_t* data, size_t n) {
  char name[] = "/tmp/izksim_sg3_XXXXXX";
  const int fd = mkstemp(name);
  if (fd < 0) return "";
  const std::string text = spaced_hex(data, n);
  const bool written = write(fd, text.data(), text.size()) == ssize_t(text.size());
  close(fd);
  const std::string out = written ? run(std::string(tool) + " --inhex=" + name) : "";
  unlink(name);
  return out;
}

// "lun=N" of sg_luns' decoding of one 8-byte REPORT LUNS entry, with its addressing method.
std::string decode_lun(const uint8_t* entry) {
  const std::string out = run("sg_luns --test=" + hex(entry, 8) + " --decode");
  const size_t colon = out.find("addressing: lun=");
  if (colon == std::string::npos) return out;
  const size_t start = out.rfind('\n', colon) + 1;
  return out.substr(start, out.find('\n', colon) - start);
}

class Sg3DecodeTest : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    for (const char* tool : {"sg_inq", "sg_vpd", "sg_luns"})
      ASSERT_TRUE(have(tool)) << tool << " not found: scripts/setup.sh installs the package sg3-utils";
  }

  // Checks every target (session active) of every adapter of the loaded scenario.
  void check_scenario() {
    const json state = json::parse([] {
      std::string s(izksim_state_json(nullptr, 0) + 1, '\0');
      izksim_state_json(&s[0], s.size());
      return std::string(s.c_str());
    }());
    size_t lunsChecked = 0;
    for (const json& a : state["adapters"]) {
      const SDMGT_HANDLE handle = open(a["instance"]);
      for (const json& t : a["targets"]) {
        if (t["state"] != 4) continue;
        TARGETINFORMATION ti{};
        ti.BusNumber = t["bus"];
        ti.TargetID = t["targetId"];
        const std::string where = "adapter " + a["instance"].dump() + " target " + t["targetId"].dump();

        uint8_t list[4120] = {}, sense[256] = {};
        ASSERT_EQ(0u, SDSendScsiReportLunsCmdiSCSI(handle, &ti, list, sizeof list, sense, sizeof sense)) << where;
        const uint32_t length = uint32_t(list[0]) << 24 | list[1] << 16 | list[2] << 8 | list[3];
        std::multiset<std::string> reported, expected;
        for (uint32_t i = 8; i < length + 8 && i + 8 <= sizeof list; i += 8) reported.insert(decode_lun(list + i));
        const bool flat = t.value("lunAddressing", "peripheral") == "flat";
        for (const json& l : t["luns"]) {
          const int n = l["lun"];
          expected.insert(std::string(flat || n >= 256 ? "  Flat space" : "  Peripheral device") +
                          " addressing: lun=" + std::to_string(n));
        }
        EXPECT_EQ(expected, reported) << where;

        for (const json& l : t["luns"]) {
          ti.LUN = l["lun"];
          const std::string at = where + " LUN " + l["lun"].dump();
          uint8_t inq[96] = {};
          ASSERT_EQ(0u, SDSendScsiInquiryCmdiSCSI(handle, &ti, inq, sizeof inq, sense, sizeof sense)) << at;
          const std::string std_out = decode("sg_inq", inq, sizeof inq);
          EXPECT_NE(std::string::npos, std_out.find(" Vendor identification: " + l["vendor"].get<std::string>()))
              << at << "\n" << std_out;
          EXPECT_NE(std::string::npos, std_out.find(" Product identification: " + l["product"].get<std::string>()))
              << at << "\n" << std_out;
          EXPECT_NE(std::string::npos, std_out.find(" Product revision level: " + l["revision"].get<std::string>()))
              << at << "\n" << std_out;
          if (l["deviceType"] == 0) {
            EXPECT_NE(std::string::npos, std_out.find("Peripheral device type: disk")) << at;
          }

          if (l["page83"]) {
            uint8_t cdb[6] = {0x12, 0x01, 0x83, 0x00, 0x40, 0x00};
            uint8_t page[64] = {};
            ASSERT_EQ(0u, SDSendScsiPassThruiSCSI(handle, &ti, cdb, 6, nullptr, 0, page, sizeof page, sense, 32));
            const std::string vpd = decode("sg_vpd", page, 4 + (page[2] << 8 | page[3]));
            std::string w = l["wwuln"];
            w.erase(std::remove(w.begin(), w.end(), ':'), w.end());
            EXPECT_NE(std::string::npos, vpd.find("designator type: NAA")) << at << "\n" << vpd;
            EXPECT_NE(std::string::npos, vpd.find("0x" + w)) << at << "\n" << vpd;
          }
          ++lunsChecked;
        }
      }
    }
    EXPECT_GT(lunsChecked, 0u);
  }
};

}  // namespace

TEST_F(Sg3DecodeTest, DefaultScenario) { check_scenario(); }

TEST_F(Sg3DecodeTest, LongListsFlatAddressingAndHighLunNumbers) {
  json luns = json::array();
  for (int n = 0; n < 40; ++n)
    luns.push_back({{"lun", n < 36 ? n : 250 + 10 * n}, {"vendor", "GRAYSTOR"}, {"product", "Tundra 12"},
                    {"revision", "1.0"}, {"wwuln", "50:22:33:44:55:66:77:" + std::string(n < 16 ? "0" : "") +
                                                       [&] { std::ostringstream o; o << std::hex << n; return o.str(); }()}});
  json flat = luns;
  flat.erase(flat.begin() + 3, flat.end());
  const json scenario = {{"adapters",
                          {{{"instance", 0},
                            {"targets",
                             {{{"targetId", 2}, {"luns", luns}},
                              {{"targetId", 5}, {"lunAddressing", "flat"}, {"luns", flat}}}}}}}};
  ASSERT_EQ(0, izksim_load_scenario_json(scenario.dump().c_str())) << izksim_last_error();
  check_scenario();
}
