// The CHAP secret table: CHAPTABLE records to and from CHAPTableEntry model
// objects, read and written whole (dense form) or slot by slot with each
// entry's flash index (sparse form).
//
// Secrets travel through as user data; no line this file prints ever shows
// one.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <vector>

#include "chap_table.h"

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal.h"

using namespace dvh;
using marshal::Conv;
using marshal::Field;

namespace {

using CT = CHAPTABLE;

// Entries of the buffer the reads hand to the library.
constexpr uint32_t kChapTableCapacity = 128;
// Longest array a write takes; a longer (or empty) one is ignored.
constexpr jsize kMaxWriteElements = 127;
constexpr size_t kSecretSize = sizeof(CT::ChapSecret);

// A value that travels with the record but is not a field of it.
struct IndexArgument {
    uint32_t value;
};
struct IndexByte {
    uint8_t value;
};

using marshal::M;
using marshal::Msg;

// --- CHAPTABLE -> CHAPTableEntry --------------------------------------------

constexpr Field kFlagsLinkToJava[] = {
    M("setFlags", DVH_FIELD(CT, Flags), Conv::SetInt, Msg::Obj),
    M("setLink", DVH_FIELD(CT, Link), Conv::SetInt, Msg::Obj),
};
constexpr Field kFlashIndexToJava[] = {
    M("setFlashIndex", DVH_FIELD(IndexArgument, value), Conv::SetInt).message("GetMethodID call failed!, 11111\n"),
};
constexpr Field kNameToJava[] = {
    M("setChapName", DVH_FIELD(CT, ChapName), Conv::SetText).message("GetMethodID call failed!\n"),
};

// --- CHAPTableEntry -> CHAPTABLE --------------------------------------------

// Link takes the low 8 bits of getLink only (its high byte is cleared after).
constexpr Field kFlagsLinkFromJava[] = {
    M("getFlags", DVH_FIELD(CT, Flags), Conv::GetInt, Msg::Obj),
    M("getLink", offsetof(CT, Link), 1, Conv::GetInt, Msg::Obj),
};
// The flash index keeps the low 8 bits of getFlashIndex. Its two readers
// print different texts when it is missing.
constexpr Field kFlashIndexFromJava[] = {
    M("getFlashIndex", DVH_FIELD(IndexByte, value), Conv::GetInt).message("GetMethodID getFlags - Obj call failed!, 11207\n"),
};
constexpr Field kDeletionIndexFromJava[] = {
    M("getFlashIndex", DVH_FIELD(IndexByte, value), Conv::GetInt).message("GetMethodID getFlags - Obj call failed!, 593\n"),
};
constexpr Field kSecretLengthFromJava[] = {
    M("getChapSecretLength", DVH_FIELD(CT, ChapSecretLength), Conv::GetInt, Msg::Obj),
};
constexpr Field kNameFromJava[] = {
    M("getChapName", DVH_FIELD(CT, ChapName), Conv::GetText).message("GetMethodID call failed!\n").bound(sizeof(CT::ChapName)),
};

static_assert(marshal::validTable(kFlagsLinkToJava) && marshal::validTable(kFlashIndexToJava) &&
                  marshal::validTable(kNameToJava) && marshal::validTable(kFlagsLinkFromJava) &&
                  marshal::validTable(kFlashIndexFromJava) && marshal::validTable(kDeletionIndexFromJava) &&
                  marshal::validTable(kSecretLengthFromJava) && marshal::validTable(kNameFromJava),
              "CHAP table accessor tables");

// The secret travels as a short[100] with its length.
constexpr marshal::Method kSetChapSecret = marshal::method("setChapSecret", "([SI)V");
constexpr marshal::Method kGetChapSecret = marshal::method("getChapSecret", "()[S");
constexpr marshal::Method kAddEntry =
    marshal::method("addCHAPTableEntry", "(Lcom/norvik/dvh/iscsi/model/CHAPTableEntry;)V", Msg::Obj);

// The secret bytes a record carries: the first ChapSecretLength of them (at
// most 100, whatever the length says), zeros after.
size_t secretBytes(const CT* entry) { return std::min<size_t>(entry->ChapSecretLength, kSecretSize); }

// The accessors are looked up on the model class, found by name (once per
// native call: `cls` keeps it, with its identifiers, for the call's later
// elements; while it cannot be found it is looked for again on each); an
// object of another class (or none) never receives them.
jint chapEntryClass(JNIEnv* env, jobject obj, marshal::ClassIds& cls)
{
    if (!cls.get())
        cls.adopt(env, modelClass(env, "CHAPTableEntry"));
    if (!cls.get()) {
        std::printf("Find Device class call failed!\n");
        return kStatusClassNotFound;
    }
    if (!obj || !env->IsInstanceOf(obj, cls.get())) {
        std::printf("NULL javaCHAPEntryObject!\n");
        return kStatusNullObject;
    }
    return kStatusOk;
}

jint secretToJava(JNIEnv* env, jobject obj, marshal::ClassIds& cls, const CT* entry)
{
    LocalRef<jshortArray> array(env, env->NewShortArray(static_cast<jsize>(kSecretSize)));
    if (!array)
        return kStatusJavaThrew;  // out of memory, left pending
    jshort values[kSecretSize] = {};
    for (size_t i = 0; i < secretBytes(entry); ++i)
        values[i] = entry->ChapSecret[i];
    env->SetShortArrayRegion(array.get(), 0, static_cast<jsize>(kSecretSize), values);
    return marshal::callVoid(env, obj, cls, kSetChapSecret, array.get(), static_cast<jint>(entry->ChapSecretLength));
}

// Stores the low byte of element i for i below the secret's length and 0 for
// the rest. Elements the array lacks (or a null array) count as 0.
jint secretFromJava(JNIEnv* env, jobject obj, marshal::ClassIds& cls, CT* entry)
{
    LocalRef<jshortArray> array;
    DVH_TRY(marshal::call(env, array, obj, cls, kGetChapSecret));
    jshort values[kSecretSize] = {};
    const size_t wanted = secretBytes(entry);
    if (array) {
        const jsize length = env->GetArrayLength(array.get());
        const size_t n = std::min(wanted, static_cast<size_t>(length < 0 ? 0 : length));
        env->GetShortArrayRegion(array.get(), 0, static_cast<jsize>(n), values);
    }
    for (size_t i = 0; i < kSecretSize; ++i)
        entry->ChapSecret[i] = i < wanted ? static_cast<uint8_t>(values[i]) : 0;
    return kStatusOk;
}

// setFlags, setLink, [setFlashIndex], setChapSecret, setChapName on an
// object of the CHAPTableEntry class.
jint fillEntry(JNIEnv* env, jobject obj, marshal::ClassIds& cls, const CT* entry, const uint32_t* flashIndex)
{
    DVH_TRY(marshal::toJava(env, obj, cls, entry, kFlagsLinkToJava));
    if (flashIndex) {
        IndexArgument index{*flashIndex};
        DVH_TRY(marshal::toJava(env, obj, cls, &index, kFlashIndexToJava));
    }
    DVH_TRY(secretToJava(env, obj, cls, entry));
    return marshal::toJava(env, obj, cls, entry, kNameToJava);
}

// The same on any object, after the class check.
jint entryToJava(JNIEnv* env, jobject obj, const CT* entry, const uint32_t* flashIndex)
{
    marshal::ClassIds cls;
    DVH_TRY(chapEntryClass(env, obj, cls));
    return fillEntry(env, obj, cls, entry, flashIndex);
}

// getFlags, getLink, [getFlashIndex], getChapSecretLength, getChapSecret,
// getChapName, through the call's identifiers of the model class.
jint entryFromJava(JNIEnv* env, jobject obj, marshal::ClassIds& cls, CT* entry, uint32_t* flashIndex)
{
    DVH_TRY(chapEntryClass(env, obj, cls));
    DVH_TRY(marshal::fromJava(env, obj, cls, entry, kFlagsLinkFromJava));
    entry->Link &= 0x00FF;
    if (flashIndex) {
        IndexByte index{0};
        DVH_TRY(marshal::fromJava(env, obj, cls, &index, kFlashIndexFromJava));
        *flashIndex = index.value;
    }
    DVH_TRY(marshal::fromJava(env, obj, cls, entry, kSecretLengthFromJava));
    DVH_TRY(secretFromJava(env, obj, cls, entry));
    return marshal::fromJava(env, obj, cls, entry, kNameFromJava);
}

// The flash index alone (the entries setCHAPTableSparse deletes).
jint entryIndexFromJava(JNIEnv* env, jobject obj, marshal::ClassIds& cls, uint32_t* index)
{
    DVH_TRY(chapEntryClass(env, obj, cls));
    IndexByte value{0};
    DVH_TRY(marshal::fromJava(env, obj, cls, &value, kDeletionIndexFromJava));
    *index = value.value;
    return kStatusOk;
}

}  // namespace

// ---------------------------------------------------------------------------
// Marshalling routines
// ---------------------------------------------------------------------------

jint setiSCSICHAPEntry(JNIEnv* env, jobject jEntry, const CHAPTABLE* entry)
{
    return entryToJava(env, jEntry, entry, nullptr);
}

jint setiSCSICHAPEntrySparse(JNIEnv* env, jobject jEntry, const CHAPTABLE* table, uint32_t index)
{
    return entryToJava(env, jEntry, &table[index], &index);
}

jint getiSCSICHAPEntry(JNIEnv* env, jobject jEntry, CHAPTABLE* entry)
{
    marshal::ClassIds cls;
    return entryFromJava(env, jEntry, cls, entry, nullptr);
}

jint getiSCSICHAPEntrySparse(JNIEnv* env, jobject jEntry, CHAPTABLE* entry, uint32_t* index)
{
    marshal::ClassIds cls;
    return entryFromJava(env, jEntry, cls, entry, index);
}

jint getiSCSICHAPEntryIndex(JNIEnv* env, jobject jEntry, uint32_t* index)
{
    marshal::ClassIds cls;
    return entryIndexFromJava(env, jEntry, cls, index);
}

namespace {

// Adds entries 0 .. count-1 of the table to jHBA as new CHAPTableEntry
// objects. The sparse form passes each entry's flash index and skips the
// free slots after slot 0 (slot 0 is always delivered).
jint addEntries(JNIEnv* env, jobject jHBA, const std::vector<CT>& table, uint32_t count, bool sparse)
{
    LocalRef<jclass> hbaClass = objectClass(env, jHBA);
    LocalRef<jclass> cls = modelClass(env, "CHAPTableEntry");
    if (!cls) {
        std::printf("Find CHAP class call failed!\n");
        return kStatusClassNotFound;
    }
    // Every entry is made from cls (so the class check of setiSCSICHAPEntry
    // holds without asking): its identifiers are resolved once for the table.
    marshal::ClassIds entries(env, cls.get());
    marshal::ClassIds hba(env, hbaClass.get());
    // The library's count is trusted no further than the buffer reaches.
    const uint32_t n = std::min<uint32_t>(count, static_cast<uint32_t>(table.size()));
    for (uint32_t i = 0; i < n; ++i) {
        if (sparse && i != 0 && table[i].ChapName[0] == 0)
            continue;
        LocalRef<jobject> obj = marshal::newObject(env, entries);
        if (!obj) {
            if (thrown(env))
                return kStatusJavaThrew;
            std::printf("New Device Object failed!\n");
            return kStatusNullObject;
        }
        const jint status = fillEntry(env, obj.get(), entries, &table[i], sparse ? &i : nullptr);
        if (status == kStatusJavaThrew)
            return status;
        if (status != kStatusOk) {
            std::fputs(sparse ? "setiSCSICHAPEntrySparse() failed!\n" : "setiSCSICHAPEntry() failed!\n", stdout);
            return kStatusNullObject;
        }
        DVH_TRY(marshal::callVoid(env, jHBA, hba, kAddEntry, obj.get()));
    }
    return kStatusOk;
}

// The element of a Java array; null when the element is null (message
// printed) or when reading it threw.
LocalRef<jobject> chapElement(JNIEnv* env, jobjectArray array, jsize i)
{
    LocalRef<jobject> element(env, env->GetObjectArrayElement(array, i));
    if (!element && !thrown(env))
        std::printf("NULL javaCHAPEntryObject!\n");
    return element;
}

jint elementStatus(JNIEnv* env) { return thrown(env) ? kStatusJavaThrew : kStatusNullObject; }

}  // namespace

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getCHAPTableData(JNIEnv* env, jobject, jint dev,
                                                                                 jobject jHBA)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    // The entries go to jHBA; without one there is nowhere to put them.
    if (!jHBA) {
        std::printf("NULL jHBA!\n");
        return kStatusNullObject;
    }
    std::vector<CT> table(kChapTableCapacity);
    const SDMGT_HANDLE handle = handleAt(dev);
    uint32_t count = 0;
    SD_STATUS status = SDGetCHAPEntryNum(handle, &count);
    if (status != 0) {
        std::printf("JNI: SDGetCHAPEntryNum call failed! %x \n", status);
        return kStatusNullObject;
    }
    // The entry count goes in as the table's capacity: never more than the buffer holds.
    count = std::min(count, kChapTableCapacity);
    status = SDGetCHAPTable(handle, table.data(), &count);
    if (status != 0) {
        std::printf("JNI: SDGetCHAPTable call failed! %x \n", status);
        return kStatusNullObject;
    }
    return addEntries(env, jHBA, table, count, false);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getCHAPTableSparse(JNIEnv* env, jobject, jint dev,
                                                                                   jobject jHBA)
{
    constexpr SD_STATUS kMoreEntries = 0x2000007E;
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jHBA) {
        std::printf("NULL jHBA!\n");
        return kStatusNullObject;
    }
    std::vector<CT> table(kChapTableCapacity);
    uint32_t count = kChapTableCapacity;
    const SD_STATUS status = SDGetCHAPTableMod(handleAt(dev), table.data(), &count);
    if (status != 0 && status != kMoreEntries) {
        std::printf("JNI: SDGetCHAPTableSparse call failed! %x \n", status);
        return kStatusNullObject;
    }
    DVH_TRY(addEntries(env, jHBA, table, count, true));
    return static_cast<jint>(status);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setCHAPTableData(JNIEnv* env, jobject, jint dev,
                                                                                 jobjectArray jArray)
{
    if (!jArray) {
        std::printf("NULL jArray!\n");
        return kStatusNullObject;
    }
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    const jsize n = env->GetArrayLength(jArray);
    if (n == 0 || n > kMaxWriteElements)
        return kStatusOk;
    // Slot 0 stays blank; element i goes to slot i + 1. The buffer is freed
    // on every way out.
    std::vector<CT> buffer(static_cast<size_t>(n) + 1);
    marshal::ClassIds entries;
    for (jsize i = 0; i < n; ++i) {
        LocalRef<jobject> element = chapElement(env, jArray, i);
        if (!element)
            return elementStatus(env);
        DVH_TRY(entryFromJava(env, element.get(), entries, &buffer[static_cast<size_t>(i) + 1], nullptr));
    }
    uint32_t count = static_cast<uint32_t>(n) + 1;
    return static_cast<jint>(SDSetCHAPTable(handleAt(dev), buffer.data(), &count));
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setCHAPTableSparse(JNIEnv* env, jobject, jint dev,
                                                                                   jobjectArray jArray,
                                                                                   jobjectArray jRemovedArray)
{
    if (!jArray) {
        std::printf("NULL jArray!\n");
        return kStatusNullObject;
    }
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    const SDMGT_HANDLE handle = handleAt(dev);
    // Both arrays' elements are CHAPTableEntry objects: one class for the call.
    marshal::ClassIds entries;

    // Deletions first; their statuses are not looked at.
    const jsize removed = jRemovedArray ? env->GetArrayLength(jRemovedArray) : 0;
    if (removed >= 1 && removed <= kMaxWriteElements) {
        for (jsize i = 0; i < removed; ++i) {
            LocalRef<jobject> element = chapElement(env, jRemovedArray, i);
            if (!element)
                return elementStatus(env);
            uint32_t index = 0;
            DVH_TRY(entryIndexFromJava(env, element.get(), entries, &index));
            CT blank{};
            SDSetCHAPTableEntry(handle, &blank, index);
        }
    }

    const jsize n = env->GetArrayLength(jArray);
    if (n == 0 || n > kMaxWriteElements)
        return kStatusOk;
    // One entry serves every element in turn: a name an element leaves
    // unset (getChapName answering null) keeps the previous element's.
    CT entry{};
    for (jsize i = 0; i < n; ++i) {
        LocalRef<jobject> element = chapElement(env, jArray, i);
        if (!element)
            return elementStatus(env);
        uint32_t index = 0;
        DVH_TRY(entryFromJava(env, element.get(), entries, &entry, &index));
        SDSetCHAPTableEntry(handle, &entry, index);
    }
    return kStatusOk;
}

}  // extern "C"
