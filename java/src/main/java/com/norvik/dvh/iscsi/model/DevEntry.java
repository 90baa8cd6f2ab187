package com.norvik.dvh.iscsi.model;

/**
 * Per-session device parameters of a device database entry, and the adapter's session defaults in
 * the firmware initialization block. Fields that the adapter holds in 8 or 16 bits keep only their
 * low bits when written back.
 */
public class DevEntry {

    private int deviceType;
    private int executionThrottle;
    private short txTCPWindowScale;
    private short rxTCPWindowScale;
    private short retryDelay;
    private short iSCSIOptions;
    private int tcpOptions;
    private int ipOptions;
    private int maxRxDataSegmentLen;
    private int firstBurstSize;
    private int defaultTime2Wait;
    private int defaultTime2Retain;
    private int maxOutstandingR2T;
    private int keepAliveTO;
    private int portNumber;
    private short maxBurstSize;
    private short taskManagementTimeout;
    private String targetAddress;

    public DevEntry() {
    }

    public int getDeviceType() {
        return deviceType;
    }

    public void setDeviceType(int deviceType) {
        this.deviceType = deviceType;
    }

    public int getExecutionThrottle() {
        return executionThrottle;
    }

    public void setExecutionThrottle(int executionThrottle) {
        this.executionThrottle = executionThrottle;
    }

    /** Transmit window scale; read from the adapter only, never written back. */
    public short getTxTCPWindowScale() {
        return txTCPWindowScale;
    }

    public void setTxTCPWindowScale(short txTCPWindowScale) {
        this.txTCPWindowScale = txTCPWindowScale;
    }

    public short getRxTCPWindowScale() {
        return rxTCPWindowScale;
    }

    public void setRxTCPWindowScale(short rxTCPWindowScale) {
        this.rxTCPWindowScale = rxTCPWindowScale;
    }

    public short getRetryDelay() {
        return retryDelay;
    }

    public void setRetryDelay(short retryDelay) {
        this.retryDelay = retryDelay;
    }

    public short getiSCSIOptions() {
        return iSCSIOptions;
    }

    public void setiSCSIOptions(short iSCSIOptions) {
        this.iSCSIOptions = iSCSIOptions;
    }

    public int getTCPOptions() {
        return tcpOptions;
    }

    public void setTCPOptions(int tcpOptions) {
        this.tcpOptions = tcpOptions;
    }

    public int getIPOptions() {
        return ipOptions;
    }

    public void setIPOptions(int ipOptions) {
        this.ipOptions = ipOptions;
    }

    public int getMaxRxDataSegmentLen() {
        return maxRxDataSegmentLen;
    }

    public void setMaxRxDataSegmentLen(int maxRxDataSegmentLen) {
        this.maxRxDataSegmentLen = maxRxDataSegmentLen;
    }

    public int getFirstBurstSize() {
        return firstBurstSize;
    }

    public void setFirstBurstSize(int firstBurstSize) {
        this.firstBurstSize = firstBurstSize;
    }

    public int getDefaultTime2Wait() {
        return defaultTime2Wait;
    }

    public void setDefaultTime2Wait(int defaultTime2Wait) {
        this.defaultTime2Wait = defaultTime2Wait;
    }

    public int getDefaultTime2Retain() {
        return defaultTime2Retain;
    }

    public void setDefaultTime2Retain(int defaultTime2Retain) {
        this.defaultTime2Retain = defaultTime2Retain;
    }

    public int getMaxOutstandingR2T() {
        return maxOutstandingR2T;
    }

    public void setMaxOutstandingR2T(int maxOutstandingR2T) {
        this.maxOutstandingR2T = maxOutstandingR2T;
    }

    public int getKeepAliveTO() {
        return keepAliveTO;
    }

    public void setKeepAliveTO(int keepAliveTO) {
        this.keepAliveTO = keepAliveTO;
    }

    public int getPortNumber() {
        return portNumber;
    }

    public void setPortNumber(int portNumber) {
        this.portNumber = portNumber;
    }

    public short getMaxBurstSize() {
        return maxBurstSize;
    }

    public void setMaxBurstSize(short maxBurstSize) {
        this.maxBurstSize = maxBurstSize;
    }

    public short getTaskManagementTimeout() {
        return taskManagementTimeout;
    }

    public void setTaskManagementTimeout(short taskManagementTimeout) {
        this.taskManagementTimeout = taskManagementTimeout;
    }

    /** Target address text (at most 32 bytes are stored by the adapter), or null when unset. */
    public String getTargetAddress() {
        return targetAddress;
    }

    public void setTargetAddress(String targetAddress) {
        this.targetAddress = targetAddress;
    }

    @Override
    public String toString() {
        return "DevEntry{deviceType=" + deviceType + ", executionThrottle=" + executionThrottle
                + ", txTCPWindowScale=" + txTCPWindowScale + ", rxTCPWindowScale=" + rxTCPWindowScale
                + ", retryDelay=" + retryDelay + ", iSCSIOptions=0x" + Integer.toHexString(iSCSIOptions & 0xffff)
                + ", tcpOptions=0x" + Integer.toHexString(tcpOptions) + ", ipOptions=0x"
                + Integer.toHexString(ipOptions) + ", maxRxDataSegmentLen=" + maxRxDataSegmentLen
                + ", firstBurstSize=" + firstBurstSize + ", maxBurstSize=" + (maxBurstSize & 0xffff)
                + ", defaultTime2Wait=" + defaultTime2Wait + ", defaultTime2Retain=" + defaultTime2Retain
                + ", maxOutstandingR2T=" + maxOutstandingR2T + ", keepAliveTO=" + keepAliveTO
                + ", taskManagementTimeout=" + (taskManagementTimeout & 0xffff) + ", targetAddress="
                + targetAddress + ", portNumber=" + portNumber + "}";
    }
}
