package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.iSNSDiscoveryConfig;
import com.norvik.dvh.iscsi.model.iSNSTarget;

import java.util.ArrayList;
import java.util.List;

/** The adapter's iSNS discovery for the examiner: its settings and the targets the server reported. */
@JsonPropertyOrder({"enabled", "automatic", "server", "targets"})
public class IsnsReport {

    public boolean enabled;
    public boolean automatic;
    public String server;
    public List<Target> targets = new ArrayList<>();

    /** One discovered target, with its first portal. */
    @JsonPropertyOrder({"name", "alias", "address", "port"})
    public static class Target {
        public String name;
        public String alias;
        public String address;
        public int port;
    }

    static IsnsReport gather(ApiWrapper api, int instance, List<String> problems) {
        iSNSDiscoveryConfig cfg = new iSNSDiscoveryConfig();
        ReportChecks.check(problems, "getiSNSDiscoveryConfig", api.getiSNSDiscoveryConfig(instance, cfg));
        HBA hba = new HBA(instance);
        ReportChecks.check(problems, "getiSNSTargets", api.getiSNSTargets(instance, hba));
        IsnsReport r = new IsnsReport();
        r.enabled = cfg.getEnableiSNSDiscoveryFlag();
        r.automatic = cfg.getAutomaticDiscoveryFlag();
        r.server = cfg.getServerIPAddress().isZero() ? null : cfg.getServerIPAddress().toString();
        for (iSNSTarget t : hba.getiSNSTargets()) {
            Target x = new Target();
            x.name = t.getiSCSIName();
            x.alias = t.getiSCSIAlias();
            x.address = t.getIPAddress().toString();
            x.port = t.getPort();
            r.targets.add(x);
        }
        return r;
    }

    void appendText(StringBuilder sb) {
        sb.append("  iSNS discovery\n");
        sb.append(String.format("    %-19s %s\n", "Discovery:",
                (enabled ? "enabled" : "disabled") + (automatic ? ", automatic" : "")));
        sb.append(String.format("    %-19s %s\n", "Server:", ReportChecks.orDash(server)));
        sb.append(String.format("    %-19s %d\n", "Targets:", targets.size()));
        if (targets.isEmpty()) {
            return;
        }
        sb.append(String.format("      %-46s  %-16s  %-24s  %s\n", "Name", "Alias", "Address", "Port"));
        for (Target t : targets) {
            sb.append(String.format("      %-46s  %-16s  %-24s  %d\n", ReportChecks.orDash(t.name),
                    ReportChecks.orDash(t.alias), t.address, t.port));
        }
    }
}
