// Cheap looks at an image that steer the encoder settings.
#pragma once

#include "load.h"

namespace dravik {

// True for images where JPEG's blocking and banding show first: large areas of gently
// changing tone (sky, skin, gradients) or low contrast overall. Judged on a small
// thumbnail decoded with shrink-on-load, so it costs a few tens of milliseconds.
bool looksSmooth(const Source &src);

} // namespace dravik
