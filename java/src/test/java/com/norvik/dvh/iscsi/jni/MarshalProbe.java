package com.norvik.dvh.iscsi.jni;

/**
 * The test-only native library libdvhprobe.so: walks the marshalling engine's accessor tables and
 * one-step up-calls on objects the tests hand in. Records cross as byte arrays in the layout the
 * probe declares (little-endian).
 */
final class MarshalProbe {
    static {
        System.loadLibrary("dvhprobe");
    }

    static final int BIG_INTS = 0;
    static final int INDEXED = 1;
    static final int ADDRESSES_TO_JAVA = 2;
    static final int ADDRESSES_FROM_JAVA = 3;
    static final int ITEMS = 4;
    static final int MISSING_ITEM_CLASS = 5;
    static final int FORMS = 6;

    private MarshalProbe() {
    }

    /** Walks table {@code table} on {@code obj}: record to Java when {@code toJava}, else back. */
    static native int walk(int table, boolean toJava, Object obj, byte[] record);

    /** getCount, setCount(count + 1), getName, mix(count + 1, 1 << 40, true, name) into out[0]. */
    static native int upCalls(Object obj, long[] out);

    /**
     * Walks table {@code table} (record to Java) on each of {@code objs} in one native call, with
     * one set of identifiers following the elements' classes; element i's status into
     * {@code statuses[i]}. -2 when an accessor threw (the walk stops there).
     */
    static native int walkEach(int table, Object[] objs, byte[] record, int[] statuses);

    /** Slots of the lookup cache in use. */
    static native int slotsInUse();
}
