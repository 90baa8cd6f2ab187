// What the benchmark's JNI floors share (libdvhbench.so): identifiers
// looked up once, and up-calls as the library must make them, each followed
// by its exception check. The floors ignore the answer of that check: their
// accessors do not throw.
#ifndef DVH_BENCH_FLOOR_H
#define DVH_BENCH_FLOOR_H

#include <jni.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace floors {

struct Id {
    const char* name;
    const char* sig;
    jmethodID id = nullptr;
};

constexpr const char* kIP = "(Lcom/norvik/dvh/iscsi/model/IPAddr;)V";
constexpr const char* kStr = "(Ljava/lang/String;)V";
constexpr const char* kGetIP = "()Lcom/norvik/dvh/iscsi/model/IPAddr;";
constexpr const char* kGetStr = "()Ljava/lang/String;";

inline void callV(JNIEnv* env, jobject obj, jmethodID id, ...)
{
    va_list args;
    va_start(args, id);
    env->CallVoidMethodV(obj, id, args);
    va_end(args);
    env->ExceptionCheck();
}

inline jobject callObj(JNIEnv* env, jobject obj, jmethodID id, ...)
{
    va_list args;
    va_start(args, id);
    jobject r = env->CallObjectMethodV(obj, id, args);
    va_end(args);
    env->ExceptionCheck();
    return r;
}

// A getter's answer, after its exception check.
template <class R>
R checked(JNIEnv* env, R answer)
{
    env->ExceptionCheck();
    return answer;
}

inline jint callInt(JNIEnv* env, jobject obj, jmethodID id) { return checked(env, env->CallIntMethod(obj, id)); }
inline jshort callShort(JNIEnv* env, jobject obj, jmethodID id) { return checked(env, env->CallShortMethod(obj, id)); }
inline jbyte callByte(JNIEnv* env, jobject obj, jmethodID id) { return checked(env, env->CallByteMethod(obj, id)); }
inline jboolean callBool(JNIEnv* env, jobject obj, jmethodID id)
{
    return checked(env, env->CallBooleanMethod(obj, id));
}
// A constructor that throws makes NewObject return null: that test is the
// check, as in the library, not a second ExceptionCheck.
inline jobject newObj(JNIEnv* env, jclass cls, jmethodID id) { return env->NewObject(cls, id); }

template <size_t N>
bool resolve(JNIEnv* env, jclass cls, Id (&ids)[N])
{
    for (Id& m : ids) {
        if (m.id)
            continue;
        m.id = env->GetMethodID(cls, m.name, m.sig);
        if (!m.id) {
            env->ExceptionClear();
            std::fprintf(stderr, "floor: no %s%s\n", m.name, m.sig);
            return false;
        }
    }
    return true;
}

inline jclass globalClass(JNIEnv* env, const char* name)
{
    jclass local = env->FindClass(name);
    if (!local) {
        env->ExceptionClear();
        return nullptr;
    }
    auto global = static_cast<jclass>(env->NewGlobalRef(local));
    env->DeleteLocalRef(local);
    return global;
}

// Resolves `ids` on the class of `obj` once.
template <size_t N>
bool resolveOn(JNIEnv* env, jobject obj, Id (&ids)[N])
{
    if (ids[0].id)
        return true;
    jclass cls = env->GetObjectClass(obj);
    bool ok = resolve(env, cls, ids);
    env->DeleteLocalRef(cls);
    return ok;
}

// Resolves the constructor and accessors of a model class once.
template <size_t N>
bool resolveModel(JNIEnv* env, jclass& cls, const char* name, Id (&ids)[N])
{
    if (!cls)
        cls = globalClass(env, name);
    return cls && resolve(env, cls, ids);
}

// The one GetObjectClass a method needs for an object it is given.
inline void classOf(JNIEnv* env, jobject obj)
{
    env->DeleteLocalRef(env->GetObjectClass(obj));
}

inline jstring text(JNIEnv* env, const uint8_t* field, size_t width)
{
    char buffer[512];
    size_t n = strnlen(reinterpret_cast<const char*>(field), width < sizeof buffer ? width : sizeof buffer - 1);
    std::memcpy(buffer, field, n);
    buffer[n] = '\0';
    return env->NewStringUTF(buffer);
}

inline jshortArray shorts(JNIEnv* env, const uint8_t* bytes, size_t n)
{
    jshort v[256];
    for (size_t i = 0; i < n; ++i)
        v[i] = bytes[i];
    jshortArray a = env->NewShortArray(static_cast<jsize>(n));
    env->SetShortArrayRegion(a, 0, static_cast<jsize>(n), v);
    return a;
}

inline void callText(JNIEnv* env, jobject obj, jmethodID id, const uint8_t* field, size_t width)
{
    jstring s = text(env, field, width);
    callV(env, obj, id, s);
    env->DeleteLocalRef(s);
}

inline void callShorts(JNIEnv* env, jobject obj, jmethodID id, const uint8_t* bytes, size_t n)
{
    jshortArray a = shorts(env, bytes, n);
    callV(env, obj, id, a);
    env->DeleteLocalRef(a);
}

// New IPAddr objects: the model class and its constructor and setAddress,
// resolved once by prepareIPMaker.
inline Id gIPMake[] = {{"<init>", "()V"}, {"setAddress", "([S)V"}};
inline jclass gIPMakeClass;

inline bool prepareIPMaker(JNIEnv* env)
{
    return resolveModel(env, gIPMakeClass, "com/norvik/dvh/iscsi/model/IPAddr", gIPMake);
}

// A new IPAddr of `n` address bytes (the rest zero) handed to `setter`.
inline void setIP(JNIEnv* env, jobject holder, jmethodID setter, const uint8_t* bytes, size_t n)
{
    uint8_t all[16] = {};
    std::memcpy(all, bytes, n < sizeof all ? n : sizeof all);
    jobject ip = newObj(env, gIPMakeClass, gIPMake[0].id);
    callShorts(env, ip, gIPMake[1].id, all, 16);
    callV(env, holder, setter, ip);
    env->DeleteLocalRef(ip);
}

// A node's names, address and portal count onto a NodeInfo (gNodeWrite
// resolved on its class, the IPAddr maker prepared).
inline Id gNodeWrite[] = {{"setiSCSIName", kStr}, {"setAlias", kStr}, {"setIPAddress", kIP}, {"setPortalCount", "(I)V"}};

template <class Node>
void nodeToJava(JNIEnv* env, jobject info, const Node& n)
{
    classOf(env, info);
    callText(env, info, gNodeWrite[0].id, n.iSCSIName, sizeof n.iSCSIName);
    callText(env, info, gNodeWrite[1].id, n.Alias, sizeof n.Alias);
    setIP(env, info, gNodeWrite[2].id, n.IPAddr.IPAddress, 16);
    callV(env, info, gNodeWrite[3].id, static_cast<jint>(n.PortalCount));
}

}  // namespace floors

#endif  // DVH_BENCH_FLOOR_H
