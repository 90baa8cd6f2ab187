// Table-driven marshalling between library records and Java model objects.
//
// HOW TO WRITE A TABLE
//
// A record's accessors are described once, as a constexpr array of Field
// entries of static storage (namespace scope or `static constexpr`), one line
// per accessor, in the order they are called:
//
//     using DE = DEVICEENTRYISCSI;
//     constexpr Field kIdentity[] = {
//         M("setTargetID", DVH_FIELD(DE, TargetID), Conv::SetInt, Msg::Obj),
//         M("setState", DVH_FIELD(DE, DeviceState), Conv::SetInt, Msg::Obj),
//         M("setLinkStatus", DVH_FIELD(PP, linkStatus), Conv::SetInt).message("GetMethodID call failed! Line 1957\n"),
//     };
//     static_assert(marshal::validTable(kIdentity), "...");
//     ...
//     DVH_TRY(marshal::toJava(env, obj, cls, &record, kIdentity));
//
//   M(name, DVH_FIELD(Record, member), conv, form = Msg::Plain)
//     name    the accessor; its JNI signature follows from `conv`;
//     field   offset and width of the record member (DVH_FIELD);
//     conv    the conversion (enum Conv below);
//     form    the message printed when the class lacks the accessor, made
//             from the accessor's name:
//               Msg::Plain  "GetMethodID <name> call failed!\n"
//               Msg::Obj    "GetMethodID <name> - Obj call failed!\n"
//               Msg::Dash   "GetMethodID - <name> call failed!\n"
//               Msg::Wide   "GetMethodID  <name> call failed!\n" (two blanks)
//     Any other text is written out with .message("...") (line numbers,
//     generic texts, texts naming another accessor).
//
//   Modifiers (chained after M(...)):
//     .message(text)   the exact missing-accessor text
//     .status(s)       status when the accessor is missing (default 4097)
//     .mask(m)         flag mask of SetBool / GetBool
//     .bound(b)        copy bound of GetText (strncpy of at most b bytes)
//     .nullString(t)   text printed when a SetText string cannot be made
//                      (status 4099), or when a GetIPAddr getter answers
//                      null (default "NULL javaIPObject!\n", status 4099)
//     .computed(fn)    SetIntComputed: the int is fn(record)
//     .trace(fmt)      printf(fmt, value) after the call
//     .object(r)       AddNew: the object to build (an ObjectRecipe)
//     .lookOnly()      the accessor is looked up (its absence is an error)
//                      but never called
//
// CONVERSIONS (record -> Java through a setter, Java -> record through a getter)
//   SetInt "(I)V" / GetInt "()I"       unsigned field of 1, 2 or 4 bytes, zero-extended;
//                                      the getter keeps the low `width` bytes
//   SetShort "(S)V" / GetShort "()S"   field of 1 or 2 bytes
//   SetByte "(B)V" / GetByte "()B"     1-byte field
//   SetLong "(J)V" / GetLong "()J"     8-byte field
//   SetBool "(Z)V" / GetBool "()Z"     true when (field & mask) != 0 / sets or clears the mask bits
//   SetIntComputed "(I)V"              value computed from the whole record
//   SetText "(Ljava/lang/String;)V"    the field up to its first zero byte
//   GetText "()Ljava/lang/String;"     strncpy of at most `bound` bytes; a null string leaves the field
//   SetShorts "([S)V" / GetShorts "()[S"  one short per byte, zero-extended / low byte kept
//   SetBigInt "([B)V"                  64-bit counter (field of 1, 2, 4 or 8 bytes, widened) as a
//                                      9-byte array: element 0 is 0, elements 1..8 the value's
//                                      bytes as they lie in memory
//   SetBigIntReversed "([B)V"          the same with the bytes reversed (big-endian), as endian64
//   SetBigIntByIndex "([BI)V"          field of n 64-bit counters: the setter is called n times,
//                                      with counter i and the index i
//   SetBigIntByIndexReversed "([BI)V"  the same, bytes reversed
//   SetIPAddr "(Lcom/norvik/dvh/iscsi/model/IPAddr;)V"
//                                      a new IPAddr made from the field's address bytes (an
//                                      ISCSIIPADDR, or its first 4 bytes when the width is 4)
//                                      handed to the holder's setter `name`, exactly as setIPAddr
//                                      does: its own messages, and a missing setter prints
//                                      setIPAddr's text and does not stop the walk
//   GetIPAddr "()Lcom/norvik/dvh/iscsi/model/IPAddr;"
//                                      the holder's getter `name`; a null answer prints the
//                                      nullString text and returns 4099; else getIPAddr writes the
//                                      16 address bytes (Type and Reserved untouched)
//   SetIPAddrShorts "([SI)V"           short[16] of an ISCSIIPADDR's address bytes and its Type
//   AddNew "(Lcom/norvik/dvh/iscsi/model/<Class>;)V"
//                                      builds a <Class> by name (FindClass, "<init>" "()V",
//                                      NewObject), fills it with the recipe's table from the record
//                                      at the entry's offset, then hands it to the adder `name` on
//                                      the holder and deletes the local reference. Class not
//                                      found: the recipe's text, 4098; object not made: its text,
//                                      4099; table failed: its status (or, with fillFailedMessage,
//                                      that text and 4099); adder missing: the entry's message.
//
// WALKING
//   toJava / fromJava walk a table on one object, in order. The accessors'
//   method identifiers are looked up once per class (lookup.h) and the
//   object's class is checked once per walk. The first accessor the class
//   lacks prints its message and ends the walk with its status; setters
//   already called stay applied. An exception thrown by an accessor ends the
//   walk with kStatusJavaThrew, the exception left pending.
//
// MANY OBJECTS IN ONE CALL
//   A method that fills many objects walks them through a ClassIds (below)
//   instead of a jclass: each table and method is resolved once per call and
//   class, then reused for every element without asking the cache again.
//     marshal::ClassIds entries(env, entryClass.get());   // the class it makes them from
//     LocalRef<jobject> e = marshal::newObject(env, entries);
//     DVH_TRY(marshal::toJava(env, e.get(), entries, &record, kTable));
//     parts.follow(env, part.get());                       // a getter's answer: its own class
//
// HAND-WRITTEN UP-CALLS
//   Paths that no table expresses describe each method once as a Method of
//   static storage and call it in one step: lookup (cached), call, exception
//   check:
//     constexpr Method kAddEntry = method("addDeviceDataBaseEntry", "(L...;)V", Msg::Obj);
//     DVH_TRY(marshal::callVoid(env, jObj, cls, kAddEntry, devObj.get()));
//     jint state; DVH_TRY(marshal::call(env, state, obj, cls, kGetState));
//     LocalRef<jobject> boot; DVH_TRY(marshal::call(env, boot, obj, cls, kGetBootInfo));
//   A missing method prints its message and returns its status (4097 unless
//   .status() says otherwise); a thrown exception returns kStatusJavaThrew.
//   marshal::resolve gives the identifier alone (for calls made in a loop).
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
    SetInt,
    SetShort,
    SetByte,
    SetLong,
    SetBool,
    SetIntComputed,
    SetText,
    SetShorts,
    SetBigInt,
    SetBigIntReversed,
    SetBigIntByIndex,
    SetBigIntByIndexReversed,
    SetIPAddr,
    SetIPAddrShorts,
    AddNew,
    // Java -> record, through a getter
    GetInt,
    GetShort,
    GetByte,
    GetLong,
    GetBool,
    GetText,
    GetShorts,
    GetIPAddr,
};

// How the missing-accessor message is made from the accessor's name.
enum class Msg : uint8_t {
    Plain,  // "GetMethodID %s call failed!\n"
    Obj,    // "GetMethodID %s - Obj call failed!\n"
    Dash,   // "GetMethodID - %s call failed!\n"
    Wide,   // "GetMethodID  %s call failed!\n"
    Text,   // the text given with .message()
};

using ComputeFn = jint (*)(const uint8_t* record);

struct ObjectRecipe;

struct Field {
    const char* name;
    uint32_t offset;
    uint32_t width;
    Conv conv;
    const char* missingMessage;              // Msg::Text
    jint missingStatus = kStatusLookupFailed;
    uint32_t maskOrBound = 0;                // flag mask (SetBool, GetBool) or copy bound (GetText)
    const char* nullStringMessage = nullptr; // SetText: string not made; GetIPAddr: null address
    ComputeFn compute = nullptr;             // SetIntComputed
    const char* traceFormat = nullptr;       // printed with the field's value after the call
    Msg form = Msg::Text;
    const ObjectRecipe* objectRecipe = nullptr;  // AddNew
    bool lookupOnly = false;

    constexpr Field mask(uint32_t m) const { Field f = *this; f.maskOrBound = m; return f; }
    constexpr Field bound(uint32_t b) const { Field f = *this; f.maskOrBound = b; return f; }
    constexpr Field status(jint s) const { Field f = *this; f.missingStatus = s; return f; }
    constexpr Field nullString(const char* m) const { Field f = *this; f.nullStringMessage = m; return f; }
    constexpr Field computed(ComputeFn fn) const { Field f = *this; f.compute = fn; return f; }
    constexpr Field trace(const char* format) const { Field f = *this; f.traceFormat = format; return f; }
    constexpr Field message(const char* text) const
    {
        Field f = *this;
        f.form = Msg::Text;
        f.missingMessage = text;
        return f;
    }
    constexpr Field object(const ObjectRecipe& recipe) const { Field f = *this; f.objectRecipe = &recipe; return f; }
    constexpr Field lookOnly() const { Field f = *this; f.lookupOnly = true; return f; }
};

// What an AddNew entry builds: a model class by its simple name, filled by
// `fields` from the record at the entry's offset.
struct ObjectRecipe {
    const char* className;                    // e.g. "SecurityTransform"
    const Field* fields;
    size_t count;
    const char* classMissingMessage;          // printed, 4098
    const char* newFailedMessage;             // printed, 4099
    const char* fillFailedMessage = nullptr;  // if set: printed, 4099 when the fill fails
};

template <size_t N>
constexpr ObjectRecipe objectRecipe(const char* className, const Field (&fields)[N], const char* classMissingMessage,
                                  const char* newFailedMessage, const char* fillFailedMessage = nullptr)
{
    return ObjectRecipe{className, fields, N, classMissingMessage, newFailedMessage, fillFailedMessage};
}

// One table entry: accessor, record field (DVH_FIELD gives offset and
// width), conversion, form of the missing-accessor message.
constexpr Field M(const char* name, uint32_t offset, uint32_t width, Conv conv, Msg form = Msg::Plain)
{
    Field f{name, offset, width, conv, nullptr};
    f.form = form;
    return f;
}

// The JNI signature each conversion requires (AddNew's depends on its class:
// see signatureFor).
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
    case Conv::SetBigInt:
    case Conv::SetBigIntReversed:
        return "([B)V";
    case Conv::SetBigIntByIndex:
    case Conv::SetBigIntByIndexReversed:
        return "([BI)V";
    case Conv::SetIPAddr:
        return "(Lcom/norvik/dvh/iscsi/model/IPAddr;)V";
    case Conv::SetIPAddrShorts:
        return "([SI)V";
    case Conv::AddNew:
        return "";
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
    case Conv::GetIPAddr:
        return "()Lcom/norvik/dvh/iscsi/model/IPAddr;";
    }
    return "";
}

// The signature an entry is looked up with; AddNew's is written into
// `buffer`. Null when it does not fit.
const char* signatureFor(const Field& f, char* buffer, size_t size);

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
    case Conv::SetBigInt:
    case Conv::SetBigIntReversed:
        return f.width == 1 || f.width == 2 || f.width == 4 || f.width == 8;
    case Conv::SetBigIntByIndex:
    case Conv::SetBigIntByIndexReversed:
        return f.width > 0 && f.width % 8 == 0;
    case Conv::SetIPAddr:
        return f.width == 4 || f.width == 16 || f.width == 20;
    case Conv::GetIPAddr:
        return f.width == 16 || f.width == 20;
    case Conv::SetIPAddrShorts:
        return f.width == 20;
    case Conv::AddNew:
        return f.objectRecipe != nullptr && f.objectRecipe->className != nullptr && f.objectRecipe->fields != nullptr;
    }
    return false;
}

// Checked at compile time for every table: widths agree with the
// conversions, copy bounds stay inside their fields and every entry has a
// message.
template <size_t N>
constexpr bool validTable(const Field (&fields)[N])
{
    for (size_t i = 0; i < N; ++i) {
        const Field& f = fields[i];
        if (!widthFits(f) || (f.form == Msg::Text && !f.missingMessage) || !f.name)
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

// Prints the missing-accessor message of `form` for `name` (or `text`).
void printMissing(Msg form, const char* name, const char* text);

// ---------------------------------------------------------------------------
// Hand-written up-calls
// ---------------------------------------------------------------------------

// A method called by hand: name, full JNI signature, message form.
struct Method {
    const char* name;
    const char* signature;
    Msg form = Msg::Plain;
    const char* text = nullptr;
    jint missingStatus = kStatusLookupFailed;

    constexpr Method message(const char* t) const { Method m = *this; m.form = Msg::Text; m.text = t; return m; }
    constexpr Method status(jint s) const { Method m = *this; m.missingStatus = s; return m; }
};

constexpr Method method(const char* name, const char* signature, Msg form = Msg::Plain)
{
    return Method{name, signature, form};
}

// The identifier of `m` on `cls` (cached per class). When the class lacks it
// (or cls is null), prints m's message and returns m's status.
jint resolve(JNIEnv* env, jclass cls, const Method& m, jmethodID& out);
// The identifier alone, null when missing; nothing printed.
jmethodID idOf(JNIEnv* env, jclass cls, const Method& m);

namespace detail {
inline void invoke(JNIEnv* env, jint& out, jobject o, jmethodID id, const jvalue* a) { out = env->CallIntMethodA(o, id, a); }
inline void invoke(JNIEnv* env, jshort& out, jobject o, jmethodID id, const jvalue* a) { out = env->CallShortMethodA(o, id, a); }
inline void invoke(JNIEnv* env, jbyte& out, jobject o, jmethodID id, const jvalue* a) { out = env->CallByteMethodA(o, id, a); }
inline void invoke(JNIEnv* env, jboolean& out, jobject o, jmethodID id, const jvalue* a) { out = env->CallBooleanMethodA(o, id, a); }
inline void invoke(JNIEnv* env, jlong& out, jobject o, jmethodID id, const jvalue* a) { out = env->CallLongMethodA(o, id, a); }
template <class T>
inline void invoke(JNIEnv* env, LocalRef<T>& out, jobject o, jmethodID id, const jvalue* a)
{
    out = LocalRef<T>(env, static_cast<T>(env->CallObjectMethodA(o, id, a)));
}

inline jvalue arg(jint v) { jvalue j; j.i = v; return j; }
inline jvalue arg(jshort v) { jvalue j; j.s = v; return j; }
inline jvalue arg(jbyte v) { jvalue j; j.b = v; return j; }
inline jvalue arg(jboolean v) { jvalue j; j.z = v; return j; }
inline jvalue arg(jlong v) { jvalue j; j.j = v; return j; }
inline jvalue arg(jobject v) { jvalue j; j.l = v; return j; }
}  // namespace detail

// Looks `m` up, calls the void method on obj with `args` (jint, jshort,
// jbyte, jboolean, jlong or object references, exactly as the signature
// says), checks for an exception.
template <class... A>
jint callVoid(JNIEnv* env, jobject obj, jclass cls, const Method& m, A... args)
{
    jmethodID id;
    DVH_TRY(resolve(env, cls, m, id));
    jvalue values[sizeof...(A) + 1] = {detail::arg(args)...};
    env->CallVoidMethodA(obj, id, values);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

// The same for a method with a result: `out` is a jint, jshort, jbyte,
// jboolean, jlong or a LocalRef of an object type.
template <class R, class... A>
jint call(JNIEnv* env, R& out, jobject obj, jclass cls, const Method& m, A... args)
{
    jmethodID id;
    DVH_TRY(resolve(env, cls, m, id));
    jvalue values[sizeof...(A) + 1] = {detail::arg(args)...};
    detail::invoke(env, out, obj, id, values);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

// Calls a method already resolved, with the exception check.
template <class... A>
jint callVoidId(JNIEnv* env, jobject obj, jmethodID id, A... args)
{
    jvalue values[sizeof...(A) + 1] = {detail::arg(args)...};
    env->CallVoidMethodA(obj, id, values);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}

// ---------------------------------------------------------------------------
// One class for the length of a native call
// ---------------------------------------------------------------------------

// Tables and method groups that a routine uses together on one class: a
// ClassIds resolves them as one lookup (one cache probe and one class
// comparison instead of one per part). Parts and bundles have static storage.
struct Part {
    const void* key;  // the table or the group
    size_t count;
    bool fields;      // a table (Field[]) or a group (Method[])
};
template <size_t N>
constexpr Part part(const Field (&table)[N])
{
    return Part{table, N, true};
}
template <size_t N>
constexpr Part part(const Method (&group)[N])
{
    return Part{group, N, false};
}
constexpr Part part(const Method& m) { return Part{&m, 1, false}; }
struct Bundle {
    const Part* parts;
    size_t count;
};
template <size_t N>
constexpr Bundle bundle(const Part (&parts)[N])
{
    return Bundle{parts, N};
}

// The identifiers of one class within one native call. A list method makes
// every element from one class and finds the parts its getters hand back
// mostly of one class: a ClassIds asks the lookup layer once per table or
// method, and gives the same identifiers to every later object of that class
// in the call, without probing the cache or comparing classes again. What a
// walk does with them (accessors called, messages of missing ones, statuses,
// exceptions) is exactly what it does with a jclass.
//
// It keeps its class referenced (its own local reference, or the caller's,
// which must outlive it), so the identifiers stay valid while it lives. One
// thread, one native call; never stored.
class ClassIds {
public:
    ClassIds() = default;
    // The caller's class (not owned), e.g. the one its objects are made from.
    ClassIds(JNIEnv* env, jclass cls) : env_(env), cls_(cls) {}
    ClassIds(const ClassIds&) = delete;
    ClassIds& operator=(const ClassIds&) = delete;

    // Takes the class of `obj` (GetObjectClass) for what follows: kept, with
    // its identifiers, when it is the class already held (IsSameObject);
    // otherwise held instead. A null object leaves no class.
    void follow(JNIEnv* env, jobject obj);
    // Holds a class of its own instead of the current one.
    void adopt(JNIEnv* env, LocalRef<jclass>&& cls);

    jclass get() const { return cls_; }
    // The identifiers of a table on the class; null when the walk must look
    // each accessor up itself (no class, or the cache is full).
    const jmethodID* table(const Field* fields, size_t count);
    // The identifier of one method; null when the class lacks it (or there
    // is no class).
    jmethodID method(const Method& m);
    // The identifier of group[i], the methods of `group` (an array of static
    // storage) being resolved together.
    jmethodID method(const Method* group, size_t count, size_t i);
    // Resolves every part of `b` on the class in one lookup, unless its first
    // part is known already; later table() and method() calls for the parts
    // find them here. Missing accessors stay null, as part by part.
    void prime(const Bundle& b);

private:
    const jmethodID* remembered(const void* key, size_t count) const;
    void remember(const void* key, size_t count, const jmethodID* ids);

    struct Known {
        const void* key;
        size_t count;
        const jmethodID* ids;
    };
    static constexpr size_t kKnown = 16;
    JNIEnv* env_ = nullptr;
    jclass cls_ = nullptr;
    LocalRef<jclass> owned_;
    Known known_[kKnown];  // only the first used_ are ever read: not cleared (two per call add up)
    size_t used_ = 0;
};

// The walks, the up-calls and the no-argument constructor with a ClassIds.
jint toJava(JNIEnv* env, jobject obj, ClassIds& cls, const void* record, const Field* fields, size_t count);
jint fromJava(JNIEnv* env, jobject obj, ClassIds& cls, void* record, const Field* fields, size_t count);
template <size_t N>
jint toJava(JNIEnv* env, jobject obj, ClassIds& cls, const void* record, const Field (&fields)[N])
{
    return toJava(env, obj, cls, record, fields, N);
}
template <size_t N>
jint fromJava(JNIEnv* env, jobject obj, ClassIds& cls, void* record, const Field (&fields)[N])
{
    return fromJava(env, obj, cls, record, fields, N);
}
jint resolve(ClassIds& cls, const Method& m, jmethodID& out);
template <class... A>
jint callVoid(JNIEnv* env, jobject obj, ClassIds& cls, const Method& m, A... args)
{
    jmethodID id;
    DVH_TRY(resolve(cls, m, id));
    jvalue values[sizeof...(A) + 1] = {detail::arg(args)...};
    env->CallVoidMethodA(obj, id, values);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}
template <class R, class... A>
jint call(JNIEnv* env, R& out, jobject obj, ClassIds& cls, const Method& m, A... args)
{
    jmethodID id;
    DVH_TRY(resolve(cls, m, id));
    jvalue values[sizeof...(A) + 1] = {detail::arg(args)...};
    detail::invoke(env, out, obj, id, values);
    return thrown(env) ? kStatusJavaThrew : kStatusOk;
}
// A new object of the class, made with its public no-argument constructor;
// empty (error cleared) when it cannot be made, as newObject.
LocalRef<jobject> newObject(JNIEnv* env, ClassIds& cls);
// An AddNew entry (a one-entry table walked on `holder`) within a native call
// that adds many objects: the adder is resolved through `holderIds` (the
// holder's class), the class it builds and its table through `made` (found
// by name while it holds none). Same messages and statuses as the walk.
jint addNew(JNIEnv* env, jobject holder, ClassIds& holderIds, ClassIds& made, const void* record, const Field& entry);

// Makes IPAddr objects for one native call (setIPAddr's steps 1 to 5): the
// class is found once (and looked for again while it cannot be found), its
// constructor and setAddress resolved once.
class IPAddrMaker {
public:
    // As newIPAddr.
    jint make(JNIEnv* env, const uint8_t* bytes, size_t n, LocalRef<jobject>& out);

private:
    ClassIds ids_;
};

// toJava within a native call that walks many objects whose tables hold
// SetIPAddr entries: the addresses are made by the call's maker.
jint toJava(JNIEnv* env, jobject obj, ClassIds& cls, IPAddrMaker& addresses, const void* record, const Field* fields,
           size_t count);
template <size_t N>
jint toJava(JNIEnv* env, jobject obj, ClassIds& cls, IPAddrMaker& addresses, const void* record,
            const Field (&fields)[N])
{
    return toJava(env, obj, cls, addresses, record, fields, N);
}

// ---------------------------------------------------------------------------
// Addresses and counters, shared with the toolkit
// ---------------------------------------------------------------------------

// setIPAddr's steps 1 to 5: a new IPAddr holding `bytes` (n <= 16, the rest
// zero). Prints its failures ("Find class call failed!\n", "NewObject
// failed!\n", "GetMethodID setAddress call failed!\n") and returns 0 with
// `out` empty; kStatusJavaThrew when Java threw.
jint newIPAddr(JNIEnv* env, const uint8_t* bytes, size_t n, LocalRef<jobject>& out);
// getIPAddr: the 16 address bytes of ipObj into bytes[0..16). A null object
// prints "NULL jIPObj!\n", a missing getAddressElement its text; both leave
// the bytes and return 0.
jint readIPAddr(JNIEnv* env, jobject ipObj, uint8_t* bytes);
// The same within a native call that reads many addresses: `cls` follows
// ipObj's class.
jint readIPAddr(JNIEnv* env, jobject ipObj, ClassIds& cls, uint8_t* bytes);
// The 9-byte big-integer array of `value` (reversed: big-endian).
LocalRef<jbyteArray> bigIntBytes(JNIEnv* env, uint64_t value, bool reversed);

}  // namespace marshal
}  // namespace dvh

// Offset and width of a record member, for Field tables.
#define DVH_FIELD(Record, member) offsetof(Record, member), sizeof(static_cast<Record*>(nullptr)->member)

#endif  // DVH_MARSHAL_H
