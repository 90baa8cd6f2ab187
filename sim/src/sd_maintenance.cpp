// Boot code settings and their DHCP options, vital product data, and images
// written to flash.
//
// The boot code keeps its own version and validity: a settings write changes
// the targets, LUNs and flags only. The VPD image is answered as the scenario
// laid it out. A firmware update takes any readable, non-empty image file; a
// scenario with "bootcodeEraseNeeded" refuses boot code images (type 6) with
// 0x2000008F until the boot code has been erased.
#include <cstdio>
#include <cstring>

#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::SdCall;

namespace {

static_assert(sizeof(SDMBOOTCODE) == 28, "SDMBOOTCODE");
static_assert(sizeof(BOOTCODEDHCP) == 62, "BOOTCODEDHCP");
static_assert(sizeof(VPD_INFO) == 140, "VPD_INFO");

// The vendor id the caller names in VPD_INFO to ask for the adapter's VPD.
constexpr uint32_t kVpdVendorId = 0x02010000;
// Image type of the boot code.
constexpr uint16_t kImageBootcode = 6;
// Images an adapter keeps in its list of accepted updates.
constexpr size_t kFlashUpdatesKept = 16;
// The DHCP texts' field width.
constexpr uint8_t kDhcpTextMax = 12;

// Bytes of SDMBOOTCODE a settings write replaces (flags to the secondary LUN);
// the version and validity after them belong to the boot code image.
constexpr size_t kBootSettingsEnd = offsetof(SDMBOOTCODE, MajorVer);

template <class T>
size_t size_of(const T* p) {
  return p ? sizeof(T) : 0;
}

}  // namespace

// --- Boot configuration -----------------------------------------------------------

SD_EXPORT SD_STATUS SDGetBootcodeInfo(SDMGT_HANDLE handle, SDMBOOTCODE* bootcode) {
  SdCall c("SDGetBootcodeInfo");
  c.arg("handle", handle).rec("bootcode", bootcode, size_of(bootcode));
  return izksim::read_stored(c, handle, bootcode, &Adapter::bootcode);
}

SD_EXPORT SD_STATUS SDSetBootcodeInfo(SDMGT_HANDLE handle, SDMBOOTCODE* bootcode) {
  SdCall c("SDSetBootcodeInfo");
  c.arg("handle", handle).rec("bootcode", bootcode, size_of(bootcode));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!bootcode) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  std::memcpy(a->bootcode.data(), bootcode, kBootSettingsEnd);
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDGetBootcodeDhcp(SDMGT_HANDLE handle, BOOTCODEDHCP* dhcp) {
  SdCall c("SDGetBootcodeDhcp");
  c.arg("handle", handle).rec("dhcp", dhcp, size_of(dhcp));
  return izksim::read_stored(c, handle, dhcp, &Adapter::bootcodeDhcp);
}

// Lengths above the 12-byte texts are refused, as the adapter does.
SD_EXPORT SD_STATUS SDSetBootcodeDhcp(SDMGT_HANDLE handle, BOOTCODEDHCP* dhcp) {
  SdCall c("SDSetBootcodeDhcp");
  c.arg("handle", handle).rec("dhcp", dhcp, size_of(dhcp));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!dhcp || dhcp->VendorIDLength > kDhcpTextMax || dhcp->AltClientIDLength > kDhcpTextMax)
    return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const uint8_t* p = reinterpret_cast<const uint8_t*>(dhcp);
  a->bootcodeDhcp.assign(p, p + sizeof *dhcp);
  return c.done(IZKSIM_OK);
}

// The boot code image is gone: no version, not valid. Its settings stay.
SD_EXPORT SD_STATUS SDEraseBootCode(SDMGT_HANDLE handle) {
  SdCall c("SDEraseBootCode");
  c.arg("handle", handle);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  std::memset(a->bootcode.data() + kBootSettingsEnd, 0, a->bootcode.size() - kBootSettingsEnd);
  a->bootcodeEraseNeeded = false;
  return c.done(IZKSIM_OK);
}

// --- Vital product data and flash -------------------------------------------------

SD_EXPORT SD_STATUS SDGetVPDInfo(SDMGT_HANDLE handle, VPD_INFO* vpd) {
  SdCall c("SDGetVPDInfo");
  c.arg("handle", handle).rec("vpd", vpd, size_of(vpd));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!vpd || vpd->VendorID != kVpdVendorId) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  izksim::copy_out(vpd->VPDData, a->vpd, sizeof vpd->VPDData);
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDUpdateiSCSIFW(SDMGT_HANDLE handle, const char* path, uint16_t type) {
  SdCall c("SDUpdateiSCSIFW");
  c.arg("handle", handle).text("path", path).arg("type", type);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!path) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  FILE* image = std::fopen(path, "rb");
  if (!image) return c.done(IZKSIM_ST_FILE_ERROR);
  uint64_t size = 0;
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, image)) > 0;) size += n;
  const bool readError = std::ferror(image) != 0;
  std::fclose(image);
  if (readError) return c.done(IZKSIM_ST_FILE_ERROR);
  if (size == 0) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  if (type == kImageBootcode && a->bootcodeEraseNeeded) return c.done(IZKSIM_ST_BOOTCODE_ERASE_NEEDED);
  // The adapter remembers the most recent images only, so that long runs stay bounded.
  if (a->flashUpdates.size() >= kFlashUpdatesKept) a->flashUpdates.erase(a->flashUpdates.begin());
  a->flashUpdates.push_back({path, type, size});
  if (type == kImageBootcode) a->bootcode[offsetof(SDMBOOTCODE, BootcodeValid)] = 1;
  return c.done(IZKSIM_OK);
}
