// Adapter configuration: properties, device database, firmware block and its
// defaults, reset, alias and TCP window, as the default scenario sets them up.
#include <cstring>
#include <vector>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

// An entry whose every byte differs from its neighbours, so that a shifted
// or partial copy shows.
DEVICEENTRYISCSI patterned_entry(uint32_t state, uint8_t seed) {
  DEVICEENTRYISCSI e;
  uint8_t* p = reinterpret_cast<uint8_t*>(&e);
  for (size_t i = 0; i < sizeof e; ++i) p[i] = uint8_t(i * 7 + seed);
  e.DeviceState = state;
  return e;
}

INITFWISCSI patterned_block() {
  INITFWISCSI b;
  uint8_t* p = reinterpret_cast<uint8_t*>(&b);
  for (size_t i = 0; i < sizeof b; ++i) p[i] = uint8_t(i * 13 + 5);
  std::memcpy(b.iSCSIName, "iqn.2004-06.com.norvik:test", 28);
  std::memcpy(b.Alias, "bench", 6);
  return b;
}

std::string bytes(const void* p, size_t n) { return hex(static_cast<const uint8_t*>(p), n); }

uint32_t entry_count(SDMGT_HANDLE h) {
  uint32_t n = 0xFFFF;
  EXPECT_EQ(0u, SDGetDDBEntryNum(h, &n));
  return n;
}

// The indices a reader finds when it follows NextValid from index 0.
std::vector<uint32_t> walk(SDMGT_HANDLE h) {
  std::vector<uint32_t> used;
  for (uint32_t index = 0; index <= 511;) {
    DEVICEENTRYISCSI e;
    std::memset(&e, 0, sizeof e);
    EXPECT_EQ(0u, SDGetDDBEntry(h, &e, index));
    if (e.DeviceState != 0) used.push_back(index);
    index = e.NextValid > index ? e.NextValid : index + 1;
  }
  return used;
}

}  // namespace

// --- device database ------------------------------------------------------------

TEST_F(SimTest, DeviceDatabaseCountAndWalk) {
  SDMGT_HANDLE h = open(0);
  EXPECT_EQ(7u, entry_count(h));
  EXPECT_EQ((std::vector<uint32_t>{0, 1, 3, 5, 64, 300, 511}), walk(h));
  const SDMGT_HANDLE h1 = open(1);
  EXPECT_EQ(4u, entry_count(h1));
  EXPECT_EQ((std::vector<uint32_t>{0, 2, 17, 200}), walk(h1));

  // A slot never written: success, all zero but NextValid.
  DEVICEENTRYISCSI e;
  std::memset(&e, 0xEE, sizeof e);
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 2));
  DEVICEENTRYISCSI expected;
  std::memset(&expected, 0, sizeof expected);
  expected.NextValid = 3;
  EXPECT_EQ(bytes(&expected, sizeof expected), bytes(&e, sizeof e));
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 400));
  EXPECT_EQ(511u, e.NextValid);

  // Entry 7 is written but not in use: read as it is, skipped by NextValid.
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 5));
  EXPECT_EQ(1u, e.DeviceState);
  EXPECT_EQ(64u, e.NextValid);
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 7));
  EXPECT_EQ(0u, e.DeviceState);
  EXPECT_EQ(7u, e.TargetID);
  EXPECT_STREQ("orbital-old", reinterpret_cast<const char*>(e.EntryInfo.Alias));
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 511));
  EXPECT_EQ(0u, e.NextValid);

  std::memset(&e, 0xEE, sizeof e);
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetDDBEntry(h, &e, 512));
  EXPECT_EQ(0xEEu, reinterpret_cast<uint8_t*>(&e)[0]);
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetDDBEntry(h, nullptr, 0));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetDDBEntryNum(h, nullptr));
  uint32_t n = 0;
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDGetDDBEntryNum(999, &n));
  SDCloseDeviceiSCSI(h);
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDGetDDBEntry(h, &e, 0));
}

TEST_F(SimTest, DeviceDatabaseWriteReadsBackByteExact) {
  SDMGT_HANDLE h = open(0);
  DEVICEENTRYISCSI written = patterned_entry(4, 1);
  const std::string at_entry = bytes(&written, sizeof written);
  ASSERT_EQ(0u, SDSetDDBEntry(h, &written, 2));
  EXPECT_EQ(at_entry, bytes(&written, sizeof written));  // the caller's record is not touched
  EXPECT_EQ(8u, entry_count(h));

  DEVICEENTRYISCSI back;
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 2));
  DEVICEENTRYISCSI expected = written;
  expected.NextValid = 3;  // the one field the database itself fills
  EXPECT_EQ(bytes(&expected, sizeof expected), bytes(&back, sizeof back));
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 1));
  EXPECT_EQ(2u, back.NextValid);

  // Writing state 0 takes the slot out of the count and out of the chain.
  DEVICEENTRYISCSI unused = patterned_entry(0, 9);
  ASSERT_EQ(0u, SDSetDDBEntry(h, &unused, 3));
  EXPECT_EQ(7u, entry_count(h));
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 2));
  EXPECT_EQ(5u, back.NextValid);
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 3));
  expected = unused;
  expected.NextValid = 5;
  EXPECT_EQ(bytes(&expected, sizeof expected), bytes(&back, sizeof back));
  EXPECT_EQ((std::vector<uint32_t>{0, 1, 2, 5, 64, 300, 511}), walk(h));

  // The database outlives the session and goes with a reset.
  SDCloseDeviceiSCSI(h);
  h = open(0);
  EXPECT_EQ(7u, entry_count(h));
  ASSERT_EQ(0, izksim_reset());
  h = open(0);
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 2));
  EXPECT_EQ(0u, back.DeviceState);
}

TEST_F(SimTest, FlashOnlyAndNormalWritesShareTheDatabase) {
  SDMGT_HANDLE h = open(0);
  izksim_clear_call_log();
  DEVICEENTRYISCSI a = patterned_entry(4, 3);
  DEVICEENTRYISCSI b = patterned_entry(1, 4);
  ASSERT_EQ(0u, SDSetDDBEntryFlashOnly(h, &a, 10));
  ASSERT_EQ(0u, SDSetDDBEntry(h, &b, 11));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSetDDBEntry(h, &b, 512));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSetDDBEntryFlashOnly(h, &a, 512));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSetDDBEntry(h, nullptr, 12));
  EXPECT_EQ(9u, entry_count(h));

  const std::vector<json> flash = calls_of("SDSetDDBEntryFlashOnly");
  const std::vector<json> normal = calls_of("SDSetDDBEntry");
  ASSERT_EQ(2u, flash.size());
  ASSERT_EQ(3u, normal.size());
  EXPECT_EQ(json({{"handle", h}, {"targetID", 10}}), flash[0]["args"]);
  EXPECT_EQ(bytes(&a, sizeof a), flash[0]["records"]["entry"]);
  EXPECT_EQ(11, normal[0]["args"]["targetID"]);
  EXPECT_EQ(bytes(&b, sizeof b), normal[0]["records"]["entry"]);
  EXPECT_EQ(uint32_t(IZKSIM_ST_INVALID_PARAMETER), flash[1]["status"].get<uint32_t>());
  EXPECT_TRUE(normal[2]["records"]["entry"].is_null());

  DEVICEENTRYISCSI back;
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 10));
  EXPECT_EQ(0, std::memcmp(&a, &back, offsetof(DEVICEENTRYISCSI, NextValid)));
  EXPECT_EQ(11u, back.NextValid);
}

TEST_F(SimTest, PinnedNextValidSurvivesWrites) {
  ASSERT_EQ(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "ddb": [
      {"index": 0, "deviceState": 4, "nextValid": 9}, {"index": 4, "deviceState": 4}]}]})"))
      << izksim_last_error();
  SDMGT_HANDLE h = open(0);
  DEVICEENTRYISCSI e = patterned_entry(4, 2);
  ASSERT_EQ(0u, SDSetDDBEntry(h, &e, 2));
  DEVICEENTRYISCSI back;
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 0));
  EXPECT_EQ(9u, back.NextValid);
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 1));
  EXPECT_EQ(2u, back.NextValid);
  // Writing over the pinned entry makes its NextValid computed again.
  ASSERT_EQ(0u, SDSetDDBEntry(h, &e, 0));
  ASSERT_EQ(0u, SDGetDDBEntry(h, &back, 0));
  EXPECT_EQ(2u, back.NextValid);
}

TEST_F(SimTest, DefaultAndInitialEntries) {
  SDMGT_HANDLE h = open(0);
  DEVICEENTRYISCSI def;
  std::memset(&def, 0xEE, sizeof def);
  ASSERT_EQ(0u, SDGetDefaultDDBEntry(h, &def));
  EXPECT_EQ(0u, def.DeviceState);
  EXPECT_EQ(0u, def.TargetID);
  EXPECT_EQ(3260u, def.DeviceInfo.portNumber);
  EXPECT_EQ(64u, def.DeviceInfo.exeThrottle);
  EXPECT_EQ(128u, def.MaxTxDataSegmentLen);
  EXPECT_EQ(0, def.EntryInfo.iSCSIName[0]);

  DEVICEENTRYISCSI initial;
  ASSERT_EQ(0u, SDGetInitialDDBEntry(h, &initial, 42));
  DEVICEENTRYISCSI expected = def;
  expected.TargetID = 42;
  EXPECT_EQ(bytes(&expected, sizeof expected), bytes(&initial, sizeof initial));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetInitialDDBEntry(h, &initial, 512));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetDefaultDDBEntry(h, nullptr));
}

TEST_F(SimTest, LogoutEndsTheSession) {
  SDMGT_HANDLE h = open(0);
  LOGOUTISCSI lo;
  std::memset(&lo, 0, sizeof lo);
  lo.TargetID = 3;
  lo.NewTargetID = 9;  // ignored
  ASSERT_EQ(0u, SDSendiSCSILogout(h, &lo));
  DEVICEENTRYISCSI e;
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 3));
  EXPECT_EQ(1u, e.DeviceState);
  EXPECT_EQ(7u, entry_count(h));
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 9));
  EXPECT_EQ(0u, e.DeviceState);

  // The target behind the entry has no session any more.
  TARGETINFORMATION ti;
  std::memset(&ti, 0, sizeof ti);
  ti.TargetID = 3;
  uint8_t tur[6] = {0};
  uint8_t sense[18];
  EXPECT_EQ(IZKSIM_ST_TARGET_NOT_ACTIVE, SDSendScsiPassThruiSCSI(h, &ti, tur, 6, nullptr, 0, nullptr, 0, sense, 18));

  // Options bit 0 also frees the entry.
  lo.TargetID = 1;
  lo.Options = 1;
  ASSERT_EQ(0u, SDSendiSCSILogout(h, &lo));
  EXPECT_EQ(6u, entry_count(h));
  EXPECT_EQ(IZKSIM_ST_ENTRY_NOT_FOUND, SDSendiSCSILogout(h, &lo));  // no longer in use
  lo.TargetID = 2;
  EXPECT_EQ(IZKSIM_ST_ENTRY_NOT_FOUND, SDSendiSCSILogout(h, &lo));
  lo.TargetID = 7;  // written, state 0
  EXPECT_EQ(IZKSIM_ST_ENTRY_NOT_FOUND, SDSendiSCSILogout(h, &lo));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSendiSCSILogout(h, nullptr));
}

// --- firmware initialization block -----------------------------------------------

TEST_F(SimTest, InitFwWriteReadsBackByteExact) {
  SDMGT_HANDLE h = open(0);
  INITFWISCSI b;
  ASSERT_EQ(0u, SDGetInitFW(h, &b));
  EXPECT_EQ(0, std::memcmp("\xc0\xa8\x32\x15", b.IPAddr.IPAddress, 4));
  EXPECT_EQ(1500u, b.EthernetMTU);
  EXPECT_STREQ("rack3-port0", reinterpret_cast<const char*>(b.Alias));

  const INITFWISCSI written = patterned_block();
  INITFWISCSI arg = written;
  izksim_clear_call_log();
  ASSERT_EQ(0u, SDSetInitFW(h, &arg));
  EXPECT_EQ(bytes(&written, sizeof written), calls_of("SDSetInitFW")[0]["records"]["initFW"]);
  std::memset(&b, 0, sizeof b);
  ASSERT_EQ(0u, SDGetInitFW(h, &b));
  EXPECT_EQ(bytes(&written, sizeof written), bytes(&b, sizeof b));

  // The node property shows the block's address, name and alias.
  HBAISCSINODE node;
  ASSERT_EQ(0u, SDGetHbaDeviceNodePropertyiSCSI(h, &node));
  EXPECT_EQ(bytes(&written.IPAddr, 20), bytes(&node.NodeInfoISCSI.IPAddr, 20));
  EXPECT_STREQ("iqn.2004-06.com.norvik:test", reinterpret_cast<const char*>(node.NodeInfoISCSI.iSCSIName));
  EXPECT_STREQ("bench", reinterpret_cast<const char*>(node.NodeInfoISCSI.Alias));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSetInitFW(h, nullptr));
}

TEST_F(SimTest, DefaultsRestoreAndReset) {
  SDMGT_HANDLE h = open(0);
  INITFWISCSI defaults, running;
  ASSERT_EQ(0u, SDGetFWDefaults(h, &defaults));
  ASSERT_EQ(0u, SDGetInitFW(h, &running));
  EXPECT_NE(bytes(&defaults, sizeof defaults), bytes(&running, sizeof running));
  EXPECT_STREQ("iqn.2004-06.com.norvik:nv2210.nvs1a2b3c4d5", reinterpret_cast<const char*>(defaults.iSCSIName));
  EXPECT_EQ(0, defaults.IPAddr.IPAddress[0]);

  // SDSetFWDefaults puts the defaults in effect; the block it gets is only logged.
  INITFWISCSI block = patterned_block();
  ASSERT_EQ(0u, SDSetFWDefaults(h, &block));
  ASSERT_EQ(0u, SDGetInitFW(h, &running));
  EXPECT_EQ(bytes(&defaults, sizeof defaults), bytes(&running, sizeof running));
  ASSERT_EQ(0u, SDGetFWDefaults(h, &running));
  EXPECT_EQ(bytes(&defaults, sizeof defaults), bytes(&running, sizeof running));

  // Only region bit 0 restores the block.
  ASSERT_EQ(0u, SDSetInitFW(h, &block));
  ASSERT_EQ(0u, SDRestoreDefaults(h, 0xFFFFFFFEu, 0xFFFFFFFFu));
  ASSERT_EQ(0u, SDGetInitFW(h, &running));
  EXPECT_EQ(bytes(&block, sizeof block), bytes(&running, sizeof running));
  ASSERT_EQ(0u, SDRestoreDefaults(h, 1, 0));
  ASSERT_EQ(0u, SDGetInitFW(h, &running));
  EXPECT_EQ(bytes(&defaults, sizeof defaults), bytes(&running, sizeof running));
  const std::vector<json> restores = calls_of("SDRestoreDefaults");
  EXPECT_EQ(json({{"handle", h}, {"regionMask", 4294967294u}, {"detailMask", 4294967295u}}), restores[0]["args"]);

  // A reset logs the failed session (entry 64, state 6) in again.
  DEVICEENTRYISCSI e;
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 64));
  EXPECT_EQ(6u, e.DeviceState);
  HBARESET reset;
  std::memset(&reset, 0, sizeof reset);
  ASSERT_EQ(0u, SDResetHBA(h, &reset));
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 64));
  EXPECT_EQ(4u, e.DeviceState);
  ASSERT_EQ(0u, SDGetDDBEntry(h, &e, 5));
  EXPECT_EQ(1u, e.DeviceState);  // other states stay
  EXPECT_EQ(7u, entry_count(h));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDResetHBA(h, nullptr));
}

// --- adapter properties, alias, TCP window ------------------------------------------

TEST_F(SimTest, AdapterProperties) {
  SDMGT_HANDLE h = open(0);
  HBAISCSIPORTAL portal;
  ASSERT_EQ(0u, SDGetHbaDevicePortalPropertyiSCSI(h, 0, &portal));
  EXPECT_STREQ("NVS1A2B3C4D5", reinterpret_cast<const char*>(portal.SerialNum));
  EXPECT_EQ(3u, portal.DiscTargetCount);  // the scenario's targets
  EXPECT_EQ(0x6A00u, portal.flowControlDuplexLinkSpeed);
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetHbaDevicePortalPropertyiSCSI(h, 1, &portal));

  DRIVERINFO driver;
  ASSERT_EQ(0u, SDGetHbaDeviceDriverPropertyiSCSI(h, &driver));
  EXPECT_STREQ("5.01.03-k2", reinterpret_cast<const char*>(driver.Version));
  EXPECT_EQ(3u, driver.Attributes);
  CHIPINFO chip;
  ASSERT_EQ(0u, SDGetHbaDeviceChipPropertyiSCSI(h, &chip));
  EXPECT_STREQ("NV-2210C dual-port iSCSI HBA", reinterpret_cast<const char*>(chip.BoardType));
  EXPECT_EQ(3u, chip.ChipVersion);

  // Faults answer before the work is done.
  izksim_set_fault("SDGetHbaDeviceChipPropertyiSCSI", 0x2000002D, 1);
  std::memset(&chip, 0xEE, sizeof chip);
  EXPECT_EQ(0x2000002Du, SDGetHbaDeviceChipPropertyiSCSI(h, &chip));
  EXPECT_EQ(0xEEEEu, chip.VendorID);
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDGetHbaDeviceChipPropertyiSCSI(105, &chip));
}

TEST_F(SimTest, AliasIsBoundedTo64Bytes) {
  SDMGT_HANDLE h = open(0);
  char buf[66];
  std::memset(buf, 'x', sizeof buf);
  ASSERT_EQ(0u, SDGetHBAAlias(h, buf));
  EXPECT_STREQ("rack3-port0", buf);
  EXPECT_EQ('x', buf[12]);  // nothing written after the NUL

  char longer[70];
  std::memset(longer, 'a', sizeof longer);
  longer[69] = '\0';
  ASSERT_EQ(0u, SDSetHBAAlias(h, longer));
  std::memset(buf, 'x', sizeof buf);
  ASSERT_EQ(0u, SDGetHBAAlias(h, buf));
  EXPECT_EQ(std::string(64, 'a'), std::string(buf));
  EXPECT_EQ('x', buf[65]);

  char unterminated[65];  // a full buffer without NUL: 64 bytes are kept
  std::memset(unterminated, 'b', sizeof unterminated);
  ASSERT_EQ(0u, SDSetHBAAlias(h, unterminated));
  ASSERT_EQ(0u, SDGetHBAAlias(h, buf));
  EXPECT_EQ(std::string(64, 'b'), std::string(buf));

  char empty[65] = "";
  ASSERT_EQ(0u, SDSetHBAAlias(h, empty));
  ASSERT_EQ(0u, SDGetHBAAlias(h, buf));
  EXPECT_STREQ("", buf);
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSetHBAAlias(h, nullptr));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetHBAAlias(h, nullptr));
}

TEST_F(SimTest, TcpMaxWindowSize) {
  SDMGT_HANDLE h = open(0);
  uint16_t size = 0;
  ASSERT_EQ(0u, SDGetTCPMaxWindowSize(h, &size));
  EXPECT_EQ(65535u, size);
  ASSERT_EQ(0u, SDSetTCPMaxWindowSize(h, 0x2345));
  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDSetTCPMaxWindowSize(h, 0x12345));
  ASSERT_EQ(0u, SDGetTCPMaxWindowSize(h, &size));
  EXPECT_EQ(0x2345u, size);
  ASSERT_EQ(0u, SDGetTCPMaxWindowSize(open(1), &size));
  EXPECT_EQ(32768u, size);
}

TEST_F(SimTest, BootCodeSettingsOfTheDefaultScenario) {
  const size_t n = izksim_state_json(nullptr, 0);
  std::vector<char> buf(n + 1);
  izksim_state_json(buf.data(), buf.size());
  const json state = json::parse(buf.data());
  EXPECT_EQ(0x0208, state["adapters"][0]["bootcode"]["flags"]);  // enabled, high byte 2
  EXPECT_EQ(0x80, state["adapters"][0]["bootcode"]["primaryId"]);
  EXPECT_EQ(0x0002, state["adapters"][1]["bootcode"]["flags"]);  // disabled
  EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR),
            izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "bootcode": {"flag": 8}}]})"));
  EXPECT_STREQ("unknown key \"flag\" in adapters[0].bootcode", izksim_last_error());
}
