package com.norvik.dvh.iscsi.jni;

import com.fasterxml.jackson.annotation.JsonAutoDetect;
import com.fasterxml.jackson.annotation.PropertyAccessor;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.fasterxml.jackson.databind.SerializationFeature;
import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.catalog.NativeMethods;
import com.norvik.dvh.iscsi.catalog.Samples;
import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.model.AdapterLogs;
import com.norvik.dvh.iscsi.model.BootInfo;
import com.norvik.dvh.iscsi.model.BufferTestResult;
import com.norvik.dvh.iscsi.model.CHAPTableEntry;
import com.norvik.dvh.iscsi.model.ChipInfo;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DriverInfo;
import com.norvik.dvh.iscsi.model.ExtendedPortStatistics;
import com.norvik.dvh.iscsi.model.FirmwareInfo;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.InitFW;
import com.norvik.dvh.iscsi.model.LUN;
import com.norvik.dvh.iscsi.model.LoopbackTestResult;
import com.norvik.dvh.iscsi.model.NodeInfo;
import com.norvik.dvh.iscsi.model.PortStatistics;
import com.norvik.dvh.iscsi.model.SCSIInqInfo;
import com.norvik.dvh.iscsi.model.Target;
import com.norvik.dvh.iscsi.model.TargetInfo;
import com.norvik.dvh.iscsi.model.TestStatus;
import com.norvik.dvh.iscsi.model.VitalProductData;
import com.norvik.dvh.iscsi.model.iSNSDiscoveryConfig;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.io.IOException;
import java.io.PrintStream;
import java.io.UncheckedIOException;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.function.IntSupplier;
import java.util.function.Supplier;
import java.util.function.ToIntFunction;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import javax.management.ObjectName;

/**
 * The benchmark behind scripts/bench.sh: every native method's time per call against the
 * simulator (a 512-entry device database on adapter 0, 256 queued events per event fetch), the
 * JNI floors of the methods that have one, a full refresh of both adapters, and resident and
 * native memory over 100,000 calls per method. Results go to standard error; the library's
 * own diagnostic lines go to standard output.
 */
public final class Bench {

    private static final PrintStream OUT = System.err;
    private static final ApiWrapper api = new ApiWrapper();
    private static final int DDB_ENTRIES = 512;
    private static final int EVENTS = 256;
    private static final int HANDLE_0 = 10;
    private static final int CALLS = 100_000;
    private static final int CHAP_ENTRIES = 128;
    private static final int POLICIES = 64;
    private static final int TRANSFORMS = 16;
    private static final int ISNS_TARGETS = 512;
    private static final char[] BUFFER_PATTERN = "0123456789abcdef0123456789ABCDEF".toCharArray();

    /** A host object for events. */
    public static final class Host {
        int calls;

        public int jniAENCallBack(int dev, int mask, int unused) {
            calls++;
            return 0;
        }
    }

    private record Result(String name, double nsPerCall, double spread) {
    }

    /**
     * A method measured against its floor: the row's label and the floor's call; for a method that
     * fills an object, also a fresh object and the method and the floor on it, so that --check can
     * compare what they fill.
     */
    private record Floor(String label, IntSupplier floor, Supplier<Object> fresh, ToIntFunction<Object> methodOn,
            ToIntFunction<Object> floorOn) {
        Floor(String label, IntSupplier floor) {
            this(label, floor, null, null, null);
        }

        /** A floor that fills a fresh object of `fresh` (as the method does). */
        static <T> Floor filling(String label, Supplier<T> fresh, ToIntFunction<T> method, ToIntFunction<T> floor) {
            @SuppressWarnings("unchecked")
            ToIntFunction<Object> m = o -> method.applyAsInt((T) o);
            @SuppressWarnings("unchecked")
            ToIntFunction<Object> f = o -> floor.applyAsInt((T) o);
            return new Floor(label, () -> floor.applyAsInt(fresh.get()), fresh::get, m, f);
        }
    }

    /**
     * The floors added to {@link #methods}' methods, by method name, on the same model objects and
     * adapter as the method's own entry there.
     */
    private static final Map<String, Floor> FLOORS = new LinkedHashMap<>();
    /** The floors measured by rows of their own, for --check. */
    private static final Map<String, Floor> OWN_ROW_FLOORS = new LinkedHashMap<>();

    private Bench() {
    }

    /** Entries of adapter 0's connection error log and ARP table: as many as the library reads. */
    private static final int LOG_ENTRIES = 128;

    /**
     * The default scenario with adapter 0 grown to the benchmark's data: a 512-entry device
     * database, 128 CHAP entries, 64 policies of 16 transforms each, 512 iSNS targets and 128
     * entries in each log (its targets, LUNs and forty security counters stay as they are).
     */
    private static void setUp() {
        SimControl.reset();
        ObjectNode root = Scenarios.defaultScenario();
        ObjectNode a0 = (ObjectNode) root.get("adapters").get(0);
        a0.remove("ddb");
        for (int i = 0; i < DDB_ENTRIES; i++) {
            Scenarios.ddb(a0, i, 4);
        }
        ArrayNode chap = a0.putObject("chapTable").put("slots", CHAP_ENTRIES).putArray("entries");
        for (int i = 0; i < CHAP_ENTRIES; i++) {
            chap.addObject().put("index", i).put("name", "iqn.2011-04.org.wren:initiator-" + i)
                    .put("secretText", "secret-of-entry-" + i).put("flags", 0x40).put("link", 3);
        }
        a0.remove("securityPolicies");
        for (int slot = 0; slot < POLICIES; slot++) {
            ObjectNode p = Scenarios.policy(a0, slot, 1, 10 + slot, "policy-" + slot)
                    .put("sourceAddr", "192.168.50." + slot).put("destStartAddr", "10.20.31." + slot)
                    .put("destEndAddr", "10.20.32." + slot).put("preSharedKey", "psk-" + slot);
            for (int t = 0; t < TRANSFORMS; t++) {
                Scenarios.transform(p).put("type", 1 + t % 2).put("level", t).put("encryptAlgo", 3)
                        .put("authAlgo", 1).put("secondsLife", 7200).put("group", 5);
            }
        }
        ArrayNode isns = a0.putArray("isnsTargets");
        for (int i = 0; i < ISNS_TARGETS; i++) {
            ObjectNode t = isns.addObject().put("name", "iqn.2016-02.net.plover:disk" + i).put("alias", "disk" + i)
                    .put("ddid", i);
            t.putArray("portals").addObject().put("address", "10.9." + (i / 256) + "." + (i % 256))
                    .put("port", 3260 + i % 4);
        }
        ArrayNode errors = a0.putArray("connectionErrorLog");
        ArrayNode arp = a0.putArray("arpLog");
        for (int i = 0; i < LOG_ENTRIES; i++) {
            errors.addObject().put("seconds", 1000 + i).put("milliseconds", i).put("deviceIndex", i % 512)
                    .put("connState", 6).put("entryType", 1).put("errorType", 0x1c).put("errorDetail", i)
                    .put("dupErrorCnt", i % 4);
            arp.addObject().put("ipAddress", "192.168.51." + i).put("macAddress", String.format("02:4e:56:00:01:%02x", i))
                    .put("valid", 1).put("timeIn", i % 200);
        }
        SimControl.loadScenario(Scenarios.text(root));
        api.initJNINative();
        if (!api.openDevice(0) || !api.openDevice(1)) {
            throw new IllegalStateException("adapters did not open");
        }
    }

    private static final ThreadMXBean THREADS = ManagementFactory.getThreadMXBean();
    /** Wall-clock time instead of the calling thread's CPU time (--wall). */
    private static boolean wall;

    /**
     * The calling thread's CPU time (user and system) in ns, which a machine shared with other
     * work disturbs far less than the wall clock; the wall clock with --wall.
     */
    private static long now() {
        return wall ? System.nanoTime() : THREADS.getCurrentThreadCpuTime();
    }

    private static long timeBatch(IntSupplier op, int calls) {
        long t0 = now();
        for (int i = 0; i < calls; i++) {
            op.getAsInt();
        }
        return now() - t0;
    }

    private static double median(double[] v) {
        double[] s = v.clone();
        Arrays.sort(s);
        return s.length % 2 == 1 ? s[s.length / 2] : (s[s.length / 2 - 1] + s[s.length / 2]) / 2;
    }

    /**
     * Warms up until three batches in a row agree within 3 % (at most 40 batches), then times 21
     * batches of about 20 ms: the median per call and the spread (p10 to p90 over the median).
     */
    static Result measure(String name, IntSupplier op) {
        long one = Math.max(1, timeBatch(op, 1));
        int calls = (int) Math.max(1, Math.min(200_000, 20_000_000L / one));
        double[] last = new double[3];
        for (int b = 0; b < 40; b++) {
            last[b % 3] = timeBatch(op, calls) / (double) calls;
            if (b >= 2) {
                double lo = Math.min(last[0], Math.min(last[1], last[2]));
                double hi = Math.max(last[0], Math.max(last[1], last[2]));
                if (hi <= lo * 1.03) {
                    break;
                }
            }
        }
        double[] per = new double[21];
        for (int b = 0; b < per.length; b++) {
            per[b] = timeBatch(op, calls) / (double) calls;
        }
        double m = median(per);
        double[] sorted = per.clone();
        Arrays.sort(sorted);
        double spread = (sorted[18] - sorted[2]) / m;
        return new Result(name, m, spread);
    }

    /**
     * A method and its floor timed in alternating batches (so both see the same load of a shared
     * machine): the median per call of each, and the median of the per-batch ratios.
     */
    static Result[] measurePair(String name, IntSupplier op, IntSupplier floor) {
        measure(name, op);
        measure("floor", floor);
        long one = Math.max(1, timeBatch(op, 1));
        int calls = (int) Math.max(1, Math.min(200_000, 20_000_000L / one));
        double[] a = new double[31];
        double[] f = new double[31];
        double[] ratio = new double[31];
        for (int b = 0; b < a.length; b++) {
            a[b] = timeBatch(op, calls) / (double) calls;
            f[b] = timeBatch(floor, calls) / (double) calls;
            ratio[b] = a[b] / f[b];
        }
        double[] sr = ratio.clone();
        Arrays.sort(sr);
        return new Result[] {new Result(name, median(a), spreadOf(a)), new Result("floor", median(f), spreadOf(f)),
            new Result("ratio", median(ratio), (sr[27] - sr[3]) / median(ratio))};
    }

    private static double spreadOf(double[] v) {
        double[] s = v.clone();
        Arrays.sort(s);
        return (s[s.length * 9 / 10] - s[s.length / 10]) / median(v);
    }

    /** Per-call timing of an operation that needs untimed preparation before each call. */
    static Result measurePrepared(String name, Runnable prepare, IntSupplier op, int calls) {
        double[] per = new double[21];
        for (int b = -10; b < per.length; b++) {
            long total = 0;
            for (int i = 0; i < calls; i++) {
                prepare.run();
                long t0 = now();
                op.getAsInt();
                total += now() - t0;
            }
            if (b >= 0) {
                per[b] = total / (double) calls;
            }
        }
        double m = median(per);
        double[] sorted = per.clone();
        Arrays.sort(sorted);
        return new Result(name, m, (sorted[18] - sorted[2]) / m);
    }

    private static void queueEvents() {
        int[] payload = new int[7];
        for (int i = 0; i < EVENTS; i++) {
            SimControl.pushEvent(0, 0x8010, payload);
        }
    }

    /** Every native method on main, with arguments that make it do its full work. */
    static Map<String, IntSupplier> methods(Path scratch) {
        Map<String, IntSupplier> m = new LinkedHashMap<>();
        HBA filled = new HBA();
        api.getiSCSIHBAData(0, filled);
        DevDBEntry[] entries = new DevDBEntry[DDB_ENTRIES - 1];
        for (int i = 0; i < entries.length; i++) {
            entries[i] = Samples.sampleEntry(i);
        }
        HBA chap = new HBA();
        api.getCHAPTableData(0, chap);
        // A write takes at most 127 entries (slot 0 stays blank).
        CHAPTableEntry[] chapEntries = chap.getCHAPTableEntries().subList(0, CHAP_ENTRIES - 1)
                .toArray(new CHAPTableEntry[0]);
        HBA policies = new HBA();
        api.getSecurityPoliciesTable(0, policies);
        List<Object> policyList = new ArrayList<>();
        for (int i = 0; policies.getSecurityPolicyEntry(i) != null; i++) {
            policyList.add(policies.getSecurityPolicyEntry(i));
        }
        Object[] policyArray = policyList.toArray();
        iSNSDiscoveryConfig isns = new iSNSDiscoveryConfig();
        api.getiSNSDiscoveryConfig(0, isns);
        String crashFile = scratch.resolve("crash.bin").toString();
        BootInfo boot = new BootInfo();
        api.getBootInfo(0, boot);
        Path image = scratch.resolve("firmware.bin");
        try {
            Files.write(image, new byte[] {0x4e, 0x56, 0x46, 0x57, 1, 2, 3, 4});
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
        String firmwareImage = image.toString();
        Host host = new Host();
        IPAddr pingAddress = IPAddr.of("192.168.50.1");
        TargetInfo bufferTarget = new TargetInfo(0, 0, 1);
        bufferTarget.setTargetState(4);
        bufferTarget.setSupportsTest(true);
        bufferTarget.setPerformBufferTest(true);

        m.put("getVersioniSCSI", () -> api.getVersioniSCSI().length());
        m.put("openDevice+closeDevice", () -> (api.closeDevice(1) ? 1 : 0) + (api.openDevice(1) ? 1 : 0));
        m.put("getiSCSIHBAData", () -> api.getiSCSIHBAData(0, new HBA()));
        m.put("getiSCSIFWInfo", () -> api.getiSCSIFWInfo(0, new FirmwareInfo()));
        m.put("getiSCSIDriverInfo", () -> api.getiSCSIDriverInfo(0, new DriverInfo()));
        m.put("getiSCSIAdapterInfo", () -> api.getiSCSIAdapterInfo(0, new NodeInfo()));
        m.put("getChipInfo", () -> api.getChipInfo(0, new ChipInfo()));
        m.put("getFWData", () -> api.getFWData(0, new HBA()));
        m.put("setFWData", () -> api.setFWData(0, filled));
        m.put("getISCSIFWDefaults", () -> api.getISCSIFWDefaults(0, new InitFW()));
        m.put("setISCSIDefaults", () -> api.setISCSIDefaults(0) ? 1 : 0);
        m.put("restoreDefaults", () -> api.restoreDefaults(0, 0, 0));
        m.put("resetISCSIHBA", () -> api.resetISCSIHBA(0) ? 1 : 0);
        m.put("getDefaultDDBEntry", () -> api.getDefaultDDBEntry(0) == null ? 0 : 1);
        m.put("getInitialDDBEntry", () -> api.getInitialDDBEntry(0, new DevDBEntry(), 0));
        m.put("getiSCSIEntryNum", () -> api.getiSCSIEntryNum(0));
        m.put("setDDBData", () -> api.setDDBData(0, null, entries[5], 5));
        m.put("setDDBsData", () -> api.setDDBsData(0, new HBA(), entries));
        m.put("logoutDDB", () -> api.logoutDDB(0, 5, 0, 0));
        m.put("getCHAPTableData", () -> api.getCHAPTableData(0, new HBA()));
        m.put("getCHAPTableSparse", () -> api.getCHAPTableSparse(0, new HBA()));
        m.put("setCHAPTableData", () -> api.setCHAPTableData(0, chapEntries));
        m.put("setCHAPTableSparse", () -> api.setCHAPTableSparse(0, chapEntries, new Object[0]));
        m.put("getiSCSITargetData", () -> api.getiSCSITargetData(0, new HBA(0), target(0)));
        m.put("getiSCSILunData", () -> api.getiSCSILunData(0, lun(0, 1)));
        m.put("getScsiReportLUNsData", () -> api.getScsiReportLUNsData(0, new HBA(0), target(0)));
        m.put("getScsiInquiryData", () -> api.getScsiInquiryData(0, new TargetInfo(0, 0, 1), new SCSIInqInfo()));
        m.put("getScsiReadCapacityData", () -> api.getScsiReadCapacityData(0, lun(0, 1)));
        m.put("getConnectErrorLog", () -> api.getConnectErrorLog(0, new AdapterLogs()));
        m.put("getARPLog", () -> api.getARPLog(0, new AdapterLogs()));
        m.put("retrieveCrashRecord", () -> api.retrieveCrashRecord(0, crashFile));
        m.put("getiSNSDiscoveryConfig", () -> api.getiSNSDiscoveryConfig(0, new iSNSDiscoveryConfig()));
        m.put("setiSNSDiscoveryConfig", () -> api.setiSNSDiscoveryConfig(0, isns));
        m.put("getiSNSTargets", () -> api.getiSNSTargets(0, new HBA()));
        m.put("getSecurityPoliciesTable", () -> api.getSecurityPoliciesTable(0, new HBA()));
        m.put("setSecurityPolicies", () -> api.setSecurityPolicies(0, policyArray));
        m.put("getiSCSISecurityInfo", () -> api.getiSCSISecurityInfo(0, new HBA()));
        m.put("getiSCSISecurityStatistics", () -> api.getiSCSISecurityStatistics(0, new HBA()));
        m.put("getiSCSIStatistics", () -> api.getiSCSIStatistics(0, new PortStatistics()));
        m.put("getiSCSIStatistics6124", () -> api.getiSCSIStatistics6124(0, new ExtendedPortStatistics()));
        m.put("getiSCSIHBAState", () -> api.getiSCSIHBAState(0, new HBA(0)));
        m.put("resetISCSICounters", () -> api.resetISCSICounters(0, 0) ? 1 : 0);
        m.put("ping", () -> api.ping(0, pingAddress, 1));
        m.put("loopbackTest (1 run)", () -> api.loopbackTest(0, 0, 0, 1, new TestStatus(), new LoopbackTestResult()));
        m.put("readWriteBufferTest (1 LUN, 1 run)", () -> api.readWriteBufferTest(0, new Object[] {bufferTarget}, 0,
                1, BUFFER_PATTERN, new TestStatus(), new Object[] {new BufferTestResult()}));
        m.put("getBootInfo", () -> api.getBootInfo(0, new BootInfo()));
        m.put("getRunningBIOSInfo", () -> api.getRunningBIOSInfo(0, new BootInfo()));
        m.put("setBootInfo", () -> api.setBootInfo(0, boot));
        m.put("getIBMVPD", () -> api.getIBMVPD(0, new VitalProductData()));
        m.put("iSCSIUpdateFW", () -> api.iSCSIUpdateFW(0, firmwareImage, 1) ? 1 : 0);
        m.put("iSCSIGetDriverVersion", () -> api.iSCSIGetDriverVersion(0, null, "nvs2210.ko", null).length());
        m.put("updateDriver", () -> api.updateDriver("/opt/norvik/drivers", 3) == null ? 0 : 1);
        m.put("flushSAs", () -> api.flushSAs(0, 0));
        m.put("ignoreAENs", () -> api.ignoreAENs(0, 0, 0));
        m.put("startAENValidTime", () -> api.startAENValidTime(0, 0));
        m.put("disableAENsForDevice+enableAENsForDevice",
                () -> api.disableAENsForDevice(0, 0) + api.enableAENsForDevice(0, 0, host));
        m.put("getAENsForDevice (no events)", () -> api.getAENsForDevice(0, 2, host));
        m.put("validateSystemUser", () -> api.validateSystemUser("nobody", "wrong"));
        m.put("enableSdmTrace (off)", () -> api.enableSdmTrace(0, null));

        OWN_ROW_FLOORS.put("getiSCSIHBAData", Floor.filling("", HBA::new, h -> api.getiSCSIHBAData(0, h),
                h -> BenchFloors.hbaData(HANDLE_0, 0, h)));
        OWN_ROW_FLOORS.put("getFWData", Floor.filling("", HBA::new, h -> api.getFWData(0, h),
                h -> BenchFloors.fwData(HANDLE_0, 0, h)));
        OWN_ROW_FLOORS.put("getiSNSTargets", Floor.filling("", HBA::new, h -> api.getiSNSTargets(0, h),
                h -> BenchFloors.isnsTargets(HANDLE_0, h)));
        OWN_ROW_FLOORS.put("getCHAPTableData", Floor.filling("", HBA::new, h -> api.getCHAPTableData(0, h),
                h -> BenchFloors.chapTable(HANDLE_0, h)));
        FLOORS.put("setFWData", new Floor("setFWData", () -> BenchFloors.setFWData(HANDLE_0, filled)));
        FLOORS.put("setDDBsData", new Floor("setDDBsData (511 entries)", () -> BenchFloors.setDDBsData(HANDLE_0, entries)));
        FLOORS.put("getSecurityPoliciesTable", Floor.filling("getSecurityPoliciesTable (64 x 16)", HBA::new,
                h -> api.getSecurityPoliciesTable(0, h), h -> BenchFloors.securityPolicies(HANDLE_0, h)));
        FLOORS.put("setSecurityPolicies", new Floor("setSecurityPolicies (64 x 16)",
                () -> BenchFloors.setSecurityPolicies(HANDLE_0, policyArray)));
        FLOORS.put("getiSCSIStatistics", Floor.filling("getiSCSIStatistics", PortStatistics::new,
                st -> api.getiSCSIStatistics(0, st), st -> BenchFloors.statistics(HANDLE_0, st)));
        FLOORS.put("getiSCSIStatistics6124", Floor.filling("getiSCSIStatistics6124", ExtendedPortStatistics::new,
                st -> api.getiSCSIStatistics6124(0, st), st -> BenchFloors.statistics6124(HANDLE_0, st)));
        FLOORS.put("getConnectErrorLog", Floor.filling("getConnectErrorLog (128 entries)", AdapterLogs::new,
                l -> api.getConnectErrorLog(0, l), l -> BenchFloors.connectErrorLog(HANDLE_0, l)));
        FLOORS.put("getARPLog", Floor.filling("getARPLog (128 entries)", AdapterLogs::new, l -> api.getARPLog(0, l),
                l -> BenchFloors.arpLog(HANDLE_0, l)));
        FLOORS.put("getiSCSISecurityStatistics", Floor.filling("getiSCSISecurityStatistics", HBA::new,
                h -> api.getiSCSISecurityStatistics(0, h), h -> BenchFloors.securityStatistics(HANDLE_0, h)));
        FLOORS.put("getCHAPTableSparse", Floor.filling("getCHAPTableSparse (128 entries)", HBA::new,
                h -> api.getCHAPTableSparse(0, h), h -> BenchFloors.chapTableSparse(HANDLE_0, h)));
        FLOORS.put("setCHAPTableData", new Floor("setCHAPTableData (127 entries)",
                () -> BenchFloors.setCHAPTable(HANDLE_0, chapEntries)));
        FLOORS.put("getiSCSIAdapterInfo", Floor.filling("getiSCSIAdapterInfo", NodeInfo::new,
                n -> api.getiSCSIAdapterInfo(0, n), n -> BenchFloors.adapterInfo(HANDLE_0, n)));
        FLOORS.put("getChipInfo", Floor.filling("getChipInfo", ChipInfo::new, c -> api.getChipInfo(0, c),
                c -> BenchFloors.chipInfo(HANDLE_0, c)));
        FLOORS.put("getiSNSDiscoveryConfig", Floor.filling("getiSNSDiscoveryConfig", iSNSDiscoveryConfig::new,
                c -> api.getiSNSDiscoveryConfig(0, c), c -> BenchFloors.isnsConfig(HANDLE_0, c)));
        FLOORS.put("getBootInfo", Floor.filling("getBootInfo", BootInfo::new, b -> api.getBootInfo(0, b),
                b -> BenchFloors.bootInfo(HANDLE_0, b)));
        FLOORS.put("getiSCSITargetData", Floor.filling("getiSCSITargetData", () -> target(0),
                t -> api.getiSCSITargetData(0, new HBA(0), t), t -> BenchFloors.targetData(HANDLE_0, new HBA(0), t)));
        FLOORS.put("getiSCSILunData", Floor.filling("getiSCSILunData", () -> lun(0, 1), l -> api.getiSCSILunData(0, l),
                l -> BenchFloors.lunData(HANDLE_0, l)));
        // A native method without a row of its own above is measured as the catalog calls it.
        for (NativeMethods.Method method : NativeMethods.ALL) {
            boolean measured = m.keySet().stream().anyMatch(k -> k.split("[ +]")[0].equals(method.name())
                    || k.contains("+" + method.name()));
            if (!measured) {
                m.put(method.name() + " (catalog)", () -> {
                    Object r = method.call(api, 0);
                    return r instanceof Integer i ? i : r == null ? 0 : 1;
                });
            }
        }
        return m;
    }

    private static Target target(int id) {
        Target t = new Target(id);
        t.getTargetInfo().setTargetID(id);
        return t;
    }

    private static LUN lun(int target, int lun) {
        TargetInfo ti = new TargetInfo(0, target, lun);
        ti.setTargetState(4);
        return new LUN(ti);
    }

    /** VmRSS, RssAnon and RssFile of /proc/self/status, in KB. */
    private static long[] rssKb() throws Exception {
        long[] kb = new long[3];
        String[] keys = {"VmRSS:", "RssAnon:", "RssFile:"};
        for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
            for (int i = 0; i < keys.length; i++) {
                if (line.startsWith(keys[i])) {
                    kb[i] = Long.parseLong(line.replaceAll("[^0-9]", ""));
                }
            }
        }
        return kb;
    }

    private static void row(Result[] pair, String floorName) {
        Result r = pair[0];
        String ratio = String.format("%8.1f us  %5.2fx +-%4.1f%%  (%s)", pair[1].nsPerCall() / 1000,
                pair[2].nsPerCall(), 50 * pair[2].spread(), floorName);
        OUT.printf("%-42s %10.2f us  +-%4.1f%%  %s%n", r.name(), r.nsPerCall() / 1000, 50 * r.spread(), ratio);
    }

    private static void row(Result r, Result floor, String floorName) {
        String ratio = floor == null ? (floorName == null ? "" : floorName) : String.format("%8.1f us  %5.2fx  (%s)", floor.nsPerCall() / 1000,
                r.nsPerCall() / floor.nsPerCall(), floorName);
        OUT.printf("%-42s %10.2f us  +-%4.1f%%  %s%n", r.name(), r.nsPerCall() / 1000, 50 * r.spread(), ratio);
    }

    public static void main(String[] args) throws Exception {
        wall = Arrays.asList(args).contains("--wall");
        if (wall) {
            args = Arrays.stream(args).filter(a -> !a.equals("--wall")).toArray(String[]::new);
        }
        boolean quick = args.length > 0 && args[0].equals("--quick");
        boolean longRun = args.length > 0 && args[0].equals("--long");
        Map<String, Double> perCall = new LinkedHashMap<>();
        setUp();
        Path scratch = Files.createTempDirectory("dvh-bench");
        OUT.printf("JVM: %s %s (%s); OS: %s %s; CPUs: %d%n", System.getProperty("java.vm.name"),
                System.getProperty("java.vm.version"), System.getProperty("java.vendor"),
                System.getProperty("os.name"), System.getProperty("os.arch"),
                Runtime.getRuntime().availableProcessors());
        OUT.printf("times: %s%n", wall ? "wall clock" : "CPU time of the calling thread (--wall: wall clock)");
        OUT.printf("%-42s %13s %8s  %s%n", "method", "per call", "spread", "JNI floor, ratio");

        Map<String, IntSupplier> all = methods(scratch);
        if (args.length > 0 && args[0].equals("--memory-each")) {
            memoryEach(all);
            return;
        }
        if (args.length == 3 && (args[0].equals("--loop") || args[0].equals("--count"))) {
            // For a profiler or an instruction counter: one method (or "floor" / "fwfloor") called for
            // the given seconds (--loop) or times (--count).
            IntSupplier op = args[1].equals("floor") ? () -> BenchFloors.hbaData(HANDLE_0, 0, new HBA())
                    : args[1].equals("fwfloor") ? () -> BenchFloors.fwData(HANDLE_0, 0, new HBA())
                    : args[1].startsWith("floor:") ? FLOORS.get(args[1].substring(6)).floor()
                    : all.get(args[1]);
            long n = Long.parseLong(args[2]);
            if (args[0].equals("--count")) {
                for (long i = 0; i < n; i++) {
                    op.getAsInt();
                }
                return;
            }
            long end = System.nanoTime() + n * 1_000_000_000L;
            while (System.nanoTime() < end) {
                op.getAsInt();
            }
            return;
        }
        if (args.length > 0 && args[0].equals("--check")) {
            checkFloors(all);
            return;
        }
        Host host = new Host();
        api.enableAENsForDevice(0, 0, host);

        Result[] hbaData = measurePair("getiSCSIHBAData (512 entries)", all.get("getiSCSIHBAData"),
                () -> BenchFloors.hbaData(HANDLE_0, 0, new HBA()));
        row(hbaData, "calls with their exception checks, strings, arrays, objects, required lines");
        perCall.put("getiSCSIHBAData", hbaData[0].nsPerCall());
        Result[] fwData = measurePair("getFWData", all.get("getFWData"),
                () -> BenchFloors.fwData(HANDLE_0, 0, new HBA()));
        row(fwData, "same");
        perCall.put("getFWData", fwData[0].nsPerCall());
        Result aen = measurePrepared("getAENsForDevice (256 events)", Bench::queueEvents,
                () -> api.getAENsForDevice(0, 2, host), 20);
        Result aenFloor = measurePrepared("floor", Bench::queueEvents,
                () -> BenchFloors.aenLines(HANDLE_0, 0, host), 20);
        row(aen, aenFloor, "printing its lines alone");
        Result[] isns = measurePair("getiSNSTargets (512 targets)", all.get("getiSNSTargets"),
                () -> BenchFloors.isnsTargets(HANDLE_0, new HBA()));
        row(isns, "same as getiSCSIHBAData");
        perCall.put("getiSNSTargets", isns[0].nsPerCall());
        Result[] chapTable = measurePair("getCHAPTableData (128 entries)", all.get("getCHAPTableData"),
                () -> BenchFloors.chapTable(HANDLE_0, new HBA()));
        row(chapTable, "same");
        perCall.put("getCHAPTableData", chapTable[0].nsPerCall());
        for (Map.Entry<String, Floor> e : FLOORS.entrySet()) {
            Result[] pair = measurePair(e.getValue().label(), all.get(e.getKey()), e.getValue().floor());
            row(pair, "same");
            perCall.put(e.getKey(), pair[0].nsPerCall());
        }
        if (args.length > 0 && args[0].equals("--floors")) {
            return;
        }
        for (Map.Entry<String, IntSupplier> e : all.entrySet()) {
            if (perCall.containsKey(e.getKey())) {
                continue;  // measured against its floor above
            }
            int result = e.getValue().getAsInt();
            Result r = measure(e.getKey(), e.getValue());
            perCall.put(e.getKey(), r.nsPerCall());
            row(r, null, String.format("returns %#x", result));
        }

        IntSupplier refresh = () -> {
            int s = 0;
            for (int dev = 0; dev < 2; dev++) {
                HBA h = new HBA();
                s |= api.getiSCSIHBAData(dev, h);
                s |= api.getChipInfo(dev, new ChipInfo());
                s |= api.getiSCSIDriverInfo(dev, new DriverInfo());
                s |= api.getiSCSIFWInfo(dev, new FirmwareInfo());
                s |= api.getiSCSIAdapterInfo(dev, new NodeInfo());
                s |= api.getCHAPTableData(dev, h);
                s |= api.getiSNSTargets(dev, h);
                s |= api.getSecurityPoliciesTable(dev, h);
                s |= api.getiSCSISecurityInfo(dev, h);
                s |= api.getConnectErrorLog(dev, new AdapterLogs());
                s |= api.getARPLog(dev, new AdapterLogs());
                s |= api.getAENsForDevice(dev, 2, host);
            }
            return s;
        };
        row(measure("full refresh of both adapters", refresh), null, null);

        // Memory: a warm-up round of a tenth, then two equal rounds of every method CALLS times
        // (fewer for the slow ones unless --long) and of event fetches. The JVM still settles in the
        // first of them (pages of its compiled code and caches touched for the first time); what the
        // calls leave behind grows in both.
        long budgetNs = quick ? 50_000_000L : 2_000_000_000L;
        Map<String, Integer> counts = new LinkedHashMap<>();
        for (Map.Entry<String, IntSupplier> e : all.entrySet()) {
            double ns = perCall.getOrDefault(e.getKey(), 1.0);
            int n = longRun ? CALLS : (int) Math.max(100, Math.min(quick ? 1_000 : CALLS, budgetNs / ns));
            counts.put(e.getKey(), n);
        }
        int fetches = longRun ? CALLS : quick ? 100 : 5_000;
        long[][] rss = new long[3][];
        long[] nmt = new long[3];
        for (int round = 0; round < 3; round++) {
            if (round > 0) {
                rss[round - 1] = settledRss();
                nmt[round - 1] = nmtNonHeapKb();
            }
            int divisor = round == 0 ? 10 : 1;
            for (Map.Entry<String, IntSupplier> e : all.entrySet()) {
                int n = Math.max(1, counts.get(e.getKey()) / divisor);
                IntSupplier op = e.getValue();
                for (int i = 0; i < n; i++) {
                    op.getAsInt();
                }
            }
            for (int i = 0; i < fetches / divisor; i++) {
                queueEvents();
                api.getAENsForDevice(0, 2, host);
            }
        }
        rss[2] = settledRss();
        nmt[2] = nmtNonHeapKb();
        OUT.printf("%nmemory: two rounds of %d calls of every method (fewer for the slow ones, below) and %d "
                + "fetches of %d events each, after a warm-up round of a tenth of that (KB before round 1 / after "
                + "round 1 / after round 2, growth over each round):%n", CALLS, fetches, EVENTS);
        String[] kinds = {"resident memory", "  of it anonymous", "  of it file-backed (code pages)"};
        for (int i = 0; i < kinds.length; i++) {
            OUT.printf("  %-32s %7d / %7d / %7d  (%+d, %+d)%n", kinds[i] + ":", rss[0][i], rss[1][i], rss[2][i],
                    rss[1][i] - rss[0][i], rss[2][i] - rss[1][i]);
        }
        OUT.printf("  %-32s %7d / %7d / %7d  (%+d, %+d)%n", "JVM native memory tracking:", nmt[0], nmt[1], nmt[2],
                nmt[1] - nmt[0], nmt[2] - nmt[1]);
        OUT.printf("  (native memory tracking: committed outside the Java heap; resident memory with the heap "
                + "committed and touched at start)%n");
        StringBuilder fewer = new StringBuilder();
        counts.forEach((name, n) -> {
            if (n < CALLS) {
                fewer.append(fewer.length() == 0 ? "" : ", ").append(name).append(' ').append(n);
            }
        });
        if (fewer.length() > 0) {
            OUT.printf("  calls of the slow methods (--long: %d each): %s%n", CALLS, fewer);
        }
    }

    /**
     * Each floor against its method, called once each: the library calls they
     * make (function, arguments, records) and the lines they print must be the same.
     */
    private static void checkFloors(Map<String, IntSupplier> all) {
        Map<String, Floor> every = new LinkedHashMap<>(OWN_ROW_FLOORS);
        every.putAll(FLOORS);
        for (Map.Entry<String, Floor> e : every.entrySet()) {
            String[] method = callsAndLines(all.get(e.getKey()));
            String[] floor = callsAndLines(e.getValue().floor());
            boolean calls = method[0].equals(floor[0]);
            boolean lines = method[1].equals(floor[1]);
            OUT.printf("%-30s library calls %s (%d), lines %s (%d bytes)%n", e.getKey(), calls ? "same" : "DIFFER",
                    method[0].split("\"fn\"", -1).length - 1, lines ? "same" : "DIFFER", method[1].length());
            if (!calls) {
                OUT.printf("  method: %s%n  floor:  %s%n", method[0], floor[0]);
            }
            if (!lines) {
                OUT.printf("  method: %s%n  floor:  %s%n", method[1], floor[1]);
            }
            Floor f = e.getValue();
            if (f.fresh() != null) {
                Object a = f.fresh().get();
                Object b = f.fresh().get();
                f.methodOn().applyAsInt(a);
                f.floorOn().applyAsInt(b);
                String ja = fieldsOf(a);
                String jb = fieldsOf(b);
                // The simulator's counters move between two reads: the same object but for the
                // values of numbers then.
                boolean shape = ja.replaceAll("\\d+", "0").equals(jb.replaceAll("\\d+", "0"));
                OUT.printf("%-30s objects filled %s (%d bytes of fields)%n", "", ja.equals(jb) ? "same"
                        : shape ? "same but for numbers (moving counters?)" : "DIFFER", ja.length());
                if (!shape) {
                    OUT.printf("  method: %s%n  floor:  %s%n", ja, jb);
                }
            }
        }
    }

    /** An object's fields, all the way down, as JSON. */
    private static String fieldsOf(Object o) {
        ObjectMapper mapper = new ObjectMapper().setVisibility(PropertyAccessor.ALL, JsonAutoDetect.Visibility.NONE)
                .setVisibility(PropertyAccessor.FIELD, JsonAutoDetect.Visibility.ANY)
                .disable(SerializationFeature.FAIL_ON_EMPTY_BEANS);
        try {
            return mapper.writeValueAsString(o);
        } catch (IOException e) {
            return e.toString();
        }
    }

    /** The call log (without sequence numbers) and the standard output of one call. */
    private static String[] callsAndLines(IntSupplier op) {
        SimControl.clearCallLog();
        String lines = SimControl.captureStdout(op::getAsInt);
        String calls = SimControl.callLogJson().replaceAll("\"seq\":\\d+,?", "");
        return new String[] {calls, lines};
    }

    /**
     * Anonymous resident memory before and after up to 20,000 calls of each method on its own
     * (fewer for the slow ones, after half a second of warm-up), to find a method that keeps memory.
     */
    private static void memoryEach(Map<String, IntSupplier> all) throws Exception {
        OUT.printf("%-42s %10s %10s %8s%n", "method", "KB before", "KB after", "growth");
        for (Map.Entry<String, IntSupplier> e : all.entrySet()) {
            IntSupplier op = e.getValue();
            int warm = 0;
            for (long end = System.nanoTime() + 500_000_000L; warm < 2_000 && System.nanoTime() < end; warm++) {
                op.getAsInt();
            }
            int n = Math.max(50, Math.min(20_000, 4 * warm));
            long before = settledRss()[1];
            for (int i = 0; i < n; i++) {
                op.getAsInt();
            }
            long after = settledRss()[1];
            OUT.printf("%-42s %10d %10d %+8d  (%d calls)%n", e.getKey(), before, after, after - before, n);
        }
    }

    /**
     * Resident memory once what is no longer held is gone: the simulator's call log (bounded, but
     * its size depends on the last calls) emptied, two collections, the C heap trimmed.
     */
    private static long[] settledRss() throws Exception {
        SimControl.clearCallLog();
        System.gc();
        Thread.sleep(200);
        System.gc();
        BenchFloors.trimNativeHeap();
        return rssKb();
    }

    private static long nmtNonHeapKb() {
        try {
            String text = ManagementFactory.getPlatformMBeanServer().invoke(
                    new ObjectName("com.sun.management:type=DiagnosticCommand"), "vmNativeMemory",
                    new Object[] {new String[] {"summary"}}, new String[] {String[].class.getName()}).toString();
            Matcher total = Pattern.compile("Total: reserved=\\d+KB, committed=(\\d+)KB").matcher(text);
            Matcher heap = Pattern.compile("Java Heap \\(reserved=\\d+KB, committed=(\\d+)KB\\)").matcher(text);
            if (total.find() && heap.find()) {
                return Long.parseLong(total.group(1)) - Long.parseLong(heap.group(1));
            }
        } catch (Exception e) {
            OUT.println("  (native memory tracking not available: " + e + ")");
        }
        return -1;
    }
}
