// Functions of the adapter vendor's device-management library (libizksdm.so)
// that this bridge calls. Every function returns an SD_STATUS (0 = success)
// except SDGetErrorStringiSCSI, which turns a status into printable text.
#ifndef SDM_SDM_API_H
#define SDM_SDM_API_H

#include "sdm/sdm_records.h"

// Callback of the library's own polling loop; this bridge never installs one
// (it always passes a null pointer and drains events with SDGetAeniSCSI).
typedef void (*SDM_AEN_CALLBACK)(SDMGT_HANDLE handle, ASYNC_EVENT* events, uint32_t eventCount);

extern "C" {

// --- Library and adapter sessions -------------------------------------------

// Opens adapter `instance` and stores its handle in *handle.
SD_STATUS SDOpenDeviceiSCSI(uint32_t instance, SDMGT_HANDLE* handle);
// Closes an adapter handle returned by SDOpenDeviceiSCSI.
SD_STATUS SDCloseDeviceiSCSI(SDMGT_HANDLE handle);
// Writes the library's version text (NUL-terminated, at most length bytes) into buffer.
SD_STATUS SDGetVersioniSCSI(char* buffer, uint32_t length);
// Returns the printable text of a status; never null.
const char* SDGetErrorStringiSCSI(SD_STATUS status);
// Switches the library's debug trace into file fileName at the given level; takes the handle's address.
SD_STATUS SDEnableDebugTraceiSCSI(SDMGT_HANDLE* handle, const char* fileName, int32_t level);

// --- Asynchronous event notifications ---------------------------------------

// Starts the library's own polling loop that calls `callback` every intervalMs.
SD_STATUS SDStartAENPoll(SDMGT_HANDLE handle, uint32_t intervalMs, SDM_AEN_CALLBACK callback);
// Stops the polling loop started by SDStartAENPoll.
SD_STATUS SDStopAENPoll(SDMGT_HANDLE handle);
// Switches event collection on without a polling loop; events are then pulled with SDGetAeniSCSI.
SD_STATUS SDEnableAeniSCSI(SDMGT_HANDLE handle, uint32_t intervalMs);
// Switches event collection off.
SD_STATUS SDDisableAeniSCSI(SDMGT_HANDLE handle, int32_t levelShutdown);
// Drains up to bufferSizeInEvents queued events; *count receives how many, *rollOver whether the queue overflowed.
SD_STATUS SDGetAeniSCSI(SDMGT_HANDLE handle, ASYNC_EVENT* events, uint32_t bufferSizeInEvents,
                        uint32_t* count, uint32_t* rollOver);
// Discards events older than now (the time argument is always 0 here).
SD_STATUS SDSetAENValidTime(SDMGT_HANDLE handle, uint32_t validTime);

// --- Adapter properties -----------------------------------------------------

// Reads the adapter's network portal (addresses, MAC, state) of the given port.
SD_STATUS SDGetHbaDevicePortalPropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal, HBAISCSIPORTAL* property);
// Reads the adapter's iSCSI node (name, alias).
SD_STATUS SDGetHbaDeviceNodePropertyiSCSI(SDMGT_HANDLE handle, HBAISCSINODE* property);
// Reads the driver's properties.
SD_STATUS SDGetHbaDeviceDriverPropertyiSCSI(SDMGT_HANDLE handle, DRIVERINFO* property);
// Reads the adapter chip's properties (model, revisions, firmware versions).
SD_STATUS SDGetHbaDeviceChipPropertyiSCSI(SDMGT_HANDLE handle, CHIPINFO* property);
// Reads the adapter alias into a 65-byte buffer (NUL-terminated).
SD_STATUS SDGetHBAAlias(SDMGT_HANDLE handle, char* alias);
// Writes the adapter alias from a NUL-terminated buffer of at most 65 bytes.
SD_STATUS SDSetHBAAlias(SDMGT_HANDLE handle, char* alias);
// Reads the TCP maximum receive window size.
SD_STATUS SDGetTCPMaxWindowSize(SDMGT_HANDLE handle, uint16_t* size);
// Writes the TCP maximum receive window size.
SD_STATUS SDSetTCPMaxWindowSize(SDMGT_HANDLE handle, uint32_t size);

// --- Firmware initialization block ------------------------------------------

// Reads the firmware initialization block in effect.
SD_STATUS SDGetInitFW(SDMGT_HANDLE handle, INITFWISCSI* initFW);
// Writes the firmware initialization block.
SD_STATUS SDSetInitFW(SDMGT_HANDLE handle, INITFWISCSI* initFW);
// Reads the stored default firmware initialization block.
SD_STATUS SDGetFWDefaults(SDMGT_HANDLE handle, INITFWISCSI* initFW);
// Writes the stored default firmware initialization block.
SD_STATUS SDSetFWDefaults(SDMGT_HANDLE handle, INITFWISCSI* initFW);
// Restores factory defaults for the regions and details named by the two masks.
SD_STATUS SDRestoreDefaults(SDMGT_HANDLE handle, uint32_t regionMask, uint32_t detailMask);
// Resets the adapter.
SD_STATUS SDResetHBA(SDMGT_HANDLE handle, HBARESET* reset);

// --- Device database --------------------------------------------------------

// Number of device database entries in *count.
SD_STATUS SDGetDDBEntryNum(SDMGT_HANDLE handle, uint32_t* count);
// Reads device database entry `index`.
SD_STATUS SDGetDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t index);
// Writes device database entry `targetID` to the running firmware and flash.
SD_STATUS SDSetDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t targetID);
// Writes device database entry `targetID` to flash only.
SD_STATUS SDSetDDBEntryFlashOnly(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t targetID);
// Reads the template entry for a new target.
SD_STATUS SDGetDefaultDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry);
// Reads the initial entry for slot `index`: the template of a new entry at that index.
SD_STATUS SDGetInitialDDBEntry(SDMGT_HANDLE handle, DEVICEENTRYISCSI* entry, uint32_t index);
// Logs a session out (and may move it to a new entry) as the record says.
SD_STATUS SDSendiSCSILogout(SDMGT_HANDLE handle, LOGOUTISCSI* logout);

// --- CHAP secret table ------------------------------------------------------

// Number of CHAP table entries in *count.
SD_STATUS SDGetCHAPEntryNum(SDMGT_HANDLE handle, uint32_t* count);
// Reads the dense CHAP table; *count receives the number of entries.
SD_STATUS SDGetCHAPTable(SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count);
// Reads the CHAP table by flash slot; *count holds the capacity going in and the number of slots coming out.
SD_STATUS SDGetCHAPTableMod(SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count);
// Replaces the whole CHAP table with *count entries.
SD_STATUS SDSetCHAPTable(SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count);
// Writes one CHAP table slot (an empty name and secret clears it).
SD_STATUS SDSetCHAPTableEntry(SDMGT_HANDLE handle, CHAPTABLE* entry, uint32_t index);

// --- Targets, LUNs and SCSI commands ----------------------------------------

// Reads the discovered portal of a target.
SD_STATUS SDGetDiscPortalPropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal, uint32_t targetID,
                                       uint32_t reserved, DISCISCSIPORTAL* property);
// Reads the discovered node (session, connection, SCSI address) of a target.
SD_STATUS SDGetDiscNodePropertyiSCSI(SDMGT_HANDLE handle, uint32_t portal, uint32_t targetID,
                                     uint32_t reserved, DISCISCSINODE* property);
// Sends REPORT LUNS to a target.
SD_STATUS SDSendScsiReportLunsCmdiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* buffer,
                                       uint32_t bufferSize, uint8_t* sense, uint32_t senseSize);
// Sends INQUIRY to a LUN.
SD_STATUS SDSendScsiInquiryCmdiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* buffer,
                                    uint32_t bufferSize, uint8_t* sense, uint32_t senseSize);
// Sends READ CAPACITY to a LUN.
SD_STATUS SDSendReadMBCapacity(SDMGT_HANDLE handle, TARGETINFORMATION* target,
                               SD_CAPACITY_INFO_STRUC* capacity);
// Sends any SCSI command block to a LUN, with optional data out and data in.
SD_STATUS SDSendScsiPassThruiSCSI(SDMGT_HANDLE handle, TARGETINFORMATION* target, uint8_t* cdb,
                                  uint32_t cdbLength, uint8_t* dataOut, uint32_t dataOutLength,
                                  uint8_t* dataIn, uint32_t dataInLength, uint8_t* sense,
                                  uint32_t senseLength);

// --- Statistics, state and logs ---------------------------------------------

// Reads the adapter's iSCSI statistics.
SD_STATUS SDGetStatisticsiSCSI(SDMGT_HANDLE handle, HBAPORTSTATISCSI* stats);
// Reads the adapter's extended statistics (68 counters).
SD_STATUS SDGetStatisticsiSCSIExtend(SDMGT_HANDLE handle, HBAPORTSTATISCSIEXTEND* stats);
// Reads the adapter's generic statistics (port, I/O and link counters).
SD_STATUS SDGetStatisticsGen(SDMGT_HANDLE handle, HBAPORTSTATGEN* stats);
// Clears the statistics of a port.
SD_STATUS SDResetStatisticsiSCSI(SDMGT_HANDLE handle, uint16_t port);
// Reads a log (1 = connection errors into CONNERRTABLE[], 2 = ARP into ARPTABLE[]); *numEntries receives the count.
SD_STATUS SDGetLogs(SDMGT_HANDLE handle, uint32_t logType, uint32_t* numEntries, void* buffer);
// Writes the adapter's crash record to the file at the NUL-terminated path.
SD_STATUS SDGetCrashRecord(SDMGT_HANDLE handle, const char* fileName);

// --- iSNS discovery ---------------------------------------------------------

// Reads the iSNS discovery configuration.
SD_STATUS SDGet_iSNSDiscoveryConfig(SDMGT_HANDLE handle, SDM_ISNS_CONFIG* config);
// Writes the iSNS discovery configuration (the record is passed by value).
SD_STATUS SDSet_iSNSDiscoveryConfig(SDMGT_HANDLE handle, SDM_ISNS_CONFIG config);
// Reads the targets found through iSNS into a buffer of bufferSize bytes; *count receives their number.
SD_STATUS SDGetAlliSNSDiscoveredTargets(SDMGT_HANDLE handle, uint32_t* count,
                                        SDM_ISNS_DISCOVERED_TARGET* buffer, uint32_t bufferSize);

// --- IPsec security ---------------------------------------------------------

// Reads the security policy table; *numEntries holds the capacity going in and the policies in use coming out.
SD_STATUS SDGetSecurityPolicyTable(SDMGT_HANDLE handle, SECURITYPOLICY* table, uint32_t* numEntries);
// Writes numEntries policies; flag is always 1 here.
SD_STATUS SDSetSecurityPolicyTable(SDMGT_HANDLE handle, SECURITYPOLICY* table, uint32_t numEntries,
                                   uint32_t flag);
// Reads the security engine's information.
SD_STATUS SDGetSecurityInfo(SDMGT_HANDLE handle, SECINFO* info);
// Reads the security engine's general statistics.
SD_STATUS SDGetSecurityStatsGen(SDMGT_HANDLE handle, HBASECURITYSTATS* stats);
// Reads all IKE security associations; *count receives their number.
SD_STATUS SDGetAllIKESAStatsDetails(SDMGT_HANDLE handle, IKESA* array, uint32_t* count);
// Number of IPsec security associations of the policy with that priority.
SD_STATUS SDGetIPsecSACountForPolicy(SDMGT_HANDLE handle, uint32_t priority, uint32_t* count);
// Reads `count` IPsec security associations of the policy with that priority.
SD_STATUS SDGetIPsecSAStatsDetails(SDMGT_HANDLE handle, uint32_t priority, uint32_t count, IPSECSA* array);
// Flushes security associations.
SD_STATUS SDFlushSAs(SDMGT_HANDLE handle, uint32_t index);

// --- Boot configuration -----------------------------------------------------

// Reads the boot code settings.
SD_STATUS SDGetBootcodeInfo(SDMGT_HANDLE handle, SDMBOOTCODE* bootcode);
// Writes the boot code settings.
SD_STATUS SDSetBootcodeInfo(SDMGT_HANDLE handle, SDMBOOTCODE* bootcode);
// Reads the boot code's DHCP settings.
SD_STATUS SDGetBootcodeDhcp(SDMGT_HANDLE handle, BOOTCODEDHCP* dhcp);
// Writes the boot code's DHCP settings.
SD_STATUS SDSetBootcodeDhcp(SDMGT_HANDLE handle, BOOTCODEDHCP* dhcp);
// Erases the boot code from flash.
SD_STATUS SDEraseBootCode(SDMGT_HANDLE handle);

// --- Diagnostics and maintenance --------------------------------------------

// Pings an address from the adapter.
SD_STATUS SDDiagPing(SDMGT_HANDLE handle, PING* ping);
// Runs one loopback test in the given mode.
SD_STATUS SDPerformLoopBackTest(SDMGT_HANDLE handle, uint32_t mode);
// Reads the vital product data (VendorID is set by the caller).
SD_STATUS SDGetVPDInfo(SDMGT_HANDLE handle, VPD_INFO* vpd);
// Writes a firmware or boot code image from the file at path to flash.
SD_STATUS SDUpdateiSCSIFW(SDMGT_HANDLE handle, const char* path, uint16_t type);

}  // extern "C"

#endif  // SDM_SDM_API_H
