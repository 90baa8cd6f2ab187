package com.norvik.dvh.iscsi.model;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/**
 * One iSCSI host bus adapter as the management application sees it: portal properties, link
 * state, versions, its device database entries, its addresses and the objects for the firmware
 * initialization block ({@link #getInitFW()}), the initiator node ({@link #getNodeInfo()}) and the
 * boot settings ({@link #getBootInfo()}), which are created with the adapter.
 */
public class HBA {

    /** {@link #getDuplex()} value when the adapter reports no duplex mode. */
    public static final int DUPLEX_UNKNOWN = -1;

    private final InitFW initFW = new InitFW();
    private final NodeInfo nodeInfo = new NodeInfo();
    private final BootInfo bootInfo = new BootInfo();
    private final List<DevDBEntry> deviceDataBase = new ArrayList<>();

    private int instance = -1;
    private int numberDiskTargets;
    private short[] macAddress = new short[6];
    private int state;
    private int dhcpState;
    private int linkStatus;
    private boolean flowControl;
    private int duplex = DUPLEX_UNKNOWN;
    private int linkSpeed;
    private int type;
    private int driverAttribute;
    private int firmwareAttribute;
    private String driverVersion;
    private String firmwareVersion;
    private String manufacturer;
    private String chipModel;
    private String optRomVersion;
    private String serialNumberStr;
    private String hbaLevelAlias;
    private int hbaLevelTCPMaxWindowSize;

    private IPAddr ipAddress;
    private IPAddr gateway;
    private IPAddr subnetMask;
    private IPAddr primaryDNS;
    private IPAddr secondaryDNS;
    private IPAddr slpDa;

    public HBA() {
    }

    /** An adapter object for instance number {@code instance}. */
    public HBA(int instance) {
        this.instance = instance;
    }

    /** Adapter instance number the application opened it with, or -1 when not known. */
    public int getInstance() {
        return instance;
    }

    public void setInstance(int instance) {
        this.instance = instance;
    }

    public int getNumberDiskTargets() {
        return numberDiskTargets;
    }

    public void setNumberDiskTargets(int numberDiskTargets) {
        this.numberDiskTargets = numberDiskTargets;
    }

    /** The six MAC address bytes, each 0..255 (never null). */
    public short[] getMACAddress() {
        return macAddress;
    }

    /** Sets the MAC address; null is taken as all zero. */
    public void setMACAddress(short[] macAddress) {
        this.macAddress = macAddress != null ? macAddress : new short[6];
    }

    /** MAC address as "00:0e:1e:aa:bb:cc". */
    public String getMACAddressString() {
        StringBuilder sb = new StringBuilder();
        for (int i = 0; i < macAddress.length; i++) {
            if (i > 0) {
                sb.append(':');
            }
            sb.append(String.format("%02x", macAddress[i] & 0xff));
        }
        return sb.toString();
    }

    public int getState() {
        return state;
    }

    public void setState(int state) {
        this.state = state;
    }

    public int getDhcpState() {
        return dhcpState;
    }

    public void setDhcpState(int dhcpState) {
        this.dhcpState = dhcpState;
    }

    public int getLinkStatus() {
        return linkStatus;
    }

    public void setLinkStatus(int linkStatus) {
        this.linkStatus = linkStatus;
    }

    public boolean getFlowControl() {
        return flowControl;
    }

    public void setFlowControl(boolean flowControl) {
        this.flowControl = flowControl;
    }

    /** 1 full duplex, 0 half duplex, {@link #DUPLEX_UNKNOWN} when not reported. */
    public int getDuplex() {
        return duplex;
    }

    public void setDuplex(int duplex) {
        this.duplex = duplex;
    }

    /** Link speed code as the adapter reports it. */
    public int getLinkSpeed() {
        return linkSpeed;
    }

    public void setLinkSpeed(int linkSpeed) {
        this.linkSpeed = linkSpeed;
    }

    public int getType() {
        return type;
    }

    public void setType(int type) {
        this.type = type;
    }

    public int getDriverAttribute() {
        return driverAttribute;
    }

    public void setDriverAttribute(int driverAttribute) {
        this.driverAttribute = driverAttribute;
    }

    public int getFirmwareAttribute() {
        return firmwareAttribute;
    }

    public void setFirmwareAttribute(int firmwareAttribute) {
        this.firmwareAttribute = firmwareAttribute;
    }

    public String getDriverVersion() {
        return driverVersion;
    }

    public void setDriverVersion(String driverVersion) {
        this.driverVersion = driverVersion;
    }

    public String getFirmwareVersion() {
        return firmwareVersion;
    }

    public void setFirmwareVersion(String firmwareVersion) {
        this.firmwareVersion = firmwareVersion;
    }

    public String getManufacturer() {
        return manufacturer;
    }

    public void setManufacturer(String manufacturer) {
        this.manufacturer = manufacturer;
    }

    public String getChipModel() {
        return chipModel;
    }

    public void setChipModel(String chipModel) {
        this.chipModel = chipModel;
    }

    public String getOptRomVersion() {
        return optRomVersion;
    }

    public void setOptRomVersion(String optRomVersion) {
        this.optRomVersion = optRomVersion;
    }

    public String getSerialNumberStr() {
        return serialNumberStr;
    }

    public void setSerialNumberStr(String serialNumberStr) {
        this.serialNumberStr = serialNumberStr;
    }

    /** Appends one device database entry (in the order the adapter reports them). */
    public void addDeviceDataBaseEntry(DevDBEntry entry) {
        deviceDataBase.add(entry);
    }

    /** The device database entry at list position {@code position}, or null when there is none. */
    public DevDBEntry getDeviceDataBaseEntry(int position) {
        return position >= 0 && position < deviceDataBase.size() ? deviceDataBase.get(position) : null;
    }

    /** Number of device database entries held. */
    public int getDeviceDataBaseEntryCount() {
        return deviceDataBase.size();
    }

    /** The device database entries held, in order (read-only view). */
    public List<DevDBEntry> getDeviceDataBaseEntries() {
        return Collections.unmodifiableList(deviceDataBase);
    }

    /** Forgets all device database entries (before reading the adapter again). */
    public void clearDeviceDataBaseEntries() {
        deviceDataBase.clear();
    }

    // --- CHAP table and iSNS targets -------------------------------------------------------

    private final List<CHAPTableEntry> chapTable = new ArrayList<>();
    private final List<iSNSTarget> iSNSTargets = new ArrayList<>();

    /** Adds an entry read from the adapter's CHAP table. */
    public void addCHAPTableEntry(CHAPTableEntry entry) {
        chapTable.add(entry);
    }

    /** The CHAP table entries held, in the order they were added (read-only view). */
    public List<CHAPTableEntry> getCHAPTableEntries() {
        return Collections.unmodifiableList(chapTable);
    }

    /** Forgets the CHAP table entries (the native reads add to what is held). */
    public void clearCHAPTableEntries() {
        chapTable.clear();
    }

    /** Forgets the iSNS targets held; the native read calls it before adding what it found. */
    public void cleariSNSTargetList() {
        iSNSTargets.clear();
    }

    public void addiSNSTarget(iSNSTarget target) {
        iSNSTargets.add(target);
    }

    /** The targets the iSNS server reported, in its order (read-only view). */
    public List<iSNSTarget> getiSNSTargets() {
        return Collections.unmodifiableList(iSNSTargets);
    }

    /** Adapter-level alias (up to 64 bytes are stored). */
    public String getHBA_Level_Alias() {
        return hbaLevelAlias;
    }

    public void setHBA_Level_Alias(String alias) {
        this.hbaLevelAlias = alias;
    }

    /** Adapter-level TCP maximum window size (16 bits are stored). */
    public int getHBA_Level_TCPMaxWindowSize() {
        return hbaLevelTCPMaxWindowSize;
    }

    public void setHBA_Level_TCPMaxWindowSize(int size) {
        this.hbaLevelTCPMaxWindowSize = size;
    }

    public InitFW getInitFW() {
        return initFW;
    }

    public NodeInfo getNodeInfo() {
        return nodeInfo;
    }

    public BootInfo getBootInfo() {
        return bootInfo;
    }

    public IPAddr getIPAddress() {
        return ipAddress;
    }

    public void setIPAddress(IPAddr ipAddress) {
        this.ipAddress = ipAddress;
    }

    public IPAddr getGateway() {
        return gateway;
    }

    public void setGateway(IPAddr gateway) {
        this.gateway = gateway;
    }

    public IPAddr getSubnetMask() {
        return subnetMask;
    }

    public void setSubnetMask(IPAddr subnetMask) {
        this.subnetMask = subnetMask;
    }

    public IPAddr getPrimaryDNS() {
        return primaryDNS;
    }

    public void setPrimaryDNS(IPAddr primaryDNS) {
        this.primaryDNS = primaryDNS;
    }

    public IPAddr getSecondaryDNS() {
        return secondaryDNS;
    }

    public void setSecondaryDNS(IPAddr secondaryDNS) {
        this.secondaryDNS = secondaryDNS;
    }

    /** SLP directory agent address. */
    public IPAddr getSlpDa() {
        return slpDa;
    }

    public void setSlpDa(IPAddr slpDa) {
        this.slpDa = slpDa;
    }

    // --- IPsec security: versions, counters and the policy table as last read ---

    private final SecurityStats securityStats = new SecurityStats();
    private final List<SecurityPolicyEntry> securityPolicies = new ArrayList<>();
    private String securityFWVersion;
    private String securityIKEVersion;

    public String getSecurityFWVersion() {
        return securityFWVersion;
    }

    public void setSecurityFWVersion(String securityFWVersion) {
        this.securityFWVersion = securityFWVersion;
    }

    public String getSecurityIKEVersion() {
        return securityIKEVersion;
    }

    public void setSecurityIKEVersion(String securityIKEVersion) {
        this.securityIKEVersion = securityIKEVersion;
    }

    /** The security engine's counters (created with the adapter, never null). */
    public SecurityStats getSecurityStats() {
        return securityStats;
    }

    public void addSecurityPolicyEntry(SecurityPolicyEntry entry) {
        securityPolicies.add(entry);
    }

    public int getNumberOfSecurityPolicyEntries() {
        return securityPolicies.size();
    }

    /** Policy {@code index} in the order added, or null outside the list. */
    public SecurityPolicyEntry getSecurityPolicyEntry(int index) {
        return index >= 0 && index < securityPolicies.size() ? securityPolicies.get(index) : null;
    }

    /** Forgets the policies read so far (before the table is read again). */
    public void clearSecurityPolicyEntries() {
        securityPolicies.clear();
    }

    @Override
    public String toString() {
        return "HBA{instance=" + instance + ", manufacturer=" + manufacturer + ", chipModel=" + chipModel
                + ", serialNumber=" + serialNumberStr + ", mac=" + getMACAddressString() + ", state=" + state
                + ", type=" + type + ", dhcpState=" + dhcpState + ", linkStatus=" + linkStatus + ", flowControl="
                + flowControl + ", duplex=" + duplex + ", linkSpeed=" + linkSpeed + ", driverVersion="
                + driverVersion + ", driverAttribute=0x" + Integer.toHexString(driverAttribute)
                + ", firmwareVersion=" + firmwareVersion + ", firmwareAttribute=0x"
                + Integer.toHexString(firmwareAttribute) + ", optRomVersion=" + optRomVersion
                + ", numberDiskTargets=" + numberDiskTargets + ", ipAddress=" + ipAddress + ", subnetMask="
                + subnetMask + ", gateway=" + gateway + ", primaryDNS=" + primaryDNS + ", secondaryDNS="
                + secondaryDNS + ", slpDa=" + slpDa + ", alias=" + hbaLevelAlias + ", tcpMaxWindowSize="
                + hbaLevelTCPMaxWindowSize + ", nodeInfo=" + nodeInfo + ", initFW=" + initFW + ", bootInfo="
                + bootInfo + ", deviceDataBase=" + deviceDataBase + "}";
    }
}
