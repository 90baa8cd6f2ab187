// Converters shared by every marshalling routine.
#include "toolkit.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "marshal.h"

using dvh::LocalRef;
using dvh::kStatusJavaThrew;
using dvh::kStatusLookupFailed;
using dvh::kStatusOk;
using dvh::methodId;
using dvh::thrown;

namespace {
constexpr const char* kIPAddrHolderSignature = "(Lcom/norvik/dvh/iscsi/model/IPAddr;)V";
}  // namespace

// The holder's setter of each address kind; any other kind is setIPAddress.
const dvh::marshal::Method kAddressSetters[kAddressKinds] = {
    dvh::marshal::method("setIPAddress", kIPAddrHolderSignature),
    dvh::marshal::method("setGateway", kIPAddrHolderSignature),
    dvh::marshal::method("setSubnetMask", kIPAddrHolderSignature),
    dvh::marshal::method("setPrimaryDNS", kIPAddrHolderSignature),
    dvh::marshal::method("setSecondaryDNS", kIPAddrHolderSignature),
    dvh::marshal::method("setSlpDa", kIPAddrHolderSignature),
    dvh::marshal::method("setDestStartAddr", kIPAddrHolderSignature),
    dvh::marshal::method("setDestEndAddr", kIPAddrHolderSignature),
    dvh::marshal::method("setSourceAddr", kIPAddrHolderSignature),
    dvh::marshal::method("setTunnelIPAddr", kIPAddrHolderSignature),
};

namespace {

// The new address to the holder's setter of its kind. A null holder (no
// class) is reported like a holder without the setter.
jint handOver(JNIEnv* env, jobject jObj, dvh::marshal::ClassIds& holder, jobject ipObj, int type)
{
    // All the setters are resolved together, once per class.
    size_t kind = type >= kAddrGateway && type <= kAddrTunnel ? static_cast<size_t>(type) : size_t{kAddrIPAddress};
    jmethodID setter = holder.method(kAddressSetters, kAddressKinds, kind);
    if (!setter) {
        std::printf(type == kAddrSlpDa ? "GetMethodID setSlpDa - Obj call failed!\n"
                                       : "GetMethodID setIPAddress - Obj call failed!\n");
        return kStatusOk;
    }
    env->CallVoidMethod(jObj, setter, ipObj);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}
}  // namespace

jint setIPAddr(JNIEnv* env, jobject jObj, const ISCSIIPADDR* addr, int type)
{
    dvh::marshal::ClassIds holder;
    dvh::marshal::IPAddrMaker maker;
    LocalRef<jobject> ipObj;
    DVH_TRY(maker.make(env, addr ? addr->IPAddress : nullptr, 16, ipObj));
    if (!ipObj)
        return kStatusOk;
    holder.follow(env, jObj);
    return handOver(env, jObj, holder, ipObj.get(), type);
}

jint setIPAddr(JNIEnv* env, jobject jObj, dvh::marshal::ClassIds& holder, dvh::marshal::IPAddrMaker& maker,
               const ISCSIIPADDR* addr, int type)
{
    LocalRef<jobject> ipObj;
    DVH_TRY(maker.make(env, addr ? addr->IPAddress : nullptr, 16, ipObj));
    if (!ipObj)
        return kStatusOk;
    return handOver(env, jObj, holder, ipObj.get(), type);
}

jint getIPAddr(JNIEnv* env, jobject jIPObj, ISCSIIPADDR* addr)
{
    return dvh::marshal::readIPAddr(env, jIPObj, addr->IPAddress);
}

void printfIPAddr(const ISCSIIPADDR* ipAddr)
{
    std::printf("IP Addr ");
    for (int i = 0; i < 4; ++i)
        std::printf("%d.", ipAddr->IPAddress[i]);
    std::printf("\n");
}

void convertBytesToString(JNIEnv* env, const uint8_t* bytes, jstring* javaString, uint32_t length)
{
    std::string text(reinterpret_cast<const char*>(bytes), length);
    *javaString = env->NewStringUTF(text.c_str());
}

void endian64(uint8_t sdmVal[8], uint64_t iVal)
{
    uint8_t source[8];
    std::memcpy(source, &iVal, 8);
    for (int i = 0; i < 8; ++i)
        sdmVal[7 - i] = source[i];
}

jint assign64toBigInt(JNIEnv* env, uint64_t value, jmethodID mid, jobject jStats)
{
    LocalRef<jbyteArray> array = dvh::marshal::bigIntBytes(env, value, false);
    if (!array)
        return kStatusJavaThrew;
    env->CallVoidMethod(jStats, mid, array.get());
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

jint assign64toBigIntByIndex(JNIEnv* env, const uint64_t* pValue, int index, jmethodID mid, jobject jStats)
{
    LocalRef<jbyteArray> array = dvh::marshal::bigIntBytes(env, pValue[index], false);
    if (!array)
        return kStatusJavaThrew;
    env->CallVoidMethod(jStats, mid, array.get(), static_cast<jint>(index));
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

// ---------------------------------------------------------------------------
// Typed accessor calls
// ---------------------------------------------------------------------------

namespace {
jmethodID typedLookup(JNIEnv* env, jclass cls, const char* mName, const char* signature)
{
    jmethodID mid = methodId(env, cls, mName, signature);
    if (!mid)
        std::printf("GetMethodID %s call failed!\n", mName);
    return mid;
}

// Looks the setter up and calls it with `value`.
template <class JavaValue>
jint typedSet(JNIEnv* env, jobject jObj, const char* mName, jclass cls, const char* signature, JavaValue value)
{
    jmethodID mid = typedLookup(env, cls, mName, signature);
    if (!mid)
        return kStatusLookupFailed;
    env->CallVoidMethod(jObj, mid, value);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

// Looks the getter up, calls it with `call` and hands the answer to `store`.
template <class Call, class Store>
jint typedGet(JNIEnv* env, jobject jObj, const char* mName, jclass cls, const char* signature, Call call,
              Store store)
{
    jmethodID mid = typedLookup(env, cls, mName, signature);
    if (!mid)
        return kStatusLookupFailed;
    auto value = (env->*call)(jObj, mid);
    if (thrown(env))
        return kStatusJavaThrew;
    store(value);
    return kStatusOk;
}
}  // namespace

jint callBoolSetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint32_t val, uint32_t mask)
{
    return typedSet(env, jObj, mName, cls, "(Z)V", static_cast<jboolean>((val & mask) != 0));
}

jint callBoolGetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint16_t* val, uint16_t mask)
{
    return typedGet(env, jObj, mName, cls, "()Z", &JNIEnv::CallBooleanMethod, [&](jboolean on) {
        *val = on ? static_cast<uint16_t>(*val | mask) : static_cast<uint16_t>(*val & ~mask);
    });
}

jint callUINT8SetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint8_t val)
{
    return typedSet(env, jObj, mName, cls, "(B)V", static_cast<jbyte>(val));
}

jint callUINT8GetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint8_t* val)
{
    return typedGet(env, jObj, mName, cls, "()B", &JNIEnv::CallByteMethod,
                    [&](jbyte v) { *val = static_cast<uint8_t>(v); });
}

jint callUINT32SetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint32_t val)
{
    return typedSet(env, jObj, mName, cls, "(I)V", static_cast<jint>(val));
}

jint callUINT32GetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint32_t* val)
{
    return typedGet(env, jObj, mName, cls, "()I", &JNIEnv::CallIntMethod,
                    [&](jint v) { *val = static_cast<uint32_t>(v); });
}

jint callUINT64SetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint64_t val)
{
    return typedSet(env, jObj, mName, cls, "(J)V", static_cast<jlong>(val));
}

jint callUINT64GetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint64_t* val)
{
    return typedGet(env, jObj, mName, cls, "()J", &JNIEnv::CallLongMethod,
                    [&](jlong v) { *val = static_cast<uint64_t>(v); });
}

namespace dvh {
jint getObjectField(JNIEnv* env, jobject obj, jclass cls, const marshal::Method& getter, const char* nullMessage,
                    LocalRef<jobject>& out)
{
    DVH_TRY(marshal::call(env, out, obj, cls, getter));
    if (!out) {
        std::fputs(nullMessage, stdout);
        return kStatusNullObject;
    }
    return kStatusOk;
}

jint getObjectField(JNIEnv* env, jobject obj, marshal::ClassIds& cls, const marshal::Method& getter,
                    const char* nullMessage, LocalRef<jobject>& out)
{
    DVH_TRY(marshal::call(env, out, obj, cls, getter));
    if (!out) {
        std::fputs(nullMessage, stdout);
        return kStatusNullObject;
    }
    return kStatusOk;
}
}  // namespace dvh
