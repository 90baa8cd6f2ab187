package com.norvik.dvh.iscsi.fuzz;

import com.norvik.dvh.iscsi.catalog.AenSink;

import com.norvik.dvh.iscsi.model.HBA;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.reflect.Array;
import java.lang.reflect.Constructor;
import java.lang.reflect.Method;
import java.math.BigInteger;
import java.net.URISyntaxException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Enumeration;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.Set;
import java.util.jar.JarEntry;
import java.util.jar.JarFile;
import java.util.stream.Stream;

/**
 * Hostile arguments for native methods: nulls, objects of the wrong class, of a class lacking an
 * accessor or whose accessors throw, adapter numbers over the whole int range, odd ints, long texts
 * with NULs and non-ASCII characters, empty, huge and holey arrays. Model objects are of a class
 * drawn from every class of the model package (found at run time, so new classes take part at once),
 * weighted towards the classes whose accessors a parameter has been seen to call (learnt from objects
 * of generated subclasses, {@link #touched}).
 */
public final class Hostile {

    private static final String MODEL_PACKAGE = "com.norvik.dvh.iscsi.model.";
    private static final int[] ODD_INTS = {0, 1, -1, 2, 3, 7, 8, 15, 16, 31, 32, 33, 63, 64, 127, 128, 255, 256,
        511, 512, 513, 1023, 1024, 4096, 0x7FFF, 0x8000, 0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    private static final int[] ODD_DEVS = {-1, -2, -32, 31, 32, 33, 64, 255, 256, Integer.MIN_VALUE,
        Integer.MAX_VALUE, Integer.MIN_VALUE + 1};
    private static final String[] TEXT_PIECES = {"\0", "\u00e9", "\u00df", "\u4e2d", "\u20ac", "\ud83d\ude00",
        "\ud800", "\udfff", "%s", "%n", "%x%x%x", "%999999d", "\\", "\"", "\n", "\r\n", "\t", " ", "\u0080",
        "\uffff", "\u0001"};

    private final List<Class<?>> candidates;
    private final ClassForge forge = new ClassForge();
    private final Map<String, int[]> weights = new HashMap<>();

    public Hostile() {
        candidates = new ArrayList<>(modelClasses());
        candidates.add(AenSink.class);
    }

    /** Every public concrete top-level class of the model package, by name. */
    public static List<Class<?>> modelClasses() {
        List<String> names = new ArrayList<>();
        try {
            Path where = Path.of(HBA.class.getProtectionDomain().getCodeSource().getLocation().toURI());
            String dir = MODEL_PACKAGE.replace('.', '/');
            if (Files.isDirectory(where)) {
                try (Stream<Path> files = Files.list(where.resolve(dir))) {
                    files.map(p -> p.getFileName().toString()).filter(n -> n.endsWith(".class") && !n.contains("$"))
                            .forEach(n -> names.add(n.substring(0, n.length() - 6)));
                }
            } else {
                try (JarFile jar = new JarFile(where.toFile())) {
                    for (Enumeration<JarEntry> e = jar.entries(); e.hasMoreElements();) {
                        String n = e.nextElement().getName();
                        if (n.startsWith(dir) && n.endsWith(".class") && !n.contains("$")
                                && n.indexOf('/', dir.length()) < 0) {
                            names.add(n.substring(dir.length(), n.length() - 6));
                        }
                    }
                }
            }
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        } catch (URISyntaxException e) {
            throw new IllegalStateException(e);
        }
        names.sort(null);
        List<Class<?>> out = new ArrayList<>();
        for (String n : names) {
            try {
                Class<?> c = Class.forName(MODEL_PACKAGE + n);
                if (ClassForge.forgeable(c)) {
                    out.add(c);
                }
            } catch (ClassNotFoundException | LinkageError e) {
                // not a class one can use
            }
        }
        return out;
    }

    public List<Class<?>> candidates() {
        return candidates;
    }

    // --- parameters of native methods -------------------------------------------------------

    /** What an argument list used, for learning which classes a parameter accepts. */
    public static final class Choice {
        final Map<String, Integer> classOfParam = new HashMap<>();
        /** The generated variant class a parameter got, if any. */
        final Map<String, Class<?>> variantOfParam = new HashMap<>();
    }

    public Object[] arguments(Method m, Random r, Choice choice, int loopCountParam) {
        Class<?>[] types = m.getParameterTypes();
        Object[] args = new Object[types.length];
        for (int i = 0; i < types.length; i++) {
            Class<?> t = types[i];
            String key = m.getName() + "#" + i;
            if (t == int.class) {
                int v = i == 0 ? dev(r) : anInt(r);
                if (i == loopCountParam && v > 50) {
                    v = r.nextInt(50); // a test repeated that often runs for hours, as asked
                }
                args[i] = v;
            } else if (t == boolean.class) {
                args[i] = r.nextBoolean();
            } else if (t == String.class) {
                args[i] = text(r);
            } else if (t == char[].class) {
                args[i] = chars(r);
            } else if (t == Object[].class) {
                args[i] = objectArray(r, key, choice);
            } else {
                args[i] = object(r, key, choice);
            }
        }
        return args;
    }

    /**
     * Strongly reinforces the classes of the parameters whose generated variant had an accessor
     * called: the native method took them for what it wanted. So variants whose accessors throw
     * soon reach the accessor walks of every method.
     */
    public void touched(Choice choice, Set<Class<?>> classes) {
        if (classes.isEmpty()) {
            return;
        }
        for (Map.Entry<String, Class<?>> e : choice.variantOfParam.entrySet()) {
            Integer cls = choice.classOfParam.get(e.getKey());
            if (cls != null && classes.contains(e.getValue())) {
                int[] w = weightsOf(e.getKey());
                w[cls] = Math.min(w[cls] + 100, 400);
            }
        }
    }

    private int[] weightsOf(String key) {
        return weights.computeIfAbsent(key, k -> {
            int[] w = new int[candidates.size()];
            java.util.Arrays.fill(w, 1);
            return w;
        });
    }

    private int pickClass(Random r, String key) {
        int[] w = weightsOf(key);
        int total = 0;
        for (int x : w) {
            total += x;
        }
        int at = r.nextInt(total);
        for (int i = 0; i < w.length; i++) {
            at -= w[i];
            if (at < 0) {
                return i;
            }
        }
        return w.length - 1;
    }

    static int dev(Random r) {
        int p = r.nextInt(100);
        if (p < 70) {
            return r.nextInt(4);
        } else if (p < 85) {
            return ODD_DEVS[r.nextInt(ODD_DEVS.length)];
        }
        return r.nextInt();
    }

    static int anInt(Random r) {
        int p = r.nextInt(100);
        if (p < 35) {
            return r.nextInt(9);
        } else if (p < 70) {
            return ODD_INTS[r.nextInt(ODD_INTS.length)];
        }
        return r.nextInt();
    }

    static String text(Random r) {
        int p = r.nextInt(100);
        if (p < 12) {
            return null;
        }
        int length;
        if (p < 60) {
            length = r.nextInt(41);
        } else if (p < 85) {
            length = 41 + r.nextInt(260);
        } else if (p < 96) {
            length = 301 + r.nextInt(1700);
        } else {
            length = r.nextInt(10001);
        }
        StringBuilder sb = new StringBuilder(length + 2);
        while (sb.length() < length) {
            int q = r.nextInt(10);
            if (q < 7) {
                char c = (char) ('a' + r.nextInt(26));
                sb.append(r.nextBoolean() ? c : Character.toUpperCase(c));
            } else if (q < 8) {
                sb.append((char) ('0' + r.nextInt(10)));
            } else {
                sb.append(TEXT_PIECES[r.nextInt(TEXT_PIECES.length)]);
            }
        }
        // Never a path separator: texts may name files, which stay in the working folder.
        return sb.toString().replace('/', '_');
    }

    static char[] chars(Random r) {
        int p = r.nextInt(100);
        if (p < 12) {
            return null;
        }
        int length = p < 20 ? 0 : p < 85 ? r.nextInt(100) : p < 97 ? 100 + r.nextInt(1000) : r.nextInt(100001);
        char[] c = new char[length];
        for (int i = 0; i < length; i++) {
            c[i] = r.nextInt(4) == 0 ? (char) r.nextInt(0x10000) : (char) r.nextInt(256);
        }
        return c;
    }

    private Object objectArray(Random r, String key, Choice choice) {
        int p = r.nextInt(100);
        if (p < 12) {
            return null;
        }
        int length = p < 20 ? 0 : p < 90 ? 1 + r.nextInt(8) : p < 98 ? r.nextInt(2000) : 50000 + r.nextInt(50000);
        Object[] a = new Object[length];
        int cls = pickClass(r, key);
        choice.classOfParam.put(key, cls);
        boolean mixed = r.nextInt(6) == 0;
        // A huge array repeats a few objects: what matters is its length.
        Object[] few = new Object[Math.min(length, 16)];
        for (int i = 0; i < length; i++) {
            if (i >= few.length) {
                a[i] = few[i % few.length];
                continue;
            }
            int q = r.nextInt(100);
            Object o;
            if (q < 15) {
                o = null;
            } else if (mixed) {
                o = object(r, key + "[]", new Choice());
            } else {
                Class<?> c = candidates.get(cls);
                o = q < 25 ? variant(r, c, key, choice) : q < 60 ? traced(r, c, key, choice) : instance(c, r, 2);
            }
            few[i] = o;
            a[i] = o;
        }
        return a;
    }

    /** A hostile value for an Object parameter. */
    private Object object(Random r, String key, Choice choice) {
        int p = r.nextInt(100);
        if (p < 12) {
            return null;
        } else if (p < 20) {
            return wrongThing(r);
        }
        int cls = pickClass(r, key);
        choice.classOfParam.put(key, cls);
        Class<?> c = candidates.get(cls);
        return p < 40 ? variant(r, c, key, choice) : p < 70 ? traced(r, c, key, choice) : instance(c, r, 2);
    }

    /**
     * An object of a subclass of {@code c} whose accessors throw when the countdown runs out, and
     * which tells {@link #touched} that the native method used it: then the fuzzer soon learns the
     * class each parameter takes. A class that cannot be subclassed gives a plain object.
     */
    private Object traced(Random r, Class<?> c, String key, Choice choice) {
        if (!ClassForge.subclassable(c)) {
            return instance(c, r, 2);
        }
        Class<?> v = forge.throwing(c);
        choice.variantOfParam.put(key, v);
        return instance(v, r, 2);
    }

    private static Object wrongThing(Random r) {
        switch (r.nextInt(6)) {
            case 0:
                return "not a model object";
            case 1:
                return Integer.valueOf(r.nextInt());
            case 2:
                return new Object();
            case 3:
                return new int[r.nextInt(10)];
            case 4:
                return new Object[] {null};
            default:
                return Thread.currentThread().getThreadGroup();
        }
    }

    /** An object of a class lacking a random accessor of {@code c}, or of one whose accessors throw. */
    private Object variant(Random r, Class<?> c, String key, Choice choice) {
        Class<?> v;
        if (r.nextBoolean()) {
            v = forge.throwing(c);
        } else {
            List<Method> accessors = ClassForge.accessors(c);
            if (accessors.isEmpty()) {
                return new Object();
            }
            v = forge.lacking(c, accessors.get(r.nextInt(accessors.size())));
        }
        choice.variantOfParam.put(key, v);
        return instance(v, r, 1);
    }

    // --- model objects with random contents -------------------------------------------------

    /** A new object of {@code c}, half the time with random values given to its setters. */
    Object instance(Class<?> c, Random r, int depth) {
        Object o;
        try {
            Constructor<?> k = c.getConstructor();
            o = k.newInstance();
        } catch (ReflectiveOperationException | RuntimeException | LinkageError e) {
            return null;
        }
        if (depth > 0 && r.nextBoolean()) {
            for (Method m : c.getMethods()) {
                if (m.getParameterCount() != 1 || m.getDeclaringClass() == Object.class
                        || !(m.getName().startsWith("set") || m.getName().startsWith("add")) || r.nextBoolean()) {
                    continue;
                }
                try {
                    m.invoke(o, value(m.getParameterTypes()[0], r, depth - 1));
                } catch (ReflectiveOperationException | RuntimeException e) {
                    // a setter that refuses the value
                }
            }
        }
        return o;
    }

    private Object value(Class<?> t, Random r, int depth) {
        if (t == int.class) {
            return anInt(r);
        } else if (t == long.class) {
            return r.nextInt(3) == 0 ? (long) anInt(r) : r.nextLong();
        } else if (t == short.class) {
            return (short) anInt(r);
        } else if (t == byte.class) {
            return (byte) anInt(r);
        } else if (t == boolean.class) {
            return r.nextBoolean();
        } else if (t == char.class) {
            return (char) r.nextInt(0x10000);
        } else if (t == float.class) {
            return r.nextFloat();
        } else if (t == double.class) {
            return r.nextDouble();
        } else if (t == String.class) {
            return text(r);
        } else if (t == BigInteger.class) {
            return r.nextInt(5) == 0 ? null : new BigInteger(r.nextInt(90), r).subtract(BigInteger.valueOf(r.nextInt(3)));
        } else if (t.isArray() && t.getComponentType().isPrimitive()) {
            if (r.nextInt(8) == 0) {
                return null;
            }
            int length = r.nextInt(10) == 0 ? r.nextInt(3000) : r.nextInt(40);
            Object a = Array.newInstance(t.getComponentType(), length);
            for (int i = 0; i < length; i++) {
                Array.set(a, i, value(t.getComponentType(), r, 0));
            }
            return a;
        } else if (t.getName().startsWith(MODEL_PACKAGE) && ClassForge.forgeable(t)) {
            return r.nextInt(6) == 0 ? null : instance(t, r, depth);
        }
        return null;
    }
}
