package com.norvik.dvh.iscsi.model;

/**
 * Outcome of an adapter loopback test: the test status (one of the codes of
 * {@link DiagnosticStatus}; the native library delivers {@link DiagnosticStatus#COMPLETED}) and how
 * many runs succeeded and failed.
 */
public class LoopbackTestResult {

    private int loopbackTestStatus;
    private int loopbackSuccessCount;
    private int loopbackFailCount;

    public int getLoopbackTestStatus() {
        return loopbackTestStatus;
    }

    public void setLoopbackTestStatus(int loopbackTestStatus) {
        this.loopbackTestStatus = loopbackTestStatus;
    }

    public int getLoopbackSuccessCount() {
        return loopbackSuccessCount;
    }

    public void setLoopbackSuccessCount(int loopbackSuccessCount) {
        this.loopbackSuccessCount = loopbackSuccessCount;
    }

    public int getLoopbackFailCount() {
        return loopbackFailCount;
    }

    public void setLoopbackFailCount(int loopbackFailCount) {
        this.loopbackFailCount = loopbackFailCount;
    }
}
