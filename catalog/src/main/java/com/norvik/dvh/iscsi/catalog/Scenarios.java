package com.norvik.dvh.iscsi.catalog;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;

/**
 * Scenario texts for the simulator, shared by the tests, the benchmark and the fuzzer. The default
 * scenario is read from the source tree (the build passes its location as the system property
 * {@code dvh.source.dir}), so expectations follow it.
 */
public final class Scenarios {

    private static final ObjectMapper JSON = new ObjectMapper();

    private Scenarios() {
    }

    /** The default scenario as a JSON tree (a fresh copy each time). */
    public static ObjectNode defaultScenario() {
        String dir = System.getProperty("dvh.source.dir");
        if (dir == null) {
            throw new IllegalStateException("system property dvh.source.dir (the source tree) is not set");
        }
        try {
            return (ObjectNode) JSON.readTree(Files.readString(Path.of(dir, "sim", "scenarios", "default.json")));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /**
     * The library version text of the default scenario as the native library reports it: it asks
     * for at most 31 bytes including the terminating zero, so 30 characters at most.
     */
    public static String defaultVersion() {
        String v = defaultScenario().path("version").asText();
        return v.length() > 30 ? v.substring(0, 30) : v;
    }

    /** The default scenario with another library version text. */
    public static String withVersion(String version) {
        ObjectNode s = defaultScenario();
        s.put("version", version);
        return text(s);
    }

    /** A scenario with bare adapters at instances 0 .. count-1 (handles 100 + instance). */
    public static String bareAdapters(int count) {
        ObjectNode s = JSON.createObjectNode();
        s.set("version", defaultScenario().get("version"));
        ArrayNode adapters = s.putArray("adapters");
        for (int i = 0; i < count; i++) {
            adapters.addObject().put("instance", i);
        }
        return text(s);
    }

    /** The array {@code key} of a scenario node, made on first use. */
    public static ArrayNode list(ObjectNode node, String key) {
        return node.has(key) ? (ArrayNode) node.get(key) : node.putArray(key);
    }

    /** Adds a device database entry to an adapter node and returns it. */
    public static ObjectNode ddb(ObjectNode adapter, int index, int state) {
        return list(adapter, "ddb").addObject().put("index", index).put("deviceState", state);
    }

    /** Adds a policy in {@code slot} to an adapter node and returns it for more fields. */
    public static ObjectNode policy(ObjectNode adapter, int slot, int kind, int priority, String name) {
        return list(adapter, "securityPolicies").addObject().put("slot", slot).put("policyKind", kind)
                .put("priority", priority).put("policyName", name);
    }

    /** Adds a transform to a policy node and returns it. */
    public static ObjectNode transform(ObjectNode policy) {
        return list(policy, "transforms").addObject();
    }

    public static String text(JsonNode scenario) {
        try {
            return JSON.writeValueAsString(scenario);
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }
}
