package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonInclude;
import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.fasterxml.jackson.databind.SerializationFeature;
import com.norvik.dvh.iscsi.jni.ApiStatus;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.BufferTestResult;
import com.norvik.dvh.iscsi.model.DiagnosticStatus;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.LoopbackTestResult;
import com.norvik.dvh.iscsi.model.TargetInfo;
import com.norvik.dvh.iscsi.model.TestStatus;

import java.io.IOException;
import java.io.PrintWriter;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;

/**
 * dvh-examine diag: runs an adapter's diagnostics (a ping, the loopback test, the read/write buffer
 * test on each LUN of its targets with an active session), shows every iteration as it starts and
 * sums up each test. Ctrl-C, or {@link #requestStop()}, stops the running test before its next
 * iteration through its test status object; the tests not yet started are skipped.
 */
@Command(name = "diag", mixinStandardHelpOptions = true,
        description = {
            "Runs diagnostics on one adapter: --ping ADDRESS pings an address from the adapter, --loopback N "
                    + "repeats the adapter's loopback test N times, --buffer N writes a pattern into the buffer "
                    + "of every LUN of the targets with an active session (WRITE BUFFER), reads it back (READ "
                    + "BUFFER) and compares it, N times per LUN. Without any of them the loopback and the buffer "
                    + "test run 10 times each.",
            "",
            "Each iteration is shown as it starts; Ctrl-C stops the running test before its next iteration "
                    + "and skips the rest. With --json the results are one JSON document on standard output and "
                    + "the progress lines go to standard error."},
        exitCodeListHeading = "Exit codes:%n",
        exitCodeList = {
            "0:every test ran to its end and passed",
            "1:a test failed or could not run (a native call failed, the adapter could not be opened)",
            "2:the native library could not be loaded, the simulated adapters' scenario could not be loaded "
                    + "(the reason in one line), or the command line is wrong",
            "3:stopped (Ctrl-C) before the end"})
public class Diagnose implements Callable<Integer> {

    /** The pattern written by default: bytes with every bit both set and clear somewhere, and text. */
    static final String DEFAULT_PATTERN = "\u00a5Z\u00c3<\u00ff\u0000\u00f0\u000f\u0055\u00aa"
            + "norvik-dvh-buffer-test\u0001";
    static final int MAX_PATTERN = 64;
    static final int DEFAULT_ITERATIONS = 10;

    /** Its own command line, handed over by {@link Examiner#commandLine()} (writers, usage errors). */
    CommandLine commandLine;

    @Option(names = {"-a", "--adapter"}, paramLabel = "INSTANCE", defaultValue = "0",
            description = "The adapter instance (0 to 31; default 0).")
    int adapter;

    @Option(names = "--ping", paramLabel = "ADDRESS", description = "Ping this IPv4 or IPv6 address from the adapter.")
    String pingAddress;

    @Option(names = "--packets", paramLabel = "N", defaultValue = "3",
            description = "Packets of the ping (1 to 65535; default 3).")
    int packets;

    @Option(names = "--loopback", paramLabel = "N", description = "Run the loopback test N times.")
    Integer loopback;

    @Option(names = "--mode", paramLabel = "MODE", defaultValue = "0",
            description = "Loopback mode, passed to the adapter as it is (default 0).")
    int mode;

    @Option(names = "--buffer", paramLabel = "N", description = "Run the read/write buffer test N times on each LUN.")
    Integer buffer;

    @Option(names = "--pattern", paramLabel = "TEXT",
            description = "The buffer test's pattern: 1 to 64 characters, each one byte (U+0000 to U+00FF).")
    String pattern = DEFAULT_PATTERN;

    @Option(names = "--stop-on-error", description = "End each test at its first failure.")
    boolean stopOnError;

    @Option(names = "--json", description = "Print the results as JSON (progress goes to standard error).")
    boolean json;

    /** How long a shutdown (Ctrl-C) waits for the running test to stop and the adapter to be closed. */
    static final long STOP_WAIT_SECONDS = 10;

    private final Object lock = new Object();
    private volatile boolean stopRequested;
    private TestStatus running;

    /** Stops the running test before its next iteration; tests not yet started are skipped. */
    public void requestStop() {
        synchronized (lock) {
            stopRequested = true;
            if (running != null) {
                running.requestStop();
            }
        }
    }

    // --- results; their public fields are the JSON document ------------------------------------

    @JsonPropertyOrder({"adapter", "stopped", "problems", "ping", "loopback", "bufferTests"})
    public static class Results {
        public int adapter;
        public boolean stopped;
        public List<String> problems = new ArrayList<>();
        @JsonInclude(JsonInclude.Include.NON_NULL)
        public Ping ping;
        @JsonInclude(JsonInclude.Include.NON_NULL)
        public Loopback loopback;
        @JsonInclude(JsonInclude.Include.NON_NULL)
        public List<Buffer> bufferTests;

        boolean passed() {
            boolean ok = problems.isEmpty() && (ping == null || ping.replied)
                    && (loopback == null || loopback.result == 0);
            if (bufferTests != null) {
                for (Buffer b : bufferTests) {
                    ok &= b.result == 0 && b.status == DiagnosticStatus.TESTED;
                }
            }
            return ok;
        }
    }

    @JsonPropertyOrder({"address", "packets", "status", "replied"})
    public static class Ping {
        public String address;
        public int packets;
        public String status;
        public boolean replied;
    }

    @JsonPropertyOrder({"iterations", "mode", "result", "resultText", "passed", "failed"})
    public static class Loopback {
        public int iterations;
        public int mode;
        public int result;
        public String resultText;
        public int passed;
        public int failed;
    }

    /** The buffer test on one LUN. */
    @JsonPropertyOrder({"address", "iterations", "result", "status", "statusText", "miscompares", "ioCount",
        "megabytes", "interrupts", "hbaPortErrors", "devicePortErrors", "linkFailures", "invalidCrcs",
        "lastPattern"})
    public static class Buffer {
        public String address;
        public int iterations;
        /** The test method's result: 0, or the code of the last failure. */
        public int result;
        public int status;
        public String statusText;
        public int miscompares;
        public long ioCount;
        public long megabytes;
        public long interrupts;
        public long hbaPortErrors;
        public long devicePortErrors;
        public long linkFailures;
        public long invalidCrcs;
        /** The data last read back, as hex bytes, when it differed from the pattern. */
        @JsonInclude(JsonInclude.Include.NON_NULL)
        public String lastPattern;
    }

    /** A test status object that shows each iteration as it starts. */
    private final class Progress extends TestStatus {
        private final PrintWriter to;
        private final String what;
        private final int of;

        Progress(PrintWriter to, String what, int of) {
            this.to = to;
            this.what = what;
            this.of = of;
        }

        @Override
        protected void iterationStarting(int count) {
            to.println(what + ": iteration " + count + " of " + of);
            to.flush();
        }
    }

    @Override
    public Integer call() {
        CommandLine cl = commandLine != null ? commandLine : new CommandLine(this);
        validate(cl);
        PrintWriter out = cl.getOut();
        PrintWriter progress = json ? cl.getErr() : out;
        ApiWrapper api;
        try {
            api = new ApiWrapper();
        } catch (LinkageError e) {
            cl.getErr().println("dvh-examine: cannot load the native library dvhiscsi: " + e.getMessage());
            cl.getErr().flush();
            return 2;
        }
        if (SimulatedScenario.reportFailure(cl.getErr())) {
            return 2;
        }
        CountDownLatch done = new CountDownLatch(1);
        Thread hook = new Thread(() -> {
            requestStop();
            try {
                done.await(STOP_WAIT_SECONDS, TimeUnit.SECONDS);
            } catch (InterruptedException e) {
                Thread.currentThread().interrupt();
            }
        }, "dvh-examine-diag-stop");
        Runtime.getRuntime().addShutdownHook(hook);
        Results results;
        try {
            results = run(api, progress);
            if (json) {
                try {
                    out.println(new ObjectMapper().enable(SerializationFeature.INDENT_OUTPUT)
                            .writeValueAsString(results));
                } catch (IOException e) {
                    cl.getErr().println("dvh-examine: cannot make the JSON results: " + e.getMessage());
                    return 2;
                }
            } else {
                out.print(summary(results));
            }
            out.flush();
        } finally {
            done.countDown();
            try {
                Runtime.getRuntime().removeShutdownHook(hook);
            } catch (IllegalStateException e) {
                // The JVM is shutting down: the hook is running and has just been released.
            }
        }
        if (results.stopped) {
            return 3;
        }
        return results.passed() ? 0 : 1;
    }

    private void validate(CommandLine cl) {
        if (adapter < 0 || adapter >= Examiner.MAX_ADAPTERS) {
            throw new ParameterException(cl, "--adapter: " + adapter + " is not an instance from 0 to 31");
        }
        if (packets < 1 || packets > 0xffff) {
            throw new ParameterException(cl, "--packets: " + packets + " is not from 1 to 65535");
        }
        if (loopback != null && loopback < 0 || buffer != null && buffer < 0) {
            throw new ParameterException(cl, "a test cannot run a negative number of times");
        }
        if (pattern.isEmpty() || pattern.length() > MAX_PATTERN) {
            throw new ParameterException(cl, "--pattern: " + pattern.length() + " characters; 1 to 64 are allowed");
        }
        for (char c : pattern.toCharArray()) {
            if (c > 0xff) {
                throw new ParameterException(cl, "--pattern: U+" + String.format("%04X", (int) c)
                        + " is not one byte");
            }
        }
        if (pingAddress != null) {
            try {
                IPAddr.of(pingAddress);
            } catch (IllegalArgumentException e) {
                throw new ParameterException(cl, "--ping: " + e.getMessage());
            }
        }
        if (pingAddress == null && loopback == null && buffer == null) {
            loopback = DEFAULT_ITERATIONS;
            buffer = DEFAULT_ITERATIONS;
        }
    }

    /** Opens the adapter, runs the tests asked for, closes it. */
    Results run(ApiWrapper api, PrintWriter progress) {
        Results r = new Results();
        r.adapter = adapter;
        api.initJNINative();
        if (!api.openDevice(adapter)) {
            r.problems.add("openDevice: adapter " + adapter + " cannot be opened");
            return r;
        }
        try {
            if (pingAddress != null && !stopRequested) {
                r.ping = ping(api, progress);
            }
            if (loopback != null && !stopRequested) {
                r.loopback = loopback(api, progress);
            }
            if (buffer != null && !stopRequested) {
                r.bufferTests = bufferTests(api, progress, r.problems);
            }
        } finally {
            api.closeDevice(adapter);
        }
        r.stopped = stopRequested;
        return r;
    }

    private Ping ping(ApiWrapper api, PrintWriter progress) {
        Ping p = new Ping();
        p.address = IPAddr.of(pingAddress).toString();
        p.packets = packets;
        progress.println("ping " + p.address + ": " + packets + (packets == 1 ? " packet" : " packets"));
        progress.flush();
        int status = api.ping(adapter, IPAddr.of(pingAddress), packets);
        p.status = ApiStatus.hex(status);
        p.replied = status == 0;
        return p;
    }

    /** Makes {@code t} the running test unless a stop came first; false when it did. */
    private boolean start(TestStatus t) {
        synchronized (lock) {
            if (stopRequested) {
                return false;
            }
            running = t;
            return true;
        }
    }

    private Loopback loopback(ApiWrapper api, PrintWriter progress) {
        Loopback l = new Loopback();
        l.iterations = loopback;
        l.mode = mode;
        Progress status = new Progress(progress, "loopback", loopback);
        LoopbackTestResult result = new LoopbackTestResult();
        if (start(status)) {
            l.result = api.loopbackTest(adapter, mode, stopOnError ? 1 : 0, loopback, status, result);
        }
        l.resultText = DiagnosticStatus.text(l.result);
        l.passed = result.getLoopbackSuccessCount();
        l.failed = result.getLoopbackFailCount();
        return l;
    }

    private List<Buffer> bufferTests(ApiWrapper api, PrintWriter progress, List<String> problems) {
        List<Buffer> tests = new ArrayList<>();
        for (TargetInfo lun : activeLuns(api, problems)) {
            if (stopRequested) {
                break;
            }
            Buffer b = new Buffer();
            b.address = lun.address();
            b.iterations = buffer;
            Progress status = new Progress(progress, "buffer test [" + b.address + "]", buffer);
            BufferTestResult result = new BufferTestResult();
            if (!start(status)) {
                break;
            }
            b.result = api.readWriteBufferTest(adapter, new Object[] {lun}, stopOnError ? 1 : 0, buffer,
                    pattern.toCharArray(), status, new Object[] {result});
            b.status = result.getReadWriteBufferTestStatus();
            b.statusText = DiagnosticStatus.text(b.status);
            b.miscompares = result.getDataMiscompare();
            b.ioCount = result.getIoCount();
            b.megabytes = result.getMBytesCount();
            b.interrupts = result.getInterruptCount();
            b.hbaPortErrors = result.getHBAPortErrorCount();
            b.devicePortErrors = result.getDevicePortErrorCount();
            b.linkFailures = result.getLinkFailureCount();
            b.invalidCrcs = result.getInvalidCRCCount();
            if (b.miscompares > 0 && result.getLastPattern() != null) {
                StringBuilder hex = new StringBuilder();
                for (short s : result.getLastPattern()) {
                    hex.append(hex.length() == 0 ? "" : " ").append(String.format("%02x", s & 0xff));
                }
                b.lastPattern = hex.toString();
            }
            tests.add(b);
            if (stopOnError && b.result != 0) {
                break;
            }
        }
        return tests;
    }

    /**
     * The address of every LUN of the adapter's targets with an active session, each asking for the
     * buffer test; whether the LUN supports it is found out by the test.
     */
    private List<TargetInfo> activeLuns(ApiWrapper api, List<String> problems) {
        List<TargetInfo> luns = new ArrayList<>();
        HBA hba = new HBA(adapter);
        int status = api.getiSCSIHBAData(adapter, hba);
        ReportChecks.check(problems, "getiSCSIHBAData", status);
        if (status != 0) {
            return luns;
        }
        TargetsReport.forEachActiveTarget(api, adapter, hba, problems, t -> {
            for (int number : t.getLUNs()) {
                TargetInfo lun = t.getTargetInfo().withLUN(number);
                lun.setTargetState(TargetsReport.SESSION_ACTIVE);
                lun.setSupportsTest(true);
                lun.setPerformBufferTest(true);
                luns.add(lun);
            }
        });
        return luns;
    }

    static String summary(Results r) {
        StringBuilder sb = new StringBuilder();
        sb.append("Adapter ").append(r.adapter).append(r.stopped ? " (stopped early)" : "").append('\n');
        for (String p : r.problems) {
            sb.append("  Problem: ").append(p).append('\n');
        }
        if (r.ping != null) {
            sb.append(String.format("  Ping %s, %d %s: %s\n", r.ping.address, r.ping.packets,
                    r.ping.packets == 1 ? "packet" : "packets",
                    r.ping.replied ? "replied" : "no reply (status " + r.ping.status + ")"));
        }
        if (r.loopback != null) {
            Loopback l = r.loopback;
            sb.append(String.format("  Loopback, mode %d: %d passed, %d failed of %d (%s)\n", l.mode, l.passed,
                    l.failed, l.iterations, l.resultText));
        }
        if (r.bufferTests != null) {
            sb.append("  Buffer test: ").append(ReportChecks.count(r.bufferTests.size(), "LUN", "LUNs")).append('\n');
            for (Buffer b : r.bufferTests) {
                if (b.status != DiagnosticStatus.TESTED) {
                    // Not tested, or a command failed: the counters say nothing about the LUN.
                    sb.append(String.format("    %-11s  %s\n", "[" + b.address + "]", b.statusText));
                    continue;
                }
                sb.append(String.format("    %-11s  %-18s  %d %s, %d I/Os, %d MB, %d interrupts, port errors %d/%d,"
                        + " link failures %d, CRC errors %d%s\n", "[" + b.address + "]", b.statusText
                        + (b.result != 0 && b.result != b.status ? " (" + DiagnosticStatus.text(b.result) + ")" : ""),
                        b.miscompares, b.miscompares == 1 ? "miscompare" : "miscompares", b.ioCount, b.megabytes,
                        b.interrupts, b.hbaPortErrors, b.devicePortErrors, b.linkFailures, b.invalidCrcs,
                        b.lastPattern != null ? "; last read " + b.lastPattern : ""));
            }
        }
        return sb.toString();
    }
}
