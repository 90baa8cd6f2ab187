// The IPsec engine's information, counters and security associations: the
// version texts and forty counters onto the adapter object, and the live IKE
// and IPsec SAs onto the policies the Java side holds. Also the SA flush.
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
using steps::AddrToJava;
using steps::BigInt;
using steps::E;
using steps::Step;

namespace {

constexpr uint32_t kIkeSaCapacity = 200;  // what the IKE SA array holds
constexpr jint kIkePolicyKind = 3;

constexpr const char* kStatsGetterSig = "()Lcom/norvik/dvh/iscsi/model/SecurityStats;";
constexpr const char* kPolicyGetterSig = "(I)Lcom/norvik/dvh/iscsi/model/SecurityPolicyEntry;";
constexpr const char* kSAAdderSig = "(Lcom/norvik/dvh/iscsi/model/SecurityAssociationDetails;)V";

using SI = SECINFO;
using SS = HBASECURITYSTATS;
using IK = IKESA;
using IP = IPSECSA;

constexpr Step kSecurityInfo[] = {
    E("setSecurityFWVersion", DVH_FIELD(SI, SecurityFWVersion), Conv::SetText, "GetMethodID call failed!\n")
        .nullString("NULL FW version!\n"),
    E("setSecurityIKEVersion", DVH_FIELD(SI, SecurityIKEVersion), Conv::SetText, "GetMethodID call failed!\n")
        .nullString("NULL FW version!\n"),
};

// Record order, except that the attempted-IKE-SA counters go responder,
// total, initiator.
constexpr Step kCounters[] = {
    BigInt("setTotalOutIPsecPkts", DVH_FIELD(SS, TotalOutIPsecPkts), "GetMethodID - setTotalOutIPsecPkts call failed!\n"),
    BigInt("setTotalInIPsecPkts", DVH_FIELD(SS, TotalInIPsecPkts), "GetMethodID - setTotalInIPsecPkts call failed!\n"),
    BigInt("setOutDiscardIPsecPkts", DVH_FIELD(SS, OutDiscardIPsecPkts), "GetMethodID - setOutDiscardIPsecPkts call failed!\n"),
    BigInt("setInDiscardIPsecPkts", DVH_FIELD(SS, InDiscardIPsecPkts), "GetMethodID - setInDiscardPkts call failed!\n"),
    BigInt("setOutBypassIPsecPkts", DVH_FIELD(SS, OutBypassIPsecPkts), "GetMethodID - setOutBypassIPsecPkts call failed!\n"),
    BigInt("setInBypassIPsecPkts", DVH_FIELD(SS, InBypassIPsecPkts), "GetMethodID - setInBypassIPsecPkts call failed!\n"),
    BigInt("setTotalCreatedIPsecSAs", DVH_FIELD(SS, TotalCreatedIPsecSAs), "GetMethodID - setTotalCreatedIPsecSAs call failed!\n"),
    BigInt("setTotalMatchIPsecSAs", DVH_FIELD(SS, TotalMatchIPsecSAs), "GetMethodID - setTotalMatchIPsecSAs call failed!\n"),
    BigInt("setTotalMisMatchIPsecSAs", DVH_FIELD(SS, TotalMisMatchIPsecSAs), "GetMethodID - setTotalMisMatchIPsecSAs call failed!\n"),
    BigInt("setTotalIPsecSABundles", DVH_FIELD(SS, TotalIPsecSABundles), "GetMethodID - setTotalIPsecSABundles call failed!\n"),
    BigInt("setOutEncryptFailIPsecCount", DVH_FIELD(SS, OutEncryptFailIPsecCount), "GetMethodID - setOutEncrptFailIPsecCount call failed!\n"),
    BigInt("setOutAuthFailIPsecCount", DVH_FIELD(SS, OutAuthFailIPsecCount), "GetMethodID - setOutAuthFailIPsecCount call failed!\n"),
    BigInt("setInUnknownProtocolIPsec", DVH_FIELD(SS, InUnknownProtocolIPsec), "GetMethodID - setInUnknownProtocolIPsec call failed!\n"),
    BigInt("setInUnknownAlgorithmIPsec", DVH_FIELD(SS, InUnknownAlgorithmIPsec), "GetMethodID - setInUnknownAlgorithmIPsec call failed!\n"),
    BigInt("setCurrentInESPSAs", DVH_FIELD(SS, CurrentInESPSAs), "GetMethodID - setCurrentInESPSAs call failed!\n"),
    BigInt("setCurrentOutESPSAs", DVH_FIELD(SS, CurrentOutESPSAs), "GetMethodID - setCurrentOutESPSAs call failed!\n"),
    BigInt("setTotalInESPSAs", DVH_FIELD(SS, TotalInESPSAs), "GetMethodID - setTotalInESPSAs call failed!\n"),
    BigInt("setTotalOutESPSAs", DVH_FIELD(SS, TotalOutESPSAs), "GetMethodID - setTotalOutESPSAs call failed!\n"),
    BigInt("setCurrentIKESAs", DVH_FIELD(SS, CurrentIKESAs), "GetMethodID - setCurrentIKESAs call failed!\n"),
    BigInt("setCurrentInitIKESAs", DVH_FIELD(SS, CurrentInitIKESAs), "GetMethodID - setCurrentInitIKESAs call failed!\n"),
    BigInt("setCurrentRespIKESAs", DVH_FIELD(SS, CurrentRespIKESAs), "GetMethodID - setCurrentRespIKESAs call failed!\n"),
    BigInt("setTotalInitIKESAs", DVH_FIELD(SS, TotalInitIKESAs), "GetMethodID - setTotalInitIKESAs call failed!\n"),
    BigInt("setTotalRespIKESAs", DVH_FIELD(SS, TotalRespIKESAs), "GetMethodID - setTotalRespIKESAs call failed!\n"),
    BigInt("setTotalAttemptedRespIKESAs", DVH_FIELD(SS, TotalAttemptedRespIKESAs), "GetMethodID - setTotalAttemptedRespIKESAs call failed!\n"),
    BigInt("setTotalAttemptedIKESAs", DVH_FIELD(SS, TotalAttemptedIKESAs), "GetMethodID - setTotalAttemptedIKESAs call failed!\n"),
    BigInt("setTotalAttemptedInitIKESAs", DVH_FIELD(SS, TotalAttemptedInitIKESAs), "GetMethodID - setTotalAttemptedInitIKESAs call failed!\n"),
    BigInt("setTotalInIKEPkts", DVH_FIELD(SS, TotalInIKEPkts), "GetMethodID - setTotalInIKEPkts call failed!\n"),
    BigInt("setTotalOutIKEPkts", DVH_FIELD(SS, TotalOutIKEPkts), "GetMethodID - setTotalOutIKEPkts call failed!\n"),
    BigInt("setTotalInIKEBytes", DVH_FIELD(SS, TotalInIKEBytes), "GetMethodID - setTotalInIKEBytes call failed!\n"),
    BigInt("setTotalOutIKEBytes", DVH_FIELD(SS, TotalOutIKEBytes), "GetMethodID - setTotalOutIKEBytes call failed!\n"),
    BigInt("setIPsecDecryptionErrors", DVH_FIELD(SS, IPsecDecryptionErrors), "GetMethodID - setIPsecDecryptionErrors call failed!\n"),
    BigInt("setIPsecAuthErrors", DVH_FIELD(SS, IPsecAuthErrors), "GetMethodID - setIPsecAuthErrors call failed!\n"),
    BigInt("setIPsecReplayErrors", DVH_FIELD(SS, IPsecReplayErrors), "GetMethodID - setIPsecReplayErrors call failed!\n"),
    BigInt("setIPsecPolicyErrors", DVH_FIELD(SS, IPsecPolicyErrors), "GetMethodID - setIPsecPolicyErrors call failed!\n"),
    BigInt("setIPsecOtherRxErrors", DVH_FIELD(SS, IPsecOtherRxErrors), "GetMethodID - setIPsecOtherRxErrors call failed!\n"),
    BigInt("setIPsecTxErrors", DVH_FIELD(SS, IPsecTxErrors), "GetMethodID - setIPsecTxErrors call failed!\n"),
    BigInt("setIPsecUknownSPIErrors", DVH_FIELD(SS, IPsecUknownSPIErrors), "GetMethodID - setIPsecUknownSPIErrors call failed!\n"),
    BigInt("setTotalNoIKEResponses", DVH_FIELD(SS, TotalNoIKEResponses), "GetMethodID - setTotalNoIKEResponses call failed!\n"),
    BigInt("setTotalIKEResponseErrors", DVH_FIELD(SS, TotalIKEResponseErrors), "GetMethodID - setTotalIKEResponseErrors call failed!\n"),
    BigInt("setTotalInvalidIKECookies", DVH_FIELD(SS, TotalInvalidIKECookies), "GetMethodID - setTotalInvalidIKECookies call failed!\n"),
};

constexpr Step kIkeSA[] = {
    E("setPolicyPriority", DVH_FIELD(IK, Priority), Conv::SetInt, "GetMethodID - setPolicyPriority call failed!\n"),
    BigInt("setInitiatorCookie", DVH_FIELD(IK, InitiatorCookie), "GetMethodID - setInitiatorCookie call failed!\n"),
    BigInt("setResponderCookie", DVH_FIELD(IK, ResponderCookie), "GetMethodID - setResponderCookie call failed!\n"),
    E("setPeerMajorVersion", DVH_FIELD(IK, PeerMajorVersion), Conv::SetShort,
      "GetMethodID - setPeerMajorVersion call failed!\n"),
    E("setPeerMinorVersion", DVH_FIELD(IK, PeerMinorVersion), Conv::SetShort,
      "GetMethodID - setPeerMinorVersion call failed!\n"),
    AddrToJava("setIPAddress", offsetof(IK, RemoteIPAddr), kAddrIPAddress),
    BigInt("setSADOI", DVH_FIELD(IK, SADOI), "GetMethodID - setSADOI call failed!\n"),
    E("setRemotePort", DVH_FIELD(IK, RemotePort), Conv::SetInt, "GetMethodID - setRemotePort call failed!\n"),
    E("setLocalPort", DVH_FIELD(IK, LocalPort), Conv::SetInt, "GetMethodID - setLocalPort call failed!\n"),
    E("setLocallyInitiated", DVH_FIELD(IK, LocallyInitiated), Conv::SetShort,
      "GetMethodID - setLocallyInitiated call failed!\n"),
    E("setStatus", DVH_FIELD(IK, Status), Conv::SetInt, "GetMethodID - setStatus call failed!\n"),
    E("setExchangeType", DVH_FIELD(IK, ExchangeType), Conv::SetInt, "GetMethodID - setExchangeType call failed!\n"),
    BigInt("setTime", DVH_FIELD(IK, Time), "GetMethodID - setTime call failed!\n"),
    BigInt("setOutPkts", DVH_FIELD(IK, OutPkts), "GetMethodID - setOutPkts call failed!\n"),
    BigInt("setInPkts", DVH_FIELD(IK, InPkts), "GetMethodID - setInPkts call failed!\n"),
    BigInt("setOutBytes", DVH_FIELD(IK, OutBytes), "GetMethodID - setOutBytes call failed!\n"),
    BigInt("setInBytes", DVH_FIELD(IK, InBytes), "GetMethodID - setInBytes call failed!\n"),
};

constexpr Step kIPsecSA[] = {
    BigInt("setOutHardTimeLimit", DVH_FIELD(IP, OutHardTimeLimit), "GetMethodID - setOutHardTimeLimit call failed!\n"),
    BigInt("setInHardTimeLimit", DVH_FIELD(IP, InHardTimeLimit), "GetMethodID - setOutHardTimeLimit call failed!\n"),
    BigInt("setOutHardByteLimit", DVH_FIELD(IP, OutHardByteLimit), "GetMethodID - setOutHardByteLimit call failed!\n"),
    BigInt("setInHardByteLimit", DVH_FIELD(IP, InHardByteLimit), "GetMethodID - setInHardByteLimit call failed!\n"),
    BigInt("setOutSoftTimeLimit", DVH_FIELD(IP, OutSoftTimeLimit), "GetMethodID - setOutSoftTimeLimit call failed!\n"),
    BigInt("setInSoftTimeLimit", DVH_FIELD(IP, InSoftTimeLimit), "GetMethodID - setOutSoftTimeLimit call failed!\n"),
    BigInt("setOutSoftByteLimit", DVH_FIELD(IP, OutSoftByteLimit), "GetMethodID - setOutSoftByteLimit call failed!\n"),
    BigInt("setInSoftByteLimit", DVH_FIELD(IP, InSoftByteLimit), "GetMethodID - setOutSoftByteLimit call failed!\n"),
    E("setOutAuthAlg", DVH_FIELD(IP, OutAuthAlg), Conv::SetInt, "GetMethodID - setOutAuthAlg call failed!\n"),
    E("setInAuthAlg", DVH_FIELD(IP, InAuthAlg), Conv::SetInt, "GetMethodID - setInAuthAlg call failed!\n"),
    BigInt("setReplayWindowSize", DVH_FIELD(IP, ReplayWindowSize), "GetMethodID - setReplayWindowSize call failed!\n"),
    BigInt("setSPI", DVH_FIELD(IP, SPI), "GetMethodID - setSPI call failed!\n"),
    E("setInEncryptionAlg", DVH_FIELD(IP, InEncryptionAlg), Conv::SetInt,
      "GetMethodID - setInEncryptionAlg call failed!\n"),
    E("setOutEncryptionAlg", DVH_FIELD(IP, OutEncryptionAlg), Conv::SetInt,
      "GetMethodID - setOutEncryptionAlg call failed!\n"),
    BigInt("setOutPkts", DVH_FIELD(IP, OutPkts), "GetMethodID - setOutPkts call failed!\n"),
    BigInt("setInPkts", DVH_FIELD(IP, InPkts), "GetMethodID - setInPkts call failed!\n"),
    BigInt("setOutBytes", DVH_FIELD(IP, OutBytes), "GetMethodID - setOutBytes call failed!\n"),
    BigInt("setInBytes", DVH_FIELD(IP, InBytes), "GetMethodID - setInBytes call failed!\n"),
    BigInt("setAuthErrors", DVH_FIELD(IP, AuthErrors), "GetMethodID - setAuthErrors call failed!\n"),
    BigInt("setReplayErrors", DVH_FIELD(IP, ReplayErrors), "GetMethodID - setReplayErrors call failed!\n"),
    BigInt("setPadErrors", DVH_FIELD(IP, PadErrors), "GetMethodID - setPadErrors call failed!\n"),
};

static_assert(sizeof kCounters / sizeof kCounters[0] == 40, "forty security counters");
static_assert(steps::validSteps(kSecurityInfo) && steps::validSteps(kCounters) && steps::validSteps(kIkeSA) &&
                  steps::validSteps(kIPsecSA),
              "security statistics accessor tables");

// Looks `name` up on `cls`; prints `missingMessage` when it is not there.
jmethodID lookup(JNIEnv* env, jclass cls, const char* name, const char* signature, const char* missingMessage)
{
    jmethodID mid = methodId(env, cls, name, signature);
    if (!mid)
        std::fputs(missingMessage, stdout);
    return mid;
}

// The policy's priority, through getPriority.
jint policyPriority(JNIEnv* env, jobject policy, jclass cls, uint32_t& priority)
{
    jmethodID getPriority =
        lookup(env, cls, "getPriority", "()I", "GetMethodID getPriority for SecurityPolicyEntry call failed!\n");
    if (!getPriority)
        return kStatusLookupFailed;
    jint value = env->CallIntMethod(policy, getPriority);
    if (thrown(env))
        return kStatusJavaThrew;
    priority = static_cast<uint32_t>(value);
    return kStatusOk;
}

jint clearSADetails(JNIEnv* env, jobject policy, jclass cls)
{
    jmethodID clear = lookup(env, cls, "clearSADetails", "()V", "GetMethodID clearSADetails call failed!\n");
    if (!clear)
        return kStatusLookupFailed;
    env->CallVoidMethod(policy, clear);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

jint addSADetails(JNIEnv* env, jobject policy, jclass cls, jobject details)
{
    jmethodID add = lookup(env, cls, "addSecurityAssociation", kSAAdderSig,
                           "GetMethodID addSADetails for SecurityPolicyEntry call failed!\n");
    if (!add)
        return kStatusLookupFailed;
    env->CallVoidMethod(policy, add, details);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

// A new SecurityAssociationDetails filled from `record` by `table`, handed
// to the policy.
template <class Record, size_t N>
jint attachSA(JNIEnv* env, jobject policy, jclass policyClass, jclass saClass, const Record& record,
              const Step (&table)[N])
{
    LocalRef<jobject> details = newObject(env, saClass);
    if (!details) {
        std::printf("New SADetails Object failed!\n");
        return kStatusNullObject;
    }
    DVH_TRY(steps::toJava(env, details.get(), saClass, &record, table));
    return addSADetails(env, policy, policyClass, details.get());
}

LocalRef<jclass> saDetailsClass(JNIEnv* env)
{
    LocalRef<jclass> cls = modelClass(env, "SecurityAssociationDetails");
    if (!cls)
        std::printf("Find SADetails class call failed!\n");
    return cls;
}

}  // namespace

// ---------------------------------------------------------------------------
// Security associations
// ---------------------------------------------------------------------------

SD_STATUS getIPsecSAArray(SDMGT_HANDLE device, uint32_t priority, uint32_t* psaCount, std::vector<IPSECSA>& psaStats)
{
    SD_STATUS status = SDGetIPsecSACountForPolicy(device, priority, psaCount);
    if (status != 0) {
        std::printf("SDM: SDGetIPsecSACountForPolicy() returned %d!, priority = %d\n", static_cast<int>(status),
                    static_cast<int>(priority));
        return status;
    }
    if (*psaCount == 0)
        return 0;
    // A count no buffer can hold is read as no SAs.
    try {
        psaStats.assign(*psaCount, IPSECSA{});
    } catch (const std::exception&) {
        psaStats.clear();
        *psaCount = 0;
        return static_cast<SD_STATUS>(kStatusNullObject);
    }
    return SDGetIPsecSAStatsDetails(device, priority, *psaCount, psaStats.data());
}

jint processIKESADetails(JNIEnv* env, SDMGT_HANDLE, jobject javaPolicyEntry, const IKESA* ikeSAs, uint32_t saCount)
{
    jobject policy = javaPolicyEntry;
    LocalRef<jclass> cls = objectClass(env, policy);
    uint32_t priority = 0;
    DVH_TRY(policyPriority(env, policy, cls.get(), priority));
    const IKESA* match = nullptr;
    for (uint32_t i = 0; i < saCount && !match; ++i)
        if (ikeSAs[i].Priority == priority)
            match = &ikeSAs[i];
    // Without an IKE SA the policy keeps the SAs it had.
    if (!match)
        return kStatusOk;
    DVH_TRY(clearSADetails(env, policy, cls.get()));
    LocalRef<jclass> saClass = saDetailsClass(env);
    if (!saClass)
        return kStatusClassNotFound;
    return attachSA(env, policy, cls.get(), saClass.get(), *match, kIkeSA);
}

jint processIPsecSADetails(JNIEnv* env, SDMGT_HANDLE device, jobject javaPolicyEntry)
{
    jobject policy = javaPolicyEntry;
    LocalRef<jclass> cls = objectClass(env, policy);
    DVH_TRY(clearSADetails(env, policy, cls.get()));
    LocalRef<jclass> saClass = saDetailsClass(env);
    if (!saClass)
        return kStatusClassNotFound;
    uint32_t priority = 0;
    DVH_TRY(policyPriority(env, policy, cls.get(), priority));
    uint32_t count = 0;
    std::vector<IPSECSA> sas;
    // A failed read leaves the policy without SAs.
    if (getIPsecSAArray(device, priority, &count, sas) != 0 || sas.size() != count)
        count = 0;
    for (uint32_t j = 0; j < count; ++j)
        DVH_TRY(attachSA(env, policy, cls.get(), saClass.get(), sas[j], kIPsecSA));
    return kStatusOk;
}

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

namespace {

// The SAs of the policies the adapter object holds: an IKE SA for each IKE
// policy that has one, the IPsec SAs for every other policy.
jint policiesSADetails(JNIEnv* env, SDMGT_HANDLE handle, jobject jHBA, jclass hbaClass, const IKESA* ikeSAs,
                       uint32_t ikeCount)
{
    jmethodID count = lookup(env, hbaClass, "getNumberOfSecurityPolicyEntries", "()I",
                             "GetMethodID getNumberOfSecurityPolicyEntries - Obj call failed!\n");
    if (!count)
        return kStatusLookupFailed;
    jint n = env->CallIntMethod(jHBA, count);
    if (thrown(env))
        return kStatusJavaThrew;
    jint kept = kStatusOk;
    for (jint i = 0; i < n; ++i) {
        std::printf("JNI: getting SA Details for entry %d\n", static_cast<int>(i));
        std::fflush(stdout);
        jmethodID getEntry = lookup(env, hbaClass, "getSecurityPolicyEntry", kPolicyGetterSig,
                                    "GetMethodID getSecurityPolicyEntry call failed!\n");
        if (!getEntry)
            return kStatusLookupFailed;
        LocalRef<jobject> entry(env, env->CallObjectMethod(jHBA, getEntry, i));
        if (thrown(env))
            return kStatusJavaThrew;
        if (!entry) {
            std::printf("NULL jPolicyEntry!\n");
            return kStatusNullObject;
        }
        LocalRef<jclass> entryClass = objectClass(env, entry.get());
        jmethodID getKind = lookup(env, entryClass.get(), "getKind", "()I", "GetMethodID getKind - Obj call failed!\n");
        if (!getKind)
            return kStatusLookupFailed;
        jint kind = env->CallIntMethod(entry.get(), getKind);
        if (thrown(env))
            return kStatusJavaThrew;
        if (kind == kIkePolicyKind) {
            jint status = processIKESADetails(env, handle, entry.get(), ikeSAs, ikeCount);
            if (status == kStatusJavaThrew)
                return status;
            if (status != kStatusOk)
                return kStatusLookupFailed;
        } else {
            kept = processIPsecSADetails(env, handle, entry.get());
            if (kept == kStatusJavaThrew)
                return kept;
        }
    }
    return kept;
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSISecurityInfo(JNIEnv* env, jobject, jint dev,
                                                                                     jobject jHBA)
{
    std::printf("JNI: getiSCSISecurityInfo() Called...\n");
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SDMGT_HANDLE handle = handleAt(dev);
    LocalRef<jclass> hbaClass = objectClass(env, jHBA);
    SECINFO info{};
    SD_STATUS status = SDGetSecurityInfo(handle, &info);
    if (status != 0) {
        std::printf("SDGetSecurityInfo call failed!\n");
        return static_cast<jint>(status);
    }
    return steps::toJava(env, jHBA, hbaClass.get(), &info, kSecurityInfo);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSISecurityStatistics(JNIEnv* env, jobject,
                                                                                           jint dev, jobject jHBA)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SDMGT_HANDLE handle = handleAt(dev);
    LocalRef<jclass> hbaClass = objectClass(env, jHBA);
    LocalRef<jobject> stats;
    DVH_TRY(getObjectField(env, jHBA, hbaClass.get(), "getSecurityStats", kStatsGetterSig,
                           "GetMethodID getSecurityStats call failed!\n", "NULL jStats!\n", stats));
    LocalRef<jclass> statsClass = objectClass(env, stats.get());

    HBASECURITYSTATS counters{};
    SD_STATUS status = SDGetSecurityStatsGen(handle, &counters);
    if (status != 0) {
        std::printf("SDGetStatisticsiSCSI call failed!\n");
        return static_cast<jint>(status);
    }
    DVH_TRY(steps::toJava(env, stats.get(), statsClass.get(), &counters, kCounters));

    std::vector<IKESA> ikeSAs(kIkeSaCapacity);
    uint32_t ikeCount = 0;
    status = SDGetAllIKESAStatsDetails(handle, ikeSAs.data(), &ikeCount);
    if (status != 0) {
        std::printf("SDGetAllIKESAStatsDetails call failed!\n");
        return static_cast<jint>(status);
    }
    // Never past the array, whatever count the library reports.
    if (ikeCount > kIkeSaCapacity)
        ikeCount = kIkeSaCapacity;
    return policiesSADetails(env, handle, jHBA, hbaClass.get(), ikeSAs.data(), ikeCount);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_flushSAs(JNIEnv*, jobject, jint dev, jint index)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    return static_cast<jint>(SDFlushSAs(handleAt(dev), static_cast<uint32_t>(index)));
}

}  // extern "C"
