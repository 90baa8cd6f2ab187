package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.jni.ConfigFixtures.NOT_SUPPORTED;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.ExtendedPortStatistics;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.PortStatistics;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.math.BigInteger;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * Port statistics of both controller generations, the adapter's state and the counter reset,
 * against a simulated adapter whose counters are all distinct and include 2^64 - 1.
 */
class StatisticsTest extends NativeTestBase {

    /** 2^64 - 1: must reach Java as an unsigned value, never as -1. */
    static final BigInteger MAX = BigInteger.ONE.shiftLeft(64).subtract(BigInteger.ONE);
    static final byte[] MAX_BYTES = {0, -1, -1, -1, -1, -1, -1, -1, -1};

    private int status;

    /**
     * Instance 0 whose counter of extended index i is 1000 + i, except iSCSISeqErrorCount (2^64 - 1)
     * and MACTxFramesCount (0x0102030405060708); the first-generation counters absent from the
     * extended record are 5000 and up. MACTxFramesCount gains 3 per read.
     */
    @BeforeEach
    void openAdapter() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        a.putObject("portal").put("state", 0x1234).put("dhcpState", 0xfffe).put("linkStatus", 7);
        ObjectNode stats = a.putObject("statistics");
        ObjectNode counters = stats.putObject("counters");
        for (int i = 0; i < ExtendedPortStatistics.NAMES.size(); i++) {
            counters.put(ExtendedPortStatistics.NAMES.get(i), 1000 + i);
        }
        int extra = 5000;
        for (String name : PortStatistics.NAMES) {
            if (!counters.has(name)) {
                counters.put(name, extra++);
            }
        }
        counters.put("iSCSISeqErrorCount", "0xffffffffffffffff");
        counters.put("MACTxFramesCount", "0x0102030405060708");
        stats.putObject("perRead").put("MACTxFramesCount", 3);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    /** The value the scenario gave the first-generation counter {@code name}. */
    static BigInteger expectedFirst(String name) {
        switch (name) {
            case "iSCSISeqErrorCount":
                return MAX;
            case "MACTxFramesCount":
                return BigInteger.valueOf(0x0102030405060708L);
            case "IPv6RxPacketsCount":
                return BigInteger.ZERO;  // looked up, never set
            default:
                int index = ExtendedPortStatistics.NAMES.indexOf(name);
                if (index >= 0) {
                    return BigInteger.valueOf(1000 + index);
                }
                int extra = 5000;
                for (String n : PortStatistics.NAMES) {
                    if (n.equals(name)) {
                        return BigInteger.valueOf(extra);
                    }
                    if (!ExtendedPortStatistics.NAMES.contains(n)) {
                        extra++;
                    }
                }
                throw new AssertionError(name);
        }
    }

    // --- First generation: 33 named setters ----------------------------------------------------

    /** Records every counter setter call with its bytes. */
    public static class Recorder {
        final List<String> names = new ArrayList<>();
        final List<byte[]> bytes = new ArrayList<>();

        void got(String name, byte[] v) {
            names.add(name);
            bytes.add(v);
        }
    }

    /**
     * The first twelve counter setters: a statistics class of an older model, without
     * setIPv6RxPacketsCount and what follows it.
     */
    public static class WithoutIPv6 extends Recorder {
        public void setMACTxFramesCount(byte[] v) {
            got("MACTxFramesCount", v);
        }

        public void setMACTxBytesCount(byte[] v) {
            got("MACTxBytesCount", v);
        }

        public void setMACRxFramesCount(byte[] v) {
            got("MACRxFramesCount", v);
        }

        public void setMACRxBytesCount(byte[] v) {
            got("MACRxBytesCount", v);
        }

        public void setMACCRCErrorCount(byte[] v) {
            got("MACCRCErrorCount", v);
        }

        public void setIPTxPacketsCount(byte[] v) {
            got("IPTxPacketsCount", v);
        }

        public void setIPTxBytesCount(byte[] v) {
            got("IPTxBytesCount", v);
        }

        public void setIPTxFragmentsCount(byte[] v) {
            got("IPTxFragmentsCount", v);
        }

        public void setIPRxPacketsCount(byte[] v) {
            got("IPRxPacketsCount", v);
        }

        public void setIPRxBytesCount(byte[] v) {
            got("IPRxBytesCount", v);
        }

        public void setIPRxFragmentsCount(byte[] v) {
            got("IPRxFragmentsCount", v);
        }

        public void setIPDatagramReassemblyCount(byte[] v) {
            got("IPDatagramReassemblyCount", v);
        }
    }

    /** Stops at the packet error counter. */
    public static class WithoutPacketErrors extends WithoutIPv6 {
        public void setIPv6RxPacketsCount(byte[] v) {
            got("IPv6RxPacketsCount", v);
        }
    }

    /** Stops at the header digest counter. */
    public static class WithoutHeaderDigest extends WithoutPacketErrors {
        public void setIPRxPacketErrorCount(byte[] v) {
            got("IPRxPacketErrorCount", v);
        }

        public void setIPReassemblyErrorCount(byte[] v) {
            got("IPReassemblyErrorCount", v);
        }

        public void setTCPTxSegmentsCount(byte[] v) {
            got("TCPTxSegmentsCount", v);
        }

        public void setTCPTxBytesCount(byte[] v) {
            got("TCPTxBytesCount", v);
        }

        public void setTCPRxSegmentsCount(byte[] v) {
            got("TCPRxSegmentsCount", v);
        }

        public void setTCPRxBytesCount(byte[] v) {
            got("TCPRxBytesCount", v);
        }

        public void setTCPTimerExpiredCount(byte[] v) {
            got("TCPTimerExpiredCount", v);
        }

        public void setTCPRxACKCount(byte[] v) {
            got("TCPRxACKCount", v);
        }

        public void setTCPTxACKCount(byte[] v) {
            got("TCPTxACKCount", v);
        }

        public void setTCPRxErrorSegmentCount(byte[] v) {
            got("TCPRxErrorSegmentCount", v);
        }

        public void setTCPWindowProbeUpdateCount(byte[] v) {
            got("TCPWindowProbeUpdateCount", v);
        }

        public void setiSCSITxPDUCount(byte[] v) {
            got("iSCSITxPDUCount", v);
        }

        public void setiSCSITxBytesCount(byte[] v) {
            got("iSCSITxBytesCount", v);
        }

        public void setiSCSIRxPDUCount(byte[] v) {
            got("iSCSIRxPDUCount", v);
        }

        public void setiSCSIRxBytesCount(byte[] v) {
            got("iSCSIRxBytesCount", v);
        }

        public void setiSCSICompleteIOsCount(byte[] v) {
            got("iSCSICompleteIOsCount", v);
        }

        public void setiSCSIFormatErrorCount(byte[] v) {
            got("iSCSIFormatErrorCount", v);
        }
    }

    /** Every setter of the first-generation statistics. */
    public static class AllSetters extends WithoutHeaderDigest {
        public void setiSCSIHeaderDigestCount(byte[] v) {
            got("iSCSIHeaderDigestCount", v);
        }

        public void setiSCSIDataDigestErrorCount(byte[] v) {
            got("iSCSIDataDigestErrorCount", v);
        }

        public void setiSCSISeqErrorCount(byte[] v) {
            got("iSCSISeqErrorCount", v);
        }
    }

    @Test
    void everyNamedCounterArrivesInOrderAsAnUnsignedNineByteArray() {
        AllSetters stats = new AllSetters();
        String out = stdout(() -> status = api.getiSCSIStatistics(0, stats));
        assertEquals(ApiStatus.OK, status);
        assertEquals("", out);
        List<String> expectedOrder = new ArrayList<>(PortStatistics.NAMES);
        expectedOrder.remove("IPv6RxPacketsCount");
        assertEquals(expectedOrder, stats.names);
        // The bytes as they lie in the record, after a leading 0.
        assertArrayEquals(new byte[] {0, 8, 7, 6, 5, 4, 3, 2, 1}, stats.bytes.get(0));
        assertArrayEquals(MAX_BYTES, stats.bytes.get(expectedOrder.indexOf("iSCSISeqErrorCount")));
        assertArrayEquals(new byte[] {0, (byte) 0xe9, 3, 0, 0, 0, 0, 0, 0}, stats.bytes.get(1));  // 1001
        assertEquals(List.of("SDGetStatisticsiSCSI"), calls().stream().map(c -> c.fn()).toList());
        assertEquals(HANDLE_0, calls().get(0).arg("handle"));
    }

    @Test
    void theModelClassGivesBackEveryCounterIncludingTwoToTheSixtyFourMinusOne() {
        PortStatistics stats = new PortStatistics();
        assertEquals(ApiStatus.OK, api.getiSCSIStatistics(0, stats));
        for (String name : PortStatistics.NAMES) {
            assertEquals(expectedFirst(name), stats.getCounter(name), name);
        }
        assertEquals(MAX, stats.getCounter("iSCSISeqErrorCount"));
        assertEquals(1, stats.getCounter("iSCSISeqErrorCount").signum());
    }

    @Test
    void countersMoveBetweenReads() {
        PortStatistics first = new PortStatistics();
        PortStatistics second = new PortStatistics();
        assertEquals(ApiStatus.OK, api.getiSCSIStatistics(0, first));
        assertEquals(ApiStatus.OK, api.getiSCSIStatistics(0, second));
        assertEquals(BigInteger.valueOf(3),
                second.getCounter("MACTxFramesCount").subtract(first.getCounter("MACTxFramesCount")));
        assertEquals(first.getCounter("TCPRxACKCount"), second.getCounter("TCPRxACKCount"));
    }

    @Test
    void twoSettersKeepTheirOddMessages() {
        WithoutPacketErrors a = new WithoutPacketErrors();
        String outA = stdout(() -> status = api.getiSCSIStatistics(0, a));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertEquals("GetMethodID setBus - setIPRxPacketErrorCount call failed!\n", outA);
        assertEquals(12, a.names.size());

        WithoutHeaderDigest b = new WithoutHeaderDigest();
        String outB = stdout(() -> status = api.getiSCSIStatistics(0, b));
        assertEquals("GetMethodID setBus - setiSCSIHeaderDigestCount call failed!\n", outB);
        assertEquals(29, b.names.size());
        assertEquals("iSCSIFormatErrorCount", b.names.get(28));
    }

    @Test
    void aFailedReadIsPrintedAndReturnedWithoutTouchingJava() {
        SimControl.fault("SDGetStatisticsiSCSI", NOT_SUPPORTED, true);
        AllSetters stats = new AllSetters();
        String out = stdout(() -> status = api.getiSCSIStatistics(0, stats));
        assertEquals(NOT_SUPPORTED, status);
        assertEquals("SDGetStatisticsiSCSI call failed!\n", out);
        assertEquals(List.of(), stats.names);
    }

    /** Throws from the third counter on. */
    public static class Throwing extends AllSetters {
        @Override
        public void setMACRxFramesCount(byte[] v) {
            throw new IllegalStateException("full");
        }
    }

    // --- 6124: one indexed setter ----------------------------------------------------------

    /** Records setStatByIndex calls. */
    public static class IndexRecorder {
        final List<Integer> indexes = new ArrayList<>();
        final List<byte[]> bytes = new ArrayList<>();

        public void setStatByIndex(byte[] v, int index) {
            indexes.add(index);
            bytes.add(v);
        }
    }

    @Test
    void exactlySixtyEightIndexedCallsInIncreasingOrder() {
        IndexRecorder stats = new IndexRecorder();
        String out = stdout(() -> status = api.getiSCSIStatistics6124(0, stats));
        assertEquals(ApiStatus.OK, status);
        assertEquals("", out);
        assertEquals(68, stats.indexes.size());
        for (int i = 0; i < 68; i++) {
            assertEquals(i, stats.indexes.get(i));
        }
        assertArrayEquals(new byte[] {0, 8, 7, 6, 5, 4, 3, 2, 1}, stats.bytes.get(0));
        assertArrayEquals(new byte[] {0, (byte) 0xe9, 3, 0, 0, 0, 0, 0, 0}, stats.bytes.get(1));
        assertArrayEquals(MAX_BYTES, stats.bytes.get(67));
    }

    @Test
    void theExtendedModelClassKnowsEachIndexByName() {
        ExtendedPortStatistics stats = new ExtendedPortStatistics();
        assertEquals(ApiStatus.OK, api.getiSCSIStatistics6124(0, stats));
        assertEquals(MAX, stats.getStat(67));
        assertEquals(MAX, stats.getCounter("iSCSISeqErrorCount"));
        assertEquals(BigInteger.valueOf(1038), stats.getCounter("IPv6RxPacketsCount"));
        assertEquals(BigInteger.valueOf(1057), stats.getCounter("ECCErrorCorrectionCount"));
    }

    // --- Index rule, state, reset ----------------------------------------------------------------

    @Test
    void theAdapterStateComesFromItsPortal() {
        HBA hba = new HBA();
        assertEquals(ApiStatus.OK, api.getiSCSIHBAState(0, hba));
        assertEquals(0x1234, hba.getState());
        assertEquals(0xfffe, hba.getDhcpState());
        assertEquals(7, hba.getLinkStatus());
        assertEquals(0, calls().get(0).arg("portal"));
    }

    @Test
    void aResetClearsTheCountersAndTakesThePortsLow16Bits() {
        assertTrue(api.resetISCSICounters(0, 0x10001));
        assertEquals(1L, calls("SDResetStatisticsiSCSI").get(0).arg("port"));
        PortStatistics stats = new PortStatistics();
        assertEquals(ApiStatus.OK, api.getiSCSIStatistics(0, stats));
        assertEquals(BigInteger.ZERO, stats.getCounter("iSCSISeqErrorCount"));

        SimControl.fault("SDResetStatisticsiSCSI", NOT_SUPPORTED, true);
        String out = stdout(() -> assertFalse(api.resetISCSICounters(0, 0)));
        assertEquals("SDResetiSCSICounters call failed! 2000002d \n", out);
    }

    private static List<com.norvik.dvh.iscsi.sim.SimCall> calls() {
        return SimControl.calls();
    }
}
