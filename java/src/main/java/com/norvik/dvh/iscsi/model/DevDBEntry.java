package com.norvik.dvh.iscsi.model;

import java.util.Arrays;

/**
 * One entry of an adapter's device database: a target session the adapter is to open, addressed by
 * its target identifier (0..511). Holds the target's node identity ({@link #getNodeInfo()}) and its
 * session parameters ({@link #getDeviceEntry()}); both are created with the entry.
 */
public class DevDBEntry {

    /** {@link #isBootableDevice()} value of an entry that is not a boot device. */
    public static final int NOT_BOOTABLE = -1;

    /** Length of the initiator session identifier in bytes. */
    public static final int SESSION_ID_LENGTH = 6;

    private final NodeInfo nodeInfo = new NodeInfo();
    private final DevEntry deviceEntry = new DevEntry();

    private int index;
    private byte options;
    private byte control;
    private int exeCount;
    private int targetSessionID;
    private short[] initiatorSessionID = new short[SESSION_ID_LENGTH];
    private int targetID;
    private int state;
    private int reservedFlags;
    private int ddbLink;
    private int chapIndex;
    private int maxTxDataSegmentLen;
    private int targetPortalGroupID;
    private int bootableDevice = NOT_BOOTABLE;

    public DevDBEntry() {
    }

    /** Position of the entry in the list it was read into (or the database index it was read from). */
    public int getIndex() {
        return index;
    }

    public void setIndex(int index) {
        this.index = index;
    }

    public byte getOptions() {
        return options;
    }

    public void setOptions(byte options) {
        this.options = options;
    }

    public byte getControl() {
        return control;
    }

    public void setControl(byte control) {
        this.control = control;
    }

    public int getExeCount() {
        return exeCount;
    }

    public void setExeCount(int exeCount) {
        this.exeCount = exeCount;
    }

    public int getTargetSessionID() {
        return targetSessionID;
    }

    public void setTargetSessionID(int targetSessionID) {
        this.targetSessionID = targetSessionID;
    }

    /** The six bytes of the initiator session identifier, each 0..255 (never null). */
    public short[] getInitiatorSessionID() {
        return initiatorSessionID;
    }

    /** Sets the initiator session identifier; null is taken as all zero. */
    public void setInitiatorSessionID(short[] initiatorSessionID) {
        this.initiatorSessionID = initiatorSessionID != null ? initiatorSessionID : new short[SESSION_ID_LENGTH];
    }

    /** Database index of the entry (0..511); writing an entry writes it at this index. */
    public int getTargetID() {
        return targetID;
    }

    public void setTargetID(int targetID) {
        this.targetID = targetID;
    }

    /** Device state as the adapter reports it; 0 marks an unused entry. */
    public int getState() {
        return state;
    }

    public void setState(int state) {
        this.state = state;
    }

    public int getReservedFlags() {
        return reservedFlags;
    }

    public void setReservedFlags(int reservedFlags) {
        this.reservedFlags = reservedFlags;
    }

    public int getDDBLink() {
        return ddbLink;
    }

    public void setDDBLink(int ddbLink) {
        this.ddbLink = ddbLink;
    }

    public int getChapIndex() {
        return chapIndex;
    }

    public void setChapIndex(int chapIndex) {
        this.chapIndex = chapIndex;
    }

    public int getMaxTxDataSegmentLen() {
        return maxTxDataSegmentLen;
    }

    public void setMaxTxDataSegmentLen(int maxTxDataSegmentLen) {
        this.maxTxDataSegmentLen = maxTxDataSegmentLen;
    }

    public int getTargetPortalGroupID() {
        return targetPortalGroupID;
    }

    public void setTargetPortalGroupID(int targetPortalGroupID) {
        this.targetPortalGroupID = targetPortalGroupID;
    }

    /**
     * {@link #NOT_BOOTABLE} (-1, the default) when the entry is not a boot device; any other value
     * marks it as one, and it is then written to flash when the adapter's boot code is enabled.
     */
    public int isBootableDevice() {
        return bootableDevice;
    }

    public void setBootableDevice(int bootableDevice) {
        this.bootableDevice = bootableDevice;
    }

    public NodeInfo getNodeInfo() {
        return nodeInfo;
    }

    public DevEntry getDeviceEntry() {
        return deviceEntry;
    }

    @Override
    public String toString() {
        return "DevDBEntry{index=" + index + ", targetID=" + targetID + ", state=" + state + ", options=0x"
                + Integer.toHexString(options & 0xff) + ", control=0x" + Integer.toHexString(control & 0xff)
                + ", exeCount=" + exeCount + ", targetSessionID=" + targetSessionID + ", initiatorSessionID="
                + Arrays.toString(initiatorSessionID) + ", reservedFlags=0x" + Integer.toHexString(reservedFlags)
                + ", ddbLink=" + ddbLink + ", chapIndex=" + chapIndex + ", maxTxDataSegmentLen="
                + maxTxDataSegmentLen + ", targetPortalGroupID=" + targetPortalGroupID + ", bootableDevice="
                + bootableDevice + ", nodeInfo=" + nodeInfo + ", deviceEntry=" + deviceEntry + "}";
    }
}
