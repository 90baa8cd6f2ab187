package com.norvik.dvh.iscsi.catalog;

import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DevEntry;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.NodeInfo;

/** Model objects with a distinct value in every field, for writes. */
public final class Samples {

    private Samples() {
    }

    /** Session parameters where every field holds its own value, high bits included where they fit. */
    public static void fillDevEntry(DevEntry d, int seed) {
        d.setDeviceType(0x0100 + seed);
        d.setExecutionThrottle(0x8040 + seed);
        d.setTxTCPWindowScale((short) (0x30 + seed));
        d.setRxTCPWindowScale((short) (0xE0 + seed));
        d.setRetryDelay((short) (0x11 + seed));
        d.setiSCSIOptions((short) (0x8421 + seed));
        d.setTCPOptions(0x9012 + seed);
        d.setIPOptions(0xA023 + seed);
        d.setMaxRxDataSegmentLen(0xB034 + seed);
        d.setFirstBurstSize(0xC045 + seed);
        d.setDefaultTime2Wait(0x0056 + seed);
        d.setDefaultTime2Retain(0x0067 + seed);
        d.setMaxOutstandingR2T(0x0078 + seed);
        d.setKeepAliveTO(0x0089 + seed);
        d.setPortNumber(3260 + seed);
        d.setMaxBurstSize((short) (0xF09A + seed));
        d.setTaskManagementTimeout((short) (0x00AB + seed));
        d.setTargetAddress("10.77.0." + seed);
    }

    /** A device database entry for {@code targetID} with a distinct value in every field. */
    public static DevDBEntry sampleEntry(int targetID) {
        DevDBEntry e = new DevDBEntry();
        e.setTargetID(targetID);
        e.setState(4);
        e.setOptions((byte) 0xA5);
        e.setControl((byte) 0x5A);
        e.setExeCount(0x1234);
        e.setTargetSessionID(0xBEEF);
        e.setInitiatorSessionID(new short[] {0x40, 0x00, 0x01, 0x37, 0xFE, (short) (targetID & 0xff)});
        e.setReservedFlags(0x80000011);
        e.setDDBLink(0xCAFE);
        e.setChapIndex(0x0102);
        e.setMaxTxDataSegmentLen(0x8800);
        e.setTargetPortalGroupID(0x7001);
        NodeInfo n = e.getNodeInfo();
        n.setiSCSIName("iqn.2009-11.com.acmedisk:vault9000.t" + targetID);
        n.setAlias("vault-t" + targetID);
        n.setIPAddress(IPAddr.of("10.77.1." + (targetID & 0xff)));
        n.setPortalCount(0x8003);
        fillDevEntry(e.getDeviceEntry(), targetID & 0x0f);
        return e;
    }
}
