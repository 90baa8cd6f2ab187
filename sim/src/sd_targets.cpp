// Discovered portals and nodes of the targets, and the SCSI queries the
// library builds itself: REPORT LUNS, standard INQUIRY and the capacity in
// megabytes. The queries run the same commands as SDSendScsiPassThruiSCSI,
// with the caller's buffer size as allocation length.
#include <cstring>

#include "scsi.hpp"
#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::SdCall;
using izksim::Target;

namespace {

template <class T>
size_t size_of(const T* p) {
  return p ? sizeof(T) : 0;
}

// The first target with this id, on any bus: the discovery functions name a
// target by its id alone.
Target* target_by_id(Adapter& a, uint32_t targetID) {
  for (Target& t : a.targets)
    if (t.targetId == targetID) return &t;
  return nullptr;
}

// Looks the discovered record of a target up and copies it out. The simulated
// targets are reached through one portal each: other portal numbers are an
// invalid parameter.
uint32_t read_discovered(SdCall& c, SDMGT_HANDLE handle, uint32_t portal, uint32_t targetID, void* out, size_t size,
                         izksim::Bytes Target::*record) {
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!out || portal != 0) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  Target* t = target_by_id(*a, targetID);
  if (!t) return c.done(IZKSIM_ST_TARGET_NOT_FOUND);
  const izksim::Bytes& bytes = t->*record;
  std::memset(out, 0, size);
  std::memcpy(out, bytes.data(), bytes.size() < size ? bytes.size() : size);
  return c.done(IZKSIM_OK);
}

// Runs `cdb` on the LUN `target` names, data into buffer[0..size), sense
// into sense[0..senseSize) when the command ends with CHECK CONDITION.
uint32_t run(Adapter& a, const TARGETINFORMATION* target, const uint8_t* cdb, uint32_t cdbLength, uint8_t* buffer,
             uint32_t size, uint8_t* sense, uint32_t senseSize) {
  izksim::ScsiRequest r;
  izksim::set_address(r, target);
  r.cdb = cdb;
  r.cdbLength = cdbLength;
  r.dataIn = buffer;
  r.dataInLength = size;
  izksim::Sense s;
  const uint32_t status = izksim::scsi_execute(a, r, &s);
  if (status == IZKSIM_ST_CHECK_CONDITION) izksim::write_fixed_sense(s, sense, senseSize);
  return status;
}

// Logs a query's arguments and checks what every query needs. True when the
// call is answered already (fault, bad handle or argument): c.status() holds
// the status; otherwise *adapter is the adapter to run it on.
bool begin_query(SdCall& c, SDMGT_HANDLE handle, const TARGETINFORMATION* target, const uint8_t* buffer,
                 uint32_t size, const uint8_t* sense, uint32_t senseSize, Adapter** adapter) {
  c.arg("handle", handle).rec("target", target, size_of(target));
  c.arg("bufferSize", size).rec("buffer", buffer, buffer ? size : 0);
  c.arg("senseSize", senseSize).rec("sense", sense, sense ? senseSize : 0);
  if (c.faulted()) return true;
  *adapter = c.open_adapter(handle);
  if (!*adapter) {
    c.done(IZKSIM_ST_INVALID_HANDLE);
    return true;
  }
  if (!target || (size && !buffer) || (senseSize && !sense)) {
    c.done(IZKSIM_ST_INVALID_PARAMETER);
    return true;
  }
  return false;
}

uint64_t be(const uint8_t* p, size_t n) {
  uint64_t v = 0;
  for (size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

}  // namespace

SD_EXPORT SD_STATUS SDGetDiscPortalPropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal, uint32_t targetID,
                                                 uint32_t reserved, DISCISCSIPORTAL* property) {
  SdCall c("SDGetDiscPortalPropertyiSCSI");
  c.arg("handle", handle).arg("portal", portal).arg("targetID", targetID).arg("reserved", reserved);
  c.rec("property", property, size_of(property));
  return read_discovered(c, handle, portal, targetID, property, sizeof(DISCISCSIPORTAL), &Target::portal);
}

SD_EXPORT SD_STATUS SDGetDiscNodePropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal, uint32_t targetID,
                                               uint32_t reserved, DISCISCSINODE* property) {
  SdCall c("SDGetDiscNodePropertyiSCSI");
  c.arg("handle", handle).arg("portal", portal).arg("targetID", targetID).arg("reserved", reserved);
  c.rec("property", property, size_of(property));
  return read_discovered(c, handle, portal, targetID, property, sizeof(DISCISCSINODE), &Target::node);
}

// The target's own status (e.g. the data underrun status 0x20000077 of some
// arrays) replaces success once the list has been written.
SD_EXPORT SD_STATUS SDSendScsiReportLunsCmdiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* buffer,
                                                 uint32_t bufferSize, uint8_t* sense, uint32_t senseSize) {
  SdCall c("SDSendScsiReportLunsCmdiSCSI");
  Adapter* a = nullptr;
  if (begin_query(c, handle, target, buffer, bufferSize, sense, senseSize, &a)) return c.status();
  const uint8_t cdb[12] = {0xA0, 0, 0, 0, 0, 0, uint8_t(bufferSize >> 24), uint8_t(bufferSize >> 16),
                           uint8_t(bufferSize >> 8), uint8_t(bufferSize), 0, 0};
  uint32_t status = run(*a, target, cdb, sizeof cdb, buffer, bufferSize, sense, senseSize);
  if (status == IZKSIM_OK) {
    const Target* t = a->find_target(target->BusNumber, target->TargetID);
    if (t && t->reportLunsStatus) status = t->reportLunsStatus;
  }
  return c.done(status);
}

// Standard INQUIRY data; the allocation length is the buffer size (at most 255).
SD_EXPORT SD_STATUS SDSendScsiInquiryCmdiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* buffer,
                                              uint32_t bufferSize, uint8_t* sense, uint32_t senseSize) {
  SdCall c("SDSendScsiInquiryCmdiSCSI");
  Adapter* a = nullptr;
  if (begin_query(c, handle, target, buffer, bufferSize, sense, senseSize, &a)) return c.status();
  const uint8_t allocation = bufferSize > 0xFF ? 0xFF : uint8_t(bufferSize);
  const uint8_t cdb[6] = {0x12, 0, 0, 0, allocation, 0};
  return c.done(run(*a, target, cdb, sizeof cdb, buffer, bufferSize, sense, senseSize));
}

// READ CAPACITY(10), and (16) when the device has more blocks than (10) can
// tell. Lba is the last block's address as the device reports it; Mbytes the
// whole capacity in megabytes. A LUN's "capacityRecord" is answered instead.
SD_EXPORT SD_STATUS SDSendReadMBCapacity(SDMGT_HANDLE handle, TARGETINFORMATION* target,
                                         SD_CAPACITY_INFO_STRUC* capacity) {
  SdCall c("SDSendReadMBCapacity");
  c.arg("handle", handle).rec("target", target, size_of(target)).rec("capacity", capacity, size_of(capacity));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!target || !capacity) return c.done(IZKSIM_ST_INVALID_PARAMETER);

  uint8_t data[32] = {0};
  const uint8_t cdb10[10] = {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  uint32_t status = run(*a, target, cdb10, sizeof cdb10, data, 8, nullptr, 0);
  if (status != IZKSIM_OK) return c.done(status);
  uint64_t lba = be(data, 4);
  uint64_t blockLength = be(data + 4, 4);
  if (lba == 0xFFFFFFFFu) {
    const uint8_t cdb16[16] = {0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0};
    status = run(*a, target, cdb16, sizeof cdb16, data, sizeof data, nullptr, 0);
    if (status != IZKSIM_OK) return c.done(status);
    lba = be(data, 8);
    blockLength = be(data + 8, 4);
  }
  const izksim::Lun* lun = a->find_target(target->BusNumber, target->TargetID)->find_lun(target->LUN);
  SD_CAPACITY_INFO_STRUC answer{};
  if (lun && lun->hasCapacityRecord) {
    answer.Lba = lun->capacityLba;
    answer.BlockLen = lun->capacityBlockLength;
    answer.Mbytes = lun->capacityMbytes;
  } else {
    answer.Lba = lba;
    answer.BlockLen = blockLength;
    answer.Mbytes = uint32_t(((lba + 1) * blockLength) >> 20);
  }
  std::memcpy(capacity, &answer, sizeof answer);
  return c.done(IZKSIM_OK);
}
