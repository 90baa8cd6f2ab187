/*
 * izksim.h - control interface of the adapter simulator.
 *
 * The simulator is a stand-in libizksdm.so: it exports every SD function of
 * the device-management library and answers them from a scenario (adapters,
 * targets, LUNs, device database, events) described in JSON. Besides the SD
 * functions it exports the izksim_ functions below, which tests use to load
 * scenarios, inject failures and look at what the product sent.
 *
 * Every function here and every SD function is safe to call from several
 * threads at once (one lock guards the simulator's state).
 */
#ifndef IZKSIM_IZKSIM_H
#define IZKSIM_IZKSIM_H

#include <stddef.h>
#include <stdint.h>

#if defined(IZKSIM_BUILDING)
#define IZKSIM_EXPORT __attribute__((visibility("default")))
#else
#define IZKSIM_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Status values of the simulated library. 0 is success; every other value
 * is returned by the SD functions as their 32-bit status and has a text from
 * SDGetErrorStringiSCSI. Values not listed come back as
 * "Unknown status 0x%08x".
 */
#define IZKSIM_OK                        0x00000000u /* "Success" */
#define IZKSIM_ST_INVALID_HANDLE         0x20000001u /* "Invalid or closed adapter handle" */
#define IZKSIM_ST_NO_SUCH_INSTANCE       0x20000002u /* "Adapter instance not present" */
#define IZKSIM_ST_INVALID_PARAMETER      0x20000003u /* "Invalid parameter (null pointer or value out of range)" */
#define IZKSIM_ST_TARGET_NOT_FOUND       0x20000004u /* "Target not found" */
#define IZKSIM_ST_LUN_NOT_FOUND          0x20000005u /* "Logical unit not found" */
#define IZKSIM_ST_FILE_ERROR             0x20000007u /* "File could not be opened" */
#define IZKSIM_ST_ENTRY_NOT_FOUND        0x20000008u /* "Entry not found" */
#define IZKSIM_ST_AEN_NOT_ENABLED        0x20000009u /* "Asynchronous events not enabled" */
#define IZKSIM_ST_TARGET_NOT_ACTIVE      0x2000000Au /* "Target session not active" */
#define IZKSIM_ST_NOT_SUPPORTED_OS       0x2000001Cu /* "Request not supported on this operating system" */
#define IZKSIM_ST_OUT_OF_MEMORY          0x2000001Fu /* "Out of memory" */
#define IZKSIM_ST_NOT_SUPPORTED          0x2000002Du /* "Request not supported by this adapter" */
#define IZKSIM_ST_PING_NO_REPLY          0x2000003Eu /* "No reply to ping" */
#define IZKSIM_ST_LOOPBACK_FAILED        0x2000003Fu /* "Loopback test failed" */
#define IZKSIM_ST_CHECK_CONDITION        0x20000040u /* "SCSI command completed with check condition (sense data returned)" */
#define IZKSIM_ST_BUFFER_TOO_SMALL       0x20000072u /* "Buffer too small" */
#define IZKSIM_ST_DATA_UNDERRUN          0x20000077u /* "SCSI command completed with data underrun" */
#define IZKSIM_ST_MORE_DATA              0x2000007Eu /* "Table read partially (more entries available)" */
#define IZKSIM_ST_BOOTCODE_ERASE_NEEDED  0x2000008Fu /* "Boot code region must be erased before update" */
#define IZKSIM_ST_NOT_SIMULATED          0x200000F0u /* "Function not simulated" */
#define IZKSIM_ST_SCENARIO_ERROR         0x200000F1u /* "Scenario could not be loaded" */

/* Reload the built-in default scenario, or the file named by the
 * environment variable IZKSDM_SCENARIO when it is set; clear faults, the
 * call log, event queues, the debug trace and the clock's advance
 * (izksim_advance_clock). Returns 0 or
 * IZKSIM_ST_SCENARIO_ERROR (text in izksim_last_error). After a failed load
 * the simulator holds no adapters and its SD functions answer
 * IZKSIM_ST_SCENARIO_ERROR (see izksim_load_failure). */
IZKSIM_EXPORT int izksim_reset(void);

/* Replace the whole state by the scenario given as JSON text (or read from
 * a file); faults, call log, event queues, trace and clock advance are
 * cleared as by izksim_reset. Returns 0 or IZKSIM_ST_SCENARIO_ERROR; on error the state
 * is left as it was. */
IZKSIM_EXPORT int izksim_load_scenario_json(const char* json);
IZKSIM_EXPORT int izksim_load_scenario_file(const char* path);

/* Text of the last scenario load error ("" when the last load succeeded).
 * The pointer stays valid until the calling thread asks again. */
IZKSIM_EXPORT const char* izksim_last_error(void);

/* Why the simulator holds no scenario: the reason izksim_reset (or the first
 * use, with IZKSDM_SCENARIO) could not load the scenario it was given, or ""
 * while a scenario is loaded. During such a failure every SD function except
 * SDGetErrorStringiSCSI answers IZKSIM_ST_SCENARIO_ERROR, each such call
 * carries the reason in the call log (text "scenarioError"), and
 * SDGetErrorStringiSCSI(IZKSIM_ST_SCENARIO_ERROR) answers
 * "Scenario could not be loaded: <reason>". A failed izksim_load_scenario_*
 * keeps the state it had and starts no such failure. The pointer stays valid
 * until the calling thread asks again. */
IZKSIM_EXPORT const char* izksim_load_failure(void);

/* The fields of a record the library passed (bytes as in the call log) by
 * the names the scenario format gives them, as a JSON object: the record is
 * known by its size (HBAISCSIPORTAL, NODEINFOISCSI, HBAISCSINODE, DRIVERINFO,
 * CHIPINFO, ISCSIDEVICE, DEVICEENTRYISCSI, DNS, INITFWISCSI,
 * TARGETINFORMATION, DISCISCSIPORTAL, DISCISCSINODE, SDMBOOTCODE); "" for
 * any other size. Same length convention as izksim_call_log_json. */
IZKSIM_EXPORT size_t izksim_decode_record(const uint8_t* bytes, size_t size, char* buffer, size_t capacity);

/* Make the SD function `function` return `status` without doing its work:
 * on its next call only (once != 0) or on every call until cleared. A new
 * fault for the same function replaces the old one. SDGetErrorStringiSCSI
 * returns a text, not a status, and ignores faults. */
IZKSIM_EXPORT void izksim_set_fault(const char* function, uint32_t status, int once);
IZKSIM_EXPORT void izksim_clear_faults(void);

/* Chaos mode, for fuzzing: every SD call without a fault of its own fails
 * with probability fault_per_mille/1000, with a status drawn at random (the
 * statuses above and arbitrary values); every record a successful SDGet...,
 * SDSend..., SDDiag... or SDPerform... call hands back is damaged with
 * probability garble_per_mille/1000 (all 0xFF, random bytes, unterminated
 * text, or huge counts and lengths at random places). The draws come from a
 * generator seeded with `seed`. Both 0 switch it off; izksim_reset also does. */
IZKSIM_EXPORT void izksim_set_chaos(uint64_t seed, uint32_t fault_per_mille, uint32_t garble_per_mille);

/* Name of the index-th SD function the simulator exports (0, 1, ...), null
 * past the last one. */
IZKSIM_EXPORT const char* izksim_sd_function(size_t index);

/* The call log as a JSON array, oldest call first:
 *   [{"seq":1,"fn":"SDOpenDeviceiSCSI","args":{"instance":0},"text":{},
 *     "records":{"handle":"00000000"},"status":0}, ...]
 * "args" holds the scalar arguments by name (pointed-to scalars as they were
 * at entry), "text" the string arguments (null for a null pointer), "records"
 * the bytes of every record or buffer passed in, as lowercase hex, as they
 * were at entry (null for a null pointer), "status" the returned status.
 * Writes at most capacity-1 bytes and a NUL (nothing when capacity is 0) and
 * returns the full length of the text, without the NUL. The log keeps the
 * last IZKSIM_CALL_LOG_LIMIT calls and at most IZKSIM_CALL_LOG_BYTES bytes
 * of record data; older calls are dropped. */
#define IZKSIM_CALL_LOG_LIMIT 10000
#define IZKSIM_CALL_LOG_BYTES (32u * 1024u * 1024u)
IZKSIM_EXPORT size_t izksim_call_log_json(char* buffer, size_t capacity);
IZKSIM_EXPORT void izksim_clear_call_log(void);

/* Queue an asynchronous event for the adapter with this instance number,
 * time-stamped now. payload may be null (all zero). Returns 0 or
 * IZKSIM_ST_NO_SUCH_INSTANCE. Events queue whether or not the adapter's
 * events are enabled; SDGetAeniSCSI delivers them once enabled. The event
 * is only queued: unlike a scripted device database change (0x8014), it
 * changes nothing in the adapter's state. */
IZKSIM_EXPORT int izksim_push_event(uint32_t instance, uint32_t code, const uint32_t payload[7]);

/* Move the simulator's clock forward by `milliseconds`, as if that much time
 * had passed: the elapsed time that drives the adapters' event scripts, the
 * time stamps of events queued from now on (scripted or pushed) and the time
 * SDSetAENValidTime(handle, 0) takes as "now" all move with it, so tests see
 * scripted events without sleeping. The clock never moves back except on
 * izksim_reset or a scenario load, which return it to the real time. Due
 * script events are queued the next time the adapter is looked at (any SD
 * call on its handle, izksim_push_event, izksim_state_json). */
IZKSIM_EXPORT void izksim_advance_clock(uint32_t milliseconds);

/* The current state (adapters as loaded and as changed by SD calls) as
 * JSON, with the same length convention as izksim_call_log_json. */
IZKSIM_EXPORT size_t izksim_state_json(char* buffer, size_t capacity);

#ifdef __cplusplus
}
#endif

#endif /* IZKSIM_IZKSIM_H */
