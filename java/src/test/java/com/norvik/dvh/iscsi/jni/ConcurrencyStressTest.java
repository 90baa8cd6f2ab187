package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static com.norvik.dvh.iscsi.catalog.Samples.sampleEntry;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.fuzz.AenSink;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.LoopbackTestResult;
import com.norvik.dvh.iscsi.model.TestStatus;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Random;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.atomic.AtomicLongArray;
import java.util.concurrent.atomic.AtomicReference;
import java.util.function.IntFunction;

import org.junit.jupiter.api.Test;

/**
 * Eight threads for a while (system property {@code dvh.stress.seconds}, default 3) mixing event
 * polling, full adapter reads, writes, statistics, table reads and diagnostics across four adapters,
 * which are closed and opened again in between. Afterwards the registry holds the open adapters and
 * their targets (probed through device database change events, which the event engine drops when
 * the registry already records the reported state), no event callback went missing, and no thread
 * hung (a watchdog fails the run). Run in the sanitizer build, any memory error ends the JVM.
 *
 * <p>Each kind of work is a table of operations; a method the native library does not export yet
 * is left out of the run and named on standard error.
 */
class ConcurrencyStressTest extends NativeTestBase {

    private static final int ADAPTERS = 4;
    private static final int HUNG_AFTER_SECONDS = 60;

    /** One operation on adapter {@code dev}: a native call with fresh model objects. */
    record Op(String method, IntFunction<Object> call) {
    }

    static Object model(String simpleName) {
        try {
            return Class.forName("com.norvik.dvh.iscsi.model." + simpleName).getConstructor().newInstance();
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException("model class " + simpleName, e);
        }
    }

    // The tables. Adding a native method to the stress is one line in one of them.
    static final List<Op> FULL_READS = List.of(
            new Op("getiSCSIHBAData", dev -> api.getiSCSIHBAData(dev, new HBA())),
            new Op("getFWData", dev -> api.getFWData(dev, new HBA())),
            new Op("getiSCSIAdapterInfo", dev -> api.getiSCSIAdapterInfo(dev, model("NodeInfo"))),
            new Op("getiSCSIFWInfo", dev -> api.getiSCSIFWInfo(dev, model("FirmwareInfo"))),
            new Op("getiSCSIDriverInfo", dev -> api.getiSCSIDriverInfo(dev, model("DriverInfo"))),
            new Op("getChipInfo", dev -> api.getChipInfo(dev, model("ChipInfo"))),
            new Op("getiSCSIEntryNum", dev -> api.getiSCSIEntryNum(dev)),
            new Op("getDefaultDDBEntry", dev -> api.getDefaultDDBEntry(dev)),
            new Op("getInitialDDBEntry", dev -> api.getInitialDDBEntry(dev, new DevDBEntry(), 3)),
            new Op("getISCSIFWDefaults", dev -> api.getISCSIFWDefaults(dev, model("InitFW"))),
            new Op("getVersioniSCSI", dev -> api.getVersioniSCSI()));
    static final List<Op> WRITES = List.of(
            new Op("setDDBData", dev -> api.setDDBData(dev, null, sampleEntry(20 + dev), 0)),
            new Op("setDDBsData", dev -> api.setDDBsData(dev, new HBA(), new Object[] {sampleEntry(30 + dev)})),
            new Op("setFWData", dev -> {
                HBA hba = new HBA();
                api.getFWData(dev, hba);
                hba.setGateway(IPAddr.of("10.9.9." + (1 + dev)));
                return api.setFWData(dev, hba);
            }),
            new Op("setCHAPTableData", dev -> api.setCHAPTableData(dev, new Object[] {model("CHAPTableEntry")})),
            new Op("setiSNSDiscoveryConfig", dev -> {
                Object cfg = model("iSNSDiscoveryConfig");
                api.getiSNSDiscoveryConfig(dev, cfg);
                return api.setiSNSDiscoveryConfig(dev, cfg);
            }),
            new Op("setBootInfo", dev -> api.setBootInfo(dev, model("BootInfo"))));
    static final List<Op> STATISTICS = List.of(
            new Op("getiSCSIStatistics", dev -> api.getiSCSIStatistics(dev, new HBA())),
            new Op("getiSCSIStatistics6124", dev -> api.getiSCSIStatistics6124(dev, new HBA())),
            new Op("getiSCSIHBAState", dev -> api.getiSCSIHBAState(dev, new HBA())),
            new Op("resetISCSICounters", dev -> api.resetISCSICounters(dev, 0)),
            new Op("getiSCSISecurityStatistics", dev -> api.getiSCSISecurityStatistics(dev, new HBA())),
            new Op("getiSCSISecurityInfo", dev -> api.getiSCSISecurityInfo(dev, new HBA())));
    static final List<Op> TABLE_READS = List.of(
            new Op("getCHAPTableData", dev -> api.getCHAPTableData(dev, new HBA())),
            new Op("getCHAPTableSparse", dev -> api.getCHAPTableSparse(dev, new HBA())),
            new Op("getSecurityPoliciesTable", dev -> api.getSecurityPoliciesTable(dev, new HBA())),
            new Op("getiSNSDiscoveryConfig", dev -> api.getiSNSDiscoveryConfig(dev, model("iSNSDiscoveryConfig"))),
            new Op("getiSNSTargets", dev -> api.getiSNSTargets(dev, new HBA())),
            new Op("getConnectErrorLog", dev -> api.getConnectErrorLog(dev, model("AdapterLogs"))),
            new Op("getARPLog", dev -> api.getARPLog(dev, model("AdapterLogs"))),
            new Op("getBootInfo", dev -> api.getBootInfo(dev, model("BootInfo"))),
            new Op("getIBMVPD", dev -> api.getIBMVPD(dev, new HBA())));
    static final List<Op> DIAGNOSTICS = List.of(
            new Op("ping", dev -> api.ping(dev, IPAddr.of("10.0.0.1"), 2)),
            new Op("restoreDefaults", dev -> api.restoreDefaults(dev, 0, 0)),
            new Op("logoutDDB", dev -> api.logoutDDB(dev, 29, 0, 0)),
            new Op("getiSCSITargetData", dev -> api.getiSCSITargetData(dev, new HBA(), null)),
            new Op("loopbackTest", dev -> api.loopbackTest(dev, 0, 0, 3, new TestStatus(), new LoopbackTestResult())),
            new Op("readWriteBufferTest", dev -> api.readWriteBufferTest(dev,
                    new Object[] {DiagnosticsTest.ready(0, 0), DiagnosticsTest.ready(1 + dev, 0)}, 0, 2,
                    DiagnosticsTest.PATTERN, new TestStatus(), DiagnosticsTest.results(2))));

    private final Set<String> unexported = ConcurrentHashMap.newKeySet();
    private final AtomicReference<Throwable> failure = new AtomicReference<>();
    private volatile boolean stop;
    private final AtomicLongArray progress = new AtomicLongArray(8);
    private final AtomicLong pushed = new AtomicLong();
    private final AtomicLong delivered = new AtomicLong();
    private final AtomicLong operations = new AtomicLong();

    /** Four adapters with device database entries and no event scripts. */
    private static String scenario() {
        Scenario s = new Scenario();
        for (int dev = 0; dev < ADAPTERS; dev++) {
            ObjectNode a = s.adapter(dev);
            ddb(a, 0, 4);
            ddb(a, 1 + dev, 4);
            ddb(a, 9, 1);
        }
        return s.json();
    }

    private void run(Op op, int dev) {
        if (unexported.contains(op.method())) {
            return;
        }
        try {
            op.call().apply(dev);
            operations.incrementAndGet();
        } catch (UnsatisfiedLinkError e) {
            unexported.add(op.method());
        } catch (IllegalStateException e) {
            // a model class of a method that is not there yet
            unexported.add(op.method());
        }
    }

    private Thread worker(int slot, String name, Random r, Runnable round) {
        Thread t = new Thread(() -> {
            try {
                while (!stop && failure.get() == null) {
                    round.run();
                    progress.set(slot, System.nanoTime());
                }
            } catch (Throwable e) {
                failure.compareAndSet(null, new AssertionError(name + " failed", e));
            }
        }, "stress-" + name);
        t.setDaemon(true);
        return t;
    }

    private static Op pick(List<Op> ops, Random r) {
        return ops.get(r.nextInt(ops.size()));
    }

    @Test
    void eightThreadsOfMixedWorkLeaveTheRegistryWholeAndLoseNoCallback() throws Exception {
        SimControl.loadScenario(scenario());
        for (int dev = 0; dev < ADAPTERS; dev++) {
            assertTrue(api.openDevice(dev));
        }
        AenSink sink0 = new AenSink();
        long seconds = Long.getLong("dvh.stress.seconds", 3);
        List<Thread> threads = new ArrayList<>();
        String out = stdout(() -> {
            assertEquals(0, api.enableAENsForDevice(0, 1, sink0));
            threads.add(worker(0, "events-0", new Random(0), () -> {
                // Adapter 0 is never closed and its events never switched off: every link event
                // pushed is reported by the next fetch.
                SimControl.pushEvent(0, 0x8010, null);
                pushed.incrementAndGet();
                long before = sink0.calls.get();
                assertEquals(0, api.getAENsForDevice(0, ADAPTERS, sink0));
                if (sink0.calls.get() == before || (sink0.lastMask.get() & 0x8) == 0) {
                    fail("link event of adapter 0 fetched without a callback");
                }
                delivered.incrementAndGet();
            }));
            Random r1 = new Random(1);
            AenSink sink1 = new AenSink();
            threads.add(worker(1, "events-1to3", r1, () -> {
                int dev = 1 + r1.nextInt(ADAPTERS - 1);
                switch (r1.nextInt(5)) {
                    case 0 -> api.enableAENsForDevice(dev, 1, sink1);
                    case 1 -> api.disableAENsForDevice(dev, 0);
                    // Unmuting only: the mute flag is indexed by the adapter's handle, and the
                    // handle of an adapter the close-reopen thread just closed is 0, so muting it
                    // would mute instance 0, as it always has.
                    case 2 -> api.ignoreAENs(dev, 0, 0);
                    case 3 -> api.startAENValidTime(dev, 0);
                    default -> {
                        try {
                            SimControl.pushEvent(dev, 0x8011, null);
                        } catch (IllegalArgumentException e) {
                            // not possible: all four adapters exist
                        }
                        api.getAENsForDevice(dev, ADAPTERS, sink1);
                    }
                }
            }));
            Random r2 = new Random(2);
            threads.add(worker(2, "full-reads", r2, () -> {
                run(pick(FULL_READS, r2), r2.nextInt(ADAPTERS));
                assertEquals(0, api.getiSCSIHBAData(0, new HBA()), "adapter 0 stays readable");
            }));
            Random r3 = new Random(3);
            threads.add(worker(3, "writes", r3, () -> run(pick(WRITES, r3), r3.nextBoolean() ? 0 : 2)));
            Random r4 = new Random(4);
            threads.add(worker(4, "statistics", r4, () -> run(pick(STATISTICS, r4), r4.nextInt(ADAPTERS))));
            Random r5 = new Random(5);
            threads.add(worker(5, "tables", r5, () -> run(pick(TABLE_READS, r5), r5.nextInt(ADAPTERS))));
            Random r6 = new Random(6);
            threads.add(worker(6, "diagnostics", r6, () -> run(pick(DIAGNOSTICS, r6), 1 + r6.nextInt(ADAPTERS - 1))));
            Random r7 = new Random(7);
            threads.add(worker(7, "close-reopen", r7, () -> {
                int dev = 1 + r7.nextInt(ADAPTERS - 1);
                api.closeDevice(dev);
                Thread.yield();
                // Closing empties the registry: opening instance 0 starts it again, then the rest.
                for (int d = 0; d < ADAPTERS; d++) {
                    assertTrue(api.openDevice(d), "reopen " + d);
                }
            }));
            long now = System.nanoTime();
            for (int i = 0; i < threads.size(); i++) {
                progress.set(i, now);
            }
            threads.forEach(Thread::start);
            long end = now + seconds * 1_000_000_000L;
            try {
                while (System.nanoTime() < end && failure.get() == null) {
                    Thread.sleep(200);
                    watchdog(threads);
                }
                stop = true;
                for (Thread t : threads) {
                    t.join(HUNG_AFTER_SECONDS * 1000L);
                }
                watchdog(threads);
                for (Thread t : threads) {
                    if (t.isAlive()) {
                        failure.compareAndSet(null, hung(t));
                    }
                }
            } catch (InterruptedException e) {
                throw new IllegalStateException(e);
            }
        });
        if (failure.get() != null) {
            throw new AssertionError(failure.get());
        }
        assertTrue(out.length() >= 0);
        assertEquals(pushed.get(), delivered.get(), "every pushed event delivered");
        assertTrue(delivered.get() > 0 && operations.get() > 0);
        if (!unexported.isEmpty()) {
            System.err.println("stress: not yet exported, left out: " + new TreeSet<>(unexported));
        }
        System.err.println("stress: " + operations.get() + " operations and " + delivered.get()
                + " event fetches in " + seconds + " s on 8 threads");

        registryHoldsTheOpenAdaptersAndTheirTargets();
    }

    private void watchdog(List<Thread> threads) {
        long now = System.nanoTime();
        for (int i = 0; i < threads.size(); i++) {
            if (threads.get(i).isAlive() && now - progress.get(i) > HUNG_AFTER_SECONDS * 1_000_000_000L) {
                failure.compareAndSet(null, hung(threads.get(i)));
                stop = true;
            }
        }
    }

    private static AssertionError hung(Thread t) {
        AssertionError e = new AssertionError(t.getName() + " hung for " + HUNG_AFTER_SECONDS + " s");
        e.setStackTrace(t.getStackTrace());
        return e;
    }

    /**
     * Every adapter is open; reading it rebuilds its targets in the registry. A device database
     * change event that reports the state the registry records is dropped, so none of them reaches
     * Java when every target is recorded; one for an entry the registry lacks does.
     */
    private void registryHoldsTheOpenAdaptersAndTheirTargets() {
        List<String> missing = Collections.synchronizedList(new ArrayList<>());
        stdout(() -> {
            for (int dev = 0; dev < ADAPTERS; dev++) {
                HBA hba = new HBA();
                assertEquals(0, api.getiSCSIHBAData(dev, hba));
                AenSink sink = new AenSink();
                assertEquals(0, api.enableAENsForDevice(dev, 1, sink));
                // Drain what the stress left: a fetch takes at most 256 events.
                for (int fetches = 0; fetches < 1000; fetches++) {
                    long before = sink.calls.get();
                    api.getAENsForDevice(dev, ADAPTERS, sink);
                    if (sink.calls.get() == before) {
                        break;
                    }
                }
                for (DevDBEntry e : hba.getDeviceDataBaseEntries()) {
                    if (e.getState() == 0) {
                        continue;
                    }
                    long before = sink.calls.get();
                    SimControl.pushEvent(dev, 0x8014, new int[] {1, e.getTargetID(), e.getState(), 0});
                    api.getAENsForDevice(dev, ADAPTERS, sink);
                    if (sink.calls.get() != before) {
                        missing.add("adapter " + dev + " target " + e.getTargetID());
                    }
                }
                long before = sink.calls.get();
                SimControl.pushEvent(dev, 0x8014, new int[] {1, 500, 4, 0});
                api.getAENsForDevice(dev, ADAPTERS, sink);
                assertEquals(before + 1, sink.calls.get(), "an entry the registry lacks is reported");
            }
        });
        assertEquals(List.of(), missing, "targets missing from the registry");
    }
}
