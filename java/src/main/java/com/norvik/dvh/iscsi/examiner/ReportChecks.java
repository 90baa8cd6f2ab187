package com.norvik.dvh.iscsi.examiner;

import com.norvik.dvh.iscsi.jni.ApiStatus;

import java.util.List;

/** Small helpers the report sections share. */
final class ReportChecks {

    private ReportChecks() {
    }

    /** Adds "method: status 0x..." to {@code problems} unless the status is 0. */
    static void check(List<String> problems, String method, int status) {
        if (status != 0) {
            problems.add(method + ": status " + ApiStatus.hex(status));
        }
    }

    /** "-" for what is missing or empty. */
    static String orDash(Object o) {
        return o == null || o.toString().isEmpty() ? "-" : o.toString();
    }

    /** One "    Label:             value" line of a section, "-" for a missing value. */
    static void line(StringBuilder sb, String label, Object value) {
        sb.append(String.format("    %-19s %s\n", label + ":", orDash(value)));
    }

    /** "1 entry", "3 entries". */
    static String count(int n, String one, String many) {
        return n + " " + (n == 1 ? one : many);
    }
}
