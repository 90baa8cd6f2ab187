package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * The examiner's CHAP, iSNS and log sections against the default simulated adapters: names and
 * settings are shown, secrets never; the logs only with --logs.
 */
class ExaminerMonitoringTest extends ExaminerTestBase {

    private static final ObjectMapper JSON = new ObjectMapper();
    private static final List<String> SECRETS =
            List.of("Tq7#vault-a1!", "m0nsoon-Ridge-4412", "c4-Basalt-99z", "Larch_Yew_Elm_7", "Fjord+Cedar+31");

    @Test
    void textShowsChapNamesAndTheIsnsTargetsButNoSecret() {
        examine();
        assertEquals(0, exitCode);
        assertEquals("  CHAP table: 4 entries\n"
                + "    Index  Name                                      Flags  Link\n"
                + "    0      rack3-port0                               0x40   0\n"
                + "    1      rack3-mutual                              0x80   2\n"
                + "    2      vault-c4-init                             0x40   0\n"
                + "    5      orbital-archive                           0x40   0\n"
                + "  iSNS discovery\n"
                + "    Discovery:          enabled, automatic\n"
                + "    Server:             192.168.50.5\n"
                + "    Targets:            3\n"
                + "      Name                                            Alias             Address"
                + "                   Port\n"
                + "      iqn.2009-11.com.acmedisk:vault9000.a1           vault-a1          192.168.50.100"
                + "            3260\n"
                + "      iqn.2011-02.com.orbital:storemax.lun-set1       orbital-1         192.168.50.101"
                + "            3260\n"
                + "      iqn.2007-05.com.kestrel:ks700.array2            kestrel-2         192.168.50.102"
                + "            3261\n", section(out, "  CHAP table", "  Boot code"));
        assertFalse(out.contains("Connection error log"));
        for (String secret : SECRETS) {
            assertFalse(out.contains(secret) || nativeOut.contains(secret), secret);
        }
    }

    @Test
    void logsComeWithTheLogsOption() {
        examine("--logs");
        assertEquals(0, exitCode);
        String adapter1 = out.substring(out.indexOf("Adapter 1"));
        assertTrue(adapter1.endsWith("  Connection error log: 0 entries\n"
                + "  ARP table: 1 entry\n"
                + "    Address                   MAC                Valid  Time in\n"
                + "    10.20.40.1                02:4e:56:00:14:01  yes    20\n"), adapter1);
        assertTrue(out.contains("  Connection error log: 4 entries\n"
                + "    Time          Entry   State  Kind   Error  Detail  Repeats\n"
                + "    1021.250      64      6      1      0x1c   0x0004  0\n"), out);
    }

    @Test
    void jsonHoldsTheSameFactsAndTheLogsOnlyWhenAsked() throws Exception {
        examine("--json");
        JsonNode a0 = JSON.readTree(out).path("adapters").get(0);
        assertEquals("rack3-mutual", a0.path("chapTable").path("entries").get(1).path("name").asText());
        assertEquals(1, a0.path("chapTable").path("entries").get(1).path("index").asInt());
        assertFalse(a0.path("chapTable").path("entries").get(1).has("secret"));
        assertEquals(3261, a0.path("isns").path("targets").get(2).path("port").asInt());
        assertTrue(a0.path("isns").path("enabled").asBoolean());
        assertFalse(a0.has("logs"));
        for (String secret : SECRETS) {
            assertFalse(out.contains(secret), secret);
        }

        examine("--json", "--logs");
        a0 = JSON.readTree(out).path("adapters").get(0);
        assertEquals(7, a0.path("logs").path("connectionErrors").get(3).path("repeats").asInt());
        assertEquals("02:ac:e0:9a:00:a1", a0.path("logs").path("arp").get(1).path("mac").asText());
    }

    @Test
    void aTableWithMoreSlotsThanOneReadIsShownAsSuchAndFailuresAreProblems() throws Exception {
        SimControl.loadScenario("{\"adapters\": [{\"instance\": 0, \"chapTable\": {\"slots\": 200, \"entries\":"
                + " [{\"index\": 3, \"name\": \"x\", \"secretText\": \"hidden-xyz\"}]}}]}");
        SimControl.fault("SDGetAlliSNSDiscoveredTargets", 0x2000002D, false);
        examine("--json");
        assertEquals(1, exitCode);
        JsonNode a0 = JSON.readTree(out).path("adapters").get(0);
        assertTrue(a0.path("chapTable").path("moreEntries").asBoolean());
        assertEquals("getiSNSTargets: status 0x2000002d", a0.path("problems").get(0).asText());
    }
}
