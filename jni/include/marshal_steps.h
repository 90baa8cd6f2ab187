// Accessor tables with the conversions the shared engine does not carry:
// addresses through IPAddr objects, unsigned values as big-integer byte
// arrays, lengths clamped to a limit and texts bounded by a length field read
// just before. Every other entry is one entry of the shared engine
// (marshal::Field), so a table still reads one line per accessor and is
// walked by one loop, in order, stopping at the first missing accessor.
#ifndef DVH_MARSHAL_STEPS_H
#define DVH_MARSHAL_STEPS_H

#include <jni.h>

#include <cstddef>
#include <cstdint>

#include "jni_support.h"
#include "marshal.h"

namespace dvh {
namespace steps {

enum class Op : uint8_t {
    Engine,         // one marshal::Field entry (conv; `aux` is its mask or copy bound)
    AddrIPv4ToJava, // setIPAddr(holder, selector `aux`) of an address holding the field's first 4 bytes
    AddrToJava,     // setIPAddr(holder, selector `aux`) of the whole 20-byte field
    AddrFromJava,   // "()Lcom/norvik/dvh/iscsi/model/IPAddr;" getter, then getIPAddr into the field;
                    // a null address prints "NULL javaIPObject!\n" and ends with 4099
    BigInteger,     // "([B)V" the 4- or 8-byte field widened to 64 bits, big-endian, as a 9-byte array
    ClampedInt,     // "()I" stored into the 32-bit field, at most `aux` (unsigned comparison)
    TextOfLength,   // "()Ljava/lang/String;" at most as many bytes as the 32-bit length field at
                    // offset `aux` holds; no terminator added; a null string leaves the field
};

struct Step {
    const char* name;
    const char* signature;
    uint32_t offset;
    uint32_t width;
    Op op;
    const char* missingMessage;
    uint32_t aux = 0;
    marshal::Conv conv = marshal::Conv::SetInt;
    const char* nullStringMessage = nullptr;

    constexpr Step nullString(const char* m) const { Step s = *this; s.nullStringMessage = m; return s; }
};

constexpr const char* kIPAddrSetterSig = "(Lcom/norvik/dvh/iscsi/model/IPAddr;)V";

// An entry of the shared engine; `maskOrBound` as marshal::Field's.
constexpr Step E(const char* name, uint32_t offset, uint32_t width, marshal::Conv conv, const char* missingMessage,
                 uint32_t maskOrBound = 0)
{
    return Step{name, marshal::signatureOf(conv), offset, width, Op::Engine, missingMessage, maskOrBound, conv};
}
constexpr Step AddrIPv4ToJava(const char* setter, uint32_t offset, int selector)
{
    return Step{setter, kIPAddrSetterSig, offset, 20, Op::AddrIPv4ToJava, "", static_cast<uint32_t>(selector)};
}
constexpr Step AddrToJava(const char* setter, uint32_t offset, int selector)
{
    return Step{setter, kIPAddrSetterSig, offset, 20, Op::AddrToJava, "", static_cast<uint32_t>(selector)};
}
constexpr Step AddrFromJava(const char* getter, uint32_t offset, const char* missingMessage)
{
    return Step{getter, kIPAddrGetterSig, offset, 20, Op::AddrFromJava, missingMessage};
}
constexpr Step BigInt(const char* setter, uint32_t offset, uint32_t width, const char* missingMessage)
{
    return Step{setter, "([B)V", offset, width, Op::BigInteger, missingMessage};
}
constexpr Step Clamped(const char* getter, uint32_t offset, uint32_t width, uint32_t limit,
                       const char* missingMessage)
{
    return Step{getter, "()I", offset, width, Op::ClampedInt, missingMessage, limit};
}
constexpr Step TextOfLength(const char* getter, uint32_t offset, uint32_t width, uint32_t lengthOffset,
                            const char* missingMessage)
{
    return Step{getter, kStringGetterSig, offset, width, Op::TextOfLength, missingMessage, lengthOffset};
}

// Checked at compile time for every table: widths fit the conversions, a
// text's length field lies before the text and a clamped length fits its
// text field, every entry carries its message.
constexpr bool validStep(const Step& s)
{
    switch (s.op) {
    case Op::Engine:
        return marshal::validTable<1>({marshal::F(s.name, s.signature, s.offset, s.width, s.conv, s.missingMessage)
                                           .bound(s.aux)});
    case Op::AddrIPv4ToJava:
    case Op::AddrToJava:
    case Op::AddrFromJava:
        return s.width == 20 && s.missingMessage;
    case Op::BigInteger:
        return (s.width == 4 || s.width == 8) && s.missingMessage;
    case Op::ClampedInt:
        return s.width == 4 && s.missingMessage;
    case Op::TextOfLength:
        return s.width > 0 && s.aux + 4 <= s.offset && s.missingMessage;
    }
    return false;
}
template <size_t N>
constexpr bool validSteps(const Step (&table)[N])
{
    for (size_t i = 0; i < N; ++i)
        if (!validStep(table[i]))
            return false;
    return true;
}

// Walks `count` steps on `obj` (accessors looked up on `cls`; address
// holders are reached through the object's own class). `record` is read by
// the setters and written by the getters. Returns 0, the status of the step
// that failed, or kStatusJavaThrew with the exception pending.
jint walk(JNIEnv* env, jobject obj, jclass cls, void* record, const Step* table, size_t count);
template <size_t N>
jint walk(JNIEnv* env, jobject obj, jclass cls, void* record, const Step (&table)[N])
{
    return walk(env, obj, cls, record, table, N);
}
// The same for tables of setters only, over a record that is not written.
template <size_t N>
jint toJava(JNIEnv* env, jobject obj, jclass cls, const void* record, const Step (&table)[N])
{
    return walk(env, obj, cls, const_cast<void*>(record), table, N);
}

// Unsigned 64-bit value as the 9-byte big-endian array handed to a "([B)V"
// setter already looked up.
jint setBigInteger(JNIEnv* env, jobject obj, jmethodID setter, uint64_t value);

}  // namespace steps
}  // namespace dvh

#endif  // DVH_MARSHAL_STEPS_H
