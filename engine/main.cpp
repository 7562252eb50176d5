// dravik.bin: lightens one image file. See options.h for the command line and
// exitcodes.h for what each exit code means to the caller.
#include "atomicwrite.h"
#include "exitcodes.h"
#include "options.h"
#include "pipeline.h"
#include "supervise.h"

#include <vips/vips8>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

int engineMain(int argc, char **argv)
{
    const dravik::CommandLine cl = dravik::parseCommandLine(argc, argv);
    if (cl.versionOnly) {
        std::printf("Dravik  Version %s\n", DRAVIK_ENGINE_VERSION);
        return 0;
    }
    // libvips' warnings would add lines to the one-line reason the caller reads.
    if (!std::getenv("VIPS_WARNING"))
        g_log_set_handler("VIPS", G_LOG_LEVEL_WARNING, [](const gchar *, GLogLevelFlags, const gchar *, gpointer) {}, nullptr);
#if defined(__GLIBC__)
    // The quality search allocates and frees the judge's planes and libvips' buffers
    // dozens of times: past glibc's default threshold each is a fresh mapping, faulted in
    // and zeroed page by page, which took a third of the engine's processor time. One
    // engine handles one file and then exits, so freed memory stays for the next use.
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
#endif
    if (VIPS_INIT(argv[0]))
        dravik::fail(dravik::Exit::Internal, "libvips failed to start");
    // Each engine handles one file; the operation cache would only hold memory.
    vips_cache_set_max(0);
    // Up to eight engines run side by side: more threads each only adds contention.
    if (!std::getenv("VIPS_CONCURRENCY"))
        vips_concurrency_set(std::min(4, vips_concurrency_get()));
    dravik::installCleanupHandlers();
    return dravik::processImage(cl.options);
}

} // namespace

int main(int argc, char **argv) { return dravik::runSupervised(engineMain, argc, argv); }
