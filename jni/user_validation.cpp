// Validation of a local system user against the shadow password and group
// databases, for the management application's login.
#include "user_validation.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"

#include <crypt.h>

#include <cstdio>
#include <cstring>
#include <mutex>

#include "jni_agent_shared.h"
#include "jni_support.h"

namespace {

// Salt used when the stored hash is too short to carry one.
constexpr const char* kShortHashSalt = "kq";

// getspnam, getgrnam and crypt hand out static storage: one lock serialises
// every use of them, and of the lookups table itself. Recursive so that the
// validation steps may be called on their own and from the whole check.
std::recursive_mutex& databaseMutex()
{
    static std::recursive_mutex mutex;
    return mutex;
}

void systemSetspent() { ::setspent(); }
struct spwd* systemGetspnam(const char* name) { return ::getspnam(name); }
void systemEndspent() { ::endspent(); }
struct group* systemGetgrnam(const char* name) { return ::getgrnam(name); }
char* systemCrypt(const char* phrase, const char* setting) { return ::crypt(phrase, setting); }

UserDatabaseOps& currentOps()
{
    static UserDatabaseOps ops = SystemUserDatabaseOps();
    return ops;
}

}  // namespace

UserDatabaseOps SystemUserDatabaseOps()
{
    return UserDatabaseOps{systemSetspent, systemGetspnam, systemEndspent, systemGetgrnam, systemCrypt};
}

UserDatabaseOps SetUserDatabaseOps(const UserDatabaseOps& ops)
{
    std::lock_guard<std::recursive_mutex> lock(databaseMutex());
    UserDatabaseOps previous = currentOps();
    currentOps() = ops;
    return previous;
}

int32_t ValidateSystemUserPassword(const struct spwd* shadowEntry, const char* password)
{
    // Nothing to compare matches nothing.
    if (!shadowEntry || !password)
        return -1;
    std::lock_guard<std::recursive_mutex> lock(databaseMutex());
    const char* stored = shadowEntry->sp_pwdp ? shadowEntry->sp_pwdp : "";
    // A stored hash of one character or none carries no salt of its own;
    // otherwise crypt takes the salt (and the method) from the stored hash.
    const char* salt = std::strlen(stored) <= 1 ? kShortHashSalt : stored;
    const char* hashed = currentOps().crypt(password, salt);
    // crypt never answers with an empty text, so an empty stored hash never
    // matches; a failed crypt (null) does not either.
    if (!hashed)
        return -1;
    return std::strcmp(hashed, stored) == 0 ? 0 : -1;
}

int32_t ValidateSystemUserGroupType(const struct spwd* shadowEntry, const char* groupName)
{
    if (!shadowEntry || !groupName)
        return -1;
    std::lock_guard<std::recursive_mutex> lock(databaseMutex());
    const struct group* group = currentOps().getgrnam(groupName);
    if (!group) {
        CoreLogMessageShared(kLogError, "ERROR - %s group  does not exist", groupName);
        return -1;
    }
    // Only the listed members count, not users whose primary group it is.
    if (shadowEntry->sp_namp && group->gr_mem) {
        for (char** member = group->gr_mem; *member; ++member) {
            if (std::strcmp(*member, shadowEntry->sp_namp) == 0)
                return 0;
        }
    }
    CoreLogMessageShared(kLogError, "ERROR - User is not of the %s group", groupName);
    return -1;
}

int32_t ValidateSystemUserGroup(const struct spwd* shadowEntry)
{
    if (ValidateSystemUserGroupType(shadowEntry, "adm") == 0)
        return 0;
    if (ValidateSystemUserGroupType(shadowEntry, "root") == 0)
        return 0;
    return -1;
}

int32_t localValidateSystemUser(const char* systemUserName, const char* systemUserPassword)
{
    std::lock_guard<std::recursive_mutex> lock(databaseMutex());
    const UserDatabaseOps& ops = currentOps();
    int32_t result = 0;
    ops.setspent();
    const struct spwd* entry = systemUserName ? ops.getspnam(systemUserName) : nullptr;
    if (!entry) {
        CoreLogMessageShared(kLogError, "Invalid User Login");
        result = -1;
    } else if (ValidateSystemUserPassword(entry, systemUserPassword) == -1) {
        CoreLogMessageShared(kLogError, "Invalid User Password");
        result = -1;
    } else if (ValidateSystemUserGroup(entry) == -1) {
        CoreLogMessageShared(kLogError, "Invalid User not in adm or root groups");
        result = -1;
    }
    ops.endspent();
    return result;
}

namespace dvh {

int32_t validateSystemUserShared(const char* nameChars, bool passwordGiven, const char* passwordChars)
{
    int32_t result = 0;
    if (nameChars && passwordGiven)
        result = localValidateSystemUser(nameChars, passwordChars);
    if (result != 0)
        std::printf("JNI: validateSystemUser: %x \n", static_cast<unsigned>(result));
    return result;
}

}  // namespace dvh

extern "C" JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_validateSystemUser(
    JNIEnv* env, jobject, jstring systemUserName, jstring systemUserPassword)
{
    // A null string yields null characters without a call into the JVM.
    dvh::UtfChars name(env, systemUserName);
    dvh::UtfChars password(env, systemUserPassword);
    // Characters the JVM could not hand out (out of memory, its error
    // pending) are taken as a wrong password rather than read.
    return dvh::validateSystemUserShared(name.get(), systemUserPassword != nullptr, password.get());
}
