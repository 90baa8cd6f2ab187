package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.sampleEntry;
import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.expectedEntryRecord;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.fuzz.ClassForge;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DevEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.NodeInfo;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.List;
import java.util.stream.Collectors;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * Writing many device database entries whose elements are of several classes (what a method row
 * cannot say: the rows' arrays hold one class). The other cases of the entries are rows of
 * {@code scenario-cases.json}.
 */
class DeviceEntryTest extends NativeTestBase {

    private static final String SET = "SDSetDDBEntry";
    private static final String SET_FLASH = "SDSetDDBEntryFlashOnly";

    private int status;

    /** Instance 0 with entries 0 and 5 in use. */
    @BeforeEach
    void openAdapter() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4);
        ddb(a, 5, 4);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    private static HBA adapterWithBoot(boolean enabled) {
        HBA hba = new HBA(0);
        hba.getBootInfo().setEnabled(enabled);
        return hba;
    }

    private static List<Long> written(String fn) {
        return calls(fn).stream().map(c -> c.arg("targetID")).collect(Collectors.toList());
    }

    private static DevDBEntry[] entries(int n) {
        DevDBEntry[] a = new DevDBEntry[n];
        for (int i = 0; i < n; i++) {
            a[i] = sampleEntry(i);
        }
        return a;
    }

    /**
     * Not a DevDBEntry, but with the same getters, answering those of the entry it wraps; its
     * node is of a NodeInfo class of its own.
     */
    public static class EntryLookAlike {
        private final DevDBEntry e;
        private final NodeInfo node;

        EntryLookAlike(DevDBEntry e) {
            this.e = e;
            NodeInfo n = e.getNodeInfo();
            node = new NodeInfo() {
                @Override
                public String getiSCSIName() {
                    return n.getiSCSIName();
                }
            };
            node.setAlias(n.getAlias());
            node.setIPAddress(n.getIPAddress());
            node.setPortalCount(n.getPortalCount());
        }

        public NodeInfo getNodeInfo() {
            return node;
        }

        public int getState() {
            return e.getState();
        }

        public int getTargetID() {
            return e.getTargetID();
        }

        public byte getOptions() {
            return e.getOptions();
        }

        public int getExeCount() {
            return e.getExeCount();
        }

        public byte getControl() {
            return e.getControl();
        }

        public int getTargetSessionID() {
            return e.getTargetSessionID();
        }

        public int getTargetPortalGroupID() {
            return e.getTargetPortalGroupID();
        }

        public int getReservedFlags() {
            return e.getReservedFlags();
        }

        public short[] getInitiatorSessionID() {
            return e.getInitiatorSessionID();
        }

        public int getMaxTxDataSegmentLen() {
            return e.getMaxTxDataSegmentLen();
        }

        public int getDDBLink() {
            return e.getDDBLink();
        }

        public int getChapIndex() {
            return e.getChapIndex();
        }

        public DevEntry getDeviceEntry() {
            return e.getDeviceEntry();
        }

        public int isBootableDevice() {
            return e.isBootableDevice();
        }
    }

    @Test
    void elementsOfSeveralClassesInOneCallAreEachReadThroughTheirOwnClass() throws ReflectiveOperationException {
        DevDBEntry[] samples = entries(7);
        samples[3].setBootableDevice(0);
        Class<?> noChapIndex = new ClassForge().lacking(DevDBEntry.class, DevDBEntry.class.getMethod("getChapIndex"));
        Object[] array = {samples[1], new EntryLookAlike(samples[2]), samples[3], noChapIndex.getConstructor().newInstance(),
            new EntryLookAlike(samples[5]), noChapIndex.getConstructor().newInstance(), samples[6]};
        String out = stdout(() -> status = api.setDDBsData(0, adapterWithBoot(true), array));
        // A class lacking a getter fails on each of its elements; the others are written.
        assertEquals(0, status);
        assertEquals(List.of("GetMethodID getChapIndex call failed!", "GetMethodID getChapIndex call failed!"),
                out.lines().filter(l -> l.startsWith("GetMethodID")).toList());
        assertEquals(List.of(3L), written(SET_FLASH));
        assertEquals(List.of(1L, 2L, 5L, 6L), written(SET));
        List<SimCall> sets = calls(SET);
        for (int i = 0; i < sets.size(); i++) {
            assertArrayEquals(expectedEntryRecord(samples[new int[] {1, 2, 5, 6}[i]]), sets.get(i).record("entry"));
        }
    }

    // --- Default and initial entries, count, logout ---------------------------------------
}
