package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.fasterxml.jackson.annotation.JsonValue;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.LUN;
import com.norvik.dvh.iscsi.model.SCSIInqInfo;
import com.norvik.dvh.iscsi.model.TargetInfo;

import java.math.BigDecimal;
import java.math.BigInteger;
import java.math.RoundingMode;
import java.util.ArrayList;
import java.util.List;
import java.util.function.Consumer;

/**
 * The adapter's targets and their LUNs for the examiner, in the manner of lsscsi: each LUN by its
 * SCSI address [bus:target:lun] with vendor, product, revision, capacity and WWULN, under the
 * target's iSCSI name, portal and session.
 *
 * <p>The targets are the device database entries with an active session (only those answer SCSI
 * commands); each is read as the management application reads it: the target object names the
 * entry by its position in the adapter's list while the adapter counts disk targets, by its target
 * id otherwise; REPORT LUNS gives the LUN numbers, and each LUN is asked for its inquiry strings,
 * capacity and WWULN. Every call that fails is one of the adapter's problems.
 */
public class TargetsReport {

    /** Connection state of a device database entry whose session is active. */
    static final int SESSION_ACTIVE = 4;

    final List<Target> targets = new ArrayList<>();

    /** In the JSON the section is the list of targets itself. */
    @JsonValue
    public List<Target> targets() {
        return targets;
    }

    /** One target: its SCSI address, node, portal and session, and its LUNs. */
    @JsonPropertyOrder({"bus", "targetId", "iscsiName", "alias", "address", "port", "hostName", "nodeCount",
        "sessionId", "connectionId", "portalGroup", "luns"})
    public static class Target {
        public int bus;
        public int targetId;
        public String iscsiName;
        public String alias;
        /** The discovered portal's address. */
        public String address;
        public int port;
        public String hostName;
        public int nodeCount;
        public int sessionId;
        public int connectionId;
        public int portalGroup;
        public List<Lun> luns = new ArrayList<>();
    }

    /** One LUN; what it could not tell is null. */
    @JsonPropertyOrder({"address", "lun", "vendor", "product", "revision", "capacityMegabytes", "capacity", "wwuln"})
    public static class Lun {
        /** "bus:target:lun". */
        public String address;
        public int lun;
        public String vendor;
        public String product;
        public String revision;
        /** Capacity in megabytes (2^20 bytes) as the library computes it. */
        public Long capacityMegabytes;
        /** The capacity in decimal units as lsscsi shows it, e.g. "1.07GB". */
        public String capacity;
        /** "50:0a:cd:e1:00:a1:00:01"; null when the LUN has none (all zero) or it could not be read. */
        public String wwuln;
    }

    static TargetsReport gather(ApiWrapper api, int instance, HBA hba, List<String> problems) {
        TargetsReport r = new TargetsReport();
        forEachActiveTarget(api, instance, hba, problems, t -> r.targets.add(target(api, instance, t, problems)));
        return r;
    }

    /**
     * Hands each of the adapter's targets with an active session to {@code each} as soon as it is
     * read with its LUN numbers (REPORT LUNS); {@code hba} holds the adapter's data. A target that
     * cannot be read is one of the problems.
     */
    static void forEachActiveTarget(ApiWrapper api, int instance, HBA hba, List<String> problems,
            Consumer<com.norvik.dvh.iscsi.model.Target> each) {
        // While the adapter counts disk targets, the library takes the target object's instance as a
        // position in the adapter's device database list; otherwise as the target id itself.
        boolean byPosition = hba.getNumberDiskTargets() != 0;
        List<DevDBEntry> entries = hba.getDeviceDataBaseEntries();
        for (int position = 0; position < entries.size(); position++) {
            DevDBEntry e = entries.get(position);
            if (e.getState() != SESSION_ACTIVE) {
                continue;
            }
            com.norvik.dvh.iscsi.model.Target t =
                    new com.norvik.dvh.iscsi.model.Target(byPosition ? position : e.getTargetID());
            t.getTargetInfo().setTargetID(e.getTargetID());
            t.getTargetInfo().setTargetState(e.getState());
            String which = "(entry " + e.getTargetID() + ")";
            if (check(problems, "getiSCSITargetData" + which, api.getiSCSITargetData(instance, hba, t))
                    && check(problems, "getScsiReportLUNsData" + which, api.getScsiReportLUNsData(instance, hba, t))) {
                each.accept(t);
            }
        }
    }

    private static Target target(ApiWrapper api, int instance, com.norvik.dvh.iscsi.model.Target t,
            List<String> problems) {
        Target x = new Target();
        TargetInfo ti = t.getTargetInfo();
        x.bus = ti.getBus();
        x.targetId = ti.getTargetID();
        x.iscsiName = t.getNodeInfo().getiSCSIName();
        x.alias = t.getNodeInfo().getAlias();
        x.address = t.getIPAddress() == null ? null : t.getIPAddress().toString();
        x.port = t.getTCPPortNumber();
        x.hostName = t.getHostName();
        x.nodeCount = t.getNodeCount();
        x.sessionId = t.getSessionID();
        x.connectionId = t.getConnectionID();
        x.portalGroup = t.getPortalGroup();
        for (int number : t.getLUNs()) {
            LUN lun = LUN.of(t, number);
            Lun l = new Lun();
            l.lun = number;
            l.address = ti.getBus() + ":" + ti.getTargetID() + ":" + number;
            boolean read = check(problems, "getiSCSILunData(" + l.address + ")", api.getiSCSILunData(instance, lun));
            SCSIInqInfo inq = lun.getSCSIInqInfo();
            l.vendor = trimmed(inq.getVendorID());
            l.product = trimmed(inq.getProductID());
            l.revision = trimmed(inq.getRevision());
            if (read && lun.isCapacityMeasured()) {
                l.capacityMegabytes = lun.getCapacityMegabytes();
                l.capacity = humanSize(l.capacityMegabytes);
            }
            short[] w = lun.getWWULN();
            if (read && w != null && !allZero(w)) {
                l.wwuln = lun.getWWULNString();
            }
            x.luns.add(l);
        }
        return x;
    }

    private static boolean check(List<String> problems, String call, int status) {
        ReportChecks.check(problems, call, status);
        return status == 0;
    }

    private static boolean allZero(short[] bytes) {
        for (short b : bytes) {
            if (b != 0) {
                return false;
            }
        }
        return true;
    }

    /** Inquiry strings come space-padded to their field width; null or empty is null. */
    private static String trimmed(String s) {
        if (s == null) {
            return null;
        }
        String t = s.strip();
        return t.isEmpty() ? null : t;
    }

    private static final String[] UNITS = {"B", "kB", "MB", "GB", "TB", "PB", "EB", "ZB", "YB"};

    /**
     * A capacity of {@code megabytes} (2^20 bytes) in decimal units with three significant digits,
     * cut rather than rounded, as lsscsi shows sizes: 1023 megabytes are "1.07GB", 204800 are
     * "214GB".
     */
    static String humanSize(long megabytes) {
        BigDecimal value = new BigDecimal(new BigInteger(Long.toUnsignedString(megabytes)).shiftLeft(20));
        BigDecimal thousand = BigDecimal.valueOf(1000);
        int unit = 0;
        while (value.compareTo(thousand) >= 0 && unit < UNITS.length - 1) {
            value = value.divide(thousand);
            unit++;
        }
        int decimals = 0;
        if (unit > 0 && value.compareTo(BigDecimal.TEN) < 0) {
            decimals = 2;
        } else if (unit > 0 && value.compareTo(BigDecimal.valueOf(100)) < 0) {
            decimals = 1;
        }
        return value.setScale(decimals, RoundingMode.DOWN).toPlainString() + UNITS[unit];
    }

    void appendText(StringBuilder sb) {
        int luns = targets.stream().mapToInt(t -> t.luns.size()).sum();
        sb.append("  Targets: ").append(targets.size());
        if (!targets.isEmpty()) {
            sb.append(", ").append(ReportChecks.count(luns, "LUN", "LUNs"));
        }
        sb.append('\n');
        for (Target t : targets) {
            sb.append(String.format("    Target %d:%d  %s  %s:%d (%s), session %d\n", t.bus, t.targetId,
                    ReportChecks.orDash(t.iscsiName), ReportChecks.orDash(t.address), t.port,
                    ReportChecks.orDash(t.hostName), t.sessionId));
            for (Lun l : t.luns) {
                sb.append(String.format("      %-11s  %-8s  %-16s  %-4s  %7s  %s\n", "[" + l.address + "]",
                        ReportChecks.orDash(l.vendor), ReportChecks.orDash(l.product),
                        ReportChecks.orDash(l.revision), ReportChecks.orDash(l.capacity),
                        ReportChecks.orDash(l.wwuln)));
            }
        }
    }
}
