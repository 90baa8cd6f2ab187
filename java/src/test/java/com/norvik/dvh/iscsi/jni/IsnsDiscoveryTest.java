package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.iSNSDiscoveryConfig;
import com.norvik.dvh.iscsi.model.iSNSTarget;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/**
 * iSNS discovery: the configuration read into and written from its Java object (exact record
 * bytes), and the discovered targets fetched with a 30-record buffer first and a 512-record one
 * when that does not suffice.
 */
class IsnsDiscoveryTest extends NativeTestBase {

    private static final int CONFIG_SIZE = 284;
    private static final int SMALL_BUFFER = 11760;
    private static final int LARGE_BUFFER = 0x31000;

    private int status;

    /** Instance 0 with {@code n} discovered targets, target i named "iqn.2020-01.test:t<i>". */
    private static void loadTargets(int n) {
        Scenario s = new Scenario();
        ArrayNode list = s.adapter(0).putArray("isnsTargets");
        for (int i = 0; i < n; i++) {
            ObjectNode t = list.addObject().put("name", "iqn.2020-01.test:t" + i).put("alias", "t" + i);
            t.putArray("portals").addObject().put("address", "10.9." + (i / 256) + "." + (i % 256)).put("port", 3260 + i);
        }
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    static List<String> targetNames(HBA hba) {
        List<String> out = new ArrayList<>();
        for (iSNSTarget t : hba.getiSNSTargets()) {
            out.add(t.getiSCSIName());
        }
        return out;
    }

    // --- Configuration ---------------------------------------------------------------------

    @Test
    void readingTheConfigurationSetsFlagsServerAddressWithTypeAndABlankHostName() {
        Scenario s = new Scenario();
        s.adapter(0).putObject("isnsConfig").put("performDiscovery", 1).put("automaticDiscovery", 0)
                .put("initiatorName", "iqn.2004-06.com.norvik:x").putObject("serverAddress")
                .put("address", "fd00::5").put("type", 6);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        iSNSDiscoveryConfig cfg = new iSNSDiscoveryConfig();
        cfg.setAutomaticDiscoveryFlag(1);
        String out = stdout(() -> status = api.getiSNSDiscoveryConfig(0, cfg));
        assertEquals(0, status);
        assertEquals("", out);
        assertTrue(cfg.getEnableiSNSDiscoveryFlag());
        assertEquals(false, cfg.getAutomaticDiscoveryFlag());
        assertEquals(IPAddr.of("fd00::5"), cfg.getServerIPAddress());
        assertEquals(6, cfg.getServerAddressType());
        assertEquals(" ", cfg.getServerHostname());
        assertEquals(null, cfg.getHBAiSCSIName());  // the read leaves the name alone
    }

    @Test
    void writingTheConfigurationSendsFlagsAddressAndNameIntoAClearedRecord() {
        assertTrue(api.openDevice(0));
        iSNSDiscoveryConfig cfg = new iSNSDiscoveryConfig();
        cfg.setEnableiSNSDiscoveryFlag(7);
        cfg.setAutomaticDiscoveryFlag(0);
        cfg.setServerIPAddress(IPAddr.of("192.168.60.200").getAddress(), 1);
        cfg.setHBAiSCSIName("iqn.2004-06.com.norvik:nv2210.new");
        SimControl.clearCallLog();
        String out = stdout(() -> status = api.setiSNSDiscoveryConfig(0, cfg));
        assertEquals(0, status);
        assertEquals("", out);
        byte[] expected = new byte[CONFIG_SIZE];
        expected[0] = 1;
        byte[] name = "iqn.2004-06.com.norvik:nv2210.new".getBytes(StandardCharsets.US_ASCII);
        System.arraycopy(name, 0, expected, 4, name.length);
        expected[260] = (byte) 192;
        expected[261] = (byte) 168;
        expected[262] = 60;
        expected[263] = (byte) 200;  // Type and Reserved stay 0: only the address bytes are taken
        assertArrayEquals(expected, calls("SDSet_iSNSDiscoveryConfig").get(0).record("config"));

        iSNSDiscoveryConfig back = new iSNSDiscoveryConfig();
        assertEquals(0, api.getiSNSDiscoveryConfig(0, back));
        assertEquals(IPAddr.of("192.168.60.200"), back.getServerIPAddress());
    }

    @ParameterizedTest
    @ValueSource(ints = {223, 224, 225, 300})
    void initiatorNamesAreCutAt224Bytes(int length) {
        assertTrue(api.openDevice(0));
        iSNSDiscoveryConfig cfg = new iSNSDiscoveryConfig();
        cfg.setHBAiSCSIName("q".repeat(length));
        SimControl.clearCallLog();
        assertEquals(0, api.setiSNSDiscoveryConfig(0, cfg));
        byte[] record = calls("SDSet_iSNSDiscoveryConfig").get(0).record("config");
        byte[] field = Arrays.copyOfRange(record, 4, 260);
        byte[] expected = new byte[256];
        Arrays.fill(expected, 0, Math.min(length, 224), (byte) 'q');
        assertArrayEquals(expected, field);
    }

    @Test
    void configurationFailuresPrintTheirTextsAndAnswerTheirStatuses() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGet_iSNSDiscoveryConfig", ConfigFixtures.NOT_SUPPORTED, true);
        iSNSDiscoveryConfig cfg = new iSNSDiscoveryConfig();
        assertEquals("\nSDGet_iSNSDiscoveryConfig call failed! return Code:2000002D\n",
                stdout(() -> status = api.getiSNSDiscoveryConfig(0, cfg)));
        assertEquals(ConfigFixtures.NOT_SUPPORTED, status);
        assertEquals(null, cfg.getServerHostname());

        SimControl.fault("SDSet_iSNSDiscoveryConfig", ConfigFixtures.NOT_SUPPORTED, true);
        assertEquals("\nSDSet_iSNSDiscoveryConfig call failed! return Code:2000002D\n",
                stdout(() -> status = api.setiSNSDiscoveryConfig(0, cfg)));
        assertEquals(ConfigFixtures.NOT_SUPPORTED, status);

        // A configuration object without a server address never reaches the library.
        iSNSDiscoveryConfig noServer = new iSNSDiscoveryConfig() {
            @Override
            public IPAddr getServerIPAddress() {
                return null;
            }
        };
        SimControl.clearCallLog();
        assertEquals("NULL javaIPObject!\nSDSet_iSNSDiscoveryConfig call failed! return Code:1003\n",
                stdout(() -> status = api.setiSNSDiscoveryConfig(0, noServer)));
        assertEquals(4099, status);
        assertEquals(List.of(), SimControl.calls());
    }

    // --- Discovered targets ----------------------------------------------------------------

    @Test
    void thirtyTargetsFitTheFirstBuffer() {
        loadTargets(30);
        HBA hba = new HBA();
        assertEquals(0, api.getiSNSTargets(0, hba));
        assertEquals(List.of((long) SMALL_BUFFER), argOfCalls("SDGetAlliSNSDiscoveredTargets", "bufferSize"));
        assertEquals(30, hba.getiSNSTargets().size());
        assertEquals("iqn.2020-01.test:t29", hba.getiSNSTargets().get(29).getiSCSIName());
    }

    @Test
    void thirtyOneTargetsMakeTheSecondRequestWithThe512RecordBuffer() {
        loadTargets(31);
        HBA hba = new HBA();
        String out = stdout(() -> status = api.getiSNSTargets(0, hba));
        assertEquals(0, status);
        assertEquals("", out);
        assertEquals(List.of((long) SMALL_BUFFER, (long) LARGE_BUFFER),
                argOfCalls("SDGetAlliSNSDiscoveredTargets", "bufferSize"));
        assertEquals(31, hba.getiSNSTargets().size());
        iSNSTarget last = hba.getiSNSTargets().get(30);
        assertEquals("iqn.2020-01.test:t30", last.getiSCSIName());
        assertEquals("t30", last.getiSCSIAlias());
        assertEquals(IPAddr.of("10.9.0.30"), last.getIPAddress());
        assertEquals(3290, last.getPort());
    }

    @Test
    void fiveHundredTwelveTargetsAllArrive() {
        loadTargets(512);
        HBA hba = new HBA();
        assertEquals(0, api.getiSNSTargets(0, hba));
        assertEquals(512, hba.getiSNSTargets().size());
        assertEquals("iqn.2020-01.test:t511", hba.getiSNSTargets().get(511).getiSCSIName());
        assertEquals(IPAddr.of("10.9.1.255"), hba.getiSNSTargets().get(511).getIPAddress());
    }

    @Test
    void aServerReportingNoTargetsStillEmptiesTheJavaList() {
        loadTargets(0);
        HBA hba = new HBA();
        hba.addiSNSTarget(new iSNSTarget());
        assertEquals(0, api.getiSNSTargets(0, hba));
        assertEquals(List.of(), hba.getiSNSTargets());
    }

    @Test
    void aTargetWithSeveralPortalsIsAddedOnceWithItsFirstPortal() {
        assertTrue(api.openDevice(0));  // the default scenario: the third target has three portals
        HBA hba = new HBA();
        assertEquals(0, api.getiSNSTargets(0, hba));
        assertEquals(List.of("iqn.2009-11.com.acmedisk:vault9000.a1", "iqn.2011-02.com.orbital:storemax.lun-set1",
                "iqn.2007-05.com.kestrel:ks700.array2"), targetNames(hba));
        iSNSTarget kestrel = hba.getiSNSTargets().get(2);
        assertEquals(IPAddr.of("192.168.50.102"), kestrel.getIPAddress());
        assertEquals(3261, kestrel.getPort());
        assertEquals("kestrel-2", kestrel.getiSCSIAlias());
    }

    @Test
    void namesFillingTheirFieldsArriveWhole() {
        Scenario s = new Scenario();
        ObjectNode t = s.adapter(0).putArray("isnsTargets").addObject().put("name", "n".repeat(256))
                .put("alias", "a".repeat(32));
        t.putArray("portals").addObject().putObject("address").put("address", "10.0.0.9").put("type", 1);
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        assertEquals(0, api.getiSNSTargets(0, hba));
        assertEquals("n".repeat(256), hba.getiSNSTargets().get(0).getiSCSIName());
        assertEquals("a".repeat(32), hba.getiSNSTargets().get(0).getiSCSIAlias());
        assertEquals(1, hba.getiSNSTargets().get(0).getAddressType());
    }

    @ParameterizedTest
    @ValueSource(ints = {0x2000001C, 0x2000002D})
    void anUnsupportedRequestLeavesTheListAlone(int unsupported) {
        assertTrue(api.openDevice(0));
        HBA hba = new HBA();
        hba.addiSNSTarget(new iSNSTarget());
        SimControl.fault("SDGetAlliSNSDiscoveredTargets", unsupported, true);
        String out = stdout(() -> status = api.getiSNSTargets(0, hba));
        assertEquals(unsupported, status);
        assertEquals("SDGetAlliSNSDiscoveredTargets call Not Supported for this OS\n", out);
        assertEquals(1, hba.getiSNSTargets().size());
    }

    @Test
    void otherFailuresPrintTheirStatus() {
        assertTrue(api.openDevice(0));
        SimControl.fault("SDGetAlliSNSDiscoveredTargets", 0x20000003, true);
        String out = stdout(() -> status = api.getiSNSTargets(0, new HBA()));
        assertEquals(0x20000003, status);
        assertEquals("SDGetAlliSNSDiscoveredTargets call failed return Code:20000003\n", out);
    }
}
