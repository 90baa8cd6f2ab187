package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonInclude;
import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.fasterxml.jackson.databind.SerializationFeature;
import com.norvik.dvh.iscsi.jni.ApiStatus;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.ChipInfo;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.DevEntry;
import com.norvik.dvh.iscsi.model.DriverInfo;
import com.norvik.dvh.iscsi.model.FirmwareInfo;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.InitFW;
import com.norvik.dvh.iscsi.model.NodeInfo;

import java.io.File;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.OutputStreamWriter;
import java.io.PrintWriter;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.Option;
import picocli.CommandLine.TypeConversionException;

/**
 * dvh-examine: opens every adapter the device-management library knows, reads its properties, its
 * firmware initialization block and its device database, reports them and closes the adapters
 * again. It only reads; nothing on the adapters is changed.
 *
 * <p>The native library prints its diagnostic lines to the process's standard output. So that they
 * never mix into the report, every native call is made before the first line of the report is
 * written, and the report can be sent elsewhere: to a file with {@code --output}, or, as the
 * generated launcher does, to the file named by the system property {@value #REPORT_PROPERTY}
 * (the launcher passes the original standard output there and moves the process's standard output,
 * and with it the native lines, to standard error).
 *
 * <p>With {@code --watch SECONDS} it reports the adapters' asynchronous events instead, as they come
 * (see {@link Watch}); the native lines then come between the watch's lines unless they are moved
 * away as the launcher does.
 */
@Command(name = "dvh-examine", mixinStandardHelpOptions = true, version = "dvh-examine 1.1",
        subcommands = Diagnose.class,
        description = {
            "Opens every iSCSI adapter, reports its properties, firmware initialization block and device "
                    + "database as the native bridge library reads them, and closes the adapters again. "
                    + "Nothing on the adapters is changed.",
            "",
            "Each adapter's targets with an active session are listed with their LUNs in the manner of lsscsi: "
                    + "[bus:target:lun], vendor, product, revision, capacity in decimal units and WWULN.",
            "",
            "The report also lists the CHAP table (entry names only, never secrets), the iSNS discovery "
                    + "settings with the targets the iSNS server reported, the boot code settings and the vital "
                    + "product data; --logs adds each adapter's connection error log and ARP table.",
            "",
            "--stats adds each adapter's state and port counters (both controller generations). The diag "
                    + "subcommand runs ping, the loopback test and the read/write buffer test (see diag --help).",
            "",
            "With --watch SECONDS the adapters' asynchronous events are watched instead of reported on: "
                    + "event collection is switched on for every adapter, each adapter is asked for its "
                    + "events about once a second, every notification is printed as it arrives (time since "
                    + "the start, adapter, event kinds; with --json one JSON object per line), and at the "
                    + "end collection is switched off, the adapters are closed and the notifications per "
                    + "adapter are counted. Ctrl-C ends the watch early in the same way.",
            "",
            "The native library writes diagnostic lines to standard output; the dvh-examine launcher "
                    + "moves them to standard error, so standard output holds the report alone."},
        exitCodeListHeading = "Exit codes:%n",
        exitCodeList = {
            "0:every adapter was read in full (with --watch: every native call of the watch succeeded)",
            "1:the report is incomplete: a native call failed (see the problems listed per adapter; with "
                    + "--watch, the problem lines)",
            "2:the native library could not be loaded, the simulated adapters' scenario could not be "
                    + "loaded (the reason in one line), the report could not be written, or the command line is "
                    + "wrong"})
public class Examiner implements Callable<Integer> {

    /** Highest number of adapter instances the native library handles. */
    public static final int MAX_ADAPTERS = 32;

    /** System property naming a file that takes the report instead of standard output. */
    public static final String REPORT_PROPERTY = "dvh.examine.report";

    @Option(names = "--json", description = "Print the report as JSON instead of text.")
    boolean json;

    @Option(names = {"-o", "--output"}, paramLabel = "FILE",
            description = "Write the report (with --watch: its lines) to FILE instead of standard output.")
    File output;

    @Option(names = "--logs", description = "Add each adapter's connection error log and ARP table to the report.")
    boolean logs;

    @Option(names = "--stats", description = "Add each adapter's state and port counters to the report.")
    boolean stats;

    @Option(names = "--watch", paramLabel = "SECONDS", converter = PositiveSeconds.class,
            description = "Instead of the report, watch the adapters' asynchronous events for SECONDS "
                    + "seconds (a whole number above 0); with --json one JSON object per line.")
    Integer watchSeconds;

    /** The command line this examiner runs in; its writers take the report. */
    private CommandLine commandLine;

    /** Clock and wait of the watch. */
    private Watch.Timing timing = Watch.Timing.SYSTEM;

    /** How long a shutdown (Ctrl-C) waits for the watch to switch events off and close the adapters. */
    static final long STOP_WAIT_SECONDS = 10;

    /** A whole number of seconds above 0. */
    static class PositiveSeconds implements ITypeConverter<Integer> {
        @Override
        public Integer convert(String value) {
            int seconds;
            try {
                seconds = Integer.parseInt(value);
            } catch (NumberFormatException e) {
                throw new TypeConversionException("'" + value + "' is not a whole number of seconds");
            }
            if (seconds <= 0) {
                throw new TypeConversionException(seconds + " is not a positive number of seconds");
            }
            return seconds;
        }
    }

    public static void main(String[] args) {
        CommandLine cl = commandLine();
        String reportTo = System.getProperty(REPORT_PROPERTY);
        if (reportTo != null && !reportTo.isEmpty()) {
            try {
                // Appending, so that a report sent to "/dev/fd/N" never cuts a file the caller opened.
                cl.setOut(new PrintWriter(new OutputStreamWriter(new FileOutputStream(reportTo, true),
                        StandardCharsets.UTF_8), true));
            } catch (IOException e) {
                System.err.println("dvh-examine: cannot write the report to " + reportTo + ": " + e.getMessage());
                System.exit(2);
            }
        }
        int code = cl.execute(args);
        cl.getOut().flush();
        System.exit(code);
    }

    /** A command line around a new examiner (set its writers, then {@code execute(args)}). */
    public static CommandLine commandLine() {
        return commandLine(Watch.Timing.SYSTEM);
    }

    /** A command line around a new examiner whose watch uses {@code timing}. */
    static CommandLine commandLine(Watch.Timing timing) {
        Examiner examiner = new Examiner();
        examiner.timing = timing;
        examiner.commandLine = new CommandLine(examiner);
        CommandLine diag = examiner.commandLine.getSubcommands().get("diag");
        ((Diagnose) diag.getCommand()).commandLine = diag;
        return examiner.commandLine;
    }

    @Override
    public Integer call() {
        CommandLine cl = commandLine != null ? commandLine : new CommandLine(this);
        PrintWriter err = cl.getErr();
        ApiWrapper wrapper;
        try {
            wrapper = new ApiWrapper();
        } catch (LinkageError e) {
            err.println("dvh-examine: cannot load the native library dvhiscsi: " + e.getMessage());
            err.flush();
            return 2;
        }
        if (SimulatedScenario.reportFailure(err)) {
            return 2;
        }
        if (watchSeconds != null) {
            return watch(cl, wrapper);
        }
        // Every native call is made here, before any of the report is written.
        Report report = collect(wrapper, logs, stats);
        String text;
        try {
            text = json ? toJson(report) + "\n" : toText(report);
        } catch (IOException e) {
            err.println("dvh-examine: cannot make the JSON report: " + e.getMessage());
            err.flush();
            return 2;
        }
        if (output != null) {
            try (PrintWriter file = new PrintWriter(output, StandardCharsets.UTF_8)) {
                file.print(text);
                if (file.checkError()) {
                    throw new IOException("write error");
                }
            } catch (IOException e) {
                err.println("dvh-examine: cannot write " + output + ": " + e.getMessage());
                err.flush();
                return 2;
            }
        } else {
            PrintWriter out = cl.getOut();
            out.print(text);
            out.flush();
        }
        return report.complete() ? 0 : 1;
    }

    /** Opens instances 0, 1, ... until one fails to open, gathers each adapter's facts, closes all. */
    static Report collect(ApiWrapper api) {
        return collect(api, false);
    }

    /** The same, with each adapter's logs when {@code logs} is set. */
    static Report collect(ApiWrapper api, boolean logs) {
        return collect(api, logs, false);
    }

    /** The same, with each adapter's state and counters when {@code stats} is set. */
    static Report collect(ApiWrapper api, boolean logs, boolean stats) {
        api.initJNINative();
        Report report = new Report();
        report.libraryVersion = api.getVersioniSCSI();
        List<Integer> opened = new ArrayList<>();
        try {
            for (int instance = 0; instance < MAX_ADAPTERS; instance++) {
                if (!api.openDevice(instance)) {
                    break;
                }
                opened.add(instance);
                AdapterReport adapter = AdapterReport.gather(api, instance, logs);
                if (stats) {
                    adapter.statistics = StatsReport.gather(api, instance, adapter.problems);
                }
                report.adapters.add(adapter);
            }
        } finally {
            for (int instance : opened) {
                api.closeDevice(instance);
            }
        }
        return report;
    }

    /**
     * Opens instances 0, 1, ... until one fails to open, watches their events, and closes them. A
     * shutdown of the JVM (Ctrl-C) meanwhile stops the watch and waits until the adapters are closed.
     */
    private int watch(CommandLine cl, ApiWrapper api) {
        PrintWriter err = cl.getErr();
        PrintWriter out = cl.getOut();
        if (output != null) {
            try {
                out = new PrintWriter(output, StandardCharsets.UTF_8);
            } catch (IOException e) {
                err.println("dvh-examine: cannot write " + output + ": " + e.getMessage());
                err.flush();
                return 2;
            }
        }
        api.initJNINative();
        List<Integer> opened = new ArrayList<>();
        CountDownLatch done = new CountDownLatch(1);
        // The watch once it runs, and whether a stop came before it did.
        Watch[] running = new Watch[1];
        boolean[] stopped = new boolean[1];
        Thread hook = new Thread(() -> {
            synchronized (running) {
                stopped[0] = true;
                if (running[0] != null) {
                    running[0].requestStop();
                }
            }
            try {
                done.await(STOP_WAIT_SECONDS, TimeUnit.SECONDS);
            } catch (InterruptedException e) {
                Thread.currentThread().interrupt();
            }
        }, "dvh-examine-stop");
        Runtime.getRuntime().addShutdownHook(hook);
        int code;
        try {
            for (int instance = 0; instance < MAX_ADAPTERS; instance++) {
                if (!api.openDevice(instance)) {
                    break;
                }
                opened.add(instance);
            }
            Watch w = new Watch(api, opened, watchSeconds, json, out, timing);
            synchronized (running) {
                running[0] = w;
                if (stopped[0]) {
                    w.requestStop();
                }
            }
            code = w.run();
        } finally {
            for (int instance : opened) {
                api.closeDevice(instance);
            }
            if (output != null) {
                out.close();
            }
            done.countDown();
            try {
                Runtime.getRuntime().removeShutdownHook(hook);
            } catch (IllegalStateException e) {
                // The JVM is shutting down: the hook is running and has just been released.
            }
        }
        if (out.checkError()) {
            err.println("dvh-examine: cannot write the watch's lines" + (output != null ? " to " + output : ""));
            err.flush();
            return 2;
        }
        return code;
    }

    static String toJson(Report report) throws IOException {
        ObjectMapper mapper = new ObjectMapper().enable(SerializationFeature.INDENT_OUTPUT);
        return mapper.writeValueAsString(report);
    }

    static String toText(Report report) {
        StringBuilder sb = new StringBuilder();
        sb.append("Library version: ").append(report.libraryVersion).append('\n');
        sb.append("Adapters found: ").append(report.adapters.size()).append('\n');
        for (AdapterReport adapter : report.adapters) {
            sb.append('\n');
            adapter.appendText(sb);
        }
        return sb.toString();
    }

    /**
     * The connection state of a device database entry in words, as the management application
     * shows it.
     */
    public static String stateText(int state) {
        switch (state) {
            case 0:
                return "DDB UnAssigned";
            case 1:
                return "No Active Connection";
            case 2:
                return "Discovery State";
            case 3:
                return "No Session Active";
            case 4:
                return "Active Session";
            case 5:
                return "Logging Out";
            case 6:
                return "Session Failed";
            case 0x1007:
                return "Offline";
            default:
                return "Unknown (" + state + ")";
        }
    }

    static String duplexText(int duplex) {
        switch (duplex) {
            case 1:
                return "full";
            case 0:
                return "half";
            default:
                return "unknown";
        }
    }

    private static String hex(int value, int digits) {
        return String.format("0x%0" + digits + "x", value);
    }

    private static String address(IPAddr a) {
        return a == null ? null : a.toString();
    }

    /** A value for the text report: "-" for what is missing or empty. */
    private static String orDash(Object o) {
        return o == null || o.toString().isEmpty() ? "-" : o.toString();
    }

    // --- The report; its public fields are also the shape of the JSON output ----------------------

    /** Everything the examiner found. */
    @JsonPropertyOrder({"libraryVersion", "adapters"})
    public static class Report {
        public String libraryVersion;
        public List<AdapterReport> adapters = new ArrayList<>();

        boolean complete() {
            return adapters.stream().allMatch(a -> a.problems.isEmpty());
        }
    }

    /** One adapter: its properties, firmware block and device database, and what could not be read. */
    @JsonPropertyOrder({"instance", "problems", "properties", "firmware", "deviceDatabase", "targets", "security",
        "chapTable", "isns", "boot", "vpd", "logs", "statistics"})
    public static class AdapterReport {
        public int instance;
        /** One line per native call that did not succeed, e.g. "getChipInfo: status 0x2000002d". */
        public List<String> problems = new ArrayList<>();
        public Properties properties = new Properties();
        public Firmware firmware = new Firmware();
        public List<Entry> deviceDatabase = new ArrayList<>();
        /** The targets with an active session and their LUNs. */
        public TargetsReport targets;
        /** The IPsec engine; absent when it reports nothing. */
        @JsonInclude(JsonInclude.Include.NON_NULL)
        public SecurityReport security;
        /** CHAP entries by name, never their secrets. */
        public ChapReport chapTable;
        public IsnsReport isns;
        /** Boot code settings and the vital product data. */
        public BootReport boot;
        public VpdReport vpd;
        /** The connection error log and ARP table; only with --logs. */
        @JsonInclude(JsonInclude.Include.NON_NULL)
        public LogsReport logs;
        /** The adapter's state and counters; only with --stats. */
        @JsonInclude(JsonInclude.Include.NON_NULL)
        public StatsReport statistics;

        static AdapterReport gather(ApiWrapper api, int instance) {
            return gather(api, instance, false);
        }

        static AdapterReport gather(ApiWrapper api, int instance, boolean withLogs) {
            AdapterReport a = new AdapterReport();
            a.instance = instance;
            HBA hba = new HBA(instance);
            NodeInfo node = new NodeInfo();
            FirmwareInfo fw = new FirmwareInfo();
            DriverInfo driver = new DriverInfo();
            ChipInfo chip = new ChipInfo();
            a.check("getiSCSIHBAData", api.getiSCSIHBAData(instance, hba));
            a.check("getiSCSIAdapterInfo", api.getiSCSIAdapterInfo(instance, node));
            a.check("getiSCSIFWInfo", api.getiSCSIFWInfo(instance, fw));
            a.check("getiSCSIDriverInfo", api.getiSCSIDriverInfo(instance, driver));
            a.check("getChipInfo", api.getChipInfo(instance, chip));
            a.properties = Properties.of(hba, fw, driver, chip);
            a.firmware = Firmware.of(hba, node);
            for (DevDBEntry e : hba.getDeviceDataBaseEntries()) {
                a.deviceDatabase.add(Entry.of(e));
            }
            a.targets = TargetsReport.gather(api, instance, hba, a.problems);
            a.security = SecurityReport.gather(api, instance, a.problems);
            a.chapTable = ChapReport.gather(api, instance, a.problems);
            a.isns = IsnsReport.gather(api, instance, a.problems);
            a.boot = BootReport.gather(api, instance, a.properties.model, a.problems);
            a.vpd = VpdReport.gather(api, instance, a.problems);
            if (withLogs) {
                a.logs = LogsReport.gather(api, instance, a.problems);
            }
            return a;
        }

        private void check(String method, int status) {
            if (status != 0) {
                problems.add(method + ": status " + ApiStatus.hex(status));
            }
        }

        void appendText(StringBuilder sb) {
            sb.append("Adapter ").append(instance).append('\n');
            if (!problems.isEmpty()) {
                sb.append("  Problems\n");
                for (String p : problems) {
                    sb.append("    ").append(p).append('\n');
                }
            }
            properties.appendText(sb);
            firmware.appendText(sb);
            sb.append("  Device database: ").append(deviceDatabase.size())
                    .append(deviceDatabase.size() == 1 ? " entry\n" : " entries\n");
            if (!deviceDatabase.isEmpty()) {
                sb.append(String.format("    %-5s  %-20s  %-46s  %-16s  %s\n", "Index", "State", "Target",
                        "Address", "Port"));
                for (Entry e : deviceDatabase) {
                    e.appendText(sb);
                }
            }
            targets.appendText(sb);
            if (security != null) {
                security.appendText(sb);
            }
            chapTable.appendText(sb);
            isns.appendText(sb);
            boot.appendText(sb);
            vpd.appendText(sb);
            if (logs != null) {
                logs.appendText(sb);
            }
            if (statistics != null) {
                statistics.appendText(sb);
            }
        }
    }

    private static void line(StringBuilder sb, String label, Object value) {
        sb.append(String.format("    %-19s %s\n", label + ":", orDash(value)));
    }

    /** The adapter's properties: identity, addresses, state, link, versions, chip. */
    @JsonPropertyOrder({"manufacturer", "model", "serialNumber", "macAddress", "ipAddress", "state", "type",
        "dhcpState", "link", "versions", "driverAttributes", "firmwareAttributes", "chip", "discoveredTargets"})
    public static class Properties {
        public String manufacturer;
        public String model;
        public String serialNumber;
        public String macAddress;
        public String ipAddress;
        public int state;
        public int type;
        public int dhcpState;
        public Link link = new Link();
        public Versions versions = new Versions();
        public String driverAttributes;
        public String firmwareAttributes;
        public Chip chip = new Chip();
        public int discoveredTargets;

        static Properties of(HBA hba, FirmwareInfo fw, DriverInfo driver, ChipInfo chip) {
            Properties p = new Properties();
            p.manufacturer = hba.getManufacturer();
            p.model = fw.getChipModel() != null ? fw.getChipModel() : hba.getChipModel();
            p.serialNumber = hba.getSerialNumberStr();
            p.macAddress = hba.getMACAddressString();
            p.ipAddress = address(hba.getIPAddress());
            p.state = hba.getState();
            p.type = hba.getType();
            p.dhcpState = hba.getDhcpState();
            p.link.status = hba.getLinkStatus();
            p.link.flowControl = hba.getFlowControl();
            p.link.duplex = duplexText(hba.getDuplex());
            p.link.speedCode = hba.getLinkSpeed();
            p.versions.driver = driver.getDriverVersion() != null ? driver.getDriverVersion() : hba.getDriverVersion();
            p.versions.firmware = fw.getFirmwareVersion() != null ? fw.getFirmwareVersion() : hba.getFirmwareVersion();
            p.versions.optionRom = fw.getOptRomVersion() != null ? fw.getOptRomVersion() : hba.getOptRomVersion();
            p.versions.iscsi = fw.getiSCSIVersion();
            p.driverAttributes = hex(driver.getDriverVersion() != null ? driver.getDriverAttribute()
                    : hba.getDriverAttribute(), 8);
            p.firmwareAttributes = hex(fw.getFirmwareVersion() != null ? fw.getFirmwareAttribute()
                    : hba.getFirmwareAttribute(), 8);
            p.chip.boardModel = chip.getBoardModel();
            p.chip.version = chip.getChipVersion();
            p.discoveredTargets = hba.getNumberDiskTargets();
            return p;
        }

        void appendText(StringBuilder sb) {
            sb.append("  Properties\n");
            line(sb, "Manufacturer", manufacturer);
            line(sb, "Model", model);
            line(sb, "Serial number", serialNumber);
            line(sb, "MAC address", macAddress);
            line(sb, "IP address", ipAddress);
            line(sb, "State", state);
            line(sb, "Type", type);
            line(sb, "DHCP state", dhcpState);
            line(sb, "Link", "status " + link.status + ", flow control " + (link.flowControl ? "on" : "off")
                    + ", " + link.duplex + " duplex, speed code " + link.speedCode);
            line(sb, "Driver version", orDash(versions.driver) + " (attributes " + driverAttributes + ")");
            line(sb, "Firmware version", orDash(versions.firmware) + " (attributes " + firmwareAttributes + ")");
            line(sb, "Option ROM version", versions.optionRom);
            line(sb, "iSCSI version", versions.iscsi);
            line(sb, "Chip", orDash(chip.boardModel) + ", version " + chip.version);
            line(sb, "Discovered targets", discoveredTargets);
        }
    }

    /** Link state: status code, flow control, duplex ("full", "half" or "unknown"), speed code. */
    @JsonPropertyOrder({"status", "flowControl", "duplex", "speedCode"})
    public static class Link {
        public int status;
        public boolean flowControl;
        public String duplex;
        public int speedCode;
    }

    @JsonPropertyOrder({"driver", "firmware", "optionRom", "iscsi"})
    public static class Versions {
        public String driver;
        public String firmware;
        public String optionRom;
        public String iscsi;
    }

    @JsonPropertyOrder({"boardModel", "version"})
    public static class Chip {
        public String boardModel;
        public int version;
    }

    /** The firmware initialization block, with the node's name and alias and the adapter-level settings. */
    @JsonPropertyOrder({"ipAddress", "subnetMask", "gateway", "primaryDns", "slpDa", "iscsiName", "alias",
        "adapterAlias", "mtu", "vlanTci", "options", "additionalOptions", "zioCount", "tcpWindowScale",
        "taskManagementTimeout", "tcpMaxWindowSize"})
    public static class Firmware {
        public String ipAddress;
        public String subnetMask;
        public String gateway;
        public String primaryDns;
        public String slpDa;
        public String iscsiName;
        public String alias;
        public String adapterAlias;
        public int mtu;
        public String vlanTci;
        public String options;
        public String additionalOptions;
        public int zioCount;
        public int tcpWindowScale;
        public int taskManagementTimeout;
        public int tcpMaxWindowSize;

        static Firmware of(HBA hba, NodeInfo node) {
            Firmware f = new Firmware();
            InitFW init = hba.getInitFW();
            DevEntry d = init.getDevEntry();
            f.ipAddress = address(hba.getIPAddress());
            f.subnetMask = address(hba.getSubnetMask());
            f.gateway = address(hba.getGateway());
            f.primaryDns = address(hba.getPrimaryDNS());
            f.slpDa = address(hba.getSlpDa());
            f.iscsiName = node.getiSCSIName();
            f.alias = node.getAlias();
            f.adapterAlias = hba.getHBA_Level_Alias();
            f.mtu = init.getJumboPacketSize();
            f.vlanTci = hex(init.getVLAN_TCI(), 4);
            f.options = hex(init.getFWOptions() & 0xffff, 4);
            f.additionalOptions = hex(init.getAddFWOptions() & 0xffff, 4);
            f.zioCount = init.getZIOCount();
            f.tcpWindowScale = d.getRxTCPWindowScale();
            f.taskManagementTimeout = d.getTaskManagementTimeout() & 0xffff;
            f.tcpMaxWindowSize = hba.getHBA_Level_TCPMaxWindowSize();
            return f;
        }

        void appendText(StringBuilder sb) {
            sb.append("  Firmware block\n");
            line(sb, "IP address", ipAddress);
            line(sb, "Subnet mask", subnetMask);
            line(sb, "Gateway", gateway);
            line(sb, "Primary DNS", primaryDns);
            line(sb, "SLP DA", slpDa);
            line(sb, "iSCSI name", iscsiName);
            line(sb, "Alias", alias);
            line(sb, "Adapter alias", adapterAlias);
            line(sb, "MTU", mtu);
            line(sb, "VLAN TCI", vlanTci);
            line(sb, "Options", options + ", additional " + additionalOptions);
            line(sb, "ZIO count", zioCount);
            line(sb, "TCP window scale", tcpWindowScale);
            line(sb, "TCP max window", tcpMaxWindowSize);
            line(sb, "Task mgmt timeout", taskManagementTimeout);
        }
    }

    /** One valid device database entry. */
    @JsonPropertyOrder({"index", "state", "stateText", "targetName", "address", "port"})
    public static class Entry {
        /** The entry's database index (its target id). */
        public int index;
        public int state;
        public String stateText;
        public String targetName;
        public String address;
        public int port;

        static Entry of(DevDBEntry e) {
            Entry x = new Entry();
            x.index = e.getTargetID();
            x.state = e.getState();
            x.stateText = stateText(e.getState());
            x.targetName = e.getNodeInfo().getiSCSIName();
            IPAddr ip = e.getNodeInfo().getIPAddress();
            String target = e.getDeviceEntry().getTargetAddress();
            x.address = ip != null && !ip.isZero() ? ip.toString()
                    : target != null && !target.isEmpty() ? target : null;
            x.port = e.getDeviceEntry().getPortNumber();
            return x;
        }

        void appendText(StringBuilder sb) {
            sb.append(String.format("    %-5d  %-20s  %-46s  %-16s  %d\n", index, stateText, orDash(targetName),
                    orDash(address), port));
        }
    }
}
