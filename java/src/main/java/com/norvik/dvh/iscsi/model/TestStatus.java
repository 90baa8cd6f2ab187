package com.norvik.dvh.iscsi.model;

/**
 * Lets a long diagnostic test be stopped from another thread. The native library asks
 * {@link #getTestStatus()} before every iteration of a test and goes on only while it answers
 * true; {@link #requestStop()} makes it answer false from then on.
 *
 * <p>Subclasses may watch the test's progress by overriding {@link #iterationStarting(int)}, which
 * is told how many iterations have been asked for so far.
 */
public class TestStatus {

    private volatile boolean stopRequested;
    private volatile int asked;

    /** Asked by the native library before every iteration: true means go on. */
    public boolean getTestStatus() {
        int n;
        synchronized (this) {
            n = ++asked;
        }
        if (stopRequested) {
            return false;
        }
        iterationStarting(n);
        return !stopRequested;
    }

    /** From now on the running test stops before its next iteration. */
    public void requestStop() {
        stopRequested = true;
    }

    public boolean isStopRequested() {
        return stopRequested;
    }

    /** How often the test asked whether to go on. */
    public int getTimesAsked() {
        return asked;
    }

    /**
     * Called by {@link #getTestStatus()} when the test is about to run an iteration (and no stop
     * was requested yet); {@code count} is 1 for the first question. Does nothing here.
     */
    protected void iterationStarting(int count) {
    }
}
