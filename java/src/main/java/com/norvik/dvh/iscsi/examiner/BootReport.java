package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonInclude;
import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.BootInfo;

import java.math.BigInteger;
import java.util.List;

/**
 * The adapter's boot code settings for the examiner: the boot code's version and state, its flags
 * word, the primary and secondary boot targets and, on the chips that have them, the DHCP options.
 */
@JsonPropertyOrder({"version", "imageValid", "enabled", "spinUpDelay", "flags", "primary", "secondary", "dhcp"})
public class BootReport {

    /** Text in the adapter's model name that marks the first chip model, which has no DHCP boot options. */
    static final String FIRST_CHIP_MODEL = "6110";

    /** "major.minor" of the boot code on the adapter. */
    public String version;
    /** True when a boot code image is present and valid. */
    public boolean imageValid;
    /** The running boot code's state as the flags give it. */
    public boolean enabled;
    public boolean spinUpDelay;
    /** The flags word, e.g. "0x0208". */
    public String flags;
    public Target primary;
    public Target secondary;
    /** The DHCP options; absent on the first chip model, which has none. */
    @JsonInclude(JsonInclude.Include.NON_NULL)
    public Dhcp dhcp;

    /** A boot target: device database index and LUN, and whether it is set at all. */
    @JsonPropertyOrder({"valid", "targetId", "lun"})
    public static class Target {
        public boolean valid;
        public int targetId;
        /** The 8-byte LUN, unsigned. */
        public BigInteger lun;

        static Target of(boolean valid, int shownId, long lun) {
            Target t = new Target();
            t.valid = valid;
            // The id comes with its valid bit flipped: a valid target shows its bare id.
            t.targetId = shownId & 0x7f;
            t.lun = new BigInteger(Long.toUnsignedString(lun));
            return t;
        }

        @Override
        public String toString() {
            return valid ? targetId + ", LUN " + lun : "none";
        }
    }

    /** The DHCP options used when the boot target is learnt through DHCP. */
    @JsonPropertyOrder({"vendorId", "altClientId"})
    public static class Dhcp {
        public String vendorId;
        public String altClientId;
    }

    /**
     * Reads the settings, then the running boot code's state, into one object. {@code model} is
     * the adapter's model name: on the first chip model the DHCP options are left out.
     */
    static BootReport gather(ApiWrapper api, int instance, String model, List<String> problems) {
        boolean firstChip = model != null && model.contains(FIRST_CHIP_MODEL);
        BootInfo info = new BootInfo(firstChip);
        ReportChecks.check(problems, "getBootInfo", api.getBootInfo(instance, info));
        ReportChecks.check(problems, "getRunningBIOSInfo", api.getRunningBIOSInfo(instance, info));
        BootReport r = new BootReport();
        r.version = info.getMajorVersion() + "." + info.getMinorVersion();
        r.imageValid = info.getBootCodeValid() != 0;
        r.enabled = info.getEnabled();
        r.spinUpDelay = info.getSpin_delay();
        r.flags = String.format("0x%04x", info.getBootCodeFlags() & 0xffff);
        r.primary = Target.of(info.getPri_valid(), info.getPri_Tgt(), info.getPri_Lun());
        r.secondary = Target.of(info.getSec_valid(), info.getSec_Tgt(), info.getSec_Lun());
        if (!firstChip) {
            r.dhcp = new Dhcp();
            r.dhcp.vendorId = info.getVendorID();
            r.dhcp.altClientId = info.getAltClientID();
        }
        return r;
    }

    void appendText(StringBuilder sb) {
        sb.append("  Boot code\n");
        ReportChecks.line(sb, "Version", version + (imageValid ? "" : " (no valid image)"));
        ReportChecks.line(sb, "State", (enabled ? "enabled" : "disabled")
                + (spinUpDelay ? ", spin-up delay" : ""));
        ReportChecks.line(sb, "Flags", flags);
        ReportChecks.line(sb, "Primary target", primary);
        ReportChecks.line(sb, "Secondary target", secondary);
        if (dhcp == null) {
            ReportChecks.line(sb, "DHCP options", "none on this chip model");
            return;
        }
        ReportChecks.line(sb, "DHCP vendor id", dhcp.vendorId);
        ReportChecks.line(sb, "DHCP alt client id", dhcp.altClientId);
    }
}
