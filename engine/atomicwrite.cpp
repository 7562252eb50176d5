#include "atomicwrite.h"

#include "exitcodes.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dravik {
namespace {

// The pending temporary file, for the signal handler: a fixed buffer, because a handler
// may only call async-signal-safe functions (unlink, _exit).
char g_pendingTemp[4096];
volatile sig_atomic_t g_hasPending = 0;
char *g_sharedPending = nullptr;
std::size_t g_sharedPendingSize = 0;

extern "C" void removePendingAndDie(int sig)
{
    if (g_hasPending)
        ::unlink(g_pendingTemp);
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

std::string folderOf(const std::string &path)
{
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

// Whole-run failures (the folder or the disk) stop the application's run; a name or a
// permission problem of this one file does not.
Exit classify(int err)
{
    switch (err) {
    case ENOSPC:
    case EDQUOT:
    case EROFS:
        return Exit::OutputFolder;
    default:
        return Exit::CannotWriteFile;
    }
}

class PendingFile {
public:
    explicit PendingFile(std::string path) : path_(std::move(path))
    {
        if (path_.size() < sizeof g_pendingTemp) {
            std::memcpy(g_pendingTemp, path_.c_str(), path_.size() + 1);
            g_hasPending = 1;
        }
        if (g_sharedPending && path_.size() < g_sharedPendingSize)
            std::memcpy(g_sharedPending, path_.c_str(), path_.size() + 1);
    }
    ~PendingFile()
    {
        if (!committed_)
            ::unlink(path_.c_str());
        g_hasPending = 0;
        if (g_sharedPending)
            g_sharedPending[0] = '\0';
    }
    void committed() { committed_ = true; }

private:
    std::string path_;
    bool committed_ = false;
};

} // namespace

void sharePendingPath(char *buffer, std::size_t size)
{
    g_sharedPending = buffer;
    g_sharedPendingSize = size;
}

void installCleanupHandlers()
{
    struct sigaction sa {};
    sa.sa_handler = removePendingAndDie;
    sigemptyset(&sa.sa_mask);
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        ::sigaction(sig, &sa, nullptr);
}

void writeAtomically(const std::string &path, const Bytes &bytes, const std::optional<timespec> &mtime)
{
    const std::string folder = folderOf(path);
    struct stat folderStat {};
    if (::stat(folder.c_str(), &folderStat) != 0 || !S_ISDIR(folderStat.st_mode))
        fail(Exit::OutputFolder, "the output folder \"" + folder + "\" does not exist");

    // Hidden and unmistakably ours, so a crash leftover is easy to recognise.
    std::string temp = folder + "/.dravik-XXXXXX.part";
    sigset_t block, previous;
    sigemptyset(&block);
    for (int sig : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&block, sig);
    // Create and register the temporary file without a signal slipping in between.
    ::sigprocmask(SIG_BLOCK, &block, &previous);
    int fd = ::mkstemps(temp.data(), 5);
    const int createErr = errno;
    std::optional<PendingFile> pending;
    if (fd >= 0)
        pending.emplace(temp);
    ::sigprocmask(SIG_SETMASK, &previous, nullptr);
    if (fd < 0) {
        if (createErr == EACCES || createErr == EPERM || createErr == ENOSPC || createErr == EDQUOT ||
            createErr == EROFS || createErr == ENOENT || createErr == ENOTDIR)
            fail(Exit::OutputFolder, "cannot create a file in \"" + folder + "\": " + std::strerror(createErr));
        fail(Exit::CannotWriteFile, "cannot create a file in \"" + folder + "\": " + std::strerror(createErr));
    }

    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            const int err = n < 0 ? errno : ENOSPC;
            ::close(fd);
            fail(classify(err), "cannot write \"" + path + "\": " + std::strerror(err));
        }
        done += std::size_t(n);
    }
    // mkstemp makes 0600; give the output the permissions a newly created file would get.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
    if (mtime) {
        const timespec times[2] = {{0, UTIME_OMIT}, *mtime};
        ::futimens(fd, times);
    }
    if (::fsync(fd) != 0 && errno != EINVAL) {
        const int err = errno;
        ::close(fd);
        fail(classify(err), "cannot write \"" + path + "\": " + std::strerror(err));
    }
    if (::close(fd) != 0) {
        const int err = errno;
        fail(classify(err), "cannot write \"" + path + "\": " + std::strerror(err));
    }
    if (::rename(temp.c_str(), path.c_str()) != 0) {
        const int err = errno;
        fail(classify(err), "cannot write \"" + path + "\": " + std::strerror(err));
    }
    pending->committed();
}

} // namespace dravik
