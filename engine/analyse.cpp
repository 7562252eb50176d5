#include "analyse.h"

namespace dravik {

bool looksSmooth(const Source &src)
{
    try {
        // The blob borrows the bytes (no free function): src outlives the thumbnail.
        VipsBlob *blob = vips_blob_new(nullptr, src.bytes.data(), src.bytes.size());
        vips::VImage thumb;
        try {
            thumb = vips::VImage::thumbnail_buffer(blob, 256).copy_memory();
        } catch (...) {
            vips_area_unref(VIPS_AREA(blob));
            throw;
        }
        vips_area_unref(VIPS_AREA(blob));
        vips::VImage luma = thumb.colourspace(VIPS_INTERPRETATION_B_W).extract_band(0).cast(VIPS_FORMAT_UCHAR);
        // Sobel gradient on the thumbnail: when 40 % of it changes, but barely, blocks
        // and bands in those areas are what the eye will find. Flat colour (a graphic's
        // background) cannot band: JPEG gives it back exactly.
        const vips::VImage gradient = luma.sobel().cast(VIPS_FORMAT_UCHAR);
        const double gentle = ((gradient > 0) & (gradient <= 12)).avg() / 255.0;
        const double contrast = luma.deviate();
        return gentle >= 0.4 || contrast < 25.0;
    } catch (const vips::VError &) {
        return false; // the real decode reports what is wrong with the file
    }
}

} // namespace dravik
