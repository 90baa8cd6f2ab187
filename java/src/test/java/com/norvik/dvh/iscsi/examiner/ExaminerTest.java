package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class ExaminerTest extends ExaminerTestBase {

    private static final ObjectMapper JSON = new ObjectMapper();

    /**
     * Adapter 0 with every property, a firmware block and database entries in several states
     * (one with an IPv6 portal, one known only by its target address), the active one a target with a
     * LUN; adapter 1 bare.
     */
    private static final String SCENARIO = "{\"version\": \"IZKSDM iSCSI 9.9 TEST\", \"adapters\": ["
            + "{\"instance\": 0,"
            + " \"portal\": {\"serialNumber\": \"IZK0001\", \"macAddress\": \"02:4e:56:00:00:fe\","
            + "  \"manufacturer\": \"Izark Storage\", \"model\": \"NV-3300\", \"driverVersion\": \"6.0-k1\","
            + "  \"firmwareVersion\": \"4.1.7\", \"optionRomVersion\": \"2.0\", \"state\": 4, \"type\": 2,"
            + "  \"discTargetCount\": 3, \"driverAttributes\": \"0x80000003\", \"firmwareAttributes\": \"0x101\","
            + "  \"iscsiVersion\": \"1.1\", \"dhcpState\": 1, \"linkStatus\": 1,"
            + "  \"flowControlDuplexLinkSpeed\": \"0x6A00\"},"
            + " \"node\": {\"nodeInfo\": {\"iscsiName\": \"iqn.2004-06.com.izark:nv3300.a\", \"alias\": \"lab-a\"}},"
            + " \"driver\": {\"version\": \"6.0-k1\", \"attributes\": \"0x80000003\"},"
            + " \"chip\": {\"boardType\": \"NV-3300 quad-port\", \"chipVersion\": 5},"
            + " \"initFw\": {\"ipAddress\": \"10.9.8.7\", \"subnetMask\": \"255.255.255.0\","
            + "  \"gateway\": \"10.9.8.1\", \"primaryDns\": {\"ipAddress\": \"10.9.8.53\"},"
            + "  \"slpDaAddress\": \"10.9.8.54\", \"fwOptions\": \"0x8202\", \"addFwOptions\": \"0x0010\","
            + "  \"ethernetMtu\": 9000, \"tci\": \"0x0064\", \"zio\": 2, \"tcpWindowScaleFactor\": 3,"
            + "  \"taskManagementTimeout\": 12},"
            + " \"alias\": \"lab-a-port0\", \"tcpMaxWindowSize\": 65535,"
            + " \"ddb\": ["
            + "  {\"index\": 0, \"deviceState\": 4, \"deviceInfo\": {\"portNumber\": 3260},"
            + "   \"entryInfo\": {\"ipAddress\": \"10.9.1.10\", \"iscsiName\": \"iqn.2009-11.com.acmedisk:v9k.a\"}},"
            + "  {\"index\": 2, \"deviceState\": 0, \"entryInfo\": {\"iscsiName\": \"iqn.unused\"}},"
            + "  {\"index\": 3, \"deviceState\": 1, \"deviceInfo\": {\"portNumber\": 3261},"
            + "   \"entryInfo\": {\"ipAddress\": \"fe80::9:1\", \"iscsiName\": \"iqn.2009-11.com.acmedisk:v9k.b\"}},"
            + "  {\"index\": 40, \"deviceState\": 4103, \"deviceInfo\": {\"portNumber\": 3260,"
            + "   \"targetAddress\": \"vault.lab\"}},"
            + "  {\"index\": 511, \"deviceState\": 9, \"deviceInfo\": {\"portNumber\": 860},"
            + "   \"entryInfo\": {\"ipAddress\": \"10.9.1.11\", \"iscsiName\": \"iqn.2009-11.com.acmedisk:v9k.c\"}}"
            + " ],"
            + " \"targets\": [{\"targetId\": 0,"
            + "  \"portal\": {\"ipAddress\": \"10.9.1.10\", \"portNumber\": 3260, \"hostName\": \"v9k-a.lab\"},"
            + "  \"node\": {\"sessionId\": 5, \"nodeInfo\": {\"iscsiName\": \"iqn.2009-11.com.acmedisk:v9k.a\"}},"
            + "  \"luns\": [{\"lun\": 0, \"vendor\": \"ACMEDISK\", \"product\": \"Vault-9000\", \"revision\": \"0412\","
            + "   \"wwuln\": \"50:0a:cd:e1:00:0a:00:00\", \"blocks\": 2097152, \"blockLength\": 512}]}]},"
            + "{\"instance\": 1}]}";

    /** The boot code and VPD sections of an adapter whose scenario gives neither. */
    private static final String NO_BOOT_CODE_OR_VPD = "  Boot code\n"
            + "    Version:            0.0 (no valid image)\n"
            + "    State:              enabled\n"
            + "    Flags:              0x0000\n"
            + "    Primary target:     none\n"
            + "    Secondary target:   none\n"
            + "    DHCP vendor id:     -\n"
            + "    DHCP alt client id: -\n"
            + "  Vital product data\n"
            + "    Description:        -\n"
            + "    Part number:        -\n"
            + "    EC level:           -\n"
            + "    Manufacture id:     -\n"
            + "    FRU number:         -\n"
            + "    CCIN:               -\n"
            + "    Brand:              -\n";



    @Test
    void textReportShowsPropertiesFirmwareBlockAndDatabaseOfEveryAdapter() {
        SimControl.loadScenario(SCENARIO);
        examine();
        assertEquals(0, exitCode);
        assertEquals("Library version: IZKSDM iSCSI 9.9 TEST\n"
                + "Adapters found: 2\n"
                + "\n"
                + "Adapter 0\n"
                + "  Properties\n"
                + "    Manufacturer:       Izark Storage\n"
                + "    Model:              NV-3300\n"
                + "    Serial number:      IZK0001\n"
                + "    MAC address:        02:4e:56:00:00:fe\n"
                + "    IP address:         10.9.8.7\n"
                + "    State:              4\n"
                + "    Type:               2\n"
                + "    DHCP state:         1\n"
                + "    Link:               status 1, flow control on, full duplex, speed code 10\n"
                + "    Driver version:     6.0-k1 (attributes 0x80000003)\n"
                + "    Firmware version:   4.1.7 (attributes 0x00000101)\n"
                + "    Option ROM version: 2.0\n"
                + "    iSCSI version:      1.1\n"
                + "    Chip:               NV-3300 quad-port, version 5\n"
                + "    Discovered targets: 3\n"
                + "  Firmware block\n"
                + "    IP address:         10.9.8.7\n"
                + "    Subnet mask:        255.255.255.0\n"
                + "    Gateway:            10.9.8.1\n"
                + "    Primary DNS:        10.9.8.53\n"
                + "    SLP DA:             10.9.8.54\n"
                + "    iSCSI name:         iqn.2004-06.com.izark:nv3300.a\n"
                + "    Alias:              lab-a\n"
                + "    Adapter alias:      lab-a-port0\n"
                + "    MTU:                9000\n"
                + "    VLAN TCI:           0x0064\n"
                + "    Options:            0x8202, additional 0x0010\n"
                + "    ZIO count:          2\n"
                + "    TCP window scale:   3\n"
                + "    TCP max window:     65535\n"
                + "    Task mgmt timeout:  12\n"
                + "  Device database: 4 entries\n"
                + "    Index  State                 Target                                          Address"
                + "           Port\n"
                + "    0      Active Session        iqn.2009-11.com.acmedisk:v9k.a                  10.9.1.10"
                + "         3260\n"
                + "    3      No Active Connection  iqn.2009-11.com.acmedisk:v9k.b                  "
                + "fe80:0000:0000:0000:0000:0000:0009:0001  3261\n"
                + "    40     Offline               -                                               vault.lab"
                + "         3260\n"
                + "    511    Unknown (9)           iqn.2009-11.com.acmedisk:v9k.c                  10.9.1.11"
                + "         860\n"
                + "  Targets: 1, 1 LUN\n"
                + "    Target 0:0  iqn.2009-11.com.acmedisk:v9k.a  10.9.1.10:3260 (v9k-a.lab), session 5\n"
                + "      [0:0:0]      ACMEDISK  Vault-9000        0412   1.07GB  50:0a:cd:e1:00:0a:00:00\n"
                + "  CHAP table: 0 entries\n"
                + "  iSNS discovery\n"
                + "    Discovery:          disabled\n"
                + "    Server:             -\n"
                + "    Targets:            0\n"
                + NO_BOOT_CODE_OR_VPD
                + "\n"
                + "Adapter 1\n"
                + "  Properties\n"
                + "    Manufacturer:       -\n"
                + "    Model:              -\n"
                + "    Serial number:      -\n"
                + "    MAC address:        00:00:00:00:00:00\n"
                + "    IP address:         0.0.0.0\n"
                + "    State:              0\n"
                + "    Type:               0\n"
                + "    DHCP state:         0\n"
                + "    Link:               status 0, flow control off, unknown duplex, speed code 0\n"
                + "    Driver version:     - (attributes 0x00000000)\n"
                + "    Firmware version:   - (attributes 0x00000000)\n"
                + "    Option ROM version: -\n"
                + "    iSCSI version:      -\n"
                + "    Chip:               -, version 0\n"
                + "    Discovered targets: 0\n"
                + "  Firmware block\n"
                + "    IP address:         0.0.0.0\n"
                + "    Subnet mask:        0.0.0.0\n"
                + "    Gateway:            0.0.0.0\n"
                + "    Primary DNS:        0.0.0.0\n"
                + "    SLP DA:             0.0.0.0\n"
                + "    iSCSI name:         -\n"
                + "    Alias:              -\n"
                + "    Adapter alias:      -\n"
                + "    MTU:                0\n"
                + "    VLAN TCI:           0x0000\n"
                + "    Options:            0x0000, additional 0x0000\n"
                + "    ZIO count:          0\n"
                + "    TCP window scale:   0\n"
                + "    TCP max window:     0\n"
                + "    Task mgmt timeout:  0\n"
                + "  Device database: 0 entries\n"
                + "  Targets: 0\n"
                + "  CHAP table: 0 entries\n"
                + "  iSNS discovery\n"
                + "    Discovery:          disabled\n"
                + "    Server:             -\n"
                + "    Targets:            0\n"
                + NO_BOOT_CODE_OR_VPD, out);
        assertEquals(List.of(0L, 1L, 2L), argOfCalls("SDOpenDeviceiSCSI", "instance"));
        // The scenario gives no handles: the simulator's 100 + instance.
        assertEquals(List.of(100L, 101L), argOfCalls("SDCloseDeviceiSCSI", "handle"));
        // The native diagnostics were printed, but only to standard output.
        assertTrue(nativeOut.contains("Getting HBA Port DDB Data"), nativeOut);
        assertFalse(out.contains("Getting HBA"));
    }

    @Test
    void jsonReportHoldsTheSameFacts() throws Exception {
        SimControl.loadScenario(SCENARIO);
        examine("--json");
        assertEquals(0, exitCode);
        JsonNode report = JSON.readTree(out);
        assertEquals("IZKSDM iSCSI 9.9 TEST", report.get("libraryVersion").asText());
        assertEquals(2, report.get("adapters").size());
        JsonNode a = report.get("adapters").get(0);
        assertEquals(0, a.get("instance").asInt());
        assertEquals(0, a.get("problems").size());
        JsonNode p = a.get("properties");
        assertEquals("Izark Storage", p.get("manufacturer").asText());
        assertEquals("02:4e:56:00:00:fe", p.get("macAddress").asText());
        assertEquals("10.9.8.7", p.get("ipAddress").asText());
        assertEquals(JSON.readTree("{\"status\": 1, \"flowControl\": true, \"duplex\": \"full\", \"speedCode\": 10}"),
                p.get("link"));
        assertEquals(JSON.readTree("{\"driver\": \"6.0-k1\", \"firmware\": \"4.1.7\", \"optionRom\": \"2.0\","
                + " \"iscsi\": \"1.1\"}"), p.get("versions"));
        assertEquals("0x80000003", p.get("driverAttributes").asText());
        assertEquals(JSON.readTree("{\"boardModel\": \"NV-3300 quad-port\", \"version\": 5}"), p.get("chip"));
        JsonNode f = a.get("firmware");
        assertEquals("255.255.255.0", f.get("subnetMask").asText());
        assertEquals("iqn.2004-06.com.izark:nv3300.a", f.get("iscsiName").asText());
        assertEquals("lab-a-port0", f.get("adapterAlias").asText());
        assertEquals(9000, f.get("mtu").asInt());
        assertEquals("0x8202", f.get("options").asText());
        assertEquals(JSON.readTree("[{\"index\": 0, \"state\": 4, \"stateText\": \"Active Session\","
                + " \"targetName\": \"iqn.2009-11.com.acmedisk:v9k.a\", \"address\": \"10.9.1.10\", \"port\": 3260},"
                + " {\"index\": 3, \"state\": 1, \"stateText\": \"No Active Connection\","
                + " \"targetName\": \"iqn.2009-11.com.acmedisk:v9k.b\","
                + " \"address\": \"fe80:0000:0000:0000:0000:0000:0009:0001\", \"port\": 3261},"
                + " {\"index\": 40, \"state\": 4103, \"stateText\": \"Offline\", \"targetName\": \"\","
                + " \"address\": \"vault.lab\", \"port\": 3260},"
                + " {\"index\": 511, \"state\": 9, \"stateText\": \"Unknown (9)\","
                + " \"targetName\": \"iqn.2009-11.com.acmedisk:v9k.c\", \"address\": \"10.9.1.11\", \"port\": 860}]"),
                a.get("deviceDatabase"));
        assertEquals(0, report.get("adapters").get(1).get("deviceDatabase").size());
        assertFalse(out.contains("Getting HBA"));
    }

    @Test
    void theDefaultScenarioIsReportedWithItsDatabase() throws Exception {
        examine("--json");
        assertEquals(0, exitCode);
        JsonNode report = JSON.readTree(out);
        assertEquals(Scenarios.defaultVersion(), report.get("libraryVersion").asText());
        List<String> expected = new ArrayList<>();
        for (JsonNode e : Scenarios.defaultScenario().get("adapters").get(0).get("ddb")) {
            int state = e.get("deviceState").asInt();
            if (state != 0) {
                expected.add(e.get("index").asInt() + " " + Examiner.stateText(state));
            }
        }
        List<String> got = new ArrayList<>();
        for (JsonNode e : report.get("adapters").get(0).get("deviceDatabase")) {
            got.add(e.get("index").asInt() + " " + e.get("stateText").asText());
        }
        assertEquals(expected, got);
    }

    @Test
    void stateTexts() {
        assertEquals("DDB UnAssigned", Examiner.stateText(0));
        assertEquals("No Active Connection", Examiner.stateText(1));
        assertEquals("Discovery State", Examiner.stateText(2));
        assertEquals("No Session Active", Examiner.stateText(3));
        assertEquals("Active Session", Examiner.stateText(4));
        assertEquals("Logging Out", Examiner.stateText(5));
        assertEquals("Session Failed", Examiner.stateText(6));
        assertEquals("Offline", Examiner.stateText(0x1007));
        assertEquals("Unknown (7)", Examiner.stateText(7));
        assertEquals("Unknown (-1)", Examiner.stateText(-1));
    }

    @Test
    void failedReadsAreListedAndMakeTheExitCodeOne() throws Exception {
        SimControl.loadScenario(SCENARIO);
        SimControl.fault("SDGetHbaDeviceChipPropertyiSCSI", 0x2000002D, false);
        examine("--json");
        assertEquals(1, exitCode);
        JsonNode report = JSON.readTree(out);
        for (JsonNode a : report.get("adapters")) {
            assertEquals(JSON.readTree("[\"getChipInfo: status 0x2000002d\"]"), a.get("problems"));
        }
        examine();
        assertEquals(1, exitCode);
        assertTrue(out.contains("Adapter 0\n  Problems\n    getChipInfo: status 0x2000002d\n  Properties\n"), out);
    }

    @Test
    void theReportCanGoToAFile(@TempDir Path dir) throws Exception {
        SimControl.loadScenario(SCENARIO);
        Path file = dir.resolve("report.json");
        examine("--json", "--output", file.toString());
        assertEquals(0, exitCode);
        assertEquals("", out);
        JsonNode report = JSON.readTree(Files.readString(file));
        assertEquals(2, report.get("adapters").size());
    }

    @Test
    void noAdaptersIsAnEmptyReport() {
        SimControl.loadScenario(Scenarios.bareAdapters(0));
        examine();
        assertEquals(0, exitCode);
        assertEquals("Library version: " + Scenarios.defaultVersion() + "\nAdapters found: 0\n", out);
        assertEquals(List.of(), argOfCalls("SDCloseDeviceiSCSI", "handle"));
    }

    @Test
    void atMostThirtyTwoInstancesAreTried() {
        SimControl.loadScenario(Scenarios.bareAdapters(33));
        examine("--json");
        assertEquals(0, exitCode);
        assertEquals(32, argOfCalls("SDOpenDeviceiSCSI", "instance").size());
        assertEquals(31L, argOfCalls("SDOpenDeviceiSCSI", "instance").get(31));
        assertEquals(32, argOfCalls("SDCloseDeviceiSCSI", "handle").size());
    }

    /**
     * The generated launcher (its path comes from the build as dvh.examine.launcher) keeps the
     * library's diagnostic lines out of standard output: what it prints there is the JSON alone.
     */
    @Test
    void theLauncherPrintsTheReportAloneOnStandardOutput(@TempDir Path dir) throws IOException, InterruptedException {
        String launcher = System.getProperty("dvh.examine.launcher");
        assumeTrue(launcher != null && Files.isExecutable(Path.of(launcher)), "launcher not given");
        Path stdoutFile = dir.resolve("out");
        Path stderrFile = dir.resolve("err");
        ProcessBuilder pb = new ProcessBuilder(launcher, "--json")
                .redirectOutput(stdoutFile.toFile()).redirectError(stderrFile.toFile());
        pb.environment().remove("IZKSDM_SCENARIO");
        Process p = pb.start();
        assertTrue(p.waitFor(120, TimeUnit.SECONDS), "launcher finished");
        assertEquals(0, p.exitValue());
        JsonNode report = JSON.readTree(Files.readString(stdoutFile, StandardCharsets.UTF_8));
        assertEquals(2, report.get("adapters").size());
        String err = Files.readString(stderrFile, StandardCharsets.ISO_8859_1);
        assertTrue(err.contains("Getting HBA Port DDB Data"), err);
    }

    /**
     * A scenario the simulator cannot load is no machine without adapters: every mode ends with exit
     * code 2 and the simulator's reason in one line, and the report stays empty.
     */
    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "missing | ''",
        "broken  | --json",
        "missing | --watch 1",
        "broken  | diag --loopback 1"})
    void aScenarioThatCannotBeLoadedEndsWithItsReason(String kind, String args, @TempDir Path dir)
            throws IOException, InterruptedException {
        String launcher = System.getProperty("dvh.examine.launcher");
        assumeTrue(launcher != null && Files.isExecutable(Path.of(launcher)), "launcher not given");
        Path scenario = dir.resolve("site.json");
        String reason = "cannot read scenario file \"" + scenario + "\": No such file or directory";
        if (kind.equals("broken")) {
            Files.writeString(scenario, "{\"adapters\": [");
            reason = "scenario file \"" + scenario + "\": invalid JSON: ";
        }
        List<String> command = new ArrayList<>(List.of(launcher));
        if (!args.isEmpty()) {
            command.addAll(List.of(args.split(" ")));
        }
        ProcessBuilder pb = new ProcessBuilder(command)
                .redirectOutput(dir.resolve("out").toFile()).redirectError(dir.resolve("err").toFile());
        pb.environment().put("IZKSDM_SCENARIO", scenario.toString());
        Process p = pb.start();
        assertTrue(p.waitFor(120, TimeUnit.SECONDS), "launcher finished");
        List<String> err = Files.readAllLines(dir.resolve("err"), StandardCharsets.ISO_8859_1);
        assertEquals(2, p.exitValue(), String.join("\n", err));
        assertEquals("", Files.readString(dir.resolve("out"), StandardCharsets.ISO_8859_1));
        String last = err.get(err.size() - 1);
        assertTrue(last.startsWith("dvh-examine: scenario could not be loaded: " + reason), last);
        if (kind.equals("missing")) {
            assertEquals("dvh-examine: scenario could not be loaded: " + reason, last);
        }
    }
}
