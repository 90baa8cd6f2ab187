package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.AdapterLogs;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * The connection error log and the ARP table as flat long[] (11 and 26 longs per entry, the
 * connection error log's last three slots a byte window that reaches into the next entry), and
 * the crash record saved to a file.
 */
class EventLogsTest extends NativeTestBase {

    private int status;

    /** Instance 0 with the given connection error entries (raw 20-byte hex each). */
    private static void loadConnectionErrors(String... rawEntries) {
        Scenario s = new Scenario();
        ArrayNode list = s.adapter(0).putArray("connectionErrorLog");
        for (String raw : rawEntries) {
            list.addObject().put("raw", raw);
        }
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    @Test
    void theByteWindowSkipsReservedZeroAndReachesIntoTheNextEntry() {
        // Entry 0: seconds 0x01020304, ms 0x0A0B0C0D, device 0x1234, state 6, type 1/0x1c,
        // detail 0x0204, then bytes 16..19 05 AA BB CC. Entry 1 begins with 0x7f.
        loadConnectionErrors("04030201" + "0d0c0b0a" + "3412" + "0600" + "01" + "1c" + "0402" + "05aabbcc",
                "7f000000" + "00000000" + "0100" + "0000" + "00" + "00" + "0000" + "00ddeeff");
        AdapterLogs logs = new AdapterLogs();
        String out = stdout(() -> status = api.getConnectErrorLog(0, logs));
        assertEquals(0, status);
        assertEquals("", out);
        long[] l = logs.getConnectErrorLogEntries();
        assertArrayEquals(new long[] {0x01020304L, 0x0A0B0C0DL, 0x1234, 6, 1, 0x1c, 0x0204, 5, 0xbb, 0xcc, 0x7f,
            0x7f, 0, 1, 0, 0, 0, 0, 0, 0xee, 0xff, 0}, l);
        assertEquals(List.of(1L), argOfCalls("SDGetLogs", "logType"));
    }

    @Test
    void aFullLogReadsNoByteBehindItsLastEntry() {
        String[] entries = new String[128];
        Arrays.fill(entries, "ffffffff".repeat(5));
        loadConnectionErrors(entries);
        AdapterLogs logs = new AdapterLogs();
        assertEquals(0, api.getConnectErrorLog(0, logs));
        long[] l = logs.getConnectErrorLogEntries();
        assertEquals(128 * 11, l.length);
        assertEquals(0xff, l[127 * 11 + 9]);
        assertEquals(0, l[127 * 11 + 10]);  // the cleared byte after the buffer's last entry
        assertEquals(0xffL, l[126 * 11 + 10]);
    }

    @Test
    void anEmptyLogHandsJavaAnEmptyArray() {
        loadConnectionErrors();
        AdapterLogs logs = new AdapterLogs();
        logs.setConnectErrorLogEntries(new long[] {1, 2, 3});
        logs.setARPLogEntries(new long[] {4});
        assertEquals(0, api.getConnectErrorLog(0, logs));
        assertEquals(0, api.getARPLog(0, logs));
        assertArrayEquals(new long[0], logs.getConnectErrorLogEntries());
        assertArrayEquals(new long[0], logs.getARPLogEntries());
    }

    @Test
    void theDefaultAdaptersLogsReadAsEntries() {
        assertTrue(api.openDevice(0));
        AdapterLogs logs = new AdapterLogs();
        assertEquals(0, api.getConnectErrorLog(0, logs));
        assertEquals(0, api.getARPLog(0, logs));
        List<AdapterLogs.ConnectionError> errors = logs.getConnectionErrors();
        assertEquals(4, errors.size());
        assertEquals(64, errors.get(3).deviceIndex);
        assertEquals(7, errors.get(3).duplicateCount);
        assertEquals(0x1c, errors.get(3).errorType);
        List<AdapterLogs.ArpEntry> arp = logs.getArpEntries();
        assertEquals(4, arp.size());
        assertEquals("192.168.50.100", arp.get(1).ipAddress.toString());
        assertEquals("02:ac:e0:9a:00:a1", arp.get(1).macAddressString());
        assertFalse(arp.get(3).valid);
    }

    @Test
    void arpEntriesGiveAddressTypeReservedMacValidAndTimeIn() {
        Scenario s = new Scenario();
        ObjectNode e = s.adapter(0).putArray("arpLog").addObject();
        e.putObject("ipAddress").put("address", "fe80::1:2").put("type", 0x0106);
        e.put("macAddress", "02:11:22:33:44:ff").put("valid", 1).put("timeIn", 200);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        AdapterLogs logs = new AdapterLogs();
        String out = stdout(() -> status = api.getARPLog(0, logs));
        assertEquals(0, status);
        assertEquals("", out);
        assertArrayEquals(new long[] {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2, 0x0106, 0, 2, 0x11, 0x22,
            0x33, 0x44, 0xff, 1, 200}, logs.getARPLogEntries());
        assertEquals(List.of(2L), argOfCalls("SDGetLogs", "logType"));
    }

    @Test
    void libraryFailuresLeaveTheObjectAloneAndEachLogHasItsText() {
        assertTrue(api.openDevice(0));
        AdapterLogs logs = new AdapterLogs();
        logs.setConnectErrorLogEntries(new long[] {9});
        SimControl.fault("SDGetLogs", ConfigFixtures.NOT_SUPPORTED, false);
        assertEquals("SDGetLogs call failed! 2000002d \n", stdout(() -> status = api.getConnectErrorLog(0, logs)));
        assertEquals(ConfigFixtures.NOT_SUPPORTED, status);
        assertEquals("SDGetLogs call failed!\n", stdout(() -> status = api.getARPLog(0, logs)));
        assertEquals(ConfigFixtures.NOT_SUPPORTED, status);
        assertArrayEquals(new long[] {9}, logs.getConnectErrorLogEntries());
    }

    // --- Crash record ----------------------------------------------------------------------

    @Test
    void theCrashRecordIsWrittenToTheNamedFile(@TempDir Path dir) throws IOException {
        Scenario s = new Scenario();
        s.adapter(0).put("crashRecord", "4e56435200ff10");
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        Path file = dir.resolve("crash record.bin");
        String out = stdout(() -> status = api.retrieveCrashRecord(0, file.toString()));
        assertEquals(0, status);
        assertEquals("", out);
        assertArrayEquals(new byte[] {0x4e, 0x56, 0x43, 0x52, 0, (byte) 0xff, 0x10}, Files.readAllBytes(file));
        assertEquals(file.toString(), calls("SDGetCrashRecord").get(0).text("fileName"));
    }

    @Test
    void theDefaultAdapterHasATextCrashRecordAndTheSecondNone(@TempDir Path dir) throws IOException {
        assertTrue(api.openDevice(0));
        assertTrue(api.openDevice(1));
        Path file = dir.resolve("crash.txt");
        assertEquals(0, api.retrieveCrashRecord(0, file.toString()));
        assertTrue(Files.readString(file, StandardCharsets.US_ASCII).startsWith("NVCR0001 fw 3.00.01.44"));
        Path none = dir.resolve("none.txt");
        assertEquals("JNI: SDGetCrashRecord failed! 20000008\n",
                stdout(() -> status = api.retrieveCrashRecord(1, none.toString())));
        assertEquals(0x20000008, status);
        assertFalse(Files.exists(none));
    }

    @Test
    void badFileNamesAndInstancesAreAnswered(@TempDir Path dir) {
        assertTrue(api.openDevice(0));
        String missing = dir.resolve("no/such/folder/crash.bin").toString();
        assertEquals("JNI: SDGetCrashRecord failed! 20000007\n",
                stdout(() -> status = api.retrieveCrashRecord(0, missing)));
        assertEquals(0x20000007, status);
        SimControl.clearCallLog();
        assertEquals(List.of(), SimControl.calls());
    }
}
