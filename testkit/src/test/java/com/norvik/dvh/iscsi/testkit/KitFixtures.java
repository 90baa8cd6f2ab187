package com.norvik.dvh.iscsi.testkit;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.HBA;
import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.MethodOrderer;
import org.junit.jupiter.api.Order;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestMethodOrder;

/**
 * Suites that the kit's tests run through JUnit's launcher and judge from outside (their names keep
 * them out of the class-path scan).
 */
final class KitFixtures {

    private KitFixtures() {}

    static class MissingScenario {
        @Test
        @SimulatedAdapters(scenario = "no-such-dir/site.json")
        void runs() {}
    }

    static class BrokenResource {
        @Test
        @SimulatedAdapters(resource = "com/norvik/dvh/iscsi/testkit/broken.json")
        void runs() {}
    }

    /** The first test leaves everything it can behind and fails half-way; the second finds none of it. */
    @TestMethodOrder(MethodOrderer.OrderAnnotation.class)
    @SimulatedAdapters(open = true)
    static class Leaky {
        @Test
        @Order(1)
        void leavesStateBehindAndFails(ApiWrapper api, Simulator sim) {
            sim.fault("SDGetDDBEntryNum", 0x2000001F);
            sim.pushEvent(0, 0x8014, 1, 0, 6, 0);
            sim.advanceClock(java.time.Duration.ofSeconds(30));
            api.enableAENsForDevice(0, 1, new Object());
            sim.load(ScenarioBuilder.scenario().adapter(5, a -> a.alias("leftover")));
            fail("half-way");
        }

        @Test
        @Order(2)
        void findsAFreshSimulator(ApiWrapper api, Simulator sim) {
            assertEquals(List.of(), sim.calls(), "call log");
            assertEquals(7, api.getiSCSIEntryNum(0), "no fault, the default database");
            assertTrue(!sim.stateJson().contains("leftover"), "the default scenario");
            HBA hba = new HBA(0);
            assertEquals(0, api.getiSCSIHBAData(0, hba));
            int[] callbacks = {0};
            Object host = new Object() {
                @SuppressWarnings("unused")
                public int jniAENCallBack(int dev, int mask, int n) {
                    callbacks[0]++;
                    return 0;
                }
            };
            api.enableAENsForDevice(0, 1, host);
            api.getAENsForDevice(0, 2, host);
            assertEquals(0, callbacks[0], "no event left over");
        }
    }

    /** Intervals during which a simulator test ran. */
    static final List<long[]> SIMULATOR_RUNS = new CopyOnWriteArrayList<>();

    /** Two tests that only pass when they run at the same time. */
    static final CyclicBarrier PLAIN_TOGETHER = new CyclicBarrier(2);

    static void onSimulator() throws InterruptedException {
        long start = System.nanoTime();
        Thread.sleep(150);
        SIMULATOR_RUNS.add(new long[] {start, System.nanoTime()});
    }

    static void plain() throws Exception {
        PLAIN_TOGETHER.await(20, TimeUnit.SECONDS);
    }

    @SimulatedAdapters
    static class SimulatorA {
        @Test
        void one(Simulator sim) throws InterruptedException {
            onSimulator();
        }

        @Test
        void two(Simulator sim) throws InterruptedException {
            onSimulator();
        }
    }

    static class SimulatorB {
        @Test
        @SimulatedAdapters
        void one(Simulator sim) throws InterruptedException {
            onSimulator();
        }
    }

    static class PlainA {
        @Test
        void meets() throws Exception {
            plain();
        }
    }

    static class PlainB {
        @Test
        void meets() throws Exception {
            plain();
        }
    }
}
