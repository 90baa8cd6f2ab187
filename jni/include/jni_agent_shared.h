// Shared agent services: the registry of open adapters and their targets,
// the diagnostic log and the allocation wrappers.
//
// Everything here may be entered from several Java threads at once. The log
// and the allocation wrappers keep no state. The registry is one process-wide
// list guarded by a recursive mutex: every routine below takes it itself, and
// a caller that keeps a pointer returned by a Find... routine (or walks a
// list) holds a RegistryLock for as long as it uses that pointer.
#ifndef DVH_JNI_AGENT_SHARED_H
#define DVH_JNI_AGENT_SHARED_H

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "sdm/sdm_api.h"

// ---------------------------------------------------------------------------
// Diagnostic log
// ---------------------------------------------------------------------------

enum : int32_t {
    kLogInfo = 1,
    kLogWarning = 2,
    kLogError = 3,
    kLogDebug = 100,
};

extern const char* const g_strMessageTypeInfo;
extern const char* const g_strMessageTypeWarning;
extern const char* const g_strMessageTypeError;
extern const char* const g_strMessageTypeDebug;
extern const char* const g_strMessageTypeUnknown;

// Formats the message and writes "<Word>: <message>\r\n" to standard output.
// Always returns 0.
int32_t CoreLogMessageShared(int32_t messageType, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
int32_t OSSLogMessageShared(int32_t messageType, const char* message);
const char* TranslateMessageTypeToStringShared(int32_t messageType);

// Text of a library status for messages; never null.
const char* SdmErrorText(SD_STATUS status);

// ---------------------------------------------------------------------------
// Allocation wrappers (both families behave the same)
// ---------------------------------------------------------------------------

void* CoreMalloc(size_t size);
void* CoreZMalloc(size_t size);
void CoreFree(void* block);
void* CoreMallocShared(size_t size);
void* CoreZMallocShared(size_t size);
void CoreFreeShared(void* block);

// ---------------------------------------------------------------------------
// Registry of adapters and targets
// ---------------------------------------------------------------------------

struct SDMHba;
struct SDMTarget;
struct SDMLun;

struct SDMTargetList {
    uint32_t count;
    SDMTarget* firstTarget;
    SDMTarget* lastTarget;
};

struct SDMLunList {
    uint32_t count;
    SDMLun* firstLun;
    SDMLun* lastLun;
};

struct SDMHba {
    int32_t HbaStatus;
    SDMGT_HANDLE HbaHandle;
    uint32_t HbaNumber;
    SDMTargetList TargetList;
    SDMHba* next;
    SDMHba* prev;
};

struct SDMHbaList {
    uint32_t count;
    SDMHba* firstHba;
    SDMHba* lastHba;
};

// Bit of TargetAbilityFlags: the WWULN can be read with INQUIRY page 0x83.
constexpr uint32_t kTargetAbilityWwulnInquiry = 0x40000000u;

struct SDMTarget {
    uint32_t TargetID;
    uint32_t State;
    DISCISCSINODE TargetProperty;
    DEVICEENTRYISCSI DeviceEntry;
    uint32_t TargetFlags;
    uint16_t TargetBaseLunNumber;
    uint8_t TargetInquiryHeader[8];
    uint8_t TargetVendorID[8];
    uint8_t TargetProductID[16];
    uint8_t TargetRevision[4];
    uint32_t TargetAbilityFlags;
    uint32_t TargetWWULNOffset;
    SDMTarget* next;
    SDMTarget* prev;
};

struct SDMLun {
    uint16_t LunID;
    uint8_t LunData;
    uint8_t LunNewData;
    uint8_t LunHasPhysicalPath;
    uint8_t LunPhysicalPath;
    uint8_t LunInquiryHeader[8];
    uint8_t LunVendorID[8];
    uint8_t LunProductID[16];
    uint8_t LunRevision[4];
    uint8_t LunIsCurrentPath;
    uint32_t LunMaxLogicalBlockAddress;
    uint32_t LunBytesPerBlock;
    uint32_t LunOSSDeviceNumber;
    uint8_t LunOSSDeviceName[256];
    uint32_t LunOSSRaidType;
    uint32_t LunOSSNumberOfPartitions;
    uint8_t WWULN[8];
    SDMLun* next;
    SDMLun* prev;
};

#if defined(__i386__)
static_assert(sizeof(SDMHba) == 32, "SDMHba is 32 bytes on i386");
static_assert(sizeof(SDMTarget) == 1020, "SDMTarget is 1020 bytes on i386");
#endif

extern SDMHbaList g_HbaList;

// The registry's lock. Recursive, so a holder may call every routine below.
std::recursive_mutex& RegistryMutex();
class RegistryLock {
public:
    RegistryLock() : lock_(RegistryMutex()) {}
private:
    std::lock_guard<std::recursive_mutex> lock_;
};

void InitHbaList();
SDMHbaList* GetHbaList();
SDMHba* CreateNewHba();
int32_t DeleteHba(SDMHba* hba);
int32_t AddHbaToHbaList(SDMHba* pNewHba);
int32_t RemoveAllHbasFromHbaList();
SDMHba* FindHbaInHbaList(const SDMHba* pHbaToFind);
SDMHba* FindHbaDeviceInHbaList(SDMGT_HANDLE hbaToFindHandle);

void InitTargetList(SDMHba* pHba);
SDMTarget* CreateNewTarget();
int32_t DeleteTarget(SDMTarget* target);
int32_t AddTargetToTargetList(SDMHba* pToHba, SDMTarget* pNewTarget);
// Appends without looking for a target of the same ID: for a caller that
// knows there is none (the caller holds the RegistryLock).
void AppendTargetToTargetList(SDMHba* pToHba, SDMTarget* pNewTarget);
// Counts every change of the registry's lists except those appends; a caller
// holding the RegistryLock that sees it unchanged knows nobody else changed
// a list since it last looked.
uint64_t RegistryEdits();
int32_t RemoveAllTargetsFromTargetList(SDMHba* pFromHba);
SDMTarget* FindTargetInTargetList(SDMHba* pFromDevice, const SDMTarget* pTargetToFind);
SDMTarget* FindTargetIdInTargetList(SDMHba* pFromDevice, uint32_t targetIdToFind);

// Vendor-specific WWULN parameters of a target, and the WWULN of one LUN read
// with INQUIRY page 0x83. Both return 0.
int32_t UpdateTargetWithOEMParametersShared(SDMHba* queryDevice, SDMTarget* queryTarget);
int32_t RetrieveWWULunNumberForLunShared(SDMHba* queryDevice, SDMTarget* queryTarget, SDMLun* queryLun);

// Library status meaning the SCSI command ended with sense data.
constexpr SD_STATUS kSdStatusCheckCondition = 0x20000040u;

#endif  // DVH_JNI_AGENT_SHARED_H
