package com.norvik.dvh.iscsi.sim;

import com.fasterxml.jackson.databind.JsonNode;
import java.util.HexFormat;

/** One SD call from the simulator's call log. */
public final class SimCall {
  private final JsonNode node;

  SimCall(JsonNode node) {
    this.node = node;
  }

  /** Name of the SD function. */
  public String fn() {
    return node.path("fn").asText();
  }

  /** Sequence number; increases by one per call across all functions. */
  public long seq() {
    return node.path("seq").asLong();
  }

  /** Status the simulator returned. */
  public long status() {
    return node.path("status").asLong();
  }

  /** A scalar argument; IllegalArgumentException when the call has no such argument. */
  public long arg(String name) {
    JsonNode v = node.path("args").get(name);
    if (v == null || !v.isIntegralNumber()) {
      throw new IllegalArgumentException(
          "call #" + seq() + " " + fn() + " has no argument " + name + ": " + node.path("args"));
    }
    return v.asLong();
  }

  public boolean hasArg(String name) {
    return node.path("args").has(name);
  }

  /** A string argument, or null when absent or passed as a null pointer. */
  public String text(String name) {
    JsonNode v = node.path("text").get(name);
    return v == null || v.isNull() ? null : v.asText();
  }

  /** The bytes of a record or buffer as they were when the call began, or null. */
  public byte[] record(String name) {
    JsonNode v = node.path("records").get(name);
    return v == null || v.isNull() ? null : HexFormat.of().parseHex(v.asText());
  }

  @Override
  public String toString() {
    return node.toString();
  }
}
