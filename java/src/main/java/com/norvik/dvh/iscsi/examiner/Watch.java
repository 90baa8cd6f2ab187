package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonInclude;
import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.jni.ApiStatus;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.HBA;

import java.io.IOException;
import java.io.PrintWriter;
import java.io.UncheckedIOException;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Objects;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

/**
 * The event watch of dvh-examine ({@code --watch SECONDS}): switches asynchronous event collection
 * on for every open adapter, asks each adapter for its queued events about once a second until the
 * time is up or a stop is requested, prints one line per callback of the native library, switches
 * collection off again and prints a summary. Opening and closing the adapters is the caller's part.
 *
 * <p>Before the first fetch each adapter's data is read once: the native side drops device
 * database changes that do not change the state it recorded for the entry then. After a callback
 * that reports a device database change the adapter is read again, so that the next changes are
 * measured against the new states and the line can name the entries whose state changed.
 *
 * <p>Every native call is made on the thread that runs {@link #run()}; {@link #requestStop()} may be
 * called from any thread (the command's shutdown hook does, on Ctrl-C).
 */
public class Watch {

    /** Interval asked of the library for its own event collection, in seconds. */
    static final int TIMER_INTERVAL = 2;

    /** How long the watch waits between two rounds of fetches, in milliseconds. */
    static final long POLL_INTERVAL_MS = 1000;

    /** The update bit of a device database change. */
    static final int DDB_CHANGE = 0x20;

    /** Event kinds by update bit, as the native library ORs them into the callback's mask. */
    private static final Map<Integer, String> KINDS = new HashMap<>();

    static {
        KINDS.put(0x1, "FW System Error");
        KINDS.put(0x2, "Protocol Statistics Alarm");
        KINDS.put(0x4, "SCSI Command PDU Reject");
        KINDS.put(0x8, "Link Up");
        KINDS.put(0x10, "Link Down");
        KINDS.put(DDB_CHANGE, "DDB Change");
        KINDS.put(0x40, "FW Self Test Failed");
        KINDS.put(0x200, "Invalid NVRAM");
        KINDS.put(0x400, "MAC Address Changed");
        KINDS.put(0x800, "IP Address Changed");
        KINDS.put(0x1000, "DHCP Lease Expired");
        KINDS.put(0x2000, "DHCP Lease Acquired");
        KINDS.put(0x4000, "iSNS Event");
        KINDS.put(0x8000, "Socket Passthrough");
        KINDS.put(0x10000, "Duplicate IP Address Detected");
        KINDS.put(0x20000, "ARP Complete");
        KINDS.put(0x40000, "Subnet State Change Detected");
        KINDS.put(0x40000000, "Unknown Event");
    }

    /** Time as the watch sees it; tests replace it so that a watch of many seconds runs at once. */
    public interface Timing {
        /** A monotonic time in nanoseconds. */
        long nanoTime();

        /** Waits {@code millis} milliseconds, or less when {@code stop} reaches zero meanwhile. */
        void sleep(long millis, CountDownLatch stop) throws InterruptedException;

        /** The system's monotonic clock and a wait that a stop request cuts short. */
        Timing SYSTEM = new Timing() {
            @Override
            public long nanoTime() {
                return System.nanoTime();
            }

            @Override
            public void sleep(long millis, CountDownLatch stop) throws InterruptedException {
                stop.await(millis, TimeUnit.MILLISECONDS);
            }
        };
    }

    private static final ObjectMapper JSON = new ObjectMapper();

    private final ApiWrapper api;
    private final List<Integer> instances;
    private final long seconds;
    private final boolean json;
    private final PrintWriter out;
    private final Timing timing;
    private final CountDownLatch stop = new CountDownLatch(1);
    private final Host host = new Host();

    private long start;
    private boolean problems;
    /** Callbacks per Java instance number the library named, every watched adapter from 0. */
    private final Map<Integer, Integer> callbacks = new TreeMap<>();
    /** Device database states by adapter, as last read: entry index to state (absent = 0). */
    private final Map<Integer, Map<Integer, Integer>> states = new HashMap<>();
    /** The status of each adapter's last fetch, so that a failing fetch is reported once. */
    private final Map<Integer, Integer> lastFetchStatus = new HashMap<>();
    /** Callbacks made during the current fetch, printed when it returns. */
    private final List<EventLine> delivered = new ArrayList<>();

    /**
     * @param api       the native library, with {@code instances} open
     * @param instances the adapters to watch
     * @param seconds   how long to watch (positive)
     * @param json      one JSON object per line instead of text
     * @param out       takes the lines; flushed after each
     * @param timing    clock and wait
     */
    public Watch(ApiWrapper api, List<Integer> instances, long seconds, boolean json, PrintWriter out,
            Timing timing) {
        if (seconds <= 0) {
            throw new IllegalArgumentException("seconds must be positive: " + seconds);
        }
        this.api = Objects.requireNonNull(api);
        this.instances = List.copyOf(instances);
        this.seconds = seconds;
        this.json = json;
        this.out = Objects.requireNonNull(out);
        this.timing = Objects.requireNonNull(timing);
    }

    /** Ends the watch early: the current round of fetches is finished, then collection is switched off. */
    public void requestStop() {
        stop.countDown();
    }

    /**
     * The names of the event kinds in an update mask, lowest bit first; bits without a name
     * appear as hexadecimal numbers (e.g. "0x100").
     */
    public static List<String> eventKinds(int mask) {
        List<String> kinds = new ArrayList<>();
        for (int i = 0; i < 32; i++) {
            int bit = 1 << i;
            if ((mask & bit) != 0) {
                String name = KINDS.get(bit);
                kinds.add(name != null ? name : "0x" + Integer.toHexString(bit));
            }
        }
        return kinds;
    }

    /**
     * Runs the whole watch and prints its lines and summary.
     *
     * @return 0 when every native call succeeded, 1 when one failed (each failure has its line)
     */
    public int run() {
        start = timing.nanoTime();
        for (int dev : instances) {
            callbacks.put(dev, 0);
        }
        print(new StartLine(seconds, instances), startText());
        boolean stoppedEarly = false;
        if (!instances.isEmpty()) {
            for (int dev : instances) {
                readStates(dev);
            }
            for (int dev : instances) {
                check(dev, "enableAENsForDevice", api.enableAENsForDevice(dev, TIMER_INTERVAL, host));
            }
            try {
                long deadline = start + TimeUnit.SECONDS.toNanos(seconds);
                while (true) {
                    for (int dev : instances) {
                        fetch(dev);
                    }
                    if (stop.getCount() == 0) {
                        stoppedEarly = true;
                        break;
                    }
                    long left = deadline - timing.nanoTime();
                    if (left <= 0) {
                        break;
                    }
                    try {
                        timing.sleep(Math.min(POLL_INTERVAL_MS, TimeUnit.NANOSECONDS.toMillis(left - 1) + 1), stop);
                    } catch (InterruptedException e) {
                        Thread.currentThread().interrupt();
                        stoppedEarly = true;
                        break;
                    }
                }
            } finally {
                for (int dev : instances) {
                    check(dev, "disableAENsForDevice", api.disableAENsForDevice(dev, 0));
                }
            }
        }
        printSummary(stoppedEarly);
        return problems ? 1 : 0;
    }

    /** One fetch: the library drains the adapter's queue and calls {@link Host} at most once. */
    private void fetch(int dev) {
        delivered.clear();
        int status = api.getAENsForDevice(dev, instances.size(), host);
        Integer last = lastFetchStatus.put(dev, status);
        if (status != 0 && (last == null || last != status)) {
            problem(dev, "getAENsForDevice", status);
        }
        for (EventLine line : new ArrayList<>(delivered)) {
            if ((line.mask & DDB_CHANGE) != 0) {
                int adapter = instances.contains(line.instance) ? line.instance : dev;
                Map<Integer, Integer> before = states.getOrDefault(adapter, Map.of());
                if (readStates(adapter)) {
                    line.changes = changes(before, states.get(adapter));
                }
            }
            print(line, line.text());
        }
        delivered.clear();
    }

    /** Reads the adapter's data (which also records its entries' states natively); false on failure. */
    private boolean readStates(int dev) {
        HBA hba = new HBA(dev);
        int status = api.getiSCSIHBAData(dev, hba);
        if (status != 0) {
            problem(dev, "getiSCSIHBAData", status);
            return false;
        }
        Map<Integer, Integer> now = new TreeMap<>();
        for (DevDBEntry e : hba.getDeviceDataBaseEntries()) {
            now.put(e.getTargetID(), e.getState());
        }
        states.put(dev, now);
        return true;
    }

    private static List<Change> changes(Map<Integer, Integer> before, Map<Integer, Integer> after) {
        TreeSet<Integer> indexes = new TreeSet<>(before.keySet());
        indexes.addAll(after.keySet());
        List<Change> changes = new ArrayList<>();
        for (int index : indexes) {
            int from = before.getOrDefault(index, 0);
            int to = after.getOrDefault(index, 0);
            if (from != to) {
                changes.add(new Change(index, from, to));
            }
        }
        return changes;
    }

    private void check(int dev, String call, int status) {
        if (status != 0) {
            problem(dev, call, status);
        }
    }

    private void problem(int dev, String call, int status) {
        problems = true;
        ProblemLine p = new ProblemLine(elapsed(), dev, call, ApiStatus.hex(status));
        print(p, String.format(Locale.ROOT, "%s adapter %d: problem: %s: status %s", offset(p.time), dev, call,
                p.status));
    }

    private void printSummary(boolean stoppedEarly) {
        SummaryLine s = new SummaryLine();
        s.seconds = elapsed();
        s.stoppedEarly = stoppedEarly;
        for (Map.Entry<Integer, Integer> e : callbacks.entrySet()) {
            s.callbacks.add(new Count(e.getKey(), e.getValue()));
            s.total += e.getValue();
        }
        StringBuilder sb = new StringBuilder();
        sb.append(String.format(Locale.ROOT, "Watched %s for %.3f s%s: %s", plural(instances.size(), "adapter"),
                s.seconds, stoppedEarly ? " (stopped early)" : "", plural(s.total, "callback")));
        for (Count c : s.callbacks) {
            sb.append(String.format(Locale.ROOT, "%n  adapter %d: %s", c.instance, plural(c.count, "callback")));
        }
        print(s, sb.toString());
    }

    private String startText() {
        if (instances.isEmpty()) {
            return "No adapters to watch";
        }
        StringBuilder sb = new StringBuilder(instances.size() == 1 ? "Watching adapter " : "Watching adapters ");
        for (int i = 0; i < instances.size(); i++) {
            sb.append(i == 0 ? "" : ", ").append(instances.get(i));
        }
        return sb.append(" for ").append(seconds).append(" s (Ctrl-C stops)").toString();
    }

    private static String plural(int n, String word) {
        return n + " " + word + (n == 1 ? "" : "s");
    }

    /** Seconds since the watch began, to the millisecond. */
    private double elapsed() {
        return TimeUnit.NANOSECONDS.toMillis(timing.nanoTime() - start) / 1000.0;
    }

    private static String offset(double time) {
        return String.format(Locale.ROOT, "+%.3fs", time);
    }

    private void print(Object jsonLine, String text) {
        if (json) {
            try {
                out.println(JSON.writeValueAsString(jsonLine));
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            }
        } else {
            out.println(text);
        }
        out.flush();
    }

    /** The callback object handed to the native library. */
    public final class Host {
        /**
         * Called by the native library during a fetch, at most once, with the Java instance of the
         * adapter, the OR of the update bits of the events that counted and the number of adapters
         * the fetch was told about. The answer is only logged natively.
         */
        public int jniAENCallBack(int javaIndex, int updateMask, int numHwHBAs) {
            callbacks.merge(javaIndex, 1, Integer::sum);
            delivered.add(new EventLine(elapsed(), javaIndex, updateMask));
            return 0;
        }
    }

    // --- The lines; their public fields are also the shape of the JSON output ---------------------

    /** The first line: how long and which adapters. */
    @JsonPropertyOrder({"type", "seconds", "adapters"})
    public static class StartLine {
        public final String type = "start";
        public long seconds;
        public List<Integer> adapters;

        StartLine(long seconds, List<Integer> adapters) {
            this.seconds = seconds;
            this.adapters = adapters;
        }
    }

    /** One callback: when (seconds since the start), which adapter, which events. */
    @JsonPropertyOrder({"type", "time", "instance", "mask", "events", "changes"})
    public static class EventLine {
        public final String type = "event";
        public double time;
        public int instance;
        public int mask;
        public List<String> events;
        /** Entries whose state changed, when the events include a device database change. */
        @JsonInclude(JsonInclude.Include.NON_EMPTY)
        public List<Change> changes = new ArrayList<>();

        EventLine(double time, int instance, int mask) {
            this.time = time;
            this.instance = instance;
            this.mask = mask;
            this.events = eventKinds(mask);
        }

        String text() {
            StringBuilder sb = new StringBuilder();
            sb.append(offset(time)).append(" adapter ").append(instance).append(": ")
                    .append(String.join(", ", events)).append(String.format(" (0x%08x)", mask));
            for (Change c : changes) {
                sb.append("; entry ").append(c.index).append(": ").append(c.fromText).append(" -> ")
                        .append(c.toText);
            }
            return sb.toString();
        }
    }

    /** A device database entry whose state changed between two reads (0: not in use). */
    @JsonPropertyOrder({"index", "from", "fromText", "to", "toText"})
    public static class Change {
        public int index;
        public int from;
        public String fromText;
        public int to;
        public String toText;

        Change(int index, int from, int to) {
            this.index = index;
            this.from = from;
            this.fromText = Examiner.stateText(from);
            this.to = to;
            this.toText = Examiner.stateText(to);
        }
    }

    /** A native call that did not succeed. */
    @JsonPropertyOrder({"type", "time", "instance", "call", "status"})
    public static class ProblemLine {
        public final String type = "problem";
        public double time;
        public int instance;
        public String call;
        public String status;

        ProblemLine(double time, int instance, String call, String status) {
            this.time = time;
            this.instance = instance;
            this.call = call;
            this.status = status;
        }
    }

    /** The last line: how long the watch ran and the callbacks per adapter. */
    @JsonPropertyOrder({"type", "seconds", "stoppedEarly", "total", "callbacks"})
    public static class SummaryLine {
        public final String type = "summary";
        public double seconds;
        public boolean stoppedEarly;
        public int total;
        public List<Count> callbacks = new ArrayList<>();
    }

    @JsonPropertyOrder({"instance", "count"})
    public static class Count {
        public int instance;
        public int count;

        Count(int instance, int count) {
            this.instance = instance;
            this.count = count;
        }
    }
}
