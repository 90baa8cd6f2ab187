// Port statistics of both controller generations, the adapter's running
// state, the counter reset, and the counters of a buffer test result.
//
// Every counter is an unsigned 64-bit value; it reaches Java as the 9-byte
// array of a non-negative big integer, its bytes as they lie in the record.
#include "statistics.h"

#include <cstdio>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal.h"

using namespace dvh;
using marshal::Conv;
using marshal::M;
using marshal::Msg;
using marshal::Field;

namespace {

using PS = HBAPORTSTATISCSI;

// The first generation's counters, in the order the setters are called.
// MACEncodingErrorCount, Reserved1 and iSCSIUnexpectedIORxCount are not
// handed to Java.
constexpr Field kNamedCounters[] = {
    M("setMACTxFramesCount", DVH_FIELD(PS, MACTxFramesCount), Conv::SetBigInt, Msg::Dash),
    M("setMACTxBytesCount", DVH_FIELD(PS, MACTxBytesCount), Conv::SetBigInt, Msg::Dash),
    M("setMACRxFramesCount", DVH_FIELD(PS, MACRxFramesCount), Conv::SetBigInt, Msg::Dash),
    M("setMACRxBytesCount", DVH_FIELD(PS, MACRxBytesCount), Conv::SetBigInt, Msg::Dash),
    M("setMACCRCErrorCount", DVH_FIELD(PS, MACCRCErrorCount), Conv::SetBigInt, Msg::Dash),
    M("setIPTxPacketsCount", DVH_FIELD(PS, IPTxPacketsCount), Conv::SetBigInt, Msg::Dash),
    M("setIPTxBytesCount", DVH_FIELD(PS, IPTxBytesCount), Conv::SetBigInt, Msg::Dash),
    M("setIPTxFragmentsCount", DVH_FIELD(PS, IPTxFragmentsCount), Conv::SetBigInt, Msg::Dash),
    M("setIPRxPacketsCount", DVH_FIELD(PS, IPRxPacketsCount), Conv::SetBigInt, Msg::Dash),
    M("setIPRxBytesCount", DVH_FIELD(PS, IPRxBytesCount), Conv::SetBigInt, Msg::Dash),
    M("setIPRxFragmentsCount", DVH_FIELD(PS, IPRxFragmentsCount), Conv::SetBigInt, Msg::Dash),
    M("setIPDatagramReassemblyCount", DVH_FIELD(PS, IPDatagramReassemblyCount), Conv::SetBigInt, Msg::Dash),
    // The record has no IPv6 counter; the setter is required all the same.
    M("setIPv6RxPacketsCount", DVH_FIELD(PS, Reserved1), Conv::SetBigInt, Msg::Dash).lookOnly(),
    M("setIPRxPacketErrorCount", DVH_FIELD(PS, IPRxPacketErrorCount), Conv::SetBigInt)
        .message("GetMethodID setBus - setIPRxPacketErrorCount call failed!\n"),
    M("setIPReassemblyErrorCount", DVH_FIELD(PS, IPReassemblyErrorCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPTxSegmentsCount", DVH_FIELD(PS, TCPTxSegmentsCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPTxBytesCount", DVH_FIELD(PS, TCPTxBytesCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPRxSegmentsCount", DVH_FIELD(PS, TCPRxSegmentsCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPRxBytesCount", DVH_FIELD(PS, TCPRxBytesCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPTimerExpiredCount", DVH_FIELD(PS, TCPTimerExpiredCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPRxACKCount", DVH_FIELD(PS, TCPRxACKCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPTxACKCount", DVH_FIELD(PS, TCPTxACKCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPRxErrorSegmentCount", DVH_FIELD(PS, TCPRxErrorSegmentCount), Conv::SetBigInt, Msg::Dash),
    M("setTCPWindowProbeUpdateCount", DVH_FIELD(PS, TCPWindowProbeUpdateCount), Conv::SetBigInt, Msg::Dash),
    M("setiSCSITxPDUCount", DVH_FIELD(PS, iSCSITxPDUCount), Conv::SetBigInt, Msg::Dash),
    M("setiSCSITxBytesCount", DVH_FIELD(PS, iSCSITxBytesCount), Conv::SetBigInt, Msg::Dash),
    M("setiSCSIRxPDUCount", DVH_FIELD(PS, iSCSIRxPDUCount), Conv::SetBigInt, Msg::Dash),
    M("setiSCSIRxBytesCount", DVH_FIELD(PS, iSCSIRxBytesCount), Conv::SetBigInt, Msg::Dash),
    M("setiSCSICompleteIOsCount", DVH_FIELD(PS, iSCSICompleteIOsCount), Conv::SetBigInt, Msg::Dash),
    M("setiSCSIFormatErrorCount", DVH_FIELD(PS, iSCSIFormatErrorCount), Conv::SetBigInt, Msg::Dash),
    M("setiSCSIHeaderDigestCount", DVH_FIELD(PS, iSCSIHeaderDigestCount), Conv::SetBigInt)
        .message("GetMethodID setBus - setiSCSIHeaderDigestCount call failed!\n"),
    M("setiSCSIDataDigestErrorCount", DVH_FIELD(PS, iSCSIDataDigestErrorCount), Conv::SetBigInt, Msg::Dash),
    M("setiSCSISeqErrorCount", DVH_FIELD(PS, iSCSISeqErrorCount), Conv::SetBigInt, Msg::Dash),
};
static_assert(sizeof kNamedCounters / sizeof kNamedCounters[0] == 33, "33 named counter setters");
static_assert(marshal::validTable(kNamedCounters), "first-generation counter table");

// The 6124's counters, all through one setter that takes the index.
constexpr Field kIndexedCounters[] = {
    M("setStatByIndex", DVH_FIELD(HBAPORTSTATISCSIEXTEND, Counters), Conv::SetBigIntByIndex, Msg::Dash),
};
static_assert(sizeof(HBAPORTSTATISCSIEXTEND::Counters) == 68 * 8, "68 indexed counters");
static_assert(marshal::validTable(kIndexedCounters), "extended counter table");

// The adapter's running state, on the adapter object.
constexpr const char* kStateMissing = "GetMethodID call failed!\n";
constexpr Field kAdapterState[] = {
    M("setState", DVH_FIELD(HBAISCSIPORTAL, State), Conv::SetInt).message(kStateMissing),
    M("setDhcpState", DVH_FIELD(HBAISCSIPORTAL, dhcpState), Conv::SetInt).message(kStateMissing),
    M("setLinkStatus", DVH_FIELD(HBAISCSIPORTAL, linkStatus), Conv::SetInt).message(kStateMissing),
};
static_assert(marshal::validTable(kAdapterState), "adapter state accessor table");

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
    return marshal::toJava(env, jStats, cls.get(), &stats, kNamedCounters);
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
    return marshal::toJava(env, jStats, cls.get(), &ext, kIndexedCounters);
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
