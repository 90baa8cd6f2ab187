package com.norvik.dvh.iscsi.model;

import java.util.Arrays;

/**
 * A 16-byte network address as the adapter reports it: an IPv4 address occupies bytes 0..3 and
 * leaves the rest zero; an IPv6 address uses all 16 bytes. Bytes are held as {@code short} values
 * 0..255 (the native side passes them that way).
 */
public class IPAddr {

    /** Number of address bytes. */
    public static final int LENGTH = 16;

    private final short[] address = new short[LENGTH];

    public IPAddr() {
    }

    /** Address from byte values; see {@link #setAddress(short[])}. */
    public IPAddr(short[] bytes) {
        setAddress(bytes);
    }

    /**
     * Parses a dotted IPv4 address ("192.168.10.5") or a full or abbreviated IPv6 address
     * ("fe80::1"). No name lookup is made.
     *
     * @throws IllegalArgumentException when the text is not an address
     */
    public static IPAddr of(String text) {
        if (text == null) {
            throw new IllegalArgumentException("address text is null");
        }
        String t = text.trim();
        short[] bytes = t.indexOf(':') >= 0 ? parseV6(t) : parseV4(t);
        if (bytes == null) {
            throw new IllegalArgumentException("not an IP address: \"" + text + "\"");
        }
        return new IPAddr(bytes);
    }

    private static short[] parseV4(String t) {
        String[] parts = t.split("\\.", -1);
        if (parts.length != 4) {
            return null;
        }
        short[] bytes = new short[LENGTH];
        for (int i = 0; i < 4; i++) {
            Integer v = parseNumber(parts[i], 10, 3, 255);
            if (v == null) {
                return null;
            }
            bytes[i] = v.shortValue();
        }
        return bytes;
    }

    private static short[] parseV6(String t) {
        int gap = t.indexOf("::");
        if (gap >= 0 && t.indexOf("::", gap + 1) >= 0) {
            return null;
        }
        String head = gap >= 0 ? t.substring(0, gap) : t;
        String tail = gap >= 0 ? t.substring(gap + 2) : "";
        int[] headGroups = groups(head);
        int[] tailGroups = groups(tail);
        if (headGroups == null || tailGroups == null) {
            return null;
        }
        int total = headGroups.length + tailGroups.length;
        if (gap >= 0 ? total > 7 : total != 8) {
            return null;
        }
        int[] all = new int[8];
        System.arraycopy(headGroups, 0, all, 0, headGroups.length);
        System.arraycopy(tailGroups, 0, all, 8 - tailGroups.length, tailGroups.length);
        short[] bytes = new short[LENGTH];
        for (int i = 0; i < 8; i++) {
            bytes[2 * i] = (short) (all[i] >> 8);
            bytes[2 * i + 1] = (short) (all[i] & 0xff);
        }
        return bytes;
    }

    private static int[] groups(String s) {
        if (s.isEmpty()) {
            return new int[0];
        }
        String[] parts = s.split(":", -1);
        int[] out = new int[parts.length];
        for (int i = 0; i < parts.length; i++) {
            Integer v = parseNumber(parts[i], 16, 4, 0xffff);
            if (v == null) {
                return null;
            }
            out[i] = v;
        }
        return out;
    }

    private static Integer parseNumber(String s, int radix, int maxDigits, int max) {
        if (s.isEmpty() || s.length() > maxDigits) {
            return null;
        }
        for (int i = 0; i < s.length(); i++) {
            if (Character.digit(s.charAt(i), radix) < 0) {
                return null;
            }
        }
        int v = Integer.parseInt(s, radix);
        return v <= max ? v : null;
    }

    /**
     * Sets the address bytes. Each element keeps its low 8 bits; a shorter array leaves the
     * remaining bytes zero, elements beyond the 16th are ignored, and null clears the address.
     */
    public void setAddress(short[] bytes) {
        Arrays.fill(address, (short) 0);
        if (bytes == null) {
            return;
        }
        int n = Math.min(bytes.length, LENGTH);
        for (int i = 0; i < n; i++) {
            address[i] = (short) (bytes[i] & 0xff);
        }
    }

    /** A copy of the 16 address bytes (each 0..255). */
    public short[] getAddress() {
        return address.clone();
    }

    /**
     * Address byte {@code index} (0..15) as a value 0..255.
     *
     * @throws IndexOutOfBoundsException for an index outside 0..15
     */
    public short getAddressElement(short index) {
        if (index < 0 || index >= LENGTH) {
            throw new IndexOutOfBoundsException("address element " + index + " (0.." + (LENGTH - 1) + ")");
        }
        return address[index];
    }

    /** True when bytes 4..15 are all zero, i.e. the address is an IPv4 address. */
    public boolean isIPv4() {
        for (int i = 4; i < LENGTH; i++) {
            if (address[i] != 0) {
                return false;
            }
        }
        return true;
    }

    /** True when all 16 bytes are zero. */
    public boolean isZero() {
        for (short b : address) {
            if (b != 0) {
                return false;
            }
        }
        return true;
    }

    /**
     * Dotted decimal ("192.168.10.5") when bytes 4..15 are zero, otherwise eight colon-separated
     * groups of four hex digits ("fe80:0000:...:0001").
     */
    @Override
    public String toString() {
        StringBuilder sb = new StringBuilder();
        if (isIPv4()) {
            for (int i = 0; i < 4; i++) {
                if (i > 0) {
                    sb.append('.');
                }
                sb.append(address[i]);
            }
        } else {
            for (int i = 0; i < LENGTH; i += 2) {
                if (i > 0) {
                    sb.append(':');
                }
                sb.append(String.format("%02x%02x", address[i], address[i + 1]));
            }
        }
        return sb.toString();
    }

    @Override
    public boolean equals(Object o) {
        return o instanceof IPAddr && Arrays.equals(address, ((IPAddr) o).address);
    }

    @Override
    public int hashCode() {
        return Arrays.hashCode(address);
    }
}
