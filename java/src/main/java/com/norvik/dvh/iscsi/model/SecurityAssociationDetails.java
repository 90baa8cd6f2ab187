package com.norvik.dvh.iscsi.model;

import java.math.BigInteger;

/**
 * One live security association of a policy: an IKE SA (cookies, peer version, remote address and
 * ports, exchange, packet and byte counts) or an IPsec SA (SPI, algorithms, soft and hard limits,
 * counts and errors). The native side fills the members of the kind it reads; the others stay
 * zero. Wide values arrive as big-endian byte arrays whose first byte is zero and are held as
 * non-negative {@link BigInteger}s.
 */
public class SecurityAssociationDetails {

    private int policyPriority;
    private BigInteger initiatorCookie = BigInteger.ZERO;
    private BigInteger responderCookie = BigInteger.ZERO;
    private short peerMajorVersion;
    private short peerMinorVersion;
    private IPAddr ipAddress;
    private BigInteger saDOI = BigInteger.ZERO;
    private int remotePort;
    private int localPort;
    private short locallyInitiated;
    private int status;
    private int exchangeType;
    private BigInteger time = BigInteger.ZERO;
    private BigInteger outPkts = BigInteger.ZERO;
    private BigInteger inPkts = BigInteger.ZERO;
    private BigInteger outBytes = BigInteger.ZERO;
    private BigInteger inBytes = BigInteger.ZERO;

    private BigInteger outHardTimeLimit = BigInteger.ZERO;
    private BigInteger inHardTimeLimit = BigInteger.ZERO;
    private BigInteger outHardByteLimit = BigInteger.ZERO;
    private BigInteger inHardByteLimit = BigInteger.ZERO;
    private BigInteger outSoftTimeLimit = BigInteger.ZERO;
    private BigInteger inSoftTimeLimit = BigInteger.ZERO;
    private BigInteger outSoftByteLimit = BigInteger.ZERO;
    private BigInteger inSoftByteLimit = BigInteger.ZERO;
    private int outAuthAlg;
    private int inAuthAlg;
    private BigInteger replayWindowSize = BigInteger.ZERO;
    private BigInteger spi = BigInteger.ZERO;
    private int inEncryptionAlg;
    private int outEncryptionAlg;
    private BigInteger authErrors = BigInteger.ZERO;
    private BigInteger replayErrors = BigInteger.ZERO;
    private BigInteger padErrors = BigInteger.ZERO;

    public SecurityAssociationDetails() {
    }

    private static BigInteger big(byte[] bigEndian) {
        return bigEndian == null || bigEndian.length == 0 ? BigInteger.ZERO : new BigInteger(bigEndian);
    }

    // --- IKE security association ---

    public int getPolicyPriority() {
        return policyPriority;
    }

    public void setPolicyPriority(int policyPriority) {
        this.policyPriority = policyPriority;
    }

    public BigInteger getInitiatorCookie() {
        return initiatorCookie;
    }

    public void setInitiatorCookie(byte[] value) {
        initiatorCookie = big(value);
    }

    public BigInteger getResponderCookie() {
        return responderCookie;
    }

    public void setResponderCookie(byte[] value) {
        responderCookie = big(value);
    }

    public short getPeerMajorVersion() {
        return peerMajorVersion;
    }

    public void setPeerMajorVersion(short peerMajorVersion) {
        this.peerMajorVersion = peerMajorVersion;
    }

    public short getPeerMinorVersion() {
        return peerMinorVersion;
    }

    public void setPeerMinorVersion(short peerMinorVersion) {
        this.peerMinorVersion = peerMinorVersion;
    }

    /** Remote address of an IKE SA, or null. */
    public IPAddr getIPAddress() {
        return ipAddress;
    }

    public void setIPAddress(IPAddr ipAddress) {
        this.ipAddress = ipAddress;
    }

    public BigInteger getSADOI() {
        return saDOI;
    }

    public void setSADOI(byte[] value) {
        saDOI = big(value);
    }

    public int getRemotePort() {
        return remotePort;
    }

    public void setRemotePort(int remotePort) {
        this.remotePort = remotePort;
    }

    public int getLocalPort() {
        return localPort;
    }

    public void setLocalPort(int localPort) {
        this.localPort = localPort;
    }

    public short getLocallyInitiated() {
        return locallyInitiated;
    }

    public void setLocallyInitiated(short locallyInitiated) {
        this.locallyInitiated = locallyInitiated;
    }

    public int getStatus() {
        return status;
    }

    public void setStatus(int status) {
        this.status = status;
    }

    public int getExchangeType() {
        return exchangeType;
    }

    public void setExchangeType(int exchangeType) {
        this.exchangeType = exchangeType;
    }

    public BigInteger getTime() {
        return time;
    }

    public void setTime(byte[] value) {
        time = big(value);
    }

    // --- counts shared by both kinds ---

    public BigInteger getOutPkts() {
        return outPkts;
    }

    public void setOutPkts(byte[] value) {
        outPkts = big(value);
    }

    public BigInteger getInPkts() {
        return inPkts;
    }

    public void setInPkts(byte[] value) {
        inPkts = big(value);
    }

    public BigInteger getOutBytes() {
        return outBytes;
    }

    public void setOutBytes(byte[] value) {
        outBytes = big(value);
    }

    public BigInteger getInBytes() {
        return inBytes;
    }

    public void setInBytes(byte[] value) {
        inBytes = big(value);
    }

    // --- IPsec security association ---

    public BigInteger getOutHardTimeLimit() {
        return outHardTimeLimit;
    }

    public void setOutHardTimeLimit(byte[] value) {
        outHardTimeLimit = big(value);
    }

    public BigInteger getInHardTimeLimit() {
        return inHardTimeLimit;
    }

    public void setInHardTimeLimit(byte[] value) {
        inHardTimeLimit = big(value);
    }

    public BigInteger getOutHardByteLimit() {
        return outHardByteLimit;
    }

    public void setOutHardByteLimit(byte[] value) {
        outHardByteLimit = big(value);
    }

    public BigInteger getInHardByteLimit() {
        return inHardByteLimit;
    }

    public void setInHardByteLimit(byte[] value) {
        inHardByteLimit = big(value);
    }

    public BigInteger getOutSoftTimeLimit() {
        return outSoftTimeLimit;
    }

    public void setOutSoftTimeLimit(byte[] value) {
        outSoftTimeLimit = big(value);
    }

    public BigInteger getInSoftTimeLimit() {
        return inSoftTimeLimit;
    }

    public void setInSoftTimeLimit(byte[] value) {
        inSoftTimeLimit = big(value);
    }

    public BigInteger getOutSoftByteLimit() {
        return outSoftByteLimit;
    }

    public void setOutSoftByteLimit(byte[] value) {
        outSoftByteLimit = big(value);
    }

    public BigInteger getInSoftByteLimit() {
        return inSoftByteLimit;
    }

    public void setInSoftByteLimit(byte[] value) {
        inSoftByteLimit = big(value);
    }

    public int getOutAuthAlg() {
        return outAuthAlg;
    }

    public void setOutAuthAlg(int outAuthAlg) {
        this.outAuthAlg = outAuthAlg;
    }

    public int getInAuthAlg() {
        return inAuthAlg;
    }

    public void setInAuthAlg(int inAuthAlg) {
        this.inAuthAlg = inAuthAlg;
    }

    public BigInteger getReplayWindowSize() {
        return replayWindowSize;
    }

    public void setReplayWindowSize(byte[] value) {
        replayWindowSize = big(value);
    }

    public BigInteger getSPI() {
        return spi;
    }

    public void setSPI(byte[] value) {
        spi = big(value);
    }

    public int getInEncryptionAlg() {
        return inEncryptionAlg;
    }

    public void setInEncryptionAlg(int inEncryptionAlg) {
        this.inEncryptionAlg = inEncryptionAlg;
    }

    public int getOutEncryptionAlg() {
        return outEncryptionAlg;
    }

    public void setOutEncryptionAlg(int outEncryptionAlg) {
        this.outEncryptionAlg = outEncryptionAlg;
    }

    public BigInteger getAuthErrors() {
        return authErrors;
    }

    public void setAuthErrors(byte[] value) {
        authErrors = big(value);
    }

    public BigInteger getReplayErrors() {
        return replayErrors;
    }

    public void setReplayErrors(byte[] value) {
        replayErrors = big(value);
    }

    public BigInteger getPadErrors() {
        return padErrors;
    }

    public void setPadErrors(byte[] value) {
        padErrors = big(value);
    }

    @Override
    public String toString() {
        return "SecurityAssociationDetails{policyPriority=" + policyPriority + ", remote=" + ipAddress + ", spi="
                + spi + ", status=" + status + ", inPkts=" + inPkts + ", outPkts=" + outPkts + "}";
    }
}
