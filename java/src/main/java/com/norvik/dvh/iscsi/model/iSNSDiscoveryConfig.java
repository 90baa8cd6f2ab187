package com.norvik.dvh.iscsi.model;

/**
 * An adapter's iSNS discovery settings: whether discovery through an iSNS server is enabled and
 * runs automatically, the server's address, and the initiator name the adapter registers with.
 *
 * <p>The native library fills the flags as numbers (1 = on) and reads them back as booleans; it
 * passes the server address as 16 bytes with a type and reads it back as an {@link IPAddr}. The
 * adapter keeps no host name for the server: a read sets it to a single blank.
 */
public class iSNSDiscoveryConfig {

    private boolean enableiSNSDiscovery;
    private boolean automaticDiscovery;
    private IPAddr serverIPAddress = new IPAddr();
    private int serverAddressType;
    private String serverHostname;
    private String hbaiSCSIName;

    public iSNSDiscoveryConfig() {
    }

    public boolean getEnableiSNSDiscoveryFlag() {
        return enableiSNSDiscovery;
    }

    /** Any value other than 0 enables discovery. */
    public void setEnableiSNSDiscoveryFlag(int flag) {
        this.enableiSNSDiscovery = flag != 0;
    }

    public boolean getAutomaticDiscoveryFlag() {
        return automaticDiscovery;
    }

    /** Any value other than 0 makes discovery automatic. */
    public void setAutomaticDiscoveryFlag(int flag) {
        this.automaticDiscovery = flag != 0;
    }

    /** The server's address (never null). */
    public IPAddr getServerIPAddress() {
        return serverIPAddress;
    }

    /** Sets the server address from 16 bytes (each 0..255) and the address type. */
    public void setServerIPAddress(short[] address, int type) {
        this.serverIPAddress = new IPAddr(address);
        this.serverAddressType = type;
    }

    /** The address type the adapter reported with the server's address. */
    public int getServerAddressType() {
        return serverAddressType;
    }

    public String getServerHostname() {
        return serverHostname;
    }

    public void setServerHostname(String serverHostname) {
        this.serverHostname = serverHostname;
    }

    /** The initiator name the adapter registers with the server (the native read does not set it). */
    public String getHBAiSCSIName() {
        return hbaiSCSIName;
    }

    public void setHBAiSCSIName(String name) {
        this.hbaiSCSIName = name;
    }
}
