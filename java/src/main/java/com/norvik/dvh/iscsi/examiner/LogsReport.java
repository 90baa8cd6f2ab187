package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.AdapterLogs;

import java.util.ArrayList;
import java.util.List;

/** The adapter's connection error log and ARP table for the examiner (with --logs). */
@JsonPropertyOrder({"connectionErrors", "arp"})
public class LogsReport {

    public List<ConnectionError> connectionErrors = new ArrayList<>();
    public List<Arp> arp = new ArrayList<>();

    /** One connection error: adapter time, device database entry, states and error codes. */
    @JsonPropertyOrder({"seconds", "milliseconds", "deviceIndex", "connState", "entryType", "errorType",
        "errorDetail", "repeats"})
    public static class ConnectionError {
        public long seconds;
        public long milliseconds;
        public int deviceIndex;
        public int connState;
        public int entryType;
        public int errorType;
        public int errorDetail;
        public int repeats;
    }

    /** One ARP entry. */
    @JsonPropertyOrder({"address", "mac", "valid", "timeIn"})
    public static class Arp {
        public String address;
        public String mac;
        public boolean valid;
        public int timeIn;
    }

    static LogsReport gather(ApiWrapper api, int instance, List<String> problems) {
        AdapterLogs logs = new AdapterLogs();
        ReportChecks.check(problems, "getConnectErrorLog", api.getConnectErrorLog(instance, logs));
        ReportChecks.check(problems, "getARPLog", api.getARPLog(instance, logs));
        LogsReport r = new LogsReport();
        for (AdapterLogs.ConnectionError e : logs.getConnectionErrors()) {
            ConnectionError x = new ConnectionError();
            x.seconds = e.seconds;
            x.milliseconds = e.milliseconds;
            x.deviceIndex = e.deviceIndex;
            x.connState = e.connState;
            x.entryType = e.entryType;
            x.errorType = e.errorType;
            x.errorDetail = e.errorDetail;
            x.repeats = e.duplicateCount;
            r.connectionErrors.add(x);
        }
        for (AdapterLogs.ArpEntry e : logs.getArpEntries()) {
            Arp x = new Arp();
            x.address = e.ipAddress.toString();
            x.mac = e.macAddressString();
            x.valid = e.valid;
            x.timeIn = e.timeIn;
            r.arp.add(x);
        }
        return r;
    }

    void appendText(StringBuilder sb) {
        sb.append("  Connection error log: ")
                .append(ReportChecks.count(connectionErrors.size(), "entry", "entries")).append('\n');
        if (!connectionErrors.isEmpty()) {
            sb.append(String.format("    %-12s  %-6s  %-5s  %-5s  %-5s  %-6s  %s\n", "Time", "Entry", "State", "Kind",
                    "Error", "Detail", "Repeats"));
            for (ConnectionError e : connectionErrors) {
                sb.append(String.format("    %-12s  %-6d  %-5d  %-5d  0x%02x   0x%04x  %d\n",
                        e.seconds + "." + String.format("%03d", e.milliseconds), e.deviceIndex, e.connState,
                        e.entryType, e.errorType, e.errorDetail, e.repeats));
            }
        }
        sb.append("  ARP table: ").append(ReportChecks.count(arp.size(), "entry", "entries")).append('\n');
        if (!arp.isEmpty()) {
            sb.append(String.format("    %-24s  %-17s  %-5s  %s\n", "Address", "MAC", "Valid", "Time in"));
            for (Arp a : arp) {
                sb.append(String.format("    %-24s  %-17s  %-5s  %d\n", a.address, a.mac, a.valid ? "yes" : "no",
                        a.timeIn));
            }
        }
    }
}
