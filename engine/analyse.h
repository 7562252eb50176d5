// Cheap looks at an image that steer the encoder settings.
#pragma once

#include <vips/vips8>

namespace dravik {

// True for images where JPEG's blocking and banding show first: large areas of gently
// changing tone (sky, skin, gradients) or low contrast overall. Judged on a thumbnail of
// the decoded pixels, a few milliseconds even for a large photo.
bool looksSmooth(const vips::VImage &image);

} // namespace dravik
