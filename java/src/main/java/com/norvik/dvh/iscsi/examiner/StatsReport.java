package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.ExtendedPortStatistics;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.PortStatistics;

import java.math.BigInteger;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * The adapter's running state and its port counters for the examiner (with --stats): the counters
 * by name as the first controller generation reports them, and the 68 counters of the extended
 * record by index. Counters are unsigned 64-bit values; in the JSON they are exact integers.
 */
@JsonPropertyOrder({"state", "dhcpState", "linkStatus", "counters", "extendedCounters"})
public class StatsReport {

    public int state;
    public int dhcpState;
    public int linkStatus;
    /** The first generation's counters by name; empty when they could not be read. */
    public Map<String, BigInteger> counters = new LinkedHashMap<>();
    /** The extended record's counters by name, in index order; empty when they could not be read. */
    public Map<String, BigInteger> extendedCounters = new LinkedHashMap<>();

    static StatsReport gather(ApiWrapper api, int instance, List<String> problems) {
        StatsReport r = new StatsReport();
        HBA hba = new HBA(instance);
        int status = api.getiSCSIHBAState(instance, hba);
        ReportChecks.check(problems, "getiSCSIHBAState", status);
        r.state = hba.getState();
        r.dhcpState = hba.getDhcpState();
        r.linkStatus = hba.getLinkStatus();
        PortStatistics named = new PortStatistics();
        status = api.getiSCSIStatistics(instance, named);
        ReportChecks.check(problems, "getiSCSIStatistics", status);
        if (status == 0) {
            r.counters.putAll(named.getCounters());
        }
        ExtendedPortStatistics extended = new ExtendedPortStatistics();
        status = api.getiSCSIStatistics6124(instance, extended);
        ReportChecks.check(problems, "getiSCSIStatistics6124", status);
        if (status == 0) {
            r.extendedCounters.putAll(extended.getCounters());
        }
        return r;
    }

    void appendText(StringBuilder sb) {
        sb.append("  Statistics\n");
        sb.append(String.format("    %-19s %d, DHCP state %d, link status %d\n", "State:", state, dhcpState,
                linkStatus));
        sb.append("    Counters: ").append(counters.isEmpty() ? "not read" : counters.size()).append('\n');
        for (Map.Entry<String, BigInteger> e : counters.entrySet()) {
            sb.append(String.format("      %-30s %20s\n", e.getKey(), e.getValue()));
        }
        sb.append("    Extended counters: ").append(extendedCounters.isEmpty() ? "not read" : extendedCounters.size())
                .append('\n');
        int index = 0;
        for (Map.Entry<String, BigInteger> e : extendedCounters.entrySet()) {
            sb.append(String.format("      %2d  %-30s %20s\n", index++, e.getKey(), e.getValue()));
        }
    }
}
