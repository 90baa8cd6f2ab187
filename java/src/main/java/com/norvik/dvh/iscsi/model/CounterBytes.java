package com.norvik.dvh.iscsi.model;

import java.math.BigInteger;

/**
 * The form in which the native library hands over an adapter's 64-bit counters: a 9-byte array
 * whose element 0 is 0 and whose elements 1 to 8 are the counter's bytes as the adapter's record
 * holds them, least significant first. The value is unsigned: all eight bytes 0xff are
 * 2^64 - 1, never -1.
 */
public final class CounterBytes {

    private CounterBytes() {
    }

    /**
     * The counter in {@code bytes} as a non-negative number. A shorter array gives the bytes it
     * has (0 for the rest); null gives 0; bytes after the ninth are ignored.
     */
    public static BigInteger toBigInteger(byte[] bytes) {
        if (bytes == null) {
            return BigInteger.ZERO;
        }
        byte[] bigEndian = new byte[8];
        for (int i = 1; i < bytes.length && i <= 8; i++) {
            bigEndian[8 - i] = bytes[i];
        }
        return new BigInteger(1, bigEndian);
    }
}
