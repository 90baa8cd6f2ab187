// The simulator's process-wide state and the frame every SD function runs in.
#ifndef IZKSIM_SIM_HPP
#define IZKSIM_SIM_HPP

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "izksim/izksim.h"
#include "state.hpp"

#define SD_EXPORT extern "C" __attribute__((visibility("default")))

namespace izksim {

// The built-in scenario (sim/scenarios/default.json, embedded at build time).
extern const char kDefaultScenario[];

struct CallArg {
  const char* name;
  bool isSigned;
  uint64_t value;  // two's complement when isSigned
};

struct CallRecord {
  uint64_t seq = 0;
  const char* fn = "";
  std::vector<CallArg> args;
  std::vector<std::pair<const char*, std::optional<std::string>>> texts;
  std::vector<std::pair<const char*, std::optional<Bytes>>> records;
  uint32_t status = 0;
  size_t recordBytes = 0;
};

struct Fault {
  uint32_t status;
  bool once;
};

class Sim {
 public:
  static Sim& get();

  std::mutex mu;  // guards everything below

  State state;
  bool loaded = false;
  std::string lastError;
  std::string loadFailure;  // why the last reset loaded nothing; empty while a scenario is loaded
  std::map<std::string, Fault> faults;
  std::deque<CallRecord> log;
  size_t logBytes = 0;
  uint64_t nextSeq = 1;
  FILE* trace = nullptr;
  std::string traceFile;

  // Loads the default scenario (or $IZKSDM_SCENARIO) if nothing is loaded yet.
  void ensure_loaded();
  // Reloads the default scenario (or $IZKSDM_SCENARIO) and clears everything.
  uint32_t reset();
  // Replaces the state from scenario text; on error keeps the state (keep=true)
  // or empties it (keep=false). `origin` names the source in messages.
  uint32_t load_text(const std::string& text, const std::string& origin, bool keep);
  uint32_t load_file(const std::string& path, bool keep);
  uint32_t failed_load(bool keep);
  void close_trace();
  void append_log(CallRecord&& rec);
  std::string log_json();
};

// The frame of one SD call: takes the simulator's lock for the whole call,
// records the arguments, applies faults and writes the call log and trace.
//
//   SdCall c("SDGetDDBEntry");
//   c.arg("handle", handle).rec("entry", entry, 484).arg("index", index);
//   if (c.faulted()) return c.status();
//   ... work on c.state() ...
//   return c.done(status);
class SdCall {
 public:
  explicit SdCall(const char* fn);
  ~SdCall();
  SdCall(const SdCall&) = delete;
  SdCall& operator=(const SdCall&) = delete;

  SdCall& arg(const char* name, uint32_t value);
  SdCall& arg_signed(const char* name, int64_t value);
  SdCall& text(const char* name, const char* value);
  // A text in a fixed buffer: up to the first NUL, at most `max` bytes.
  SdCall& text_n(const char* name, const char* value, size_t max);
  // Bytes of a record or buffer as they are at entry (null pointer: null).
  SdCall& rec(const char* name, const void* data, size_t size);

  // Commits the log entry; true when a fault answers this call (status() then holds it).
  bool faulted();
  uint32_t status() const { return status_; }
  // Records the final status, writes the trace line and returns the status.
  uint32_t done(uint32_t status);

  State& state() { return sim_.state; }
  Sim& sim() { return sim_; }
  // The open adapter with this handle, or null.
  Adapter* open_adapter(uint32_t handle);

 private:
  bool recorded_failure();
  void damage_count();

  Sim& sim_;
  std::unique_lock<std::mutex> lock_;
  CallRecord rec_;
  std::vector<std::pair<const void*, size_t>> buffers_;  // records passed, for chaos mode
  void* countOut_ = nullptr;  // the call's "count" or "numEntries", for damagedCounts
  bool committed_ = false;
  bool finished_ = false;
  uint32_t status_ = 0;
};

// Chaos mode (sim_chaos.cpp): random faults and damaged records, off until
// izksim_set_chaos. All three run under the simulator's lock.
void chaos_clear();
bool chaos_fault(const char* fn, uint32_t& status);
void chaos_garble(const char* fn, void* data, size_t size);

// Copies a stored record out to the caller's `size` bytes, zero-filling what
// the stored bytes do not cover.
inline void copy_out(void* dst, const Bytes& src, size_t size) {
  std::memset(dst, 0, size);
  std::memcpy(dst, src.data(), src.size() < size ? src.size() : size);
}

// The getters that hand out one record the adapter stores, as it is stored.
// The call has been logged with its arguments already.
template <class Record>
uint32_t read_stored(SdCall& c, uint32_t handle, Record* out, Bytes Adapter::*stored) {
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!out) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  copy_out(out, a->*stored, sizeof(Record));
  return c.done(IZKSIM_OK);
}

// Text of a status (static storage, or a thread-local buffer for unknown ones).
const char* status_text(uint32_t status);

}  // namespace izksim

#endif  // IZKSIM_SIM_HPP
