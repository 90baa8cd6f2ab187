// A device-management library that answers at once (fixed records, no
// locking), so that the benchmark sees the recording proxy's own cost.
#include <cstring>

#include "sdm/sdm_api.h"

#define BENCH_EXPORT extern "C" __attribute__((visibility("default")))

BENCH_EXPORT SD_STATUS SDOpenDeviceiSCSI(uint32_t instance, SDMGT_HANDLE* handle) {
  *handle = 10 + instance;
  return 0;
}

BENCH_EXPORT SD_STATUS SDGetHbaDeviceNodePropertyiSCSI(SDMGT_HANDLE, HBAISCSINODE* property) {
  std::memset(property, 0x5a, sizeof *property);
  return 0;
}

BENCH_EXPORT SD_STATUS SDGetDDBEntry(SDMGT_HANDLE, DEVICEENTRYISCSI* entry, uint32_t index) {
  std::memset(entry, 0, sizeof *entry);
  entry->TargetID = index;
  return 0;
}

BENCH_EXPORT SD_STATUS SDGetTCPMaxWindowSize(SDMGT_HANDLE, uint16_t* size) {
  *size = 0x8000;
  return 0;
}
