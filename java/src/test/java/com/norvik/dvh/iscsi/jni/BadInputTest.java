package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.sampleEntry;
import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.DDB_ENTRY_SIZE;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.INIT_FW_SIZE;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.expectedEntryRecord;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.putEntry;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.slice;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.ChipInfo;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DevEntry;
import com.norvik.dvh.iscsi.model.DriverInfo;
import com.norvik.dvh.iscsi.model.FirmwareInfo;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.InitFW;
import com.norvik.dvh.iscsi.model.NodeInfo;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * Input a management application should never send, and some it might: objects of the wrong
 * class, texts longer than their fields, odd arrays, indexes out of every range, and accessors that
 * throw. None of it may crash the JVM, write outside a record or leave a Java error pending; an
 * exception thrown by an accessor reaches the caller and ends the call.
 */
class BadInputTest extends NativeTestBase {

    private int status;

    /** Instance 0 with entries 0, 4 and 8 in use. */
    @BeforeEach
    void openAdapter() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4);
        ddb(a, 4, 4);
        ddb(a, 8, 4);
        a.putObject("initFw").put("ipAddress", "192.168.7.7");
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    private static List<String> functionsCalled() {
        return SimControl.calls().stream().map(SimCall::fn).toList();
    }

    private static HBA adapterWithAddresses() {
        HBA hba = new HBA();
        hba.setIPAddress(IPAddr.of("10.0.0.1"));
        hba.setGateway(IPAddr.of("10.0.0.2"));
        hba.setSubnetMask(IPAddr.of("255.0.0.0"));
        hba.setPrimaryDNS(IPAddr.of("10.0.0.3"));
        hba.setSlpDa(IPAddr.of("10.0.0.4"));
        return hba;
    }

    // --- Objects of the wrong class ---------------------------------------------------------

    @Test
    void anObjectOfAnotherClassWhereAnEntryIsExpected() {
        NodeInfo node = new NodeInfo();
        assertEquals("GetMethodID  getNodeInfo call failed!\n",
                stdout(() -> assertEquals(ApiStatus.METHOD_NOT_FOUND, api.setDDBData(0, new HBA(), node, 0))));
        // getInitialDDBEntry fills through the DevDBEntry class: another object is refused.
        String out = stdout(() -> assertNotEquals(0, api.getInitialDDBEntry(0, node, 1)));
        assertTrue(out.endsWith("NULL javaDDBObject!\n"), out);
        assertNull(node.getiSCSIName());
        assertEquals(List.of("SDGetInitialDDBEntry"), functionsCalled());
    }

    @Test
    void anObjectOfAnotherClassAmongTheEntriesOfSetDDBsData() {
        Object[] array = {sampleEntry(1), new NodeInfo(), sampleEntry(3)};
        String out = stdout(() -> status = api.setDDBsData(0, new HBA(), array));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertTrue(out.endsWith("GetMethodID getTargetID call failed!\n"), out);
        assertEquals(List.of(1L), argOfCalls("SDSetDDBEntry", "targetID"));

        SimControl.clearCallLog();
        assertEquals("GetMethodID getTargetID call failed!\n", stdout(() -> assertEquals(
                ApiStatus.METHOD_NOT_FOUND, api.setDDBsData(0, new HBA(), new Object[] {"text", sampleEntry(2)}))));
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void anObjectOfAnotherClassAsTheAdapter() {
        // A boot entry needs the adapter's boot settings.
        DevDBEntry boot = sampleEntry(2);
        boot.setBootableDevice(0);
        String out = stdout(() -> status = api.setDDBData(0, new NodeInfo(), boot, 0));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertTrue(out.endsWith("GetMethodID  getBootInfo call failed!\n"), out);

        assertEquals("GetMethodID call failed!\n",
                stdout(() -> assertEquals(ApiStatus.METHOD_NOT_FOUND, api.getiSCSIHBAData(0, new NodeInfo()))));
        assertEquals("GetMethodID  getIPAddr call failed!\n",
                stdout(() -> assertEquals(ApiStatus.METHOD_NOT_FOUND, api.setFWData(0, new DevEntry()))));
        out = stdout(() -> assertEquals(ApiStatus.METHOD_NOT_FOUND, api.getFWData(0, new DevDBEntry())));
        assertTrue(out.endsWith("GetMethodID  getInitFW call failed!\n"), out);
        assertEquals("GetMethodID setFWOptions - Obj call failed!\n", stdout(() -> assertEquals(
                ApiStatus.METHOD_NOT_FOUND, api.getISCSIFWDefaults(0, new DevEntry()))));
        // These report the gap and return the library's status.
        assertEquals("GetMethodID call failed!\n", stdout(() -> assertEquals(0, api.getChipInfo(0, "text"))));
        assertEquals("GetMethodID call failed!\n",
                stdout(() -> assertEquals(0, api.getiSCSIAdapterInfo(0, new Object()))));
        assertEquals("GetMethodID call failed!\n",
                stdout(() -> assertEquals(ApiStatus.METHOD_NOT_FOUND, api.getiSCSIFWInfo(0, new ChipInfo()))));
        assertEquals("GetMethodID call failed!\n",
                stdout(() -> assertEquals(ApiStatus.METHOD_NOT_FOUND, api.getiSCSIDriverInfo(0, new InitFW()))));
        assertEquals(List.of(), calls("SDSetInitFW"));
        assertEquals(List.of(), calls("SDSetDDBEntryFlashOnly"));
    }

    // --- Texts longer than their fields, and fields without a terminating zero ------------------

    @Test
    void longTextsFromJavaFillTheirFieldsOnly() {
        DevDBEntry e = sampleEntry(7);
        e.getNodeInfo().setiSCSIName("iqn.2009-11.com.acmedisk:" + "q".repeat(400));
        e.getNodeInfo().setAlias("alias-" + "z".repeat(60));
        e.getDeviceEntry().setTargetAddress("host-" + "h".repeat(100));
        stdout(() -> status = api.setDDBData(0, null, e, 0));
        assertEquals(0, status);
        byte[] r = calls("SDSetDDBEntry").get(0).record("entry");
        assertEquals(DDB_ENTRY_SIZE, r.length);
        assertArrayEquals(expectedEntryRecord(e), r);
        // The fields after each text keep their own values.
        assertEquals(7L, ConfigFixtures.u32(r, 460));
        assertEquals(e.getNodeInfo().getPortalCount(), ConfigFixtures.u16(r, 448));
        assertArrayEquals(new byte[] {10, 77, 1, 7}, slice(r, 140, 4), "the address after the target address");
    }

    @Test
    void textFieldsFilledToTheirLastByteArriveWhole() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        a.putObject("portal").put("serialNumber", "S".repeat(16)).put("iscsiVersion", "1.0a")
                .put("manufacturer", "M".repeat(128));
        DevDBEntry full = sampleEntry(2);
        full.getNodeInfo().setiSCSIName("n".repeat(256));
        full.getNodeInfo().setAlias("a".repeat(32));
        full.getDeviceEntry().setTargetAddress("t".repeat(32));
        putEntry(ddb(a, 2, 4), full);
        putEntry(a.putObject("defaultDdbEntry"), full);
        a.put("alias", "x".repeat(64));
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));

        HBA hba = new HBA();
        FirmwareInfo fw = new FirmwareInfo();
        stdout(() -> {
            assertEquals(0, api.getiSCSIHBAData(0, hba));
            assertEquals(0, api.getiSCSIFWInfo(0, fw));
        });
        assertEquals("S".repeat(16), hba.getSerialNumberStr());
        assertEquals("M".repeat(128), hba.getManufacturer());
        assertEquals("1.0a", fw.getiSCSIVersion());
        assertEquals("x".repeat(64), hba.getHBA_Level_Alias());
        for (DevDBEntry got : List.of(hba.getDeviceDataBaseEntry(0), (DevDBEntry) api.getDefaultDDBEntry(0))) {
            assertEquals("n".repeat(256), got.getNodeInfo().getiSCSIName());
            assertEquals("a".repeat(32), got.getNodeInfo().getAlias());
            assertEquals("t".repeat(32), got.getDeviceEntry().getTargetAddress());
        }
    }

    @Test
    void bytesThatAreNoTextStillCrossSafely() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        a.putObject("portal").putObject("manufacturer").put("raw", "c0ffee80ff41");
        a.putObject("chip").putObject("boardType").put("raw", "e282ac4e56");
        a.putObject("driver").putObject("version").put("raw", "35ed2e31");
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        ChipInfo chip = new ChipInfo();
        DriverInfo driver = new DriverInfo();
        stdout(() -> {
            assertDoesNotThrow(() -> api.getiSCSIHBAData(0, hba));
            assertDoesNotThrow(() -> api.getChipInfo(0, chip));
            assertDoesNotThrow(() -> api.getiSCSIDriverInfo(0, driver));
        });
        // A valid multi-byte character arrives as it is.
        assertEquals("\u20acNV", chip.getBoardModel());
    }

    // --- Arrays -------------------------------------------------------------------------------

    /** An entry whose session identifier array can be replaced by any array. */
    public static class OddSessionId extends DevDBEntry {
        short[] sid;

        @Override
        public short[] getInitiatorSessionID() {
            return sid;
        }
    }

    @Test
    void sessionIdArraysOfAnyLengthFillSixBytesAtMost() {
        OddSessionId e = new OddSessionId();
        e.setTargetID(3);
        e.getNodeInfo().setIPAddress(IPAddr.of("10.0.0.9"));
        List<byte[]> stored = new ArrayList<>();
        for (short[] sid : new short[][] {null, {}, {1, 2}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}) {
            e.sid = sid;
            SimControl.clearCallLog();
            stdout(() -> assertEquals(0, api.setDDBData(0, null, e, 0)));
            byte[] r = calls("SDSetDDBEntry").get(0).record("entry");
            stored.add(slice(r, 6, 6));
            assertArrayEquals(new byte[63], slice(r, 12, 63), "nothing past the field");
        }
        assertArrayEquals(new byte[6], stored.get(0));
        assertArrayEquals(new byte[6], stored.get(1));
        assertArrayEquals(new byte[] {1, 2, 0, 0, 0, 0}, stored.get(2));
        assertArrayEquals(new byte[] {1, 2, 3, 4, 5, 6}, stored.get(3));
    }

    // --- Indexes ------------------------------------------------------------------------------

    @Test
    void entryIndexesOutOfRangeArePassedOnAndRefusedByTheLibrary() {
        DevDBEntry e = new DevDBEntry();
        assertEquals("SDGetInitialDDBEntry FAILED!\n",
                stdout(() -> assertEquals(0x20000003, api.getInitialDDBEntry(0, e, -1))));
        assertEquals(List.of(0xFFFFFFFFL), argOfCalls("SDGetInitialDDBEntry", "index"));
        assertEquals(0, e.getIndex());

        DevDBEntry far = sampleEntry(1);
        far.setTargetID(-1);
        stdout(() -> assertEquals(0x20000003, api.setDDBData(0, null, far, 0)));
        assertEquals(List.of(0xFFFFFFFFL), argOfCalls("SDSetDDBEntry", "targetID"));

        stdout(() -> api.logoutDDB(0, -1, -1, Integer.MIN_VALUE));
        assertArrayEquals(new byte[] {-1, -1, 0, 0, -1, -1, 0, 0, 0, 0},
                calls("SDSendiSCSILogout").get(0).record("logout"));
        assertEquals(10, calls("SDSendiSCSILogout").get(0).record("logout").length);
    }

    // --- Accessors ---------------------------------------------------------------------------------

    /** An address whose byte getter answers what the test wants. */
    public static class OddAddress extends IPAddr {
        final List<Short> asked = new ArrayList<>();
        short answer = 300;

        @Override
        public short getAddressElement(short index) {
            asked.add(index);
            return answer;
        }
    }

    @Test
    void addressBytesFromJavaKeepTheirLowEightBits() {
        HBA hba = adapterWithAddresses();
        OddAddress odd = new OddAddress();
        hba.setGateway(odd);
        stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        byte[] r = calls("SDSetInitFW").get(0).record("initFW");
        assertEquals(INIT_FW_SIZE, r.length);
        byte[] sixteen44 = new byte[16];
        java.util.Arrays.fill(sixteen44, (byte) 44);
        assertArrayEquals(sixteen44, slice(r, 68, 16));
        assertEquals(16, odd.asked.size());
    }
}
