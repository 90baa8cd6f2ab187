package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.catalog.NativeMethods.Failure;
import com.norvik.dvh.iscsi.catalog.NativeMethods;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Objects;
import java.util.Set;
import java.util.regex.Pattern;
import java.util.stream.Stream;

import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.TestFactory;

/**
 * Fault sweep: for every native method of the catalog, every SD function it calls (taken from the
 * simulator's call log of a clean call) is made to fail with each class of status the adapter
 * library answers, one function at a time. The method must answer its documented result for that
 * failure, print its documented line, and neither throw nor leave an exception pending; run in the
 * sanitizer build, a memory error or a JNI warning fails the run. A function the catalog does not
 * name fails the sweep: what the method does when it fails is to be written down.
 */
class FaultSweepTest extends NativeTestBase {

    /**
     * The classes of library status: a plain failure, a command ended with sense data, a buffer too
     * small, the tolerated REPORT LUNS status, a partial table, a request the OS does not support,
     * out of memory, boot code to be erased, and a value the library never documents.
     */
    static final int[] STATUSES = {0x20000003, 0x20000040, 0x20000072, 0x20000077, 0x2000007E, 0x2000001C,
        0x2000001F, 0x2000008F, 0x80000101};

    static String hex(int v) {
        return "0x" + Integer.toHexString(v);
    }

    static String show(Object o) {
        return o instanceof Integer i ? hex(i) : String.valueOf(o);
    }

    /** Null when {@code result} is what {@code f} says, else what was expected. */
    private static String check(Failure f, int status, Object result, Object clean) {
        Object expected = switch (f.answer()) {
            case STATUS -> status;
            case FALSE -> Boolean.FALSE;
            case NULL -> null;
            case UNCHANGED -> clean;
            case FIXED -> f.value();
        };
        return Objects.equals(expected, result) ? null : show(expected);
    }

    /** A call prepared on adapter 0: what it needs is read before the fault is set. */
    interface Prepared {
        Object call();
    }

    /** Outcome of one call. */
    record Outcome(Object result, String out, Set<String> functions) {
    }

    /** Fresh simulator, adapters 0 and 1 open, adapter 0's targets in the registry. */
    private static Prepared prepare(NativeMethods.Method method) {
        SimControl.reset();
        api.initJNINative();
        assertTrue(api.openDevice(0));
        assertTrue(api.openDevice(1));
        Prepared[] p = new Prepared[1];
        stdout(() -> {
            api.getiSCSIHBAData(0, new HBA());
            Object[] args = method.args(api, 0);
            p[0] = () -> method.invoke(api, args);
        });
        SimControl.clearCallLog();
        return p[0];
    }

    private static Outcome run(Prepared p) {
        Object[] result = new Object[1];
        String out = stdout(() -> result[0] = p.call());
        Set<String> functions = new LinkedHashSet<>();
        for (SimCall c : SimControl.calls()) {
            if (!c.fn().equals("SDGetErrorStringiSCSI")) {
                functions.add(c.fn());
            }
        }
        return new Outcome(result[0], out, functions);
    }

    @TestFactory
    Stream<DynamicTest> everyLibraryFailureOfEveryMethod() {
        List<DynamicTest> tests = new ArrayList<>();
        for (NativeMethods.Method row : NativeMethods.ALL) {
            tests.add(DynamicTest.dynamicTest(row.name(), () -> {
                Outcome clean = run(prepare(row));
                List<String> wrong = new ArrayList<>();
                for (String fn : clean.functions()) {
                    boolean told = row.functions().contains(fn);
                    for (int status : STATUSES) {
                        Failure expect = row.failure(fn, status);
                        Prepared p = prepare(row);
                        SimControl.fault(fn, status, false);
                        Outcome o;
                        try {
                            o = run(p);
                        } finally {
                            SimControl.clearFaults();
                        }
                        String what = row.name() + " with " + fn + " failing " + hex(status);
                        if (DUMP) {
                            System.err.println("DUMP|" + what + "|" + show(o.result()) + "|clean " + show(clean.result())
                                    + "|" + o.out().replace("\n", "\\n"));
                        }
                        if (expect == null) {
                            continue;
                        }
                        String expected = check(expect, status, o.result(), clean.result());
                        if (expected != null) {
                            wrong.add(what + ": answered " + show(o.result()) + ", expected " + expected);
                        }
                        String problem = checkLine(expect.line(), status, o.out(), clean.out());
                        if (problem != null) {
                            wrong.add(what + ": " + problem);
                        }
                    }
                    if (!told) {
                        wrong.add(row.name() + " calls " + fn + ", whose failure the table does not tell");
                    }
                }
                assertEquals(List.of(), wrong, row.name() + " calls " + clean.functions());
            }));
        }
        return tests.stream();
    }

    private static final boolean DUMP = Boolean.getBoolean("dvh.sweep.dump");

    /** Null when the output holds the documented line (or, for a silent failure, what a clean call prints). */
    private static String checkLine(String template, int status, String out, String cleanOut) {
        if (template == null) {
            return out.equals(cleanOut) ? null : "printed \"" + out + "\", expected what a clean call prints";
        }
        // A line of the diagnostic log carries its type first; a line may run on without its newline.
        Pattern p = Pattern.compile("(?m)^ *(?:[A-Za-z]+: )?" + regex(template, status));
        return p.matcher(out).find() ? null : "printed \"" + out + "\", no line \"" + template + "\"";
    }

    /** printf-like template to a regular expression for one status. */
    static String regex(String template, int status) {
        StringBuilder sb = new StringBuilder();
        String[] parts = template.split("(?=%[xXds])|(?<=%[xXds])");
        for (String part : parts) {
            switch (part) {
                case "%x" -> sb.append("(?:0x)?").append(Integer.toHexString(status));
                case "%X" -> sb.append(Integer.toHexString(status).toUpperCase());
                case "%d" -> sb.append("-?[0-9]+");
                case "%s" -> sb.append(".*");
                default -> sb.append(Pattern.quote(part));
            }
        }
        return sb.toString();
    }
}
