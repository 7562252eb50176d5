// One job, start to finish: the input file in, one output file (or none) out.
#pragma once

#include "options.h"

namespace dravik {

// The stages, in order:
//   refuse -in == -out; read and identify the input (header only); skip a marked output;
//   plan the resize from the header; check the output's size against the formats;
//   load the stamp; decide the ICC action; copy a marked input when nothing changes;
//   decode with shrink-on-load; resample in stored orientation; upright; colour
//   (CMYK, ICC, 16 to 8 bit); crop/pad to the box; stamp; drop an opaque alpha;
//   tidy metadata; encode each candidate format; prefer the input's own (optimised)
//   bytes when they are smaller and nothing was asked to change; mark; write atomically.
// Returns 0 on success; every failure is thrown as Failure.
int processImage(const Options &o);

} // namespace dravik
