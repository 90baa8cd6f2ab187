package com.norvik.dvh.iscsi.model;

/**
 * Outcome of the read/write buffer test on one target: its status (a code of
 * {@link DiagnosticStatus}), how many reads differed from the pattern, what the adapter's port,
 * I/O, interrupt and link counters gained during the test, and the data last read back (the
 * differing data when there was a difference).
 *
 * <p>The 64-bit counters are unsigned; read them with {@link Long#toUnsignedString(long)}.
 */
public class BufferTestResult {

    private int readWriteBufferTestStatus;
    private int dataMiscompare;
    private long hbaPortErrorCount;
    private long devicePortErrorCount;
    private long ioCount;
    private long mBytesCount;
    private long interruptCount;
    private long linkFailureCount;
    private long invalidCRCCount;
    private short[] lastPattern = new short[0];

    public int getReadWriteBufferTestStatus() {
        return readWriteBufferTestStatus;
    }

    public void setReadWriteBufferTestStatus(int status) {
        this.readWriteBufferTestStatus = status;
    }

    public int getDataMiscompare() {
        return dataMiscompare;
    }

    public void setDataMiscompare(int dataMiscompare) {
        this.dataMiscompare = dataMiscompare;
    }

    public long getHBAPortErrorCount() {
        return hbaPortErrorCount;
    }

    public void setHBAPortErrorCount(long count) {
        this.hbaPortErrorCount = count;
    }

    public long getDevicePortErrorCount() {
        return devicePortErrorCount;
    }

    public void setDevicePortErrorCount(long count) {
        this.devicePortErrorCount = count;
    }

    public long getIoCount() {
        return ioCount;
    }

    public void setIoCount(long count) {
        this.ioCount = count;
    }

    public long getMBytesCount() {
        return mBytesCount;
    }

    public void setMBytesCount(long count) {
        this.mBytesCount = count;
    }

    public long getInterruptCount() {
        return interruptCount;
    }

    public void setInterruptCount(long count) {
        this.interruptCount = count;
    }

    public long getLinkFailureCount() {
        return linkFailureCount;
    }

    public void setLinkFailureCount(long count) {
        this.linkFailureCount = count;
    }

    public long getInvalidCRCCount() {
        return invalidCRCCount;
    }

    public void setInvalidCRCCount(long count) {
        this.invalidCRCCount = count;
    }

    /** The data last read back, one byte (0..255) per element; never null. */
    public short[] getLastPattern() {
        return lastPattern.clone();
    }

    public void setLastPattern(short[] lastPattern) {
        this.lastPattern = lastPattern == null ? new short[0] : lastPattern.clone();
    }
}
