// SCSI commands answered by the simulated logical units.
#ifndef IZKSIM_SCSI_HPP
#define IZKSIM_SCSI_HPP

#include <cstddef>
#include <cstdint>

#include "state.hpp"

namespace izksim {

// Sense data of a command that ended with CHECK CONDITION.
struct Sense {
  uint8_t key = 0;
  uint8_t asc = 0;
  uint8_t ascq = 0;
};

constexpr uint8_t kSenseNotReady = 0x02;
constexpr uint8_t kSenseIllegalRequest = 0x05;
constexpr size_t kFixedSenseLength = 18;

// READ/WRITE BUFFER operation codes and the buffer mode that carries data.
constexpr uint8_t kWriteBuffer = 0x3B;
constexpr uint8_t kReadBuffer = 0x3C;
constexpr uint8_t kBufferModeData = 0x02;

struct ScsiRequest {
  uint16_t bus = 0;
  uint16_t targetId = 0;
  uint16_t lun = 0;
  const uint8_t* cdb = nullptr;
  uint32_t cdbLength = 0;
  const uint8_t* dataOut = nullptr;
  uint32_t dataOutLength = 0;
  uint8_t* dataIn = nullptr;  // at most dataInLength bytes are written
  uint32_t dataInLength = 0;
};

// Takes bus, target id and LUN from a TARGETINFORMATION record (its first six
// bytes, little-endian).
void set_address(ScsiRequest& request, const void* targetInformation);

// Runs one command on the adapter. Returns 0, IZKSIM_ST_CHECK_CONDITION with
// *sense filled, or a library status (target/LUN not found, target not active,
// invalid parameter). Pointers and lengths must already be consistent.
uint32_t scsi_execute(Adapter& adapter, const ScsiRequest& request, Sense* sense);

// Fixed-format sense data (response code 0x70), bounded by `length`.
void write_fixed_sense(const Sense& sense, uint8_t* buffer, uint32_t length);

}  // namespace izksim

#endif  // IZKSIM_SCSI_HPP
