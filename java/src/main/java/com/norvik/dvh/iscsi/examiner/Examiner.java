package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.databind.ObjectMapper;
import com.fasterxml.jackson.databind.SerializationFeature;
import com.norvik.dvh.iscsi.jni.ApiWrapper;

import java.io.IOException;
import java.io.PrintWriter;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;

import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

/**
 * Command-line inspector: opens every adapter the device-management library knows, reports what it
 * finds and closes them again. It only reads; nothing on the adapters is changed.
 */
@Command(name = "dvh-examine", mixinStandardHelpOptions = true, version = "dvh-examine 1.0",
        description = "Opens every iSCSI adapter, reports what the native bridge library finds and closes "
                + "them again. Nothing on the adapters is changed.")
public class Examiner implements Callable<Integer> {

    /** Highest number of adapter instances the native library handles. */
    public static final int MAX_ADAPTERS = 32;

    @Option(names = "--json", description = "Print the report as JSON instead of text.")
    boolean json;

    /** The command line this inspector runs in; its writers take the report. */
    private CommandLine commandLine;

    public static void main(String[] args) {
        System.exit(commandLine().execute(args));
    }

    /** A command line around a new inspector (set its writers, then {@code execute(args)}). */
    public static CommandLine commandLine() {
        Examiner examiner = new Examiner();
        examiner.commandLine = new CommandLine(examiner);
        return examiner.commandLine;
    }

    @Override
    public Integer call() throws IOException {
        CommandLine cl = commandLine != null ? commandLine : new CommandLine(this);
        PrintWriter out = cl.getOut();
        PrintWriter err = cl.getErr();
        ApiWrapper wrapper;
        try {
            wrapper = new ApiWrapper();
        } catch (LinkageError e) {
            err.println("dvh-examine: cannot load the native library dvhiscsi: " + e.getMessage());
            err.flush();
            return 2;
        }
        Report report = collect(wrapper);
        if (json) {
            out.println(toJson(report));
        } else {
            printText(report, out);
        }
        out.flush();
        return 0;
    }

    /** Opens instances 0, 1, ... until one fails to open, gathers each adapter's facts, closes all. */
    static Report collect(ApiWrapper api) {
        api.initJNINative();
        Report report = new Report();
        report.libraryVersion = api.getVersioniSCSI();
        List<Integer> opened = new ArrayList<>();
        try {
            for (int instance = 0; instance < MAX_ADAPTERS; instance++) {
                if (!api.openDevice(instance)) {
                    break;
                }
                opened.add(instance);
                report.adapters.add(AdapterReport.gather(api, instance));
            }
        } finally {
            for (int instance : opened) {
                api.closeDevice(instance);
            }
        }
        return report;
    }

    static String toJson(Report report) throws IOException {
        ObjectMapper mapper = new ObjectMapper().enable(SerializationFeature.INDENT_OUTPUT);
        return mapper.writeValueAsString(report);
    }

    static void printText(Report report, PrintWriter out) {
        out.println("Library version: " + report.libraryVersion);
        out.println("Adapters found: " + report.adapters.size());
        for (AdapterReport adapter : report.adapters) {
            out.println();
            adapter.printText(out);
        }
    }

    /** Everything the inspector found; also the shape of the JSON output. */
    public static class Report {
        public String libraryVersion;
        public List<AdapterReport> adapters = new ArrayList<>();
    }

    /** The facts of one adapter; each section of the text report is one method here. */
    public static class AdapterReport {
        public int instance;
        public boolean opened;

        static AdapterReport gather(ApiWrapper api, int instance) {
            AdapterReport a = new AdapterReport();
            a.instance = instance;
            a.opened = true;
            return a;
        }

        void printText(PrintWriter out) {
            out.println("Adapter " + instance);
            out.println("  Opened: " + (opened ? "yes" : "no"));
        }
    }
}
