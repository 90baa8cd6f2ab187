package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.sampleEntry;
import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;

/** Adapter reads and writes on several Java threads at once. */
class ConcurrentConfigTest extends NativeTestBase {

    private static final int ROUNDS = 60;

    @Test
    void readsAndWritesOnSeveralThreadsStayConsistent() throws Exception {
        Scenario s = new Scenario();
        ObjectNode a0 = s.adapter(0);
        ddb(a0, 0, 4);
        ddb(a0, 3, 4);
        ObjectNode a1 = s.adapter(1);
        ddb(a1, 1, 4);
        a1.putObject("initFw").put("ipAddress", "10.1.1.1");
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        assertTrue(api.openDevice(1));

        List<Callable<Void>> jobs = new ArrayList<>();
        for (int dev = 0; dev < 2; dev++) {
            final int instance = dev;
            jobs.add(() -> {
                for (int i = 0; i < ROUNDS; i++) {
                    HBA hba = new HBA();
                    assertEquals(0, api.getiSCSIHBAData(instance, hba));
                    // Entry 0 of adapter 0 and entry 1 of adapter 1 are never rewritten.
                    assertEquals(instance, hba.getDeviceDataBaseEntry(0).getTargetID());
                }
                return null;
            });
        }
        jobs.add(() -> {
            for (int i = 0; i < ROUNDS; i++) {
                DevDBEntry e = sampleEntry(20 + i % 5);
                assertEquals(0, api.setDDBData(0, null, e, 0));
                assertEquals(0, api.setDDBsData(0, new HBA(), new Object[] {sampleEntry(30 + i % 3)}));
            }
            return null;
        });
        jobs.add(() -> {
            for (int i = 0; i < ROUNDS; i++) {
                HBA hba = new HBA();
                assertEquals(0, api.getFWData(1, hba));
                hba.setGateway(IPAddr.of("10.1.1." + (1 + i % 200)));
                hba.getNodeInfo().setiSCSIName("iqn.2004-06.com.norvik:t" + i);
                assertEquals(0, api.setFWData(1, hba));
            }
            return null;
        });

        ExecutorService pool = Executors.newFixedThreadPool(jobs.size());
        try {
            List<Future<Void>> results = stdoutOf(() -> pool.invokeAll(jobs, 5, TimeUnit.MINUTES));
            for (Future<Void> f : results) {
                f.get();
            }
        } finally {
            pool.shutdownNow();
        }

        HBA after = new HBA();
        stdout(() -> assertEquals(0, api.getiSCSIHBAData(0, after)));
        assertEquals(List.of(0, 3, 20, 21, 22, 23, 24, 30, 31, 32),
                after.getDeviceDataBaseEntries().stream().map(DevDBEntry::getTargetID).toList());
    }

    private interface Action<T> {
        T run() throws Exception;
    }

    /** Runs {@code action} with the native output captured (and dropped); returns its result. */
    private static <T> T stdoutOf(Action<T> action) throws Exception {
        List<T> result = new ArrayList<>(1);
        Exception[] failure = new Exception[1];
        stdout(() -> {
            try {
                result.add(action.run());
            } catch (Exception e) {
                failure[0] = e;
            }
        });
        if (failure[0] != null) {
            throw failure[0];
        }
        return result.get(0);
    }
}
