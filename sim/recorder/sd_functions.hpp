// Every SD function of the device-management library, as one list: the
// recording proxy resolves each in the real library and forwards to it.
// A function added to sdm/include/sdm/sdm_api.h joins this list and gets a
// forwarder in recorder.cpp (the test recorder_exports checks both).
#ifndef IZKREC_SD_FUNCTIONS_HPP
#define IZKREC_SD_FUNCTIONS_HPP

#define IZKREC_SD_FUNCTIONS(X) \
  X(SDOpenDeviceiSCSI) \
  X(SDCloseDeviceiSCSI) \
  X(SDGetVersioniSCSI) \
  X(SDGetErrorStringiSCSI) \
  X(SDEnableDebugTraceiSCSI) \
  X(SDStartAENPoll) \
  X(SDStopAENPoll) \
  X(SDEnableAeniSCSI) \
  X(SDDisableAeniSCSI) \
  X(SDGetAeniSCSI) \
  X(SDSetAENValidTime) \
  X(SDGetHbaDevicePortalPropertyiSCSI) \
  X(SDGetHbaDeviceNodePropertyiSCSI) \
  X(SDGetHbaDeviceDriverPropertyiSCSI) \
  X(SDGetHbaDeviceChipPropertyiSCSI) \
  X(SDGetHBAAlias) \
  X(SDSetHBAAlias) \
  X(SDGetTCPMaxWindowSize) \
  X(SDSetTCPMaxWindowSize) \
  X(SDGetInitFW) \
  X(SDSetInitFW) \
  X(SDGetFWDefaults) \
  X(SDSetFWDefaults) \
  X(SDRestoreDefaults) \
  X(SDResetHBA) \
  X(SDGetDDBEntryNum) \
  X(SDGetDDBEntry) \
  X(SDSetDDBEntry) \
  X(SDSetDDBEntryFlashOnly) \
  X(SDGetDefaultDDBEntry) \
  X(SDGetInitialDDBEntry) \
  X(SDSendiSCSILogout) \
  X(SDGetCHAPEntryNum) \
  X(SDGetCHAPTable) \
  X(SDGetCHAPTableMod) \
  X(SDSetCHAPTable) \
  X(SDSetCHAPTableEntry) \
  X(SDGetDiscPortalPropertyiSCSI) \
  X(SDGetDiscNodePropertyiSCSI) \
  X(SDSendScsiReportLunsCmdiSCSI) \
  X(SDSendScsiInquiryCmdiSCSI) \
  X(SDSendReadMBCapacity) \
  X(SDSendScsiPassThruiSCSI) \
  X(SDGetStatisticsiSCSI) \
  X(SDGetStatisticsiSCSIExtend) \
  X(SDGetStatisticsGen) \
  X(SDResetStatisticsiSCSI) \
  X(SDGetLogs) \
  X(SDGetCrashRecord) \
  X(SDGet_iSNSDiscoveryConfig) \
  X(SDSet_iSNSDiscoveryConfig) \
  X(SDGetAlliSNSDiscoveredTargets) \
  X(SDGetSecurityPolicyTable) \
  X(SDSetSecurityPolicyTable) \
  X(SDGetSecurityInfo) \
  X(SDGetSecurityStatsGen) \
  X(SDGetAllIKESAStatsDetails) \
  X(SDGetIPsecSACountForPolicy) \
  X(SDGetIPsecSAStatsDetails) \
  X(SDFlushSAs) \
  X(SDGetBootcodeInfo) \
  X(SDSetBootcodeInfo) \
  X(SDGetBootcodeDhcp) \
  X(SDSetBootcodeDhcp) \
  X(SDEraseBootCode) \
  X(SDDiagPing) \
  X(SDPerformLoopBackTest) \
  X(SDGetVPDInfo) \
  X(SDUpdateiSCSIFW) \
  /* end */

namespace izkrec {

enum Fn {
#define IZKREC_ENUM(name) k_##name,
  IZKREC_SD_FUNCTIONS(IZKREC_ENUM)
#undef IZKREC_ENUM
  kFunctionCount
};

// The function's name.
const char* fn_name(Fn f);

}  // namespace izkrec

#endif  // IZKREC_SD_FUNCTIONS_HPP
