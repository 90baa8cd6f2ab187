package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.jni.ConfigFixtures.NOT_SUPPORTED;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.slice;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.u16;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.JsonNodeFactory;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.RecordImage;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.BootInfo;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/**
 * Boot configuration: the boot code's settings and DHCP options read into and written from a
 * BootInfo object, the running boot code's view, the first chip model without DHCP options, and
 * the record bytes the library receives.
 */
class BootConfigTest extends NativeTestBase {

    private static final int BOOTCODE_SIZE = 28;
    private static final int DHCP_SIZE = 62;
    private static final String IS6110_NO = " JNI Result from is6110(): 0 \n";
    private static final String IS6110_YES = " JNI Result from is6110(): 1 \n";

    private int status;

    /** Instance 0 with the given boot code settings and DHCP options (either may be null). */
    private static void openWith(ObjectNode bootcode, ObjectNode dhcp) {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        if (bootcode != null) {
            a.set("bootcode", bootcode);
        }
        if (dhcp != null) {
            a.set("bootcodeDhcp", dhcp);
        }
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    private static ObjectNode bootcode(int flags, int priId, long priLun, int secId, long secLun) {
        return JsonNodeFactory.instance.objectNode().put("flags", flags).put("primaryId", priId)
                .put("primaryLun", Long.toUnsignedString(priLun)).put("secondaryId", secId)
                .put("secondaryLun", Long.toUnsignedString(secLun)).put("majorVersion", 3).put("minorVersion", 17)
                .put("bootcodeValid", 1);
    }

    private static byte[] record(String function, String name) {
        List<SimCall> c = calls(function);
        assertEquals(1, c.size(), function + " calls");
        return c.get(0).record(name);
    }

    private static List<String> functionsCalled() {
        return SimControl.calls().stream().map(SimCall::fn).toList();
    }

    /** The boot code record setBootInfo must send; versions and validity always 0. */
    private static byte[] bootRecord(int flags, int priId, long priLun, int secId, long secLun) {
        RecordImage r = new RecordImage(new byte[BOOTCODE_SIZE]);
        r.u16(0, flags).u8(2, priId).u8(12, secId);
        r.buf.putLong(4, priLun);
        r.buf.putLong(16, secLun);
        return r.bytes();
    }

    // --- getBootInfo ----------------------------------------------------------------------------

    @Test
    void getBootInfoReadsTheDefaultAdaptersSettingsAndDhcpOptions() {
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        BootInfo b = new BootInfo();
        assertEquals(IS6110_NO, stdout(() -> status = api.getBootInfo(0, b)));
        assertEquals(0, status);
        assertEquals(0x0208, b.getBootCodeFlags());
        assertEquals(1, b.getBootCodeValid());
        assertTrue(b.getPri_valid());
        assertEquals(0, b.getPri_Tgt());
        assertTrue(b.getSec_valid());
        assertEquals(3, b.getSec_Tgt());
        assertEquals(0, b.getPri_Lun());
        assertEquals(1, b.getSec_Lun());
        assertEquals(2, b.getMajorVersion());
        assertEquals(5, b.getMinorVersion());
        assertEquals("NVS-BOOT-V1", b.getVendorID());
        assertEquals("rack3-p0", b.getAltClientID());
        assertEquals(List.of("SDGetBootcodeInfo", "SDGetBootcodeDhcp"), functionsCalled());
        assertArrayEquals(new byte[BOOTCODE_SIZE], record("SDGetBootcodeInfo", "bootcode"), "zeroed before the call");
        assertArrayEquals(new byte[DHCP_SIZE], record("SDGetBootcodeDhcp", "dhcp"), "zeroed before the call");
    }

    @ParameterizedTest
    @CsvSource({"0x85, true, 5", "0x05, false, 133", "0x80, true, 0", "0x7f, false, 255", "0xff, true, 127"})
    void targetIdsShowTheirValidBitAndTheIdWithTheBitFlipped(String id, boolean valid, int shown) {
        int priId = Integer.decode(id);
        openWith(bootcode(0x0008, priId, 0x1122334455667788L, priId ^ 0x80, -1L), null);
        BootInfo b = new BootInfo();
        stdout(() -> assertEquals(0, api.getBootInfo(0, b)));
        assertEquals(valid, b.getPri_valid());
        assertEquals(shown, b.getPri_Tgt());
        assertEquals(!valid, b.getSec_valid());
        assertEquals(shown ^ 0x80, b.getSec_Tgt());
        assertEquals(0x1122334455667788L, b.getPri_Lun());
        assertEquals(-1L, b.getSec_Lun(), "all 64 bits");

        // Written back unchanged, the object gives the same ids.
        SimControl.clearCallLog();
        stdout(() -> assertEquals(0, api.setBootInfo(0, b)));
        assertArrayEquals(bootRecord(0x0008, priId, 0x1122334455667788L, priId ^ 0x80, -1L),
                record("SDSetBootcodeInfo", "bootcode"));
    }

    @Test
    void aValidTargetIdWrittenAsItsBareIdGetsItsValidBit() {
        openWith(null, null);
        BootInfo b = new BootInfo();
        b.setBootCodeFlags(0x0009);
        b.setPri_Tgt((byte) 5);
        b.setPri_valid(true);
        b.setSec_Tgt((byte) 0x86);
        b.setSec_valid(false);
        b.setPri_Lun(7);
        b.setSec_Lun(0x1_0000_0002L);
        String out = stdout(() -> assertEquals(0, api.setBootInfo(0, b)));
        assertArrayEquals(bootRecord(0x0009, 0x85, 7, 0x06, 0x1_0000_0002L), record("SDSetBootcodeInfo", "bootcode"));
        // Java's values first (the flags column stays 0), then the record's; the LUNs' low 32 bits.
        assertEquals("\n***SetBootCodeDataL  hba-h[10] Flags:0x0 PriID:0x5 LU:0x7 SecID:0x86 LU:0x2\n"
                + "\n***SetBootCodeDataSD hba-h[10] Flags:0x9 PriID:0x85 LU:0x7 SecID:0x6 LU:0x2\n\n" + IS6110_NO, out);
    }

    @Test
    void versionsAndValidityAreNeverWrittenAndHighBitsOfJavaValuesAreDropped() {
        openWith(null, null);
        BootInfo b = new BootInfo();
        b.setBootCodeFlags(0xABCD1234);
        b.setMajorVersion(9);
        b.setMinorVersion(9);
        b.setBootCodeValid(1);
        stdout(() -> assertEquals(0, api.setBootInfo(0, b)));
        assertArrayEquals(bootRecord(0x1234, 0, 0, 0, 0), record("SDSetBootcodeInfo", "bootcode"));
    }

    // --- DHCP options -------------------------------------------------------------------------

    @ParameterizedTest
    @CsvSource({"0x0200, 0x0700", "0x0208, 0x0700", "0x0100, 0", "0x0000, 0", "0x0300, 0", "0x1200, 0"})
    void theHighByteOfTheFlagsDecidesUseRequireVIDLearnIQN(String flags, String word) {
        openWith(null, null);
        BootInfo b = new BootInfo();
        b.setBootCodeFlags(Integer.decode(flags));
        stdout(() -> assertEquals(0, api.setBootInfo(0, b)));
        assertEquals((int) Integer.decode(word), u16(record("SDSetBootcodeDhcp", "dhcp"), 34));
    }

    @Test
    void dhcpTextsAreWrittenWithTheirLengths() {
        openWith(null, null);
        BootInfo b = new BootInfo();
        b.setBootCodeFlags(0x0200);
        b.setVendorID("NVS-V1");
        b.setAltClientID("ABCDEFGHIJKL");
        stdout(() -> assertEquals(0, api.setBootInfo(0, b)));
        RecordImage r = new RecordImage(new byte[DHCP_SIZE]);
        r.text(0, "NVS-V1", 6).u8(32, 6).u16(34, 0x0700).text(16, "ABCDEFGHIJKL", 12).u8(36, 12);
        assertArrayEquals(r.bytes(), record("SDSetBootcodeDhcp", "dhcp"));
    }

    @Test
    void aZeroVendorIDLengthLeavesTheVendorIdZeroAndTheGetterUnasked() {
        openWith(null, null);
        RecordingBoot b = new RecordingBoot();
        b.setVendorID("ABC");
        b.setVendorIDLength(0);
        b.setAltClientID("client");
        b.setAltClientIDLength(3);
        stdout(() -> assertEquals(0, api.setBootInfo(0, b)));
        byte[] dhcp = record("SDSetBootcodeDhcp", "dhcp");
        assertArrayEquals(new byte[16], slice(dhcp, 0, 16));
        assertEquals(0, dhcp[32]);
        assertArrayEquals(new byte[] {'c', 'l', 'i', 0, 0, 0, 0, 0, 0, 0, 0, 0}, slice(dhcp, 16, 12),
                "the copy stops at the length");
        assertEquals(3, dhcp[36]);
        assertFalse(b.called.contains("getVendorID"));
        assertTrue(b.called.contains("getAltClientID"));
    }

    @ParameterizedTest
    @ValueSource(ints = {13, 40, 255})
    void lengthsAboveTheTwelveByteFieldsAreClampedAndNothingIsWrittenPastThem(int length) {
        openWith(null, null);
        BootInfo b = new BootInfo();
        b.setVendorID("VENDOR-ID-LONGER-THAN-THE-FIELD");
        b.setVendorIDLength(length);
        b.setAltClientID("ALT-CLIENT-LONGER-THAN-THE-FIELD");
        b.setAltClientIDLength(length);
        stdout(() -> assertEquals(0, api.setBootInfo(0, b)));
        byte[] dhcp = record("SDSetBootcodeDhcp", "dhcp");
        RecordImage r = new RecordImage(new byte[DHCP_SIZE]);
        r.text(0, "VENDOR-ID-LO", 12).u8(32, 12).text(16, "ALT-CLIENT-L", 12).u8(36, 12);
        assertArrayEquals(r.bytes(), dhcp);
    }

    @Test
    void aLengthOf256KeepsItsLowByteZeroAndNullTextsLeaveTheFieldsZero() {
        openWith(null, null);
        BootInfo b = new BootInfo();
        b.setVendorID("256");
        b.setVendorIDLength(256);
        b.setAltClientIDLength(5);  // a length without a text
        stdout(() -> assertEquals(0, api.setBootInfo(0, b)));
        RecordImage r = new RecordImage(new byte[DHCP_SIZE]);
        r.u8(36, 5);
        assertArrayEquals(r.bytes(), record("SDSetBootcodeDhcp", "dhcp"));
    }

    @Test
    void twelveByteTextsFromTheAdapterEndAtTheirField() {
        // A 12-byte vendor id without a terminator, followed by non-zero reserved bytes; an
        // alternate client id whose length is 0.
        ObjectNode dhcp = JsonNodeFactory.instance.objectNode().put("raw",
                "4142434445464748494a4b4c" + "5a5a5a5a" + "7a7a" + "00".repeat(14) + "0c" + "000000" + "00");
        openWith(null, dhcp);
        BootInfo b = new BootInfo();
        stdout(() -> assertEquals(0, api.getBootInfo(0, b)));
        assertEquals("ABCDEFGHIJKL", b.getVendorID());
        assertEquals("", b.getAltClientID(), "a length of 0 gives the empty text");
    }

    // --- The first chip model -----------------------------------------------------------------

    @Test
    void onTheFirstChipModelNeitherDhcpCallIsMade() {
        openWith(null, null);
        BootInfo b = new BootInfo(true);
        b.setVendorID("unused");
        String out = stdout(() -> status = api.getBootInfo(0, b));
        assertEquals(0, status);
        assertEquals(IS6110_YES + " Skipping Bootcode DHCP GET SET Operation, is6110 \n", out);
        assertEquals("unused", b.getVendorID());
        out = stdout(() -> status = api.setBootInfo(0, b));
        assertEquals(0, status);
        assertTrue(out.endsWith(IS6110_YES + " Skipping Boot Code DHCP GET SET Operation, is6110 \n"), out);
        assertEquals(List.of("SDGetBootcodeInfo", "SDSetBootcodeInfo"), functionsCalled());

        // The boot code call's status is what comes back.
        SimControl.fault("SDSetBootcodeInfo", NOT_SUPPORTED, true);
        out = stdout(() -> status = api.setBootInfo(0, b));
        assertEquals(NOT_SUPPORTED, status);
        assertTrue(out.endsWith("LU:0x0\n\nSDSetBootcodeInfo call failed! 2000002d\n"), out);
    }

    // --- getRunningBIOSInfo ---------------------------------------------------------------------

    @ParameterizedTest
    @CsvSource({"0x0003, false, true", "0x0008, true, false", "0x0001, true, true", "0x0002, false, false"})
    void theRunningBootCodeShowsEnabledAndSpinDelayFromTheFlags(String flags, boolean enabled, boolean spin) {
        openWith(bootcode(Integer.decode(flags), 0, 0, 0, 0), null);
        BootInfo b = new BootInfo();
        b.setEnabled(!enabled);
        b.setSpin_delay(!spin);
        assertEquals("", stdout(() -> assertEquals(0, api.getRunningBIOSInfo(0, b))));
        assertEquals(enabled, b.getEnabled());
        assertEquals(spin, b.getSpin_delay());
        assertEquals(0, b.getBootCodeFlags(), "nothing else is set");
        assertEquals(List.of("SDGetBootcodeInfo"), functionsCalled());
    }

    // --- Failures -------------------------------------------------------------------------------

    @Test
    void aFailedBootCodeReadEndsBothReads() {
        openWith(null, null);
        SimControl.fault("SDGetBootcodeInfo", NOT_SUPPORTED, false);
        BootInfo b = new BootInfo();
        assertEquals("SDGetBootcodeInfo call failed! 2000002d\n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getBootInfo(0, b))));
        assertEquals("SDGetBootcodeInfo call failed! 2000002d\n",
                stdout(() -> assertEquals(NOT_SUPPORTED, api.getRunningBIOSInfo(0, b))));
        assertEquals(0, b.getMajorVersion());
    }

    @Test
    void aFailedDhcpReadIsTheResultAndTheTextsComeBackEmpty() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetBootcodeDhcp", NOT_SUPPORTED, true);
        BootInfo b = new BootInfo();
        b.setVendorID("old");
        assertEquals(IS6110_NO, stdout(() -> assertEquals(NOT_SUPPORTED, api.getBootInfo(0, b))));
        assertEquals("", b.getVendorID());
        assertEquals(0x0208, b.getBootCodeFlags());
        SimControl.fault("SDSetBootcodeDhcp", NOT_SUPPORTED, true);
        stdout(() -> assertEquals(NOT_SUPPORTED, api.setBootInfo(0, b)));
    }

    // --- Objects with accessors missing or throwing -------------------------------------------

    /** A BootInfo that records which accessors the native side called. */
    public static class RecordingBoot extends BootInfo {
        final List<String> called = new ArrayList<>();
        String thrower = "";
        final RuntimeException boom = new IllegalStateException("boom");

        private void call(String name) {
            called.add(name);
            if (name.equals(thrower)) {
                throw boom;
            }
        }

        @Override
        public String getVendorID() {
            call("getVendorID");
            return super.getVendorID();
        }

        @Override
        public String getAltClientID() {
            call("getAltClientID");
            return super.getAltClientID();
        }

        @Override
        public long getPri_Lun() {
            call("getPri_Lun");
            return super.getPri_Lun();
        }

        @Override
        public void setSec_valid(boolean v) {
            call("setSec_valid");
            super.setSec_valid(v);
        }

        @Override
        public void setMajorVersion(int v) {
            call("setMajorVersion");
            super.setMajorVersion(v);
        }
    }
}
