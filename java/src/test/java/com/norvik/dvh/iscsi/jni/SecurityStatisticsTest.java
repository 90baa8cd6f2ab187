package com.norvik.dvh.iscsi.jni;

import static com.norvik.dvh.iscsi.jni.SecurityFixtures.ikeSA;
import static com.norvik.dvh.iscsi.jni.SecurityFixtures.ipsecSA;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.SecurityAssociationDetails;
import com.norvik.dvh.iscsi.model.SecurityPolicyEntry;
import com.norvik.dvh.iscsi.model.SecurityStats;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.math.BigInteger;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

import org.junit.jupiter.api.Test;

/**
 * The security engine's version texts, its forty counters, the security associations attached to
 * the policies the adapter object holds, and the SA flush.
 */
class SecurityStatisticsTest extends NativeTestBase {

    private static final int INVALID_PARAMETER = 0x20000003;

    private int status;
    private String out;

    private static void load(Scenario s) {
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    /** Records the order of the counter setters and the bytes each received. */
    private static final class RecordingStats extends SecurityStats {
        final Map<String, byte[]> raw = new LinkedHashMap<>();

        @Override
        protected void put(String name, byte[] bigEndian) {
            raw.put(name, bigEndian.clone());
            super.put(name, bigEndian);
        }
    }

    /** An adapter object with its own counter holder and a given list of policies. */
    private static class Adapter extends HBA {
        final RecordingStats stats = new RecordingStats();

        Adapter(SecurityPolicyEntry... policies) {
            super(0);
            for (SecurityPolicyEntry p : policies) {
                addSecurityPolicyEntry(p);
            }
        }

        @Override
        public SecurityStats getSecurityStats() {
            return stats;
        }
    }

    private static SecurityPolicyEntry policy(int kind, int priority) {
        SecurityPolicyEntry p = new SecurityPolicyEntry();
        p.setKind(kind);
        p.setPriority(priority);
        return p;
    }

    private void statistics(HBA hba) {
        out = stdout(() -> status = api.getiSCSISecurityStatistics(0, hba));
    }

    // --- version texts ---

    @Test
    void theVersionTextsReachTheAdapter() {
        Scenario s = new Scenario();
        s.adapter(0).putObject("securityInfo").put("securityFwVersion", "f".repeat(32))
                .put("securityIkeVersion", "IKE 9").put("securityApiVersion", "not delivered");
        load(s);
        HBA hba = new HBA(0);
        out = stdout(() -> status = api.getiSCSISecurityInfo(0, hba));
        assertEquals(0, status);
        assertEquals("JNI: getiSCSISecurityInfo() Called...\n", out);
        // A text filling its field is cut at the field's end.
        assertEquals("f".repeat(32), hba.getSecurityFWVersion());
        assertEquals("IKE 9", hba.getSecurityIKEVersion());
    }

    @Test
    void aFailedInformationReadSetsNothing() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetSecurityInfo", INVALID_PARAMETER, true);
        HBA hba = new HBA(0);
        out = stdout(() -> status = api.getiSCSISecurityInfo(0, hba));
        assertEquals(INVALID_PARAMETER, status);
        assertEquals("JNI: getiSCSISecurityInfo() Called...\nSDGetSecurityInfo call failed!\n", out);
        assertNull(hba.getSecurityFWVersion());
        assertNull(hba.getSecurityIKEVersion());
    }

    // --- counters ---

    @Test
    void countersArriveAsUnsignedBigEndianValuesWithTheAttemptedIkeCountersReordered() {
        Scenario s = new Scenario();
        ObjectNode c = s.adapter(0).putObject("securityStats");
        List<String> names = SecurityStats.COUNTERS;
        for (int i = 0; i < names.size(); i++) {
            String n = names.get(i);
            String key = n.startsWith("IPsec") ? "ipsec" + n.substring(5)
                    : Character.toLowerCase(n.charAt(0)) + n.substring(1);
            c.put(key, 1000 + i);
        }
        c.put("totalOutIPsecPkts", "0xFFFFFFFF").put("totalInIPsecPkts", 1).put("outDiscardIPsecPkts", "0x80000000");
        load(s);
        Adapter hba = new Adapter();
        statistics(hba);
        assertEquals(0, status);
        assertEquals("", out);

        List<String> expectedOrder = new ArrayList<>(names);
        int attempted = expectedOrder.indexOf("TotalAttemptedIKESAs");
        expectedOrder.set(attempted, "TotalAttemptedRespIKESAs");
        expectedOrder.set(attempted + 1, "TotalAttemptedIKESAs");
        expectedOrder.set(attempted + 2, "TotalAttemptedInitIKESAs");
        assertEquals(expectedOrder, new ArrayList<>(hba.stats.raw.keySet()));

        assertArrayEquals(new byte[] {0, 0, 0, 0, 0, -1, -1, -1, -1}, hba.stats.raw.get("TotalOutIPsecPkts"));
        assertArrayEquals(new byte[] {0, 0, 0, 0, 0, 0, 0, 0, 1}, hba.stats.raw.get("TotalInIPsecPkts"));
        assertEquals(new BigInteger("4294967295"), hba.stats.getTotalOutIPsecPkts());
        assertEquals(new BigInteger("2147483648"), hba.stats.getOutDiscardIPsecPkts());
        assertEquals(BigInteger.valueOf(1000 + names.indexOf("TotalAttemptedRespIKESAs")),
                hba.stats.getTotalAttemptedRespIKESAs());
        assertEquals(BigInteger.valueOf(1039), hba.stats.getTotalInvalidIKECookies());
        assertEquals(BigInteger.valueOf(1036), hba.stats.getIPsecUknownSPIErrors());
    }

    @Test
    void aFailedCounterReadReturnsTheLibraryStatusUnderAnotherFunctionsName() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetSecurityStatsGen", INVALID_PARAMETER, true);
        Adapter hba = new Adapter();
        statistics(hba);
        assertEquals(INVALID_PARAMETER, status);
        assertEquals("SDGetStatisticsiSCSI call failed!\n", out);
        assertTrue(hba.stats.raw.isEmpty());
    }

    @Test
    void aFailedIkeSaReadEndsAfterTheCounters() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetAllIKESAStatsDetails", INVALID_PARAMETER, true);
        Adapter hba = new Adapter(policy(1, 20));
        statistics(hba);
        assertEquals(INVALID_PARAMETER, status);
        assertEquals("SDGetAllIKESAStatsDetails call failed!\n", out);
        assertEquals(40, hba.stats.raw.size());
    }

    // --- security associations ---

    private static Scenario withSAs() {
        Scenario s = new Scenario();
        ObjectNode a = s.adapter(0);
        ikeSA(a, 10).put("remoteIpAddr", "10.20.30.40").put("initiatorCookie", "0xFFFFFFFFFFFFFFFF")
                .put("responderCookie", "0x0102030405060708").put("localPort", 500).put("remotePort", 4500)
                .put("peerMajorVersion", 200).put("peerMinorVersion", 1).put("saDoi", 1).put("status", 2)
                .put("locallyInitiated", 1).put("exchangeType", 4).put("time", 5120).put("outPkts", 61)
                .put("inPkts", 64).put("outBytes", 14032).put("inBytes", "0xFFFFFFFF");
        ikeSA(a, 10).put("remoteIpAddr", "10.20.30.41").put("time", 1);
        ikeSA(a, 50).put("remoteIpAddr", "10.20.40.11");
        ipsecSA(a, 20).put("spi", "0xC0DE0101").put("inEncryptionAlg", 12).put("outEncryptionAlg", 13)
                .put("inAuthAlg", 2).put("outAuthAlg", 3).put("inSoftByteLimit", 1).put("outSoftByteLimit", 2)
                .put("inSoftTimeLimit", 3).put("outSoftTimeLimit", 4).put("inHardByteLimit", 5)
                .put("outHardByteLimit", 6).put("inHardTimeLimit", 7).put("outHardTimeLimit", "0xFFFFFFFFFFFFFFFF")
                .put("replayWindowSize", 64).put("inPkts", 9).put("outPkts", 10).put("inBytes", 11)
                .put("outBytes", 12).put("authErrors", 13).put("replayErrors", 14).put("padErrors", 15);
        ipsecSA(a, 20).put("spi", "0xC0DE0102");
        ipsecSA(a, 30).put("spi", "0x1001");
        return s;
    }

    @Test
    void anIkePolicyGetsTheFirstOfItsIkeSAsOnly() {
        load(withSAs());
        SecurityPolicyEntry ike = policy(3, 10);
        ike.addSecurityAssociation(new SecurityAssociationDetails());
        Adapter hba = new Adapter(ike);
        statistics(hba);
        assertEquals(0, status);
        assertEquals("JNI: getting SA Details for entry 0\n", out);
        assertEquals(1, ike.getSecurityAssociations().size());
        SecurityAssociationDetails sa = ike.getSecurityAssociations().get(0);
        assertEquals(10, sa.getPolicyPriority());
        assertEquals(IPAddr.of("10.20.30.40"), sa.getIPAddress());
        assertEquals(new BigInteger("18446744073709551615"), sa.getInitiatorCookie());
        assertEquals(new BigInteger("0102030405060708", 16), sa.getResponderCookie());
        assertEquals(200, sa.getPeerMajorVersion());
        assertEquals(1, sa.getPeerMinorVersion());
        assertEquals(BigInteger.ONE, sa.getSADOI());
        assertEquals(4500, sa.getRemotePort());
        assertEquals(500, sa.getLocalPort());
        assertEquals(1, sa.getLocallyInitiated());
        assertEquals(2, sa.getStatus());
        assertEquals(4, sa.getExchangeType());
        assertEquals(BigInteger.valueOf(5120), sa.getTime());
        assertEquals(BigInteger.valueOf(61), sa.getOutPkts());
        assertEquals(BigInteger.valueOf(64), sa.getInPkts());
        assertEquals(BigInteger.valueOf(14032), sa.getOutBytes());
        assertEquals(new BigInteger("4294967295"), sa.getInBytes());
        assertEquals(List.of(), calls("SDGetIPsecSACountForPolicy"));
    }

    @Test
    void anIkePolicyWithoutIkeSAKeepsItsList() {
        load(withSAs());
        SecurityPolicyEntry ike = policy(3, 11);
        SecurityAssociationDetails earlier = new SecurityAssociationDetails();
        ike.addSecurityAssociation(earlier);
        statistics(new Adapter(ike));
        assertEquals(0, status);
        assertEquals(1, ike.getSecurityAssociations().size());
        assertSame(earlier, ike.getSecurityAssociations().get(0));
    }

    @Test
    void ipsecPoliciesGetAllTheirSAsAndAPolicyWithoutSAsEndsEmpty() {
        load(withSAs());
        SecurityPolicyEntry two = policy(1, 20);
        SecurityPolicyEntry none = policy(2, 40);
        none.addSecurityAssociation(new SecurityAssociationDetails());
        statistics(new Adapter(two, none));
        assertEquals(0, status);
        assertEquals("JNI: getting SA Details for entry 0\nJNI: getting SA Details for entry 1\n", out);
        assertEquals(List.of(), none.getSecurityAssociations());
        assertEquals(2, two.getSecurityAssociations().size());
        SecurityAssociationDetails sa = two.getSecurityAssociations().get(0);
        assertEquals(new BigInteger("C0DE0101", 16), sa.getSPI());
        assertEquals(List.of(12, 13, 2, 3),
                List.of(sa.getInEncryptionAlg(), sa.getOutEncryptionAlg(), sa.getInAuthAlg(), sa.getOutAuthAlg()));
        assertEquals(List.of(1L, 2L, 3L, 4L, 5L, 6L, 7L),
                List.of(sa.getInSoftByteLimit(), sa.getOutSoftByteLimit(), sa.getInSoftTimeLimit(),
                        sa.getOutSoftTimeLimit(), sa.getInHardByteLimit(), sa.getOutHardByteLimit(),
                        sa.getInHardTimeLimit()).stream().map(BigInteger::longValueExact).toList());
        assertEquals(new BigInteger("18446744073709551615"), sa.getOutHardTimeLimit());
        assertEquals(BigInteger.valueOf(64), sa.getReplayWindowSize());
        assertEquals(List.of(9L, 10L, 11L, 12L, 13L, 14L, 15L),
                List.of(sa.getInPkts(), sa.getOutPkts(), sa.getInBytes(), sa.getOutBytes(), sa.getAuthErrors(),
                        sa.getReplayErrors(), sa.getPadErrors()).stream().map(BigInteger::longValueExact).toList());
        assertEquals(new BigInteger("C0DE0102", 16), two.getSecurityAssociations().get(1).getSPI());
        // The library is asked for the count, then for exactly that many records.
        assertEquals(List.of(20L, 40L), argOfCalls("SDGetIPsecSACountForPolicy", "priority"));
        assertEquals(List.of(2L), argOfCalls("SDGetIPsecSAStatsDetails", "count"));
    }

    @Test
    void aFailedSaCountIsReportedAndLeavesThePolicyWithoutSAs() {
        load(withSAs());
        SimControl.fault("SDGetIPsecSACountForPolicy", INVALID_PARAMETER, true);
        SecurityPolicyEntry p = policy(1, 20);
        p.addSecurityAssociation(new SecurityAssociationDetails());
        statistics(new Adapter(p));
        assertEquals(0, status);
        assertEquals("JNI: getting SA Details for entry 0\n"
                + "SDM: SDGetIPsecSACountForPolicy() returned 536870915!, priority = 20\n", out);
        assertEquals(List.of(), p.getSecurityAssociations());
        assertEquals(List.of(), calls("SDGetIPsecSAStatsDetails"));
    }

    @Test
    void aFailedSaReadLeavesThePolicyWithoutSAs() {
        load(withSAs());
        SimControl.fault("SDGetIPsecSAStatsDetails", INVALID_PARAMETER, true);
        SecurityPolicyEntry p = policy(1, 20);
        statistics(new Adapter(p));
        assertEquals(0, status);
        assertEquals(List.of(), p.getSecurityAssociations());
    }

    @Test
    void aNegativePolicyCountReadsNoPolicies() {
        load(withSAs());
        Adapter hba = new Adapter() {
            @Override
            public int getNumberOfSecurityPolicyEntries() {
                return -5;
            }
        };
        statistics(hba);
        assertEquals(0, status);
        assertEquals("", out);
        assertEquals(40, hba.stats.raw.size());
    }

    @Test
    void aMissingPolicyEndsWith4099() {
        load(withSAs());
        Adapter hba = new Adapter() {
            @Override
            public int getNumberOfSecurityPolicyEntries() {
                return 2;
            }
        };
        hba.addSecurityPolicyEntry(policy(1, 20));
        statistics(hba);
        assertEquals(4099, status);
        assertEquals("JNI: getting SA Details for entry 0\nJNI: getting SA Details for entry 1\nNULL jPolicyEntry!\n",
                out);
    }

    @Test
    void kind259OnTheJavaSideIsNotTheIkeKind() {
        load(withSAs());
        // Kind 259 is not the IKE kind on this side: the Java value is compared whole.
        SecurityPolicyEntry p259 = policy(259, 10);
        statistics(new Adapter(p259));
        assertEquals(0, status);
        assertEquals(List.of(10L), argOfCalls("SDGetIPsecSACountForPolicy", "priority"));
        assertEquals(List.of(), p259.getSecurityAssociations());
    }

    @Test
    void anExceptionOfAPolicyReachesTheCallerAndStopsTheWalk() {
        load(withSAs());
        SecurityPolicyEntry throwing = new SecurityPolicyEntry() {
            @Override
            public int getKind() {
                throw new IllegalStateException("kind unknown");
            }
        };
        SecurityPolicyEntry after = policy(1, 20);
        IllegalStateException e = org.junit.jupiter.api.Assertions.assertThrows(IllegalStateException.class,
                () -> api.getiSCSISecurityStatistics(0, new Adapter(throwing, after)));
        assertEquals("kind unknown", e.getMessage());
        assertEquals(List.of(), calls("SDGetIPsecSACountForPolicy"));
    }

    @Test
    void flushPassesTheIndexThroughAndDropsThatPolicysSAs() {
        load(withSAs());
        assertEquals(0, api.flushSAs(0, 20));
        assertEquals(List.of(20L), argOfCalls("SDFlushSAs", "index"));
        SecurityPolicyEntry p = policy(1, 20);
        SecurityPolicyEntry q = policy(1, 30);
        statistics(new Adapter(p, q));
        assertEquals(List.of(), p.getSecurityAssociations());
        assertEquals(1, q.getSecurityAssociations().size());
        SimControl.fault("SDFlushSAs", INVALID_PARAMETER, true);
        assertEquals(INVALID_PARAMETER, api.flushSAs(0, -1));
        assertEquals(0xFFFFFFFFL, argOfCalls("SDFlushSAs", "index").get(1));
        SimControl.clearCallLog();
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void theDefaultScenarioAttachesSAsToThePoliciesItReads() {
        assertTrue(api.openDevice(0));
        HBA hba = new HBA(0);
        assertEquals(0, api.getSecurityPoliciesTable(0, hba));
        assertEquals(0, api.getiSCSISecurityInfo(0, hba));
        assertEquals(0, api.getiSCSISecurityStatistics(0, hba));
        assertEquals("2.1.07 SEC", hba.getSecurityFWVersion());
        assertEquals(BigInteger.valueOf(1843211), hba.getSecurityStats().getTotalOutIPsecPkts());
        List<Integer> counts = new ArrayList<>();
        for (int i = 0; i < hba.getNumberOfSecurityPolicyEntries(); i++) {
            counts.add(hba.getSecurityPolicyEntry(i).getSecurityAssociations().size());
        }
        assertEquals(List.of(1, 2, 1, 0), counts);
    }
}
