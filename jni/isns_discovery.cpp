// iSNS discovery: the discovery configuration (SDM_ISNS_CONFIG) to and from
// its Java object, and the targets the iSNS server reported, added to the
// adapter object as iSNSTarget objects.
#include "isns_discovery.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal.h"
#include "toolkit.h"

using namespace dvh;
using marshal::Conv;
using marshal::M;
using marshal::Msg;
using marshal::Field;

namespace {

using IC = SDM_ISNS_CONFIG;
using DT = SDM_ISNS_DISCOVERED_TARGET;

// Target buffers: 30 records first, 512 when the first does not suffice.
constexpr uint32_t kSmallTargets = 30;
constexpr uint32_t kLargeTargets = 512;
constexpr uint32_t kSmallBufferSize = kSmallTargets * sizeof(DT);
constexpr uint32_t kLargeBufferSize = 0x31000;
static_assert(kSmallBufferSize == 11760 && kLargeBufferSize == kLargeTargets * sizeof(DT), "target buffers");

constexpr SD_STATUS kBufferTooSmall = 0x20000072;
constexpr SD_STATUS kNotSupportedOS = 0x2000001c;
constexpr SD_STATUS kNotSupported = 0x2000002d;
constexpr jint kOutOfMemory = 0x2000001f;

// Longest initiator name taken from Java (less than the field holds; the
// cleared record supplies the terminator).
constexpr uint32_t kInitiatorNameBound = 224;

constexpr Field kConfigToJava[] = {
    M("setEnableiSNSDiscoveryFlag", DVH_FIELD(IC, performiSNSDiscovery), Conv::SetInt, Msg::Obj),
    M("setAutomaticDiscoveryFlag", DVH_FIELD(IC, AutomaticiSNSDiscovery), Conv::SetInt, Msg::Obj),
    M("setServerIPAddress", DVH_FIELD(IC, ipAddr), Conv::SetIPAddrShorts),
};
// The record's flags are 1 or 0 after a cleared record took the booleans.
// The automatic flag's missing getter is reported under its setter's name.
constexpr Field kConfigFromJava[] = {
    M("getEnableiSNSDiscoveryFlag", DVH_FIELD(IC, performiSNSDiscovery), Conv::GetBool, Msg::Obj).mask(1),
    M("getAutomaticDiscoveryFlag", DVH_FIELD(IC, AutomaticiSNSDiscovery), Conv::GetBool)
        .message("GetMethodID setAutomaticDiscoveryFlag - Obj call failed!\n")
        .mask(1),
    M("getServerIPAddress", DVH_FIELD(IC, ipAddr), Conv::GetIPAddr).message("GetMethodID  getIPAddr call failed!\n"),
    M("getHBAiSCSIName", DVH_FIELD(IC, initiatorName), Conv::GetText)
        .message("GetMethodID call failed!\n")
        .bound(kInitiatorNameBound),
};
// Only the first portal is handed over, however many the target has.
constexpr Field kTargetToJava[] = {
    M("setPort", offsetof(DT, targetPortal[0].port), sizeof(uint16_t), Conv::SetInt, Msg::Obj),
    M("setiSCSIName", DVH_FIELD(DT, targetName), Conv::SetText).message("GetMethodID call failed (setiSCSIName)!\n"),
    M("setiSCSIAlias", DVH_FIELD(DT, targetAlias), Conv::SetText).message("GetMethodID call failed (setiSCSIName)!\n"),
    M("setIPAddress", offsetof(DT, targetPortal[0].ipAddr), sizeof(ISCSIIPADDR), Conv::SetIPAddrShorts)
        .message("GetMethodID setIPAddressJNI(short[],int) call failed!\n"),
};

static_assert(marshal::validTable(kConfigToJava) && marshal::validTable(kConfigFromJava) &&
                  marshal::validTable(kTargetToJava),
              "iSNS accessor tables");

// The record carries no host name for the server: the object gets a single blank.
constexpr marshal::Method kSetServerHostname =
    marshal::method("setServerHostname", kStringSetterSig).message("GetMethodID call failed (setServerHostname)!\n");
constexpr marshal::Method kClearTargets = marshal::method("cleariSNSTargetList", "()V");
constexpr marshal::Method kAddTarget =
    marshal::method("addiSNSTarget", "(Lcom/norvik/dvh/iscsi/model/iSNSTarget;)V");

// The index test, then the configuration object's.
jint configArguments(jint dev, jobject cfg)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!cfg) {
        std::printf("NULL java iSNSDiscoveryConfig Object!\n");
        return kStatusNullObject;
    }
    return kStatusOk;
}

}  // namespace

// ---------------------------------------------------------------------------
// Marshalling routines
// ---------------------------------------------------------------------------

jint SDMToJava_iSNSDiscoveryConfig(JNIEnv* env, jobject cfg, const SDM_ISNS_CONFIG* config)
{
    if (!cfg) {
        std::printf("NULL iSNSDiscoveryConfig!\n");
        return kStatusBadIndex;
    }
    LocalRef<jclass> cls = objectClass(env, cfg);
    DVH_TRY(marshal::toJava(env, cfg, cls.get(), config, kConfigToJava));
    LocalRef<jstring> blank(env, env->NewStringUTF(" "));
    if (!blank)
        return kStatusJavaThrew;
    return marshal::callVoid(env, cfg, cls.get(), kSetServerHostname, blank.get());
}

jint JavaToSDM_iSNSDiscoveryConfig(JNIEnv* env, jobject cfg, SDM_ISNS_CONFIG* config)
{
    if (!cfg) {
        std::printf("NULL javaChipInfoObject!2\n");
        return kStatusBadIndex;
    }
    LocalRef<jclass> cls = objectClass(env, cfg);
    if (!cls) {
        std::printf("Find iSNSDiscoveryConfig class call failed!\n");
        return kStatusClassNotFound;
    }
    return marshal::fromJava(env, cfg, cls.get(), config, kConfigFromJava);
}

namespace {
// One target made from the target class and added to the adapter object.
jint addTarget(JNIEnv* env, marshal::ClassIds& hba, marshal::ClassIds& targets, jobject jHBAObj,
               const SDM_ISNS_DISCOVERED_TARGET* record)
{
    LocalRef<jobject> target = marshal::newObject(env, targets);
    if (!target) {
        if (thrown(env))
            return kStatusJavaThrew;
        std::printf("New Device Object failed for iSNSEntry!\n");
        return kStatusNullObject;
    }
    DVH_TRY(marshal::toJava(env, target.get(), targets, record, kTargetToJava));
    return marshal::callVoid(env, jHBAObj, hba, kAddTarget, target.get());
}
}  // namespace

jint SDMToJava_iSNSDiscoveredTargets(JNIEnv* env, jclass hbacls, jclass iSNSTargetcls, jobject jHBAObj,
                                     const SDM_ISNS_DISCOVERED_TARGET* record)
{
    if (!hbacls) {
        std::printf("NULL java HBA Class! (hbacls)\n");
        return kStatusBadIndex;
    }
    if (!iSNSTargetcls) {
        std::printf("NULL java iSNSTarget Class! (iSNSTargetcls)\n");
        return kStatusBadIndex;
    }
    if (!jHBAObj) {
        std::printf("NULL java hba Object! (jHBAObj)\n");
        return kStatusBadIndex;
    }
    if (!record) {
        std::printf("NULL Input Buffer! (discoveredTargetTable)\n");
        return kStatusBadIndex;
    }
    marshal::ClassIds hba(env, hbacls);
    marshal::ClassIds targets(env, iSNSTargetcls);
    return addTarget(env, hba, targets, jHBAObj, record);
}

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSNSDiscoveryConfig(JNIEnv* env, jobject,
                                                                                       jint dev, jobject cfg)
{
    DVH_TRY(configArguments(dev, cfg));
    SDM_ISNS_CONFIG config{};
    const SD_STATUS status = SDGet_iSNSDiscoveryConfig(handleAt(dev), &config);
    if (status != 0) {
        std::printf("\nSDGet_iSNSDiscoveryConfig call failed! return Code:%X\n", status);
        return static_cast<jint>(status);
    }
    return SDMToJava_iSNSDiscoveryConfig(env, cfg, &config);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setiSNSDiscoveryConfig(JNIEnv* env, jobject,
                                                                                       jint dev, jobject cfg)
{
    DVH_TRY(configArguments(dev, cfg));
    SDM_ISNS_CONFIG config{};
    const jint filled = JavaToSDM_iSNSDiscoveryConfig(env, cfg, &config);
    if (filled == kStatusJavaThrew)
        return filled;
    if (filled != kStatusOk) {
        // The text names the library call although the Java side failed.
        std::printf("SDSet_iSNSDiscoveryConfig call failed! return Code:%X\n", static_cast<unsigned>(filled));
        return filled;
    }
    const SD_STATUS status = SDSet_iSNSDiscoveryConfig(handleAt(dev), config);
    if (status != 0) {
        std::printf("\nSDSet_iSNSDiscoveryConfig call failed! return Code:%X\n", status);
        return static_cast<jint>(status);
    }
    return kStatusOk;
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSNSTargets(JNIEnv* env, jobject, jint dev,
                                                                               jobject jHBA)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jHBA) {
        std::printf("NULL java HBA Object!\n");
        return kStatusNullObject;
    }
    const SDMGT_HANDLE handle = handleAt(dev);
    DT small[kSmallTargets]{};
    std::unique_ptr<DT[]> large;  // freed on every way out
    const DT* records = small;
    uint32_t capacity = kSmallTargets;
    uint32_t targetCount = 0;
    SD_STATUS status = SDGetAlliSNSDiscoveredTargets(handle, &targetCount, small, kSmallBufferSize);
    if (status == kNotSupportedOS || status == kNotSupported) {
        std::printf("SDGetAlliSNSDiscoveredTargets call Not Supported for this OS\n");
        return static_cast<jint>(status);
    }
    if (status == kBufferTooSmall || targetCount > kSmallTargets) {
        large.reset(new (std::nothrow) DT[kLargeTargets]());
        if (!large) {
            std::printf("Unable to Allocate Full Size Buffer, memory not available\n");
            return kOutOfMemory;
        }
        targetCount = 0;
        status = SDGetAlliSNSDiscoveredTargets(handle, &targetCount, large.get(), kLargeBufferSize);
        records = large.get();
        capacity = kLargeTargets;
    }
    if (status != 0) {
        std::printf("SDGetAlliSNSDiscoveredTargets call failed return Code:%X\n", status);
        return static_cast<jint>(status);
    }

    LocalRef<jclass> hbaClass = objectClass(env, jHBA);
    DVH_TRY(marshal::callVoid(env, jHBA, hbaClass.get(), kClearTargets));
    LocalRef<jclass> targetClass = modelClass(env, "iSNSTarget");
    if (!targetClass) {
        std::printf("Find class call failed for iSNSTarget!\n");
        return kStatusClassNotFound;
    }
    // The library's count is trusted no further than the buffer in use reaches.
    // The checks of SDMToJava_iSNSDiscoveredTargets hold here for every
    // target; the identifiers are resolved once for all of them.
    const uint32_t n = std::min(targetCount, capacity);
    marshal::ClassIds hba(env, hbaClass.get());
    marshal::ClassIds targets(env, targetClass.get());
    for (uint32_t i = 0; i < n; ++i) {
        const jint added = addTarget(env, hba, targets, jHBA, &records[i]);
        if (added == kStatusJavaThrew)
            return added;
        if (added != kStatusOk) {
            std::printf("Failed Adding iSNS Targets to HBA, (SDMToJava_iSNSDiscoveredTargets) call failed!\n");
            return added;
        }
    }
    return kStatusOk;
}

}  // extern "C"
