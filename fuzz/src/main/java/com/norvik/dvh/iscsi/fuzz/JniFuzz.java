package com.norvik.dvh.iscsi.fuzz;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.io.PrintStream;
import java.io.PrintWriter;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.Deque;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.stream.Stream;

/**
 * JNI fuzzer: random calls of every native method of {@link ApiWrapper} (found by reflection) with
 * hostile arguments ({@link Hostile}), against simulated adapters whose library fails at random
 * and hands back damaged records (the simulator's chaos mode).
 *
 * <pre>
 *   JniFuzz --seed S --calls N [--stall-seconds T] [--log FILE]
 * </pre>
 *
 * The calls run in a worker JVM (started with -Xcheck:jni, in a scratch folder) that this process
 * watches: a worker that dies, or falls silent for T seconds, is a crash (the call it was making is
 * logged) and a new worker goes on after that call. Every sanitizer report and JNI warning in the
 * worker's output is counted. The last line is
 * {@code fuzz: seed S, calls N, crashes C, sanitizer reports R, JNI warnings W, pending exceptions P};
 * the exit status is 1 when any of C, R, W, P is not 0. A method the native library does not export
 * yet is counted and listed, not a failure.
 */
public final class JniFuzz {

    static final String TAG = "@@fuzz ";
    /** Calls per simulated episode: fresh scenario, chaos settings, adapters opened. */
    static final int EPISODE = 64;
    /** Iteration-count parameters (index) of the methods that repeat a test that many times. */
    static final Map<String, Integer> LOOP_COUNTS = Map.of("loopbackTest", 3, "readWriteBufferTest", 3);

    private JniFuzz() {
    }

    public static void main(String[] args) throws Exception {
        long seed = 1;
        long calls = 1000;
        long from = -1;
        int stallSeconds = 120;
        Path log = Path.of("fuzz-report.txt");
        for (int i = 0; i < args.length; i++) {
            switch (args[i]) {
                case "--seed" -> seed = Long.parseLong(args[++i]);
                case "--calls" -> calls = Long.parseLong(args[++i]);
                case "--worker-from" -> from = Long.parseLong(args[++i]);
                case "--stall-seconds" -> stallSeconds = Integer.parseInt(args[++i]);
                case "--log" -> log = Path.of(args[++i]);
                default -> {
                    System.err.println("usage: fuzz --seed S --calls N [--stall-seconds T] [--log FILE]");
                    System.exit(2);
                }
            }
        }
        if (from >= 0) {
            new Worker(seed, calls).run(from);
            System.exit(0);
        }
        System.exit(new Supervisor(seed, calls, stallSeconds, log).run());
    }

    static long mix(long seed, long i) {
        long z = seed * 0x9E3779B97F4A7C15L + i * 0xBF58476D1CE4E5B9L + 0x94D049BB133111EBL;
        z = (z ^ (z >>> 30)) * 0xBF58476D1CE4E5B9L;
        z = (z ^ (z >>> 27)) * 0x94D049BB133111EBL;
        return z ^ (z >>> 31);
    }

    /** The native methods of ApiWrapper, by name. */
    static List<Method> nativeMethods() {
        List<Method> out = new ArrayList<>();
        for (Method m : ApiWrapper.class.getDeclaredMethods()) {
            if (Modifier.isNative(m.getModifiers())) {
                out.add(m);
            }
        }
        out.sort(Comparator.comparing(Method::getName));
        return out;
    }

    // --- worker -------------------------------------------------------------------------------

    static final class Worker {
        private final long seed;
        private final long calls;
        private final PrintStream proto = System.err;
        private final ApiWrapper api = new ApiWrapper();
        private final Hostile hostile = new Hostile();
        private final List<Method> natives = nativeMethods();
        private final long[] perMethod = new long[natives.size()];
        private final long[] nanos = new long[natives.size()];
        private final boolean[] unexported = new boolean[natives.size()];
        private long accessorThrew;
        private long pending;

        Worker(long seed, long calls) {
            this.seed = seed;
            this.calls = calls;
        }

        void run(long from) {
            proto.println(TAG + "start " + from + " methods " + natives.size() + " model classes "
                    + hostile.candidates().size());
            for (long i = from; i < calls; i++) {
                if (i == from || i % EPISODE == 0) {
                    episode(new Random(mix(seed, -1 - i / EPISODE)), i);
                }
                Random r = new Random(mix(seed, i));
                int k = r.nextInt(natives.size());
                // Known missing: spend the call on a method that is there (if any).
                for (int tries = 0; unexported[k] && tries < 4 * natives.size(); tries++) {
                    k = r.nextInt(natives.size());
                }
                Method m = natives.get(k);
                if (r.nextInt(20) == 0) {
                    int[] payload = new int[7];
                    for (int p = 0; p < 4; p++) {
                        payload[p] = Hostile.anInt(r);
                    }
                    try {
                        SimControl.pushEvent(r.nextInt(3), 0x8010 + r.nextInt(16), payload);
                    } catch (IllegalArgumentException e) {
                        // no adapter with that instance in this scenario
                    }
                }
                Hostile.Choice choice = new Hostile.Choice();
                Object[] args = hostile.arguments(m, r, choice, LOOP_COUNTS.getOrDefault(m.getName(), -1));
                proto.println(TAG + "call " + i + " " + m.getName() + "(" + describe(args) + ")");
                perMethod[k]++;
                int countdown = r.nextInt(3) == 0 ? r.nextInt(12) : -1;
                Accessors.arm(countdown);
                long t0 = System.nanoTime();
                try {
                    m.invoke(api, args);
                } catch (InvocationTargetException e) {
                    classify(i, k, m, e.getCause());
                    continue;
                } catch (IllegalAccessException e) {
                    throw new IllegalStateException(e);
                } finally {
                    hostile.touched(choice, Accessors.disarm());
                    nanos[k] += System.nanoTime() - t0;
                }
            }
            for (int k = 0; k < natives.size(); k++) {
                proto.println(TAG + "method " + natives.get(k).getName() + " " + perMethod[k] + " "
                        + (unexported[k] ? "unexported" : "exported") + " " + nanos[k] / 1_000_000);
            }
            proto.println(TAG + "done " + calls + " accessorThrew " + accessorThrew + " pending " + pending);
            proto.flush();
            System.out.flush();
        }

        private void classify(long i, int k, Method m, Throwable t) {
            StackTraceElement[] st = t.getStackTrace();
            boolean raisedInNative = st.length > 0 && st[0].getClassName().equals(ApiWrapper.class.getName())
                    && st[0].getMethodName().equals(m.getName());
            if (t instanceof UnsatisfiedLinkError && raisedInNative) {
                unexported[k] = true;
                return;
            }
            if (!raisedInNative && !(st.length == 0)) {
                accessorThrew++; // thrown by Java code the native method called: the caller's to handle
                return;
            }
            pending++;
            proto.println(TAG + "pending " + i + " " + m.getName() + " " + t);
        }

        private void episode(Random r, long i) {
            SimControl.reset();
            int kind = r.nextInt(10);
            if (kind >= 7) {
                StringBuilder s = new StringBuilder("{\"adapters\":[");
                int n = r.nextInt(5);
                for (int a = 0; a < n; a++) {
                    s.append(a == 0 ? "" : ",").append("{\"instance\":").append(a).append('}');
                }
                SimControl.loadScenario(s.append("]}").toString());
            }
            int[] faults = {0, 0, 10, 50, 200, 1000};
            int[] garbles = {0, 30, 100, 300, 1000};
            int f = faults[r.nextInt(faults.length)];
            int g = garbles[r.nextInt(garbles.length)];
            SimControl.chaos(r.nextLong(), f, g);
            api.initJNINative();
            int open = r.nextInt(4);
            for (int d = 0; d < open; d++) {
                api.openDevice(d);
            }
            proto.println(TAG + "episode " + i + " scenario " + (kind >= 7 ? "bare" : "default") + " faults "
                    + f + "/1000 damaged records " + g + "/1000 opened " + open);
        }

        private static String describe(Object[] args) {
            StringBuilder sb = new StringBuilder();
            for (Object a : args) {
                if (sb.length() > 0) {
                    sb.append(", ");
                }
                if (a == null) {
                    sb.append("null");
                } else if (a instanceof String s) {
                    sb.append("String[").append(s.length()).append(']');
                } else if (a instanceof Integer || a instanceof Boolean) {
                    sb.append(a);
                } else if (a.getClass().isArray()) {
                    sb.append(a.getClass().getComponentType().getSimpleName()).append('[')
                            .append(java.lang.reflect.Array.getLength(a)).append(']');
                } else {
                    sb.append(a.getClass().getSimpleName());
                }
            }
            return sb.toString();
        }
    }

    // --- supervisor -----------------------------------------------------------------------------

    static final class Supervisor {
        private static final String[] SANITIZER = {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer",
            "runtime error:", "ERROR: UndefinedBehaviorSanitizer"};
        private static final String[] JNI_WARNING = {"WARNING in native method", "WARNING: JNI local refs",
            "FATAL ERROR in native method"};

        private final long seed;
        private final long calls;
        private final int stallSeconds;
        private final Path logPath;
        private long crashes;
        private long reports;
        private long warnings;
        private long pending;
        private long accessorThrew;
        private final Map<String, long[]> methods = new TreeMap<>();
        private final TreeSet<String> unexported = new TreeSet<>();
        private final TreeSet<String> exported = new TreeSet<>();

        Supervisor(long seed, long calls, int stallSeconds, Path logPath) {
            this.seed = seed;
            this.calls = calls;
            this.stallSeconds = stallSeconds;
            this.logPath = logPath;
        }

        /** Output of one worker, read on two threads. */
        final class Run {
            final AtomicLong lastCall = new AtomicLong(-1);
            final AtomicLong lastLineAt = new AtomicLong(System.nanoTime());
            volatile String lastCallLine = "";
            volatile boolean done;
            int sanitizer;
            int jni;
            int pendingHere;
            final Deque<String> tail = new ArrayDeque<>();
            final List<String> findings = new ArrayList<>();
            int capture;

            synchronized void line(String l) {
                lastLineAt.set(System.nanoTime());
                // The native side's buffered output may hold part of a line before a tagged one.
                int tag = l.indexOf(TAG);
                if (tag >= 0) {
                    protocol(l.substring(tag + TAG.length()));
                    if (tag == 0) {
                        return;
                    }
                    l = l.substring(0, tag);
                }
                tail.addLast(l);
                if (tail.size() > 40) {
                    tail.removeFirst();
                }
                if (capture > 0) {
                    findings.add("    " + l);
                    capture--;
                }
                for (String s : SANITIZER) {
                    if (l.contains(s)) {
                        sanitizer++;
                        finding("sanitizer report", l);
                    }
                }
                for (String s : JNI_WARNING) {
                    if (l.contains(s)) {
                        jni++;
                        finding("JNI warning", l);
                    }
                }
            }

            private void finding(String what, String l) {
                findings.add(what + " during call: " + lastCallLine);
                findings.add("    " + l);
                capture = 60;
            }

            private void protocol(String p) {
                String[] w = p.split(" ", 4);
                switch (w[0]) {
                    case "call" -> {
                        lastCall.set(Long.parseLong(w[1]));
                        lastCallLine = p.substring(5);
                    }
                    case "method" -> {
                        String[] m = p.split(" ");
                        long[] c = methods.computeIfAbsent(m[1], x -> new long[2]);
                        c[0] += Long.parseLong(m[2]);
                        c[1] += Long.parseLong(m[4]);
                        (m[3].equals("unexported") ? unexported : exported).add(m[1]);
                    }
                    case "pending" -> {
                        pendingHere++;
                        findings.add("pending exception: " + p);
                    }
                    case "done" -> {
                        String[] d = p.split(" ");
                        accessorThrew += Long.parseLong(d[3]);
                        done = true;
                    }
                    default -> {
                    }
                }
            }
        }

        int run() throws Exception {
            Path scratch = Files.createTempDirectory("dvh-fuzz-");
            List<String> report = new ArrayList<>();
            long from = 0;
            try {
                while (from < calls) {
                    Run run = new Run();
                    Process p = start(scratch, from);
                    Thread out = pump(p.getInputStream(), run);
                    boolean hung = false;
                    while (!p.waitFor(1, TimeUnit.SECONDS)) {
                        long silent = System.nanoTime() - run.lastLineAt.get();
                        if (silent > TimeUnit.SECONDS.toNanos(stallSeconds)) {
                            hung = true;
                            p.destroyForcibly().waitFor();
                            break;
                        }
                    }
                    out.join();
                    int exit = p.exitValue();
                    synchronized (run) {
                        reports += run.sanitizer;
                        warnings += run.jni;
                        pending += run.pendingHere;
                        report.addAll(run.findings);
                        if (run.done && exit == 0) {
                            break;
                        }
                        if (run.sanitizer == 0) {
                            crashes++;
                            report.add((hung ? "hang (no output for " + stallSeconds + " s)" : "crash (exit " + exit + ")")
                                    + " during call: " + run.lastCallLine);
                            for (String l : run.tail) {
                                report.add("    " + l);
                            }
                            report.addAll(crashFiles(scratch));
                        }
                        from = Math.max(run.lastCall.get() + 1, from + 1);
                    }
                }
            } finally {
                deleteTree(scratch);
            }
            printSummary(report);
            boolean clean = crashes == 0 && reports == 0 && warnings == 0 && pending == 0;
            return clean ? 0 : 1;
        }

        private Process start(Path scratch, long from) throws IOException {
            String java = ProcessHandle.current().info().command().orElse("java");
            List<String> cmd = new ArrayList<>(List.of(java, "-Xcheck:jni", "-XX:+UseSerialGC",
                    "-XX:ErrorFile=" + scratch.resolve("hs_err_pid%p.log"),
                    "-Djava.library.path=" + System.getProperty("java.library.path"),
                    "-cp", System.getProperty("java.class.path"), JniFuzz.class.getName(),
                    "--seed", Long.toString(seed), "--calls", Long.toString(calls),
                    "--worker-from", Long.toString(from)));
            // One stream, so that reports and warnings stay next to the call that caused them.
            ProcessBuilder pb = new ProcessBuilder(cmd).directory(scratch.toFile()).redirectErrorStream(true);
            pb.environment().remove("IZKSDM_SCENARIO");
            return pb.start();
        }

        private Thread pump(InputStream in, Run run) {
            Thread t = new Thread(() -> {
                try (BufferedReader r = new BufferedReader(new InputStreamReader(in, StandardCharsets.ISO_8859_1))) {
                    for (String l; (l = r.readLine()) != null;) {
                        run.line(l);
                    }
                } catch (IOException e) {
                    // the worker went away
                }
            });
            t.setDaemon(true);
            t.start();
            return t;
        }

        private void printSummary(List<String> report) throws IOException {
            List<String> lines = new ArrayList<>();
            lines.add("fuzz: methods called: " + exported.size() + " exported, " + unexported.size()
                    + " not yet exported by the native library" + (unexported.isEmpty() ? "" : " " + unexported));
            StringBuilder per = new StringBuilder("fuzz: calls per method:");
            methods.forEach((name, n) -> per.append(' ').append(name).append('=').append(n[0]));
            StringBuilder slow = new StringBuilder("fuzz: slowest methods (ms in all):");
            methods.entrySet().stream().sorted((a, b) -> Long.compare(b.getValue()[1], a.getValue()[1])).limit(5)
                    .forEach(e -> slow.append(' ').append(e.getKey()).append('=').append(e.getValue()[1]));
            lines.add(per.toString());
            lines.add(slow.toString());
            lines.add("fuzz: exceptions thrown by accessors and passed on to the caller: " + accessorThrew);
            if (!report.isEmpty()) {
                try (PrintWriter w = new PrintWriter(Files.newBufferedWriter(logPath, StandardCharsets.UTF_8))) {
                    w.println("fuzz findings, seed " + seed + ", calls " + calls);
                    report.forEach(w::println);
                }
                report.stream().limit(80).forEach(System.err::println);
                lines.add("fuzz: findings written to " + logPath.toAbsolutePath());
            }
            lines.forEach(System.err::println);
            System.out.println("fuzz: seed " + seed + ", calls " + calls + ", crashes " + crashes
                    + ", sanitizer reports " + reports + ", JNI warnings " + warnings + ", pending exceptions "
                    + pending);
        }

        /** The head of the JVM's crash file(s) the worker left, which are then removed. */
        private static List<String> crashFiles(Path scratch) throws IOException {
            List<String> out = new ArrayList<>();
            try (Stream<Path> s = Files.list(scratch)) {
                for (Path f : s.filter(x -> x.getFileName().toString().startsWith("hs_err")).toList()) {
                    out.add("    " + f.getFileName() + ":");
                    try (Stream<String> lines = Files.lines(f, StandardCharsets.ISO_8859_1)) {
                        lines.limit(40).forEach(l -> out.add("      " + l));
                    }
                    Files.delete(f);
                }
            }
            return out;
        }

        private static void deleteTree(Path root) throws IOException {
            try (Stream<Path> s = Files.walk(root)) {
                for (Path p : s.sorted(Comparator.reverseOrder()).toList()) {
                    Files.deleteIfExists(p);
                }
            }
        }
    }
}
