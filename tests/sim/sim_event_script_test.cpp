// Events that arrive by themselves: the adapters' event scripts, driven by
// izksim_advance_clock instead of sleeping.
#include <chrono>
#include <cstring>
#include <utility>
#include <vector>

#include "sim_test_util.hpp"

using namespace simtest;

namespace {

// Instance 0 (handle 7, deliberately neither small-equals-instance nor 100 +
// instance): entries 3 (state 4, with a target) and 9 (state 1); a heartbeat
// every 5 s from 1 s on, entry 3 failing at 7 s, an all-entries change at 30 s.
const char* kScripted = R"({"adapters": [{"instance": 0, "handle": 7,
    "ddb": [{"index": 3, "deviceState": 4}, {"index": 9, "deviceState": 1}],
    "targets": [{"targetId": 3, "luns": [{"lun": 0, "blocks": 8}]}],
    "eventScript": [
      {"everySeconds": 5, "afterSeconds": 1, "code": "0x8019"},
      {"afterSeconds": 7, "code": "0x8014", "payload": [1, 3, 6, "0x1c", 0, 0, 9]},
      {"afterSeconds": 30, "code": "0x8014", "payload": [2, 0, 5]}]}]})";

int64_t wall_ms() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

int64_t stamp_ms(const ASYNC_EVENT& e) { return int64_t(e.TimeStamp.time) * 1000 + e.TimeStamp.millitm; }

// Fetches up to `max` events: (code, Payload[1]) of each, time stamps in `stamps`.
std::vector<std::pair<uint32_t, uint32_t>> fetch(SDMGT_HANDLE h, uint32_t max, std::vector<int64_t>* stamps = nullptr,
                                                 uint32_t* rollOver = nullptr) {
  std::vector<ASYNC_EVENT> ev(max ? max : 1);
  uint32_t count = 0, roll = 0;
  EXPECT_EQ(0u, SDGetAeniSCSI(h, ev.data(), max, &count, &roll));
  if (rollOver) *rollOver = roll;
  std::vector<std::pair<uint32_t, uint32_t>> out;
  for (uint32_t i = 0; i < count; ++i) {
    out.emplace_back(ev[i].Event.AsyncEventCode, ev[i].Event.Payload[1]);
    if (stamps) stamps->push_back(stamp_ms(ev[i]));
  }
  return out;
}

uint32_t ddb_state(SDMGT_HANDLE h, uint32_t index) {
  DEVICEENTRYISCSI e;
  std::memset(&e, 0, sizeof e);
  EXPECT_EQ(0u, SDGetDDBEntry(h, &e, index));
  return e.DeviceState;
}

using Events = std::vector<std::pair<uint32_t, uint32_t>>;

}  // namespace

TEST_F(SimTest, ScriptEventsFallDueWithTheClockInDueOrder) {
  ASSERT_EQ(0, izksim_load_scenario_json(kScripted)) << izksim_last_error();
  SDMGT_HANDLE h = open(0);
  izksim_advance_clock(60000);  // events are off: the script does not run
  const int64_t enabledAt = wall_ms() + 60000;
  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 30000));
  EXPECT_EQ(Events{}, fetch(h, 16));

  izksim_advance_clock(500);  // the real clock runs too: keep a margin
  EXPECT_EQ(Events{}, fetch(h, 16));
  izksim_advance_clock(500);
  std::vector<int64_t> stamps;
  EXPECT_EQ((Events{{0x8019, 0}}), fetch(h, 16, &stamps));

  // 1 s to 16 s: heartbeats at 6, 11, 16 and the one-time change at 7, in
  // due order, each stamped with the moment it fell due.
  izksim_advance_clock(15000);
  EXPECT_EQ((Events{{0x8019, 0}, {0x8014, 3}, {0x8019, 0}, {0x8019, 0}}), fetch(h, 16, &stamps));
  ASSERT_EQ(5u, stamps.size());
  EXPECT_NEAR(double(enabledAt + 1000), double(stamps[0]), 2000.0);
  const std::vector<int64_t> after = {0, 5000, 6000, 10000, 15000};
  for (size_t i = 1; i < stamps.size(); ++i) EXPECT_EQ(after[i], stamps[i] - stamps[0]) << i;

  // The buffer size bounds a fetch; the rest stays queued for the next one.
  izksim_advance_clock(15000);  // 21, 26, 31 and the all-entries change at 30
  EXPECT_EQ((Events{{0x8019, 0}, {0x8019, 0}}), fetch(h, 2));
  EXPECT_EQ((Events{{0x8014, 0}, {0x8019, 0}}), fetch(h, 16));
}

TEST_F(SimTest, ScriptedDatabaseChangesChangeTheAdapter) {
  ASSERT_EQ(0, izksim_load_scenario_json(kScripted)) << izksim_last_error();
  SDMGT_HANDLE h = open(0);
  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 30000));
  izksim_advance_clock(7000);
  // Not fetched, yet done: the entry and its target follow.
  EXPECT_EQ(6u, ddb_state(h, 3));
  TARGETINFORMATION ti;
  std::memset(&ti, 0, sizeof ti);
  ti.TargetID = 3;
  uint8_t cdb[6] = {0x00, 0, 0, 0, 0, 0}, sense[32];
  EXPECT_EQ(IZKSIM_ST_TARGET_NOT_ACTIVE, SDSendScsiPassThruiSCSI(h, &ti, cdb, 6, nullptr, 0, nullptr, 0, sense, 32));
  EXPECT_EQ(1u, ddb_state(h, 9));

  // Payload[0] other than 1: every entry in use takes the state.
  izksim_advance_clock(23000);
  EXPECT_EQ(5u, ddb_state(h, 3));
  EXPECT_EQ(5u, ddb_state(h, 9));
  EXPECT_EQ(0u, ddb_state(h, 4));  // never stored, still not

  ASYNC_EVENT ev[16];
  uint32_t count = 0, roll = 0;
  ASSERT_EQ(0u, SDGetAeniSCSI(h, ev, 16, &count, &roll));
  ASSERT_EQ(8u, count);
  EXPECT_EQ(0x8014u, ev[2].Event.AsyncEventCode);  // after the heartbeats at 1 s and 6 s
  const uint32_t payload[7] = {1, 3, 6, 0x1c, 0, 0, 9};
  EXPECT_EQ(0, std::memcmp(payload, ev[2].Event.Payload, sizeof payload));
}

TEST_F(SimTest, ReenablingStartsTheScriptOverAndValidTimeDropsOlderEvents) {
  ASSERT_EQ(0, izksim_load_scenario_json(kScripted)) << izksim_last_error();
  SDMGT_HANDLE h = open(0);
  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 30000));
  izksim_advance_clock(4000);
  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 5000));  // already on: the script runs on
  izksim_advance_clock(3000);
  EXPECT_EQ((Events{{0x8019, 0}, {0x8019, 0}, {0x8014, 3}}), fetch(h, 16));

  ASSERT_EQ(0u, SDDisableAeniSCSI(h, 0));
  izksim_advance_clock(20000);
  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 30000));
  izksim_advance_clock(7000);
  EXPECT_EQ((Events{{0x8019, 0}, {0x8019, 0}, {0x8014, 3}}), fetch(h, 16));

  // Due at 11 s, looked at only after 12 s: older than the validity time.
  izksim_advance_clock(5000);
  ASSERT_EQ(0u, SDSetAENValidTime(h, 0));
  izksim_advance_clock(4000);
  EXPECT_EQ((Events{{0x8019, 0}}), fetch(h, 16));
}

TEST_F(SimTest, LongSilenceKeepsTheNewestAndRollsOver) {
  ASSERT_EQ(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 2, "handle": 2, "aenEnabled": true,
      "eventScript": [{"everySeconds": 1, "code": "0x8019"}, {"afterSeconds": 3, "code": "0x8010"}]}]})"))
      << izksim_last_error();
  SDMGT_HANDLE h = open(2);
  izksim_advance_clock(2u * 3600u * 1000u);  // 7200 heartbeats and one link up
  std::vector<int64_t> stamps;
  uint32_t roll = 0;
  const Events got = fetch(h, 2000, &stamps, &roll);
  ASSERT_EQ(1024u, got.size());
  EXPECT_EQ(1u, roll);
  EXPECT_EQ(0x8019u, got.back().first);
  EXPECT_EQ(1023000, stamps.back() - stamps.front());
  EXPECT_EQ(Events{}, fetch(h, 16));

  // The pushed event comes after the script's due ones.
  izksim_advance_clock(1500);
  ASSERT_EQ(0, izksim_push_event(2, 0x801c, nullptr));
  EXPECT_EQ((Events{{0x8019, 0}, {0x801c, 0}}), fetch(h, 16));
}

TEST_F(SimTest, DefaultScenarioScriptsAndTheirDump) {
  SDMGT_HANDLE h0 = open(0), h1 = open(1);
  ASSERT_EQ(0u, SDEnableAeniSCSI(h0, 30000));
  ASSERT_EQ(0u, SDEnableAeniSCSI(h1, 30000));
  izksim_advance_clock(15000);

  // Looking at the state queues what fell due.
  const size_t n = izksim_state_json(nullptr, 0);
  std::vector<char> text(n + 1);
  izksim_state_json(text.data(), text.size());
  const json state = json::parse(text.data());
  EXPECT_EQ(7u, state["adapters"][0]["events"].size());
  EXPECT_EQ(json({{"code", 0x8014}, {"payload", {1, 64, 4, 0, 0, 0, 0}}, {"afterSeconds", 3}}),
            state["adapters"][0]["eventScript"][1]);
  EXPECT_EQ(json({{"code", 0x8019}, {"payload", {0, 0, 0, 0, 0, 0, 0}}, {"everySeconds", 5}}),
            state["adapters"][0]["eventScript"][0]);

  EXPECT_EQ((Events{{0x8014, 64}, {0x8019, 0}, {0x8014, 3}, {0x8019, 0}, {0x8014, 0}, {0x8014, 3}, {0x8019, 0}}),
            fetch(h0, 256));
  EXPECT_EQ((Events{{0x8019, 0}, {0x8011, 0}, {0x8010, 0}, {0x8014, 2}, {0x8019, 0}, {0x8019, 0}}), fetch(h1, 256));
  EXPECT_EQ(4u, ddb_state(h0, 64));
  EXPECT_EQ(4u, ddb_state(h0, 3));

  // The dump loads again, with its script.
  ASSERT_EQ(0, izksim_load_scenario_json(text.data())) << izksim_last_error();
}

TEST_F(SimTest, ScriptEntriesAreChecked) {
  const std::pair<const char*, const char*> bad[] = {
      {R"({"adapters": [{"instance": 0, "eventScript": [{"code": 1}]}]})",
       "adapters[0].eventScript[0]: needs \"afterSeconds\" or \"everySeconds\""},
      {R"({"adapters": [{"instance": 0, "eventScript": [{"code": 1, "everySeconds": 0}]}]})",
       "adapters[0].eventScript[0].everySeconds: must be at least 1"},
      {R"({"adapters": [{"instance": 0, "eventScript": [{"afterSeconds": 1, "code": 1, "when": 2}]}]})",
       "unknown key \"when\" in adapters[0].eventScript[0]"},
      {R"({"adapters": [{"instance": 0, "eventScript": [{"afterSeconds": 1}]}]})",
       "adapters[0].eventScript[0]: missing key \"code\""},
  };
  for (const auto& b : bad) {
    EXPECT_EQ(int(IZKSIM_ST_SCENARIO_ERROR), izksim_load_scenario_json(b.first));
    EXPECT_STREQ(b.second, izksim_last_error());
  }
}
