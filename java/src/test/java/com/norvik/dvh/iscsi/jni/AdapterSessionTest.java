package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Opening and closing adapters: the handle table between the Java instance and the library handle. */
class AdapterSessionTest extends NativeTestBase {

    private static final String OPEN = "SDOpenDeviceiSCSI";
    private static final String CLOSE = "SDCloseDeviceiSCSI";

    @Test
    void openDevicePassesTheInstanceAndSucceedsForPresentAdapters() {
        assertTrue(api.openDevice(0));
        assertTrue(api.openDevice(1));
        assertEquals(List.of(0L, 1L), argOfCalls(OPEN, "instance"));
    }

    @Test
    void openDeviceOfAnAbsentInstanceFailsAndPrintsNothing() {
        String out = stdout(() -> assertFalse(api.openDevice(2)));
        assertEquals("", out);
        assertEquals(List.of(2L), argOfCalls(OPEN, "instance"));
    }

    @Test
    void closeDevicePassesTheStoredHandleOnceThenHandleZero() {
        assertTrue(api.openDevice(0));
        assertTrue(api.openDevice(1));
        assertTrue(api.closeDevice(1));
        assertTrue(api.closeDevice(0));
        assertFalse(api.closeDevice(0));
        assertEquals(List.of((long) HANDLE_1, (long) HANDLE_0, 0L), argOfCalls(CLOSE, "handle"));
    }

    @Test
    void closeDeviceOfAnInstanceNeverOpenedPassesHandleZero() {
        assertTrue(api.openDevice(0));
        assertFalse(api.closeDevice(1));
        assertFalse(api.closeDevice(31));
        assertEquals(List.of(0L, 0L), argOfCalls(CLOSE, "handle"));
    }

    @Test
    void initJNINativeForgetsOpenHandles() {
        assertTrue(api.openDevice(0));
        api.initJNINative();
        assertFalse(api.closeDevice(0));
        assertEquals(List.of(0L), argOfCalls(CLOSE, "handle"));
    }

    @Test
    void aFailedOpenKeepsTheEarlierHandle() {
        assertTrue(api.openDevice(1));
        SimControl.fault(OPEN, 0x20000002, true);
        assertFalse(api.openDevice(1));
        assertTrue(api.closeDevice(1));
        assertEquals(List.of((long) HANDLE_1), argOfCalls(CLOSE, "handle"));
    }

    @Test
    void aFailedCloseKeepsTheHandle() {
        assertTrue(api.openDevice(0));
        SimControl.fault(CLOSE, 0x20000001, true);
        assertFalse(api.closeDevice(0));
        assertTrue(api.closeDevice(0));
        assertEquals(List.of((long) HANDLE_0, (long) HANDLE_0), argOfCalls(CLOSE, "handle"));
    }

    @ParameterizedTest
    @ValueSource(ints = {-1, Integer.MIN_VALUE, 32, 1000, Integer.MAX_VALUE})
    void badInstanceNumbersNeverCrash(int dev) {
        assertTrue(api.openDevice(0));
        assertFalse(api.openDevice(dev));
        assertFalse(api.closeDevice(dev));
        // The valid session is untouched by whatever the bad numbers did.
        assertTrue(api.closeDevice(0));
    }
}
