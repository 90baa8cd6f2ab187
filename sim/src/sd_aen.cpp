// Asynchronous event notifications: a queue per adapter, filled by the
// scenario, its event script (event_script.cpp) and izksim_push_event,
// drained by SDGetAeniSCSI.
#include <cstring>

#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::SdCall;

namespace {

// Drops queued events stamped before the adapter's validity time.
void drop_stale(Adapter& a) {
  while (!a.events.empty()) {
    const izksim::Event& e = a.events.front();
    if (e.seconds * 1000 + e.millis >= a.aenValidFromMs) break;
    a.events.pop_front();
  }
}

}  // namespace

SD_EXPORT SD_STATUS SDEnableAeniSCSI(SDMGT_HANDLE handle, uint32_t intervalMs) {
  SdCall c("SDEnableAeniSCSI");
  c.arg("handle", handle).arg("intervalMs", intervalMs);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  // The event script starts when events are switched on; enabling them
  // again while they are on changes only the interval.
  if (!a->aenEnabled) a->start_script();
  a->aenEnabled = true;
  a->aenIntervalMs = intervalMs;
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDDisableAeniSCSI(SDMGT_HANDLE handle, int32_t levelShutdown) {
  SdCall c("SDDisableAeniSCSI");
  c.arg("handle", handle).arg_signed("levelShutdown", levelShutdown);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  // Collection stops; what was queued is discarded with it, and the event
  // script stops until events are enabled again (it then starts over).
  a->aenEnabled = false;
  a->events.clear();
  a->rollOver = false;
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDSetAENValidTime(SDMGT_HANDLE handle, uint32_t validTime) {
  SdCall c("SDSetAENValidTime");
  c.arg("handle", handle).arg("validTime", validTime);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  // 0 means "from now"; any other value is a time in seconds since the epoch.
  a->aenValidFromMs = validTime == 0 ? izksim::now_ms() : int64_t(validTime) * 1000;
  drop_stale(*a);
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDGetAeniSCSI(SDMGT_HANDLE handle, ASYNC_EVENT* events, uint32_t bufferSizeInEvents,
                                  uint32_t* count, uint32_t* rollOver) {
  SdCall c("SDGetAeniSCSI");
  c.arg("handle", handle).arg("bufferSizeInEvents", bufferSizeInEvents);
  c.rec("events", events, events ? size_t(bufferSizeInEvents) * sizeof(ASYNC_EVENT) : 0)
      .rec("count", count, sizeof(uint32_t))
      .rec("rollOver", rollOver, sizeof(uint32_t));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!count || !rollOver || (bufferSizeInEvents && !events)) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  *count = 0;
  *rollOver = 0;
  if (!a->aenEnabled) return c.done(IZKSIM_ST_AEN_NOT_ENABLED);
  drop_stale(*a);
  uint32_t n = 0;
  while (n < bufferSizeInEvents && !a->events.empty()) {
    const izksim::Event& e = a->events.front();
    ASYNC_EVENT out;
    std::memset(&out, 0, sizeof out);
    out.Event.AsyncEventCode = e.code;
    for (size_t i = 0; i < 7; ++i) out.Event.Payload[i] = e.payload[i];
    out.TimeStamp.time = int32_t(e.seconds);
    out.TimeStamp.millitm = e.millis;
    std::memcpy(&events[n], &out, sizeof out);
    a->events.pop_front();
    ++n;
  }
  *count = n;
  *rollOver = a->rollOver ? 1 : 0;
  a->rollOver = false;
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDStartAENPoll(SDMGT_HANDLE handle, uint32_t intervalMs, SDM_AEN_CALLBACK callback) {
  SdCall c("SDStartAENPoll");
  c.arg("handle", handle).arg("intervalMs", intervalMs).arg("callback", callback ? 1u : 0u);
  if (c.faulted()) return c.status();
  // The library's own polling thread is not simulated; events are pulled.
  return c.done(IZKSIM_ST_NOT_SIMULATED);
}

SD_EXPORT SD_STATUS SDStopAENPoll(SDMGT_HANDLE handle) {
  SdCall c("SDStopAENPoll");
  c.arg("handle", handle);
  if (c.faulted()) return c.status();
  return c.done(IZKSIM_ST_NOT_SIMULATED);
}
