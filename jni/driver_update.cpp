// Driver update and driver version: requests handed to the implementation
// routines, whose Status records reach Java as a ReturnStatus object or a
// version string.
#include "driver_update.h"

#include <cstdio>
#include <cstring>
#include <mutex>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_agent_shared.h"
#include "jni_support.h"
#include "marshal.h"

using namespace dvh;
using marshal::Conv;
using marshal::M;
using marshal::Msg;
using marshal::Field;

// One Status per kind for the life of the library, made on first use.
Status* g_ptrRpcUpdateDriverStatusResult = nullptr;
Status* g_ptrRpcGetDriverVersionStatusResult = nullptr;

namespace {

// Guards the creation of both records: first calls may come from several threads at once.
std::mutex g_statusResultsMutex;

Status* sharedStatus(Status*& global, const char* failureText)
{
    std::lock_guard<std::mutex> lock(g_statusResultsMutex);
    if (!global)
        global = static_cast<Status*>(CoreZMalloc(sizeof(Status)));
    if (!global)
        CoreLogMessageShared(kLogError, "%s", failureText);
    return global;
}

constexpr Field kReturnStatusToJava[] = {
    M("setStatus", DVH_FIELD(Status, iStatus), Conv::SetInt)
        .message("GetMethodID ReturnStatus.setStatus - Obj call failed!\n"),
    M("setStatusString", DVH_FIELD(Status, acStatus), Conv::SetText)
        .message("GetMethodID ReturnStatus.setStatusString - Obj call failed!\n"),
};
static_assert(marshal::validTable(kReturnStatusToJava), "ReturnStatus accessor table");

constexpr size_t kDriverNameMax = sizeof(DriverVersionRequest::acDriverName) - 1;
constexpr size_t kVersionBuffer = 512;

}  // namespace

// No driver is installed and no file is read yet: both routines hand back
// their zeroed record, i.e. success with an empty text.
Status* updateDriverImplementation(const char* /*dirpath*/, int32_t /*iControl*/)
{
    return sharedStatus(g_ptrRpcUpdateDriverStatusResult,
                        "UpdateDriver: Unable to allocate memory for return status!");
}

Status* getDriverVersionImplementation(const DriverVersionRequest* /*request*/)
{
    return sharedStatus(g_ptrRpcGetDriverVersionStatusResult,
                        "GetDriverVersion: Unable to allocate memory for return status!");
}

extern "C" {

JNIEXPORT jobject JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_updateDriver(JNIEnv* env, jobject, jstring dirpath,
                                                                                jint icontrol)
{
    const Status* status;
    {
        // Released once the request has been made.
        UtfChars path(env, dirpath);
        if (thrown(env))
            return nullptr;
        status = updateDriverImplementation(path.get(), icontrol);
    }
    std::printf("updateDriverImplementation() completed!\n");

    LocalRef<jclass> cls = modelClass(env, "ReturnStatus");
    if (!cls) {
        std::printf("Find Device class call failed! - javaReturnStatusClass\n");
        return nullptr;
    }
    LocalRef<jobject> result = newObject(env, cls.get());
    if (!result) {
        std::printf("New Device Object failed! - javaReturnStatusObject\n");
        return nullptr;
    }
    if (!status) {
        std::printf("updateDriverImplementation() Null return Status!\n");
        return nullptr;
    }
    std::printf("updateDriverImplementation() Setting return Status!\n");
    // The shared record's text is read within its 512 bytes.
    if (marshal::toJava(env, result.get(), cls.get(), status, kReturnStatusToJava) != kStatusOk)
        return nullptr;
    std::printf("updateDriverImplementation() Done with setting return Status!\n");
    return result.release();
}

JNIEXPORT jstring JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_iSCSIGetDriverVersion(JNIEnv* env, jobject,
                                                                                         jint dev, jobject,
                                                                                         jstring fileName, jstring)
{
    UtfChars name(env, fileName);
    if (thrown(env))
        return nullptr;
    if (devOutOfRange(dev))
        return nullptr;
    char version[kVersionBuffer] = {};
    // A null file name is taken as an empty one.
    const char* file = name ? name.get() : "";
    std::printf("JNI: fileName: %s\n", file);

    // The request is a record of its own; the name is cut at 63 bytes.
    DriverVersionRequest request{};
    std::strncpy(request.acDriverName, file, kDriverNameMax);
    const Status* status = getDriverVersionImplementation(&request);
    std::printf("JNI: getDriverVersionImplementation() completed!\n");
    if (status && status->iStatus == 0) {
        std::printf("JNI: getDriverVersionStatusResult() returned non-null Status!\n");
        std::memcpy(version, status->acStatus, strnlen(status->acStatus, sizeof version - 1));
        std::printf("JNI: getDriverVersionStatusResult() versionString %s\n", version);
        return env->NewStringUTF(version);
    }
    std::printf("JNI: getDriverVersionStatusResult() Null return Status!\n");
    return nullptr;
}

}  // extern "C"
