package com.norvik.dvh.iscsi;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.jni.NativeTestBase;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * Asynchronous events end to end: ApiWrapper switches collection on, the simulator queues events,
 * and getAENsForDevice drains them into one call of jniAENCallBack on the object it is given.
 */
class AenEventsTest extends NativeTestBase {

    /**
     * Instance 0 has handle 5 and device database entries 0 (state 4, session active), 2 (state 7)
     * and 3 (state 0, unused); instance 1 has handle 1. Event collection takes only handles up to 32.
     */
    private static final String SCENARIO = "{\"version\": \"ACMEDISK SIM 1.0\", \"adapters\": ["
            + "{\"instance\": 0, \"handle\": 5, \"ddb\": ["
            + "{\"index\": 0, \"deviceState\": 4}, {\"index\": 2, \"deviceState\": 7},"
            + " {\"index\": 3, \"deviceState\": 0}]},"
            + "{\"instance\": 1, \"handle\": 1}]}";

    private static final int LINK_UP = 0x8010;
    private static final int LINK_DOWN = 0x8011;
    private static final int DDB_CHANGED = 0x8014;
    private static final int HEARTBEAT = 0x8019;
    private static final int INVALID_HANDLE = 0x20000001;

    /** A management host object: records every jniAENCallBack call and answers {@code answer}. */
    public static class Host {
        final List<int[]> calls = Collections.synchronizedList(new ArrayList<>());
        final int answer;

        Host(int answer) {
            this.answer = answer;
        }

        public int jniAENCallBack(int instance, int updateMask, int numHwHBAs) {
            calls.add(new int[] {instance, updateMask, numHwHBAs});
            return answer;
        }

        List<String> seen() {
            List<String> out = new ArrayList<>();
            synchronized (calls) {
                for (int[] c : calls) {
                    out.add(c[0] + ":0x" + Integer.toHexString(c[1]) + ":" + c[2]);
                }
            }
            return out;
        }
    }

    /** A host whose callback has another signature. */
    public static class WrongHost {
        public int jniAENCallBack(int instance, int updateMask) {
            throw new AssertionError("must not be called");
        }
    }

    /** A host whose callback fails. */
    public static class FailingHost {
        public int jniAENCallBack(int instance, int updateMask, int numHwHBAs) {
            throw new IllegalStateException("host is shutting down");
        }
    }

    @BeforeEach
    void loadScenario() {
        SimControl.loadScenario(SCENARIO);
        assertTrue(api.openDevice(0));
        assertTrue(api.openDevice(1));
        SimControl.clearCallLog();
    }

    private static void push(int instance, int code, int... payload) {
        SimControl.pushEvent(instance, code, payload);
    }

    @Test
    void linkUpAndDownArriveAsOneCallWithBothBits() {
        Host host = new Host(7);
        assertEquals(0, api.enableAENsForDevice(0, 2, host));
        assertEquals(List.of(30000L), argOfCalls("SDEnableAeniSCSI", "intervalMs"));
        assertEquals(List.of(5L), argOfCalls("SDEnableAeniSCSI", "handle"));
        push(0, LINK_UP);
        push(0, LINK_DOWN);
        String out = stdout(() -> assertEquals(0, api.getAENsForDevice(0, 2, host)));
        assertEquals(List.of("0:0x18:2"), host.seen());
        assertTrue(out.startsWith("Debug: ***JNI::getAENsForDevice: Creating AEN Buffer=12288\r\n"
                + "Debug: ***JNI::getAENsForDevice: HBA Device java:sdm Instance=0:5\r\n"
                + "Debug: ***AENHandlerFunction: Device Instance[5] has (2) events.\r\n"
                + "Debug: ***AEN 0: EventCode = 0x8010, payload: 0 0 0 0 0 0 0\r\n"
                + "Debug: ***AENCallBackFunction: AEN 0 - ID:0x8010 (Link Up) Time: "), out);
        assertTrue(out.endsWith("Debug: ***AENHandlerFunction: Device Instance [7] has (5) events, calling Java "
                + "Call back function returnVal=0x2\r\n"), out);

        // Drained: the next fetch has nothing to tell.
        String again = stdout(() -> assertEquals(0, api.getAENsForDevice(0, 2, host)));
        assertEquals(1, host.calls.size());
        assertTrue(again.endsWith("Debug: ***AENHandlerFunction: Zero AENs for this HBA [Java=0:SDM=5]\r\n"
                + "Debug: ***AENHandlerFunction: Zero Update AENs for this HBA [Java=0:SDM=5]\r\n"), again);
    }

    @Test
    void intervalsAreClampedBeforeTheLibrarySeesThem() {
        Host host = new Host(0);
        for (int seconds : new int[] {0, 1, 2, 3, 10000, -1}) {
            assertEquals(0, api.enableAENsForDevice(1, seconds, host));
        }
        assertEquals(List.of(30000L, 30000L, 30000L, 3000L, 0x8FFFFFL, 0x8FFFFFL),
                argOfCalls("SDEnableAeniSCSI", "intervalMs"));
    }

    @Test
    void heartbeatsAloneDoNotCallTheHost() {
        Host host = new Host(0);
        api.enableAENsForDevice(0, 2, host);
        push(0, HEARTBEAT);
        String out = stdout(() -> assertEquals(0, api.getAENsForDevice(0, 1, host)));
        assertTrue(host.calls.isEmpty());
        assertTrue(out.endsWith("Debug: ***AENHandlerFunction: Skip Event=0x8019, HBA [Java=0:SDM=5]\r\n"
                + "Debug: ***AENHandlerFunction: Zero Update AENs for this HBA [Java=0:SDM=5]\r\n"), out);
    }

    @Test
    void deviceDatabaseChangesAreFilteredAgainstTheStatesReadWithTheAdapter() {
        Host host = new Host(0);
        // Reading the adapter records entries 0 (state 4) and 2 (state 7), not the unused entry 3.
        stdout(() -> api.getiSCSIHBAData(0, new HBA(0)));
        api.enableAENsForDevice(0, 2, host);

        push(0, DDB_CHANGED, 1, 2, 6, 0);  // 7 -> 6: the driver's own login attempt
        push(0, DDB_CHANGED, 1, 0, 4, 0);  // to the recorded state
        String dropped = stdout(() -> api.getAENsForDevice(0, 1, host));
        assertTrue(host.calls.isEmpty(), dropped);
        assertTrue(dropped.contains("Debug: ***IsUpdateAEN: Ignore AEN for Target Instance[2], Duplicate State "
                + "(driver login attempt)\r\n"), dropped);

        push(0, DDB_CHANGED, 1, 0, 6, 0x1c);  // 4 -> 6: a session failed
        push(0, DDB_CHANGED, 1, 3, 4, 0);  // an entry the registry does not hold
        String delivered = stdout(() -> api.getAENsForDevice(0, 1, host));
        assertEquals(List.of("0:0x20:1"), host.seen());
        assertTrue(delivered.contains("Debug: ***IsUpdateAEN: Different State for Target Instance[0], Orig State=4, "
                + "New State=6\r\n"), delivered);
        assertTrue(delivered.contains("(DDB 0 Change Detected, State=(Session Failed), ConnErrorCode=0x1c)"),
                delivered);
        assertTrue(delivered.contains("Debug: ***IsUpdateAEN: Unable to Locate Target Instance[3], Target Count=2\r\n"),
                delivered);
    }

    @Test
    void hostWithoutTheCallbackIsAnsweredMinusOneAfterTheQueueWasDrained() {
        Host host = new Host(0);
        api.enableAENsForDevice(0, 2, host);
        push(0, LINK_UP);
        String out = stdout(() -> assertEquals(-1, api.getAENsForDevice(0, 1, new Object())));
        assertTrue(out.endsWith("GetMethodID jniAENCallBack call failed! HBA ID=0\n"), out);
        assertEquals(1, calls("SDGetAeniSCSI").size());

        push(0, LINK_DOWN);
        assertEquals(-1, api.getAENsForDevice(0, 1, new WrongHost()));
        // Both events are gone.
        stdout(() -> api.getAENsForDevice(0, 1, host));
        assertTrue(host.calls.isEmpty());
    }

    @Test
    void nullHostObject() {
        String enable = stdout(() -> assertEquals(-1, api.enableAENsForDevice(0, 2, null)));
        assertTrue(enable.endsWith("NULL fullHostObj cannot setup AEN CallBack Support\n"), enable);
        // Collection was switched on all the same.
        assertEquals(List.of(5L), argOfCalls("SDEnableAeniSCSI", "handle"));

        push(0, LINK_UP);
        String fetch = stdout(() -> assertEquals(-1, api.getAENsForDevice(0, 1, null)));
        assertTrue(fetch.endsWith("GetMethodID jniAENCallBack call failed! HBA ID=0\n"), fetch);
        Host host = new Host(0);
        stdout(() -> api.getAENsForDevice(0, 1, host));
        assertTrue(host.calls.isEmpty());
    }

    @Test
    void exceptionOfTheCallbackReachesTheCaller() {
        api.enableAENsForDevice(0, 2, new Host(0));
        push(0, LINK_UP);
        IllegalStateException thrown = assertThrows(IllegalStateException.class,
                () -> api.getAENsForDevice(0, 1, new FailingHost()));
        assertEquals("host is shutting down", thrown.getMessage());
        // The library is usable afterwards.
        Host host = new Host(0);
        push(0, LINK_DOWN);
        stdout(() -> assertEquals(0, api.getAENsForDevice(0, 1, host)));
        assertEquals(List.of("0:0x10:1"), host.seen());
    }

    @Test
    void instancesOutsideTheTableUseHandleZero() {
        Host host = new Host(0);
        for (int dev : new int[] {32, -1, 1000, Integer.MIN_VALUE}) {
            String out = stdout(() -> assertEquals(INVALID_HANDLE, api.getAENsForDevice(dev, 1, host)));
            assertTrue(out.contains("HBA Device java:sdm Instance=" + dev + ":0\r\n"), out);
            assertEquals(INVALID_HANDLE, api.disableAENsForDevice(dev, 0));
            assertEquals(0, api.ignoreAENs(dev, 1, 0));
            assertEquals(0, api.ignoreAENs(dev, 0, 0));
            assertEquals(INVALID_HANDLE, api.startAENValidTime(dev, 0));
        }
        assertTrue(host.calls.isEmpty());
    }

    @Test
    void ignoreFlagSilencesTheAdapterWhoseHandleIsItsNumber() {
        Host host = new Host(0);
        api.enableAENsForDevice(1, 2, host);
        api.enableAENsForDevice(0, 2, host);
        assertEquals(0, api.ignoreAENs(1, 1, 0));
        push(1, LINK_UP);
        String out = stdout(() -> api.getAENsForDevice(1, 1, host));
        assertTrue(out.endsWith("Debug: ***AENHandlerFunction: Skip Processing Events for this HBA [Java=1:SDM=1]\r\n"),
                out);
        // Instance 0 has handle 5: ignoreAENs(0) marks another slot and does not silence it.
        assertEquals(0, api.ignoreAENs(0, 1, 0));
        push(0, LINK_UP);
        stdout(() -> api.getAENsForDevice(0, 1, host));
        assertEquals(List.of("0:0x8:1"), host.seen());

        assertEquals(0, api.ignoreAENs(1, 0, 0));
        push(1, LINK_DOWN);
        stdout(() -> api.getAENsForDevice(1, 1, host));
        assertEquals(List.of("0:0x8:1", "1:0x10:1"), host.seen());
    }

    @Test
    void disableSilencesAndValidTimeDropsOlderEvents() {
        Host host = new Host(0);
        api.enableAENsForDevice(1, 2, host);
        assertEquals(0, api.disableAENsForDevice(1, 2));
        assertEquals(List.of(2L), argOfCalls("SDDisableAeniSCSI", "levelShutdown"));
        String out = stdout(() -> api.getAENsForDevice(1, 1, host));
        assertTrue(out.contains("Skip Processing Events for this HBA [Java=1:SDM=1]"), out);

        api.enableAENsForDevice(1, 2, host);
        push(1, LINK_UP);
        assertEquals(0, api.startAENValidTime(1, 12345));
        assertEquals(List.of(0L), argOfCalls("SDSetAENValidTime", "validTime"));
        push(1, LINK_DOWN);
        stdout(() -> api.getAENsForDevice(1, 1, host));
        // Whatever the library still holds is delivered in one call.
        assertEquals(1, host.calls.size());
        assertTrue((host.calls.get(0)[1] & 0x10) != 0);
    }

    @Test
    void twoThreadsFetchWhileOthersReadTheAdapters() throws Exception {
        Host host0 = new Host(0);
        Host host1 = new Host(0);
        api.enableAENsForDevice(0, 2, host0);
        api.enableAENsForDevice(1, 2, host1);
        final int rounds = 300;
        AtomicBoolean stop = new AtomicBoolean();
        AtomicInteger wrong = new AtomicInteger();
        CountDownLatch go = new CountDownLatch(1);
        ExecutorService pool = Executors.newFixedThreadPool(5);
        List<Future<?>> fetchers = new ArrayList<>();
        List<Future<?>> readers = new ArrayList<>();
        String out = stdout(() -> {
            for (int inst = 0; inst < 2; inst++) {
                final int instance = inst;
                final Host host = inst == 0 ? host0 : host1;
                fetchers.add(pool.submit(() -> {
                    go.await();
                    for (int round = 0; round < rounds; round++) {
                        int before = host.calls.size();
                        push(instance, LINK_UP);
                        push(instance, DDB_CHANGED, 1, round % 4, round % 7, 0);
                        push(instance, HEARTBEAT);
                        if (api.getAENsForDevice(instance, 2, host) != 0 || host.calls.size() != before + 1) {
                            wrong.incrementAndGet();
                        }
                        if (host.calls.isEmpty()) {
                            continue;
                        }
                        int[] last = host.calls.get(host.calls.size() - 1);
                        if (last[0] != instance || (last[1] & 0x8) == 0 || (last[1] & ~0x28) != 0) {
                            wrong.incrementAndGet();
                        }
                    }
                    return null;
                }));
            }
            for (int inst = 0; inst < 2; inst++) {
                final int instance = inst;
                readers.add(pool.submit(() -> {
                    go.await();
                    while (!stop.get()) {
                        api.getiSCSIHBAData(instance, new HBA(instance));
                        api.getiSCSIEntryNum(instance);
                    }
                    return null;
                }));
            }
            readers.add(pool.submit(() -> {
                go.await();
                while (!stop.get()) {
                    api.getVersioniSCSI();
                    api.openDevice(1);
                }
                return null;
            }));
            go.countDown();
            try {
                for (Future<?> f : fetchers) {
                    assertNull(f.get(120, TimeUnit.SECONDS));
                }
                stop.set(true);
                for (Future<?> f : readers) {
                    assertNull(f.get(120, TimeUnit.SECONDS));
                }
            } catch (Exception e) {
                throw new AssertionError(e);
            } finally {
                stop.set(true);
                pool.shutdownNow();
            }
        });
        assertEquals(0, wrong.get(), "fetches without exactly one right callback");
        assertEquals(rounds, host0.calls.size());
        assertEquals(rounds, host1.calls.size());
        assertTrue(out.contains("calling Java Call back function"));
    }
}
