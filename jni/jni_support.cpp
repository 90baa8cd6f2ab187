// JNI lookups that leave no Java error pending, and small text helpers.
#include "jni_support.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "lookup.h"

namespace dvh {

namespace {
const char kConstructor[] = "<init>";

void resolveConstructor(JNIEnv* env, jclass cls, const void*, size_t, jmethodID* out)
{
    out[0] = lookup::rawMethod(env, cls, kConstructor, "()V");
}

jmethodID constructorId(JNIEnv* env, jclass cls)
{
    if (!cls)
        return nullptr;
    const jmethodID* ids = lookup::methods(env, cls, kConstructor, kConstructor, 1, resolveConstructor);
    return ids ? ids[0] : lookup::rawMethod(env, cls, kConstructor, "()V");
}
}  // namespace

LocalRef<jclass> objectClass(JNIEnv* env, jobject obj)
{
    if (!obj)
        return {};
    return LocalRef<jclass>(env, env->GetObjectClass(obj));
}

LocalRef<jclass> findClass(JNIEnv* env, const char* name)
{
    return LocalRef<jclass>(env, lookup::findClass(env, name));
}

LocalRef<jclass> modelClass(JNIEnv* env, const char* simpleName)
{
    char name[160];
    int n = std::snprintf(name, sizeof name, "%s%s", kModelPackage, simpleName);
    if (n < 0 || static_cast<size_t>(n) >= sizeof name)
        return {};
    return findClass(env, name);
}

jmethodID methodId(JNIEnv* env, jclass cls, const char* name, const char* signature)
{
    return lookup::method(env, cls, name, signature);
}

LocalRef<jobject> newObject(JNIEnv* env, jclass cls)
{
    jmethodID ctor = constructorId(env, cls);
    if (!ctor)
        return {};
    jobject obj = env->NewObject(cls, ctor);
    if (!obj)
        env->ExceptionClear();
    return LocalRef<jobject>(env, obj);
}

LocalRef<jstring> newStringFromField(JNIEnv* env, const void* field, size_t width)
{
    size_t length = strnlen(static_cast<const char*>(field), width);
    char small[512];
    if (length < sizeof small) {
        std::memcpy(small, field, length);
        small[length] = '\0';
        return LocalRef<jstring>(env, env->NewStringUTF(small));
    }
    std::string text(static_cast<const char*>(field), length);
    return LocalRef<jstring>(env, env->NewStringUTF(text.c_str()));
}

void boundedCopy(void* dst, const char* src, size_t bound)
{
    if (!dst || !src)
        return;
    std::strncpy(static_cast<char*>(dst), src, bound);
}

}  // namespace dvh
