package com.norvik.dvh.iscsi.model;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/**
 * One policy of the adapter's IPsec security policy table: which traffic it covers (addresses,
 * protocol, ports), what it does with it, its transforms and, for an IKE policy ({@link
 * #KIND_IKE}), the IKE parameters and pre-shared key; for other kinds the manual keys used when
 * keys are not negotiated ({@link #getAutoIPSec()} false). The security associations the adapter
 * currently holds for the policy are attached by the statistics read.
 *
 * <p>The key lengths the native side asks for are those of the key texts in UTF-8; the adapter
 * keeps at most 31 bytes of each key.
 */
public class SecurityPolicyEntry {

    /** Kind of an IKE policy; kind 0 marks an unused slot of the adapter's table. */
    public static final int KIND_IKE = 3;

    private final List<SecurityTransform> transforms = new ArrayList<>();
    private final List<SecurityAssociationDetails> associations = new ArrayList<>();

    private int kind;
    private int priority;
    private int statusChangeBitMap;
    private int protocol;
    private int port;
    private int sourcePort;
    private int destType;
    private int action;
    private int enabledTarget;
    private String policyName;
    private IPAddr tunnelIPAddr = new IPAddr();
    private IPAddr sourceAddr = new IPAddr();
    private IPAddr destStartAddr = new IPAddr();
    private IPAddr destEndAddr = new IPAddr();
    private int ikeMode;
    private boolean ikePFS;
    private int ikeDirection;
    private boolean autoIPSec;
    private String preSharedKey;
    private String authKey;
    private String encryptKey;
    private String encryptIV;
    private int spi;
    private int associatedIke;

    public SecurityPolicyEntry() {
    }

    public int getKind() {
        return kind;
    }

    public void setKind(int kind) {
        this.kind = kind;
    }

    /** Priority of the policy; its security associations are found by it. */
    public int getPriority() {
        return priority;
    }

    public void setPriority(int priority) {
        this.priority = priority;
    }

    /** Bit map of the items changed, handed to the adapter with a table write. */
    public int getStatusChangeBitMap() {
        return statusChangeBitMap;
    }

    public void setStatusChangeBitMap(int statusChangeBitMap) {
        this.statusChangeBitMap = statusChangeBitMap;
    }

    public int getProtocol() {
        return protocol;
    }

    public void setProtocol(int protocol) {
        this.protocol = protocol;
    }

    /** Destination port. */
    public int getPort() {
        return port;
    }

    public void setPort(int port) {
        this.port = port;
    }

    public int getSourcePort() {
        return sourcePort;
    }

    public void setSourcePort(int sourcePort) {
        this.sourcePort = sourcePort;
    }

    public int getDestType() {
        return destType;
    }

    public void setDestType(int destType) {
        this.destType = destType;
    }

    public int getAction() {
        return action;
    }

    public void setAction(int action) {
        this.action = action;
    }

    /** Enabled-target value, handed to the adapter with a table write (never read back). */
    public int getEnabledTarget() {
        return enabledTarget;
    }

    public void setEnabledTarget(int enabledTarget) {
        this.enabledTarget = enabledTarget;
    }

    public String getPolicyName() {
        return policyName;
    }

    public void setPolicyName(String policyName) {
        this.policyName = policyName;
    }

    public IPAddr getTunnelIPAddr() {
        return tunnelIPAddr;
    }

    public void setTunnelIPAddr(IPAddr tunnelIPAddr) {
        this.tunnelIPAddr = tunnelIPAddr;
    }

    public IPAddr getSourceAddr() {
        return sourceAddr;
    }

    public void setSourceAddr(IPAddr sourceAddr) {
        this.sourceAddr = sourceAddr;
    }

    public IPAddr getDestStartAddr() {
        return destStartAddr;
    }

    public void setDestStartAddr(IPAddr destStartAddr) {
        this.destStartAddr = destStartAddr;
    }

    public IPAddr getDestEndAddr() {
        return destEndAddr;
    }

    public void setDestEndAddr(IPAddr destEndAddr) {
        this.destEndAddr = destEndAddr;
    }

    public int getIKEMode() {
        return ikeMode;
    }

    public void setIKEMode(int ikeMode) {
        this.ikeMode = ikeMode;
    }

    /** IKE perfect forward secrecy. */
    public boolean getIKEPFS() {
        return ikePFS;
    }

    public void setIKEPFS(boolean ikePFS) {
        this.ikePFS = ikePFS;
    }

    public int getIKEDirection() {
        return ikeDirection;
    }

    public void setIKEDirection(int ikeDirection) {
        this.ikeDirection = ikeDirection;
    }

    /** True when keys are negotiated; false when the manual keys and SPI are used. */
    public boolean getAutoIPSec() {
        return autoIPSec;
    }

    public void setAutoIPSec(boolean autoIPSec) {
        this.autoIPSec = autoIPSec;
    }

    public String getPreSharedKey() {
        return preSharedKey;
    }

    public void setPreSharedKey(String preSharedKey) {
        this.preSharedKey = preSharedKey;
    }

    public int getPreSharedKeyLen() {
        return byteLength(preSharedKey);
    }

    public String getAuthKey() {
        return authKey;
    }

    public void setAuthKey(String authKey) {
        this.authKey = authKey;
    }

    public int getAuthKeyLen() {
        return byteLength(authKey);
    }

    public String getEncryptKey() {
        return encryptKey;
    }

    public void setEncryptKey(String encryptKey) {
        this.encryptKey = encryptKey;
    }

    public int getEncryptKeyLen() {
        return byteLength(encryptKey);
    }

    public String getEncryptIV() {
        return encryptIV;
    }

    public void setEncryptIV(String encryptIV) {
        this.encryptIV = encryptIV;
    }

    public int getEncryptIVLen() {
        return byteLength(encryptIV);
    }

    /** Manual security parameter index. */
    public int getSPI() {
        return spi;
    }

    public void setSPI(int spi) {
        this.spi = spi;
    }

    /** Priority of the IKE policy this policy is tied to. */
    public int getAssociatedIke() {
        return associatedIke;
    }

    public void setAssociatedIke(int associatedIke) {
        this.associatedIke = associatedIke;
    }

    public int getNumTransforms() {
        return transforms.size();
    }

    /** Transform {@code index}, or null outside 0 .. getNumTransforms() - 1. */
    public SecurityTransform getTransform(int index) {
        return index >= 0 && index < transforms.size() ? transforms.get(index) : null;
    }

    public void addTransform(SecurityTransform transform) {
        transforms.add(transform);
    }

    /** The security associations attached by the last statistics read (read-only view). */
    public List<SecurityAssociationDetails> getSecurityAssociations() {
        return Collections.unmodifiableList(associations);
    }

    public void clearSADetails() {
        associations.clear();
    }

    public void addSecurityAssociation(SecurityAssociationDetails details) {
        associations.add(details);
    }

    private static int byteLength(String text) {
        return text == null ? 0 : text.getBytes(StandardCharsets.UTF_8).length;
    }

    /** Describes the policy without its keys. */
    @Override
    public String toString() {
        return "SecurityPolicyEntry{kind=" + kind + ", priority=" + priority + ", name=" + policyName + ", action="
                + action + ", protocol=" + protocol + ", port=" + port + ", sourcePort=" + sourcePort
                + ", source=" + sourceAddr + ", destType=" + destType + ", destStart=" + destStartAddr
                + ", destEnd=" + destEndAddr + ", tunnel=" + tunnelIPAddr + ", autoIPSec=" + autoIPSec
                + ", associatedIke=" + associatedIke + ", ikeMode=" + ikeMode + ", ikePFS=" + ikePFS
                + ", ikeDirection=" + ikeDirection + ", transforms=" + transforms + ", securityAssociations="
                + associations.size() + "}";
    }
}
