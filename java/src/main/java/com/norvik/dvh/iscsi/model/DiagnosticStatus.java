package com.norvik.dvh.iscsi.model;

/**
 * Status codes of the diagnostic tests: the status of a loopback or buffer test result, and the
 * results of the native test methods.
 */
public final class DiagnosticStatus {

    /** The target is not in the state the test needs; it was not tested. */
    public static final int TARGET_NOT_READY = 3;
    /** The test ran on this target without a command failure. */
    public static final int TESTED = 100;
    /** The adapter's statistics could not be read; the test ended. */
    public static final int STATISTICS_FAILED = 101;
    public static final int WRITE_BUFFER_FAILED = 201;
    public static final int READ_BUFFER_FAILED = 202;
    /** Data read back differed from the pattern (a method result only). */
    public static final int DATA_MISCOMPARE = 203;
    /** The target does not support the buffer commands. */
    public static final int NOT_SUPPORTED = 204;
    /** Test completed, or not started; also a target whose test was not requested. */
    public static final int COMPLETED = 205;
    public static final int LOOPBACK_FAILED = 206;

    private DiagnosticStatus() {
    }

    /** The code in words. */
    public static String text(int code) {
        switch (code) {
            case 0:
                return "passed";
            case TARGET_NOT_READY:
                return "target not ready";
            case TESTED:
                return "tested";
            case STATISTICS_FAILED:
                return "statistics unreadable";
            case WRITE_BUFFER_FAILED:
                return "WRITE BUFFER failed";
            case READ_BUFFER_FAILED:
                return "READ BUFFER failed";
            case DATA_MISCOMPARE:
                return "data miscompare";
            case NOT_SUPPORTED:
                return "not supported";
            case COMPLETED:
                return "completed";
            case LOOPBACK_FAILED:
                return "loopback failed";
            default:
                return "status " + code;
        }
    }
}
