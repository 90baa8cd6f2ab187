// Registry of open adapters and of the targets of each adapter's device
// database, and the WWULN query that works on its records.
#include <cstdio>
#include <cstring>

#include "jni_agent_shared.h"

SDMHbaList g_HbaList = {};

std::recursive_mutex& RegistryMutex()
{
    static std::recursive_mutex mutex;
    return mutex;
}

// ---------------------------------------------------------------------------
// Adapter list
// ---------------------------------------------------------------------------

void InitHbaList()
{
    RegistryLock lock;
    g_HbaList = SDMHbaList{};
}

SDMHbaList* GetHbaList() { return &g_HbaList; }

namespace {
uint64_t gRegistryEdits = 0;  // guarded by the registry lock
void edited()
{
    RegistryLock lock;
    ++gRegistryEdits;
}
}  // namespace

uint64_t RegistryEdits()
{
    RegistryLock lock;
    return gRegistryEdits;
}

SDMHba* CreateNewHba()
{
    auto* hba = static_cast<SDMHba*>(CoreZMallocShared(sizeof(SDMHba)));
    if (hba)
        InitTargetList(hba);
    return hba;
}

int32_t DeleteHba(SDMHba* hba)
{
    if (!hba)
        return -1;
    RemoveAllTargetsFromTargetList(hba);
    edited();
    CoreFreeShared(hba);
    return 0;
}

int32_t AddHbaToHbaList(SDMHba* pNewHba)
{
    // A record that could not be allocated is never listed.
    if (!pNewHba)
        return -1;
    RegistryLock lock;
    if (FindHbaInHbaList(pNewHba))
        return -1;
    pNewHba->next = nullptr;
    pNewHba->prev = g_HbaList.lastHba;
    if (g_HbaList.lastHba)
        g_HbaList.lastHba->next = pNewHba;
    else
        g_HbaList.firstHba = pNewHba;
    g_HbaList.lastHba = pNewHba;
    g_HbaList.count++;
    edited();
    return 0;
}

int32_t RemoveAllHbasFromHbaList()
{
    RegistryLock lock;
    SDMHba* hba = g_HbaList.firstHba;
    while (hba) {
        SDMHba* next = hba->next;
        DeleteHba(hba);
        hba = next;
    }
    InitHbaList();
    return 0;
}

SDMHba* FindHbaInHbaList(const SDMHba* pHbaToFind)
{
    if (!pHbaToFind)
        return nullptr;
    return FindHbaDeviceInHbaList(pHbaToFind->HbaHandle);
}

SDMHba* FindHbaDeviceInHbaList(SDMGT_HANDLE hbaToFindHandle)
{
    RegistryLock lock;
    for (SDMHba* hba = g_HbaList.firstHba; hba; hba = hba->next) {
        if (hba->HbaHandle == hbaToFindHandle)
            return hba;
    }
    return nullptr;
}

// ---------------------------------------------------------------------------
// Target list of one adapter
// ---------------------------------------------------------------------------

void InitTargetList(SDMHba* pHba)
{
    if (!pHba)
        return;
    RegistryLock lock;
    edited();
    pHba->TargetList = SDMTargetList{};
}

SDMTarget* CreateNewTarget()
{
    return static_cast<SDMTarget*>(CoreZMallocShared(sizeof(SDMTarget)));
}

int32_t DeleteTarget(SDMTarget* target)
{
    if (!target)
        return -1;
    CoreFreeShared(target);
    return 0;
}

int32_t AddTargetToTargetList(SDMHba* pToHba, SDMTarget* pNewTarget)
{
    if (!pToHba || !pNewTarget)
        return -1;
    RegistryLock lock;
    if (FindTargetInTargetList(pToHba, pNewTarget))
        return -1;
    edited();
    AppendTargetToTargetList(pToHba, pNewTarget);
    return 0;
}

void AppendTargetToTargetList(SDMHba* pToHba, SDMTarget* pNewTarget)
{
    SDMTargetList& list = pToHba->TargetList;
    pNewTarget->next = nullptr;
    pNewTarget->prev = list.lastTarget;
    if (list.lastTarget)
        list.lastTarget->next = pNewTarget;
    else
        list.firstTarget = pNewTarget;
    list.lastTarget = pNewTarget;
    list.count++;
}

int32_t RemoveAllTargetsFromTargetList(SDMHba* pFromHba)
{
    if (!pFromHba)
        return 0;
    RegistryLock lock;
    SDMTarget* target = pFromHba->TargetList.firstTarget;
    while (target) {
        SDMTarget* next = target->next;
        DeleteTarget(target);
        target = next;
    }
    InitTargetList(pFromHba);
    return 0;
}

SDMTarget* FindTargetInTargetList(SDMHba* pFromDevice, const SDMTarget* pTargetToFind)
{
    if (!pTargetToFind)
        return nullptr;
    return FindTargetIdInTargetList(pFromDevice, pTargetToFind->TargetID);
}

SDMTarget* FindTargetIdInTargetList(SDMHba* pFromDevice, uint32_t targetIdToFind)
{
    if (!pFromDevice)
        return nullptr;
    RegistryLock lock;
    for (SDMTarget* target = pFromDevice->TargetList.firstTarget; target; target = target->next) {
        if (target->TargetID == targetIdToFind)
            return target;
    }
    return nullptr;
}

// ---------------------------------------------------------------------------
// OEM adjustment and WWULN query
// ---------------------------------------------------------------------------

int32_t UpdateTargetWithOEMParametersShared(SDMHba* queryDevice, SDMTarget* queryTarget)
{
    if (!queryTarget)
        return 0;
    queryTarget->TargetWWULNOffset = 8;
    queryTarget->TargetAbilityFlags |= kTargetAbilityWwulnInquiry;
    // This storage model's WWULN is not read through INQUIRY.
    if (std::memcmp(queryTarget->TargetVendorID, "DELL", 4) == 0 &&
        std::memcmp(queryTarget->TargetProductID, "PV660", 5) == 0) {
        queryTarget->TargetAbilityFlags &= ~kTargetAbilityWwulnInquiry;
    }
    return 0;
}

namespace {
constexpr size_t kWwulnDataSize = 64;
constexpr size_t kWwulnSenseSize = 320;
constexpr size_t kWwulnSize = 8;
}  // namespace

int32_t RetrieveWWULunNumberForLunShared(SDMHba* queryDevice, SDMTarget* queryTarget, SDMLun* queryLun)
{
    if (!queryDevice || !queryTarget || !queryLun)
        return 0;
    if (!(queryTarget->TargetAbilityFlags & kTargetAbilityWwulnInquiry))
        return 0;

    uint8_t cdb[6] = {0x12, 0x01, 0x83, 0x00, 0x40, 0x00};
    uint8_t data[kWwulnDataSize] = {};
    uint8_t sense[kWwulnSenseSize] = {};
    TARGETINFORMATION& address = queryTarget->TargetProperty.TargetInfo;

    SD_STATUS status = SDSendScsiPassThruiSCSI(queryDevice->HbaHandle, &address, cdb, sizeof cdb, nullptr, 0,
                                               data, sizeof data, sense, sizeof sense);

    if (status == 0 && data[1] == 0x83) {
        // The identifier is copied from inside the response only; an offset
        // that runs past the response leaves the rest of the WWULN zero.
        uint32_t offset = queryTarget->TargetWWULNOffset;
        std::memset(queryLun->WWULN, 0, kWwulnSize);
        if (offset < kWwulnDataSize) {
            size_t n = kWwulnDataSize - offset < kWwulnSize ? kWwulnDataSize - offset : kWwulnSize;
            std::memcpy(queryLun->WWULN, data + offset, n);
        }
        const uint8_t* w = queryLun->WWULN;
        CoreLogMessageShared(kLogInfo,
                             "WWULN on HBA[%d]-TID=%d, B:%d T:%d L:%d, Offset=%d, "
                             "WWULN=%x-%x-%x-%x-%x-%x-%x-%x  Sense Key:0x%x, asc:0x%x, ascq:0x%x.",
                             queryDevice->HbaHandle, queryTarget->DeviceEntry.TargetID, address.BusNumber,
                             address.TargetID, address.LUN, offset, w[0], w[1], w[2], w[3], w[4], w[5], w[6],
                             w[7], sense[2], sense[12], sense[13]);
        std::printf("LUN Data\n");
        return 0;
    }

    if (status != kSdStatusCheckCondition) {
        CoreLogMessageShared(kLogDebug, "Unable to issue WWULN inquiry command (0x%x) (%s)", status,
                             SdmErrorText(status));
        return 0;
    }

    if (sense[2] == 5 && sense[12] == 0x24 && sense[13] == 0) {
        CoreLogMessageShared(kLogDebug, "Lun (%d) does not support WWULN via inquiry", queryLun->LunID);
        RegistryLock lock;
        queryTarget->TargetAbilityFlags &= ~kTargetAbilityWwulnInquiry;
        return 0;
    }
    CoreLogMessageShared(kLogDebug, "Unable to issue WWULN inquiry command (0x%x) (%s)", status,
                         SdmErrorText(status));
    CoreLogMessageShared(kLogDebug, "    Device id page sense key:  0x%x, asc:  0x%x, ascq:  0x%x", sense[2],
                         sense[12], sense[13]);
    return 0;
}
