// PNG colour chunks that libvips neither reads nor writes.
#pragma once

#include "load.h"

namespace dravik {

// Copies the gAMA, cHRM and sRGB chunks of `from` (a PNG) into `to` (a PNG written from
// the same, colour-unconverted pixels), right after IHDR. Without them a viewer that
// honours them shows the output in other colours than the input. Nothing is copied when
// `to` carries an ICC profile (iCCP) or colour chunks of its own, or either is no PNG.
Bytes withColourChunksOf(const Bytes &from, Bytes to);

} // namespace dravik
