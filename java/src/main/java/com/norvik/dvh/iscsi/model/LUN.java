package com.norvik.dvh.iscsi.model;

import java.util.Arrays;

/**
 * One logical unit of a target: its SCSI address ({@link #getTargetInfo()}, which the application
 * sets before asking), its INQUIRY strings ({@link #getSCSIInqInfo()}), its capacity and its
 * world-wide unique LUN name (WWULN).
 *
 * <p>The capacity arrives as two factors whose product is the capacity in megabytes: the native side
 * passes the megabytes through {@link #setLogicalBlockAddress(long)} and 1 through
 * {@link #setBytesPerBlock(long)}. A value whose low 32 bits are {@value #NOT_MEASURED_HEX} is the
 * adapter library's mark of a value it could not measure; it is passed through unchanged.
 */
public class LUN {

    /** Low 32 bits of a capacity value the adapter library could not measure. */
    public static final int NOT_MEASURED = 0xfefefefe;
    static final String NOT_MEASURED_HEX = "0xfefefefe";

    private final TargetInfo targetInfo;
    private final SCSIInqInfo inqInfo = new SCSIInqInfo();
    private long logicalBlockAddress;
    private long bytesPerBlock;
    private short[] wwuln;

    public LUN() {
        this(new TargetInfo());
    }

    /** A LUN at the address {@code targetInfo} (held, not copied). */
    public LUN(TargetInfo targetInfo) {
        this.targetInfo = targetInfo != null ? targetInfo : new TargetInfo();
    }

    /** LUN {@code lunNumber} of {@code target}. */
    public static LUN of(Target target, int lunNumber) {
        return new LUN(target.getTargetInfo().withLUN(lunNumber));
    }

    /** The LUN's SCSI address (never null). */
    public TargetInfo getTargetInfo() {
        return targetInfo;
    }

    /** The LUN's INQUIRY strings (never null). */
    public SCSIInqInfo getSCSIInqInfo() {
        return inqInfo;
    }

    public long getLogicalBlockAddress() {
        return logicalBlockAddress;
    }

    public void setLogicalBlockAddress(long logicalBlockAddress) {
        this.logicalBlockAddress = logicalBlockAddress;
    }

    public long getBytesPerBlock() {
        return bytesPerBlock;
    }

    public void setBytesPerBlock(long bytesPerBlock) {
        this.bytesPerBlock = bytesPerBlock;
    }

    /** False when either capacity factor carries the library's not-measured mark. */
    public boolean isCapacityMeasured() {
        return (int) logicalBlockAddress != NOT_MEASURED && (int) bytesPerBlock != NOT_MEASURED;
    }

    /** The capacity in megabytes (2^20 bytes): the product of the two factors, or -1 when not measured. */
    public long getCapacityMegabytes() {
        return isCapacityMeasured() ? logicalBlockAddress * bytesPerBlock : -1;
    }

    /** Sets the WWULN from its eight byte values (0..255). */
    public void setWWULNObject(short[] wwuln) {
        this.wwuln = wwuln != null ? wwuln.clone() : null;
    }

    /** The WWULN's eight byte values, or null while unread. */
    public short[] getWWULN() {
        return wwuln != null ? wwuln.clone() : null;
    }

    /** The WWULN as "50:0a:cd:e1:00:a1:00:01", or null while unread. */
    public String getWWULNString() {
        if (wwuln == null) {
            return null;
        }
        StringBuilder sb = new StringBuilder();
        for (int i = 0; i < wwuln.length; i++) {
            if (i > 0) {
                sb.append(':');
            }
            sb.append(String.format("%02x", wwuln[i] & 0xff));
        }
        return sb.toString();
    }

    @Override
    public String toString() {
        return "LUN{" + targetInfo.address() + ", " + inqInfo + ", mb=" + getCapacityMegabytes() + ", wwuln="
                + (wwuln == null ? null : Arrays.toString(wwuln)) + "}";
    }
}
