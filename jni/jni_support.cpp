// JNI lookups that leave no Java error pending, and small text helpers.
#include "jni_support.h"

#include <cstring>
#include <string>

namespace dvh {

LocalRef<jclass> objectClass(JNIEnv* env, jobject obj)
{
    if (!obj)
        return {};
    return LocalRef<jclass>(env, env->GetObjectClass(obj));
}

LocalRef<jclass> findClass(JNIEnv* env, const char* name)
{
    jclass cls = env->FindClass(name);
    if (!cls)
        env->ExceptionClear();
    return LocalRef<jclass>(env, cls);
}

LocalRef<jclass> modelClass(JNIEnv* env, const char* simpleName)
{
    std::string name(kModelPackage);
    name += simpleName;
    return findClass(env, name.c_str());
}

jmethodID methodId(JNIEnv* env, jclass cls, const char* name, const char* signature)
{
    if (!cls)
        return nullptr;
    jmethodID id = env->GetMethodID(cls, name, signature);
    if (!id)
        env->ExceptionClear();
    return id;
}

LocalRef<jobject> newObject(JNIEnv* env, jclass cls)
{
    jmethodID ctor = methodId(env, cls, "<init>", "()V");
    if (!ctor)
        return {};
    jobject obj = env->NewObject(cls, ctor);
    if (!obj)
        env->ExceptionClear();
    return LocalRef<jobject>(env, obj);
}

LocalRef<jstring> newStringFromField(JNIEnv* env, const void* field, size_t width)
{
    std::string text(static_cast<const char*>(field), strnlen(static_cast<const char*>(field), width));
    return LocalRef<jstring>(env, env->NewStringUTF(text.c_str()));
}

void boundedCopy(void* dst, const char* src, size_t bound)
{
    if (!dst || !src)
        return;
    std::strncpy(static_cast<char*>(dst), src, bound);
}

}  // namespace dvh
