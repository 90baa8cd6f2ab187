package com.norvik.dvh.iscsi.sim;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/**
 * Test-only control of the adapter simulator (the stand-in libizksdm.so): scenarios, injected
 * failures, the log of SD calls the product made, queued adapter events, and capture of the
 * process's standard output (where the product prints its messages).
 */
public final class SimControl {
  /**
   * System property naming the control library's file by its absolute path; without it
   * libizksim_jni.so is looked for on {@code java.library.path}.
   */
  public static final String LIBRARY_PROPERTY = "izksim.jni.library";

  static {
    String path = System.getProperty(LIBRARY_PROPERTY);
    if (path != null && !path.isEmpty()) {
      System.load(path);
    } else {
      System.loadLibrary("izksim_jni");
    }
  }

  private static final ObjectMapper MAPPER = new ObjectMapper();

  private SimControl() {}

  /** Reloads the default scenario (or $IZKSDM_SCENARIO); clears faults, call log, events, trace, clock. */
  public static native void reset();

  /**
   * Why the simulator holds no scenario ("" while one is loaded): a reset could not load the file
   * named by IZKSDM_SCENARIO, and every SD function answers 0x200000F1 until a scenario loads.
   */
  public static native String loadFailure();

  /** Replaces the state with the scenario given as JSON text; IllegalArgumentException on errors. */
  public static native void loadScenario(String json);

  /** Like {@link #loadScenario} with the scenario read from a file. */
  public static native void loadScenarioFile(String path);

  /** Makes the SD function return {@code status} without doing its work, once or until cleared. */
  public static native void fault(String function, int status, boolean once);

  public static native void clearFaults();

  /**
   * Chaos mode: SD calls without a fault of their own fail at random (faultPerMille in 1000) and
   * records handed back are damaged at random (garblePerMille in 1000), drawn from a generator
   * seeded with {@code seed}. Both 0 switch it off; {@link #reset} does too.
   */
  public static native void chaos(long seed, int faultPerMille, int garblePerMille);

  /** Names of every SD function the simulator exports. */
  public static native String[] sdFunctions();

  /** The call log as JSON text (an array of calls, oldest first). */
  public static native String callLogJson();

  public static native void clearCallLog();

  /**
   * The fields of a record the library passed (as {@link SimCall#record} gives it) by their names
   * in the scenario format, as JSON text; "" when the simulator does not know a record of that size.
   */
  public static native String decodeRecord(byte[] record);

  /** The simulator's current state as JSON in the scenario schema. */
  public static native String stateJson();

  /** Queues an event for the adapter with this instance number; up to 7 payload words, rest 0. */
  public static native void pushEvent(int instance, int code, int[] payload);

  /**
   * Moves the simulator's clock {@code ms} milliseconds forward (IllegalArgumentException when
   * negative): adapters' event scripts see that much more time elapsed, and events queued from
   * now on are stamped that much later. {@link #reset} and scenario loads return to real time.
   */
  public static native void advanceClock(int ms);

  /** Flushes C stdout and redirects file descriptor 1 into a temporary file. */
  public static native void startCapture();

  /** Flushes C stdout, restores file descriptor 1 and returns the bytes written meanwhile. */
  public static native byte[] stopCapture();

  /** The call log, parsed. */
  public static List<SimCall> calls() {
    JsonNode root;
    try {
      root = MAPPER.readTree(callLogJson());
    } catch (IOException e) {
      throw new UncheckedIOException("call log is not valid JSON", e);
    }
    List<SimCall> out = new ArrayList<>(root.size());
    for (JsonNode call : root) {
      out.add(new SimCall(call));
    }
    return Collections.unmodifiableList(out);
  }

  /** The calls of one SD function, oldest first. */
  public static List<SimCall> calls(String fn) {
    List<SimCall> out = new ArrayList<>();
    for (SimCall c : calls()) {
      if (c.fn().equals(fn)) {
        out.add(c);
      }
    }
    return Collections.unmodifiableList(out);
  }

  /**
   * Runs {@code r} with standard output captured and returns what was written, as ISO-8859-1 text
   * (one char per byte). Standard output is restored also when {@code r} throws.
   */
  public static String captureStdout(Runnable r) {
    System.out.flush();
    startCapture();
    byte[] out;
    try {
      r.run();
    } finally {
      System.out.flush();
      out = stopCapture();
    }
    return new String(out, StandardCharsets.ISO_8859_1);
  }
}
