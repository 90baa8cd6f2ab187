package com.norvik.dvh.iscsi.model;

import java.util.Arrays;

/**
 * One entry of an adapter's CHAP secret table: the CHAP name, the secret (up to 100 bytes, each held
 * as a {@code short} 0..255) with its length, the adapter's flags and link values, and, for the
 * sparse form of the table, the entry's flash index.
 *
 * <p>{@link #toString()} shows everything but the secret.
 */
public class CHAPTableEntry {

    /** Number of secret bytes an entry carries. */
    public static final int SECRET_SIZE = 100;

    private int link;
    private int flags;
    private short[] chapSecret = new short[SECRET_SIZE];
    private int chapSecretLength;
    private String chapName = "";
    private int flashIndex;

    public CHAPTableEntry() {
    }

    public int getLink() {
        return link;
    }

    public void setLink(int link) {
        this.link = link;
    }

    public int getFlags() {
        return flags;
    }

    public void setFlags(int flags) {
        this.flags = flags;
    }

    /**
     * Sets the secret bytes and their number. The array is copied (null is taken as no bytes); the
     * length is kept as given.
     */
    public void setChapSecret(short[] secret, int length) {
        this.chapSecret = secret == null ? new short[SECRET_SIZE] : secret.clone();
        this.chapSecretLength = length;
    }

    /** A copy of the secret bytes. */
    public short[] getChapSecret() {
        return chapSecret.clone();
    }

    public int getChapSecretLength() {
        return chapSecretLength;
    }

    public String getChapName() {
        return chapName;
    }

    public void setChapName(String chapName) {
        this.chapName = chapName;
    }

    /** The entry's slot in the adapter's flash (sparse form of the table). */
    public int getFlashIndex() {
        return flashIndex;
    }

    public void setFlashIndex(int flashIndex) {
        this.flashIndex = flashIndex;
    }

    @Override
    public String toString() {
        return "CHAPTableEntry[index " + flashIndex + ", name \"" + chapName + "\", flags " + flags + ", link " + link
                + ", secret of " + chapSecretLength + " bytes]";
    }

    @Override
    public boolean equals(Object o) {
        if (!(o instanceof CHAPTableEntry)) {
            return false;
        }
        CHAPTableEntry e = (CHAPTableEntry) o;
        return link == e.link && flags == e.flags && chapSecretLength == e.chapSecretLength
                && flashIndex == e.flashIndex && Arrays.equals(chapSecret, e.chapSecret)
                && java.util.Objects.equals(chapName, e.chapName);
    }

    @Override
    public int hashCode() {
        return java.util.Objects.hash(link, flags, chapSecretLength, flashIndex, chapName);
    }
}
