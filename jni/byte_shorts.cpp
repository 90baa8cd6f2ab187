#include "byte_shorts.h"

#include <vector>

#include "jni_support.h"

namespace dvh {

jint callShortsIntSetter(JNIEnv* env, jobject obj, jmethodID mid, const uint8_t* bytes, size_t count, jint extra)
{
    LocalRef<jshortArray> array(env, env->NewShortArray(static_cast<jsize>(count)));
    if (!array)
        return kStatusJavaThrew;  // out of memory, left pending
    std::vector<jshort> values(count);
    for (size_t i = 0; i < count; ++i)
        values[i] = bytes[i];
    env->SetShortArrayRegion(array.get(), 0, static_cast<jsize>(count), values.data());
    env->CallVoidMethod(obj, mid, array.get(), extra);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

}  // namespace dvh
