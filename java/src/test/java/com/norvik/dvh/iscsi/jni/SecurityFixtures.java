package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.transform;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.catalog.Samples;
import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.SecurityPolicyEntry;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;

/** Scenario pieces, sample policies and expected record bytes for the IPsec security tests. */
final class SecurityFixtures {

    static final int POLICY_SIZE = 800;
    static final int TRANSFORM_SIZE = 24;

    // SECURITYPOLICY offsets.
    static final int KIND = 0;
    static final int PRIORITY = 4;
    static final int SOURCE = 8;
    static final int DEST_START = 28;
    static final int DEST_END = 48;
    static final int ACTION = 68;
    static final int PROTOCOL = 72;
    static final int DEST_PORT = 76;
    static final int DEST_TYPE = 80;
    static final int NAME = 84;
    static final int ENABLED_TARGET = 212;
    static final int TRANSFORMS = 216;
    static final int NUM_TRANSFORMS = 600;
    static final int IKE_MODE = 604;
    static final int IKE_PFS = 608;
    static final int IKE_DIRECTION = 609;
    static final int PSK_LEN = 612;
    static final int PSK = 616;
    static final int AUTO_IPSEC = 648;
    static final int SOURCE_PORT = 652;
    static final int ENCRYPT_KEY_LEN = 656;
    static final int ENCRYPT_KEY = 660;
    static final int ENCRYPT_IV_LEN = 692;
    static final int ENCRYPT_IV = 696;
    static final int AUTH_KEY_LEN = 728;
    static final int AUTH_KEY = 732;
    static final int SPI = 764;
    static final int ASSOCIATED_IKE = 768;
    static final int CHANGE_BIT_MAP = 776;
    static final int TUNNEL = 780;

    private SecurityFixtures() {
    }

    static ObjectNode ikeSA(ObjectNode adapter, int priority) {
        return Scenarios.list(adapter, "ikeSAs").addObject().put("priority", priority);
    }

    static ObjectNode ipsecSA(ObjectNode adapter, int priority) {
        return Scenarios.list(adapter, "ipsecSAs").addObject().put("priority", priority);
    }

    /** An IKE policy (kind 3) with one IKE transform. */
    static SecurityPolicyEntry ikePolicy() {
        SecurityPolicyEntry p = new SecurityPolicyEntry();
        p.setKind(3);
        p.setPriority(10);
        p.setSourceAddr(IPAddr.of("192.168.50.21"));
        p.setDestStartAddr(IPAddr.of("10.20.30.40"));
        p.setDestEndAddr(IPAddr.of("10.20.30.40"));
        p.setAction(1);
        p.setProtocol(17);
        p.setPort(500);
        p.setPolicyName("ike-kestrel-array");
        p.addTransform(transform(1, 1, 12, 4, 2, 0, 28800, 14, 1));
        p.setSourcePort(500);
        p.setIKEMode(2);
        p.setIKEPFS(true);
        p.setIKEDirection(3);
        p.setPreSharedKey("fjord-lantern-2291");
        // Not carried for an IKE policy.
        p.setAutoIPSec(true);
        p.setAssociatedIke(77);
        p.setEncryptKey("never-sent");
        p.setSPI(99);
        return p;
    }

    /** Little-endian writer over one expected record. */
    static final class Record {
        final ByteBuffer b;

        Record(int size) {
            b = ByteBuffer.allocate(size).order(ByteOrder.LITTLE_ENDIAN);
        }

        Record u8(int at, int v) {
            b.put(at, (byte) v);
            return this;
        }

        Record u16(int at, int v) {
            b.putShort(at, (short) v);
            return this;
        }

        Record u32(int at, long v) {
            b.putInt(at, (int) v);
            return this;
        }

        Record ip(int at, String address) {
            short[] a = IPAddr.of(address).getAddress();
            for (int i = 0; i < 16; i++) {
                b.put(at + i, (byte) a[i]);
            }
            return this;
        }

        Record text(int at, String s) {
            byte[] t = s.getBytes(StandardCharsets.UTF_8);
            for (int i = 0; i < t.length; i++) {
                b.put(at + i, t[i]);
            }
            return this;
        }

        byte[] bytes() {
            return b.array();
        }
    }

    /** What the native side writes for {@link Samples#manualPolicy()}. */
    static byte[] manualPolicyRecord() {
        Record r = new Record(POLICY_SIZE).u32(KIND, 2).u32(CHANGE_BIT_MAP, 0x80000011L).u32(PRIORITY, 30)
                .ip(TUNNEL, "10.20.31.1").ip(SOURCE, "192.168.50.21").u32(DEST_TYPE, 1)
                .ip(DEST_START, "10.20.31.7").u32(ENABLED_TARGET, 0x01020304).ip(DEST_END, "10.20.31.9")
                .u32(ACTION, 2).u32(PROTOCOL, 6).u32(DEST_PORT, 3260).text(NAME, "esp-manual-acme")
                .u32(NUM_TRANSFORMS, 2).u32(SOURCE_PORT, 1025).u8(AUTO_IPSEC, 0).u32(ASSOCIATED_IKE, 10)
                .u32(ENCRYPT_KEY_LEN, 21).text(ENCRYPT_KEY, "walnut-harbor-5521-q7").u32(ENCRYPT_IV_LEN, 10)
                .text(ENCRYPT_IV, "ember-9c4e").u32(AUTH_KEY_LEN, 17).text(AUTH_KEY, "copper-finch-0417")
                .u32(SPI, 0x1001);
        // Transform 0 (type 2): IPsec mode, no group or IKE method.
        int t = TRANSFORMS;
        r.u16(t, 2).u16(t + 2, 3).u16(t + 4, 2).u16(t + 6, 1).u32(t + 8, 1048576).u32(t + 12, 7200).u16(t + 20, 1);
        // Transform 1 (type 1): group and IKE method, no IPsec mode.
        t += TRANSFORM_SIZE;
        r.u16(t, 1).u16(t + 2, 12).u16(t + 6, 2).u32(t + 12, 28800).u16(t + 16, 14).u16(t + 18, 1).u16(t + 20, 2);
        return r.bytes();
    }

    /** What the native side writes for {@link #ikePolicy()}. */
    static byte[] ikePolicyRecord() {
        Record r = new Record(POLICY_SIZE).u32(KIND, 3).u32(PRIORITY, 10).ip(SOURCE, "192.168.50.21")
                .ip(DEST_START, "10.20.30.40").ip(DEST_END, "10.20.30.40").u32(ACTION, 1).u32(PROTOCOL, 17)
                .u32(DEST_PORT, 500).text(NAME, "ike-kestrel-array").u32(NUM_TRANSFORMS, 1).u32(SOURCE_PORT, 500)
                .u32(IKE_MODE, 2).u8(IKE_PFS, 1).u8(IKE_DIRECTION, 3).u32(PSK_LEN, 18).text(PSK, "fjord-lantern-2291");
        int t = TRANSFORMS;
        r.u16(t, 1).u16(t + 2, 12).u16(t + 6, 2).u32(t + 12, 28800).u16(t + 16, 14).u16(t + 18, 1).u16(t + 20, 1);
        return r.bytes();
    }
}
