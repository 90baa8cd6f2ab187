package com.norvik.dvh.iscsi.examples;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.testkit.Fault;
import com.norvik.dvh.iscsi.testkit.SimulatedAdapters;
import com.norvik.dvh.iscsi.testkit.Simulator;
import org.junit.jupiter.api.Test;

/** The README's shortest complete test, as it stands there. */
class EntryCountTest {
    @Test
    @SimulatedAdapters(open = true)
    @Fault(function = "SDGetDDBEntryNum", status = 0x2000001F, once = true)
    void aFailedCountReadsAsZero(ApiWrapper api, Simulator sim) {
        sim.assertPrints(() -> assertEquals(0, api.getiSCSIEntryNum(0)),
                "SDGetDDBEntryNum call failed! 1");
        sim.assertCalled("SDGetDDBEntryNum").times(1).withStatus(0x2000001F);
    }
}
