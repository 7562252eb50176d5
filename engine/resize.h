// Resize planning (pure arithmetic on the header's size) and the resize itself.
#pragma once

#include "options.h"

#include <vips/vips8>

#include <functional>

namespace dravik {

// All sizes are in display orientation (after the EXIF orientation).
struct ResizePlan {
    bool scale = false;   // resampling needed
    int scaledWidth = 0;  // after resampling
    int scaledHeight = 0;
    bool canvas = false;  // crop and/or pad to the box afterwards
    int boxWidth = 0;     // final size
    int boxHeight = 0;

    bool changesPixels() const { return scale || canvas; }
};

ResizePlan planResize(const Options &o, int width, int height);

// JPEG shrink-on-load factor (1, 2, 4, 8) for a stored size and target size: the block
// shrink is cheap but crude, so with the quality kernel at least a factor of two is left
// to the kernel itself.
int shrinkOnLoadFactor(int storedWidth, int storedHeight, int targetWidth, int targetHeight,
                       Kernel kernel = Kernel::Quality);

// Resamples every frame of `image` (stored orientation) to exactly targetWidth x
// targetHeight per frame.
vips::VImage scaleTo(const vips::VImage &image, int targetWidth, int targetHeight, Kernel kernel);

// Crops and pads every frame, centred, to the plan's box.
vips::VImage fitCanvas(const vips::VImage &image, const ResizePlan &plan, bool transparentMargins);

// Applies fn to each frame of an animation strip and joins the results, keeping the
// page height consistent; a single image is passed straight through.
vips::VImage forEachFrame(const vips::VImage &image, const std::function<vips::VImage(const vips::VImage &)> &fn);

int pageHeightOf(const vips::VImage &image);

} // namespace dravik
