package com.norvik.dvh.iscsi.jni;

/** Status values the native library itself returns (any other non-zero value is the adapter library's). */
public final class ApiStatus {
    /** Success. */
    public static final int OK = 0;
    /** Adapter index out of range (also used for some bad arguments). */
    public static final int BAD_INDEX = 0x20000064;
    /** A Java accessor method could not be looked up. */
    public static final int METHOD_NOT_FOUND = 0x1001;
    /** A Java model class could not be found. */
    public static final int CLASS_NOT_FOUND = 0x1002;
    /** A required Java object was null or could not be created. */
    public static final int NULL_OBJECT = 0x1003;

    private ApiStatus() {
    }

    /** Hexadecimal form used in messages, e.g. {@code 0x20000064}. */
    public static String hex(int status) {
        return String.format("0x%08x", status);
    }
}
