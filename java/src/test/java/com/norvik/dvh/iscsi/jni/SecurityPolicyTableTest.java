package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.manualPolicy;
import static com.norvik.dvh.iscsi.catalog.Samples.transform;
import static com.norvik.dvh.iscsi.catalog.Scenarios.policy;
import static com.norvik.dvh.iscsi.jni.SecurityFixtures.*;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.SecurityPolicyEntry;
import com.norvik.dvh.iscsi.model.SecurityTransform;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * The IPsec security policy table: reading the 64 slots into policy objects and writing policy
 * objects back as the whole table, record bytes and messages exact.
 */
class SecurityPolicyTableTest extends NativeTestBase {

    private static final String GET = "SDGetSecurityPolicyTable";
    private static final String SET = "SDSetSecurityPolicyTable";
    private static final int INVALID_PARAMETER = 0x20000003;

    private int status;

    /** Instance 0 with an empty policy table. */
    private static Scenario bare() {
        Scenario s = new Scenario();
        s.adapter(0);
        return s;
    }

    private static void load(Scenario s) {
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    private HBA read() {
        HBA hba = new HBA(0);
        String out = stdout(() -> status = api.getSecurityPoliciesTable(0, hba));
        lastOut = out;
        return hba;
    }

    private String lastOut;

    private static List<String> names(HBA hba) {
        List<String> out = new ArrayList<>();
        for (int i = 0; i < hba.getNumberOfSecurityPolicyEntries(); i++) {
            out.add(hba.getSecurityPolicyEntry(i).getPolicyName());
        }
        return out;
    }

    // --- reading the table ---

    @Test
    void inUseSlotsAreDeliveredInSlotOrderPassingOverHoles() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        policy(a, 9, 1, 90, "nine");
        policy(a, 0, 3, 10, "zero");
        policy(a, 5, 2, 50, "five");
        load(s);
        HBA hba = read();
        assertEquals(0, status);
        assertEquals(List.of("zero", "five", "nine"), names(hba));
        assertEquals("JNI: SDGetSecurityPolicyTable() returned 3 numEntries\n"
                + "JNI: About to set in Java Security index 0 Name: zero\n"
                + "JNI: About to set in Java Security index 5 Name: five\n"
                + "JNI: About to set in Java Security index 9 Name: nine\n", lastOut);
        // The portal is read first; the table read offers 64 slots.
        List<SimCall> all = SimControl.calls();
        assertEquals("SDGetHbaDevicePortalPropertyiSCSI", all.get(0).fn());
        assertEquals(0, all.get(0).arg("portal"));
        assertEquals(GET, all.get(1).fn());
        assertEquals(64, all.get(1).arg("capacity"));
        assertEquals(HANDLE_0, all.get(1).arg("handle"));
    }

    @Test
    void noMoreThanTheReportedNumberOfPoliciesIsDelivered() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0).put("securityPolicyCount", 2);
        policy(a, 0, 1, 1, "a");
        policy(a, 5, 1, 2, "b");
        policy(a, 9, 1, 3, "c");
        load(s);
        HBA hba = read();
        assertEquals(0, status);
        assertEquals(List.of("a", "b"), names(hba));
        assertTrue(lastOut.startsWith("JNI: SDGetSecurityPolicyTable() returned 2 numEntries\n"), lastOut);
    }

    @Test
    void everyFieldReachesTheEntryAndOnlyManualPoliciesCarryTheirKeys() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ObjectNode manual = policy(a, 1, 2, 0, "esp-manual").put("priority", "0xFFFFFFF0").put("protocol", 6).put("destPort", 3260)
                .put("destType", 1).put("action", 2).put("ikeMode", 5).put("ikePfs", 7).put("ikeDirection", 200)
                .put("autoIpsec", 0).put("encryptKey", "ek-1").put("encryptIv", "iv-2").put("authKey", "ak-3")
                .put("spi", "0x80001001").put("associatedIkePolicy", 10).put("preSharedKey", "psk-4")
                .put("sourcePort", 1025).put("enabledTarget", 9).put("changeBitMap", 9);
        manual.put("sourceAddr", "192.168.50.21").put("destStartAddr", "10.20.31.7")
                .put("destEndAddr", "10.20.31.9").put("tunnelIpAddr", "10.20.31.1");
        Scenarios.transform(manual).put("type", 2).put("level", 1).put("encryptAlgo", 3).put("ipsecMode", 2)
                .put("authAlgo", 1).put("kBytesLife", "0xFFFFFFFF").put("secondsLife", 7200).put("group", 5)
                .put("ikeAuthMethod", 6);
        policy(a, 2, 1, 20, "esp-auto").put("autoIpsec", 1).put("encryptKey", "hidden").put("spi", 5)
                .put("preSharedKey", "psk-5");
        load(s);
        HBA hba = read();
        assertEquals(0, status);

        SecurityPolicyEntry p = hba.getSecurityPolicyEntry(0);
        assertEquals(2, p.getKind());
        assertEquals(0xFFFFFFF0, p.getPriority());
        assertEquals(6, p.getProtocol());
        assertEquals(3260, p.getPort());
        assertEquals(1, p.getDestType());
        assertEquals(2, p.getAction());
        assertEquals(5, p.getIKEMode());
        assertTrue(p.getIKEPFS());
        assertEquals(200, p.getIKEDirection());
        assertFalse(p.getAutoIPSec());
        assertEquals("ek-1", p.getEncryptKey());
        assertEquals("iv-2", p.getEncryptIV());
        assertEquals("ak-3", p.getAuthKey());
        assertEquals(0x80001001, p.getSPI());
        assertEquals(10, p.getAssociatedIke());
        assertEquals("psk-4", p.getPreSharedKey());
        assertEquals(1025, p.getSourcePort());
        assertEquals(IPAddr.of("192.168.50.21"), p.getSourceAddr());
        assertEquals(IPAddr.of("10.20.31.7"), p.getDestStartAddr());
        assertEquals(IPAddr.of("10.20.31.9"), p.getDestEndAddr());
        assertEquals(IPAddr.of("10.20.31.1"), p.getTunnelIPAddr());
        // Neither the enabled target nor the change bit map is delivered.
        assertEquals(0, p.getEnabledTarget());
        assertEquals(0, p.getStatusChangeBitMap());
        assertEquals(1, p.getNumTransforms());
        SecurityTransform t = p.getTransform(0);
        assertEquals(List.of(2, 1, 3, 2, 1, -1, 7200, 5, 6), List.of(t.getType(), t.getLevel(), t.getEncryptAlgo(),
                t.getIPSecMode(), t.getAuthAlgo(), t.getKBytesLife(), t.getSecondsLife(), t.getGroup(),
                t.getIKEAuthMethod()));

        SecurityPolicyEntry auto = hba.getSecurityPolicyEntry(1);
        assertTrue(auto.getAutoIPSec());
        assertNull(auto.getEncryptKey());
        assertEquals(0, auto.getSPI());
        assertEquals("psk-5", auto.getPreSharedKey());
        assertEquals(0, auto.getNumTransforms());
    }

    @Test
    void onlyTheFirstFourAddressBytesAreDelivered() {
        Scenario s = new Scenario();
        policy(s.adapter(0), 0, 1, 1, "v6").put("sourceAddr", "fe80::1:2:3:4");
        load(s);
        HBA hba = read();
        short[] expected = new short[16];
        expected[0] = 0xfe;
        expected[1] = 0x80;
        assertArrayEquals(expected, hba.getSecurityPolicyEntry(0).getSourceAddr().getAddress());
    }

    @Test
    void aPolicyWithMoreThanSixteenTransformsComesWithoutTransforms() {
        Scenario s = new Scenario();
        ObjectNode p = policy(s.adapter(0), 0, 1, 1, "many").put("numberOfTransforms", 17);
        Scenarios.transform(p).put("type", 2).put("level", 1);
        load(s);
        HBA hba = read();
        assertEquals(0, status);
        assertEquals(1, hba.getNumberOfSecurityPolicyEntries());
        assertEquals(0, hba.getSecurityPolicyEntry(0).getNumTransforms());
    }

    @Test
    void sixteenTransformsAreAllDelivered() {
        Scenario s = new Scenario();
        ObjectNode p = policy(s.adapter(0), 0, 1, 1, "full");
        for (int i = 0; i < 16; i++) {
            Scenarios.transform(p).put("type", 2).put("level", i);
        }
        load(s);
        SecurityPolicyEntry e = read().getSecurityPolicyEntry(0);
        assertEquals(16, e.getNumTransforms());
        assertEquals(15, e.getTransform(15).getLevel());
    }

    @Test
    void aNameFillingItsWholeFieldIsPrintedAndDeliveredWithoutReadingPastIt() {
        String name = "n".repeat(128);
        Scenario s = new Scenario();
        policy(s.adapter(0), 0, 1, 1, name).put("enabledTarget", 0x41414141);
        load(s);
        HBA hba = read();
        assertEquals(name, hba.getSecurityPolicyEntry(0).getPolicyName());
        assertTrue(lastOut.contains("Name: " + name + "\n"), lastOut);
    }

    @Test
    void aFailedReadStillDeliversWhatTheBufferHoldsAndEndsWith4099() {
        Scenario s = new Scenario();
        policy(s.adapter(0), 0, 1, 1, "a");
        load(s);
        SimControl.fault(GET, INVALID_PARAMETER, true);
        HBA hba = read();
        assertEquals(4099, status);
        assertEquals(0, hba.getNumberOfSecurityPolicyEntries());
        assertEquals("JNI: SDGetSecurityPolicyTable() returned 64 numEntries\n"
                + "JNI: SDGetIPSecPolicyTable call failed! 20000003 \n", lastOut);
    }

    @Test
    void theDefaultScenarioHasPoliciesInSlots0_2_5_9() {
        assertTrue(api.openDevice(0));
        HBA hba = read();
        assertEquals(0, status);
        assertEquals(List.of("ike-kestrel-array", "esp-iscsi-kestrel", "esp-manual-acme", "bypass-management"),
                names(hba));
        assertEquals(2, hba.getSecurityPolicyEntry(0).getNumTransforms());
        // Keys never appear in what the library prints.
        assertFalse(lastOut.contains("fjord") || lastOut.contains("walnut") || lastOut.contains("copper"), lastOut);
    }

    // --- writing the table ---

    private static byte[] sent(int index) {
        List<SimCall> c = calls(SET);
        assertEquals(1, c.size(), SET + " calls");
        byte[] table = c.get(0).record("table");
        return Arrays.copyOfRange(table, index * POLICY_SIZE, (index + 1) * POLICY_SIZE);
    }

    private void write(Object... policies) {
        lastOut = stdout(() -> status = api.setSecurityPolicies(0, policies));
    }

    @Test
    void policiesAreWrittenAsOneTableWithTheirKindDependentFields() {
        load(bare());
        write(manualPolicy(), ikePolicy());
        assertEquals(0, status);
        assertEquals("JNI: setSecurityPolicies() numEntries: 2\n", lastOut);
        SimCall c = calls(SET).get(0);
        assertEquals(2, c.arg("numEntries"));
        assertEquals(1, c.arg("flag"));
        assertEquals(HANDLE_0, c.arg("handle"));
        assertArrayEquals(manualPolicyRecord(), sent(0));
        assertArrayEquals(ikePolicyRecord(), sent(1));
        // What was written reads back.
        HBA hba = read();
        assertEquals(List.of("esp-manual-acme", "ike-kestrel-array"), names(hba));
    }

    @Test
    void manualAndIkePoliciesAlternatingInOneWriteEachTakeTheirOwnBranch() {
        load(bare());
        write(manualPolicy(), ikePolicy(), manualPolicy(), ikePolicy(), manualPolicy());
        assertEquals(0, status);
        for (int i = 0; i < 5; i++) {
            assertArrayEquals(i % 2 == 0 ? manualPolicyRecord() : ikePolicyRecord(), sent(i), "policy " + i);
        }
    }

    @Test
    void negotiatedKeysStopAfterTheAssociatedIkePolicy() {
        load(bare());
        SecurityPolicyEntry p = manualPolicy();
        p.setAutoIPSec(true);
        write(p);
        byte[] r = sent(0);
        assertEquals(1, r[AUTO_IPSEC]);
        assertEquals(10, ConfigFixtures.u32(r, ASSOCIATED_IKE));
        assertEquals(0, ConfigFixtures.u32(r, ENCRYPT_KEY_LEN));
        assertArrayEquals(new byte[32], ConfigFixtures.slice(r, ENCRYPT_KEY, 32));
        assertEquals(0, ConfigFixtures.u32(r, SPI));
    }

    @Test
    void kind259IsStoredAs3AndTakesTheIkeBranch() {
        load(bare());
        SecurityPolicyEntry p = ikePolicy();
        p.setKind(259);
        write(p);
        assertArrayEquals(ikePolicyRecord(), sent(0));
    }

    @Test
    void narrowFieldsKeepTheLowByteOfWhatJavaGives() {
        load(bare());
        SecurityPolicyEntry p = ikePolicy();
        p.setAction(300);
        p.setDestType(0x1FF);
        p.setIKEMode(0x102);
        p.setIKEDirection(0x1234);
        p.getTransform(0).setLevel(0x101);
        p.getTransform(0).setGroup(0x20E);
        write(p);
        byte[] r = sent(0);
        assertEquals(44, ConfigFixtures.u32(r, ACTION));
        assertEquals(0xFF, ConfigFixtures.u32(r, DEST_TYPE));
        assertEquals(2, ConfigFixtures.u32(r, IKE_MODE));
        assertEquals(0x34, ConfigFixtures.u8(r, IKE_DIRECTION));
        assertEquals(1, ConfigFixtures.u16(r, TRANSFORMS + 20));
        assertEquals(14, ConfigFixtures.u16(r, TRANSFORMS + 16));
    }

    /** A policy whose key lengths say more (or less) than its texts. */
    private static final class StatedLengths extends SecurityPolicyEntry {
        private final int length;

        StatedLengths(int length) {
            this.length = length;
        }

        @Override
        public int getEncryptKeyLen() {
            return length;
        }

        @Override
        public int getAuthKeyLen() {
            return length;
        }

        @Override
        public int getEncryptIVLen() {
            return length;
        }

        @Override
        public int getPreSharedKeyLen() {
            return length;
        }
    }

    @Test
    void keyLengthsAreClampedTo31AndKeysCutAtTheirLength() {
        load(bare());
        String key = "k".repeat(40);
        SecurityPolicyEntry clamped = new StatedLengths(40);
        clamped.setKind(2);
        clamped.setEncryptKey(key);
        clamped.setEncryptIV(key);
        clamped.setAuthKey(key);
        SecurityPolicyEntry cut = new StatedLengths(5);
        cut.setKind(2);
        cut.setEncryptKey("abcdefgh");
        SecurityPolicyEntry negative = new StatedLengths(-1);
        negative.setKind(3);
        negative.setPreSharedKey(key);
        write(clamped, cut, negative);
        assertEquals(0, status);
        byte[] r = sent(0);
        for (int len : new int[] {ENCRYPT_KEY_LEN, ENCRYPT_IV_LEN, AUTH_KEY_LEN}) {
            assertEquals(31, ConfigFixtures.u32(r, len));
            byte[] field = ConfigFixtures.slice(r, len + 4, 32);
            assertEquals("k".repeat(31), new String(field, 0, 31));
            assertEquals(0, field[31]);
        }
        byte[] c = sent(1);
        assertEquals(5, ConfigFixtures.u32(c, ENCRYPT_KEY_LEN));
        assertArrayEquals("abcde\0\0\0".getBytes(), ConfigFixtures.slice(c, ENCRYPT_KEY, 8));
        // -1 is a huge unsigned length: clamped too, the record's last byte stays zero.
        byte[] n = sent(2);
        assertEquals(31, ConfigFixtures.u32(n, PSK_LEN));
        assertEquals(0, n[PSK + 31]);
    }

    @Test
    void anIkePolicyWithoutPreSharedKeyConvertsWithAnEmptyKey() {
        load(bare());
        SecurityPolicyEntry p = ikePolicy();
        p.setPreSharedKey(null);
        write(p);
        assertEquals(0, status);
        byte[] r = sent(0);
        assertEquals(0, ConfigFixtures.u32(r, PSK_LEN));
        assertArrayEquals(new byte[32], ConfigFixtures.slice(r, PSK, 32));
    }

    @Test
    void anOverlongNameFillsItsFieldAndStopsThere() {
        load(bare());
        SecurityPolicyEntry p = manualPolicy();
        p.setPolicyName("x".repeat(300));
        write(p);
        byte[] r = sent(0);
        assertEquals("x".repeat(128), new String(ConfigFixtures.slice(r, NAME, 128)));
        assertEquals(0x01020304, ConfigFixtures.u32(r, ENABLED_TARGET));
    }

    @Test
    void anEmptyOrOversizedArraySendsNothingAndSucceeds() {
        load(bare());
        write();
        assertEquals(0, status);
        assertEquals("JNI: setSecurityPolicies() numEntries: 0\nJNI: setSecurityPolicies: bad numEntries 0\n", lastOut);
        Object[] many = new Object[65];
        Arrays.fill(many, manualPolicy());
        write(many);
        assertEquals(0, status);
        assertEquals("JNI: setSecurityPolicies() numEntries: 65\nJNI: setSecurityPolicies: bad numEntries 65\n",
                lastOut);
        assertEquals(List.of(), calls(SET));
    }

    @Test
    void sixtyFourPoliciesFillTheTable() {
        load(bare());
        Object[] all = new Object[64];
        Arrays.fill(all, ikePolicy());
        write(all);
        assertEquals(0, status);
        assertArrayEquals(ikePolicyRecord(), sent(63));
    }

    @Test
    void aMissingOrForeignElementStopsBeforeAnythingIsSent() {
        load(bare());
        write(manualPolicy(), null);
        assertEquals(4099, status);
        assertTrue(lastOut.endsWith("NULL javaPolicyObject!\n"), lastOut);
        write(manualPolicy(), "not a policy");
        assertEquals(4099, status);
        assertTrue(lastOut.endsWith("NULL javaPolicyObject!\n"), lastOut);
        assertEquals(List.of(), calls(SET));
    }

    @Test
    void aMissingAddressIsReportedAndThePartlyFilledRecordStillSent() {
        load(bare());
        SecurityPolicyEntry p = manualPolicy();
        p.setDestStartAddr(null);
        write(p, ikePolicy());
        assertEquals(4099, status);
        assertEquals("JNI: setSecurityPolicies() numEntries: 2\nNULL javaIPObject!\n", lastOut);
        byte[] r = sent(0);
        assertEquals(1, ConfigFixtures.u32(r, DEST_TYPE));
        assertEquals(0, ConfigFixtures.u32(r, ENABLED_TARGET));
        assertArrayEquals(ikePolicyRecord(), sent(1));
    }

    /** Claims more transforms than it holds. */
    private static final class ShortOfTransforms extends SecurityPolicyEntry {
        @Override
        public int getNumTransforms() {
            return 17;
        }
    }

    @Test
    void aMissingTransformIsRefusedNotUsedAndTheCountIsClampedTo16() {
        load(bare());
        SecurityPolicyEntry p = new ShortOfTransforms();
        p.setKind(1);
        p.addTransform(transform(2, 1, 3, 2, 1, 0, 60, 0, 0));
        write(p);
        assertEquals(4099, status);
        assertEquals("JNI: setSecurityPolicies() numEntries: 1\nNULL javaTransformObject!\n", lastOut);
        byte[] r = sent(0);
        assertEquals(16, ConfigFixtures.u32(r, NUM_TRANSFORMS));
        assertEquals(60, ConfigFixtures.u32(r, TRANSFORMS + 12));
        // Nothing after the transforms was read.
        assertEquals(0, ConfigFixtures.u32(r, TRANSFORMS + TRANSFORM_SIZE + 12));
    }

    @Test
    void anExceptionOfAGetterReachesTheCallerAndNothingIsSent() {
        load(bare());
        SecurityPolicyEntry p = new SecurityPolicyEntry() {
            @Override
            public String getPolicyName() {
                throw new IllegalArgumentException("no name");
            }
        };
        IllegalArgumentException e = org.junit.jupiter.api.Assertions.assertThrows(IllegalArgumentException.class,
                () -> api.setSecurityPolicies(0, new Object[] {p}));
        assertEquals("no name", e.getMessage());
        assertEquals(List.of(), calls(SET));
    }

    @Test
    void aRefusedTableReturnsTheLibraryStatus() {
        load(bare());
        SimControl.fault(SET, INVALID_PARAMETER, true);
        write(manualPolicy(), ikePolicy());
        assertEquals(INVALID_PARAMETER, status);
        assertEquals("JNI: setSecurityPolicies() numEntries: 2\n"
                + "JNI: setSecurityPolicyTable() failed... 20000003 index: 2\n", lastOut);
    }
}
