package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;

import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.ProbeItem;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Nested;
import org.junit.jupiter.api.Test;

/**
 * The marshalling engine driven directly through the probe library: the conversions (9-byte
 * counters, addresses, objects built by name), the missing-accessor message forms, the one-step
 * up-calls, and per-class method identifiers.
 */
class MarshalEngineTest {

    private static final int LOOKUP_FAILED = 4097;

    private static ByteBuffer record(int size) {
        return ByteBuffer.allocate(size).order(ByteOrder.LITTLE_ENDIAN);
    }

    private static String stdout(Runnable action) {
        return SimControl.captureStdout(action);
    }

    private static byte[] bytes(int... values) {
        byte[] b = new byte[values.length];
        for (int i = 0; i < values.length; i++) {
            b[i] = (byte) values[i];
        }
        return b;
    }

    // --- 64-bit counters -------------------------------------------------------------------

    public static class Counters {
        final List<String> calls = new ArrayList<>();
        byte[] a;
        byte[] b;
        byte[] c;
        byte[] d;

        public void setA(byte[] v) {
            calls.add("setA");
            a = v;
        }

        public void setB(byte[] v) {
            calls.add("setB");
            b = v;
        }

        public void setC(byte[] v) {
            calls.add("setC");
            c = v;
        }

        public void setD(byte[] v) {
            calls.add("setD");
            d = v;
        }
    }

    /** Counters without setC. */
    public static class CountersNoC {
        final List<String> calls = new ArrayList<>();

        public void setA(byte[] v) {
            calls.add("setA");
        }

        public void setB(byte[] v) {
            calls.add("setB");
        }

        public void setD(byte[] v) {
            calls.add("setD");
        }
    }

    private static byte[] counterRecord() {
        return record(24).putLong(1).putLong(1).putInt(0x01020304).putInt(0x01020304).array();
    }

    @Test
    void countersCrossAsNineBytesAsTheyLieOrReversed() {
        Counters c = new Counters();
        assertEquals(0, MarshalProbe.walk(MarshalProbe.BIG_INTS, true, c, counterRecord()));
        assertArrayEquals(bytes(0, 1, 0, 0, 0, 0, 0, 0, 0), c.a);
        assertArrayEquals(bytes(0, 0, 0, 0, 0, 0, 0, 0, 1), c.b);
        assertArrayEquals(bytes(0, 4, 3, 2, 1, 0, 0, 0, 0), c.c);
        assertArrayEquals(bytes(0, 0, 0, 0, 0, 1, 2, 3, 4), c.d);
        assertEquals(BigInteger.valueOf(0x01020304), new BigInteger(c.d));
    }

    @Test
    void aCounterWithTheTopBitSetStaysPositive() {
        Counters c = new Counters();
        byte[] r = record(24).putLong(0).putLong(-1L).putInt(0).putInt(0).array();
        MarshalProbe.walk(MarshalProbe.BIG_INTS, true, c, r);
        assertEquals(BigInteger.ONE.shiftLeft(64).subtract(BigInteger.ONE), new BigInteger(c.b));
    }

    @Test
    void aMissingCounterSetterStopsWithTheDashMessage() {
        CountersNoC c = new CountersNoC();
        int[] status = new int[1];
        String out = stdout(() -> status[0] = MarshalProbe.walk(MarshalProbe.BIG_INTS, true, c, counterRecord()));
        assertEquals("GetMethodID - setC call failed!\n", out);
        assertEquals(LOOKUP_FAILED, status[0]);
        assertEquals(List.of("setA", "setB"), c.calls);
    }

    public static class Indexed {
        final List<String> calls = new ArrayList<>();

        public void setStat(byte[] v, int index) {
            calls.add("stat " + index + " " + new BigInteger(reverse(v)));
        }

        public void setRev(byte[] v, int index) {
            calls.add("rev " + index + " " + new BigInteger(v));
        }

        private static byte[] reverse(byte[] v) {
            byte[] r = new byte[v.length];
            // Element 0 stays the sign byte; elements 1..8 are little-endian.
            for (int i = 1; i < v.length; i++) {
                r[v.length - i] = v[i];
            }
            return r;
        }
    }

    @Test
    void indexedCountersCallTheSetterOncePerCounterWithItsIndex() {
        Indexed x = new Indexed();
        byte[] r = record(40).putLong(5).putLong(6).putLong(1L << 40).putLong(7).putLong(8).array();
        assertEquals(0, MarshalProbe.walk(MarshalProbe.INDEXED, true, x, r));
        assertEquals(List.of("stat 0 5", "stat 1 6", "stat 2 " + (1L << 40), "rev 0 7", "rev 1 8"), x.calls);
    }

    // --- Addresses -------------------------------------------------------------------------

    public static class Holder {
        final List<String> calls = new ArrayList<>();
        IPAddr gateway;
        IPAddr slp;
        short[] shorts;
        int type;

        public void setGateway(IPAddr a) {
            calls.add("setGateway");
            gateway = a;
        }

        public void setSlpDa(IPAddr a) {
            calls.add("setSlpDa");
            slp = a;
        }

        public void setAddressAndType(short[] a, int t) {
            calls.add("setAddressAndType");
            shorts = a;
            type = t;
        }

        public void setDone(int v) {
            calls.add("setDone");
        }

        public IPAddr getGateway() {
            return gateway;
        }

        public IPAddr getSlpDa() {
            return slp;
        }
    }

    /** Without setGateway and getGateway. */
    public static class HolderNoGateway {
        final List<String> calls = new ArrayList<>();

        public void setSlpDa(IPAddr a) {
            calls.add("setSlpDa");
        }

        public void setAddressAndType(short[] a, int t) {
            calls.add("setAddressAndType");
        }

        public void setDone(int v) {
            calls.add("setDone");
        }
    }

    /** Without setSlpDa. */
    public static class HolderNoSlp {
        final List<String> calls = new ArrayList<>();

        public void setGateway(IPAddr a) {
            calls.add("setGateway");
        }

        public void setAddressAndType(short[] a, int t) {
            calls.add("setAddressAndType");
        }

        public void setDone(int v) {
            calls.add("setDone");
        }
    }

    private static byte[] addressRecord() {
        ByteBuffer b = record(60);
        for (int i = 0; i < 16; i++) {
            b.put((byte) (200 + i));
        }
        b.putShort((short) 7).putShort((short) 0);
        for (int i = 0; i < 16; i++) {
            b.put((byte) (10 + i));
        }
        b.putShort((short) 8).putShort((short) 0);
        for (int i = 0; i < 16; i++) {
            b.put((byte) (i + 1));
        }
        b.putShort((short) 0x1234).putShort((short) 0);
        return b.array();
    }

    @Test
    void addressesGoToTheirHoldersAsIPAddrObjects() {
        Holder h = new Holder();
        assertEquals(0, MarshalProbe.walk(MarshalProbe.ADDRESSES_TO_JAVA, true, h, addressRecord()));
        assertEquals(List.of("setGateway", "setSlpDa", "setAddressAndType", "setDone"), h.calls);
        for (int i = 0; i < 16; i++) {
            assertEquals(200 + i, h.gateway.getAddressElement((short) i));
            // Only the first four bytes of the short form are taken.
            assertEquals(i < 4 ? 10 + i : 0, h.slp.getAddressElement((short) i));
            assertEquals(i + 1, h.shorts[i]);
        }
        assertEquals(0x1234, h.type);
    }

    @Test
    void aMissingAddressSetterPrintsTheAddressTextAndTheWalkGoesOn() {
        HolderNoGateway h = new HolderNoGateway();
        int[] status = new int[1];
        String out = stdout(() -> status[0] = MarshalProbe.walk(MarshalProbe.ADDRESSES_TO_JAVA, true, h,
                addressRecord()));
        assertEquals("GetMethodID setIPAddress - Obj call failed!\n", out);
        assertEquals(0, status[0]);
        assertEquals(List.of("setSlpDa", "setAddressAndType", "setDone"), h.calls);

        HolderNoSlp s = new HolderNoSlp();
        out = stdout(() -> MarshalProbe.walk(MarshalProbe.ADDRESSES_TO_JAVA, true, s, addressRecord()));
        assertEquals("GetMethodID setSlpDa - Obj call failed!\n", out);
        assertEquals(List.of("setGateway", "setAddressAndType", "setDone"), s.calls);
    }

    @Test
    void addressesComeBackThroughTheirGettersWithoutTouchingTheType() {
        Holder h = new Holder();
        short[] g = new short[16];
        short[] s = new short[16];
        for (int i = 0; i < 16; i++) {
            g[i] = (short) (300 + i);
            s[i] = (short) (255 - i);
        }
        h.gateway = new IPAddr(new short[16]);
        h.gateway.setAddress(g);
        h.slp = new IPAddr(s);
        byte[] r = record(60).array();
        r[16] = 9;
        assertEquals(0, MarshalProbe.walk(MarshalProbe.ADDRESSES_FROM_JAVA, false, h, r));
        for (int i = 0; i < 16; i++) {
            assertEquals((byte) (300 + i), r[i]);
            assertEquals((byte) (255 - i), r[20 + i]);
        }
        assertEquals(9, r[16]);
    }

    @Test
    void aNullAddressOrAMissingGetterStopsTheWalk() {
        Holder h = new Holder();
        int[] status = new int[1];
        String out = stdout(() -> status[0] = MarshalProbe.walk(MarshalProbe.ADDRESSES_FROM_JAVA, false, h,
                new byte[60]));
        assertEquals("NULL javaIPObject!\n", out);
        assertEquals(4099, status[0]);

        out = stdout(() -> status[0] = MarshalProbe.walk(MarshalProbe.ADDRESSES_FROM_JAVA, false,
                new HolderNoGateway(), new byte[60]));
        assertEquals("GetMethodID  getGateway call failed!\n", out);
        assertEquals(LOOKUP_FAILED, status[0]);
    }

    // --- Objects built by name -------------------------------------------------------------

    public static class ItemHolder {
        final List<ProbeItem> items = new ArrayList<>();

        public void addItem(ProbeItem item) {
            items.add(item);
        }
    }

    private static byte[] itemRecord() {
        ByteBuffer b = record(40);
        b.putInt(17).put("first".getBytes()).position(20);
        b.putInt(18).put("second-name-full".getBytes());
        return b.array();
    }

    @Test
    void newObjectsAreBuiltByNameFilledAndHandedToTheAdder() {
        ItemHolder h = new ItemHolder();
        assertEquals(0, MarshalProbe.walk(MarshalProbe.ITEMS, true, h, itemRecord()));
        assertEquals(2, h.items.size());
        assertEquals(17, h.items.get(0).getId());
        assertEquals("first", h.items.get(0).getName());
        assertEquals(18, h.items.get(1).getId());
        // A field that fills its width has no terminator: it is cut at the width.
        assertEquals("second-name-full", h.items.get(1).getName());
    }

    @Test
    void aMissingClassOrAdderEndsTheWalkWithItsStatus() {
        int[] status = new int[1];
        String out = stdout(() -> status[0] = MarshalProbe.walk(MarshalProbe.MISSING_ITEM_CLASS, true,
                new ItemHolder(), itemRecord()));
        assertEquals("Find Item class call failed!\n", out);
        assertEquals(4098, status[0]);

        out = stdout(() -> status[0] = MarshalProbe.walk(MarshalProbe.ITEMS, true, new Object(), itemRecord()));
        assertEquals("GetMethodID addItem - Obj call failed!\n", out);
        assertEquals(LOOKUP_FAILED, status[0]);
    }

    // --- Message forms and per-class identifiers -------------------------------------------

    /** All six accessors of the forms table. */
    public static class Forms {
        final List<String> calls = new ArrayList<>();

        public void setOne(int v) {
            calls.add("one " + v);
        }

        public void setTwo(int v) {
            calls.add("two " + v);
        }

        public void setThree(int v) {
            calls.add("three " + v);
        }

        public void setFour(int v) {
            calls.add("four " + v);
        }

        public void setLooked(int v) {
            calls.add("looked " + v);
        }

        public void setFive(int v) {
            calls.add("five " + v);
        }
    }

    /** The same accessor names on an unrelated class with other methods declared first. */
    public static class OtherForms {
        final List<String> calls = new ArrayList<>();

        public void unrelated(int v) {
            calls.add("unrelated " + v);
        }

        public void setFive(int v) {
            calls.add("other five " + v);
        }

        public void setLooked(int v) {
            calls.add("other looked " + v);
        }

        public void setFour(int v) {
            calls.add("other four " + v);
        }

        public void setThree(int v) {
            calls.add("other three " + v);
        }

        public void setTwo(int v) {
            calls.add("other two " + v);
        }

        public void setOne(int v) {
            calls.add("other one " + v);
        }
    }

    private static byte[] formsRecord() {
        return record(24).putInt(1).putInt(2).putInt(3).putInt(4).putInt(5).putInt(6).array();
    }

    @Test
    void twoClassesWithTheSameAccessorNamesEachGetTheirOwnIdentifiers() {
        Forms a = new Forms();
        OtherForms b = new OtherForms();
        for (int i = 0; i < 3; i++) {
            assertEquals(0, MarshalProbe.walk(MarshalProbe.FORMS, true, a, formsRecord()));
            assertEquals(0, MarshalProbe.walk(MarshalProbe.FORMS, true, b, formsRecord()));
        }
        List<String> one = List.of("one 1", "two 2", "three 3", "four 4", "five 6");
        List<String> other = List.of("other one 1", "other two 2", "other three 3", "other four 4", "other five 6");
        List<String> expectedA = new ArrayList<>();
        List<String> expectedB = new ArrayList<>();
        for (int i = 0; i < 3; i++) {
            expectedA.addAll(one);
            expectedB.addAll(other);
        }
        // setLooked is looked up but never called.
        assertEquals(expectedA, a.calls);
        assertEquals(expectedB, b.calls);
    }

    public static class NoOne {
    }

    public static class NoTwo {
        public void setOne(int v) {
        }
    }

    public static class NoThree extends NoTwo {
        final List<String> calls = new ArrayList<>();

        public void setTwo(int v) {
            calls.add("two");
        }
    }

    public static class NoFour extends NoThree {
        public void setThree(int v) {
        }
    }

    public static class NoLooked extends NoFour {
        public void setFour(int v) {
        }
    }

    public static class NoFive extends NoLooked {
        public void setLooked(int v) {
            calls.add("looked");
        }
    }

    private static String missingText(Object obj, int expectedStatus) {
        int[] status = new int[1];
        String out = stdout(() -> status[0] = MarshalProbe.walk(MarshalProbe.FORMS, true, obj, formsRecord()));
        assertEquals(expectedStatus, status[0]);
        return out;
    }

    @Test
    void missingAccessorTextsFollowFromTheNameAndTheForm() {
        assertEquals("GetMethodID setOne call failed!\n", missingText(new NoOne(), LOOKUP_FAILED));
        assertEquals("GetMethodID setTwo - Obj call failed!\n", missingText(new NoTwo(), LOOKUP_FAILED));
        assertEquals("GetMethodID - setThree call failed!\n", missingText(new NoThree(), LOOKUP_FAILED));
        assertEquals("GetMethodID  setFour call failed!\n", missingText(new NoFour(), LOOKUP_FAILED));
        assertEquals("GetMethodID setLooked call failed!\n", missingText(new NoLooked(), LOOKUP_FAILED));
        assertEquals("GetMethodID call failed! Line 5\n", missingText(new NoFive(), 4099));
    }

    @Test
    void aMissingAccessorIsReportedOnEveryCallAfterTheSettersBeforeIt() {
        NoThree x = new NoThree();
        for (int i = 0; i < 3; i++) {
            assertEquals("GetMethodID - setThree call failed!\n", missingText(x, LOOKUP_FAILED));
        }
        assertEquals(List.of("two", "two", "two"), x.calls);
    }

    // --- One-step up-calls -----------------------------------------------------------------

    public static class Calls {
        int count = 41;
        String name = "n";
        String mixed;

        public int getCount() {
            return count;
        }

        public void setCount(int c) {
            count = c;
        }

        public String getName() {
            return name;
        }

        public long mix(int a, long b, boolean c, String d) {
            mixed = a + " " + b + " " + c + " " + d;
            return b + a;
        }
    }

    public static class CallsWithoutName {
        public int getCount() {
            return 1;
        }

        public void setCount(int c) {
        }
    }

    public static class CallsThatThrow extends Calls {
        @Override
        public void setCount(int c) {
            throw new IllegalStateException("refused");
        }
    }

    @Test
    void upCallsLookUpCallAndCheckInOneStep() {
        Calls c = new Calls();
        long[] out = new long[1];
        assertEquals(0, MarshalProbe.upCalls(c, out));
        assertEquals(42, c.count);
        assertEquals("42 1099511627776 true n", c.mixed);
        assertEquals((1L << 40) + 42, out[0]);

        int[] status = new int[1];
        String text = stdout(() -> status[0] = MarshalProbe.upCalls(new Object(), out));
        assertEquals("GetMethodID  getCount call failed!\n", text);
        assertEquals(LOOKUP_FAILED, status[0]);
        text = stdout(() -> status[0] = MarshalProbe.upCalls(new CallsWithoutName(), out));
        assertEquals("GetMethodID getName call failed!\n", text);
        assertEquals(4099, status[0]);
    }

    @Test
    void anExceptionOfAnUpCallReachesTheCaller() {
        CallsThatThrow c = new CallsThatThrow();
        IllegalStateException e = assertThrows(IllegalStateException.class,
                () -> MarshalProbe.upCalls(c, new long[1]));
        assertEquals("refused", e.getMessage());
        assertNull(c.mixed);
    }

    @Nested
    class Cache {
        @Test
        void slotsAreBounded() {
            for (int i = 0; i < 100; i++) {
                MarshalProbe.walk(MarshalProbe.FORMS, true, new Forms(), formsRecord());
            }
            int used = MarshalProbe.slotsInUse();
            assertEquals(used, MarshalProbe.slotsInUse());
            for (int i = 0; i < 100; i++) {
                MarshalProbe.walk(MarshalProbe.FORMS, true, new Forms(), formsRecord());
            }
            assertEquals(used, MarshalProbe.slotsInUse());
        }
    }
}
