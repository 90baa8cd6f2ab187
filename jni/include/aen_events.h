// Asynchronous event notifications (AENs): switching event collection on and
// off per adapter, draining the library's queue on demand, filtering the
// events against the registry and the per-adapter ignore flags, and telling
// the Java side in one call of jniAENCallBack what kinds of events happened.
//
// Delivery is pulled by the Java caller of getAENsForDevice and runs on its
// thread; nothing is kept between calls except the ignore flags. Several Java
// threads may fetch at once: the flags are atomic, the event texts are
// returned by value, and the registry is read under its lock.
#ifndef DVH_AEN_EVENTS_H
#define DVH_AEN_EVENTS_H

#include <jni.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>

#include "jni_agent_shared.h"
#include "sdm/sdm_api.h"

// Event codes of the library's queue.
enum : uint32_t {
    kAenFwSystemError = 0x8002,
    kAenProtocolStatisticsAlarm = 0x8005,
    kAenScsiCommandPduReject = 0x8006,
    kAenLinkUp = 0x8010,
    kAenLinkDown = 0x8011,
    kAenDdbChanged = 0x8014,
    kAenFwSelfTestFailed = 0x8016,
    kAenFwHeartbeat = 0x8019,
    kAenInvalidNvram = 0x801a,
    kAenMacAddressChanged = 0x801b,
    kAenIpAddressChanged = 0x801c,
    kAenDhcpLeaseExpired = 0x801d,
    kAenDhcpLeaseAcquired = 0x801f,
    kAenIsnsEvent = 0x8021,
    kAenSocketPassthrough = 0x8023,
    kAenDuplicateIpAddress = 0x8025,
    kAenArpComplete = 0x8026,
    kAenSubnetStateChange = 0x8027,
};

// Update bit of an event code the tables do not know.
constexpr uint32_t kAenUnknownUpdateBit = 0x40000000u;

// One fetch drains at most this many events.
constexpr uint32_t kAenBufferEvents = 256;
constexpr size_t kAenBufferBytes = kAenBufferEvents * sizeof(ASYNC_EVENT);

// ---------------------------------------------------------------------------
// Ignore flags (g_IgnoreCurrentAENs): one per Java instance number 0..31,
// 1 = skip the adapter's events. Writes outside the table are skipped; reads
// outside it answer 0 ("not ignored").
// ---------------------------------------------------------------------------

int32_t IgnoreCurrentAENsAt(int64_t index);
void SetIgnoreCurrentAENs(int64_t index, int32_t value);
// Last ignoreAENs argument given to SetAENValidTimeShared (g_PriorAENIngore).
int32_t PriorAENIgnore();

// ---------------------------------------------------------------------------
// Shared services
// ---------------------------------------------------------------------------

// Switches event collection on for an adapter. With useCallBackFunction the
// library's own polling loop is started (and *thisHBAareAENsEnabled set on
// success); without it events are only collected, to be drained by
// GetAENsShared. setAENTimerInterval is in milliseconds and is clamped.
SD_STATUS EnableiSCSI_AENsShared(SDMGT_HANDLE thisHbaHandle, int32_t useCallBackFunction, int32_t areAENsActive,
                                 int32_t* thisHBAareAENsEnabled, uint32_t setAENTimerInterval,
                                 int32_t isSWInitiator, int32_t deletingHBAList,
                                 SDM_AEN_CALLBACK aenCallbackFunction);
// Switches event collection off (and stops the polling loop when one runs).
SD_STATUS DisableiSCSI_AENs_Shared(SDMGT_HANDLE thisHbaHandle, int32_t useCallBackFunction, int32_t areAENsActive,
                                   int32_t thisHBAareAENsEnabled, int32_t levelShutdown);
// Tells the library that only events from now on are valid.
SD_STATUS SetAENValidTimeShared(SDMGT_HANDLE thisHbaHandle, int32_t ignoreAENs, int32_t thisHBAareAENsEnabled,
                                int32_t isSWInitiator);
// Drains up to AENBuffSize events into pEvents. *AENCount never exceeds
// AENBuffSize, whatever the library reports.
SD_STATUS GetAENsShared(SDMGT_HANDLE thisHbaHandle, ASYNC_EVENT* pEvents, uint32_t AENBuffSize,
                        uint32_t* AENCount, uint32_t* AENRollOverFlag, int32_t ignoreAENs,
                        int32_t thisHBAareAENsEnabled, int32_t isSWInitiator);
// Always 0.
int32_t CheckIgnoreAENUpdateOpShared();

// 1 when the event counts as an update for the Java side, else 0; stores the
// event's update bit into *javaID. Device database changes count only when
// they change the state recorded for the target in pThisHBA's list (which
// may be null). Takes the registry lock itself.
int32_t IsUpdateAENShared(const ASYNC_EVENT* pThisEvent, SDMHba* pThisHBA, uint32_t* javaID);

// An event or state text, held in place (at most 255 characters), so that
// describing an event needs no heap allocation.
class AenText {
public:
    AenText() = default;
    explicit AenText(const char* text);
    const char* c_str() const { return text_; }
    friend bool operator==(const AenText& a, const char* b) { return std::strcmp(a.text_, b) == 0; }
    friend bool operator==(const char* a, const AenText& b) { return b == a; }
    friend bool operator==(const AenText& a, const std::string& b) { return b == a.text_; }
    friend bool operator==(const std::string& a, const AenText& b) { return a == b.text_; }
    friend std::ostream& operator<<(std::ostream& out, const AenText& t) { return out << t.text_; }

    static AenText format(const char* format, ...) __attribute__((format(printf, 1, 2)));

private:
    char text_[256] = {};
};

// Text of an event, and of a target's connection state.
AenText GetAENStringiSCSI(const ASYNC_EVENT* pThisEvent);
AenText GetConnStateString(uint32_t connState);

// ---------------------------------------------------------------------------
// The handler of one fetch
// ---------------------------------------------------------------------------

// Result of one call of the Java callback.
struct AenCallResult {
    jint value = 0;
    bool threw = false;  // the call left a Java exception pending
};

// The Java callback jniAENCallBack(javaIndex, updateMask, numJavaHBAs). An
// empty function stands for a missing environment, object or method.
using AenJavaCallback = std::function<AenCallResult(jint javaIndex, jint updateMask, jint numJavaHBAs)>;

// Filters the fetched events and calls the callback at most once with the
// OR of the update bits. Returns 1 when the adapter's events are ignored, -1
// when the callback threw (its exception stays pending), else 0.
int32_t AENHandlerCore(SDMGT_HANDLE hbaSdmHandle, const ASYNC_EVENT* pEvents, uint32_t eventCount,
                       uint32_t queueRollOverFlag, int32_t numJavaHBAs, const AenJavaCallback& callback);

// The same for a Java object and method: calls fullHostObj.jniAENCallBack
// when env, fullHostObj and mid are all present.
int32_t AENHandlerFunction(SDMGT_HANDLE hbaSdmHandle, const ASYNC_EVENT* pEvents, uint32_t eventCount,
                           uint32_t queueRollOverFlag, int32_t numJavaHBAs, jobject fullHostObj, jmethodID mid,
                           JNIEnv* env);

// ---------------------------------------------------------------------------
// The native methods, usable without a JVM
// ---------------------------------------------------------------------------

namespace dvh {

// Seconds asked for by the Java side, clamped, in milliseconds.
uint32_t aenIntervalMilliseconds(jint timerInterval);

jint enableAENsForDeviceShared(jint dev, jint timerInterval, bool haveCallbackObject);
jint disableAENsForDeviceShared(jint dev, jint levelShutdown);
jint ignoreAENsShared(jint dev, jint ignoreFlag);
jint startAENValidTimeShared(jint dev);

// Drains the adapter's queue, then asks `lookup` for the Java callback; an
// empty callback means jniAENCallBack was not found (result -1). Returns the
// status of the fetch.
jint getAENsForDeviceShared(jint dev, jint numHwHBAs, const std::function<AenJavaCallback()>& lookup);

}  // namespace dvh

#endif  // DVH_AEN_EVENTS_H
