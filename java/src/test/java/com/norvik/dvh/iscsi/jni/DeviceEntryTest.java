package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.sampleEntry;
import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.DDB_ENTRY_SIZE;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.NOT_SUPPORTED;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.assertEntryEquals;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.expectedEntryRecord;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.putEntry;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.slice;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.u16;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.u32;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.u8;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
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
import java.util.stream.LongStream;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/**
 * Device database entries: writing one or many (to flash only for the enabled boot device), the
 * default and initial entries, the entry count and logout.
 */
class DeviceEntryTest extends NativeTestBase {

    private static final String SET = "SDSetDDBEntry";
    private static final String SET_FLASH = "SDSetDDBEntryFlashOnly";

    /** The adapter's template for a new entry (tx window scale included: it is read). */
    private static final DevDBEntry DEFAULT_ENTRY = sampleEntry(33);

    private int status;

    /** Instance 0 with entries 0 and 5 in use and {@link #DEFAULT_ENTRY} as its default entry. */
    @BeforeEach
    void openAdapter() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4);
        ddb(a, 5, 4);
        putEntry(a.putObject("defaultDdbEntry"), DEFAULT_ENTRY);
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

    private static byte[] record(String fn) {
        List<SimCall> c = calls(fn);
        assertEquals(1, c.size(), fn + " calls");
        byte[] r = c.get(0).record("entry");
        assertEquals(DDB_ENTRY_SIZE, r.length);
        return r;
    }

    // --- setDDBData ---------------------------------------------------------------------

    @Test
    void anEntryThatIsNoBootDeviceGoesToTheRunningAdapter() {
        DevDBEntry e = sampleEntry(9);
        e.setBootableDevice(DevDBEntry.NOT_BOOTABLE);
        stdout(() -> status = api.setDDBData(0, adapterWithBoot(true), e, 0));
        assertEquals(0, status);
        assertEquals(List.of(), calls(SET_FLASH));
        assertEquals(List.of(9L), written(SET));
        assertArrayEquals(expectedEntryRecord(e), record(SET));
        // Without a boot decision to make, the adapter object is not needed.
        SimControl.clearCallLog();
        stdout(() -> status = api.setDDBData(0, null, e, 0));
        assertEquals(0, status);
        assertEquals(List.of(9L), written(SET));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 511, Integer.MIN_VALUE})
    void aBootDeviceGoesToFlashOnlyWhenBootIsEnabled(int bootable) {
        DevDBEntry e = sampleEntry(9);
        e.setBootableDevice(bootable);
        stdout(() -> status = api.setDDBData(0, adapterWithBoot(true), e, 0));
        assertEquals(0, status);
        assertEquals(List.of(), calls(SET));
        assertEquals(List.of(9L), written(SET_FLASH));
        assertArrayEquals(expectedEntryRecord(e), record(SET_FLASH));
    }

    @Test
    void aBootDeviceGoesToTheRunningAdapterWhenBootIsDisabled() {
        DevDBEntry e = sampleEntry(9);
        e.setBootableDevice(0);
        stdout(() -> status = api.setDDBData(0, adapterWithBoot(false), e, 0));
        assertEquals(0, status);
        assertEquals(List.of(), calls(SET_FLASH));
        assertEquals(List.of(9L), written(SET));
    }

    @Test
    void aBootDeviceNeedsTheAdapterObject() {
        DevDBEntry e = sampleEntry(9);
        e.setBootableDevice(0);
        String out = stdout(() -> status = api.setDDBData(0, null, e, 0));
        assertEquals(ApiStatus.NULL_OBJECT, status);
        assertTrue(out.endsWith("\nNULL Java HBA Object!\n"), out);
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void theIndexArgumentIsIgnoredForTheEntrysOwnTargetId() {
        stdout(() -> status = api.setDDBData(0, adapterWithBoot(false), sampleEntry(300), 123));
        assertEquals(0, status);
        assertEquals(List.of(300L), written(SET));
        assertEquals(300L, u32(record(SET), 460));
    }

    @Test
    void fieldsTheObjectDoesNotGiveAreWrittenAsZero() {
        DevDBEntry e = sampleEntry(9);
        e.getDeviceEntry().setTxTCPWindowScale((short) 0x33);
        stdout(() -> status = api.setDDBData(0, adapterWithBoot(false), e, 0));
        assertEquals(0, status);
        byte[] r = record(SET);
        assertEquals(0, u8(r, 76 + 4), "TCPTxWindowScaleFactor");
        assertEquals(0, u8(r, 76 + 6), "retryCount");
        assertEquals(0, u8(r, 75), "SetDDBRAMOnlyFlag");
        assertArrayEquals(new byte[63], slice(r, 12, 63), "Reserved0");
        assertEquals(0L, u32(r, 472), "NextValid");
        assertEquals(0, u16(r, 140 + 16), "address type");
    }

    @Test
    void valuesFromJavaKeepTheLowBitsThatFitTheirFields() {
        DevDBEntry e = sampleEntry(9);
        e.setExeCount(0x51234);
        e.setChapIndex(-1);
        e.getDeviceEntry().setPortNumber(0x10CBC);
        e.getDeviceEntry().setRxTCPWindowScale((short) 0x1FE);
        e.setInitiatorSessionID(new short[] {0x140, -1, 2, 3, 4, 0x7FFF});
        stdout(() -> status = api.setDDBData(0, adapterWithBoot(false), e, 0));
        assertEquals(0, status);
        byte[] r = record(SET);
        assertEquals(0x1234, u16(r, 2));
        assertEquals(0xFFFF, u16(r, 478));
        assertEquals(3260, u16(r, 76 + 26));
        assertEquals(0xFE, u8(r, 76 + 5));
        assertArrayEquals(new byte[] {0x40, (byte) 0xFF, 2, 3, 4, (byte) 0xFF}, slice(r, 6, 6));
    }

    @Test
    void aFailedWriteIsReportedWithItsStatus() {
        SimControl.fault(SET, NOT_SUPPORTED, true);
        SimControl.fault(SET_FLASH, NOT_SUPPORTED, true);
        DevDBEntry e = sampleEntry(9);
        assertEquals("SDSetDDBEntry call failed! 3, Errno = 0x2000002d\n",
                tail(stdout(() -> status = api.setDDBData(0, adapterWithBoot(false), e, 0))));
        assertEquals(NOT_SUPPORTED, status);
        e.setBootableDevice(0);
        assertEquals("SDSetDDBEntryFlashOnly call failed! 3, Errno = 0x2000002d\n",
                tail(stdout(() -> status = api.setDDBData(0, adapterWithBoot(true), e, 0))));
        assertEquals(NOT_SUPPORTED, status);
    }

    @Test
    void aWrittenEntryIsReadBackEqual() {
        DevDBEntry e = sampleEntry(9);
        DevDBEntry f = sampleEntry(12);
        f.setState(1);
        stdout(() -> {
            assertEquals(0, api.setDDBData(0, adapterWithBoot(false), e, 0));
            assertEquals(0, api.setDDBsData(0, adapterWithBoot(false), new DevDBEntry[] {f}));
        });
        HBA back = new HBA();
        stdout(() -> status = api.getiSCSIHBAData(0, back));
        assertEquals(0, status);
        assertEquals(List.of(0, 5, 9, 12),
                back.getDeviceDataBaseEntries().stream().map(DevDBEntry::getTargetID).collect(Collectors.toList()));
        // The transmit window scale is not written: the adapter keeps 0.
        e.getDeviceEntry().setTxTCPWindowScale((short) 0);
        f.getDeviceEntry().setTxTCPWindowScale((short) 0);
        assertEntryEquals(e, back.getDeviceDataBaseEntry(2));
        assertEntryEquals(f, back.getDeviceDataBaseEntry(3));
        assertEquals(2, back.getDeviceDataBaseEntry(2).getIndex());
        assertEquals(3, back.getDeviceDataBaseEntry(3).getIndex());
    }

    // --- setDDBsData --------------------------------------------------------------------

    private static DevDBEntry[] entries(int n) {
        DevDBEntry[] a = new DevDBEntry[n];
        for (int i = 0; i < n; i++) {
            a[i] = sampleEntry(i);
        }
        return a;
    }

    @Test
    void fiveHundredTwelveEntriesAreRefusedWithoutALibraryCall() {
        stdout(() -> status = api.setDDBsData(0, adapterWithBoot(false), entries(512)));
        assertEquals(0, status);
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void fiveHundredElevenEntriesAreAllWrittenInOrder() {
        stdout(() -> status = api.setDDBsData(0, adapterWithBoot(false), entries(511)));
        assertEquals(0, status);
        assertEquals(LongStream.range(0, 511).boxed().collect(Collectors.toList()), written(SET));
    }

    @Test
    void anEmptyArrayWritesNothing() {
        assertEquals("", stdout(() -> status = api.setDDBsData(0, adapterWithBoot(false), new DevDBEntry[0])));
        assertEquals(0, status);
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void eachElementMakesItsOwnFlashDecisionAndFailuresAreHidden() {
        DevDBEntry boot = sampleEntry(3);
        boot.setBootableDevice(0);
        DevDBEntry plain = sampleEntry(4);
        SimControl.fault(SET, NOT_SUPPORTED, true);
        stdout(() -> status = api.setDDBsData(0, adapterWithBoot(true), new DevDBEntry[] {boot, plain, plain}));
        assertEquals(0, status);
        assertEquals(List.of(3L), written(SET_FLASH));
        assertEquals(List.of(4L, 4L), written(SET));
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

    @Test
    void aNullElementStopsTheLoopWithTheEarlierElementsWritten() {
        DevDBEntry[] a = {sampleEntry(1), sampleEntry(2), null, sampleEntry(4)};
        String out = stdout(() -> status = api.setDDBsData(0, adapterWithBoot(false), a));
        assertEquals(ApiStatus.NULL_OBJECT, status);
        assertTrue(out.endsWith("NULL javaDDBObject!\n"), out);
        assertEquals(List.of(1L, 2L), written(SET));
    }

    // --- Default and initial entries, count, logout ---------------------------------------

    @Test
    void theDefaultEntryArrivesAsANewObject() {
        Object got = api.getDefaultDDBEntry(0);
        assertNotNull(got);
        DevDBEntry e = (DevDBEntry) got;
        assertEntryEquals(DEFAULT_ENTRY, e);
        assertEquals(0, e.getIndex());
        assertEquals(List.of((long) HANDLE_0), argOfCalls("SDGetDefaultDDBEntry", "handle"));
    }

    @Test
    void theInitialEntryLeavesTargetIdAndStateAndSetsTheIndex() {
        DevDBEntry e = new DevDBEntry();
        e.setTargetID(77);
        e.setState(9);
        stdout(() -> status = api.getInitialDDBEntry(0, e, 12));
        assertEquals(0, status);
        assertEquals(List.of(12L), argOfCalls("SDGetInitialDDBEntry", "index"));
        assertEquals(77, e.getTargetID());
        assertEquals(9, e.getState());
        assertEquals(12, e.getIndex());
        DevDBEntry expected = sampleEntry(33);
        expected.setTargetID(77);
        expected.setState(9);
        assertEntryEquals(expected, e);
    }

    @Test
    void aFailedInitialEntryReturnsTheStatus() {
        assertEquals(ApiStatus.BAD_INDEX, api.getInitialDDBEntry(32, new DevDBEntry(), 1));
        SimControl.fault("SDGetInitialDDBEntry", NOT_SUPPORTED, true);
        DevDBEntry e = new DevDBEntry();
        assertEquals("SDGetInitialDDBEntry FAILED!\n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getInitialDDBEntry(0, e, 1))));
        assertEquals(0, e.getIndex());
    }

    @Test
    void theEntryCountIsTheLibrarysOrZero() {
        assertEquals(2, api.getiSCSIEntryNum(0));
        assertEquals(ApiStatus.BAD_INDEX, api.getiSCSIEntryNum(32));
        SimControl.fault("SDGetDDBEntryNum", NOT_SUPPORTED, true);
        assertEquals("SDGetDDBEntryNum call failed! 1\n", stdout(() -> assertEquals(0, api.getiSCSIEntryNum(0))));
    }

    @Test
    void logoutSendsTheLowSixteenBitsOfEachValue() {
        stdout(() -> status = api.logoutDDB(0, 0x10005, 0x30001, 0x20007));
        assertEquals(0, status);
        byte[] r = calls("SDSendiSCSILogout").get(0).record("logout");
        assertArrayEquals(new byte[] {5, 0, 0, 0, 1, 0, 7, 0, 0, 0}, r);
        // The library's status is passed through: entry 3 is not in use.
        assertEquals(0x20000008, api.logoutDDB(0, 3, 0, 0));
    }

    /** The last line of a text (with its line end). */
    private static String tail(String out) {
        int cut = out.lastIndexOf('\n', out.length() - 2);
        return out.substring(cut + 1);
    }
}
