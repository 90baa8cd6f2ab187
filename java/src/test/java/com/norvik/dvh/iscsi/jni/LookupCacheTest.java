package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.norvik.dvh.iscsi.model.FirmwareInfo;

import java.io.IOException;
import java.io.InputStream;
import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * Method identifiers kept per class across calls: a missing accessor still behaves as on the first
 * call, classes stay collectable, and threads using different classes do not mix them up.
 */
class LookupCacheTest extends NativeTestBase {

    @BeforeEach
    void openAdapters() {
        assertTrue(api.openDevice(0));
        assertTrue(api.openDevice(1));
    }

    /** The firmware information object without its fifth accessor, setChipModel. */
    public static class FirmwareInfoNoChipModel {
        final List<String> calls = new ArrayList<>();

        public void setFirmwareAttribute(int v) {
            calls.add("setFirmwareAttribute");
        }

        public void setiSCSIVersion(String v) {
            calls.add("setiSCSIVersion");
        }

        public void setOptRomVersion(String v) {
            calls.add("setOptRomVersion");
        }

        public void setFirmwareVersion(String v) {
            calls.add("setFirmwareVersion");
        }
    }

    @Test
    void aClassLackingItsFifthAccessorBehavesTheSameOnEveryCall() {
        FirmwareInfoNoChipModel info = new FirmwareInfoNoChipModel();
        int[] status = new int[3];
        String out = stdout(() -> {
            for (int i = 0; i < 3; i++) {
                status[i] = api.getiSCSIFWInfo(0, info);
            }
        });
        assertEquals("GetMethodID call failed!\n".repeat(3), out);
        for (int s : status) {
            assertEquals(4097, s);
        }
        List<String> four = List.of("setFirmwareAttribute", "setiSCSIVersion", "setOptRomVersion",
                "setFirmwareVersion");
        List<String> expected = new ArrayList<>();
        for (int i = 0; i < 3; i++) {
            expected.addAll(four);
        }
        assertEquals(expected, info.calls);
    }

    /** Loaded again by every throw-away loader. */
    public static class Disposable {
        public String version;
        public int attribute;

        public void setDriverVersion(String v) {
            version = v;
        }

        public void setDriverAttribute(int v) {
            attribute = v;
        }
    }

    /** Defines {@link Disposable} anew, so that each loader has its own class. */
    private static final class ThrowAwayLoader extends ClassLoader {
        ThrowAwayLoader() {
            super(LookupCacheTest.class.getClassLoader());
        }

        @Override
        protected Class<?> loadClass(String name, boolean resolve) throws ClassNotFoundException {
            if (!name.equals(Disposable.class.getName())) {
                return super.loadClass(name, resolve);
            }
            synchronized (getClassLoadingLock(name)) {
                Class<?> c = findLoadedClass(name);
                if (c == null) {
                    String resource = name.replace('.', '/') + ".class";
                    try (InputStream in = getParent().getResourceAsStream(resource)) {
                        byte[] bytes = in.readAllBytes();
                        c = defineClass(name, bytes, 0, bytes.length);
                    } catch (IOException e) {
                        throw new ClassNotFoundException(name, e);
                    }
                }
                return c;
            }
        }
    }

    /** Fills an object of a class of its own loader; answers a weak reference to the class. */
    private static WeakReference<Class<?>> useOnce() throws Exception {
        Class<?> c = new ThrowAwayLoader().loadClass(Disposable.class.getName());
        Object obj = c.getDeclaredConstructor().newInstance();
        assertEquals(0, api.getiSCSIDriverInfo(0, obj));
        assertNotNull(c.getField("version").get(obj));
        return new WeakReference<>(c);
    }

    @Test
    void aClassOfAThrowAwayLoaderIsCollectedAfterUse() throws Exception {
        List<WeakReference<Class<?>>> used = new ArrayList<>();
        for (int i = 0; i < 40; i++) {
            used.add(useOnce());
        }
        for (int round = 0; round < 50 && used.stream().anyMatch(r -> r.get() != null); round++) {
            System.gc();
            Thread.sleep(20);
        }
        for (WeakReference<Class<?>> r : used) {
            assertNull(r.get(), "the lookup cache keeps a class alive");
        }
        // The slots of the collected classes serve new classes.
        for (int i = 0; i < 40; i++) {
            useOnce();
        }
    }

    /** FirmwareInfo's accessors on an unrelated class, declared in another order. */
    public static class OtherFirmwareInfo {
        String text = "";

        public void setChipModel(String v) {
            text += "chip " + v + ";";
        }

        public void setFirmwareVersion(String v) {
            text += "fw " + v + ";";
        }

        public void setOptRomVersion(String v) {
            text += "rom " + v + ";";
        }

        public void setiSCSIVersion(String v) {
            text += "iscsi " + v + ";";
        }

        public void setFirmwareAttribute(int v) {
            text += "attr " + v + ";";
        }
    }

    private static String describe(FirmwareInfo f) {
        return f.getFirmwareAttribute() + "|" + f.getiSCSIVersion() + "|" + f.getOptRomVersion() + "|"
                + f.getFirmwareVersion() + "|" + f.getChipModel();
    }

    @Test
    void eightThreadsReadAdaptersWithTwoModelClassesAtOnce() throws Exception {
        String[] model = new String[2];
        String[] other = new String[2];
        for (int dev = 0; dev < 2; dev++) {
            FirmwareInfo f = new FirmwareInfo();
            assertEquals(0, api.getiSCSIFWInfo(dev, f));
            model[dev] = describe(f);
            OtherFirmwareInfo o = new OtherFirmwareInfo();
            assertEquals(0, api.getiSCSIFWInfo(dev, o));
            other[dev] = o.text;
        }
        ExecutorService pool = Executors.newFixedThreadPool(8);
        try {
            List<Callable<Void>> jobs = new ArrayList<>();
            for (int t = 0; t < 8; t++) {
                final int thread = t;
                jobs.add(() -> {
                    for (int i = 0; i < 400; i++) {
                        int dev = (thread + i) % 2;
                        if ((thread + i / 2) % 2 == 0) {
                            FirmwareInfo f = new FirmwareInfo();
                            assertEquals(0, api.getiSCSIFWInfo(dev, f));
                            assertEquals(model[dev], describe(f));
                        } else {
                            OtherFirmwareInfo o = new OtherFirmwareInfo();
                            assertEquals(0, api.getiSCSIFWInfo(dev, o));
                            assertEquals(other[dev], o.text);
                        }
                    }
                    return null;
                });
            }
            for (Future<Void> f : pool.invokeAll(jobs)) {
                f.get();
            }
        } finally {
            pool.shutdown();
            assertTrue(pool.awaitTermination(30, TimeUnit.SECONDS));
        }
    }
}
