package com.norvik.dvh.iscsi.examples;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.testkit.Fault;
import com.norvik.dvh.iscsi.testkit.ScenarioBuilder;
import com.norvik.dvh.iscsi.testkit.SimulatedAdapters;
import com.norvik.dvh.iscsi.testkit.Simulator;
import java.time.Duration;
import java.util.List;
import org.junit.jupiter.api.Test;

/** The console against simulated adapters, written with the test kit. */
class AdapterConsoleTest {

    /** One adapter, entries 0 and 3 with a session; at 3 s entry 3's session fails, at 8 s it is back. */
    static ScenarioBuilder flakyTarget() {
        return ScenarioBuilder.scenario()
                .adapter(0, a -> a
                        .ddbEntry(0, e -> e.deviceState(4).targetAddress("10.1.1.10", 3260).iscsiName("iqn.2026-01.lab:disk0"))
                        .ddbEntry(3, e -> e.deviceState(4).targetAddress("10.1.1.13", 3260).iscsiName("iqn.2026-01.lab:disk3"))
                        .target(0, t -> t.lun(0, l -> l.inquiry("LABDISK", "Shelf-1", "0100").capacity(2_097_152, 512)))
                        .target(3, t -> t.lun(0, l -> l.inquiry("LABDISK", "Shelf-3", "0100").capacity(4_194_304, 512))))
                .at(Duration.ofSeconds(3), 0, 0x8014, 1, 3, 6, 0x1c)
                .at(Duration.ofSeconds(8), 0, 0x8014, 1, 3, 4, 0);
    }

    @Test
    @SimulatedAdapters(builder = "flakyTarget")
    void aFailedSessionShowsAndComesBack(ApiWrapper api, Simulator sim) {
        AdapterConsole console = new AdapterConsole(api);
        console.start();
        assertEquals(List.of(0), console.adapters());
        assertEquals(4, console.entryStates(0).get(3));

        sim.advanceClock(Duration.ofSeconds(4));
        console.poll();
        assertEquals(6, console.entryStates(0).get(3), "session failed");
        assertEquals(1, console.activeTargets(0));

        sim.advanceClock(Duration.ofSeconds(5));
        console.poll();
        assertEquals(4, console.entryStates(0).get(3), "session back");
        console.stop();
    }

    @Test
    @SimulatedAdapters
    @Fault(function = "SDSetDDBEntry", status = 0x20000003)
    void aRefusedWriteIsReportedAndNothingElseIsWritten(ApiWrapper api, Simulator sim) {
        AdapterConsole console = new AdapterConsole(api);
        console.start();
        sim.clearCalls();
        sim.assertPrints(() -> assertEquals(0x20000003, console.changeEntry(0, 1, e -> e.setExeCount(3))),
                "taskMngmntTimeout from GUI=0",
                "getRxTCPWindowScale() from GUI (ISCSIDEVICE)=0",
                "SDSetDDBEntry call failed! 3, Errno = 0x20000003");
        assertEquals(List.of("adapter 0: entry 1 not written (0x20000003)"), console.messages());
        sim.assertCalled("SDSetDDBEntry").times(1).withArg("targetID", 1).withStatus(0x20000003)
                .withField("entry", "exeCount", 3).withField("entry", "entryInfo.iscsiName", "iqn.2011-02.com.orbital:storemax.lun-set1");
        sim.assertNotCalled("SDSetDDBEntryFlashOnly");
        console.stop();
    }

    static ScenarioBuilder fullDatabase() {
        return ScenarioBuilder.scenario().adapter(0, a -> {
            for (int i = 0; i < 512; i++) {
                int entry = i;
                a.ddbEntry(i, e -> e.deviceState(4).targetAddress("10.2." + (entry / 256) + "." + (entry % 256), 3260)
                        .iscsiName("iqn.2026-01.lab:t" + entry));
            }
        });
    }

    @Test
    @SimulatedAdapters(builder = "fullDatabase")
    void fiveHundredTwelveTargetsRefreshWithinOnePoll(ApiWrapper api, Simulator sim) {
        AdapterConsole console = new AdapterConsole(api);
        console.start();
        sim.clearCalls();
        sim.pushEvent(0, 0x8014, 1, 511, 6, 0);
        console.poll();
        assertEquals(512, console.entryStates(0).size());
        sim.assertCalled("SDGetDDBEntry").times(512);
        console.stop();
    }
}
