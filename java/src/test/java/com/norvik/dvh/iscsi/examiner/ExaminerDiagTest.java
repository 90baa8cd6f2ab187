package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;

import java.io.IOException;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import picocli.CommandLine;

/**
 * The examiner's --stats section and its diag subcommand against the default simulated adapters:
 * instance 0 has LUNs 0:0:0-2, 0:1:0 (no buffer commands) and 0:3:0-3 (0:3:0 spoils its 5th READ
 * BUFFER); it answers pings to 192.168.50.1.
 */
class ExaminerDiagTest extends ExaminerTestBase {

    private static final ObjectMapper JSON = new ObjectMapper();

    /** The examiner's standard error in the last run of {@link #diag}. */
    private String err;

    /** A run whose standard error (diag's progress with --json) is kept apart. */
    private void diag(String... args) {
        StringWriter sw = new StringWriter();
        StringWriter ew = new StringWriter();
        nativeOut = stdout(() -> exitCode = Examiner.commandLine().setOut(new PrintWriter(sw, true))
                .setErr(new PrintWriter(ew, true)).execute(args));
        out = sw.toString();
        err = ew.toString();
    }

    // --- --stats -------------------------------------------------------------------------------

    @Test
    void statsShowStateAndBothGenerationsOfCounters() {
        examine("--stats");
        assertEquals(0, exitCode, out);
        String adapter1 = out.substring(out.indexOf("Adapter 1"));
        String stats = adapter1.substring(adapter1.indexOf("  Statistics\n"));
        assertTrue(stats.startsWith("  Statistics\n"
                + "    State:              4, DHCP state 1, link status 1\n"
                + "    Counters: 33\n"
                + "      MACTxFramesCount                              88210\n"), stats);
        assertTrue(stats.contains("    Extended counters: 68\n"
                + "       0  MACTxFramesCount                              88217\n"), stats);
        assertTrue(stats.contains("      67  iSCSISeqErrorCount                                0\n"), stats);
        examine();
        assertFalse(out.contains("Statistics"));
    }

    @Test
    void statsInJsonAreExactNumbers() throws IOException {
        examine("--json", "--stats");
        assertEquals(0, exitCode);
        JsonNode s = JSON.readTree(out).get("adapters").get(0).get("statistics");
        assertEquals(4, s.get("state").asInt());
        assertEquals(1, s.get("linkStatus").asInt());
        assertEquals(33, s.get("counters").size());
        assertEquals(68, s.get("extendedCounters").size());
        assertEquals(BigInteger.valueOf(1482213), s.get("counters").get("MACTxFramesCount").bigIntegerValue());
        // The counters move between the two reads.
        assertEquals(BigInteger.valueOf(1482213 + 120),
                s.get("extendedCounters").get("MACTxFramesCount").bigIntegerValue());
        examine("--json");
        assertFalse(JSON.readTree(out).get("adapters").get(0).has("statistics"));
    }

    // --- diag -----------------------------------------------------------------------------------

    @Test
    void diagByDefaultRunsTheLoopbackAndTheBufferTestOnEveryLun() {
        diag("diag");
        assertEquals(1, exitCode, out + err);
        assertTrue(out.startsWith("loopback: iteration 1 of 10\nloopback: iteration 2 of 10\n"), out);
        assertTrue(out.contains("loopback: iteration 10 of 10\nbuffer test [0:0:0]: iteration 1 of 10\n"), out);
        String summary = out.substring(out.indexOf("Adapter 0"));
        assertTrue(summary.startsWith("Adapter 0\n"
                + "  Loopback, mode 0: 10 passed, 0 failed of 10 (passed)\n"
                + "  Buffer test: 8 LUNs\n"
                + "    [0:0:0]      tested              0 miscompares, 20 I/Os, 0 MB,"), summary);
        assertTrue(summary.contains("    [0:1:0]      not supported\n"), summary);
        assertTrue(summary.contains("    [0:3:0]      tested (data miscompare)  1 miscompare, 20 I/Os,"), summary);
        assertTrue(summary.contains("; last read "), summary);
        // The LUN without buffer commands was asked once, then left.
        assertTrue(out.contains("buffer test [0:1:0]: iteration 1 of 10\nbuffer test [0:3:0]: iteration 1"), out);
    }

    @Test
    void diagPingsAndReportsInJson() throws IOException {
        diag("diag", "--ping", "192.168.50.1", "--packets", "2", "--json");
        assertEquals(0, exitCode, out + err);
        JsonNode r = JSON.readTree(out);
        assertEquals(0, r.get("adapter").asInt());
        assertTrue(r.get("ping").get("replied").asBoolean());
        assertEquals(2, r.get("ping").get("packets").asInt());
        assertFalse(r.has("loopback"));
        assertEquals("ping 192.168.50.1: 2 packets\n", err);

        diag("diag", "-a", "1", "--ping", "192.168.50.1", "--loopback", "3", "--mode", "2", "--json");
        assertEquals(1, exitCode);
        r = JSON.readTree(out);
        assertFalse(r.get("ping").get("replied").asBoolean());
        assertEquals(3, r.get("loopback").get("passed").asInt());
        assertTrue(err.contains("loopback: iteration 3 of 3\n"), err);
    }

    @Test
    void diagStopsAtTheFirstFailureWhenAsked() throws IOException {
        diag("diag", "--buffer", "10", "--stop-on-error", "--json");
        assertEquals(1, exitCode);
        JsonNode tests = JSON.readTree(out).get("bufferTests");
        // 0:0:0-2 pass, 0:1:0 is not supported (not a failure of the method), 0:3:0 miscompares.
        assertEquals(5, tests.size());
        assertEquals(204, tests.get(3).get("status").asInt());
        assertEquals(203, tests.get(4).get("result").asInt());
        assertEquals(5, tests.get(4).get("ioCount").asInt() / 2);
    }

    @Test
    void diagRefusesBadInput() {
        String[][] bad = {
            {"diag", "--pattern", "x".repeat(65)},
            {"diag", "--pattern", ""},
            {"diag", "--pattern", "\u0100"},
            {"diag", "--loopback", "-1"},
            {"diag", "--buffer", "-5"},
            {"diag", "--ping", "300.1.2.3"},
            {"diag", "--ping", "10.0.0.1", "--packets", "70000"},
            {"diag", "--adapter", "32"},
            {"diag", "--loopback", "lots"},
        };
        for (String[] args : bad) {
            diag(args);
            assertEquals(2, exitCode, String.join(" ", args));
            assertTrue(out.isEmpty(), out);
        }
        diag("diag", "--pattern", "y".repeat(64), "--buffer", "1", "--json");
        assertEquals(1, exitCode);
    }

    @Test
    void diagOfAnAdapterThatIsNotThere() {
        diag("diag", "--adapter", "5", "--loopback", "1");
        assertEquals(1, exitCode);
        assertEquals("Adapter 5\n  Problem: openDevice: adapter 5 cannot be opened\n", out);
    }

    @Test
    void aRunningDiagIsStoppedThroughItsTestStatus() throws Exception {
        CommandLine cl = Examiner.commandLine();
        StringWriter sw = new StringWriter();
        cl.setOut(new PrintWriter(sw, true)).setErr(new PrintWriter(new StringWriter(), true));
        Diagnose diag = cl.getSubcommands().get("diag").getCommand();
        AtomicInteger code = new AtomicInteger(-1);
        Thread worker = new Thread(() -> code.set(cl.execute("diag", "--loopback", "2000000000", "--buffer", "5")));
        worker.start();
        long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(30);
        while (!sw.toString().contains("iteration 20 of")) {
            assertTrue(System.nanoTime() < deadline, "diag started");
            Thread.sleep(5);
        }
        diag.requestStop();
        worker.join(30_000);
        assertFalse(worker.isAlive());
        assertEquals(3, code.get());
        String text = sw.toString();
        String summary = text.substring(text.indexOf("Adapter 0"));
        assertTrue(summary.startsWith("Adapter 0 (stopped early)\n  Loopback, mode 0: "), summary);
        // The buffer test never started.
        assertFalse(text.contains("buffer test"), text);
        assertFalse(summary.contains("Buffer test"), summary);
    }

    /** The generated launcher: a diag ended by SIGTERM, as by Ctrl-C, still prints its summary. */
    @Test
    void theLauncherStopsADiagOnASignal(@TempDir Path dir) throws IOException, InterruptedException {
        String launcher = System.getProperty("dvh.examine.launcher");
        assumeTrue(launcher != null && Files.isExecutable(Path.of(launcher)), "launcher not given");
        Path stdoutFile = dir.resolve("out");
        Path stderrFile = dir.resolve("err");
        ProcessBuilder pb = new ProcessBuilder(launcher, "diag", "--loopback", "2000000000")
                .redirectOutput(stdoutFile.toFile()).redirectError(stderrFile.toFile());
        pb.environment().remove("IZKSDM_SCENARIO");
        Process p = pb.start();
        try {
            long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(60);
            while (!Files.readString(stdoutFile, StandardCharsets.UTF_8).contains("iteration 5 of")) {
                assertTrue(System.nanoTime() < deadline, "diag started");
                assertTrue(p.isAlive(), "diag running: " + Files.readString(stderrFile, StandardCharsets.UTF_8));
                Thread.sleep(20);
            }
            p.destroy();
            assertTrue(p.waitFor(60, TimeUnit.SECONDS), "diag stopped");
        } finally {
            p.destroyForcibly();
        }
        String text = Files.readString(stdoutFile, StandardCharsets.UTF_8);
        assertTrue(text.contains("Adapter 0 (stopped early)\n  Loopback, mode 0: "), text);
    }
}
