package com.norvik.dvh.iscsi.model;

/**
 * A target that the adapter's iSNS server reported: its iSCSI name and alias and the address and
 * TCP port of its first portal.
 */
public class iSNSTarget {

    private int port;
    private String iSCSIName;
    private String iSCSIAlias;
    private IPAddr ipAddress = new IPAddr();
    private int addressType;

    public iSNSTarget() {
    }

    public int getPort() {
        return port;
    }

    public void setPort(int port) {
        this.port = port;
    }

    public String getiSCSIName() {
        return iSCSIName;
    }

    public void setiSCSIName(String iSCSIName) {
        this.iSCSIName = iSCSIName;
    }

    public String getiSCSIAlias() {
        return iSCSIAlias;
    }

    public void setiSCSIAlias(String iSCSIAlias) {
        this.iSCSIAlias = iSCSIAlias;
    }

    /** Sets the portal's 16 address bytes (each 0..255) and the address type the adapter reports. */
    public void setIPAddress(short[] address, int type) {
        this.ipAddress = new IPAddr(address);
        this.addressType = type;
    }

    /** The portal's address (never null). */
    public IPAddr getIPAddress() {
        return ipAddress;
    }

    /** The address type the adapter reported with the address. */
    public int getAddressType() {
        return addressType;
    }

    @Override
    public String toString() {
        return iSCSIName + " (" + iSCSIAlias + ") at " + ipAddress + ":" + port;
    }
}
