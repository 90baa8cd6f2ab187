package com.norvik.dvh.iscsi.model;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/**
 * The two logs an adapter keeps, as the native library hands them over: the connection error log
 * ({@value #CONNECT_ERROR_LONGS} longs per entry) and the ARP table ({@value #ARP_LONGS} longs per
 * entry), each a flat {@code long[]}. {@link #getConnectionErrors()} and {@link #getArpEntries()}
 * give the entries as objects.
 */
public class AdapterLogs {

    /** Longs per connection error entry. */
    public static final int CONNECT_ERROR_LONGS = 11;
    /** Longs per ARP entry. */
    public static final int ARP_LONGS = 26;

    private long[] connectErrorLogEntries = new long[0];
    private long[] arpLogEntries = new long[0];

    public AdapterLogs() {
    }

    /** The connection error log as the native library passed it (never null). */
    public long[] getConnectErrorLogEntries() {
        return connectErrorLogEntries.clone();
    }

    /** Null is taken as an empty log. */
    public void setConnectErrorLogEntries(long[] entries) {
        this.connectErrorLogEntries = entries == null ? new long[0] : entries.clone();
    }

    /** The ARP log as the native library passed it (never null). */
    public long[] getARPLogEntries() {
        return arpLogEntries.clone();
    }

    /** Null is taken as an empty log. */
    public void setARPLogEntries(long[] entries) {
        this.arpLogEntries = entries == null ? new long[0] : entries.clone();
    }

    /** One connection error: when, on which device database entry, and why. */
    public static final class ConnectionError {
        public final long seconds;
        public final long milliseconds;
        public final int deviceIndex;
        public final int connState;
        public final int entryType;
        public final int errorType;
        public final int errorDetail;
        public final int duplicateCount;

        ConnectionError(long[] l, int at) {
            seconds = l[at];
            milliseconds = l[at + 1];
            deviceIndex = (int) l[at + 2];
            connState = (int) l[at + 3];
            entryType = (int) l[at + 4];
            errorType = (int) l[at + 5];
            errorDetail = (int) l[at + 6];
            duplicateCount = (int) l[at + 7];
        }
    }

    /** One ARP entry: an address and the MAC address it resolved to. */
    public static final class ArpEntry {
        public final IPAddr ipAddress;
        public final int addressType;
        public final short[] macAddress;
        public final boolean valid;
        public final int timeIn;

        ArpEntry(long[] l, int at) {
            short[] ip = new short[IPAddr.LENGTH];
            for (int i = 0; i < ip.length; i++) {
                ip[i] = (short) l[at + i];
            }
            ipAddress = new IPAddr(ip);
            addressType = (int) l[at + 16];
            macAddress = new short[6];
            for (int i = 0; i < 6; i++) {
                macAddress[i] = (short) l[at + 18 + i];
            }
            valid = l[at + 24] != 0;
            timeIn = (int) l[at + 25];
        }

        /** The MAC address as "02:4e:56:00:00:01". */
        public String macAddressString() {
            StringBuilder sb = new StringBuilder();
            for (int i = 0; i < macAddress.length; i++) {
                sb.append(i > 0 ? ":" : "").append(String.format("%02x", macAddress[i] & 0xff));
            }
            return sb.toString();
        }
    }

    /** The connection error entries (a partial entry at the end is left out). */
    public List<ConnectionError> getConnectionErrors() {
        List<ConnectionError> out = new ArrayList<>();
        for (int at = 0; at + CONNECT_ERROR_LONGS <= connectErrorLogEntries.length; at += CONNECT_ERROR_LONGS) {
            out.add(new ConnectionError(connectErrorLogEntries, at));
        }
        return Collections.unmodifiableList(out);
    }

    /** The ARP entries (a partial entry at the end is left out). */
    public List<ArpEntry> getArpEntries() {
        List<ArpEntry> out = new ArrayList<>();
        for (int at = 0; at + ARP_LONGS <= arpLogEntries.length; at += ARP_LONGS) {
            out.add(new ArpEntry(arpLogEntries, at));
        }
        return Collections.unmodifiableList(out);
    }

    @Override
    public String toString() {
        return "AdapterLogs[connection errors " + Arrays.toString(connectErrorLogEntries) + ", ARP "
                + Arrays.toString(arpLogEntries) + "]";
    }
}
