// PNG colour chunks that libvips neither reads nor writes.
#pragma once

#include "load.h"

#include <cstdint>
#include <optional>

namespace dravik {

// The gamma a PNG's gAMA chunk declares, in PNG units (gamma times 100000), when it is
// what decides how the numbers look: the chunk comes before the image data and no sRGB or
// iCCP chunk overrides it. Nothing for other files and for values a decoder would refuse.
std::optional<std::uint32_t> governingPngGamma(const Bytes &png);

// Copies the gAMA, cHRM and sRGB chunks of `from` (a PNG) into `to` (a PNG written from
// the same, colour-unconverted pixels), right after IHDR. Without them a viewer that
// honours them shows the output in other colours than the input. Nothing is copied when
// `to` carries an ICC profile (iCCP) or colour chunks of its own, or either is no PNG.
Bytes withColourChunksOf(const Bytes &from, Bytes to);

} // namespace dravik
