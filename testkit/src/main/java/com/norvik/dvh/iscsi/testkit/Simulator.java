package com.norvik.dvh.iscsi.testkit;

import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.Predicate;
import org.opentest4j.AssertionFailedError;

/**
 * The simulated adapters of the running test, as a parameter of a test method annotated (or whose
 * class is annotated) with {@link SimulatedAdapters}: faults at run time, events, the simulated
 * clock, the log of the SD calls the library made, and the library's standard output. Everything
 * set here ends with the test.
 */
public final class Simulator {

    /** How many calls a failing assertion shows at most. */
    private static final int EXCERPT = 25;

    Simulator() {}

    /** Makes {@code function} answer {@code status} on every call until {@link #clearFaults()}. */
    public Simulator fault(String function, int status) {
        checkFunction(function);
        SimControl.fault(function, status, false);
        return this;
    }

    /** Makes the next call of {@code function} answer {@code status}. */
    public Simulator faultOnce(String function, int status) {
        checkFunction(function);
        SimControl.fault(function, status, true);
        return this;
    }

    public Simulator clearFaults() {
        SimControl.clearFaults();
        return this;
    }

    /** Queues an event for the adapter with this instance number (up to seven payload words). */
    public Simulator pushEvent(int instance, int code, int... payload) {
        SimControl.pushEvent(instance, code, payload);
        return this;
    }

    /** Moves the simulated clock forward: scripted events fall due, later events are stamped later. */
    public Simulator advanceClock(Duration by) {
        long ms = by.toMillis();
        if (ms < 0 || ms > Integer.MAX_VALUE) {
            throw new IllegalArgumentException("cannot advance the clock by " + by);
        }
        SimControl.advanceClock((int) ms);
        return this;
    }

    /** Replaces the scenario for the rest of the test. */
    public Simulator load(ScenarioBuilder scenario) {
        SimControl.loadScenario(scenario.toJson());
        return this;
    }

    /** The SD calls the library made in this test, oldest first. */
    public List<SimCall> calls() {
        return SimControl.calls();
    }

    /** The calls of one SD function, oldest first. */
    public List<SimCall> calls(String function) {
        return SimControl.calls(function);
    }

    /** Forgets the calls made so far, e.g. after the set-up part of a test. */
    public Simulator clearCalls() {
        SimControl.clearCallLog();
        return this;
    }

    /** The simulator's state as JSON in the scenario format. */
    public String stateJson() {
        return SimControl.stateJson();
    }

    /**
     * Runs {@code action} and returns what the process wrote to its standard output meanwhile (the
     * library's diagnostic lines), byte for byte as ISO-8859-1 text.
     */
    public String stdout(Runnable action) {
        return SimControl.captureStdout(action);
    }

    /** Runs {@code action} and checks that the library printed exactly these lines. */
    public void assertPrints(Runnable action, String... lines) {
        String out = stdout(action);
        String expected = lines.length == 0 ? "" : String.join("\n", lines) + "\n";
        org.junit.jupiter.api.Assertions.assertEquals(expected, out, "the library printed other lines");
    }

    /** The calls of {@code function}, to be checked further (count, records, arguments). */
    public CallAssert assertCalled(String function) {
        checkFunction(function);
        List<SimCall> all = calls();
        List<SimCall> of = new ArrayList<>();
        for (SimCall c : all) {
            if (c.fn().equals(function)) {
                of.add(c);
            }
        }
        CallAssert a = new CallAssert(function, all, of);
        if (of.isEmpty()) {
            a.fail("expected a call of " + function + ", found none");
        }
        return a;
    }

    /** Checks that the library did not call {@code function}. */
    public void assertNotCalled(String function) {
        checkFunction(function);
        List<SimCall> all = calls();
        if (all.stream().anyMatch(c -> c.fn().equals(function))) {
            throw new AssertionFailedError("expected no call of " + function + "\n" + excerpt(all, c -> c.fn().equals(function)));
        }
    }

    /** Checks that the library called no SD function at all. */
    public void assertNothingCalled() {
        List<SimCall> all = calls();
        if (!all.isEmpty()) {
            throw new AssertionFailedError("expected no SD call, found " + all.size() + "\n" + excerpt(all, c -> true));
        }
    }

    /** Checks that these functions were called in this order (other calls may come between). */
    public void assertCallOrder(String... functions) {
        List<SimCall> all = calls();
        int next = 0;
        for (SimCall c : all) {
            if (next < functions.length && c.fn().equals(functions[next])) {
                next++;
            }
        }
        if (next < functions.length) {
            List<String> wanted = Arrays.asList(functions);
            throw new AssertionFailedError("expected the calls " + wanted + " in this order; " + functions[next]
                    + " did not follow\n" + excerpt(all, c -> wanted.contains(c.fn())));
        }
    }

    private static void checkFunction(String function) {
        for (String f : SimControl.sdFunctions()) {
            if (f.equals(function)) {
                return;
            }
        }
        throw new IllegalArgumentException("the simulator has no SD function " + function);
    }

    /** Up to {@link #EXCERPT} calls that {@code relevant} picks, the last ones, one a line. */
    static String excerpt(List<SimCall> calls, Predicate<SimCall> relevant) {
        List<SimCall> picked = new ArrayList<>();
        for (SimCall c : calls) {
            if (relevant.test(c)) {
                picked.add(c);
            }
        }
        if (picked.isEmpty()) {
            picked = calls;
        }
        StringBuilder sb = new StringBuilder("call log (" + calls.size() + " calls");
        int from = Math.max(0, picked.size() - EXCERPT);
        sb.append(from > 0 ? ", the last " + EXCERPT + " relevant):" : "):");
        for (SimCall c : picked.subList(from, picked.size())) {
            // Long records are cut: the line is for finding the call, withRecord shows the bytes.
            sb.append("\n  ").append(c.toString().replaceAll("\"([0-9a-f]{64})[0-9a-f]{8,}\"", "\"$1...\""));
        }
        return sb.toString();
    }
}
