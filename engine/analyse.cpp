#include "analyse.h"

namespace dravik {

bool looksSmooth(const vips::VImage &image)
{
    try {
        // Shrunk from the pixels already in memory: the output's own, after any resize.
        const vips::VImage thumb =
            image.thumbnail_image(256, vips::VImage::option()->set("size", VIPS_SIZE_DOWN)).copy_memory();
        const vips::VImage luma = thumb.colourspace(VIPS_INTERPRETATION_B_W).extract_band(0).cast(VIPS_FORMAT_UCHAR);
        // Sobel gradient on the thumbnail: when 40 % of it changes, but barely, blocks
        // and bands in those areas are what the eye will find. Flat colour (a graphic's
        // background) cannot band: JPEG gives it back exactly.
        const vips::VImage gradient = luma.sobel().cast(VIPS_FORMAT_UCHAR);
        const double gentle = ((gradient > 0) & (gradient <= 12)).avg() / 255.0;
        const double contrast = luma.deviate();
        return gentle >= 0.4 || contrast < 25.0;
    } catch (const vips::VError &) {
        return false; // the encode that follows reports what is wrong with the pixels
    }
}

} // namespace dravik
