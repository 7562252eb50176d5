#include "image_tools.h"

#include "engine_process.h"

#include <cmath>
#include <cstdio>
#include <sstream>

using vips::VImage;

namespace dk {

std::string sniffFormat(const std::string &path) {
    std::string head;
    if (FILE *f = std::fopen(path.c_str(), "rb")) {
        char buf[32];
        size_t n = std::fread(buf, 1, sizeof buf, f);
        std::fclose(f);
        head.assign(buf, n);
    }
    auto at = [&](size_t pos, const std::string &s) { return head.compare(pos, s.size(), s) == 0; };
    if (head.size() >= 3 && at(0, "\xFF\xD8\xFF"))
        return "jpg";
    if (at(0, "\x89PNG\r\n\x1A\n"))
        return "png";
    if (at(0, "GIF87a") || at(0, "GIF89a"))
        return "gif";
    if (at(0, "RIFF") && at(8, "WEBP"))
        return "webp";
    if (at(4, "ftyp")) {
        // The major brand names the family; avis is an AVIF sequence.
        if (at(8, "avif") || at(8, "avis"))
            return "avif";
        if (head.find("avif") != std::string::npos)
            return "avif";
        return "heic";
    }
    return "";
}

static bool hasField(const VImage &im, const char *name) { return im.get_typeof(name) != 0; }

static std::string blob(const VImage &im, const char *name) {
    size_t len = 0;
    const void *data = im.get_blob(name, &len);
    return std::string(static_cast<const char *>(data), len);
}

VImage loadFirstPage(const std::string &path) {
    return VImage::new_from_file(path.c_str(),
                                 VImage::option()->set("access", VIPS_ACCESS_RANDOM));
}

ImageInfo inspect(const std::string &path) {
    ImageInfo info;
    info.format = sniffFormat(path);
    try {
        VImage im = loadFirstPage(path);
        info.width = im.width();
        info.height = im.height();
        info.bands = im.bands();
        info.bandFormat = im.format();
        info.interpretation = im.interpretation();
        if (hasField(im, "n-pages"))
            info.pages = im.get_int("n-pages");
        if (hasField(im, VIPS_META_ICC_NAME))
            info.icc = blob(im, VIPS_META_ICC_NAME);
        info.exif = hasField(im, VIPS_META_EXIF_NAME);
        info.xmp = hasField(im, VIPS_META_XMP_NAME);
        info.iptc = hasField(im, VIPS_META_IPTC_NAME);
        info.exifThumbnail = hasField(im, "jpeg-thumbnail-data");
        if (hasField(im, VIPS_META_ORIENTATION))
            info.orientation = im.get_int(VIPS_META_ORIENTATION);
        info.ok = true;
    } catch (const vips::VError &e) {
        info.error = e.what();
    }
    if (info.format == "png") {
        std::string b = readBytes(path);
        if (b.size() > 26) {
            info.pngBitDepth = static_cast<unsigned char>(b[24]);
            info.pngColourType = static_cast<unsigned char>(b[25]);
        }
    }
    return info;
}

VImage loadForViewing(const std::string &path) {
    VImage im = loadFirstPage(path).autorot();
    if (hasField(im, VIPS_META_ICC_NAME) || im.interpretation() == VIPS_INTERPRETATION_CMYK) {
        // CMYK as lcms2's own converter shows it: through the press profile's perceptual tables.
        const bool cmyk = im.interpretation() == VIPS_INTERPRETATION_CMYK;
        im = im.icc_transform("srgb", VImage::option()
                                          ->set("embedded", true)
                                          ->set("input_profile", im.interpretation() ==
                                                                         VIPS_INTERPRETATION_CMYK
                                                                     ? "cmyk"
                                                                     : "srgb")
                                          ->set("intent", cmyk ? VIPS_INTENT_PERCEPTUAL : VIPS_INTENT_RELATIVE));
    } else if (im.interpretation() != VIPS_INTERPRETATION_sRGB || im.bands() < 3 ||
               im.format() != VIPS_FORMAT_UCHAR) {
        im = im.colourspace(VIPS_INTERPRETATION_sRGB);
    }
    if (im.format() != VIPS_FORMAT_UCHAR)
        im = im.cast(VIPS_FORMAT_UCHAR);
    return im;
}

Colour pixelAt(const std::string &path, int x, int y) {
    VImage im = loadFirstPage(path);
    if (im.format() == VIPS_FORMAT_USHORT)
        im = (im / 257.0);
    if (im.bands() < 3)
        im = im.colourspace(VIPS_INTERPRETATION_sRGB);
    return im.getpoint(x, y);
}

bool near(const Colour &got, const Colour &want, double tolerance) {
    if (got.size() < want.size())
        return false;
    for (size_t i = 0; i < want.size(); ++i)
        if (std::fabs(got[i] - want[i]) > tolerance)
            return false;
    return true;
}

std::string colourText(const Colour &c) {
    std::ostringstream s;
    s << "(";
    for (size_t i = 0; i < c.size(); ++i)
        s << (i ? "," : "") << c[i];
    s << ")";
    return s.str();
}

double meanDifference(VImage a, VImage b) {
    auto rgb = [](VImage im) {
        if (im.bands() == 4 || im.bands() == 2)
            im = im.flatten(VImage::option()->set("background", std::vector<double>{255}));
        if (im.bands() == 1)
            im = VImage::bandjoin(std::vector<VImage>{im, im, im});
        return im.cast(VIPS_FORMAT_FLOAT);
    };
    a = rgb(a);
    b = rgb(b);
    if (a.width() != b.width() || a.height() != b.height())
        b = b.resize(double(a.width()) / b.width(),
                     VImage::option()->set("vscale", double(a.height()) / b.height()));
    if (a.width() != b.width() || a.height() != b.height()) {
        // Rounding in resize can leave one pixel over; compare the common area.
        int w = std::min(a.width(), b.width()), h = std::min(a.height(), b.height());
        a = a.crop(0, 0, w, h);
        b = b.crop(0, 0, w, h);
    }
    return (a - b).abs().avg();
}

static VImage asSrgb(VImage im) {
    return im.cast(VIPS_FORMAT_UCHAR)
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

VImage solid(int width, int height, const Colour &colour) {
    return asSrgb(VImage::black(width, height).new_from_image(colour));
}

VImage quadrants(int width, int height, bool withAlpha) {
    int w = width / 2, h = height / 2;
    Colour r{255, 0, 0}, g{0, 255, 0}, b{0, 0, 255}, wh{255, 255, 255};
    if (withAlpha) {
        // The right half is half transparent, so the alpha is real.
        r.push_back(255);
        g.push_back(128);
        b.push_back(255);
        wh.push_back(128);
    }
    VImage top = solid(w, h, r).join(solid(width - w, h, g), VIPS_DIRECTION_HORIZONTAL);
    VImage bottom =
        solid(w, height - h, b).join(solid(width - w, height - h, wh), VIPS_DIRECTION_HORIZONTAL);
    return asSrgb(top.join(bottom, VIPS_DIRECTION_VERTICAL));
}

VImage photoLike(int width, int height, int seed) {
    VImage xy = VImage::xyz(width, height);
    VImage x = xy[0] * (200.0 / width), y = xy[1] * (200.0 / height);
    VImage base = VImage::bandjoin(std::vector<VImage>{x + 20, y + 30, (x + y) * 0.5 + 25});
    // Gentle waves give edges and texture at several scales, like a real scene.
    VImage waves = ((xy[0] * 0.05).sin() + (xy[1] * 0.031).sin() + ((xy[0] + xy[1]) * 0.013).sin()) * 6.0;
    VImage noise = VImage::gaussnoise(width, height,
                                      VImage::option()->set("sigma", 6.0)->set("mean", 0.0)->set("seed", seed));
    return asSrgb(base + waves + noise);
}

VImage to16Bit(VImage image) {
    return (image.cast(VIPS_FORMAT_FLOAT) * 257.0)
        .cast(VIPS_FORMAT_USHORT)
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_RGB16));
}

VImage animation(const std::vector<VImage> &frames, int delayMs) {
    VImage strip = VImage::arrayjoin(frames, VImage::option()->set("across", 1));
    strip = strip.copy();
    strip.set("page-height", frames.front().height());
    strip.set("n-pages", int(frames.size()));
    std::vector<int> delays(frames.size(), delayMs);
    strip.set("delay", delays);
    strip.set("loop", 0);
    return strip;
}

void save(VImage image, const std::string &path, const std::string &options) {
    // Savers make up an EXIF block for an image that has none unless told what to keep.
    std::string withKeep = options;
    if (image.get_typeof(VIPS_META_EXIF_NAME) == 0 && options.find("keep") == std::string::npos)
        withKeep = options.empty() ? "[keep=icc:xmp:iptc:other]"
                                   : options.substr(0, options.size() - 1) + ",keep=icc:xmp:iptc:other]";
    image.write_to_file((path + withKeep).c_str());
}

std::string builtinProfile(const std::string &name) {
    VImage im = solid(4, 4, {128, 128, 128})
                    .icc_transform(name.c_str(), VImage::option()
                                                     ->set("input_profile", "srgb")
                                                     ->set("embedded", false));
    return blob(im, VIPS_META_ICC_NAME);
}

VImage withProfile(VImage image, const std::string &iccBytes) {
    VImage copy = image.copy();
    vips_image_set_blob_copy(copy.get_image(), VIPS_META_ICC_NAME, iccBytes.data(), iccBytes.size());
    return copy;
}

JpegLayout jpegLayout(const std::string &b) {
    JpegLayout l;
    auto u8 = [&](size_t i) { return static_cast<unsigned char>(b[i]); };
    if (b.size() < 4 || u8(0) != 0xFF || u8(1) != 0xD8)
        return l;
    size_t i = 2;
    while (i + 4 <= b.size()) {
        if (u8(i) != 0xFF)
            return l;
        unsigned marker = u8(i + 1);
        if (marker == 0xFF) { // fill byte
            ++i;
            continue;
        }
        size_t len = (size_t(u8(i + 2)) << 8) | u8(i + 3);
        if ((marker >= 0xC0 && marker <= 0xCF) && marker != 0xC4 && marker != 0xC8 &&
            marker != 0xCC) {
            if (i + 9 > b.size())
                return l;
            l.baseline = marker == 0xC0;
            l.progressive = marker == 0xC2;
            l.height = (u8(i + 5) << 8) | u8(i + 6);
            l.width = (u8(i + 7) << 8) | u8(i + 8);
            l.valid = true;
            return l;
        }
        if (marker == 0xDA)
            return l;
        i += 2 + len;
    }
    return l;
}

} // namespace dk
