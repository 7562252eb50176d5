#include "encode.h"

#include "exitcodes.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace dravik {
namespace {

// vips returns a VipsBlob; copy it out so callers own plain bytes.
Bytes takeBlob(VipsBlob *blob)
{
    size_t length = 0;
    const void *data = vips_blob_get(blob, &length);
    const auto *p = static_cast<const unsigned char *>(data);
    Bytes out(p, p + length);
    vips_area_unref(VIPS_AREA(blob));
    return out;
}

} // namespace

Bytes saveWith(const char *format, const std::function<VipsBlob *()> &save)
{
    try {
        return takeBlob(save());
    } catch (const vips::VError &e) {
        failFromVips(Exit::CannotEncode, std::string("cannot encode as ") + format + ": ", e.what());
    }
}

vips::VOption *saverOptions(const vips::VImage &image)
{
    // Only what is on the image's fields: asking for EXIF on an image without it would
    // make a saver build a block from the resolution and orientation.
    int keep = VIPS_FOREIGN_KEEP_NONE;
    if (image.get_typeof(VIPS_META_ICC_NAME) != 0)
        keep |= VIPS_FOREIGN_KEEP_ICC;
    if (image.get_typeof(VIPS_META_EXIF_NAME) != 0)
        keep |= VIPS_FOREIGN_KEEP_EXIF;
    if (image.get_typeof(VIPS_META_XMP_NAME) != 0)
        keep |= VIPS_FOREIGN_KEEP_XMP;
    if (image.get_typeof(VIPS_META_IPTC_NAME) != 0)
        keep |= VIPS_FOREIGN_KEEP_IPTC;
    vips::VOption *opt = vips::VImage::option()->set("keep", keep);
    if (image.get_typeof("page-height") != 0 && vips_image_get_page_height(image.get_image()) != image.height())
        opt->set("page_height", vips_image_get_page_height(image.get_image()));
    return opt;
}

int maxDimension(Format f)
{
    switch (f) {
    case Format::Jpeg: return 65500;
    case Format::Png: return 1 << 24;
    case Format::Gif: return 65535;
    case Format::Webp: return 16383;
    case Format::Avif: return 16384;
    }
    return 0;
}

bool quantiserTakes(int width, int height)
{
    // Its own bounds: a row of 16-byte working pixels, sixteen times over, must stay
    // addressable with an int, and so must the whole RGBA image.
    constexpr std::int64_t intMax = 2147483647;
    return width > 0 && height > 0 && width <= intMax / 16 / 16 && height <= intMax / 8 &&
           std::int64_t(width) * height <= intMax / 4;
}

Bytes encodePng(const vips::VImage &image, const PngSettings &s)
{
    const auto save = [&](VipsForeignPngFilter filter) {
        return saveWith("PNG", [&] {
            vips::VOption *opt = saverOptions(image)->set("compression", s.compression)->set("filter", filter);
            if (s.palette)
                opt->set("palette", true)->set("Q", s.quality)->set("dither", s.dither)->set("effort", s.effort);
            else if (!s.keep16Bit && image.format() == VIPS_FORMAT_USHORT)
                opt->set("bitdepth", 8);
            return image.pngsave_buffer(opt);
        });
    };
    // Palette indices rarely profit from filters; zlib alone compresses them best.
    if (s.palette)
        return save(VIPS_FOREIGN_PNG_FILTER_NONE);
    Bytes filtered = save(VIPS_FOREIGN_PNG_FILTER_ALL);
    if (!s.tryUnfiltered)
        return filtered;
    Bytes plain = save(VIPS_FOREIGN_PNG_FILTER_NONE);
    return plain.size() < filtered.size() ? plain : filtered;
}

Bytes encodeGif(const vips::VImage &image, const GifSettings &s)
{
    return saveWith("GIF", [&] {
        return image.gifsave_buffer(saverOptions(image)
                                        ->set("dither", s.dither)
                                        ->set("effort", s.effort)
                                        ->set("interframe_maxerror", s.interframeMaxError)
                                        ->set("interpalette_maxerror", s.interpaletteMaxError)
                                        ->set("reuse", s.reusePalette));
    });
}

Bytes encodeWebp(const vips::VImage &image, const WebpSettings &s)
{
    return saveWith("WebP", [&] {
        vips::VOption *opt = saverOptions(image)->set("effort", s.effort);
        if (s.lossless)
            opt->set("lossless", true);
        else
            opt->set("Q", s.quality)->set("smart_subsample", s.smartSubsample);
        return image.webpsave_buffer(opt);
    });
}

Bytes encodeAvif(const vips::VImage &image, const AvifSettings &s)
{
    return saveWith("AVIF", [&] {
        vips::VOption *opt = saverOptions(image)
                                 ->set("compression", VIPS_FOREIGN_HEIF_COMPRESSION_AV1)
                                 ->set("effort", s.effort)
                                 ->set("bitdepth", 8);
        if (s.lossless)
            opt->set("lossless", true);
        else
            opt->set("Q", s.quality)->set("subsample_mode", s.fullChroma ? VIPS_FOREIGN_SUBSAMPLE_OFF
                                                                          : VIPS_FOREIGN_SUBSAMPLE_AUTO);
        return image.heifsave_buffer(opt);
    });
}

} // namespace dravik
