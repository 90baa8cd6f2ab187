package com.norvik.dvh.iscsi.model;

/**
 * The adapter's firmware initialization block as far as the Java side sees it: option words, frame
 * size, VLAN tag, interrupt coalescing and the default session parameters ({@link #getDevEntry()},
 * created with the block). Addresses, iSCSI name and alias live on the adapter object.
 */
public class InitFW {

    private final DevEntry devEntry = new DevEntry();

    private short fwOptions;
    private short addFWOptions;
    private int jumboPacketSize;
    private short zioCount;
    private int vlanTCI;
    private byte reserved1;
    private short wakeupThreshold;

    public InitFW() {
    }

    public short getFWOptions() {
        return fwOptions;
    }

    public void setFWOptions(short fwOptions) {
        this.fwOptions = fwOptions;
    }

    public short getAddFWOptions() {
        return addFWOptions;
    }

    public void setAddFWOptions(short addFWOptions) {
        this.addFWOptions = addFWOptions;
    }

    /** Ethernet MTU (16 bits are stored). */
    public int getJumboPacketSize() {
        return jumboPacketSize;
    }

    public void setJumboPacketSize(int jumboPacketSize) {
        this.jumboPacketSize = jumboPacketSize;
    }

    /** Interrupt coalescing count (8 bits are stored). */
    public short getZIOCount() {
        return zioCount;
    }

    public void setZIOCount(short zioCount) {
        this.zioCount = zioCount;
    }

    /** VLAN tag control information (16 bits are stored). */
    public int getVLAN_TCI() {
        return vlanTCI;
    }

    /** Sets the VLAN tag control information (the name the native side uses when reading the block). */
    public void setVLAN_TCI_TO_InitFW(int vlanTCI) {
        this.vlanTCI = vlanTCI;
    }

    /** Read from the adapter only; kept as read when the block is written. */
    public byte getReserved1() {
        return reserved1;
    }

    public void setReserved1(byte reserved1) {
        this.reserved1 = reserved1;
    }

    /** Read from the adapter only; kept as read when the block is written. */
    public short getWakeupThreshold() {
        return wakeupThreshold;
    }

    public void setWakeupThreshold(short wakeupThreshold) {
        this.wakeupThreshold = wakeupThreshold;
    }

    public DevEntry getDevEntry() {
        return devEntry;
    }

    @Override
    public String toString() {
        return "InitFW{fwOptions=0x" + Integer.toHexString(fwOptions & 0xffff) + ", addFWOptions=0x"
                + Integer.toHexString(addFWOptions & 0xffff) + ", jumboPacketSize=" + jumboPacketSize
                + ", zioCount=" + zioCount + ", vlanTCI=0x" + Integer.toHexString(vlanTCI) + ", reserved1="
                + (reserved1 & 0xff) + ", wakeupThreshold=" + (wakeupThreshold & 0xffff) + ", devEntry="
                + devEntry + "}";
    }
}
