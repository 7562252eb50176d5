// Cheap looks at an image that steer the encoder settings.
#pragma once

#include "load.h"

namespace dravik {

// True for images where JPEG's blocking and banding show first: large smooth areas
// (sky, skin, gradients, flat graphics) or low contrast overall. Judged on a small
// thumbnail decoded with shrink-on-load, so it costs a few tens of milliseconds.
bool looksSmooth(const Source &src);

} // namespace dravik
