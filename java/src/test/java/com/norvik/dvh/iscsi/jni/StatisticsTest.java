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
