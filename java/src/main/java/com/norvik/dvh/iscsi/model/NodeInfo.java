package com.norvik.dvh.iscsi.model;

/**
 * iSCSI node identity: of the adapter itself (initiator) or of a target in the device database.
 * Names the adapter stores are limited in length: the iSCSI name to 255 bytes (224 when written
 * into the firmware initialization block), the alias to 31 bytes.
 */
public class NodeInfo {

    private String iSCSIName;
    private String alias;
    private IPAddr ipAddress;
    private int portalCount;

    public NodeInfo() {
    }

    public String getiSCSIName() {
        return iSCSIName;
    }

    public void setiSCSIName(String iSCSIName) {
        this.iSCSIName = iSCSIName;
    }

    public String getAlias() {
        return alias;
    }

    public void setAlias(String alias) {
        this.alias = alias;
    }

    /** The node's portal address, or null when unset. */
    public IPAddr getIPAddress() {
        return ipAddress;
    }

    public void setIPAddress(IPAddr ipAddress) {
        this.ipAddress = ipAddress;
    }

    public int getPortalCount() {
        return portalCount;
    }

    public void setPortalCount(int portalCount) {
        this.portalCount = portalCount;
    }

    @Override
    public String toString() {
        return "NodeInfo{iSCSIName=" + iSCSIName + ", alias=" + alias + ", ipAddress=" + ipAddress
                + ", portalCount=" + portalCount + "}";
    }
}
