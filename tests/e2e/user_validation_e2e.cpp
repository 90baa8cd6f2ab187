// End-to-end check of system user validation against real shadow and group
// files, read through libc as in production.
//
// The test makes its own private mount namespace and bind-mounts shadow and
// group files it wrote over /etc/shadow and /etc/group there; the system's
// files are never written and the mounts vanish with the process. It needs
// root; without root, or where the namespace cannot be made, it reports
// itself skipped (exit code 77).
//
// Usage: user_validation_e2e [JAVA DVHISCSI_JAR LIBRARY_DIR PROBE_SOURCE]
// With the four arguments the same cases also run through the JVM and
// ApiWrapper.validateSystemUser.
#include <crypt.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "stdout_capture.h"
#include "user_validation.h"

namespace {

constexpr int kSkipped = 77;

int failures = 0;

void fail(const std::string& what)
{
    std::fprintf(stderr, "FAIL: %s\n", what.c_str());
    ++failures;
}

int skip(const std::string& why)
{
    std::printf("SKIP: %s\n", why.c_str());
    return kSkipped;
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Rewrites a file in place (same inode), so a bind mount of it sees the change.
bool rewriteFile(const std::string& path, const std::string& text)
{
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0)
        return false;
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    return close(fd) == 0 && ok;
}

std::string hashOf(const char* password, const char* setting)
{
    const char* hashed = crypt(password, setting);
    return hashed ? hashed : "";
}

struct Case {
    const char* name;
    const char* password;  // null: a null Java string (JVM only)
    int expected;
    std::string lines;  // what localValidateSystemUser logs
};

const std::string kNotAdm = "Error: ERROR - User is not of the adm group\r\n";
const std::string kNotRoot = "Error: ERROR - User is not of the root group\r\n";
const std::string kNoAdm = "Error: ERROR - adm group  does not exist\r\n";
const std::string kNotInGroups = "Error: Invalid User not in adm or root groups\r\n";
const std::string kBadPassword = "Error: Invalid User Password\r\n";
const std::string kBadLogin = "Error: Invalid User Login\r\n";

void runNative(const std::string& label, const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        if (!c.password)
            continue;
        StdoutCapture capture;
        int result = localValidateSystemUser(c.name, c.password);
        std::string out = capture.finish();
        if (result != c.expected)
            fail(label + ": " + c.name + " gave " + std::to_string(result));
        if (out != c.lines)
            fail(label + ": " + c.name + " logged [" + out + "] instead of [" + c.lines + "]");
    }
}

// Removes the test's files and mounts on every way out.
struct Workspace {
    std::string dir;
    std::vector<std::string> mounts;
    ~Workspace()
    {
        for (auto it = mounts.rbegin(); it != mounts.rend(); ++it)
            umount(it->c_str());
        for (const char* name : {"/shadow", "/group", "/jvm.out", "/jvm.err"})
            unlink((dir + name).c_str());
        rmdir(dir.c_str());
    }
};

struct JavaSetup {
    std::string java, jar, libDir, probe;
};

void runJava(const std::string& label, const JavaSetup& setup, const std::vector<Case>& cases,
             const std::string& workDir)
{
    std::vector<std::string> args = {setup.java, "-Xcheck:jni", "-Djava.library.path=" + setup.libDir,
                                      "-cp", setup.jar, setup.probe};
    std::string expectedOut, expectedErr;
    for (const Case& c : cases) {
        args.push_back(c.name);
        args.push_back(c.password ? c.password : "<null>");
        expectedOut += c.lines;
        if (c.expected != 0)
            expectedOut += "JNI: validateSystemUser: ffffffff \n";
        expectedErr += std::string(c.name) + " " + std::to_string(c.expected) + "\n";
    }
    const std::string outPath = workDir + "/jvm.out";
    const std::string errPath = workDir + "/jvm.err";
    std::fflush(stdout);
    pid_t child = fork();
    if (child == 0) {
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (out < 0 || err < 0)
            _exit(126);
        dup2(out, 1);
        dup2(err, 2);
        std::vector<char*> argv;
        for (auto& arg : args)
            argv.push_back(&arg[0]);
        argv.push_back(nullptr);
        // The simulator behind the library serves its built-in scenario.
        unsetenv("IZKSDM_SCENARIO");
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        fail(label + ": the JVM could not be started");
        return;
    }
    std::string out = readFile(outPath);
    std::string err;
    std::istringstream errLines(readFile(errPath));
    for (std::string line; std::getline(errLines, line);) {
        if (line.rfind("Picked up ", 0) != 0)  // notes of JAVA_TOOL_OPTIONS and the like
            err += line + "\n";
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        fail(label + ": the JVM ended with status " + std::to_string(status) + "; stderr:\n" + err);
    if (out != expectedOut)
        fail(label + ": the JVM printed [" + out + "] instead of [" + expectedOut + "]");
    if (err != expectedErr)
        fail(label + ": the JVM answered [" + err + "] instead of [" + expectedErr + "]");
}

}  // namespace

int main(int argc, char** argv)
{
    JavaSetup java;
    if (argc == 5) {
        java = JavaSetup{argv[1], argv[2], argv[3], argv[4]};
    } else if (argc != 1) {
        std::fprintf(stderr, "usage: %s [JAVA DVHISCSI_JAR LIBRARY_DIR PROBE_SOURCE]\n", argv[0]);
        return 2;
    }

    if (geteuid() != 0)
        return skip("not running as root: a private mount namespace cannot be made");
    struct stat st;
    if (stat("/etc/shadow", &st) != 0 || stat("/etc/group", &st) != 0)
        return skip("/etc/shadow or /etc/group is missing on this system");
    if (unshare(CLONE_NEWNS) != 0)
        return skip(std::string("unshare(CLONE_NEWNS) failed: ") + std::strerror(errno));
    // Nothing mounted from here on may reach the system's namespace.
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return skip(std::string("cannot make the mounts private: ") + std::strerror(errno));

    char dirTemplate[] = "/tmp/dvh-user-e2e-XXXXXX";
    if (!mkdtemp(dirTemplate))
        return skip("no temporary folder");
    Workspace workspace;
    workspace.dir = dirTemplate;
    const std::string& dir = workspace.dir;
    const std::string shadowPath = dir + "/shadow";
    const std::string groupPath = dir + "/group";

    const std::string adm = hashOf("Adm1n-pass", "$6$acmesalt01$");
    const std::string sha = hashOf("sha-256 pass", "$5$acmesalt02$");
    const std::string root = hashOf("r00t-only", "$6$acmesalt03$");
    const std::string plain = hashOf("plain-user", "$6$acmesalt04$");
    for (const std::string* hash : {&adm, &sha, &root, &plain}) {
        if (hash->rfind("$", 0) != 0)
            return skip("this libcrypt cannot make SHA-256 and SHA-512 hashes");
    }
    const std::string shadow = "root:*:19000:0:99999:7:::\n"
                               "acmeadm:" + adm + ":19000:0:99999:7:::\n"
                               "acmesha:" + sha + ":19000:0:99999:7:::\n"
                               "acmeroot:" + root + ":19000:0:99999:7:::\n"
                               "acmeempty::19000:0:99999:7:::\n"
                               "acmelocked:!:19000:0:99999:7:::\n"
                               "acmeplain:" + plain + ":19000:0:99999:7:::\n";
    const std::string groupWithAdm = "root:x:0:acmeroot\n"
                                     "adm:x:4:syslog,acmeadm,acmesha,acmeempty,acmelocked\n"
                                     "acmeplain:x:2001:\n";
    const std::string groupWithoutAdm = "root:x:0:acmeroot\n"
                                        "acmeplain:x:2001:\n";
    if (!rewriteFile(shadowPath, shadow) || !rewriteFile(groupPath, groupWithAdm))
        return skip("cannot write the test databases");
    for (const auto& [source, target] : {std::pair<std::string, std::string>{shadowPath, "/etc/shadow"},
                                         std::pair<std::string, std::string>{groupPath, "/etc/group"}}) {
        if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0)
            return skip("cannot bind-mount " + target + ": " + std::strerror(errno));
        workspace.mounts.push_back(target);
    }
    if (readFile("/etc/shadow") != shadow || readFile("/etc/group") != groupWithAdm) {
        std::fprintf(stderr, "FAIL: the bind mounts do not show the test databases\n");
        return 1;
    }

    const std::vector<Case> withAdm = {
        {"acmeadm", "Adm1n-pass", 0, ""},
        {"acmesha", "sha-256 pass", 0, ""},
        {"acmeroot", "r00t-only", 0, kNotAdm},
        {"acmeadm", "adm1n-pass", -1, kBadPassword},
        {"acmeadm", "", -1, kBadPassword},
        {"acmeempty", "", -1, kBadPassword},
        {"acmeempty", "anything", -1, kBadPassword},
        {"acmelocked", "!", -1, kBadPassword},
        {"acmeplain", "plain-user", -1, kNotAdm + kNotRoot + kNotInGroups},
        {"acmenobody", "Adm1n-pass", -1, kBadLogin},
        {"ACMEADM", "Adm1n-pass", -1, kBadLogin},
        {"acmenobody", nullptr, 0, ""},
    };
    const std::vector<Case> withoutAdm = {
        {"acmeroot", "r00t-only", 0, kNoAdm},
        {"acmeadm", "Adm1n-pass", -1, kNoAdm + kNotRoot + kNotInGroups},
        {"acmeroot", "wrong", -1, kBadPassword},
    };

    runNative("native, with adm", withAdm);
    bool runJvm = !java.java.empty();
    if (runJvm && stat(java.jar.c_str(), &st) != 0) {
        std::printf("note: %s is not built; the JVM cases are left out\n", java.jar.c_str());
        runJvm = false;
    }
    if (runJvm)
        runJava("JVM, with adm", java, withAdm, dir);

    if (!rewriteFile(groupPath, groupWithoutAdm) || readFile("/etc/group") != groupWithoutAdm) {
        std::fprintf(stderr, "FAIL: the group database without adm is not in place\n");
        return 1;
    }
    runNative("native, without adm", withoutAdm);
    if (runJvm)
        runJava("JVM, without adm", java, withoutAdm, dir);

    if (failures != 0)
        return 1;
    std::printf("user validation end to end: all cases passed%s\n", runJvm ? " (native and JVM)" : " (native)");
    return 0;
}
