// The supervising parent: codes pass through, deaths become table codes, the child's
// temporary file does not survive it.
#include "atomicwrite.h"
#include "exitcodes.h"
#include "supervise.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace dravik;

namespace {

std::string g_folder;

int returnsSeven(int, char **) { return 7; }
int throwsDamaged(int, char **) { fail(Exit::Damaged, "test"); }
int crashes(int, char **) { ::raise(SIGSEGV); return 0; }
int killedHard(int, char **) { ::raise(SIGKILL); return 0; }
// What libgomp does when it cannot create a thread: exit(1) from inside the library.
int libraryExitsOne(int, char **) { std::exit(1); }

// Dies while its output is half-way: a file-size limit makes the kernel kill the child
// (SIGXFSZ) inside the write, so the temporary file exists at the moment of death.
int diesWhileWriting(int, char **)
{
    const struct rlimit limit {1 << 20, 1 << 20};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::signal(SIGXFSZ, SIG_DFL);
    writeAtomically(g_folder + "/out.bin", Bytes(std::size_t(4) << 20, 0), std::nullopt);
    return 0;
}

int run(int (*body)(int, char **))
{
    char name[] = "engine";
    char *argv[] = {name, nullptr};
    return runSupervised(body, 1, argv);
}

} // namespace

TEST(Supervise, CodesPassThroughAndDeathsBecomeStopCodes)
{
    EXPECT_EQ(run(returnsSeven), 7);
    EXPECT_EQ(run(throwsDamaged), int(Exit::Damaged));
    // No address-space limit here: a segfault is an internal error, not memory.
    EXPECT_EQ(run(crashes), int(Exit::Internal));
    // The kernel's OOM killer sends SIGKILL.
    EXPECT_EQ(run(killedHard), int(Exit::OutOfMemory));
    // A library's own exit(1) must not pass for the usage code, which means something else.
    EXPECT_EQ(run(libraryExitsOne), int(Exit::Internal));
}

TEST(Supervise, ChildTemporaryFileIsRemovedWhenItDies)
{
    char dir[] = "/tmp/dravik-unit-sv-XXXXXX";
    ASSERT_NE(::mkdtemp(dir), nullptr);
    g_folder = dir;
    EXPECT_EQ(run(diesWhileWriting), int(Exit::Internal));
    // Nothing is left: neither a temporary file nor a half output.
    EXPECT_EQ(::rmdir(dir), 0) << "folder not empty";
}
