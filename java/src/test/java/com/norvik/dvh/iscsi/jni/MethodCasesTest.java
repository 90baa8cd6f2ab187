package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.fasterxml.jackson.databind.SerializationFeature;
import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.catalog.NativeMethods;
import com.norvik.dvh.iscsi.catalog.Scenarios;
import com.norvik.dvh.iscsi.fuzz.Accessors;
import com.norvik.dvh.iscsi.fuzz.ClassForge;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.io.IOException;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.IdentityHashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.function.Consumer;
import java.util.function.UnaryOperator;
import java.util.stream.Stream;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.TestFactory;

/**
 * Every native method of the catalog, called the way the catalog calls it and then with each bad
 * argument: the adapter instance 31 (the last one), above 31 and negative; each object or text
 * null in turn, alone and with instance 32 (which of the two a method tests first); an array's
 * first element null or of another class. A
 * case is a row of {@code java/src/test/cases/native-methods.json}: what the method answers, what
 * it prints (byte for byte), the adapter library calls it makes with their arguments and the exact
 * bytes of every record, the model objects' contents afterwards (so "untouched" for a refused
 * argument), and, for the working call, the accessors it calls on the objects it is handed, in
 * order. Adding a case is adding a row; {@code -Ddvh.cases.write=true} writes the file anew from
 * the library as it is, to be read over before it is committed.
 */
class MethodCasesTest extends NativeTestBase {

    private static final ObjectMapper JSON = new ObjectMapper().enable(SerializationFeature.INDENT_OUTPUT);
    private static final Path FILE = Path.of(System.getProperty("dvh.source.dir", "."), "java", "src", "test", "cases",
            "native-methods.json");
    private static final boolean WRITE = Boolean.getBoolean("dvh.cases.write");
    private static final ClassForge FORGE = new ClassForge();
    private static final Map<String, JsonNode> written = new LinkedHashMap<>();

    /**
     * A way to call a method: its name in the case file, how the catalog's arguments change, and
     * whether adapter 0 has the handle 32 (the last one the event methods serve) instead of 10.
     */
    record Variant(String name, UnaryOperator<Object[]> change, boolean handle32, JsonNode setup) {
        Variant(String name, UnaryOperator<Object[]> change) {
            this(name, change, false, null);
        }

        Variant(String name, UnaryOperator<Object[]> change, boolean handle32) {
            this(name, change, handle32, null);
        }
    }

    /**
     * Cases of {@code scenario-cases.json}: a method called on adapter 0 of a scenario of the case's
     * own ("adapter": the sections of a bare adapter 0; "default": sections replacing those of the
     * default scenario's adapter 0; "scenario": a whole one), with library
     * functions failing ("faults") and the catalog's arguments changed ("set": setter paths such as
     * "2.getDeviceEntry.setRetryDelay", "2.0.setState" for an array's element; "construct": argument made anew by its class's
     * constructor of those arguments; "trace": the accessors called, in order; "lacking": "Model.accessor" for objects of a class
     * without it; "repeat": argument
     * made an array of that many copies of its first element). "brief" leaves the record bytes and the
     * objects out.
     */
    private static final List<JsonNode> SCENARIO_CASES = scenarioCases();

    private static List<JsonNode> scenarioCases() {
        List<JsonNode> out = new ArrayList<>();
        try {
            Path file = FILE.resolveSibling("scenario-cases.json");
            if (Files.exists(file)) {
                JSON.readTree(file.toFile()).forEach(out::add);
            }
        } catch (IOException e) {
            throw new java.io.UncheckedIOException(e);
        }
        return out;
    }

    private static Object[] changed(Object[] given, JsonNode setup) {
        Object[] a = given.clone();
        setup.path("construct").fields().forEachRemaining(e -> {
            int at = Integer.parseInt(e.getKey()) - 1;
            try {
                for (java.lang.reflect.Constructor<?> k : a[at].getClass().getConstructors()) {
                    if (k.getParameterCount() == e.getValue().size()) {
                        Object[] values = new Object[k.getParameterCount()];
                        for (int i = 0; i < values.length; i++) {
                            values[i] = value(k.getParameterTypes()[i], e.getValue().get(i));
                        }
                        a[at] = k.newInstance(values);
                        return;
                    }
                }
            } catch (ReflectiveOperationException x) {
                throw new IllegalStateException(e.getKey(), x);
            }
            throw new IllegalArgumentException("no constructor for " + e);
        });
        setup.path("repeat").fields().forEachRemaining(e -> {
            int at = Integer.parseInt(e.getKey()) - 1;
            Object[] from = (Object[]) a[at];
            Object[] many = (Object[]) java.lang.reflect.Array.newInstance(from.getClass().getComponentType(),
                    e.getValue().asInt());
            for (int i = 0; i < many.length; i++) {
                many[i] = i == 0 ? from[0] : copyOf(from[0]);
            }
            a[at] = many;
        });
        setup.path("set").fields().forEachRemaining(e -> {
            String[] path = e.getKey().split("\\.");
            int at = Integer.parseInt(path[0]) - 1;
            if (path.length == 1) {
                try {
                    a[at] = e.getValue().isNull() ? null : a[at] == null ? e.getValue().asText()
                            : value(a[at].getClass(), e.getValue());
                } catch (ReflectiveOperationException x) {
                    throw new IllegalStateException(e.getKey(), x);
                }
                return;
            }
            try {
                Object o = a[at];
                for (int i = 1; i < path.length - 1; i++) {
                    o = path[i].matches("\\d+") ? ((Object[]) o)[Integer.parseInt(path[i])]
                            : o.getClass().getMethod(path[i]).invoke(o);
                }
                String setter = path[path.length - 1];
                if (setter.matches("\\d+")) {
                    ((Object[]) o)[Integer.parseInt(setter)] = e.getValue().isNull() ? null : e.getValue().asText();
                    return;
                }
                Object target = o;
                Method s = java.util.Arrays.stream(o.getClass().getMethods())
                        .filter(x -> x.getName().equals(setter) && x.getParameterCount() == 1).findFirst()
                        .orElseThrow(() -> new IllegalArgumentException(target.getClass() + "." + setter));
                s.invoke(o, value(s.getParameterTypes()[0], e.getValue()));
            } catch (ReflectiveOperationException x) {
                throw new IllegalStateException(e.getKey(), x);
            }
        });
        // "lacking": Model.accessor, every object of that class made without it.
        if (setup.has("lacking")) {
            String accessor = setup.get("lacking").asText();
            for (int i = 0; i < a.length; i++) {
                a[i] = lackingWhere(a[i], accessor.substring(0, accessor.indexOf('.')),
                        accessor.substring(accessor.indexOf('.') + 1));
            }
        }
        return a;
    }

    /** {@code v} as a value of type {@code t}: numbers, texts, booleans, IP addresses ("10.0.0.1"). */
    private static Object value(Class<?> t, JsonNode v) throws ReflectiveOperationException {
        if (v.isNull()) {
            return null;
        }
        if (t == int.class || t == Integer.class) {
            return (int) v.asLong();
        }
        if (t == short.class) {
            return (short) v.asInt();
        }
        if (t == byte.class) {
            return (byte) v.asInt();
        }
        if (t == long.class) {
            return v.asLong();
        }
        if (t == boolean.class) {
            return v.asBoolean();
        }
        if (t == String.class) {
            return v.asText();
        }
        if (t == short[].class || t == byte[].class || t == int[].class) {
            Object arr = java.lang.reflect.Array.newInstance(t.getComponentType(), v.size());
            for (int i = 0; i < v.size(); i++) {
                java.lang.reflect.Array.set(arr, i, value(t.getComponentType(), v.get(i)));
            }
            return arr;
        }
        return t.getMethod("of", String.class).invoke(null, v.asText());
    }

    private static Object copyOf(Object o) {
        try {
            java.lang.reflect.Constructor<?> k = o.getClass().getDeclaredConstructor();
            k.setAccessible(true);
            Object copy = k.newInstance();
            copyFields(o, copy, v -> v != null && isModel(v.getClass()) ? copyOf(v) : v);
            return copy;
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException(e);
        }
    }

    /** The catalog's call as it is. */
    private static final Variant WORKING_CALL = new Variant("working", a -> a);

    static List<Variant> variants(NativeMethods.Method m) {
        List<Variant> out = new ArrayList<>();
        out.add(WORKING_CALL);
        boolean instance = m.takesInstance();
        if (instance) {
            out.add(new Variant("instance 31", a -> with(a, 0, 31)));
            out.add(new Variant("instance 32", a -> with(a, 0, 32)));
            out.add(new Variant("instance -1", a -> with(a, 0, -1)));
            out.add(new Variant("adapter 0 at handle 32", a -> a, true));
        }
        Class<?>[] p = m.parameters();
        // Each object the working call gets from a getter of an object handed in, null in turn.
        for (String getter : objectGetters(m.name())) {
            out.add(new Variant("null from " + getter, a -> {
                Object[] b = a.clone();
                for (int i = 0; i < b.length; i++) {
                    b[i] = answeringNull(b[i], getter);
                }
                return b;
            }));
        }
        for (int i = 0; i < p.length; i++) {
            if (p[i].isPrimitive()) {
                continue;
            }
            int at = i;
            String arg = "argument " + (i + 1);
            out.add(new Variant("null " + arg, a -> with(a, at, null)));
            if (instance) {
                // Some methods test their objects before the instance, some after.
                out.add(new Variant("instance 32, null " + arg, a -> with(with(a, 0, 32), at, null)));
            }
            if (p[i] == Object[].class) {
                out.add(new Variant("null first element of " + arg, a -> with(a, at, first(a[at], null))));
                out.add(new Variant("text as first element of " + arg, a -> with(a, at, first(a[at], "not a model object"))));
                if (instance) {
                    out.add(new Variant("instance 32, null first element of " + arg,
                            a -> with(with(a, 0, 32), at, first(a[at], null))));
                }
            }
        }
        // Each library function whose failure the catalog tells, failing every time it is called.
        for (String fn : m.functions()) {
            ObjectNode fault = JSON.createObjectNode();
            fault.putArray("faults").addObject().put("fn", fn).put("status", "0x2000002d");
            out.add(new Variant(fn + " fails", a -> a, false, fault));
        }
        for (JsonNode c : SCENARIO_CASES) {
            if (c.get("method").asText().equals(m.name())) {
                out.add(new Variant(c.get("case").asText(), a -> changed(a, c), false, c));
            }
        }
        return out;
    }

    /** The working call's row of each method in the case file as committed (none while there is no file). */
    private static final Map<String, JsonNode> WORKING = workingRows();

    private static Map<String, JsonNode> workingRows() {
        Map<String, JsonNode> out = new LinkedHashMap<>();
        try {
            if (Files.exists(FILE)) {
                JSON.readTree(FILE.toFile()).fields().forEachRemaining(e -> {
                    if (e.getKey().endsWith(" / working") && e.getValue().has("trace")) {
                        out.put(e.getKey().substring(0, e.getKey().indexOf(" / ")), e.getValue());
                    }
                });
            }
        } catch (IOException e) {
            throw new java.io.UncheckedIOException(e);
        }
        return out;
    }

    /** The trace of the working call of {@code method}, as committed. */
    private static List<String> workingTrace(String method) {
        List<String> out = new ArrayList<>();
        JsonNode row = WORKING.get(method);
        if (row != null) {
            row.get("trace").forEach(t -> out.add(t.asText()));
        }
        return out;
    }

    /** The getters returning a model object that the working call of {@code method} calls, once each. */
    private static List<String> objectGetters(String method) {
        return workingTrace(method).stream().filter(a -> a.contains(".get") && returnsModel(a)).distinct().toList();
    }

    private static boolean returnsModel(String accessor) {
        try {
            Class<?> c = Class.forName(HBA.class.getPackageName() + "." + accessor.substring(0, accessor.indexOf('.')));
            Method g = c.getMethod(accessor.substring(accessor.indexOf('.') + 1));
            return isModel(g.getReturnType());
        } catch (ReflectiveOperationException e) {
            return false;
        }
    }

    /**
     * A copy of {@code o} (model objects, arrays and lists in it copied too) in which every object
     * of the model class of {@code accessor} (Model.getter) answers null from that getter.
     */
    private static Object answeringNull(Object o, String accessor) {
        String model = accessor.substring(0, accessor.indexOf('.'));
        String getter = accessor.substring(accessor.indexOf('.') + 1);
        if (o instanceof Object[] array) {
            Object[] copy = array.clone();
            for (int i = 0; i < copy.length; i++) {
                copy[i] = answeringNull(copy[i], accessor);
            }
            return copy;
        }
        if (o instanceof List<?> list) {
            List<Object> copy = new ArrayList<>();
            list.forEach(e -> copy.add(answeringNull(e, accessor)));
            return copy;
        }
        if (o == null || !isModel(o.getClass())) {
            return o;
        }
        try {
            Object held = o.getClass().getSimpleName().equals(model) ? o.getClass().getMethod(getter).invoke(o) : null;
            java.lang.reflect.Constructor<?> k = o.getClass().getDeclaredConstructor();
            k.setAccessible(true);
            Object copy = k.newInstance();
            copyFields(o, copy, v -> held != null && v == held ? null : answeringNull(v, accessor));
            return copy;
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException(accessor, e);
        }
    }

    /** {@code text} with the firmware image's folder, which is the machine's, masked. */
    private static String masked(String text) {
        return text.replace(NativeMethods.FIRMWARE_IMAGE.toString(), "FIRMWARE_IMAGE");
    }

    /** The array {@code array} (at least one element) with its first element replaced. */
    private static Object[] first(Object array, Object element) {
        Object[] given = (Object[]) array;
        Object[] a = java.util.Arrays.copyOf(given, Math.max(1, given.length), Object[].class);
        a[0] = element;
        return a;
    }

    private static Object[] with(Object[] a, int at, Object value) {
        Object[] b = a.clone();
        b[at] = value;
        return b;
    }

    @TestFactory
    Stream<DynamicTest> everyMethodWithWorkingAndBadArguments() throws IOException {
        JsonNode expected = WRITE || !Files.exists(FILE) ? JSON.createObjectNode() : JSON.readTree(FILE.toFile());
        List<DynamicTest> tests = new ArrayList<>();
        for (NativeMethods.Method m : NativeMethods.ALL) {
            for (Variant v : variants(m)) {
                String key = m.name() + " / " + v.name();
                tests.add(DynamicTest.dynamicTest(key, () -> {
                    ObjectNode actual = run(m, v);
                    if (WRITE) {
                        written.put(key, actual);
                        return;
                    }
                    JsonNode want = expected.get(key);
                    assertEquals(want == null ? "(no row)" : JSON.writeValueAsString(want), JSON.writeValueAsString(actual),
                            key);
                }));
            }
        }
        return tests.stream();
    }

    @AfterAll
    static void writeCases() throws IOException {
        if (WRITE) {
            ObjectNode root = JSON.createObjectNode();
            written.forEach(root::set);
            Files.createDirectories(FILE.getParent());
            JSON.writeValue(FILE.toFile(), root);
        }
    }

    /** Fresh simulator, adapters 0 and 1 open, adapter 0's targets in the registry. */
    private static Object[] prepare(NativeMethods.Method m, Variant v) {
        SimControl.reset();
        JsonNode setup = v.setup() == null ? JSON.createObjectNode() : v.setup();
        if (v.handle32()) {
            ObjectNode scenario = Scenarios.defaultScenario();
            ((ObjectNode) scenario.get("adapters").get(0)).put("handle", 32);
            SimControl.loadScenario(Scenarios.text(scenario));
        } else if (setup.has("scenario")) {
            SimControl.loadScenario(Scenarios.text(setup.get("scenario")));
        } else if (setup.has("default")) {
            ObjectNode scenario = Scenarios.defaultScenario();
            ((ObjectNode) scenario.get("adapters").get(0)).setAll((ObjectNode) setup.get("default"));
            SimControl.loadScenario(Scenarios.text(scenario));
        } else if (setup.has("adapter")) {
            ObjectNode scenario = JSON.createObjectNode().put("version", "IZKSDM iSCSI TEST");
            scenario.putArray("adapters").addObject().put("instance", 0).put("handle", HANDLE_0)
                    .setAll((ObjectNode) setup.get("adapter"));
            SimControl.loadScenario(Scenarios.text(scenario));
        }
        api.initJNINative();
        api.openDevice(0);
        api.openDevice(1);
        Object[][] args = new Object[1][];
        stdout(() -> {
            api.getiSCSIHBAData(0, new HBA());
            args[0] = v.change().apply(m.args(api, 0));
        });
        SimControl.clearCallLog();
        for (JsonNode f : setup.path("faults")) {
            SimControl.fault(f.get("fn").asText(), (int) Long.decode(f.get("status").asText()).longValue(),
                    f.path("once").asBoolean());
        }
        return args[0];
    }

    private static ObjectNode run(NativeMethods.Method m, Variant v) throws IOException {
        ObjectNode row = JSON.createObjectNode();
        Object[] args = prepare(m, v);
        JsonNode before = dump(args);
        Object[] result = new Object[1];
        String out = stdout(() -> {
            try {
                result[0] = m.invoke(api, args);
            } catch (RuntimeException e) {
                result[0] = "threw " + e.getClass().getSimpleName();
            }
        });
        row.put("result", String.valueOf(result[0]));
        row.put("out", out);
        ArrayNode calls = row.putArray("calls");
        for (JsonNode c : JSON.readTree(SimControl.callLogJson())) {
            ObjectNode call = ((ObjectNode) c).deepCopy();
            call.remove("seq");
            // Long walks: the first calls' records say what the others' would.
            if (v.setup() != null && v.setup().path("brief").asBoolean() || calls.size() >= 32) {
                call.remove("records");
            }
            calls.add(call);
        }
        JsonNode after = dump(args);
        row.put("untouched", before.equals(after));
        if (v.setup() == null || !v.setup().path("brief").asBoolean()) {
            row.set("objects", after);
        }
        if (v.name().equals("working") || v.setup() != null && v.setup().path("trace").asBoolean()) {
            row.set("trace", JSON.valueToTree(trace(m, v, -1)));
        }
        return (ObjectNode) JSON.readTree(masked(JSON.writeValueAsString(row)));
    }

    /**
     * What the method does with the objects it is handed: the accessors it calls on them (and on
     * the objects reached through them), in order, with the adapter library's calls in between.
     * The call is made on recording copies; when {@code throwAt} is not negative the accessor call
     * after {@code throwAt} others throws, and the trace ends with "threw" if the exception reached
     * the caller.
     */
    static List<String> trace(NativeMethods.Method m, Variant v, int throwAt) {
        return trace(m, recordingArgs(m, v), throwAt, new Object[2]);
    }

    /** The arguments of variant {@code v}, prepared, as recording copies. */
    private static Object[] recordingArgs(NativeMethods.Method m, Variant v) {
        Object[] args = prepare(m, v);
        for (int i = 0; i < args.length; i++) {
            args[i] = recording(args[i]);
        }
        return args;
    }

    /** The trace of the call with {@code args} as they are; its result and output into {@code answer}. */
    private static List<String> trace(NativeMethods.Method m, Object[] args, int throwAt, Object[] answer) {
        int[] seen = {0};
        Consumer<List<String>> library = list -> {
            List<SimCall> c = SimControl.calls();
            for (int i = seen[0]; i < c.size(); i++) {
                list.add(c.get(i).fn());
            }
            seen[0] = c.size();
        };
        List<String> trace;
        boolean[] threw = {false};
        Accessors.record(library);
        Accessors.arm(throwAt);
        try {
            answer[1] = stdout(() -> {
                try {
                    answer[0] = m.invoke(api, args);
                } catch (Accessors.Boom e) {
                    threw[0] = true;
                }
            });
        } finally {
            Accessors.disarm();
            trace = new ArrayList<>(Accessors.recorded());
        }
        library.accept(trace);
        if (threw[0]) {
            trace.add("threw");
        }
        return trace;
    }

    /**
     * An accessor that throws stops the method at once: nothing after it is called, on the Java side
     * or in the adapter library, and the exception reaches the caller. Every accessor of every
     * working call's trace throws in turn (long traces: each accessor's first call, and the first
     * and last calls of the trace).
     */
    @TestFactory
    Stream<DynamicTest> aThrowingAccessorStopsTheMethod() {
        List<DynamicTest> tests = new ArrayList<>();
        for (NativeMethods.Method m : NativeMethods.ALL) {
            JsonNode row = WORKING.get(m.name());
            if (row == null) {
                continue;
            }
            List<String> working = workingTrace(m.name());
            List<Integer> accessors = new ArrayList<>();
            for (int i = 0; i < working.size(); i++) {
                if (working.get(i).contains(".")) {
                    accessors.add(i);
                }
            }
            java.util.Set<String> firsts = new java.util.HashSet<>();
            for (int k = 0; k < accessors.size(); k++) {
                String name = working.get(accessors.get(k));
                if (!firsts.add(name) && k >= 8 && k < accessors.size() - 4) {
                    continue;
                }
                int at = k;
                String workingOut = row.get("out").asText();
                tests.add(DynamicTest.dynamicTest(m.name() + " / accessor " + k + " (" + name + ") throws", () -> {
                    List<String> want = new ArrayList<>(working.subList(0, accessors.get(at) + 1));
                    want.add("threw");
                    Object[] answer = new Object[2];
                    assertEquals(want, trace(m, recordingArgs(m, WORKING_CALL), at, answer));
                    // Nothing is printed after the throw either.
                    String out = masked(String.valueOf(answer[1]));
                    assertTrue(workingOut.startsWith(out), () -> "printed:\n" + out);
                }));
            }
        }
        return tests.stream();
    }

    /**
     * A class without one accessor: the method prints the line and answers the status that go with
     * that accessor (rows of {@code missing-accessors.json}), having called on the Java side and in
     * the adapter library what the working call calls before it (and nothing else when the row says
     * it stops there). Every object of that class handed
     * in (array elements too) is of a class made without the accessor.
     */
    @TestFactory
    Stream<DynamicTest> aMissingAccessorStopsWithItsLine() throws IOException {
        List<DynamicTest> tests = new ArrayList<>();
        for (JsonNode row : JSON.readTree(FILE.resolveSibling("missing-accessors.json").toFile())) {
            String method = row.get("method").asText();
            String accessor = row.get("accessor").asText();
            tests.add(DynamicTest.dynamicTest(method + " without " + accessor, () -> {
                NativeMethods.Method m = NativeMethods.ALL.stream().filter(x -> x.name().equals(method)).findFirst()
                        .orElseThrow();
                List<String> full = workingTrace(method);
                String stop = row.has("before") ? row.get("before").asText() : accessor;
                assertTrue(full.contains(stop), stop + " is not called by the working call");
                List<String> before = full.subList(0, full.indexOf(stop));

                Object[] args = prepare(m, WORKING_CALL);
                String model = accessor.substring(0, accessor.indexOf('.'));
                String name = accessor.substring(accessor.indexOf('.') + 1);
                for (int i = 0; i < args.length; i++) {
                    args[i] = lackingWhere(args[i], model, name);
                }
                Object[] answer = new Object[2];
                List<String> trace = trace(m, args, -1, answer);
                String out = (String) answer[1];
                // Where the method stops, its line is the last it prints (but for what the row says comes after).
                String line = row.get("line").asText();
                assertTrue(row.path("stops").asBoolean() ? out.endsWith(line + row.path("after").asText(""))
                        : out.contains(line), () -> "printed:\n" + out);
                if (row.has("result")) {
                    assertEquals(row.get("result").asText(), String.valueOf(answer[0]), "result");
                }
                // A method that stops at the gap calls nothing after it, in Java or in the library.
                assertEquals(before, row.path("stops").asBoolean() ? trace
                        : trace.subList(0, Math.min(before.size(), trace.size())), "called before the gap");
            }));
        }
        return tests.stream();
    }

    /** {@code o} with every model object of class {@code model} in it made without accessor {@code name}. */
    private static Object lackingWhere(Object o, String model, String name) {
        if (o instanceof Object[] array) {
            Object[] copy = java.util.Arrays.copyOf(array, array.length, Object[].class);
            for (int i = 0; i < copy.length; i++) {
                copy[i] = lackingWhere(copy[i], model, name);
            }
            return copy;
        }
        if (o == null || !o.getClass().getSimpleName().equals(model)) {
            return recording(o);
        }
        List<Method> named = ClassForge.accessors(o.getClass()).stream().filter(x -> x.getName().equals(name)).toList();
        assertEquals(1, named.size(), model + "." + name + " overloads");
        return recording(o, FORGE.lacking(o.getClass(), named.get(0)));
    }

    /**
     * A copy of a model object whose accessors note their calls, the model objects it holds
     * (directly, in arrays or in lists) copied the same way; an array: of each element.
     */
    static Object recording(Object o) {
        return recording(o, null);
    }

    /** As {@link #recording(Object)}, the object itself of class {@code as} when given. */
    static Object recording(Object o, Class<?> as) {
        if (o instanceof Object[] array) {
            Object[] copy = array.clone();
            for (int i = 0; i < copy.length; i++) {
                copy[i] = recording(copy[i]);
            }
            return copy;
        }
        if (o instanceof List<?> list) {
            List<Object> copy = new ArrayList<>();
            for (Object e : list) {
                copy.add(recording(e));
            }
            return copy;
        }
        if (o == null || !isModel(o.getClass()) || as == null && !ClassForge.subclassable(o.getClass())) {
            return o;
        }
        try {
            Class<?> forged = as != null ? as : FORGE.throwing(o.getClass());
            Object copy = forged.getConstructor().newInstance();
            // A class lacking an accessor is no subclass: it hands its calls to a model object of its own.
            Object state = o.getClass().isInstance(copy) ? copy : delegate(copy);
            copyFields(o, state, v -> v != null && v.getClass().isArray() && !(v instanceof Object[]) ? cloneArray(v)
                    : recording(v));
            return copy;
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException("recording copy of " + o.getClass(), e);
        }
    }

    /**
     * Copies the instance fields of {@code from} into {@code to}, each value through {@code value}
     * (a list in a field an ArrayList cannot fill as it is).
     */
    private static void copyFields(Object from, Object to, UnaryOperator<Object> value) throws IllegalAccessException {
        for (Class<?> c = from.getClass(); c != Object.class; c = c.getSuperclass()) {
            for (Field f : c.getDeclaredFields()) {
                if (Modifier.isStatic(f.getModifiers())) {
                    continue;
                }
                f.setAccessible(true);
                Object v = f.get(from);
                f.set(to, v instanceof List<?> && !f.getType().isAssignableFrom(ArrayList.class) ? v : value.apply(v));
            }
        }
    }

    private static Object cloneArray(Object array) {
        int n = java.lang.reflect.Array.getLength(array);
        Object c = java.lang.reflect.Array.newInstance(array.getClass().getComponentType(), n);
        System.arraycopy(array, 0, c, 0, n);
        return c;
    }

    private static Object delegate(Object forged) throws ReflectiveOperationException {
        Field d = forged.getClass().getDeclaredField("d");
        d.setAccessible(true);
        return d.get(forged);
    }

    private static boolean isModel(Class<?> c) {
        return c.getPackageName().equals("com.norvik.dvh.iscsi.model");
    }

    /** The contents of the arguments: every getter of the model objects, nested ones included. */
    private static JsonNode dump(Object[] args) {
        ArrayNode out = JSON.createArrayNode();
        for (Object a : args) {
            out.add(dump(a, new IdentityHashMap<>(), 0));
        }
        return out;
    }

    private static JsonNode dump(Object o, IdentityHashMap<Object, Boolean> seen, int depth) {
        if (o == null) {
            return JSON.nullNode();
        }
        if (o instanceof Object[] array) {
            ArrayNode a = JSON.createArrayNode();
            for (Object e : array) {
                a.add(dump(e, seen, depth + 1));
            }
            return a;
        }
        if (o instanceof Map<?, ?> map) {
            ObjectNode m = JSON.createObjectNode();
            new java.util.TreeMap<>(map).forEach((k, v) -> m.set(String.valueOf(k), dump(v, seen, depth + 1)));
            return m;
        }
        if (o instanceof Iterable<?> list) {
            ArrayNode a = JSON.createArrayNode();
            for (Object e : list) {
                a.add(dump(e, seen, depth + 1));
            }
            return a;
        }
        if (!isModel(o.getClass())) {
            return o.getClass().isArray() || o instanceof Number || o instanceof Boolean || o instanceof Character
                    || o instanceof String ? JSON.valueToTree(o) : JSON.getNodeFactory().textNode(o.getClass().getSimpleName());
        }
        if (seen.put(o, Boolean.TRUE) != null || depth > 8) {
            return JSON.getNodeFactory().textNode("(seen)");
        }
        ObjectNode n = JSON.createObjectNode();
        List<Method> getters = new ArrayList<>();
        for (Method g : o.getClass().getMethods()) {
            String name = g.getName();
            if (g.getParameterCount() == 0 && !Modifier.isStatic(g.getModifiers()) && g.getDeclaringClass() != Object.class
                    && (name.startsWith("get") || name.startsWith("is")) && g.getReturnType() != void.class) {
                getters.add(g);
            }
        }
        getters.sort((a, b) -> a.getName().compareTo(b.getName()));
        for (Method g : getters) {
            try {
                n.set(g.getName(), dump(g.invoke(o), seen, depth + 1));
            } catch (ReflectiveOperationException | RuntimeException e) {
                n.put(g.getName(), "(throws)");
            }
        }
        seen.remove(o);
        return n;
    }
}
