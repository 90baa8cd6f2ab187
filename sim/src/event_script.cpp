// The simulator's clock and the events that arrive by themselves: each
// adapter's event script, played against the time elapsed since its events
// were enabled. Nothing runs in the background; due events are queued when
// someone looks at the adapter (any SD call on it, izksim_push_event,
// izksim_state_json), stamped with the time they fell due.
#include <algorithm>
#include <atomic>
#include <chrono>

#include "state.hpp"

namespace izksim {

namespace {

// Added to both clocks by izksim_advance_clock; back to 0 on a scenario load.
std::atomic<int64_t> g_clockAdvanceMs{0};

}  // namespace

int64_t now_ms() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count() + g_clockAdvanceMs.load();
}

int64_t mono_ms() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count() + g_clockAdvanceMs.load();
}

void advance_clock(uint32_t milliseconds) { g_clockAdvanceMs += int64_t(milliseconds); }

void reset_clock() { g_clockAdvanceMs = 0; }

void stamp_event(Event& e, int64_t wallMs) {
  e.seconds = wallMs / 1000;
  e.millis = uint16_t(wallMs % 1000);
}

Event make_event(uint32_t code, const uint32_t* payload) {
  Event e;
  e.code = code;
  if (payload)
    for (size_t i = 0; i < e.payload.size(); ++i) e.payload[i] = payload[i];
  stamp_event(e, now_ms());
  return e;
}

void start_clock(State& state) {
  reset_clock();
  const int64_t now = now_ms();
  for (Adapter& a : state.adapters) {
    for (Event& e : a.events) stamp_event(e, now);
    if (a.aenEnabled) a.start_script();
  }
}

void Adapter::queue_event(const Event& e) {
  events.push_back(e);
  while (events.size() > kEventQueueLimit) {
    events.pop_front();
    rollOver = true;
  }
}

void Adapter::start_script() {
  scriptStartMono = mono_ms();
  scriptStartWall = now_ms();
  scriptNextMs.resize(script.size());
  for (size_t i = 0; i < script.size(); ++i) scriptNextMs[i] = script[i].firstMs;
}

void Adapter::run_script() {
  if (!aenEnabled || script.empty() || scriptNextMs.size() != script.size()) return;
  const int64_t elapsed = mono_ms() - scriptStartMono;
  if (elapsed < 0) return;
  const uint64_t upTo = uint64_t(elapsed);

  struct Due {
    uint64_t at;
    size_t entry;
  };
  std::vector<Due> due;
  for (size_t i = 0; i < script.size(); ++i) {
    uint64_t& next = scriptNextMs[i];
    const ScriptEntry& s = script[i];
    if (next == kScriptDone || next > upTo) continue;
    if (s.everyMs == 0) {
      due.push_back({next, i});
      next = kScriptDone;
      continue;
    }
    uint64_t n = (upTo - next) / s.everyMs + 1;
    if (n > kEventQueueLimit) {
      // More than the queue holds: the older ones would roll over anyway.
      next += (n - kEventQueueLimit) * s.everyMs;
      n = kEventQueueLimit;
      rollOver = true;
    }
    for (; n > 0; --n) {
      due.push_back({next, i});
      next += s.everyMs;
    }
  }
  // Due order; entries due at the same moment keep the script's order.
  std::stable_sort(due.begin(), due.end(), [](const Due& x, const Due& y) { return x.at < y.at; });

  for (const Due& d : due) {
    const ScriptEntry& s = script[d.entry];
    Event e;
    e.code = s.code;
    e.payload = s.payload;
    stamp_event(e, scriptStartWall + int64_t(d.at));
    // The adapter reports a device database change after making it:
    // Payload[0] = 1 names one entry (Payload[1]), anything else all entries
    // in use; Payload[2] is the new state. Entries not stored stay as they are.
    if (s.code == kAenDdbChanged) {
      if (s.payload[0] == 1) {
        set_entry_state(s.payload[1], s.payload[2]);
      } else {
        std::vector<uint32_t> inUse;
        for (const auto& kv : ddb)
          if (get_le(kv.second.bytes, kDdbDeviceState, 4) != 0) inUse.push_back(kv.first);
        for (uint32_t index : inUse) set_entry_state(index, s.payload[2]);
      }
    }
    queue_event(e);
  }
}

}  // namespace izksim
