package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.List;

import org.junit.jupiter.api.Test;

/** The examiner's targets and LUNs: one line per LUN in the manner of lsscsi, text and JSON. */
class TargetsReportTest extends ExaminerTestBase {

    private static final ObjectMapper JSON = new ObjectMapper();

    /**
     * Adapter 0 counts its disk targets (the library then finds a target by its position in the
     * device database list): entries 2 and 6 have a session, entry 4 has none. Target 2 has a disk
     * with an identifier, one without page 0x83 and one whose capacity the library could not
     * measure; target 6 reports an empty LUN list. Adapter 1 counts no disk targets (the target id
     * itself names the target): entry 9 has a session.
     */
    private static final String SCENARIO = "{\"version\": \"T\", \"adapters\": ["
            + "{\"instance\": 0, \"ddb\": ["
            + "  {\"index\": 2, \"deviceState\": 4, \"entryInfo\": {\"iscsiName\": \"iqn.2015-08.org.heron:pool2\"}},"
            + "  {\"index\": 4, \"deviceState\": 1},"
            + "  {\"index\": 6, \"deviceState\": 4}],"
            + " \"targets\": ["
            + "  {\"targetId\": 2,"
            + "   \"portal\": {\"ipAddress\": \"10.7.0.2\", \"nodeCount\": 1, \"hostName\": \"heron-2.lab.example\","
            + "    \"portNumber\": 3260},"
            + "   \"node\": {\"sessionId\": 21, \"connectionId\": 1, \"portalGroupId\": 1,"
            + "    \"nodeInfo\": {\"iscsiName\": \"iqn.2015-08.org.heron:pool2\", \"alias\": \"pool2\"}},"
            + "   \"luns\": ["
            + "    {\"lun\": 0, \"vendor\": \"GRAYSTOR\", \"product\": \"Tundra 12\", \"revision\": \"1.0\","
            + "     \"wwuln\": \"50:22:33:44:55:66:77:00\", \"blocks\": 2097152, \"blockLength\": 512},"
            + "    {\"lun\": 5, \"vendor\": \"GRAYSTOR\", \"product\": \"Tundra 12\", \"revision\": \"1.0\","
            + "     \"page83\": false, \"blocks\": 1000000000, \"blockLength\": 4096},"
            + "    {\"lun\": 7, \"vendor\": \"GRAYSTOR\", \"product\": \"Tundra Archive\", \"revision\": \"2.0b\","
            + "     \"wwuln\": \"50:22:33:44:55:66:77:07\","
            + "     \"capacityRecord\": {\"lba\": \"0xfefefefe\", \"blockLength\": 512}}]},"
            + "  {\"targetId\": 4, \"state\": 1, \"luns\": [{\"lun\": 0}]},"
            + "  {\"targetId\": 6, \"reportLunsData\": \"0000000000000000\","
            + "   \"portal\": {\"ipAddress\": \"10.7.0.6\", \"portNumber\": 3261},"
            + "   \"node\": {\"sessionId\": 22, \"nodeInfo\": {\"iscsiName\": \"iqn.2015-08.org.heron:pool6\"}},"
            + "   \"luns\": [{\"lun\": 0, \"vendor\": \"HERON\", \"product\": \"Pool 6\", \"revision\": \"3\","
            + "    \"wwuln\": \"50:22:33:44:55:66:66:00\", \"blocks\": 1954, \"blockLength\": 512}]}]},"
            + "{\"instance\": 1, \"portal\": {\"discTargetCount\": 0},"
            + " \"ddb\": [{\"index\": 9, \"deviceState\": 4}],"
            + " \"targets\": [{\"targetId\": 9, \"portal\": {\"ipAddress\": \"10.7.1.9\", \"portNumber\": 3260},"
            + "  \"node\": {\"sessionId\": 90, \"nodeInfo\": {\"iscsiName\": \"iqn.2015-08.org.heron:pool9\"}},"
            + "  \"luns\": [{\"lun\": 3, \"vendor\": \"HERON\", \"product\": \"Pool 9\", \"revision\": \"3\","
            + "   \"wwuln\": \"50:22:33:44:55:66:99:03\", \"blocks\": \"0x100000000\", \"blockLength\": 4096}]}]}]}";

    @Test
    void textListsEachTargetWithSessionAndItsLunsLikeLsscsi() {
        SimControl.loadScenario(SCENARIO);
        examine();
        assertEquals(0, exitCode, out);
        assertEquals("  Targets: 2, 4 LUNs\n"
                + "    Target 0:2  iqn.2015-08.org.heron:pool2  10.7.0.2:3260 (heron-2.lab.example), session 21\n"
                + "      [0:2:0]      GRAYSTOR  Tundra 12         1.0    1.07GB  50:22:33:44:55:66:77:00\n"
                + "      [0:2:5]      GRAYSTOR  Tundra 12         1.0    4.09TB  -\n"
                + "      [0:2:7]      GRAYSTOR  Tundra Archive    2.0b        -  50:22:33:44:55:66:77:07\n"
                + "    Target 0:6  iqn.2015-08.org.heron:pool6  10.7.0.6:3261 (-), session 22\n"
                + "      [0:6:0]      HERON     Pool 6            3          0B  50:22:33:44:55:66:66:00\n",
                section(out, "  Targets:", "  CHAP table"));
        assertEquals("  Targets: 1, 1 LUN\n"
                + "    Target 0:9  iqn.2015-08.org.heron:pool9  10.7.1.9:3260 (-), session 90\n"
                + "      [0:9:3]      HERON     Pool 9            3      17.5TB  50:22:33:44:55:66:99:03\n",
                section(out.substring(out.indexOf("Adapter 1")), "  Targets:", "  CHAP table"));

        // Adapter 0 names its targets by position (0 and 2 of its list), adapter 1 by target id; the
        // library turns both into the entries' ids.
        List<SimCall> portals = calls("SDGetDiscPortalPropertyiSCSI");
        assertEquals(List.of(2L, 6L, 9L), portals.stream().map(c -> c.arg("targetID")).toList());
    }

    @Test
    void jsonHoldsTheSameFacts() throws Exception {
        SimControl.loadScenario(SCENARIO);
        examine("--json");
        assertEquals(0, exitCode);
        JsonNode targets = JSON.readTree(out).path("adapters").get(0).path("targets");
        assertEquals(2, targets.size());
        JsonNode t = targets.get(0);
        assertEquals(JSON.readTree("{\"bus\": 0, \"targetId\": 2, \"iscsiName\": \"iqn.2015-08.org.heron:pool2\","
                + " \"alias\": \"pool2\", \"address\": \"10.7.0.2\", \"port\": 3260,"
                + " \"hostName\": \"heron-2.lab.example\", \"nodeCount\": 1, \"sessionId\": 21, \"connectionId\": 1,"
                + " \"portalGroup\": 1, \"luns\": ["
                + " {\"address\": \"0:2:0\", \"lun\": 0, \"vendor\": \"GRAYSTOR\", \"product\": \"Tundra 12\","
                + "  \"revision\": \"1.0\", \"capacityMegabytes\": 1023, \"capacity\": \"1.07GB\","
                + "  \"wwuln\": \"50:22:33:44:55:66:77:00\"},"
                + " {\"address\": \"0:2:5\", \"lun\": 5, \"vendor\": \"GRAYSTOR\", \"product\": \"Tundra 12\","
                + "  \"revision\": \"1.0\", \"capacityMegabytes\": 3906240, \"capacity\": \"4.09TB\", \"wwuln\": null},"
                + " {\"address\": \"0:2:7\", \"lun\": 7, \"vendor\": \"GRAYSTOR\", \"product\": \"Tundra Archive\","
                + "  \"revision\": \"2.0b\", \"capacityMegabytes\": null, \"capacity\": null,"
                + "  \"wwuln\": \"50:22:33:44:55:66:77:07\"}]}"), t);
        assertEquals(0, targets.get(1).path("luns").get(0).path("lun").asInt());
        assertEquals("0:9:3", JSON.readTree(out).path("adapters").get(1).path("targets").get(0).path("luns").get(0)
                .path("address").asText());
    }

    @Test
    void targetsAndLunsThatCannotBeReadAreProblems() throws Exception {
        SimControl.loadScenario(SCENARIO.replace("{\"index\": 4, \"deviceState\": 1}",
                "{\"index\": 4, \"deviceState\": 1}, {\"index\": 8, \"deviceState\": 4}"));
        SimControl.fault("SDSendReadMBCapacity", 0x20000040, true);
        examine("--json");
        assertEquals(1, exitCode);
        JsonNode a0 = JSON.readTree(out).path("adapters").get(0);
        assertEquals(JSON.readTree("[\"getiSCSILunData(0:2:0): status 0x20000040\","
                + " \"getiSCSITargetData(entry 8): status 0x20000004\"]"), a0.path("problems"));
        // The target without a discovered portal is left out; the LUN keeps what it told.
        assertEquals(2, a0.path("targets").size());
        JsonNode lun = a0.path("targets").get(0).path("luns").get(0);
        assertEquals("GRAYSTOR", lun.path("vendor").asText());
        assertTrue(lun.path("capacity").isNull());
        assertTrue(lun.path("wwuln").isNull());
        // The fault was for one read only: the next LUN is whole.
        assertEquals("4.09TB", a0.path("targets").get(0).path("luns").get(1).path("capacity").asText());
    }

    @Test
    void capacitiesInDecimalUnitsWithThreeDigitsCutNotRounded() {
        assertEquals("0B", TargetsReport.humanSize(0));
        assertEquals("1.04MB", TargetsReport.humanSize(1));
        assertEquals("999MB", TargetsReport.humanSize(953));
        assertEquals("1.00GB", TargetsReport.humanSize(954));
        assertEquals("1.07GB", TargetsReport.humanSize(1023));
        assertEquals("10.7GB", TargetsReport.humanSize(10240));
        assertEquals("214GB", TargetsReport.humanSize(204800));
        // The megabytes are an unsigned 64-bit value.
        assertEquals("19.3YB", TargetsReport.humanSize(-1));
    }
}
