// Runs the real dravik.bin as a child process and gives each test a scratch folder.
//
// The engine is judged only from outside: its exit code, what it prints on standard error
// and the files it leaves. A hang must fail the test rather than block the whole ctest run,
// so every run has a time-out after which the child's process group is killed.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace dk {

// Every code the engine may end with; anything else is a fault.
const std::set<int> &knownExitCodes();

struct RunOptions {
    double timeoutSeconds = 90;
    rlim_t addressSpaceLimit = 0; // RLIMIT_AS for the child; 0 leaves it alone
    rlim_t fileSizeLimit = 0;     // RLIMIT_FSIZE for the child (SIGXFSZ ignored, so writes fail)
    long runAsUser = -1;          // uid (and gid) for the child when the tests run as root
};

struct RunResult {
    int code = -1;        // exit status when the child exited normally
    int signal = 0;       // the signal that ended it, 0 if it exited
    bool timedOut = false;
    double seconds = 0;
    std::string out;
    std::string err;
    std::string commandLine;

    bool exited() const { return signal == 0 && !timedOut; }
    // One line for assertion messages: command, how it ended, what it said.
    std::string describe() const;
};

std::string enginePath();
std::string corpusDir();
std::string corpusFile(const std::string &name);

RunResult runEngine(const std::vector<std::string> &args, const RunOptions &options = {});
// Any program, for the few places a test needs another tool (vips is linked instead).
RunResult runProgram(const std::string &program, const std::vector<std::string> &args,
                     const RunOptions &options = {});

std::string readBytes(const std::string &path);
// Byte equality that reports sizes and the first difference instead of dumping binary.
::testing::AssertionResult sameBytes(const std::string &a, const std::string &b);
void writeBytes(const std::string &path, const std::string &bytes);
bool exists(const std::string &path);
long long fileSize(const std::string &path);
std::vector<std::string> listDir(const std::string &dir); // names, sorted, without . and ..
std::string makeTempDir(const std::string &prefix);
void removeTree(const std::string &path);

// A fresh folder per test, removed afterwards unless DRAVIK_KEEP_TEST_DIRS is set.
// The bound of each -reducemode level on the butteraugli max-norm (index 0 unused).
inline constexpr double kLevelBound[9] = {0, 0.8, 1.0, 1.2, 1.35, 1.5, 2.0, 2.7, 3.5};

class EngineTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::string path(const std::string &name) const { return dir_ + "/" + name; }
    const std::string &dir() const { return dir_; }

    RunResult run(const std::vector<std::string> &args, const RunOptions &options = {}) const {
        return runEngine(args, options);
    }
    // The engine must have finished on its own with a code from its table.
    static void expectCleanEnd(const RunResult &r);
    // Files left in the scratch folder must be exactly these: a temporary file the engine
    // forgot, or an output written on failure, shows up here.
    void expectFolderHolds(const std::set<std::string> &names, const std::string &sub = "") const;
    // butteraugli max-norm of a distorted file against a reference, both decoded to sRGB PNG,
    // as the levels' bounds are defined.
    double butteraugli(const std::string &reference, const std::string &distorted) const;

private:
    std::string dir_;
};

} // namespace dk

#define EXPECT_EXIT_CODE(result, expected)                                                    \
    do {                                                                                      \
        const ::dk::RunResult &r_ = (result);                                                 \
        EXPECT_TRUE(r_.exited()) << r_.describe();                                            \
        EXPECT_EQ(r_.code, (expected)) << r_.describe();                                      \
    } while (0)

#define ASSERT_EXIT_CODE(result, expected)                                                    \
    do {                                                                                      \
        const ::dk::RunResult &r_ = (result);                                                 \
        ASSERT_TRUE(r_.exited()) << r_.describe();                                            \
        ASSERT_EQ(r_.code, (expected)) << r_.describe();                                      \
    } while (0)
