package com.norvik.dvh.iscsi;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.norvik.dvh.iscsi.jni.NativeTestBase;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;

/**
 * ApiWrapper.validateSystemUser against the system's own shadow and group databases. Accepted
 * users are checked end to end by the user_validation_e2e test, which brings databases of its own;
 * here only what holds on any system is checked.
 */
class UserValidationTest extends NativeTestBase {

    /** A name no system database can hold. */
    private static final String NO_SUCH_USER = "no such user:acme";

    @Test
    void concurrentCallersGetTheirOwnAnswers() throws Exception {
        ExecutorService pool = Executors.newFixedThreadPool(4);
        List<Future<Integer>> results = new ArrayList<>();
        stdout(() -> {
            for (int i = 0; i < 200; i++) {
                final int n = i;
                final boolean withPassword = n % 2 == 0;
                results.add(pool.submit(() -> {
                    int r = api.validateSystemUser(NO_SUCH_USER + n, withPassword ? "x" : null);
                    return withPassword ? r : r + 100;
                }));
            }
            try {
                for (int i = 0; i < results.size(); i++) {
                    assertEquals(i % 2 == 0 ? -1 : 100, results.get(i).get(60, TimeUnit.SECONDS));
                }
            } catch (Exception e) {
                throw new AssertionError(e);
            } finally {
                pool.shutdownNow();
            }
        });
    }
}
