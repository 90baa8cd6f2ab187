package com.norvik.dvh.iscsi.testkit;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.function.Consumer;

/**
 * Writes a scenario of the adapter simulator, fluently:
 *
 * <pre>{@code
 * ScenarioBuilder.scenario()
 *     .adapter(0, a -> a
 *         .portal(p -> p.set("serialNumber", "LAB0001").set("model", "NV-2210"))
 *         .ddbEntry(0, e -> e.deviceState(4).targetAddress("10.1.1.10", 3260).iscsiName("iqn.2026-01.lab:t0"))
 *         .target(0, t -> t.lun(0, l -> l.inquiry("LABDISK", "Shelf-1", "0100").capacity(2_097_152, 512))))
 *     .at(Duration.ofSeconds(3), 0, 0x8014, 1, 0, 6, 0)
 *     .toJson();
 * }</pre>
 *
 * <p>Every part is a {@link Node}: the typed methods cover what tests set most often, and
 * {@link Node#set(String, Object)} sets any other field of the scenario format by the name the
 * simulator's README and default scenario use (numbers, strings, nested maps and lists of them).
 * The simulator checks the result when it loads it: an unknown key or a value that does not fit is
 * a load error naming its place.
 */
public final class ScenarioBuilder {

    static final ObjectMapper MAPPER = new ObjectMapper();

    private final ObjectNode root = MAPPER.createObjectNode();

    private ScenarioBuilder() {
        root.putArray("adapters");
    }

    /** An empty scenario: no adapters until {@link #adapter(int, Consumer)} adds them. */
    public static ScenarioBuilder scenario() {
        return new ScenarioBuilder();
    }

    /** The text {@code SDGetVersioniSCSI} answers. */
    public ScenarioBuilder version(String version) {
        root.put("version", version);
        return this;
    }

    /**
     * Adds (or changes) the adapter with this instance number. Its handle is 10 + instance unless
     * {@link Adapter#handle(long)} says otherwise (the native library switches events on only for
     * handles up to 32).
     */
    public ScenarioBuilder adapter(int instance, Consumer<Adapter> body) {
        ObjectNode a = child(adapters(), "instance", instance);
        if (!a.has("handle")) {
            a.put("handle", 10 + instance);
        }
        body.accept(new Adapter(a));
        return this;
    }

    /**
     * An event on the timeline: {@code at} after the adapter's events were switched on (or after the
     * load, for an adapter with {@code aenEnabled}), adapter {@code instance} queues the event
     * {@code code} with up to seven payload words. The test moves the simulated clock with
     * {@link Simulator#advanceClock(Duration)}. The simulator's timeline counts whole seconds.
     */
    public ScenarioBuilder at(Duration at, int instance, int code, long... payload) {
        if (at.isNegative() || at.toMillis() % 1000 != 0) {
            throw new IllegalArgumentException("events fall due on whole seconds: " + at);
        }
        adapter(instance, a -> { });
        ObjectNode e = array(child(adapters(), "instance", instance), "eventScript").addObject();
        e.put("afterSeconds", at.toSeconds());
        e.put("code", hex(code));
        if (payload.length > 0) {
            ArrayNode p = e.putArray("payload");
            for (long w : payload) {
                p.add(w);
            }
        }
        return this;
    }

    /** Sets any top-level key of the scenario format. */
    public ScenarioBuilder set(String key, Object value) {
        root.set(key, MAPPER.valueToTree(value));
        return this;
    }

    /** The scenario as a JSON tree (a copy). */
    public ObjectNode toTree() {
        return root.deepCopy();
    }

    /** The scenario as JSON text, as the simulator loads it. */
    public String toJson() {
        try {
            return MAPPER.writerWithDefaultPrettyPrinter().writeValueAsString(root);
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** Writes the scenario to a file, e.g. for {@code IZKSDM_SCENARIO}. */
    public Path writeTo(Path file) {
        try {
            return Files.writeString(file, toJson());
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private ArrayNode adapters() {
        return (ArrayNode) root.get("adapters");
    }

    static String hex(long value) {
        return "0x" + Long.toHexString(value);
    }

    static ArrayNode array(ObjectNode parent, String key) {
        JsonNode n = parent.get(key);
        return n instanceof ArrayNode ? (ArrayNode) n : parent.putArray(key);
    }

    /** The element of {@code list} whose {@code key} is {@code value}, added when there is none. */
    static ObjectNode child(ArrayNode list, String key, long value) {
        for (JsonNode n : list) {
            if (n.path(key).asLong(Long.MIN_VALUE) == value) {
                return (ObjectNode) n;
            }
        }
        ObjectNode n = list.addObject();
        n.put(key, value);
        return n;
    }

    /** A part of the scenario: an object of the scenario format. */
    public static class Node<T extends Node<T>> {
        final ObjectNode json;

        Node(ObjectNode json) {
            this.json = json;
        }

        @SuppressWarnings("unchecked")
        T self() {
            return (T) this;
        }

        /** Sets a field by its name in the scenario format; maps and lists become objects and arrays. */
        public T set(String key, Object value) {
            json.set(key, MAPPER.valueToTree(value));
            return self();
        }

        /** The object under {@code key} (made when missing), given to {@code body}. */
        public T with(String key, Consumer<Part> body) {
            JsonNode n = json.get(key);
            body.accept(new Part(n instanceof ObjectNode ? (ObjectNode) n : json.putObject(key)));
            return self();
        }

        /** Adds an object to the array under {@code key}, given to {@code body}. */
        public T add(String key, Consumer<Part> body) {
            body.accept(new Part(array(json, key).addObject()));
            return self();
        }
    }

    /** Any object of the scenario format, set field by field. */
    public static final class Part extends Node<Part> {
        Part(ObjectNode json) {
            super(json);
        }
    }

    /** One adapter: its records, device database, targets, tables, logs and settings. */
    public static final class Adapter extends Node<Adapter> {
        Adapter(ObjectNode json) {
            super(json);
        }

        /** The handle {@code SDOpenDeviceiSCSI} hands out (by default 10 + instance). */
        public Adapter handle(long handle) {
            return set("handle", handle);
        }

        /** The portal record (serial number, model, versions, state ...). */
        public Adapter portal(Consumer<Part> body) {
            return with("portal", body);
        }

        /** The node record (and its {@code nodeInfo}). */
        public Adapter node(Consumer<Part> body) {
            return with("node", body);
        }

        public Adapter driver(Consumer<Part> body) {
            return with("driver", body);
        }

        public Adapter chip(Consumer<Part> body) {
            return with("chip", body);
        }

        /** The firmware initialization block in effect. */
        public Adapter firmware(Consumer<Part> body) {
            return with("initFw", body);
        }

        /** The firmware block's factory defaults. */
        public Adapter firmwareDefaults(Consumer<Part> body) {
            return with("fwDefaults", body);
        }

        public Adapter alias(String alias) {
            return set("alias", alias);
        }

        /** The device database entry at {@code index} (0..511). */
        public Adapter ddbEntry(int index, Consumer<DdbEntry> body) {
            body.accept(new DdbEntry(child(array(json, "ddb"), "index", index)));
            return this;
        }

        /**
         * A target with a session, at target id {@code targetId} (the index of its device database
         * entry), state 4 unless set otherwise.
         */
        public Adapter target(int targetId, Consumer<Target> body) {
            ObjectNode t = child(array(json, "targets"), "targetId", targetId);
            if (!t.has("state")) {
                t.put("state", 4);
            }
            body.accept(new Target(t));
            return this;
        }

        /** A CHAP entry at flash index {@code index}. */
        public Adapter chapEntry(int index, String name, String secretText) {
            with("chapTable", c -> { });
            ObjectNode e = child(array((ObjectNode) json.get("chapTable"), "entries"), "index", index);
            e.put("name", name);
            e.put("secretText", secretText);
            return this;
        }

        /** The iSNS configuration: discovery on or off, the server's address. */
        public Adapter isns(boolean discovery, String serverAddress) {
            return with("isnsConfig", c -> c.set("performDiscovery", discovery ? 1 : 0)
                    .set("serverAddress", serverAddress));
        }

        /** A target the iSNS server reports, with its portals ("address:port"). */
        public Adapter isnsTarget(String name, String alias, String... portals) {
            return add("isnsTargets", t -> {
                t.set("name", name).set("alias", alias);
                for (String p : portals) {
                    int colon = p.lastIndexOf(':');
                    t.add("portals", q -> q.set("address", p.substring(0, colon))
                            .set("port", Integer.parseInt(p.substring(colon + 1))));
                }
            });
        }

        /** An IPsec policy in slot {@code slot} of the 64-slot table. */
        public Adapter securityPolicy(int slot, Consumer<Part> body) {
            body.accept(new Part(child(array(json, "securityPolicies"), "slot", slot)));
            return this;
        }

        public Adapter ikeSa(Consumer<Part> body) {
            return add("ikeSAs", body);
        }

        public Adapter ipsecSa(Consumer<Part> body) {
            return add("ipsecSAs", body);
        }

        /** A counter by the name the statistics records use, e.g. {@code "MACRxFramesCount"}. */
        public Adapter counter(String name, long value) {
            with("statistics", s -> s.with("counters", c -> c.set(name, value)));
            return this;
        }

        public Adapter connectionError(Consumer<Part> body) {
            return add("connectionErrorLog", body);
        }

        public Adapter arpEntry(String ipAddress, String macAddress) {
            return add("arpLog", a -> a.set("ipAddress", ipAddress).set("macAddress", macAddress).set("valid", 1));
        }

        public Adapter bootcode(Consumer<Part> body) {
            return with("bootcode", body);
        }

        public Adapter vpd(Consumer<Part> body) {
            return with("vpd", body);
        }

        /** Makes {@code function} answer {@code status} on this adapter, as a recorded adapter refused it. */
        public Adapter failure(String function, long status) {
            with("failures", f -> f.set(function, hex(status)));
            return this;
        }

        /** An event queued from the start. */
        public Adapter event(int code, long... payload) {
            return add("events", e -> {
                e.set("code", hex(code));
                if (payload.length > 0) {
                    e.set("payload", payload);
                }
            });
        }

        /** Events switched on from the load, so that the timeline runs without enableAENsForDevice. */
        public Adapter eventsEnabled(boolean on) {
            return set("aenEnabled", on);
        }
    }

    /** A device database entry. */
    public static final class DdbEntry extends Node<DdbEntry> {
        DdbEntry(ObjectNode json) {
            super(json);
        }

        /** 4 a session, 1 no active connection, 6 session failed, 0 not in use ... */
        public DdbEntry deviceState(int state) {
            return set("deviceState", state);
        }

        /** The target's address and TCP port. */
        public DdbEntry targetAddress(String address, int port) {
            with("deviceInfo", d -> d.set("targetAddress", address).set("portNumber", port));
            return with("entryInfo", e -> e.set("ipAddress", address));
        }

        public DdbEntry iscsiName(String name) {
            return with("entryInfo", e -> e.set("iscsiName", name));
        }
    }

    /** A target with its portal, node and LUNs. */
    public static final class Target extends Node<Target> {
        Target(ObjectNode json) {
            super(json);
        }

        public Target state(int state) {
            return set("state", state);
        }

        /** The portal and the node's name. */
        public Target address(String address, int port, String iscsiName) {
            with("portal", p -> p.set("ipAddress", address).set("portNumber", port));
            return with("node", n -> n.with("nodeInfo", i -> i.set("ipAddress", address).set("iscsiName", iscsiName)));
        }

        /** A LUN: what INQUIRY, READ CAPACITY and REPORT LUNS answer for it. */
        public Target lun(int lun, Consumer<Lun> body) {
            body.accept(new Lun(child(array(json, "luns"), "lun", lun)));
            return this;
        }
    }

    /** A LUN. */
    public static final class Lun extends Node<Lun> {
        Lun(ObjectNode json) {
            super(json);
        }

        /** The standard INQUIRY strings (vendor 8, product 16, revision 4 characters at most). */
        public Lun inquiry(String vendor, String product, String revision) {
            return set("vendor", vendor).set("product", product).set("revision", revision);
        }

        /** READ CAPACITY: the number of blocks and the block length. */
        public Lun capacity(long blocks, int blockLength) {
            return set("blocks", blocks).set("blockLength", blockLength);
        }

        /** The 8-byte NAA identifier of VPD page 0x83, e.g. "50:0a:cd:e1:00:a1:00:00". */
        public Lun wwuln(String wwuln) {
            return set("wwuln", wwuln);
        }
    }
}
