// Small converters shared by the marshalling routines: addresses as IPAddr
// objects, byte strings as Java strings, 64-bit counters as big-integer byte
// arrays, and typed accessor calls.
#ifndef DVH_TOOLKIT_H
#define DVH_TOOLKIT_H

#include <jni.h>

#include <cstdint>

#include "jni_support.h"
#include "marshal.h"
#include "sdm/sdm_api.h"

// Address kinds of setIPAddr: which setter of the holder object receives the
// new IPAddr.
enum IPAddrKind : int {
    kAddrIPAddress = 0,
    kAddrGateway = 1,
    kAddrSubnetMask = 2,
    kAddrPrimaryDNS = 3,
    kAddrSecondaryDNS = 4,
    kAddrSlpDa = 5,
    kAddrDestStart = 6,
    kAddrDestEnd = 7,
    kAddrSource = 8,
    kAddrTunnel = 9,
};
constexpr size_t kAddressKinds = 10;
// The holder's setters by kind, resolved together as one group (a part of a
// bundle for classes that hold addresses).
extern const dvh::marshal::Method kAddressSetters[kAddressKinds];

// Builds an IPAddr from the 16 address bytes and hands it to the holder's
// setter chosen by `type`. Failures print one line; the result is 0, or
// dvh::kStatusJavaThrew when a Java method threw.
jint setIPAddr(JNIEnv* env, jobject jObj, const ISCSIIPADDR* addr, int type);
// The same within a native call that sets many addresses: `holder` holds the
// class of jObj (none when jObj is null), the IPAddr maker is the call's.
jint setIPAddr(JNIEnv* env, jobject jObj, dvh::marshal::ClassIds& holder, dvh::marshal::IPAddrMaker& maker,
               const ISCSIIPADDR* addr, int type);
// Reads the 16 address bytes of an IPAddr object; Type and Reserved are not
// touched. Same result convention as setIPAddr.
jint getIPAddr(JNIEnv* env, jobject jIPObj, ISCSIIPADDR* addr);
void printfIPAddr(const ISCSIIPADDR* ipAddr);

// *javaString = NewStringUTF of the first `length` bytes (cut at a zero byte).
void convertBytesToString(JNIEnv* env, const uint8_t* bytes, jstring* javaString, uint32_t length);

// Writes the bytes of iVal into sdmVal in reverse order (big-endian form).
void endian64(uint8_t sdmVal[8], uint64_t iVal);
// Calls the "([B)V" setter `mid` on jStats with a 9-byte array: element 0 is
// 0, elements 1..8 the bytes of `value` as they lie in memory.
jint assign64toBigInt(JNIEnv* env, uint64_t value, jmethodID mid, jobject jStats);
// The same with pValue[index], calling the "([BI)V" setter with `index`.
jint assign64toBigIntByIndex(JNIEnv* env, const uint64_t* pValue, int index, jmethodID mid, jobject jStats);

// Typed accessor calls: look `mName` up on `cls` with the signature of the
// type, call it on jObj. 0, or 4097 after "GetMethodID %s call failed!\n".
jint callBoolSetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint32_t val, uint32_t mask);
jint callBoolGetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint16_t* val, uint16_t mask);
jint callUINT8SetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint8_t val);
jint callUINT8GetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint8_t* val);
jint callUINT32SetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint32_t val);
jint callUINT32GetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint32_t* val);
jint callUINT64SetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint64_t val);
jint callUINT64GetMethod(JNIEnv* env, jobject jObj, const char* mName, jclass cls, uint64_t* val);

namespace dvh {
// Calls the object getter `getter` on obj (of class cls). Prints the
// getter's missing-accessor message and returns 4097 when it is missing,
// prints `nullMessage` and returns 4099 when it answers null; otherwise
// stores the object in `out` and returns 0 (kStatusJavaThrew when the getter
// threw).
jint getObjectField(JNIEnv* env, jobject obj, jclass cls, const marshal::Method& getter, const char* nullMessage,
                    LocalRef<jobject>& out);
// The same through the call's identifiers of obj's class: `getter` carries
// the missing-accessor message.
jint getObjectField(JNIEnv* env, jobject obj, marshal::ClassIds& cls, const marshal::Method& getter,
                    const char* nullMessage, LocalRef<jobject>& out);
}  // namespace dvh

#endif  // DVH_TOOLKIT_H
