#include "encode.h"

#include "exitcodes.h"
#include "heifitems.h"

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

template <typename Save>
Bytes run(const char *format, Save &&save)
{
    try {
        return takeBlob(save());
    } catch (const vips::VError &e) {
        failFromVips(Exit::CannotEncode, std::string("cannot encode as ") + format + ": ", e.what());
    }
}

// Metadata choices have been made on the image's fields already (see the pipeline), so
// savers only strip when nothing is left to carry: stripping drops the ICC profile too,
// and not stripping makes libvips invent an EXIF block for an image that has none.
vips::VOption *baseOptions(const vips::VImage &image)
{
    const bool nothingToKeep = image.get_typeof(VIPS_META_ICC_NAME) == 0 && image.get_typeof(VIPS_META_EXIF_NAME) == 0 &&
                               image.get_typeof(VIPS_META_XMP_NAME) == 0 && image.get_typeof(VIPS_META_IPTC_NAME) == 0;
    vips::VOption *opt = vips::VImage::option()->set("strip", nothingToKeep);
    if (image.get_typeof("page-height") != 0 && vips_image_get_page_height(image.get_image()) != image.height())
        opt->set("page_height", vips_image_get_page_height(image.get_image()));
    return opt;
}

} // namespace

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
        return run("PNG", [&] {
            vips::VOption *opt = baseOptions(image)->set("compression", s.compression)->set("filter", filter);
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
    return run("GIF", [&] {
        return image.gifsave_buffer(baseOptions(image)
                                        ->set("dither", s.dither)
                                        ->set("effort", s.effort)
                                        ->set("interframe_maxerror", s.interframeMaxError)
                                        ->set("interpalette_maxerror", s.interpaletteMaxError)
                                        ->set("reuse", s.reusePalette));
    });
}

// Removes the EXIF chunk from a WebP file, clearing its flag in VP8X and fixing the
// RIFF size. libvips invents an EXIF block from the image's fields when it has none.
Bytes withoutWebpExif(Bytes webp)
{
    const auto le32 = [&](std::size_t at) {
        return std::uint32_t(webp[at]) | (std::uint32_t(webp[at + 1]) << 8) | (std::uint32_t(webp[at + 2]) << 16) |
               (std::uint32_t(webp[at + 3]) << 24);
    };
    if (webp.size() < 12 || std::memcmp(webp.data(), "RIFF", 4) != 0 || std::memcmp(&webp[8], "WEBP", 4) != 0)
        return webp;
    std::size_t at = 12;
    std::size_t vp8x = 0;
    while (at + 8 <= webp.size()) {
        const std::size_t total = 8 + ((std::size_t(le32(at + 4)) + 1) & ~std::size_t(1));
        if (at + total > webp.size())
            break;
        if (std::memcmp(&webp[at], "VP8X", 4) == 0)
            vp8x = at;
        if (std::memcmp(&webp[at], "EXIF", 4) == 0) {
            webp.erase(webp.begin() + std::ptrdiff_t(at), webp.begin() + std::ptrdiff_t(at + total));
            if (vp8x)
                webp[vp8x + 8] &= ~0x08;
            continue;
        }
        at += total;
    }
    const std::uint32_t riffSize = std::uint32_t(webp.size() - 8);
    for (int i = 0; i < 4; ++i)
        webp[4 + i] = static_cast<unsigned char>(riffSize >> (8 * i));
    return webp;
}

Bytes encodeWebp(const vips::VImage &image, const WebpSettings &s)
{
    const bool hasExif = image.get_typeof(VIPS_META_EXIF_NAME) != 0;
    Bytes out = run("WebP", [&] {
        vips::VOption *opt = baseOptions(image)->set("effort", s.effort);
        if (s.lossless)
            opt->set("lossless", true);
        else
            opt->set("Q", s.quality)->set("smart_subsample", s.smartSubsample);
        return image.webpsave_buffer(opt);
    });
    return hasExif ? out : withoutWebpExif(std::move(out));
}

namespace {

// True when the edited file still opens as the picture it was written from.
bool readsBackAs(const Bytes &avif, const vips::VImage &image)
{
    try {
        const vips::VImage back = vips::VImage::new_from_buffer(avif.data(), avif.size(), "");
        return back.width() == image.width() && back.height() == vips_image_get_page_height(image.get_image()) &&
               (back.get_typeof(VIPS_META_ICC_NAME) != 0) == (image.get_typeof(VIPS_META_ICC_NAME) != 0) &&
               back.get_typeof(VIPS_META_EXIF_NAME) == 0;
    } catch (const vips::VError &) {
        vips_error_clear();
        return false;
    }
}

} // namespace

Bytes encodeAvif(const vips::VImage &image, const AvifSettings &s)
{
    Bytes out = run("AVIF", [&] {
        vips::VOption *opt = baseOptions(image)
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
    // Unless it strips everything, the profile included, the saver adds an EXIF block it
    // builds from the image's resolution and orientation, also to an image that carries
    // none (metadata stripped, or never there). It comes out of the file again here.
    const HeifItemKinds unwanted{image.get_typeof(VIPS_META_EXIF_NAME) == 0, image.get_typeof(VIPS_META_XMP_NAME) == 0};
    const std::optional<Bytes> edited = withoutHeifItems(out, unwanted);
    // A layout the editor does not know keeps the invented block: it holds nothing of the
    // input's own metadata, and a damaged file would be far worse.
    if (edited && edited->size() != out.size() && readsBackAs(*edited, image))
        return *edited;
    return out;
}

} // namespace dravik
