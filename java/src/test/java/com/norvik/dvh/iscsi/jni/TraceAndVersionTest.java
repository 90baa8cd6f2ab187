package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.nio.file.Path;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** The library version query and the switch for the device-management library's debug trace. */
class TraceAndVersionTest extends NativeTestBase {

    private static final String TRACE = "SDEnableDebugTraceiSCSI";
    /** The simulator's status for a file it cannot open. */
    private static final int SIM_FILE_ERROR = 0x20000007;

    @TempDir
    Path tmp;

    @Test
    void versionIsTheLibrarysTextAskedWithLength31() {
        String version = api.getVersioniSCSI();
        assertEquals(Scenarios.defaultVersion(), version);
        List<SimCall> c = calls("SDGetVersioniSCSI");
        assertEquals(1, c.size());
        assertEquals(31L, c.get(0).arg("length"));
    }

    @Test
    void versionIsCutToThirtyCharacters() {
        String longVersion = "Izark SDM 9.87.65 build 2024-11-30 (sim)";
        SimControl.loadScenario(Scenarios.withVersion(longVersion));
        assertEquals(longVersion.substring(0, 30), api.getVersioniSCSI());
    }

    @Test
    void traceIsSwitchedOnWithTheAdaptersHandleAndLevelMinusOne() {
        String file = tmp.resolve("sdm-trace.log").toString();
        assertTrue(api.openDevice(1));
        String out = stdout(() -> assertEquals(0, api.enableSdmTrace(1, file)));
        assertEquals("", out);
        List<SimCall> c = calls(TRACE);
        assertEquals(1, c.size());
        assertEquals(HANDLE_1, c.get(0).arg("handle"));
        assertEquals(-1, (int) c.get(0).arg("level"));
        assertEquals(file, c.get(0).text("fileName"));
    }

    @Test
    void traceOfAnInstanceNeverOpenedPassesHandleZero() {
        api.enableSdmTrace(31, tmp.resolve("t.log").toString());
        List<SimCall> c = calls(TRACE);
        assertEquals(1, c.size());
        assertEquals(0L, c.get(0).arg("handle"));
    }

    @Test
    void traceWithoutAFileNameDoesNothing() {
        assertTrue(api.openDevice(0));
        String out = stdout(() -> assertEquals(0, api.enableSdmTrace(0, null)));
        assertEquals("", out);
        assertEquals(List.of(), calls(TRACE));
    }

    @Test
    void aLibraryFailureIsReturnedAndPrintedInHex() {
        assertTrue(api.openDevice(0));
        SimControl.fault(TRACE, 0x2000abcd, true);
        String out = stdout(() -> assertEquals(0x2000abcd, api.enableSdmTrace(0, tmp.resolve("t.log").toString())));
        assertEquals("JNI: SDEnableDebugTraceiSCSI: 2000abcd \n", out);
    }

    @Test
    void aTraceFileThatCannotBeOpenedFailsWithTheLibrarysStatus() {
        assertTrue(api.openDevice(0));
        String file = tmp.resolve("no-such-dir").resolve("t.log").toString();
        String out = stdout(() -> assertEquals(SIM_FILE_ERROR, api.enableSdmTrace(0, file)));
        assertEquals("JNI: SDEnableDebugTraceiSCSI: 20000007 \n", out);
    }

    @ParameterizedTest
    @ValueSource(ints = {-1, Integer.MIN_VALUE, 32, 1000, Integer.MAX_VALUE})
    void badInstanceNumbersNeverCrash(int dev) {
        String file = tmp.resolve("t.log").toString();
        boolean rejected = dev > 31;
        assertEquals(rejected ? ApiStatus.BAD_INDEX : 0, api.enableSdmTrace(dev, null));
        int status = api.enableSdmTrace(dev, file);
        if (rejected) {
            assertEquals(ApiStatus.BAD_INDEX, status);
            assertEquals(List.of(), calls(TRACE));
        } else {
            // A negative instance is not rejected; the library gets the file name, never a null one.
            assertTrue(calls(TRACE).stream().allMatch(c -> file.equals(c.text("fileName"))));
        }
    }
}
