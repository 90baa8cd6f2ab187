package com.norvik.dvh.iscsi.jni;

import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.List;
import java.util.stream.Collectors;

import org.junit.jupiter.api.BeforeEach;

/**
 * Base of the tests that run the real native library against the simulator. Before each test the
 * simulator returns to its default scenario (adapters at instances 0 and 1 with handles 10 and
 * 11, no instance 2; faults and call log cleared) and the library's handle table is cleared.
 */
public abstract class NativeTestBase {

    /** Default scenario: instance 0 has handle 10, instance 1 handle 11, instance 2 is absent. */
    protected static final int HANDLE_0 = 10;
    protected static final int HANDLE_1 = 11;

    protected static final ApiWrapper api = new ApiWrapper();

    @BeforeEach
    protected void resetSimulatorAndHandleTable() {
        SimControl.reset();
        api.initJNINative();
    }

    /** What the native side wrote to standard output while {@code action} ran. */
    protected static String stdout(Runnable action) {
        return SimControl.captureStdout(action);
    }

    protected static List<SimCall> calls(String function) {
        return SimControl.calls(function);
    }

    /** The values of scalar argument {@code arg} of every logged call of {@code function}, in order. */
    protected static List<Long> argOfCalls(String function, String arg) {
        return calls(function).stream().map(c -> c.arg(arg)).collect(Collectors.toList());
    }
}
