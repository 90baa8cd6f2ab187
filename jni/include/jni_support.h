// JNI helpers every native method uses: status codes, RAII holders for what
// must be released, and lookups that leave no Java error pending.
//
// Rules the helpers carry so callers cannot forget them:
//  - no JNI function is ever called on a null object;
//  - a failed FindClass / GetMethodID / NewObject clears the Java error it
//    raised, so the caller returns its own status code to Java;
//  - an exception thrown by a Java accessor stays pending: callers test
//    `thrown(env)` after every call into Java and return at once.
#ifndef DVH_JNI_SUPPORT_H
#define DVH_JNI_SUPPORT_H

#include <jni.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace dvh {

// Status codes returned to Java.
constexpr jint kStatusOk = 0;
constexpr jint kStatusBadIndex = 0x20000064;
constexpr jint kStatusLookupFailed = 4097;
constexpr jint kStatusClassNotFound = 4098;
constexpr jint kStatusNullObject = 4099;

// Returned by a routine when a Java method it called threw; Java never sees
// the value because the pending exception is thrown on return from the
// native method.
constexpr jint kStatusJavaThrew = -2;

constexpr const char* kModelPackage = "com/norvik/dvh/iscsi/model/";

// JNI signatures of the model's accessors that several files use.
constexpr const char* kStringSetterSig = "(Ljava/lang/String;)V";
constexpr const char* kStringGetterSig = "()Ljava/lang/String;";
constexpr const char* kIPAddrGetterSig = "()Lcom/norvik/dvh/iscsi/model/IPAddr;";
constexpr const char* kNodeInfoGetterSig = "()Lcom/norvik/dvh/iscsi/model/NodeInfo;";
constexpr const char* kDevEntryGetterSig = "()Lcom/norvik/dvh/iscsi/model/DevEntry;";
constexpr const char* kInitFWGetterSig = "()Lcom/norvik/dvh/iscsi/model/InitFW;";

// For routines whose failures only print: keeps the status of a Java
// exception (so the caller stops), drops every other.
inline jint thrownOnly(jint status) { return status == kStatusJavaThrew ? status : kStatusOk; }

// True when a Java exception is pending (thrown by a Java method we called,
// or an out-of-memory error of the virtual machine).
inline bool thrown(JNIEnv* env) { return env->ExceptionCheck() == JNI_TRUE; }

// A local reference deleted when the holder goes out of scope.
template <class T>
class LocalRef {
public:
    LocalRef() = default;
    LocalRef(JNIEnv* env, T ref) : env_(env), ref_(ref) {}
    LocalRef(const LocalRef&) = delete;
    LocalRef& operator=(const LocalRef&) = delete;
    LocalRef(LocalRef&& other) noexcept : env_(other.env_), ref_(other.ref_) { other.ref_ = nullptr; }
    LocalRef& operator=(LocalRef&& other) noexcept
    {
        if (this != &other) {
            reset();
            env_ = other.env_;
            ref_ = other.ref_;
            other.ref_ = nullptr;
        }
        return *this;
    }
    ~LocalRef() { reset(); }

    T get() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }
    // Hands the reference over (e.g. as a native method's result).
    T release()
    {
        T ref = ref_;
        ref_ = nullptr;
        return ref;
    }
    void reset()
    {
        if (ref_ && env_)
            env_->DeleteLocalRef(ref_);
        ref_ = nullptr;
    }

private:
    JNIEnv* env_ = nullptr;
    T ref_ = nullptr;
};

// The modified UTF-8 characters of a Java string, released on scope exit.
// A null string gives null characters without a JNI call.
class UtfChars {
public:
    UtfChars(JNIEnv* env, jstring str) : env_(env), str_(str)
    {
        if (str_)
            chars_ = env_->GetStringUTFChars(str_, nullptr);
    }
    UtfChars(const UtfChars&) = delete;
    UtfChars& operator=(const UtfChars&) = delete;
    ~UtfChars()
    {
        if (chars_)
            env_->ReleaseStringUTFChars(str_, chars_);
    }
    const char* get() const { return chars_; }
    explicit operator bool() const { return chars_ != nullptr; }

private:
    JNIEnv* env_;
    jstring str_;
    const char* chars_ = nullptr;
};

// The elements of a Java short[]. Writes reach the Java array only through
// commit(), which releases with mode 0 when the virtual machine handed out a
// copy (as the native side always did); otherwise the elements are released
// with JNI_ABORT on scope exit.
class ShortElements {
public:
    ShortElements(JNIEnv* env, jshortArray array) : env_(env), array_(array)
    {
        if (array_) {
            elements_ = env_->GetShortArrayElements(array_, &isCopy_);
            if (elements_)
                length_ = static_cast<size_t>(env_->GetArrayLength(array_));
        }
    }
    ShortElements(const ShortElements&) = delete;
    ShortElements& operator=(const ShortElements&) = delete;
    ~ShortElements() { release(JNI_ABORT); }

    jshort* data() const { return elements_; }
    size_t size() const { return length_; }
    explicit operator bool() const { return elements_ != nullptr; }
    bool isCopy() const { return isCopy_ == JNI_TRUE; }
    // Copies the elements back into the array and releases them.
    void commit() { release(0); }

private:
    void release(jint mode)
    {
        if (elements_)
            env_->ReleaseShortArrayElements(array_, elements_, mode);
        elements_ = nullptr;
        length_ = 0;
    }
    JNIEnv* env_;
    jshortArray array_;
    jshort* elements_ = nullptr;
    size_t length_ = 0;
    jboolean isCopy_ = JNI_FALSE;
};

// The elements of a Java byte[] or long[], same rules as ShortElements.
template <class Array, class Element, Element* (JNIEnv::*Get)(Array, jboolean*),
          void (JNIEnv::*Release)(Array, Element*, jint)>
class PrimitiveElements {
public:
    PrimitiveElements(JNIEnv* env, Array array) : env_(env), array_(array)
    {
        if (array_) {
            elements_ = (env_->*Get)(array_, &isCopy_);
            if (elements_)
                length_ = static_cast<size_t>(env_->GetArrayLength(array_));
        }
    }
    PrimitiveElements(const PrimitiveElements&) = delete;
    PrimitiveElements& operator=(const PrimitiveElements&) = delete;
    ~PrimitiveElements() { release(JNI_ABORT); }
    Element* data() const { return elements_; }
    size_t size() const { return length_; }
    explicit operator bool() const { return elements_ != nullptr; }
    void commit() { release(0); }

private:
    void release(jint mode)
    {
        if (elements_)
            (env_->*Release)(array_, elements_, mode);
        elements_ = nullptr;
        length_ = 0;
    }
    JNIEnv* env_;
    Array array_;
    Element* elements_ = nullptr;
    size_t length_ = 0;
    jboolean isCopy_ = JNI_FALSE;
};
using ByteElements =
    PrimitiveElements<jbyteArray, jbyte, &JNIEnv::GetByteArrayElements, &JNIEnv::ReleaseByteArrayElements>;
using LongElements =
    PrimitiveElements<jlongArray, jlong, &JNIEnv::GetLongArrayElements, &JNIEnv::ReleaseLongArrayElements>;

// Lookups. Each returns null after clearing the error the JVM raised.
LocalRef<jclass> objectClass(JNIEnv* env, jobject obj);
LocalRef<jclass> findClass(JNIEnv* env, const char* name);
// Class of the model package: modelClass(env, "IPAddr").
LocalRef<jclass> modelClass(JNIEnv* env, const char* simpleName);
jmethodID methodId(JNIEnv* env, jclass cls, const char* name, const char* signature);
// A new object made with the public no-argument constructor.
LocalRef<jobject> newObject(JNIEnv* env, jclass cls);

// NewStringUTF of a fixed-width text field: at most `width` bytes, cut at the
// first zero byte. Null when the JVM is out of memory (error left pending).
LocalRef<jstring> newStringFromField(JNIEnv* env, const void* field, size_t width);

// strncpy of at most `bound` bytes: a shorter src is padded with zero bytes
// up to the bound, a longer one is cut at the bound without a terminator.
// Bytes of dst beyond the bound are not touched.
void boundedCopy(void* dst, const char* src, size_t bound);

}  // namespace dvh

// Chains the steps of a routine: the first non-zero status ends it.
#define DVH_TRY(expr)                          \
    do {                                       \
        jint dvh_try_status_ = (expr);         \
        if (dvh_try_status_ != ::dvh::kStatusOk) \
            return dvh_try_status_;            \
    } while (0)

#endif  // DVH_JNI_SUPPORT_H
