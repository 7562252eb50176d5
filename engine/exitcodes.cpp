#include "exitcodes.h"

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

} // namespace

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
        if (what.find("out of memory") != std::string::npos || what.find("unable to allocate") != std::string::npos) {
            report("out of memory: " + what);
            return int(Exit::OutOfMemory);
        }
        report("internal error: " + what);
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
