#include "paths.h"

#include "exitcodes.h"

#include <algorithm>
#include <cctype>
#include <sys/stat.h>

namespace dravik {
namespace {

bool endsWithNoCase(const std::string &text, const std::string &suffix)
{
    if (text.size() < suffix.size())
        return false;
    return std::equal(suffix.rbegin(), suffix.rend(), text.rbegin(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
}

} // namespace

std::string outputPathFor(const Options &o, Format f)
{
    if (!o.outExt)
        return o.out;
    if (endsWithNoCase(o.out, formatExtension(f)) || (f == Format::Jpeg && endsWithNoCase(o.out, ".jpeg")))
        return o.out;
    return o.out + formatExtension(f);
}

void refuseSameFile(const std::string &in, const std::string &out)
{
    struct stat a {}, b {};
    if (::stat(in.c_str(), &a) == 0 && ::stat(out.c_str(), &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino)
        fail(Exit::BadOption, "-in and -out name the same file");
}

} // namespace dravik
