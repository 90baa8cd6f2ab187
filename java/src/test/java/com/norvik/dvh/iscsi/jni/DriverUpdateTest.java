package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertInstanceOf;
import static org.junit.jupiter.api.Assertions.assertNotSame;

import com.norvik.dvh.iscsi.model.ReturnStatus;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;

import org.junit.jupiter.api.Test;

/** Driver update and driver version: the answers of the implementation routines and the messages. */
class DriverUpdateTest extends NativeTestBase {

    private static final String UPDATE_LINES = "updateDriverImplementation() completed!\n"
            + "updateDriverImplementation() Setting return Status!\n"
            + "updateDriverImplementation() Done with setting return Status!\n";

    private static String versionLines(String fileName) {
        return "JNI: fileName: " + fileName + "\n"
                + "JNI: getDriverVersionImplementation() completed!\n"
                + "JNI: getDriverVersionStatusResult() returned non-null Status!\n"
                + "JNI: getDriverVersionStatusResult() versionString \n";
    }

    private Object result;

    @Test
    void anUpdateAnswersSuccessWithAnEmptyMessageForAnyFolder() {
        for (String folder : new String[] {"/opt/norvik/drivers", "", "/no/such/folder", "x".repeat(5000), null}) {
            assertEquals(UPDATE_LINES, stdout(() -> result = api.updateDriver(folder, 3)));
            ReturnStatus r = assertInstanceOf(ReturnStatus.class, result);
            assertEquals(0, r.getStatus());
            assertEquals("", r.getStatusString());
        }
        Object[] two = new Object[2];
        stdout(() -> {
            two[0] = api.updateDriver("a", 0);
            two[1] = api.updateDriver("a", 0);
        });
        assertNotSame(two[0], two[1], "a new object each time");
        assertEquals(List.of(), SimControl.calls(), "the adapter library is not involved");
    }

    @Test
    void aVersionQueryAnswersTheEmptyVersionForAnyFile() {
        String longName = "driver-".repeat(40) + ".ko";
        for (String name : new String[] {"nvs2210.ko", "", longName}) {
            assertEquals(versionLines(name), stdout(() -> result = api.iSCSIGetDriverVersion(0, null, name, null)));
            assertEquals("", result);
        }
        // The instance number is only checked; the request object and version text carry nothing.
        assertEquals(versionLines("a.ko"),
                stdout(() -> result = api.iSCSIGetDriverVersion(-5, new Object(), "a.ko", "1.0")));
        assertEquals("", result);
        assertEquals(versionLines(""), stdout(() -> result = api.iSCSIGetDriverVersion(0, null, null, null)),
                "a null file name is taken as an empty one");
        assertEquals("", result);
        assertEquals(List.of(), SimControl.calls());
    }

    @Test
    void firstCallsOnSeveralThreadsShareOneAnswer() throws Exception {
        ExecutorService pool = Executors.newFixedThreadPool(8);
        try {
            List<Callable<Object>> work = new ArrayList<>();
            for (int i = 0; i < 64; i++) {
                work.add(i % 2 == 0 ? () -> api.updateDriver("/d", 1) : () -> api.iSCSIGetDriverVersion(1, null, "f", null));
            }
            List<Future<Object>> done = new ArrayList<>();
            stdout(() -> {
                try {
                    done.addAll(pool.invokeAll(work));
                } catch (InterruptedException e) {
                    Thread.currentThread().interrupt();
                }
            });
            for (int i = 0; i < done.size(); i++) {
                Object r = done.get(i).get();
                if (i % 2 == 0) {
                    assertEquals("", ((ReturnStatus) r).getStatusString());
                } else {
                    assertEquals("", r);
                }
            }
            assertEquals(64, done.size());
        } finally {
            pool.shutdownNow();
        }
    }
}
