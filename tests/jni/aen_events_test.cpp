// Asynchronous events against the simulator: enabling, fetching, filtering
// against the registry, ignore flags and the one callback per fetch.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <ctime>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "adapter_sessions.h"
#include "aen_events.h"
#include "jni_agent_shared.h"
#include "sim_support.h"
#include "stdout_capture.h"

namespace {

// Instance 0 has handle 5 (so ignoreAENs on it marks slot 5, not slot 0),
// instance 1 has handle 1 (handle equals instance), instance 2 has handle
// 100, beyond what event collection accepts.
constexpr SDMGT_HANDLE kHandle0 = 5;
constexpr SDMGT_HANDLE kHandle1 = 1;
constexpr SDMGT_HANDLE kHandle2 = 100;
const char* const kScenario = R"({
  "version": "ACMEDISK SIM 1.0",
  "adapters": [
    {"instance": 0, "handle": 5},
    {"instance": 1, "handle": 1},
    {"instance": 2, "handle": 100}
  ]
})";

struct Call {
    jint index, mask, numHBAs;
    bool operator==(const Call& o) const { return index == o.index && mask == o.mask && numHBAs == o.numHBAs; }
};
std::ostream& operator<<(std::ostream& os, const Call& c)
{
    return os << "{" << c.index << ", 0x" << std::hex << c.mask << std::dec << ", " << c.numHBAs << "}";
}

struct Fetch {
    jint status = 0;
    std::string out;
    std::vector<Call> calls;
};

std::string ctimeOf(int32_t seconds)
{
    time_t t = seconds;
    char text[64] = {};
    ctime_r(&t, text);
    return text;
}

// Seconds of the clock the simulator stamps events with. time() may lag it by
// up to a tick near a second's boundary (the i386 build under qemu shows it).
time_t wallSeconds()
{
    using namespace std::chrono;
    return static_cast<time_t>(duration_cast<seconds>(system_clock::now().time_since_epoch()).count());
}

// The time of the event lines replaced by "<time>", after checking that it
// is a time between `from` and now (the simulator stamps at push time).
std::string maskTimes(const std::string& out, time_t from)
{
    static const std::regex timeText(R"(Time: ([A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\d \d\d:\d\d:\d\d \d{4}\n) )");
    std::string result;
    auto begin = std::sregex_iterator(out.begin(), out.end(), timeText);
    size_t last = 0;
    const time_t to = wallSeconds();
    for (auto it = begin; it != std::sregex_iterator(); ++it) {
        bool inRange = false;
        for (time_t t = from; t <= to; ++t)
            inRange = inRange || ctimeOf(static_cast<int32_t>(t)) == (*it)[1].str();
        EXPECT_TRUE(inRange) << (*it)[1].str();
        result += out.substr(last, it->position() - last) + "Time: <time> ";
        last = it->position() + it->length();
    }
    return result + out.substr(last);
}

std::string hex(uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%x", value);
    return text;
}

class AenEvents : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        load(kScenario);
        dvh::clearHandles();
        RemoveAllHbasFromHbaList();
        for (int i = 0; i < 32; ++i)
            SetIgnoreCurrentAENs(i, 0);
        ASSERT_TRUE(dvh::openDeviceShared(0));
        ASSERT_TRUE(dvh::openDeviceShared(1));
        ASSERT_TRUE(dvh::openDeviceShared(2));
        ASSERT_EQ(kHandle0, dvh::handleAt(0));
        izksim_clear_call_log();
        start = wallSeconds();
    }
    void TearDown() override
    {
        RemoveAllHbasFromHbaList();
        dvh::clearHandles();
        SimTest::TearDown();
    }

    // Records the target `id` in state `state` under the adapter of `handle`.
    static void recordTarget(SDMGT_HANDLE handle, uint32_t id, uint32_t state)
    {
        RegistryLock lock;
        SDMHba* hba = FindHbaDeviceInHbaList(handle);
        ASSERT_NE(nullptr, hba);
        SDMTarget* target = CreateNewTarget();
        ASSERT_NE(nullptr, target);
        target->TargetID = id;
        target->State = state;
        ASSERT_EQ(0, AddTargetToTargetList(hba, target));
    }

    static void push(uint32_t instance, uint32_t code, std::vector<uint32_t> payload = {})
    {
        payload.resize(7, 0);
        ASSERT_EQ(0, izksim_push_event(instance, code, payload.data()));
    }

    static jint enable(jint dev, jint seconds = 2)
    {
        StdoutCapture quiet;
        return dvh::enableAENsForDeviceShared(dev, seconds, true);
    }

    // One fetch with a recording callback that answers `answer`.
    Fetch fetch(jint dev, jint numHBAs = 3, jint answer = 0x77)
    {
        Fetch f;
        StdoutCapture capture;
        f.status = dvh::getAENsForDeviceShared(dev, numHBAs, [&f, answer]() -> AenJavaCallback {
            return [&f, answer](jint index, jint mask, jint num) {
                f.calls.push_back({index, mask, num});
                return AenCallResult{answer, false};
            };
        });
        f.out = maskTimes(capture.finish(), start);
        return f;
    }

    static std::vector<uint32_t> intervalsAsked()
    {
        std::vector<uint32_t> out;
        for (const auto& call : simCalls("SDEnableAeniSCSI"))
            out.push_back(call["args"]["intervalMs"].get<uint32_t>());
        return out;
    }

    time_t start = 0;
};

const std::string kFetchHead0 = "Debug: ***JNI::getAENsForDevice: Creating AEN Buffer=12288\r\n"
                                "Debug: ***JNI::getAENsForDevice: HBA Device java:sdm Instance=0:5\r\n";

// ---------------------------------------------------------------------------
// Switching events on and off
// ---------------------------------------------------------------------------

TEST_F(AenEvents, EnableLogsAndReturnsTheLibraryStatus)
{
    StdoutCapture capture;
    EXPECT_EQ(0, dvh::enableAENsForDeviceShared(0, 3, true));
    EXPECT_EQ("Debug: ***JNI::enableAENsForDevice: HBA Device java:sdm Instance=0:5\r\n"
              "Debug: ***AddHbaToHbaList: Starting AEN Polling for HBA instance 5 with interval=3000\r\n"
              "Debug: ***EnableiSCSI_AENsShared: Enable AENs W/O Polling Loop\r\n",
              capture.finish());
    auto calls = simCalls("SDEnableAeniSCSI");
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(kHandle0, calls[0]["args"]["handle"].get<uint32_t>());

    izksim_set_fault("SDEnableAeniSCSI", IZKSIM_ST_NOT_SUPPORTED, 1);
    StdoutCapture failed;
    EXPECT_EQ(static_cast<jint>(IZKSIM_ST_NOT_SUPPORTED), dvh::enableAENsForDeviceShared(1, 2, true));
    EXPECT_EQ("Debug: ***JNI::enableAENsForDevice: HBA Device java:sdm Instance=1:1\r\n"
              "Debug: ***AddHbaToHbaList: Starting AEN Polling for HBA instance 1 with interval=30000\r\n"
              "Debug: ***EnableiSCSI_AENsShared: Enable AENs W/O Polling Loop\r\n"
              "Debug: ***AddHbaToHbaList.SDStartAENPoll: Driver does not support AENs, ErrorCode=0x2000002d (" +
                  std::string(SdmErrorText(IZKSIM_ST_NOT_SUPPORTED)) + ")\r\n",
              failed.finish());
}

TEST_F(AenEvents, SharedEnableRefusesWhatItDoesNotServe)
{
    StdoutCapture capture;
    int32_t enabled = 9;
    EXPECT_EQ(0u, EnableiSCSI_AENsShared(33, 0, 1, &enabled, 5000, 0, 0, nullptr));
    EXPECT_EQ(0u, EnableiSCSI_AENsShared(kHandle0, 0, 0, &enabled, 5000, 0, 0, nullptr));
    EXPECT_EQ(0u, EnableiSCSI_AENsShared(kHandle0, 0, 1, &enabled, 5000, 1, 0, nullptr));
    EXPECT_EQ(0u, EnableiSCSI_AENsShared(kHandle0, 0, 1, &enabled, 5000, 0, 1, nullptr));
    EXPECT_EQ("", capture.finish());
    EXPECT_EQ(9, enabled);
    EXPECT_TRUE(simCalls("SDEnableAeniSCSI").empty());
}

TEST_F(AenEvents, SharedEnableWithPollingLoop)
{
    // The simulated library has no polling loop of its own.
    StdoutCapture capture;
    int32_t enabled = 5;
    EXPECT_EQ(IZKSIM_ST_NOT_SIMULATED, EnableiSCSI_AENsShared(kHandle0, 1, 1, &enabled, 4000, 0, 0, nullptr));
    EXPECT_EQ(0, enabled);
    EXPECT_EQ("Debug: ***AddHbaToHbaList: Starting AEN Polling for HBA instance 5 with interval=4000\r\n"
              "Debug: ***AddHbaToHbaList.SDStartAENPoll: Driver does not support AENs, ErrorCode=0x200000f0 (" +
                  std::string(SdmErrorText(IZKSIM_ST_NOT_SIMULATED)) + ")\r\n",
              capture.finish());
    izksim_set_fault("SDStartAENPoll", 0, 1);
    StdoutCapture quiet;
    EXPECT_EQ(0u, EnableiSCSI_AENsShared(kHandle0, 1, 1, &enabled, 4000, 0, 0, nullptr));
    quiet.finish();
    EXPECT_EQ(1, enabled);
    EXPECT_TRUE(simCalls("SDEnableAeniSCSI").empty());
}

TEST_F(AenEvents, DisableSetsTheIgnoreFlagAndSwitchesOff)
{
    enable(0);
    StdoutCapture capture;
    EXPECT_EQ(0, dvh::disableAENsForDeviceShared(0, 3));
    EXPECT_EQ("", capture.finish());
    EXPECT_EQ(1, IgnoreCurrentAENsAt(0));
    auto calls = simCalls("SDDisableAeniSCSI");
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(kHandle0, calls[0]["args"]["handle"].get<uint32_t>());
    EXPECT_EQ(3, calls[0]["args"]["levelShutdown"].get<int32_t>());

    izksim_set_fault("SDDisableAeniSCSI", IZKSIM_ST_INVALID_PARAMETER, 1);
    StdoutCapture failed;
    EXPECT_EQ(static_cast<jint>(IZKSIM_ST_INVALID_PARAMETER), dvh::disableAENsForDeviceShared(1, 0));
    EXPECT_EQ("Error: ***SDDisableAen: Failed on device[1]: (0x20000003) (" +
                  std::string(SdmErrorText(IZKSIM_ST_INVALID_PARAMETER)) + ")\r\n",
              failed.finish());

    // Handles above 32 and instances outside the table: nothing to switch off.
    izksim_clear_call_log();
    StdoutCapture quiet;
    EXPECT_EQ(0, dvh::disableAENsForDeviceShared(2, 0));
    EXPECT_EQ(static_cast<jint>(IZKSIM_ST_INVALID_HANDLE), dvh::disableAENsForDeviceShared(40, 0));
    quiet.finish();
    EXPECT_EQ(1u, simCalls("SDDisableAeniSCSI").size());
    EXPECT_EQ(1, IgnoreCurrentAENsAt(2));
    EXPECT_EQ(0, IgnoreCurrentAENsAt(40));
}

TEST_F(AenEvents, SharedDisableVariants)
{
    StdoutCapture capture;
    EXPECT_EQ(0u, DisableiSCSI_AENs_Shared(kHandle0, 0, 1, 0, 0));
    EXPECT_EQ(0u, DisableiSCSI_AENs_Shared(kHandle0, 0, 0, 1, 0));
    EXPECT_EQ(0u, DisableiSCSI_AENs_Shared(33, 1, 1, 1, 0));
    EXPECT_EQ("Info: ***Not Closing AEN Polling for device[5], AENs not Enabled\r\n"
              "Info: ***Not Closing AEN Polling for device[5], AENs not Enabled\r\n",
              capture.finish());
    EXPECT_TRUE(simCalls("SDDisableAeniSCSI").empty());

    // With a polling loop it is stopped first; its failure does not stop the rest.
    StdoutCapture loop;
    EXPECT_EQ(0u, DisableiSCSI_AENs_Shared(kHandle0, 1, 1, 1, 2));
    EXPECT_EQ("Info: Shutting Down AEN Polling for device[5]\r\n"
              "Error: ***SDStopAENPoll: Failed on device[5]: (0x200000f0) (" +
                  std::string(SdmErrorText(IZKSIM_ST_NOT_SIMULATED)) + ")\r\n",
              loop.finish());
    EXPECT_EQ(1u, simCalls("SDStopAENPoll").size());
    EXPECT_EQ(1u, simCalls("SDDisableAeniSCSI").size());
}

TEST_F(AenEvents, ValidTime)
{
    StdoutCapture capture;
    EXPECT_EQ(0, dvh::startAENValidTimeShared(0));
    EXPECT_EQ("", capture.finish());
    auto calls = simCalls("SDSetAENValidTime");
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(kHandle0, calls[0]["args"]["handle"].get<uint32_t>());
    EXPECT_EQ(0u, calls[0]["args"]["validTime"].get<uint32_t>());
    EXPECT_EQ(0, PriorAENIgnore());

    izksim_set_fault("SDSetAENValidTime", IZKSIM_ST_INVALID_HANDLE, 1);
    StdoutCapture failed;
    EXPECT_EQ(static_cast<jint>(IZKSIM_ST_INVALID_HANDLE), dvh::startAENValidTimeShared(1));
    EXPECT_EQ("Debug: ***SetAENValidTimeShared: Error Setting the SDSetAENValidTime (HBA:1), ErrorCode=0x20000001 (" +
                  std::string(SdmErrorText(IZKSIM_ST_INVALID_HANDLE)) + ")\r\n",
              failed.finish());

    // Ignoring, not enabled or a software initiator: no call, the flag remembered.
    izksim_clear_call_log();
    EXPECT_EQ(0u, SetAENValidTimeShared(kHandle0, 1, 1, 0));
    EXPECT_EQ(1, PriorAENIgnore());
    EXPECT_EQ(0u, SetAENValidTimeShared(kHandle0, 0, 0, 0));
    EXPECT_EQ(0u, SetAENValidTimeShared(kHandle0, 0, 1, 1));
    EXPECT_EQ(0, PriorAENIgnore());
    EXPECT_TRUE(simCalls("SDSetAENValidTime").empty());
}

// ---------------------------------------------------------------------------
// Fetching and filtering
// ---------------------------------------------------------------------------

TEST_F(AenEvents, EmptyQueue)
{
    enable(0);
    Fetch f = fetch(0);
    EXPECT_EQ(0, f.status);
    EXPECT_TRUE(f.calls.empty());
    EXPECT_EQ(kFetchHead0 + "Debug: ***AENHandlerFunction: Device Instance[5] has (0) events.\r\n"
                            "Debug: ***AENHandlerFunction: Zero AENs for this HBA [Java=0:SDM=5]\r\n"
                            "Debug: ***AENHandlerFunction: Zero Update AENs for this HBA [Java=0:SDM=5]\r\n",
              f.out);
}

TEST_F(AenEvents, UnknownTargetsAndWholeDatabaseChangesAreDelivered)
{
    recordTarget(kHandle0, 5, 4);
    enable(0);
    push(0, kAenDdbChanged, {1, 9, 4, 0});
    push(0, kAenDdbChanged, {0, 5, 4, 0x7});
    push(0, kAenDdbChanged, {2, 5, 0x1007, 0});
    Fetch f = fetch(0);
    EXPECT_EQ((std::vector<Call>{{0, 0x20, 3}}), f.calls);
    EXPECT_EQ(kFetchHead0 +
                  "Debug: ***AENHandlerFunction: Device Instance[5] has (3) events.\r\n"
                  "Debug: ***IsUpdateAEN: Unable to Locate Target Instance[9], Target Count=1\r\n"
                  "Debug: ***AEN 0: EventCode = 0x8014, payload: 0x1 0x9 0x4 0 0 0 0\r\n"
                  "Debug: ***AENCallBackFunction: AEN 0 - ID:0x8014 (DDB 9 Change Detected, State=(Active "
                  "Session), ConnErrorCode=0x0) Time: <time> \r\n"
                  "Debug: ***AEN 1: EventCode = 0x8014, payload: 0 0x5 0x4 0x7 0 0 0\r\n"
                  "Debug: ***AENCallBackFunction: AEN 1 - ID:0x8014 (All DDBs Change Detected, State=(Active "
                  "Session), ConnErrorCode=0x7) Time: <time> \r\n"
                  "Debug: ***AEN 2: EventCode = 0x8014, payload: 0x2 0x5 0x1007 0 0 0 0\r\n"
                  "Debug: ***AENCallBackFunction: AEN 2 - ID:0x8014 (All DDBs Change Detected, State=(Offline), "
                  "ConnErrorCode=0x0) Time: <time> \r\n"
                  "Debug: ***AENHandlerFunction: Device Instance [119] has (5) events, calling Java Call back "
                  "function returnVal=0x3\r\n",
              f.out);
}

TEST_F(AenEvents, UnknownCodesCountWithTheirOwnBit)
{
    enable(1);
    push(1, 0x9abc, {5});
    push(1, kAenIpAddressChanged);
    Fetch f = fetch(1, 2);
    EXPECT_EQ((std::vector<Call>{{1, 0x40000800, 2}}), f.calls);
    EXPECT_NE(std::string::npos,
              f.out.find("Debug: ***AENCallBackFunction: AEN 0 - ID:0x9abc (...Unknown AEN 0x9abc...) Time: "))
        << f.out;
}

TEST_F(AenEvents, AdapterMissingFromTheRegistry)
{
    enable(0);
    {
        // The registry is emptied (as a close of another adapter does).
        RemoveAllHbasFromHbaList();
    }
    push(0, kAenDdbChanged, {1, 5, 4, 0});
    Fetch f = fetch(0);
    EXPECT_EQ((std::vector<Call>{{0, 0x20, 3}}), f.calls);
    EXPECT_NE(std::string::npos,
              f.out.find("Debug: ***AENHandlerFunction: Device Instance[5] has (1) events.\r\n"
                         "Warning: ***AENHandlerFunction: NULL SDM HBA - Unable to find HBA SDM Instance[5], Total # "
                         "In List=0\r\n"
                         "Debug: ***IsUpdateAEN: Unable to Locate Target Instance[5], Target Count=0\r\n"))
        << f.out;
}

TEST_F(AenEvents, FetchFailureStillRunsTheHandler)
{
    // Not enabled: the library refuses, and the handler sees no events.
    push(0, kAenLinkUp);
    Fetch f = fetch(0);
    EXPECT_EQ(static_cast<jint>(IZKSIM_ST_AEN_NOT_ENABLED), f.status);
    EXPECT_TRUE(f.calls.empty());
    EXPECT_EQ(kFetchHead0 + "Warning: ***GetAENsShared: Error Getting the SDGetAeniSCSI (HBA:5), ErrorCode=0x" +
                  hex(IZKSIM_ST_AEN_NOT_ENABLED) + " (" + SdmErrorText(IZKSIM_ST_AEN_NOT_ENABLED) +
                  ")\r\n"
                  "Debug: ***AENHandlerFunction: Device Instance[5] has (0) events.\r\n"
                  "Debug: ***AENHandlerFunction: Zero AENs for this HBA [Java=0:SDM=5]\r\n"
                  "Debug: ***AENHandlerFunction: Zero Update AENs for this HBA [Java=0:SDM=5]\r\n",
              f.out);
}

// ---------------------------------------------------------------------------
// Ignore flags
// ---------------------------------------------------------------------------

TEST_F(AenEvents, FlagTableReadsAndWritesStayInside)
{
    SetIgnoreCurrentAENs(-1, 1);
    SetIgnoreCurrentAENs(32, 1);
    SetIgnoreCurrentAENs(0x100000000LL, 1);
    EXPECT_EQ(0, IgnoreCurrentAENsAt(-1));
    EXPECT_EQ(0, IgnoreCurrentAENsAt(32));
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(0, IgnoreCurrentAENsAt(i)) << i;
    SetIgnoreCurrentAENs(31, 1);
    EXPECT_EQ(1, IgnoreCurrentAENsAt(31));
}

// ---------------------------------------------------------------------------
// The handler on its own
// ---------------------------------------------------------------------------

ASYNC_EVENT event(uint32_t code, std::vector<uint32_t> payload = {}, int32_t seconds = 0)
{
    ASYNC_EVENT e;
    std::memset(&e, 0, sizeof e);
    e.Event.AsyncEventCode = code;
    payload.resize(7, 0);
    for (size_t i = 0; i < 7; ++i)
        e.Event.Payload[i] = payload[i];
    e.TimeStamp.time = seconds;
    return e;
}

TEST_F(AenEvents, TimeStampIsCtimeOfThe32BitSecondsWithItsNewline)
{
    std::vector<ASYNC_EVENT> events = {event(kAenDhcpLeaseAcquired, {}, 1700000000),
                                       event(kAenFwSystemError, {}, -1)};
    std::vector<Call> calls;
    StdoutCapture capture;
    EXPECT_EQ(0, AENHandlerCore(kHandle1, events.data(), 2, 0, 6, [&calls](jint i, jint m, jint n) {
                  calls.push_back({i, m, n});
                  return AenCallResult{-3, false};
              }));
    EXPECT_EQ("Debug: ***AENHandlerFunction: Device Instance[1] has (2) events.\r\n"
              "Debug: ***AEN 0: EventCode = 0x801f, payload: 0 0 0 0 0 0 0\r\n"
              "Debug: ***AENCallBackFunction: AEN 0 - ID:0x801f (DHCP Lease Acquired) Time: " +
                  ctimeOf(1700000000) +
                  " \r\n"
                  "Debug: ***AEN 1: EventCode = 0x8002, payload: 0 0 0 0 0 0 0\r\n"
                  "Debug: ***AENCallBackFunction: AEN 1 - ID:0x8002 (FW System Error) Time: " +
                  ctimeOf(-1) +
                  " \r\n"
                  "Debug: ***AENHandlerFunction: Device Instance [-3] has (1) events, calling Java Call back "
                  "function returnVal=0x2\r\n",
              capture.finish());
    EXPECT_EQ((std::vector<Call>{{1, 0x2001, 6}}), calls);
}

TEST_F(AenEvents, UnknownHandleIsHandledAsNotIgnored)
{
    SetIgnoreCurrentAENs(31, 1);
    ASYNC_EVENT e = event(kAenMacAddressChanged);
    std::vector<Call> calls;
    StdoutCapture capture;
    EXPECT_EQ(0, AENHandlerCore(77, &e, 1, 0, 1, [&calls](jint i, jint m, jint n) {
                  calls.push_back({i, m, n});
                  return AenCallResult{0, false};
              }));
    std::string out = capture.finish();
    EXPECT_EQ((std::vector<Call>{{-1, 0x400, 1}}), calls);
    EXPECT_NE(std::string::npos, out.find("Warning: ***AENHandlerFunction: NULL SDM HBA - Unable to find HBA SDM "
                                          "Instance[77], Total # In List=3\r\n"))
        << out;
    EXPECT_EQ(std::string::npos, out.find("Invalid HBA Device"));
}

TEST_F(AenEvents, WithoutEnvironmentObjectOrMethodNothingIsCalled)
{
    ASYNC_EVENT e = event(kAenInvalidNvram);
    StdoutCapture capture;
    EXPECT_EQ(0, AENHandlerFunction(kHandle0, &e, 1, 0, 1, nullptr, nullptr, nullptr));
    std::string out = capture.finish();
    EXPECT_EQ("Debug: ***AENHandlerFunction: Device Instance [5] has (1) events, Ignoring Update Request at this "
              "Time, NULL MID or OBJ, or ENV\r\n",
              out.substr(out.rfind("Debug: ")));

    StdoutCapture noEvents;
    EXPECT_EQ(0, AENHandlerCore(kHandle0, nullptr, 4, 0, 1, {}));
    EXPECT_EQ("Debug: ***AENHandlerFunction: Device Instance[5] has (4) events.\r\n"
              "Debug: ***AENHandlerFunction: Zero Update AENs for this HBA [Java=0:SDM=5]\r\n",
              noEvents.finish());
}

// ---------------------------------------------------------------------------
// Concurrency
// ---------------------------------------------------------------------------

TEST_F(AenEvents, ConcurrentFetchesWhileTheRegistryChanges)
{
    enable(0);
    enable(1);
    std::atomic<bool> stop{false};
    std::atomic<int> lost{0};
    std::atomic<int> extra{0};
    StdoutCapture quiet;

    // Each fetcher pushes to its own adapter and fetches: every round must
    // give exactly one call, with the link bit and its own instance.
    auto fetcher = [&](uint32_t instance, int rounds) {
        for (int round = 0; round < rounds; ++round) {
            std::vector<uint32_t> up(7, 0), ddb = {1, uint32_t(round % 4), uint32_t(round % 7), 0, 0, 0, 0};
            izksim_push_event(instance, kAenLinkUp, up.data());
            izksim_push_event(instance, kAenDdbChanged, ddb.data());
            izksim_push_event(instance, kAenFwHeartbeat, up.data());
            int calls = 0;
            bool right = true;
            dvh::getAENsForDeviceShared(static_cast<jint>(instance), 2, [&]() -> AenJavaCallback {
                return [&](jint index, jint mask, jint) {
                    ++calls;
                    right = right && index == static_cast<jint>(instance) && (mask & 0x8) != 0 &&
                            (mask & ~0x28) == 0;
                    return AenCallResult{0, false};
                };
            });
            if (calls == 0 || !right)
                ++lost;
            if (calls > 1)
                ++extra;
        }
    };
    // Others rebuild target lists, empty and refill the registry, and flip
    // ignore flags of adapters nobody fetches from.
    auto rebuilder = [&] {
        uint32_t n = 0;
        while (!stop) {
            RegistryLock lock;
            for (SDMGT_HANDLE handle : {kHandle0, kHandle1}) {
                SDMHba* hba = FindHbaDeviceInHbaList(handle);
                if (!hba)
                    continue;
                RemoveAllTargetsFromTargetList(hba);
                for (uint32_t id = 0; id < 4; ++id) {
                    SDMTarget* target = CreateNewTarget();
                    target->TargetID = id;
                    target->State = (id + n) % 7;
                    if (AddTargetToTargetList(hba, target) != 0)
                        DeleteTarget(target);
                }
            }
            ++n;
        }
    };
    auto refiller = [&] {
        while (!stop) {
            RemoveAllHbasFromHbaList();
            for (uint32_t instance : {0u, 1u, 2u}) {
                SDMHba* hba = CreateNewHba();
                hba->HbaHandle = dvh::handleAt(static_cast<jint>(instance));
                hba->HbaNumber = instance;
                if (AddHbaToHbaList(hba) != 0)
                    DeleteHba(hba);
            }
            std::this_thread::yield();
        }
    };
    auto flipper = [&] {
        int n = 0;
        while (!stop) {
            SetIgnoreCurrentAENs(2 + n % 3, n & 1);
            dvh::ignoreAENsShared(2, n & 1);
            ++n;
        }
    };

    std::vector<std::thread> others;
    others.emplace_back(rebuilder);
    others.emplace_back(refiller);
    others.emplace_back(flipper);
    std::thread first(fetcher, 0u, 2000);
    std::thread second(fetcher, 1u, 2000);
    first.join();
    second.join();
    stop = true;
    for (auto& thread : others)
        thread.join();
    quiet.finish();
    EXPECT_EQ(0, lost.load());
    EXPECT_EQ(0, extra.load());
}

}  // namespace
