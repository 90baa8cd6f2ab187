package com.norvik.dvh.iscsi.testkit;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.platform.engine.discovery.DiscoverySelectors.selectClass;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.CHAPTableEntry;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.HBA;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.function.Function;
import java.util.stream.Collectors;
import org.junit.jupiter.api.Test;
import org.junit.platform.engine.TestExecutionResult;
import org.junit.platform.launcher.Launcher;
import org.junit.platform.launcher.LauncherDiscoveryRequest;
import org.junit.platform.launcher.TestExecutionListener;
import org.junit.platform.launcher.TestIdentifier;
import org.junit.platform.launcher.core.LauncherDiscoveryRequestBuilder;
import org.junit.platform.launcher.core.LauncherFactory;

class TestKitTest {

    /** Runs fixture classes through JUnit's launcher; test name to its failure message ("" when it passed). */
    private static Map<String, String> run(Map<String, String> config, Class<?>... classes) {
        LauncherDiscoveryRequestBuilder request = LauncherDiscoveryRequestBuilder.request().configurationParameters(config);
        for (Class<?> c : classes) {
            request.selectors(selectClass(c));
        }
        LauncherDiscoveryRequest built = request.build();
        Map<String, String> results = new java.util.concurrent.ConcurrentHashMap<>();
        Launcher launcher = LauncherFactory.create();
        launcher.execute(built, new TestExecutionListener() {
            @Override
            public void executionFinished(TestIdentifier id, TestExecutionResult result) {
                if (id.isTest()) {
                    String name = id.getUniqueId().replaceAll(".*class:[^$]*\\$([^\\]]*)\\]/\\[method:([^(]*).*", "$1.$2");
                    results.put(name, result.getThrowable().map(Throwable::getMessage).orElse(
                            result.getStatus() == TestExecutionResult.Status.SUCCESSFUL ? "" : result.getStatus().toString()));
                }
            }
        });
        return results;
    }

    @Test
    void aScenarioThatCannotBeLoadedFailsTheTestWithTheSimulatorsReasonNamingTheFile() {
        Map<String, String> r = run(Map.of(), KitFixtures.MissingScenario.class, KitFixtures.BrokenResource.class);
        String missing = Path.of("no-such-dir/site.json").toAbsolutePath().toString();
        assertEquals("dvhiscsi test kit: scenario " + missing + " could not be loaded: cannot read scenario file \""
                + missing + "\": No such file or directory", r.get("MissingScenario.runs"));
        assertEquals("dvhiscsi test kit: class-path resource /com/norvik/dvh/iscsi/testkit/broken.json could not be "
                + "loaded: unknown key \"seriel\" in adapters[0].portal", r.get("BrokenResource.runs"));
    }

    @Test
    void nothingOfOneTestReachesTheNextEvenWhenItFailsHalfWay() {
        Map<String, String> r = run(Map.of(), KitFixtures.Leaky.class);
        assertEquals("half-way", r.get("Leaky.leavesStateBehindAndFails"));
        assertEquals("", r.get("Leaky.findsAFreshSimulator"));
    }

    @Test
    void simulatorTestsTakeTurnsWhileTheRestRunsInParallel() {
        KitFixtures.SIMULATOR_RUNS.clear();
        KitFixtures.PLAIN_TOGETHER.reset();
        Map<String, String> r = run(Map.of(
                        "junit.jupiter.execution.parallel.enabled", "true",
                        "junit.jupiter.execution.parallel.mode.default", "concurrent",
                        "junit.jupiter.execution.parallel.mode.classes.default", "concurrent",
                        "junit.jupiter.execution.parallel.config.strategy", "fixed",
                        "junit.jupiter.execution.parallel.config.fixed.parallelism", "4"),
                KitFixtures.SimulatorA.class, KitFixtures.SimulatorB.class, KitFixtures.PlainA.class,
                KitFixtures.PlainB.class);
        assertEquals(5, r.size(), r.toString());
        r.forEach((test, failure) -> assertEquals("", failure, test));
        List<long[]> runs = new ArrayList<>(KitFixtures.SIMULATOR_RUNS);
        runs.sort((a, b) -> Long.compare(a[0], b[0]));
        assertEquals(3, runs.size());
        for (int i = 1; i < runs.size(); i++) {
            assertTrue(runs.get(i)[0] >= runs.get(i - 1)[1], "simulator tests overlapped");
        }
    }

    /** A scenario written by the builder reads back through the library field for field. */
    @Test
    @SimulatedAdapters(open = false)
    void theBuildersScenarioReadsBackThroughTheLibrary(ApiWrapper api, Simulator sim) {
        sim.load(ScenarioBuilder.scenario()
                .version("LAB 1.0")
                .adapter(2, a -> a
                        .portal(p -> p.set("serialNumber", "LAB0002").set("manufacturer", "Lab Storage Works"))
                        .ddbEntry(7, e -> e.deviceState(4).targetAddress("10.7.7.7", 3261).iscsiName("iqn.2026-01.lab:seven"))
                        .ddbEntry(9, e -> e.deviceState(1).iscsiName("iqn.2026-01.lab:nine"))
                        .chapEntry(0, "lab-port2", "Secret#0002")
                        .chapEntry(3, "lab-spare", "Secret#0003")));
        assertEquals("LAB 1.0", api.getVersioniSCSI());
        api.initJNINative();
        assertFalse(api.openDevice(0));
        assertTrue(api.openDevice(2));
        HBA hba = new HBA(2);
        assertEquals(0, api.getiSCSIHBAData(2, hba));
        assertEquals(0, api.getCHAPTableData(2, hba));
        Map<Integer, DevDBEntry> ddb = hba.getDeviceDataBaseEntries().stream()
                .collect(Collectors.toMap(DevDBEntry::getTargetID, Function.identity()));
        Map<String, Object> seen = new java.util.LinkedHashMap<>();
        seen.put("serial", hba.getSerialNumberStr());
        seen.put("manufacturer", hba.getManufacturer());
        seen.put("entries", ddb.keySet());
        seen.put("state 7", ddb.get(7).getState());
        seen.put("name 7", ddb.get(7).getNodeInfo().getiSCSIName());
        seen.put("address 7", ddb.get(7).getNodeInfo().getIPAddress().toString());
        seen.put("port 7", ddb.get(7).getDeviceEntry().getPortNumber());
        seen.put("state 9", ddb.get(9).getState());
        seen.put("chap", hba.getCHAPTableEntries().stream().map(CHAPTableEntry::getChapName).collect(Collectors.toList()));
        Map<String, Object> expected = new java.util.LinkedHashMap<>();
        expected.put("serial", "LAB0002");
        expected.put("manufacturer", "Lab Storage Works");
        expected.put("entries", java.util.Set.of(7, 9));
        expected.put("state 7", 4);
        expected.put("name 7", "iqn.2026-01.lab:seven");
        expected.put("address 7", "10.7.7.7");
        expected.put("port 7", 3261);
        expected.put("state 9", 1);
        expected.put("chap", List.of("lab-port2", "lab-spare"));
        assertEquals(expected, seen);
        api.closeDevice(2);
    }
}
