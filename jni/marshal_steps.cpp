// The loop over accessor tables with address, big-integer, clamped-length
// and length-bounded text entries; plain entries go to the shared engine.
#include "marshal_steps.h"

#include <cstdio>
#include <cstring>

#include "toolkit.h"

namespace dvh {
namespace steps {

namespace {

uint64_t readUnsigned(const uint8_t* record, const Step& s)
{
    uint64_t value = 0;
    std::memcpy(&value, record + s.offset, s.width);  // little-endian host and record
    return value;
}

jint missing(const Step& s)
{
    std::fputs(s.missingMessage, stdout);
    return kStatusLookupFailed;
}

jint engineStep(JNIEnv* env, jobject obj, jclass cls, uint8_t* record, const Step& s)
{
    marshal::Field f = marshal::F(s.name, s.signature, s.offset, s.width, s.conv, s.missingMessage).bound(s.aux);
    if (s.nullStringMessage)
        f = f.nullString(s.nullStringMessage);
    switch (s.conv) {
    case marshal::Conv::GetInt:
    case marshal::Conv::GetShort:
    case marshal::Conv::GetByte:
    case marshal::Conv::GetLong:
    case marshal::Conv::GetBool:
    case marshal::Conv::GetText:
    case marshal::Conv::GetShorts:
        return marshal::fromJava(env, obj, cls, record, &f, 1);
    default:
        return marshal::toJava(env, obj, cls, record, &f, 1);
    }
}

jint addressToJava(JNIEnv* env, jobject obj, const uint8_t* record, const Step& s)
{
    // The address goes through a zeroed scratch record: for the IPv4 form
    // only the field's first four bytes are taken, never its Type.
    ISCSIIPADDR scratch{};
    if (s.op == Op::AddrIPv4ToJava)
        std::memcpy(scratch.IPAddress, record + s.offset, 4);
    else
        std::memcpy(&scratch, record + s.offset, sizeof scratch);
    // setIPAddr reports its own failures and the walk goes on after them.
    return thrownOnly(setIPAddr(env, obj, &scratch, static_cast<int>(s.aux)));
}

jint addressFromJava(JNIEnv* env, jobject obj, jclass cls, uint8_t* record, const Step& s)
{
    LocalRef<jobject> address;
    DVH_TRY(getObjectField(env, obj, cls, s.name, s.signature, s.missingMessage, "NULL javaIPObject!\n", address));
    ISCSIIPADDR field;
    std::memcpy(&field, record + s.offset, sizeof field);
    jint status = getIPAddr(env, address.get(), &field);
    std::memcpy(record + s.offset, &field, sizeof field);
    return thrownOnly(status);
}

jint clampedInt(JNIEnv* env, jobject obj, jmethodID getter, uint8_t* record, const Step& s)
{
    jint value = env->CallIntMethod(obj, getter);
    if (thrown(env))
        return kStatusJavaThrew;
    uint32_t stored = static_cast<uint32_t>(value);
    if (stored > s.aux)
        stored = s.aux;
    std::memcpy(record + s.offset, &stored, sizeof stored);
    return kStatusOk;
}

jint textOfLength(JNIEnv* env, jobject obj, jmethodID getter, uint8_t* record, const Step& s)
{
    LocalRef<jstring> text(env, static_cast<jstring>(env->CallObjectMethod(obj, getter)));
    if (thrown(env))
        return kStatusJavaThrew;
    if (!text)
        return kStatusOk;
    UtfChars chars(env, text.get());
    if (!chars)
        return kStatusJavaThrew;
    uint32_t length = 0;
    std::memcpy(&length, record + s.aux, sizeof length);
    // Never beyond the field, whatever the length field holds.
    boundedCopy(record + s.offset, chars.get(), length < s.width ? length : s.width);
    return kStatusOk;
}

jint step(JNIEnv* env, jobject obj, jclass cls, uint8_t* record, const Step& s)
{
    switch (s.op) {
    case Op::Engine:
        return engineStep(env, obj, cls, record, s);
    case Op::AddrIPv4ToJava:
    case Op::AddrToJava:
        return addressToJava(env, obj, record, s);
    case Op::AddrFromJava:
        return addressFromJava(env, obj, cls, record, s);
    default:
        break;
    }
    jmethodID mid = methodId(env, cls, s.name, s.signature);
    if (!mid)
        return missing(s);
    switch (s.op) {
    case Op::BigInteger:
        return setBigInteger(env, obj, mid, readUnsigned(record, s));
    case Op::ClampedInt:
        return clampedInt(env, obj, mid, record, s);
    case Op::TextOfLength:
        return textOfLength(env, obj, mid, record, s);
    default:
        return kStatusOk;
    }
}

}  // namespace

jint setBigInteger(JNIEnv* env, jobject obj, jmethodID setter, uint64_t value)
{
    uint8_t bigEndian[8];
    endian64(bigEndian, value);
    uint64_t asInMemory = 0;
    std::memcpy(&asInMemory, bigEndian, sizeof asInMemory);
    return assign64toBigInt(env, asInMemory, setter, obj);
}

jint walk(JNIEnv* env, jobject obj, jclass cls, void* record, const Step* table, size_t count)
{
    auto* bytes = static_cast<uint8_t*>(record);
    for (size_t i = 0; i < count; ++i)
        DVH_TRY(step(env, obj, cls, bytes, table[i]));
    return kStatusOk;
}

}  // namespace steps
}  // namespace dvh
