// Diagnostics started from Java: a ping from the adapter, the adapter's
// loopback test, and the READ/WRITE BUFFER data-path test over a set of
// targets. The long tests ask a Java status object before every iteration
// whether to go on, so that another Java thread can stop them.
#include <cstdio>
#include <cstring>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal.h"
#include "statistics.h"
#include "targets_luns.h"

using namespace dvh;
using marshal::Conv;
using marshal::Field;
using marshal::M;
using marshal::Method;
using marshal::Msg;

namespace {

// Test status codes: results of the test methods and the status of a result.
constexpr uint16_t kTargetNotReady = 3;
constexpr uint16_t kTested = 100;
constexpr jint kStatisticsFailed = 101;
constexpr jint kWriteBufferFailed = 201;
constexpr jint kReadBufferFailed = 202;
constexpr jint kDataMiscompare = 203;
constexpr uint16_t kNotSupported = 204;
constexpr uint16_t kCompleted = 205;
constexpr jint kLoopbackFailed = 206;

constexpr uint16_t kTargetReadyState = 4;
constexpr size_t kMaxPattern = 64;
constexpr int kPatternTooLongLine = 10320;
constexpr uint32_t kCdbLength = 10;
constexpr uint32_t kSenseLength = 80;
constexpr uint8_t kWriteBuffer = 0x3B;
constexpr uint8_t kReadBuffer = 0x3C;
constexpr uint8_t kBufferModeData = 0x02;
constexpr SD_STATUS kCheckCondition = 0x20000040;
constexpr uint8_t kSenseIllegalRequest = 5;

// The answer that stands for a status object without getTestStatus: not 1,
// so the test stops.
constexpr jint kNoAnswer = 255;

constexpr Method kGetTestStatus = marshal::method("getTestStatus", "()Z");

// Asks the status object whether to go on: 1 for yes, 0 for no, kNoAnswer
// when it cannot be asked, kStatusJavaThrew when getTestStatus threw.
jint askTestStatus(JNIEnv* env, jobject testStatus)
{
    if (!testStatus) {
        marshal::printMissing(kGetTestStatus.form, kGetTestStatus.name, kGetTestStatus.text);
        return kNoAnswer;
    }
    LocalRef<jclass> cls = objectClass(env, testStatus);
    jboolean goOn = JNI_FALSE;
    jint status = marshal::call(env, goOn, testStatus, cls.get(), kGetTestStatus);
    if (status == kStatusJavaThrew)
        return status;
    if (status != kStatusOk)
        return kNoAnswer;
    return goOn == JNI_TRUE ? 1 : 0;
}

// --- loopback ---------------------------------------------------------------

constexpr Field kLoopbackResult[] = {
    M("setLoopbackTestStatus", DVH_FIELD(LoopBackTestResult, TestStatus), Conv::SetInt),
    M("setLoopbackSuccessCount", DVH_FIELD(LoopBackTestResult, LoopbackSuccessCount), Conv::SetInt)
        .message("GetMethodID LoopbackSuccessCount call failed!\n"),
    M("setLoopbackFailCount", DVH_FIELD(LoopBackTestResult, LoopbackFailCount), Conv::SetInt)
        .message("GetMethodID LoopbackFailCount call failed!\n"),
};
static_assert(marshal::validTable(kLoopbackResult), "loopback result table");

jint deliverLoopback(JNIEnv* env, jobject jTestResult, const LoopBackTestResult& result)
{
    LocalRef<jclass> cls = objectClass(env, jTestResult);
    return marshal::toJava(env, jTestResult, cls.get(), &result, kLoopbackResult);
}

jint loopbackTest(JNIEnv* env, jint dev, jint mode, jint stopOnError, jint testCount, jobject testStatus,
                  jobject jTestResult)
{
    if (!jTestResult) {
        std::printf("NULL jArray!\n");
        return kStatusNullObject;
    }
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    LoopBackTestResult result{};
    result.TestStatus = kCompleted;
    jint methodResult = kStatusOk;
    for (jint i = 0; i < testCount; ++i) {
        jint goOn = askTestStatus(env, testStatus);
        if (goOn == kStatusJavaThrew)
            return goOn;
        if (goOn != 1)
            break;
        if (SDPerformLoopBackTest(handleAt(dev), static_cast<uint32_t>(mode)) != 0) {
            ++result.LoopbackFailCount;
            if (stopOnError == 1) {
                DVH_TRY(thrownOnly(deliverLoopback(env, jTestResult, result)));
                return kLoopbackFailed;
            }
            methodResult = kLoopbackFailed;
        } else {
            ++result.LoopbackSuccessCount;
        }
    }
    DVH_TRY(thrownOnly(deliverLoopback(env, jTestResult, result)));
    return methodResult;
}

// --- read/write buffer test ---------------------------------------------------

using RW = RWBUFFERTESTRESULT;

// The result record's values, in the order the setters are called; the last
// pattern follows by hand (its length is the pattern's).
constexpr Field kBufferResult[] = {
    M("setReadWriteBufferTestStatus", DVH_FIELD(RW, ReadWriteBufferTestStatus), Conv::SetInt),
    M("setDataMiscompare", DVH_FIELD(RW, DataMiscompare), Conv::SetInt),
    M("setHBAPortErrorCount", DVH_FIELD(RW, HBAPortErrorCount), Conv::SetLong),
    M("setDevicePortErrorCount", DVH_FIELD(RW, DevicePortErrorCount), Conv::SetLong),
    M("setIoCount", DVH_FIELD(RW, IoCount), Conv::SetLong).message("GetMethodID IoCount call failed!\n"),
    M("setMBytesCount", DVH_FIELD(RW, MBytesCount), Conv::SetLong),
    M("setInterruptCount", DVH_FIELD(RW, InterruptCount), Conv::SetLong),
    M("setLinkFailureCount", DVH_FIELD(RW, LinkFailureCount), Conv::SetLong),
    M("setInvalidCRCCount", DVH_FIELD(RW, InvalidCrcCount), Conv::SetLong),
};
static_assert(marshal::validTable(kBufferResult), "buffer test result table");
constexpr Method kSetLastPattern = marshal::method("setLastPattern", "([S)V");

// Element i of an object array; null when the array is null or too short.
LocalRef<jobject> elementAt(JNIEnv* env, jobjectArray array, jsize i)
{
    if (!array || i < 0 || i >= env->GetArrayLength(array))
        return LocalRef<jobject>();
    return LocalRef<jobject>(env, env->GetObjectArrayElement(array, i));
}

// Hands the result record to jTestResults[i]. A missing setter ends the
// delivery with its message; only a Java exception is returned.
jint deliverBufferResult(JNIEnv* env, jobjectArray jTestResults, jsize i, const RW& result, jsize patternLength)
{
    LocalRef<jobject> jObj = elementAt(env, jTestResults, i);
    if (!jObj) {
        std::printf("NULL jObj!\n");
        return kStatusOk;
    }
    LocalRef<jclass> cls = objectClass(env, jObj.get());
    jint status = marshal::toJava(env, jObj.get(), cls.get(), &result, kBufferResult);
    if (status != kStatusOk)
        return thrownOnly(status);
    LocalRef<jshortArray> pattern(env, env->NewShortArray(patternLength));
    if (!pattern)
        return kStatusJavaThrew;  // out of memory, left pending
    jshort values[kMaxPattern];
    for (jsize k = 0; k < patternLength; ++k)
        values[k] = result.lastPattern[k];
    env->SetShortArrayRegion(pattern.get(), 0, patternLength, values);
    return thrownOnly(marshal::callVoid(env, jObj.get(), cls.get(), kSetLastPattern, static_cast<jobject>(pattern.get())));
}

// The seven result counters from the first seven counters of the statistics
// record, less those of `base` (a cleared record takes them as they are).
void subtractBaseline(RW& result, const HBAPORTSTATGEN& now, const HBAPORTSTATGEN& base)
{
    result.HBAPortErrorCount = now.HBAPortErrorCount - base.HBAPortErrorCount;
    result.DevicePortErrorCount = now.DevicePortErrorCount - base.DevicePortErrorCount;
    result.IoCount = now.IoCount - base.IoCount;
    result.MBytesCount = now.MBytesCount - base.MBytesCount;
    result.InterruptCount = now.InterruptCount - base.InterruptCount;
    result.LinkFailureCount = now.LinkFailureCount - base.LinkFailureCount;
    result.InvalidCrcCount = now.InvalidCrcCount - base.InvalidCrcCount;
}

struct BufferTest {
    SDMGT_HANDLE device;
    bool stopOnError;
    jint testCount;
    jobject testStatus;
    uint8_t pattern[kMaxPattern];
    uint32_t length;
    uint8_t cdb[kCdbLength];
};

SD_STATUS sendBufferCommand(BufferTest& t, TARGETINFORMATION* target, uint8_t opcode, uint8_t* out, uint32_t outLength,
                            uint8_t* in, uint32_t inLength, uint8_t* sense)
{
    uint8_t cdb[kCdbLength];
    std::memcpy(cdb, t.cdb, sizeof cdb);
    cdb[0] = opcode;
    std::memset(sense, 0, kSenseLength);
    return SDSendScsiPassThruiSCSI(t.device, target, cdb, kCdbLength, out, outLength, in, inLength, sense,
                                   kSenseLength);
}

// Runs the iterations on one eligible target. Sets `stop` when the whole
// test must end after this target; returns 0 or kStatusJavaThrew.
jint runTarget(JNIEnv* env, BufferTest& t, TARGETINFORMATION* target, jobject jTarget, RW& result,
               jint& methodResult, bool& stop)
{
    bool differed = false;
    for (jint j = 0; j < t.testCount; ++j) {
        jint goOn = askTestStatus(env, t.testStatus);
        if (goOn == kStatusJavaThrew)
            return goOn;
        if (goOn != 1) {
            stop = true;
            break;
        }
        uint8_t sense[kSenseLength];
        SD_STATUS status = sendBufferCommand(t, target, kWriteBuffer, t.pattern, t.length, nullptr, 0, sense);
        jint failed = kWriteBufferFailed;
        uint8_t data[kMaxPattern] = {};
        if (status == 0) {
            status = sendBufferCommand(t, target, kReadBuffer, nullptr, 0, data, t.length, sense);
            failed = kReadBufferFailed;
        }
        if (status != 0) {
            if (status == kCheckCondition && sense[2] == kSenseIllegalRequest) {
                result.ReadWriteBufferTestStatus = kNotSupported;
                zeroOutStats(&result);
                setTargetInfoNotSupported(env, jTarget);
                if (thrown(env))
                    return kStatusJavaThrew;
            } else {
                result.ReadWriteBufferTestStatus = static_cast<uint16_t>(failed);
                methodResult = failed;
                if (t.stopOnError)
                    stop = true;
            }
            break;
        }
        if (!differed)
            std::memcpy(result.lastPattern, data, sizeof data);
        if (std::memcmp(data, t.pattern, t.length) != 0) {
            ++result.DataMiscompare;
            std::memcpy(result.lastPattern, data, sizeof data);
            differed = true;
            methodResult = kDataMiscompare;
            if (t.stopOnError) {
                stop = true;
                break;
            }
        }
    }
    return kStatusOk;
}

jint readWriteBufferTest(JNIEnv* env, jint dev, jobjectArray jTargetInfoArray, jint stopOnError, jint testCount,
                         jcharArray jTestPattern, jobject testStatus, jobjectArray jTestResults)
{
    if (!jTargetInfoArray) {
        std::printf("NULL jArray!\n");
        return kStatusNullObject;
    }
    const jsize numTargets = env->GetArrayLength(jTargetInfoArray);
    if (devOutOfRange(dev))
        return kStatusBadIndex;

    // A null pattern is an empty one.
    const jsize len = jTestPattern ? env->GetArrayLength(jTestPattern) : 0;
    if (len > static_cast<jsize>(kMaxPattern)) {
        std::printf("JNI: Invalid Paramater at Line %d\n", kPatternTooLongLine);
        return kStatusBadIndex;
    }
    BufferTest t{};
    t.device = handleAt(dev);
    t.stopOnError = stopOnError == 1;
    t.testCount = testCount;
    t.testStatus = testStatus;
    t.length = static_cast<uint32_t>(len);
    jchar chars[kMaxPattern] = {};
    if (len > 0)
        env->GetCharArrayRegion(jTestPattern, 0, len, chars);
    for (jsize k = 0; k < len; ++k)
        t.pattern[k] = static_cast<uint8_t>(chars[k]);
    t.cdb[1] = kBufferModeData;
    t.cdb[8] = static_cast<uint8_t>(len);

    // One result record serves every target in turn.
    RW result{};
    for (jsize i = 0; i < numTargets; ++i) {
        result.ReadWriteBufferTestStatus = kCompleted;
        zeroOutStats(&result);
        DVH_TRY(deliverBufferResult(env, jTestResults, i, result, len));
    }

    jint methodResult = kStatusOk;
    for (jsize i = 0; i < numTargets; ++i) {
        LocalRef<jobject> jTarget = elementAt(env, jTargetInfoArray, i);
        // A target that cannot be read stays a cleared address: not ready.
        TARGETINFORMATION target{};
        if (getTargetInfo(env, jTarget.get(), &target) == kStatusJavaThrew)
            return kStatusJavaThrew;

        uint16_t gate = 0;
        if (target.TargetState != kTargetReadyState)
            gate = kTargetNotReady;
        else if (target.Reserved1 != 1)
            gate = kCompleted;
        else if (target.SupportsTest != 1)
            gate = kNotSupported;
        if (gate != 0) {
            result.ReadWriteBufferTestStatus = gate;
            DVH_TRY(deliverBufferResult(env, jTestResults, i, result, len));
            continue;
        }

        result.ReadWriteBufferTestStatus = kTested;
        HBAPORTSTATGEN baseline{};
        if (SDGetStatisticsGen(t.device, &baseline) != 0) {
            zeroOutStats(&result);
            result.ReadWriteBufferTestStatus = kStatisticsFailed;
            return kStatisticsFailed;
        }
        result.DataMiscompare = 0;
        subtractBaseline(result, baseline, HBAPORTSTATGEN{});

        bool stop = false;
        DVH_TRY(runTarget(env, t, &target, jTarget.get(), result, methodResult, stop));

        if (result.ReadWriteBufferTestStatus != kNotSupported) {
            HBAPORTSTATGEN now{};
            if (SDGetStatisticsGen(t.device, &now) != 0) {
                zeroOutStats(&result);
                result.ReadWriteBufferTestStatus = kStatisticsFailed;
                return kStatisticsFailed;
            }
            subtractBaseline(result, now, baseline);
        }
        DVH_TRY(deliverBufferResult(env, jTestResults, i, result, len));
        if (stop)
            break;
    }
    return methodResult;
}

jint ping(JNIEnv* env, jint dev, jobject ipAddr, jint count)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    PING request{};
    ISCSIIPADDR address{};
    DVH_TRY(marshal::readIPAddr(env, ipAddr, address.IPAddress));
    request.IPAddr = address;
    request.packetCount = static_cast<uint16_t>(count);
    SD_STATUS status = SDDiagPing(handleAt(dev), &request);
    if (status != 0)
        std::printf("JNI: SDDiagPing() failed! %x\n", status);
    return static_cast<jint>(status);
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_ping(JNIEnv* env, jobject, jint dev, jobject ipAddr,
                                                                     jint count)
{
    return ping(env, dev, ipAddr, count);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_loopbackTest(JNIEnv* env, jobject, jint dev,
                                                                             jint mode, jint stopOnError,
                                                                             jint jTestCount, jobject testStatus,
                                                                             jobject jTestResult)
{
    return loopbackTest(env, dev, mode, stopOnError, jTestCount, testStatus, jTestResult);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_readWriteBufferTest(
    JNIEnv* env, jobject, jint dev, jobjectArray jTargetInfoArray, jint stopOnError, jint jTestCount,
    jcharArray jTestPattern, jobject testStatus, jobjectArray jTestResults)
{
    return readWriteBufferTest(env, dev, jTargetInfoArray, stopOnError, jTestCount, jTestPattern, testStatus,
                               jTestResults);
}

}  // extern "C"
