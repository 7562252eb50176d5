#include "exitcodes.h"

#include <system_error>

#include <vips/vips8>

#include <cstdio>
#include <new>
#include <string>

namespace dravik {
namespace {

void report(const std::string &reason)
{
    // One line: the caller may show it as is.
    std::string line = reason;
    for (char &c : line)
        if (c == '\n' || c == '\r')
            c = ' ';
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    std::fprintf(stderr, "dravik.bin: %s\n", line.c_str());
}

bool looksLikeResourceExhaustion(const std::string &message)
{
    // libvips reports every failure of libimagequant (palette PNG, GIF) in the same words
    // and drops its code. With what we ask of it (no quality floor, no progress callback
    // that could abort, images within its size limits: see quantiserTakes) the only way
    // left for it to fail is an allocation.
    for (const char *sign : {"out of memory", "unable to allocate", "Error creating thread", "Cannot allocate memory",
                             "Resource temporarily unavailable", "memory exhausted", "Out of memory",
                             "quantisation failed", "dither failed",
                             // libaom's words when its frame buffers or threads cannot be had; sizes
                             // it cannot take are refused before it runs (maxDimension).
                             "Undefined AOM error", "Memory allocation error", "thread creation failed",
                             "create_context_and_bufferpool"})
        if (message.find(sign) != std::string::npos)
            return true;
    return false;
}

} // namespace

void failFromVips(Exit blame, const std::string &context, const std::string &vipsMessage)
{
    if (looksLikeResourceExhaustion(vipsMessage))
        fail(Exit::OutOfMemory, "out of memory: " + vipsMessage);
    fail(blame, context + vipsMessage);
}

int runGuarded(int (*body)(int, char **), int argc, char **argv)
{
    try {
        return body(argc, argv);
    } catch (const Failure &f) {
        report(f.what());
        return int(f.code());
    } catch (const std::bad_alloc &) {
        report("out of memory");
        return int(Exit::OutOfMemory);
    } catch (const vips::VError &e) {
        const std::string what = e.what();
        if (looksLikeResourceExhaustion(what)) {
            report("out of memory: " + what);
            return int(Exit::OutOfMemory);
        }
        report("internal error: " + what);
        return int(Exit::Internal);
    } catch (const std::system_error &e) {
        // A thread that cannot be started (the quality judge's workers) is memory too.
        if (e.code() == std::errc::resource_unavailable_try_again || e.code() == std::errc::not_enough_memory) {
            report(std::string("out of memory: ") + e.what());
            return int(Exit::OutOfMemory);
        }
        report(std::string("internal error: ") + e.what());
        return int(Exit::Internal);
    } catch (const std::exception &e) {
        report(std::string("internal error: ") + e.what());
        return int(Exit::Internal);
    } catch (...) {
        report("internal error");
        return int(Exit::Internal);
    }
}

} // namespace dravik
