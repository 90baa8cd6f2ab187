package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.NOT_SUPPORTED;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.NOT_SUPPORTED_TEXT;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.ChipInfo;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DriverInfo;
import com.norvik.dvh.iscsi.model.FirmwareInfo;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.NodeInfo;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.LongStream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/**
 * Reading an adapter: the portal, node, driver and chip properties, and getiSCSIHBAData with its
 * walk over the device database, the firmware block, the adapter alias and TCP window.
 */
class AdapterDataTest extends NativeTestBase {

    private static final String GET_ENTRY = "SDGetDDBEntry";

    private int status;

    /** Loads the scenario, opens instance 0 and reads it into a new adapter object; returns stdout. */
    private String readAdapter(Scenario s, HBA hba) {
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        return stdout(() -> status = api.getiSCSIHBAData(0, hba));
    }

    private static List<Integer> targetIds(HBA hba) {
        return hba.getDeviceDataBaseEntries().stream().map(DevDBEntry::getTargetID).collect(Collectors.toList());
    }

    private static List<Integer> listIndexes(HBA hba) {
        return hba.getDeviceDataBaseEntries().stream().map(DevDBEntry::getIndex).collect(Collectors.toList());
    }

    private static List<Long> longs(long... values) {
        return LongStream.of(values).boxed().collect(Collectors.toCollection(ArrayList::new));
    }

    private static List<Long> range(long from, long to) {
        return LongStream.rangeClosed(from, to).boxed().collect(Collectors.toList());
    }

    // --- The device database walk -----------------------------------------------------

    @Test
    void theWalkStopsAfterCountObjectsWithoutReadingTheNextIndex() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4);
        ddb(a, 7, 4);
        ddb(a, 300, 4);
        HBA hba = new HBA();
        readAdapter(s, hba);
        assertEquals(0, status);
        // Entry 300 answers NextValid 0, so the next index would be 301: the count stops it first.
        assertEquals(longs(0, 7, 300), argOfCalls(GET_ENTRY, "index"));
        assertEquals(longs(HANDLE_0, HANDLE_0, HANDLE_0), argOfCalls(GET_ENTRY, "handle"));
        assertEquals(List.of(0, 7, 300), targetIds(hba));
        assertEquals(List.of(0, 1, 2), listIndexes(hba));
    }

    @Test
    void nextValidJumpsForwardOnlyWithinTheDatabase() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        // Unused slots (1, 41, 51, 61, 71) answer NextValid = the next entry in use.
        ddb(a, 0, 4).put("nextValid", 0);      // 0: advance by one
        ddb(a, 40, 4).put("nextValid", 0);     // 0 again, not back to the start
        ddb(a, 50, 4).put("nextValid", 20);    // an index already passed: advance by one
        ddb(a, 60, 4).put("nextValid", 512);   // beyond the database: advance by one
        ddb(a, 70, 4).put("nextValid", 70);    // itself: advance by one
        ddb(a, 80, 4).put("nextValid", 511);   // the last index is a valid jump
        ddb(a, 511, 4);
        HBA hba = new HBA();
        readAdapter(s, hba);
        assertEquals(0, status);
        assertEquals(longs(0, 1, 40, 41, 50, 51, 60, 61, 70, 71, 80, 511), argOfCalls(GET_ENTRY, "index"));
        assertEquals(List.of(0, 40, 50, 60, 70, 80, 511), targetIds(hba));
        assertEquals(List.of(0, 1, 2, 3, 4, 5, 6), listIndexes(hba));
    }

    @Test
    void anEntryWithStateZeroIsReadButMakesNoObjectAndDoesNotCount() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4).put("nextValid", 2);
        ddb(a, 2, 0).put("nextValid", 5);
        ddb(a, 5, 1);
        HBA hba = new HBA();
        readAdapter(s, hba);
        assertEquals(0, status);
        assertEquals(longs(0, 2, 5), argOfCalls(GET_ENTRY, "index"));
        assertEquals(List.of(0, 5), targetIds(hba));
        assertEquals(List.of(0, 1), listIndexes(hba));
        assertEquals(List.of(4, 1),
                hba.getDeviceDataBaseEntries().stream().map(DevDBEntry::getState).collect(Collectors.toList()));
    }

    @Test
    void aFailedEntryReadIsReportedAndTheWalkGoesOn() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4);
        ddb(a, 3, 4);
        ddb(a, 6, 4);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        SimControl.fault(GET_ENTRY, NOT_SUPPORTED, true);
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getiSCSIHBAData(0, hba));
        assertEquals(NOT_SUPPORTED, status);
        assertTrue(out.contains("\n** Getting HBA Port DDB Data From HBA[handle]=" + HANDLE_0 + ", DDBIndex=0 ***** \n"
                + "SDGetDDBEntry call failed! 2000002d\n"), out);
        // The failed read leaves a zero record (NextValid 0): index 1 follows, which jumps to 3.
        // Only two objects can be made, so the walk reads to the end of the database.
        List<Long> expected = longs(0, 1, 3, 6);
        expected.addAll(range(7, 511));
        assertEquals(expected, argOfCalls(GET_ENTRY, "index"));
        assertEquals(List.of(3, 6), targetIds(hba));
        assertEquals(List.of(0, 1), listIndexes(hba));
    }

    @Test
    void anEmptyDatabaseReadsNoEntry() {
        Scenario s = new Scenario();
        s.adapter(0);
        HBA hba = new HBA();
        readAdapter(s, hba);
        assertEquals(0, status);
        assertEquals(List.of(), calls(GET_ENTRY));
        assertEquals(0, hba.getDeviceDataBaseEntryCount());
    }

    @Test
    void entriesArriveWithAllTheirFields() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ObjectNode e = ddb(a, 9, 4);
        e.put("options", "0xA5").put("control", "0x5A").put("exeCount", "0x1234").put("targetSessionId", "0xBEEF")
                .put("initiatorSessionId", "400001370fe9").put("reservedFlags", "0x80000011")
                .put("ddbLink", "0xCAFE").put("chapTableIndex", 258).put("maxTxDataSegmentLength", "0x8800")
                .put("targetPortalGroupId", "0x7001");
        e.putObject("entryInfo").put("ipAddress", "10.77.1.9").put("iscsiName", "iqn.2009-11.com.acmedisk:t9")
                .put("alias", "t9").put("portalCount", "0x8003");
        e.putObject("deviceInfo").put("deviceType", 256).put("executionThrottle", "0x8040")
                .put("txTcpWindowScale", 3).put("rxTcpWindowScale", "0xE9").put("retryDelay", 17)
                .put("iscsiOptions", "0x8421").put("tcpOptions", "0x9012").put("ipOptions", "0xA023")
                .put("maxRxDataSegmentLength", "0xB034").put("firstBurstSize", "0xC045")
                .put("defaultTime2Wait", 86).put("defaultTime2Retain", 103).put("maxOutstandingR2T", 120)
                .put("keepAliveTimeout", 137).put("portNumber", 3260).put("maxBurstSize", "0xF09A")
                .put("taskManagementTimeout", 171).put("targetAddress", "10.77.0.9");
        HBA hba = new HBA();
        readAdapter(s, hba);
        assertEquals(0, status);
        DevDBEntry got = hba.getDeviceDataBaseEntry(0);
        assertEquals(9, got.getTargetID());
        assertEquals(4, got.getState());
        assertEquals((byte) 0xA5, got.getOptions());
        assertEquals((byte) 0x5A, got.getControl());
        assertEquals(0x1234, got.getExeCount());
        assertEquals(0xBEEF, got.getTargetSessionID());
        assertArrayEquals(new short[] {0x40, 0x00, 0x01, 0x37, 0x0f, 0xe9}, got.getInitiatorSessionID());
        assertEquals(0x80000011, got.getReservedFlags());
        assertEquals(0xCAFE, got.getDDBLink());
        assertEquals(258, got.getChapIndex());
        assertEquals(0x8800, got.getMaxTxDataSegmentLen());
        assertEquals(0x7001, got.getTargetPortalGroupID());
        NodeInfo n = got.getNodeInfo();
        assertEquals("iqn.2009-11.com.acmedisk:t9", n.getiSCSIName());
        assertEquals("t9", n.getAlias());
        assertEquals(IPAddr.of("10.77.1.9"), n.getIPAddress());
        assertEquals(0x8003, n.getPortalCount());
        assertEquals("DevEntry{deviceType=256, executionThrottle=32832, txTCPWindowScale=3, rxTCPWindowScale=233,"
                + " retryDelay=17, iSCSIOptions=0x8421, tcpOptions=0x9012, ipOptions=0xa023,"
                + " maxRxDataSegmentLen=45108, firstBurstSize=49221, maxBurstSize=61594, defaultTime2Wait=86,"
                + " defaultTime2Retain=103, maxOutstandingR2T=120, keepAliveTO=137, taskManagementTimeout=171,"
                + " targetAddress=10.77.0.9, portNumber=3260}", got.getDeviceEntry().toString());
    }

    // --- Portal properties ------------------------------------------------------------

    @ParameterizedTest
    @CsvSource({"0x6A00, true, 1, 10", "0x1300, false, 0, 3", "0x0000, false, -1, 0", "0x4F00, true, -1, 15",
        "0x3000, false, 0, 0", "0x20FF, false, 1, 0"})
    void linkBitsAreDecoded(String bits, boolean flowControl, int duplex, int linkSpeed) {
        Scenario s = new Scenario();
        s.adapter(0).putObject("portal").put("flowControlDuplexLinkSpeed", bits);
        HBA hba = new HBA();
        hba.setFlowControl(!flowControl);
        readAdapter(s, hba);
        assertEquals(0, status);
        assertEquals(flowControl, hba.getFlowControl());
        assertEquals(duplex, hba.getDuplex());
        assertEquals(linkSpeed, hba.getLinkSpeed());
    }

    @Test
    void portalPropertiesAreZeroExtended() {
        Scenario s = new Scenario();
        s.adapter(0).putObject("portal").put("serialNumber", "SN-0001").put("macAddress", "02:4e:56:fe:80:ff")
                .put("manufacturer", "Izark Storage").put("model", "NV-2210").put("driverVersion", "5.1-k")
                .put("firmwareVersion", "3.0.1").put("optionRomVersion", "1.12").put("state", "0xFFFF")
                .put("type", "0x8001").put("discTargetCount", "0x8002").put("driverAttributes", "0xFFFFFFFF")
                .put("firmwareAttributes", "0x80000101").put("dhcpState", "0x8003").put("linkStatus", "0x8004");
        HBA hba = new HBA();
        readAdapter(s, hba);
        assertEquals(0, status);
        assertEquals("SN-0001", hba.getSerialNumberStr());
        assertArrayEquals(new short[] {0x02, 0x4e, 0x56, 0xfe, 0x80, 0xff}, hba.getMACAddress());
        assertEquals("Izark Storage", hba.getManufacturer());
        assertEquals("NV-2210", hba.getChipModel());
        assertEquals("5.1-k", hba.getDriverVersion());
        assertEquals("3.0.1", hba.getFirmwareVersion());
        assertEquals("1.12", hba.getOptRomVersion());
        assertEquals(0xFFFF, hba.getState());
        assertEquals(0x8001, hba.getType());
        assertEquals(0x8002, hba.getNumberDiskTargets());
        assertEquals(-1, hba.getDriverAttribute());
        assertEquals(0x80000101, hba.getFirmwareAttribute());
        assertEquals(0x8003, hba.getDhcpState());
        assertEquals(0x8004, hba.getLinkStatus());
    }

    @Test
    void aFailedPortalReadEndsTheCallAtOnce() {
        Scenario s = new Scenario();
        ddb(s.adapter(0), 0, 4);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        SimControl.fault("SDGetHbaDevicePortalPropertyiSCSI", NOT_SUPPORTED, true);
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getiSCSIHBAData(0, hba));
        assertEquals(NOT_SUPPORTED, status);
        assertEquals("SDGetHbaDevicePortalPropertyiSCSI call failed!\n", out);
        assertEquals(1, SimControl.calls().size());
        assertEquals(HBA.DUPLEX_UNKNOWN, hba.getDuplex());
        assertNull(hba.getManufacturer());
    }

    @Test
    void aFailedEntryCountIsReportedAndTheRestIsRead() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4);
        a.put("alias", "still-read");
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        SimControl.fault("SDGetDDBEntryNum", NOT_SUPPORTED, true);
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getiSCSIHBAData(0, hba));
        assertEquals(NOT_SUPPORTED, status);
        assertTrue(out.startsWith("SDGetDDB call failed!\n"), out);
        assertEquals(List.of(), calls(GET_ENTRY));
        assertEquals(0, hba.getDeviceDataBaseEntryCount());
        assertEquals("still-read", hba.getHBA_Level_Alias());
    }

    // --- Firmware block, alias and TCP window within getiSCSIHBAData --------------------

    @Test
    void theFirmwareBlockAliasAndWindowComeAfterTheEntries() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4);
        ObjectNode initFw = a.putObject("initFw").put("ipAddress", "192.168.9.5")
                .put("subnetMask", "255.255.252.0").put("gateway", "192.168.9.1").put("ethernetMtu", 9000);
        initFw.putObject("primaryDns").put("ipAddress", "192.168.9.53");
        initFw.putObject("secondaryDns").put("ipAddress", "192.168.9.54");
        a.put("alias", "rack9-port0").put("tcpMaxWindowSize", 65535);
        HBA hba = new HBA();
        String out = readAdapter(s, hba);
        assertEquals(0, status);
        assertTrue(out.lines().anyMatch(l -> l.contains("65535") && l.toLowerCase().contains("ffff")),
                "one line gives the window size in decimal and hexadecimal: " + out);
        List<String> order = SimControl.calls().stream().map(c -> c.fn()).collect(Collectors.toList());
        assertEquals(List.of("SDGetHbaDevicePortalPropertyiSCSI", "SDGetDDBEntryNum", GET_ENTRY, "SDGetInitFW",
                "SDGetHBAAlias", "SDGetTCPMaxWindowSize"), order);
        assertEquals(IPAddr.of("192.168.9.5"), hba.getIPAddress());
        assertEquals(IPAddr.of("255.255.252.0"), hba.getSubnetMask());
        assertEquals(IPAddr.of("192.168.9.1"), hba.getGateway());
        assertEquals(IPAddr.of("192.168.9.53"), hba.getPrimaryDNS());
        assertNull(hba.getSecondaryDNS(), "the secondary DNS address is never set");
        assertEquals(9000, hba.getInitFW().getJumboPacketSize());
        assertEquals("rack9-port0", hba.getHBA_Level_Alias());
        assertEquals(65535, hba.getHBA_Level_TCPMaxWindowSize());
    }

    @Test
    void aFailedAliasReadSetsAnEmptyAliasAndMakesTheResultNonZero() {
        Scenario s = new Scenario();
        s.adapter(0).put("alias", "never-seen").put("tcpMaxWindowSize", 8192);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetHBAAlias", NOT_SUPPORTED, true);
        HBA hba = new HBA();
        hba.setHBA_Level_Alias("old");
        String out = stdout(() -> status = api.getiSCSIHBAData(0, hba));
        assertEquals(NOT_SUPPORTED, status);
        assertEquals("", hba.getHBA_Level_Alias());
        assertEquals(8192, hba.getHBA_Level_TCPMaxWindowSize());
        String message = "SDGetHBAAlias failed (0x2000002d) (" + NOT_SUPPORTED_TEXT + ")";
        int at = out.indexOf(message);
        assertTrue(at >= 0, out);
        int after = at + message.length();
        assertTrue(after < out.length() && out.charAt(after) != '\n' && out.charAt(after) != '\r',
                "no line end after the alias message: " + out);
    }

    @Test
    void aFailedWindowReadIsNotPartOfTheResult() {
        Scenario s = new Scenario();
        s.adapter(0).put("tcpMaxWindowSize", 8192);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetTCPMaxWindowSize", NOT_SUPPORTED, true);
        HBA hba = new HBA();
        hba.setHBA_Level_TCPMaxWindowSize(77);
        stdout(() -> status = api.getiSCSIHBAData(0, hba));
        assertEquals(0, status);
        assertEquals(0, hba.getHBA_Level_TCPMaxWindowSize());
    }

    @Test
    void aFailedFirmwareBlockReadIsPartOfTheResult() {
        Scenario s = new Scenario();
        s.adapter(0).put("alias", "a0");
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetInitFW", NOT_SUPPORTED, true);
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getiSCSIHBAData(0, hba));
        assertEquals(NOT_SUPPORTED, status);
        assertTrue(out.contains("SDGetInitFW call failed! 2\n"), out);
        assertEquals("a0", hba.getHBA_Level_Alias());
    }

    // --- The single-record property methods ---------------------------------------------

    private static Scenario propertyScenario() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        a.putObject("portal").put("firmwareAttributes", "0x80000101").put("iscsiVersion", "1.0")
                .put("optionRomVersion", "1.12").put("firmwareVersion", "3.00.01.44").put("model", "NV-2210");
        a.putObject("driver").put("version", "5.01.03-k2").put("attributes", "0x80000003");
        a.putObject("chip").put("boardType", "NV-2210C dual-port").put("chipVersion", "0x8003");
        a.putObject("node").putObject("nodeInfo").put("ipAddress", "192.168.50.21")
                .put("iscsiName", "iqn.2004-06.com.norvik:nv2210.x1").put("alias", "rack3-port0")
                .put("portalCount", "0x8001");
        return s;
    }

    @Test
    void firmwareDriverChipAndNodePropertiesAreRead() {
        SimControl.loadScenario(propertyScenario().json());
        assertTrue(api.openDevice(0));
        FirmwareInfo fw = new FirmwareInfo();
        DriverInfo driver = new DriverInfo();
        ChipInfo chip = new ChipInfo();
        NodeInfo node = new NodeInfo();
        String out = stdout(() -> {
            assertEquals(0, api.getiSCSIFWInfo(0, fw));
            assertEquals(0, api.getiSCSIDriverInfo(0, driver));
            assertEquals(0, api.getChipInfo(0, chip));
            assertEquals(0, api.getiSCSIAdapterInfo(0, node));
        });
        assertEquals("", out);
        assertEquals("FirmwareInfo{firmwareVersion=3.00.01.44, firmwareAttribute=0x80000101, iSCSIVersion=1.0,"
                + " optRomVersion=1.12, chipModel=NV-2210}", fw.toString());
        assertEquals("DriverInfo{driverVersion=5.01.03-k2, driverAttribute=0x80000003}", driver.toString());
        assertEquals("ChipInfo{boardModel=NV-2210C dual-port, chipVersion=32771}", chip.toString());
        assertEquals("iqn.2004-06.com.norvik:nv2210.x1", node.getiSCSIName());
        assertEquals("rack3-port0", node.getAlias());
        assertEquals(IPAddr.of("192.168.50.21"), node.getIPAddress());
        assertEquals(0x8001, node.getPortalCount());
        assertEquals(longs(0), argOfCalls("SDGetHbaDevicePortalPropertyiSCSI", "portal"));
    }

    @Test
    void failedPropertyReadsPrintTheirOwnMessages() {
        SimControl.loadScenario(propertyScenario().json());
        assertTrue(api.openDevice(0));
        for (String fn : List.of("SDGetHbaDevicePortalPropertyiSCSI", "SDGetHbaDeviceDriverPropertyiSCSI",
                "SDGetHbaDeviceChipPropertyiSCSI", "SDGetHbaDeviceNodePropertyiSCSI")) {
            SimControl.fault(fn, NOT_SUPPORTED, false);
        }
        FirmwareInfo fw = new FirmwareInfo();
        assertEquals("SDGetHbaDevicePortalPropertyiSCSI call failed! 2000002d\n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getiSCSIFWInfo(0, fw))));
        assertEquals("SDGetHbaDeviceDriverPropertyiSCSI call failed! 2000002d\n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getiSCSIDriverInfo(0, new DriverInfo()))));
        assertEquals("SDGetHbaDeviceChipPropertyiSCSI call failed!\n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getChipInfo(0, new ChipInfo()))));
        assertEquals("SDGetHbaDeviceNodePropertyiSCSI call failed! 2000002d\n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getiSCSIAdapterInfo(0, new NodeInfo()))));
        assertNull(fw.getFirmwareVersion());
    }

}
