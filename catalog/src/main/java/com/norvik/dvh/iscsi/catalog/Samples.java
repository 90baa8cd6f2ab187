package com.norvik.dvh.iscsi.catalog;

import com.norvik.dvh.iscsi.model.BufferTestResult;
import com.norvik.dvh.iscsi.model.CHAPTableEntry;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DevEntry;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.NodeInfo;
import com.norvik.dvh.iscsi.model.SecurityPolicyEntry;
import com.norvik.dvh.iscsi.model.SecurityTransform;
import com.norvik.dvh.iscsi.model.TargetInfo;

import java.nio.charset.StandardCharsets;

/** Model objects for the native methods' arguments: most with a distinct value in every field. */
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

    /** A CHAP entry; the secret is held as one short per byte. */
    public static CHAPTableEntry chapEntry(int flashIndex, String name, String secret, int flags, int link) {
        CHAPTableEntry e = new CHAPTableEntry();
        e.setFlashIndex(flashIndex);
        e.setChapName(name);
        byte[] s = secret.getBytes(StandardCharsets.US_ASCII);
        short[] shorts = new short[CHAPTableEntry.SECRET_SIZE];
        for (int i = 0; i < s.length; i++) {
            shorts[i] = s[i];
        }
        e.setChapSecret(shorts, s.length);
        e.setFlags(flags);
        e.setLink(link);
        return e;
    }

    /** A buffer test's data pattern: characters above a byte keep their low byte, a zero byte inside. */
    public static final char[] PATTERN = "\u0155Zebra-\u00ff\u0000ok".toCharArray();

    /** A target that asks for the buffer test, in state 4 and able to run it. */
    public static TargetInfo bufferTarget(int targetId, int lun) {
        TargetInfo t = new TargetInfo(0, targetId, lun);
        t.setTargetState(4);
        t.setSupportsTest(true);
        t.setPerformBufferTest(true);
        return t;
    }

    public static BufferTestResult[] bufferResults(int n) {
        BufferTestResult[] r = new BufferTestResult[n];
        for (int i = 0; i < n; i++) {
            r[i] = new BufferTestResult();
            r[i].setReadWriteBufferTestStatus(-1);
        }
        return r;
    }

    public static SecurityTransform transform(int type, int level, int encrypt, int mode, int auth, int kBytes, int seconds,
            int group, int ikeAuth) {
        SecurityTransform t = new SecurityTransform();
        t.setType(type);
        t.setLevel(level);
        t.setEncryptAlgo(encrypt);
        t.setIPSecMode(mode);
        t.setAuthAlgo(auth);
        t.setKBytesLife(kBytes);
        t.setSecondsLife(seconds);
        t.setGroup(group);
        t.setIKEAuthMethod(ikeAuth);
        return t;
    }

    /** An IPsec policy with manual keys and two transforms (one of each type). */
    public static SecurityPolicyEntry manualPolicy() {
        SecurityPolicyEntry p = new SecurityPolicyEntry();
        p.setKind(2);
        p.setStatusChangeBitMap(0x80000011);
        p.setPriority(30);
        p.setTunnelIPAddr(IPAddr.of("10.20.31.1"));
        p.setSourceAddr(IPAddr.of("192.168.50.21"));
        p.setDestType(1);
        p.setDestStartAddr(IPAddr.of("10.20.31.7"));
        p.setEnabledTarget(0x01020304);
        p.setDestEndAddr(IPAddr.of("10.20.31.9"));
        p.setAction(2);
        p.setProtocol(6);
        p.setPort(3260);
        p.setPolicyName("esp-manual-acme");
        p.addTransform(transform(2, 1, 3, 2, 1, 1048576, 7200, 5, 6));
        p.addTransform(transform(1, 2, 12, 9, 2, 0, 28800, 14, 1));
        p.setSourcePort(1025);
        p.setAutoIPSec(false);
        p.setAssociatedIke(10);
        p.setEncryptKey("walnut-harbor-5521-q7");
        p.setEncryptIV("ember-9c4e");
        p.setAuthKey("copper-finch-0417");
        p.setSPI(0x1001);
        // Not carried for this kind.
        p.setIKEMode(2);
        p.setIKEPFS(true);
        p.setIKEDirection(3);
        p.setPreSharedKey("never-sent");
        return p;
    }
}
