// The recording proxy in front of the simulator: it forwards every answer
// unchanged, and the scenario it writes makes the simulator answer the same.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "izksim/izksim.h"
#include "sdm/sdm_api.h"

namespace {

// The SD functions the transcript uses, either the simulator's own or the proxy's.
struct Api {
#define API_FN(name) decltype(&::name) name = nullptr;
#define API_LIST(X)                                                                                               \
  X(SDOpenDeviceiSCSI) X(SDCloseDeviceiSCSI) X(SDGetVersioniSCSI) X(SDGetHbaDevicePortalPropertyiSCSI)             \
  X(SDGetHbaDeviceNodePropertyiSCSI) X(SDGetHbaDeviceDriverPropertyiSCSI) X(SDGetHbaDeviceChipPropertyiSCSI)       \
  X(SDGetHBAAlias) X(SDGetTCPMaxWindowSize) X(SDGetInitFW) X(SDGetFWDefaults) X(SDGetDDBEntryNum) X(SDGetDDBEntry) \
  X(SDGetDefaultDDBEntry) X(SDGetCHAPEntryNum) X(SDGetCHAPTable) X(SDGetCHAPTableMod)                              \
  X(SDGetDiscPortalPropertyiSCSI) X(SDGetDiscNodePropertyiSCSI) X(SDSendScsiReportLunsCmdiSCSI)                    \
  X(SDSendScsiInquiryCmdiSCSI) X(SDSendReadMBCapacity) X(SDSendScsiPassThruiSCSI) X(SDGetLogs) X(SDGetCrashRecord) \
  X(SDGet_iSNSDiscoveryConfig) X(SDGetAlliSNSDiscoveredTargets) X(SDGetSecurityPolicyTable) X(SDGetSecurityInfo)   \
  X(SDGetSecurityStatsGen) X(SDGetAllIKESAStatsDetails) X(SDGetIPsecSACountForPolicy) X(SDGetIPsecSAStatsDetails)  \
  X(SDGetBootcodeInfo) X(SDEnableAeniSCSI) X(SDGetAeniSCSI) X(SDDisableAeniSCSI) X(SDGetStatisticsiSCSI)          \
  X(SDGetStatisticsiSCSIExtend) X(SDGetStatisticsGen)
  API_LIST(API_FN)
};

Api direct_api() {
  Api a;
#define API_DIRECT(name) a.name = &::name;
  API_LIST(API_DIRECT)
  return a;
}

std::string g_file;
void* g_proxy = nullptr;
int (*g_write_now)() = nullptr;
void (*g_clear)() = nullptr;

Api proxy_api() {
  Api a;
#define API_PROXY(name) a.name = reinterpret_cast<decltype(a.name)>(dlsym(g_proxy, #name));
  API_LIST(API_PROXY)
  return a;
}

// One line per answer: what was asked, the status, the bytes that came back.
struct Transcript {
  std::vector<std::string> lines;
  void add(const std::string& what, uint32_t status, const void* p = nullptr, size_t n = 0) {
    static const char d[] = "0123456789abcdef";
    std::string s = what + " -> " + std::to_string(status) + " ";
    for (size_t i = 0; i < n; ++i) {
      s.push_back(d[static_cast<const uint8_t*>(p)[i] >> 4]);
      s.push_back(d[static_cast<const uint8_t*>(p)[i] & 15]);
    }
    lines.push_back(s);
  }
};

template <class T>
void read_rec(Transcript& t, const std::string& what, uint32_t st, const T& rec) {
  t.add(what, st, &rec, sizeof rec);
}

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Everything a management application reads, adapter by adapter.
Transcript read_everything(const Api& api) {
  Transcript t;
  char version[128] = {0};
  t.add("version", api.SDGetVersioniSCSI(version, sizeof version), version, sizeof version);
  std::vector<SDMGT_HANDLE> handles;
  for (uint32_t instance = 0; instance < 4; ++instance) {
    SDMGT_HANDLE h = 0;
    const uint32_t st = api.SDOpenDeviceiSCSI(instance, &h);
    t.add("open " + std::to_string(instance), st, &h, sizeof h);
    if (st != 0) break;
    handles.push_back(h);
  }
  for (SDMGT_HANDLE h : handles) {
    const std::string a = "adapter " + std::to_string(h) + " ";
    { HBAISCSIPORTAL r{}; read_rec(t, a + "portal", api.SDGetHbaDevicePortalPropertyiSCSI(h, 0, &r), r); }
    { HBAISCSINODE r{}; read_rec(t, a + "node", api.SDGetHbaDeviceNodePropertyiSCSI(h, &r), r); }
    { DRIVERINFO r{}; read_rec(t, a + "driver", api.SDGetHbaDeviceDriverPropertyiSCSI(h, &r), r); }
    { CHIPINFO r{}; read_rec(t, a + "chip", api.SDGetHbaDeviceChipPropertyiSCSI(h, &r), r); }
    { char r[65] = {0}; read_rec(t, a + "alias", api.SDGetHBAAlias(h, r), r); }
    { uint16_t r = 0; read_rec(t, a + "tcp", api.SDGetTCPMaxWindowSize(h, &r), r); }
    { INITFWISCSI r{}; read_rec(t, a + "initfw", api.SDGetInitFW(h, &r), r); }
    { INITFWISCSI r{}; read_rec(t, a + "defaults", api.SDGetFWDefaults(h, &r), r); }
    { DEVICEENTRYISCSI r{}; read_rec(t, a + "default entry", api.SDGetDefaultDDBEntry(h, &r), r); }
    { uint32_t r = 0; read_rec(t, a + "entries", api.SDGetDDBEntryNum(h, &r), r); }
    // The walk a management application makes: from 0 along NextValid.
    for (uint32_t index = 0, steps = 0; steps < 600; ++steps) {
      DEVICEENTRYISCSI r{};
      const uint32_t st = api.SDGetDDBEntry(h, &r, index);
      read_rec(t, a + "entry " + std::to_string(index), st, r);
      if (st != 0 || r.NextValid == 0 || r.NextValid <= index) break;
      index = r.NextValid;
    }
    { uint32_t r = 0; read_rec(t, a + "chap count", api.SDGetCHAPEntryNum(h, &r), r); }
    {
      std::vector<CHAPTABLE> r(256);
      uint32_t n = 256;
      const uint32_t st = api.SDGetCHAPTableMod(h, r.data(), &n);
      t.add(a + "chap slots " + std::to_string(n), st, r.data(), sizeof(CHAPTABLE) * (n < 256 ? n : 256));
    }
    {
      std::vector<CHAPTABLE> r(256);
      uint32_t n = 256;
      const uint32_t st = api.SDGetCHAPTable(h, r.data(), &n);
      t.add(a + "chap dense " + std::to_string(n), st, r.data(), sizeof(CHAPTABLE) * (n < 256 ? n : 256));
    }
    { SDM_ISNS_CONFIG r{}; read_rec(t, a + "isns", api.SDGet_iSNSDiscoveryConfig(h, &r), r); }
    {
      std::vector<SDM_ISNS_DISCOVERED_TARGET> r(16);
      uint32_t n = 0;
      const uint32_t st = api.SDGetAlliSNSDiscoveredTargets(h, &n, r.data(), uint32_t(r.size() * sizeof r[0]));
      t.add(a + "isns targets " + std::to_string(n), st, r.data(), r.size() * sizeof r[0]);
    }
    for (uint32_t log = 1; log <= 2; ++log) {
      std::vector<uint8_t> r(128 * 28);
      uint32_t n = 0;
      const uint32_t st = api.SDGetLogs(h, log, &n, r.data());
      t.add(a + "log " + std::to_string(log) + " " + std::to_string(n), st, r.data(), r.size());
    }
    {
      const std::string crash = g_file + ".crash";
      std::remove(crash.c_str());
      const uint32_t st = api.SDGetCrashRecord(h, crash.c_str());
      const std::string bytes = slurp(crash);
      t.add(a + "crash", st, bytes.data(), bytes.size());
    }
    {
      std::vector<SECURITYPOLICY> r(64);
      uint32_t n = 64;
      const uint32_t st = api.SDGetSecurityPolicyTable(h, r.data(), &n);
      t.add(a + "policies " + std::to_string(n), st, r.data(), r.size() * sizeof r[0]);
      for (const SECURITYPOLICY& p : r) {
        if (p.PolicyKind == 0) continue;
        uint32_t count = 0;
        const uint32_t cs = api.SDGetIPsecSACountForPolicy(h, p.Priority, &count);
        t.add(a + "sa count " + std::to_string(p.Priority), cs, &count, sizeof count);
        std::vector<IPSECSA> sas(count + 1);
        const uint32_t ss = api.SDGetIPsecSAStatsDetails(h, p.Priority, count, sas.data());
        t.add(a + "sas " + std::to_string(p.Priority), ss, sas.data(), sas.size() * sizeof sas[0]);
      }
    }
    { SECINFO r{}; read_rec(t, a + "secinfo", api.SDGetSecurityInfo(h, &r), r); }
    { HBASECURITYSTATS r{}; read_rec(t, a + "secstats", api.SDGetSecurityStatsGen(h, &r), r); }
    {
      std::vector<IKESA> r(200);
      uint32_t n = 0;
      const uint32_t st = api.SDGetAllIKESAStatsDetails(h, r.data(), &n);
      t.add(a + "ike " + std::to_string(n), st, r.data(), r.size() * sizeof r[0]);
    }
    { SDMBOOTCODE r{}; read_rec(t, a + "bootcode", api.SDGetBootcodeInfo(h, &r), r); }
    // Targets and their LUNs.
    for (uint32_t id = 0; id < 4; ++id) {
      const std::string tg = a + "target " + std::to_string(id) + " ";
      DISCISCSIPORTAL portal{};
      const uint32_t ps = api.SDGetDiscPortalPropertyiSCSI(h, 0, id, 0, &portal);
      read_rec(t, tg + "portal", ps, portal);
      DISCISCSINODE node{};
      read_rec(t, tg + "node", api.SDGetDiscNodePropertyiSCSI(h, 0, id, 0, &node), node);
      if (ps != 0) continue;
      TARGETINFORMATION ti = portal.TargetInfo;
      uint8_t luns[256] = {0};
      uint8_t sense[32] = {0};
      read_rec(t, tg + "report luns", api.SDSendScsiReportLunsCmdiSCSI(h, &ti, luns, sizeof luns, sense, sizeof sense),
               luns);
      for (uint16_t lun = 0; lun < 5; ++lun) {
        const std::string l = tg + "lun " + std::to_string(lun) + " ";
        ti.LUN = lun;
        uint8_t inq[96] = {0};
        read_rec(t, l + "inquiry", api.SDSendScsiInquiryCmdiSCSI(h, &ti, inq, sizeof inq, sense, sizeof sense), inq);
        SD_CAPACITY_INFO_STRUC cap{};
        read_rec(t, l + "capacity", api.SDSendReadMBCapacity(h, &ti, &cap), cap);
        const uint8_t pages[] = {0x00, 0x80, 0x83};
        for (uint8_t page : pages) {
          uint8_t cdb[6] = {0x12, 1, page, 0, 255, 0};
          uint8_t in[255] = {0};
          uint8_t s[18] = {0};
          const uint32_t st = api.SDSendScsiPassThruiSCSI(h, &ti, cdb, 6, nullptr, 0, in, sizeof in, s, sizeof s);
          read_rec(t, l + "vpd " + std::to_string(page), st, in);
          read_rec(t, l + "vpd sense " + std::to_string(page), st, s);
        }
        {
          uint8_t cdb[6] = {0x00, 0, 0, 0, 0, 0};
          uint8_t s[18] = {0};
          read_rec(t, l + "ready", api.SDSendScsiPassThruiSCSI(h, &ti, cdb, 6, nullptr, 0, nullptr, 0, s, sizeof s), s);
        }
        {
          uint8_t cdb[10] = {0x3C, 0x02, 0, 0, 0, 0, 0, 0, 64, 0};
          uint8_t in[64] = {0};
          uint8_t s[18] = {0};
          const uint32_t st = api.SDSendScsiPassThruiSCSI(h, &ti, cdb, 10, nullptr, 0, in, sizeof in, s, sizeof s);
          read_rec(t, l + "buffer", st, in);
          read_rec(t, l + "buffer sense", st, s);
        }
      }
    }
    // The counters, after the SCSI traffic above moved them.
    { HBAPORTSTATISCSI r{}; read_rec(t, a + "statistics", api.SDGetStatisticsiSCSI(h, &r), r); }
    { HBAPORTSTATISCSIEXTEND r{}; read_rec(t, a + "statistics ext", api.SDGetStatisticsiSCSIExtend(h, &r), r); }
    { HBAPORTSTATGEN r{}; read_rec(t, a + "statistics gen", api.SDGetStatisticsGen(h, &r), r); }
  }
  for (SDMGT_HANDLE h : handles) t.add("close", api.SDCloseDeviceiSCSI(h));
  return t;
}

void expect_same(const Transcript& a, const Transcript& b) {
  ASSERT_EQ(a.lines.size(), b.lines.size());
  for (size_t i = 0; i < a.lines.size(); ++i) EXPECT_EQ(a.lines[i], b.lines[i]) << "answer " << i;
}

class RecorderTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    g_file = ::testing::TempDir() + "recorder_test_" + std::to_string(getpid()) + ".json";
    setenv("IZKSDM_RECORD_LIBRARY", IZKREC_SIMULATOR, 1);
    setenv("IZKSDM_RECORD_FILE", g_file.c_str(), 1);
    unsetenv("IZKSDM_SCENARIO");
    g_proxy = dlopen(IZKREC_PROXY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, g_proxy) << dlerror();
    g_write_now = reinterpret_cast<int (*)()>(dlsym(g_proxy, "izkrec_write_now"));
    ASSERT_NE(nullptr, g_write_now);
    g_clear = reinterpret_cast<void (*)()>(dlsym(g_proxy, "izkrec_clear"));
    ASSERT_NE(nullptr, g_clear);
  }
  static void TearDownTestSuite() {
    std::remove(g_file.c_str());
    std::remove((g_file + ".crash").c_str());
  }
  void SetUp() override {
    unsetenv("IZKSDM_RECORD_SECRETS");
    ASSERT_EQ(0, izksim_reset()) << izksim_last_error();
    g_clear();
  }
  void TearDown() override { izksim_clear_faults(); }

  // Records everything through the proxy; returns what it answered.
  Transcript record() {
    Transcript t = read_everything(proxy_api());
    EXPECT_EQ(0, g_write_now());
    return t;
  }
  void load_recording() { ASSERT_EQ(0, izksim_load_scenario_file(g_file.c_str())) << izksim_last_error(); }
};

TEST_F(RecorderTest, ForwardsEveryAnswerUnchangedAndTheRecordingReplaysThem) {
  const Transcript direct = read_everything(direct_api());
  ASSERT_EQ(0, izksim_reset());
  const Transcript recorded = record();
  expect_same(direct, recorded);
  ASSERT_GT(recorded.lines.size(), 200u);

  setenv("IZKSDM_RECORD_SECRETS", "1", 1);
  ASSERT_EQ(0, g_write_now());
  load_recording();
  expect_same(recorded, read_everything(direct_api()));
}

TEST_F(RecorderTest, SecretsAreLeftOutUnlessAskedFor) {
  record();
  const std::string without = slurp(g_file);
  setenv("IZKSDM_RECORD_SECRETS", "1", 1);
  ASSERT_EQ(0, g_write_now());
  const std::string with = slurp(g_file);
  auto hex = [](const std::string& s) {
    static const char d[] = "0123456789abcdef";
    std::string h;
    for (unsigned char c : s) h += {d[c >> 4], d[c & 15]};
    return h;
  };
  for (const char* secret : {"Tq7#vault-a1!", "m0nsoon-Ridge-4412", "Fjord+Cedar+31", "fjord-lantern-2291",
                             "walnut-harbor-5521-q7", "ember-9c4e", "copper-finch-0417"}) {
    EXPECT_EQ(std::string::npos, without.find(hex(secret))) << secret;
    EXPECT_NE(std::string::npos, with.find(hex(secret))) << secret;
  }
  // Without secrets the entries are still there, by name, with empty secrets.
  unsetenv("IZKSDM_RECORD_SECRETS");
  ASSERT_EQ(0, g_write_now());
  load_recording();
  SDMGT_HANDLE h = 0;
  ASSERT_EQ(0u, SDOpenDeviceiSCSI(0, &h));
  std::vector<CHAPTABLE> slots(256);
  uint32_t n = 256;
  ASSERT_EQ(0u, SDGetCHAPTableMod(h, slots.data(), &n));
  EXPECT_STREQ("rack3-port0", reinterpret_cast<const char*>(slots[0].ChapName));
  EXPECT_EQ(0, slots[0].ChapSecretLength);
  SDCloseDeviceiSCSI(h);
}

TEST_F(RecorderTest, ARefusedReadIsRefusedAgainOnReplay) {
  izksim_set_fault("SDGetHbaDeviceChipPropertyiSCSI", 0x2000002Du, 0);
  record();
  izksim_clear_faults();
  load_recording();
  SDMGT_HANDLE h = 0;
  ASSERT_EQ(0u, SDOpenDeviceiSCSI(1, &h));
  CHIPINFO chip{};
  EXPECT_EQ(0x2000002Du, SDGetHbaDeviceChipPropertyiSCSI(h, &chip));
  DRIVERINFO driver{};
  EXPECT_EQ(0u, SDGetHbaDeviceDriverPropertyiSCSI(h, &driver));
  SDCloseDeviceiSCSI(h);
}

TEST_F(RecorderTest, EventsHandedOutAreQueuedAgainOnReplay) {
  const Api api = proxy_api();
  SDMGT_HANDLE h = 0;
  ASSERT_EQ(0u, api.SDOpenDeviceiSCSI(1, &h));
  ASSERT_EQ(0u, api.SDEnableAeniSCSI(h, 1000));
  const uint32_t payload[7] = {1, 2, 4, 0, 0, 0, 0};
  ASSERT_EQ(0, izksim_push_event(1, 0x8014, payload));
  for (int i = 0; i < 32; ++i) ASSERT_EQ(0, izksim_push_event(1, i % 2 ? 0x8011 : 0x8010, nullptr));
  // Fetched in two rounds (the second after a wrap of the caller's buffer).
  std::vector<uint32_t> codes;
  for (int round = 0; round < 2; ++round) {
    ASYNC_EVENT events[20] = {};
    uint32_t count = 0, rollOver = 0;
    ASSERT_EQ(0u, api.SDGetAeniSCSI(h, events, 20, &count, &rollOver));
    for (uint32_t i = 0; i < count; ++i) codes.push_back(events[i].Event.AsyncEventCode);
  }
  ASSERT_EQ(33u, codes.size());
  api.SDCloseDeviceiSCSI(h);
  ASSERT_EQ(0, g_write_now());

  load_recording();
  ASSERT_EQ(0u, SDOpenDeviceiSCSI(1, &h));
  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 1000));
  ASYNC_EVENT events[64] = {};
  uint32_t count = 0, rollOver = 0;
  ASSERT_EQ(0u, SDGetAeniSCSI(h, events, 64, &count, &rollOver));
  std::vector<uint32_t> replayed;
  for (uint32_t i = 0; i < count; ++i) replayed.push_back(events[i].Event.AsyncEventCode);
  EXPECT_EQ(codes, replayed);
  EXPECT_EQ(2u, events[0].Event.Payload[1]);
  EXPECT_EQ(4u, events[0].Event.Payload[2]);
  SDCloseDeviceiSCSI(h);
}

TEST_F(RecorderTest, SignalWritesASnapshotAndTheProcessGoesOn) {
  record();
  std::remove(g_file.c_str());
  ASSERT_EQ(0, raise(SIGUSR1));
  bool written = false;
  for (int i = 0; i < 200 && !written; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    written = !slurp(g_file).empty();
  }
  EXPECT_TRUE(written);
  load_recording();
}

}  // namespace

namespace {

// A LUN whose answers the simulator would not make up itself: INQUIRY data
// with its own flags and version, a unit serial number page and a device
// identification page with two designators.
const char kOddLun[] = R"({
  "version": "odd array",
  "adapters": [{
    "instance": 0, "handle": 77,
    "targets": [{"targetId": 2, "luns": [
      {"lun": 0,
       "inquiryData": "0000063223000030534f4d45564e4452415252415920202020202020202020203330303141424344",
       "vpdPages": {"0x00": "0000000300808300",
                    "0x80": "008000084142433132333435",
                    "0x83": "008300180201000841424344454647480103000860012345678900ff"}},
      {"lun": 1, "vendor": "PLAIN", "product": "DISK"}]}]
  }]
})";

TEST_F(RecorderTest, DeviceAnswersComeBackByteForByte) {
  ASSERT_EQ(0, izksim_load_scenario_json(kOddLun)) << izksim_last_error();
  const Transcript direct = read_everything(direct_api());
  ASSERT_EQ(0, izksim_load_scenario_json(kOddLun));
  const Transcript recorded = record();
  expect_same(direct, recorded);
  load_recording();
  expect_same(recorded, read_everything(direct_api()));
  const std::string file = slurp(g_file);
  EXPECT_NE(std::string::npos, file.find("\"vendor\": \"SOMEVNDR\"")) << file;
  EXPECT_NE(std::string::npos, file.find("\"wwuln\": \"6001234567890" "0ff\"")) << file;
}

}  // namespace
