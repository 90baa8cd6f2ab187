// Adapter inventory: portal, node, driver and chip properties, and the whole
// adapter read by getiSCSIHBAData (with every valid device database entry,
// the firmware block, the adapter alias and TCP window).
#include <cstdio>
#include <cstring>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "ddb_entries.h"
#include "firmware_block.h"
#include "jni_agent_shared.h"
#include "jni_support.h"
#include "marshal.h"
#include "toolkit.h"

using namespace dvh;
using marshal::Conv;
using marshal::Field;
using marshal::M;
using marshal::Msg;

namespace {

constexpr const char* kGenericMissing = "GetMethodID call failed!\n";

using PP = HBAISCSIPORTAL;

// flowControlDuplexLinkSpeed: bit 14 flow control, bits 12-13 duplex, bits 8-11 link speed.
uint16_t linkBits(const uint8_t* portal)
{
    uint16_t bits;
    std::memcpy(&bits, portal + offsetof(PP, flowControlDuplexLinkSpeed), sizeof bits);
    return bits;
}
jint duplexOf(const uint8_t* portal)
{
    uint16_t duplex = linkBits(portal) & 0x3000;
    if (duplex == 0)
        return -1;
    return duplex == 0x2000 ? 1 : 0;
}
jint linkSpeedOf(const uint8_t* portal) { return (linkBits(portal) & 0x0F00) >> 8; }

constexpr Field kFirmwareInfo[] = {
    M("setFirmwareAttribute", DVH_FIELD(PP, FWAttr), Conv::SetInt).message(kGenericMissing),
    M("setiSCSIVersion", DVH_FIELD(PP, iscsiVersion), Conv::SetText).message(kGenericMissing)
        .nullString("NULL iSCSI version!\n"),
    M("setOptRomVersion", DVH_FIELD(PP, OptRomVersion), Conv::SetText).message(kGenericMissing)
        .nullString("NULL OptROM version!\n"),
    M("setFirmwareVersion", DVH_FIELD(PP, FWVersion), Conv::SetText).message(kGenericMissing)
        .nullString("NULL FW version!\n"),
    M("setChipModel", DVH_FIELD(PP, Model), Conv::SetText).message(kGenericMissing)
        .nullString("NULL Model version!\n"),
};

constexpr Field kDriverInfo[] = {
    M("setDriverVersion", DVH_FIELD(DRIVERINFO, Version), Conv::SetText).message(kGenericMissing)
        .nullString("NULL Driver String!\n"),
    M("setDriverAttribute", DVH_FIELD(DRIVERINFO, Attributes), Conv::SetInt).message(kGenericMissing),
};

constexpr Field kChipBoard[] = {
    M("setBoardModel", DVH_FIELD(CHIPINFO, BoardType), Conv::SetText).message(kGenericMissing)
        .nullString("NULL Board Model !\n"),
};
constexpr Field kChipVersion[] = {
    M("setChipVersion", DVH_FIELD(CHIPINFO, ChipVersion), Conv::SetInt, Msg::Obj),
};

// getiSCSIHBAData, steps 1 to 17, in this order.
constexpr Field kAdapterProperties[] = {
    M("setNumberDiskTargets", DVH_FIELD(PP, DiscTargetCount), Conv::SetInt).message(kGenericMissing),
    M("setMACAddress", DVH_FIELD(PP, MacAddr), Conv::SetShorts),
    M("setState", DVH_FIELD(PP, State), Conv::SetInt).message(kGenericMissing),
    M("setDhcpState", DVH_FIELD(PP, dhcpState), Conv::SetInt).message(kGenericMissing),
    M("setLinkStatus", DVH_FIELD(PP, linkStatus), Conv::SetInt).message("GetMethodID call failed! Line 1957\n"),
    M("setFlowControl", DVH_FIELD(PP, flowControlDuplexLinkSpeed), Conv::SetBool)
        .message("GetMethodID call failed! Line 1966\n")
        .mask(0x4000),
    M("setDuplex", DVH_FIELD(PP, flowControlDuplexLinkSpeed), Conv::SetIntComputed)
        .message("GetMethodID call failed! Line 1978\n")
        .computed(duplexOf),
    M("setLinkSpeed", DVH_FIELD(PP, flowControlDuplexLinkSpeed), Conv::SetIntComputed)
        .message("GetMethodID call failed! Line 1992\n")
        .computed(linkSpeedOf),
    M("setType", DVH_FIELD(PP, Type), Conv::SetInt).message(kGenericMissing),
    M("setDriverAttribute", DVH_FIELD(PP, DriverAttr), Conv::SetInt).message(kGenericMissing),
    M("setFirmwareAttribute", DVH_FIELD(PP, FWAttr), Conv::SetInt).message(kGenericMissing),
    M("setDriverVersion", DVH_FIELD(PP, DriverVersion), Conv::SetText).message(kGenericMissing)
        .nullString("NULL driver version!\n"),
    M("setFirmwareVersion", DVH_FIELD(PP, FWVersion), Conv::SetText).message(kGenericMissing)
        .nullString("NULL FW version!\n"),
    M("setManufacturer", DVH_FIELD(PP, Manufacturer), Conv::SetText).message(kGenericMissing)
        .nullString("NULL Manufacture version!\n"),
    M("setChipModel", DVH_FIELD(PP, Model), Conv::SetText).message(kGenericMissing)
        .nullString("NULL chip model!\n"),
    M("setOptRomVersion", DVH_FIELD(PP, OptRomVersion), Conv::SetText).message(kGenericMissing)
        .nullString("NULL ROM version!\n"),
    M("setSerialNumberStr", DVH_FIELD(PP, SerialNum), Conv::SetText).message(kGenericMissing)
        .nullString("NULL Serial Number!\n"),
};

// The adapter-level alias and TCP window, read after the firmware block.
struct AdapterLevel {
    char alias[65];
    uint16_t window;
};
constexpr Field kAdapterAlias[] = {
    M("setHBA_Level_Alias", DVH_FIELD(AdapterLevel, alias), Conv::SetText).message(kGenericMissing)
        .nullString("NULL HBA Level Alias!\n"),
};
// Called by hand: its trace line comes between the lookup and the call.
constexpr marshal::Method kSetTcpWindow = marshal::method("setHBA_Level_TCPMaxWindowSize", "(I)V");

static_assert(marshal::validTable(kFirmwareInfo) && marshal::validTable(kDriverInfo) &&
                  marshal::validTable(kChipBoard) && marshal::validTable(kChipVersion) &&
                  marshal::validTable(kAdapterProperties) && marshal::validTable(kAdapterAlias),
              "adapter property accessor tables");

constexpr uint32_t kLastDDBIndex = 511;
constexpr marshal::Method kAddDDBEntry =
    marshal::method("addDeviceDataBaseEntry", "(Lcom/norvik/dvh/iscsi/model/DevDBEntry;)V", Msg::Obj);

jint setChipInfo(JNIEnv* env, jobject jObj, const CHIPINFO* chip)
{
    if (!jObj) {
        std::printf("NULL javaChipInfoObject!2\n");
        return kStatusOk;
    }
    LocalRef<jclass> cls = objectClass(env, jObj);
    jint status = marshal::toJava(env, jObj, cls.get(), chip, kChipBoard);
    if (status == kStatusOk)
        status = marshal::toJava(env, jObj, cls.get(), chip, kChipVersion);
    return thrownOnly(status);
}

// Target list of the adapter with this handle, rebuilt from the device
// database while it is read. A change of the registry since the list was
// emptied here sends every add through the registry's search again, so a
// concurrent close never leaves a dangling adapter here. The targets of the
// old list are kept aside and reused (cleared, as new ones would be) rather
// than freed and allocated again one by one; those left over are freed at the
// end.
class TargetListRebuild {
public:
    explicit TargetListRebuild(SDMGT_HANDLE handle) : handle_(handle)
    {
        RegistryLock lock;
        SDMHba* hba = FindHbaDeviceInHbaList(handle_);
        if (!hba) {
            CoreLogMessageShared(kLogWarning,
                                 "getiSCSIHBAData: NULL Local List HBA, Unable to Add Target to Local List");
            return;
        }
        listed_ = true;
        spare_ = hba->TargetList.firstTarget;
        InitTargetList(hba);
        hba_ = hba;
        edits_ = RegistryEdits();
        CoreLogMessageShared(kLogInfo, "getiSCSIHBAData: Initializing Target list for HBA with SDM ID=%d, Java ID=%d",
                             hba->HbaHandle, hba->HbaNumber);
    }
    ~TargetListRebuild()
    {
        while (spare_) {
            SDMTarget* next = spare_->next;
            DeleteTarget(spare_);
            spare_ = next;
        }
    }
    TargetListRebuild(const TargetListRebuild&) = delete;
    TargetListRebuild& operator=(const TargetListRebuild&) = delete;

    void add(uint32_t index, uint32_t state)
    {
        if (!listed_)
            return;
        RegistryLock lock;
        // Unchanged edits: the adapter seen when the list was emptied is still listed.
        const bool unchanged = RegistryEdits() == edits_;
        SDMHba* hba = unchanged ? hba_ : FindHbaDeviceInHbaList(handle_);
        SDMTarget* target = hba ? newTarget() : nullptr;
        if (!target)
            return;
        target->TargetID = index;
        target->State = state;
        // While the list holds only the targets added here, in rising ID
        // order, the new ID cannot be in it: append without the search.
        if (unchanged && (!added_ || lastId_ < index)) {
            AppendTargetToTargetList(hba, target);
            lastId_ = index;
            added_ = true;
        } else if (AddTargetToTargetList(hba, target) != 0) {
            DeleteTarget(target);
        }
        CoreLogMessageShared(kLogInfo, "getiSCSIHBAData: Add Local AEN Ref Target ID=%d, Device State=%d", index,
                             state);
    }

private:
    // A cleared target: one of the old list's, or a new one.
    SDMTarget* newTarget()
    {
        if (!spare_)
            return CreateNewTarget();
        SDMTarget* target = spare_;
        spare_ = target->next;
        std::memset(static_cast<void*>(target), 0, sizeof *target);
        // The next spare's link sits at the end of a cold kilobyte: fetched
        // now, it is at hand when the next entry (a few microseconds of
        // Java calls later) takes it.
        if (spare_)
            __builtin_prefetch(&spare_->next);
        return target;
    }

    SDMGT_HANDLE handle_;
    bool listed_ = false;
    SDMHba* hba_ = nullptr;         // valid while the registry's edits stay edits_
    uint64_t edits_ = 0;            // the registry's edits when the list was emptied here
    SDMTarget* spare_ = nullptr;    // the old list's targets not reused yet (owned)
    uint32_t lastId_ = 0;
    bool added_ = false;
};

// Step 5 of getiSCSIHBAData: every valid entry as a DevDBEntry on the
// adapter object. Returns 0 or the status that ends the method; ORs the
// library statuses into `accumulated`.
jint readDeviceDatabase(JNIEnv* env, jobject jObj, jclass hbaClass, SDMGT_HANDLE handle, uint32_t count,
                        SD_STATUS& accumulated)
{
    LocalRef<jclass> ddbClass = modelClass(env, "DevDBEntry");
    if (!ddbClass) {
        std::printf("Find Device class call failed!\n");
        return kStatusClassNotFound;
    }
    TargetListRebuild targets(handle);
    // Every entry is made from ddbClass: its identifiers, and those of its
    // parts' classes, are resolved once for the whole database.
    DDBClasses classes(env, ddbClass.get());
    marshal::ClassIds hba(env, hbaClass);

    uint32_t made = 0;
    for (uint32_t index = 0; index <= kLastDDBIndex;) {
        DEVICEENTRYISCSI entry{};
        if (made == count)
            break;
        SD_STATUS status = SDGetDDBEntry(handle, &entry, index);
        accumulated |= status;
        std::printf("\n** Getting HBA Port DDB Data From HBA[handle]=%d, DDBIndex=%d ***** \n", handle, index);
        if (status != 0)
            std::printf("SDGetDDBEntry call failed! %x\n", status);

        if (entry.DeviceState != 0) {
            LocalRef<jobject> devObj = marshal::newObject(env, classes.entry);
            if (!devObj) {
                std::printf("New Device Object failed!\n");
                return kStatusNullObject;
            }
            // setiSCSIDevDDBEntry without its class check: the object was made from that class.
            jint filled = fillDevDBEntry(env, devObj.get(), classes, &entry, static_cast<jint>(made), 0);
            if (filled != kStatusOk) {
                if (filled == kStatusJavaThrew)
                    return filled;
                std::printf("setiSCSIDevDDBEntry() failed!\n");
                return kStatusNullObject;
            }
            targets.add(index, entry.DeviceState);
            DVH_TRY(marshal::callVoid(env, jObj, hba, kAddDDBEntry, devObj.get()));
            ++made;
        }
        uint32_t next = entry.NextValid;
        index = (next > index && next <= kLastDDBIndex) ? next : index + 1;
    }
    return kStatusOk;
}

jint getiSCSIHBADataShared(JNIEnv* env, jobject self, jint dev, jobject jObj)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jObj) {
        std::printf("NULL Java Obj!\n");
        return kStatusNullObject;
    }
    SDMGT_HANDLE handle = handleAt(dev);
    SD_STATUS accumulated = 0;

    HBAISCSIPORTAL portal{};
    SD_STATUS status = SDGetHbaDevicePortalPropertyiSCSI(handle, 0, &portal);
    accumulated |= status;
    if (status != 0) {
        std::printf("SDGetHbaDevicePortalPropertyiSCSI call failed!\n");
        return static_cast<jint>(accumulated);
    }
    LocalRef<jclass> cls = objectClass(env, jObj);
    jint walk = marshal::toJava(env, jObj, cls.get(), &portal, kAdapterProperties);
    if (walk != kStatusOk)
        return walk;

    uint32_t count = 0;
    status = SDGetDDBEntryNum(handle, &count);
    accumulated |= status;
    if (status != 0)
        std::printf("SDGetDDB call failed!\n");
    if (count != 0) {
        jint database = readDeviceDatabase(env, jObj, cls.get(), handle, count, accumulated);
        if (database != kStatusOk)
            return database;
    }

    jint firmware = getFWData(env, self, dev, jObj);
    if (thrown(env))
        return kStatusJavaThrew;
    accumulated |= static_cast<SD_STATUS>(firmware);

    AdapterLevel level{};
    status = SDGetHBAAlias(handle, level.alias);
    accumulated |= status;
    if (status != 0)
        std::printf("SDGetHBAAlias failed (0x%x) (%s)", status, SdmErrorText(status));
    walk = marshal::toJava(env, jObj, cls.get(), &level, kAdapterAlias);
    if (walk != kStatusOk)
        return walk;

    // Its status is deliberately left out of the result.
    SDGetTCPMaxWindowSize(handle, &level.window);
    jmethodID setWindow = nullptr;
    walk = marshal::resolve(env, cls.get(), kSetTcpWindow, setWindow);
    if (walk != kStatusOk)
        return walk;
    std::printf("HBA level TCP max window size=%u (0x%x)\n", level.window, level.window);
    env->CallVoidMethod(jObj, setWindow, static_cast<jint>(level.window));
    if (thrown(env))
        return kStatusJavaThrew;
    return static_cast<jint>(accumulated);
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSIHBAData(JNIEnv* env, jobject obj, jint dev,
                                                                                jobject jObj)
{
    return getiSCSIHBADataShared(env, obj, dev, jObj);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSIFWInfo(JNIEnv* env, jobject, jint dev,
                                                                               jobject jObj)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jObj) {
        std::printf("NULL Java Obj!\n");
        return kStatusNullObject;
    }
    LocalRef<jclass> cls = objectClass(env, jObj);
    HBAISCSIPORTAL portal{};
    SD_STATUS status = SDGetHbaDevicePortalPropertyiSCSI(handleAt(dev), 0, &portal);
    if (status != 0) {
        std::printf("SDGetHbaDevicePortalPropertyiSCSI call failed! %x\n", status);
        return static_cast<jint>(status);
    }
    return marshal::toJava(env, jObj, cls.get(), &portal, kFirmwareInfo);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSIDriverInfo(JNIEnv* env, jobject, jint dev,
                                                                                   jobject jObj)
{
    if (!jObj) {
        std::printf("NULL Java Obj!\n");
        return kStatusNullObject;
    }
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    DRIVERINFO driver{};
    SD_STATUS status = SDGetHbaDeviceDriverPropertyiSCSI(handleAt(dev), &driver);
    if (status != 0) {
        std::printf("SDGetHbaDeviceDriverPropertyiSCSI call failed! %x\n", status);
        return static_cast<jint>(status);
    }
    LocalRef<jclass> cls = objectClass(env, jObj);
    return marshal::toJava(env, jObj, cls.get(), &driver, kDriverInfo);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSIAdapterInfo(JNIEnv* env, jobject, jint dev,
                                                                                    jobject jObj)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jObj) {
        std::printf("NULL javaHBAObject!\n");
        return kStatusNullObject;
    }
    HBAISCSINODE node{};
    SD_STATUS status = SDGetHbaDeviceNodePropertyiSCSI(handleAt(dev), &node);
    if (status != 0) {
        std::printf("SDGetHbaDeviceNodePropertyiSCSI call failed! %x\n", status);
        return static_cast<jint>(status);
    }
    NODEINFOISCSI info;
    std::memcpy(&info, &node.NodeInfoISCSI, sizeof info);
    setNodeInfo(env, jObj, &info);
    return 0;
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getChipInfo(JNIEnv* env, jobject, jint dev,
                                                                            jobject jHba)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jHba) {
        std::printf("NULL javaHBAObject!\n");
        return kStatusNullObject;
    }
    CHIPINFO chip{};
    SD_STATUS status = SDGetHbaDeviceChipPropertyiSCSI(handleAt(dev), &chip);
    if (status != 0)
        std::printf("SDGetHbaDeviceChipPropertyiSCSI call failed!\n");
    else
        setChipInfo(env, jHba, &chip);
    return static_cast<jint>(status);
}

}  // extern "C"
