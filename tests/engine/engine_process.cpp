#include "engine_process.h"
#include "image_tools.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <fcntl.h>
#include <grp.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char **environ;

namespace dk {

const std::set<int> &knownExitCodes() {
    static const std::set<int> codes{0, 1, 77, 82, 83, 84, 85, 86, 90, 91, 92, 93, 94, 96};
    return codes;
}

std::string enginePath() {
    // A developer can point the suite at another build of the engine.
    if (const char *e = std::getenv("DRAVIK_ENGINE"); e && *e)
        return e;
    return DRAVIK_ENGINE_PATH;
}

std::string corpusDir() {
    if (const char *e = std::getenv("DRAVIK_CORPUS_DIR"); e && *e)
        return e;
    return DRAVIK_CORPUS_PATH;
}

std::string corpusFile(const std::string &name) { return corpusDir() + "/" + name; }

std::string RunResult::describe() const {
    std::ostringstream s;
    s << "\n  command: " << commandLine << "\n  ended: ";
    if (timedOut)
        s << "TIMED OUT after " << seconds << " s";
    else if (signal)
        s << "killed by signal " << signal << " (" << strsignal(signal) << ")";
    else
        s << "exit " << code << " after " << seconds << " s";
    std::string e = err.size() > 600 ? err.substr(0, 600) + "..." : err;
    s << "\n  stderr: " << e;
    if (!out.empty())
        s << "\n  stdout: " << (out.size() > 300 ? out.substr(0, 300) + "..." : out);
    return s.str();
}

static std::string quoteArg(const std::string &a) {
    if (!a.empty() && a.find_first_of(" '\"\\$") == std::string::npos)
        return a;
    std::string q = "'";
    for (char c : a)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

RunResult runProgram(const std::string &program, const std::vector<std::string> &args,
                     const RunOptions &options) {
    RunResult result;
    result.commandLine = quoteArg(program);
    for (const auto &a : args)
        result.commandLine += " " + quoteArg(a);

    // Output goes to unlinked temporary files rather than pipes: nothing can block on a
    // full pipe, and no reader thread is needed.
    char outName[] = "/tmp/dravik-engine-out-XXXXXX";
    char errName[] = "/tmp/dravik-engine-err-XXXXXX";
    int outFd = mkstemp(outName);
    int errFd = mkstemp(errName);
    if (outFd < 0 || errFd < 0)
        throw std::runtime_error("cannot create capture files");
    unlink(outName);
    unlink(errName);

    std::vector<std::string> argvStore;
    argvStore.push_back(program);
    argvStore.insert(argvStore.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (auto &a : argvStore)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    const auto start = std::chrono::steady_clock::now();
    pid_t pid = fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0) {
        // Only async-signal-safe calls until exec: the test process has vips threads.
        setpgid(0, 0);
        int devnull = open("/dev/null", O_RDONLY);
        if (devnull >= 0)
            dup2(devnull, 0);
        dup2(outFd, 1);
        dup2(errFd, 2);
        if (options.addressSpaceLimit) {
            struct rlimit rl{options.addressSpaceLimit, options.addressSpaceLimit};
            setrlimit(RLIMIT_AS, &rl);
        }
        if (options.fileSizeLimit) {
            // Ignored across exec, so a write past the limit fails with EFBIG like a full
            // disk instead of killing the engine.
            signal(SIGXFSZ, SIG_IGN);
            struct rlimit rl{options.fileSizeLimit, options.fileSizeLimit};
            setrlimit(RLIMIT_FSIZE, &rl);
        }
        if (options.runAsUser >= 0) {
            // Permission bits only bind an ordinary user.
            setgroups(0, nullptr);
            if (setgid(gid_t(options.runAsUser)) != 0 || setuid(uid_t(options.runAsUser)) != 0)
                _exit(126);
        }
        execve(program.c_str(), argv.data(), environ);
        _exit(127);
    }
    setpgid(pid, pid);

    int status = 0;
    const auto deadline =
        start + std::chrono::milliseconds(static_cast<long long>(options.timeoutSeconds * 1000));
    for (;;) {
        pid_t w = waitpid(pid, &status, WNOHANG);
        if (w == pid)
            break;
        if (w < 0 && errno != EINTR)
            throw std::runtime_error("waitpid failed");
        if (std::chrono::steady_clock::now() > deadline) {
            kill(-pid, SIGKILL);
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            result.timedOut = true;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!result.timedOut) {
        if (WIFEXITED(status))
            result.code = WEXITSTATUS(status);
        else if (WIFSIGNALED(status))
            result.signal = WTERMSIG(status);
    }

    auto slurp = [](int fd) {
        std::string s;
        lseek(fd, 0, SEEK_SET);
        char buf[4096];
        ssize_t n;
        while ((n = read(fd, buf, sizeof buf)) > 0)
            s.append(buf, size_t(n));
        close(fd);
        return s;
    };
    result.out = slurp(outFd);
    result.err = slurp(errFd);
    return result;
}

RunResult runEngine(const std::vector<std::string> &args, const RunOptions &options) {
    return runProgram(enginePath(), args, options);
}

std::string readBytes(const std::string &path) {
    std::ifstream f(path, std::ios::binary);
    if (!f)
        throw std::runtime_error("cannot read " + path);
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

::testing::AssertionResult sameBytes(const std::string &a, const std::string &b) {
    if (a == b)
        return ::testing::AssertionSuccess() << "identical, " << a.size() << " bytes";
    size_t i = 0;
    while (i < a.size() && i < b.size() && a[i] == b[i])
        ++i;
    return ::testing::AssertionFailure() << "bytes differ: sizes " << a.size() << " and " << b.size()
                                         << ", first difference at offset " << i;
}

void writeBytes(const std::string &path, const std::string &bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(bytes.data(), std::streamsize(bytes.size()));
    if (!f)
        throw std::runtime_error("cannot write " + path);
}

bool exists(const std::string &path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

long long fileSize(const std::string &path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0)
        return -1;
    return st.st_size;
}

std::vector<std::string> listDir(const std::string &dir) {
    std::vector<std::string> names;
    if (DIR *d = opendir(dir.c_str())) {
        while (dirent *e = readdir(d)) {
            std::string n = e->d_name;
            if (n != "." && n != "..")
                names.push_back(n);
        }
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string makeTempDir(const std::string &prefix) {
    const char *base = std::getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/" + prefix + "-XXXXXX";
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data()))
        throw std::runtime_error("cannot create a temporary folder");
    return buf.data();
}

void removeTree(const std::string &path) {
    std::error_code ignored;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(path, ignored))
        std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(path, ignored);
}

void EngineTest::SetUp() { dir_ = makeTempDir("dravik-enginetest"); }

void EngineTest::TearDown() {
    if (!std::getenv("DRAVIK_KEEP_TEST_DIRS"))
        removeTree(dir_);
}

void EngineTest::expectCleanEnd(const RunResult &r) {
    EXPECT_FALSE(r.timedOut) << r.describe();
    EXPECT_EQ(r.signal, 0) << r.describe();
    if (r.exited())
        EXPECT_TRUE(knownExitCodes().count(r.code)) << "unknown exit code" << r.describe();
    if (r.exited() && r.code != 0)
        EXPECT_FALSE(r.err.empty()) << "a failure must say why on standard error" << r.describe();
}

void EngineTest::expectFolderHolds(const std::set<std::string> &names,
                                   const std::string &sub) const {
    const std::string d = sub.empty() ? dir_ : path(sub);
    auto listed = listDir(d);
    std::set<std::string> got(listed.begin(), listed.end());
    std::string gotText, wantText;
    for (const auto &n : got)
        gotText += " " + n;
    for (const auto &n : names)
        wantText += " " + n;
    EXPECT_EQ(got, names) << "folder " << d << " holds:" << gotText << "\n  expected:" << wantText;
}

double EngineTest::butteraugli(const std::string &reference, const std::string &distorted) const {
    const std::string a = path("ba-ref.png"), b = path("ba-dist.png");
    save(loadForViewing(reference), a);
    save(loadForViewing(distorted), b);
    RunResult r = runProgram("/usr/bin/butteraugli_main", {a, b}, {120});
    unlink(a.c_str());
    unlink(b.c_str());
    if (!r.exited() || r.code != 0)
        ADD_FAILURE() << "butteraugli failed" << r.describe();
    return std::atof(r.out.c_str());
}

} // namespace dk
