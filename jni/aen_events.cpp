// Asynchronous event notifications: enable/disable per adapter, the fetch on
// behalf of the Java side, the filter and the single Java callback per fetch.
#include "aen_events.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "adapter_sessions.h"
#include "jni_support.h"

namespace {

constexpr int kIgnoreSlots = 32;

// g_IgnoreCurrentAENs. Atomic so that several Java threads may mute, unmute
// and fetch at the same time.
std::atomic<int32_t> g_IgnoreCurrentAENs[kIgnoreSlots];
// g_PriorAENIngore: remembered, read by nobody.
std::atomic<int32_t> g_PriorAENIngore{0};

bool inIgnoreTable(int64_t index) { return index >= 0 && index < kIgnoreSlots; }

// The library's handles of adapters for which events are switched on are
// small numbers; larger values are not adapters of this kind.
constexpr SDMGT_HANDLE kMaxAenHandle = 32;

// Interval limits in milliseconds.
constexpr uint32_t kDefaultIntervalMs = 30000;
constexpr uint32_t kShortestIntervalMs = 2000;
constexpr uint32_t kLongestIntervalMs = 0x8FFFFF;

// Interval limits of the native method, in seconds.
constexpr uint32_t kShortestIntervalSeconds = 2;
constexpr uint32_t kLongestIntervalSeconds = 2147480;

int asInt(uint32_t value) { return static_cast<int>(value); }

// The update bit of each event code, and whether it is known at all.
uint32_t updateBitOf(uint32_t code)
{
    switch (code) {
    case kAenFwSystemError: return 0x1;
    case kAenProtocolStatisticsAlarm: return 0x2;
    case kAenScsiCommandPduReject: return 0x4;
    case kAenLinkUp: return 0x8;
    case kAenLinkDown: return 0x10;
    case kAenDdbChanged: return 0x20;
    case kAenFwSelfTestFailed: return 0x40;
    case kAenFwHeartbeat: return 0x100;
    case kAenInvalidNvram: return 0x200;
    case kAenMacAddressChanged: return 0x400;
    case kAenIpAddressChanged: return 0x800;
    case kAenDhcpLeaseExpired: return 0x1000;
    case kAenDhcpLeaseAcquired: return 0x2000;
    case kAenIsnsEvent: return 0x4000;
    case kAenSocketPassthrough: return 0x8000;
    case kAenDuplicateIpAddress: return 0x10000;
    case kAenArpComplete: return 0x20000;
    case kAenSubnetStateChange: return 0x40000;
    default: return kAenUnknownUpdateBit;
    }
}

// ctime of the event's 32-bit seconds, with ctime's trailing newline, into
// `text` (at least 26 bytes); empty when the time cannot be shown.
const char* eventTimeText(const ASYNC_EVENT& event, char (&text)[64])
{
    time_t seconds = static_cast<time_t>(event.TimeStamp.time);
    text[0] = '\0';
    if (!ctime_r(&seconds, text))
        text[0] = '\0';
    return text;
}

}  // namespace

AenText::AenText(const char* text)
{
    if (text) {
        std::strncpy(text_, text, sizeof text_ - 1);
        text_[sizeof text_ - 1] = '\0';
    }
}

AenText AenText::format(const char* format, ...)
{
    AenText t;
    va_list args;
    va_start(args, format);
    std::vsnprintf(t.text_, sizeof t.text_, format, args);
    va_end(args);
    return t;
}

int32_t IgnoreCurrentAENsAt(int64_t index)
{
    return inIgnoreTable(index) ? g_IgnoreCurrentAENs[index].load() : 0;
}

void SetIgnoreCurrentAENs(int64_t index, int32_t value)
{
    if (inIgnoreTable(index))
        g_IgnoreCurrentAENs[index].store(value);
}

int32_t PriorAENIgnore() { return g_PriorAENIngore.load(); }

// ---------------------------------------------------------------------------
// Shared services
// ---------------------------------------------------------------------------

SD_STATUS EnableiSCSI_AENsShared(SDMGT_HANDLE thisHbaHandle, int32_t useCallBackFunction, int32_t areAENsActive,
                                 int32_t* thisHBAareAENsEnabled, uint32_t setAENTimerInterval,
                                 int32_t isSWInitiator, int32_t deletingHBAList,
                                 SDM_AEN_CALLBACK aenCallbackFunction)
{
    if (thisHbaHandle > kMaxAenHandle || areAENsActive != 1 || deletingHBAList != 0 || isSWInitiator != 0)
        return 0;
    int32_t enabledScratch = 0;
    int32_t* enabled = thisHBAareAENsEnabled ? thisHBAareAENsEnabled : &enabledScratch;
    *enabled = 0;

    // Exactly the shortest interval keeps the default (2 seconds asked for
    // become 30 seconds); below it the shortest is used.
    uint32_t interval = kDefaultIntervalMs;
    if (setAENTimerInterval > kShortestIntervalMs && setAENTimerInterval < kLongestIntervalMs)
        interval = setAENTimerInterval;
    else if (setAENTimerInterval < kShortestIntervalMs)
        interval = kShortestIntervalMs;
    else if (setAENTimerInterval >= kLongestIntervalMs)
        interval = kLongestIntervalMs;

    CoreLogMessageShared(kLogDebug, "***AddHbaToHbaList: Starting AEN Polling for HBA instance %d with interval=%d",
                         asInt(thisHbaHandle), asInt(interval));
    SD_STATUS status;
    if (useCallBackFunction != 0) {
        status = SDStartAENPoll(thisHbaHandle, interval, aenCallbackFunction);
        if (status == 0)
            *enabled = 1;
        else
            CoreLogMessageShared(kLogDebug,
                                 "***AddHbaToHbaList.SDStartAENPoll: Driver does not support AENs, ErrorCode=0x%x (%s)",
                                 status, SdmErrorText(status));
    } else {
        CoreLogMessageShared(kLogDebug, "***EnableiSCSI_AENsShared: Enable AENs W/O Polling Loop");
        status = SDEnableAeniSCSI(thisHbaHandle, interval);
        if (status != 0)
            CoreLogMessageShared(kLogDebug,
                                 "***AddHbaToHbaList.SDStartAENPoll: Driver does not support AENs, ErrorCode=0x%x (%s)",
                                 status, SdmErrorText(status));
    }
    return status;
}

SD_STATUS DisableiSCSI_AENs_Shared(SDMGT_HANDLE thisHbaHandle, int32_t useCallBackFunction, int32_t areAENsActive,
                                   int32_t thisHBAareAENsEnabled, int32_t levelShutdown)
{
    if (thisHbaHandle > kMaxAenHandle)
        return 0;
    if (areAENsActive == 1 && thisHBAareAENsEnabled != 0) {
        if (useCallBackFunction != 0) {
            CoreLogMessageShared(kLogInfo, "Shutting Down AEN Polling for device[%d]", asInt(thisHbaHandle));
            SD_STATUS stopStatus = SDStopAENPoll(thisHbaHandle);
            if (stopStatus != 0)
                CoreLogMessageShared(kLogError, "***SDStopAENPoll: Failed on device[%d]: (0x%x) (%s)",
                                     asInt(thisHbaHandle), stopStatus, SdmErrorText(stopStatus));
        }
        SD_STATUS status = SDDisableAeniSCSI(thisHbaHandle, levelShutdown);
        if (status != 0)
            CoreLogMessageShared(kLogError, "***SDDisableAen: Failed on device[%d]: (0x%x) (%s)",
                                 asInt(thisHbaHandle), status, SdmErrorText(status));
        return status;
    }
    CoreLogMessageShared(kLogInfo, "***Not Closing AEN Polling for device[%d], AENs not Enabled",
                         asInt(thisHbaHandle));
    return 0;
}

SD_STATUS SetAENValidTimeShared(SDMGT_HANDLE thisHbaHandle, int32_t ignoreAENs, int32_t thisHBAareAENsEnabled,
                                int32_t isSWInitiator)
{
    SD_STATUS status = 0;
    if (ignoreAENs == 0 && thisHBAareAENsEnabled == 1 && isSWInitiator == 0) {
        status = SDSetAENValidTime(thisHbaHandle, 0);
        if (status != 0)
            CoreLogMessageShared(kLogDebug,
                                 "***SetAENValidTimeShared: Error Setting the SDSetAENValidTime (HBA:%d), "
                                 "ErrorCode=0x%x (%s)",
                                 asInt(thisHbaHandle), status, SdmErrorText(status));
    }
    g_PriorAENIngore.store(ignoreAENs);
    return status;
}

SD_STATUS GetAENsShared(SDMGT_HANDLE thisHbaHandle, ASYNC_EVENT* pEvents, uint32_t AENBuffSize,
                        uint32_t* AENCount, uint32_t* AENRollOverFlag, int32_t ignoreAENs,
                        int32_t thisHBAareAENsEnabled, int32_t isSWInitiator)
{
    uint32_t countScratch = 0;
    uint32_t rollOverScratch = 0;
    uint32_t* count = AENCount ? AENCount : &countScratch;
    uint32_t* rollOver = AENRollOverFlag ? AENRollOverFlag : &rollOverScratch;
    *count = 0;
    *rollOver = 0;
    if (ignoreAENs != 0 || thisHBAareAENsEnabled != 1 || isSWInitiator != 0)
        return 0;
    SD_STATUS status = SDGetAeniSCSI(thisHbaHandle, pEvents, AENBuffSize, count, rollOver);
    if (status != 0)
        CoreLogMessageShared(kLogWarning,
                             "***GetAENsShared: Error Getting the SDGetAeniSCSI (HBA:%d), ErrorCode=0x%x (%s)",
                             asInt(thisHbaHandle), status, SdmErrorText(status));
    // Whatever the library claims, no more events are read than the buffer holds.
    if (*count > AENBuffSize)
        *count = AENBuffSize;
    if (!pEvents)
        *count = 0;
    return status;
}

int32_t CheckIgnoreAENUpdateOpShared() { return 0; }

int32_t IsUpdateAENShared(const ASYNC_EVENT* pThisEvent, SDMHba* pThisHBA, uint32_t* javaID)
{
    if (!pThisEvent)
        return 0;
    uint32_t scratch = 0;
    uint32_t* bit = javaID ? javaID : &scratch;
    const uint32_t code = pThisEvent->Event.AsyncEventCode;
    const uint32_t* payload = pThisEvent->Event.Payload;
    *bit = updateBitOf(code);
    if (code == kAenFwHeartbeat)
        return 0;
    if (code != kAenDdbChanged)
        return 1;

    // A change of one device database entry counts only when it moves the
    // target away from the state recorded when the target list was built.
    if (payload[0] != 1)
        return 1;
    RegistryLock lock;
    const uint32_t targetIndex = payload[1];
    const uint32_t newState = payload[2];
    SDMTarget* target = FindTargetIdInTargetList(pThisHBA, targetIndex);
    if (!target) {
        CoreLogMessageShared(kLogDebug, "***IsUpdateAEN: Unable to Locate Target Instance[%d], Target Count=%d",
                             asInt(targetIndex), pThisHBA ? asInt(pThisHBA->TargetList.count) : 0);
        return 1;
    }
    if (target->State != newState) {
        // The driver's own login attempt moves a failed session (7) to 6.
        if (!(target->State == 7 && newState == 6)) {
            CoreLogMessageShared(kLogDebug,
                                 "***IsUpdateAEN: Different State for Target Instance[%d], Orig State=%d, "
                                 "New State=%d",
                                 asInt(targetIndex), asInt(target->State), asInt(newState));
            return 1;
        }
    }
    CoreLogMessageShared(kLogDebug,
                         "***IsUpdateAEN: Ignore AEN for Target Instance[%d], Duplicate State (driver login attempt)",
                         asInt(targetIndex));
    return 0;
}

AenText GetConnStateString(uint32_t connState)
{
    switch (connState) {
    case 0: return AenText("DDB UnAssigned");
    case 1: return AenText("No Active Connection");
    case 2: return AenText("Discovery State");
    case 3: return AenText("No Session Active");
    case 4: return AenText("Active Session");
    case 5: return AenText("Logging Out");
    case 6: return AenText("Session Failed");
    case 0x1007: return AenText("Offline");
    default: return AenText::format("...Unknown DDB State 0x%x...", connState);
    }
}

AenText GetAENStringiSCSI(const ASYNC_EVENT* pThisEvent)
{
    if (!pThisEvent)
        return AenText();
    const uint32_t code = pThisEvent->Event.AsyncEventCode;
    const uint32_t* payload = pThisEvent->Event.Payload;
    switch (code) {
    case kAenFwSystemError: return AenText("FW System Error");
    case kAenProtocolStatisticsAlarm: return AenText("Protocol Statistics Alarm");
    case kAenScsiCommandPduReject: return AenText("SCSI Command PDU Reject");
    case kAenLinkUp: return AenText("Link Up");
    case kAenLinkDown: return AenText("Link Down");
    case kAenDdbChanged:
        if (payload[0] == 1)
            return AenText::format("DDB %d Change Detected, State=(%s), ConnErrorCode=0x%x", asInt(payload[1]),
                             GetConnStateString(payload[2]).c_str(), payload[3]);
        return AenText::format("All DDBs Change Detected, State=(%s), ConnErrorCode=0x%x",
                         GetConnStateString(payload[2]).c_str(), payload[3]);
    case kAenFwSelfTestFailed: return AenText("FW Self Test Failed");
    case kAenFwHeartbeat: return AenText("FW Heartbeat");
    case kAenInvalidNvram: return AenText("Invalid NVRAM");
    case kAenMacAddressChanged: return AenText("MAC Address Changed");
    case kAenIpAddressChanged: return AenText("IP Address Changed");
    case kAenDhcpLeaseExpired: return AenText("DHCP Lease Expired");
    case kAenDhcpLeaseAcquired: return AenText("DHCP Lease Acquired");
    case kAenIsnsEvent: return AenText("iSNS Event");
    case kAenSocketPassthrough: return AenText("Socket Passthrough");
    case kAenDuplicateIpAddress: return AenText("Duplicate IP Address Detected");
    case kAenArpComplete: return AenText("ARP Complete");
    case kAenSubnetStateChange: return AenText("Subnet State Change Detected");
    default: return AenText::format("...Unknown AEN 0x%x...", code);
    }
}

// ---------------------------------------------------------------------------
// The handler of one fetch
// ---------------------------------------------------------------------------

int32_t AENHandlerCore(SDMGT_HANDLE hbaSdmHandle, const ASYNC_EVENT* pEvents, uint32_t eventCount,
                       uint32_t /*queueRollOverFlag*/, int32_t numJavaHBAs, const AenJavaCallback& callback)
{
    const int handle = asInt(hbaSdmHandle);
    CoreLogMessageShared(kLogDebug, "***AENHandlerFunction: Device Instance[%d] has (%d) events.", handle,
                         asInt(eventCount));

    // An unknown handle gives index -1: its events are handled as those of an
    // adapter that is not ignored (the flag table is never read outside).
    const int index = findHBADevHandleIndex(hbaSdmHandle);
    if (index < -1 || index > 32) {
        CoreLogMessageShared(kLogDebug, "***AENHandlerFunction: Invalid HBA Device SDM Instance=%d", handle);
        return 1;
    }
    if (IgnoreCurrentAENsAt(index) == 1) {
        CoreLogMessageShared(kLogDebug, "***AENHandlerFunction: Skip Processing Events for this HBA [Java=%d:SDM=%d]",
                             index, handle);
        return 1;
    }

    uint32_t updateMask = 0;
    if (eventCount == 0) {
        CoreLogMessageShared(kLogDebug, "***AENHandlerFunction: Zero AENs for this HBA [Java=%d:SDM=%d]", index,
                             handle);
    } else {
        // The registry's records are read under its lock; Java is called only
        // after the lock is given back.
        RegistryLock lock;
        SDMHba* hba = FindHbaDeviceInHbaList(hbaSdmHandle);
        if (!hba)
            CoreLogMessageShared(kLogWarning,
                                 "***AENHandlerFunction: NULL SDM HBA - Unable to find HBA SDM Instance[%d], "
                                 "Total # In List=%d",
                                 handle, asInt(GetHbaList()->count));
        const uint32_t readable = pEvents ? eventCount : 0;
        for (uint32_t i = 0; i < readable; ++i) {
            const ASYNC_EVENT& event = pEvents[i];
            const uint32_t code = event.Event.AsyncEventCode;
            uint32_t bit = 0;
            if (IsUpdateAENShared(&event, hba, &bit) == 1) {
                updateMask |= bit;
                char when[64];
                const uint32_t* p = event.Event.Payload;
                CoreLogMessageShared(kLogDebug, "***AEN %d: EventCode = %#x, payload: %#x %#x %#x %#x %#x %#x %#x",
                                     asInt(i), code, p[0], p[1], p[2], p[3], p[4], p[5], p[6]);
                CoreLogMessageShared(kLogDebug, "***AENCallBackFunction: AEN %d - ID:%#x (%s) Time: %s ", asInt(i),
                                     code, GetAENStringiSCSI(&event).c_str(), eventTimeText(event, when));
            } else {
                CoreLogMessageShared(kLogDebug, "***AENHandlerFunction: Skip Event=0x%x, HBA [Java=%d:SDM=%d]", code,
                                     index, handle);
            }
        }
    }

    if (updateMask == 0) {
        CoreLogMessageShared(kLogDebug, "***AENHandlerFunction: Zero Update AENs for this HBA [Java=%d:SDM=%d]",
                             index, handle);
        return 0;
    }

    if (callback) {
        AenCallResult result = callback(index, static_cast<jint>(updateMask), numJavaHBAs);
        if (result.threw)
            return -1;
        CoreLogMessageShared(kLogDebug,
                             "***AENHandlerFunction: Device Instance [%d] has (%d) events, calling Java Call back "
                             "function returnVal=0x%x",
                             result.value, handle, asInt(eventCount));
    } else {
        CoreLogMessageShared(kLogDebug,
                             "***AENHandlerFunction: Device Instance [%d] has (%d) events, Ignoring Update Request "
                             "at this Time, NULL MID or OBJ, or ENV",
                             handle, asInt(eventCount));
    }
    return 0;
}

namespace {
AenJavaCallback javaCallback(JNIEnv* env, jobject fullHostObj, jmethodID mid)
{
    if (!env || !fullHostObj || !mid)
        return {};
    return [env, fullHostObj, mid](jint javaIndex, jint updateMask, jint numJavaHBAs) {
        AenCallResult result;
        result.value = env->CallIntMethod(fullHostObj, mid, javaIndex, updateMask, numJavaHBAs);
        result.threw = dvh::thrown(env);
        return result;
    };
}
}  // namespace

int32_t AENHandlerFunction(SDMGT_HANDLE hbaSdmHandle, const ASYNC_EVENT* pEvents, uint32_t eventCount,
                           uint32_t queueRollOverFlag, int32_t numJavaHBAs, jobject fullHostObj, jmethodID mid,
                           JNIEnv* env)
{
    return AENHandlerCore(hbaSdmHandle, pEvents, eventCount, queueRollOverFlag, numJavaHBAs,
                          javaCallback(env, fullHostObj, mid));
}

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

namespace dvh {

uint32_t aenIntervalMilliseconds(jint timerInterval)
{
    uint32_t seconds = static_cast<uint32_t>(timerInterval);
    if (seconds < kShortestIntervalSeconds)
        seconds = kShortestIntervalSeconds;
    if (seconds > kLongestIntervalSeconds)
        seconds = kLongestIntervalSeconds;
    return seconds * 1000u;
}

jint enableAENsForDeviceShared(jint dev, jint timerInterval, bool haveCallbackObject)
{
    // Instance 32 is accepted here; it, like any number outside the handle
    // table, stands for handle 0.
    const SDMGT_HANDLE handle = handleAt(dev);
    const uint32_t milliseconds = aenIntervalMilliseconds(timerInterval);
    CoreLogMessageShared(kLogDebug, "***JNI::enableAENsForDevice: HBA Device java:sdm Instance=%d:%d", dev,
                         static_cast<int>(handle));
    int32_t enabled = 0;
    SD_STATUS status = EnableiSCSI_AENsShared(handle, 0, 1, &enabled, milliseconds, 0, 0, nullptr);
    SetIgnoreCurrentAENs(dev, 0);
    if (!haveCallbackObject) {
        std::printf("NULL fullHostObj cannot setup AEN CallBack Support\n");
        return -1;
    }
    return static_cast<jint>(status);
}

jint disableAENsForDeviceShared(jint dev, jint levelShutdown)
{
    SetIgnoreCurrentAENs(dev, 1);
    return static_cast<jint>(DisableiSCSI_AENs_Shared(handleAt(dev), 0, 1, 1, levelShutdown));
}

jint ignoreAENsShared(jint dev, jint ignoreFlag)
{
    // The flag is indexed by the adapter's handle value, not by its instance
    // number; handles beyond the table mark nothing.
    SetIgnoreCurrentAENs(static_cast<int64_t>(handleAt(dev)), (ignoreFlag & 0xff) == 1 ? 1 : 0);
    return 0;
}

jint startAENValidTimeShared(jint dev)
{
    return static_cast<jint>(SetAENValidTimeShared(handleAt(dev), 0, 1, 0));
}

jint getAENsForDeviceShared(jint dev, jint numHwHBAs, const std::function<AenJavaCallback()>& lookup)
{
    const SDMGT_HANDLE handle = handleAt(dev);
    CoreLogMessageShared(kLogDebug, "***JNI::getAENsForDevice: Creating AEN Buffer=%d",
                         static_cast<int>(kAenBufferBytes));
    auto* events = static_cast<ASYNC_EVENT*>(CoreZMallocShared(kAenBufferBytes));
    if (!events) {
        CoreLogMessageShared(kLogDebug, "***JNI::getAENsForDevice: Unable to Create AEN Buffer");
        return -1;
    }
    CoreLogMessageShared(kLogDebug, "***JNI::getAENsForDevice: HBA Device java:sdm Instance=%d:%d", dev,
                         static_cast<int>(handle));
    uint32_t count = 0;
    uint32_t rollOver = 0;
    SD_STATUS status = GetAENsShared(handle, events, kAenBufferEvents, &count, &rollOver, 0, 1, 0);

    AenJavaCallback callback = lookup ? lookup() : AenJavaCallback();
    if (!callback) {
        std::printf("GetMethodID jniAENCallBack call failed! HBA ID=%d\n", dev);
        CoreFreeShared(events);
        return -1;
    }
    AENHandlerCore(handle, events, count, rollOver, numHwHBAs, callback);
    CoreFreeShared(events);
    return static_cast<jint>(status);
}

}  // namespace dvh

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_enableAENsForDevice(JNIEnv*, jobject, jint dev,
                                                                                    jint timerInterval,
                                                                                    jobject fullHostObj)
{
    return dvh::enableAENsForDeviceShared(dev, timerInterval, fullHostObj != nullptr);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_disableAENsForDevice(JNIEnv*, jobject, jint dev,
                                                                                     jint levelShutdown)
{
    return dvh::disableAENsForDeviceShared(dev, levelShutdown);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getAENsForDevice(JNIEnv* env, jobject, jint dev,
                                                                                 jint numHwHBAs, jobject fullHostObj)
{
    // The method is looked up only after the queue was drained; a null
    // object counts as a failed lookup.
    return dvh::getAENsForDeviceShared(dev, numHwHBAs, [env, fullHostObj]() -> AenJavaCallback {
        dvh::LocalRef<jclass> cls = dvh::objectClass(env, fullHostObj);
        jmethodID mid = dvh::methodId(env, cls.get(), "jniAENCallBack", "(III)I");
        return javaCallback(env, fullHostObj, mid);
    });
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_ignoreAENs(JNIEnv*, jobject, jint dev,
                                                                           jint ignoreFlag, jint)
{
    return dvh::ignoreAENsShared(dev, ignoreFlag);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_startAENValidTime(JNIEnv*, jobject, jint dev, jint)
{
    return dvh::startAENValidTimeShared(dev);
}

}  // extern "C"
