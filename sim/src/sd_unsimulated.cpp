// SD functions the simulator does not answer yet: each is logged with its
// arguments, honours faults, and otherwise returns IZKSIM_ST_NOT_SIMULATED.
// A function moves out of this file when it is simulated.
#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::SdCall;

#define IZKSIM_NOT_SIMULATED(c)      \
  do {                               \
    if ((c).faulted()) return (c).status(); \
    return (c).done(IZKSIM_ST_NOT_SIMULATED); \
  } while (0)

// Size of a record the caller hands over, or 0 for a null pointer.
template <class T>
static size_t size_of(const T* p) {
  return p ? sizeof(T) : 0;
}

// --- Statistics, state and logs ---------------------------------------------------

SD_EXPORT SD_STATUS SDGetStatisticsiSCSI(SDMGT_HANDLE handle, HBAPORTSTATISCSI* stats) {
  SdCall c("SDGetStatisticsiSCSI");
  c.arg("handle", handle).rec("stats", stats, size_of(stats));
  IZKSIM_NOT_SIMULATED(c);
}

SD_EXPORT SD_STATUS SDGetStatisticsiSCSIExtend(SDMGT_HANDLE handle, HBAPORTSTATISCSIEXTEND* stats) {
  SdCall c("SDGetStatisticsiSCSIExtend");
  c.arg("handle", handle).rec("stats", stats, size_of(stats));
  IZKSIM_NOT_SIMULATED(c);
}

SD_EXPORT SD_STATUS SDGetStatisticsGen(SDMGT_HANDLE handle, HBAPORTSTATGEN* stats) {
  SdCall c("SDGetStatisticsGen");
  c.arg("handle", handle).rec("stats", stats, size_of(stats));
  IZKSIM_NOT_SIMULATED(c);
}

SD_EXPORT SD_STATUS SDResetStatisticsiSCSI(SDMGT_HANDLE handle, uint16_t port) {
  SdCall c("SDResetStatisticsiSCSI");
  c.arg("handle", handle).arg("port", port);
  IZKSIM_NOT_SIMULATED(c);
}

// --- Diagnostics and maintenance --------------------------------------------------

SD_EXPORT SD_STATUS SDDiagPing(SDMGT_HANDLE handle, PING* ping) {
  SdCall c("SDDiagPing");
  c.arg("handle", handle).rec("ping", ping, size_of(ping));
  IZKSIM_NOT_SIMULATED(c);
}

SD_EXPORT SD_STATUS SDPerformLoopBackTest(SDMGT_HANDLE handle, uint32_t mode) {
  SdCall c("SDPerformLoopBackTest");
  c.arg("handle", handle).arg("mode", mode);
  IZKSIM_NOT_SIMULATED(c);
}
