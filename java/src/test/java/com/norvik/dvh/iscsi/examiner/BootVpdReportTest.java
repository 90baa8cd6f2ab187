package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.List;

import org.junit.jupiter.api.Test;

/** The examiner's boot code and vital product data sections. */
class BootVpdReportTest extends ExaminerTestBase {

    private static final ObjectMapper JSON = new ObjectMapper();

    /**
     * Adapter 0 of the first chip model with a secondary target whose LUN has its top bit set and
     * blank-padded VPD keywords; adapter 1 of a newer chip with a 12-byte vendor id.
     */
    private static final String SCENARIO = "{\"adapters\": ["
            + "{\"instance\": 0, \"portal\": {\"model\": \"TK-6110\"},"
            + " \"bootcode\": {\"flags\": \"0x0009\", \"primaryId\": \"0x05\", \"primaryLun\": 4,"
            + "  \"secondaryId\": \"0x87\", \"secondaryLun\": \"0xC000000000000001\", \"majorVersion\": 1,"
            + "  \"minorVersion\": 12, \"bootcodeValid\": 0},"
            + " \"bootcodeDhcp\": {\"vendorId\": \"never-read\"},"
            + " \"vpd\": {\"productDescription\": \"Tessel TK-6110 single-port iSCSI adapter  \","
            + "  \"partNumber\": \"77Q61  \", \"ecLevel\": \"E10001\", \"manufactureId\": \"TSL0007\","
            + "  \"fruNumber\": \"77Q62  \", \"ccin\": \"7B01\", \"brand\": \"T \"}},"
            + "{\"instance\": 1, \"portal\": {\"model\": \"TK-7220\"},"
            + " \"bootcode\": {\"flags\": \"0x0208\", \"primaryId\": \"0x82\", \"primaryLun\": 0, \"secondaryId\": 0,"
            + "  \"majorVersion\": 3, \"minorVersion\": 0, \"bootcodeValid\": 1},"
            + " \"bootcodeDhcp\": {\"vendorId\": \"TSL-BOOT-VID\", \"altClientId\": \"node-b\"}}]}";

    @Test
    void theDefaultAdaptersBootSettingsAndVpdInText() {
        examine();
        assertEquals(0, exitCode);
        assertEquals("  Boot code\n"
                + "    Version:            2.5\n"
                + "    State:              enabled\n"
                + "    Flags:              0x0208\n"
                + "    Primary target:     0, LUN 0\n"
                + "    Secondary target:   3, LUN 1\n"
                + "    DHCP vendor id:     NVS-BOOT-V1\n"
                + "    DHCP alt client id: rack3-p0\n"
                + "  Vital product data\n"
                + "    Description:        NV-2210C 2-Port 10GbE iSCSI HBA, PCIe x8 L\n"
                + "    Part number:        46N2210\n"
                + "    EC level:           D27531\n"
                + "    Manufacture id:     NVS0421\n"
                + "    FRU number:         46N2211\n"
                + "    CCIN:               5C2A\n"
                + "    Brand:              N1\n", section(out, "  Boot code", "\nAdapter 1"));
        String adapter1 = out.substring(out.indexOf("Adapter 1"));
        assertTrue(adapter1.contains("    State:              disabled\n"
                + "    Flags:              0x0002\n"
                + "    Primary target:     none\n"
                + "    Secondary target:   none\n"
                + "    DHCP vendor id:     -\n"), adapter1);
        assertTrue(adapter1.contains("    EC level:           D27533\n"), adapter1);
    }

    @Test
    void theFirstChipModelHasNoDhcpOptionsAndBlankPaddingIsDropped() throws Exception {
        SimControl.loadScenario(SCENARIO);
        examine();
        assertEquals(0, exitCode, out);
        assertEquals("  Boot code\n"
                + "    Version:            1.12 (no valid image)\n"
                + "    State:              enabled, spin-up delay\n"
                + "    Flags:              0x0009\n"
                + "    Primary target:     none\n"
                + "    Secondary target:   7, LUN 13835058055282163713\n"
                + "    DHCP options:       none on this chip model\n"
                + "  Vital product data\n"
                + "    Description:        Tessel TK-6110 single-port iSCSI adapter\n"
                + "    Part number:        77Q61\n"
                + "    EC level:           E10001\n"
                + "    Manufacture id:     TSL0007\n"
                + "    FRU number:         77Q62\n"
                + "    CCIN:               7B01\n"
                + "    Brand:              T\n", section(out, "  Boot code", "\nAdapter 1"));
        // Only the newer chip is asked for its DHCP options.
        long adapter1 = SimControl.calls("SDGetBootcodeInfo").get(2).arg("handle");
        assertEquals(List.of(adapter1),
                SimControl.calls("SDGetBootcodeDhcp").stream().map(c -> c.arg("handle")).toList());

        examine("--json");
        JsonNode adapters = JSON.readTree(out).path("adapters");
        JsonNode b0 = adapters.get(0).path("boot");
        assertFalse(b0.has("dhcp"));
        assertEquals(JSON.readTree("{\"version\": \"1.12\", \"imageValid\": false, \"enabled\": true,"
                + " \"spinUpDelay\": true, \"flags\": \"0x0009\","
                + " \"primary\": {\"valid\": false, \"targetId\": 5, \"lun\": 4},"
                + " \"secondary\": {\"valid\": true, \"targetId\": 7, \"lun\": 13835058055282163713}}"), b0);
        assertEquals("77Q61", adapters.get(0).path("vpd").path("partNumber").asText());
        assertEquals("T", adapters.get(0).path("vpd").path("brand").asText());
        JsonNode b1 = adapters.get(1).path("boot");
        assertEquals(JSON.readTree("{\"vendorId\": \"TSL-BOOT-VID\", \"altClientId\": \"node-b\"}"), b1.path("dhcp"));
        assertEquals(JSON.readTree("{\"valid\": true, \"targetId\": 2, \"lun\": 0}"), b1.path("primary"));
    }

    @Test
    void refusedBootReadsAreProblems() throws Exception {
        SimControl.fault("SDGetBootcodeInfo", 0x2000002D, false);
        examine("--json");
        assertEquals(1, exitCode);
        JsonNode a0 = JSON.readTree(out).path("adapters").get(0);
        assertEquals(List.of("getBootInfo: status 0x2000002d", "getRunningBIOSInfo: status 0x2000002d"),
                List.of(a0.path("problems").get(0).asText(), a0.path("problems").get(1).asText()));
        assertEquals("0.0", a0.path("boot").path("version").asText());
        // The VPD read is independent of the boot code's.
        assertEquals("46N2210", a0.path("vpd").path("partNumber").asText());
    }
}
