package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.jni.NativeTestBase;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.io.IOException;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.TreeMap;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * dvh-examine --watch against the simulator, with a clock that only moves when the watch waits:
 * a watch of several seconds runs at once, and events are queued at chosen times.
 */
class WatchTest extends NativeTestBase {

    private static final ObjectMapper JSON = new ObjectMapper();

    /**
     * Instance 0 (handle 3) with device database entries 0 (state 4, session active) and 2 (state 1);
     * instance 1 (handle 4) bare. Event collection takes only handles up to 32.
     */
    private static final String SCENARIO = "{\"version\": \"ACMEDISK SIM 1.0\", \"adapters\": ["
            + "{\"instance\": 0, \"handle\": 3, \"ddb\": ["
            + "{\"index\": 0, \"deviceState\": 4}, {\"index\": 2, \"deviceState\": 1}]},"
            + "{\"instance\": 1, \"handle\": 4}]}";

    private static final int LINK_UP = 0x8010;
    private static final int LINK_DOWN = 0x8011;
    private static final int DDB_CHANGED = 0x8014;
    private static final int HEARTBEAT = 0x8019;
    private static final int IP_CHANGED = 0x801c;

    /** Fake time: starts at an odd value, moves only in sleep, then runs what is due by then. */
    static final class FakeTiming implements Watch.Timing {
        private long now = 987_654_321L;
        private final long start = now;
        private final TreeMap<Long, List<Runnable>> due = new TreeMap<>();
        final List<Long> sleeps = new ArrayList<>();
        /** Set from the first sleep on: the watch's stop signal, for a simulated Ctrl-C. */
        CountDownLatch stop;

        /** Runs {@code action} once the watch has waited until {@code millis} after the start. */
        FakeTiming at(long millis, Runnable action) {
            due.computeIfAbsent(start + TimeUnit.MILLISECONDS.toNanos(millis), k -> new ArrayList<>()).add(action);
            return this;
        }

        @Override
        public long nanoTime() {
            return now;
        }

        @Override
        public void sleep(long millis, CountDownLatch stop) {
            this.stop = stop;
            sleeps.add(millis);
            now += TimeUnit.MILLISECONDS.toNanos(millis);
            while (!due.isEmpty() && due.firstKey() <= now) {
                due.pollFirstEntry().getValue().forEach(Runnable::run);
            }
        }
    }

    private String out;
    private String err;
    private int exitCode;

    private void watch(FakeTiming timing, String... args) {
        StringWriter sw = new StringWriter();
        StringWriter ew = new StringWriter();
        stdout(() -> exitCode = Examiner.commandLine(timing).setOut(new PrintWriter(sw, true))
                .setErr(new PrintWriter(ew, true)).execute(args));
        out = sw.toString();
        err = ew.toString();
    }

    private static Runnable push(int instance, int code, int... payload) {
        return () -> SimControl.pushEvent(instance, code, payload);
    }

    /** The event calls and the calls around them, as "function:handle", in order. */
    private static List<String> lifecycle() {
        Set<String> shown = Set.of("SDGetDDBEntryNum", "SDEnableAeniSCSI", "SDGetAeniSCSI", "SDDisableAeniSCSI",
                "SDCloseDeviceiSCSI");
        List<String> seen = new ArrayList<>();
        for (SimCall c : SimControl.calls()) {
            if (shown.contains(c.fn())) {
                seen.add(c.fn() + ":" + c.arg("handle"));
            }
        }
        return seen;
    }

    @Test
    void linkUpAndDownPushedTogetherAreOneLineNamingBoth() {
        SimControl.loadScenario(SCENARIO);
        FakeTiming timing = new FakeTiming().at(1000, () -> {
            SimControl.pushEvent(0, LINK_UP, new int[0]);
            SimControl.pushEvent(0, LINK_DOWN, new int[0]);
        });
        watch(timing, "--watch", "3");
        assertEquals(0, exitCode, err);
        assertEquals("Watching adapters 0, 1 for 3 s (Ctrl-C stops)\n"
                + "+1.000s adapter 0: Link Up, Link Down (0x00000018)\n"
                + "Watched 2 adapters for 3.000 s: 1 callback\n"
                + "  adapter 0: 1 callback\n"
                + "  adapter 1: 0 callbacks\n", out);
        assertEquals(List.of(1000L, 1000L, 1000L), timing.sleeps);
        // Data read (states recorded) before collection is switched on; fetches at 0, 1, 2 and 3 s;
        // collection off, then the adapters closed.
        assertEquals(List.of("SDGetDDBEntryNum:3", "SDGetDDBEntryNum:4", "SDEnableAeniSCSI:3", "SDEnableAeniSCSI:4",
                "SDGetAeniSCSI:3", "SDGetAeniSCSI:4", "SDGetAeniSCSI:3", "SDGetAeniSCSI:4",
                "SDGetAeniSCSI:3", "SDGetAeniSCSI:4", "SDGetAeniSCSI:3", "SDGetAeniSCSI:4",
                "SDDisableAeniSCSI:3", "SDDisableAeniSCSI:4", "SDCloseDeviceiSCSI:3", "SDCloseDeviceiSCSI:4"),
                lifecycle());
    }

    @Test
    void aHeartbeatAlonePrintsNothing() {
        SimControl.loadScenario(SCENARIO);
        watch(new FakeTiming().at(1000, push(0, HEARTBEAT)).at(2000, push(1, HEARTBEAT)), "--watch", "2");
        assertEquals(0, exitCode, err);
        assertEquals("Watching adapters 0, 1 for 2 s (Ctrl-C stops)\n"
                + "Watched 2 adapters for 2.000 s: 0 callbacks\n"
                + "  adapter 0: 0 callbacks\n"
                + "  adapter 1: 0 callbacks\n", out);
    }

    @Test
    void jsonLinesParseAndTheSummaryCounts() throws Exception {
        SimControl.loadScenario(SCENARIO);
        FakeTiming timing = new FakeTiming()
                .at(1000, push(0, LINK_UP))
                .at(2000, () -> {
                    SimControl.pushEvent(1, 0x9999, new int[0]);
                    SimControl.pushEvent(1, IP_CHANGED, new int[0]);
                })
                .at(3000, push(0, LINK_DOWN))
                .at(4000, push(0, HEARTBEAT));
        watch(timing, "--watch", "4", "--json");
        assertEquals(0, exitCode, err);
        String[] lines = out.split("\n");
        assertEquals(5, lines.length, out);
        List<JsonNode> nodes = new ArrayList<>();
        for (String line : lines) {
            nodes.add(JSON.readTree(line));
        }
        assertEquals(JSON.readTree("{\"type\": \"start\", \"seconds\": 4, \"adapters\": [0, 1]}"), nodes.get(0));
        assertEquals(JSON.readTree("{\"type\": \"event\", \"time\": 1.0, \"instance\": 0, \"mask\": 8,"
                + " \"events\": [\"Link Up\"]}"), nodes.get(1));
        assertEquals(JSON.readTree("{\"type\": \"event\", \"time\": 2.0, \"instance\": 1, \"mask\": 1073743872,"
                + " \"events\": [\"IP Address Changed\", \"Unknown Event\"]}"), nodes.get(2));
        assertEquals(JSON.readTree("{\"type\": \"event\", \"time\": 3.0, \"instance\": 0, \"mask\": 16,"
                + " \"events\": [\"Link Down\"]}"), nodes.get(3));
        assertEquals(JSON.readTree("{\"type\": \"summary\", \"seconds\": 4.0, \"stoppedEarly\": false, \"total\": 3,"
                + " \"callbacks\": [{\"instance\": 0, \"count\": 2}, {\"instance\": 1, \"count\": 1}]}"), nodes.get(4));
    }

    @Test
    void aDeviceDatabaseChangeNamesTheEntryAndIsMeasuredAgainstTheNewState() {
        SimControl.loadScenario(SCENARIO);
        FakeTiming timing = new FakeTiming()
                .at(1000, () -> {
                    // Entry 0 logs out: its state becomes 1 and the adapter says so.
                    assertEquals(0, api.logoutDDB(0, 0, 0, 0));
                    SimControl.pushEvent(0, DDB_CHANGED, new int[] {1, 0, 1, 0});
                })
                // Told again: the state read after the first change is the same, so it is dropped.
                .at(2000, push(0, DDB_CHANGED, 1, 0, 1, 0))
                // An entry the adapter does not use: delivered, but no state changed.
                .at(3000, push(0, DDB_CHANGED, 1, 7, 4, 0));
        watch(timing, "--watch", "3");
        assertEquals(0, exitCode, err);
        assertEquals("Watching adapters 0, 1 for 3 s (Ctrl-C stops)\n"
                + "+1.000s adapter 0: DDB Change (0x00000020); entry 0: Active Session -> No Active Connection\n"
                + "+3.000s adapter 0: DDB Change (0x00000020)\n"
                + "Watched 2 adapters for 3.000 s: 2 callbacks\n"
                + "  adapter 0: 2 callbacks\n"
                + "  adapter 1: 0 callbacks\n", out);
    }

    @Test
    void ctrlCEndsTheWatchWithEventsOffAndAdaptersClosed() {
        SimControl.loadScenario(SCENARIO);
        FakeTiming timing = new FakeTiming();
        timing.at(1000, push(1, LINK_DOWN)).at(2000, () -> timing.stop.countDown());
        watch(timing, "--watch", "60");
        assertEquals(0, exitCode, err);
        assertEquals("Watching adapters 0, 1 for 60 s (Ctrl-C stops)\n"
                + "+1.000s adapter 1: Link Down (0x00000010)\n"
                + "Watched 2 adapters for 2.000 s (stopped early): 1 callback\n"
                + "  adapter 0: 0 callbacks\n"
                + "  adapter 1: 1 callback\n", out);
        List<String> calls = lifecycle();
        assertEquals(List.of("SDDisableAeniSCSI:3", "SDDisableAeniSCSI:4", "SDCloseDeviceiSCSI:3",
                "SDCloseDeviceiSCSI:4"), calls.subList(calls.size() - 4, calls.size()));
    }

    @Test
    void aFailingFetchIsReportedOnceAndMakesTheExitCodeOne() {
        SimControl.loadScenario(SCENARIO);
        SimControl.fault("SDGetAeniSCSI", 0x2000002D, false);
        watch(new FakeTiming().at(1000, push(0, LINK_UP)), "--watch", "2");
        assertEquals(1, exitCode);
        assertEquals("Watching adapters 0, 1 for 2 s (Ctrl-C stops)\n"
                + "+0.000s adapter 0: problem: getAENsForDevice: status 0x2000002d\n"
                + "+0.000s adapter 1: problem: getAENsForDevice: status 0x2000002d\n"
                + "Watched 2 adapters for 2.000 s: 0 callbacks\n"
                + "  adapter 0: 0 callbacks\n"
                + "  adapter 1: 0 callbacks\n", out);
    }

    @Test
    void theLinesCanGoToAFile(@TempDir Path dir) throws IOException {
        SimControl.loadScenario(SCENARIO);
        Path file = dir.resolve("watch.txt");
        watch(new FakeTiming().at(1000, push(1, LINK_UP)), "--watch", "1", "--output", file.toString());
        assertEquals(0, exitCode, err);
        assertEquals("", out);
        assertEquals("Watching adapters 0, 1 for 1 s (Ctrl-C stops)\n"
                + "+1.000s adapter 1: Link Up (0x00000008)\n"
                + "Watched 2 adapters for 1.000 s: 1 callback\n"
                + "  adapter 0: 0 callbacks\n"
                + "  adapter 1: 1 callback\n", Files.readString(file));
    }

    @Test
    void noAdaptersNothingToWaitFor() {
        SimControl.loadScenario(Scenarios.bareAdapters(0));
        FakeTiming timing = new FakeTiming();
        watch(timing, "--watch", "5");
        assertEquals(0, exitCode, err);
        assertEquals("No adapters to watch\nWatched 0 adapters for 0.000 s: 0 callbacks\n", out);
        assertTrue(timing.sleeps.isEmpty());
    }

    @Test
    void secondsMustBeAPositiveWholeNumber() {
        String[][] cases = {
            {"0", "0 is not a positive number of seconds"},
            {"-3", "-3 is not a positive number of seconds"},
            {"1.5", "'1.5' is not a whole number of seconds"},
            {"soon", "'soon' is not a whole number of seconds"}};
        for (String[] c : cases) {
            watch(new FakeTiming(), "--watch", c[0]);
            assertEquals(2, exitCode, c[0]);
            assertEquals("", out);
            assertTrue(err.startsWith("Invalid value for option '--watch': " + c[1] + "\n"), err);
            assertTrue(err.contains("Usage: dvh-examine"), err);
            assertEquals(List.of(), calls("SDOpenDeviceiSCSI"));
        }
    }

    @Test
    void bitsWithoutANameAreShownInHex() {
        assertEquals(List.of("FW System Error", "0x80", "0x100", "Subnet State Change Detected", "Unknown Event",
                "0x80000000"), Watch.eventKinds(0xC0040181));
        assertEquals(List.of(), Watch.eventKinds(0));
    }

    /**
     * The generated launcher (its path comes from the build as dvh.examine.launcher): the watch's
     * JSON lines alone on standard output, events the scenario queued delivered at the first fetch;
     * a second watch, ended by SIGTERM as by Ctrl-C, still prints its summary.
     */
    @Test
    void theLauncherWatchesAndStopsCleanlyOnASignal(@TempDir Path dir) throws IOException, InterruptedException {
        String launcher = System.getProperty("dvh.examine.launcher");
        assumeTrue(launcher != null && Files.isExecutable(Path.of(launcher)), "launcher not given");
        Path scenario = dir.resolve("scenario.json");
        Files.writeString(scenario, "{\"version\": \"ACMEDISK SIM 1.0\", \"adapters\": ["
                + "{\"instance\": 0, \"handle\": 2, \"events\": [{\"code\": \"0x8010\"}, {\"code\": \"0x8019\"}]}]}");
        Path stdoutFile = dir.resolve("out");
        Path stderrFile = dir.resolve("err");
        ProcessBuilder pb = new ProcessBuilder(launcher, "--watch", "1", "--json")
                .redirectOutput(stdoutFile.toFile()).redirectError(stderrFile.toFile());
        pb.environment().put("IZKSDM_SCENARIO", scenario.toString());
        Process p = pb.start();
        assertTrue(p.waitFor(120, TimeUnit.SECONDS), "launcher finished");
        assertEquals(0, p.exitValue(), Files.readString(stderrFile, StandardCharsets.ISO_8859_1));
        List<String> lines = Files.readAllLines(stdoutFile, StandardCharsets.UTF_8);
        assertEquals(3, lines.size(), lines.toString());
        JsonNode event = JSON.readTree(lines.get(1));
        assertEquals("event", event.get("type").asText());
        assertEquals(JSON.readTree("[\"Link Up\"]"), event.get("events"));
        assertEquals(1, JSON.readTree(lines.get(2)).get("total").asInt());
        assertTrue(Files.readString(stderrFile, StandardCharsets.ISO_8859_1).contains("getAENsForDevice"));

        p = pb.command(launcher, "--watch", "600").start();
        try {
            long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(60);
            while (!Files.readString(stdoutFile, StandardCharsets.UTF_8).contains("Link Up")) {
                assertTrue(System.nanoTime() < deadline, "watch started");
                assertTrue(p.isAlive(), "watch running");
                Thread.sleep(50);
            }
            p.destroy();
            assertTrue(p.waitFor(60, TimeUnit.SECONDS), "watch stopped");
        } finally {
            p.destroyForcibly();
        }
        String text = Files.readString(stdoutFile, StandardCharsets.UTF_8);
        assertTrue(text.startsWith("Watching adapter 0 for 600 s (Ctrl-C stops)\n"), text);
        assertTrue(text.contains(" (stopped early): 1 callback\n  adapter 0: 1 callback\n"), text);
        assertFalse(text.contains("Debug:"), text);
    }
}
