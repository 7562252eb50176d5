// The watermark: loaded once, composited at its own pixel size after resizing.
#pragma once

#include "options.h"

#include <vips/vips8>

namespace dravik {

// Loads the stamp as 8-bit sRGB with alpha, its alpha already scaled by the opacity.
// Any problem with the stamp file is a Failure(83): it would repeat for every file.
vips::VImage loadStamp(const Options &o);

// Composites the stamp onto every frame at its anchor plus offset, clipped to the image.
vips::VImage applyStamp(const vips::VImage &image, const vips::VImage &stamp, const Options &o);

} // namespace dravik
