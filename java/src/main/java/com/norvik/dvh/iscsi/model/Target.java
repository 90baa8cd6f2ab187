package com.norvik.dvh.iscsi.model;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/**
 * One disk target of an adapter as the application enumerates them: the discovered portal through
 * which it was reached (address, TCP port, host name, node count), the discovered node (session,
 * connection, portal group, iSCSI node information) and its SCSI address ({@link #getTargetInfo()}),
 * and the LUN numbers its REPORT LUNS answer listed ({@link #getLUNs()}).
 *
 * <p>{@link #getInstance()} says which target to read: while the adapter object knows its disk
 * targets it is a position in the adapter's device database list (whose entry's target id is
 * used), otherwise the target id itself.
 */
public class Target {

    private final TargetInfo targetInfo = new TargetInfo();
    private final NodeInfo nodeInfo = new NodeInfo();
    private final List<Integer> luns = new ArrayList<>();

    private int instance;
    private int nodeCount;
    private String hostName;
    private int tcpPortNumber;
    private IPAddr ipAddress;
    private int sessionID;
    private int connectionID;
    private int portalGroup;

    public Target() {
    }

    /** A target object for instance {@code instance}. */
    public Target(int instance) {
        this.instance = instance;
    }

    public int getInstance() {
        return instance;
    }

    public void setInstance(int instance) {
        this.instance = instance;
    }

    public int getNodeCount() {
        return nodeCount;
    }

    public void setNodeCount(int nodeCount) {
        this.nodeCount = nodeCount;
    }

    public String getHostName() {
        return hostName;
    }

    public void setHostName(String hostName) {
        this.hostName = hostName;
    }

    public int getTCPPortNumber() {
        return tcpPortNumber;
    }

    public void setTCPPortNumber(int tcpPortNumber) {
        this.tcpPortNumber = tcpPortNumber;
    }

    /** The portal's address, or null while unread. */
    public IPAddr getIPAddress() {
        return ipAddress;
    }

    public void setIPAddress(IPAddr ipAddress) {
        this.ipAddress = ipAddress;
    }

    /** The target's SCSI address (never null). */
    public TargetInfo getTargetInfo() {
        return targetInfo;
    }

    public int getSessionID() {
        return sessionID;
    }

    public void setSessionID(int sessionID) {
        this.sessionID = sessionID;
    }

    public int getConnectionID() {
        return connectionID;
    }

    public void setConnectionID(int connectionID) {
        this.connectionID = connectionID;
    }

    public int getPortalGroup() {
        return portalGroup;
    }

    public void setPortalGroup(int portalGroup) {
        this.portalGroup = portalGroup;
    }

    /** The discovered node's iSCSI name, alias, address and portal count (never null). */
    public NodeInfo getNodeInfo() {
        return nodeInfo;
    }

    /** Appends a LUN number the target reported. */
    public void addLUN(int lun) {
        luns.add(lun);
    }

    /** The LUN numbers added, in the order reported (read-only view). */
    public List<Integer> getLUNs() {
        return Collections.unmodifiableList(luns);
    }

    /** Forgets the LUN numbers (before asking the target again). */
    public void clearLUNs() {
        luns.clear();
    }

    @Override
    public String toString() {
        return "Target{instance=" + instance + ", " + targetInfo.address() + ", host=" + hostName + ", port="
                + tcpPortNumber + ", node=" + nodeInfo.getiSCSIName() + ", luns=" + luns + "}";
    }
}
