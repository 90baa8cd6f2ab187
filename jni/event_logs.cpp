// The adapter's connection error log and ARP table, handed to Java as one
// flat long[] (a fixed number of longs per entry), and the crash record,
// which the library saves to a file.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal.h"

using namespace dvh;

namespace {

// Where each long of an entry comes from: `width` bytes at `offset` from the
// entry's start, zero-extended.
struct Slot {
    uint32_t offset;
    uint32_t width;
};

// Connection error log: 11 longs per entry. The last three are bytes 18, 19
// and 20 of the entry: reserved[0] is skipped and the window reaches one
// byte into the next entry (past the last entry, the byte after it).
constexpr Slot kConnErrorSlots[] = {
    {offsetof(CONNERRTABLE, timeStamp.seconds), 4},
    {offsetof(CONNERRTABLE, timeStamp.milliseconds), 4},
    {offsetof(CONNERRTABLE, deviceIndex), 2},
    {offsetof(CONNERRTABLE, connState), 2},
    {offsetof(CONNERRTABLE, entryType), 1},
    {offsetof(CONNERRTABLE, errorType), 1},
    {offsetof(CONNERRTABLE, errorDetail), 2},
    {offsetof(CONNERRTABLE, dupErrorCnt), 1},
    {18, 1},
    {19, 1},
    {20, 1},
};

// ARP log: 26 longs per entry: the 16 address bytes, Type, Reserved, the six
// MAC bytes, valid, time_in.
constexpr Slot kArpSlots[] = {
    {0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}, {8, 1}, {9, 1}, {10, 1}, {11, 1}, {12, 1},
    {13, 1}, {14, 1}, {15, 1},
    {offsetof(ARPTABLE, ipAddr.Type), 2},
    {offsetof(ARPTABLE, ipAddr.Reserved), 2},
    {offsetof(ARPTABLE, macAddr) + 0, 1}, {offsetof(ARPTABLE, macAddr) + 1, 1}, {offsetof(ARPTABLE, macAddr) + 2, 1},
    {offsetof(ARPTABLE, macAddr) + 3, 1}, {offsetof(ARPTABLE, macAddr) + 4, 1}, {offsetof(ARPTABLE, macAddr) + 5, 1},
    {offsetof(ARPTABLE, valid), 1},
    {offsetof(ARPTABLE, time_in), 1},
};

// One slot of an entry, its width known when compiling.
template <uint32_t Width>
jlong loadSlot(const uint8_t* at)
{
    static_assert(Width == 1 || Width == 2 || Width == 4, "slot width");
    if constexpr (Width == 1) {
        return at[0];
    } else if constexpr (Width == 2) {
        uint16_t v;
        std::memcpy(&v, at, sizeof v);  // little-endian host and record
        return v;
    } else {
        uint32_t v;
        std::memcpy(&v, at, sizeof v);
        return v;
    }
}

template <const Slot* Slots, size_t... K>
void readEntry(const uint8_t* entry, jlong* out, std::index_sequence<K...>)
{
    ((out[K] = loadSlot<Slots[K].width>(entry + Slots[K].offset)), ...);
}

// Every entry's longs, the slot table unrolled into fixed-offset loads.
template <const Slot* Slots, size_t Count, size_t EntrySize>
void readEntries(const uint8_t* buffer, uint32_t entries, jlong* out)
{
    for (uint32_t n = 0; n < entries; ++n)
        readEntry<Slots>(buffer + size_t{n} * EntrySize, out + size_t{n} * Count, std::make_index_sequence<Count>{});
}

// One log: the library's log type, its record, the buffer's capacity, how
// its entries become longs, the Java setter and the texts of its failures.
struct LogKind {
    uint32_t logType;
    size_t entrySize;
    const Slot* slots;
    size_t slotCount;
    void (*read)(const uint8_t* buffer, uint32_t entries, jlong* out);
    const marshal::Method* setter;
    const char* libraryFailure;  // printf format taking the status
};

constexpr uint32_t kLogCapacity = 128;

// Both setters print the connection error log's text when missing.
constexpr marshal::Method kSetConnErrorEntries = marshal::method("setConnectErrorLogEntries", "([J)V");
constexpr marshal::Method kSetArpEntries =
    marshal::method("setARPLogEntries", "([J)V").message("GetMethodID setConnectErrorLogEntries call failed!\n");

constexpr LogKind kConnErrorLog{1,
                                sizeof(CONNERRTABLE),
                                kConnErrorSlots,
                                std::size(kConnErrorSlots),
                                readEntries<kConnErrorSlots, std::size(kConnErrorSlots), sizeof(CONNERRTABLE)>,
                                &kSetConnErrorEntries,
                                "SDGetLogs call failed! %x \n"};
constexpr LogKind kArpLog{2,
                          sizeof(ARPTABLE),
                          kArpSlots,
                          std::size(kArpSlots),
                          readEntries<kArpSlots, std::size(kArpSlots), sizeof(ARPTABLE)>,
                          &kSetArpEntries,
                          "SDGetLogs call failed!\n"};

constexpr bool slotsInside(const LogKind& log)
{
    // One byte past an entry is read at most; the buffer keeps a spare byte for it.
    for (size_t i = 0; i < log.slotCount; ++i)
        if (log.slots[i].offset + log.slots[i].width > log.entrySize + 1)
            return false;
    return true;
}
static_assert(std::size(kConnErrorSlots) == 11 && std::size(kArpSlots) == 26, "longs per entry");
static_assert(kLogCapacity * sizeof(CONNERRTABLE) == 2560 && kLogCapacity * sizeof(ARPTABLE) == 3584, "log buffers");
static_assert(slotsInside(kConnErrorLog) && slotsInside(kArpLog), "log slots");

// The larger log's buffer, and its longs.
constexpr size_t kLogBufferBytes = kLogCapacity * sizeof(ARPTABLE) + 1;
constexpr size_t kMostSlots = std::size(kArpSlots);
static_assert(sizeof(ARPTABLE) >= sizeof(CONNERRTABLE) && kMostSlots >= std::size(kConnErrorSlots), "largest log");

jint getLog(JNIEnv* env, jint dev, jobject jObj, const LogKind& log)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jObj) {
        std::printf("NULL Java Obj!\n");
        return kStatusNullObject;
    }
    // The capacity of 128 entries, plus one zero byte so that the window of
    // the last entry never reads past the buffer.
    uint8_t buffer[kLogBufferBytes] = {};
    uint32_t numEntries = 0;
    const SD_STATUS status = SDGetLogs(handleAt(dev), log.logType, &numEntries, buffer);
    if (status != 0) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::printf(log.libraryFailure, status);
#pragma GCC diagnostic pop
        return static_cast<jint>(status);
    }
    // The library is trusted no further than the buffer's 128 entries.
    const uint32_t entries = std::min(numEntries, kLogCapacity);
    const size_t count = static_cast<size_t>(entries) * log.slotCount;
    jlong values[kLogCapacity * kMostSlots];  // the first `count` are written
    log.read(buffer, entries, values);
    LocalRef<jlongArray> array(env, env->NewLongArray(static_cast<jsize>(count)));
    if (!array)
        return kStatusJavaThrew;  // out of memory, left pending
    env->SetLongArrayRegion(array.get(), 0, static_cast<jsize>(count), values);

    LocalRef<jclass> cls = objectClass(env, jObj);
    return marshal::callVoid(env, jObj, cls.get(), *log.setter, array.get());
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getConnectErrorLog(JNIEnv* env, jobject, jint dev,
                                                                                   jobject jObj)
{
    return getLog(env, dev, jObj, kConnErrorLog);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getARPLog(JNIEnv* env, jobject, jint dev,
                                                                          jobject jObj)
{
    return getLog(env, dev, jObj, kArpLog);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_retrieveCrashRecord(JNIEnv* env, jobject, jint dev,
                                                                                    jstring fileName)
{
    // The file name is taken first; it is released on every way out.
    if (!fileName) {
        std::printf("NULL fileName!\n");
        return kStatusNullObject;
    }
    UtfChars chars(env, fileName);
    if (!chars)
        return kStatusJavaThrew;  // out of memory, left pending
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    const SD_STATUS status = SDGetCrashRecord(handleAt(dev), chars.get());
    if (status != 0)
        std::printf("JNI: SDGetCrashRecord failed! %x\n", status);
    return static_cast<jint>(status);
}

}  // extern "C"
