package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.AdapterLogs;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.Arrays;
import java.util.List;
import java.util.function.ToIntFunction;

import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import org.junit.jupiter.api.Test;

/**
 * Counts the library answers above the buffers they describe (a CHAP table of more than 128
 * entries, more discovered iSNS targets than the buffer in use holds, logs of more than 128
 * entries): the library delivers exactly as many entries as the buffer holds, reads nothing
 * behind it, and answers as for a full buffer, with no line printed. The simulator's
 * "damagedCounts" switch makes a function report the count given while writing only what fits.
 */
class DamagedCountsTest extends NativeTestBase {

    private static final int SMALL_BUFFER = 11760;
    private static final int LARGE_BUFFER = 0x31000;

    private int status;

    private Scenario scenario;

    /** Instance 0 of a new scenario, its functions reporting these counts: {function, count}. */
    private ObjectNode damaged(Object... functionsAndCounts) {
        scenario = new Scenario();
        ObjectNode adapter = scenario.adapter(0);
        ObjectNode counts = adapter.putObject("damagedCounts");
        for (int i = 0; i < functionsAndCounts.length; i += 2) {
            counts.put((String) functionsAndCounts[i], ((Number) functionsAndCounts[i + 1]).longValue());
        }
        return adapter;
    }

    private void load() {
        SimControl.loadScenario(scenario.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    /** Reads into a new adapter object, which it returns, checking the status and that nothing was printed. */
    private HBA read(int expectedStatus, ToIntFunction<HBA> call) {
        HBA hba = new HBA();
        assertEquals("", stdout(() -> status = call.applyAsInt(hba)));
        assertEquals(expectedStatus, status);
        return hba;
    }

    /** CHAP slots 0 .. slots-1, the named ones "chap-<index>". */
    private static void chapTable(ObjectNode adapter, int slots, int... named) {
        ObjectNode table = adapter.putObject("chapTable").put("slots", slots);
        ArrayNode list = table.putArray("entries");
        for (int index : named) {
            list.addObject().put("index", index).put("name", "chap-" + index).put("secretText", "secret-" + index);
        }
    }

    private static int[] range(int from, int to) {
        int[] r = new int[to - from];
        for (int i = from; i < to; i++) {
            r[i - from] = i;
        }
        return r;
    }

    // --- CHAP table ------------------------------------------------------------------------

    @ParameterizedTest
    @ValueSource(longs = {129, 200, 0xFFFFFFFFL})
    void aDenseTableCountAbove128DeliversThe128EntriesTheBufferHolds(long count) {
        ObjectNode s = damaged("SDGetCHAPEntryNum", count, "SDGetCHAPTable", count);
        chapTable(s, 256, 0, 1, 2);
        load();
        HBA hba = read(0, h -> api.getCHAPTableData(0, h));
        List<String> names = ChapTableTest.names(hba);
        assertEquals(128, names.size());
        assertEquals(List.of("chap-0", "chap-1", "chap-2", ""), names.subList(0, 4));
        assertEquals("", names.get(127));
        // The library never claims more room than its 128 entries.
        assertEquals(List.of(128L), argOfCalls("SDGetCHAPTable", "capacity"));
    }

    @Test
    void aSparseTableCountAbove128ReadsThe128SlotsOnly() {
        ObjectNode s = damaged("SDGetCHAPTableMod", 1000);
        chapTable(s, 128, range(0, 128));
        load();
        HBA hba = read(0, h -> api.getCHAPTableSparse(0, h));
        List<Integer> indexes = ChapTableTest.flashIndexes(hba);
        assertEquals(128, indexes.size());
        assertEquals(0, indexes.get(0));
        assertEquals(127, indexes.get(127));
        assertEquals("chap-127", ChapTableTest.names(hba).get(127));
        assertEquals(List.of(128L), argOfCalls("SDGetCHAPTableMod", "capacity"));
    }

    @Test
    void aSparseTableCountAbove128WithMoreEntriesStillAnswersMoreEntries() {
        // 200 slots: the library fills the 128 it asked for and says there is more; the count
        // it reports is damaged on top. Entry 0 comes even when empty, empty slots do not.
        ObjectNode s = damaged("SDGetCHAPTableMod", 0xFFFFFFFFL);
        chapTable(s, 200, 5, 127, 128, 199);
        load();
        HBA hba = read(0x2000007E, h -> api.getCHAPTableSparse(0, h));
        assertEquals(List.of(0, 5, 127), ChapTableTest.flashIndexes(hba));
        assertEquals(List.of("", "chap-5", "chap-127"), ChapTableTest.names(hba));
    }

    // --- iSNS targets -----------------------------------------------------------------------

    /** Instance 0 with {@code n} discovered targets named "iqn.2020-01.test:t<i>". */
    private static void isnsTargets(ObjectNode adapter, int n) {
        ArrayNode list = adapter.putArray("isnsTargets");
        for (int i = 0; i < n; i++) {
            ObjectNode t = list.addObject().put("name", "iqn.2020-01.test:t" + i).put("alias", "t" + i);
            t.putArray("portals").addObject().put("address", "10.9.0." + i).put("port", 3260 + i);
        }
    }

    @Test
    void aCountAbove30WithSuccessAsksAgainWithTheLargeBuffer() {
        ObjectNode s = damaged("SDGetAlliSNSDiscoveredTargets", 31);
        isnsTargets(s, 2);
        load();
        HBA hba = read(0, h -> api.getiSNSTargets(0, h));
        List<String> names = IsnsDiscoveryTest.targetNames(hba);
        assertEquals(31, names.size());
        assertEquals(List.of("iqn.2020-01.test:t0", "iqn.2020-01.test:t1", ""), names.subList(0, 3));
        assertEquals(3261, hba.getiSNSTargets().get(1).getPort());
        assertEquals(0, hba.getiSNSTargets().get(30).getPort());
        assertEquals(List.of((long) SMALL_BUFFER, (long) LARGE_BUFFER),
                argOfCalls("SDGetAlliSNSDiscoveredTargets", "bufferSize"));
    }

    @ParameterizedTest
    @ValueSource(longs = {513, 0xFFFFFFFFL})
    void aCountAbove512DeliversThe512TargetsTheLargeBufferHolds(long count) {
        ObjectNode s = damaged("SDGetAlliSNSDiscoveredTargets", count);
        isnsTargets(s, 3);
        load();
        HBA hba = read(0, h -> api.getiSNSTargets(0, h));
        List<String> names = IsnsDiscoveryTest.targetNames(hba);
        assertEquals(512, names.size());
        assertEquals("iqn.2020-01.test:t2", names.get(2));
        assertEquals("", names.get(511));
        assertEquals(2, SimControl.calls().size());
    }

    // --- Logs ---------------------------------------------------------------------------------

    @ParameterizedTest
    @ValueSource(longs = {129, 0xFFFFFFFFL})
    void logCountsAbove128GiveThe128EntriesTheBuffersHold(long count) {
        ObjectNode s = damaged("SDGetLogs", count);
        s.putArray("connectionErrorLog").addObject().put("raw",
                "04030201" + "0d0c0b0a" + "3412" + "0600" + "01" + "1c" + "0402" + "05aabbcc");
        ObjectNode arp = s.putArray("arpLog").addObject();
        arp.putObject("ipAddress").put("address", "10.1.2.3").put("type", 1);
        arp.put("macAddress", "02:11:22:33:44:ff").put("valid", 1).put("timeIn", 200);
        load();
        AdapterLogs logs = new AdapterLogs();
        String out = stdout(() -> {
            status = api.getConnectErrorLog(0, logs);
            assertEquals(0, status);
            status = api.getARPLog(0, logs);
        });
        assertEquals(0, status);
        assertEquals("", out);

        long[] errors = logs.getConnectErrorLogEntries();
        assertEquals(128 * 11, errors.length);
        assertArrayEquals(new long[] {0x01020304L, 0x0A0B0C0DL, 0x1234, 6, 1, 0x1c, 0x0204, 5, 0xbb, 0xcc, 0},
                Arrays.copyOfRange(errors, 0, 11));
        // Entries 1 to 127 are the cleared buffer, the last one's window included.
        assertArrayEquals(new long[127 * 11], Arrays.copyOfRange(errors, 11, errors.length));

        long[] entries = logs.getARPLogEntries();
        assertEquals(128 * 26, entries.length);
        assertArrayEquals(new long[] {10, 1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2, 0x11, 0x22, 0x33,
            0x44, 0xff, 1, 200}, Arrays.copyOfRange(entries, 0, 26));
        assertArrayEquals(new long[127 * 26], Arrays.copyOfRange(entries, 26, entries.length));
    }
}
