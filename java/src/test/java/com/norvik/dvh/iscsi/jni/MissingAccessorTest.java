package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.sampleEntry;
import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DevEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.InitFW;
import com.norvik.dvh.iscsi.model.NodeInfo;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Stream;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

/**
 * Java objects that lack an accessor or hand back null: the chain of accessors stops at the gap
 * with its own message and status, what was set before stays set, and nothing after is called.
 */
class MissingAccessorTest extends NativeTestBase {

    private int status;

    /** Instance 0 with entries 0 and 4 in use. */
    @BeforeEach
    void openAdapter() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 0, 4);
        ddb(a, 4, 4);
        a.putObject("initFw").put("ipAddress", "192.168.7.7");
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    private static List<String> functionsCalled() {
        return SimControl.calls().stream().map(SimCall::fn).toList();
    }

    // --- Adapter objects for getiSCSIHBAData ---------------------------------------------

    /** Adapter properties without any of the four link setters; records what is called. */
    public static class AdapterNoLink {
        final List<String> called = new ArrayList<>();

        public void setNumberDiskTargets(int v) {
            called.add("setNumberDiskTargets");
        }

        public void setMACAddress(short[] v) {
            called.add("setMACAddress");
        }

        public void setState(int v) {
            called.add("setState");
        }

        public void setDhcpState(int v) {
            called.add("setDhcpState");
        }

        public void setType(int v) {
            called.add("setType");
        }

        public void setDriverAttribute(int v) {
            called.add("setDriverAttribute");
        }

        public void setFirmwareAttribute(int v) {
            called.add("setFirmwareAttribute");
        }

        public void setDriverVersion(String v) {
            called.add("setDriverVersion");
        }

        public void setFirmwareVersion(String v) {
            called.add("setFirmwareVersion");
        }

        public void setManufacturer(String v) {
            called.add("setManufacturer");
        }

        public void setChipModel(String v) {
            called.add("setChipModel");
        }

        public void setOptRomVersion(String v) {
            called.add("setOptRomVersion");
        }

        public void setSerialNumberStr(String v) {
            called.add("setSerialNumberStr");
        }
    }

    public static class AdapterWithLinkStatus extends AdapterNoLink {
        public void setLinkStatus(int v) {
            called.add("setLinkStatus");
        }
    }

    public static class AdapterWithFlowControl extends AdapterWithLinkStatus {
        public void setFlowControl(boolean v) {
            called.add("setFlowControl");
        }
    }

    public static class AdapterWithDuplex extends AdapterWithFlowControl {
        public void setDuplex(int v) {
            called.add("setDuplex");
        }
    }

    /** Every property setter, but no addDeviceDataBaseEntry. */
    public static class AdapterAllProperties extends AdapterWithDuplex {
        public void setLinkSpeed(int v) {
            called.add("setLinkSpeed");
        }
    }

    /** Without setMACAddress. */
    public static class AdapterNoMac {
        final List<String> called = new ArrayList<>();

        public void setNumberDiskTargets(int v) {
            called.add("setNumberDiskTargets");
        }

        public void setState(int v) {
            called.add("setState");
        }
    }

    private static final List<String> FIRST_FOUR =
            List.of("setNumberDiskTargets", "setMACAddress", "setState", "setDhcpState");

    static Stream<Arguments> linkSetterGaps() {
        return Stream.of(
                Arguments.of(new AdapterNoLink(), "GetMethodID call failed! Line 1957\n", List.of()),
                Arguments.of(new AdapterWithLinkStatus(), "GetMethodID call failed! Line 1966\n",
                        List.of("setLinkStatus")),
                Arguments.of(new AdapterWithFlowControl(), "GetMethodID call failed! Line 1978\n",
                        List.of("setLinkStatus", "setFlowControl")),
                Arguments.of(new AdapterWithDuplex(), "GetMethodID call failed! Line 1992\n",
                        List.of("setLinkStatus", "setFlowControl", "setDuplex")));
    }

    @ParameterizedTest
    @MethodSource("linkSetterGaps")
    void aMissingLinkSetterStopsTheAdapterWithItsLineNumber(AdapterNoLink adapter, String message,
            List<String> linkSettersCalled) {
        String out = stdout(() -> status = api.getiSCSIHBAData(0, adapter));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertEquals(message, out);
        List<String> expected = new ArrayList<>(FIRST_FOUR);
        expected.addAll(linkSettersCalled);
        assertEquals(expected, adapter.called);
        assertEquals(List.of("SDGetHbaDevicePortalPropertyiSCSI"), functionsCalled());
    }

    @Test
    void aMissingMacSetterHasItsOwnMessage() {
        AdapterNoMac adapter = new AdapterNoMac();
        String out = stdout(() -> status = api.getiSCSIHBAData(0, adapter));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertEquals("GetMethodID setMACAddress call failed!\n", out);
        assertEquals(List.of("setNumberDiskTargets"), adapter.called);
    }

    @Test
    void aMissingAddDeviceDataBaseEntryStopsAtTheFirstEntry() {
        AdapterAllProperties adapter = new AdapterAllProperties();
        String out = stdout(() -> status = api.getiSCSIHBAData(0, adapter));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertTrue(out.contains("DDBIndex=0 ***** \n"), out);
        assertTrue(out.endsWith("\nGetMethodID addDeviceDataBaseEntry - Obj call failed!\n"), out);
        assertEquals(17, adapter.called.size());
        assertEquals("setSerialNumberStr", adapter.called.get(16));
        assertEquals(List.of("SDGetHbaDevicePortalPropertyiSCSI", "SDGetDDBEntryNum", "SDGetDDBEntry"),
                functionsCalled());
    }

    /** Chip properties without setChipVersion. */
    public static class ChipBoardOnly {
        String board;

        public void setBoardModel(String board) {
            this.board = board;
        }
    }

    @Test
    void aMissingChipVersionSetterIsReportedButNotReturned() {
        ChipBoardOnly chip = new ChipBoardOnly();
        String out = stdout(() -> status = api.getChipInfo(0, chip));
        assertEquals(0, status);
        assertEquals("GetMethodID setChipVersion - Obj call failed!\n", out);
        assertEquals("", chip.board);
    }

    // --- Objects for setDDBData and setFWData ----------------------------------------------

    /** A device database entry without getChapIndex; records every getter called. */
    public static class EntryNoChapIndex {
        final List<String> called = new ArrayList<>();
        private final NodeInfo node = sampleEntry(1).getNodeInfo();

        private int rec(String name) {
            called.add(name);
            return 1;
        }

        public NodeInfo getNodeInfo() {
            rec("getNodeInfo");
            return node;
        }

        public int getState() {
            return rec("getState");
        }

        public int getTargetID() {
            return rec("getTargetID");
        }

        public byte getOptions() {
            return (byte) rec("getOptions");
        }

        public int getExeCount() {
            return rec("getExeCount");
        }

        public byte getControl() {
            return (byte) rec("getControl");
        }

        public int getTargetSessionID() {
            return rec("getTargetSessionID");
        }

        public int getTargetPortalGroupID() {
            return rec("getTargetPortalGroupID");
        }

        public int getReservedFlags() {
            return rec("getReservedFlags");
        }

        public short[] getInitiatorSessionID() {
            rec("getInitiatorSessionID");
            return new short[6];
        }

        public int getMaxTxDataSegmentLen() {
            return rec("getMaxTxDataSegmentLen");
        }

        public int getDDBLink() {
            return rec("getDDBLink");
        }

        public DevEntry getDeviceEntry() {
            rec("getDeviceEntry");
            return new DevEntry();
        }

        public int isBootableDevice() {
            rec("isBootableDevice");
            return -1;
        }
    }

    @Test
    void aMissingEntryGetterWritesNothing() {
        EntryNoChapIndex entry = new EntryNoChapIndex();
        String out = stdout(() -> status = api.setDDBData(0, new HBA(), entry, 0));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertEquals("GetMethodID getChapIndex call failed!\n", out);
        assertEquals(List.of("getNodeInfo", "getState", "getTargetID", "getOptions", "getExeCount", "getControl",
                "getTargetSessionID", "getTargetPortalGroupID", "getReservedFlags", "getInitiatorSessionID",
                "getMaxTxDataSegmentLen", "getDDBLink"), entry.called);
        assertEquals(List.of(), SimControl.calls());
    }

    /** The adapter's side of setFWData up to the primary DNS, without getSlpDa. */
    public static class AdapterNoSlpDa {
        final List<String> called = new ArrayList<>();

        private IPAddr rec(String name) {
            called.add(name);
            return IPAddr.of("10.0.0.1");
        }

        public IPAddr getIPAddress() {
            return rec("getIPAddress");
        }

        public IPAddr getGateway() {
            return rec("getGateway");
        }

        public IPAddr getSubnetMask() {
            return rec("getSubnetMask");
        }

        public IPAddr getPrimaryDNS() {
            return rec("getPrimaryDNS");
        }

        public NodeInfo getNodeInfo() {
            called.add("getNodeInfo");
            return new NodeInfo();
        }
    }

    @Test
    void aMissingAddressGetterWritesNoBlock() {
        AdapterNoSlpDa adapter = new AdapterNoSlpDa();
        String out = stdout(() -> status = api.setFWData(0, adapter));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertEquals("GetMethodID  getSlpDa call failed!\n", out);
        assertEquals(List.of("getIPAddress", "getGateway", "getSubnetMask", "getPrimaryDNS"), adapter.called);
        assertEquals(List.of("SDGetInitFW"), functionsCalled());
    }

    /** Everything setFWData reads except the adapter's TCP window size. */
    public static class AdapterNoWindowGetter extends AdapterNoSlpDa {
        private final InitFW initFW = new InitFW();

        public IPAddr getSlpDa() {
            called.add("getSlpDa");
            return IPAddr.of("10.0.0.2");
        }

        public InitFW getInitFW() {
            called.add("getInitFW");
            return initFW;
        }

        public String getHBA_Level_Alias() {
            called.add("getHBA_Level_Alias");
            return "alias-set";
        }
    }

    @Test
    void aMissingGetterAfterTheBlockWriteLeavesTheBlockWritten() {
        AdapterNoWindowGetter adapter = new AdapterNoWindowGetter();
        String out = stdout(() -> status = api.setFWData(0, adapter));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        assertTrue(out.endsWith("GetMethodID getHBA_Level_TCPMaxWindowSize call failed!\n"), out);
        assertEquals(List.of("SDGetInitFW", "SDSetInitFW", "SDSetHBAAlias"), functionsCalled());
        assertEquals("alias-set", calls("SDSetHBAAlias").get(0).text("alias"));
    }

    @Test
    void anAdapterWithoutGetInitFWIsReportedByGetFWData() {
        AdapterNoSlpDa adapter = new AdapterNoSlpDa();
        String out = stdout(() -> status = api.getFWData(0, adapter));
        assertEquals(ApiStatus.METHOD_NOT_FOUND, status);
        // The address setters are missing too: each is reported and skipped.
        assertEquals("\n** Getting HBA Port Data From HBA[handle:index]=" + HANDLE_0 + ":0 ***** \n"
                + "GetMethodID setIPAddress - Obj call failed!\n".repeat(4)
                + "GetMethodID setSlpDa - Obj call failed!\n"
                + "GetMethodID  getInitFW call failed!\n", out);
    }

    /** An entry whose inner objects can be taken away. */
    public static class HollowEntry extends DevDBEntry {
        boolean noNode;
        boolean noDevice;

        @Override
        public NodeInfo getNodeInfo() {
            return noNode ? null : super.getNodeInfo();
        }

        @Override
        public DevEntry getDeviceEntry() {
            return noDevice ? null : super.getDeviceEntry();
        }
    }

    @Test
    void anEntryWithoutItsInnerObjectsIsNotWritten() {
        HollowEntry e = new HollowEntry();
        e.getNodeInfo().setIPAddress(IPAddr.of("10.9.9.9"));
        e.noNode = true;
        assertEquals("NULL javaNodeInfoObject!6\n",
                stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.setDDBData(0, null, e, 0))));
        e.noNode = false;
        e.noDevice = true;
        assertEquals("NULL javaDevEntryObject!\n",
                stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.setDDBData(0, null, e, 0))));
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void anEntryWithoutItsInnerObjectsCannotBeFilled() {
        HollowEntry e = new HollowEntry();
        e.noNode = true;
        assertEquals("NULL javaNodeInfoObject!1\n",
                stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.getInitialDDBEntry(0, e, 3))));
        assertEquals(3, e.getIndex(), "set before the node object was asked for");
        e.noNode = false;
        e.noDevice = true;
        String out = stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.getInitialDDBEntry(0, e, 3)));
        assertTrue(out.endsWith("NULL javaDevEntryObject!\n"), out);
    }

    @Test
    void aNodeWithoutAddressStopsReadingTheNodeButTheEntryIsWritten() {
        DevDBEntry e = sampleEntry(6);
        e.getNodeInfo().setIPAddress(null);
        String out = stdout(() -> status = api.setDDBData(0, null, e, 0));
        assertEquals(0, status);
        assertTrue(out.startsWith("NULL javaIPObject!\n"), out);
        byte[] r = calls("SDSetDDBEntry").get(0).record("entry");
        assertEquals(0, ConfigFixtures.u16(r, 448), "the portal count after the address is not read");
        assertEquals("vault-t6", new String(r, 416, 8, StandardCharsets.US_ASCII));
    }

    /** An adapter whose firmware objects can be taken away. */
    public static class HollowAdapter extends HBA {
        boolean noInitFW;
        boolean noNode;
        final InitFW hollowInitFW = new InitFW() {
            @Override
            public DevEntry getDevEntry() {
                return null;
            }
        };
        boolean hollowDevEntry;

        @Override
        public InitFW getInitFW() {
            return noInitFW ? null : hollowDevEntry ? hollowInitFW : super.getInitFW();
        }

        @Override
        public NodeInfo getNodeInfo() {
            return noNode ? null : super.getNodeInfo();
        }
    }

    private static HollowAdapter hollowAdapter() {
        HollowAdapter a = new HollowAdapter();
        a.setIPAddress(IPAddr.of("10.0.0.1"));
        a.setGateway(IPAddr.of("10.0.0.2"));
        a.setSubnetMask(IPAddr.of("255.0.0.0"));
        a.setPrimaryDNS(IPAddr.of("10.0.0.3"));
        a.setSlpDa(IPAddr.of("10.0.0.4"));
        return a;
    }

    @Test
    void anAdapterWithoutItsFirmwareObjectsIsNotWritten() {
        HollowAdapter a = hollowAdapter();
        a.noInitFW = true;
        assertEquals("NULL javaInitFWObject!\n",
                stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.setFWData(0, a))));
        String out = stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.getFWData(0, a)));
        assertTrue(out.endsWith("NULL javaInitFWObject!\n"), out);
        a.noInitFW = false;
        a.hollowDevEntry = true;
        out = stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.setFWData(0, a)));
        assertTrue(out.endsWith("NULL javaDevEntryObject!\n"), out);
        out = stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.getFWData(0, a)));
        assertTrue(out.endsWith("NULL javaDevEntryObject!\n"), out);
        a.hollowDevEntry = false;
        a.noNode = true;
        assertEquals("NULL javaNodeInfoObject!4\n",
                stdout(() -> assertEquals(ApiStatus.NULL_OBJECT, api.setFWData(0, a))));
        assertEquals(List.of(), calls("SDSetInitFW"));
    }
}
