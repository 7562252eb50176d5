// Fitting a JPEG under a byte budget by searching its quality.
#pragma once

#include "encode.h"

#include <cstddef>

namespace dravik {

// `s.quality` is the normal choice. With `highest`, the highest quality whose file fits;
// otherwise the normal choice, lowered only as far as needed. `reserve` bytes are kept
// free for what is added after encoding (the mark). Failure(94) when quality 1 does not fit.
Bytes encodeJpegWithinLimit(const vips::VImage &image, JpegSettings s, std::size_t limitBytes, bool highest,
                            std::size_t reserve);

} // namespace dravik
