// Output naming and the same-file guard.
#pragma once

#include "options.h"

#include <string>

namespace dravik {

// The file actually written: -out as given, or with -outext on, -out with the format's
// extension appended unless it already ends with it (any case; ".jpeg" counts for JPEG).
std::string outputPathFor(const Options &o, Format f);

// Failure(77) when both paths name one existing file (symlinks, hard links, "./a" and
// "a" alike). A missing output can never be the input.
void refuseSameFile(const std::string &in, const std::string &out);

} // namespace dravik
