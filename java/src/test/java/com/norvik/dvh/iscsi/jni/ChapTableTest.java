package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.catalog.Samples.chapEntry;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.CHAPTableEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * The CHAP secret table read and written in both forms: the dense one (the table whole, slot 0
 * left blank on writes) and the sparse one (entries by flash index, deletions before writes), with
 * the exact records the library receives and the entries Java gets back.
 */
class ChapTableTest extends NativeTestBase {

    static final int ENTRY_SIZE = 360;
    private static final int SET_NAME_OFFSET = 104;

    private int status;

    // --- Fixtures -------------------------------------------------------------------------

    /** An entry whose secret is the bytes of {@code secret}, its length the text's length. */
    /** The CHAPTABLE record the library must receive for an entry with these values. */
    static byte[] record(int link, int flags, int secretLength, byte[] secret, String name) {
        byte[] r = new byte[ENTRY_SIZE];
        r[0] = (byte) link;
        r[1] = (byte) (link >> 8);
        r[2] = (byte) flags;
        r[3] = (byte) secretLength;
        System.arraycopy(secret, 0, r, 4, Math.min(secret.length, 100));
        byte[] n = name.getBytes(StandardCharsets.US_ASCII);
        System.arraycopy(n, 0, r, SET_NAME_OFFSET, Math.min(n.length, 256));
        return r;
    }

    static byte[] ascii(String s) {
        return s.getBytes(StandardCharsets.US_ASCII);
    }

    /** Instance 0 with a table of {@code slots} slots and the given entries: {index, name, secret}. */
    private static void loadTable(int slots, Object[]... entries) {
        Scenario s = new Scenario();
        ObjectNode table = s.adapter(0).putObject("chapTable").put("slots", slots);
        ArrayNode list = table.putArray("entries");
        for (Object[] e : entries) {
            list.addObject().put("index", (Integer) e[0]).put("name", (String) e[1]).put("secretText", (String) e[2])
                    .put("flags", 0x40).put("link", 3);
        }
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    static List<String> names(HBA hba) {
        List<String> out = new ArrayList<>();
        for (CHAPTableEntry e : hba.getCHAPTableEntries()) {
            out.add(e.getChapName());
        }
        return out;
    }

    static List<Integer> flashIndexes(HBA hba) {
        List<Integer> out = new ArrayList<>();
        for (CHAPTableEntry e : hba.getCHAPTableEntries()) {
            out.add(e.getFlashIndex());
        }
        return out;
    }

    private static String secretText(CHAPTableEntry e) {
        StringBuilder sb = new StringBuilder();
        for (int i = 0; i < e.getChapSecretLength(); i++) {
            sb.append((char) e.getChapSecret()[i]);
        }
        return sb.toString();
    }

    // --- Dense read ------------------------------------------------------------------------

    @Test
    void denseReadDeliversTheEntriesInUseWithTheirSecretsAndNothingBehindTheLength() {
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getCHAPTableData(0, hba));
        assertEquals(0, status);
        assertEquals("", out);
        assertEquals(List.of("rack3-port0", "rack3-mutual", "vault-c4-init", "orbital-archive"), names(hba));
        CHAPTableEntry mutual = hba.getCHAPTableEntries().get(1);
        assertEquals("m0nsoon-Ridge-4412", secretText(mutual));
        assertEquals(18, mutual.getChapSecretLength());
        assertEquals(0x80, mutual.getFlags());
        assertEquals(2, mutual.getLink());
        short[] secret = mutual.getChapSecret();
        assertEquals(100, secret.length);
        for (int i = 18; i < 100; i++) {
            assertEquals(0, secret[i], "secret byte " + i);
        }
        // The entry count goes in as the table's capacity.
        assertEquals(List.of(4L), argOfCalls("SDGetCHAPTable", "capacity"));
    }

    @Test
    void secretBytesAboveOneHundredAndTwentySevenReachJavaPositive() {
        Scenario s = new Scenario();
        s.adapter(0).putObject("chapTable").putArray("entries").addObject().put("index", 0).put("name", "hi")
                .put("secret", "c8ff01").put("secretLength", 3);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        assertEquals(0, api.getCHAPTableData(0, hba));
        short[] secret = hba.getCHAPTableEntries().get(0).getChapSecret();
        assertArrayEquals(new short[] {200, 255, 1, 0}, Arrays.copyOf(secret, 4));
    }

    @Test
    void denseReadFailuresAreReportedAs4099WithTheLibraryStatusInTheText() {
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        SimControl.fault("SDGetCHAPEntryNum", ConfigFixtures.NOT_SUPPORTED, true);
        String out = stdout(() -> status = api.getCHAPTableData(0, hba));
        assertEquals(4099, status);
        assertEquals("JNI: SDGetCHAPEntryNum call failed! 2000002d \n", out);
        assertEquals(0, calls("SDGetCHAPTable").size());

        SimControl.fault("SDGetCHAPTable", ConfigFixtures.NOT_SUPPORTED, true);
        out = stdout(() -> status = api.getCHAPTableData(0, hba));
        assertEquals(4099, status);
        assertEquals("JNI: SDGetCHAPTable call failed! 2000002d \n", out);
        assertEquals(List.of(), hba.getCHAPTableEntries());
    }

    // --- Dense write -----------------------------------------------------------------------

    @Test
    void denseWriteOf127ElementsSends128RecordsWithSlotZeroBlank() {
        assertTrue(api.openDevice(0));
        CHAPTableEntry[] array = new CHAPTableEntry[127];
        for (int i = 0; i < array.length; i++) {
            array[i] = chapEntry(0, "user-" + i, "secret-" + i, i, 1000 + i);
        }
        SimControl.clearCallLog();
        assertEquals(0, api.setCHAPTableData(0, array));
        List<SimCall> sets = calls("SDSetCHAPTable");
        assertEquals(1, sets.size());
        assertEquals(128, sets.get(0).arg("entries"));
        byte[] table = sets.get(0).record("table");
        assertEquals(128 * ENTRY_SIZE, table.length);
        assertArrayEquals(new byte[ENTRY_SIZE], Arrays.copyOfRange(table, 0, ENTRY_SIZE), "slot 0 blank");
        for (int i = 0; i < 127; i++) {
            // Link keeps only its low byte.
            byte[] expected = record((1000 + i) & 0xff, i, ("secret-" + i).length(), ascii("secret-" + i), "user-" + i);
            assertArrayEquals(expected, Arrays.copyOfRange(table, (i + 1) * ENTRY_SIZE, (i + 2) * ENTRY_SIZE),
                    "slot " + (i + 1));
        }
        // Written back, the table reads as the 127 entries (slot 0 is free).
        HBA hba = new HBA();
        assertEquals(0, api.getCHAPTableData(0, hba));
        assertEquals(127, hba.getCHAPTableEntries().size());
        assertEquals("user-126", hba.getCHAPTableEntries().get(126).getChapName());
    }

    @Test
    void denseWriteOf128ElementsOrOfNoneWritesNothingAndAnswers0() {
        assertTrue(api.openDevice(0));
        CHAPTableEntry[] array = new CHAPTableEntry[128];
        Arrays.fill(array, chapEntry(0, "x", "y", 0, 0));
        SimControl.clearCallLog();
        assertEquals(0, api.setCHAPTableData(0, array));
        assertEquals(0, api.setCHAPTableData(0, new CHAPTableEntry[0]));
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void linkKeepsItsLowByteAndASecretOfTwelveSendsZerosAfterIt() {
        assertTrue(api.openDevice(0));
        CHAPTableEntry e = new CHAPTableEntry();
        short[] secret = new short[100];
        Arrays.fill(secret, (short) 0x1A5);  // low byte 0xA5 everywhere, also behind the length
        e.setChapSecret(secret, 12);
        e.setLink(0x1FF);
        e.setFlags(0x3C1);
        e.setChapName("twelve");
        SimControl.clearCallLog();
        assertEquals(0, api.setCHAPTableData(0, new CHAPTableEntry[] {e}));
        byte[] slot = Arrays.copyOfRange(calls("SDSetCHAPTable").get(0).record("table"), ENTRY_SIZE, 2 * ENTRY_SIZE);
        byte[] twelve = new byte[12];
        Arrays.fill(twelve, (byte) 0xA5);
        assertArrayEquals(record(0x00FF, 0xC1, 12, twelve, "twelve"), slot);
    }

    @Test
    void secretLengthsAbove100CopyOnly100BytesAndKeepTheLengthsLowByte() {
        assertTrue(api.openDevice(0));
        short[] secret = new short[150];
        Arrays.fill(secret, (short) 7);
        CHAPTableEntry long150 = new CHAPTableEntry();
        long150.setChapSecret(secret, 150);
        long150.setChapName("a");
        CHAPTableEntry long300 = new CHAPTableEntry();
        long300.setChapSecret(new short[] {1, 2, 3}, 300);  // 300 keeps 44; the array has 3 elements
        long300.setChapName("b");
        SimControl.clearCallLog();
        assertEquals(0, api.setCHAPTableData(0, new CHAPTableEntry[] {long150, long300}));
        byte[] table = calls("SDSetCHAPTable").get(0).record("table");
        byte[] hundred = new byte[100];
        Arrays.fill(hundred, (byte) 7);
        assertArrayEquals(record(0, 0, 150, hundred, "a"), Arrays.copyOfRange(table, ENTRY_SIZE, 2 * ENTRY_SIZE));
        assertArrayEquals(record(0, 0, 44, new byte[] {1, 2, 3}, "b"),
                Arrays.copyOfRange(table, 2 * ENTRY_SIZE, 3 * ENTRY_SIZE));
    }

    @Test
    void namesAreCutAt256BytesWithoutATerminatorAndANullNameOrSecretLeavesZeros() {
        assertTrue(api.openDevice(0));
        String longName = "n".repeat(300);
        CHAPTableEntry cut = chapEntry(0, longName, "s", 0, 0);
        CHAPTableEntry bare = new CHAPTableEntry() {
            @Override
            public String getChapName() {
                return null;
            }

            @Override
            public short[] getChapSecret() {
                return null;
            }
        };
        bare.setChapSecret(new short[] {9, 9, 9}, 3);
        SimControl.clearCallLog();
        assertEquals(0, api.setCHAPTableData(0, new CHAPTableEntry[] {cut, bare}));
        byte[] table = calls("SDSetCHAPTable").get(0).record("table");
        assertArrayEquals(record(0, 0, 1, ascii("s"), "n".repeat(256)),
                Arrays.copyOfRange(table, ENTRY_SIZE, 2 * ENTRY_SIZE));
        assertArrayEquals(record(0, 0, 3, new byte[0], ""), Arrays.copyOfRange(table, 2 * ENTRY_SIZE, 3 * ENTRY_SIZE));
    }

    @Test
    void aFailedDenseWriteAnswersTheLibraryStatus() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDSetCHAPTable", ConfigFixtures.NOT_SUPPORTED, true);
        String out = stdout(() -> status = api.setCHAPTableData(0, new CHAPTableEntry[] {chapEntry(0, "a", "b", 0, 0)}));
        assertEquals(ConfigFixtures.NOT_SUPPORTED, status);
        assertEquals("", out);
    }

    // --- Sparse read -----------------------------------------------------------------------

    @Test
    void sparseReadAlwaysDeliversSlotZeroAndSkipsOtherFreeSlots() {
        loadTable(128, new Object[] {3, "third", "s3"}, new Object[] {127, "last", "s127"});
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getCHAPTableSparse(0, hba));
        assertEquals(0, status);
        assertEquals("", out);
        assertEquals(List.of("", "third", "last"), names(hba));
        assertEquals(List.of(0, 3, 127), flashIndexes(hba));
        assertEquals("s127", secretText(hba.getCHAPTableEntries().get(2)));
        assertEquals(List.of(128L), argOfCalls("SDGetCHAPTableMod", "capacity"));
    }

    @Test
    void sparseReadOfALargerTableDeliversTheFirst128SlotsAndAnswersMoreData() {
        loadTable(200, new Object[] {0, "first", "a"}, new Object[] {127, "in", "b"}, new Object[] {150, "out", "c"});
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getCHAPTableSparse(0, hba));
        assertEquals(0x2000007E, status);
        assertEquals("", out);
        assertEquals(List.of("first", "in"), names(hba));
    }

    @Test
    void sparseReadFailureIs4099AndAddsNothing() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetCHAPTableMod", ConfigFixtures.NOT_SUPPORTED, true);
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getCHAPTableSparse(0, hba));
        assertEquals(4099, status);
        assertEquals("JNI: SDGetCHAPTableSparse call failed! 2000002d \n", out);
        assertEquals(List.of(), hba.getCHAPTableEntries());
    }

    // --- Sparse write ----------------------------------------------------------------------

    @Test
    void sparseWriteDeletesFirstWithBlankEntriesThenWritesEachEntryAtItsIndex() {
        loadTable(128, new Object[] {4, "old", "x"});
        CHAPTableEntry gone = chapEntry(0x104, "ignored", "ignored", 0, 0);  // index keeps its low 8 bits: 4
        CHAPTableEntry a = chapEntry(9, "nine", "secret-nine", 0x40, 0x1FF);
        CHAPTableEntry b = chapEntry(10, "ten", "secret-ten", 0x80, 1);
        String out = stdout(() -> status = api.setCHAPTableSparse(0, new Object[] {a, b}, new Object[] {gone}));
        assertEquals(0, status);
        assertEquals("", out);
        List<SimCall> writes = calls("SDSetCHAPTableEntry");
        assertEquals(List.of(4L, 9L, 10L), writes.stream().map(c -> c.arg("index")).toList());
        assertArrayEquals(new byte[ENTRY_SIZE], writes.get(0).record("entry"));
        assertArrayEquals(record(0xFF, 0x40, 11, ascii("secret-nine"), "nine"), writes.get(1).record("entry"));
        assertArrayEquals(record(1, 0x80, 10, ascii("secret-ten"), "ten"), writes.get(2).record("entry"));

        HBA hba = new HBA();
        assertEquals(0, api.getCHAPTableSparse(0, hba));
        assertEquals(List.of(0, 9, 10), flashIndexes(hba));
        assertEquals("secret-ten", secretText(hba.getCHAPTableEntries().get(2)));
    }

    @Test
    void aDeletionArrayOf128ElementsIsIgnoredWhileTheWritesHappen() {
        loadTable(128, new Object[] {4, "kept", "x"});
        CHAPTableEntry[] removed = new CHAPTableEntry[128];
        Arrays.fill(removed, chapEntry(4, "kept", "x", 0, 0));
        assertEquals(0, api.setCHAPTableSparse(0, new Object[] {chapEntry(7, "seven", "s7", 0, 0)}, removed));
        assertEquals(List.of(7L), argOfCalls("SDSetCHAPTableEntry", "index"));
        HBA hba = new HBA();
        api.getCHAPTableSparse(0, hba);
        assertEquals(List.of("", "kept", "seven"), names(hba));
    }

    @Test
    void sparseWritesOf128ElementsOrNoneWriteNothingButDeletionsStillHappen() {
        loadTable(128, new Object[] {4, "gone", "x"});
        CHAPTableEntry[] many = new CHAPTableEntry[128];
        Arrays.fill(many, chapEntry(7, "seven", "s7", 0, 0));
        assertEquals(0, api.setCHAPTableSparse(0, many, new Object[] {chapEntry(4, "", "", 0, 0)}));
        assertEquals(0, api.setCHAPTableSparse(0, new Object[0], null));
        assertEquals(List.of(4L), argOfCalls("SDSetCHAPTableEntry", "index"));
    }

    @Test
    void anElementWithoutANameTakesThePreviousElementsName() {
        loadTable(128);
        CHAPTableEntry unnamed = chapEntry(6, "x", "s6", 0, 0);
        unnamed.setChapName(null);
        assertEquals(0, api.setCHAPTableSparse(0, new Object[] {chapEntry(5, "five", "s5", 0, 0), unnamed}, null));
        List<SimCall> writes = calls("SDSetCHAPTableEntry");
        assertArrayEquals(record(0, 0, 2, ascii("s6"), "five"), writes.get(1).record("entry"));
    }

    @Test
    void writeStatusesOfSingleEntriesAreNotLookedAt() {
        loadTable(128);
        SimControl.fault("SDSetCHAPTableEntry", ConfigFixtures.NOT_SUPPORTED, false);
        assertEquals(0, api.setCHAPTableSparse(0, new Object[] {chapEntry(5, "five", "s5", 0, 0)},
                new Object[] {chapEntry(3, "", "", 0, 0)}));
        assertEquals(2, calls("SDSetCHAPTableEntry").size());
    }

    // --- Secrets stay out of every printed line --------------------------------------------

    @Test
    void noSecretEverAppearsInWhatTheLibraryPrints() {
        assertTrue(api.openDevice(0));
        String out = stdout(() -> {
            api.getCHAPTableData(0, new HBA());
            api.getCHAPTableSparse(0, new HBA());
            api.getCHAPTableData(0, new Object());
            api.setCHAPTableData(0, new Object[] {chapEntry(1, "n", "Hidden-Secret-1", 0, 0), null});
            api.setCHAPTableSparse(0, new Object[] {chapEntry(1, "n", "Hidden-Secret-2", 0, 0)}, null);
            SimControl.fault("SDSetCHAPTable", ConfigFixtures.NOT_SUPPORTED, true);
            api.setCHAPTableData(0, new Object[] {chapEntry(1, "n", "Hidden-Secret-3", 0, 0)});
        });
        assertFalse(out.isEmpty());
        for (String secret : List.of("Tq7#vault-a1!", "m0nsoon-Ridge-4412", "c4-Basalt-99z", "Larch_Yew_Elm_7",
                "Hidden-Secret")) {
            assertFalse(out.contains(secret), secret + " printed: " + out);
        }
    }

    // --- Bad input -------------------------------------------------------------------------

    @Test
    void everyElementOfOneWriteIsCheckedSubclassesReadThroughTheirOverrides() {
        loadTable(128);
        CHAPTableEntry renamed = new CHAPTableEntry() {
            @Override
            public String getChapName() {
                return "renamed";
            }
        };
        renamed.setFlashIndex(8);
        CHAPTableEntry plain = chapEntry(9, "nine", "s9", 0, 0);
        // Deletions and writes of one call, entries of both classes; the other class still refused.
        String out = stdout(() -> status = api.setCHAPTableSparse(0,
                new Object[] {plain, renamed, plain, "not an entry", plain}, new Object[] {renamed, plain}));
        assertEquals(4099, status);
        assertEquals("NULL javaCHAPEntryObject!\n", out);
        List<SimCall> writes = calls("SDSetCHAPTableEntry");
        assertEquals(List.of(8L, 9L, 9L, 8L, 9L), writes.stream().map(c -> c.arg("index")).toList());
        assertArrayEquals(record(0, 0, 0, new byte[0], "renamed"), writes.get(3).record("entry"));
        assertArrayEquals(record(0, 0, 2, ascii("s9"), "nine"), writes.get(4).record("entry"));

        SimControl.clearCallLog();
        assertEquals("NULL javaCHAPEntryObject!\n",
                stdout(() -> status = api.setCHAPTableData(0, new Object[] {renamed, plain, new Object()})));
        assertEquals(4099, status);
        assertEquals(List.of(), calls("SDSetCHAPTable"));
    }
}
