package com.norvik.dvh.iscsi.model;

import java.nio.charset.StandardCharsets;

/**
 * The adapter's boot code settings: the flags word, the primary and secondary boot targets (target
 * id, LUN and a valid bit each), the boot code's version, and on the newer chips the DHCP options
 * (vendor id and alternate client id) used when the boot target is learnt through DHCP.
 *
 * <p>Target ids are carried as the native side gives them: after a read, a valid target shows its
 * bare id and an invalid one its id plus 128. Setting a DHCP text also sets its length (its UTF-8
 * bytes, at most {@value #DHCP_TEXT_MAX}); {@link #setVendorIDLength} and {@link
 * #setAltClientIDLength} set a length on its own.
 */
public class BootInfo {

    /** Bytes the adapter keeps of each DHCP text. */
    public static final int DHCP_TEXT_MAX = 12;

    private final boolean firstChipModel;

    private boolean enabled;
    private boolean spinDelay;
    private int bootCodeFlags;
    private int bootCodeValid;
    private boolean priValid;
    private boolean secValid;
    private int priTgt;
    private int secTgt;
    private long priLun;
    private long secLun;
    private int majorVersion;
    private int minorVersion;
    private String vendorID;
    private int vendorIDLength;
    private String altClientID;
    private int altClientIDLength;

    /** Settings of an adapter whose chip has DHCP boot options. */
    public BootInfo() {
        this(false);
    }

    /**
     * @param firstChipModel true for an adapter of the first chip model, which has no DHCP boot
     *     options: reads and writes then leave them out ({@link #is6110()}).
     */
    public BootInfo(boolean firstChipModel) {
        this.firstChipModel = firstChipModel;
    }

    /** True on the first chip model: the DHCP options are neither read nor written. */
    public boolean is6110() {
        return firstChipModel;
    }

    /** True when the running boot code is enabled. */
    public boolean getEnabled() {
        return enabled;
    }

    public void setEnabled(boolean enabled) {
        this.enabled = enabled;
    }

    /** True when the running boot code waits for the disks to spin up. */
    public boolean getSpin_delay() {
        return spinDelay;
    }

    public void setSpin_delay(boolean spinDelay) {
        this.spinDelay = spinDelay;
    }

    /** The boot code's flags word (16 bits). */
    public int getBootCodeFlags() {
        return bootCodeFlags;
    }

    public void setBootCodeFlags(int bootCodeFlags) {
        this.bootCodeFlags = bootCodeFlags;
    }

    /** Non-zero when the boot code is present and valid. */
    public int getBootCodeValid() {
        return bootCodeValid;
    }

    public void setBootCodeValid(int bootCodeValid) {
        this.bootCodeValid = bootCodeValid;
    }

    public boolean getPri_valid() {
        return priValid;
    }

    public void setPri_valid(boolean priValid) {
        this.priValid = priValid;
    }

    public boolean getSec_valid() {
        return secValid;
    }

    public void setSec_valid(boolean secValid) {
        this.secValid = secValid;
    }

    /** The primary target id, 0..255 (see the class comment). */
    public int getPri_Tgt() {
        return priTgt;
    }

    public void setPri_Tgt(byte priTgt) {
        this.priTgt = priTgt & 0xff;
    }

    /** The secondary target id, 0..255 (see the class comment). */
    public int getSec_Tgt() {
        return secTgt;
    }

    public void setSec_Tgt(byte secTgt) {
        this.secTgt = secTgt & 0xff;
    }

    public long getPri_Lun() {
        return priLun;
    }

    public void setPri_Lun(long priLun) {
        this.priLun = priLun;
    }

    public long getSec_Lun() {
        return secLun;
    }

    public void setSec_Lun(long secLun) {
        this.secLun = secLun;
    }

    public int getMajorVersion() {
        return majorVersion;
    }

    public void setMajorVersion(int majorVersion) {
        this.majorVersion = majorVersion;
    }

    public int getMinorVersion() {
        return minorVersion;
    }

    public void setMinorVersion(int minorVersion) {
        this.minorVersion = minorVersion;
    }

    /** The DHCP vendor id text. */
    public String getVendorID() {
        return vendorID;
    }

    /** Sets the DHCP vendor id text and its length. */
    public void setVendorID(String vendorID) {
        this.vendorID = vendorID;
        this.vendorIDLength = dhcpLength(vendorID);
    }

    /** Number of bytes of the vendor id the adapter is to use. */
    public int getVendorIDLength() {
        return vendorIDLength;
    }

    public void setVendorIDLength(int vendorIDLength) {
        this.vendorIDLength = vendorIDLength;
    }

    /** The DHCP alternate client id text. */
    public String getAltClientID() {
        return altClientID;
    }

    /** Sets the DHCP alternate client id text and its length. */
    public void setAltClientID(String altClientID) {
        this.altClientID = altClientID;
        this.altClientIDLength = dhcpLength(altClientID);
    }

    /** Number of bytes of the alternate client id the adapter is to use. */
    public int getAltClientIDLength() {
        return altClientIDLength;
    }

    public void setAltClientIDLength(int altClientIDLength) {
        this.altClientIDLength = altClientIDLength;
    }

    private static int dhcpLength(String text) {
        return text == null ? 0 : Math.min(text.getBytes(StandardCharsets.UTF_8).length, DHCP_TEXT_MAX);
    }

    @Override
    public String toString() {
        return "BootInfo{flags=0x" + Integer.toHexString(bootCodeFlags) + ", valid=" + bootCodeValid
                + ", version=" + majorVersion + "." + minorVersion + ", primary=" + priTgt + (priValid ? "" : "!")
                + "/" + priLun + ", secondary=" + secTgt + (secValid ? "" : "!") + "/" + secLun
                + ", vendorID=" + vendorID + ", altClientID=" + altClientID + ", enabled=" + enabled
                + ", spinDelay=" + spinDelay + "}";
    }
}
