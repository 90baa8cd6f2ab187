// SCSI pass-through to the simulated logical units.
#include "scsi.hpp"
#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::SdCall;

SD_EXPORT SD_STATUS SDSendScsiPassThruiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* cdb,
                                            uint32_t cdbLength, uint8_t* dataOut, uint32_t dataOutLength,
                                            uint8_t* dataIn, uint32_t dataInLength, uint8_t* sense,
                                            uint32_t senseLength) {
  SdCall c("SDSendScsiPassThruiSCSI");
  c.arg("handle", handle)
      .rec("target", target, sizeof(TARGETINFORMATION))
      .arg("cdbLength", cdbLength)
      .rec("cdb", cdb, cdbLength)
      .arg("dataOutLength", dataOutLength)
      .rec("dataOut", dataOut, dataOutLength)
      .arg("dataInLength", dataInLength)
      .rec("dataIn", dataIn, dataInLength)
      .arg("senseLength", senseLength)
      .rec("sense", sense, senseLength);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!target || !cdb || cdbLength == 0 || (dataOutLength && !dataOut) || (dataInLength && !dataIn) ||
      (senseLength && !sense))
    return c.done(IZKSIM_ST_INVALID_PARAMETER);

  izksim::ScsiRequest r;
  izksim::set_address(r, target);
  r.cdb = cdb;
  r.cdbLength = cdbLength;
  r.dataOut = dataOut;
  r.dataOutLength = dataOutLength;
  r.dataIn = dataIn;
  r.dataInLength = dataInLength;
  izksim::Sense s;
  uint32_t status = izksim::monitor_before_scsi(*a, r, &s);
  if (status == IZKSIM_OK) status = izksim::scsi_execute(*a, r, &s);
  izksim::monitor_after_scsi(*a, r, status);
  if (status == IZKSIM_ST_CHECK_CONDITION) izksim::write_fixed_sense(s, sense, senseLength);
  return c.done(status);
}
