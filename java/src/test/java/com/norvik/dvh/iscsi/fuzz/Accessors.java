package com.norvik.dvh.iscsi.fuzz;

/**
 * What the generated accessor classes of {@link ClassForge} call before each accessor: a countdown,
 * per thread, of accessor calls after which the next one throws {@link Boom}. Armed with a random
 * count before a native call, it makes an accessor throw at any depth of the native method's walk.
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

    private Accessors() {
    }

    /** The accessor call after {@code calls} more calls throws; -1 disarms. */
    public static void arm(int calls) {
        COUNTDOWN.get()[0] = calls;
    }

    public static void disarm() {
        COUNTDOWN.get()[0] = -1;
    }

    /** Called first by every generated throwing accessor. */
    public static void tick(String accessor) {
        int[] c = COUNTDOWN.get();
        if (c[0] < 0) {
            return;
        }
        if (c[0]-- == 0) {
            throw new Boom(accessor);
        }
    }
}
