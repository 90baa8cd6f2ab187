// Counters and diagnostics of a simulated adapter: the port statistics that
// the three statistics records show, and the outcomes of ping, loopback and
// the READ/WRITE BUFFER data-path test.
#ifndef IZKSIM_MONITOR_HPP
#define IZKSIM_MONITOR_HPP

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "layout.hpp"

namespace izksim {

struct Adapter;
struct ScsiRequest;
struct Sense;

// A switch on one LUN's buffer commands: a miscompare on the Nth READ BUFFER
// and/or CHECK CONDITION with a sense key on WRITE or READ BUFFER from the
// Nth such command on.
struct BufferFault {
  uint16_t bus = 0;
  uint16_t targetId = 0;
  uint16_t lun = 0;
  uint64_t miscompareAt = 0;  // 1-based READ BUFFER count; 0: never
  uint8_t senseKey = 0;       // 0: no check condition
  bool onRead = false;        // the sense key answers READ BUFFER (else WRITE BUFFER)
  uint64_t from = 1;          // first command (1-based count) that fails
  uint64_t reads = 0;         // READ BUFFER (data mode) commands seen so far
  uint64_t writes = 0;        // WRITE BUFFER commands seen so far
};

struct Monitor {
  // Every counter the adapter keeps, by the name the statistics records use.
  // Each statistics record shows the counters of its own layout.
  std::map<std::string, uint64_t> counters;
  // Added to the counters after every statistics read, so they move between reads.
  std::map<std::string, uint64_t> perRead;
  uint64_t ioBytes = 0;  // data moved by SCSI commands; MBytesCount follows it
  // Statistics records a recording gave ({"raw": hex}), by section name: each
  // answers as it was recorded until the counters are reset.
  std::map<std::string, std::vector<uint8_t>> recorded;

  // Addresses that answer a ping (16 bytes, IPv4 in the first 4), besides
  // the adapter's own.
  std::vector<std::vector<uint8_t>> pingReplies;
  std::vector<std::string> pingReplyTexts;  // as the scenario gave them
  std::set<uint64_t> loopbackFailures;      // 1-based loopback runs that fail
  uint64_t loopbackRuns = 0;
  std::vector<BufferFault> bufferFaults;
};

// Reads the adapter's "statistics" and "diagnostics" sections (LoadError on
// anything it does not understand) and sets every counter it names.
void load_monitor(const json& adapter, const std::string& path, Adapter& a);
// Writes both sections in the scenario's schema.
void dump_monitor(const Adapter& a, json& out);

// Around each SCSI command: a switched-on check condition answers instead of
// the LUN (returns IZKSIM_ST_CHECK_CONDITION with *sense set, else 0);
// afterwards the I/O counters move and a switched-on miscompare spoils the
// data read.
uint32_t monitor_before_scsi(Adapter& a, const ScsiRequest& r, Sense* sense);
void monitor_after_scsi(Adapter& a, const ScsiRequest& r, uint32_t status);

}  // namespace izksim

#endif  // IZKSIM_MONITOR_HPP
