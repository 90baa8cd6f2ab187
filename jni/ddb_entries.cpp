// Device database entries: DEVICEENTRYISCSI, NODEINFOISCSI and ISCSIDEVICE
// to and from the DevDBEntry, NodeInfo and DevEntry model objects, and the
// native methods that read, write, count and log out entries.
#include "ddb_entries.h"

#include <cstdio>
#include <cstring>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal.h"
#include "toolkit.h"

using namespace dvh;
using marshal::Conv;
using marshal::Field;
using marshal::M;
using marshal::Msg;

namespace {

// --- DEVICEENTRYISCSI -> DevDBEntry -----------------------------------------

using DE = DEVICEENTRYISCSI;

constexpr Field kDDBSessionId[] = {
    M("setInitiatorSessionID", DVH_FIELD(DE, InitiatorSessID), Conv::SetShorts),
};
constexpr Field kDDBIdentity[] = {
    M("setTargetID", DVH_FIELD(DE, TargetID), Conv::SetInt, Msg::Obj),
    M("setState", DVH_FIELD(DE, DeviceState), Conv::SetInt, Msg::Obj),
};
// setIndex takes the caller's index, not a record field.
struct IndexArgument {
    uint32_t value;
};
constexpr Field kDDBIndex[] = {
    M("setIndex", DVH_FIELD(IndexArgument, value), Conv::SetInt, Msg::Obj),
};
constexpr Field kDDBParams[] = {
    M("setMaxTxDataSegmentLen", DVH_FIELD(DE, MaxTxDataSegmentLen), Conv::SetInt, Msg::Obj),
    M("setDDBLink", DVH_FIELD(DE, DDBLink), Conv::SetInt, Msg::Obj),
    M("setChapIndex", DVH_FIELD(DE, CHAPTableIndex), Conv::SetInt, Msg::Obj),
    M("setOptions", DVH_FIELD(DE, Options), Conv::SetByte, Msg::Obj),
    M("setControl", DVH_FIELD(DE, Control), Conv::SetByte, Msg::Obj),
    M("setExeCount", DVH_FIELD(DE, exeCount), Conv::SetInt, Msg::Obj),
    M("setReservedFlags", DVH_FIELD(DE, ReservedFlags), Conv::SetInt, Msg::Obj),
    M("setTargetSessionID", DVH_FIELD(DE, TargetSessID), Conv::SetInt, Msg::Obj),
    M("setTargetPortalGroupID", DVH_FIELD(DE, TargetPortalGroupID), Conv::SetInt, Msg::Obj),
};

// --- DevDBEntry -> DEVICEENTRYISCSI (setDDBData) ----------------------------

constexpr Field kDDBFromJava[] = {
    M("getState", DVH_FIELD(DE, DeviceState), Conv::GetInt),
    M("getTargetID", DVH_FIELD(DE, TargetID), Conv::GetInt),
    M("getOptions", DVH_FIELD(DE, Options), Conv::GetByte),
    M("getExeCount", DVH_FIELD(DE, exeCount), Conv::GetInt),
    M("getControl", DVH_FIELD(DE, Control), Conv::GetByte),
    M("getTargetSessionID", DVH_FIELD(DE, TargetSessID), Conv::GetInt),
    M("getTargetPortalGroupID", DVH_FIELD(DE, TargetPortalGroupID), Conv::GetInt),
    M("getReservedFlags", DVH_FIELD(DE, ReservedFlags), Conv::GetInt),
    M("getInitiatorSessionID", DVH_FIELD(DE, InitiatorSessID), Conv::GetShorts),
    M("getMaxTxDataSegmentLen", DVH_FIELD(DE, MaxTxDataSegmentLen), Conv::GetInt),
    M("getDDBLink", DVH_FIELD(DE, DDBLink), Conv::GetInt),
    M("getChapIndex", DVH_FIELD(DE, CHAPTableIndex), Conv::GetInt),
};

// --- NODEINFOISCSI <-> NodeInfo ---------------------------------------------

using NI = NODEINFOISCSI;

constexpr Field kNodeNames[] = {
    M("setiSCSIName", DVH_FIELD(NI, iSCSIName), Conv::SetText).message("GetMethodID call failed!\n"),
    M("setAlias", DVH_FIELD(NI, Alias), Conv::SetText).message("GetMethodID call failed!\n"),
};
constexpr Field kNodePortalCount[] = {
    M("setPortalCount", DVH_FIELD(NI, PortalCount), Conv::SetInt),
};
// The names are copied whole as long as they fit their fields; longer ones
// are cut so that the field keeps its terminating zero.
constexpr Field kNodeNamesFromJava[] = {
    M("getiSCSIName", DVH_FIELD(NI, iSCSIName), Conv::GetText, Msg::Wide)
        .bound(sizeof(NI::iSCSIName) - 1),
    M("getAlias", DVH_FIELD(NI, Alias), Conv::GetText, Msg::Wide)
        .bound(sizeof(NI::Alias) - 1),
};
constexpr Field kNodePortalCountFromJava[] = {
    M("getPortalCount", DVH_FIELD(NI, PortalCount), Conv::GetInt),
};

// --- ISCSIDEVICE <-> DevEntry -----------------------------------------------

using DV = ISCSIDEVICE;

constexpr Field kDevEntryToJava[] = {
    M("setiSCSIOptions", DVH_FIELD(DV, iSCSIOptions), Conv::SetShort),
    M("setTaskManagementTimeout", DVH_FIELD(DV, taskMngmntTimeout), Conv::SetShort)
        .trace("DevEntry taskMngmntTimeout=%d\n"),
    M("setRxTCPWindowScale", DVH_FIELD(DV, TCPRxWindowScaleFactor), Conv::SetShort)
        .trace("DevEntry TCPRxWindowScaleFactor=%d\n"),
    M("setTxTCPWindowScale", DVH_FIELD(DV, TCPTxWindowScaleFactor), Conv::SetShort)
        .trace("DevEntry TCPTxWindowScaleFactor=%d\n"),
    M("setRetryDelay", DVH_FIELD(DV, retryDelay), Conv::SetShort),
    M("setDeviceType", DVH_FIELD(DV, deviceType), Conv::SetInt),
    M("setExecutionThrottle", DVH_FIELD(DV, exeThrottle), Conv::SetInt),
    M("setFirstBurstSize", DVH_FIELD(DV, firstBurstSize), Conv::SetInt),
    M("setMaxBurstSize", DVH_FIELD(DV, maxBurstSize), Conv::SetShort),
    M("setIPOptions", DVH_FIELD(DV, IPOptions), Conv::SetInt),
    M("setMaxRxDataSegmentLen", DVH_FIELD(DV, MaxRxDataSegmentLen), Conv::SetInt),
    M("setDefaultTime2Wait", DVH_FIELD(DV, DefaultTime2Wait), Conv::SetInt),
    M("setDefaultTime2Retain", DVH_FIELD(DV, DefaultTime2Retain), Conv::SetInt),
    M("setKeepAliveTO", DVH_FIELD(DV, keepAliveTimeout), Conv::SetInt),
    M("setMaxOutstandingR2T", DVH_FIELD(DV, maxOutstandingR2T), Conv::SetInt),
    M("setTCPOptions", DVH_FIELD(DV, TCPOptions), Conv::SetInt),
    M("setTargetAddress", DVH_FIELD(DV, targetAddr), Conv::SetText)
        .nullString("NULL target Addr!\n"),
    M("setPortNumber", DVH_FIELD(DV, portNumber), Conv::SetInt),
};

// The transmit window scale is not read back: a write keeps the record's value.
constexpr Field kDevEntryFromJava[] = {
    M("getiSCSIOptions", DVH_FIELD(DV, iSCSIOptions), Conv::GetShort),
    M("getTaskManagementTimeout", DVH_FIELD(DV, taskMngmntTimeout), Conv::GetShort)
        .trace("taskMngmntTimeout from GUI=%d\n"),
    M("getMaxBurstSize", DVH_FIELD(DV, maxBurstSize), Conv::GetShort),
    M("getRetryDelay", DVH_FIELD(DV, retryDelay), Conv::GetShort),
    M("getRxTCPWindowScale", DVH_FIELD(DV, TCPRxWindowScaleFactor), Conv::GetShort)
        .trace("getRxTCPWindowScale() from GUI (ISCSIDEVICE)=%d\n"),
    M("getDeviceType", DVH_FIELD(DV, deviceType), Conv::GetInt),
    M("getExecutionThrottle", DVH_FIELD(DV, exeThrottle), Conv::GetInt),
    M("getFirstBurstSize", DVH_FIELD(DV, firstBurstSize), Conv::GetInt),
    M("getIPOptions", DVH_FIELD(DV, IPOptions), Conv::GetInt),
    M("getMaxRxDataSegmentLen", DVH_FIELD(DV, MaxRxDataSegmentLen), Conv::GetInt),
    M("getDefaultTime2Wait", DVH_FIELD(DV, DefaultTime2Wait), Conv::GetInt),
    M("getDefaultTime2Retain", DVH_FIELD(DV, DefaultTime2Retain), Conv::GetInt),
    M("getKeepAliveTO", DVH_FIELD(DV, keepAliveTimeout), Conv::GetInt),
    M("getMaxOutstandingR2T", DVH_FIELD(DV, maxOutstandingR2T), Conv::GetInt),
    M("getTCPOptions", DVH_FIELD(DV, TCPOptions), Conv::GetInt),
    M("getTargetAddress", DVH_FIELD(DV, targetAddr), Conv::GetText)
        .bound(sizeof(DV::targetAddr)),
    M("getPortNumber", DVH_FIELD(DV, portNumber), Conv::GetInt),
};

static_assert(marshal::validTable(kDDBSessionId) && marshal::validTable(kDDBIdentity) &&
                  marshal::validTable(kDDBIndex) && marshal::validTable(kDDBParams) &&
                  marshal::validTable(kDDBFromJava) && marshal::validTable(kNodeNames) &&
                  marshal::validTable(kNodePortalCount) && marshal::validTable(kNodeNamesFromJava) &&
                  marshal::validTable(kNodePortalCountFromJava) && marshal::validTable(kDevEntryToJava) &&
                  marshal::validTable(kDevEntryFromJava),
              "device database accessor tables");

}  // namespace

// ---------------------------------------------------------------------------
// Marshalling routines
// ---------------------------------------------------------------------------

namespace {
// The getters of the entry's parts, with their texts when missing.
constexpr marshal::Method kNodeInfoOfEntry =
    marshal::method("getNodeInfo", kNodeInfoGetterSig).message("GetMethodID  setiSCSIName call failed!\n");
constexpr marshal::Method kDeviceOfEntry =
    marshal::method("getDeviceEntry", kDevEntryGetterSig).message("GetMethodID  DevEntry call failed!\n");

// Everything a NodeInfo is filled through, resolved in one lookup.
constexpr marshal::Part kNodeInfoParts[] = {marshal::part(kNodeNames), marshal::part(kAddressSetters),
                                            marshal::part(kNodePortalCount)};
constexpr marshal::Bundle kNodeInfoBundle = marshal::bundle(kNodeInfoParts);

jint nodeInfoToJava(JNIEnv* env, jobject jObj, marshal::ClassIds& cls, marshal::IPAddrMaker& addresses,
                    const NODEINFOISCSI* node)
{
    if (!jObj) {
        std::printf("NULL javaNodeInfoObject!2\n");
        return kStatusOk;
    }
    cls.follow(env, jObj);
    cls.prime(kNodeInfoBundle);
    jint status = marshal::toJava(env, jObj, cls, node, kNodeNames);
    if (status != kStatusOk)
        return thrownOnly(status);
    DVH_TRY(setIPAddr(env, jObj, cls, addresses, &node->IPAddr, kAddrIPAddress));
    status = marshal::toJava(env, jObj, cls, node, kNodePortalCount);
    return thrownOnly(status);
}
}  // namespace

jint setiSCSIDevDDBEntry(JNIEnv* env, jobject javaDevDBEntryObject, const DEVICEENTRYISCSI* pDDB, jint index,
                         jint paramsOnly)
{
    LocalRef<jclass> cls = modelClass(env, "DevDBEntry");
    if (!cls) {
        std::printf("Find Device class call failed!\n");
        return kStatusClassNotFound;
    }
    // The accessors are looked up on the model class; an object that is not
    // a DevDBEntry must never receive them.
    if (!javaDevDBEntryObject || !env->IsInstanceOf(javaDevDBEntryObject, cls.get())) {
        std::printf("NULL javaDDBObject!\n");
        return kStatusNullObject;
    }
    DDBClasses classes(env, cls.get());
    return fillDevDBEntry(env, javaDevDBEntryObject, classes, pDDB, index, paramsOnly);
}

jint fillDevDBEntry(JNIEnv* env, jobject obj, DDBClasses& classes, const DEVICEENTRYISCSI* pDDB, jint index,
                    jint paramsOnly)
{
    marshal::ClassIds& cls = classes.entry;
    DVH_TRY(marshal::toJava(env, obj, cls, pDDB, kDDBSessionId));
    if (paramsOnly == 0)
        DVH_TRY(marshal::toJava(env, obj, cls, pDDB, kDDBIdentity));
    IndexArgument indexArgument{static_cast<uint32_t>(index)};
    DVH_TRY(marshal::toJava(env, obj, cls, &indexArgument, kDDBIndex));
    DVH_TRY(marshal::toJava(env, obj, cls, pDDB, kDDBParams));

    LocalRef<jobject> nodeInfo;
    DVH_TRY(getObjectField(env, obj, cls, kNodeInfoOfEntry, "NULL javaNodeInfoObject!1\n", nodeInfo));
    DVH_TRY(nodeInfoToJava(env, nodeInfo.get(), classes.node, classes.addresses, &pDDB->EntryInfo));

    LocalRef<jobject> devEntry;
    DVH_TRY(getObjectField(env, obj, cls, kDeviceOfEntry, "NULL javaDevEntryObject!\n", devEntry));
    DVH_TRY(setiSCSIDevEntry(env, devEntry.get(), classes.device, &pDDB->DeviceInfo));
    return kStatusOk;
}

jint setNodeInfo(JNIEnv* env, jobject jObj, const NODEINFOISCSI* node)
{
    marshal::IPAddrMaker addresses;
    return setNodeInfo(env, jObj, addresses, node);
}

jint setNodeInfo(JNIEnv* env, jobject jObj, marshal::IPAddrMaker& addresses, const NODEINFOISCSI* node)
{
    marshal::ClassIds cls;
    return nodeInfoToJava(env, jObj, cls, addresses, node);
}

namespace {
constexpr marshal::Method kIPAddressOfNode =
    marshal::method("getIPAddress", kIPAddrGetterSig).message("GetMethodID  getIPAddr call failed!\n");

// getNodeInfo through the call's identifiers of the NodeInfo class (`cls`
// follows jObj) and of its address's class.
jint nodeInfoFromJava(JNIEnv* env, jobject jObj, marshal::ClassIds& cls, marshal::ClassIds& addressCls,
                      NODEINFOISCSI* node)
{
    if (!jObj) {
        std::printf("NULL javaNodeInfoObject!3\n");
        return kStatusOk;
    }
    cls.follow(env, jObj);
    jint status = marshal::fromJava(env, jObj, cls, node, kNodeNamesFromJava);
    if (status != kStatusOk)
        return thrownOnly(status);
    LocalRef<jobject> address;
    status = getObjectField(env, jObj, cls, kIPAddressOfNode, "NULL javaIPObject!\n", address);
    if (status != kStatusOk)
        return thrownOnly(status);
    DVH_TRY(marshal::readIPAddr(env, address.get(), addressCls, node->IPAddr.IPAddress));
    status = marshal::fromJava(env, jObj, cls, node, kNodePortalCountFromJava);
    return thrownOnly(status);
}

// getiSCSIDevEntry through the call's identifiers of the DevEntry class
// (`cls` follows jObj).
jint devEntryFromJava(JNIEnv* env, jobject jObj, marshal::ClassIds& cls, ISCSIDEVICE* device)
{
    if (!jObj) {
        std::printf("NULL jObj!\n");
        return kStatusOk;
    }
    cls.follow(env, jObj);
    jint status = marshal::fromJava(env, jObj, cls, device, kDevEntryFromJava);
    return thrownOnly(status);
}
}  // namespace

jint getNodeInfo(JNIEnv* env, jobject javaNodeInfoObject, NODEINFOISCSI* node)
{
    marshal::ClassIds cls;
    marshal::ClassIds addressCls;
    return nodeInfoFromJava(env, javaNodeInfoObject, cls, addressCls, node);
}

jint setiSCSIDevEntry(JNIEnv* env, jobject jObj, const ISCSIDEVICE* device)
{
    marshal::ClassIds cls;
    return setiSCSIDevEntry(env, jObj, cls, device);
}

jint setiSCSIDevEntry(JNIEnv* env, jobject jObj, marshal::ClassIds& cls, const ISCSIDEVICE* record)
{
    if (!jObj) {
        std::printf("NULL jObj!\n");
        return kStatusOk;
    }
    cls.follow(env, jObj);
    jint status = marshal::toJava(env, jObj, cls, record, kDevEntryToJava);
    return thrownOnly(status);
}

jint getiSCSIDevEntry(JNIEnv* env, jobject jObj, ISCSIDEVICE* device)
{
    marshal::ClassIds cls;
    return devEntryFromJava(env, jObj, cls, device);
}

// ---------------------------------------------------------------------------
// Writing entries
// ---------------------------------------------------------------------------

namespace {
// The classes a native call that writes entries meets, each resolved once per
// call: the entries' own, those of their NodeInfo (and its IPAddr) and
// DevEntry parts, the adapter's and its BootInfo's. Each follows the object
// at hand, so an object of another class gets its own identifiers.
struct DDBWriteClasses {
    marshal::ClassIds entry;
    marshal::ClassIds node;
    marshal::ClassIds address;
    marshal::ClassIds device;
    marshal::ClassIds hba;
    marshal::ClassIds boot;
};

constexpr marshal::Method kTargetIDOfEntry = marshal::method("getTargetID", "()I");
constexpr marshal::Method kNodeInfoToWrite =
    marshal::method("getNodeInfo", kNodeInfoGetterSig).message("GetMethodID  getNodeInfo call failed!\n");
constexpr marshal::Method kDeviceToWrite =
    marshal::method("getDeviceEntry", kDevEntryGetterSig).message("GetMethodID  getDeviceEntry call failed!\n");
constexpr marshal::Method kIsBootable = marshal::method("isBootableDevice", "()I");
constexpr marshal::Method kBootInfoOfAdapter =
    marshal::method("getBootInfo", "()Lcom/norvik/dvh/iscsi/model/BootInfo;", Msg::Wide);
constexpr marshal::Method kBootEnabled =
    marshal::method("getEnabled", "()Z").message("GetMethodID BootInfo.getEnabled() call failed!\n");

// Whether setDDBData writes to flash only: the entry is a boot device and the
// adapter's boot configuration is enabled.
jint flashOnlyDecision(JNIEnv* env, jobject jHba, DDBWriteClasses& classes, jint bootable, bool& flashOnly)
{
    flashOnly = false;
    if (bootable == -1)
        return kStatusOk;
    if (!jHba) {
        std::printf("NULL Java HBA Object!\n");
        return kStatusNullObject;
    }
    // One adapter object for the whole call: its class is taken once.
    if (!classes.hba.get())
        classes.hba.follow(env, jHba);
    if (!classes.hba.get()) {
        std::printf("GetObjectClass  Java HBA call failed!\n");
        return kStatusLookupFailed;
    }
    LocalRef<jobject> bootInfo;
    DVH_TRY(marshal::call(env, bootInfo, jHba, classes.hba, kBootInfoOfAdapter));
    // A null boot object is refused instead of being used.
    if (!bootInfo) {
        std::printf("NULL getBootInfo! \n");
        return kStatusNullObject;
    }
    classes.boot.follow(env, bootInfo.get());
    jboolean enabled = JNI_FALSE;
    DVH_TRY(marshal::call(env, enabled, bootInfo.get(), classes.boot, kBootEnabled));
    flashOnly = enabled == JNI_TRUE;
    return kStatusOk;
}

// setDDBData on a non-null entry whose class classes.entry holds.
jint writeEntry(JNIEnv* env, jint dev, jobject jHba, jobject jDDB, DDBWriteClasses& classes)
{
    DEVICEENTRYISCSI entry{};
    marshal::ClassIds& cls = classes.entry;

    LocalRef<jobject> nodeInfo;
    DVH_TRY(getObjectField(env, jDDB, cls, kNodeInfoToWrite, "NULL javaNodeInfoObject!6\n", nodeInfo));
    DVH_TRY(nodeInfoFromJava(env, nodeInfo.get(), classes.node, classes.address, &entry.EntryInfo));
    DVH_TRY(marshal::fromJava(env, jDDB, cls, &entry, kDDBFromJava));

    LocalRef<jobject> devEntry;
    DVH_TRY(getObjectField(env, jDDB, cls, kDeviceToWrite, "NULL javaDevEntryObject!\n", devEntry));
    DVH_TRY(devEntryFromJava(env, devEntry.get(), classes.device, &entry.DeviceInfo));

    jint bootable = 0;
    DVH_TRY(marshal::call(env, bootable, jDDB, cls, kIsBootable));
    bool flashOnly = false;
    DVH_TRY(flashOnlyDecision(env, jHba, classes, bootable, flashOnly));

    SDMGT_HANDLE handle = handleAt(dev);
    SD_STATUS status;
    if (flashOnly) {
        status = SDSetDDBEntryFlashOnly(handle, &entry, entry.TargetID);
        if (status != 0)
            std::printf("SDSetDDBEntryFlashOnly call failed! 3, Errno = %#x\n", status);
    } else {
        status = SDSetDDBEntry(handle, &entry, entry.TargetID);
        if (status != 0)
            std::printf("SDSetDDBEntry call failed! 3, Errno = %#x\n", status);
    }
    return static_cast<jint>(status);
}
}  // namespace

jint setDDBDataShared(JNIEnv* env, jint dev, jobject jHba, jobject jDDB)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jDDB) {
        std::printf("NULL javaDDBObject!\n");
        return kStatusNullObject;
    }
    DDBWriteClasses classes;
    classes.entry.follow(env, jDDB);
    return writeEntry(env, dev, jHba, jDDB, classes);
}

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setDDBData(JNIEnv* env, jobject, jint dev,
                                                                           jobject jHba, jobject jDDB, jint index)
{
    return setDDBDataShared(env, dev, jHba, jDDB);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setDDBsData(JNIEnv* env, jobject, jint dev,
                                                                            jobject jHba, jobjectArray jArray)
{
    if (!jArray) {
        std::printf("NULL jArray!\n");
        return kStatusNullObject;
    }
    if (!jHba) {
        std::printf("NULL jHba!\n");
        return kStatusNullObject;
    }
    jsize length = env->GetArrayLength(jArray);
    if (length == 0 || length > 511)
        return kStatusOk;
    {
        LocalRef<jobject> first(env, env->GetObjectArrayElement(jArray, 0));
        if (thrown(env))
            return kStatusJavaThrew;
        if (!first) {
            std::printf("NULL javaDDBObject!\n");
            return kStatusNullObject;
        }
    }
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    DDBWriteClasses classes;
    for (jsize i = 0; i < length; ++i) {
        LocalRef<jobject> element(env, env->GetObjectArrayElement(jArray, i));
        if (thrown(env))
            return kStatusJavaThrew;
        if (!element) {
            std::printf("NULL javaDDBObject!\n");
            return kStatusNullObject;
        }
        // Each element's own class, so an element of another class never
        // receives a method of the first one.
        classes.entry.follow(env, element.get());
        jint targetId = 0;
        DVH_TRY(marshal::call(env, targetId, element.get(), classes.entry, kTargetIDOfEntry));
        // Each entry's own status is not looked at.
        writeEntry(env, dev, jHba, element.get(), classes);
        if (thrown(env))
            return kStatusJavaThrew;
    }
    return kStatusOk;
}

JNIEXPORT jobject JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getDefaultDDBEntry(JNIEnv* env, jobject, jint dev)
{
    if (devOutOfRange(dev))
        return nullptr;
    DEVICEENTRYISCSI entry{};
    SD_STATUS status = SDGetDefaultDDBEntry(handleAt(dev), &entry);
    if (status != 0) {
        std::printf("SDGetDefaultDDBEntry call failed! %x\n", status);
        return nullptr;
    }
    LocalRef<jclass> cls = modelClass(env, "DevDBEntry");
    if (!cls) {
        std::printf("Find Device class call failed!\n");
        return nullptr;
    }
    LocalRef<jobject> obj = newObject(env, cls.get());
    if (!obj) {
        std::printf("New Device Object failed!\n");
        return nullptr;
    }
    if (setiSCSIDevDDBEntry(env, obj.get(), &entry, 0, 0) != kStatusOk) {
        if (thrown(env))
            return nullptr;
        std::printf("setiSCSIDevDDBEntry() failed!\n");
        return nullptr;
    }
    return obj.release();
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getInitialDDBEntry(JNIEnv* env, jobject, jint dev,
                                                                                   jobject JDDB, jint jIndex)
{
    DEVICEENTRYISCSI entry{};
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SD_STATUS status = SDGetInitialDDBEntry(handleAt(dev), &entry, static_cast<uint32_t>(jIndex));
    if (status != 0) {
        std::printf("SDGetInitialDDBEntry FAILED!\n");
        return static_cast<jint>(status);
    }
    return setiSCSIDevDDBEntry(env, JDDB, &entry, jIndex, 1);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSIEntryNum(JNIEnv*, jobject, jint dev)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    uint32_t count = 0;
    if (SDGetDDBEntryNum(handleAt(dev), &count) != 0)
        std::printf("SDGetDDBEntryNum call failed! 1\n");
    return static_cast<jint>(count);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_logoutDDB(JNIEnv*, jobject, jint dev, jint index,
                                                                          jint options, jint newIndex)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    LOGOUTISCSI logout{};
    logout.TargetID = static_cast<uint16_t>(index);
    logout.ConnectionID = 0;
    logout.Options = static_cast<uint16_t>(options);
    logout.NewTargetID = static_cast<uint16_t>(newIndex);
    return static_cast<jint>(SDSendiSCSILogout(handleAt(dev), &logout));
}

}  // extern "C"
