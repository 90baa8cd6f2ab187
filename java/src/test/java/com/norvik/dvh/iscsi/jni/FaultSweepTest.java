package com.norvik.dvh.iscsi.jni;

import com.norvik.dvh.iscsi.catalog.Samples;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.fuzz.AenSink;
import com.norvik.dvh.iscsi.model.BootInfo;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.ExtendedPortStatistics;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.LUN;
import com.norvik.dvh.iscsi.model.LoopbackTestResult;
import com.norvik.dvh.iscsi.model.PortStatistics;
import com.norvik.dvh.iscsi.model.SCSIInqInfo;
import com.norvik.dvh.iscsi.model.Target;
import com.norvik.dvh.iscsi.model.TargetInfo;
import com.norvik.dvh.iscsi.model.TestStatus;
import com.norvik.dvh.iscsi.model.VitalProductData;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Set;
import java.util.regex.Pattern;
import java.util.stream.Stream;

import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.TestFactory;

/**
 * Fault sweep: for every native method in the table, every SD function it calls (taken from the
 * simulator's call log of a clean call) is made to fail with each class of status the adapter
 * library answers, one function at a time. The method must answer its documented result for that
 * failure, print its documented line, and neither throw nor leave an exception pending; run in the
 * sanitizer build, a memory error or a JNI warning fails the run.
 *
 * <p>A row is a native method: how to call it on adapter 0 (what is read first, before the fault is
 * set, and the call itself), its result when a library call fails, and for each SD function the
 * line it prints then. A function a row does not name fails the sweep: what the method does when
 * it fails is to be written down. A method the native library does not export yet is skipped.
 */
class FaultSweepTest extends NativeTestBase {

    /**
     * The classes of library status: a plain failure, a command ended with sense data, a buffer too
     * small, the tolerated REPORT LUNS status, a partial table, a request the OS does not support,
     * out of memory, boot code to be erased, and a value the library never documents.
     */
    static final int[] STATUSES = {0x20000003, 0x20000040, 0x20000072, 0x20000077, 0x2000007E, 0x2000001C,
        0x2000001F, 0x2000008F, 0x80000101};

    /** What a method answers when one of its library calls fails with {@code status}. */
    interface Rule {
        /** Null when {@code result} is right, else what was expected. */
        String check(int status, Object result, Object cleanResult);
    }

    /** The library's status itself. */
    static final Rule STATUS = (s, r, c) -> Integer.valueOf(s).equals(r) ? null : "the status " + hex(s);
    static final Rule FALSE = (s, r, c) -> Boolean.FALSE.equals(r) ? null : "false";
    static final Rule NULL = (s, r, c) -> r == null ? null : "null";
    /** A failure that only prints: the result is what a clean call answers. */
    static final Rule UNCHANGED = (s, r, c) -> Objects.equals(r, c) ? null : "the clean result " + show(c);

    static Rule fixed(Object value) {
        return (s, r, c) -> Objects.equals(value, r) ? null : show(value);
    }

    static String hex(int v) {
        return "0x" + Integer.toHexString(v);
    }

    static String show(Object o) {
        return o instanceof Integer i ? hex(i) : String.valueOf(o);
    }

    /** A call prepared on adapter 0: what it needs is read before the fault is set. */
    interface Prepared {
        Object call();
    }

    interface Setup {
        Prepared on(int dev);
    }

    /** What a method does when one SD function fails: its result and the line it prints. */
    record Expect(Rule rule, String line) {
    }

    /** One native method. */
    static final class Row {
        final String method;
        final Setup setup;
        Rule rule = STATUS;
        final Map<String, Expect> byFunction = new LinkedHashMap<>();

        Row(String method, Setup setup) {
            this.method = method;
            this.setup = setup;
        }

        Row rule(Rule r) {
            rule = r;
            return this;
        }

        /**
         * When {@code function} fails the method prints a line matching {@code line} (printf-like:
         * %x is the status in hexadecimal, %X in capitals, %d a number, %s any text; null: it prints
         * what a clean call prints) and
         * answers by the row's rule.
         */
        Row prints(String function, String line) {
            return prints(function, line, rule);
        }

        Row prints(String function, String line, Rule r) {
            byFunction.put(function, new Expect(r, line));
            return this;
        }

        Row silent(String function) {
            return prints(function, null);
        }

        Row silent(String function, Rule r) {
            return prints(function, null, r);
        }

        /** For one status of {@code function}: another result and line (null: what a clean call prints). */
        Row except(String function, int status, Rule r, String line) {
            byFunction.put(function + "/" + status, new Expect(r, line));
            return this;
        }

        Expect expect(String function, int status) {
            Expect e = byFunction.get(function + "/" + status);
            return e != null ? e : byFunction.get(function);
        }
    }

    static Row row(String method, Setup setup) {
        return new Row(method, setup);
    }

    private static Target target(int id) {
        Target t = new Target(id);
        t.getTargetInfo().setTargetID(id);
        return t;
    }

    private static HBA adapterRead(int dev) {
        HBA hba = new HBA();
        api.getFWData(dev, hba);
        return hba;
    }

    // The table. One row per native method that calls the adapter library.
    static final List<Row> ROWS = List.of(
            // Opening again an open instance: a failure is false and quiet.
            row("openDevice", dev -> () -> api.openDevice(1)).rule(FALSE).silent("SDOpenDeviceiSCSI"),
            row("closeDevice", dev -> () -> api.closeDevice(dev)).rule(FALSE).silent("SDCloseDeviceiSCSI"),
            row("getVersioniSCSI", dev -> () -> api.getVersioniSCSI()).silent("SDGetVersioniSCSI", fixed("")),
            row("enableAENsForDevice", dev -> () -> api.enableAENsForDevice(dev, 1, new AenSink()))
                    .prints("SDEnableAeniSCSI", "***AddHbaToHbaList.SDStartAENPoll: Driver does not support AENs, "
                            + "ErrorCode=%x (%s)"),
            row("disableAENsForDevice", dev -> () -> api.disableAENsForDevice(dev, 0))
                    .prints("SDDisableAeniSCSI", "***SDDisableAen: Failed on device[%d]: (%x) (%s)"),
            row("getAENsForDevice", dev -> {
                AenSink sink = new AenSink();
                api.enableAENsForDevice(dev, 1, sink);
                return () -> api.getAENsForDevice(dev, 2, sink);
            }).prints("SDGetAeniSCSI", "***GetAENsShared: Error Getting the SDGetAeniSCSI (HBA:%d), ErrorCode=%x (%s)"),
            row("startAENValidTime", dev -> () -> api.startAENValidTime(dev, 0))
                    .prints("SDSetAENValidTime", "***SetAENValidTimeShared: Error Setting the SDSetAENValidTime (HBA:%d), "
                            + "ErrorCode=%x (%s)"),
            row("enableSdmTrace", dev -> () -> api.enableSdmTrace(dev, "sweep-trace.txt"))
                    .prints("SDEnableDebugTraceiSCSI", "JNI: SDEnableDebugTraceiSCSI: %x "),
            row("getiSCSIAdapterInfo", dev -> () -> api.getiSCSIAdapterInfo(dev, ConcurrencyStressTest.model("NodeInfo")))
                    .prints("SDGetHbaDeviceNodePropertyiSCSI", "SDGetHbaDeviceNodePropertyiSCSI call failed! %x"),
            row("getiSCSIFWInfo", dev -> () -> api.getiSCSIFWInfo(dev, ConcurrencyStressTest.model("FirmwareInfo")))
                    .prints("SDGetHbaDevicePortalPropertyiSCSI", "SDGetHbaDevicePortalPropertyiSCSI call failed! %x"),
            row("getiSCSIDriverInfo", dev -> () -> api.getiSCSIDriverInfo(dev, ConcurrencyStressTest.model("DriverInfo")))
                    .prints("SDGetHbaDeviceDriverPropertyiSCSI", "SDGetHbaDeviceDriverPropertyiSCSI call failed! %x"),
            row("getiSCSIHBAData", dev -> () -> api.getiSCSIHBAData(dev, new HBA()))
                    .prints("SDGetHbaDevicePortalPropertyiSCSI", "SDGetHbaDevicePortalPropertyiSCSI call failed!")
                    .prints("SDGetDDBEntryNum", "SDGetDDB call failed!")
                    .prints("SDGetDDBEntry", "SDGetDDBEntry call failed! %x")
                    .prints("SDGetInitFW", "SDGetInitFW call failed! %d")
                    .prints("SDGetHBAAlias", "SDGetHBAAlias failed (%x) (%s)")
                    .prints("SDGetTCPMaxWindowSize", "HBA level TCP max window size=0 (0x0)", UNCHANGED),
            row("getChipInfo", dev -> () -> api.getChipInfo(dev, ConcurrencyStressTest.model("ChipInfo")))
                    .prints("SDGetHbaDeviceChipPropertyiSCSI", "SDGetHbaDeviceChipPropertyiSCSI call failed!"),
            row("getISCSIFWDefaults", dev -> () -> api.getISCSIFWDefaults(dev, ConcurrencyStressTest.model("InitFW")))
                    .prints("SDGetFWDefaults", "FAILED: %x "),
            row("setISCSIDefaults", dev -> () -> api.setISCSIDefaults(dev)).rule(FALSE)
                    .prints("SDSetFWDefaults", "FAILED: %x "),
            row("restoreDefaults", dev -> () -> api.restoreDefaults(dev, 1, 1)).rule(fixed(1))
                    .prints("SDRestoreDefaults", "SDRestoreDefaults call failed!"),
            row("resetISCSIHBA", dev -> () -> api.resetISCSIHBA(dev)).rule(FALSE)
                    .prints("SDResetHBA", "SDResetHBA call failed!"),
            row("setFWData", dev -> {
                HBA hba = adapterRead(dev);
                return () -> api.setFWData(dev, hba);
            }).prints("SDGetInitFW", "SDGetInitFW call failed!", UNCHANGED)
                    .prints("SDSetInitFW", "SDSetInitFW call failed!")
                    .silent("SDSetTCPMaxWindowSize"),
            row("getFWData", dev -> () -> api.getFWData(dev, new HBA()))
                    .prints("SDGetInitFW", "SDGetInitFW call failed! %d"),
            row("getDefaultDDBEntry", dev -> () -> api.getDefaultDDBEntry(dev)).rule(NULL)
                    .prints("SDGetDefaultDDBEntry", "SDGetDefaultDDBEntry call failed! %x"),
            row("getInitialDDBEntry", dev -> () -> api.getInitialDDBEntry(dev, new DevDBEntry(), 3))
                    .prints("SDGetInitialDDBEntry", "SDGetInitialDDBEntry FAILED!"),
            row("getiSCSIEntryNum", dev -> () -> api.getiSCSIEntryNum(dev)).rule(fixed(0))
                    .prints("SDGetDDBEntryNum", "SDGetDDBEntryNum call failed! 1"),
            row("setDDBData", dev -> () -> api.setDDBData(dev, new HBA(), Samples.sampleEntry(5), 0))
                    .prints("SDSetDDBEntry", "SDSetDDBEntry call failed! %d, Errno = %x"),
            row("setDDBsData", dev -> () -> api.setDDBsData(dev, new HBA(),
                    new Object[] {Samples.sampleEntry(5), Samples.sampleEntry(6)})).rule(fixed(0))
                    .prints("SDSetDDBEntry", "SDSetDDBEntry call failed! %d, Errno = %x"),
            row("logoutDDB", dev -> () -> api.logoutDDB(dev, 0, 0, 0)).silent("SDSendiSCSILogout"),
            row("getCHAPTableSparse", dev -> () -> api.getCHAPTableSparse(dev, new HBA()))
                    .prints("SDGetCHAPTableMod", "JNI: SDGetCHAPTableSparse call failed! %x ", fixed(4099))
                    .except("SDGetCHAPTableMod", 0x2000007E, STATUS, null),
            row("getCHAPTableData", dev -> () -> api.getCHAPTableData(dev, new HBA())).rule(fixed(4099))
                    .prints("SDGetCHAPEntryNum", "JNI: SDGetCHAPEntryNum call failed! %x ")
                    .prints("SDGetCHAPTable", "JNI: SDGetCHAPTable call failed! %x "),
            row("setCHAPTableData", dev -> () -> api.setCHAPTableData(dev,
                    new Object[] {ChapTableTest.entry(1, "name", "secret-one", 0, 0)})).silent("SDSetCHAPTable"),
            row("setCHAPTableSparse", dev -> () -> api.setCHAPTableSparse(dev,
                    new Object[] {ChapTableTest.entry(9, "nine", "secret-nine", 0x40, 1)},
                    new Object[] {ChapTableTest.entry(4, "x", "y", 0, 0)})).silent("SDSetCHAPTableEntry", fixed(0)),
            row("getConnectErrorLog", dev -> () -> api.getConnectErrorLog(dev, ConcurrencyStressTest.model("AdapterLogs")))
                    .prints("SDGetLogs", "SDGetLogs call failed! %x "),
            row("getARPLog", dev -> () -> api.getARPLog(dev, ConcurrencyStressTest.model("AdapterLogs")))
                    .prints("SDGetLogs", "SDGetLogs call failed!"),
            row("retrieveCrashRecord", dev -> () -> api.retrieveCrashRecord(dev, "sweep-crash.bin"))
                    .prints("SDGetCrashRecord", "JNI: SDGetCrashRecord failed! %x"),
            row("getiSNSDiscoveryConfig", dev -> () -> api.getiSNSDiscoveryConfig(dev,
                    ConcurrencyStressTest.model("iSNSDiscoveryConfig")))
                    .prints("SDGet_iSNSDiscoveryConfig", "SDGet_iSNSDiscoveryConfig call failed! return Code:%X"),
            row("setiSNSDiscoveryConfig", dev -> {
                Object cfg = ConcurrencyStressTest.model("iSNSDiscoveryConfig");
                api.getiSNSDiscoveryConfig(dev, cfg);
                return () -> api.setiSNSDiscoveryConfig(dev, cfg);
            }).prints("SDSet_iSNSDiscoveryConfig", "SDSet_iSNSDiscoveryConfig call failed! return Code:%X"),
            row("getiSNSTargets", dev -> () -> api.getiSNSTargets(dev, new HBA()))
                    .prints("SDGetAlliSNSDiscoveredTargets", "SDGetAlliSNSDiscoveredTargets call failed return Code:%X")
                    .except("SDGetAlliSNSDiscoveredTargets", 0x2000001C, STATUS,
                            "SDGetAlliSNSDiscoveredTargets call Not Supported for this OS"),
            row("getSecurityPoliciesTable", dev -> () -> api.getSecurityPoliciesTable(dev, new HBA()))
                    .prints("SDGetHbaDevicePortalPropertyiSCSI", "%s", UNCHANGED)
                    .prints("SDGetSecurityPolicyTable", "JNI: SDGetIPSecPolicyTable call failed! %x ", fixed(4099)),
            row("setSecurityPolicies", dev -> () -> api.setSecurityPolicies(dev,
                    new Object[] {SecurityFixtures.manualPolicy()}))
                    .prints("SDSetSecurityPolicyTable", "JNI: setSecurityPolicyTable() failed... %x index: %d"),
            row("getiSCSISecurityInfo", dev -> () -> api.getiSCSISecurityInfo(dev, new HBA()))
                    .prints("SDGetSecurityInfo", "SDGetSecurityInfo call failed!"),
            row("getiSCSISecurityStatistics", dev -> () -> api.getiSCSISecurityStatistics(dev, new HBA()))
                    .prints("SDGetSecurityStatsGen", "SDGetStatisticsiSCSI call failed!")
                    .prints("SDGetAllIKESAStatsDetails", "SDGetAllIKESAStatsDetails call failed!"),
            row("flushSAs", dev -> () -> api.flushSAs(dev, 0)).silent("SDFlushSAs"),
            row("getScsiReportLUNsData", dev -> () -> api.getScsiReportLUNsData(dev, new HBA(0), target(3)))
                    .prints("SDSendScsiReportLunsCmdiSCSI", "SDSendScsiReportLunsCmdiSCSI returned %x")
                    .except("SDSendScsiReportLunsCmdiSCSI", 0x20000077, fixed(0), "Num Luns Reported2: 0 "),
            row("getScsiInquiryData", dev -> () -> api.getScsiInquiryData(dev, new TargetInfo(0, 3, 1),
                    new SCSIInqInfo()))
                    .prints("SDSendScsiInquiryCmdiSCSI", "SDSendScsiInquiryCmdiSCSI returned %x, target ID = 3"),
            row("getScsiReadCapacityData", dev -> () -> api.getScsiReadCapacityData(dev, new LUN(new TargetInfo(0, 3, 1))))
                    .prints("SDSendReadMBCapacity", "SDSendScsiReadCapacityCmdiSCSI returned %x"),
            row("getiSCSITargetData", dev -> {
                HBA hba = new HBA();
                api.getiSCSIHBAData(dev, hba);
                return () -> api.getiSCSITargetData(dev, hba, target(3));
            }).prints("SDGetDiscPortalPropertyiSCSI", "SDGetDiscPortalPropertyiSCSI returned %x"),
            row("getiSCSILunData", dev -> () -> api.getiSCSILunData(dev, new LUN(new TargetInfo(0, 3, 1))))
                    .prints("SDSendScsiInquiryCmdiSCSI", "getLocalScsiInquiryData failed! %x")
                    .prints("SDSendReadMBCapacity", "getScsiReadCapacityData failed! %x")
                    .prints("SDSendScsiPassThruiSCSI", "Unable to issue WWULN inquiry command (%x) (%s)", fixed(0)),
            row("getBootInfo", dev -> () -> api.getBootInfo(dev, new BootInfo()))
                    .prints("SDGetBootcodeInfo", "SDGetBootcodeInfo call failed! %x")
                    .silent("SDGetBootcodeDhcp"),
            row("getRunningBIOSInfo", dev -> () -> api.getRunningBIOSInfo(dev, new BootInfo()))
                    .prints("SDGetBootcodeInfo", "SDGetBootcodeInfo call failed! %x"),
            row("setBootInfo", dev -> {
                BootInfo b = new BootInfo();
                api.getBootInfo(dev, b);
                return () -> api.setBootInfo(dev, b);
            }).prints("SDSetBootcodeInfo", "SDSetBootcodeInfo call failed! %x")
                    .silent("SDSetBootcodeDhcp"),
            // The record's status is not looked at: a failure delivers what the record holds.
            row("getIBMVPD", dev -> () -> api.getIBMVPD(dev, new VitalProductData()))
                    .silent("SDGetVPDInfo", fixed(0)),
            // Every failure is false and quiet; only a boot code image refused until erased (type 6,
            // 0x2000008f) erases, which the update tests look at.
            row("iSCSIUpdateFW", dev -> {
                String path = firmwareImage();
                return () -> api.iSCSIUpdateFW(dev, path, 1);
            }).rule(FALSE).silent("SDUpdateiSCSIFW"),
            row("getiSCSIStatistics", dev -> () -> api.getiSCSIStatistics(dev, new PortStatistics()))
                    .prints("SDGetStatisticsiSCSI", "SDGetStatisticsiSCSI call failed!"),
            row("getiSCSIStatistics6124", dev -> () -> api.getiSCSIStatistics6124(dev, new ExtendedPortStatistics()))
                    .prints("SDGetStatisticsiSCSIExtend", "SDGetStatisticsiSCSI6124 call failed!"),
            row("getiSCSIHBAState", dev -> () -> api.getiSCSIHBAState(dev, new HBA()))
                    .prints("SDGetHbaDevicePortalPropertyiSCSI", "SDGetHbaDevicePortalPropertyiSCSI call failed!"),
            row("resetISCSICounters", dev -> () -> api.resetISCSICounters(dev, 0)).rule(FALSE)
                    .prints("SDResetStatisticsiSCSI", "SDResetiSCSICounters call failed! %x "),
            row("ping", dev -> () -> api.ping(dev, IPAddr.of("192.168.50.1"), 2))
                    .prints("SDDiagPing", "JNI: SDDiagPing() failed! %x"),
            // A failed loopback only counts; the test goes on and answers 206.
            row("loopbackTest", dev -> () -> api.loopbackTest(dev, 0, 0, 2, new TestStatus(), new LoopbackTestResult()))
                    .rule(fixed(206)).silent("SDPerformLoopBackTest"),
            // The first failing command is the WRITE BUFFER; a failure with sense data but not sense
            // key 5 (the simulator's injected failure leaves the sense buffer clear) is still 201.
            row("readWriteBufferTest", dev -> () -> api.readWriteBufferTest(dev,
                    new Object[] {DiagnosticsTest.ready(0, 0)}, 0, 2, DiagnosticsTest.PATTERN, new TestStatus(),
                    DiagnosticsTest.results(1)))
                    .silent("SDGetStatisticsGen", fixed(101))
                    .silent("SDSendScsiPassThruiSCSI", fixed(201)));

    private static String firmwareImage() {
        try {
            java.nio.file.Path p = java.nio.file.Files.createTempFile("sweep-fw", ".bin");
            p.toFile().deleteOnExit();
            java.nio.file.Files.write(p, new byte[] {0x4e, 0x56, 0x46, 0x57, 1, 2, 3, 4});
            return p.toString();
        } catch (java.io.IOException e) {
            throw new java.io.UncheckedIOException(e);
        }
    }

    /** Outcome of one call. */
    record Outcome(Object result, String out, Set<String> functions) {
    }

    /** Fresh simulator, adapters 0 and 1 open, adapter 0's targets in the registry. */
    private static Prepared prepare(Row row) {
        SimControl.reset();
        api.initJNINative();
        assertTrue(api.openDevice(0));
        assertTrue(api.openDevice(1));
        Prepared[] p = new Prepared[1];
        stdout(() -> {
            api.getiSCSIHBAData(0, new HBA());
            p[0] = row.setup.on(0);
        });
        SimControl.clearCallLog();
        return p[0];
    }

    private static Outcome run(Prepared p) {
        Object[] result = new Object[1];
        String out = stdout(() -> result[0] = p.call());
        Set<String> functions = new LinkedHashSet<>();
        for (SimCall c : SimControl.calls()) {
            if (!c.fn().equals("SDGetErrorStringiSCSI")) {
                functions.add(c.fn());
            }
        }
        return new Outcome(result[0], out, functions);
    }

    @TestFactory
    Stream<DynamicTest> everyLibraryFailureOfEveryMethod() {
        List<DynamicTest> tests = new ArrayList<>();
        for (Row row : ROWS) {
            tests.add(DynamicTest.dynamicTest(row.method, () -> {
                Outcome clean;
                try {
                    clean = run(prepare(row));
                } catch (UnsatisfiedLinkError e) {
                    System.err.println("sweep: " + row.method + " is not exported yet: skipped");
                    return;
                }
                List<String> wrong = new ArrayList<>();
                for (String fn : clean.functions()) {
                    boolean told = row.byFunction.containsKey(fn);
                    for (int status : STATUSES) {
                        Expect expect = row.expect(fn, status);
                        Prepared p = prepare(row);
                        SimControl.fault(fn, status, false);
                        Outcome o;
                        try {
                            o = run(p);
                        } finally {
                            SimControl.clearFaults();
                        }
                        String what = row.method + " with " + fn + " failing " + hex(status);
                        if (DUMP) {
                            System.err.println("DUMP|" + what + "|" + show(o.result()) + "|clean " + show(clean.result())
                                    + "|" + o.out().replace("\n", "\\n"));
                        }
                        if (expect == null) {
                            continue;
                        }
                        String expected = expect.rule().check(status, o.result(), clean.result());
                        if (expected != null) {
                            wrong.add(what + ": answered " + show(o.result()) + ", expected " + expected);
                        }
                        String problem = checkLine(expect.line(), status, o.out(), clean.out());
                        if (problem != null) {
                            wrong.add(what + ": " + problem);
                        }
                    }
                    if (!told) {
                        wrong.add(row.method + " calls " + fn + ", whose failure the table does not tell");
                    }
                }
                assertEquals(List.of(), wrong, row.method + " calls " + clean.functions());
            }));
        }
        return tests.stream();
    }

    private static final boolean DUMP = Boolean.getBoolean("dvh.sweep.dump");

    /** Null when the output holds the documented line (or, for a silent failure, what a clean call prints). */
    private static String checkLine(String template, int status, String out, String cleanOut) {
        if (template == null) {
            return out.equals(cleanOut) ? null : "printed \"" + out + "\", expected what a clean call prints";
        }
        // A line of the diagnostic log carries its type first; a line may run on without its newline.
        Pattern p = Pattern.compile("(?m)^ *(?:[A-Za-z]+: )?" + regex(template, status));
        return p.matcher(out).find() ? null : "printed \"" + out + "\", no line \"" + template + "\"";
    }

    /** printf-like template to a regular expression for one status. */
    static String regex(String template, int status) {
        StringBuilder sb = new StringBuilder();
        String[] parts = template.split("(?=%[xXds])|(?<=%[xXds])");
        for (String part : parts) {
            switch (part) {
                case "%x" -> sb.append("(?:0x)?").append(Integer.toHexString(status));
                case "%X" -> sb.append(Integer.toHexString(status).toUpperCase());
                case "%d" -> sb.append("-?[0-9]+");
                case "%s" -> sb.append(".*");
                default -> sb.append(Pattern.quote(part));
            }
        }
        return sb.toString();
    }
}
