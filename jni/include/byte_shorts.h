// Byte fields handed to Java setters that take them as a short[] together
// with an int ("([SI)V": a secret with its length, an address with its type).
#ifndef DVH_BYTE_SHORTS_H
#define DVH_BYTE_SHORTS_H

#include <jni.h>

#include <cstddef>
#include <cstdint>

namespace dvh {

// Calls the "([SI)V" setter `mid` on obj with a new short[count], element i
// the zero-extended bytes[i], and `extra`. The array's local reference is
// deleted afterwards. 0, or kStatusJavaThrew when the setter threw or the
// array could not be made (the error left pending).
jint callShortsIntSetter(JNIEnv* env, jobject obj, jmethodID mid, const uint8_t* bytes, size_t count, jint extra);

}  // namespace dvh

#endif  // DVH_BYTE_SHORTS_H
