// Per-class cache of method identifiers and classes found by name.
#include "lookup.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace dvh {
namespace lookup {

namespace {

enum : int { kEmpty = 0, kBusy = 1, kReady = 2 };

// One (key, class) pair. Written only by the thread that holds gWriteLock
// while the slot is kBusy; read by anyone while it is kReady.
struct Slot {
    std::atomic<int> state{kEmpty};
    std::atomic<int> pins{0};
    std::atomic<const void*> key{nullptr};
    const void* tag = nullptr;
    char* text = nullptr;  // "name\0signature\0" of a named lookup
    jweak cls = nullptr;
    jmethodID* ids = nullptr;
    size_t count = 0;
};

constexpr size_t kSlotCount = 2048;  // power of two
constexpr size_t kProbe = 32;        // slots tried from a key's home slot
Slot gSlots[kSlotCount];
std::mutex gWriteLock;

struct ClassSlot {
    std::atomic<int> state{kEmpty};
    uint64_t hash = 0;  // of the name, compared before it
    char name[128] = {};
    jweak cls = nullptr;
};
constexpr size_t kClassSlotCount = 64;
ClassSlot gClasses[kClassSlotCount];

size_t home(const void* key)
{
    auto v = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(key));
    v ^= v >> 33;
    v *= 0xff51afd7ed558ccdULL;
    v ^= v >> 33;
    return static_cast<size_t>(v);
}

bool textMatches(const Slot& s, const char* name, const char* signature)
{
    if (!name)
        return s.text == nullptr;
    return s.text && std::strcmp(s.text, name) == 0 && std::strcmp(s.text + std::strlen(s.text) + 1, signature) == 0;
}

// Compares a ready slot with (key, tag, text, cls) while it is pinned.
bool matches(JNIEnv* env, Slot& s, const void* key, const void* tag, const char* name, const char* signature,
             jclass cls)
{
    s.pins.fetch_add(1, std::memory_order_seq_cst);
    bool same = s.state.load(std::memory_order_seq_cst) == kReady &&
                s.key.load(std::memory_order_relaxed) == key && s.tag == tag &&
                textMatches(s, name, signature) && env->IsSameObject(s.cls, cls) == JNI_TRUE;
    s.pins.fetch_sub(1, std::memory_order_release);
    return same;
}

void clearSlot(JNIEnv* env, Slot& s)
{
    if (s.cls && env)
        env->DeleteWeakGlobalRef(s.cls);
    std::free(s.text);
    std::free(s.ids);
    s.cls = nullptr;
    s.text = nullptr;
    s.ids = nullptr;
    s.count = 0;
    s.tag = nullptr;
    s.key.store(nullptr, std::memory_order_relaxed);
}

// Takes a free slot, or the slot of a class that has been collected, on the
// probe path of `start`; the slot is left kBusy. Holds gWriteLock.
Slot* claim(JNIEnv* env, size_t start)
{
    for (size_t i = 0; i < kProbe; ++i) {
        Slot& s = gSlots[(start + i) & (kSlotCount - 1)];
        int state = s.state.load(std::memory_order_acquire);
        if (state == kEmpty) {
            s.state.store(kBusy, std::memory_order_seq_cst);
            return &s;
        }
    }
    for (size_t i = 0; i < kProbe; ++i) {
        Slot& s = gSlots[(start + i) & (kSlotCount - 1)];
        if (s.state.load(std::memory_order_acquire) != kReady || env->IsSameObject(s.cls, nullptr) != JNI_TRUE)
            continue;
        // Its class is gone, so no caller can be using the slot's identifiers;
        // wait for readers that are only comparing it.
        s.state.store(kBusy, std::memory_order_seq_cst);
        while (s.pins.load(std::memory_order_seq_cst) != 0)
            std::this_thread::yield();
        clearSlot(env, s);
        return &s;
    }
    return nullptr;
}

const jmethodID* find(JNIEnv* env, jclass cls, const void* key, const void* tag, const char* name,
                      const char* signature, size_t start)
{
    for (size_t i = 0; i < kProbe; ++i) {
        Slot& s = gSlots[(start + i) & (kSlotCount - 1)];
        int state = s.state.load(std::memory_order_acquire);
        if (state == kEmpty)
            return nullptr;
        if (state != kReady || s.key.load(std::memory_order_relaxed) != key)
            continue;
        if (matches(env, s, key, tag, name, signature, cls))
            return s.ids;
    }
    return nullptr;
}

// Resolves and publishes (key, cls); null when no slot is free.
const jmethodID* insert(JNIEnv* env, jclass cls, const void* key, const void* tag, const char* name,
                        const char* signature, size_t count, Resolver resolve, size_t start)
{
    std::lock_guard<std::mutex> lock(gWriteLock);
    if (const jmethodID* ids = find(env, cls, key, tag, name, signature, start))
        return ids;
    char* text = nullptr;
    if (name) {
        size_t n = std::strlen(name) + 1;
        size_t m = std::strlen(signature) + 1;
        text = static_cast<char*>(std::malloc(n + m));
        if (!text)
            return nullptr;
        std::memcpy(text, name, n);
        std::memcpy(text + n, signature, m);
    }
    jweak weak = env->NewWeakGlobalRef(cls);
    if (!weak) {
        env->ExceptionClear();
        std::free(text);
        return nullptr;
    }
    Slot* s = claim(env, start);
    if (!s) {
        env->DeleteWeakGlobalRef(weak);
        std::free(text);
        return nullptr;
    }
    s->ids = static_cast<jmethodID*>(std::calloc(count > 0 ? count : 1, sizeof(jmethodID)));
    if (!s->ids) {
        env->DeleteWeakGlobalRef(weak);
        std::free(text);
        s->state.store(kEmpty, std::memory_order_seq_cst);
        return nullptr;
    }
    s->count = count;
    if (resolve)
        resolve(env, cls, key, count, s->ids);
    else
        s->ids[0] = rawMethod(env, cls, name, signature);
    s->text = text;
    s->tag = tag;
    s->cls = weak;
    s->key.store(key, std::memory_order_relaxed);
    s->state.store(kReady, std::memory_order_seq_cst);
    return s->ids;
}

constexpr uint64_t kHashBasis = 1469598103934665603ULL;
constexpr uint64_t kHashPrime = 0x9E3779B97F4A7C15ULL;

// A text mixed in eight bytes at a time (a class or method name and its
// signature run to some sixty bytes; a byte at a time cost more than the
// rest of a lookup). Equal hashes are still compared by text.
uint64_t mix(uint64_t h, const char* text)
{
    size_t n = std::strlen(text);
    const char* p = text;
    for (; n >= 8; n -= 8, p += 8) {
        uint64_t word;
        std::memcpy(&word, p, 8);
        h = (h ^ word) * kHashPrime;
        h ^= h >> 29;
    }
    uint64_t tail = 0;
    std::memcpy(&tail, p, n);
    h = (h ^ tail ^ (static_cast<uint64_t>(n) << 56)) * kHashPrime;
    return h ^ (h >> 32);
}

uint64_t nameHash(const char* name) { return mix(kHashBasis, name); }

uint64_t textHash(const char* name, const char* signature)
{
    return mix(mix(kHashBasis, name) ^ 0xFF, signature);
}

}  // namespace

jmethodID rawMethod(JNIEnv* env, jclass cls, const char* name, const char* signature)
{
    if (!cls || !name || !signature)
        return nullptr;
    jmethodID id = env->GetMethodID(cls, name, signature);
    if (!id)
        env->ExceptionClear();
    return id;
}

jclass rawFindClass(JNIEnv* env, const char* name)
{
    jclass cls = env->FindClass(name);
    if (!cls)
        env->ExceptionClear();
    return cls;
}

const jmethodID* methods(JNIEnv* env, jclass cls, const void* key, const void* tag, size_t count, Resolver resolve)
{
    if (!cls || !key || !resolve)
        return nullptr;
    size_t start = home(key);
    if (const jmethodID* ids = find(env, cls, key, tag, nullptr, nullptr, start))
        return ids;
    return insert(env, cls, key, tag, nullptr, nullptr, count, resolve, start);
}

jmethodID method(JNIEnv* env, jclass cls, const char* name, const char* signature)
{
    if (!cls || !name || !signature)
        return nullptr;
    // Named keys are odd, so they never equal a table's (aligned) address.
    uint64_t h = textHash(name, signature);
    const void* key = reinterpret_cast<const void*>(static_cast<uintptr_t>(h) | 1u);
    size_t start = home(key);
    const jmethodID* ids = find(env, cls, key, nullptr, name, signature, start);
    if (!ids)
        ids = insert(env, cls, key, nullptr, name, signature, 1, nullptr, start);
    return ids ? ids[0] : rawMethod(env, cls, name, signature);
}

jclass findClass(JNIEnv* env, const char* name)
{
    if (!name)
        return nullptr;
    size_t length = std::strlen(name);
    bool cacheable = length < sizeof(ClassSlot::name);
    const uint64_t hash = nameHash(name);
    if (cacheable) {
        for (ClassSlot& c : gClasses) {
            int state = c.state.load(std::memory_order_acquire);
            if (state == kEmpty)
                break;
            if (state != kReady || c.hash != hash || std::strcmp(c.name, name) != 0)
                continue;
            // A class found by name is reachable from the library's own
            // loader, so its weak reference only clears when that loader goes;
            // should it clear, the class is looked for as if never cached.
            jobject local = env->NewLocalRef(c.cls);
            if (local)
                return static_cast<jclass>(local);
            break;
        }
    }
    jclass cls = rawFindClass(env, name);
    if (!cls || !cacheable)
        return cls;
    std::lock_guard<std::mutex> lock(gWriteLock);
    for (ClassSlot& c : gClasses) {
        int state = c.state.load(std::memory_order_acquire);
        if (state == kReady && std::strcmp(c.name, name) == 0)
            return cls;
        if (state != kEmpty)
            continue;
        jweak weak = env->NewWeakGlobalRef(cls);
        if (!weak) {
            env->ExceptionClear();
            return cls;
        }
        std::memcpy(c.name, name, length + 1);
        c.hash = hash;
        c.cls = weak;
        c.state.store(kReady, std::memory_order_release);
        return cls;
    }
    return cls;
}

void releaseAll(JNIEnv* env)
{
    std::lock_guard<std::mutex> lock(gWriteLock);
    for (Slot& s : gSlots) {
        if (s.state.load(std::memory_order_acquire) == kEmpty)
            continue;
        s.state.store(kBusy, std::memory_order_seq_cst);
        while (s.pins.load(std::memory_order_seq_cst) != 0)
            std::this_thread::yield();
        clearSlot(env, s);
        s.state.store(kEmpty, std::memory_order_seq_cst);
    }
    for (ClassSlot& c : gClasses) {
        if (c.state.load(std::memory_order_acquire) == kEmpty)
            continue;
        if (c.cls && env)
            env->DeleteWeakGlobalRef(c.cls);
        c.cls = nullptr;
        c.hash = 0;
        c.name[0] = '\0';
        c.state.store(kEmpty, std::memory_order_release);
    }
}

size_t slotsInUse()
{
    size_t n = 0;
    for (const Slot& s : gSlots)
        n += s.state.load(std::memory_order_acquire) != kEmpty;
    return n;
}

}  // namespace lookup
}  // namespace dvh

extern "C" JNIEXPORT void JNICALL JNI_OnUnload(JavaVM* vm, void*)
{
    JNIEnv* env = nullptr;
    if (vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) != JNI_OK)
        env = nullptr;
    dvh::lookup::releaseAll(env);
}
