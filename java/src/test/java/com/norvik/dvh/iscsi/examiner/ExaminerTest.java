package com.norvik.dvh.iscsi.examiner;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.jni.NativeTestBase;
import com.norvik.dvh.iscsi.jni.SimScenarios;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.io.PrintWriter;
import java.io.StringWriter;
import java.util.List;

import org.junit.jupiter.api.Test;

class ExaminerTest extends NativeTestBase {

    private String out;
    private int exitCode;

    private void examine(String... args) {
        StringWriter sw = new StringWriter();
        // Whatever the native side prints is kept out of the report (and out of the test log).
        stdout(() -> exitCode = Examiner.commandLine().setOut(new PrintWriter(sw, true)).execute(args));
        out = sw.toString();
    }

    @Test
    void textReportListsTheVersionAndEveryAdapterThenClosesThem() {
        examine();
        assertEquals(0, exitCode);
        assertEquals("Library version: " + SimScenarios.defaultVersion() + "\n"
                + "Adapters found: 2\n"
                + "\n"
                + "Adapter 0\n"
                + "  Opened: yes\n"
                + "\n"
                + "Adapter 1\n"
                + "  Opened: yes\n", out);
        assertEquals(List.of(0L, 1L, 2L), argOfCalls("SDOpenDeviceiSCSI", "instance"));
        assertEquals(List.of((long) HANDLE_0, (long) HANDLE_1), argOfCalls("SDCloseDeviceiSCSI", "handle"));
    }

    @Test
    void jsonReportHoldsTheSameFacts() throws Exception {
        examine("--json");
        assertEquals(0, exitCode);
        JsonNode report = new ObjectMapper().readTree(out);
        assertEquals(SimScenarios.defaultVersion(), report.get("libraryVersion").asText());
        assertEquals(2, report.get("adapters").size());
        for (int i = 0; i < 2; i++) {
            assertEquals(i, report.get("adapters").get(i).get("instance").asInt());
            assertEquals(true, report.get("adapters").get(i).get("opened").asBoolean());
        }
    }

    @Test
    void noAdaptersIsAnEmptyReport() {
        SimControl.loadScenario(SimScenarios.bareAdapters(0));
        examine();
        assertEquals(0, exitCode);
        assertEquals("Library version: " + SimScenarios.defaultVersion() + "\nAdapters found: 0\n", out);
        assertEquals(List.of(), argOfCalls("SDCloseDeviceiSCSI", "handle"));
    }

    @Test
    void atMostThirtyTwoInstancesAreTried() {
        SimControl.loadScenario(SimScenarios.bareAdapters(33));
        examine("--json");
        assertEquals(0, exitCode);
        assertEquals(32, argOfCalls("SDOpenDeviceiSCSI", "instance").size());
        assertEquals(31L, argOfCalls("SDOpenDeviceiSCSI", "instance").get(31));
        assertEquals(32, argOfCalls("SDCloseDeviceiSCSI", "handle").size());
    }
}
