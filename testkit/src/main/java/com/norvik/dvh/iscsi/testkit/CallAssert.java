package com.norvik.dvh.iscsi.testkit;

import com.fasterxml.jackson.databind.JsonNode;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import java.util.function.Predicate;
import org.opentest4j.AssertionFailedError;

/**
 * The calls of one SD function, narrowed step by step: each {@code with...} keeps the calls that
 * match (and fails when none does), {@link #times(int)} checks how many are left. So
 * {@code assertCalled("SDSetDDBEntry").times(1).withRecord("entry", bytes)} says the function was
 * called once, with that record ({@code withField("entry", "deviceState", 4)}: with that field); {@code withArg("index", 3).times(2)} that two of its calls wrote
 * index 3. A failing check shows the function's calls from the call log.
 */
public final class CallAssert {

    private final String function;
    private final List<SimCall> log;
    private List<SimCall> calls;
    private final List<String> conditions = new ArrayList<>();

    CallAssert(String function, List<SimCall> log, List<SimCall> calls) {
        this.function = function;
        this.log = log;
        this.calls = calls;
    }

    /** The calls still selected, oldest first. */
    public List<SimCall> calls() {
        return calls;
    }

    /** Checks how many calls are selected. */
    public CallAssert times(int n) {
        if (calls.size() != n) {
            fail("expected " + n + " call" + (n == 1 ? "" : "s") + " of " + described() + ", found " + calls.size());
        }
        return this;
    }

    /** Keeps the calls that passed the record or buffer {@code name} with exactly these bytes. */
    public CallAssert withRecord(String name, byte[] bytes) {
        return keep(name + " = " + HexFormat.of().formatHex(bytes), c -> Arrays.equals(bytes, c.record(name)));
    }

    /** The same with the bytes as hex text (spaces and colons ignored). */
    public CallAssert withRecord(String name, String hex) {
        return withRecord(name, parseHex(hex));
    }

    /**
     * Keeps the calls whose record {@code name} holds {@code bytes} at {@code offset} (a field of the
     * record, at its offset in the library's layout).
     */
    public CallAssert withRecordField(String name, int offset, byte... bytes) {
        return keep(name + "[" + offset + "..] = " + HexFormat.of().formatHex(bytes), c -> {
            byte[] r = c.record(name);
            return r != null && offset >= 0 && offset + bytes.length <= r.length
                    && Arrays.equals(bytes, Arrays.copyOfRange(r, offset, offset + bytes.length));
        });
    }

    /** Keeps the calls whose record {@code name} holds the little-endian {@code width}-byte {@code value} at {@code offset}. */
    public CallAssert withRecordField(String name, int offset, int width, long value) {
        byte[] le = new byte[width];
        for (int i = 0; i < width; i++) {
            le[i] = (byte) (value >>> (8 * i));
        }
        return withRecordField(name, offset, le);
    }

    /**
     * Keeps the calls whose record {@code name} has {@code value} in the field {@code field}, named
     * as in the scenario format, e.g. {@code withField("entry", "deviceState", 4)} or
     * {@code withField("entry", "entryInfo.iscsiName", "iqn.2026-01.lab:t0")} (nested records with
     * dots; an address by its text). The simulator decodes the records it knows by their size: the
     * adapter's portal, node, driver and chip records, device database entries and their parts, the
     * firmware block, DNS, target information, discovered portals and nodes, boot code settings.
     */
    public CallAssert withField(String name, String field, Object value) {
        return keep(name + "." + field + " = " + value, c -> {
            byte[] r = c.record(name);
            if (r == null) {
                return false;
            }
            String json = SimControl.decodeRecord(r);
            if (json.isEmpty()) {
                throw new IllegalArgumentException("the simulator does not know a record of " + r.length
                        + " bytes (" + name + " of " + function + "); use withRecordField");
            }
            JsonNode node;
            try {
                node = ScenarioBuilder.MAPPER.readTree(json);
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            }
            for (String part : field.split("\\.")) {
                node = node.path(part);
            }
            if (node.isMissingNode()) {
                throw new IllegalArgumentException(name + " of " + function + " has no field " + field + ": " + json);
            }
            if (node.has("address")) {
                node = node.path("address");
            }
            if (value instanceof Number) {
                return node.isIntegralNumber() && node.asLong() == ((Number) value).longValue();
            }
            return node.asText().equals(String.valueOf(value));
        });
    }

    /** Keeps the calls with this scalar argument. */
    public CallAssert withArg(String name, long value) {
        return keep(name + " = " + value, c -> c.hasArg(name) && c.arg(name) == value);
    }

    /** Keeps the calls with this string argument. */
    public CallAssert withText(String name, String value) {
        return keep(name + " = \"" + value + "\"", c -> value.equals(c.text(name)));
    }

    /** Keeps the calls the simulator answered with this status. */
    public CallAssert withStatus(long status) {
        return keep("status 0x" + Long.toHexString(status), c -> c.status() == status);
    }

    private CallAssert keep(String condition, Predicate<SimCall> matches) {
        List<SimCall> kept = new ArrayList<>();
        for (SimCall c : calls) {
            if (matches.test(c)) {
                kept.add(c);
            }
        }
        if (kept.isEmpty()) {
            fail("expected a call of " + function + " with " + condition + (conditions.isEmpty() ? "" : " (after " + String.join(", ", conditions) + ")")
                    + ", found none of " + calls.size());
        }
        conditions.add(condition);
        calls = kept;
        return this;
    }

    private String described() {
        return function + (conditions.isEmpty() ? "" : " with " + String.join(", ", conditions));
    }

    void fail(String message) {
        throw new AssertionFailedError(message + "\n" + Simulator.excerpt(log, c -> c.fn().equals(function)));
    }

    static byte[] parseHex(String hex) {
        return HexFormat.of().parseHex(hex.replaceAll("[\\s:]", ""));
    }
}
