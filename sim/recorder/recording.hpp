// What the recording proxy keeps of the real library's answers: the latest
// answer of every read, per adapter, as raw bytes. Capturing is a lock and a
// copy; turning the answers into a scenario happens only when the file is
// written (at exit, on a signal, or on request).
#ifndef IZKREC_RECORDING_HPP
#define IZKREC_RECORDING_HPP

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace izkrec {

using Bytes = std::vector<uint8_t>;

// A record as the library left it: its status and bytes.
struct Answer {
  bool seen = false;
  uint32_t status = 0;
  Bytes bytes;
};

struct LunRec {
  std::optional<Bytes> inquiry;           // standard INQUIRY data
  std::map<uint8_t, Bytes> vpd;           // VPD page -> data
  std::map<uint8_t, uint32_t> vpdRefused;  // VPD page -> status of a refusal
  std::optional<Bytes> capacity;          // SD_CAPACITY_INFO_STRUC
  std::optional<Bytes> readCapacity10;    // READ CAPACITY(10) data (8 bytes)
  std::optional<Bytes> readCapacity16;    // READ CAPACITY(16) data (32 bytes)
  std::optional<bool> ready;              // TEST UNIT READY
  std::optional<Bytes> buffer;            // READ BUFFER mode 2 data from offset 0
  std::optional<bool> bufferSupported;
};

struct TargetRec {
  uint16_t bus = 0;
  uint16_t targetId = 0;
  std::optional<Bytes> portal;  // DISCISCSIPORTAL
  std::optional<Bytes> node;    // DISCISCSINODE
  std::optional<Bytes> reportLuns;
  uint32_t reportLunsStatus = 0;
  std::map<uint16_t, LunRec> luns;
};

struct AdapterRec {
  uint32_t instance = 0;
  uint32_t handle = 0;
  // Whole-adapter reads, by function (Fn): the latest good answer.
  std::map<int, Answer> reads;
  std::map<uint32_t, Bytes> ddb;  // index -> DEVICEENTRYISCSI
  std::optional<std::string> alias;
  std::optional<uint16_t> tcpMaxWindow;
  std::optional<std::vector<Bytes>> chapDense;   // SDGetCHAPTable
  std::optional<std::vector<Bytes>> chapSlots;   // SDGetCHAPTableMod, every slot
  std::optional<std::vector<Bytes>> isnsTargets;
  std::optional<std::vector<Bytes>> connErrors;
  std::optional<std::vector<Bytes>> arp;
  std::optional<Bytes> crashRecord;
  std::optional<std::vector<Bytes>> policies;  // the table as read, slot by slot
  std::optional<uint32_t> policyCount;
  std::optional<std::vector<Bytes>> ikeSAs;
  std::map<uint32_t, std::vector<Bytes>> ipsecSAs;  // policy priority -> SAs
  std::deque<Bytes> events;                         // ASYNC_EVENT, oldest first
  std::map<uint64_t, TargetRec> targets;            // (bus << 16 | id) -> target
  std::map<int, uint32_t> failures;                 // whole-adapter read (Fn) -> status of its latest failure

  TargetRec& target(uint16_t bus, uint16_t id);
};

struct Recording {
  std::timed_mutex mu;  // guards everything below
  bool changed = true;  // something was captured since the file was last written
  std::optional<std::string> version;
  std::map<uint32_t, AdapterRec> adapters;  // instance -> adapter
  std::map<uint32_t, uint32_t> instanceOf;  // handle -> instance
  AdapterRec* last = nullptr;               // the adapter looked up last (map nodes stay put)

  // The adapter with this handle, or null for a handle never opened through us.
  AdapterRec* by_handle(uint32_t handle);
};

// The process's recording (never destroyed: calls may still run at exit).
Recording& recording();

// The recording as scenario JSON text; secrets (CHAP secrets, IPsec keys)
// only when `secrets` is set.
std::string scenario_text(Recording& r, bool secrets);

// Writes the scenario file now ($IZKSDM_RECORD_FILE); false with a line on
// standard error when it cannot be written. With `onlyChanged`, nothing is
// written when nothing was captured since the last write.
bool write_now(bool onlyChanged = false);

// Installs the exit and signal hooks once.
void install_hooks();

}  // namespace izkrec

#endif  // IZKREC_RECORDING_HPP
