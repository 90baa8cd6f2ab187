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
#include "security.hpp"
#include "monitor.hpp"

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
  // SDSendReadMBCapacity's answer as given (e.g. the library's 0xfefefefe
  // "not measured" marker) instead of one computed from READ CAPACITY.
  bool hasCapacityRecord = false;
  uint64_t capacityLba = 0, capacityBlockLength = 0;
  uint32_t capacityMbytes = 0;
  // Answers recorded from a real device, given back as they stand: the
  // standard INQUIRY data and VPD pages by page code (see sim/recorder).
  Bytes inquiryData;
  std::map<uint8_t, Bytes> vpdPages;
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
  bool flatAddressing = false;     // REPORT LUNS gives every LUN in flat space addressing
  uint32_t reportLunsStatus = 0;   // SDSendScsiReportLunsCmdiSCSI's status after a good answer

  Lun* find_lun(uint16_t number);
};

struct Event {
  uint32_t code = 0;
  std::array<uint32_t, 7> payload{};
  int64_t seconds = 0;  // queue time
  uint16_t millis = 0;
};

// Event codes the simulator itself acts on.
constexpr uint32_t kAenDdbChanged = 0x8014;

// One entry of an adapter's event script: an event that arrives by itself
// `firstMs` after events were enabled and then, when `everyMs` is not 0,
// every `everyMs` again.
struct ScriptEntry {
  uint32_t code = 0;
  std::array<uint32_t, 7> payload{};
  uint64_t firstMs = 0;
  uint64_t everyMs = 0;  // 0: once
};

// DEVICEENTRYISCSI offsets the simulator itself works with.
constexpr size_t kDdbEntrySize = 484;
constexpr size_t kDdbTargetId = 460;
constexpr size_t kDdbDeviceState = 464;
constexpr size_t kDdbNextValid = 472;

// Sizes of the CHAP, iSNS and log records and tables.
constexpr size_t kChapEntrySize = 360;     // CHAPTABLE
constexpr size_t kChapSlots = 128;         // flash slots of a default CHAP table
constexpr size_t kChapSlotsMax = 256;      // flash indices are 8 bits wide
constexpr size_t kIsnsConfigSize = 284;    // SDM_ISNS_CONFIG
constexpr size_t kIsnsTargetSize = 392;    // SDM_ISNS_DISCOVERED_TARGET
constexpr size_t kIsnsTargetsMax = 512;    // what an iSNS server reports at most
constexpr size_t kConnErrSize = 20;        // CONNERRTABLE
constexpr size_t kArpSize = 28;            // ARPTABLE
constexpr size_t kLogEntriesMax = 128;     // a log buffer's capacity

// An image written to flash by SDUpdateiSCSIFW.
struct FlashUpdate {
  std::string path;
  uint16_t type = 0;
  uint64_t size = 0;  // bytes of the image file
};

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
  Bytes bootcodeDhcp;  // BOOTCODEDHCP
  Bytes vpd;           // the raw VPD image (VPD_INFO.VPDData)
  bool bootcodeEraseNeeded = false;  // a boot code update fails until SDEraseBootCode
  std::vector<FlashUpdate> flashUpdates;  // images SDUpdateiSCSIFW accepted
  std::string alias;  // adapter-level alias, at most kAliasMax bytes
  uint16_t tcpMaxWindow = 0;
  std::map<uint32_t, DdbEntry> ddb;  // index -> entry
  std::vector<Target> targets;
  SecurityState security;  // IPsec engine
  // "failures": SD function -> the status it answers on this adapter (a
  // recorded adapter's refusals), whatever the arguments.
  std::map<std::string, uint32_t> failures;
  // "damagedCounts": SD function -> the count it reports on this adapter when
  // it hands records back (its "count" or "numEntries"), whatever it wrote:
  // a library whose counts run past the caller's buffer.
  std::map<std::string, uint32_t> damagedCounts;

  std::deque<Event> events;
  bool aenEnabled = false;
  bool rollOver = false;
  uint32_t aenIntervalMs = 0;
  int64_t aenValidFromMs = 0;

  // The event script runs while events are enabled, measured from when they
  // were switched on; scriptNextMs holds each entry's next due time after
  // that start (kScriptDone when a one-time entry has fired).
  std::vector<ScriptEntry> script;
  std::vector<uint64_t> scriptNextMs;
  int64_t scriptStartMono = 0;  // mono_ms() when events were enabled
  int64_t scriptStartWall = 0;  // now_ms() at the same moment

  // CHAP table, iSNS discovery, connection error and ARP logs, crash record
  // (sd_chap.cpp, sd_isns.cpp, sd_logs.cpp).
  std::vector<Bytes> chapSlots = std::vector<Bytes>(kChapSlots, Bytes(kChapEntrySize, 0));  // CHAPTABLE by flash index
  Bytes isnsConfig = Bytes(kIsnsConfigSize, 0);  // SDM_ISNS_CONFIG
  std::vector<Bytes> isnsTargets;                // SDM_ISNS_DISCOVERED_TARGET, in the server's order
  std::vector<Bytes> connErrors;                 // CONNERRTABLE, oldest first
  std::vector<Bytes> arpEntries;                 // ARPTABLE
  bool hasCrashRecord = false;
  Bytes crashRecord;  // written as it stands to the file SDGetCrashRecord names

  // Sections kept for functions a later round simulates, as the scenario gave
  // them (none at present).
  json later = json::object();

  Monitor monitor;  // counters, ping, loopback and buffer-test outcomes (sd_monitor.cpp)

  Target* find_target(uint16_t bus, uint16_t targetId);
  // Index of the next valid (DeviceState != 0) entry after `index`, 0 if none.
  uint32_t next_valid_after(uint32_t index) const;
  // Number of valid (DeviceState != 0) entries.
  uint32_t valid_entries() const;
  // The NextValid an entry answers with: the scenario's when it pinned it, else computed.
  uint32_t next_valid_of(uint32_t index) const;
  // Sets a target's state and the copies of it in its portal and node records.
  static void set_target_state(Target& t, uint16_t state);
  // Sets the DeviceState of a stored database entry; the target with that
  // index follows. Returns false when the entry is not stored.
  bool set_entry_state(uint32_t index, uint32_t state);

  // Queues an event; beyond kEventQueueLimit the oldest roll over.
  void queue_event(const Event& e);
  // (Re)starts the event script from its beginning, now.
  void start_script();
  // Queues, in due order, every script event that has fallen due since the
  // last run, applying device database changes as the adapter would.
  void run_script();
};

constexpr uint64_t kScriptDone = UINT64_MAX;

struct State {
  std::string version;
  std::vector<Adapter> adapters;

  Adapter* by_handle(uint32_t handle);
  Adapter* by_instance(uint32_t instance);
};

// The scenario sections of the CHAP table ("chapTable"), iSNS discovery
// ("isnsConfig", "isnsTargets") and the logs ("connectionErrorLog",
// "arpLog", "crashRecord"): each loader takes the adapter's JSON object and
// reads its own keys; each dumper adds them to an adapter's dump.
void load_chap_section(const json& adapter, const std::string& path, Adapter& a);
void dump_chap_section(const Adapter& a, json& out);
void load_isns_sections(const json& adapter, const std::string& path, Adapter& a);
void dump_isns_sections(const Adapter& a, json& out);
void load_log_sections(const json& adapter, const std::string& path, Adapter& a);
void dump_log_sections(const Adapter& a, json& out);

// The boot and maintenance sections of an adapter ("bootcodeDhcp", "vpd",
// "bootcodeEraseNeeded"): loaded into `a` (LoadError naming the path) and dumped into `out`.
void load_maintenance_sections(const json& j, const std::string& path, Adapter& a);
void dump_maintenance_sections(const Adapter& a, json& out);

// Builds the state from a scenario; throws LoadError.
State load_scenario(const json& scenario);
// The state as JSON in the scenario's own schema (loadable again).
json dump_state(const State& state);

// The simulator's clocks, in milliseconds: now_ms() since the epoch (event
// time stamps, validity time), mono_ms() a monotonic count (event scripts).
// Both run with the real clocks plus whatever advance_clock added since the
// last scenario load.
int64_t now_ms();
int64_t mono_ms();
void advance_clock(uint32_t milliseconds);
void reset_clock();

// An event stamped now; payload may be null (all zero).
Event make_event(uint32_t code, const uint32_t* payload);
// Sets an event's time stamp to `wallMs` milliseconds since the epoch.
void stamp_event(Event& e, int64_t wallMs);
// After a scenario load: clears the clock's advance, stamps the scenario's
// queued events with the current time and starts the scripts of adapters
// whose events the scenario enabled.
void start_clock(State& state);

}  // namespace izksim

#endif  // IZKSIM_STATE_HPP
