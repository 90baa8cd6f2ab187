package com.norvik.dvh.iscsi.fuzz;

import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.function.Consumer;

/**
 * What the generated accessor classes of {@link ClassForge} call before each accessor: a countdown,
 * per thread, of accessor calls after which the next one throws {@link Boom}. Armed with a random
 * count before a native call, it makes an accessor throw at any depth of the native method's walk.
 * It also notes which generated classes had an accessor called, which tells the fuzzer what class a
 * parameter takes, and, while {@link #record} is on, every accessor called in order (for tests of
 * the order in which a native method calls them).
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
    /** The accessors called since {@link #record}, per thread; null when not recording. */
    private static final ThreadLocal<List<String>> RECORDED = new ThreadLocal<>();
    /** Called with the list before each accessor is noted (to note other events in between), per thread. */
    private static final ThreadLocal<Consumer<List<String>>> BEFORE = new ThreadLocal<>();
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

    /** Starts noting, on this thread, every accessor of the generated classes called. */
    public static void record() {
        record(null);
    }

    /** As {@link #record()}, {@code before} called with the list before each accessor is noted. */
    public static void record(Consumer<List<String>> before) {
        RECORDED.set(new ArrayList<>());
        BEFORE.set(before);
    }

    /** Stops noting; answers the accessors called since {@link #record}, as Model.accessor. */
    public static List<String> recorded() {
        List<String> out = RECORDED.get();
        RECORDED.remove();
        BEFORE.remove();
        return out == null ? List.of() : out;
    }

    /** Called first by every generated accessor, with its name as Model.accessor. */
    public static void tick(String accessor) {
        Class<?> caller = WALKER.getCallerClass();
        TOUCHED.get().add(caller);
        List<String> recorded = RECORDED.get();
        if (recorded != null) {
            Consumer<List<String>> before = BEFORE.get();
            if (before != null) {
                before.accept(recorded);
            }
            recorded.add(accessor);
        }
        int[] c = COUNTDOWN.get();
        if (c[0] < 0) {
            return;
        }
        if (c[0]-- == 0) {
            throw new Boom(accessor);
        }
    }
}
