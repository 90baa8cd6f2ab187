// More JNI floors for the benchmark (libdvhbench.so), on the rules of
// bench_floor_jni.cpp: for a native method, only what it cannot avoid on the
// same model objects and the same simulated adapter. Readers of Java objects
// make one GetObjectClass per object they are given or get from a getter,
// one call per getter (with its exception check) and keep the record bytes
// the method must send to the library.
#include <jni.h>

#include <cstddef>
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

// --- setDDBsData ------------------------------------------------------------

Id gDDBRead[] = {
    {"getTargetID", "()I"}, {"getNodeInfo", "()Lcom/norvik/dvh/iscsi/model/NodeInfo;"}, {"getState", "()I"},
    {"getOptions", "()B"}, {"getExeCount", "()I"}, {"getControl", "()B"}, {"getTargetSessionID", "()I"},
    {"getTargetPortalGroupID", "()I"}, {"getReservedFlags", "()I"}, {"getInitiatorSessionID", "()[S"},
    {"getMaxTxDataSegmentLen", "()I"}, {"getDDBLink", "()I"}, {"getChapIndex", "()I"},
    {"getDeviceEntry", "()Lcom/norvik/dvh/iscsi/model/DevEntry;"}, {"isBootableDevice", "()I"},
};
Id gNodeRead[] = {{"getiSCSIName", kGetStr}, {"getAlias", kGetStr}, {"getIPAddress", kGetIP}, {"getPortalCount", "()I"}};

bool prepareDDBs(JNIEnv* env, jobject first)
{
    if (!prepareIP(env) || !resolveOn(env, first, gDDBRead))
        return false;
    if (gNodeRead[0].id && gDevRead[0].id)
        return true;
    jobject node = env->CallObjectMethod(first, gDDBRead[1].id);
    jobject dev = env->CallObjectMethod(first, gDDBRead[13].id);
    bool ok = resolveOn(env, node, gNodeRead) && resolveOn(env, dev, gDevRead);
    env->DeleteLocalRef(node);
    env->DeleteLocalRef(dev);
    return ok;
}

// One DevDBEntry read into the record setDDBData sends.
void ddbFromJava(JNIEnv* env, jobject e, DEVICEENTRYISCSI& r)
{
    const Id* m = gDDBRead;
    jobject node = callObj(env, e, m[1].id);
    classOf(env, node);
    getText(env, node, gNodeRead[0].id, r.EntryInfo.iSCSIName, sizeof r.EntryInfo.iSCSIName - 1);
    getText(env, node, gNodeRead[1].id, r.EntryInfo.Alias, sizeof r.EntryInfo.Alias - 1);
    readIP(env, node, gNodeRead[2].id, r.EntryInfo.IPAddr.IPAddress);
    put(r.EntryInfo.PortalCount, static_cast<uint32_t>(callInt(env, node, gNodeRead[3].id)));
    env->DeleteLocalRef(node);

    put(r.DeviceState, static_cast<uint32_t>(callInt(env, e, m[2].id)));
    put(r.TargetID, static_cast<uint32_t>(callInt(env, e, m[0].id)));
    put(r.Options, static_cast<uint8_t>(callByte(env, e, m[3].id)));
    put(r.exeCount, static_cast<uint32_t>(callInt(env, e, m[4].id)));
    put(r.Control, static_cast<uint8_t>(callByte(env, e, m[5].id)));
    put(r.TargetSessID, static_cast<uint32_t>(callInt(env, e, m[6].id)));
    put(r.TargetPortalGroupID, static_cast<uint32_t>(callInt(env, e, m[7].id)));
    put(r.ReservedFlags, static_cast<uint32_t>(callInt(env, e, m[8].id)));
    auto sid = static_cast<jshortArray>(callObj(env, e, m[9].id));
    if (sid) {
        jsize n = env->GetArrayLength(sid);
        if (n > 6)
            n = 6;
        jshort v[6];
        env->GetShortArrayRegion(sid, 0, n, v);
        for (jsize i = 0; i < n; ++i)
            r.InitiatorSessID[i] = static_cast<uint8_t>(v[i]);
        env->DeleteLocalRef(sid);
    }
    put(r.MaxTxDataSegmentLen, static_cast<uint32_t>(callInt(env, e, m[10].id)));
    put(r.DDBLink, static_cast<uint32_t>(callInt(env, e, m[11].id)));
    put(r.CHAPTableIndex, static_cast<uint32_t>(callInt(env, e, m[12].id)));

    jobject dev = callObj(env, e, m[13].id);
    devFromJava(env, dev, r.DeviceInfo);
    env->DeleteLocalRef(dev);
}

// --- getSecurityPoliciesTable ------------------------------------------------

Id gPolicyHba[] = {{"addSecurityPolicyEntry", "(Lcom/norvik/dvh/iscsi/model/SecurityPolicyEntry;)V"}};
Id gPolicyWrite[] = {
    {"<init>", "()V"}, {"setKind", "(I)V"}, {"setPriority", "(I)V"}, {"setProtocol", "(I)V"},
    {"setTunnelIPAddr", kIP}, {"setSourceAddr", kIP}, {"setDestStartAddr", kIP}, {"setDestEndAddr", kIP},
    {"setDestType", "(I)V"}, {"setAction", "(I)V"}, {"setPort", "(I)V"}, {"setPolicyName", kStr},
    {"setIKEMode", "(I)V"}, {"setIKEPFS", "(Z)V"}, {"setIKEDirection", "(I)V"}, {"setAutoIPSec", "(Z)V"},
    {"setAuthKey", kStr}, {"setEncryptKey", kStr}, {"setEncryptIV", kStr}, {"setSPI", "(I)V"},
    {"setAssociatedIke", "(I)V"}, {"setPreSharedKey", kStr}, {"setSourcePort", "(I)V"},
    {"addTransform", "(Lcom/norvik/dvh/iscsi/model/SecurityTransform;)V"},
};
Id gTransformWrite[] = {
    {"<init>", "()V"}, {"setLevel", "(I)V"}, {"setEncryptAlgo", "(I)V"}, {"setIPSecMode", "(I)V"},
    {"setAuthAlgo", "(I)V"}, {"setKBytesLife", "(I)V"}, {"setSecondsLife", "(I)V"}, {"setGroup", "(I)V"},
    {"setIKEAuthMethod", "(I)V"}, {"setType", "(I)V"},
};
jclass gPolicyClass;
jclass gTransformClass;

void policyToJava(JNIEnv* env, jobject p, const SECURITYPOLICY& r)
{
    const Id* m = gPolicyWrite;
    callV(env, p, m[1].id, static_cast<jint>(r.PolicyKind));
    callV(env, p, m[2].id, static_cast<jint>(r.Priority));
    callV(env, p, m[3].id, static_cast<jint>(r.Protocol));
    setIP(env, p, m[4].id, r.TunnelIPAddr.IPAddress, 4);
    setIP(env, p, m[5].id, r.SourceAddr.IPAddress, 4);
    setIP(env, p, m[6].id, r.DestStartAddr.IPAddress, 4);
    setIP(env, p, m[7].id, r.DestEndAddr.IPAddress, 4);
    callV(env, p, m[8].id, static_cast<jint>(r.DestType));
    callV(env, p, m[9].id, static_cast<jint>(r.Action));
    callV(env, p, m[10].id, static_cast<jint>(r.DestPort));
    callText(env, p, m[11].id, r.PolicyName, sizeof r.PolicyName);
    callV(env, p, m[12].id, static_cast<jint>(r.IKEMode));
    callV(env, p, m[13].id, static_cast<jboolean>(r.IKEPFS != 0));
    callV(env, p, m[14].id, static_cast<jint>(r.IKEDirection));
    callV(env, p, m[15].id, static_cast<jboolean>(r.AutoIPSec != 0));
    if (r.AutoIPSec == 0) {
        callText(env, p, m[16].id, r.AuthKey, sizeof r.AuthKey);
        callText(env, p, m[17].id, r.EncryptKey, sizeof r.EncryptKey);
        callText(env, p, m[18].id, r.EncryptIV, sizeof r.EncryptIV);
        callV(env, p, m[19].id, static_cast<jint>(r.SPI));
    }
    callV(env, p, m[20].id, static_cast<jint>(r.AssociatedIKEPolicy));
    callText(env, p, m[21].id, r.PreSharedKey, sizeof r.PreSharedKey);
    callV(env, p, m[22].id, static_cast<jint>(r.SourcePort));
    if (r.NumberOfTransforms > 16)
        return;
    const Id* t = gTransformWrite;
    for (uint32_t i = 0; i < r.NumberOfTransforms; ++i) {
        const SECTRANSFORM& x = r.Transforms[i];
        jobject obj = newObj(env, gTransformClass, t[0].id);
        callV(env, obj, t[1].id, static_cast<jint>(x.Level));
        callV(env, obj, t[2].id, static_cast<jint>(x.EncryptAlgo));
        callV(env, obj, t[3].id, static_cast<jint>(x.IPSecMode));
        callV(env, obj, t[4].id, static_cast<jint>(x.AuthAlgo));
        callV(env, obj, t[5].id, static_cast<jint>(x.KBytesLife));
        callV(env, obj, t[6].id, static_cast<jint>(x.SecondsLife));
        callV(env, obj, t[7].id, static_cast<jint>(x.Group));
        callV(env, obj, t[8].id, static_cast<jint>(x.IKEAuthMethod));
        callV(env, obj, t[9].id, static_cast<jint>(x.Type));
        callV(env, p, m[23].id, obj);
        env->DeleteLocalRef(obj);
    }
}

// --- setSecurityPolicies -------------------------------------------------------

Id gPolicyRead[] = {
    {"getKind", "()I"}, {"getStatusChangeBitMap", "()I"}, {"getPriority", "()I"}, {"getTunnelIPAddr", kGetIP},
    {"getSourceAddr", kGetIP}, {"getDestType", "()I"}, {"getDestStartAddr", kGetIP}, {"getEnabledTarget", "()I"},
    {"getDestEndAddr", kGetIP}, {"getAction", "()I"}, {"getProtocol", "()I"}, {"getPort", "()I"},
    {"getPolicyName", kGetStr}, {"getNumTransforms", "()I"},
    {"getTransform", "(I)Lcom/norvik/dvh/iscsi/model/SecurityTransform;"}, {"getSourcePort", "()I"},
    {"getAutoIPSec", "()Z"}, {"getAssociatedIke", "()I"}, {"getEncryptKeyLen", "()I"}, {"getEncryptKey", kGetStr},
    {"getEncryptIVLen", "()I"}, {"getEncryptIV", kGetStr}, {"getAuthKeyLen", "()I"}, {"getAuthKey", kGetStr},
    {"getSPI", "()I"}, {"getIKEMode", "()I"}, {"getIKEPFS", "()Z"}, {"getIKEDirection", "()I"},
    {"getPreSharedKeyLen", "()I"}, {"getPreSharedKey", kGetStr},
};
Id gTransformRead[] = {
    {"getLevel", "()I"}, {"getEncryptAlgo", "()I"}, {"getAuthAlgo", "()I"}, {"getKBytesLife", "()I"},
    {"getSecondsLife", "()I"}, {"getType", "()I"}, {"getGroup", "()I"}, {"getIKEAuthMethod", "()I"},
    {"getIPSecMode", "()I"},
};

// The low byte of a getter's answer into a wider field (the rest stays zero).
template <class F>
void putLow(F& field, jint value)
{
    auto b = static_cast<uint8_t>(value);
    std::memcpy(&field, &b, 1);
}

// A key's length (at most 31), then at most that many bytes of its text.
void key(JNIEnv* env, jobject p, jmethodID length, jmethodID textGetter, uint32_t& len, uint8_t* field)
{
    auto n = static_cast<uint32_t>(callInt(env, p, length));
    len = n > 31 ? 31 : n;
    getText(env, p, textGetter, field, len);
}

void policyFromJava(JNIEnv* env, jobject p, SECURITYPOLICY& r)
{
    const Id* m = gPolicyRead;
    putLow(r.PolicyKind, callInt(env, p, m[0].id));
    put(r.ChangeBitMap, static_cast<uint32_t>(callInt(env, p, m[1].id)));
    put(r.Priority, static_cast<uint32_t>(callInt(env, p, m[2].id)));
    readIP(env, p, m[3].id, r.TunnelIPAddr.IPAddress);
    readIP(env, p, m[4].id, r.SourceAddr.IPAddress);
    putLow(r.DestType, callInt(env, p, m[5].id));
    readIP(env, p, m[6].id, r.DestStartAddr.IPAddress);
    put(r.EnabledTarget, static_cast<uint32_t>(callInt(env, p, m[7].id)));
    readIP(env, p, m[8].id, r.DestEndAddr.IPAddress);
    putLow(r.Action, callInt(env, p, m[9].id));
    put(r.Protocol, static_cast<uint32_t>(callInt(env, p, m[10].id)));
    put(r.DestPort, static_cast<uint32_t>(callInt(env, p, m[11].id)));
    getText(env, p, m[12].id, r.PolicyName, sizeof r.PolicyName);
    auto count = static_cast<uint32_t>(callInt(env, p, m[13].id));
    r.NumberOfTransforms = count > 16 ? 16 : count;
    const Id* t = gTransformRead;
    for (uint32_t i = 0; i < r.NumberOfTransforms; ++i) {
        SECTRANSFORM& x = r.Transforms[i];
        jobject obj = callObj(env, p, m[14].id, static_cast<jint>(i));
        classOf(env, obj);
        putLow(x.Level, callInt(env, obj, t[0].id));
        putLow(x.EncryptAlgo, callInt(env, obj, t[1].id));
        putLow(x.AuthAlgo, callInt(env, obj, t[2].id));
        put(x.KBytesLife, static_cast<uint32_t>(callInt(env, obj, t[3].id)));
        put(x.SecondsLife, static_cast<uint32_t>(callInt(env, obj, t[4].id)));
        putLow(x.Type, callInt(env, obj, t[5].id));
        if (x.Type == 1) {
            putLow(x.Group, callInt(env, obj, t[6].id));
            putLow(x.IKEAuthMethod, callInt(env, obj, t[7].id));
        } else {
            putLow(x.IPSecMode, callInt(env, obj, t[8].id));
        }
        env->DeleteLocalRef(obj);
    }
    put(r.SourcePort, static_cast<uint32_t>(callInt(env, p, m[15].id)));
    if (r.PolicyKind != 3) {
        r.AutoIPSec = callBool(env, p, m[16].id) ? 1 : 0;
        put(r.AssociatedIKEPolicy, static_cast<uint32_t>(callInt(env, p, m[17].id)));
        if (r.AutoIPSec != 0)
            return;
        key(env, p, m[18].id, m[19].id, r.EncryptKeyLen, r.EncryptKey);
        key(env, p, m[20].id, m[21].id, r.EncryptIVLen, r.EncryptIV);
        key(env, p, m[22].id, m[23].id, r.AuthKeyLen, r.AuthKey);
        put(r.SPI, static_cast<uint32_t>(callInt(env, p, m[24].id)));
        return;
    }
    putLow(r.IKEMode, callInt(env, p, m[25].id));
    r.IKEPFS = callBool(env, p, m[26].id) ? 1 : 0;
    putLow(r.IKEDirection, callInt(env, p, m[27].id));
    key(env, p, m[28].id, m[29].id, r.PreSharedKeyLen, r.PreSharedKey);
}

// --- Counters ------------------------------------------------------------------

// A counter setter and where its value lies in the record.
struct Counter {
    const char* name;
    size_t offset;
    jmethodID id = nullptr;
};

template <size_t N>
bool resolveCounters(JNIEnv* env, jobject obj, Counter (&counters)[N], const char* sig)
{
    if (counters[0].id)
        return true;
    jclass cls = env->GetObjectClass(obj);
    bool ok = true;
    for (Counter& c : counters) {
        c.id = env->GetMethodID(cls, c.name, sig);
        if (!c.id) {
            env->ExceptionClear();
            std::fprintf(stderr, "floor: no %s%s\n", c.name, sig);
            ok = false;
            break;
        }
    }
    env->DeleteLocalRef(cls);
    return ok;
}

// A 64-bit counter as the 9-byte array of a non-negative big integer
// (element 0 zero, then the value's bytes as they lie in memory or reversed),
// handed to its setter (with its index when `index` is not negative).
void bigInt(JNIEnv* env, jobject obj, jmethodID id, uint64_t value, bool reversed, jint index = -1)
{
    jbyte bytes[9] = {};
    uint8_t source[8];
    std::memcpy(source, &value, 8);
    for (int i = 0; i < 8; ++i)
        bytes[1 + i] = static_cast<jbyte>(reversed ? source[7 - i] : source[i]);
    jbyteArray a = env->NewByteArray(9);
    env->SetByteArrayRegion(a, 0, 9, bytes);
    if (index < 0)
        callV(env, obj, id, a);
    else
        callV(env, obj, id, a, index);
    env->DeleteLocalRef(a);
}

Counter gPortCounters[] = {
    {"setMACTxFramesCount", offsetof(HBAPORTSTATISCSI, MACTxFramesCount)},
    {"setMACTxBytesCount", offsetof(HBAPORTSTATISCSI, MACTxBytesCount)},
    {"setMACRxFramesCount", offsetof(HBAPORTSTATISCSI, MACRxFramesCount)},
    {"setMACRxBytesCount", offsetof(HBAPORTSTATISCSI, MACRxBytesCount)},
    {"setMACCRCErrorCount", offsetof(HBAPORTSTATISCSI, MACCRCErrorCount)},
    {"setIPTxPacketsCount", offsetof(HBAPORTSTATISCSI, IPTxPacketsCount)},
    {"setIPTxBytesCount", offsetof(HBAPORTSTATISCSI, IPTxBytesCount)},
    {"setIPTxFragmentsCount", offsetof(HBAPORTSTATISCSI, IPTxFragmentsCount)},
    {"setIPRxPacketsCount", offsetof(HBAPORTSTATISCSI, IPRxPacketsCount)},
    {"setIPRxBytesCount", offsetof(HBAPORTSTATISCSI, IPRxBytesCount)},
    {"setIPRxFragmentsCount", offsetof(HBAPORTSTATISCSI, IPRxFragmentsCount)},
    {"setIPDatagramReassemblyCount", offsetof(HBAPORTSTATISCSI, IPDatagramReassemblyCount)},
    {"setIPRxPacketErrorCount", offsetof(HBAPORTSTATISCSI, IPRxPacketErrorCount)},
    {"setIPReassemblyErrorCount", offsetof(HBAPORTSTATISCSI, IPReassemblyErrorCount)},
    {"setTCPTxSegmentsCount", offsetof(HBAPORTSTATISCSI, TCPTxSegmentsCount)},
    {"setTCPTxBytesCount", offsetof(HBAPORTSTATISCSI, TCPTxBytesCount)},
    {"setTCPRxSegmentsCount", offsetof(HBAPORTSTATISCSI, TCPRxSegmentsCount)},
    {"setTCPRxBytesCount", offsetof(HBAPORTSTATISCSI, TCPRxBytesCount)},
    {"setTCPTimerExpiredCount", offsetof(HBAPORTSTATISCSI, TCPTimerExpiredCount)},
    {"setTCPRxACKCount", offsetof(HBAPORTSTATISCSI, TCPRxACKCount)},
    {"setTCPTxACKCount", offsetof(HBAPORTSTATISCSI, TCPTxACKCount)},
    {"setTCPRxErrorSegmentCount", offsetof(HBAPORTSTATISCSI, TCPRxErrorSegmentCount)},
    {"setTCPWindowProbeUpdateCount", offsetof(HBAPORTSTATISCSI, TCPWindowProbeUpdateCount)},
    {"setiSCSITxPDUCount", offsetof(HBAPORTSTATISCSI, iSCSITxPDUCount)},
    {"setiSCSITxBytesCount", offsetof(HBAPORTSTATISCSI, iSCSITxBytesCount)},
    {"setiSCSIRxPDUCount", offsetof(HBAPORTSTATISCSI, iSCSIRxPDUCount)},
    {"setiSCSIRxBytesCount", offsetof(HBAPORTSTATISCSI, iSCSIRxBytesCount)},
    {"setiSCSICompleteIOsCount", offsetof(HBAPORTSTATISCSI, iSCSICompleteIOsCount)},
    {"setiSCSIFormatErrorCount", offsetof(HBAPORTSTATISCSI, iSCSIFormatErrorCount)},
    {"setiSCSIHeaderDigestCount", offsetof(HBAPORTSTATISCSI, iSCSIHeaderDigestCount)},
    {"setiSCSIDataDigestErrorCount", offsetof(HBAPORTSTATISCSI, iSCSIDataDigestErrorCount)},
    {"setiSCSISeqErrorCount", offsetof(HBAPORTSTATISCSI, iSCSISeqErrorCount)},
};
Counter gSecurityCounters[] = {
    {"setTotalOutIPsecPkts", offsetof(HBASECURITYSTATS, TotalOutIPsecPkts)},
    {"setTotalInIPsecPkts", offsetof(HBASECURITYSTATS, TotalInIPsecPkts)},
    {"setOutDiscardIPsecPkts", offsetof(HBASECURITYSTATS, OutDiscardIPsecPkts)},
    {"setInDiscardIPsecPkts", offsetof(HBASECURITYSTATS, InDiscardIPsecPkts)},
    {"setOutBypassIPsecPkts", offsetof(HBASECURITYSTATS, OutBypassIPsecPkts)},
    {"setInBypassIPsecPkts", offsetof(HBASECURITYSTATS, InBypassIPsecPkts)},
    {"setTotalCreatedIPsecSAs", offsetof(HBASECURITYSTATS, TotalCreatedIPsecSAs)},
    {"setTotalMatchIPsecSAs", offsetof(HBASECURITYSTATS, TotalMatchIPsecSAs)},
    {"setTotalMisMatchIPsecSAs", offsetof(HBASECURITYSTATS, TotalMisMatchIPsecSAs)},
    {"setTotalIPsecSABundles", offsetof(HBASECURITYSTATS, TotalIPsecSABundles)},
    {"setOutEncryptFailIPsecCount", offsetof(HBASECURITYSTATS, OutEncryptFailIPsecCount)},
    {"setOutAuthFailIPsecCount", offsetof(HBASECURITYSTATS, OutAuthFailIPsecCount)},
    {"setInUnknownProtocolIPsec", offsetof(HBASECURITYSTATS, InUnknownProtocolIPsec)},
    {"setInUnknownAlgorithmIPsec", offsetof(HBASECURITYSTATS, InUnknownAlgorithmIPsec)},
    {"setCurrentInESPSAs", offsetof(HBASECURITYSTATS, CurrentInESPSAs)},
    {"setCurrentOutESPSAs", offsetof(HBASECURITYSTATS, CurrentOutESPSAs)},
    {"setTotalInESPSAs", offsetof(HBASECURITYSTATS, TotalInESPSAs)},
    {"setTotalOutESPSAs", offsetof(HBASECURITYSTATS, TotalOutESPSAs)},
    {"setCurrentIKESAs", offsetof(HBASECURITYSTATS, CurrentIKESAs)},
    {"setCurrentInitIKESAs", offsetof(HBASECURITYSTATS, CurrentInitIKESAs)},
    {"setCurrentRespIKESAs", offsetof(HBASECURITYSTATS, CurrentRespIKESAs)},
    {"setTotalInitIKESAs", offsetof(HBASECURITYSTATS, TotalInitIKESAs)},
    {"setTotalRespIKESAs", offsetof(HBASECURITYSTATS, TotalRespIKESAs)},
    {"setTotalAttemptedRespIKESAs", offsetof(HBASECURITYSTATS, TotalAttemptedRespIKESAs)},
    {"setTotalAttemptedIKESAs", offsetof(HBASECURITYSTATS, TotalAttemptedIKESAs)},
    {"setTotalAttemptedInitIKESAs", offsetof(HBASECURITYSTATS, TotalAttemptedInitIKESAs)},
    {"setTotalInIKEPkts", offsetof(HBASECURITYSTATS, TotalInIKEPkts)},
    {"setTotalOutIKEPkts", offsetof(HBASECURITYSTATS, TotalOutIKEPkts)},
    {"setTotalInIKEBytes", offsetof(HBASECURITYSTATS, TotalInIKEBytes)},
    {"setTotalOutIKEBytes", offsetof(HBASECURITYSTATS, TotalOutIKEBytes)},
    {"setIPsecDecryptionErrors", offsetof(HBASECURITYSTATS, IPsecDecryptionErrors)},
    {"setIPsecAuthErrors", offsetof(HBASECURITYSTATS, IPsecAuthErrors)},
    {"setIPsecReplayErrors", offsetof(HBASECURITYSTATS, IPsecReplayErrors)},
    {"setIPsecPolicyErrors", offsetof(HBASECURITYSTATS, IPsecPolicyErrors)},
    {"setIPsecOtherRxErrors", offsetof(HBASECURITYSTATS, IPsecOtherRxErrors)},
    {"setIPsecTxErrors", offsetof(HBASECURITYSTATS, IPsecTxErrors)},
    {"setIPsecUknownSPIErrors", offsetof(HBASECURITYSTATS, IPsecUknownSPIErrors)},
    {"setTotalNoIKEResponses", offsetof(HBASECURITYSTATS, TotalNoIKEResponses)},
    {"setTotalIKEResponseErrors", offsetof(HBASECURITYSTATS, TotalIKEResponseErrors)},
    {"setTotalInvalidIKECookies", offsetof(HBASECURITYSTATS, TotalInvalidIKECookies)},
};
Id gStatByIndex[] = {{"setStatByIndex", "([BI)V"}};
Id gSecurityHba[] = {
    {"getSecurityStats", "()Lcom/norvik/dvh/iscsi/model/SecurityStats;"},
    {"getNumberOfSecurityPolicyEntries", "()I"},
};

// --- The CHAP table -------------------------------------------------------------

Id gChapHba[] = {{"addCHAPTableEntry", "(Lcom/norvik/dvh/iscsi/model/CHAPTableEntry;)V"}};
Id gChapWrite[] = {
    {"<init>", "()V"}, {"setFlags", "(I)V"}, {"setLink", "(I)V"}, {"setFlashIndex", "(I)V"},
    {"setChapSecret", "([SI)V"}, {"setChapName", kStr},
};
jclass gChapClass;
Id gChapRead[] = {
    {"getFlags", "()I"}, {"getLink", "()I"}, {"getChapSecretLength", "()I"}, {"getChapSecret", "()[S"},
    {"getChapName", kGetStr},
};

bool prepareChap(JNIEnv* env, jobject hba)
{
    return resolveOn(env, hba, gChapHba) &&
           resolveModel(env, gChapClass, "com/norvik/dvh/iscsi/model/CHAPTableEntry", gChapWrite);
}

// Entries 0 .. count-1 made, filled (the secret as a short[100] with its
// length; the sparse form with the flash index, skipping the free slots
// after slot 0) and added.
void chapEntries(JNIEnv* env, jobject hba, const CHAPTABLE* table, uint32_t count, bool sparse)
{
    classOf(env, hba);
    const Id* m = gChapWrite;
    for (uint32_t i = 0; i < count && i < 128; ++i) {
        const CHAPTABLE& e = table[i];
        if (sparse && i != 0 && e.ChapName[0] == 0)
            continue;
        jobject obj = newObj(env, gChapClass, m[0].id);
        callV(env, obj, m[1].id, static_cast<jint>(e.Flags));
        callV(env, obj, m[2].id, static_cast<jint>(e.Link));
        if (sparse)
            callV(env, obj, m[3].id, static_cast<jint>(i));
        uint8_t secret[100] = {};
        std::memcpy(secret, e.ChapSecret, e.ChapSecretLength < 100 ? e.ChapSecretLength : 100);
        jshortArray a = shorts(env, secret, 100);
        callV(env, obj, m[4].id, a, static_cast<jint>(e.ChapSecretLength));
        env->DeleteLocalRef(a);
        callText(env, obj, m[5].id, e.ChapName, sizeof e.ChapName);
        callV(env, hba, gChapHba[0].id, obj);
        env->DeleteLocalRef(obj);
    }
}

void chapFromJava(JNIEnv* env, jobject obj, CHAPTABLE& e)
{
    classOf(env, obj);
    const Id* m = gChapRead;
    put(e.Flags, static_cast<uint32_t>(callInt(env, obj, m[0].id)));
    putLow(e.Link, callInt(env, obj, m[1].id));
    put(e.ChapSecretLength, static_cast<uint32_t>(callInt(env, obj, m[2].id)));
    size_t wanted = e.ChapSecretLength < 100 ? e.ChapSecretLength : 100;
    jshort v[100] = {};
    auto a = static_cast<jshortArray>(callObj(env, obj, m[3].id));
    if (a) {
        jsize length = env->GetArrayLength(a);
        size_t n = wanted < static_cast<size_t>(length) ? wanted : static_cast<size_t>(length);
        env->GetShortArrayRegion(a, 0, static_cast<jsize>(n), v);
        env->DeleteLocalRef(a);
    }
    for (size_t i = 0; i < 100; ++i)
        e.ChapSecret[i] = i < wanted ? static_cast<uint8_t>(v[i]) : 0;
    getText(env, obj, m[4].id, e.ChapName, sizeof e.ChapName);
}

// --- Adapter node, chip, iSNS configuration, boot settings ------------------

Id gChipWrite[] = {{"setBoardModel", kStr}, {"setChipVersion", "(I)V"}};
Id gIsnsConfigWrite[] = {
    {"setEnableiSNSDiscoveryFlag", "(I)V"}, {"setAutomaticDiscoveryFlag", "(I)V"}, {"setServerIPAddress", "([SI)V"},
    {"setServerHostname", kStr},
};
Id gBootWrite[] = {
    {"setBootCodeFlags", "(I)V"}, {"setBootCodeValid", "(I)V"}, {"setPri_valid", "(Z)V"}, {"setSec_valid", "(Z)V"},
    {"setPri_Tgt", "(B)V"}, {"setSec_Tgt", "(B)V"}, {"setPri_Lun", "(J)V"}, {"setSec_Lun", "(J)V"},
    {"setMajorVersion", "(I)V"}, {"setMinorVersion", "(I)V"}, {"is6110", "()Z"}, {"setVendorID", kStr},
    {"setAltClientID", kStr},
};

// --- Targets and LUNs ----------------------------------------------------------

Id gTargetInfoRead[] = {
    {"getBus", "()I"}, {"getLUN", "()I"}, {"getTargetID", "()I"}, {"getTargetState", "()I"},
    {"getSupportsTest", "()Z"}, {"getPerformBufferTest", "()Z"},
};
Id gTargetInfoWrite[] = {{"setBus", "(I)V"}, {"setLUN", "(I)V"}, {"setTargetID", "(I)V"}};
Id gTargetHba[] = {
    {"getNumberDiskTargets", "()I"}, {"getDeviceDataBaseEntry", "(I)Lcom/norvik/dvh/iscsi/model/DevDBEntry;"},
};
Id gTarget[] = {
    {"getInstance", "()I"}, {"setNodeCount", "(I)V"}, {"setHostName", kStr}, {"setTCPPortNumber", "(I)V"},
    {"setIPAddress", kIP}, {"getTargetInfo", "()Lcom/norvik/dvh/iscsi/model/TargetInfo;"},
    {"setSessionID", "(I)V"}, {"setConnectionID", "(I)V"}, {"setPortalGroup", "(I)V"},
    {"getNodeInfo", "()Lcom/norvik/dvh/iscsi/model/NodeInfo;"},
};
Id gEntryTargetID[] = {{"getTargetID", "()I"}};
Id gLun[] = {
    {"getTargetInfo", "()Lcom/norvik/dvh/iscsi/model/TargetInfo;"},
    {"getSCSIInqInfo", "()Lcom/norvik/dvh/iscsi/model/SCSIInqInfo;"}, {"setLogicalBlockAddress", "(J)V"},
    {"setBytesPerBlock", "(J)V"}, {"setWWULNObject", "([S)V"},
};
Id gInquiryWrite[] = {
    {"setExtraData", kStr}, {"setInquiryHeader", kStr}, {"setProductID", kStr}, {"setRevision", kStr},
    {"setSerialNumber", kStr}, {"setVendorID", kStr},
};

// A TargetInfo (got from `holder`'s getTargetInfo) read into `t`; the object
// is handed back.
jobject targetInfoFromJava(JNIEnv* env, jobject holder, jmethodID getter, TARGETINFORMATION& t)
{
    jobject ti = callObj(env, holder, getter);
    if (!gTargetInfoRead[0].id && !resolveOn(env, ti, gTargetInfoRead))
        return ti;
    classOf(env, ti);
    const Id* m = gTargetInfoRead;
    put(t.BusNumber, static_cast<uint32_t>(callInt(env, ti, m[0].id)));
    put(t.LUN, static_cast<uint32_t>(callInt(env, ti, m[1].id)));
    put(t.TargetID, static_cast<uint32_t>(callInt(env, ti, m[2].id)));
    put(t.TargetState, static_cast<uint32_t>(callInt(env, ti, m[3].id)));
    t.SupportsTest = callBool(env, ti, m[4].id) ? 1 : 0;
    t.Reserved1 = callBool(env, ti, m[5].id) ? 1 : 0;
    return ti;
}

// The logs' floors: the library's buffer read into longs by hand, one array,
// one setter.
Id gConnErrorEntries[] = {{"setConnectErrorLogEntries", "([J)V"}};
Id gArpEntries[] = {{"setARPLogEntries", "([J)V"}};

template <size_t N>
jint logFloor(JNIEnv* env, jint handle, jobject logs, uint32_t type, Id (&setter)[N], size_t entrySize, size_t longs,
              void (*read)(const uint8_t* entry, jlong* out))
{
    if (!resolveOn(env, logs, setter))
        return -1;
    uint8_t buffer[128 * sizeof(ARPTABLE) + 1] = {};
    uint32_t count = 0;
    SDGetLogs(static_cast<SDMGT_HANDLE>(handle), type, &count, buffer);
    if (count > 128)
        return -1;  // not the benchmark's data
    jlong values[128 * 26];
    for (uint32_t n = 0; n < count; ++n)
        read(buffer + n * entrySize, values + n * longs);
    jlongArray array = env->NewLongArray(static_cast<jsize>(count * longs));
    env->SetLongArrayRegion(array, 0, static_cast<jsize>(count * longs), values);
    classOf(env, logs);
    callV(env, logs, setter[0].id, array);
    env->DeleteLocalRef(array);
    return 0;
}

}  // namespace

extern "C" {

// getSecurityPoliciesTable's floor: the adapter's portal and policy table
// read, each policy in use made, filled, given its transforms and added.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_securityPolicies(JNIEnv* env, jclass, jint handle,
                                                                                  jobject hba)
{
    if (!resolveOn(env, hba, gPolicyHba) ||
        !prepareIPMaker(env) ||
        !resolveModel(env, gPolicyClass, "com/norvik/dvh/iscsi/model/SecurityPolicyEntry", gPolicyWrite) ||
        !resolveModel(env, gTransformClass, "com/norvik/dvh/iscsi/model/SecurityTransform", gTransformWrite))
        return -1;
    static SECURITYPOLICY table[64];
    auto h = static_cast<SDMGT_HANDLE>(handle);
    HBAISCSIPORTAL portal{};
    SDGetHbaDevicePortalPropertyiSCSI(h, 0, &portal);
    std::memset(table, 0, sizeof table);
    uint32_t count = 64;
    classOf(env, hba);
    SDGetSecurityPolicyTable(h, table, &count);
    std::printf("JNI: SDGetSecurityPolicyTable() returned %d numEntries\n", static_cast<int>(count));
    for (int i = 0; i < 64; ++i) {
        const SECURITYPOLICY& r = table[i];
        if (r.PolicyKind == 0)
            continue;
        if (count == 0)
            break;
        --count;
        jobject p = newObj(env, gPolicyClass, gPolicyWrite[0].id);
        policyToJava(env, p, r);
        std::printf("JNI: About to set in Java Security index %d Name: %.*s\n", i, static_cast<int>(sizeof r.PolicyName),
                    reinterpret_cast<const char*>(r.PolicyName));
        callV(env, hba, gPolicyHba[0].id, p);
        env->DeleteLocalRef(p);
    }
    return 0;
}

// setSecurityPolicies' floor: every policy read with its transforms and
// keys, the table written.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_setSecurityPolicies(JNIEnv* env, jclass, jint handle,
                                                                                     jobjectArray policies)
{
    jsize n = env->GetArrayLength(policies);
    std::printf("JNI: setSecurityPolicies() numEntries: %d\n", static_cast<int>(n));
    if (n <= 0 || n > 64 || !prepareIP(env))
        return -1;
    if (!gTransformRead[0].id) {
        jobject p = env->GetObjectArrayElement(policies, 0);
        jobject t = resolveOn(env, p, gPolicyRead) ? env->CallObjectMethod(p, gPolicyRead[14].id, 0) : nullptr;
        bool ok = t && resolveOn(env, t, gTransformRead);
        env->DeleteLocalRef(t);
        env->DeleteLocalRef(p);
        if (!ok)
            return -1;
    }
    static SECURITYPOLICY table[64];
    std::memset(table, 0, sizeof table);
    for (jsize i = 0; i < n; ++i) {
        jobject p = env->GetObjectArrayElement(policies, i);
        classOf(env, p);
        policyFromJava(env, p, table[i]);
        env->DeleteLocalRef(p);
    }
    SDSetSecurityPolicyTable(static_cast<SDMGT_HANDLE>(handle), table, static_cast<uint32_t>(n), 1);
    return 0;
}

// setDDBsData's floor on entries that are not boot devices: each element's
// target id asked first, the entry read, the boot flag asked, the entry
// written.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_setDDBsData(JNIEnv* env, jclass, jint handle,
                                                                             jobjectArray entries)
{
    jsize length = env->GetArrayLength(entries);
    if (length == 0)
        return 0;
    jobject first = env->GetObjectArrayElement(entries, 0);
    bool ready = prepareDDBs(env, first);
    env->DeleteLocalRef(first);
    if (!ready)
        return -1;
    auto h = static_cast<SDMGT_HANDLE>(handle);
    for (jsize i = 0; i < length; ++i) {
        jobject e = env->GetObjectArrayElement(entries, i);
        classOf(env, e);
        callInt(env, e, gDDBRead[0].id);
        DEVICEENTRYISCSI r{};
        ddbFromJava(env, e, r);
        if (callInt(env, e, gDDBRead[14].id) != -1)
            return -1;  // a boot device: not what this floor measures
        SDSetDDBEntry(h, &r, r.TargetID);
        env->DeleteLocalRef(e);
    }
    return 0;
}

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

// getiSCSIStatistics' floor: the counters read, each handed over as a big
// integer.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_statistics(JNIEnv* env, jclass, jint handle,
                                                                            jobject stats)
{
    if (!resolveCounters(env, stats, gPortCounters, "([B)V"))
        return -1;
    classOf(env, stats);
    HBAPORTSTATISCSI r{};
    SDGetStatisticsiSCSI(static_cast<SDMGT_HANDLE>(handle), &r);
    const auto* bytes = reinterpret_cast<const uint8_t*>(&r);
    for (const Counter& c : gPortCounters) {
        uint64_t v;
        std::memcpy(&v, bytes + c.offset, sizeof v);
        bigInt(env, stats, c.id, v, false);
    }
    return 0;
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_connectErrorLog(JNIEnv* env, jclass, jint handle,
                                                                                 jobject logs)
{
    return logFloor(env, handle, logs, 1, gConnErrorEntries, sizeof(CONNERRTABLE), 11, [](const uint8_t* e, jlong* o) {
        uint32_t u32;
        uint16_t u16;
        std::memcpy(&u32, e, 4);
        o[0] = u32;
        std::memcpy(&u32, e + 4, 4);
        o[1] = u32;
        std::memcpy(&u16, e + 8, 2);
        o[2] = u16;
        std::memcpy(&u16, e + 10, 2);
        o[3] = u16;
        o[4] = e[12];
        o[5] = e[13];
        std::memcpy(&u16, e + 14, 2);
        o[6] = u16;
        o[7] = e[16];
        o[8] = e[18];
        o[9] = e[19];
        o[10] = e[20];
    });
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_arpLog(JNIEnv* env, jclass, jint handle, jobject logs)
{
    return logFloor(env, handle, logs, 2, gArpEntries, sizeof(ARPTABLE), 26, [](const uint8_t* e, jlong* o) {
        for (int i = 0; i < 16; ++i)
            o[i] = e[i];
        uint16_t u16;
        std::memcpy(&u16, e + 16, 2);
        o[16] = u16;
        std::memcpy(&u16, e + 18, 2);
        o[17] = u16;
        for (int i = 0; i < 6; ++i)
            o[18 + i] = e[20 + i];
        o[24] = e[26];
        o[25] = e[27];
    });
}

// getiSCSIStatistics6124's floor: the 68 counters through one setter.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_statistics6124(JNIEnv* env, jclass, jint handle,
                                                                                jobject stats)
{
    if (!resolveOn(env, stats, gStatByIndex))
        return -1;
    classOf(env, stats);
    HBAPORTSTATISCSIEXTEND r{};
    SDGetStatisticsiSCSIExtend(static_cast<SDMGT_HANDLE>(handle), &r);
    for (jint i = 0; i < static_cast<jint>(sizeof r.Counters / sizeof r.Counters[0]); ++i)
        bigInt(env, stats, gStatByIndex[0].id, r.Counters[i], false, i);
    return 0;
}

// getiSCSISecurityStatistics' floor on an adapter object without policies:
// the forty counters onto its SecurityStats (big-endian), the IKE SAs read,
// the policies counted.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_securityStatistics(JNIEnv* env, jclass, jint handle,
                                                                                    jobject hba)
{
    if (!resolveOn(env, hba, gSecurityHba))
        return -1;
    auto h = static_cast<SDMGT_HANDLE>(handle);
    classOf(env, hba);
    jobject stats = callObj(env, hba, gSecurityHba[0].id);
    if (!resolveCounters(env, stats, gSecurityCounters, "([B)V"))
        return -1;
    classOf(env, stats);
    HBASECURITYSTATS r{};
    SDGetSecurityStatsGen(h, &r);
    const auto* bytes = reinterpret_cast<const uint8_t*>(&r);
    for (const Counter& c : gSecurityCounters) {
        uint32_t v;
        std::memcpy(&v, bytes + c.offset, sizeof v);
        bigInt(env, stats, c.id, v, true);
    }
    env->DeleteLocalRef(stats);
    static IKESA ikeSAs[200];
    std::memset(ikeSAs, 0, sizeof ikeSAs);
    uint32_t count = 0;
    SDGetAllIKESAStatsDetails(h, ikeSAs, &count);
    return callInt(env, hba, gSecurityHba[1].id) == 0 ? 0 : -1;
}

// getCHAPTableData's floor: the count and the table read, each entry made,
// filled and added.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_chapTable(JNIEnv* env, jclass, jint handle,
                                                                           jobject hba)
{
    if (!prepareChap(env, hba))
        return -1;
    static CHAPTABLE table[128];
    auto h = static_cast<SDMGT_HANDLE>(handle);
    uint32_t count = 0;
    SDGetCHAPEntryNum(h, &count);
    if (count > 128)
        count = 128;
    SDGetCHAPTable(h, table, &count);
    chapEntries(env, hba, table, count, false);
    return 0;
}

// getCHAPTableSparse's floor: the table read with its flash indexes, each
// slot in use made, filled and added.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_chapTableSparse(JNIEnv* env, jclass, jint handle,
                                                                                 jobject hba)
{
    if (!prepareChap(env, hba))
        return -1;
    static CHAPTABLE table[128];
    std::memset(table, 0, sizeof table);
    uint32_t count = 128;
    SDGetCHAPTableMod(static_cast<SDMGT_HANDLE>(handle), table, &count);
    chapEntries(env, hba, table, count, true);
    return 0;
}

// setCHAPTableData's floor: every element read into slots 1.., the table
// written with slot 0 blank.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_setCHAPTable(JNIEnv* env, jclass, jint handle,
                                                                              jobjectArray entries)
{
    jsize n = env->GetArrayLength(entries);
    if (n == 0 || n > 127)
        return -1;
    if (!gChapRead[0].id) {
        jobject first = env->GetObjectArrayElement(entries, 0);
        bool ok = resolveOn(env, first, gChapRead);
        env->DeleteLocalRef(first);
        if (!ok)
            return -1;
    }
    static CHAPTABLE table[128];
    std::memset(table, 0, sizeof table);
    for (jsize i = 0; i < n; ++i) {
        jobject e = env->GetObjectArrayElement(entries, i);
        chapFromJava(env, e, table[i + 1]);
        env->DeleteLocalRef(e);
    }
    uint32_t count = static_cast<uint32_t>(n) + 1;
    SDSetCHAPTable(static_cast<SDMGT_HANDLE>(handle), table, &count);
    return 0;
}

// getiSCSIAdapterInfo's floor: the adapter's node read onto a NodeInfo.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_adapterInfo(JNIEnv* env, jclass, jint handle,
                                                                             jobject info)
{
    if (!resolveOn(env, info, gNodeWrite) ||
        !prepareIPMaker(env))
        return -1;
    HBAISCSINODE node{};
    SDGetHbaDeviceNodePropertyiSCSI(static_cast<SDMGT_HANDLE>(handle), &node);
    nodeToJava(env, info, node.NodeInfoISCSI);
    return 0;
}

// getChipInfo's floor.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_chipInfo(JNIEnv* env, jclass, jint handle,
                                                                          jobject info)
{
    if (!resolveOn(env, info, gChipWrite))
        return -1;
    CHIPINFO chip{};
    SDGetHbaDeviceChipPropertyiSCSI(static_cast<SDMGT_HANDLE>(handle), &chip);
    classOf(env, info);
    callText(env, info, gChipWrite[0].id, chip.BoardType, sizeof chip.BoardType);
    callV(env, info, gChipWrite[1].id, static_cast<jint>(chip.ChipVersion));
    return 0;
}

// getiSNSDiscoveryConfig's floor: the flags, the server's address (as
// short[16] and its type) and the blank host name.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_isnsConfig(JNIEnv* env, jclass, jint handle,
                                                                            jobject cfg)
{
    if (!resolveOn(env, cfg, gIsnsConfigWrite))
        return -1;
    SDM_ISNS_CONFIG c{};
    SDGet_iSNSDiscoveryConfig(static_cast<SDMGT_HANDLE>(handle), &c);
    classOf(env, cfg);
    callV(env, cfg, gIsnsConfigWrite[0].id, static_cast<jint>(c.performiSNSDiscovery));
    callV(env, cfg, gIsnsConfigWrite[1].id, static_cast<jint>(c.AutomaticiSNSDiscovery));
    jshortArray a = shorts(env, c.ipAddr.IPAddress, 16);
    callV(env, cfg, gIsnsConfigWrite[2].id, a, static_cast<jint>(c.ipAddr.Type));
    env->DeleteLocalRef(a);
    jstring blank = env->NewStringUTF(" ");
    callV(env, cfg, gIsnsConfigWrite[3].id, blank);
    env->DeleteLocalRef(blank);
    return 0;
}

// getBootInfo's floor: the boot code's settings (target ids with the valid
// bit flipped), the chip question and its line, then the DHCP texts unless
// the chip has none.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_bootInfo(JNIEnv* env, jclass, jint handle,
                                                                          jobject boot)
{
    if (!resolveOn(env, boot, gBootWrite))
        return -1;
    auto h = static_cast<SDMGT_HANDLE>(handle);
    SDMBOOTCODE b{};
    SDGetBootcodeInfo(h, &b);
    classOf(env, boot);
    const Id* m = gBootWrite;
    callV(env, boot, m[0].id, static_cast<jint>(b.Flags));
    callV(env, boot, m[1].id, static_cast<jint>(b.BootcodeValid));
    callV(env, boot, m[2].id, static_cast<jboolean>((b.PriID & 0x80) != 0));
    callV(env, boot, m[3].id, static_cast<jboolean>((b.SecID & 0x80) != 0));
    callV(env, boot, m[4].id, static_cast<jbyte>(b.PriID ^ 0x80));
    callV(env, boot, m[5].id, static_cast<jbyte>(b.SecID ^ 0x80));
    callV(env, boot, m[6].id, static_cast<jlong>(b.PriLUN));
    callV(env, boot, m[7].id, static_cast<jlong>(b.SecLUN));
    callV(env, boot, m[8].id, static_cast<jint>(b.MajorVer));
    callV(env, boot, m[9].id, static_cast<jint>(b.MinorVer));
    int is6110 = callBool(env, boot, m[10].id) ? 1 : 0;
    std::printf(" JNI Result from is6110(): %d \n", is6110);
    if (is6110) {
        std::printf(" Skipping Bootcode DHCP GET SET Operation, is6110 \n");
        return 0;
    }
    BOOTCODEDHCP d{};
    SDGetBootcodeDhcp(h, &d);
    uint8_t none[12] = {};
    callText(env, boot, m[11].id, d.VendorIDLength != 0 ? d.VendorID : none, sizeof d.VendorID);
    callText(env, boot, m[12].id, d.AltClientIDLength != 0 ? d.AltClientID : none, sizeof d.AltClientID);
    return 0;
}

// getiSCSITargetData's floor: the target's instance (through the adapter's
// device database when it knows targets), its portal and node onto the
// target object, its TargetInfo and NodeInfo.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_targetData(JNIEnv* env, jclass, jint handle,
                                                                            jobject hba, jobject target)
{
    if (!resolveOn(env, hba, gTargetHba) || !resolveOn(env, target, gTarget) ||
        !prepareIPMaker(env))
        return -1;
    auto h = static_cast<SDMGT_HANDLE>(handle);
    classOf(env, target);
    classOf(env, hba);
    jint targets = callInt(env, hba, gTargetHba[0].id);
    jint instance = callInt(env, target, gTarget[0].id);
    if (targets != 0) {
        jobject entry = callObj(env, hba, gTargetHba[1].id, instance);
        if (!resolveOn(env, entry, gEntryTargetID))
            return -1;
        classOf(env, entry);
        instance = callInt(env, entry, gEntryTargetID[0].id);
        env->DeleteLocalRef(entry);
    }
    DISCISCSIPORTAL portal{};
    SDGetDiscPortalPropertyiSCSI(h, 0, static_cast<uint32_t>(instance), 0, &portal);
    const Id* m = gTarget;
    callV(env, target, m[1].id, static_cast<jint>(portal.NodeCount));
    callText(env, target, m[2].id, portal.hostName, sizeof portal.hostName);
    callV(env, target, m[3].id, static_cast<jint>(portal.portNumber));
    setIP(env, target, m[4].id, portal.IPAddr.IPAddress, 16);
    TARGETINFORMATION t{};
    jobject ti = targetInfoFromJava(env, target, m[5].id, t);
    DISCISCSINODE node{};
    SDGetDiscNodePropertyiSCSI(h, 0, t.TargetID, 0, &node);
    callV(env, target, m[6].id, static_cast<jint>(node.SessionID));
    callV(env, target, m[7].id, static_cast<jint>(node.ConnectionID));
    callV(env, target, m[8].id, static_cast<jint>(node.PortalGroupID));
    jobject info = callObj(env, target, m[9].id);
    if (!resolveOn(env, info, gNodeWrite) || !resolveOn(env, ti, gTargetInfoWrite))
        return -1;
    nodeToJava(env, info, node.NodeInfo);
    env->DeleteLocalRef(info);
    callV(env, ti, gTargetInfoWrite[0].id, static_cast<jint>(node.TargetInfo.BusNumber));
    callV(env, ti, gTargetInfoWrite[1].id, static_cast<jint>(node.TargetInfo.LUN));
    callV(env, ti, gTargetInfoWrite[2].id, static_cast<jint>(node.TargetInfo.TargetID));
    env->DeleteLocalRef(ti);
    return 0;
}

// getiSCSILunData's floor: INQUIRY onto the SCSIInqInfo, READ CAPACITY
// (with the TargetInfo read again) onto the LUN, the WWULN query and its
// lines, the WWULN onto the LUN.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_BenchFloors_lunData(JNIEnv* env, jclass, jint handle, jobject lun)
{
    if (!resolveOn(env, lun, gLun))
        return -1;
    auto h = static_cast<SDMGT_HANDLE>(handle);
    classOf(env, lun);
    TARGETINFORMATION t{};
    jobject ti = targetInfoFromJava(env, lun, gLun[0].id, t);
    env->DeleteLocalRef(ti);
    jobject inq = callObj(env, lun, gLun[1].id);
    if (!resolveOn(env, inq, gInquiryWrite))
        return -1;
    SCSI_INQUIRY_DATA_INFO data{};
    uint8_t sense[256] = {};
    SDSendScsiInquiryCmdiSCSI(h, &t, reinterpret_cast<uint8_t*>(&data), 36, sense, sizeof sense);
    classOf(env, inq);
    const Id* q = gInquiryWrite;
    callText(env, inq, q[0].id, data.cExtraData, sizeof data.cExtraData);
    callText(env, inq, q[1].id, data.cInquiryHeader, sizeof data.cInquiryHeader);
    callText(env, inq, q[2].id, data.cProductID, sizeof data.cProductID);
    callText(env, inq, q[3].id, data.cRevision, sizeof data.cRevision);
    callText(env, inq, q[4].id, data.cSerialNumber, sizeof data.cSerialNumber);
    callText(env, inq, q[5].id, data.cVendorID, sizeof data.cVendorID);
    env->DeleteLocalRef(inq);

    TARGETINFORMATION c{};
    ti = targetInfoFromJava(env, lun, gLun[0].id, c);
    env->DeleteLocalRef(ti);
    SD_CAPACITY_INFO_STRUC capacity{};
    SDSendReadMBCapacity(h, &c, &capacity);
    uint64_t lba = capacity.Lba;
    uint64_t blockLen = capacity.BlockLen;
    uint64_t megabytes = lba;
    if (static_cast<uint32_t>(lba) != 0xfefefefe) {
        megabytes = lba > 0xffffff ? ((lba >> 12) * blockLen) >> 8 : (lba * blockLen) >> 20;
        std::printf("JNI-LUN(%d) Size: LBA=0x%x, BlockLength=0x%x,", c.LUN, static_cast<uint32_t>(lba),
                    static_cast<uint32_t>(lba >> 32));
        std::printf("Mbytes32=%d, Mbytes64=%d\n", static_cast<int>(capacity.Mbytes),
                    static_cast<int>(static_cast<uint32_t>(megabytes)));
    }
    callV(env, lun, gLun[2].id, static_cast<jlong>(megabytes));
    callV(env, lun, gLun[3].id, static_cast<jlong>(static_cast<uint32_t>(blockLen) == 0xfefefefe ? blockLen : 1));

    // The WWULN: device identification page, the identifier at offset 8.
    TARGETINFORMATION address{};
    address.BusNumber = t.BusNumber;
    address.TargetID = t.TargetID;
    address.LUN = t.LUN;
    uint8_t cdb[6] = {0x12, 0x01, 0x83, 0x00, 0x40, 0x00};
    uint8_t page[64] = {};
    uint8_t pageSense[320] = {};
    SD_STATUS status = SDSendScsiPassThruiSCSI(h, &address, cdb, sizeof cdb, nullptr, 0, page, sizeof page, pageSense,
                                               sizeof pageSense);
    if (status != 0 || page[1] != 0x83)
        return -1;  // not what this floor measures
    const uint8_t* w = page + 8;
    std::printf("Info: WWULN on HBA[%d]-TID=%d, B:%d T:%d L:%d, Offset=%d, "
                "WWULN=%x-%x-%x-%x-%x-%x-%x-%x  Sense Key:0x%x, asc:0x%x, ascq:0x%x.\r\n",
                handle, 0, address.BusNumber, address.TargetID, address.LUN, 8, w[0], w[1], w[2], w[3], w[4], w[5],
                w[6], w[7], pageSense[2], pageSense[12], pageSense[13]);
    std::printf("LUN Data\n");
    jshort wwuln[8];
    std::printf("WWULN in JNI=");
    for (int i = 0; i < 8; ++i) {
        wwuln[i] = w[i];
        std::printf("-%x", wwuln[i]);
    }
    std::printf("\n");
    jshortArray a = env->NewShortArray(8);
    env->SetShortArrayRegion(a, 0, 8, wwuln);
    callV(env, lun, gLun[4].id, a);
    env->DeleteLocalRef(a);
    return 0;
}

}  // extern "C"
