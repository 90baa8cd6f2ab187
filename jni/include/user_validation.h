// Validation of a local system user: the user must be in the shadow password
// database, the password must match the stored hash, and the user must be a
// listed member of the group "adm" or "root".
//
// The system databases are read afresh on every call. The libc and libcrypt
// routines used keep static storage, so every call runs under one lock.
// Passwords and hashes are never logged.
#ifndef DVH_USER_VALIDATION_H
#define DVH_USER_VALIDATION_H

#include <grp.h>
#include <shadow.h>

#include <cstdint>

// The lookups used, swappable for tests. The system's own are the default.
struct UserDatabaseOps {
    void (*setspent)();
    struct spwd* (*getspnam)(const char* name);
    void (*endspent)();
    struct group* (*getgrnam)(const char* name);
    char* (*crypt)(const char* phrase, const char* setting);
};

// libc's shadow and group databases and libcrypt's crypt.
UserDatabaseOps SystemUserDatabaseOps();
// Installs other lookups and returns the ones in use before.
UserDatabaseOps SetUserDatabaseOps(const UserDatabaseOps& ops);

// 0 when the user is accepted, -1 when rejected.
int32_t localValidateSystemUser(const char* systemUserName, const char* systemUserPassword);
// 0 when the password matches the entry's stored hash, else -1.
int32_t ValidateSystemUserPassword(const struct spwd* shadowEntry, const char* password);
// 0 when the entry's user is a listed member of "adm" or of "root", else -1.
int32_t ValidateSystemUserGroup(const struct spwd* shadowEntry);
// 0 when the entry's user is a listed member of the named group, else -1.
int32_t ValidateSystemUserGroupType(const struct spwd* shadowEntry, const char* groupName);

namespace dvh {

// validateSystemUser without a JVM: nameChars and passwordChars are the
// characters of the two Java strings, passwordGiven whether the password
// string object was non-null. A null password string is accepted unchecked.
int32_t validateSystemUserShared(const char* nameChars, bool passwordGiven, const char* passwordChars);

}  // namespace dvh

#endif  // DVH_USER_VALIDATION_H
