package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * What the JNI fuzzer found, kept: an adapter library that answers damaged records (the
 * simulator's chaos mode, its draws fixed by the seed) leaves the library sound.
 */
class DamagedAnswersTest extends NativeTestBase {

    /** The most IPsec SAs read for one policy. */
    private static final long MAX_SAS_PER_POLICY = 65536;

    @Test
    void aDamagedSACountLeavesThePolicyWithoutSAsInsteadOfAllocatingGigabytes() {
        assertTrue(api.openDevice(0));
        HBA hba = new HBA(0);
        assertEquals(0, api.getSecurityPoliciesTable(0, hba));
        int policies = hba.getNumberOfSecurityPolicyEntries();
        assertTrue(policies > 0);
        long countsRead = 0;
        long arraysRead = 0;
        for (long seed = 1; seed <= 4; seed++) {
            // Every answer damaged: counts of 0xFFFFFFFF, random bytes, texts, values past their fields.
            SimControl.chaos(seed, 0, 1000);
            SimControl.clearCallLog();
            stdout(() -> api.getiSCSISecurityStatistics(0, hba));
            SimControl.chaos(0, 0, 0);
            countsRead += calls("SDGetIPsecSACountForPolicy").size();
            List<Long> counts = argOfCalls("SDGetIPsecSAStatsDetails", "count");
            arraysRead += counts.size();
            counts.forEach(n -> assertTrue(n <= MAX_SAS_PER_POLICY, "SA array of " + n + " records"));
            for (int i = 0; i < policies; i++) {
                assertTrue(hba.getSecurityPolicyEntry(i).getSecurityAssociations().size() <= MAX_SAS_PER_POLICY);
            }
        }
        assertTrue(countsRead > arraysRead, "some damaged counts refused: " + countsRead + " read, " + arraysRead
                + " arrays");
    }
}
