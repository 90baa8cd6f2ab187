package com.norvik.dvh.iscsi.testkit;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.sim.SimControl;
import java.io.File;
import java.net.URISyntaxException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Set;

/**
 * Finds the native bridge library, the simulator and the simulator's control library, and loads
 * them so that the bridge drives the simulator: in a build tree (the kit's jar in {@code build/java},
 * the libraries in {@code build/lib}), in an installed package (the jar in {@code share/java}, the
 * libraries in {@code lib/dvhiscsi} and {@code lib/dvhiscsi/simulator}), in the folder named by
 * {@value #DIR_PROPERTY}, or on {@code java.library.path}.
 */
final class NativeLibraries {

    /** System property naming a folder that holds all three libraries. */
    static final String DIR_PROPERTY = "dvhiscsi.testkit.libdir";

    private static final String BRIDGE = "libdvhiscsi.so";
    private static final String SIMULATOR = "libizksdm.so";
    private static final String CONTROL = "libizksim_jni.so";

    private static boolean loaded;
    private static String failure;

    private NativeLibraries() {}

    /** Loads the libraries once; throws IllegalStateException with one line when they are missing. */
    static synchronized void load() {
        if (loaded) {
            return;
        }
        if (failure != null) {
            throw new IllegalStateException(failure);
        }
        Set<Path> looked = new LinkedHashSet<>();
        for (Path[] where : candidates()) {
            Path bridge = where[0].resolve(BRIDGE);
            Path simulator = where[1].resolve(SIMULATOR);
            Path control = where[1].resolve(CONTROL);
            looked.add(where[0]);
            looked.add(where[1]);
            if (Files.isRegularFile(bridge) && Files.isRegularFile(simulator) && Files.isRegularFile(control)) {
                // The simulator first: the bridge's dependency on libizksdm.so then resolves to it
                // (by its name) instead of to a vendor's library the dynamic linker might find.
                System.load(simulator.toAbsolutePath().toString());
                setIfAbsent(ApiWrapper.LIBRARY_PROPERTY, bridge);
                setIfAbsent(SimControl.LIBRARY_PROPERTY, control);
                loaded = true;
                return;
            }
        }
        List<String> dirs = new ArrayList<>();
        looked.forEach(p -> dirs.add(p.toString()));
        failure = "dvhiscsi test kit: cannot find " + BRIDGE + ", the simulator's " + SIMULATOR + " and "
                + CONTROL + " (looked in " + String.join(", ", dirs) + "; name their folder with -D"
                + DIR_PROPERTY + "=DIR)";
        throw new IllegalStateException(failure);
    }

    private static void setIfAbsent(String property, Path file) {
        if (System.getProperty(property) == null) {
            System.setProperty(property, file.toAbsolutePath().toString());
        }
    }

    /** Pairs of folders (bridge, simulator) to try, in order. */
    private static List<Path[]> candidates() {
        List<Path[]> out = new ArrayList<>();
        String dir = System.getProperty(DIR_PROPERTY);
        if (dir != null && !dir.isEmpty()) {
            Path d = Path.of(dir);
            out.add(new Path[] {d, d});
            out.add(new Path[] {d, d.resolve("simulator")});
            return out;
        }
        Path jar = ownJar();
        if (jar != null) {
            Path folder = jar.getParent();
            Path up = folder.getParent();
            if (up != null) {
                out.add(new Path[] {up.resolve("lib"), up.resolve("lib")});  // build tree
                if (up.getParent() != null) {  // installed: PREFIX/share/java
                    Path lib = up.getParent().resolve("lib").resolve("dvhiscsi");
                    out.add(new Path[] {lib, lib.resolve("simulator")});
                }
            }
        }
        for (String entry : System.getProperty("java.library.path", "").split(File.pathSeparator)) {
            if (!entry.isEmpty()) {
                Path d = Path.of(entry);
                out.add(new Path[] {d, d});
                out.add(new Path[] {d, d.resolve("simulator")});
            }
        }
        Path usr = Path.of("/usr/lib/dvhiscsi");
        out.add(new Path[] {usr, usr.resolve("simulator")});
        return out;
    }

    private static Path ownJar() {
        try {
            var source = NativeLibraries.class.getProtectionDomain().getCodeSource();
            if (source == null) {
                return null;
            }
            Path p = Path.of(source.getLocation().toURI());
            return Files.isRegularFile(p) ? p.toAbsolutePath() : null;
        } catch (URISyntaxException | SecurityException | IllegalArgumentException e) {
            return null;
        }
    }
}
