#include "supervise.h"

#include "atomicwrite.h"
#include "exitcodes.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dravik {
namespace {

constexpr std::size_t kSharedSize = 4096;
volatile pid_t g_child = 0;

extern "C" void forwardToChild(int sig)
{
    if (g_child > 0)
        ::kill(g_child, sig);
}

// With an address-space limit in force, a crash is almost always an allocation that
// failed somewhere we cannot see.
bool addressSpaceLimited()
{
    struct rlimit limit {};
    return ::getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

} // namespace

int runSupervised(int (*body)(int, char **), int argc, char **argv)
{
    void *page = ::mmap(nullptr, kSharedSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return runGuarded(body, argc, argv); // no supervision possible: run unguarded by a parent
    char *pending = static_cast<char *>(page);
    pending[0] = '\0';
    // The last bytes of the shared page say whether the child ended through our own exit
    // path. A library that calls exit() itself (libgomp when it cannot create a thread)
    // would otherwise hand its 1 through as if it were our usage error.
    volatile char *reported = pending + kSharedSize - 1;
    *reported = 0;

    std::fflush(nullptr);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0)
        return runGuarded(body, argc, argv);
    if (child == 0) {
        // A killed parent (the caller's time-out) takes the job with it.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent)
            ::_exit(int(Exit::Internal));
        sharePendingPath(pending, kSharedSize - 1);
        const int code = runGuarded(body, argc, argv);
        std::fflush(nullptr);
        *reported = 1;
        ::_exit(code);
    }

    g_child = child;
    struct sigaction sa {};
    sa.sa_handler = forwardToChild;
    sigemptyset(&sa.sa_mask);
    for (int sig : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(sig, &sa, nullptr);

    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            std::fprintf(stderr, "dravik.bin: internal error: lost the worker process\n");
            return int(Exit::Internal);
        }
    }
    if (WIFEXITED(status) && *reported)
        return WEXITSTATUS(status);

    if (pending[0] != '\0')
        ::unlink(pending);
    if (WIFEXITED(status)) {
        // A library gave up and exited on its own; in practice that is a resource it could
        // not get (threads, memory), which repeats for the whole run just as memory does.
        const bool memory = addressSpaceLimited();
        std::fprintf(stderr, "dravik.bin: %s (a library ended the worker with code %d)\n",
                     memory ? "out of memory" : "internal error", WEXITSTATUS(status));
        return int(memory ? Exit::OutOfMemory : Exit::Internal);
    }

    const int sig = WTERMSIG(status);
    if (sig == SIGINT || sig == SIGTERM || sig == SIGHUP) {
        // Interrupted on request: end the same way the request asked for.
        ::signal(sig, SIG_DFL);
        ::raise(sig);
    }
    const bool memory = sig == SIGKILL || addressSpaceLimited();
    std::fprintf(stderr, "dravik.bin: %s (the worker died from signal %d)\n",
                 memory ? "out of memory" : "internal error", sig);
    return int(memory ? Exit::OutOfMemory : Exit::Internal);
}

} // namespace dravik
