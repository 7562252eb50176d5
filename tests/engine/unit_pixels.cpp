// Pixel-level steps: stamp placement and blending, ICC decisions, metadata tidying,
// the smoothness look and the level tables.
#include "analyse.h"
#include "encode.h"
#include "icc.h"
#include "metadata.h"
#include "options.h"
#include "quality.h"
#include "stamp.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <unistd.h>

using namespace dravik;

namespace {

vips::VImage solid(int w, int h, std::vector<double> colour)
{
    const auto interpretation = colour.size() >= 3 ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_B_W;
    return (vips::VImage::black(w, h, vips::VImage::option()->set("bands", int(colour.size()))) + colour)
        .cast(VIPS_FORMAT_UCHAR)
        .copy(vips::VImage::option()->set("interpretation", interpretation));
}

std::string profile(const char *name)
{
    VipsBlob *blob = vips::VImage::profile_load(name);
    size_t length = 0;
    const char *data = static_cast<const char *>(vips_blob_get(blob, &length));
    std::string out(data, length);
    vips_area_unref(VIPS_AREA(blob));
    return out;
}

// Writes a stamp file (a PNG) and returns the options that use it.
Options stampOptions(const vips::VImage &stamp, Anchor anchor, int x, int y, int opacity)
{
    static const std::string path = "/tmp/dravik-unit-stamp-" + std::to_string(::getpid()) + ".png";
    stamp.pngsave(path.c_str());
    Options o;
    o.stamp = path;
    o.stampAnchor = anchor;
    o.stampX = x;
    o.stampY = y;
    o.stampOpacity = opacity;
    return o;
}

} // namespace

TEST(Stamp, AnchorsOffsetsClippingAndOpacity)
{
    const vips::VImage base = solid(40, 30, {0, 0, 0});
    const vips::VImage white = solid(10, 6, {255, 255, 255, 255});
    struct Case {
        Anchor anchor;
        int left, top; // expected top-left corner of the stamp
    };
    for (const Case &c : {Case{Anchor::TopLeft, 0, 0}, Case{Anchor::Top, 15, 0}, Case{Anchor::TopRight, 30, 0},
                          Case{Anchor::Left, 0, 12}, Case{Anchor::Center, 15, 12}, Case{Anchor::Right, 30, 12},
                          Case{Anchor::BottomLeft, 0, 24}, Case{Anchor::Bottom, 15, 24},
                          Case{Anchor::BottomRight, 30, 24}}) {
        const Options o = stampOptions(white, c.anchor, 0, 0, 100);
        const vips::VImage out = applyStamp(base, loadStamp(o), o);
        ASSERT_EQ(out.bands(), 3) << "no alpha band appears on an opaque base";
        EXPECT_EQ(out.getpoint(c.left, c.top)[0], 255.0);
        EXPECT_EQ(out.getpoint(c.left + 9, c.top + 5)[0], 255.0);
        EXPECT_EQ(out.avg() * 3 * 40 * 30, 255.0 * 3 * 60) << "exactly the stamp's 60 pixels changed";
    }
    // Offsets move right and down; what falls outside is clipped, not wrapped.
    Options o = stampOptions(white, Anchor::BottomRight, 5, 3, 100);
    vips::VImage out = applyStamp(base, loadStamp(o), o);
    EXPECT_EQ(out.width(), 40);
    EXPECT_EQ(out.avg() * 40 * 30, 255.0 * 5 * 3);
    // Entirely outside: the image is untouched.
    o = stampOptions(white, Anchor::TopLeft, -9999, 0, 100);
    EXPECT_EQ(applyStamp(base, loadStamp(o), o).max(), 0.0);
    // Opacity multiplies the stamp's own alpha: 50 % of alpha 128 over black.
    o = stampOptions(solid(10, 6, {200, 200, 200, 128}), Anchor::TopLeft, 0, 0, 50);
    out = applyStamp(base, loadStamp(o), o);
    EXPECT_NEAR(out.getpoint(0, 0)[0], 200 * (128 / 255.0) * 0.5, 1.0);
    // A grey base takes a coloured stamp in colour.
    o = stampOptions(solid(2, 2, {255, 0, 0, 255}), Anchor::TopLeft, 0, 0, 100);
    out = applyStamp(solid(8, 8, {10}), loadStamp(o), o);
    EXPECT_EQ(out.getpoint(0, 0), (std::vector<double>{255, 0, 0}));
    EXPECT_EQ(out.getpoint(5, 5), (std::vector<double>{10, 10, 10}));
    ::unlink(o.stamp.c_str());
}

TEST(Icc, RecognisesSrgbAndFollowsThePolicy)
{
    const std::string srgb = profile("srgb"), cmyk = profile("cmyk"), p3 = profile("p3");
    EXPECT_TRUE(isSrgbProfile(srgb));
    EXPECT_FALSE(isSrgbProfile(cmyk));
    EXPECT_FALSE(isSrgbProfile(p3));
    EXPECT_FALSE(isSrgbProfile("not a profile"));

    EXPECT_EQ(decideIcc(IccPolicy::Auto, Format::Jpeg, "", 1e6), IccAction::None);
    EXPECT_EQ(decideIcc(IccPolicy::Auto, Format::Jpeg, srgb, 1e6), IccAction::Drop);
    EXPECT_EQ(decideIcc(IccPolicy::Auto, Format::Jpeg, p3, 1e6), IccAction::Keep);    // small next to the data
    EXPECT_EQ(decideIcc(IccPolicy::Auto, Format::Jpeg, p3, 2000), IccAction::Convert); // most of a thumbnail
    EXPECT_EQ(decideIcc(IccPolicy::Keep, Format::Avif, srgb, 10), IccAction::Keep);
    EXPECT_EQ(decideIcc(IccPolicy::Remove, Format::Jpeg, p3, 1e6), IccAction::Drop);
    EXPECT_EQ(decideIcc(IccPolicy::Convert, Format::Avif, p3, 1e6), IccAction::Convert);
    EXPECT_EQ(decideIcc(IccPolicy::Convert, Format::Jpeg, srgb, 1e6), IccAction::Drop);
    // GIF cannot carry a profile: colours are converted whatever the policy.
    EXPECT_EQ(decideIcc(IccPolicy::Remove, Format::Gif, p3, 1e6), IccAction::Convert);

    // Conversion leaves sRGB pixels and no profile; saturated P3 green is out of sRGB.
    vips::VImage green = solid(4, 4, {0, 255, 0}).copy();
    vips_image_set_blob_copy(green.get_image(), VIPS_META_ICC_NAME, p3.data(), p3.size());
    const vips::VImage converted = convertToSrgb(green, false);
    EXPECT_EQ(converted.get_typeof(VIPS_META_ICC_NAME), 0u);
    EXPECT_EQ(converted.format(), VIPS_FORMAT_UCHAR);
    EXPECT_GT(converted.getpoint(0, 0)[1], 250.0);
    EXPECT_EQ(converted.getpoint(0, 0)[0], 0.0);
}

TEST(Metadata, StripRemovesAllKeepTidiesExif)
{
    vips::VImage image = solid(64, 48, {90, 120, 150}).copy();
    image.set(VIPS_META_ORIENTATION, 1);
    const char exif[] = "Exif\0\0II*\0\x08\0\0\0\0\0\0\0\0\0";
    vips_image_set_blob_copy(image.get_image(), VIPS_META_EXIF_NAME, exif, sizeof exif - 1);
    const char xmp[] = "<x:xmpmeta/>";
    vips_image_set_blob_copy(image.get_image(), VIPS_META_XMP_NAME, xmp, sizeof xmp - 1);
    image.set("jpeg-thumbnail-data", 1);
    const std::string p3 = profile("p3");
    vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, p3.data(), p3.size());

    vips::VImage kept = image.copy();
    prepareMetadata(kept, true);
    EXPECT_NE(kept.get_typeof(VIPS_META_EXIF_NAME), 0u);
    EXPECT_NE(kept.get_typeof(VIPS_META_XMP_NAME), 0u);
    EXPECT_EQ(kept.get_typeof("jpeg-thumbnail-data"), 0u);

    vips::VImage stripped = image.copy();
    prepareMetadata(stripped, false);
    EXPECT_EQ(stripped.get_typeof(VIPS_META_EXIF_NAME), 0u);
    EXPECT_EQ(stripped.get_typeof(VIPS_META_XMP_NAME), 0u);
    EXPECT_NE(stripped.get_typeof(VIPS_META_ICC_NAME), 0u) << "the profile is the ICC policy's business";
    // The JPEG written from it carries the profile and nothing else.
    const Bytes jpeg = encodeJpeg(stripped, {});
    const vips::VImage back = vips::VImage::new_from_buffer(jpeg.data(), jpeg.size(), "");
    EXPECT_EQ(back.get_typeof(VIPS_META_EXIF_NAME), 0u);
    EXPECT_EQ(back.get_typeof(VIPS_META_XMP_NAME), 0u);
    EXPECT_NE(back.get_typeof(VIPS_META_ICC_NAME), 0u);
}

TEST(Quality, LevelsNeverLoosenAndSafetyOnlyTightens)
{
    Options o;
    double previous = 0;
    for (int level = 1; level <= 8; ++level) {
        o.reduceMode = level;
        const double target = searchTarget(o, false);
        EXPECT_GT(target, previous) << level;
        EXPECT_LE(target, levelBound(o)) << "the search aims within the bound";
        previous = target;
        EXPECT_LT(searchTarget(o, true), target) << "safety tightens smooth images";
        EXPECT_EQ(pngIsLossless(o), level <= 2);
        o.qualitySafety = false;
        EXPECT_EQ(searchTarget(o, true), target) << "safety off: smoothness is ignored";
        o.qualitySafety = true;
    }
    o.quality = 70;
    const JpegSettings fixed = jpegSettingsFor(o);
    EXPECT_EQ(fixed.quality, 70) << "-quality is taken as given";
    EXPECT_FALSE(fixed.fullChroma);
    o.baseline = true;
    EXPECT_FALSE(jpegSettingsFor(o).progressive);
    // Large AVIF encodes get a faster speed setting.
    EXPECT_LE(avifSettingsFor(o, 12'000'000).effort, avifSettingsFor(o, 500'000).effort);
}

TEST(Analyse, SmoothSkyAgainstBusyTexture)
{
    const auto source = [](const vips::VImage &image) {
        Source s;
        VipsBlob *blob = image.jpegsave_buffer(vips::VImage::option()->set("Q", 95));
        size_t length = 0;
        const auto *p = static_cast<const unsigned char *>(vips_blob_get(blob, &length));
        s.bytes.assign(p, p + length);
        vips_area_unref(VIPS_AREA(blob));
        return s;
    };
    // A gentle vertical gradient, like a clear sky.
    const vips::VImage sky = (vips::VImage::xyz(600, 400).extract_band(1) * 0.2 + 120).cast(VIPS_FORMAT_UCHAR);
    EXPECT_TRUE(looksSmooth(source(sky.bandjoin({sky, sky + 40}).cast(VIPS_FORMAT_UCHAR))));
    // Strong, contrasty texture everywhere, like foliage (at thumbnail size already, so
    // the look does not average it away).
    const vips::VImage busy =
        vips::VImage::gaussnoise(256, 170, vips::VImage::option()->set("sigma", 60.0)->set("mean", 128.0)).cast(VIPS_FORMAT_UCHAR);
    EXPECT_FALSE(looksSmooth(source(busy.bandjoin({busy, busy}))));
    // Garbage is not smooth (and does not throw: the real decode reports it).
    Source garbage;
    garbage.bytes = {1, 2, 3};
    EXPECT_FALSE(looksSmooth(garbage));
}
