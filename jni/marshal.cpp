// The engine that walks accessor tables.
#include "marshal.h"

#include <cstdio>

namespace dvh {
namespace marshal {

namespace {

uint64_t readUnsigned(const uint8_t* record, const Field& f)
{
    uint64_t value = 0;
    std::memcpy(&value, record + f.offset, f.width);  // little-endian host and record
    return value;
}

void writeUnsigned(uint8_t* record, const Field& f, uint64_t value)
{
    std::memcpy(record + f.offset, &value, f.width);
}

void traceValue(const Field& f, uint64_t value)
{
    if (!f.traceFormat)
        return;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::printf(f.traceFormat, static_cast<unsigned>(value));
#pragma GCC diagnostic pop
}

jint missing(const Field& f)
{
    std::fputs(f.missingMessage, stdout);
    return f.missingStatus;
}

// Calls one setter; the method id has been looked up already.
jint callSetter(JNIEnv* env, jobject obj, jmethodID mid, const uint8_t* record, const Field& f)
{
    switch (f.conv) {
    case Conv::SetInt:
        env->CallVoidMethod(obj, mid, static_cast<jint>(readUnsigned(record, f)));
        break;
    case Conv::SetShort:
        env->CallVoidMethod(obj, mid, static_cast<jshort>(readUnsigned(record, f)));
        break;
    case Conv::SetByte:
        env->CallVoidMethod(obj, mid, static_cast<jbyte>(readUnsigned(record, f)));
        break;
    case Conv::SetLong:
        env->CallVoidMethod(obj, mid, static_cast<jlong>(readUnsigned(record, f)));
        break;
    case Conv::SetBool:
        env->CallVoidMethod(obj, mid, static_cast<jboolean>((readUnsigned(record, f) & f.maskOrBound) != 0));
        break;
    case Conv::SetIntComputed:
        env->CallVoidMethod(obj, mid, f.compute(record));
        break;
    case Conv::SetText: {
        LocalRef<jstring> text = newStringFromField(env, record + f.offset, f.width);
        if (!text) {
            if (thrown(env))
                return kStatusJavaThrew;
            if (f.nullStringMessage)
                std::fputs(f.nullStringMessage, stdout);
            return kStatusNullObject;
        }
        env->CallVoidMethod(obj, mid, text.get());
        break;
    }
    case Conv::SetShorts: {
        LocalRef<jshortArray> array(env, env->NewShortArray(static_cast<jsize>(f.width)));
        if (!array)
            return kStatusJavaThrew;  // out of memory, left pending
        jshort values[256];
        for (uint32_t i = 0; i < f.width && i < 256; ++i)
            values[i] = record[f.offset + i];
        env->SetShortArrayRegion(array.get(), 0, static_cast<jsize>(f.width), values);
        env->CallVoidMethod(obj, mid, array.get());
        break;
    }
    default:
        return kStatusOk;
    }
    if (thrown(env))
        return kStatusJavaThrew;
    if (f.conv != Conv::SetText && f.conv != Conv::SetShorts && f.conv != Conv::SetIntComputed)
        traceValue(f, readUnsigned(record, f));
    return kStatusOk;
}

jint callGetter(JNIEnv* env, jobject obj, jmethodID mid, uint8_t* record, const Field& f)
{
    switch (f.conv) {
    case Conv::GetInt: {
        jint v = env->CallIntMethod(obj, mid);
        if (thrown(env))
            return kStatusJavaThrew;
        writeUnsigned(record, f, static_cast<uint32_t>(v));
        break;
    }
    case Conv::GetShort: {
        jshort v = env->CallShortMethod(obj, mid);
        if (thrown(env))
            return kStatusJavaThrew;
        writeUnsigned(record, f, static_cast<uint16_t>(v));
        break;
    }
    case Conv::GetByte: {
        jbyte v = env->CallByteMethod(obj, mid);
        if (thrown(env))
            return kStatusJavaThrew;
        writeUnsigned(record, f, static_cast<uint8_t>(v));
        break;
    }
    case Conv::GetLong: {
        jlong v = env->CallLongMethod(obj, mid);
        if (thrown(env))
            return kStatusJavaThrew;
        writeUnsigned(record, f, static_cast<uint64_t>(v));
        break;
    }
    case Conv::GetBool: {
        jboolean v = env->CallBooleanMethod(obj, mid);
        if (thrown(env))
            return kStatusJavaThrew;
        uint64_t word = readUnsigned(record, f);
        word = v ? (word | f.maskOrBound) : (word & ~static_cast<uint64_t>(f.maskOrBound));
        writeUnsigned(record, f, word);
        break;
    }
    case Conv::GetText: {
        LocalRef<jstring> text(env, static_cast<jstring>(env->CallObjectMethod(obj, mid)));
        if (thrown(env))
            return kStatusJavaThrew;
        if (text) {
            UtfChars chars(env, text.get());
            if (!chars)
                return kStatusJavaThrew;
            boundedCopy(record + f.offset, chars.get(), f.maskOrBound);
        }
        break;
    }
    case Conv::GetShorts: {
        LocalRef<jshortArray> array(env, static_cast<jshortArray>(env->CallObjectMethod(obj, mid)));
        if (thrown(env))
            return kStatusJavaThrew;
        if (array) {
            // Only the elements the array has are taken, never more than the field holds.
            jsize length = env->GetArrayLength(array.get());
            uint32_t n = length < 0 ? 0 : static_cast<uint32_t>(length);
            if (n > f.width)
                n = f.width;
            jshort values[256];
            if (n > 256)
                n = 256;
            env->GetShortArrayRegion(array.get(), 0, static_cast<jsize>(n), values);
            for (uint32_t i = 0; i < n; ++i)
                record[f.offset + i] = static_cast<uint8_t>(values[i]);
        }
        break;
    }
    default:
        break;
    }
    if (f.conv != Conv::GetText && f.conv != Conv::GetShorts)
        traceValue(f, readUnsigned(record, f));
    return kStatusOk;
}

}  // namespace

jint toJava(JNIEnv* env, jobject obj, jclass cls, const void* record, const Field* fields, size_t count)
{
    const auto* bytes = static_cast<const uint8_t*>(record);
    for (size_t i = 0; i < count; ++i) {
        const Field& f = fields[i];
        jmethodID mid = methodId(env, cls, f.name, f.signature);
        if (!mid)
            return missing(f);
        jint status = callSetter(env, obj, mid, bytes, f);
        if (status != kStatusOk)
            return status;
    }
    return kStatusOk;
}

jint fromJava(JNIEnv* env, jobject obj, jclass cls, void* record, const Field* fields, size_t count)
{
    auto* bytes = static_cast<uint8_t*>(record);
    for (size_t i = 0; i < count; ++i) {
        const Field& f = fields[i];
        jmethodID mid = methodId(env, cls, f.name, f.signature);
        if (!mid)
            return missing(f);
        jint status = callGetter(env, obj, mid, bytes, f);
        if (status != kStatusOk)
            return status;
    }
    return kStatusOk;
}

}  // namespace marshal
}  // namespace dvh
