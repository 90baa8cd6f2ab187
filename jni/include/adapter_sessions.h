// The table of open adapter handles and the rule by which native methods turn
// a Java instance number into a library handle.
#ifndef DVH_ADAPTER_SESSIONS_H
#define DVH_ADAPTER_SESSIONS_H

#include <jni.h>

#include <cstdint>

#include "sdm/sdm_api.h"

namespace dvh {

constexpr int kMaxAdapters = 32;

// The index test of every per-adapter method: true when `dev` is above 31.
// Negative values pass the test (the Java side passes 0..31).
inline bool devOutOfRange(jint dev) { return dev > kMaxAdapters - 1; }

// hbaHandles[dev]. Instance numbers outside the table (negative ones, or 32
// for the one method that accepts it) read as handle 0, never outside it.
SDMGT_HANDLE handleAt(jint dev);
// Stores a handle; a write outside the table is skipped.
void setHandleAt(jint dev, SDMGT_HANDLE handle);
void clearHandles();

// Session operations behind the native methods, usable without a JVM.
bool openDeviceShared(jint dev);
bool closeDeviceShared(jint dev);
// Fills `buffer` (31 bytes) with the library's version text.
void versionShared(char (&buffer)[31]);
jint enableSdmTraceShared(jint dev, const char* fileName);

}  // namespace dvh

// First index of hbaHandles holding `handle`, or -1.
int findHBADevHandleIndex(SDMGT_HANDLE handle);

#endif  // DVH_ADAPTER_SESSIONS_H
