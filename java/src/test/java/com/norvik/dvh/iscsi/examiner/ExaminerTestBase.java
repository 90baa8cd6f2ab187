package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.jni.NativeTestBase;

import java.io.PrintWriter;
import java.io.StringWriter;

/** Runs of the examiner inside the test JVM against the simulated adapters. */
abstract class ExaminerTestBase extends NativeTestBase {

    /** The report of the last run. */
    protected String out;
    /** What the native library printed during the last run. */
    protected String nativeOut;
    protected int exitCode;

    protected void examine(String... args) {
        StringWriter sw = new StringWriter();
        nativeOut = stdout(() -> exitCode = Examiner.commandLine().setOut(new PrintWriter(sw, true)).execute(args));
        out = sw.toString();
    }

    /** The part of {@code report} from {@code from} up to the next {@code to} (or its end). */
    protected static String section(String report, String from, String to) {
        int a = report.indexOf(from);
        assertTrue(a >= 0, report);
        int b = report.indexOf(to, a + 1);
        return report.substring(a, b < 0 ? report.length() : b);
    }
}
