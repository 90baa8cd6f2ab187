// Library and adapter sessions: open, close, version, status texts, trace.
#include <cstring>

#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::SdCall;

SD_EXPORT SD_STATUS SDOpenDeviceiSCSI(uint32_t instance, SDMGT_HANDLE* handle) {
  SdCall c("SDOpenDeviceiSCSI");
  c.arg("instance", instance).rec("handle", handle, sizeof(SDMGT_HANDLE));
  if (c.faulted()) return c.status();
  if (!handle) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  Adapter* a = c.state().by_instance(instance);
  if (!a) return c.done(IZKSIM_ST_NO_SUCH_INSTANCE);
  a->open = true;  // opening an open adapter again gives the same handle
  *handle = a->handle;
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDCloseDeviceiSCSI(SDMGT_HANDLE handle) {
  SdCall c("SDCloseDeviceiSCSI");
  c.arg("handle", handle);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  a->open = false;
  return c.done(IZKSIM_OK);
}

SD_EXPORT SD_STATUS SDGetVersioniSCSI(char* buffer, uint32_t length) {
  SdCall c("SDGetVersioniSCSI");
  c.arg("length", length).rec("buffer", buffer, buffer ? length : 0);
  if (c.faulted()) return c.status();
  if (!buffer || length == 0) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const std::string& v = c.state().version;
  const size_t n = v.size() < length - 1 ? v.size() : length - 1;
  std::memcpy(buffer, v.data(), n);
  buffer[n] = '\0';
  return c.done(IZKSIM_OK);
}

SD_EXPORT const char* SDGetErrorStringiSCSI(SD_STATUS status) {
  // Logged like every call; a fault cannot apply, the result is a text.
  SdCall c("SDGetErrorStringiSCSI");
  c.arg("status", status);
  const char* text = izksim::status_text(status);
  const std::string& failure = izksim::Sim::get().loadFailure;
  if (status == IZKSIM_ST_SCENARIO_ERROR && !failure.empty()) {
    // The reason goes with the text, for whoever prints it.
    static thread_local std::string withReason;
    withReason = std::string(text) + ": " + failure;
    text = withReason.c_str();
  }
  c.done(IZKSIM_OK);
  return text;
}

SD_EXPORT SD_STATUS SDEnableDebugTraceiSCSI(SDMGT_HANDLE* handle, const char* fileName, int32_t level) {
  SdCall c("SDEnableDebugTraceiSCSI");
  if (handle) c.arg("handle", *handle);
  c.rec("handle", handle, sizeof(SDMGT_HANDLE)).text("fileName", fileName).arg_signed("level", level);
  if (c.faulted()) return c.status();
  // The trace belongs to the library, not to one adapter: any handle value
  // (even 0 for an adapter not open) switches it on.
  if (!handle || !fileName || !*fileName) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  FILE* f = std::fopen(fileName, "a");
  if (!f) return c.done(IZKSIM_ST_FILE_ERROR);
  c.sim().close_trace();
  c.sim().trace = f;
  c.sim().traceFile = fileName;
  std::fprintf(f, "-- izksdm trace on, level %d --\n", int(level));
  std::fflush(f);
  return c.done(IZKSIM_OK);
}
