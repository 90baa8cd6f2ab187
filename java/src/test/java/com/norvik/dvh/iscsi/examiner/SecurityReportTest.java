package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.sim.SimControl;

import org.junit.jupiter.api.Test;

/** The examiner's IPsec section: policy table without keys, SAs per policy, counters. */
class SecurityReportTest extends ExaminerTestBase {

    private static final ObjectMapper JSON = new ObjectMapper();

    /** Adapter 0: an IKE policy with a transform and an SA, a manual-key policy with an SA; adapter 1 bare. */
    private static final String SCENARIO = "{\"version\": \"T\", \"adapters\": [{\"instance\": 0,"
            + " \"securityInfo\": {\"securityFwVersion\": \"2.2 SEC\", \"securityIkeVersion\": \"IKE 1.5\"},"
            + " \"securityStats\": {\"totalOutIPsecPkts\": \"0xFFFFFFFF\", \"totalInvalidIKECookies\": 7},"
            + " \"securityPolicies\": ["
            + "  {\"slot\": 3, \"policyKind\": 3, \"priority\": 10, \"policyName\": \"ike-a\","
            + "   \"sourceAddr\": \"10.1.1.1\", \"sourcePort\": 500, \"destStartAddr\": \"10.1.2.1\","
            + "   \"destEndAddr\": \"10.1.2.9\", \"destPort\": 500, \"destType\": 2, \"action\": 1, \"protocol\": 17,"
            + "   \"ikeMode\": 2, \"ikePfs\": 1, \"ikeDirection\": 3, \"preSharedKey\": \"SECRET-PSK\","
            + "   \"transforms\": [{\"type\": 1, \"level\": 1, \"encryptAlgo\": 12, \"authAlgo\": 2, \"group\": 14,"
            + "    \"ikeAuthMethod\": 1, \"secondsLife\": 28800}]},"
            + "  {\"slot\": 7, \"policyKind\": 2, \"priority\": 30, \"policyName\": \"esp-m\","
            + "   \"sourceAddr\": \"10.1.1.1\", \"destStartAddr\": \"10.1.3.1\", \"destEndAddr\": \"10.1.3.1\","
            + "   \"tunnelIpAddr\": \"10.1.3.254\", \"destPort\": 3260, \"destType\": 1, \"action\": 2,"
            + "   \"protocol\": 6, \"autoIpsec\": 0, \"spi\": \"0x1001\", \"associatedIkePolicy\": 10,"
            + "   \"encryptKey\": \"SECRET-EK\", \"encryptIv\": \"SECRET-IV\", \"authKey\": \"SECRET-AK\","
            + "   \"transforms\": [{\"type\": 2, \"level\": 1, \"encryptAlgo\": 3, \"authAlgo\": 1, \"ipsecMode\": 2,"
            + "    \"kBytesLife\": \"0xFFFFFFFF\", \"secondsLife\": 7200}]}],"
            + " \"ikeSAs\": [{\"priority\": 10, \"remoteIpAddr\": \"10.1.2.1\", \"remotePort\": 500, \"status\": 1,"
            + "  \"exchangeType\": 2, \"inPkts\": 4, \"inBytes\": 400, \"outPkts\": 3, \"outBytes\": 300}],"
            + " \"ipsecSAs\": [{\"priority\": 30, \"spi\": \"0xC0DE0001\", \"inEncryptionAlg\": 3, \"inAuthAlg\": 1,"
            + "  \"inPkts\": \"0xFFFFFFFFFFFFFFFF\", \"inBytes\": 2, \"outPkts\": 3, \"outBytes\": 4,"
            + "  \"authErrors\": 1, \"replayErrors\": 2, \"padErrors\": 3}]},"
            + "{\"instance\": 1}]}";

    @Test
    void textReportShowsPoliciesTheirSAsAndTheCountersButNoKey() {
        SimControl.loadScenario(SCENARIO);
        examine();
        assertEquals(0, exitCode);
        int from = out.indexOf("  IPsec security\n");
        int to = out.indexOf("    Counters\n");
        assertTrue(from > 0 && to > from, out);
        assertEquals("  IPsec security\n"
                + "    Firmware version:   2.2 SEC\n"
                + "    IKE version:        IKE 1.5\n"
                + "    Policies: 2\n"
                + "    Policy ike-a (priority 10, kind 3): action 1, protocol 17\n"
                + "      From 10.1.1.1 port 500 to 10.1.2.1 - 10.1.2.9 port 500 (type 2)\n"
                + "      Keying: IKE pre-shared key, mode 2, PFS on, direction 3\n"
                + "      Transform type 1, level 1: encrypt 12, auth 2, group 14, IKE auth 1, life 28800 s / 0 KB\n"
                + "      Security associations: 1\n"
                + "        IKE SA with 10.1.2.1 port 500, status 1, exchange 2; in 4 packets / 400 bytes,"
                + " out 3 packets / 300 bytes\n"
                + "    Policy esp-m (priority 30, kind 2): action 2, protocol 6\n"
                + "      From 10.1.1.1 port 0 to 10.1.3.1 - 10.1.3.1 port 3260 (type 1), tunnel 10.1.3.254\n"
                + "      Keying: manual, SPI 0x00001001, IKE policy 10\n"
                + "      Transform type 2, level 1: encrypt 3, auth 1, mode 2, life 7200 s / 4294967295 KB\n"
                + "      Security associations: 1\n"
                + "        IPsec SA 0xc0de0001, encrypt 3, auth 1, errors 6; in 18446744073709551615 packets / 2 bytes,"
                + " out 3 packets / 4 bytes\n", out.substring(from, to));
        assertTrue(out.contains("      TotalOutIPsecPkts:         4294967295\n"), out);
        assertTrue(out.contains("      TotalInvalidIKECookies:    7\n"), out);
        // Adapter 1 has nothing to show.
        assertEquals(from, out.lastIndexOf("  IPsec security\n"));
        assertFalse(out.contains("SECRET") || nativeOut.contains("SECRET"), out + nativeOut);
    }

    @Test
    void jsonReportHoldsTheSameFactsWithoutKeys() throws Exception {
        SimControl.loadScenario(SCENARIO);
        examine("--json");
        assertEquals(0, exitCode);
        assertFalse(out.contains("SECRET"), out);
        JsonNode adapters = JSON.readTree(out).get("adapters");
        assertFalse(adapters.get(1).has("security"));
        JsonNode s = adapters.get(0).get("security");
        assertEquals("2.2 SEC", s.get("firmwareVersion").asText());
        assertEquals(40, s.get("counters").size());
        assertEquals(4294967295L, s.get("counters").get("TotalOutIPsecPkts").asLong());
        JsonNode ike = s.get("policies").get(0);
        assertEquals(JSON.readTree("{\"priority\": 10, \"name\": \"ike-a\", \"kind\": 3, \"action\": 1,"
                + " \"protocol\": 17, \"source\": \"10.1.1.1\", \"sourcePort\": 500, \"destinationType\": 2,"
                + " \"destinationStart\": \"10.1.2.1\", \"destinationEnd\": \"10.1.2.9\", \"destinationPort\": 500,"
                + " \"keying\": \"IKE pre-shared key\", \"ikeMode\": 2, \"ikePfs\": true, \"ikeDirection\": 3,"
                + " \"transforms\": [{\"type\": 1, \"level\": 1, \"encryptAlgo\": 12, \"authAlgo\": 2, \"group\": 14,"
                + "  \"ikeAuthMethod\": 1, \"kBytesLife\": 0, \"secondsLife\": 28800}],"
                + " \"securityAssociations\": [{\"kind\": \"IKE\", \"remote\": \"10.1.2.1\", \"remotePort\": 500,"
                + "  \"status\": 1, \"exchangeType\": 2, \"inPackets\": 4, \"inBytes\": 400, \"outPackets\": 3,"
                + "  \"outBytes\": 300}]}"), ike);
        JsonNode manual = s.get("policies").get(1);
        assertEquals(4097, manual.get("spi").asLong());
        assertEquals("10.1.3.254", manual.get("tunnel").asText());
        assertEquals("18446744073709551615", manual.get("securityAssociations").get(0).get("inPackets").asText());
    }

    @Test
    void aSecurityReadTheAdapterRefusesIsAProblem() {
        SimControl.loadScenario(SCENARIO);
        SimControl.fault("SDGetSecurityInfo", 0x2000002D, false);
        examine();
        assertEquals(1, exitCode);
        assertTrue(out.contains("  Problems\n    getiSCSISecurityInfo: status 0x2000002d\n"), out);
    }
}
