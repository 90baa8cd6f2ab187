package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.bufferTarget;
import static com.norvik.dvh.iscsi.catalog.Samples.bufferResults;
import static com.norvik.dvh.iscsi.catalog.Samples.PATTERN;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.NOT_SUPPORTED;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.model.BufferTestResult;
import com.norvik.dvh.iscsi.model.DiagnosticStatus;
import com.norvik.dvh.iscsi.model.LoopbackTestResult;
import com.norvik.dvh.iscsi.model.TargetInfo;
import com.norvik.dvh.iscsi.model.TestStatus;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.Arrays;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.function.Consumer;

import org.junit.jupiter.api.Test;

/**
 * The loopback test stopped from another thread and the READ/WRITE BUFFER test (ping and the
 * loopback's counts are method rows) against instance 0 of the default
 * scenario: targets 0:0 (LUNs 0-2), 0:1 (its LUN 0 rejects the buffer commands with sense key 5)
 * and 0:3 (its LUN 0 spoils the data of its 5th READ BUFFER); the adapter answers pings to its own
 * address 192.168.50.21 and to 192.168.50.1.
 */
class DiagnosticsTest extends NativeTestBase {

    static final int BAD_INDEX = ApiStatus.BAD_INDEX;
    static final byte[] PATTERN_BYTES = {0x55, 'Z', 'e', 'b', 'r', 'a', '-', (byte) 0xff, 0, 'o', 'k'};

    private int status;

    /** Loads the default scenario with instance 0's diagnostics section changed by {@code edit}. */
    private static void load(Consumer<ObjectNode> edit) {
        ObjectNode s = Scenarios.defaultScenario();
        ObjectNode a0 = (ObjectNode) s.get("adapters").get(0);
        edit.accept((ObjectNode) a0.get("diagnostics"));
        SimControl.loadScenario(Scenarios.text(s));
    }

    private static void open() {
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    static List<SimCall> commands(int opcode) {
        return calls("SDSendScsiPassThruiSCSI").stream().filter(c -> (c.record("cdb")[0] & 0xff) == opcode)
                .toList();
    }

    static short[] shorts(byte[] bytes) {
        short[] s = new short[bytes.length];
        for (int i = 0; i < bytes.length; i++) {
            s[i] = (short) (bytes[i] & 0xff);
        }
        return s;
    }

    /** Goes on until {@code limit} iterations were asked for, then says stop. */
    static class StopAfter extends TestStatus {
        final int limit;

        StopAfter(int limit) {
            this.limit = limit;
        }

        @Override
        protected void iterationStarting(int count) {
            if (count > limit) {
                requestStop();
            }
        }
    }

    // --- loopback (its other cases are method rows) --------------------------------------------

    @Test
    void aLoopbackOfHugeCountIsStoppedFromAnotherThread() throws Exception {
        open();
        TestStatus ts = new TestStatus();
        LoopbackTestResult r = new LoopbackTestResult();
        AtomicInteger result = new AtomicInteger(-1);
        Thread worker = new Thread(() -> result.set(api.loopbackTest(0, 0, 0, Integer.MAX_VALUE, ts, r)));
        worker.start();
        long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(10);
        while (ts.getTimesAsked() < 50 && System.nanoTime() < deadline) {
            Thread.sleep(1);
        }
        ts.requestStop();
        worker.join(10_000);
        assertFalse(worker.isAlive());
        assertEquals(ApiStatus.OK, result.get());
        // Every question but the last (answered "stop") ran one loopback.
        assertEquals(ts.getTimesAsked() - 1, r.getLoopbackSuccessCount());
        assertEquals(ts.getTimesAsked() - 1, calls("SDPerformLoopBackTest").size());
    }

    // --- read/write buffer test -----------------------------------------------------------------

    @Test
    void oneMiscompareInTenIterationsWithoutStopOnError() {
        open();
        BufferTestResult[] r = bufferResults(1);
        String out = stdout(() -> status = api.readWriteBufferTest(0, new Object[] {bufferTarget(3, 0)}, 0, 10, PATTERN,
                new TestStatus(), r));
        assertEquals("", out);
        assertEquals(DiagnosticStatus.DATA_MISCOMPARE, status);
        assertEquals(DiagnosticStatus.TESTED, r[0].getReadWriteBufferTestStatus());
        assertEquals(1, r[0].getDataMiscompare());
        assertEquals(10, commands(0x3B).size());
        assertEquals(10, commands(0x3C).size());
        // The data of the spoiled read stays, the first byte inverted.
        short[] spoiled = shorts(PATTERN_BYTES);
        spoiled[0] = (short) (~PATTERN_BYTES[0] & 0xff);
        assertArrayEquals(spoiled, r[0].getLastPattern());
        // Differences of the two statistics reads: two commands an iteration.
        assertEquals(20, r[0].getIoCount());
        assertEquals(2, calls("SDGetStatisticsGen").size());
    }

    @Test
    void theCommandsCarryThePatternsLowBytes() {
        open();
        BufferTestResult[] r = bufferResults(1);
        assertEquals(ApiStatus.OK, api.readWriteBufferTest(0, new Object[] {bufferTarget(0, 2)}, 0, 2, PATTERN,
                new TestStatus(), r));
        byte[] cdb = {0x3B, 2, 0, 0, 0, 0, 0, 0, (byte) PATTERN.length, 0};
        SimCall write = commands(0x3B).get(0);
        assertArrayEquals(cdb, write.record("cdb"));
        assertEquals(10, write.arg("cdbLength"));
        assertArrayEquals(PATTERN_BYTES, write.record("dataOut"));
        assertEquals(0, write.arg("dataInLength"));
        assertEquals(80, write.arg("senseLength"));
        byte[] target = write.record("target");
        assertEquals(136, target.length);
        assertArrayEquals(new byte[] {0, 0, 0, 0, 2, 0, 4, 0, 1, 1}, Arrays.copyOf(target, 10));
        SimCall read = commands(0x3C).get(0);
        cdb[0] = 0x3C;
        assertArrayEquals(cdb, read.record("cdb"));
        assertEquals(PATTERN.length, read.arg("dataInLength"));
        assertEquals(0, read.arg("dataOutLength"));
        assertEquals(DiagnosticStatus.TESTED, r[0].getReadWriteBufferTestStatus());
        assertEquals(0, r[0].getDataMiscompare());
        assertArrayEquals(shorts(PATTERN_BYTES), r[0].getLastPattern());
    }

    @Test
    void stopOnErrorEndsTheTestAtTheMiscompare() {
        open();
        BufferTestResult[] r = bufferResults(2);
        assertEquals(DiagnosticStatus.DATA_MISCOMPARE, api.readWriteBufferTest(0,
                new Object[] {bufferTarget(3, 0), bufferTarget(0, 0)}, 1, 10, PATTERN, new TestStatus(), r));
        assertEquals(5, commands(0x3C).size());
        assertEquals(DiagnosticStatus.TESTED, r[0].getReadWriteBufferTestStatus());
        assertEquals(1, r[0].getDataMiscompare());
        assertEquals(10, r[0].getIoCount());
        // The second target only got the initial delivery.
        assertEquals(DiagnosticStatus.COMPLETED, r[1].getReadWriteBufferTestStatus());
    }

    @Test
    void theGateSendsNothingToTargetsThatCannotBeTested() {
        open();
        TargetInfo notReady = bufferTarget(0, 0);
        notReady.setTargetState(6);
        TargetInfo notRequested = bufferTarget(0, 1);
        notRequested.setPerformBufferTest(false);
        TargetInfo unsupported = bufferTarget(3, 1);
        unsupported.setSupportsTest(false);
        BufferTestResult[] r = bufferResults(3);
        assertEquals(ApiStatus.OK, api.readWriteBufferTest(0, new Object[] {notReady, notRequested, unsupported}, 0,
                3, PATTERN, new TestStatus(), r));
        assertEquals(DiagnosticStatus.TARGET_NOT_READY, r[0].getReadWriteBufferTestStatus());
        assertEquals(DiagnosticStatus.COMPLETED, r[1].getReadWriteBufferTestStatus());
        assertEquals(DiagnosticStatus.NOT_SUPPORTED, r[2].getReadWriteBufferTestStatus());
        assertTrue(calls("SDSendScsiPassThruiSCSI").isEmpty());
        assertTrue(calls("SDGetStatisticsGen").isEmpty());
        // The last pattern always has the pattern's length; nothing was read into it.
        assertArrayEquals(new short[PATTERN.length], r[2].getLastPattern());
    }

    @Test
    void senseKey5MarksTheTargetNotSupported() {
        open();
        TargetInfo rejecting = bufferTarget(1, 0);
        BufferTestResult[] r = bufferResults(2);
        assertEquals(ApiStatus.OK, api.readWriteBufferTest(0, new Object[] {rejecting, bufferTarget(0, 0)}, 1, 4, PATTERN,
                new TestStatus(), r));
        assertEquals(DiagnosticStatus.NOT_SUPPORTED, r[0].getReadWriteBufferTestStatus());
        assertFalse(rejecting.getSupportsTest());
        assertEquals(0, r[0].getIoCount());
        assertEquals(0, r[0].getDataMiscompare());
        // Clearing the counters keeps MBytesCount: the baseline read's, the scenario's 2754.
        assertEquals(2754, r[0].getMBytesCount());
        // Only the first WRITE BUFFER went to it, and no second statistics read; the next target ran.
        assertEquals(1 + 4, commands(0x3B).size());
        assertEquals(DiagnosticStatus.TESTED, r[1].getReadWriteBufferTestStatus());
        assertEquals(8, r[1].getIoCount());
    }

    @Test
    void otherCommandFailuresSetTheirStatusAndStopWhenAsked() {
        load(d -> {
            ArrayNode b = d.putArray("buffers");
            b.addObject().put("bus", 0).put("targetId", 0).put("lun", 0).put("senseKey", 4).put("from", 2);
            b.addObject().put("bus", 0).put("targetId", 0).put("lun", 1).put("senseKey", 3).put("failOn", "read");
        });
        open();
        BufferTestResult[] r = bufferResults(3);
        assertEquals(DiagnosticStatus.READ_BUFFER_FAILED, api.readWriteBufferTest(0,
                new Object[] {bufferTarget(0, 0), bufferTarget(0, 1), bufferTarget(0, 2)}, 0, 3, PATTERN, new TestStatus(), r));
        assertEquals(DiagnosticStatus.WRITE_BUFFER_FAILED, r[0].getReadWriteBufferTestStatus());
        assertEquals(DiagnosticStatus.READ_BUFFER_FAILED, r[1].getReadWriteBufferTestStatus());
        assertEquals(DiagnosticStatus.TESTED, r[2].getReadWriteBufferTestStatus());

        SimControl.reset();
        load(d -> d.putArray("buffers").addObject().put("bus", 0).put("targetId", 0).put("lun", 0)
                .put("senseKey", 4));
        open();
        BufferTestResult[] s = bufferResults(2);
        assertEquals(DiagnosticStatus.WRITE_BUFFER_FAILED, api.readWriteBufferTest(0,
                new Object[] {bufferTarget(0, 0), bufferTarget(0, 1)}, 1, 3, PATTERN, new TestStatus(), s));
        assertEquals(DiagnosticStatus.WRITE_BUFFER_FAILED, s[0].getReadWriteBufferTestStatus());
        assertEquals(DiagnosticStatus.COMPLETED, s[1].getReadWriteBufferTestStatus());
        assertEquals(1, calls("SDSendScsiPassThruiSCSI").size());
    }

    @Test
    void withNoIterationsEachEligibleTargetGetsTheCounterDifferences() {
        open();
        BufferTestResult[] r = bufferResults(2);
        TargetInfo notReady = bufferTarget(0, 1);
        notReady.setTargetState(0);
        assertEquals(ApiStatus.OK, api.readWriteBufferTest(0, new Object[] {bufferTarget(0, 0), notReady}, 0, 0, PATTERN,
                new TestStatus(), r));
        assertEquals(DiagnosticStatus.TESTED, r[0].getReadWriteBufferTestStatus());
        assertEquals(0, r[0].getIoCount());
        // The default scenario's interrupt counter gains 40 a read.
        assertEquals(40, r[0].getInterruptCount());
        // One record serves all targets: the gated one shows the counters of the one before.
        assertEquals(DiagnosticStatus.TARGET_NOT_READY, r[1].getReadWriteBufferTestStatus());
        assertEquals(40, r[1].getInterruptCount());
        assertTrue(calls("SDSendScsiPassThruiSCSI").isEmpty());
    }

    @Test
    void aFailedStatisticsReadEndsTheTestWith101() {
        open();
        SimControl.fault("SDGetStatisticsGen", NOT_SUPPORTED, true);
        BufferTestResult[] r = bufferResults(1);
        assertEquals(DiagnosticStatus.STATISTICS_FAILED, api.readWriteBufferTest(0, new Object[] {bufferTarget(0, 0)}, 0, 3,
                PATTERN, new TestStatus(), r));
        assertTrue(calls("SDSendScsiPassThruiSCSI").isEmpty());
        assertEquals(DiagnosticStatus.COMPLETED, r[0].getReadWriteBufferTestStatus());
    }

    @Test
    void aPatternLongerThan64IsRefusedBeforeAnyTarget() {
        open();
        BufferTestResult[] r = bufferResults(1);
        String out = stdout(() -> status = api.readWriteBufferTest(0, new Object[] {bufferTarget(0, 0)}, 0, 1,
                new char[65], new TestStatus(), r));
        assertEquals(BAD_INDEX, status);
        assertEquals("JNI: Invalid Paramater at Line 10320\n", out);
        assertEquals(-1, r[0].getReadWriteBufferTestStatus());
        assertTrue(SimControl.calls().isEmpty());
        // 64 is allowed.
        assertEquals(ApiStatus.OK, api.readWriteBufferTest(0, new Object[] {bufferTarget(0, 0)}, 0, 1, new char[64],
                new TestStatus(), r));
        assertEquals(64, r[0].getLastPattern().length);
    }

    @Test
    void bufferTestBadInputNeverCrashes() {
        open();
        // Null elements, a short result array, a wrong-class target, a null pattern, negative count.
        BufferTestResult[] r = {new BufferTestResult(), null};
        String out = stdout(() -> status = api.readWriteBufferTest(0, new Object[] {null, bufferTarget(0, 0), "not a target"}, 0,
                -5, null, new TestStatus(), r));
        assertEquals(ApiStatus.OK, status);
        assertEquals(DiagnosticStatus.TARGET_NOT_READY, r[0].getReadWriteBufferTestStatus());
        assertTrue(out.startsWith("NULL jObj!\nNULL jObj!\nNULL javaTargetInfoObject!\n"), out);
        assertTrue(out.contains("GetMethodID getBus call failed!\n"), out);
        assertTrue(calls("SDSendScsiPassThruiSCSI").isEmpty());

        // A null result array: every delivery is of a null element.
        out = stdout(() -> status = api.readWriteBufferTest(0, new Object[] {bufferTarget(0, 0)}, 0, 1, PATTERN,
                new TestStatus(), null));
        assertEquals("NULL jObj!\nNULL jObj!\n", out);
    }

    @Test
    void aBufferTestIsStoppedFromAnotherThread() throws Exception {
        open();
        TestStatus ts = new TestStatus();
        BufferTestResult[] r = bufferResults(2);
        AtomicInteger result = new AtomicInteger(-1);
        Thread worker = new Thread(() -> result.set(api.readWriteBufferTest(0,
                new Object[] {bufferTarget(0, 0), bufferTarget(0, 1)}, 0, Integer.MAX_VALUE, PATTERN, ts, r)));
        worker.start();
        long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(10);
        while (ts.getTimesAsked() < 20 && System.nanoTime() < deadline) {
            Thread.sleep(1);
        }
        ts.requestStop();
        worker.join(10_000);
        assertFalse(worker.isAlive());
        assertEquals(ApiStatus.OK, result.get());
        int iterations = ts.getTimesAsked() - 1;
        assertEquals(DiagnosticStatus.TESTED, r[0].getReadWriteBufferTestStatus());
        assertEquals(2L * iterations, r[0].getIoCount());
        // The stop ends the target loop: the second target was never tested.
        assertEquals(DiagnosticStatus.COMPLETED, r[1].getReadWriteBufferTestStatus());
        assertEquals(iterations, commands(0x3B).size());
    }

    @Test
    void stopAfterAFewIterationsFromTheStatusObjectItself() {
        open();
        BufferTestResult[] r = bufferResults(1);
        assertEquals(ApiStatus.OK, api.readWriteBufferTest(0, new Object[] {bufferTarget(0, 0)}, 0, 100, PATTERN,
                new StopAfter(3), r));
        assertEquals(3, commands(0x3C).size());
        assertEquals(6, r[0].getIoCount());
    }
}
