package com.norvik.dvh.iscsi.fuzz;

import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.reflect.Constructor;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;

/**
 * Makes, at run time, variants of model classes that a native method may be handed by a careless or
 * hostile caller:
 *
 * <ul>
 *   <li>{@link #lacking}: a class with every public accessor of a model class but one (it is not a
 *       subclass, so the accessor is really missing; the others delegate to a real model object and
 *       call {@link Accessors#tick} first as well);
 *   <li>{@link #throwing}: a subclass whose every public accessor first calls {@link
 *       Accessors#tick}, which throws once its countdown runs out, then does its normal work.
 * </ul>
 *
 * The class files are written by hand (version 49, so no stack map frames are needed; no method has
 * a branch) and defined by a class loader of this forge's own, which goes away with it.
 */
public final class ClassForge {

    private static final String PACKAGE = "com/norvik/dvh/fuzzgen/";
    private static final String ACCESSORS = Accessors.class.getName().replace('.', '/');

    private final Loader loader = new Loader(ClassForge.class.getClassLoader());
    private final Map<String, Class<?>> made = new ConcurrentHashMap<>();
    private int serial;

    private static final class Loader extends ClassLoader {
        Loader(ClassLoader parent) {
            super(parent);
        }

        Class<?> define(String name, byte[] b) {
            return defineClass(name, b, 0, b.length);
        }
    }

    /** The public instance accessors of {@code model} a variant copies (Object's own left out). */
    public static List<Method> accessors(Class<?> model) {
        Map<String, Method> bySignature = new LinkedHashMap<>();
        for (Method m : model.getMethods()) {
            if (Modifier.isStatic(m.getModifiers()) || m.getDeclaringClass() == Object.class || m.isSynthetic()) {
                continue;
            }
            bySignature.putIfAbsent(m.getName() + descriptor(m), m);
        }
        List<Method> out = new ArrayList<>(bySignature.values());
        out.sort((a, b) -> (a.getName() + descriptor(a)).compareTo(b.getName() + descriptor(b)));
        return out;
    }

    /** Whether variants can be made of {@code model} (a concrete public class). */
    public static boolean forgeable(Class<?> model) {
        int mod = model.getModifiers();
        return Modifier.isPublic(mod) && !Modifier.isAbstract(mod) && !model.isInterface() && !model.isArray()
                && !model.isPrimitive();
    }

    /** A class like {@code model} without the accessor {@code omitted}. */
    public Class<?> lacking(Class<?> model, Method omitted) {
        String key = "L:" + model.getName() + ":" + omitted.getName() + descriptor(omitted);
        return made.computeIfAbsent(key, k -> forge(model, false, omitted, true, "Lacking"));
    }

    /** A class like {@code model} whose accessors throw when {@link Accessors}' countdown runs out. */
    public Class<?> throwing(Class<?> model) {
        String key = "T:" + model.getName();
        return made.computeIfAbsent(key, k -> forge(model, subclassable(model), null, true, "Throwing"));
    }

    /** Whether {@link #throwing} makes a subclass of {@code model} (else a class of the same shape). */
    public static boolean subclassable(Class<?> model) {
        return !Modifier.isFinal(model.getModifiers()) && publicNoArgConstructor(model);
    }

    private static boolean publicNoArgConstructor(Class<?> c) {
        for (Constructor<?> k : c.getConstructors()) {
            if (k.getParameterCount() == 0) {
                return true;
            }
        }
        return false;
    }

    private synchronized Class<?> forge(Class<?> model, boolean subclass, Method omitted, boolean tick,
            String kind) {
        String name = PACKAGE + kind + model.getSimpleName() + "$" + (serial++);
        byte[] bytes = new Writer(name, model, subclass, omitted, tick).write();
        return loader.define(name.replace('/', '.'), bytes);
    }

    // --- class file writing -------------------------------------------------------------------

    static String descriptor(Class<?> t) {
        if (t == int.class) {
            return "I";
        } else if (t == long.class) {
            return "J";
        } else if (t == short.class) {
            return "S";
        } else if (t == byte.class) {
            return "B";
        } else if (t == char.class) {
            return "C";
        } else if (t == boolean.class) {
            return "Z";
        } else if (t == float.class) {
            return "F";
        } else if (t == double.class) {
            return "D";
        } else if (t == void.class) {
            return "V";
        } else if (t.isArray()) {
            return t.getName().replace('.', '/');
        }
        return "L" + t.getName().replace('.', '/') + ";";
    }

    static String descriptor(Method m) {
        StringBuilder sb = new StringBuilder("(");
        for (Class<?> p : m.getParameterTypes()) {
            sb.append(descriptor(p));
        }
        return sb.append(')').append(descriptor(m.getReturnType())).toString();
    }

    private static int slots(Class<?> t) {
        return t == long.class || t == double.class ? 2 : t == void.class ? 0 : 1;
    }

    private static int loadOpcode(Class<?> t) {
        if (t == long.class) {
            return 0x16;
        } else if (t == float.class) {
            return 0x17;
        } else if (t == double.class) {
            return 0x18;
        } else if (t.isPrimitive()) {
            return 0x15;
        }
        return 0x19;
    }

    private static int returnOpcode(Class<?> t) {
        if (t == void.class) {
            return 0xb1;
        } else if (t == long.class) {
            return 0xad;
        } else if (t == float.class) {
            return 0xae;
        } else if (t == double.class) {
            return 0xaf;
        } else if (t.isPrimitive()) {
            return 0xac;
        }
        return 0xb0;
    }

    private static final class Writer {
        private final String name;
        private final Class<?> model;
        private final String modelName;
        private final boolean subclass;
        private final Method omitted;
        private final boolean tick;
        private final Map<String, Integer> pool = new LinkedHashMap<>();
        private final ByteArrayOutputStream poolBytes = new ByteArrayOutputStream();
        private final DataOutputStream cp = new DataOutputStream(poolBytes);
        private int poolCount = 1;

        Writer(String name, Class<?> model, boolean subclass, Method omitted, boolean tick) {
            this.name = name;
            this.model = model;
            this.modelName = model.getName().replace('.', '/');
            this.subclass = subclass;
            this.omitted = omitted;
            this.tick = tick;
        }

        private int entry(String key, int tag, IoAction body) {
            Integer have = pool.get(key);
            if (have != null) {
                return have;
            }
            try {
                body.run();
                // The body wrote the referenced entries first; now this one.
                cp.writeByte(tag);
                pendingPayload.run();
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            }
            int index = poolCount++;
            pool.put(key, index);
            return index;
        }

        private IoAction pendingPayload;

        private interface IoAction {
            void run() throws IOException;
        }

        int utf8(String s) {
            Integer have = pool.get("U" + s);
            if (have != null) {
                return have;
            }
            try {
                cp.writeByte(1);
                cp.writeUTF(s);
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            }
            int index = poolCount++;
            pool.put("U" + s, index);
            return index;
        }

        int classRef(String internalName) {
            int n = utf8(internalName);
            return entry("C" + internalName, 7, () -> pendingPayload = () -> cp.writeShort(n));
        }

        int string(String s) {
            int n = utf8(s);
            return entry("S" + s, 8, () -> pendingPayload = () -> cp.writeShort(n));
        }

        int nameAndType(String n, String d) {
            int a = utf8(n);
            int b = utf8(d);
            return entry("N" + n + ":" + d, 12, () -> pendingPayload = () -> {
                cp.writeShort(a);
                cp.writeShort(b);
            });
        }

        int member(int tag, String owner, String n, String d) {
            int c = classRef(owner);
            int nt = nameAndType(n, d);
            return entry(tag + owner + "." + n + ":" + d, tag, () -> pendingPayload = () -> {
                cp.writeShort(c);
                cp.writeShort(nt);
            });
        }

        private static void u2(ByteArrayOutputStream out, int v) {
            out.write(v >>> 8);
            out.write(v);
        }

        private void method(DataOutputStream out, String n, String d, int maxStack, int maxLocals,
                ByteArrayOutputStream code) throws IOException {
            out.writeShort(0x0001);
            out.writeShort(utf8(n));
            out.writeShort(utf8(d));
            out.writeShort(1);
            out.writeShort(utf8("Code"));
            out.writeInt(2 + 2 + 4 + code.size() + 2 + 2);
            out.writeShort(maxStack);
            out.writeShort(maxLocals);
            out.writeInt(code.size());
            code.writeTo(out);
            out.writeShort(0);
            out.writeShort(0);
        }

        byte[] write() {
            try {
                boolean delegate = !subclass && publicNoArgConstructor(model);
                String superName = subclass ? modelName : "java/lang/Object";
                String modelDesc = "L" + modelName + ";";
                int thisClass = classRef(name);
                int superClass = classRef(superName);

                ByteArrayOutputStream methodBytes = new ByteArrayOutputStream();
                DataOutputStream methods = new DataOutputStream(methodBytes);
                int methodCount = 0;

                // Constructor.
                ByteArrayOutputStream init = new ByteArrayOutputStream();
                init.write(0x2a);
                init.write(0xb7);
                u2(init, member(10, superName, "<init>", "()V"));
                if (delegate) {
                    init.write(0x2a);
                    init.write(0xbb);
                    u2(init, classRef(modelName));
                    init.write(0x59);
                    init.write(0xb7);
                    u2(init, member(10, modelName, "<init>", "()V"));
                    init.write(0xb5);
                    u2(init, member(9, name, "d", modelDesc));
                }
                init.write(0xb1);
                method(methods, "<init>", "()V", 3, 1, init);
                methodCount++;

                for (Method m : accessors(model)) {
                    String d = descriptor(m);
                    if (omitted != null && m.getName().equals(omitted.getName()) && d.equals(descriptor(omitted))) {
                        continue;
                    }
                    if (subclass && Modifier.isFinal(m.getModifiers())) {
                        continue;
                    }
                    ByteArrayOutputStream code = new ByteArrayOutputStream();
                    if (tick) {
                        code.write(0x13);
                        u2(code, string(model.getSimpleName() + "." + m.getName()));
                        code.write(0xb8);
                        u2(code, member(10, ACCESSORS, "tick", "(Ljava/lang/String;)V"));
                    }
                    code.write(0x2a);
                    if (!subclass) {
                        code.write(0xb4);
                        u2(code, member(9, name, "d", modelDesc));
                    }
                    int slot = 1;
                    for (Class<?> p : m.getParameterTypes()) {
                        code.write(loadOpcode(p));
                        code.write(slot);
                        slot += slots(p);
                    }
                    if (subclass) {
                        code.write(0xb7);
                        u2(code, member(10, modelName, m.getName(), d));
                    } else {
                        code.write(0xb6);
                        u2(code, member(10, modelName, m.getName(), d));
                    }
                    code.write(returnOpcode(m.getReturnType()));
                    int maxStack = Math.max(Math.max(slot, slots(m.getReturnType())), 1);
                    method(methods, m.getName(), d, maxStack, slot, code);
                    methodCount++;
                }
                int fieldName = subclass ? 0 : utf8("d");
                int fieldDesc = subclass ? 0 : utf8(modelDesc);
                int code = utf8("Code");

                ByteArrayOutputStream out = new ByteArrayOutputStream();
                DataOutputStream o = new DataOutputStream(out);
                o.writeInt(0xCAFEBABE);
                o.writeShort(0);
                o.writeShort(49);
                o.writeShort(poolCount);
                cp.flush();
                poolBytes.writeTo(o);
                o.writeShort(0x0021);
                o.writeShort(thisClass);
                o.writeShort(superClass);
                o.writeShort(0);
                if (subclass) {
                    o.writeShort(0);
                } else {
                    o.writeShort(1);
                    o.writeShort(0x0002);
                    o.writeShort(fieldName);
                    o.writeShort(fieldDesc);
                    o.writeShort(0);
                }
                o.writeShort(methodCount);
                methods.flush();
                methodBytes.writeTo(o);
                o.writeShort(0);
                o.flush();
                if (code == 0) {
                    throw new IllegalStateException();
                }
                return out.toByteArray();
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            }
        }
    }
}
