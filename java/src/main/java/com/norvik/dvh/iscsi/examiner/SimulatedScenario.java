package com.norvik.dvh.iscsi.examiner;

import java.io.PrintWriter;

/**
 * Whether the adapter library is the simulator and could not load the scenario it was given
 * ({@code IZKSDM_SCENARIO}): it then answers every call with a failure, which must not be taken for
 * a machine without adapters.
 */
final class SimulatedScenario {

    private SimulatedScenario() {}

    /**
     * The simulator's one-line reason, or null when the scenario loaded or the adapter library is
     * not the simulator. Call it after the native library is loaded (a new {@code ApiWrapper}).
     */
    static String loadFailure() {
        try {
            String reason = loadFailure0();
            return reason == null || reason.isEmpty() ? null : reason;
        } catch (UnsatisfiedLinkError notTheSimulator) {
            return null;
        }
    }

    /**
     * Says on {@code err} in one line why the simulator loaded no scenario and returns true, or
     * returns false when there is nothing to say.
     */
    static boolean reportFailure(PrintWriter err) {
        String reason = loadFailure();
        if (reason == null) {
            return false;
        }
        err.println("dvh-examine: scenario could not be loaded: " + reason);
        err.flush();
        return true;
    }

    // Found in the simulator's libizksdm.so, on which the native library depends.
    private static native String loadFailure0();
}
