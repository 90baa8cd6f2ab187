package com.norvik.dvh.iscsi.catalog;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.AdapterLogs;
import com.norvik.dvh.iscsi.model.BootInfo;
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

import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.reflect.InvocationTargetException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * The 62 native methods of {@link ApiWrapper}, one entry each, for every test and tool that calls
 * them all: how to call the method on an open adapter with arguments that make it do its work
 * (against the default scenario, adapter 0's targets in the registry), what it answers when one of
 * the adapter library's functions fails, and the line it prints then.
 *
 * <p>A failure line is printf-like: {@code %x} the status in hexadecimal (with or without
 * {@code 0x}), {@code %X} in capitals, {@code %d} a number, {@code %s} any text; a null line means
 * the method prints what a clean call prints.
 */
public final class NativeMethods {

    /** What a method answers when a library function fails. */
    public enum Answer {
        /** The library's status itself. */
        STATUS,
        FALSE,
        NULL,
        /** What a clean call answers: the failure only prints. */
        UNCHANGED,
        /** The entry's or failure's fixed value. */
        FIXED
    }

    /** The answer and line of a method when {@code function} fails (with {@code status}, or any: 0). */
    public record Failure(String function, int status, Answer answer, Object value, String line) {
    }

    /** Arguments for one call on adapter {@code dev}; what they need is read from the adapter first. */
    public interface Args {
        Object[] on(ApiWrapper api, int dev);
    }

    /** One native method. */
    public static final class Method {
        private final String name;
        private final java.lang.reflect.Method target;
        private final Args args;
        private Answer answer = Answer.STATUS;
        private Object value;
        private final Map<String, Failure> failures = new LinkedHashMap<>();

        Method(String name, Args args) {
            this.name = name;
            this.args = args;
            this.target = Arrays.stream(ApiWrapper.class.getDeclaredMethods()).filter(m -> m.getName().equals(name))
                    .findFirst().orElseThrow(() -> new IllegalArgumentException("no native method " + name));
        }

        public String name() {
            return name;
        }

        /** The parameter types of the native method. */
        public Class<?>[] parameters() {
            return target.getParameterTypes();
        }

        /** Whether the first parameter is the adapter instance. */
        public boolean takesInstance() {
            Class<?>[] p = parameters();
            return p.length > 0 && p[0] == int.class && !name.equals("updateDriver");
        }

        /** Arguments that make the method do its work on adapter {@code dev}. */
        public Object[] args(ApiWrapper api, int dev) {
            return args.on(api, dev);
        }

        /** Calls the method; an exception it throws (or leaves pending) is thrown as it is. */
        public Object invoke(ApiWrapper api, Object... arguments) {
            try {
                return target.invoke(api, arguments);
            } catch (InvocationTargetException e) {
                Throwable t = e.getCause();
                if (t instanceof RuntimeException r) {
                    throw r;
                }
                if (t instanceof Error err) {
                    throw err;
                }
                throw new IllegalStateException(t);
            } catch (IllegalAccessException e) {
                throw new IllegalStateException(e);
            }
        }

        /** Prepares the arguments and calls the method on adapter {@code dev}. */
        public Object call(ApiWrapper api, int dev) {
            return invoke(api, args(api, dev));
        }

        /** The answer when one of its library calls fails, unless the failure says otherwise. */
        public Answer answer() {
            return answer;
        }

        public Object value() {
            return value;
        }

        /** The failure of {@code function} with {@code status}; null when the table does not tell. */
        public Failure failure(String function, int status) {
            Failure f = failures.get(function + "/" + status);
            return f != null ? f : failures.get(function);
        }

        /** The library functions whose failure this entry tells. */
        public List<String> functions() {
            List<String> out = new ArrayList<>();
            for (Failure f : failures.values()) {
                if (!out.contains(f.function())) {
                    out.add(f.function());
                }
            }
            return out;
        }

        Method answers(Answer a) {
            return answers(a, null);
        }

        Method answers(Answer a, Object fixed) {
            answer = a;
            value = fixed;
            return this;
        }

        /** When {@code function} fails the method prints {@code line} and answers as the entry does. */
        Method prints(String function, String line) {
            return prints(function, line, answer, value);
        }

        Method prints(String function, String line, Answer a, Object fixed) {
            failures.put(function, new Failure(function, 0, a, fixed, line));
            return this;
        }

        Method silent(String function) {
            return prints(function, null);
        }

        Method silent(String function, Answer a, Object fixed) {
            return prints(function, null, a, fixed);
        }

        /** For one status of {@code function}: another answer and line. */
        Method except(String function, int status, Answer a, Object fixed, String line) {
            failures.put(function + "/" + status, new Failure(function, status, a, fixed, line));
            return this;
        }
    }

    private static Method m(String name, Args args) {
        return new Method(name, args);
    }

    private static Object[] a(Object... values) {
        return values;
    }

    /** A CHAP entry whose secret array holds more bytes than its length: only the length is sent. */
    private static CHAPTableEntry longSecret() {
        CHAPTableEntry e = Samples.chapEntry(2, "long", "", 0, 0);
        short[] secret = new short[CHAPTableEntry.SECRET_SIZE];
        Arrays.fill(secret, (short) 'x');
        e.setChapSecret(secret, 12);
        return e;
    }

    private static Target target(int id) {
        Target t = new Target(id);
        t.getTargetInfo().setTargetID(id);
        return t;
    }

    /** The firmware image iSCSIUpdateFW is handed (a few bytes, in the temporary folder). */
    public static final Path FIRMWARE_IMAGE = scratch("dvh-catalog-firmware.bin", new byte[] {0x4e, 0x56, 0x46, 0x57, 1, 2, 3, 4});

    private static Path scratch(String name, byte[] content) {
        try {
            Path p = Path.of(System.getProperty("java.io.tmpdir"), name);
            Files.write(p, content);
            return p;
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private static final Answer STATUS = Answer.STATUS;
    private static final Answer FALSE = Answer.FALSE;
    private static final Answer FIXED = Answer.FIXED;

    /** Every native method, in the order of ApiWrapper. */
    public static final List<Method> ALL = Collections.unmodifiableList(Arrays.asList(
            m("initJNINative", (api, dev) -> a()),
            // Opening again an open instance: a failure is false and quiet.
            m("openDevice", (api, dev) -> a(1)).answers(FALSE).silent("SDOpenDeviceiSCSI"),
            m("closeDevice", (api, dev) -> a(dev)).answers(FALSE).silent("SDCloseDeviceiSCSI"),
            m("getVersioniSCSI", (api, dev) -> a()).silent("SDGetVersioniSCSI", FIXED, ""),
            m("enableAENsForDevice", (api, dev) -> a(dev, 1, new AenSink()))
                    .prints("SDEnableAeniSCSI", "***AddHbaToHbaList.SDStartAENPoll: Driver does not support AENs, "
                            + "ErrorCode=%x (%s)"),
            m("disableAENsForDevice", (api, dev) -> a(dev, 0))
                    .prints("SDDisableAeniSCSI", "***SDDisableAen: Failed on device[%d]: (%x) (%s)"),
            m("getAENsForDevice", (api, dev) -> {
                AenSink sink = new AenSink();
                api.enableAENsForDevice(dev, 1, sink);
                return a(dev, 2, sink);
            }).prints("SDGetAeniSCSI", "***GetAENsShared: Error Getting the SDGetAeniSCSI (HBA:%d), ErrorCode=%x (%s)"),
            m("ignoreAENs", (api, dev) -> a(dev, 0, 0)),
            m("startAENValidTime", (api, dev) -> a(dev, 0))
                    .prints("SDSetAENValidTime", "***SetAENValidTimeShared: Error Setting the SDSetAENValidTime (HBA:%d), "
                            + "ErrorCode=%x (%s)"),
            // A name no user database can hold (a colon), so that the answer is the same on every machine.
            m("validateSystemUser", (api, dev) -> a("no such user:acme", "wrong")),
            m("enableSdmTrace", (api, dev) -> a(dev, "catalog-trace.txt"))
                    .prints("SDEnableDebugTraceiSCSI", "JNI: SDEnableDebugTraceiSCSI: %x "),
            m("getiSCSIAdapterInfo", (api, dev) -> a(dev, new NodeInfo()))
                    .prints("SDGetHbaDeviceNodePropertyiSCSI", "SDGetHbaDeviceNodePropertyiSCSI call failed! %x"),
            m("getiSCSIFWInfo", (api, dev) -> a(dev, new FirmwareInfo()))
                    .prints("SDGetHbaDevicePortalPropertyiSCSI", "SDGetHbaDevicePortalPropertyiSCSI call failed! %x"),
            m("getiSCSIDriverInfo", (api, dev) -> a(dev, new DriverInfo()))
                    .prints("SDGetHbaDeviceDriverPropertyiSCSI", "SDGetHbaDeviceDriverPropertyiSCSI call failed! %x"),
            m("getiSCSIHBAData", (api, dev) -> a(dev, new HBA()))
                    .prints("SDGetHbaDevicePortalPropertyiSCSI", "SDGetHbaDevicePortalPropertyiSCSI call failed!")
                    .prints("SDGetDDBEntryNum", "SDGetDDB call failed!")
                    .prints("SDGetDDBEntry", "SDGetDDBEntry call failed! %x")
                    .prints("SDGetInitFW", "SDGetInitFW call failed! %d")
                    .prints("SDGetHBAAlias", "SDGetHBAAlias failed (%x) (%s)")
                    .prints("SDGetTCPMaxWindowSize", "HBA level TCP max window size=0 (0x0)", Answer.UNCHANGED, null),
            m("getChipInfo", (api, dev) -> a(dev, new ChipInfo()))
                    .prints("SDGetHbaDeviceChipPropertyiSCSI", "SDGetHbaDeviceChipPropertyiSCSI call failed!"),
            m("getISCSIFWDefaults", (api, dev) -> a(dev, new InitFW())).prints("SDGetFWDefaults", "FAILED: %x "),
            m("setISCSIDefaults", (api, dev) -> a(dev)).answers(FALSE).prints("SDSetFWDefaults", "FAILED: %x "),
            m("restoreDefaults", (api, dev) -> a(dev, 1, 1)).answers(FIXED, 1)
                    .prints("SDRestoreDefaults", "SDRestoreDefaults call failed!"),
            m("resetISCSIHBA", (api, dev) -> a(dev)).answers(FALSE).prints("SDResetHBA", "SDResetHBA call failed!"),
            m("setFWData", (api, dev) -> {
                HBA hba = new HBA();
                api.getFWData(dev, hba);
                return a(dev, hba);
            }).prints("SDGetInitFW", "SDGetInitFW call failed!", Answer.UNCHANGED, null)
                    .prints("SDSetInitFW", "SDSetInitFW call failed!")
                    .silent("SDSetTCPMaxWindowSize"),
            m("getFWData", (api, dev) -> a(dev, new HBA())).prints("SDGetInitFW", "SDGetInitFW call failed! %d"),
            m("getDefaultDDBEntry", (api, dev) -> a(dev)).answers(Answer.NULL)
                    .prints("SDGetDefaultDDBEntry", "SDGetDefaultDDBEntry call failed! %x"),
            m("getInitialDDBEntry", (api, dev) -> a(dev, new DevDBEntry(), 3))
                    .prints("SDGetInitialDDBEntry", "SDGetInitialDDBEntry FAILED!"),
            m("getiSCSIEntryNum", (api, dev) -> a(dev)).answers(FIXED, 0)
                    .prints("SDGetDDBEntryNum", "SDGetDDBEntryNum call failed! 1"),
            m("setDDBData", (api, dev) -> a(dev, new HBA(), Samples.sampleEntry(5), 0))
                    .prints("SDSetDDBEntry", "SDSetDDBEntry call failed! %d, Errno = %x"),
            m("setDDBsData", (api, dev) -> a(dev, new HBA(), new Object[] {Samples.sampleEntry(5), Samples.sampleEntry(6)}))
                    .answers(FIXED, 0).prints("SDSetDDBEntry", "SDSetDDBEntry call failed! %d, Errno = %x"),
            m("logoutDDB", (api, dev) -> a(dev, 0, 0, 0)).silent("SDSendiSCSILogout"),
            m("getCHAPTableSparse", (api, dev) -> a(dev, new HBA()))
                    .prints("SDGetCHAPTableMod", "JNI: SDGetCHAPTableSparse call failed! %x ", FIXED, 4099)
                    .except("SDGetCHAPTableMod", 0x2000007E, STATUS, null, null),
            m("getCHAPTableData", (api, dev) -> a(dev, new HBA())).answers(FIXED, 4099)
                    .prints("SDGetCHAPEntryNum", "JNI: SDGetCHAPEntryNum call failed! %x ")
                    .prints("SDGetCHAPTable", "JNI: SDGetCHAPTable call failed! %x "),
            m("setCHAPTableData", (api, dev) -> a(dev, new Object[] {Samples.chapEntry(1, "name", "secret-one", 0, 0),
                    longSecret()}))
                    .silent("SDSetCHAPTable"),
            m("setCHAPTableSparse", (api, dev) -> a(dev, new Object[] {Samples.chapEntry(9, "nine", "secret-nine", 0x40, 1)},
                    new Object[] {Samples.chapEntry(4, "x", "y", 0, 0)})).silent("SDSetCHAPTableEntry", FIXED, 0),
            m("getiSCSITargetData", (api, dev) -> {
                HBA hba = new HBA();
                api.getiSCSIHBAData(dev, hba);
                // The third target in the adapter's list is the one with id 3.
                Target t = target(2);
                t.getTargetInfo().setTargetID(3);
                return a(dev, hba, t);
            }).prints("SDGetDiscPortalPropertyiSCSI", "SDGetDiscPortalPropertyiSCSI returned %x")
                    .prints("SDGetDiscNodePropertyiSCSI", "SDGetDiscNodePropertyiSCSI returned %x"),
            m("getiSCSILunData", (api, dev) -> a(dev, new LUN(new TargetInfo(0, 3, 1))))
                    .prints("SDSendScsiInquiryCmdiSCSI", "getLocalScsiInquiryData failed! %x")
                    .prints("SDSendReadMBCapacity", "getScsiReadCapacityData failed! %x")
                    .prints("SDSendScsiPassThruiSCSI", "Unable to issue WWULN inquiry command (%x) (%s)", FIXED, 0),
            m("getScsiReportLUNsData", (api, dev) -> a(dev, new HBA(0), target(3)))
                    .prints("SDSendScsiReportLunsCmdiSCSI", "SDSendScsiReportLunsCmdiSCSI returned %x")
                    .except("SDSendScsiReportLunsCmdiSCSI", 0x20000077, FIXED, 0, "Num Luns Reported2: 0 "),
            m("getScsiInquiryData", (api, dev) -> a(dev, new TargetInfo(0, 3, 1), new SCSIInqInfo()))
                    .prints("SDSendScsiInquiryCmdiSCSI", "SDSendScsiInquiryCmdiSCSI returned %x, target ID = 3"),
            m("getScsiReadCapacityData", (api, dev) -> a(dev, new LUN(new TargetInfo(0, 3, 1))))
                    .prints("SDSendReadMBCapacity", "SDSendScsiReadCapacityCmdiSCSI returned %x"),
            m("getiSCSIStatistics", (api, dev) -> a(dev, new PortStatistics()))
                    .prints("SDGetStatisticsiSCSI", "SDGetStatisticsiSCSI call failed!"),
            m("getiSCSIStatistics6124", (api, dev) -> a(dev, new ExtendedPortStatistics()))
                    .prints("SDGetStatisticsiSCSIExtend", "SDGetStatisticsiSCSI6124 call failed!"),
            m("getiSCSIHBAState", (api, dev) -> a(dev, new HBA()))
                    .prints("SDGetHbaDevicePortalPropertyiSCSI", "SDGetHbaDevicePortalPropertyiSCSI call failed!"),
            m("resetISCSICounters", (api, dev) -> a(dev, 0)).answers(FALSE)
                    .prints("SDResetStatisticsiSCSI", "SDResetiSCSICounters call failed! %x "),
            m("getConnectErrorLog", (api, dev) -> a(dev, new AdapterLogs()))
                    .prints("SDGetLogs", "SDGetLogs call failed! %x "),
            m("getARPLog", (api, dev) -> a(dev, new AdapterLogs())).prints("SDGetLogs", "SDGetLogs call failed!"),
            m("retrieveCrashRecord", (api, dev) -> a(dev, "catalog-crash.bin"))
                    .prints("SDGetCrashRecord", "JNI: SDGetCrashRecord failed! %x"),
            m("getiSNSDiscoveryConfig", (api, dev) -> a(dev, new iSNSDiscoveryConfig()))
                    .prints("SDGet_iSNSDiscoveryConfig", "SDGet_iSNSDiscoveryConfig call failed! return Code:%X"),
            m("setiSNSDiscoveryConfig", (api, dev) -> {
                iSNSDiscoveryConfig cfg = new iSNSDiscoveryConfig();
                api.getiSNSDiscoveryConfig(dev, cfg);
                return a(dev, cfg);
            }).prints("SDSet_iSNSDiscoveryConfig", "SDSet_iSNSDiscoveryConfig call failed! return Code:%X"),
            m("getiSNSTargets", (api, dev) -> a(dev, new HBA()))
                    .prints("SDGetAlliSNSDiscoveredTargets", "SDGetAlliSNSDiscoveredTargets call failed return Code:%X")
                    .except("SDGetAlliSNSDiscoveredTargets", 0x2000001C, STATUS, null,
                            "SDGetAlliSNSDiscoveredTargets call Not Supported for this OS"),
            m("getSecurityPoliciesTable", (api, dev) -> a(dev, new HBA()))
                    .prints("SDGetHbaDevicePortalPropertyiSCSI", "%s", Answer.UNCHANGED, null)
                    .prints("SDGetSecurityPolicyTable", "JNI: SDGetIPSecPolicyTable call failed! %x ", FIXED, 4099),
            m("setSecurityPolicies", (api, dev) -> a(dev, new Object[] {Samples.manualPolicy()}))
                    .prints("SDSetSecurityPolicyTable", "JNI: setSecurityPolicyTable() failed... %x index: %d"),
            m("getiSCSISecurityInfo", (api, dev) -> a(dev, new HBA()))
                    .prints("SDGetSecurityInfo", "SDGetSecurityInfo call failed!"),
            m("getiSCSISecurityStatistics", (api, dev) -> a(dev, new HBA()))
                    .prints("SDGetSecurityStatsGen", "SDGetStatisticsiSCSI call failed!")
                    .prints("SDGetAllIKESAStatsDetails", "SDGetAllIKESAStatsDetails call failed!"),
            m("flushSAs", (api, dev) -> a(dev, 0)).silent("SDFlushSAs"),
            m("getBootInfo", (api, dev) -> a(dev, new BootInfo()))
                    .prints("SDGetBootcodeInfo", "SDGetBootcodeInfo call failed! %x").silent("SDGetBootcodeDhcp"),
            m("getRunningBIOSInfo", (api, dev) -> a(dev, new BootInfo()))
                    .prints("SDGetBootcodeInfo", "SDGetBootcodeInfo call failed! %x"),
            m("setBootInfo", (api, dev) -> {
                BootInfo b = new BootInfo();
                api.getBootInfo(dev, b);
                return a(dev, b);
            }).prints("SDSetBootcodeInfo", "SDSetBootcodeInfo call failed! %x").silent("SDSetBootcodeDhcp"),
            m("ping", (api, dev) -> a(dev, IPAddr.of("192.168.50.1"), 2)).prints("SDDiagPing", "JNI: SDDiagPing() failed! %x"),
            // A failed loopback only counts; the test goes on and answers 206.
            m("loopbackTest", (api, dev) -> a(dev, 0, 0, 2, new TestStatus(), new LoopbackTestResult()))
                    .answers(FIXED, 206).silent("SDPerformLoopBackTest"),
            // The first failing command is the WRITE BUFFER; a failure with sense data but not sense
            // key 5 (the simulator's injected failure leaves the sense buffer clear) is still 201.
            m("readWriteBufferTest", (api, dev) -> a(dev, new Object[] {Samples.bufferTarget(0, 0)}, 0, 2,
                    Samples.PATTERN.clone(), new TestStatus(), Samples.bufferResults(1)))
                    .silent("SDGetStatisticsGen", FIXED, 101).silent("SDSendScsiPassThruiSCSI", FIXED, 201),
            // The record's status is not looked at: a failure delivers what the record holds.
            m("getIBMVPD", (api, dev) -> a(dev, new VitalProductData())).silent("SDGetVPDInfo", FIXED, 0),
            // Every failure is false and quiet; only a boot code image refused until erased (type 6,
            // 0x2000008f) erases.
            m("iSCSIUpdateFW", (api, dev) -> a(dev, FIRMWARE_IMAGE.toString(), 1)).answers(FALSE).silent("SDUpdateiSCSIFW"),
            m("iSCSIGetDriverVersion", (api, dev) -> a(dev, null, "nvs2210.ko", null)),
            m("updateDriver", (api, dev) -> a("/opt/norvik/drivers", 3))));

    private static final Map<String, Method> BY_NAME = new LinkedHashMap<>();

    static {
        for (Method m : ALL) {
            BY_NAME.put(m.name(), m);
        }
    }

    private NativeMethods() {
    }

    /** The entry of {@code name}. */
    public static Method named(String name) {
        Method m = BY_NAME.get(name);
        if (m == null) {
            throw new IllegalArgumentException("no native method " + name);
        }
        return m;
    }

    /** Calls {@code name} on adapter {@code dev} with its catalog arguments. */
    public static Object call(ApiWrapper api, String name, int dev) {
        return named(name).call(api, dev);
    }

}
