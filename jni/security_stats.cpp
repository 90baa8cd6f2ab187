// The IPsec engine's information, counters and security associations: the
// version texts and forty counters onto the adapter object, and the live IKE
// and IPsec SAs onto the policies the Java side holds. Also the SA flush.
#include <cstdio>
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

constexpr uint32_t kIkeSaCapacity = 200;  // what the IKE SA array holds
constexpr jint kIkePolicyKind = 3;

using SI = SECINFO;
using SS = HBASECURITYSTATS;
using IK = IKESA;
using IP = IPSECSA;

constexpr Field kSecurityInfo[] = {
    M("setSecurityFWVersion", DVH_FIELD(SI, SecurityFWVersion), Conv::SetText)
        .message("GetMethodID call failed!\n")
        .nullString("NULL FW version!\n"),
    M("setSecurityIKEVersion", DVH_FIELD(SI, SecurityIKEVersion), Conv::SetText)
        .message("GetMethodID call failed!\n")
        .nullString("NULL FW version!\n"),
};

// Unsigned values, big-endian. Record order, except that the attempted-IKE-SA
// counters go responder, total, initiator.
constexpr Field kCounters[] = {
    M("setTotalOutIPsecPkts", DVH_FIELD(SS, TotalOutIPsecPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalInIPsecPkts", DVH_FIELD(SS, TotalInIPsecPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setOutDiscardIPsecPkts", DVH_FIELD(SS, OutDiscardIPsecPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setInDiscardIPsecPkts", DVH_FIELD(SS, InDiscardIPsecPkts), Conv::SetBigIntReversed)
        .message("GetMethodID - setInDiscardPkts call failed!\n"),
    M("setOutBypassIPsecPkts", DVH_FIELD(SS, OutBypassIPsecPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setInBypassIPsecPkts", DVH_FIELD(SS, InBypassIPsecPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalCreatedIPsecSAs", DVH_FIELD(SS, TotalCreatedIPsecSAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalMatchIPsecSAs", DVH_FIELD(SS, TotalMatchIPsecSAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalMisMatchIPsecSAs", DVH_FIELD(SS, TotalMisMatchIPsecSAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalIPsecSABundles", DVH_FIELD(SS, TotalIPsecSABundles), Conv::SetBigIntReversed, Msg::Dash),
    M("setOutEncryptFailIPsecCount", DVH_FIELD(SS, OutEncryptFailIPsecCount), Conv::SetBigIntReversed)
        .message("GetMethodID - setOutEncrptFailIPsecCount call failed!\n"),
    M("setOutAuthFailIPsecCount", DVH_FIELD(SS, OutAuthFailIPsecCount), Conv::SetBigIntReversed, Msg::Dash),
    M("setInUnknownProtocolIPsec", DVH_FIELD(SS, InUnknownProtocolIPsec), Conv::SetBigIntReversed, Msg::Dash),
    M("setInUnknownAlgorithmIPsec", DVH_FIELD(SS, InUnknownAlgorithmIPsec), Conv::SetBigIntReversed, Msg::Dash),
    M("setCurrentInESPSAs", DVH_FIELD(SS, CurrentInESPSAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setCurrentOutESPSAs", DVH_FIELD(SS, CurrentOutESPSAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalInESPSAs", DVH_FIELD(SS, TotalInESPSAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalOutESPSAs", DVH_FIELD(SS, TotalOutESPSAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setCurrentIKESAs", DVH_FIELD(SS, CurrentIKESAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setCurrentInitIKESAs", DVH_FIELD(SS, CurrentInitIKESAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setCurrentRespIKESAs", DVH_FIELD(SS, CurrentRespIKESAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalInitIKESAs", DVH_FIELD(SS, TotalInitIKESAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalRespIKESAs", DVH_FIELD(SS, TotalRespIKESAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalAttemptedRespIKESAs", DVH_FIELD(SS, TotalAttemptedRespIKESAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalAttemptedIKESAs", DVH_FIELD(SS, TotalAttemptedIKESAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalAttemptedInitIKESAs", DVH_FIELD(SS, TotalAttemptedInitIKESAs), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalInIKEPkts", DVH_FIELD(SS, TotalInIKEPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalOutIKEPkts", DVH_FIELD(SS, TotalOutIKEPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalInIKEBytes", DVH_FIELD(SS, TotalInIKEBytes), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalOutIKEBytes", DVH_FIELD(SS, TotalOutIKEBytes), Conv::SetBigIntReversed, Msg::Dash),
    M("setIPsecDecryptionErrors", DVH_FIELD(SS, IPsecDecryptionErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setIPsecAuthErrors", DVH_FIELD(SS, IPsecAuthErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setIPsecReplayErrors", DVH_FIELD(SS, IPsecReplayErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setIPsecPolicyErrors", DVH_FIELD(SS, IPsecPolicyErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setIPsecOtherRxErrors", DVH_FIELD(SS, IPsecOtherRxErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setIPsecTxErrors", DVH_FIELD(SS, IPsecTxErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setIPsecUknownSPIErrors", DVH_FIELD(SS, IPsecUknownSPIErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalNoIKEResponses", DVH_FIELD(SS, TotalNoIKEResponses), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalIKEResponseErrors", DVH_FIELD(SS, TotalIKEResponseErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setTotalInvalidIKECookies", DVH_FIELD(SS, TotalInvalidIKECookies), Conv::SetBigIntReversed, Msg::Dash),
};

constexpr Field kIkeSA[] = {
    M("setPolicyPriority", DVH_FIELD(IK, Priority), Conv::SetInt, Msg::Dash),
    M("setInitiatorCookie", DVH_FIELD(IK, InitiatorCookie), Conv::SetBigIntReversed, Msg::Dash),
    M("setResponderCookie", DVH_FIELD(IK, ResponderCookie), Conv::SetBigIntReversed, Msg::Dash),
    M("setPeerMajorVersion", DVH_FIELD(IK, PeerMajorVersion), Conv::SetShort, Msg::Dash),
    M("setPeerMinorVersion", DVH_FIELD(IK, PeerMinorVersion), Conv::SetShort, Msg::Dash),
    M("setIPAddress", DVH_FIELD(IK, RemoteIPAddr), Conv::SetIPAddr),
    M("setSADOI", DVH_FIELD(IK, SADOI), Conv::SetBigIntReversed, Msg::Dash),
    M("setRemotePort", DVH_FIELD(IK, RemotePort), Conv::SetInt, Msg::Dash),
    M("setLocalPort", DVH_FIELD(IK, LocalPort), Conv::SetInt, Msg::Dash),
    M("setLocallyInitiated", DVH_FIELD(IK, LocallyInitiated), Conv::SetShort, Msg::Dash),
    M("setStatus", DVH_FIELD(IK, Status), Conv::SetInt, Msg::Dash),
    M("setExchangeType", DVH_FIELD(IK, ExchangeType), Conv::SetInt, Msg::Dash),
    M("setTime", DVH_FIELD(IK, Time), Conv::SetBigIntReversed, Msg::Dash),
    M("setOutPkts", DVH_FIELD(IK, OutPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setInPkts", DVH_FIELD(IK, InPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setOutBytes", DVH_FIELD(IK, OutBytes), Conv::SetBigIntReversed, Msg::Dash),
    M("setInBytes", DVH_FIELD(IK, InBytes), Conv::SetBigIntReversed, Msg::Dash),
};

constexpr Field kIPsecSA[] = {
    M("setOutHardTimeLimit", DVH_FIELD(IP, OutHardTimeLimit), Conv::SetBigIntReversed, Msg::Dash),
    M("setInHardTimeLimit", DVH_FIELD(IP, InHardTimeLimit), Conv::SetBigIntReversed)
        .message("GetMethodID - setOutHardTimeLimit call failed!\n"),
    M("setOutHardByteLimit", DVH_FIELD(IP, OutHardByteLimit), Conv::SetBigIntReversed, Msg::Dash),
    M("setInHardByteLimit", DVH_FIELD(IP, InHardByteLimit), Conv::SetBigIntReversed, Msg::Dash),
    M("setOutSoftTimeLimit", DVH_FIELD(IP, OutSoftTimeLimit), Conv::SetBigIntReversed, Msg::Dash),
    M("setInSoftTimeLimit", DVH_FIELD(IP, InSoftTimeLimit), Conv::SetBigIntReversed)
        .message("GetMethodID - setOutSoftTimeLimit call failed!\n"),
    M("setOutSoftByteLimit", DVH_FIELD(IP, OutSoftByteLimit), Conv::SetBigIntReversed, Msg::Dash),
    M("setInSoftByteLimit", DVH_FIELD(IP, InSoftByteLimit), Conv::SetBigIntReversed)
        .message("GetMethodID - setOutSoftByteLimit call failed!\n"),
    M("setOutAuthAlg", DVH_FIELD(IP, OutAuthAlg), Conv::SetInt, Msg::Dash),
    M("setInAuthAlg", DVH_FIELD(IP, InAuthAlg), Conv::SetInt, Msg::Dash),
    M("setReplayWindowSize", DVH_FIELD(IP, ReplayWindowSize), Conv::SetBigIntReversed, Msg::Dash),
    M("setSPI", DVH_FIELD(IP, SPI), Conv::SetBigIntReversed, Msg::Dash),
    M("setInEncryptionAlg", DVH_FIELD(IP, InEncryptionAlg), Conv::SetInt, Msg::Dash),
    M("setOutEncryptionAlg", DVH_FIELD(IP, OutEncryptionAlg), Conv::SetInt, Msg::Dash),
    M("setOutPkts", DVH_FIELD(IP, OutPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setInPkts", DVH_FIELD(IP, InPkts), Conv::SetBigIntReversed, Msg::Dash),
    M("setOutBytes", DVH_FIELD(IP, OutBytes), Conv::SetBigIntReversed, Msg::Dash),
    M("setInBytes", DVH_FIELD(IP, InBytes), Conv::SetBigIntReversed, Msg::Dash),
    M("setAuthErrors", DVH_FIELD(IP, AuthErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setReplayErrors", DVH_FIELD(IP, ReplayErrors), Conv::SetBigIntReversed, Msg::Dash),
    M("setPadErrors", DVH_FIELD(IP, PadErrors), Conv::SetBigIntReversed, Msg::Dash),
};

// Each SA becomes a new SecurityAssociationDetails handed to the policy.
constexpr const char* kSAClassMissing = "Find SADetails class call failed!\n";
constexpr const char* kSANotMade = "New SADetails Object failed!\n";
constexpr const char* kSAAdderMissing = "GetMethodID addSADetails for SecurityPolicyEntry call failed!\n";
constexpr marshal::ObjectRecipe kIkeSAObject =
    marshal::objectRecipe("SecurityAssociationDetails", kIkeSA, kSAClassMissing, kSANotMade);
constexpr marshal::ObjectRecipe kIPsecSAObject =
    marshal::objectRecipe("SecurityAssociationDetails", kIPsecSA, kSAClassMissing, kSANotMade);
constexpr Field kAddIkeSA[] = {
    M("addSecurityAssociation", 0, sizeof(IK), Conv::AddNew).message(kSAAdderMissing).object(kIkeSAObject),
};
constexpr Field kAddIPsecSA[] = {
    M("addSecurityAssociation", 0, sizeof(IP), Conv::AddNew).message(kSAAdderMissing).object(kIPsecSAObject),
};

static_assert(sizeof kCounters / sizeof kCounters[0] == 40, "forty security counters");
static_assert(marshal::validTable(kSecurityInfo) && marshal::validTable(kCounters) && marshal::validTable(kIkeSA) &&
                  marshal::validTable(kIPsecSA) && marshal::validTable(kAddIkeSA) &&
                  marshal::validTable(kAddIPsecSA),
              "security statistics accessor tables");

constexpr Method kGetSecurityStats = method("getSecurityStats", "()Lcom/norvik/dvh/iscsi/model/SecurityStats;");
constexpr Method kGetNumberOfPolicies = method("getNumberOfSecurityPolicyEntries", "()I", Msg::Obj);
constexpr Method kGetPolicy =
    method("getSecurityPolicyEntry", "(I)Lcom/norvik/dvh/iscsi/model/SecurityPolicyEntry;");
constexpr Method kGetKind = method("getKind", "()I", Msg::Obj);
constexpr Method kGetPriority =
    method("getPriority", "()I").message("GetMethodID getPriority for SecurityPolicyEntry call failed!\n");
constexpr Method kClearSADetails = method("clearSADetails", "()V");

}  // namespace

// ---------------------------------------------------------------------------
// Security associations
// ---------------------------------------------------------------------------

// More IPsec SAs than any adapter keeps for one policy (8 MiB of records).
constexpr uint32_t kMaxIPsecSAsPerPolicy = 65536;

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
    // A count no adapter has (a damaged answer) is read as no SAs, like a count no buffer can
    // hold: asking the allocator for gigabytes would take the server's memory, or end it.
    if (*psaCount > kMaxIPsecSAsPerPolicy) {
        *psaCount = 0;
        return static_cast<SD_STATUS>(kStatusNullObject);
    }
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
    jint priority = 0;
    DVH_TRY(marshal::call(env, priority, policy, cls.get(), kGetPriority));
    const IKESA* match = nullptr;
    for (uint32_t i = 0; i < saCount && !match; ++i)
        if (ikeSAs[i].Priority == static_cast<uint32_t>(priority))
            match = &ikeSAs[i];
    // Without an IKE SA the policy keeps the SAs it had.
    if (!match)
        return kStatusOk;
    DVH_TRY(marshal::callVoid(env, policy, cls.get(), kClearSADetails));
    return marshal::toJava(env, policy, cls.get(), match, kAddIkeSA);
}

jint processIPsecSADetails(JNIEnv* env, SDMGT_HANDLE device, jobject javaPolicyEntry)
{
    jobject policy = javaPolicyEntry;
    LocalRef<jclass> cls = objectClass(env, policy);
    DVH_TRY(marshal::callVoid(env, policy, cls.get(), kClearSADetails));
    if (!modelClass(env, "SecurityAssociationDetails")) {
        std::printf("%s", kSAClassMissing);
        return kStatusClassNotFound;
    }
    jint priority = 0;
    DVH_TRY(marshal::call(env, priority, policy, cls.get(), kGetPriority));
    uint32_t count = 0;
    std::vector<IPSECSA> sas;
    // A failed read leaves the policy without SAs.
    if (getIPsecSAArray(device, static_cast<uint32_t>(priority), &count, sas) != 0 || sas.size() != count)
        count = 0;
    for (uint32_t j = 0; j < count; ++j)
        DVH_TRY(marshal::toJava(env, policy, cls.get(), &sas[j], kAddIPsecSA));
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
    jint n = 0;
    DVH_TRY(marshal::call(env, n, jHBA, hbaClass, kGetNumberOfPolicies));
    jint kept = kStatusOk;
    for (jint i = 0; i < n; ++i) {
        std::printf("JNI: getting SA Details for entry %d\n", static_cast<int>(i));
        std::fflush(stdout);
        LocalRef<jobject> entry;
        DVH_TRY(marshal::call(env, entry, jHBA, hbaClass, kGetPolicy, i));
        if (!entry) {
            std::printf("NULL jPolicyEntry!\n");
            return kStatusNullObject;
        }
        LocalRef<jclass> entryClass = objectClass(env, entry.get());
        jint kind = 0;
        DVH_TRY(marshal::call(env, kind, entry.get(), entryClass.get(), kGetKind));
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
    return marshal::toJava(env, jHBA, hbaClass.get(), &info, kSecurityInfo);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSISecurityStatistics(JNIEnv* env, jobject,
                                                                                           jint dev, jobject jHBA)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SDMGT_HANDLE handle = handleAt(dev);
    LocalRef<jclass> hbaClass = objectClass(env, jHBA);
    LocalRef<jobject> stats;
    DVH_TRY(marshal::call(env, stats, jHBA, hbaClass.get(), kGetSecurityStats));
    if (!stats) {
        std::printf("NULL jStats!\n");
        return kStatusNullObject;
    }
    LocalRef<jclass> statsClass = objectClass(env, stats.get());

    HBASECURITYSTATS counters{};
    SD_STATUS status = SDGetSecurityStatsGen(handle, &counters);
    if (status != 0) {
        std::printf("SDGetStatisticsiSCSI call failed!\n");
        return static_cast<jint>(status);
    }
    DVH_TRY(marshal::toJava(env, stats.get(), statsClass.get(), &counters, kCounters));

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
