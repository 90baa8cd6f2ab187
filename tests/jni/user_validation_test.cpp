// System user validation against fake shadow and group databases.
#include <gtest/gtest.h>

#include <crypt.h>

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "stdout_capture.h"
#include "user_validation.h"

namespace {

// The fake databases. Like libc's, getspnam and getgrnam answer in storage
// that the next call overwrites, so a missing lock shows up as wrong answers.
struct FakeDatabases {
    std::map<std::string, std::string> shadow;                    // name -> stored hash
    std::map<std::string, std::vector<std::string>> groups;       // name -> members
    std::vector<std::string> trace;                               // calls, in order
    std::vector<std::string> salts;                               // settings given to crypt
    bool traceCalls = true;
};
FakeDatabases* g_fake = nullptr;

struct spwd g_spwd;
std::string g_spwdName, g_spwdHash;
struct group g_group;
std::string g_groupName;
std::vector<std::string> g_memberNames;
std::vector<char*> g_members;

void record(const std::string& call)
{
    if (g_fake->traceCalls)
        g_fake->trace.push_back(call);
}

void fakeSetspent() { record("setspent"); }
void fakeEndspent() { record("endspent"); }

struct spwd* fakeGetspnam(const char* name)
{
    record(std::string("getspnam ") + name);
    auto found = g_fake->shadow.find(name);
    if (found == g_fake->shadow.end())
        return nullptr;
    g_spwdName = found->first;
    g_spwdHash = found->second;
    std::memset(&g_spwd, 0, sizeof g_spwd);
    g_spwd.sp_namp = &g_spwdName[0];
    g_spwd.sp_pwdp = &g_spwdHash[0];
    return &g_spwd;
}

struct group* fakeGetgrnam(const char* name)
{
    record(std::string("getgrnam ") + name);
    auto found = g_fake->groups.find(name);
    if (found == g_fake->groups.end())
        return nullptr;
    g_groupName = found->first;
    g_memberNames = found->second;
    g_members.clear();
    for (auto& member : g_memberNames)
        g_members.push_back(&member[0]);
    g_members.push_back(nullptr);
    std::memset(&g_group, 0, sizeof g_group);
    g_group.gr_name = &g_groupName[0];
    g_group.gr_mem = g_members.data();
    return &g_group;
}

// The real crypt, with the setting it was given remembered.
char* recordingCrypt(const char* phrase, const char* setting)
{
    if (g_fake->traceCalls)
        g_fake->salts.push_back(setting);
    return ::crypt(phrase, setting);
}

std::string hashOf(const char* password, const char* setting)
{
    const char* hashed = ::crypt(password, setting);
    return hashed ? hashed : "";
}

class UserValidation : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_fake = &fake;
        previous = SetUserDatabaseOps(
            UserDatabaseOps{fakeSetspent, fakeGetspnam, fakeEndspent, fakeGetgrnam, recordingCrypt});
        fake.shadow["alice"] = hashOf("Wonder-1", "$6$saltsaltsalt$");
        fake.shadow["bob"] = hashOf("builder", "$6$pepper$");
        fake.shadow["carol"] = hashOf("singing", "$5$rounds=5000$cumin$");
        fake.shadow["dave"] = "";
        fake.shadow["erin"] = "!";
        fake.shadow["frank"] = hashOf("outside", "$6$nutmeg$");
        fake.groups["adm"] = {"syslog", "alice"};
        fake.groups["root"] = {"bob"};
        fake.groups["frank"] = {};
    }
    void TearDown() override
    {
        SetUserDatabaseOps(previous);
        g_fake = nullptr;
    }

    // localValidateSystemUser with what it printed.
    static std::pair<int32_t, std::string> validate(const char* name, const char* password)
    {
        StdoutCapture capture;
        int32_t result = localValidateSystemUser(name, password);
        return {result, capture.finish()};
    }

    FakeDatabases fake;
    UserDatabaseOps previous{};
};

using Outcome = std::pair<int32_t, std::string>;

TEST_F(UserValidation, MemberOfAdmWithTheRightPasswordIsAccepted)
{
    EXPECT_EQ(Outcome(0, ""), validate("alice", "Wonder-1"));
    EXPECT_EQ((std::vector<std::string>{"setspent", "getspnam alice", "getgrnam adm", "endspent"}), fake.trace);
    // The stored hash is the setting: crypt takes method and salt from it.
    EXPECT_EQ((std::vector<std::string>{fake.shadow["alice"]}), fake.salts);
}

TEST_F(UserValidation, UnknownUserIsAnInvalidLogin)
{
    EXPECT_EQ(Outcome(-1, "Error: Invalid User Login\r\n"), validate("mallory", "whatever"));
    EXPECT_EQ((std::vector<std::string>{"setspent", "getspnam mallory", "endspent"}), fake.trace);
    EXPECT_TRUE(fake.salts.empty());
}

TEST_F(UserValidation, WrongPasswordIsRejectedWithoutLookingAtGroups)
{
    EXPECT_EQ(Outcome(-1, "Error: Invalid User Password\r\n"), validate("alice", "wonder-1"));
    EXPECT_EQ((std::vector<std::string>{"setspent", "getspnam alice", "endspent"}), fake.trace);
    EXPECT_EQ(Outcome(-1, "Error: Invalid User Password\r\n"), validate("carol", "singing "));
    EXPECT_EQ(Outcome(-1, "Error: Invalid User Password\r\n"), validate("alice", ""));
}

TEST_F(UserValidation, AnyHashMethodTheStoredHashNamesIsUsed)
{
    EXPECT_EQ(Outcome(-1, "Error: ERROR - User is not of the adm group\r\n"
                          "Error: ERROR - User is not of the root group\r\n"
                          "Error: Invalid User not in adm or root groups\r\n"),
              validate("carol", "singing"));
}

TEST_F(UserValidation, MemberOfRootOnlyIsAcceptedAfterTheAdmLine)
{
    EXPECT_EQ(Outcome(0, "Error: ERROR - User is not of the adm group\r\n"), validate("bob", "builder"));
    EXPECT_EQ((std::vector<std::string>{"setspent", "getspnam bob", "getgrnam adm", "getgrnam root", "endspent"}),
              fake.trace);
}

TEST_F(UserValidation, MissingAdmGroupGoesOnWithRoot)
{
    fake.groups.erase("adm");
    EXPECT_EQ(Outcome(0, "Error: ERROR - adm group  does not exist\r\n"), validate("bob", "builder"));
    EXPECT_EQ(Outcome(-1, "Error: ERROR - adm group  does not exist\r\n"
                          "Error: ERROR - User is not of the root group\r\n"
                          "Error: Invalid User not in adm or root groups\r\n"),
              validate("alice", "Wonder-1"));
    fake.groups.erase("root");
    EXPECT_EQ(Outcome(-1, "Error: ERROR - adm group  does not exist\r\n"
                          "Error: ERROR - root group  does not exist\r\n"
                          "Error: Invalid User not in adm or root groups\r\n"),
              validate("bob", "builder"));
}

TEST_F(UserValidation, OnlyListedMembersCountAndNamesMatchExactly)
{
    // frank's own group is not one of the two; a user named like a group
    // member but in another case is not that member.
    fake.shadow["Alice"] = fake.shadow["alice"];
    const std::string notAMember = "Error: ERROR - User is not of the adm group\r\n"
                                   "Error: ERROR - User is not of the root group\r\n"
                                   "Error: Invalid User not in adm or root groups\r\n";
    EXPECT_EQ(Outcome(-1, notAMember), validate("frank", "outside"));
    EXPECT_EQ(Outcome(-1, notAMember), validate("Alice", "Wonder-1"));
    fake.groups["adm"] = {};
    EXPECT_EQ(Outcome(-1, notAMember), validate("alice", "Wonder-1"));
}

TEST_F(UserValidation, EmptyOrOneCharacterHashNeverMatches)
{
    for (const char* password : {"", "x", "kq", "!"}) {
        EXPECT_EQ(Outcome(-1, "Error: Invalid User Password\r\n"), validate("dave", password)) << password;
        EXPECT_EQ(Outcome(-1, "Error: Invalid User Password\r\n"), validate("erin", password)) << password;
    }
    // Too short to carry a salt: the fixed salt is used instead.
    for (const auto& salt : fake.salts)
        EXPECT_EQ("kq", salt);
    EXPECT_EQ(8u, fake.salts.size());
}

TEST_F(UserValidation, TraditionalHashIsItsOwnSetting)
{
    // A hash made with the fixed salt is a real stored hash of 13 characters
    // whose first two are the salt: it is used as the setting as it stands.
    fake.shadow["gina"] = hashOf("classic", "kq");
    if (fake.shadow["gina"].size() != 13)
        GTEST_SKIP() << "this libcrypt does not offer the traditional method";
    fake.groups["adm"].push_back("gina");
    EXPECT_EQ(Outcome(0, ""), validate("gina", "classic"));
}

TEST_F(UserValidation, PasswordCheckOnItsOwn)
{
    struct spwd entry {};
    std::string name = "alice";
    std::string hash = fake.shadow["alice"];
    entry.sp_namp = &name[0];
    entry.sp_pwdp = &hash[0];
    EXPECT_EQ(0, ValidateSystemUserPassword(&entry, "Wonder-1"));
    EXPECT_EQ(-1, ValidateSystemUserPassword(&entry, "Wonder-2"));
    EXPECT_EQ(-1, ValidateSystemUserPassword(nullptr, "Wonder-1"));
    EXPECT_EQ(-1, ValidateSystemUserPassword(&entry, nullptr));
}

TEST_F(UserValidation, GroupCheckWithNullArgumentsSaysNothing)
{
    struct spwd entry {};
    std::string name = "alice";
    entry.sp_namp = &name[0];
    StdoutCapture capture;
    EXPECT_EQ(-1, ValidateSystemUserGroupType(nullptr, "adm"));
    EXPECT_EQ(-1, ValidateSystemUserGroupType(&entry, nullptr));
    EXPECT_EQ(0, ValidateSystemUserGroupType(&entry, "adm"));
    EXPECT_EQ(0, ValidateSystemUserGroup(&entry));
    EXPECT_EQ("", capture.finish());
    EXPECT_EQ((std::vector<std::string>{"getgrnam adm", "getgrnam adm"}), fake.trace);
}

TEST_F(UserValidation, NativeMethodPrintsRejectionsAndSkipsANullPassword)
{
    {
        StdoutCapture capture;
        EXPECT_EQ(-1, dvh::validateSystemUserShared("mallory", true, "secret"));
        EXPECT_EQ("Error: Invalid User Login\r\nJNI: validateSystemUser: ffffffff \n", capture.finish());
    }
    {
        StdoutCapture capture;
        EXPECT_EQ(0, dvh::validateSystemUserShared("alice", true, "Wonder-1"));
        EXPECT_EQ("", capture.finish());
    }
    fake.trace.clear();
    {
        // A null password string is accepted without any look-up, as is a
        // user name whose characters are missing.
        StdoutCapture capture;
        EXPECT_EQ(0, dvh::validateSystemUserShared("mallory", false, nullptr));
        EXPECT_EQ(0, dvh::validateSystemUserShared(nullptr, true, "secret"));
        EXPECT_EQ("", capture.finish());
        EXPECT_TRUE(fake.trace.empty());
    }
    {
        // Characters of a non-null password that could not be had are a wrong password.
        StdoutCapture capture;
        EXPECT_EQ(-1, dvh::validateSystemUserShared("alice", true, nullptr));
        EXPECT_EQ("Error: Invalid User Password\r\nJNI: validateSystemUser: ffffffff \n", capture.finish());
    }
}

TEST_F(UserValidation, NeitherPasswordNorHashIsEverPrinted)
{
    StdoutCapture capture;
    validate("alice", "Wonder-2");
    validate("bob", "builder");
    validate("carol", "singing");
    dvh::validateSystemUserShared("alice", true, "Wonder-3");
    std::string out = capture.finish();
    for (const char* secret : {"Wonder", "builder", "singing", "$6$", "$5$"})
        EXPECT_EQ(std::string::npos, out.find(secret)) << secret;
}

TEST_F(UserValidation, ConcurrentCallersGetTheirOwnAnswers)
{
    // The fakes share one answer buffer each, as libc does; every answer must
    // still belong to its caller.
    fake.traceCalls = false;
    std::atomic<int> wrong{0};
    struct Case {
        const char* name;
        const char* password;
        int32_t expected;
    };
    const std::vector<Case> cases = {{"alice", "Wonder-1", 0},  {"bob", "builder", 0},   {"alice", "builder", -1},
                                     {"carol", "singing", -1}, {"dave", "", -1},        {"mallory", "x", -1},
                                     {"bob", "Wonder-1", -1},  {"frank", "outside", -1}};
    StdoutCapture quiet;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 16; ++round) {
                const Case& c = cases[(t + round) % cases.size()];
                if (localValidateSystemUser(c.name, c.password) != c.expected)
                    ++wrong;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    quiet.finish();
    EXPECT_EQ(0, wrong.load());
}

TEST(UserValidationSystem, SystemLookupsAreTheDefault)
{
    UserDatabaseOps system = SystemUserDatabaseOps();
    UserDatabaseOps previous = SetUserDatabaseOps(system);
    EXPECT_EQ(system.getspnam, previous.getspnam);
    EXPECT_EQ(system.getgrnam, previous.getgrnam);
    EXPECT_EQ(system.crypt, previous.crypt);
    // A name no system can hold is unknown to the real database.
    StdoutCapture capture;
    EXPECT_EQ(-1, localValidateSystemUser("no such user:\n", "x"));
    EXPECT_EQ("Error: Invalid User Login\r\n", capture.finish());
}

}  // namespace
