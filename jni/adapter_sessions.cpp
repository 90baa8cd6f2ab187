// Native entry points of adapter sessions: the handle table, opening and
// closing adapters, the library version and its debug trace switch.
#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "jni_agent_shared.h"
#include "jni_support.h"

namespace dvh {
namespace {
// hbaHandles: one handle per Java instance number, 0 = not open. Entries are
// atomic so that native methods on several Java threads read and write them
// safely.
std::atomic<SDMGT_HANDLE> hbaHandles[kMaxAdapters];

bool inTable(jint dev) { return dev >= 0 && dev < kMaxAdapters; }
}  // namespace

SDMGT_HANDLE handleAt(jint dev)
{
    return inTable(dev) ? hbaHandles[dev].load() : 0;
}

void setHandleAt(jint dev, SDMGT_HANDLE handle)
{
    if (inTable(dev))
        hbaHandles[dev].store(handle);
}

void clearHandles()
{
    for (auto& entry : hbaHandles)
        entry.store(0);
}

bool openDeviceShared(jint dev)
{
    // Opening instance 0 starts a fresh enumeration of adapters.
    if (dev == 0)
        RemoveAllHbasFromHbaList();
    SDMGT_HANDLE handle = 0;
    if (SDOpenDeviceiSCSI(static_cast<uint32_t>(dev), &handle) != 0)
        return false;
    setHandleAt(dev, handle);
    SDMHba* hba = CreateNewHba();
    if (hba) {
        hba->HbaHandle = handle;
        hba->HbaNumber = static_cast<uint32_t>(dev);
        // A handle already listed is refused; the refused record is freed
        // here rather than lost.
        if (AddHbaToHbaList(hba) != 0)
            DeleteHba(hba);
    }
    return true;
}

bool closeDeviceShared(jint dev)
{
    bool closed = SDCloseDeviceiSCSI(handleAt(dev)) == 0;
    if (closed)
        setHandleAt(dev, 0);
    {
        RegistryLock lock;
        if (GetHbaList()->count != 0)
            RemoveAllHbasFromHbaList();
    }
    return closed;
}

void versionShared(char (&buffer)[31])
{
    // Cleared first so that a failed call still yields a terminated text.
    std::memset(buffer, 0, sizeof buffer);
    SDGetVersioniSCSI(buffer, sizeof buffer);
    buffer[sizeof buffer - 1] = '\0';
}

jint enableSdmTraceShared(jint dev, const char* fileName)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SDMGT_HANDLE handle = handleAt(dev);
    SD_STATUS status = 0;
    if (fileName)
        status = SDEnableDebugTraceiSCSI(&handle, fileName, -1);
    if (status != 0)
        std::printf("JNI: SDEnableDebugTraceiSCSI: %x \n", status);
    return static_cast<jint>(status);
}

}  // namespace dvh

int findHBADevHandleIndex(SDMGT_HANDLE handle)
{
    for (int i = 0; i < dvh::kMaxAdapters; ++i) {
        if (dvh::handleAt(i) == handle)
            return i;
    }
    return -1;
}

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

extern "C" {

JNIEXPORT void JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_initJNINative(JNIEnv*, jobject)
{
    dvh::clearHandles();
}

JNIEXPORT jboolean JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_openDevice(JNIEnv*, jobject, jint dev)
{
    return dvh::openDeviceShared(dev) ? JNI_TRUE : JNI_FALSE;
}

JNIEXPORT jboolean JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_closeDevice(JNIEnv*, jobject, jint dev)
{
    return dvh::closeDeviceShared(dev) ? JNI_TRUE : JNI_FALSE;
}

JNIEXPORT jstring JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getVersioniSCSI(JNIEnv* env, jobject)
{
    char buffer[31];
    dvh::versionShared(buffer);
    return env->NewStringUTF(buffer);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_enableSdmTrace(JNIEnv* env, jobject, jint dev,
                                                                               jstring fileName)
{
    // The characters are taken before the index test, as the Java side
    // expects, and released on every path.
    dvh::UtfChars name(env, fileName);
    if (fileName && !name)
        return 0;  // out of memory: the JVM's error is pending
    return dvh::enableSdmTraceShared(dev, name.get());
}

}  // extern "C"
