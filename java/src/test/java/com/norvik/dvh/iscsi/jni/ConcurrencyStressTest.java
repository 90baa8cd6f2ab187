package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.catalog.AenSink;
import com.norvik.dvh.iscsi.catalog.NativeMethods;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Random;
import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.atomic.AtomicLongArray;
import java.util.concurrent.atomic.AtomicReference;

import org.junit.jupiter.api.Test;

/**
 * Eight threads for a while (system property {@code dvh.stress.seconds}, default 3) mixing event
 * polling, full adapter reads, writes, statistics, table reads and diagnostics across four adapters,
 * which are closed and opened again in between. Afterwards the registry holds the open adapters and
 * their targets (probed through device database change events, which the event engine drops when
 * the registry already records the reported state), no event callback went missing, and no thread
 * hung (a watchdog fails the run). Run in the sanitizer build, any memory error ends the JVM.
 *
 * <p>Each kind of work is a list of native methods, called as the catalog calls them.
 */
class ConcurrencyStressTest extends NativeTestBase {

    private static final int ADAPTERS = 4;
    private static final int HUNG_AFTER_SECONDS = 60;

    // The kinds of work, as methods of the catalog called with its arguments. Adding a native
    // method to the stress is one name in one of them.
    static final List<String> FULL_READS = List.of("getiSCSIHBAData", "getFWData", "getiSCSIAdapterInfo",
            "getiSCSIFWInfo", "getiSCSIDriverInfo", "getChipInfo", "getiSCSIEntryNum", "getDefaultDDBEntry",
            "getInitialDDBEntry", "getISCSIFWDefaults", "getVersioniSCSI");
    static final List<String> WRITES = List.of("setDDBData", "setDDBsData", "setFWData", "setCHAPTableData",
            "setiSNSDiscoveryConfig", "setBootInfo");
    static final List<String> STATISTICS = List.of("getiSCSIStatistics", "getiSCSIStatistics6124", "getiSCSIHBAState",
            "resetISCSICounters", "getiSCSISecurityStatistics", "getiSCSISecurityInfo");
    static final List<String> TABLE_READS = List.of("getCHAPTableData", "getCHAPTableSparse",
            "getSecurityPoliciesTable", "getiSNSDiscoveryConfig", "getiSNSTargets", "getConnectErrorLog", "getARPLog",
            "getBootInfo", "getIBMVPD");
    static final List<String> DIAGNOSTICS = List.of("ping", "restoreDefaults", "logoutDDB", "getiSCSITargetData",
            "loopbackTest", "readWriteBufferTest");

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

    private void run(String method, int dev) {
        NativeMethods.call(api, method, dev);
        operations.incrementAndGet();
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

    private static String pick(List<String> methods, Random r) {
        return methods.get(r.nextInt(methods.size()));
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
        stdout(() -> {
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
        assertEquals(pushed.get(), delivered.get(), "every pushed event delivered");
        assertTrue(delivered.get() > 0 && operations.get() > 0);
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
