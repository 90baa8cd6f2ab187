// Asynchronous event queue of the simulated adapters.
#include <chrono>
#include <cstring>
#include <ctime>
#include <thread>

#include "sim_test_util.hpp"

using namespace simtest;

TEST_F(SimTest, EventsQueueUntilFetchedWithinTheBuffer) {
  SDMGT_HANDLE h = open(0);
  const uint32_t payload[7] = {1, 5, 4, 0, 0, 0, 0x77};
  for (uint32_t code : {0x8010u, 0x8011u, 0x8014u}) ASSERT_EQ(0, izksim_push_event(0, code, payload));
  EXPECT_EQ(int(IZKSIM_ST_NO_SUCH_INSTANCE), izksim_push_event(9, 0x8010, nullptr));

  ASYNC_EVENT ev[4];
  std::memset(ev, 0xEE, sizeof ev);
  uint32_t count = 99, roll = 99;
  EXPECT_EQ(IZKSIM_ST_AEN_NOT_ENABLED, SDGetAeniSCSI(h, ev, 4, &count, &roll));
  EXPECT_EQ(0u, count);

  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 30000));
  ASSERT_EQ(0u, SDGetAeniSCSI(h, ev, 2, &count, &roll));
  EXPECT_EQ(2u, count);
  EXPECT_EQ(0u, roll);
  EXPECT_EQ(0x8010u, ev[0].Event.AsyncEventCode);
  EXPECT_EQ(0x8011u, ev[1].Event.AsyncEventCode);
  EXPECT_EQ(0x77u, ev[1].Event.Payload[6]);
  EXPECT_LE(std::llabs(int64_t(ev[0].TimeStamp.time) - int64_t(std::time(nullptr))), 5);
  EXPECT_LT(ev[0].TimeStamp.millitm, 1000);
  EXPECT_EQ(0xEEu, reinterpret_cast<uint8_t*>(&ev[2])[0]);  // nothing past the buffer size

  ASSERT_EQ(0u, SDGetAeniSCSI(h, ev, 4, &count, &roll));
  EXPECT_EQ(1u, count);
  EXPECT_EQ(0x8014u, ev[0].Event.AsyncEventCode);
  ASSERT_EQ(0u, SDGetAeniSCSI(h, ev, 4, &count, &roll));
  EXPECT_EQ(0u, count);
}

TEST_F(SimTest, EventQueueRollsOverAndDisableDiscards) {
  SDMGT_HANDLE h = open(1);
  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 2000));
  for (uint32_t i = 0; i < 1030; ++i) izksim_push_event(1, 0x8000 + i, nullptr);
  std::vector<ASYNC_EVENT> ev(2000);
  uint32_t count = 0, roll = 0;
  ASSERT_EQ(0u, SDGetAeniSCSI(h, ev.data(), 2000, &count, &roll));
  EXPECT_EQ(1024u, count);
  EXPECT_EQ(1u, roll);
  EXPECT_EQ(0x8006u, ev[0].Event.AsyncEventCode);  // the six oldest were dropped

  izksim_push_event(1, 0x8010, nullptr);
  ASSERT_EQ(0u, SDDisableAeniSCSI(h, 1));
  ASSERT_EQ(0u, SDEnableAeniSCSI(h, 2000));
  ASSERT_EQ(0u, SDGetAeniSCSI(h, ev.data(), 10, &count, &roll));
  EXPECT_EQ(0u, count);
  EXPECT_EQ(0u, roll);
}

TEST_F(SimTest, ValidTimeDropsOlderEventsAndScenarioEventsQueue) {
  ASSERT_EQ(0, izksim_load_scenario_json(R"({"adapters": [{"instance": 0, "aenEnabled": true,
      "events": [{"code": "0x8019"}, {"code": "0x8014", "payload": [1, 2, 4, "0x10"]}]}]})"))
      << izksim_last_error();
  SDMGT_HANDLE h = open(0);
  ASYNC_EVENT ev[4];
  uint32_t count = 0, roll = 0;
  ASSERT_EQ(0u, SDGetAeniSCSI(h, ev, 1, &count, &roll));
  ASSERT_EQ(1u, count);
  EXPECT_EQ(0x8019u, ev[0].Event.AsyncEventCode);

  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  ASSERT_EQ(0u, SDSetAENValidTime(h, 0));  // the queued 0x8014 is older than now
  izksim_push_event(0, 0x801c, nullptr);
  ASSERT_EQ(0u, SDGetAeniSCSI(h, ev, 4, &count, &roll));
  ASSERT_EQ(1u, count);
  EXPECT_EQ(0x801cu, ev[0].Event.AsyncEventCode);

  EXPECT_EQ(IZKSIM_ST_INVALID_PARAMETER, SDGetAeniSCSI(h, ev, 4, nullptr, &roll));
  EXPECT_EQ(IZKSIM_ST_INVALID_HANDLE, SDGetAeniSCSI(0, ev, 4, &count, &roll));
}
