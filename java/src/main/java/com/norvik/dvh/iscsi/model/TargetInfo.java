package com.norvik.dvh.iscsi.model;

/**
 * The SCSI address of a target and one of its LUNs (bus, target id, LUN), the target's state and its
 * part in the read/write buffer test: whether the target supports the test and whether the
 * application asks for it. Every SCSI query and the buffer test name their target and LUN by one of
 * these. The native side reads bus, LUN, target id, state and both flags, and fills in bus, LUN and
 * target id of a discovered target (and clears the support flag of a target that turned out not to
 * support the buffer test).
 */
public class TargetInfo {

    private int bus;
    private int targetID;
    private int lun;
    private int targetState;
    private boolean supportsTest;
    private boolean performBufferTest;

    public TargetInfo() {
    }

    /** An address of bus {@code bus}, target {@code targetID}, LUN {@code lun}. */
    public TargetInfo(int bus, int targetID, int lun) {
        this.bus = bus;
        this.targetID = targetID;
        this.lun = lun;
    }

    /** A copy of {@code other}. */
    public TargetInfo(TargetInfo other) {
        this(other.bus, other.targetID, other.lun);
        this.targetState = other.targetState;
        this.supportsTest = other.supportsTest;
        this.performBufferTest = other.performBufferTest;
    }

    /** A copy of this address naming LUN {@code lunNumber} of the same target. */
    public TargetInfo withLUN(int lunNumber) {
        TargetInfo t = new TargetInfo(this);
        t.lun = lunNumber;
        return t;
    }

    public int getBus() {
        return bus;
    }

    public void setBus(int bus) {
        this.bus = bus;
    }

    public int getTargetID() {
        return targetID;
    }

    public void setTargetID(int targetID) {
        this.targetID = targetID;
    }

    public int getLUN() {
        return lun;
    }

    public void setLUN(int lun) {
        this.lun = lun;
    }

    /** The target's state code (4: session active). */
    public int getTargetState() {
        return targetState;
    }

    public void setTargetState(int targetState) {
        this.targetState = targetState;
    }

    public boolean getSupportsTest() {
        return supportsTest;
    }

    public void setSupportsTest(boolean supportsTest) {
        this.supportsTest = supportsTest;
    }

    /** Whether the read/write buffer test is to run on this target. */
    public boolean getPerformBufferTest() {
        return performBufferTest;
    }

    public void setPerformBufferTest(boolean performBufferTest) {
        this.performBufferTest = performBufferTest;
    }

    /** The address in the usual "bus:target:lun" form. */
    public String address() {
        return bus + ":" + targetID + ":" + lun;
    }

    @Override
    public String toString() {
        return "TargetInfo{" + address() + ", state=" + targetState + ", supportsTest=" + supportsTest
                + ", performBufferTest=" + performBufferTest + "}";
    }
}
