package com.norvik.dvh.iscsi.jni;


import com.fasterxml.jackson.databind.ObjectMapper;
import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DevEntry;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.NodeInfo;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.HexFormat;

/**
 * Shared pieces of the adapter configuration tests: small scenarios built in code, model objects
 * with a distinct value in every field, the record bytes the library must receive for them, and
 * little-endian access to record bytes from the call log.
 */
final class ConfigFixtures {

    static final int DDB_ENTRY_SIZE = 484;
    static final int INIT_FW_SIZE = 782;

    /** A status no path of the library produces by itself, used for injected failures. */
    static final int NOT_SUPPORTED = 0x2000002D;

    private static final ObjectMapper JSON = new ObjectMapper();

    private ConfigFixtures() {
    }

    // --- Scenarios ----------------------------------------------------------------

    /**
     * A scenario under construction: adapters added with {@link #adapter(int)}, with the handles of
     * the default scenario ({@code HANDLE_0 + instance}).
     */
    static final class Scenario {
        private final ObjectNode root = JSON.createObjectNode();
        private final ArrayNode adapters;

        Scenario() {
            root.put("version", "IZKSDM iSCSI TEST");
            adapters = root.putArray("adapters");
        }

        /** Adds an adapter and returns its node for further sections. */
        ObjectNode adapter(int instance) {
            return adapters.addObject().put("instance", instance).put("handle", NativeTestBase.HANDLE_0 + instance);
        }

        String json() {
            return Scenarios.text(root);
        }
    }

    /** Puts every field of {@code e} into a scenario's DEVICEENTRYISCSI node (targetId included). */
    static ObjectNode putEntry(ObjectNode node, DevDBEntry e) {
        StringBuilder sid = new StringBuilder();
        for (short b : e.getInitiatorSessionID()) {
            sid.append(String.format("%02x", b & 0xff));
        }
        node.put("options", e.getOptions() & 0xff).put("control", e.getControl() & 0xff)
                .put("exeCount", e.getExeCount()).put("targetSessionId", e.getTargetSessionID())
                .put("initiatorSessionId", sid.toString()).put("targetId", e.getTargetID())
                .put("deviceState", e.getState()).put("reservedFlags", e.getReservedFlags() & 0xffffffffL)
                .put("ddbLink", e.getDDBLink()).put("chapTableIndex", e.getChapIndex())
                .put("maxTxDataSegmentLength", e.getMaxTxDataSegmentLen())
                .put("targetPortalGroupId", e.getTargetPortalGroupID());
        NodeInfo n = e.getNodeInfo();
        node.putObject("entryInfo").put("ipAddress", n.getIPAddress().toString()).put("iscsiName", n.getiSCSIName())
                .put("alias", n.getAlias()).put("portalCount", n.getPortalCount());
        DevEntry d = e.getDeviceEntry();
        node.putObject("deviceInfo").put("deviceType", d.getDeviceType())
                .put("executionThrottle", d.getExecutionThrottle())
                .put("txTcpWindowScale", d.getTxTCPWindowScale()).put("rxTcpWindowScale", d.getRxTCPWindowScale())
                .put("retryDelay", d.getRetryDelay()).put("iscsiOptions", d.getiSCSIOptions() & 0xffff)
                .put("tcpOptions", d.getTCPOptions()).put("ipOptions", d.getIPOptions())
                .put("maxRxDataSegmentLength", d.getMaxRxDataSegmentLen())
                .put("firstBurstSize", d.getFirstBurstSize()).put("defaultTime2Wait", d.getDefaultTime2Wait())
                .put("defaultTime2Retain", d.getDefaultTime2Retain())
                .put("maxOutstandingR2T", d.getMaxOutstandingR2T()).put("keepAliveTimeout", d.getKeepAliveTO())
                .put("portNumber", d.getPortNumber()).put("maxBurstSize", d.getMaxBurstSize() & 0xffff)
                .put("taskManagementTimeout", d.getTaskManagementTimeout() & 0xffff)
                .put("targetAddress", d.getTargetAddress());
        return node;
    }

    static String hex(byte[] bytes) {
        return HexFormat.of().formatHex(bytes);
    }

    // --- Record bytes ----------------------------------------------------------------

    static int u8(byte[] r, int offset) {
        return r[offset] & 0xff;
    }

    static int u16(byte[] r, int offset) {
        return ByteBuffer.wrap(r).order(ByteOrder.LITTLE_ENDIAN).getShort(offset) & 0xffff;
    }

    static long u32(byte[] r, int offset) {
        return ByteBuffer.wrap(r).order(ByteOrder.LITTLE_ENDIAN).getInt(offset) & 0xffffffffL;
    }

    static byte[] slice(byte[] r, int offset, int length) {
        return Arrays.copyOfRange(r, offset, offset + length);
    }

    /** Writes into a record image the way the library's little-endian records hold values. */
    static final class RecordImage {
        final ByteBuffer buf;

        RecordImage(byte[] start) {
            buf = ByteBuffer.wrap(start.clone()).order(ByteOrder.LITTLE_ENDIAN);
        }

        RecordImage u8(int offset, int v) {
            buf.put(offset, (byte) v);
            return this;
        }

        RecordImage u16(int offset, int v) {
            buf.putShort(offset, (short) v);
            return this;
        }

        RecordImage u32(int offset, int v) {
            buf.putInt(offset, v);
            return this;
        }

        RecordImage bytes(int offset, byte[] v) {
            for (int i = 0; i < v.length; i++) {
                buf.put(offset + i, v[i]);
            }
            return this;
        }

        /** What strncpy(field, text, bound) leaves: the text's first bytes, then zeros up to bound. */
        RecordImage text(int offset, String text, int bound) {
            byte[] t = text.getBytes(StandardCharsets.UTF_8);
            for (int i = 0; i < bound; i++) {
                buf.put(offset + i, i < t.length ? t[i] : 0);
            }
            return this;
        }

        /** The 16 address bytes; Type and Reserved untouched. */
        RecordImage address(int offset, IPAddr a) {
            short[] b = a.getAddress();
            for (int i = 0; i < 16; i++) {
                buf.put(offset + i, (byte) b[i]);
            }
            return this;
        }

        byte[] bytes() {
            return buf.array();
        }
    }

    // --- Model objects with a distinct value in every field ---------------------------------

    /**
     * The DEVICEENTRYISCSI that setDDBData must hand to the library for {@code e}: everything from
     * the object, and zero in what it does not take (transmit window scale, retry count, reserved
     * bytes, RAM-only flag, NextValid, the address's type).
     */
    static byte[] expectedEntryRecord(DevDBEntry e) {
        RecordImage r = new RecordImage(new byte[DDB_ENTRY_SIZE]);
        r.u8(0, e.getOptions()).u8(1, e.getControl()).u16(2, e.getExeCount()).u16(4, e.getTargetSessionID());
        short[] sid = e.getInitiatorSessionID();
        for (int i = 0; i < 6 && i < sid.length; i++) {
            r.u8(6 + i, sid[i]);
        }
        putDevEntry(r, 76, e.getDeviceEntry(), 0, 0);
        NodeInfo n = e.getNodeInfo();
        if (n.getIPAddress() != null) {
            r.address(140, n.getIPAddress());
        }
        if (n.getiSCSIName() != null) {
            r.text(160, n.getiSCSIName(), 255);
        }
        if (n.getAlias() != null) {
            r.text(416, n.getAlias(), 31);
        }
        if (n.getIPAddress() != null) {
            r.u16(448, n.getPortalCount());
        }
        r.u32(460, e.getTargetID()).u32(464, e.getState()).u32(468, e.getReservedFlags());
        r.u16(476, e.getDDBLink()).u16(478, e.getChapIndex()).u16(480, e.getMaxTxDataSegmentLen());
        r.u16(482, e.getTargetPortalGroupID());
        return r.bytes();
    }

    /** ISCSIDEVICE at {@code at} from a DevEntry; the transmit window scale and retry count are given. */
    static void putDevEntry(RecordImage r, int at, DevEntry d, int txScale, int retryCount) {
        r.u16(at, d.getDeviceType()).u16(at + 2, d.getExecutionThrottle());
        r.u8(at + 4, txScale).u8(at + 5, d.getRxTCPWindowScale()).u8(at + 6, retryCount).u8(at + 7, d.getRetryDelay());
        r.u16(at + 8, d.getiSCSIOptions()).u16(at + 10, d.getTCPOptions()).u16(at + 12, d.getIPOptions());
        r.u16(at + 14, d.getMaxRxDataSegmentLen()).u16(at + 16, d.getFirstBurstSize());
        r.u16(at + 18, d.getDefaultTime2Wait()).u16(at + 20, d.getDefaultTime2Retain());
        r.u16(at + 22, d.getMaxOutstandingR2T()).u16(at + 24, d.getKeepAliveTO()).u16(at + 26, d.getPortNumber());
        r.u16(at + 28, d.getMaxBurstSize()).u16(at + 30, d.getTaskManagementTimeout());
        if (d.getTargetAddress() != null) {
            r.text(at + 32, d.getTargetAddress(), 32);
        }
    }
}
