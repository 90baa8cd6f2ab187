// Records of the device-management library (libizksdm.so), byte for byte.
// Work in progress: the records are declared here first and defined field by field below.
#ifndef SDM_SDM_RECORDS_H
#define SDM_SDM_RECORDS_H

#include <cstddef>
#include <cstdint>

typedef uint32_t SDMGT_HANDLE;
typedef uint32_t SD_STATUS;

struct ISCSIIPADDR;
typedef ISCSIIPADDR EXT_ISCSI_IP_ADDR;
struct ASYNC_EVENT;
struct HBAISCSIPORTAL;
struct HBAISCSINODE;
struct DRIVERINFO;
struct CHIPINFO;
struct INITFWISCSI;
struct HBARESET;
struct DEVICEENTRYISCSI;
struct LOGOUTISCSI;
struct CHAPTABLE;
struct TARGETINFORMATION;
struct DISCISCSINODE;
struct DISCISCSIPORTAL;
struct SD_CAPACITY_INFO_STRUC;
struct HBAPORTSTATISCSI;
struct HBAPORTSTATISCSIEXTEND;
struct HBAPORTSTATGEN;
struct SDM_ISNS_CONFIG;
struct SDM_ISNS_DISCOVERED_TARGET;
struct SECURITYPOLICY;
struct SECINFO;
struct HBASECURITYSTATS;
struct IKESA;
struct IPSECSA;
struct SDMBOOTCODE;
struct BOOTCODEDHCP;
struct PING;
struct VPD_INFO;

#endif  // SDM_SDM_RECORDS_H
