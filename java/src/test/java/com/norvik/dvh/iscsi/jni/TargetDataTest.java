package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Scenarios.ddb;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.LUN;
import com.norvik.dvh.iscsi.model.NodeInfo;
import com.norvik.dvh.iscsi.model.SCSIInqInfo;
import com.norvik.dvh.iscsi.model.Target;
import com.norvik.dvh.iscsi.model.TargetInfo;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/**
 * A target's discovered portal and node into the target object, and a LUN's inquiry strings,
 * capacity and WWULN into the LUN object; objects that lack accessors, hand back null, are of the
 * wrong class or throw.
 */
class TargetDataTest extends NativeTestBase {

    private int status;

    /**
     * Instance 0 with targets 4 and 6 (bus 0, session active) whose portals and nodes are filled,
     * and device database entries 4 and 6; opened, call log cleared.
     */
    private static void loadTwoTargets() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ddb(a, 4, 4);
        ddb(a, 6, 4);
        ArrayNode targets = a.putArray("targets");
        for (int id : new int[] {4, 6}) {
            ObjectNode t = targets.addObject().put("targetId", id);
            t.putObject("portal").put("ipAddress", "10.1.2." + id).put("nodeCount", id / 2)
                    .put("hostName", "grebe-" + id + ".lab.example").put("portNumber", 3260 + id);
            ObjectNode node = t.putObject("node").put("sessionId", 0x8000 + id).put("connectionId", id + 1)
                    .put("portalGroupId", 0xff00 + id);
            node.putObject("nodeInfo").put("ipAddress", "10.1.2." + id)
                    .put("iscsiName", "iqn.2014-03.org.grebe:store" + id).put("alias", "store" + id)
                    .put("portalCount", 1);
            // The node's own SCSI address differs from the id the library finds it by.
            node.putObject("targetInfo").put("busNumber", 1).put("targetId", 40 + id).put("lun", 9);
            t.putArray("luns").addObject().put("lun", 0);
        }
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    /** An adapter object claiming {@code count} disk targets, with entries of the given target ids. */
    private static HBA adapter(int count, int... targetIds) {
        HBA hba = new HBA(0);
        hba.setNumberDiskTargets(count);
        for (int id : targetIds) {
            DevDBEntry e = new DevDBEntry();
            e.setTargetID(id);
            hba.addDeviceDataBaseEntry(e);
        }
        return hba;
    }

    private String targetData(Object hba, Object target) {
        return stdout(() -> status = api.getiSCSITargetData(0, hba, target));
    }

    // --- getiSCSITargetData -----------------------------------------------------------------

    @Test
    void withoutDiskTargetsTheInstanceIsTheTargetIdAndEveryFieldArrives() {
        loadTwoTargets();
        Target t = new Target(6);
        t.getTargetInfo().setTargetID(6);
        String out = targetData(adapter(0), t);
        assertEquals(0, status);
        assertEquals("", out);
        assertEquals(3, t.getNodeCount());
        assertEquals("grebe-6.lab.example", t.getHostName());
        assertEquals(3266, t.getTCPPortNumber());
        assertEquals(IPAddr.of("10.1.2.6"), t.getIPAddress());
        assertEquals(0x8006, t.getSessionID());  // zero-extended
        assertEquals(7, t.getConnectionID());
        assertEquals(0xff06, t.getPortalGroup());
        NodeInfo n = t.getNodeInfo();
        assertEquals("iqn.2014-03.org.grebe:store6", n.getiSCSIName());
        assertEquals("store6", n.getAlias());
        assertEquals(IPAddr.of("10.1.2.6"), n.getIPAddress());
        assertEquals(1, n.getPortalCount());
        assertEquals("1:46:9", t.getTargetInfo().address());

        SimCall portal = calls("SDGetDiscPortalPropertyiSCSI").get(0);
        assertEquals(List.of((long) HANDLE_0, 0L, 6L, 0L),
                List.of(portal.arg("handle"), portal.arg("portal"), portal.arg("targetID"), portal.arg("reserved")));
        assertArrayEquals(new byte[292], portal.record("property"));
        SimCall node = calls("SDGetDiscNodePropertyiSCSI").get(0);
        assertEquals(List.of(0L, 6L, 0L), List.of(node.arg("portal"), node.arg("targetID"), node.arg("reserved")));
        assertArrayEquals(new byte[468], node.record("property"));
    }

    @Test
    void withDiskTargetsTheInstanceIsAPositionButTheNodeFollowsTheJavaTargetInfo() {
        loadTwoTargets();
        Target t = new Target(1);
        t.getTargetInfo().setTargetID(4);
        targetData(adapter(2, 4, 6), t);
        assertEquals(0, status);
        assertEquals(List.of(6L), argOfCalls("SDGetDiscPortalPropertyiSCSI", "targetID"));
        assertEquals(List.of(4L), argOfCalls("SDGetDiscNodePropertyiSCSI", "targetID"));
        assertEquals("grebe-6.lab.example", t.getHostName());
        assertEquals(0x8004, t.getSessionID());
    }

    @ParameterizedTest
    @ValueSource(ints = {513, -1, Integer.MIN_VALUE})
    void moreThan512TargetsOrANegativeCountAreRefused(int count) {
        loadTwoTargets();
        String out = targetData(adapter(count), new Target(4));
        assertEquals(0x20000064, status);
        assertEquals("Too many targets from Java!\n", out);
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void exactly512TargetsAreAccepted() {
        loadTwoTargets();
        HBA hba = adapter(512, 6);
        Target t = new Target(0);
        t.getTargetInfo().setTargetID(6);
        targetData(hba, t);
        assertEquals(0, status);
        assertEquals(List.of(6L), argOfCalls("SDGetDiscPortalPropertyiSCSI", "targetID"));
    }

    @Test
    void failuresOfTheLibraryAndMissingObjects() {
        loadTwoTargets();
        String out = targetData(adapter(0), new Target(5));
        assertEquals(0x20000004, status);
        assertEquals("SDGetDiscPortalPropertyiSCSI returned 20000004\n", out);

        Target t = new Target(6);
        t.getTargetInfo().setTargetID(5);
        out = targetData(adapter(0), t);
        assertEquals(0x20000004, status);
        assertEquals("SDGetDiscNodePropertyiSCSI returned 20000004\n", out);
        assertEquals("grebe-6.lab.example", t.getHostName());  // the portal's part stays

        out = targetData(adapter(1), new Target(3));
        assertEquals(4099, status);
        assertEquals("NULL javaDDBEntryObject!\n", out);

        out = targetData(adapter(0), new Target(6) {
            @Override
            public TargetInfo getTargetInfo() {
                return null;
            }
        });
        assertEquals(4099, status);
        assertEquals("NULL javaTargetInfoObject!\n", out);

        Target noNode = new Target(6) {
            @Override
            public NodeInfo getNodeInfo() {
                return null;
            }
        };
        noNode.getTargetInfo().setTargetID(6);
        out = targetData(adapter(0), noNode);
        assertEquals(4099, status);
        assertEquals("NULL javaNodeInfoObject!5\n", out);
        assertEquals(0x8006, noNode.getSessionID());
        assertEquals("0:6:0", noNode.getTargetInfo().address());  // not reached
    }

    /** A target object with the instance and nothing else. */
    public static class InstanceOnly {
        public int getInstance() {
            return 6;
        }
    }

    /** A target object without the node setters; records what the library called. */
    public static class PortalOnly {
        final List<String> called = new ArrayList<>();
        final TargetInfo targetInfo = new TargetInfo(0, 6, 0);

        public int getInstance() {
            return 6;
        }

        public void setNodeCount(int n) {
            called.add("setNodeCount " + n);
        }

        public void setHostName(String s) {
            called.add("setHostName " + s);
        }

        public void setTCPPortNumber(int p) {
            called.add("setTCPPortNumber " + p);
        }

        public void setIPAddress(IPAddr a) {
            called.add("setIPAddress " + a);
        }

        public TargetInfo getTargetInfo() {
            called.add("getTargetInfo");
            return targetInfo;
        }
    }

    @Test
    void aMissingPortalSetterReportsSuccessAMissingNodeSetterDoesNot() {
        loadTwoTargets();
        String out = targetData(adapter(0), new InstanceOnly());
        assertEquals(0, status);
        assertEquals("GetMethodID setNodeCount - Obj call failed!\n", out);
        assertEquals(List.of("SDGetDiscPortalPropertyiSCSI"), SimControl.calls().stream().map(SimCall::fn).toList());

        PortalOnly p = new PortalOnly();
        out = targetData(adapter(0), p);
        assertEquals(4097, status);
        assertEquals("GetMethodID setSessionID - Obj call failed!\n", out);
        assertEquals(List.of("setNodeCount 3", "setHostName grebe-6.lab.example", "setTCPPortNumber 3266",
                "setIPAddress 10.1.2.6", "getTargetInfo"), p.called);

        out = targetData(new Object(), new Target(6));
        assertEquals(4097, status);
        assertEquals("GetMethodID getNumberDiskTargets call failed!\n", out);
    }

    @Test
    void targetClassesTakenInTurnEachKeepTheirOwnAccessorsOnEveryCall() {
        // The target's accessors are resolved together per class: a class lacking a node
        // setter fails at it on every call, and a complete class in between is not disturbed.
        loadTwoTargets();
        for (int round = 0; round < 3; round++) {
            PortalOnly p = new PortalOnly();
            assertEquals("GetMethodID setSessionID - Obj call failed!\n", targetData(adapter(0), p));
            assertEquals(4097, status);
            assertEquals(List.of("setNodeCount 3", "setHostName grebe-6.lab.example", "setTCPPortNumber 3266",
                    "setIPAddress 10.1.2.6", "getTargetInfo"), p.called);

            Target t = new Target(6);
            t.getTargetInfo().setTargetID(6);
            assertEquals("", targetData(adapter(0), t));
            assertEquals(0, status);
            assertEquals(0xff06, t.getPortalGroup());
            assertEquals(IPAddr.of("10.1.2.6"), t.getNodeInfo().getIPAddress());
            assertEquals("1:46:9", t.getTargetInfo().address());
        }
    }

    /** An adapter object with a count of disk targets but without its device database. */
    public static class CountOnly {
        public int getNumberDiskTargets() {
            return 2;
        }
    }

    @Test
    void aTargetOrAdapterObjectOfTheWrongClassSendsNothing() {
        loadTwoTargets();
        String out = targetData(adapter(0), "target 6");
        assertEquals(4097, status);
        assertEquals("GetMethodID getInstance call failed!\n", out);

        out = targetData(new CountOnly(), new Target(6));
        assertEquals(4097, status);
        assertEquals("GetMethodID  getDeviceDataBaseEntry call failed!\n", out);
        assertEquals(List.of(), SimControl.calls());
    }

    // --- getiSCSILunData --------------------------------------------------------------------

    private String lunData(int dev, Object lun) {
        return stdout(() -> status = api.getiSCSILunData(dev, lun));
    }

    /** LUN {@code lun} of target {@code target} of the default scenario's instance 0, state and test flags set. */
    private static LUN defaultLun(int target, int lun) {
        TargetInfo ti = new TargetInfo(0, target, lun);
        ti.setTargetState(4);
        ti.setSupportsTest(true);
        ti.setPerformBufferTest(true);
        return new LUN(ti);
    }

    @Test
    void lunDataOfADefaultLunInquiryCapacityAndWwuln() {
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        LUN lun = defaultLun(0, 1);
        String out = lunData(0, lun);
        assertEquals(0, status);
        SCSIInqInfo inq = lun.getSCSIInqInfo();
        assertEquals("ACMEDISK", inq.getVendorID());
        assertEquals("Vault-9000      ", inq.getProductID());
        assertEquals("0412", inq.getRevision());
        // 419430400 blocks of 512: Lba 0x18ffffff goes the large-value way.
        assertEquals(204798, lun.getCapacityMegabytes());
        assertArrayEquals(new short[] {0x50, 0x0a, 0xcd, 0xe1, 0x00, 0xa1, 0x00, 0x01}, lun.getWWULN());
        assertEquals("50:0a:cd:e1:00:a1:00:01", lun.getWWULNString());
        assertEquals("JNI-LUN(1) Size: LBA=0x18ffffff, BlockLength=0x0,Mbytes32=204800, Mbytes64=204798\n"
                + "Info: WWULN on HBA[10]-TID=0, B:0 T:0 L:1, Offset=8, WWULN=50-a-cd-e1-0-a1-0-1  "
                + "Sense Key:0x0, asc:0x0, ascq:0x0.\r\n"
                + "LUN Data\n"
                + "WWULN in JNI=-50-a-cd-e1-0-a1-0-1\n", out);

        assertEquals(List.of("SDSendScsiInquiryCmdiSCSI", "SDSendReadMBCapacity", "SDSendScsiPassThruiSCSI"),
                SimControl.calls().stream().map(SimCall::fn).toList());
        SimCall wwuln = calls("SDSendScsiPassThruiSCSI").get(0);
        assertEquals("120183004000", HexFormat.of().formatHex(wwuln.record("cdb")));
        assertEquals(64, wwuln.arg("dataInLength"));
        assertEquals(320, wwuln.arg("senseLength"));
        assertEquals(0, wwuln.arg("dataOutLength"));
        // Only bus, target and LUN are handed on; state and test flags are not.
        byte[] address = new byte[136];
        address[4] = 1;
        assertArrayEquals(address, wwuln.record("target"));
        byte[] inquiryAddress = calls("SDSendScsiInquiryCmdiSCSI").get(0).record("target");
        assertEquals("0000000001000400" + "0101", HexFormat.of().formatHex(inquiryAddress, 0, 10));
    }

    @Test
    void aLunRefusingPage83KeepsAZeroWwuln() {
        assertTrue(api.openDevice(0));
        LUN lun = defaultLun(1, 0);
        String out = lunData(0, lun);
        assertEquals(0, status);
        assertArrayEquals(new short[8], lun.getWWULN());
        assertTrue(out.endsWith("Debug: Lun (0) does not support WWULN via inquiry\r\nWWULN in JNI=-0-0-0-0-0-0-0-0\n"),
                out);
    }

    @Test
    void theFirstFailingStepEndsTheCallWithItsLine() {
        assertTrue(api.openDevice(0));
        LUN lun = defaultLun(0, 1);
        String out = lunData(32, lun);
        assertEquals(0x20000064, status);
        assertEquals("getLocalScsiInquiryData failed! 20000064\n", out);

        SimControl.clearCallLog();
        SimControl.fault("SDSendReadMBCapacity", 0x20000040, true);
        out = lunData(0, lun);
        assertEquals(0x20000040, status);
        assertEquals("SDSendScsiReadCapacityCmdiSCSI returned 20000040\ngetScsiReadCapacityData failed! 20000040\n",
                out);
        assertEquals("ACMEDISK", lun.getSCSIInqInfo().getVendorID());
        assertNull(lun.getWWULN());
        assertEquals(List.of(), calls("SDSendScsiPassThruiSCSI"));

        out = lunData(0, defaultLun(0, 9));
        assertEquals(0x20000005, status);
        assertEquals("SDSendScsiInquiryCmdiSCSI returned 20000005, target ID = 0\n"
                + "getLocalScsiInquiryData failed! 20000005\n", out);

        out = lunData(0, null);
        assertEquals(4099, status);
        assertEquals("NULL jLun!\n", out);
        out = lunData(0, new LUN() {
            @Override
            public SCSIInqInfo getSCSIInqInfo() {
                return null;
            }
        });
        assertEquals(4099, status);
        assertEquals("NULL javaSCSIInqInfoObject!\n", out);
    }

    @Test
    void aLunObjectOfTheWrongClassSendsNothing() {
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        String out = lunData(0, "0:0:1");
        assertEquals(4097, status);
        assertEquals("GetMethodID  getTargetInfo call failed!\n", out);
        // A target object has a TargetInfo but no inquiry object.
        out = lunData(0, new Target(0));
        assertEquals(4097, status);
        assertEquals("GetMethodID  getSCSIInqInfo call failed!\n", out);
        out = stdout(() -> status = api.getScsiReadCapacityData(0, new SCSIInqInfo()));
        assertEquals(4097, status);
        assertEquals("GetMethodID  getTargetInfo call failed!\n", out);
        assertEquals(List.of(), SimControl.calls());
    }

    // --- TargetInfo objects of the wrong kind -----------------------------------------------

    /** A TargetInfo look-alike without getPerformBufferTest; counts its calls. */
    public static class NoBufferTestFlag {
        final List<String> called = new ArrayList<>();

        public int getBus() {
            called.add("getBus");
            return 0;
        }

        public int getLUN() {
            called.add("getLUN");
            return 1;
        }

        public int getTargetID() {
            called.add("getTargetID");
            return 0;
        }

        public int getTargetState() {
            called.add("getTargetState");
            return 4;
        }

        public boolean getSupportsTest() {
            called.add("getSupportsTest");
            return true;
        }
    }

    @Test
    void aTargetInfoOfTheWrongClassIsRefusedBeforeAnyRequest() {
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        String out = stdout(() -> status = api.getScsiInquiryData(0, "0:0:1", new SCSIInqInfo()));
        assertEquals(4097, status);
        assertEquals("GetMethodID getBus call failed!\n", out);

        NoBufferTestFlag partial = new NoBufferTestFlag();
        out = stdout(() -> status = api.getScsiInquiryData(0, partial, new SCSIInqInfo()));
        assertEquals(4097, status);
        assertEquals("GetMethodID getPerformBufferTest call failed!\n", out);
        assertEquals(List.of("getBus", "getLUN", "getTargetID", "getTargetState", "getSupportsTest"), partial.called);

        Target t = new Target(0);
        out = stdout(() -> status = api.getScsiReportLUNsData(0, new HBA(0), new Object()));
        assertEquals(4097, status);
        assertEquals("GetMethodID  getTargetInfo call failed!\n", out);
        out = stdout(() -> status = api.getScsiReadCapacityData(0, t));
        // A Target's TargetInfo is fine, but it has no capacity setter: reported as success.
        assertEquals(0, status);
        assertEquals("GetMethodID setLogicalBlockAddress - Obj call failed!\n", out);
        assertEquals(List.of("SDSendReadMBCapacity"), SimControl.calls().stream().map(SimCall::fn).toList());
    }

    @Test
    void anExceptionOfATargetInfoGetterReachesTheCallerAndNothingIsSent() {
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        TargetInfo throwing = new TargetInfo(0, 0, 1) {
            @Override
            public int getTargetState() {
                throw new IllegalStateException("state unknown");
            }
        };
        IllegalStateException e = assertThrows(IllegalStateException.class,
                () -> api.getScsiInquiryData(0, throwing, new SCSIInqInfo()));
        assertEquals("state unknown", e.getMessage());
        assertThrows(IllegalStateException.class, () -> api.getiSCSILunData(0, new LUN(throwing)));
        assertThrows(IllegalStateException.class, () -> api.getScsiReadCapacityData(0, new LUN(throwing)));
        Target t = new Target(0) {
            @Override
            public TargetInfo getTargetInfo() {
                return throwing;
            }
        };
        assertThrows(IllegalStateException.class, () -> api.getScsiReportLUNsData(0, new HBA(0), t));
        assertThrows(IllegalStateException.class, () -> api.getiSCSITargetData(0, adapter(0), t));
        assertEquals(List.of("SDGetDiscPortalPropertyiSCSI"), SimControl.calls().stream().map(SimCall::fn).toList());
    }
}
