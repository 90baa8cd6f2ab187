package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import com.norvik.dvh.iscsi.jni.MarshalEngineTest.Forms;
import com.norvik.dvh.iscsi.jni.MarshalEngineTest.NoThree;
import com.norvik.dvh.iscsi.jni.MarshalEngineTest.OtherForms;
import com.norvik.dvh.iscsi.sim.SimControl;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;

/**
 * One native call that walks a table on many objects keeps each class's identifiers for the call
 * (as the list methods do for the parts their getters hand back): objects of another class, even
 * with the same accessor names, get their own; a class lacking an accessor fails the same way on
 * every object; an accessor that throws ends the call at once.
 */
class ClassIdsTest {

    private static final List<String> FORMS_CALLS = List.of("one 1", "two 2", "three 3", "four 4", "five 6");
    private static final List<String> OTHER_CALLS =
            List.of("other one 1", "other two 2", "other three 3", "other four 4", "other five 6");

    private static byte[] formsRecord() {
        ByteBuffer b = ByteBuffer.allocate(24).order(ByteOrder.LITTLE_ENDIAN);
        for (int i = 1; i <= 6; i++) {
            b.putInt(i);
        }
        return b.array();
    }

    private static int[] walkEach(Object... objs) {
        int[] statuses = new int[objs.length];
        assertEquals(0, MarshalProbe.walkEach(MarshalProbe.FORMS, objs, formsRecord(), statuses));
        return statuses;
    }

    @Test
    void classesAlternatingWithinOneCallEachGetTheirOwnIdentifiers() {
        Forms a1 = new Forms();
        Forms a2 = new Forms();
        Forms a3 = new Forms();
        OtherForms b1 = new OtherForms();
        OtherForms b2 = new OtherForms();
        assertArrayEquals(new int[5], walkEach(a1, b1, a2, b2, a3));
        for (Forms a : List.of(a1, a2, a3)) {
            assertEquals(FORMS_CALLS, a.calls);
        }
        for (OtherForms b : List.of(b1, b2)) {
            assertEquals(OTHER_CALLS, b.calls);
        }
    }

    @Test
    void aClassLackingAnAccessorFailsOnEveryObjectAfterTheSettersBeforeIt() {
        Forms a1 = new Forms();
        Forms a2 = new Forms();
        NoThree x = new NoThree();
        NoThree y = new NoThree();
        NoThree z = new NoThree();
        int[][] statuses = new int[1][];
        String out = SimControl.captureStdout(() -> statuses[0] = walkEach(a1, x, a2, y, z));
        assertArrayEquals(new int[] {0, 4097, 0, 4097, 4097}, statuses[0]);
        assertEquals("GetMethodID - setThree call failed!\n".repeat(3), out);
        for (NoThree n : List.of(x, y, z)) {
            assertEquals(List.of("two"), n.calls);
        }
        assertEquals(FORMS_CALLS, a1.calls);
        assertEquals(FORMS_CALLS, a2.calls);
    }

    /** Like Forms, but setTwo throws. */
    public static class Throwing {
        final List<String> calls = new ArrayList<>();

        public void setOne(int v) {
            calls.add("one " + v);
        }

        public void setTwo(int v) {
            throw new IllegalStateException("setTwo " + v);
        }

        public void setThree(int v) {
            calls.add("three " + v);
        }

        public void setFour(int v) {
            calls.add("four " + v);
        }

        public void setLooked(int v) {
        }

        public void setFive(int v) {
            calls.add("five " + v);
        }
    }

    @Test
    void anAccessorThatThrowsEndsTheCallAtOnce() {
        Forms before = new Forms();
        Throwing thrower = new Throwing();
        Forms after = new Forms();
        int[] statuses = {-1, -1, -1};
        IllegalStateException e = assertThrows(IllegalStateException.class,
                () -> MarshalProbe.walkEach(MarshalProbe.FORMS, new Object[] {before, thrower, after}, formsRecord(),
                        statuses));
        assertEquals("setTwo 2", e.getMessage());
        assertEquals(FORMS_CALLS, before.calls);
        assertEquals(List.of("one 1"), thrower.calls);
        assertEquals(List.of(), after.calls);
        assertArrayEquals(new int[] {0, -1, -1}, statuses);
    }
}
