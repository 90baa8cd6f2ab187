// The simulated adapters: what a scenario describes and what SD calls change.
#ifndef IZKSIM_STATE_HPP
#define IZKSIM_STATE_HPP

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "layout.hpp"

namespace izksim {

constexpr size_t kLunBufferSize = 64;     // READ/WRITE BUFFER data, per LUN
constexpr uint32_t kDdbEntries = 512;     // device database indices 0..511
constexpr size_t kEventQueueLimit = 1024;  // per adapter; older events roll over
constexpr size_t kAliasMax = 64;          // adapter-level alias, without its NUL

struct Lun {
  uint16_t number = 0;
  uint8_t deviceType = 0;  // INQUIRY peripheral device type (0 = direct access block device)
  std::string vendor, product, revision, serial;
  std::array<uint8_t, 8> wwuln{};  // NAA identifier answered in VPD page 0x83
  bool page83 = true;              // false: page 0x83 answers ILLEGAL REQUEST
  uint64_t blocks = 0;             // number of logical blocks
  uint32_t blockLength = 512;
  std::array<uint8_t, kLunBufferSize> buffer{};  // READ/WRITE BUFFER data (mode 2)
  bool ready = true;                             // false: TEST UNIT READY gives NOT READY
  bool bufferSupported = true;                   // false: READ/WRITE BUFFER give ILLEGAL REQUEST
};

struct Target {
  uint16_t bus = 0;
  uint16_t targetId = 0;  // the device database index of the target
  uint16_t state = 4;     // TargetState; 4 = session active, SCSI commands only then
  bool supportsTest = true;
  Bytes portal;  // DISCISCSIPORTAL
  Bytes node;    // DISCISCSINODE
  std::vector<Lun> luns;
  bool hasReportLunsData = false;  // answer REPORT LUNS with these bytes as they stand
  Bytes reportLunsData;

  Lun* find_lun(uint16_t number);
};

struct Event {
  uint32_t code = 0;
  std::array<uint32_t, 7> payload{};
  int64_t seconds = 0;  // queue time
  uint16_t millis = 0;
};

// DEVICEENTRYISCSI offsets the simulator itself works with.
constexpr size_t kDdbEntrySize = 484;
constexpr size_t kDdbTargetId = 460;
constexpr size_t kDdbDeviceState = 464;
constexpr size_t kDdbNextValid = 472;

struct DdbEntry {
  Bytes bytes;               // DEVICEENTRYISCSI; NextValid is filled on read
  bool fixedNextValid = false;  // the scenario gave NextValid itself
};

struct Adapter {
  uint32_t instance = 0;
  uint32_t handle = 0;
  bool open = false;
  Bytes portal;      // HBAISCSIPORTAL
  Bytes node;        // HBAISCSINODE
  Bytes driver;      // DRIVERINFO
  Bytes chip;        // CHIPINFO
  Bytes initFw;      // INITFWISCSI in effect
  Bytes fwDefaults;  // INITFWISCSI defaults
  Bytes defaultDdb;  // DEVICEENTRYISCSI template of a new entry
  Bytes bootcode;    // SDMBOOTCODE
  std::string alias;  // adapter-level alias, at most kAliasMax bytes
  uint16_t tcpMaxWindow = 0;
  std::map<uint32_t, DdbEntry> ddb;  // index -> entry
  std::vector<Target> targets;

  std::deque<Event> events;
  bool aenEnabled = false;
  bool rollOver = false;
  uint32_t aenIntervalMs = 0;
  int64_t aenValidFromMs = 0;

  // Sections kept for the functions that later rounds simulate (statistics,
  // CHAP table, logs, iSNS, security, boot DHCP options, VPD), as the scenario gave them.
  json later = json::object();

  Target* find_target(uint16_t bus, uint16_t targetId);
  // Index of the next valid (DeviceState != 0) entry after `index`, 0 if none.
  uint32_t next_valid_after(uint32_t index) const;
  // Number of valid (DeviceState != 0) entries.
  uint32_t valid_entries() const;
  // The NextValid an entry answers with: the scenario's when it pinned it, else computed.
  uint32_t next_valid_of(uint32_t index) const;
  // Sets a target's state and the copies of it in its portal and node records.
  static void set_target_state(Target& t, uint16_t state);
};

struct State {
  std::string version;
  std::vector<Adapter> adapters;

  Adapter* by_handle(uint32_t handle);
  Adapter* by_instance(uint32_t instance);
};

// Builds the state from a scenario; throws LoadError.
State load_scenario(const json& scenario);
// The state as JSON in the scenario's own schema (loadable again).
json dump_state(const State& state);

// Milliseconds since the epoch.
int64_t now_ms();
Event make_event(uint32_t code, const uint32_t* payload);

}  // namespace izksim

#endif  // IZKSIM_STATE_HPP
