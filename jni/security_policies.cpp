// The IPsec security policy table: SECURITYPOLICY records (with their
// SECTRANSFORM arrays) to and from SecurityPolicyEntry and SecurityTransform
// objects, and the native methods that read and write the whole table.
#include <cstdio>
#include <vector>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal_steps.h"
#include "security.h"
#include "toolkit.h"

using namespace dvh;
using marshal::Conv;
using steps::AddrFromJava;
using steps::AddrIPv4ToJava;
using steps::Clamped;
using steps::E;
using steps::Step;
using steps::TextOfLength;

namespace {

constexpr uint32_t kPolicySlots = 64;
constexpr uint32_t kMaxTransforms = 16;
constexpr uint32_t kMaxKeyLength = 31;  // the 32nd byte of a key stays zero
constexpr uint32_t kIkePolicyKind = 3;
constexpr uint16_t kIkeTransformType = 1;

constexpr const char* kTransformGetterSig = "(I)Lcom/norvik/dvh/iscsi/model/SecurityTransform;";
constexpr const char* kTransformAdderSig = "(Lcom/norvik/dvh/iscsi/model/SecurityTransform;)V";
constexpr const char* kPolicyAdderSig = "(Lcom/norvik/dvh/iscsi/model/SecurityPolicyEntry;)V";

using SP = SECURITYPOLICY;
using ST = SECTRANSFORM;

// Offset of a member with the width of its low byte: values coming from Java
// keep only their low 8 bits, the zeroed record supplies the rest.
#define DVH_LOW_BYTE(Record, member) offsetof(Record, member), 1

// --- SECURITYPOLICY -> SecurityPolicyEntry ------------------------------------

constexpr Step kPolicyToJava[] = {
    E("setKind", DVH_FIELD(SP, PolicyKind), Conv::SetInt, "GetMethodID setPolicyKind - Obj call failed!\n"),
    E("setPriority", DVH_FIELD(SP, Priority), Conv::SetInt, "GetMethodID setPriority - Obj call failed!\n"),
    E("setProtocol", DVH_FIELD(SP, Protocol), Conv::SetInt, "GetMethodID setProtocol - Obj call failed!\n"),
    AddrIPv4ToJava("setTunnelIPAddr", offsetof(SP, TunnelIPAddr), kAddrTunnel),
    AddrIPv4ToJava("setSourceAddr", offsetof(SP, SourceAddr), kAddrSource),
    AddrIPv4ToJava("setDestStartAddr", offsetof(SP, DestStartAddr), kAddrDestStart),
    AddrIPv4ToJava("setDestEndAddr", offsetof(SP, DestEndAddr), kAddrDestEnd),
    E("setDestType", DVH_FIELD(SP, DestType), Conv::SetInt, "GetMethodID setDestType - Obj call failed!\n"),
    E("setAction", DVH_FIELD(SP, Action), Conv::SetInt, "GetMethodID setAction - Obj call failed!\n"),
    E("setPort", DVH_FIELD(SP, DestPort), Conv::SetInt, "GetMethodID setPort - Obj call failed!\n"),
    E("setPolicyName", DVH_FIELD(SP, PolicyName), Conv::SetText, "GetMethodID call failed!\n"),
    E("setIKEMode", DVH_FIELD(SP, IKEMode), Conv::SetInt, "GetMethodID setIKEMode - Obj call failed!\n"),
    E("setIKEPFS", DVH_FIELD(SP, IKEPFS), Conv::SetBool, "GetMethodID setIKEPFS - Obj call failed!\n", 0xFF),
    E("setIKEDirection", DVH_FIELD(SP, IKEDirection), Conv::SetInt, "GetMethodID setIKEDirection - Obj call failed!\n"),
    E("setAutoIPSec", DVH_FIELD(SP, AutoIPSec), Conv::SetBool, "GetMethodID setAutoIPSec - Obj call failed!\n", 0xFF),
};
// Only for manual keys (AutoIPSec 0).
constexpr Step kManualKeysToJava[] = {
    E("setAuthKey", DVH_FIELD(SP, AuthKey), Conv::SetText, "GetMethodID call failed!\n"),
    E("setEncryptKey", DVH_FIELD(SP, EncryptKey), Conv::SetText, "GetMethodID call failed!\n"),
    E("setEncryptIV", DVH_FIELD(SP, EncryptIV), Conv::SetText, "GetMethodID call failed!\n"),
    E("setSPI", DVH_FIELD(SP, SPI), Conv::SetInt, "GetMethodID setSPI - Obj call failed!\n"),
};
constexpr Step kPolicyTailToJava[] = {
    E("setAssociatedIke", DVH_FIELD(SP, AssociatedIKEPolicy), Conv::SetInt, "GetMethodID setSPI - Obj call failed!\n"),
    E("setPreSharedKey", DVH_FIELD(SP, PreSharedKey), Conv::SetText, "GetMethodID call failed!\n"),
    E("setSourcePort", DVH_FIELD(SP, SourcePort), Conv::SetInt, "GetMethodID setSourcePort - Obj call failed!\n"),
};

// --- SECTRANSFORM -> SecurityTransform ----------------------------------------

constexpr Step kTransformToJava[] = {
    E("setLevel", DVH_FIELD(ST, Level), Conv::SetInt, "GetMethodID setLevel - Obj call failed!\n"),
    E("setEncryptAlgo", DVH_FIELD(ST, EncryptAlgo), Conv::SetInt, "GetMethodID setEncryptAlgo - Obj call failed!\n"),
    E("setIPSecMode", DVH_FIELD(ST, IPSecMode), Conv::SetInt, "GetMethodID setIPSecMode - Obj call failed!\n"),
    E("setAuthAlgo", DVH_FIELD(ST, AuthAlgo), Conv::SetInt, "GetMethodID setAuthAlgo - Obj call failed!\n"),
    E("setKBytesLife", DVH_FIELD(ST, KBytesLife), Conv::SetInt, "GetMethodID setKBytesLife - Obj call failed!\n"),
    E("setSecondsLife", DVH_FIELD(ST, SecondsLife), Conv::SetInt, "GetMethodID setSecondsLife - Obj call failed!\n"),
    E("setGroup", DVH_FIELD(ST, Group), Conv::SetInt, "GetMethodID setGroup - Obj call failed!\n"),
    E("setIKEAuthMethod", DVH_FIELD(ST, IKEAuthMethod), Conv::SetInt, "GetMethodID setIKEAuthMethod - Obj call failed!\n"),
    E("setType", DVH_FIELD(ST, Type), Conv::SetInt, "GetMethodID setType - Obj call failed!\n"),
};

// --- SecurityPolicyEntry -> SECURITYPOLICY --------------------------------------

constexpr Step kPolicyFromJava[] = {
    E("getKind", DVH_LOW_BYTE(SP, PolicyKind), Conv::GetInt, "GetMethodID getKind - Obj call failed!\n"),
    E("getStatusChangeBitMap", DVH_FIELD(SP, ChangeBitMap), Conv::GetInt,
      "GetMethodID getStatusChangeBitMap - Obj call failed!\n"),
    E("getPriority", DVH_FIELD(SP, Priority), Conv::GetInt, "GetMethodID getPriority - Obj call failed!\n"),
    AddrFromJava("getTunnelIPAddr", offsetof(SP, TunnelIPAddr), "GetMethodID  getIPAddr call failed!\n"),
    AddrFromJava("getSourceAddr", offsetof(SP, SourceAddr), "GetMethodID  getIPAddr call failed!\n"),
    E("getDestType", DVH_LOW_BYTE(SP, DestType), Conv::GetInt, "GetMethodID getDestType - Obj call failed!\n"),
    AddrFromJava("getDestStartAddr", offsetof(SP, DestStartAddr), "GetMethodID  getDestStartAddr call failed!\n"),
    E("getEnabledTarget", DVH_FIELD(SP, EnabledTarget), Conv::GetInt, "GetMethodID getEnabledTarget call failed!\n"),
    AddrFromJava("getDestEndAddr", offsetof(SP, DestEndAddr), "GetMethodID  getDestEndAddr call failed!\n"),
    E("getAction", DVH_LOW_BYTE(SP, Action), Conv::GetInt, "GetMethodID getAction - Obj call failed!\n"),
    E("getProtocol", DVH_FIELD(SP, Protocol), Conv::GetInt, "GetMethodID getProtocol - Obj call failed!\n"),
    E("getPort", DVH_FIELD(SP, DestPort), Conv::GetInt, "GetMethodID getPort - Obj call failed!\n"),
    E("getPolicyName", DVH_FIELD(SP, PolicyName), Conv::GetText, "GetMethodID call failed!\n",
      sizeof(SP::PolicyName)),
    Clamped("getNumTransforms", DVH_FIELD(SP, NumberOfTransforms), kMaxTransforms,
            "GetMethodID getNumTransforms - Obj call failed!\n"),
};
// After the transforms.
constexpr Step kSourcePortFromJava[] = {
    E("getSourcePort", DVH_FIELD(SP, SourcePort), Conv::GetInt, "GetMethodID getSourcePort - Obj call failed!\n"),
};
// Kinds other than IKE: negotiated or manual keys ...
constexpr Step kKeyingFromJava[] = {
    E("getAutoIPSec", DVH_FIELD(SP, AutoIPSec), Conv::GetBool, "GetMethodID getAutoIPSec - Obj call failed!\n", 1),
    E("getAssociatedIke", DVH_FIELD(SP, AssociatedIKEPolicy), Conv::GetInt, "GetMethodID getSPI - Obj call failed!\n"),
};
// ... and, with manual keys only, the keys and SPI.
constexpr Step kManualKeysFromJava[] = {
    Clamped("getEncryptKeyLen", DVH_FIELD(SP, EncryptKeyLen), kMaxKeyLength,
            "GetMethodID getEncryptKeyLen - Obj call failed!\n"),
    TextOfLength("getEncryptKey", DVH_FIELD(SP, EncryptKey), offsetof(SP, EncryptKeyLen), "GetMethodID call failed!\n"),
    Clamped("getEncryptIVLen", DVH_FIELD(SP, EncryptIVLen), kMaxKeyLength,
            "GetMethodID getEncryptIVLen - Obj call failed!\n"),
    TextOfLength("getEncryptIV", DVH_FIELD(SP, EncryptIV), offsetof(SP, EncryptIVLen), "GetMethodID call failed!\n"),
    Clamped("getAuthKeyLen", DVH_FIELD(SP, AuthKeyLen), kMaxKeyLength, "GetMethodID getAuthKeyLen - Obj call failed!\n"),
    TextOfLength("getAuthKey", DVH_FIELD(SP, AuthKey), offsetof(SP, AuthKeyLen), "GetMethodID call failed!\n"),
    E("getSPI", DVH_FIELD(SP, SPI), Conv::GetInt, "GetMethodID getSPI - Obj call failed!\n"),
};
// IKE policies: the IKE parameters and the pre-shared key.
constexpr Step kIkeFromJava[] = {
    E("getIKEMode", DVH_LOW_BYTE(SP, IKEMode), Conv::GetInt, "GetMethodID getIKEMode - Obj call failed!\n"),
    E("getIKEPFS", DVH_FIELD(SP, IKEPFS), Conv::GetBool, "GetMethodID getIKEPFS - Obj call failed!\n", 1),
    E("getIKEDirection", DVH_FIELD(SP, IKEDirection), Conv::GetInt, "GetMethodID getIKEDirection - Obj call failed!\n"),
    Clamped("getPreSharedKeyLen", DVH_FIELD(SP, PreSharedKeyLen), kMaxKeyLength,
            "GetMethodID getPreSharedKeyLen - Obj call failed!\n"),
    TextOfLength("getPreSharedKey", DVH_FIELD(SP, PreSharedKey), offsetof(SP, PreSharedKeyLen),
                 "GetMethodID call failed!\n"),
};

// --- SecurityTransform -> SECTRANSFORM ------------------------------------------

constexpr Step kTransformFromJava[] = {
    E("getLevel", DVH_LOW_BYTE(ST, Level), Conv::GetInt, "GetMethodID getLevel - Obj call failed!\n"),
    E("getEncryptAlgo", DVH_LOW_BYTE(ST, EncryptAlgo), Conv::GetInt, "GetMethodID getEncryptAlgo - Obj call failed!\n"),
    E("getAuthAlgo", DVH_LOW_BYTE(ST, AuthAlgo), Conv::GetInt, "GetMethodID getIPSecMode - Obj call failed!\n"),
    E("getKBytesLife", DVH_FIELD(ST, KBytesLife), Conv::GetInt, "GetMethodID getKBytesLife - Obj call failed!\n"),
    E("getSecondsLife", DVH_FIELD(ST, SecondsLife), Conv::GetInt, "GetMethodID getSecondsLife - Obj call failed!\n"),
    E("getType", DVH_LOW_BYTE(ST, Type), Conv::GetInt, "GetMethodID getSecondsLife - Obj call failed!\n"),
};
// Transforms of type 1 carry IKE parameters, the others an IPsec mode.
constexpr Step kIkeTransformFromJava[] = {
    E("getGroup", DVH_LOW_BYTE(ST, Group), Conv::GetInt, "GetMethodID getGroup - Obj call failed!\n"),
    E("getIKEAuthMethod", DVH_LOW_BYTE(ST, IKEAuthMethod), Conv::GetInt, "GetMethodID getGroup - Obj call failed!\n"),
};
constexpr Step kIPsecTransformFromJava[] = {
    E("getIPSecMode", DVH_LOW_BYTE(ST, IPSecMode), Conv::GetInt, "GetMethodID getIPSecMode - Obj call failed!\n"),
};

static_assert(steps::validSteps(kPolicyToJava) && steps::validSteps(kManualKeysToJava) &&
                  steps::validSteps(kPolicyTailToJava) && steps::validSteps(kTransformToJava) &&
                  steps::validSteps(kPolicyFromJava) && steps::validSteps(kSourcePortFromJava) &&
                  steps::validSteps(kKeyingFromJava) && steps::validSteps(kManualKeysFromJava) &&
                  steps::validSteps(kIkeFromJava) && steps::validSteps(kTransformFromJava) &&
                  steps::validSteps(kIkeTransformFromJava) && steps::validSteps(kIPsecTransformFromJava),
              "security policy accessor tables");

// True for a non-null object of class `cls` (or a subclass): accessors looked
// up on `cls` are never called on anything else.
bool isA(JNIEnv* env, jobject obj, jclass cls)
{
    return obj && cls && env->IsInstanceOf(obj, cls) == JNI_TRUE;
}

// Hands each of the record's transforms to the policy object as a new
// SecurityTransform.
jint transformsToJava(JNIEnv* env, jobject policy, jclass policyClass, const SECURITYPOLICY* record)
{
    LocalRef<jclass> transformClass = modelClass(env, "SecurityTransform");
    if (!transformClass) {
        std::printf("Find Transform class call failed!\n");
        return kStatusClassNotFound;
    }
    for (uint32_t i = 0; i < record->NumberOfTransforms; ++i) {
        LocalRef<jobject> transform = newObject(env, transformClass.get());
        if (!transform) {
            std::printf("New Security Policy Object failed!\n");
            return kStatusNullObject;
        }
        DVH_TRY(steps::toJava(env, transform.get(), transformClass.get(), &record->Transforms[i], kTransformToJava));
        jmethodID add = methodId(env, policyClass, "addTransform", kTransformAdderSig);
        if (!add) {
            std::printf("GetMethodID addSecurityPolicyEntry - Obj call failed!\n");
            return kStatusLookupFailed;
        }
        env->CallVoidMethod(policy, add, transform.get());
        if (thrown(env))
            return kStatusJavaThrew;
    }
    return kStatusOk;
}

// Reads NumberOfTransforms transforms through getTransform(i).
jint transformsFromJava(JNIEnv* env, jobject policy, jclass policyClass, SECURITYPOLICY* record)
{
    for (uint32_t i = 0; i < record->NumberOfTransforms && i < kMaxTransforms; ++i) {
        LocalRef<jclass> transformClass = modelClass(env, "SecurityTransform");
        if (!transformClass) {
            std::printf("Find transform class call failed!\n");
            return kStatusClassNotFound;
        }
        jmethodID getTransform = methodId(env, policyClass, "getTransform", kTransformGetterSig);
        if (!getTransform) {
            std::printf("GetMethodID getTransform - Obj call failed!\n");
            return kStatusLookupFailed;
        }
        LocalRef<jobject> transform(env, env->CallObjectMethod(policy, getTransform, static_cast<jint>(i)));
        if (thrown(env))
            return kStatusJavaThrew;
        // A missing transform is refused rather than used.
        if (!transform) {
            std::printf("NULL javaTransformObject!\n");
            return kStatusNullObject;
        }
        SECTRANSFORM* t = &record->Transforms[i];
        DVH_TRY(steps::walk(env, transform.get(), transformClass.get(), t, kTransformFromJava));
        if (t->Type == kIkeTransformType)
            DVH_TRY(steps::walk(env, transform.get(), transformClass.get(), t, kIkeTransformFromJava));
        else
            DVH_TRY(steps::walk(env, transform.get(), transformClass.get(), t, kIPsecTransformFromJava));
    }
    return kStatusOk;
}

}  // namespace

// ---------------------------------------------------------------------------
// Converters
// ---------------------------------------------------------------------------

jint setSecurityPolicyEntryToJava(JNIEnv* env, jobject javaSecurityPolicyEntryObject, const SECURITYPOLICY* pPolicies)
{
    LocalRef<jclass> cls = modelClass(env, "SecurityPolicyEntry");
    if (!cls) {
        std::printf("Find Device class call failed!\n");
        return kStatusClassNotFound;
    }
    jobject obj = javaSecurityPolicyEntryObject;
    if (!isA(env, obj, cls.get())) {
        std::printf("NULL javaSecurityPolicyEntryObject!\n");
        return kStatusNullObject;
    }
    DVH_TRY(steps::toJava(env, obj, cls.get(), pPolicies, kPolicyToJava));
    if (pPolicies->AutoIPSec == 0)
        DVH_TRY(steps::toJava(env, obj, cls.get(), pPolicies, kManualKeysToJava));
    DVH_TRY(steps::toJava(env, obj, cls.get(), pPolicies, kPolicyTailToJava));
    // A count the record cannot hold: the entry goes without transforms.
    if (pPolicies->NumberOfTransforms > kMaxTransforms)
        return kStatusOk;
    return transformsToJava(env, obj, cls.get(), pPolicies);
}

jint getSecurityPolicyEntryFromJava(JNIEnv* env, jobject javaPolicyObject, SECURITYPOLICY* pPolicy)
{
    LocalRef<jclass> cls = modelClass(env, "SecurityPolicyEntry");
    if (!cls) {
        std::printf("Find Policy class call failed!\n");
        return kStatusClassNotFound;
    }
    jobject obj = javaPolicyObject;
    if (!isA(env, obj, cls.get())) {
        std::printf("NULL javaPolicyObject!\n");
        return kStatusNullObject;
    }
    DVH_TRY(steps::walk(env, obj, cls.get(), pPolicy, kPolicyFromJava));
    DVH_TRY(transformsFromJava(env, obj, cls.get(), pPolicy));
    DVH_TRY(steps::walk(env, obj, cls.get(), pPolicy, kSourcePortFromJava));
    if (pPolicy->PolicyKind != kIkePolicyKind) {
        DVH_TRY(steps::walk(env, obj, cls.get(), pPolicy, kKeyingFromJava));
        if (pPolicy->AutoIPSec != 0)
            return kStatusOk;
        return steps::walk(env, obj, cls.get(), pPolicy, kManualKeysFromJava);
    }
    return steps::walk(env, obj, cls.get(), pPolicy, kIkeFromJava);
}

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

namespace {

// Delivers the slots in use, at most `numEntries` of them, in slot order.
jint deliverPolicies(JNIEnv* env, jobject jHBA, jclass hbaClass, jclass policyClass,
                     const std::vector<SECURITYPOLICY>& table, uint32_t numEntries)
{
    for (uint32_t i = 0; i < kPolicySlots; ++i) {
        const SECURITYPOLICY& slot = table[i];
        if (slot.PolicyKind == 0)
            continue;
        if (numEntries == 0)
            break;
        --numEntries;
        LocalRef<jobject> entry = newObject(env, policyClass);
        if (!entry) {
            std::printf("New Security Policy Object failed!\n");
            return kStatusNullObject;
        }
        if (setSecurityPolicyEntryToJava(env, entry.get(), &slot) != kStatusOk) {
            if (thrown(env))
                return kStatusJavaThrew;
            std::printf("setSecurityPolicyEntryToJava() failed!\n");
            return kStatusNullObject;
        }
        jmethodID add = methodId(env, hbaClass, "addSecurityPolicyEntry", kPolicyAdderSig);
        if (!add) {
            std::printf("GetMethodID addSecurityPolicyEntry - Obj call failed!\n");
            return kStatusLookupFailed;
        }
        // The name field need not end with a zero byte.
        std::printf("JNI: About to set in Java Security index %d Name: %.*s\n", static_cast<int>(i),
                    static_cast<int>(sizeof slot.PolicyName), reinterpret_cast<const char*>(slot.PolicyName));
        env->CallVoidMethod(jHBA, add, entry.get());
        if (thrown(env))
            return kStatusJavaThrew;
    }
    return kStatusOk;
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getSecurityPoliciesTable(JNIEnv* env, jobject,
                                                                                         jint dev, jobject jHBA)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SDMGT_HANDLE handle = handleAt(dev);
    HBAISCSIPORTAL portal{};
    (void)SDGetHbaDevicePortalPropertyiSCSI(handle, 0, &portal);

    std::vector<SECURITYPOLICY> table(kPolicySlots);
    uint32_t numEntries = kPolicySlots;
    LocalRef<jclass> hbaClass = objectClass(env, jHBA);
    SD_STATUS status = SDGetSecurityPolicyTable(handle, table.data(), &numEntries);
    std::printf("JNI: SDGetSecurityPolicyTable() returned %d numEntries\n", static_cast<int>(numEntries));

    LocalRef<jclass> policyClass = modelClass(env, "SecurityPolicyEntry");
    if (!policyClass) {
        std::printf("Find Security Policy class call failed!\n");
        return kStatusClassNotFound;
    }
    // The slots are delivered before the status is looked at.
    DVH_TRY(deliverPolicies(env, jHBA, hbaClass.get(), policyClass.get(), table, numEntries));
    if (status == 0)
        return kStatusOk;
    std::printf("JNI: SDGetIPSecPolicyTable call failed! %x \n", status);
    return kStatusNullObject;
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setSecurityPolicies(JNIEnv* env, jobject, jint dev,
                                                                                    jobjectArray jPolicies)
{
    if (!jPolicies) {
        std::printf("NULL jArray!\n");
        return kStatusNullObject;
    }
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SDMGT_HANDLE handle = handleAt(dev);
    jsize n = env->GetArrayLength(jPolicies);
    std::printf("JNI: setSecurityPolicies() numEntries: %d\n", static_cast<int>(n));
    if (n <= 0 || n > static_cast<jsize>(kPolicySlots)) {
        std::printf("JNI: setSecurityPolicies: bad numEntries %d\n", static_cast<int>(n));
        return kStatusOk;
    }
    LocalRef<jclass> policyClass = modelClass(env, "SecurityPolicyEntry");
    if (!policyClass) {
        std::printf("Find Policy class call failed!\n");
        return kStatusClassNotFound;
    }
    std::vector<SECURITYPOLICY> table(static_cast<size_t>(n));
    jint conversion = kStatusOk;
    for (jsize i = 0; i < n; ++i) {
        LocalRef<jobject> element(env, env->GetObjectArrayElement(jPolicies, i));
        if (thrown(env))
            return kStatusJavaThrew;
        // An element of another class is refused like a missing one.
        if (!isA(env, element.get(), policyClass.get())) {
            std::printf("NULL javaPolicyObject!\n");
            return kStatusNullObject;
        }
        // A failed conversion still sends what it filled in.
        jint status = getSecurityPolicyEntryFromJava(env, element.get(), &table[static_cast<size_t>(i)]);
        if (status == kStatusJavaThrew || thrown(env))
            return kStatusJavaThrew;
        if (status != kStatusOk)
            conversion = status;
    }
    SD_STATUS status = SDSetSecurityPolicyTable(handle, table.data(), static_cast<uint32_t>(n), 1);
    if (status == 0)
        return conversion;
    std::printf("JNI: setSecurityPolicyTable() failed... %x index: %d\n", status, static_cast<int>(n));
    return static_cast<jint>(status);
}

}  // extern "C"
