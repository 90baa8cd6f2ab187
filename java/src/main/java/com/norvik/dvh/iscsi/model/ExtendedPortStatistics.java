package com.norvik.dvh.iscsi.model;

import java.math.BigInteger;
import java.util.Arrays;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Extended port statistics of the 6124 controller: 68 counters, each known by its index (its
 * position in {@link #NAMES}). The native library delivers every counter through
 * {@link #setStatByIndex(byte[], int)} as the 9-byte array of {@link CounterBytes}, an unsigned
 * 64-bit value.
 */
public class ExtendedPortStatistics {

    /** The counters' names; the position of a name is the counter's index. */
    public static final List<String> NAMES = List.of(
            "MACTxFramesCount", "MACTxBytesCount", "MACTxMulticast",
            "MACTxBroadcast", "MACTxPauseFrames", "MACTxControlFrames",
            "MACTxDeferrals", "MACTxExcessDeferrals", "MACTxLateCollisions",
            "MACTxAborts", "MACTxSingleCollisions", "MACTxMultipleCollisions",
            "MACTxCollisions", "MACTxFramesDropped", "MACTxJumboFrames",
            "MACRxFramesCount", "MACRxBytesCount", "MACRxUnknownControlFrames",
            "MACRxPauseFrames", "MACRxControlFrames", "MACRxDribble",
            "MACRxFrameLengthError", "MACRxJabber", "MACRxCarrierSenseError",
            "MACRxFramesDropped", "MACCRCErrorCount", "MACEncodingErrorCount",
            "MACRxLengthErrorCountLarge", "MACRxLengthErrorCountSmall", "MACRxMulticast",
            "MACRxBroadcast", "IPTxPacketsCount", "IPTxBytesCount",
            "IPTxFragmentsCount", "IPRxPacketsCount", "IPRxBytesCount",
            "IPRxFragmentsCount", "IPDatagramReassemblyCount", "IPv6RxPacketsCount",
            "IPRxPacketErrorCount", "IPRxFragmentOverlapCount", "IPRxFragmentOutOfOrderCount",
            "IPFragmentReassemblyTimeout", "TCPTxSegmentsCount", "TCPTxBytesCount",
            "TCPRxSegmentsCount", "TCPRxBytesCount", "TCPPersistTimerExpiredCount",
            "TCPRetransTimerExpiredCount", "TCPRxDuplicateACKCount", "TCPRxPureACKCount",
            "TCPTxDelayedACKCount", "TCPTxPureACKCount", "TCPRxSegmentErrorCount",
            "TCPRxSegmentOutOfOrderCount", "TCPRxWindowProbeCount", "TCPRxWindowUpdateCount",
            "ECCErrorCorrectionCount", "iSCSITxPDUCount", "iSCSITxBytesCount",
            "iSCSIRxPDUCount", "iSCSIRxBytesCount", "iSCSICompleteIOsCount",
            "iSCSIUnexpectedIORxCount", "iSCSIFormatErrorCount", "iSCSIHeaderDigestCount",
            "iSCSIDataDigestErrorCount", "iSCSISeqErrorCount");

    private final BigInteger[] counters = new BigInteger[NAMES.size()];

    public ExtendedPortStatistics() {
        Arrays.fill(counters, BigInteger.ZERO);
    }

    /** Stores the counter with this index; an index outside 0..67 is ignored. */
    public void setStatByIndex(byte[] value, int index) {
        if (index >= 0 && index < counters.length) {
            counters[index] = CounterBytes.toBigInteger(value);
        }
    }

    /** The counter with this index, or null for an index outside 0..67. */
    public BigInteger getStat(int index) {
        return index >= 0 && index < counters.length ? counters[index] : null;
    }

    /** A counter by its name in {@link #NAMES}; null for any other name. */
    public BigInteger getCounter(String name) {
        int index = NAMES.indexOf(name);
        return index < 0 ? null : counters[index];
    }

    /** Every counter by name, in index order (a copy). */
    public Map<String, BigInteger> getCounters() {
        Map<String, BigInteger> m = new LinkedHashMap<>();
        for (int i = 0; i < counters.length; i++) {
            m.put(NAMES.get(i), counters[i]);
        }
        return Collections.unmodifiableMap(m);
    }
}
