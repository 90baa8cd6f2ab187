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
using marshal::F;
using marshal::Field;

namespace {

// --- DEVICEENTRYISCSI -> DevDBEntry -----------------------------------------

using DE = DEVICEENTRYISCSI;

constexpr Field kDDBSessionId[] = {
    F("setInitiatorSessionID", "([S)V", DVH_FIELD(DE, InitiatorSessID), Conv::SetShorts,
      "GetMethodID setInitiatorSessionID call failed!\n"),
};
constexpr Field kDDBIdentity[] = {
    F("setTargetID", "(I)V", DVH_FIELD(DE, TargetID), Conv::SetInt, "GetMethodID setTargetID - Obj call failed!\n"),
    F("setState", "(I)V", DVH_FIELD(DE, DeviceState), Conv::SetInt, "GetMethodID setState - Obj call failed!\n"),
};
// setIndex takes the caller's index, not a record field.
struct IndexArgument {
    uint32_t value;
};
constexpr Field kDDBIndex[] = {
    F("setIndex", "(I)V", DVH_FIELD(IndexArgument, value), Conv::SetInt, "GetMethodID setIndex - Obj call failed!\n"),
};
constexpr Field kDDBParams[] = {
    F("setMaxTxDataSegmentLen", "(I)V", DVH_FIELD(DE, MaxTxDataSegmentLen), Conv::SetInt,
      "GetMethodID setMaxTxDataSegmentLen - Obj call failed!\n"),
    F("setDDBLink", "(I)V", DVH_FIELD(DE, DDBLink), Conv::SetInt, "GetMethodID setDDBLink - Obj call failed!\n"),
    F("setChapIndex", "(I)V", DVH_FIELD(DE, CHAPTableIndex), Conv::SetInt,
      "GetMethodID setChapIndex - Obj call failed!\n"),
    F("setOptions", "(B)V", DVH_FIELD(DE, Options), Conv::SetByte, "GetMethodID setOptions - Obj call failed!\n"),
    F("setControl", "(B)V", DVH_FIELD(DE, Control), Conv::SetByte, "GetMethodID setControl - Obj call failed!\n"),
    F("setExeCount", "(I)V", DVH_FIELD(DE, exeCount), Conv::SetInt, "GetMethodID setExeCount - Obj call failed!\n"),
    F("setReservedFlags", "(I)V", DVH_FIELD(DE, ReservedFlags), Conv::SetInt,
      "GetMethodID setReservedFlags - Obj call failed!\n"),
    F("setTargetSessionID", "(I)V", DVH_FIELD(DE, TargetSessID), Conv::SetInt,
      "GetMethodID setTargetSessionID - Obj call failed!\n"),
    F("setTargetPortalGroupID", "(I)V", DVH_FIELD(DE, TargetPortalGroupID), Conv::SetInt,
      "GetMethodID setTargetPortalGroupID - Obj call failed!\n"),
};

// --- DevDBEntry -> DEVICEENTRYISCSI (setDDBData) ----------------------------

constexpr Field kDDBFromJava[] = {
    F("getState", "()I", DVH_FIELD(DE, DeviceState), Conv::GetInt, "GetMethodID getState call failed!\n"),
    F("getTargetID", "()I", DVH_FIELD(DE, TargetID), Conv::GetInt, "GetMethodID getTargetID call failed!\n"),
    F("getOptions", "()B", DVH_FIELD(DE, Options), Conv::GetByte, "GetMethodID getOptions call failed!\n"),
    F("getExeCount", "()I", DVH_FIELD(DE, exeCount), Conv::GetInt, "GetMethodID getExeCount call failed!\n"),
    F("getControl", "()B", DVH_FIELD(DE, Control), Conv::GetByte, "GetMethodID getControl call failed!\n"),
    F("getTargetSessionID", "()I", DVH_FIELD(DE, TargetSessID), Conv::GetInt,
      "GetMethodID getTargetSessionID call failed!\n"),
    F("getTargetPortalGroupID", "()I", DVH_FIELD(DE, TargetPortalGroupID), Conv::GetInt,
      "GetMethodID getTargetPortalGroupID call failed!\n"),
    F("getReservedFlags", "()I", DVH_FIELD(DE, ReservedFlags), Conv::GetInt,
      "GetMethodID getReservedFlags call failed!\n"),
    F("getInitiatorSessionID", "()[S", DVH_FIELD(DE, InitiatorSessID), Conv::GetShorts,
      "GetMethodID getInitiatorSessionID call failed!\n"),
    F("getMaxTxDataSegmentLen", "()I", DVH_FIELD(DE, MaxTxDataSegmentLen), Conv::GetInt,
      "GetMethodID getMaxTxDataSegmentLen call failed!\n"),
    F("getDDBLink", "()I", DVH_FIELD(DE, DDBLink), Conv::GetInt, "GetMethodID getDDBLink call failed!\n"),
    F("getChapIndex", "()I", DVH_FIELD(DE, CHAPTableIndex), Conv::GetInt, "GetMethodID getChapIndex call failed!\n"),
};

// --- NODEINFOISCSI <-> NodeInfo ---------------------------------------------

using NI = NODEINFOISCSI;

constexpr Field kNodeNames[] = {
    F("setiSCSIName", kStringSetterSig, DVH_FIELD(NI, iSCSIName), Conv::SetText, "GetMethodID call failed!\n"),
    F("setAlias", kStringSetterSig, DVH_FIELD(NI, Alias), Conv::SetText, "GetMethodID call failed!\n"),
};
constexpr Field kNodePortalCount[] = {
    F("setPortalCount", "(I)V", DVH_FIELD(NI, PortalCount), Conv::SetInt, "GetMethodID setPortalCount call failed!\n"),
};
// The names are copied whole as long as they fit their fields; longer ones
// are cut so that the field keeps its terminating zero.
constexpr Field kNodeNamesFromJava[] = {
    F("getiSCSIName", kStringGetterSig, DVH_FIELD(NI, iSCSIName), Conv::GetText,
      "GetMethodID  getiSCSIName call failed!\n")
        .bound(sizeof(NI::iSCSIName) - 1),
    F("getAlias", kStringGetterSig, DVH_FIELD(NI, Alias), Conv::GetText, "GetMethodID  getAlias call failed!\n")
        .bound(sizeof(NI::Alias) - 1),
};
constexpr Field kNodePortalCountFromJava[] = {
    F("getPortalCount", "()I", DVH_FIELD(NI, PortalCount), Conv::GetInt, "GetMethodID getPortalCount call failed!\n"),
};

// --- ISCSIDEVICE <-> DevEntry -----------------------------------------------

using DV = ISCSIDEVICE;

constexpr Field kDevEntryToJava[] = {
    F("setiSCSIOptions", "(S)V", DVH_FIELD(DV, iSCSIOptions), Conv::SetShort,
      "GetMethodID setiSCSIOptions call failed!\n"),
    F("setTaskManagementTimeout", "(S)V", DVH_FIELD(DV, taskMngmntTimeout), Conv::SetShort,
      "GetMethodID setTaskManagementTimeout call failed!\n")
        .trace("DevEntry taskMngmntTimeout=%d\n"),
    F("setRxTCPWindowScale", "(S)V", DVH_FIELD(DV, TCPRxWindowScaleFactor), Conv::SetShort,
      "GetMethodID setRxTCPWindowScale call failed!\n")
        .trace("DevEntry TCPRxWindowScaleFactor=%d\n"),
    F("setTxTCPWindowScale", "(S)V", DVH_FIELD(DV, TCPTxWindowScaleFactor), Conv::SetShort,
      "GetMethodID setTxTCPWindowScale call failed!\n")
        .trace("DevEntry TCPTxWindowScaleFactor=%d\n"),
    F("setRetryDelay", "(S)V", DVH_FIELD(DV, retryDelay), Conv::SetShort, "GetMethodID setRetryDelay call failed!\n"),
    F("setDeviceType", "(I)V", DVH_FIELD(DV, deviceType), Conv::SetInt, "GetMethodID setDeviceType call failed!\n"),
    F("setExecutionThrottle", "(I)V", DVH_FIELD(DV, exeThrottle), Conv::SetInt,
      "GetMethodID setExecutionThrottle call failed!\n"),
    F("setFirstBurstSize", "(I)V", DVH_FIELD(DV, firstBurstSize), Conv::SetInt,
      "GetMethodID setFirstBurstSize call failed!\n"),
    F("setMaxBurstSize", "(S)V", DVH_FIELD(DV, maxBurstSize), Conv::SetShort,
      "GetMethodID setMaxBurstSize call failed!\n"),
    F("setIPOptions", "(I)V", DVH_FIELD(DV, IPOptions), Conv::SetInt, "GetMethodID setIPOptions call failed!\n"),
    F("setMaxRxDataSegmentLen", "(I)V", DVH_FIELD(DV, MaxRxDataSegmentLen), Conv::SetInt,
      "GetMethodID setMaxRxDataSegmentLen call failed!\n"),
    F("setDefaultTime2Wait", "(I)V", DVH_FIELD(DV, DefaultTime2Wait), Conv::SetInt,
      "GetMethodID setDefaultTime2Wait call failed!\n"),
    F("setDefaultTime2Retain", "(I)V", DVH_FIELD(DV, DefaultTime2Retain), Conv::SetInt,
      "GetMethodID setDefaultTime2Retain call failed!\n"),
    F("setKeepAliveTO", "(I)V", DVH_FIELD(DV, keepAliveTimeout), Conv::SetInt,
      "GetMethodID setKeepAliveTO call failed!\n"),
    F("setMaxOutstandingR2T", "(I)V", DVH_FIELD(DV, maxOutstandingR2T), Conv::SetInt,
      "GetMethodID setMaxOutstandingR2T call failed!\n"),
    F("setTCPOptions", "(I)V", DVH_FIELD(DV, TCPOptions), Conv::SetInt, "GetMethodID setTCPOptions call failed!\n"),
    F("setTargetAddress", kStringSetterSig, DVH_FIELD(DV, targetAddr), Conv::SetText,
      "GetMethodID setTargetAddress call failed!\n")
        .nullString("NULL target Addr!\n"),
    F("setPortNumber", "(I)V", DVH_FIELD(DV, portNumber), Conv::SetInt, "GetMethodID setPortNumber call failed!\n"),
};

// The transmit window scale is not read back: a write keeps the record's value.
constexpr Field kDevEntryFromJava[] = {
    F("getiSCSIOptions", "()S", DVH_FIELD(DV, iSCSIOptions), Conv::GetShort,
      "GetMethodID getiSCSIOptions call failed!\n"),
    F("getTaskManagementTimeout", "()S", DVH_FIELD(DV, taskMngmntTimeout), Conv::GetShort,
      "GetMethodID getTaskManagementTimeout call failed!\n")
        .trace("taskMngmntTimeout from GUI=%d\n"),
    F("getMaxBurstSize", "()S", DVH_FIELD(DV, maxBurstSize), Conv::GetShort,
      "GetMethodID getMaxBurstSize call failed!\n"),
    F("getRetryDelay", "()S", DVH_FIELD(DV, retryDelay), Conv::GetShort, "GetMethodID getRetryDelay call failed!\n"),
    F("getRxTCPWindowScale", "()S", DVH_FIELD(DV, TCPRxWindowScaleFactor), Conv::GetShort,
      "GetMethodID getRxTCPWindowScale call failed!\n")
        .trace("getRxTCPWindowScale() from GUI (ISCSIDEVICE)=%d\n"),
    F("getDeviceType", "()I", DVH_FIELD(DV, deviceType), Conv::GetInt, "GetMethodID getDeviceType call failed!\n"),
    F("getExecutionThrottle", "()I", DVH_FIELD(DV, exeThrottle), Conv::GetInt,
      "GetMethodID getExecutionThrottle call failed!\n"),
    F("getFirstBurstSize", "()I", DVH_FIELD(DV, firstBurstSize), Conv::GetInt,
      "GetMethodID getFirstBurstSize call failed!\n"),
    F("getIPOptions", "()I", DVH_FIELD(DV, IPOptions), Conv::GetInt, "GetMethodID getIPOptions call failed!\n"),
    F("getMaxRxDataSegmentLen", "()I", DVH_FIELD(DV, MaxRxDataSegmentLen), Conv::GetInt,
      "GetMethodID getMaxRxDataSegmentLen call failed!\n"),
    F("getDefaultTime2Wait", "()I", DVH_FIELD(DV, DefaultTime2Wait), Conv::GetInt,
      "GetMethodID getDefaultTime2Wait call failed!\n"),
    F("getDefaultTime2Retain", "()I", DVH_FIELD(DV, DefaultTime2Retain), Conv::GetInt,
      "GetMethodID getDefaultTime2Retain call failed!\n"),
    F("getKeepAliveTO", "()I", DVH_FIELD(DV, keepAliveTimeout), Conv::GetInt,
      "GetMethodID getKeepAliveTO call failed!\n"),
    F("getMaxOutstandingR2T", "()I", DVH_FIELD(DV, maxOutstandingR2T), Conv::GetInt,
      "GetMethodID getMaxOutstandingR2T call failed!\n"),
    F("getTCPOptions", "()I", DVH_FIELD(DV, TCPOptions), Conv::GetInt, "GetMethodID getTCPOptions call failed!\n"),
    F("getTargetAddress", kStringGetterSig, DVH_FIELD(DV, targetAddr), Conv::GetText,
      "GetMethodID getTargetAddress call failed!\n")
        .bound(sizeof(DV::targetAddr)),
    F("getPortNumber", "()I", DVH_FIELD(DV, portNumber), Conv::GetInt, "GetMethodID getPortNumber call failed!\n"),
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
    jobject obj = javaDevDBEntryObject;
    DVH_TRY(marshal::toJava(env, obj, cls.get(), pDDB, kDDBSessionId));
    if (paramsOnly == 0)
        DVH_TRY(marshal::toJava(env, obj, cls.get(), pDDB, kDDBIdentity));
    IndexArgument indexArgument{static_cast<uint32_t>(index)};
    DVH_TRY(marshal::toJava(env, obj, cls.get(), &indexArgument, kDDBIndex));
    DVH_TRY(marshal::toJava(env, obj, cls.get(), pDDB, kDDBParams));

    LocalRef<jobject> nodeInfo;
    DVH_TRY(getObjectField(env, obj, cls.get(), "getNodeInfo", kNodeInfoGetterSig, "GetMethodID  setiSCSIName call failed!\n",
                           "NULL javaNodeInfoObject!1\n", nodeInfo));
    DVH_TRY(setNodeInfo(env, nodeInfo.get(), &pDDB->EntryInfo));

    LocalRef<jobject> devEntry;
    DVH_TRY(getObjectField(env, obj, cls.get(), "getDeviceEntry", kDevEntryGetterSig, "GetMethodID  DevEntry call failed!\n",
                           "NULL javaDevEntryObject!\n", devEntry));
    DVH_TRY(setiSCSIDevEntry(env, devEntry.get(), &pDDB->DeviceInfo));
    return kStatusOk;
}

jint setNodeInfo(JNIEnv* env, jobject jObj, const NODEINFOISCSI* node)
{
    if (!jObj) {
        std::printf("NULL javaNodeInfoObject!2\n");
        return kStatusOk;
    }
    LocalRef<jclass> cls = objectClass(env, jObj);
    jint status = marshal::toJava(env, jObj, cls.get(), node, kNodeNames);
    if (status != kStatusOk)
        return thrownOnly(status);
    DVH_TRY(setIPAddr(env, jObj, &node->IPAddr, kAddrIPAddress));
    status = marshal::toJava(env, jObj, cls.get(), node, kNodePortalCount);
    return thrownOnly(status);
}

jint getNodeInfo(JNIEnv* env, jobject javaNodeInfoObject, NODEINFOISCSI* node)
{
    if (!javaNodeInfoObject) {
        std::printf("NULL javaNodeInfoObject!3\n");
        return kStatusOk;
    }
    jobject obj = javaNodeInfoObject;
    LocalRef<jclass> cls = objectClass(env, obj);
    jint status = marshal::fromJava(env, obj, cls.get(), node, kNodeNamesFromJava);
    if (status != kStatusOk)
        return thrownOnly(status);
    LocalRef<jobject> address;
    status = getObjectField(env, obj, cls.get(), "getIPAddress", kIPAddrGetterSig, "GetMethodID  getIPAddr call failed!\n",
                            "NULL javaIPObject!\n", address);
    if (status != kStatusOk)
        return thrownOnly(status);
    DVH_TRY(getIPAddr(env, address.get(), &node->IPAddr));
    status = marshal::fromJava(env, obj, cls.get(), node, kNodePortalCountFromJava);
    return thrownOnly(status);
}

jint setiSCSIDevEntry(JNIEnv* env, jobject jObj, const ISCSIDEVICE* device)
{
    if (!jObj) {
        std::printf("NULL jObj!\n");
        return kStatusOk;
    }
    LocalRef<jclass> cls = objectClass(env, jObj);
    jint status = marshal::toJava(env, jObj, cls.get(), device, kDevEntryToJava);
    return thrownOnly(status);
}

jint getiSCSIDevEntry(JNIEnv* env, jobject jObj, ISCSIDEVICE* device)
{
    if (!jObj) {
        std::printf("NULL jObj!\n");
        return kStatusOk;
    }
    LocalRef<jclass> cls = objectClass(env, jObj);
    jint status = marshal::fromJava(env, jObj, cls.get(), device, kDevEntryFromJava);
    return thrownOnly(status);
}

// ---------------------------------------------------------------------------
// Writing entries
// ---------------------------------------------------------------------------

namespace {
// Whether setDDBData writes to flash only: the entry is a boot device and the
// adapter's boot configuration is enabled.
jint flashOnlyDecision(JNIEnv* env, jobject jHba, jint bootable, bool& flashOnly)
{
    flashOnly = false;
    if (bootable == -1)
        return kStatusOk;
    if (!jHba) {
        std::printf("NULL Java HBA Object!\n");
        return kStatusNullObject;
    }
    LocalRef<jclass> hbaClass = objectClass(env, jHba);
    if (!hbaClass) {
        std::printf("GetObjectClass  Java HBA call failed!\n");
        return kStatusLookupFailed;
    }
    jmethodID getBootInfo = methodId(env, hbaClass.get(), "getBootInfo", "()Lcom/norvik/dvh/iscsi/model/BootInfo;");
    if (!getBootInfo) {
        std::printf("GetMethodID  getBootInfo call failed!\n");
        return kStatusLookupFailed;
    }
    LocalRef<jobject> bootInfo(env, env->CallObjectMethod(jHba, getBootInfo));
    if (thrown(env))
        return kStatusJavaThrew;
    // A null boot object is refused instead of being used.
    if (!bootInfo) {
        std::printf("NULL getBootInfo! \n");
        return kStatusNullObject;
    }
    LocalRef<jclass> bootClass = objectClass(env, bootInfo.get());
    jmethodID getEnabled = methodId(env, bootClass.get(), "getEnabled", "()Z");
    if (!getEnabled) {
        std::printf("GetMethodID BootInfo.getEnabled() call failed!\n");
        return kStatusLookupFailed;
    }
    jboolean enabled = env->CallBooleanMethod(bootInfo.get(), getEnabled);
    if (thrown(env))
        return kStatusJavaThrew;
    flashOnly = enabled == JNI_TRUE;
    return kStatusOk;
}
}  // namespace

jint setDDBDataShared(JNIEnv* env, jint dev, jobject jHba, jobject jDDB)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    DEVICEENTRYISCSI entry{};
    if (!jDDB) {
        std::printf("NULL javaDDBObject!\n");
        return kStatusNullObject;
    }
    LocalRef<jclass> cls = objectClass(env, jDDB);

    LocalRef<jobject> nodeInfo;
    DVH_TRY(getObjectField(env, jDDB, cls.get(), "getNodeInfo", kNodeInfoGetterSig, "GetMethodID  getNodeInfo call failed!\n",
                           "NULL javaNodeInfoObject!6\n", nodeInfo));
    DVH_TRY(getNodeInfo(env, nodeInfo.get(), &entry.EntryInfo));
    DVH_TRY(marshal::fromJava(env, jDDB, cls.get(), &entry, kDDBFromJava));

    LocalRef<jobject> devEntry;
    DVH_TRY(getObjectField(env, jDDB, cls.get(), "getDeviceEntry", kDevEntryGetterSig,
                           "GetMethodID  getDeviceEntry call failed!\n", "NULL javaDevEntryObject!\n", devEntry));
    DVH_TRY(getiSCSIDevEntry(env, devEntry.get(), &entry.DeviceInfo));

    jmethodID isBootable = methodId(env, cls.get(), "isBootableDevice", "()I");
    if (!isBootable) {
        std::printf("GetMethodID isBootableDevice call failed!\n");
        return kStatusLookupFailed;
    }
    jint bootable = env->CallIntMethod(jDDB, isBootable);
    if (thrown(env))
        return kStatusJavaThrew;
    bool flashOnly = false;
    DVH_TRY(flashOnlyDecision(env, jHba, bootable, flashOnly));

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
    for (jsize i = 0; i < length; ++i) {
        LocalRef<jobject> element(env, env->GetObjectArrayElement(jArray, i));
        if (thrown(env))
            return kStatusJavaThrew;
        if (!element) {
            std::printf("NULL javaDDBObject!\n");
            return kStatusNullObject;
        }
        // Looked up on each element's own class, so an element of another
        // class never receives a method of the first one.
        LocalRef<jclass> cls = objectClass(env, element.get());
        jmethodID getTargetID = methodId(env, cls.get(), "getTargetID", "()I");
        if (!getTargetID) {
            std::printf("GetMethodID getTargetID call failed!\n");
            return kStatusLookupFailed;
        }
        env->CallIntMethod(element.get(), getTargetID);
        if (thrown(env))
            return kStatusJavaThrew;
        setDDBDataShared(env, dev, jHba, element.get());
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
