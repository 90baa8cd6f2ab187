// More JNI floors for the benchmark (libdvhprobe.so), on the rules of
// bench_floor_jni.cpp: for a native method, only what it cannot avoid on the
// same model objects and the same simulated adapter. Readers of Java objects
// make one GetObjectClass per object they are given or get from a getter,
// one call per getter (with its exception check) and keep the record bytes
// the method must send to the library.
#include <jni.h>

#include <cstdio>
#include <cstring>

#include "bench_floor.h"
#include "sdm/sdm_api.h"

namespace {

using namespace floors;

constexpr const char* kPkg = "com/norvik/dvh/iscsi/model/";

// Stores a getter's answer into a record field of its width (the low bytes).
template <class F>
void put(F& field, uint64_t value)
{
    std::memcpy(&field, &value, sizeof field);
}

// A text getter: at most `bound` bytes of its string copied (strncpy), a
// null answer leaves the field.
void getText(JNIEnv* env, jobject obj, jmethodID id, void* field, size_t bound)
{
    auto s = static_cast<jstring>(callObj(env, obj, id));
    if (!s)
        return;
    const char* chars = env->GetStringUTFChars(s, nullptr);
    std::strncpy(static_cast<char*>(field), chars, bound);
    env->ReleaseStringUTFChars(s, chars);
    env->DeleteLocalRef(s);
}

Id gIPRead[] = {{"getAddressElement", "(S)S"}};
jclass gIPClass;

// An address getter on `holder`: the IPAddr it answers, its class, and its
// sixteen address bytes one call each.
void readIP(JNIEnv* env, jobject holder, jmethodID getter, uint8_t* bytes)
{
    jobject ip = callObj(env, holder, getter);
    classOf(env, ip);
    for (jshort i = 0; i < 16; ++i) {
        jshort v = env->CallShortMethod(ip, gIPRead[0].id, i);
        env->ExceptionCheck();
        bytes[i] = static_cast<uint8_t>(v);
    }
    env->DeleteLocalRef(ip);
}

bool prepareIP(JNIEnv* env)
{
    return resolveModel(env, gIPClass, "com/norvik/dvh/iscsi/model/IPAddr", gIPRead);
}

// A DevEntry read into an ISCSIDEVICE (its class looked up on the object).
Id gDevRead[] = {
    {"getiSCSIOptions", "()S"}, {"getTaskManagementTimeout", "()S"}, {"getMaxBurstSize", "()S"},
    {"getRetryDelay", "()S"}, {"getRxTCPWindowScale", "()S"}, {"getDeviceType", "()I"},
    {"getExecutionThrottle", "()I"}, {"getFirstBurstSize", "()I"}, {"getIPOptions", "()I"},
    {"getMaxRxDataSegmentLen", "()I"}, {"getDefaultTime2Wait", "()I"}, {"getDefaultTime2Retain", "()I"},
    {"getKeepAliveTO", "()I"}, {"getMaxOutstandingR2T", "()I"}, {"getTCPOptions", "()I"},
    {"getTargetAddress", kGetStr}, {"getPortNumber", "()I"},
};

void devFromJava(JNIEnv* env, jobject dev, ISCSIDEVICE& d)
{
    classOf(env, dev);
    const Id* m = gDevRead;
    put(d.iSCSIOptions, static_cast<uint16_t>(callShort(env, dev, m[0].id)));
    put(d.taskMngmntTimeout, static_cast<uint16_t>(callShort(env, dev, m[1].id)));
    std::printf("taskMngmntTimeout from GUI=%d\n", d.taskMngmntTimeout);
    put(d.maxBurstSize, static_cast<uint16_t>(callShort(env, dev, m[2].id)));
    put(d.retryDelay, static_cast<uint16_t>(callShort(env, dev, m[3].id)));
    put(d.TCPRxWindowScaleFactor, static_cast<uint16_t>(callShort(env, dev, m[4].id)));
    std::printf("getRxTCPWindowScale() from GUI (ISCSIDEVICE)=%d\n", d.TCPRxWindowScaleFactor);
    put(d.deviceType, static_cast<uint32_t>(callInt(env, dev, m[5].id)));
    put(d.exeThrottle, static_cast<uint32_t>(callInt(env, dev, m[6].id)));
    put(d.firstBurstSize, static_cast<uint32_t>(callInt(env, dev, m[7].id)));
    put(d.IPOptions, static_cast<uint32_t>(callInt(env, dev, m[8].id)));
    put(d.MaxRxDataSegmentLen, static_cast<uint32_t>(callInt(env, dev, m[9].id)));
    put(d.DefaultTime2Wait, static_cast<uint32_t>(callInt(env, dev, m[10].id)));
    put(d.DefaultTime2Retain, static_cast<uint32_t>(callInt(env, dev, m[11].id)));
    put(d.keepAliveTimeout, static_cast<uint32_t>(callInt(env, dev, m[12].id)));
    put(d.maxOutstandingR2T, static_cast<uint32_t>(callInt(env, dev, m[13].id)));
    put(d.TCPOptions, static_cast<uint32_t>(callInt(env, dev, m[14].id)));
    getText(env, dev, m[15].id, d.targetAddr, sizeof d.targetAddr);
    put(d.portNumber, static_cast<uint32_t>(callInt(env, dev, m[16].id)));
}

// --- setFWData -------------------------------------------------------------

Id gFwHba[] = {
    {"getIPAddress", kGetIP}, {"getGateway", kGetIP}, {"getSubnetMask", kGetIP}, {"getPrimaryDNS", kGetIP},
    {"getSlpDa", kGetIP}, {"getNodeInfo", "()Lcom/norvik/dvh/iscsi/model/NodeInfo;"},
    {"getInitFW", "()Lcom/norvik/dvh/iscsi/model/InitFW;"}, {"getHBA_Level_Alias", kGetStr},
    {"getHBA_Level_TCPMaxWindowSize", "()I"},
};
Id gFwNode[] = {{"getiSCSIName", kGetStr}, {"getAlias", kGetStr}};
Id gFwInit[] = {
    {"getFWOptions", "()S"}, {"getAddFWOptions", "()S"}, {"getJumboPacketSize", "()I"}, {"getZIOCount", "()S"},
    {"getVLAN_TCI", "()I"}, {"getDevEntry", "()Lcom/norvik/dvh/iscsi/model/DevEntry;"},
};

bool prepareFw(JNIEnv* env, jobject hba)
{
    if (!prepareIP(env) || !resolveOn(env, hba, gFwHba))
        return false;
    if (gFwNode[0].id)
        return true;
    jobject node = env->CallObjectMethod(hba, gFwHba[5].id);
    jobject init = env->CallObjectMethod(hba, gFwHba[6].id);
    bool ok = resolveOn(env, node, gFwNode) && resolveOn(env, init, gFwInit);
    jobject dev = ok ? env->CallObjectMethod(init, gFwInit[5].id) : nullptr;
    ok = ok && resolveOn(env, dev, gDevRead);
    env->DeleteLocalRef(node);
    env->DeleteLocalRef(init);
    env->DeleteLocalRef(dev);
    return ok;
}

}  // namespace

extern "C" {

// setFWData's floor: the block read, the adapter object's side of it read
// (addresses, node names, InitFW and its DevEntry), the block written, the
// alias and the window size written.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_setFWData(JNIEnv* env, jclass, jint handle,
                                                                           jobject hba)
{
    if (!prepareFw(env, hba))
        return -1;
    auto h = static_cast<SDMGT_HANDLE>(handle);
    INITFWISCSI block{};
    SDGetInitFW(h, &block);
    classOf(env, hba);
    readIP(env, hba, gFwHba[0].id, block.IPAddr.IPAddress);
    readIP(env, hba, gFwHba[1].id, block.Gateway.IPAddress);
    readIP(env, hba, gFwHba[2].id, block.SubnetMask.IPAddress);
    readIP(env, hba, gFwHba[3].id, block.PrimaryDNS.IPAddr.IPAddress);
    readIP(env, hba, gFwHba[4].id, block.SLPDAAddr.IPAddress);

    jobject node = callObj(env, hba, gFwHba[5].id);
    classOf(env, node);
    getText(env, node, gFwNode[0].id, block.iSCSIName, 224);
    getText(env, node, gFwNode[1].id, block.Alias, sizeof block.Alias);
    env->DeleteLocalRef(node);

    jobject init = callObj(env, hba, gFwHba[6].id);
    classOf(env, init);
    put(block.FWOptions, static_cast<uint16_t>(callShort(env, init, gFwInit[0].id)));
    put(block.addFWOptions, static_cast<uint16_t>(callShort(env, init, gFwInit[1].id)));
    put(block.EthernetMTU, static_cast<uint32_t>(callInt(env, init, gFwInit[2].id)));
    put(block.ZIO, static_cast<uint16_t>(callShort(env, init, gFwInit[3].id)));
    put(block.TCI, static_cast<uint32_t>(callInt(env, init, gFwInit[4].id)));
    std::printf("Called getVLAN_TCI(), value:0x%x\n", block.TCI);
    jobject dev = callObj(env, init, gFwInit[5].id);
    devFromJava(env, dev, block.DeviceInfo);
    put(block.taskMngmntTimeout, static_cast<uint16_t>(callShort(env, dev, gDevRead[1].id)));
    std::printf("taskMngmntTimeout from GUI(for INITFWISCSI)=%d\n", block.taskMngmntTimeout);
    put(block.TCPWindowScaleFactor, static_cast<uint16_t>(callShort(env, dev, gDevRead[4].id)));
    std::printf("getRxTCPWindowScale() from GUI (for INITFWISCSI)=%d\n", block.TCPWindowScaleFactor);
    env->DeleteLocalRef(dev);
    env->DeleteLocalRef(init);

    SDSetInitFW(h, &block);
    auto alias = static_cast<jstring>(callObj(env, hba, gFwHba[7].id));
    if (alias) {
        char buffer[65] = {};
        const char* chars = env->GetStringUTFChars(alias, nullptr);
        std::strncpy(buffer, chars, 64);
        env->ReleaseStringUTFChars(alias, chars);
        env->DeleteLocalRef(alias);
        SDSetHBAAlias(h, buffer);
    }
    uint16_t window = static_cast<uint16_t>(callInt(env, hba, gFwHba[8].id));
    std::printf("HBA level TCP max window size from GUI=%u (0x%x)\n", window, window);
    SDSetTCPMaxWindowSize(h, window);
    return 0;
}

}  // extern "C"
