// Port statistics of both controller generations, the adapter's running
// state, the counter reset, and the counters of a buffer test result.
//
// Every counter is an unsigned 64-bit value; it reaches Java as the 9-byte
// array of a non-negative big integer, its bytes as they lie in the record.
#include "statistics.h"

#include <cstddef>
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

// One named counter setter ("([B)V") and the record field it receives.
struct Counter {
    const char* setter;
    uint32_t offset;  // kLookupOnly: the setter must exist but receives nothing
    const char* missingMessage;
};
constexpr uint32_t kLookupOnly = UINT32_MAX;
constexpr const char* kCounterSig = "([B)V";
constexpr const char* kIndexedCounterSig = "([BI)V";

#define DVH_COUNTER(setter, field) \
    Counter { setter, offsetof(HBAPORTSTATISCSI, field), "GetMethodID - " setter " call failed!\n" }

// In the order the setters are called. MACEncodingErrorCount, Reserved1 and
// iSCSIUnexpectedIORxCount are not handed to Java.
constexpr Counter kNamedCounters[] = {
    DVH_COUNTER("setMACTxFramesCount", MACTxFramesCount),
    DVH_COUNTER("setMACTxBytesCount", MACTxBytesCount),
    DVH_COUNTER("setMACRxFramesCount", MACRxFramesCount),
    DVH_COUNTER("setMACRxBytesCount", MACRxBytesCount),
    DVH_COUNTER("setMACCRCErrorCount", MACCRCErrorCount),
    DVH_COUNTER("setIPTxPacketsCount", IPTxPacketsCount),
    DVH_COUNTER("setIPTxBytesCount", IPTxBytesCount),
    DVH_COUNTER("setIPTxFragmentsCount", IPTxFragmentsCount),
    DVH_COUNTER("setIPRxPacketsCount", IPRxPacketsCount),
    DVH_COUNTER("setIPRxBytesCount", IPRxBytesCount),
    DVH_COUNTER("setIPRxFragmentsCount", IPRxFragmentsCount),
    DVH_COUNTER("setIPDatagramReassemblyCount", IPDatagramReassemblyCount),
    // The first-generation record has no IPv6 counter; the setter is still required.
    Counter{"setIPv6RxPacketsCount", kLookupOnly, "GetMethodID - setIPv6RxPacketsCount call failed!\n"},
    Counter{"setIPRxPacketErrorCount", offsetof(HBAPORTSTATISCSI, IPRxPacketErrorCount),
            "GetMethodID setBus - setIPRxPacketErrorCount call failed!\n"},
    DVH_COUNTER("setIPReassemblyErrorCount", IPReassemblyErrorCount),
    DVH_COUNTER("setTCPTxSegmentsCount", TCPTxSegmentsCount),
    DVH_COUNTER("setTCPTxBytesCount", TCPTxBytesCount),
    DVH_COUNTER("setTCPRxSegmentsCount", TCPRxSegmentsCount),
    DVH_COUNTER("setTCPRxBytesCount", TCPRxBytesCount),
    DVH_COUNTER("setTCPTimerExpiredCount", TCPTimerExpiredCount),
    DVH_COUNTER("setTCPRxACKCount", TCPRxACKCount),
    DVH_COUNTER("setTCPTxACKCount", TCPTxACKCount),
    DVH_COUNTER("setTCPRxErrorSegmentCount", TCPRxErrorSegmentCount),
    DVH_COUNTER("setTCPWindowProbeUpdateCount", TCPWindowProbeUpdateCount),
    DVH_COUNTER("setiSCSITxPDUCount", iSCSITxPDUCount),
    DVH_COUNTER("setiSCSITxBytesCount", iSCSITxBytesCount),
    DVH_COUNTER("setiSCSIRxPDUCount", iSCSIRxPDUCount),
    DVH_COUNTER("setiSCSIRxBytesCount", iSCSIRxBytesCount),
    DVH_COUNTER("setiSCSICompleteIOsCount", iSCSICompleteIOsCount),
    DVH_COUNTER("setiSCSIFormatErrorCount", iSCSIFormatErrorCount),
    Counter{"setiSCSIHeaderDigestCount", offsetof(HBAPORTSTATISCSI, iSCSIHeaderDigestCount),
            "GetMethodID setBus - setiSCSIHeaderDigestCount call failed!\n"},
    DVH_COUNTER("setiSCSIDataDigestErrorCount", iSCSIDataDigestErrorCount),
    DVH_COUNTER("setiSCSISeqErrorCount", iSCSISeqErrorCount),
};
#undef DVH_COUNTER
static_assert(sizeof kNamedCounters / sizeof kNamedCounters[0] == 33, "33 named counter setters");

constexpr bool countersInRecord()
{
    for (const Counter& c : kNamedCounters)
        if (c.offset != kLookupOnly && (c.offset % 8 != 0 || c.offset + 8 > offsetof(HBAPORTSTATISCSI, Reserved)))
            return false;
    return true;
}
static_assert(countersInRecord(), "every named counter is a 64-bit counter of HBAPORTSTATISCSI");

// The adapter's running state, on the adapter object.
constexpr const char* kStateMissing = "GetMethodID call failed!\n";
constexpr Field kAdapterState[] = {
    F("setState", "(I)V", DVH_FIELD(HBAISCSIPORTAL, State), Conv::SetInt, kStateMissing),
    F("setDhcpState", "(I)V", DVH_FIELD(HBAISCSIPORTAL, dhcpState), Conv::SetInt, kStateMissing),
    F("setLinkStatus", "(I)V", DVH_FIELD(HBAISCSIPORTAL, linkStatus), Conv::SetInt, kStateMissing),
};
static_assert(marshal::validTable(kAdapterState), "adapter state accessor table");

uint64_t counterAt(const HBAPORTSTATISCSI& stats, uint32_t offset)
{
    uint64_t value;
    std::memcpy(&value, reinterpret_cast<const uint8_t*>(&stats) + offset, sizeof value);
    return value;
}

jint getStatistics(JNIEnv* env, jint dev, jobject jStats)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    // A null statistics object has no setters: the first lookup reports it.
    LocalRef<jclass> cls = objectClass(env, jStats);
    HBAPORTSTATISCSI stats{};
    SD_STATUS status = SDGetStatisticsiSCSI(handleAt(dev), &stats);
    if (status != 0) {
        std::printf("SDGetStatisticsiSCSI call failed!\n");
        return static_cast<jint>(status);
    }
    for (const Counter& c : kNamedCounters) {
        jmethodID mid = methodId(env, cls.get(), c.setter, kCounterSig);
        if (!mid) {
            std::fputs(c.missingMessage, stdout);
            return kStatusLookupFailed;
        }
        if (c.offset != kLookupOnly)
            DVH_TRY(assign64toBigInt(env, counterAt(stats, c.offset), mid, jStats));
    }
    return kStatusOk;
}

jint getStatistics6124(JNIEnv* env, jint dev, jobject jStats)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    LocalRef<jclass> cls = objectClass(env, jStats);
    HBAPORTSTATISCSIEXTEND ext{};
    SD_STATUS status = SDGetStatisticsiSCSIExtend(handleAt(dev), &ext);
    if (status != 0) {
        std::printf("SDGetStatisticsiSCSI6124 call failed!\n");
        return static_cast<jint>(status);
    }
    jmethodID mid = methodId(env, cls.get(), "setStatByIndex", kIndexedCounterSig);
    if (!mid) {
        std::printf("GetMethodID - setStatByIndex call failed!\n");
        return kStatusLookupFailed;
    }
    for (int index = 0; index < static_cast<int>(HBAPORTSTATISCSIEXTEND::CounterCount); ++index)
        DVH_TRY(assign64toBigIntByIndex(env, ext.Counters, index, mid, jStats));
    return kStatusOk;
}

jint getHBAState(JNIEnv* env, jint dev, jobject jHBA)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    HBAISCSIPORTAL portal{};
    SD_STATUS status = SDGetHbaDevicePortalPropertyiSCSI(handleAt(dev), 0, &portal);
    if (status != 0) {
        std::printf("SDGetHbaDevicePortalPropertyiSCSI call failed!\n");
        return static_cast<jint>(status);
    }
    LocalRef<jclass> cls = objectClass(env, jHBA);
    return marshal::toJava(env, jHBA, cls.get(), &portal, kAdapterState);
}

}  // namespace

void zeroOutStats(RWBUFFERTESTRESULT* testResult)
{
    if (!testResult)
        return;
    testResult->DataMiscompare = 0;
    testResult->DevicePortErrorCount = 0;
    testResult->HBAPortErrorCount = 0;
    testResult->InterruptCount = 0;
    testResult->InvalidCrcCount = 0;
    testResult->IoCount = 0;
    testResult->LinkFailureCount = 0;
}

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSIStatistics(JNIEnv* env, jobject, jint dev,
                                                                                   jobject jStats)
{
    return getStatistics(env, dev, jStats);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSIStatistics6124(JNIEnv* env, jobject,
                                                                                       jint dev, jobject jStats)
{
    return getStatistics6124(env, dev, jStats);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSIHBAState(JNIEnv* env, jobject, jint dev,
                                                                                 jobject jHBA)
{
    return getHBAState(env, dev, jHBA);
}

JNIEXPORT jboolean JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_resetISCSICounters(JNIEnv*, jobject, jint dev,
                                                                                       jint portNum)
{
    if (devOutOfRange(dev))
        return JNI_FALSE;
    SD_STATUS status = SDResetStatisticsiSCSI(handleAt(dev), static_cast<uint16_t>(portNum));
    if (status == 0)
        return JNI_TRUE;
    std::printf("SDResetiSCSICounters call failed! %x \n", status);
    return JNI_FALSE;
}

}  // extern "C"
