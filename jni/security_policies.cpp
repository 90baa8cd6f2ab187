// The IPsec security policy table: SECURITYPOLICY records (with their
// SECTRANSFORM arrays) to and from SecurityPolicyEntry and SecurityTransform
// objects, and the native methods that read and write the whole table.
#include <cstdio>
#include <cstring>
#include <vector>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal.h"
#include "security.h"
#include "toolkit.h"

using namespace dvh;
using marshal::Conv;
using marshal::Field;
using marshal::M;
using marshal::Method;
using marshal::Msg;
using marshal::method;

namespace {

constexpr uint32_t kPolicySlots = 64;
constexpr uint32_t kMaxTransforms = 16;
constexpr uint32_t kMaxKeyLength = 31;  // the 32nd byte of a key stays zero
constexpr uint32_t kIkePolicyKind = 3;
constexpr uint16_t kIkeTransformType = 1;

constexpr const char* kGeneric = "GetMethodID call failed!\n";

using SP = SECURITYPOLICY;
using ST = SECTRANSFORM;

// Offset of a member with the width of its low byte: values coming from Java
// keep only their low 8 bits, the zeroed record supplies the rest.
#define DVH_LOW_BYTE(Record, member) offsetof(Record, member), 1
// The IPv4 part of an address member: its first four bytes.
#define DVH_IPV4(Record, member) offsetof(Record, member), 4

// --- SECURITYPOLICY -> SecurityPolicyEntry ------------------------------------

constexpr Field kPolicyToJava[] = {
    M("setKind", DVH_FIELD(SP, PolicyKind), Conv::SetInt).message("GetMethodID setPolicyKind - Obj call failed!\n"),
    M("setPriority", DVH_FIELD(SP, Priority), Conv::SetInt, Msg::Obj),
    M("setProtocol", DVH_FIELD(SP, Protocol), Conv::SetInt, Msg::Obj),
    M("setTunnelIPAddr", DVH_IPV4(SP, TunnelIPAddr), Conv::SetIPAddr),
    M("setSourceAddr", DVH_IPV4(SP, SourceAddr), Conv::SetIPAddr),
    M("setDestStartAddr", DVH_IPV4(SP, DestStartAddr), Conv::SetIPAddr),
    M("setDestEndAddr", DVH_IPV4(SP, DestEndAddr), Conv::SetIPAddr),
    M("setDestType", DVH_FIELD(SP, DestType), Conv::SetInt, Msg::Obj),
    M("setAction", DVH_FIELD(SP, Action), Conv::SetInt, Msg::Obj),
    M("setPort", DVH_FIELD(SP, DestPort), Conv::SetInt, Msg::Obj),
    M("setPolicyName", DVH_FIELD(SP, PolicyName), Conv::SetText).message(kGeneric),
    M("setIKEMode", DVH_FIELD(SP, IKEMode), Conv::SetInt, Msg::Obj),
    M("setIKEPFS", DVH_FIELD(SP, IKEPFS), Conv::SetBool, Msg::Obj).mask(0xFF),
    M("setIKEDirection", DVH_FIELD(SP, IKEDirection), Conv::SetInt, Msg::Obj),
    M("setAutoIPSec", DVH_FIELD(SP, AutoIPSec), Conv::SetBool, Msg::Obj).mask(0xFF),
};
// Only for manual keys (AutoIPSec 0).
constexpr Field kManualKeysToJava[] = {
    M("setAuthKey", DVH_FIELD(SP, AuthKey), Conv::SetText).message(kGeneric),
    M("setEncryptKey", DVH_FIELD(SP, EncryptKey), Conv::SetText).message(kGeneric),
    M("setEncryptIV", DVH_FIELD(SP, EncryptIV), Conv::SetText).message(kGeneric),
    M("setSPI", DVH_FIELD(SP, SPI), Conv::SetInt, Msg::Obj),
};
constexpr Field kPolicyTailToJava[] = {
    M("setAssociatedIke", DVH_FIELD(SP, AssociatedIKEPolicy), Conv::SetInt)
        .message("GetMethodID setSPI - Obj call failed!\n"),
    M("setPreSharedKey", DVH_FIELD(SP, PreSharedKey), Conv::SetText).message(kGeneric),
    M("setSourcePort", DVH_FIELD(SP, SourcePort), Conv::SetInt, Msg::Obj),
};

// --- SECTRANSFORM -> SecurityTransform, handed to the policy ------------------

constexpr Field kTransformToJava[] = {
    M("setLevel", DVH_FIELD(ST, Level), Conv::SetInt, Msg::Obj),
    M("setEncryptAlgo", DVH_FIELD(ST, EncryptAlgo), Conv::SetInt, Msg::Obj),
    M("setIPSecMode", DVH_FIELD(ST, IPSecMode), Conv::SetInt, Msg::Obj),
    M("setAuthAlgo", DVH_FIELD(ST, AuthAlgo), Conv::SetInt, Msg::Obj),
    M("setKBytesLife", DVH_FIELD(ST, KBytesLife), Conv::SetInt, Msg::Obj),
    M("setSecondsLife", DVH_FIELD(ST, SecondsLife), Conv::SetInt, Msg::Obj),
    M("setGroup", DVH_FIELD(ST, Group), Conv::SetInt, Msg::Obj),
    M("setIKEAuthMethod", DVH_FIELD(ST, IKEAuthMethod), Conv::SetInt, Msg::Obj),
    M("setType", DVH_FIELD(ST, Type), Conv::SetInt, Msg::Obj),
};
constexpr marshal::ObjectRecipe kTransformObject = marshal::objectRecipe(
    "SecurityTransform", kTransformToJava, "Find Transform class call failed!\n", "New Security Policy Object failed!\n");
// Applied to one transform of the record at a time.
constexpr Field kAddTransform[] = {
    M("addTransform", 0, sizeof(ST), Conv::AddNew)
        .message("GetMethodID addSecurityPolicyEntry - Obj call failed!\n")
        .object(kTransformObject),
};

// --- SecurityPolicyEntry -> SECURITYPOLICY --------------------------------------

constexpr Field kPolicyFromJava[] = {
    M("getKind", DVH_LOW_BYTE(SP, PolicyKind), Conv::GetInt, Msg::Obj),
    M("getStatusChangeBitMap", DVH_FIELD(SP, ChangeBitMap), Conv::GetInt, Msg::Obj),
    M("getPriority", DVH_FIELD(SP, Priority), Conv::GetInt, Msg::Obj),
    M("getTunnelIPAddr", DVH_FIELD(SP, TunnelIPAddr), Conv::GetIPAddr).message("GetMethodID  getIPAddr call failed!\n"),
    M("getSourceAddr", DVH_FIELD(SP, SourceAddr), Conv::GetIPAddr).message("GetMethodID  getIPAddr call failed!\n"),
    M("getDestType", DVH_LOW_BYTE(SP, DestType), Conv::GetInt, Msg::Obj),
    M("getDestStartAddr", DVH_FIELD(SP, DestStartAddr), Conv::GetIPAddr, Msg::Wide),
    M("getEnabledTarget", DVH_FIELD(SP, EnabledTarget), Conv::GetInt),
    M("getDestEndAddr", DVH_FIELD(SP, DestEndAddr), Conv::GetIPAddr, Msg::Wide),
    M("getAction", DVH_LOW_BYTE(SP, Action), Conv::GetInt, Msg::Obj),
    M("getProtocol", DVH_FIELD(SP, Protocol), Conv::GetInt, Msg::Obj),
    M("getPort", DVH_FIELD(SP, DestPort), Conv::GetInt, Msg::Obj),
    M("getPolicyName", DVH_FIELD(SP, PolicyName), Conv::GetText).message(kGeneric).bound(sizeof(SP::PolicyName)),
};
constexpr Method kGetNumTransforms = method("getNumTransforms", "()I", Msg::Obj);
// After the transforms.
constexpr Field kSourcePortFromJava[] = {
    M("getSourcePort", DVH_FIELD(SP, SourcePort), Conv::GetInt, Msg::Obj),
};
// Kinds other than IKE: negotiated or manual keys ...
constexpr Field kKeyingFromJava[] = {
    M("getAutoIPSec", DVH_FIELD(SP, AutoIPSec), Conv::GetBool, Msg::Obj).mask(1),
    M("getAssociatedIke", DVH_FIELD(SP, AssociatedIKEPolicy), Conv::GetInt)
        .message("GetMethodID getSPI - Obj call failed!\n"),
};
// ... with manual keys, each key after its length (below), then the SPI.
constexpr Field kSPIFromJava[] = {
    M("getSPI", DVH_FIELD(SP, SPI), Conv::GetInt, Msg::Obj),
};
// IKE policies: the IKE parameters, then the pre-shared key (below).
constexpr Field kIkeFromJava[] = {
    M("getIKEMode", DVH_LOW_BYTE(SP, IKEMode), Conv::GetInt, Msg::Obj),
    M("getIKEPFS", DVH_FIELD(SP, IKEPFS), Conv::GetBool, Msg::Obj).mask(1),
    M("getIKEDirection", DVH_FIELD(SP, IKEDirection), Conv::GetInt, Msg::Obj),
};

// A key and its length: the length is read first and clamped to 31, then at
// most that many bytes of the key text are copied (no terminator added; the
// zeroed record keeps the 32nd byte zero). A null key leaves the field.
struct KeyField {
    Method length;
    Method text;
    uint32_t lengthOffset;
    uint32_t textOffset;
    uint32_t textWidth;
};
constexpr KeyField kManualKeys[] = {
    {method("getEncryptKeyLen", "()I", Msg::Obj), method("getEncryptKey", kStringGetterSig).message(kGeneric),
     offsetof(SP, EncryptKeyLen), DVH_FIELD(SP, EncryptKey)},
    {method("getEncryptIVLen", "()I", Msg::Obj), method("getEncryptIV", kStringGetterSig).message(kGeneric),
     offsetof(SP, EncryptIVLen), DVH_FIELD(SP, EncryptIV)},
    {method("getAuthKeyLen", "()I", Msg::Obj), method("getAuthKey", kStringGetterSig).message(kGeneric),
     offsetof(SP, AuthKeyLen), DVH_FIELD(SP, AuthKey)},
};
constexpr KeyField kPreSharedKey[] = {
    {method("getPreSharedKeyLen", "()I", Msg::Obj), method("getPreSharedKey", kStringGetterSig).message(kGeneric),
     offsetof(SP, PreSharedKeyLen), DVH_FIELD(SP, PreSharedKey)},
};

// --- SecurityTransform -> SECTRANSFORM ------------------------------------------

constexpr Method kGetTransform =
    method("getTransform", "(I)Lcom/norvik/dvh/iscsi/model/SecurityTransform;", Msg::Obj);
constexpr Field kTransformFromJava[] = {
    M("getLevel", DVH_LOW_BYTE(ST, Level), Conv::GetInt, Msg::Obj),
    M("getEncryptAlgo", DVH_LOW_BYTE(ST, EncryptAlgo), Conv::GetInt, Msg::Obj),
    M("getAuthAlgo", DVH_LOW_BYTE(ST, AuthAlgo), Conv::GetInt).message("GetMethodID getIPSecMode - Obj call failed!\n"),
    M("getKBytesLife", DVH_FIELD(ST, KBytesLife), Conv::GetInt, Msg::Obj),
    M("getSecondsLife", DVH_FIELD(ST, SecondsLife), Conv::GetInt, Msg::Obj),
    M("getType", DVH_LOW_BYTE(ST, Type), Conv::GetInt).message("GetMethodID getSecondsLife - Obj call failed!\n"),
};
// Transforms of type 1 carry IKE parameters, the others an IPsec mode.
constexpr Field kIkeTransformFromJava[] = {
    M("getGroup", DVH_LOW_BYTE(ST, Group), Conv::GetInt, Msg::Obj),
    M("getIKEAuthMethod", DVH_LOW_BYTE(ST, IKEAuthMethod), Conv::GetInt)
        .message("GetMethodID getGroup - Obj call failed!\n"),
};
constexpr Field kIPsecTransformFromJava[] = {
    M("getIPSecMode", DVH_LOW_BYTE(ST, IPSecMode), Conv::GetInt, Msg::Obj),
};

static_assert(marshal::validTable(kPolicyToJava) && marshal::validTable(kManualKeysToJava) &&
                  marshal::validTable(kPolicyTailToJava) && marshal::validTable(kTransformToJava) &&
                  marshal::validTable(kAddTransform) && marshal::validTable(kPolicyFromJava) &&
                  marshal::validTable(kSourcePortFromJava) && marshal::validTable(kKeyingFromJava) &&
                  marshal::validTable(kSPIFromJava) && marshal::validTable(kIkeFromJava) &&
                  marshal::validTable(kTransformFromJava) && marshal::validTable(kIkeTransformFromJava) &&
                  marshal::validTable(kIPsecTransformFromJava),
              "security policy accessor tables");

constexpr bool keysFit(const KeyField* keys, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        if (keys[i].textWidth <= kMaxKeyLength || keys[i].lengthOffset + 4 > keys[i].textOffset)
            return false;
    return true;
}
static_assert(keysFit(kManualKeys, 3) && keysFit(kPreSharedKey, 1), "a clamped key fits its field");

// The 32-bit getter `m` into the record at `offset`, at most `limit`
// (unsigned comparison).
jint clampedInt(JNIEnv* env, jobject obj, marshal::ClassIds& cls, const Method& m, uint8_t* record, uint32_t offset,
                uint32_t limit)
{
    jint value = 0;
    DVH_TRY(marshal::call(env, value, obj, cls, m));
    uint32_t stored = static_cast<uint32_t>(value);
    if (stored > limit)
        stored = limit;
    std::memcpy(record + offset, &stored, sizeof stored);
    return kStatusOk;
}

jint keysFromJava(JNIEnv* env, jobject obj, marshal::ClassIds& cls, SECURITYPOLICY* policy, const KeyField* keys,
                  size_t n)
{
    auto* record = reinterpret_cast<uint8_t*>(policy);
    for (size_t i = 0; i < n; ++i) {
        const KeyField& k = keys[i];
        DVH_TRY(clampedInt(env, obj, cls, k.length, record, k.lengthOffset, kMaxKeyLength));
        LocalRef<jstring> text;
        DVH_TRY(marshal::call(env, text, obj, cls, k.text));
        if (!text)
            continue;
        UtfChars chars(env, text.get());
        if (!chars)
            return kStatusJavaThrew;
        uint32_t length = 0;
        std::memcpy(&length, record + k.lengthOffset, sizeof length);
        boundedCopy(record + k.textOffset, chars.get(), length);
    }
    return kStatusOk;
}

// True for a non-null object of class `cls` (or a subclass): accessors looked
// up on `cls` are never called on anything else.
bool isA(JNIEnv* env, jobject obj, jclass cls)
{
    return obj && cls && env->IsInstanceOf(obj, cls) == JNI_TRUE;
}

// The classes a native call that reads or writes many policies meets, each
// resolved once per call: the policies' (the model class, found by name by
// the caller) and their transforms' (the model class, found by name on first
// need, and looked for again while it cannot be found), and the IPAddr class
// the addresses are made from. The accessors are looked up on these classes,
// not on the objects' own.
struct PolicyClasses {
    PolicyClasses(JNIEnv* env, jclass policyClass) : policy(env, policyClass) {}
    marshal::ClassIds policy;
    marshal::ClassIds transform;
    marshal::IPAddrMaker addresses;
};

// The SecurityTransform class; null when it cannot be found.
jclass transformClass(JNIEnv* env, PolicyClasses& classes)
{
    if (!classes.transform.get())
        classes.transform.adopt(env, modelClass(env, "SecurityTransform"));
    return classes.transform.get();
}

// Hands each of the record's transforms to the policy object as a new
// SecurityTransform.
jint transformsToJava(JNIEnv* env, jobject policy, PolicyClasses& classes, const SECURITYPOLICY* record)
{
    if (!transformClass(env, classes)) {
        std::printf("Find Transform class call failed!\n");
        return kStatusClassNotFound;
    }
    for (uint32_t i = 0; i < record->NumberOfTransforms; ++i)
        DVH_TRY(marshal::addNew(env, policy, classes.policy, classes.transform, &record->Transforms[i], kAddTransform[0]));
    return kStatusOk;
}

// Reads NumberOfTransforms transforms through getTransform(i).
jint transformsFromJava(JNIEnv* env, jobject policy, PolicyClasses& classes, SECURITYPOLICY* record)
{
    for (uint32_t i = 0; i < record->NumberOfTransforms && i < kMaxTransforms; ++i) {
        if (!transformClass(env, classes)) {
            std::printf("Find transform class call failed!\n");
            return kStatusClassNotFound;
        }
        LocalRef<jobject> transform;
        DVH_TRY(marshal::call(env, transform, policy, classes.policy, kGetTransform, static_cast<jint>(i)));
        // A missing transform is refused rather than used.
        if (!transform) {
            std::printf("NULL javaTransformObject!\n");
            return kStatusNullObject;
        }
        SECTRANSFORM* t = &record->Transforms[i];
        marshal::ClassIds& cls = classes.transform;
        DVH_TRY(marshal::fromJava(env, transform.get(), cls, t, kTransformFromJava));
        if (t->Type == kIkeTransformType)
            DVH_TRY(marshal::fromJava(env, transform.get(), cls, t, kIkeTransformFromJava));
        else
            DVH_TRY(marshal::fromJava(env, transform.get(), cls, t, kIPsecTransformFromJava));
    }
    return kStatusOk;
}

// setSecurityPolicyEntryToJava on an object of the policy class.
jint policyToJava(JNIEnv* env, jobject obj, PolicyClasses& classes, const SECURITYPOLICY* pPolicies)
{
    marshal::ClassIds& cls = classes.policy;
    DVH_TRY(marshal::toJava(env, obj, cls, classes.addresses, pPolicies, kPolicyToJava));
    if (pPolicies->AutoIPSec == 0)
        DVH_TRY(marshal::toJava(env, obj, cls, pPolicies, kManualKeysToJava));
    DVH_TRY(marshal::toJava(env, obj, cls, pPolicies, kPolicyTailToJava));
    // A count the record cannot hold: the entry goes without transforms.
    if (pPolicies->NumberOfTransforms > kMaxTransforms)
        return kStatusOk;
    return transformsToJava(env, obj, classes, pPolicies);
}

// getSecurityPolicyEntryFromJava on an object of the policy class.
jint policyFromJava(JNIEnv* env, jobject obj, PolicyClasses& classes, SECURITYPOLICY* pPolicy)
{
    marshal::ClassIds& c = classes.policy;
    DVH_TRY(marshal::fromJava(env, obj, c, pPolicy, kPolicyFromJava));
    DVH_TRY(clampedInt(env, obj, c, kGetNumTransforms, reinterpret_cast<uint8_t*>(pPolicy),
                       offsetof(SP, NumberOfTransforms), kMaxTransforms));
    DVH_TRY(transformsFromJava(env, obj, classes, pPolicy));
    DVH_TRY(marshal::fromJava(env, obj, c, pPolicy, kSourcePortFromJava));
    if (pPolicy->PolicyKind != kIkePolicyKind) {
        DVH_TRY(marshal::fromJava(env, obj, c, pPolicy, kKeyingFromJava));
        if (pPolicy->AutoIPSec != 0)
            return kStatusOk;
        DVH_TRY(keysFromJava(env, obj, c, pPolicy, kManualKeys, 3));
        return marshal::fromJava(env, obj, c, pPolicy, kSPIFromJava);
    }
    DVH_TRY(marshal::fromJava(env, obj, c, pPolicy, kIkeFromJava));
    return keysFromJava(env, obj, c, pPolicy, kPreSharedKey, 1);
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
    PolicyClasses classes(env, cls.get());
    return policyToJava(env, obj, classes, pPolicies);
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
    PolicyClasses classes(env, cls.get());
    return policyFromJava(env, obj, classes, pPolicy);
}

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

namespace {

constexpr Method kAddPolicy =
    method("addSecurityPolicyEntry", "(Lcom/norvik/dvh/iscsi/model/SecurityPolicyEntry;)V", Msg::Obj);

// Delivers the slots in use, at most `numEntries` of them, in slot order.
jint deliverPolicies(JNIEnv* env, jobject jHBA, jclass hbaClass, jclass policyClass,
                     const std::vector<SECURITYPOLICY>& table, uint32_t numEntries)
{
    marshal::ClassIds hba(env, hbaClass);
    PolicyClasses classes(env, policyClass);
    for (uint32_t i = 0; i < kPolicySlots; ++i) {
        const SECURITYPOLICY& slot = table[i];
        if (slot.PolicyKind == 0)
            continue;
        if (numEntries == 0)
            break;
        --numEntries;
        LocalRef<jobject> entry = marshal::newObject(env, classes.policy);
        if (!entry) {
            std::printf("New Security Policy Object failed!\n");
            return kStatusNullObject;
        }
        // Made from the model class, so setSecurityPolicyEntryToJava's class
        // check holds without asking.
        if (policyToJava(env, entry.get(), classes, &slot) != kStatusOk) {
            if (thrown(env))
                return kStatusJavaThrew;
            std::printf("setSecurityPolicyEntryToJava() failed!\n");
            return kStatusNullObject;
        }
        jmethodID add;
        DVH_TRY(marshal::resolve(hba, kAddPolicy, add));
        // The name field need not end with a zero byte.
        std::printf("JNI: About to set in Java Security index %d Name: %.*s\n", static_cast<int>(i),
                    static_cast<int>(sizeof slot.PolicyName), reinterpret_cast<const char*>(slot.PolicyName));
        DVH_TRY(marshal::callVoidId(env, jHBA, add, entry.get()));
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
    PolicyClasses classes(env, policyClass.get());
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
        jint status = policyFromJava(env, element.get(), classes, &table[static_cast<size_t>(i)]);
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
