// The one lookup layer for classes and method identifiers.
//
// Every FindClass and GetMethodID of the library goes through here. What is
// found is kept per class and reused by later calls:
//  - method identifiers are kept per (key, class): a key is an accessor table
//    or a method descriptor of static storage (all of its identifiers are
//    resolved together on first use), or the text of a name and signature;
//  - classes found by name are kept by name.
// Classes are held through weak global references and recognised with
// IsSameObject, so a class (and its loader) can still be unloaded; its slot
// is reused once the class is gone. Readers take no lock: a slot is published
// once, pinned while it is compared and only reused when its class has been
// collected, which no reader holding that class can see happen. Memory is
// bounded (a fixed number of slots); when every slot is taken by a live
// class, lookups go straight to the JVM as if there were no cache.
//
// A lookup that fails is not an error of the layer: the identifier is null
// (and stays null for that class), the Java error it raised is cleared, and
// the caller prints its message and returns its status on every call.
#ifndef DVH_LOOKUP_H
#define DVH_LOOKUP_H

#include <jni.h>

#include <cstddef>

namespace dvh {
namespace lookup {

// Fills out[0..count) with the identifiers of `key` on `cls` (null for a
// missing method), clearing any error the lookups raised.
using Resolver = void (*)(JNIEnv* env, jclass cls, const void* key, size_t count, jmethodID* out);

// The identifiers of `key` on `cls`, resolved by `resolve` the first time the
// pair is seen. `tag` is a pointer that belongs to the key (e.g. its first
// name) and guards against two keys that happen to share an address. Null
// when `cls` is null or the cache is full: the caller then looks up itself.
const jmethodID* methods(JNIEnv* env, jclass cls, const void* key, const void* tag, size_t count, Resolver resolve);

// GetMethodID through the cache, keyed by the text of name and signature.
jmethodID method(JNIEnv* env, jclass cls, const char* name, const char* signature);

// FindClass through the cache (a new local reference, or null with the error
// cleared). A class that cannot be found is looked for again next time.
jclass findClass(JNIEnv* env, const char* name);

// GetMethodID and FindClass without the cache, error cleared.
jmethodID rawMethod(JNIEnv* env, jclass cls, const char* name, const char* signature);
jclass rawFindClass(JNIEnv* env, const char* name);

// Releases every reference and allocation of the cache (JNI_OnUnload).
void releaseAll(JNIEnv* env);

// For tests: slots in use (live or not yet reclaimed).
size_t slotsInUse();

}  // namespace lookup
}  // namespace dvh

#endif  // DVH_LOOKUP_H
