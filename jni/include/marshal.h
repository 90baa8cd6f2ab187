// Table-driven marshalling between library records and Java model objects.
//
// A record's accessors are described once, as a constexpr table of Field
// entries (accessor name, JNI signature, field offset and width, conversion,
// the exact message printed when the accessor is missing). One engine walks a
// table in order, looking every accessor up afresh on the object's class and
// calling it at once. The walk stops at the first accessor that cannot be
// found (printing that entry's message and returning its status); setters
// already called stay applied. An exception thrown by an accessor ends the
// walk with kStatusJavaThrew and the exception left pending.
#ifndef DVH_MARSHAL_H
#define DVH_MARSHAL_H

#include <jni.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "jni_support.h"

namespace dvh {

namespace marshal {

enum class Conv : uint8_t {
    // record -> Java, through a setter
    SetInt,         // "(I)V"  unsigned field of 1, 2 or 4 bytes, zero-extended
    SetShort,       // "(S)V"  unsigned field of 1 or 2 bytes, zero-extended
    SetByte,        // "(B)V"  1-byte field
    SetLong,        // "(J)V"  8-byte field
    SetBool,        // "(Z)V"  true when (field & mask) != 0
    SetIntComputed, // "(I)V"  value computed from the whole record by `compute`
    SetText,        // "(Ljava/lang/String;)V"  the field up to its first zero byte
    SetShorts,      // "([S)V" short[width], element i = byte i zero-extended
    // Java -> record, through a getter
    GetInt,         // "()I"   low `width` bytes of the int
    GetShort,       // "()S"   low `width` bytes of the short
    GetByte,        // "()B"   the byte
    GetLong,        // "()J"   8 bytes
    GetBool,        // "()Z"   sets the mask bits when true, clears them when false
    GetText,        // "()Ljava/lang/String;"  strncpy of at most `bound` bytes; a null string leaves the field
    GetShorts,      // "()[S"  low byte of each element, at most `width` elements
};

using ComputeFn = jint (*)(const uint8_t* record);

struct Field {
    const char* name;
    const char* signature;
    uint32_t offset;
    uint32_t width;
    Conv conv;
    const char* missingMessage;              // printed when GetMethodID fails
    jint missingStatus = kStatusLookupFailed;
    uint32_t maskOrBound = 0;                // flag mask (SetBool, GetBool) or copy bound (GetText)
    const char* nullStringMessage = nullptr; // printed when a setter's string cannot be made
    ComputeFn compute = nullptr;             // SetIntComputed
    const char* traceFormat = nullptr;       // printed with the field's value after the call

    // Modifiers for the less common entries, so tables read as one line each.
    constexpr Field mask(uint32_t m) const { Field f = *this; f.maskOrBound = m; return f; }
    constexpr Field bound(uint32_t b) const { Field f = *this; f.maskOrBound = b; return f; }
    constexpr Field status(jint s) const { Field f = *this; f.missingStatus = s; return f; }
    constexpr Field nullString(const char* m) const { Field f = *this; f.nullStringMessage = m; return f; }
    constexpr Field computed(ComputeFn fn) const { Field f = *this; f.compute = fn; return f; }
    constexpr Field trace(const char* format) const { Field f = *this; f.traceFormat = format; return f; }
};

// One table entry: accessor, JNI signature, record field (DVH_FIELD gives
// offset and width), conversion, message when the accessor is missing.
constexpr Field F(const char* name, const char* signature, uint32_t offset, uint32_t width, Conv conv,
                  const char* missingMessage)
{
    return Field{name, signature, offset, width, conv, missingMessage};
}

// The JNI signature each conversion requires.
constexpr const char* signatureOf(Conv conv)
{
    switch (conv) {
    case Conv::SetInt:
    case Conv::SetIntComputed:
        return "(I)V";
    case Conv::SetShort:
        return "(S)V";
    case Conv::SetByte:
        return "(B)V";
    case Conv::SetLong:
        return "(J)V";
    case Conv::SetBool:
        return "(Z)V";
    case Conv::SetText:
        return "(Ljava/lang/String;)V";
    case Conv::SetShorts:
        return "([S)V";
    case Conv::GetInt:
        return "()I";
    case Conv::GetShort:
        return "()S";
    case Conv::GetByte:
        return "()B";
    case Conv::GetLong:
        return "()J";
    case Conv::GetBool:
        return "()Z";
    case Conv::GetText:
        return "()Ljava/lang/String;";
    case Conv::GetShorts:
        return "()[S";
    }
    return "";
}

constexpr bool sameText(const char* a, const char* b)
{
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

constexpr bool widthFits(const Field& f)
{
    switch (f.conv) {
    case Conv::SetInt:
    case Conv::GetInt:
        return f.width == 1 || f.width == 2 || f.width == 4;
    case Conv::SetShort:
    case Conv::GetShort:
        return f.width == 1 || f.width == 2;
    case Conv::SetByte:
    case Conv::GetByte:
        return f.width == 1;
    case Conv::SetLong:
    case Conv::GetLong:
        return f.width == 8;
    case Conv::SetBool:
    case Conv::GetBool:
        return f.width == 1 || f.width == 2 || f.width == 4;
    case Conv::SetIntComputed:
        return f.compute != nullptr;
    case Conv::SetText:
        return f.width > 0;
    case Conv::SetShorts:
    case Conv::GetShorts:
        return f.width > 0 && f.width <= 256;
    case Conv::GetText:
        return f.width > 0 && f.maskOrBound > 0 && f.maskOrBound <= f.width;
    }
    return false;
}

// Checked at compile time for every table: signatures agree with the
// conversions, widths with the fields, copy bounds stay inside their fields
// and every entry carries its message.
template <size_t N>
constexpr bool validTable(const Field (&fields)[N])
{
    for (size_t i = 0; i < N; ++i) {
        const Field& f = fields[i];
        if (!sameText(f.signature, signatureOf(f.conv)) || !widthFits(f) || !f.missingMessage)
            return false;
    }
    return true;
}

// Calls the setters of `fields` on `obj` (whose class is `cls`) with values
// taken from `record`. Returns 0, the status of the entry that failed, or
// kStatusJavaThrew.
jint toJava(JNIEnv* env, jobject obj, jclass cls, const void* record, const Field* fields, size_t count);
// Calls the getters of `fields` on `obj` and stores the results into `record`.
jint fromJava(JNIEnv* env, jobject obj, jclass cls, void* record, const Field* fields, size_t count);

template <size_t N>
jint toJava(JNIEnv* env, jobject obj, jclass cls, const void* record, const Field (&fields)[N])
{
    return toJava(env, obj, cls, record, fields, N);
}
template <size_t N>
jint fromJava(JNIEnv* env, jobject obj, jclass cls, void* record, const Field (&fields)[N])
{
    return fromJava(env, obj, cls, record, fields, N);
}

}  // namespace marshal
}  // namespace dvh

// Offset and width of a record member, for Field tables.
#define DVH_FIELD(Record, member) offsetof(Record, member), sizeof(static_cast<Record*>(nullptr)->member)

#endif  // DVH_MARSHAL_H
