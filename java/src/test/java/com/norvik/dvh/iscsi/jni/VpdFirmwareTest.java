package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.jni.ConfigFixtures.NOT_SUPPORTED;
import static com.norvik.dvh.iscsi.jni.ConfigFixtures.hex;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.jni.ConfigFixtures.RecordImage;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.VitalProductData;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Vital product data cut from the adapter's VPD image, and firmware images written to flash. */
class VpdFirmwareTest extends NativeTestBase {

    private static final int BOOTCODE_IMAGE = 6;
    private static final int ERASE_NEEDED = 0x2000008F;

    @TempDir
    Path dir;

    private int status;

    private static List<String> functionsCalled() {
        return SimControl.calls().stream().map(SimCall::fn).toList();
    }

    /** Instance 0 with this raw VPD image. */
    private static void openWithImage(byte[] image) {
        Scenario s = new Scenario();
        s.adapter(0).putObject("vpd").put("raw", hex(image));
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    /** 128 printable bytes, each position its own: 'A' + i % 26 in upper and lower case by turns. */
    private static byte[] printableImage() {
        byte[] b = new byte[128];
        for (int i = 0; i < b.length; i++) {
            b[i] = (byte) ((i / 26 % 2 == 0 ? 'A' : 'a') + i % 26);
        }
        return b;
    }

    private static String cut(byte[] image, int from, int to) {
        return new String(Arrays.copyOfRange(image, from, to + 1), StandardCharsets.US_ASCII);
    }

    // --- getIBMVPD --------------------------------------------------------------------------------

    @Test
    void theDefaultAdaptersVpdFields() {
        assertTrue(api.openDevice(0));
        VitalProductData v = new VitalProductData();
        assertEquals("", stdout(() -> assertEquals(0, api.getIBMVPD(0, v))));
        assertEquals("NV-2210C 2-Port 10GbE iSCSI HBA, PCIe x8 L", v.getProductDescription());
        assertEquals("46N2210", v.getPartNumber());
        assertEquals("D27531", v.getECLevel());
        assertEquals("NVS0421", v.getManufactureID());
        assertEquals("46N2211", v.getFRUNumber());
        assertEquals("5C2A", v.getCCIN());
        assertEquals("N1", v.getBrand());
        // The request names the vendor id and is otherwise zero.
        RecordImage request = new RecordImage(new byte[140]).u32(0, 0x02010000);
        assertArrayEquals(request.bytes(), SimControl.calls("SDGetVPDInfo").get(0).record("vpd"));
    }

    @Test
    void fieldsAreCutAtFixedPositionsWhateverTheImageHolds() {
        byte[] image = printableImage();
        openWithImage(image);
        VitalProductData v = new VitalProductData();
        stdout(() -> assertEquals(0, api.getIBMVPD(0, v)));
        assertEquals(cut(image, 3, 44), v.getProductDescription());
        assertEquals(cut(image, 51, 57), v.getPartNumber());
        assertEquals(cut(image, 61, 66), v.getECLevel());
        assertEquals(cut(image, 70, 76), v.getManufactureID());
        assertEquals(cut(image, 80, 86), v.getFRUNumber());
        assertEquals(cut(image, 90, 93), v.getCCIN());
        assertEquals(cut(image, 97, 98), v.getBrand());
    }

    @Test
    void aZeroByteInsideAFieldEndsItsText() {
        byte[] image = printableImage();
        image[5] = 0;
        image[51] = 0;
        image[98] = 0;
        openWithImage(image);
        VitalProductData v = new VitalProductData();
        stdout(() -> assertEquals(0, api.getIBMVPD(0, v)));
        assertEquals(cut(image, 3, 4), v.getProductDescription());
        assertEquals("", v.getPartNumber());
        assertEquals(cut(image, 97, 97), v.getBrand());
    }

    @Test
    void aShortIdentifierStringStillGivesA42ByteDescription() {
        // The simulator lays a 30-byte description out as an adapter would: the read-only block
        // follows at once, so the description's cut takes in its tag and first keyword.
        Scenario s = new Scenario();
        s.adapter(0).putObject("vpd").put("productDescription", "Thirty byte description text..")
                .put("partNumber", "PNABCDEFGHIJ");
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        VitalProductData v = new VitalProductData();
        stdout(() -> assertEquals(0, api.getIBMVPD(0, v)));
        // Bytes 33..35 are the block's tag 0x90 and its length, whose high byte 0 ends the text.
        String d = v.getProductDescription();
        assertTrue(d.startsWith("Thirty byte description text..") && d.length() > 30, d);
    }

    @Test
    void aFailedReadDeliversTheEmptyRecord() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetVPDInfo", NOT_SUPPORTED, true);
        VitalProductData v = new VitalProductData();
        assertEquals("", stdout(() -> assertEquals(0, api.getIBMVPD(0, v))));
        assertEquals("", v.getProductDescription());
        assertEquals("", v.getBrand());
    }

    // --- iSCSIUpdateFW ----------------------------------------------------------------------------

    private Path image(String name) throws IOException {
        Path p = dir.resolve(name);
        Files.write(p, new byte[] {0x4e, 0x56, 0x46, 0x57, 1, 2, 3, 4});
        return p;
    }

    @Test
    void anImageIsHandedToTheLibraryWithItsPathAndType() throws IOException {
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        Path fw = image("fw image ü.bin");
        assertEquals("", stdout(() -> assertTrue(api.iSCSIUpdateFW(0, fw.toString(), 1))));
        SimCall call = calls("SDUpdateiSCSIFW").get(0);
        assertEquals(fw.toString(), call.text("path"));
        assertEquals(1, call.arg("type"));
        assertEquals(HANDLE_0, call.arg("handle"));
        assertEquals(List.of("SDUpdateiSCSIFW"), functionsCalled());
    }

    @Test
    void aBootCodeImageRefusedUntilErasedErasesTheBootCodeAndReportsFalse() throws IOException {
        // Instance 1 of the default scenario needs its boot code erased before an update.
        assertTrue(api.openDevice(1));
        SimControl.clearCallLog();
        Path boot = image("boot.bin");
        assertFalse(api.iSCSIUpdateFW(1, boot.toString(), BOOTCODE_IMAGE));
        assertEquals(List.of("SDUpdateiSCSIFW", "SDEraseBootCode"), functionsCalled());
        assertEquals(List.of((long) HANDLE_1), argOfCalls("SDEraseBootCode", "handle"));
        assertEquals(ERASE_NEEDED, calls("SDUpdateiSCSIFW").get(0).status());
        // The next attempt succeeds.
        assertTrue(api.iSCSIUpdateFW(1, boot.toString(), BOOTCODE_IMAGE));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 5, 7, 0x10006})
    void theSameStatusForAnotherImageTypeErasesNothing(int type) throws IOException {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDUpdateiSCSIFW", ERASE_NEEDED, true);
        SimControl.clearCallLog();
        assertFalse(api.iSCSIUpdateFW(0, image("x.bin").toString(), type));
        assertEquals(List.of("SDUpdateiSCSIFW"), functionsCalled());
        assertEquals(type & 0xffff, calls("SDUpdateiSCSIFW").get(0).arg("type"), "the type goes over in 16 bits");
    }

    @Test
    void anotherFailureOfABootCodeImageErasesNothing() throws IOException {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDUpdateiSCSIFW", NOT_SUPPORTED, true);
        SimControl.clearCallLog();
        assertFalse(api.iSCSIUpdateFW(0, image("y.bin").toString(), BOOTCODE_IMAGE));
        assertEquals(List.of("SDUpdateiSCSIFW"), functionsCalled());
    }

    @Test
    void missingFilesBadIndexesAndANullPathReportFalseWithoutCrashing() {
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
        String missing = dir.resolve("no such dir/none.bin").toString();
        assertFalse(api.iSCSIUpdateFW(0, missing, 1));
        assertEquals(0x20000007L, calls("SDUpdateiSCSIFW").get(0).status());
        assertFalse(api.iSCSIUpdateFW(0, dir.toString(), BOOTCODE_IMAGE), "a folder is no image");
        assertFalse(api.iSCSIUpdateFW(0, "", 1));
        SimControl.clearCallLog();
        assertEquals(List.of(), SimControl.calls());
        assertNull(SimControl.calls("SDEraseBootCode").stream().findAny().orElse(null));
    }
}
