package com.norvik.dvh.iscsi.fuzz;

import java.util.HashSet;
import java.util.Set;

/**
 * What the generated accessor classes of {@link ClassForge} call before each accessor: a countdown,
 * per thread, of accessor calls after which the next one throws {@link Boom}. Armed with a random
 * count before a native call, it makes an accessor throw at any depth of the native method's walk.
 * It also notes which generated classes had an accessor called, which tells the fuzzer what class a
 * parameter takes.
 */
public final class Accessors {

    /** The exception the generated accessors throw. */
    public static final class Boom extends RuntimeException {
        private static final long serialVersionUID = 1L;

        public Boom(String accessor) {
            super("accessor " + accessor + " throws", null, false, true);
        }
    }

    private static final ThreadLocal<int[]> COUNTDOWN = ThreadLocal.withInitial(() -> new int[] {-1});
    /** The generated classes whose accessors ran since {@link #arm}, per thread. */
    private static final ThreadLocal<Set<Class<?>>> TOUCHED = ThreadLocal.withInitial(HashSet::new);
    private static final StackWalker WALKER = StackWalker.getInstance(StackWalker.Option.RETAIN_CLASS_REFERENCE);

    private Accessors() {
    }

    /** The accessor call after {@code calls} more calls throws; -1 disarms. */
    public static void arm(int calls) {
        COUNTDOWN.get()[0] = calls;
        TOUCHED.get().clear();
    }

    /** Disarms; answers the generated classes whose accessors ran since {@link #arm}. */
    public static Set<Class<?>> disarm() {
        COUNTDOWN.get()[0] = -1;
        Set<Class<?>> touched = TOUCHED.get();
        Set<Class<?>> out = Set.copyOf(touched);
        touched.clear();
        return out;
    }

    /** Called first by every generated throwing accessor. */
    public static void tick(String accessor) {
        TOUCHED.get().add(WALKER.getCallerClass());
        int[] c = COUNTDOWN.get();
        if (c[0] < 0) {
            return;
        }
        if (c[0]-- == 0) {
            throw new Boom(accessor);
        }
    }
}
