package com.norvik.dvh.iscsi.sim;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.HBA;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** The simulator's Java control API, driven through the real native library. */
class SimControlTest {
  private static final ApiWrapper API = new ApiWrapper();

  @BeforeEach
  void reset() {
    SimControl.reset();
    API.initJNINative();
  }

  @AfterEach
  void clear() {
    SimControl.clearFaults();
  }

  @Test
  void callsCarryArgumentsTextsAndRecords() throws Exception {
    assertTrue(API.openDevice(1));
    API.enableSdmTrace(1, "/nonexistent-dir/trace.txt");
    List<SimCall> opens = SimControl.calls("SDOpenDeviceiSCSI");
    assertEquals(1, opens.size());
    SimCall open = opens.get(0);
    assertEquals("SDOpenDeviceiSCSI", open.fn());
    assertEquals(1, open.arg("instance"));
    assertTrue(open.hasArg("instance"));
    assertFalse(open.hasArg("handle"));
    assertThrows(IllegalArgumentException.class, () -> open.arg("handle"));
    assertArrayEquals(new byte[4], open.record("handle"));
    assertNull(open.record("nothing"));

    SimCall trace = SimControl.calls("SDEnableDebugTraceiSCSI").get(0);
    assertEquals(handleOf(1), trace.arg("handle"));
    assertEquals(-1, trace.arg("level"));
    assertEquals("/nonexistent-dir/trace.txt", trace.text("fileName"));
    assertNull(trace.text("other"));
    assertTrue(trace.seq() > open.seq());
    assertEquals(SimControl.calls().size(), SimControl.calls().size());

    SimControl.clearCallLog();
    assertEquals("[]", SimControl.callLogJson());
  }

  /** The handle the simulator gives the adapter with this instance number. */
  private static long handleOf(int instance) throws Exception {
    for (JsonNode a : new ObjectMapper().readTree(SimControl.stateJson()).get("adapters")) {
      if (a.get("instance").asInt() == instance) {
        return a.get("handle").asLong();
      }
    }
    throw new AssertionError("no adapter " + instance);
  }

  /** A management host: records the update masks jniAENCallBack is called with. */
  public static class Host {
    final List<Integer> masks = new ArrayList<>();

    public int jniAENCallBack(int instance, int updateMask, int numHwHBAs) {
      masks.add(updateMask);
      return 0;
    }
  }

  @Test
  void scriptedEventsReachTheProductWhenTheClockMoves() {
    SimControl.loadScenario("{\"adapters\": [{\"instance\": 0, \"handle\": 3,"
        + " \"ddb\": [{\"index\": 0, \"deviceState\": 4}, {\"index\": 5, \"deviceState\": 6}],"
        + " \"eventScript\": [{\"everySeconds\": 5, \"code\": \"0x8019\"},"
        + " {\"afterSeconds\": 2, \"code\": \"0x8014\", \"payload\": [1, 5, 4, 0]},"
        + " {\"afterSeconds\": 4, \"code\": \"0x8014\", \"payload\": [1, 0, 4, 0]}]}]}");
    Host host = new Host();
    SimControl.captureStdout(() -> {
      assertTrue(API.openDevice(0));
      API.getiSCSIHBAData(0, new HBA(0));  // records entries 0 (state 4) and 5 (state 6)
      assertEquals(0, API.enableAENsForDevice(0, 2, host));
      SimControl.advanceClock(2000);
      assertEquals(0, API.getAENsForDevice(0, 1, host));
      SimControl.advanceClock(3000);  // a heartbeat and entry 0 staying as recorded
      assertEquals(0, API.getAENsForDevice(0, 1, host));
    });
    assertEquals(List.of(0x20), host.masks);
    assertThrows(IllegalArgumentException.class, () -> SimControl.advanceClock(-1));
  }

  @Test
  void faultsAndScenarios() {
    SimControl.fault("SDOpenDeviceiSCSI", 0x20000005, true);
    assertFalse(API.openDevice(0));
    assertTrue(API.openDevice(0));
    SimControl.fault("SDOpenDeviceiSCSI", 0x20000005, false);
    assertFalse(API.openDevice(0));
    assertFalse(API.openDevice(0));
    SimControl.clearFaults();
    assertTrue(API.openDevice(0));

    SimControl.loadScenario("{\"version\": \"J-1\", \"adapters\": [{\"instance\": 2}]}");
    assertEquals("J-1", API.getVersioniSCSI());
    assertTrue(API.openDevice(2));
    assertFalse(API.openDevice(0));
    IllegalArgumentException e =
        assertThrows(IllegalArgumentException.class,
            () -> SimControl.loadScenario("{\"adapters\": [{\"instance\": 0, \"colour\": 1}]}"));
    assertEquals("unknown key \"colour\" in adapters[0]", e.getMessage());
    assertThrows(IllegalArgumentException.class, () -> SimControl.loadScenarioFile("/nonexistent/x.json"));
    assertThrows(IllegalArgumentException.class, () -> SimControl.pushEvent(9, 0x8010, null));
    assertThrows(IllegalArgumentException.class, () -> SimControl.pushEvent(0, 0x8010, new int[8]));
    SimControl.reset();
    assertTrue(SimControl.stateJson().contains("\"NV-2210\""));
  }

  @Test
  void captureIsByteExactRestoredAfterErrorsAndCopesWithLargeOutput() {
    // The UTF-8 bytes themselves, whatever encoding the locale gives System.out.
    String text = SimControl.captureStdout(() -> {
      System.out.writeBytes("caf\u00e9\r\n".getBytes(StandardCharsets.UTF_8));
      System.out.flush();
    });
    assertEquals("caf\u00c3\u00a9\r\n", text);  // UTF-8 bytes, one char per byte

    assertThrows(IllegalStateException.class, () -> SimControl.captureStdout(() -> {
      throw new IllegalStateException("boom");
    }));
    assertThrows(IllegalStateException.class, SimControl::stopCapture);  // nothing left running

    StringBuilder line = new StringBuilder();
    for (int i = 0; i < 1000; i++) {
      line.append('x');
    }
    String big = SimControl.captureStdout(() -> {
      for (int i = 0; i < 4000; i++) {
        System.out.println(line);
      }
    });
    assertEquals(4000 * 1001, big.length());

    SimControl.startCapture();
    try {
      assertThrows(IllegalStateException.class, SimControl::startCapture);
    } finally {
      SimControl.stopCapture();
    }
  }
}
