// JNI floors for the benchmark (libdvhbench.so): for a native method, a
// loop that does only what the method cannot avoid on the same model
// objects and the same simulated adapter: the library calls, its required
// output lines, one GetObjectClass per object, one call per accessor and
// the strings, arrays and objects it must create, and the exception check
// that must follow every call into Java. Every class and method identifier
// is looked up once, before any timing, and never checked again.
#include <jni.h>

#include <malloc.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "bench_floor.h"
#include "sdm/sdm_api.h"

namespace {

using namespace floors;

// Adapter object: properties, in call order.
Id gHba[] = {
    {"setNumberDiskTargets", "(I)V"}, {"setMACAddress", "([S)V"}, {"setState", "(I)V"}, {"setDhcpState", "(I)V"},
    {"setLinkStatus", "(I)V"}, {"setFlowControl", "(Z)V"}, {"setDuplex", "(I)V"}, {"setLinkSpeed", "(I)V"},
    {"setType", "(I)V"}, {"setDriverAttribute", "(I)V"}, {"setFirmwareAttribute", "(I)V"},
    {"setDriverVersion", kStr}, {"setFirmwareVersion", kStr}, {"setManufacturer", kStr}, {"setChipModel", kStr},
    {"setOptRomVersion", kStr}, {"setSerialNumberStr", kStr},
    // 17..
    {"addDeviceDataBaseEntry", "(Lcom/norvik/dvh/iscsi/model/DevDBEntry;)V"},
    {"setIPAddress", kIP}, {"setGateway", kIP}, {"setSubnetMask", kIP}, {"setPrimaryDNS", kIP}, {"setSlpDa", kIP},
    {"getInitFW", "()Lcom/norvik/dvh/iscsi/model/InitFW;"}, {"setHBA_Level_Alias", kStr},
    {"setHBA_Level_TCPMaxWindowSize", "(I)V"},
};
enum { kHbaAdd = 17, kHbaAddr = 18, kHbaInitFW = 23, kHbaAlias = 24, kHbaWindow = 25 };

Id gEntry[] = {
    {"setInitiatorSessionID", "([S)V"}, {"setTargetID", "(I)V"}, {"setState", "(I)V"}, {"setIndex", "(I)V"},
    {"setMaxTxDataSegmentLen", "(I)V"}, {"setDDBLink", "(I)V"}, {"setChapIndex", "(I)V"}, {"setOptions", "(B)V"},
    {"setControl", "(B)V"}, {"setExeCount", "(I)V"}, {"setReservedFlags", "(I)V"}, {"setTargetSessionID", "(I)V"},
    {"setTargetPortalGroupID", "(I)V"}, {"getNodeInfo", "()Lcom/norvik/dvh/iscsi/model/NodeInfo;"},
    {"getDeviceEntry", "()Lcom/norvik/dvh/iscsi/model/DevEntry;"},
};
Id gDev[] = {
    {"setiSCSIOptions", "(S)V"}, {"setTaskManagementTimeout", "(S)V"}, {"setRxTCPWindowScale", "(S)V"},
    {"setTxTCPWindowScale", "(S)V"}, {"setRetryDelay", "(S)V"}, {"setDeviceType", "(I)V"},
    {"setExecutionThrottle", "(I)V"}, {"setFirstBurstSize", "(I)V"}, {"setMaxBurstSize", "(S)V"},
    {"setIPOptions", "(I)V"}, {"setMaxRxDataSegmentLen", "(I)V"}, {"setDefaultTime2Wait", "(I)V"},
    {"setDefaultTime2Retain", "(I)V"}, {"setKeepAliveTO", "(I)V"}, {"setMaxOutstandingR2T", "(I)V"},
    {"setTCPOptions", "(I)V"}, {"setTargetAddress", kStr}, {"setPortNumber", "(I)V"},
};
Id gInitFW[] = {
    {"setFWOptions", "(S)V"}, {"setAddFWOptions", "(S)V"}, {"setJumboPacketSize", "(I)V"}, {"setZIOCount", "(S)V"},
    {"setVLAN_TCI_TO_InitFW", "(I)V"}, {"setReserved1", "(B)V"}, {"setWakeupThreshold", "(S)V"},
    {"getDevEntry", "()Lcom/norvik/dvh/iscsi/model/DevEntry;"},
};
Id gInitFWDev[] = {{"setTaskManagementTimeout", "(S)V"}, {"setRxTCPWindowScale", "(S)V"}};
Id gDDBCtor[] = {{"<init>", "()V"}};
Id gCallback[] = {{"jniAENCallBack", "(III)I"}};

jclass gDDBClass;

// Resolves everything once per class of the objects given (all the same
// classes in a benchmark run).
bool prepare(JNIEnv* env, jobject hba)
{
    if (!gDDBClass)
        gDDBClass = globalClass(env, "com/norvik/dvh/iscsi/model/DevDBEntry");
    if (!gDDBClass || !prepareIPMaker(env))
        return false;
    jclass hc = env->GetObjectClass(hba);
    bool ok = resolve(env, hc, gHba) && resolve(env, gDDBClass, gDDBCtor) && resolve(env, gDDBClass, gEntry);
    env->DeleteLocalRef(hc);
    return ok;
}

void devEntry(JNIEnv* env, jobject dev, const ISCSIDEVICE& d)
{
    jclass cls = env->GetObjectClass(dev);
    resolve(env, cls, gDev);
    env->DeleteLocalRef(cls);
    jmethodID* m = nullptr;
    (void)m;
    callV(env, dev, gDev[0].id, static_cast<jshort>(d.iSCSIOptions));
    callV(env, dev, gDev[1].id, static_cast<jshort>(d.taskMngmntTimeout));
    std::printf("DevEntry taskMngmntTimeout=%d\n", d.taskMngmntTimeout);
    callV(env, dev, gDev[2].id, static_cast<jshort>(d.TCPRxWindowScaleFactor));
    std::printf("DevEntry TCPRxWindowScaleFactor=%d\n", d.TCPRxWindowScaleFactor);
    callV(env, dev, gDev[3].id, static_cast<jshort>(d.TCPTxWindowScaleFactor));
    std::printf("DevEntry TCPTxWindowScaleFactor=%d\n", d.TCPTxWindowScaleFactor);
    callV(env, dev, gDev[4].id, static_cast<jshort>(d.retryDelay));
    callV(env, dev, gDev[5].id, static_cast<jint>(d.deviceType));
    callV(env, dev, gDev[6].id, static_cast<jint>(d.exeThrottle));
    callV(env, dev, gDev[7].id, static_cast<jint>(d.firstBurstSize));
    callV(env, dev, gDev[8].id, static_cast<jshort>(d.maxBurstSize));
    callV(env, dev, gDev[9].id, static_cast<jint>(d.IPOptions));
    callV(env, dev, gDev[10].id, static_cast<jint>(d.MaxRxDataSegmentLen));
    callV(env, dev, gDev[11].id, static_cast<jint>(d.DefaultTime2Wait));
    callV(env, dev, gDev[12].id, static_cast<jint>(d.DefaultTime2Retain));
    callV(env, dev, gDev[13].id, static_cast<jint>(d.keepAliveTimeout));
    callV(env, dev, gDev[14].id, static_cast<jint>(d.maxOutstandingR2T));
    callV(env, dev, gDev[15].id, static_cast<jint>(d.TCPOptions));
    callText(env, dev, gDev[16].id, d.targetAddr, sizeof d.targetAddr);
    callV(env, dev, gDev[17].id, static_cast<jint>(d.portNumber));
}

void ddbEntry(JNIEnv* env, jobject hba, SDMGT_HANDLE handle, const DEVICEENTRYISCSI& e, jint index)
{
    jobject obj = newObj(env, gDDBClass, gDDBCtor[0].id);
    callShorts(env, obj, gEntry[0].id, e.InitiatorSessID, sizeof e.InitiatorSessID);
    callV(env, obj, gEntry[1].id, static_cast<jint>(e.TargetID));
    callV(env, obj, gEntry[2].id, static_cast<jint>(e.DeviceState));
    callV(env, obj, gEntry[3].id, index);
    callV(env, obj, gEntry[4].id, static_cast<jint>(e.MaxTxDataSegmentLen));
    callV(env, obj, gEntry[5].id, static_cast<jint>(e.DDBLink));
    callV(env, obj, gEntry[6].id, static_cast<jint>(e.CHAPTableIndex));
    callV(env, obj, gEntry[7].id, static_cast<jbyte>(e.Options));
    callV(env, obj, gEntry[8].id, static_cast<jbyte>(e.Control));
    callV(env, obj, gEntry[9].id, static_cast<jint>(e.exeCount));
    callV(env, obj, gEntry[10].id, static_cast<jint>(e.ReservedFlags));
    callV(env, obj, gEntry[11].id, static_cast<jint>(e.TargetSessID));
    callV(env, obj, gEntry[12].id, static_cast<jint>(e.TargetPortalGroupID));

    jobject node = callObj(env, obj, gEntry[13].id);
    resolveOn(env, node, gNodeWrite);  // once, on the first entry
    nodeToJava(env, node, e.EntryInfo);
    env->DeleteLocalRef(node);

    jobject dev = callObj(env, obj, gEntry[14].id);
    devEntry(env, dev, e.DeviceInfo);
    env->DeleteLocalRef(dev);
    std::printf("Info: getiSCSIHBAData: Add Local AEN Ref Target ID=%d, Device State=%d\r\n", index,
                static_cast<int>(e.DeviceState));
    callV(env, hba, gHba[kHbaAdd].id, obj);
    env->DeleteLocalRef(obj);
    (void)handle;
}

void firmware(JNIEnv* env, jobject hba, SDMGT_HANDLE handle, jint dev)
{
    INITFWISCSI block{};
    SDGetInitFW(handle, &block);
    std::printf("\n** Getting HBA Port Data From HBA[handle:index]=%d:%d ***** \n", handle, dev);
    setIP(env, hba, gHba[kHbaAddr].id, block.IPAddr.IPAddress, 16);
    setIP(env, hba, gHba[kHbaAddr + 1].id, block.Gateway.IPAddress, 16);
    setIP(env, hba, gHba[kHbaAddr + 2].id, block.SubnetMask.IPAddress, 16);
    setIP(env, hba, gHba[kHbaAddr + 3].id, block.PrimaryDNS.IPAddr.IPAddress, 16);
    setIP(env, hba, gHba[kHbaAddr + 4].id, block.SLPDAAddr.IPAddress, 16);
    jobject initFW = callObj(env, hba, gHba[kHbaInitFW].id);
    jclass ic = env->GetObjectClass(initFW);
    resolve(env, ic, gInitFW);
    env->DeleteLocalRef(ic);
    callV(env, initFW, gInitFW[0].id, static_cast<jshort>(block.FWOptions));
    callV(env, initFW, gInitFW[1].id, static_cast<jshort>(block.addFWOptions));
    callV(env, initFW, gInitFW[2].id, static_cast<jint>(block.EthernetMTU));
    callV(env, initFW, gInitFW[3].id, static_cast<jshort>(block.ZIO));
    callV(env, initFW, gInitFW[4].id, static_cast<jint>(block.TCI));
    callV(env, initFW, gInitFW[5].id, static_cast<jbyte>(block.Reserved1));
    callV(env, initFW, gInitFW[6].id, static_cast<jshort>(block.wakeupThreshold));
    jobject de = callObj(env, initFW, gInitFW[7].id);
    devEntry(env, de, block.DeviceInfo);
    jclass dc = env->GetObjectClass(de);
    resolve(env, dc, gInitFWDev);
    env->DeleteLocalRef(dc);
    callV(env, de, gInitFWDev[0].id, static_cast<jshort>(block.taskMngmntTimeout));
    std::printf("InitFW taskMngmntTimeout=%d\n", block.taskMngmntTimeout);
    callV(env, de, gInitFWDev[1].id, static_cast<jshort>(block.TCPWindowScaleFactor));
    std::printf("InitFW TCPWindowScaleFactor=%d\n", block.TCPWindowScaleFactor);
    env->DeleteLocalRef(de);
    env->DeleteLocalRef(initFW);
}

// getiSNSTargets' objects: the adapter's list and each target.
Id gIsnsHba[] = {{"cleariSNSTargetList", "()V"}, {"addiSNSTarget", "(Lcom/norvik/dvh/iscsi/model/iSNSTarget;)V"}};
Id gIsnsTarget[] = {
    {"<init>", "()V"}, {"setPort", "(I)V"}, {"setiSCSIName", kStr}, {"setiSCSIAlias", kStr},
    {"setIPAddress", "([SI)V"},
};
jclass gIsnsClass;

}  // namespace

extern "C" {

// getiSCSIHBAData's floor on adapter handle `handle` (instance `dev`).
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_hbaData(JNIEnv* env, jclass, jint handle, jint dev,
                                                                         jobject hba)
{
    if (!prepare(env, hba))
        return -1;
    auto h = static_cast<SDMGT_HANDLE>(handle);
    HBAISCSIPORTAL p{};
    SDGetHbaDevicePortalPropertyiSCSI(h, 0, &p);
    jclass hc = env->GetObjectClass(hba);
    env->DeleteLocalRef(hc);
    uint16_t link = p.flowControlDuplexLinkSpeed;
    callV(env, hba, gHba[0].id, static_cast<jint>(p.DiscTargetCount));
    callShorts(env, hba, gHba[1].id, p.MacAddr, sizeof p.MacAddr);
    callV(env, hba, gHba[2].id, static_cast<jint>(p.State));
    callV(env, hba, gHba[3].id, static_cast<jint>(p.dhcpState));
    callV(env, hba, gHba[4].id, static_cast<jint>(p.linkStatus));
    callV(env, hba, gHba[5].id, static_cast<jboolean>((link & 0x4000) != 0));
    callV(env, hba, gHba[6].id, static_cast<jint>((link & 0x3000) == 0 ? -1 : (link & 0x3000) == 0x2000));
    callV(env, hba, gHba[7].id, static_cast<jint>((link & 0x0F00) >> 8));
    callV(env, hba, gHba[8].id, static_cast<jint>(p.Type));
    callV(env, hba, gHba[9].id, static_cast<jint>(p.DriverAttr));
    callV(env, hba, gHba[10].id, static_cast<jint>(p.FWAttr));
    callText(env, hba, gHba[11].id, p.DriverVersion, sizeof p.DriverVersion);
    callText(env, hba, gHba[12].id, p.FWVersion, sizeof p.FWVersion);
    callText(env, hba, gHba[13].id, p.Manufacturer, sizeof p.Manufacturer);
    callText(env, hba, gHba[14].id, p.Model, sizeof p.Model);
    callText(env, hba, gHba[15].id, p.OptRomVersion, sizeof p.OptRomVersion);
    callText(env, hba, gHba[16].id, p.SerialNum, sizeof p.SerialNum);

    uint32_t count = 0;
    SDGetDDBEntryNum(h, &count);
    std::printf("Info: getiSCSIHBAData: Initializing Target list for HBA with SDM ID=%d, Java ID=%d\r\n", handle, dev);
    uint32_t made = 0;
    for (uint32_t index = 0; index <= 511 && made < count;) {
        DEVICEENTRYISCSI e{};
        SDGetDDBEntry(h, &e, index);
        std::printf("\n** Getting HBA Port DDB Data From HBA[handle]=%d, DDBIndex=%d ***** \n", handle, index);
        if (e.DeviceState != 0)
            ddbEntry(env, hba, h, e, static_cast<jint>(made++));
        uint32_t next = e.NextValid;
        index = (next > index && next <= 511) ? next : index + 1;
    }
    firmware(env, hba, h, dev);

    char alias[65] = {};
    SDGetHBAAlias(h, alias);
    callText(env, hba, gHba[kHbaAlias].id, reinterpret_cast<const uint8_t*>(alias), sizeof alias);
    uint16_t window = 0;
    SDGetTCPMaxWindowSize(h, &window);
    std::printf("HBA level TCP max window size=%u (0x%x)\n", window, window);
    callV(env, hba, gHba[kHbaWindow].id, static_cast<jint>(window));
    return 0;
}

// getFWData's floor.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_fwData(JNIEnv* env, jclass, jint handle, jint dev,
                                                                        jobject hba)
{
    if (!prepare(env, hba))
        return -1;
    firmware(env, hba, static_cast<SDMGT_HANDLE>(handle), dev);
    return 0;
}

// getAENsForDevice's required output alone: its lines for `count` events
// that all count as updates, and one callback.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_aenLines(JNIEnv* env, jclass, jint handle, jint dev,
                                                                          jobject host)
{
    static ASYNC_EVENT events[256];
    uint32_t count = 0;
    uint32_t rollOver = 0;
    SDGetAeniSCSI(static_cast<SDMGT_HANDLE>(handle), events, 256, &count, &rollOver);
    std::printf("Debug: ***JNI::getAENsForDevice: Creating AEN Buffer=%d\r\n", static_cast<int>(sizeof events));
    std::printf("Debug: ***JNI::getAENsForDevice: HBA Device java:sdm Instance=%d:%d\r\n", dev, handle);
    std::printf("Debug: ***AENHandlerFunction: Device Instance[%d] has (%d) events.\r\n", handle, count);
    for (uint32_t i = 0; i < count; ++i) {
        const ASYNC_EVENT& ev = events[i];
        const uint32_t* q = ev.Event.Payload;
        std::printf("Debug: ***AEN %d: EventCode = %#x, payload: %#x %#x %#x %#x %#x %#x %#x\r\n", i,
                    ev.Event.AsyncEventCode, q[0], q[1], q[2], q[3], q[4], q[5], q[6]);
        time_t seconds = static_cast<time_t>(ev.TimeStamp.time);
        char when[64] = {};
        ctime_r(&seconds, when);
        std::printf("Debug: ***AENCallBackFunction: AEN %d - ID:%#x (%s) Time: %s \r\n", i, ev.Event.AsyncEventCode,
                    "Link Up", when);
    }
    if (!gCallback[0].id) {
        jclass cls = env->GetObjectClass(host);
        resolve(env, cls, gCallback);
        env->DeleteLocalRef(cls);
    }
    jclass cls = env->GetObjectClass(host);
    env->DeleteLocalRef(cls);
    jint r = env->CallIntMethod(host, gCallback[0].id, dev, 1, 0);
    env->ExceptionCheck();
    return r;
}

// Hands the C heap's free memory back to the system, so that resident
// memory shows only what is still held.
JNIEXPORT void JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_trimNativeHeap(JNIEnv*, jclass)
{
    malloc_trim(0);
}

// getiSNSTargets' floor: the two reads (the first buffer is too small for
// 512 targets), the list cleared, each target made, filled and added.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_isnsTargets(JNIEnv* env, jclass, jint handle,
                                                                             jobject hba)
{
    if (!resolveOn(env, hba, gIsnsHba) || !resolveModel(env, gIsnsClass, "com/norvik/dvh/iscsi/model/iSNSTarget",
                                                        gIsnsTarget))
        return -1;
    static SDM_ISNS_DISCOVERED_TARGET small[30];
    static SDM_ISNS_DISCOVERED_TARGET large[512];
    auto h = static_cast<SDMGT_HANDLE>(handle);
    uint32_t count = 0;
    SDGetAlliSNSDiscoveredTargets(h, &count, small, sizeof small);
    count = 0;
    SDGetAlliSNSDiscoveredTargets(h, &count, large, sizeof large);
    jclass hc = env->GetObjectClass(hba);
    env->DeleteLocalRef(hc);
    callV(env, hba, gIsnsHba[0].id);
    for (uint32_t i = 0; i < count && i < 512; ++i) {
        const SDM_ISNS_DISCOVERED_TARGET& t = large[i];
        jobject obj = newObj(env, gIsnsClass, gIsnsTarget[0].id);
        callV(env, obj, gIsnsTarget[1].id, static_cast<jint>(t.targetPortal[0].port));
        callText(env, obj, gIsnsTarget[2].id, t.targetName, sizeof t.targetName);
        callText(env, obj, gIsnsTarget[3].id, t.targetAlias, sizeof t.targetAlias);
        jshortArray a = shorts(env, t.targetPortal[0].ipAddr.IPAddress, 16);
        callV(env, obj, gIsnsTarget[4].id, a, static_cast<jint>(t.targetPortal[0].ipAddr.Type));
        env->DeleteLocalRef(a);
        callV(env, hba, gIsnsHba[1].id, obj);
        env->DeleteLocalRef(obj);
    }
    return 0;
}

}  // extern "C"
