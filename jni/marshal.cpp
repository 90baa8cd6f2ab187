// The engine that walks accessor tables, and the one-step up-calls.
#include "marshal.h"

#include <cstdio>

#include "lookup.h"

namespace dvh {
namespace marshal {

namespace {

constexpr const char* kIPAddrClass = "com/norvik/dvh/iscsi/model/IPAddr";

// IPAddr's own accessors, looked up on the IPAddr class.
constexpr Method kSetAddress = method("setAddress", "([S)V");
// What an IPAddrMaker needs of the class, resolved together.
constexpr Method kIPAddrMaking[] = {method("<init>", "()V"), kSetAddress};
constexpr Method kGetAddressElement = method("getAddressElement", "(S)S");

// Little-endian host and record; the usual widths without a variable copy.
inline __attribute__((always_inline)) uint64_t readUnsigned(const uint8_t* record, const Field& f)
{
    const uint8_t* p = record + f.offset;
    switch (f.width) {
    case 1:
        return p[0];
    case 2: {
        uint16_t v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    case 4: {
        uint32_t v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    default: {
        uint64_t value = 0;
        std::memcpy(&value, p, f.width <= 8 ? f.width : 8);
        return value;
    }
    }
}

void writeUnsigned(uint8_t* record, const Field& f, uint64_t value)
{
    std::memcpy(record + f.offset, &value, f.width <= 8 ? f.width : 8);
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
    printMissing(f.form, f.name, f.missingMessage);
    return f.missingStatus;
}

void resolveFields(JNIEnv* env, jclass cls, const void* key, size_t count, jmethodID* out)
{
    const auto* fields = static_cast<const Field*>(key);
    for (size_t i = 0; i < count; ++i) {
        char buffer[192];
        out[i] = lookup::rawMethod(env, cls, fields[i].name, signatureFor(fields[i], buffer, sizeof buffer));
    }
}

// One method, or a group of them resolved together.
void resolveMethod(JNIEnv* env, jclass cls, const void* key, size_t count, jmethodID* out)
{
    const auto* m = static_cast<const Method*>(key);
    for (size_t i = 0; i < count; ++i)
        out[i] = lookup::rawMethod(env, cls, m[i].name, m[i].signature);
}

// Every part of a bundle, one after the other in `out`.
void resolveBundle(JNIEnv* env, jclass cls, const void* key, size_t count, jmethodID* out)
{
    const auto* b = static_cast<const Bundle*>(key);
    size_t at = 0;
    for (size_t i = 0; i < b->count && at <= count; ++i) {
        const Part& p = b->parts[i];
        if (p.count > count - at)
            break;
        if (p.fields)
            resolveFields(env, cls, p.key, p.count, out + at);
        else
            resolveMethod(env, cls, p.key, p.count, out + at);
        at += p.count;
    }
}

// The identifiers of a whole table on `cls`: from the cache, or null when the
// walk must look each accessor up itself.
const jmethodID* tableIds(JNIEnv* env, jclass cls, const Field* fields, size_t count)
{
    if (count == 0)
        return nullptr;
    return lookup::methods(env, cls, fields, fields[0].name, count, resolveFields);
}

jmethodID fieldId(JNIEnv* env, jclass cls, const jmethodID* ids, const Field* fields, size_t i)
{
    if (ids)
        return ids[i];
    char buffer[192];
    return lookup::rawMethod(env, cls, fields[i].name, signatureFor(fields[i], buffer, sizeof buffer));
}

jint checked(JNIEnv* env) { return thrown(env) ? kStatusJavaThrew : kStatusOk; }

jint setBigInt(JNIEnv* env, jobject obj, jmethodID mid, const uint8_t* record, const Field& f, bool reversed)
{
    LocalRef<jbyteArray> array = bigIntBytes(env, readUnsigned(record, f), reversed);
    if (!array)
        return kStatusJavaThrew;
    env->CallVoidMethod(obj, mid, array.get());
    return checked(env);
}

jint setBigIntByIndex(JNIEnv* env, jobject obj, jmethodID mid, const uint8_t* record, const Field& f, bool reversed)
{
    // The counters' arrays live in one local frame, dropped at once at the
    // end, instead of one DeleteLocalRef each.
    const uint32_t counters = f.width / 8;
    if (env->PushLocalFrame(static_cast<jint>(counters > 0 ? counters : 1)) != 0)
        return kStatusJavaThrew;  // out of memory, left pending
    jint status = kStatusOk;
    for (uint32_t i = 0; i < counters; ++i) {
        uint64_t value;
        std::memcpy(&value, record + f.offset + 8 * i, sizeof value);
        jbyteArray array = bigIntBytes(env, value, reversed).release();
        if (!array) {
            status = kStatusJavaThrew;
            break;
        }
        env->CallVoidMethod(obj, mid, array, static_cast<jint>(i));
        if (thrown(env)) {
            status = kStatusJavaThrew;
            break;
        }
    }
    env->PopLocalFrame(nullptr);
    return status;
}

// setIPAddr for one table entry: the holder's setter `mid` may be missing,
// which prints setIPAddr's text and lets the walk go on. The address is made
// by the call's maker, if it has one.
jint setIPAddrEntry(JNIEnv* env, jobject obj, jmethodID mid, const uint8_t* record, const Field& f,
                    IPAddrMaker* addresses = nullptr)
{
    LocalRef<jobject> address;
    size_t n = f.width < 16 ? f.width : 16;
    if (addresses)
        DVH_TRY(addresses->make(env, record + f.offset, n, address));
    else
        DVH_TRY(newIPAddr(env, record + f.offset, n, address));
    if (!address)
        return kStatusOk;
    if (!mid) {
        if (f.form == Msg::Text)
            std::fputs(f.missingMessage, stdout);
        else
            std::fputs(std::strcmp(f.name, "setSlpDa") == 0 ? "GetMethodID setSlpDa - Obj call failed!\n"
                                                             : "GetMethodID setIPAddress - Obj call failed!\n",
                       stdout);
        return kStatusOk;
    }
    env->CallVoidMethod(obj, mid, address.get());
    return checked(env);
}

jint setIPAddrShorts(JNIEnv* env, jobject obj, jmethodID mid, const uint8_t* record, const Field& f)
{
    LocalRef<jshortArray> array(env, env->NewShortArray(16));
    if (!array)
        return kStatusJavaThrew;
    jshort values[16];
    for (int i = 0; i < 16; ++i)
        values[i] = record[f.offset + i];
    env->SetShortArrayRegion(array.get(), 0, 16, values);
    uint16_t type;
    std::memcpy(&type, record + f.offset + 16, sizeof type);
    env->CallVoidMethod(obj, mid, array.get(), static_cast<jint>(type));
    return checked(env);
}

// An AddNew entry: `made` keeps the class it builds (found by name while it
// holds none) with its identifiers.
jint addNewWith(JNIEnv* env, jobject holder, jmethodID adder, ClassIds& made, const uint8_t* record, const Field& f)
{
    const ObjectRecipe& recipe = *f.objectRecipe;
    if (!made.get()) {
        char name[160];
        std::snprintf(name, sizeof name, "%s%s", kModelPackage, recipe.className);
        made.adopt(env, findClass(env, name));
    }
    if (!made.get()) {
        std::fputs(recipe.classMissingMessage, stdout);
        return kStatusClassNotFound;
    }
    LocalRef<jobject> obj = newObject(env, made);
    if (!obj) {
        std::fputs(recipe.newFailedMessage, stdout);
        return kStatusNullObject;
    }
    jint filled = toJava(env, obj.get(), made, record + f.offset, recipe.fields, recipe.count);
    if (filled != kStatusOk) {
        if (filled == kStatusJavaThrew || !recipe.fillFailedMessage)
            return filled;
        std::fputs(recipe.fillFailedMessage, stdout);
        return kStatusNullObject;
    }
    if (!adder)
        return missing(f);
    env->CallVoidMethod(holder, adder, obj.get());
    return checked(env);
}

jint addNew(JNIEnv* env, jobject holder, jmethodID adder, const uint8_t* record, const Field& f)
{
    ClassIds made;
    return addNewWith(env, holder, adder, made, record, f);
}

// Calls one setter. `mid` is null only for the conversions that look at it
// late (SetIPAddr, AddNew).
jint callSetter(JNIEnv* env, jobject obj, jmethodID mid, const uint8_t* record, const Field& f)
{
    // Scalars go through the array form of the call: no variable argument
    // list to build and take apart again for a single value.
    jvalue value;
    switch (f.conv) {
    case Conv::SetInt:
        value.i = static_cast<jint>(readUnsigned(record, f));
        env->CallVoidMethodA(obj, mid, &value);
        break;
    case Conv::SetShort:
        value.s = static_cast<jshort>(readUnsigned(record, f));
        env->CallVoidMethodA(obj, mid, &value);
        break;
    case Conv::SetByte:
        value.b = static_cast<jbyte>(readUnsigned(record, f));
        env->CallVoidMethodA(obj, mid, &value);
        break;
    case Conv::SetLong:
        value.j = static_cast<jlong>(readUnsigned(record, f));
        env->CallVoidMethodA(obj, mid, &value);
        break;
    case Conv::SetBool:
        value.z = static_cast<jboolean>((readUnsigned(record, f) & f.maskOrBound) != 0);
        env->CallVoidMethodA(obj, mid, &value);
        break;
    case Conv::SetIntComputed:
        value.i = f.compute(record);
        env->CallVoidMethodA(obj, mid, &value);
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
        value.l = text.get();
        env->CallVoidMethodA(obj, mid, &value);
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
        value.l = array.get();
        env->CallVoidMethodA(obj, mid, &value);
        break;
    }
    case Conv::SetBigInt:
    case Conv::SetBigIntReversed:
        return setBigInt(env, obj, mid, record, f, f.conv == Conv::SetBigIntReversed);
    case Conv::SetBigIntByIndex:
    case Conv::SetBigIntByIndexReversed:
        return setBigIntByIndex(env, obj, mid, record, f, f.conv == Conv::SetBigIntByIndexReversed);
    case Conv::SetIPAddr:
        return setIPAddrEntry(env, obj, mid, record, f);
    case Conv::SetIPAddrShorts:
        return setIPAddrShorts(env, obj, mid, record, f);
    case Conv::AddNew:
        return addNew(env, obj, mid, record, f);
    default:
        return kStatusOk;
    }
    if (thrown(env))
        return kStatusJavaThrew;
    if (f.traceFormat && f.conv != Conv::SetText && f.conv != Conv::SetShorts && f.conv != Conv::SetIntComputed)
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
    case Conv::GetIPAddr: {
        LocalRef<jobject> address(env, env->CallObjectMethod(obj, mid));
        if (thrown(env))
            return kStatusJavaThrew;
        if (!address) {
            std::fputs(f.nullStringMessage ? f.nullStringMessage : "NULL javaIPObject!\n", stdout);
            return kStatusNullObject;
        }
        return readIPAddr(env, address.get(), record + f.offset);
    }
    default:
        break;
    }
    if (f.traceFormat && f.conv != Conv::GetText && f.conv != Conv::GetShorts)
        traceValue(f, readUnsigned(record, f));
    return kStatusOk;
}

// Conversions that report a missing accessor themselves, after their own steps.
bool looksLate(Conv conv) { return conv == Conv::SetIPAddr || conv == Conv::AddNew; }

}  // namespace

const char* signatureFor(const Field& f, char* buffer, size_t size)
{
    if (f.conv != Conv::AddNew)
        return signatureOf(f.conv);
    if (!f.objectRecipe)
        return nullptr;
    int n = std::snprintf(buffer, size, "(L%s%s;)V", kModelPackage, f.objectRecipe->className);
    return n > 0 && static_cast<size_t>(n) < size ? buffer : nullptr;
}

void printMissing(Msg form, const char* name, const char* text)
{
    switch (form) {
    case Msg::Plain:
        std::printf("GetMethodID %s call failed!\n", name);
        break;
    case Msg::Obj:
        std::printf("GetMethodID %s - Obj call failed!\n", name);
        break;
    case Msg::Dash:
        std::printf("GetMethodID - %s call failed!\n", name);
        break;
    case Msg::Wide:
        std::printf("GetMethodID  %s call failed!\n", name);
        break;
    case Msg::Text:
        if (text)
            std::fputs(text, stdout);
        break;
    }
}

namespace {

jint walkToJava(JNIEnv* env, jobject obj, jclass cls, const jmethodID* ids, const void* record, const Field* fields,
                size_t count, IPAddrMaker* addresses = nullptr)
{
    const auto* bytes = static_cast<const uint8_t*>(record);
    for (size_t i = 0; i < count; ++i) {
        const Field& f = fields[i];
        jmethodID mid = fieldId(env, cls, ids, fields, i);
        if (!mid && !looksLate(f.conv))
            return missing(f);
        if (f.lookupOnly)
            continue;
        jint status = addresses && f.conv == Conv::SetIPAddr ? setIPAddrEntry(env, obj, mid, bytes, f, addresses)
                                                             : callSetter(env, obj, mid, bytes, f);
        if (status != kStatusOk)
            return status;
    }
    return kStatusOk;
}

jint walkFromJava(JNIEnv* env, jobject obj, jclass cls, const jmethodID* ids, void* record, const Field* fields,
                  size_t count)
{
    auto* bytes = static_cast<uint8_t*>(record);
    for (size_t i = 0; i < count; ++i) {
        const Field& f = fields[i];
        jmethodID mid = fieldId(env, cls, ids, fields, i);
        if (!mid)
            return missing(f);
        if (f.lookupOnly)
            continue;
        jint status = callGetter(env, obj, mid, bytes, f);
        if (status != kStatusOk)
            return status;
    }
    return kStatusOk;
}

// The no-argument constructor, under a key of its own.
constexpr Method kNoArgConstructor = method("<init>", "()V");

}  // namespace

jint toJava(JNIEnv* env, jobject obj, jclass cls, const void* record, const Field* fields, size_t count)
{
    return walkToJava(env, obj, cls, tableIds(env, cls, fields, count), record, fields, count);
}

jint fromJava(JNIEnv* env, jobject obj, jclass cls, void* record, const Field* fields, size_t count)
{
    return walkFromJava(env, obj, cls, tableIds(env, cls, fields, count), record, fields, count);
}

jint toJava(JNIEnv* env, jobject obj, ClassIds& cls, const void* record, const Field* fields, size_t count)
{
    return walkToJava(env, obj, cls.get(), cls.table(fields, count), record, fields, count);
}

jint toJava(JNIEnv* env, jobject obj, ClassIds& cls, IPAddrMaker& addresses, const void* record, const Field* fields,
           size_t count)
{
    return walkToJava(env, obj, cls.get(), cls.table(fields, count), record, fields, count, &addresses);
}

jint fromJava(JNIEnv* env, jobject obj, ClassIds& cls, void* record, const Field* fields, size_t count)
{
    return walkFromJava(env, obj, cls.get(), cls.table(fields, count), record, fields, count);
}

// --- ClassIds -----------------------------------------------------------------

void ClassIds::follow(JNIEnv* env, jobject obj)
{
    LocalRef<jclass> cls = objectClass(env, obj);
    if (cls && cls_ && env->IsSameObject(cls.get(), cls_) == JNI_TRUE)
        return;  // the same class: its identifiers stay, the new reference goes
    adopt(env, static_cast<LocalRef<jclass>&&>(cls));
}

void ClassIds::adopt(JNIEnv* env, LocalRef<jclass>&& cls)
{
    env_ = env;
    owned_ = static_cast<LocalRef<jclass>&&>(cls);
    cls_ = owned_.get();
    used_ = 0;
}

const jmethodID* ClassIds::remembered(const void* key, size_t count) const
{
    for (size_t i = 0; i < used_; ++i) {
        if (known_[i].key == key && known_[i].count == count)
            return known_[i].ids;
    }
    return nullptr;
}

void ClassIds::remember(const void* key, size_t count, const jmethodID* ids)
{
    // Beyond its capacity it just asks the lookup layer each time.
    if (ids && used_ < kKnown)
        known_[used_++] = Known{key, count, ids};
}

const jmethodID* ClassIds::table(const Field* fields, size_t count)
{
    if (!cls_ || count == 0)
        return nullptr;
    if (const jmethodID* ids = remembered(fields, count))
        return ids;
    const jmethodID* ids = tableIds(env_, cls_, fields, count);
    remember(fields, count, ids);
    return ids;
}

jmethodID ClassIds::method(const Method& m)
{
    if (!cls_)
        return nullptr;
    if (const jmethodID* ids = remembered(&m, 1))
        return ids[0];
    const jmethodID* ids = lookup::methods(env_, cls_, &m, m.name, 1, resolveMethod);
    remember(&m, 1, ids);
    return ids ? ids[0] : lookup::rawMethod(env_, cls_, m.name, m.signature);
}

jmethodID ClassIds::method(const Method* group, size_t count, size_t i)
{
    if (!cls_ || i >= count)
        return nullptr;
    const jmethodID* ids = remembered(group, count);
    if (!ids) {
        // Tagged with the group itself: never mistaken for its first method alone.
        ids = lookup::methods(env_, cls_, group, group, count, resolveMethod);
        remember(group, count, ids);
    }
    return ids ? ids[i] : lookup::rawMethod(env_, cls_, group[i].name, group[i].signature);
}

jint addNew(JNIEnv* env, jobject holder, ClassIds& holderIds, ClassIds& made, const void* record, const Field& entry)
{
    if (entry.conv != Conv::AddNew || !entry.objectRecipe)
        return kStatusLookupFailed;
    jmethodID adder = fieldId(env, holderIds.get(), holderIds.table(&entry, 1), &entry, 0);
    return addNewWith(env, holder, adder, made, static_cast<const uint8_t*>(record), entry);
}

void ClassIds::prime(const Bundle& b)
{
    if (!cls_ || b.count == 0 || remembered(b.parts[0].key, b.parts[0].count))
        return;
    size_t total = 0;
    for (size_t i = 0; i < b.count; ++i)
        total += b.parts[i].count;
    // Keyed (and tagged) by the bundle itself: never mistaken for one of its parts.
    const jmethodID* ids = lookup::methods(env_, cls_, &b, &b, total, resolveBundle);
    if (!ids)
        return;  // the parts are then looked up one by one
    size_t at = 0;
    for (size_t i = 0; i < b.count; ++i) {
        remember(b.parts[i].key, b.parts[i].count, ids + at);
        at += b.parts[i].count;
    }
}

jint resolve(ClassIds& cls, const Method& m, jmethodID& out)
{
    out = cls.method(m);
    if (out)
        return kStatusOk;
    printMissing(m.form, m.name, m.text);
    return m.missingStatus;
}

LocalRef<jobject> newObject(JNIEnv* env, ClassIds& cls)
{
    jmethodID ctor = cls.method(kNoArgConstructor);
    if (!ctor)
        return {};
    jobject obj = env->NewObject(cls.get(), ctor);
    if (!obj)
        env->ExceptionClear();
    return LocalRef<jobject>(env, obj);
}

jint IPAddrMaker::make(JNIEnv* env, const uint8_t* bytes, size_t n, LocalRef<jobject>& out)
{
    out.reset();
    if (!ids_.get()) {
        ids_.adopt(env, findClass(env, kIPAddrClass));
        if (!ids_.get()) {
            std::printf("Find class call failed!\n");
            return kStatusOk;
        }
    }
    LocalRef<jobject> ipObj;
    if (jmethodID ctor = ids_.method(kIPAddrMaking, 2, 0)) {
        ipObj = LocalRef<jobject>(env, env->NewObject(ids_.get(), ctor));
        if (!ipObj)
            env->ExceptionClear();
    }
    if (!ipObj) {
        std::printf("NewObject failed!\n");
        return kStatusOk;
    }
    LocalRef<jshortArray> array(env, env->NewShortArray(16));
    if (!array)
        return kStatusJavaThrew;
    jshort values[16] = {};
    for (size_t i = 0; i < n && i < 16; ++i)
        values[i] = bytes ? bytes[i] : 0;
    env->SetShortArrayRegion(array.get(), 0, 16, values);

    jmethodID setAddress = ids_.method(kIPAddrMaking, 2, 1);
    if (!setAddress) {
        std::printf("GetMethodID setAddress call failed!\n");
        return kStatusOk;
    }
    env->CallVoidMethod(ipObj.get(), setAddress, array.get());
    if (thrown(env))
        return kStatusJavaThrew;
    out = static_cast<LocalRef<jobject>&&>(ipObj);
    return kStatusOk;
}

jmethodID idOf(JNIEnv* env, jclass cls, const Method& m)
{
    if (!cls)
        return nullptr;
    const jmethodID* ids = lookup::methods(env, cls, &m, m.name, 1, resolveMethod);
    return ids ? ids[0] : lookup::rawMethod(env, cls, m.name, m.signature);
}

jint resolve(JNIEnv* env, jclass cls, const Method& m, jmethodID& out)
{
    out = idOf(env, cls, m);
    if (out)
        return kStatusOk;
    printMissing(m.form, m.name, m.text);
    return m.missingStatus;
}

LocalRef<jbyteArray> bigIntBytes(JNIEnv* env, uint64_t value, bool reversed)
{
    LocalRef<jbyteArray> array(env, env->NewByteArray(9));
    if (!array)
        return array;
    jbyte bytes[9] = {};
    uint8_t source[8];
    std::memcpy(source, &value, 8);
    for (int i = 0; i < 8; ++i)
        bytes[1 + i] = static_cast<jbyte>(reversed ? source[7 - i] : source[i]);
    env->SetByteArrayRegion(array.get(), 0, 9, bytes);
    return array;
}

jint newIPAddr(JNIEnv* env, const uint8_t* bytes, size_t n, LocalRef<jobject>& out)
{
    IPAddrMaker maker;
    return maker.make(env, bytes, n, out);
}

jint readIPAddr(JNIEnv* env, jobject ipObj, uint8_t* bytes)
{
    ClassIds cls;
    return readIPAddr(env, ipObj, cls, bytes);
}

jint readIPAddr(JNIEnv* env, jobject ipObj, ClassIds& cls, uint8_t* bytes)
{
    if (!ipObj) {
        std::printf("NULL jIPObj!\n");
        return kStatusOk;
    }
    cls.follow(env, ipObj);
    jmethodID element = cls.method(kGetAddressElement);
    if (!element) {
        std::printf("GetMethodID  getAddress call failed!\n");
        return kStatusOk;
    }
    for (jshort i = 0; i < 16; ++i) {
        jshort value = env->CallShortMethod(ipObj, element, i);
        if (thrown(env))
            return kStatusJavaThrew;
        bytes[i] = static_cast<uint8_t>(value);
    }
    return kStatusOk;
}

}  // namespace marshal
}  // namespace dvh
