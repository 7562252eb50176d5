// One job, start to finish: the input file in, one output file (or none) out.
#pragma once

#include "options.h"

namespace dravik {

// Returns 0 on success; every failure is thrown as Failure.
int processImage(const Options &o);

} // namespace dravik
