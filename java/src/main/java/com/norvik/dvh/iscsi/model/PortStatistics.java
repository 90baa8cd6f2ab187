package com.norvik.dvh.iscsi.model;

import java.math.BigInteger;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Port statistics of a first-generation adapter: its MAC, IP, TCP and iSCSI counters by name. The
 * native library hands each counter over as the 9-byte array of {@link CounterBytes}, an unsigned
 * 64-bit value; {@link #getCounter(String)} gives it back as a non-negative {@link BigInteger}.
 *
 * <p>The adapter keeps no IPv6 counter of its own; {@link #setIPv6RxPacketsCount(byte[])} exists
 * for the native library's sake and the counter reads 0 unless it is set.
 */
public class PortStatistics {

    /** The counters in the order the native library delivers them. */
    public static final List<String> NAMES = List.of(
            "MACTxFramesCount",
            "MACTxBytesCount",
            "MACRxFramesCount",
            "MACRxBytesCount",
            "MACCRCErrorCount",
            "IPTxPacketsCount",
            "IPTxBytesCount",
            "IPTxFragmentsCount",
            "IPRxPacketsCount",
            "IPRxBytesCount",
            "IPRxFragmentsCount",
            "IPDatagramReassemblyCount",
            "IPv6RxPacketsCount",
            "IPRxPacketErrorCount",
            "IPReassemblyErrorCount",
            "TCPTxSegmentsCount",
            "TCPTxBytesCount",
            "TCPRxSegmentsCount",
            "TCPRxBytesCount",
            "TCPTimerExpiredCount",
            "TCPRxACKCount",
            "TCPTxACKCount",
            "TCPRxErrorSegmentCount",
            "TCPWindowProbeUpdateCount",
            "iSCSITxPDUCount",
            "iSCSITxBytesCount",
            "iSCSIRxPDUCount",
            "iSCSIRxBytesCount",
            "iSCSICompleteIOsCount",
            "iSCSIFormatErrorCount",
            "iSCSIHeaderDigestCount",
            "iSCSIDataDigestErrorCount",
            "iSCSISeqErrorCount");

    private final Map<String, BigInteger> counters = new LinkedHashMap<>();

    public PortStatistics() {
        for (String name : NAMES) {
            counters.put(name, BigInteger.ZERO);
        }
    }

    /** A counter by its name in {@link #NAMES}; null for any other name. */
    public BigInteger getCounter(String name) {
        return counters.get(name);
    }

    /** Every counter by name, in the order of {@link #NAMES} (read only). */
    public Map<String, BigInteger> getCounters() {
        return Collections.unmodifiableMap(counters);
    }

    private void set(String name, byte[] value) {
        counters.put(name, CounterBytes.toBigInteger(value));
    }

    public void setMACTxFramesCount(byte[] value) {
        set("MACTxFramesCount", value);
    }

    public void setMACTxBytesCount(byte[] value) {
        set("MACTxBytesCount", value);
    }

    public void setMACRxFramesCount(byte[] value) {
        set("MACRxFramesCount", value);
    }

    public void setMACRxBytesCount(byte[] value) {
        set("MACRxBytesCount", value);
    }

    public void setMACCRCErrorCount(byte[] value) {
        set("MACCRCErrorCount", value);
    }

    public void setIPTxPacketsCount(byte[] value) {
        set("IPTxPacketsCount", value);
    }

    public void setIPTxBytesCount(byte[] value) {
        set("IPTxBytesCount", value);
    }

    public void setIPTxFragmentsCount(byte[] value) {
        set("IPTxFragmentsCount", value);
    }

    public void setIPRxPacketsCount(byte[] value) {
        set("IPRxPacketsCount", value);
    }

    public void setIPRxBytesCount(byte[] value) {
        set("IPRxBytesCount", value);
    }

    public void setIPRxFragmentsCount(byte[] value) {
        set("IPRxFragmentsCount", value);
    }

    public void setIPDatagramReassemblyCount(byte[] value) {
        set("IPDatagramReassemblyCount", value);
    }

    public void setIPv6RxPacketsCount(byte[] value) {
        set("IPv6RxPacketsCount", value);
    }

    public void setIPRxPacketErrorCount(byte[] value) {
        set("IPRxPacketErrorCount", value);
    }

    public void setIPReassemblyErrorCount(byte[] value) {
        set("IPReassemblyErrorCount", value);
    }

    public void setTCPTxSegmentsCount(byte[] value) {
        set("TCPTxSegmentsCount", value);
    }

    public void setTCPTxBytesCount(byte[] value) {
        set("TCPTxBytesCount", value);
    }

    public void setTCPRxSegmentsCount(byte[] value) {
        set("TCPRxSegmentsCount", value);
    }

    public void setTCPRxBytesCount(byte[] value) {
        set("TCPRxBytesCount", value);
    }

    public void setTCPTimerExpiredCount(byte[] value) {
        set("TCPTimerExpiredCount", value);
    }

    public void setTCPRxACKCount(byte[] value) {
        set("TCPRxACKCount", value);
    }

    public void setTCPTxACKCount(byte[] value) {
        set("TCPTxACKCount", value);
    }

    public void setTCPRxErrorSegmentCount(byte[] value) {
        set("TCPRxErrorSegmentCount", value);
    }

    public void setTCPWindowProbeUpdateCount(byte[] value) {
        set("TCPWindowProbeUpdateCount", value);
    }

    public void setiSCSITxPDUCount(byte[] value) {
        set("iSCSITxPDUCount", value);
    }

    public void setiSCSITxBytesCount(byte[] value) {
        set("iSCSITxBytesCount", value);
    }

    public void setiSCSIRxPDUCount(byte[] value) {
        set("iSCSIRxPDUCount", value);
    }

    public void setiSCSIRxBytesCount(byte[] value) {
        set("iSCSIRxBytesCount", value);
    }

    public void setiSCSICompleteIOsCount(byte[] value) {
        set("iSCSICompleteIOsCount", value);
    }

    public void setiSCSIFormatErrorCount(byte[] value) {
        set("iSCSIFormatErrorCount", value);
    }

    public void setiSCSIHeaderDigestCount(byte[] value) {
        set("iSCSIHeaderDigestCount", value);
    }

    public void setiSCSIDataDigestErrorCount(byte[] value) {
        set("iSCSIDataDigestErrorCount", value);
    }

    public void setiSCSISeqErrorCount(byte[] value) {
        set("iSCSISeqErrorCount", value);
    }
}
