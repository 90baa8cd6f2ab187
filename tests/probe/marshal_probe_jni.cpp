// Test-only native library (libdvhprobe.so): walks accessor tables of every
// conversion and the one-step up-calls on objects a JUnit test hands in, so
// the engine is tested in a real JVM before any native method uses a
// conversion. Records cross as byte[]; nothing here is part of the product.
#include <jni.h>

#include <cstdint>
#include <cstring>

#include "jni_support.h"
#include "lookup.h"
#include "marshal.h"

using namespace dvh;
using marshal::Conv;
using marshal::Field;
using marshal::M;
using marshal::Msg;

namespace {

struct Counters {
    uint64_t a;
    uint64_t b;
    uint32_t c;
    uint32_t d;
};
constexpr Field kBigInts[] = {
    M("setA", DVH_FIELD(Counters, a), Conv::SetBigInt, Msg::Dash),
    M("setB", DVH_FIELD(Counters, b), Conv::SetBigIntReversed, Msg::Dash),
    M("setC", DVH_FIELD(Counters, c), Conv::SetBigInt, Msg::Dash),
    M("setD", DVH_FIELD(Counters, d), Conv::SetBigIntReversed, Msg::Dash),
};

struct IndexedCounters {
    uint64_t stats[3];
    uint64_t reversed[2];
};
constexpr Field kIndexed[] = {
    M("setStat", DVH_FIELD(IndexedCounters, stats), Conv::SetBigIntByIndex, Msg::Dash),
    M("setRev", DVH_FIELD(IndexedCounters, reversed), Conv::SetBigIntByIndexReversed, Msg::Dash),
};

struct Address {
    uint8_t bytes[16];
    uint16_t type;
    uint16_t reserved;
};
struct Addresses {
    Address gateway;
    Address slp;
    Address shorts;
};
constexpr Field kAddressesToJava[] = {
    M("setGateway", DVH_FIELD(Addresses, gateway), Conv::SetIPAddr),
    M("setSlpDa", offsetof(Addresses, slp), 4, Conv::SetIPAddr),
    M("setAddressAndType", DVH_FIELD(Addresses, shorts), Conv::SetIPAddrShorts, Msg::Obj),
    M("setDone", DVH_FIELD(Address, type), Conv::SetInt),
};
constexpr Field kAddressesFromJava[] = {
    M("getGateway", DVH_FIELD(Addresses, gateway), Conv::GetIPAddr, Msg::Wide),
    M("getSlpDa", DVH_FIELD(Addresses, slp), Conv::GetIPAddr).message("GetMethodID  getIPAddr call failed!\n"),
};

struct Item {
    uint32_t id;
    char name[16];
};
struct Items {
    Item first;
    Item second;
};
constexpr Field kItemFill[] = {
    M("setId", DVH_FIELD(Item, id), Conv::SetInt, Msg::Obj),
    M("setName", DVH_FIELD(Item, name), Conv::SetText).message("GetMethodID call failed!\n"),
};
constexpr marshal::ObjectRecipe kItemRecipe =
    marshal::objectRecipe("ProbeItem", kItemFill, "Find Item class call failed!\n", "New Item Object failed!\n");
constexpr marshal::ObjectRecipe kMissingRecipe =
    marshal::objectRecipe("NoSuchProbeItem", kItemFill, "Find Item class call failed!\n", "New Item Object failed!\n");
constexpr Field kItems[] = {
    M("addItem", DVH_FIELD(Items, first), Conv::AddNew, Msg::Obj).object(kItemRecipe),
    M("addItem", DVH_FIELD(Items, second), Conv::AddNew, Msg::Obj).object(kItemRecipe),
};
constexpr Field kMissingItems[] = {
    M("addItem", DVH_FIELD(Items, first), Conv::AddNew, Msg::Obj).object(kMissingRecipe),
};

struct Plain {
    uint32_t v[6];
};
// One of each message form; the walk stops at the first the object lacks.
constexpr Field kForms[] = {
    M("setOne", DVH_FIELD(Plain, v[0]), Conv::SetInt),
    M("setTwo", DVH_FIELD(Plain, v[1]), Conv::SetInt, Msg::Obj),
    M("setThree", DVH_FIELD(Plain, v[2]), Conv::SetInt, Msg::Dash),
    M("setFour", DVH_FIELD(Plain, v[3]), Conv::SetInt, Msg::Wide),
    M("setLooked", DVH_FIELD(Plain, v[4]), Conv::SetInt).lookOnly(),
    M("setFive", DVH_FIELD(Plain, v[5]), Conv::SetInt).message("GetMethodID call failed! Line 5\n").status(4099),
};

static_assert(marshal::validTable(kBigInts) && marshal::validTable(kIndexed) &&
                  marshal::validTable(kAddressesToJava) && marshal::validTable(kAddressesFromJava) &&
                  marshal::validTable(kItemFill) && marshal::validTable(kItems) &&
                  marshal::validTable(kMissingItems) && marshal::validTable(kForms),
              "probe tables");

struct Table {
    const Field* fields;
    size_t count;
    size_t size;
};
template <size_t N, class Record>
constexpr Table table(const Field (&fields)[N], const Record*)
{
    return Table{fields, N, sizeof(Record)};
}
constexpr Table kTables[] = {
    table(kBigInts, static_cast<Counters*>(nullptr)),          // 0
    table(kIndexed, static_cast<IndexedCounters*>(nullptr)),   // 1
    table(kAddressesToJava, static_cast<Addresses*>(nullptr)), // 2
    table(kAddressesFromJava, static_cast<Addresses*>(nullptr)), // 3
    table(kItems, static_cast<Items*>(nullptr)),               // 4
    table(kMissingItems, static_cast<Items*>(nullptr)),        // 5
    table(kForms, static_cast<Plain*>(nullptr)),               // 6
};

// Hand-written up-calls of the probe's "Calls" objects.
constexpr marshal::Method kSetCount = marshal::method("setCount", "(I)V", Msg::Obj);
constexpr marshal::Method kGetCount = marshal::method("getCount", "()I").message("GetMethodID  getCount call failed!\n");
constexpr marshal::Method kGetName = marshal::method("getName", "()Ljava/lang/String;").status(4099);
constexpr marshal::Method kMix = marshal::method("mix", "(IJZLjava/lang/String;)J", Msg::Dash);

// The table `index` names and its record's bytes from `record` (at most the
// record's size); null for an index out of range or no record.
const Table* tableAndRecord(JNIEnv* env, jint index, jbyteArray record, uint8_t (&bytes)[512], size_t& n)
{
    if (index < 0 || static_cast<size_t>(index) >= sizeof kTables / sizeof kTables[0] || !record)
        return nullptr;
    const Table& t = kTables[index];
    jsize length = env->GetArrayLength(record);
    n = static_cast<size_t>(length) < t.size ? static_cast<size_t>(length) : t.size;
    env->GetByteArrayRegion(record, 0, static_cast<jsize>(n), reinterpret_cast<jbyte*>(bytes));
    return &t;
}

}  // namespace

extern "C" {

// Walks table `index` on obj: record -> Java (toJava) or Java -> record.
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_MarshalProbe_walk(JNIEnv* env, jclass, jint index, jboolean toJava,
                                                                       jobject obj, jbyteArray record)
{
    uint8_t bytes[512] = {};
    size_t n = 0;
    const Table* table = tableAndRecord(env, index, record, bytes, n);
    if (!table)
        return -100;
    const Table& t = *table;
    LocalRef<jclass> cls = objectClass(env, obj);
    jint status = toJava ? marshal::toJava(env, obj, cls.get(), bytes, t.fields, t.count)
                         : marshal::fromJava(env, obj, cls.get(), bytes, t.fields, t.count);
    if (!thrown(env))
        env->SetByteArrayRegion(record, 0, static_cast<jsize>(n), reinterpret_cast<jbyte*>(bytes));
    return status;
}

// setCount(getCount() + 1), then mix(count, 1L << 40, true, getName()); the
// result is the status, the mix answer goes to out[0].
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_MarshalProbe_upCalls(JNIEnv* env, jclass, jobject obj,
                                                                          jlongArray out)
{
    LocalRef<jclass> cls = objectClass(env, obj);
    jint count = 0;
    DVH_TRY(marshal::call(env, count, obj, cls.get(), kGetCount));
    DVH_TRY(marshal::callVoid(env, obj, cls.get(), kSetCount, count + 1));
    LocalRef<jstring> name;
    DVH_TRY(marshal::call(env, name, obj, cls.get(), kGetName));
    jlong mixed = 0;
    DVH_TRY(marshal::call(env, mixed, obj, cls.get(), kMix, count + 1, static_cast<jlong>(1) << 40,
                          static_cast<jboolean>(JNI_TRUE), static_cast<jobject>(name.get())));
    env->SetLongArrayRegion(out, 0, 1, &mixed);
    return 0;
}

// Walks table `index` (record -> Java) on every element of objs in one call,
// the way a list method walks the parts its getters hand back: one ClassIds
// following each element's class. statuses[i] gets element i's status; an
// exception thrown by an accessor stops the walk (-2, left pending).
JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_MarshalProbe_walkEach(JNIEnv* env, jclass, jint index,
                                                                           jobjectArray objs, jbyteArray record,
                                                                           jintArray statuses)
{
    uint8_t bytes[512] = {};
    size_t n = 0;
    const Table* table = objs && statuses ? tableAndRecord(env, index, record, bytes, n) : nullptr;
    if (!table)
        return -100;
    const Table& t = *table;
    marshal::ClassIds ids;
    jsize count = env->GetArrayLength(objs);
    for (jsize i = 0; i < count && i < env->GetArrayLength(statuses); ++i) {
        LocalRef<jobject> obj(env, env->GetObjectArrayElement(objs, i));
        ids.follow(env, obj.get());
        jint status = marshal::toJava(env, obj.get(), ids, bytes, t.fields, t.count);
        if (status == kStatusJavaThrew)
            return status;
        env->SetIntArrayRegion(statuses, i, 1, &status);
    }
    return 0;
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_MarshalProbe_slotsInUse(JNIEnv*, jclass)
{
    return static_cast<jint>(lookup::slotsInUse());
}

}  // extern "C"
