package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.fillDevEntry;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.INIT_FW_SIZE;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.NOT_SUPPORTED;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.hex;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.pattern;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.putDevEntry;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.slice;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.u16;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.u8;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.RecordImage;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.DevEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.InitFW;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.nio.charset.StandardCharsets;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/**
 * The firmware initialization block: reading it, writing it back as a read-modify-write of the
 * whole record, the defaults, restore and reset.
 */
class FirmwareBlockTest extends NativeTestBase {

    /** Instance 0's block: every byte non-zero and different from its neighbours. */
    private static final byte[] BLOCK = pattern(INIT_FW_SIZE);

    private static final String SET_INIT_FW = "SDSetInitFW";

    private int status;

    private static Scenario patternScenario() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        a.putObject("initFw").put("raw", hex(BLOCK));
        a.put("alias", "rack1-port0").put("tcpMaxWindowSize", 32768);
        ObjectNode defaults = a.putObject("fwDefaults").put("fwOptions", "0x8002").put("addFwOptions", "0x0010")
                .put("ethernetMtu", 1500).put("zio", 3).put("tci", "0x8064").put("reserved1", "0xC1")
                .put("wakeupThreshold", "0x9010").put("tcpWindowScaleFactor", 6).put("taskManagementTimeout", 12)
                .put("ipAddress", "172.16.0.9");
        defaults.putObject("deviceInfo").put("executionThrottle", 64).put("portNumber", 3260)
                .put("taskManagementTimeout", 99).put("rxTcpWindowScale", 1).put("txTcpWindowScale", 2)
                .put("targetAddress", "172.16.0.1");
        return s;
    }

    /** Opens instance 0 of the pattern scenario and reads its block into a new adapter object. */
    private HBA readBlock() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        stdout(() -> assertEquals(0, api.getFWData(0, hba)));
        SimControl.clearCallLog();
        return hba;
    }

    /** Java values for everything setFWData takes, all within their fields and unlike the block's. */
    private static void giveNewValues(HBA hba) {
        hba.setIPAddress(IPAddr.of("10.1.2.3"));
        hba.setGateway(IPAddr.of("10.1.2.254"));
        hba.setSubnetMask(IPAddr.of("255.255.255.128"));
        hba.setPrimaryDNS(IPAddr.of("10.1.2.53"));
        hba.setSlpDa(IPAddr.of("fe80::1:99"));
        hba.getNodeInfo().setiSCSIName("iqn.2004-06.com.norvik:nv2210.rmw");
        hba.getNodeInfo().setAlias("rmw-alias");
        InitFW f = hba.getInitFW();
        f.setFWOptions((short) 0x8123);
        f.setAddFWOptions((short) 0x4567);
        f.setJumboPacketSize(9000);
        f.setZIOCount((short) 0xF1);
        f.setVLAN_TCI_TO_InitFW(0x8064);
        f.setReserved1((byte) 0x77);
        f.setWakeupThreshold((short) 0x7777);
        fillDevEntry(f.getDevEntry(), 5);
        hba.setHBA_Level_Alias("rack-rmw");
        hba.setHBA_Level_TCPMaxWindowSize(0x4000);
    }

    /** What SDSetInitFW must receive: the block as read with the fields Java gives laid over it. */
    private static byte[] expectedBlock(HBA hba, byte[] read) {
        RecordImage r = new RecordImage(read);
        InitFW f = hba.getInitFW();
        DevEntry d = f.getDevEntry();
        r.u16(2, f.getFWOptions()).u16(4, f.getAddFWOptions());
        r.address(8, hba.getIPAddress()).address(48, hba.getSubnetMask()).address(68, hba.getGateway());
        r.address(88, hba.getPrimaryDNS()).address(392, hba.getSlpDa());
        if (hba.getNodeInfo().getAlias() != null) {
            r.text(412, hba.getNodeInfo().getAlias(), 32);
        }
        if (hba.getNodeInfo().getiSCSIName() != null) {
            r.text(444, hba.getNodeInfo().getiSCSIName(), 224);
        }
        putDevEntry(r, 700, d, u8(read, 704), u8(read, 706));
        r.u16(764, f.getJumboPacketSize()).u16(766, f.getVLAN_TCI()).u8(768, f.getZIOCount());
        r.u8(769, d.getRxTCPWindowScale()).u16(770, d.getTaskManagementTimeout());
        return r.bytes();
    }

    private byte[] writtenBlock() {
        List<SimCall> sets = calls(SET_INIT_FW);
        assertEquals(1, sets.size());
        byte[] record = sets.get(0).record("initFW");
        assertEquals(INIT_FW_SIZE, record.length);
        return record;
    }

    // --- getFWData ----------------------------------------------------------------------

    @Test
    void getFWDataFillsTheAdapterItsInitFWAndDevEntry() {
        HBA hba = readBlock();
        assertArrayEquals(shorts(slice(BLOCK, 8, 16)), hba.getIPAddress().getAddress());
        assertArrayEquals(shorts(slice(BLOCK, 68, 16)), hba.getGateway().getAddress());
        assertArrayEquals(shorts(slice(BLOCK, 48, 16)), hba.getSubnetMask().getAddress());
        assertArrayEquals(shorts(slice(BLOCK, 88, 16)), hba.getPrimaryDNS().getAddress());
        assertArrayEquals(shorts(slice(BLOCK, 392, 16)), hba.getSlpDa().getAddress());
        assertNull(hba.getSecondaryDNS(), "the secondary DNS address is never set");
        InitFW f = hba.getInitFW();
        assertEquals((short) u16(BLOCK, 2), f.getFWOptions());
        assertEquals((short) u16(BLOCK, 4), f.getAddFWOptions());
        assertEquals(u16(BLOCK, 764), f.getJumboPacketSize());
        assertEquals(u8(BLOCK, 768), f.getZIOCount());
        assertEquals(u16(BLOCK, 766), f.getVLAN_TCI());
        assertEquals(BLOCK[0], f.getReserved1());
        assertEquals((short) u16(BLOCK, 6), f.getWakeupThreshold());
        DevEntry d = f.getDevEntry();
        assertEquals(u16(BLOCK, 700), d.getDeviceType());
        assertEquals(u8(BLOCK, 704), d.getTxTCPWindowScale());
        assertEquals(u16(BLOCK, 726), d.getPortNumber());
        // The block's own timeout and window scale replace those of its device parameters.
        assertEquals((short) u16(BLOCK, 770), d.getTaskManagementTimeout());
        assertEquals(u8(BLOCK, 769), d.getRxTCPWindowScale());
        // Nothing in the block goes to the node object.
        assertNull(hba.getNodeInfo().getiSCSIName());
    }

    @Test
    void aFailedBlockReadEndsGetFWData() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetInitFW", NOT_SUPPORTED, true);
        HBA hba = new HBA();
        assertEquals("SDGetInitFW call failed! 2\n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getFWData(0, hba))));
        assertNull(hba.getIPAddress());
    }

    // --- setFWData ----------------------------------------------------------------------

    @Test
    void setFWDataWritesBackEveryFieldJavaDoesNotGiveAsItWasRead() {
        HBA hba = readBlock();
        giveNewValues(hba);
        // The transmit window scale is not taken from Java.
        hba.getInitFW().getDevEntry().setTxTCPWindowScale((short) 0x55);
        stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        byte[] written = writtenBlock();
        assertArrayEquals(expectedBlock(hba, BLOCK), written);
        // The fields kept, named one by one.
        assertEquals(BLOCK[0], written[0], "Reserved1");
        assertEquals(BLOCK[1], written[1], "Version");
        assertEquals(u16(BLOCK, 6), u16(written, 6), "wakeupThreshold");
        assertArrayEquals(slice(BLOCK, 28, 20), slice(written, 28, 20), "SecondaryIPAddr");
        assertArrayEquals(slice(BLOCK, 240, 152), slice(written, 240, 152), "SecondaryDNS");
        for (int type : new int[] {24, 64, 84, 104, 408}) {
            assertEquals(u16(BLOCK, type), u16(written, type), "Type at " + type);
            assertEquals(u16(BLOCK, type + 2), u16(written, type + 2), "Reserved at " + (type + 2));
        }
        assertArrayEquals(slice(BLOCK, 108, 132), slice(written, 108, 132), "PrimaryDNS.Reserved");
        assertEquals(BLOCK[704], written[704], "DeviceInfo.TCPTxWindowScaleFactor");
        assertEquals(BLOCK[706], written[706], "DeviceInfo.retryCount");
        assertArrayEquals(slice(BLOCK, 772, 10), slice(written, 772, 10), "Reserved");
    }

    @ParameterizedTest
    @ValueSource(ints = {10, 223, 224, 225, 300})
    void theISCSINameIsCutAt224Bytes(int length) {
        HBA hba = readBlock();
        giveNewValues(hba);
        String name = ("iqn.2004-06.com.norvik:" + "n".repeat(300)).substring(0, length);
        hba.getNodeInfo().setiSCSIName(name);
        stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        byte[] written = writtenBlock();
        byte[] stored = name.substring(0, Math.min(length, 224)).getBytes(StandardCharsets.US_ASCII);
        assertArrayEquals(stored, slice(written, 444, stored.length));
        for (int i = 444 + stored.length; i < 444 + 224; i++) {
            assertEquals(0, written[i], "zero after the name at " + i);
        }
        // Bytes 224..255 of the field keep what was read.
        assertArrayEquals(slice(BLOCK, 444 + 224, 32), slice(written, 444 + 224, 32));
        assertEquals(u16(expectedBlock(hba, BLOCK), 700), u16(written, 700), "next field untouched");
    }

    @Test
    void aLongNodeAliasFillsItsFieldOnly() {
        HBA hba = readBlock();
        giveNewValues(hba);
        hba.getNodeInfo().setAlias("a".repeat(40));
        hba.getNodeInfo().setiSCSIName(null);
        stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        byte[] written = writtenBlock();
        assertArrayEquals("a".repeat(32).getBytes(StandardCharsets.US_ASCII), slice(written, 412, 32));
        assertArrayEquals(slice(BLOCK, 444, 256), slice(written, 444, 256), "a null name keeps the field");
    }

    @Test
    void nullNamesKeepTheirFieldsAsRead() {
        HBA hba = readBlock();
        giveNewValues(hba);
        hba.getNodeInfo().setAlias(null);
        hba.getNodeInfo().setiSCSIName(null);
        hba.getInitFW().getDevEntry().setTargetAddress(null);
        stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        byte[] written = writtenBlock();
        assertArrayEquals(slice(BLOCK, 412, 288), slice(written, 412, 288));
        assertArrayEquals(slice(BLOCK, 732, 32), slice(written, 732, 32));
    }

    @Test
    void valuesFromJavaKeepTheLowBitsThatFitTheirFields() {
        HBA hba = readBlock();
        giveNewValues(hba);
        hba.getInitFW().setJumboPacketSize(0x12328);
        hba.getInitFW().setZIOCount((short) 0x1F1);
        hba.getInitFW().setVLAN_TCI_TO_InitFW(0x30064);
        hba.getInitFW().getDevEntry().setRxTCPWindowScale((short) 0x10E);
        hba.setHBA_Level_TCPMaxWindowSize(0x12345);
        String out = stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        byte[] written = writtenBlock();
        assertEquals(9000, u16(written, 764));
        assertEquals(0xF1, u8(written, 768));
        assertEquals(0x64, u16(written, 766));
        assertEquals(0x0E, u8(written, 769));
        assertEquals(0x0E, u8(written, 705));
        assertEquals(List.of(0x2345L), argOfCalls("SDSetTCPMaxWindowSize", "size"));
        assertTrue(out.lines().anyMatch(l -> l.contains("9029") && l.toLowerCase().contains("2345")),
                "one line gives the window size in decimal and hexadecimal: " + out);
        assertTrue(out.contains("Called getVLAN_TCI(), value:0x64\n"), out);
    }

    @Test
    void theAdapterAliasIsCutAt64BytesAndANullAliasIsNotSent() {
        HBA hba = readBlock();
        giveNewValues(hba);
        hba.setHBA_Level_Alias("x".repeat(100));
        stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        assertEquals("x".repeat(64), calls("SDSetHBAAlias").get(0).text("alias"));
        assertEquals(List.of((long) HANDLE_0), argOfCalls("SDSetHBAAlias", "handle"));

        SimControl.clearCallLog();
        hba.setHBA_Level_Alias(null);
        stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        assertEquals(List.of(), calls("SDSetHBAAlias"));
        assertEquals(1, calls("SDSetTCPMaxWindowSize").size());
    }

    @Test
    void aFailedBlockReadStillWritesAndIsNotPartOfTheResult() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        stdout(() -> api.getFWData(0, hba));
        giveNewValues(hba);
        SimControl.clearCallLog();
        SimControl.fault("SDGetInitFW", NOT_SUPPORTED, true);
        String out = stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);
        assertTrue(out.startsWith("SDGetInitFW call failed!\n"), out);
        // What Java does not give is zero: the block was cleared before the failed read.
        assertArrayEquals(expectedBlock(hba, new byte[INIT_FW_SIZE]), writtenBlock());
    }

    @Test
    void aFailedBlockWriteIsReportedAndTheAdapterSettingsAreStillSent() {
        HBA hba = readBlock();
        giveNewValues(hba);
        SimControl.fault(SET_INIT_FW, NOT_SUPPORTED, true);
        String out = stdout(() -> status = api.setFWData(0, hba));
        assertEquals(NOT_SUPPORTED, status);
        assertTrue(out.contains("SDSetInitFW call failed!\n"), out);
        // The alias message follows the accumulated status, so it appears although the alias was set.
        assertTrue(out.contains("SDSetHBAAlias call failed!\n"), out);
        assertEquals(1, calls("SDSetHBAAlias").size());
        assertEquals(1, calls("SDSetTCPMaxWindowSize").size());
    }

    @Test
    void failedAdapterSettingsAreOredIntoTheResult() {
        HBA hba = readBlock();
        giveNewValues(hba);
        SimControl.fault("SDSetTCPMaxWindowSize", 0x20000100, true);
        SimControl.fault("SDSetHBAAlias", 0x20000002, true);
        String out = stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0x20000102, status);
        assertTrue(out.contains("SDSetHBAAlias call failed!\n"), out);
    }

    @Test
    void anAddressMissingOnTheJavaSideWritesNothing() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        String out = stdout(() -> status = api.setFWData(0, hba));
        assertEquals(ApiStatus.NULL_OBJECT, status);
        assertEquals("NULL javaIPObject!\n", out);
        assertEquals(1, calls("SDGetInitFW").size());
        assertEquals(List.of(), calls(SET_INIT_FW));
        assertEquals(List.of(), calls("SDSetHBAAlias"));
    }

    @Test
    void setFWDataReadsTheBlockBeforeTestingItsObject() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        assertEquals("NULL jHba!\n", stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.setFWData(0, null))));
        assertEquals(List.of("SDGetInitFW"), SimControl.calls().stream().map(SimCall::fn).toList());
    }

    @Test
    void aBlockWrittenIsReadBackEqual() {
        HBA hba = readBlock();
        giveNewValues(hba);
        stdout(() -> status = api.setFWData(0, hba));
        assertEquals(0, status);

        HBA back = new HBA();
        stdout(() -> status = api.getiSCSIHBAData(0, back));
        assertEquals(0, status);
        assertEquals(hba.getIPAddress(), back.getIPAddress());
        assertEquals(hba.getGateway(), back.getGateway());
        assertEquals(hba.getSubnetMask(), back.getSubnetMask());
        assertEquals(hba.getPrimaryDNS(), back.getPrimaryDNS());
        assertEquals(hba.getSlpDa(), back.getSlpDa());
        // Reserved1, the wakeup threshold and the transmit window scale are read-only: the block's.
        InitFW expected = hba.getInitFW();
        expected.setReserved1(BLOCK[0]);
        expected.setWakeupThreshold((short) u16(BLOCK, 6));
        expected.getDevEntry().setTxTCPWindowScale((short) u8(BLOCK, 704));
        assertEquals(expected.toString(), back.getInitFW().toString());
        assertEquals("rack-rmw", back.getHBA_Level_Alias());
        assertEquals(0x4000, back.getHBA_Level_TCPMaxWindowSize());
    }

    // --- Defaults, restore and reset ------------------------------------------------------

    @Test
    void getISCSIFWDefaultsFillsOnlyTheInitFWObjectAndItsDevEntry() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        InitFW f = new InitFW();
        stdout(() -> status = api.getISCSIFWDefaults(0, f));
        assertEquals(0, status);
        assertEquals(List.of("SDGetFWDefaults"), SimControl.calls().stream().map(SimCall::fn).toList());
        assertEquals((short) 0x8002, f.getFWOptions());
        assertEquals((short) 0x0010, f.getAddFWOptions());
        assertEquals(1500, f.getJumboPacketSize());
        assertEquals(3, f.getZIOCount());
        assertEquals(0x8064, f.getVLAN_TCI());
        assertEquals((byte) 0xC1, f.getReserved1());
        assertEquals((short) 0x9010, f.getWakeupThreshold());
        DevEntry d = f.getDevEntry();
        assertEquals(64, d.getExecutionThrottle());
        assertEquals(3260, d.getPortNumber());
        assertEquals("172.16.0.1", d.getTargetAddress());
        assertEquals(2, d.getTxTCPWindowScale());
        assertEquals(6, d.getRxTCPWindowScale(), "the block's window scale");
        assertEquals(12, d.getTaskManagementTimeout(), "the block's timeout");

        // The method takes the InitFW object itself: an adapter object has none of its setters.
        HBA hba = new HBA();
        assertEquals("GetMethodID setFWOptions - Obj call failed!\n",
                stdout(() -> assertEquals(ApiStatus.METHOD_NOT_FOUND, api.getISCSIFWDefaults(0, hba))));
        assertNull(hba.getIPAddress());
    }

    @Test
    void getISCSIFWDefaultsFailures() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetFWDefaults", NOT_SUPPORTED, true);
        InitFW f = new InitFW();
        assertEquals("FAILED: 2000002d \n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getISCSIFWDefaults(0, f))));
        assertEquals(0, f.getJumboPacketSize());
    }

    @Test
    void setISCSIDefaultsPassesAnAllZeroBlock() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        assertTrue(api.setISCSIDefaults(0));
        byte[] record = calls("SDSetFWDefaults").get(0).record("initFW");
        assertArrayEquals(new byte[INIT_FW_SIZE], record);
    }

    @Test
    void restoreDefaultsPassesTheMasksUnchanged() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        String log = stdout(() -> assertEquals(0, api.restoreDefaults(0, 0x80000001, 0xFFFFFFFF)));
        assertTrue(log.contains("Restore Defaults for iSCSI Adapter! Device:" + HANDLE_0 + ", RegionMask:0x80000001,"
                + " DetailMask:0xffffffff \n"), log);
        SimCall call = calls("SDRestoreDefaults").get(0);
        assertEquals(HANDLE_0, call.arg("handle"));
        assertEquals(0x80000001L, call.arg("regionMask"));
        assertEquals(0xFFFFFFFFL, call.arg("detailMask"));
    }

    @Test
    void resetISCSIHBAPassesAZeroResetRecord() {
        SimControl.loadScenario(patternScenario().json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        assertEquals("", stdout(() -> assertFalse(api.resetISCSIHBA(40))));
        assertEquals(List.of(), SimControl.calls());
        assertTrue(api.resetISCSIHBA(0));
        assertArrayEquals(new byte[8], calls("SDResetHBA").get(0).record("reset"));
        SimControl.fault("SDResetHBA", NOT_SUPPORTED, true);
        assertEquals("SDResetHBA call failed!\n", stdout(() -> assertFalse(api.resetISCSIHBA(0))));
    }

    private static short[] shorts(byte[] b) {
        short[] s = new short[b.length];
        for (int i = 0; i < b.length; i++) {
            s[i] = (short) (b[i] & 0xff);
        }
        return s;
    }
}
