// Byte-level work on files: the mark, lossless JPEG rewriting, the size-limit search,
// output naming.
#include "encode.h"
#include "exitcodes.h"
#include "jpeglossless.h"
#include "marks.h"
#include "paths.h"
#include "pngchunks.h"
#include "sizelimit.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace dravik;

namespace {

// A photo-like test image: smooth gradient plus noise, so encoders have real work.
vips::VImage testImage(int w = 256, int h = 192)
{
    vips::VImage ramp = vips::VImage::xyz(w, h);
    vips::VImage x = ramp.extract_band(0) * (255.0 / w);
    vips::VImage y = ramp.extract_band(1) * (255.0 / h);
    vips::VImage noise = vips::VImage::gaussnoise(w, h, vips::VImage::option()->set("sigma", 12.0));
    return x.bandjoin(y).bandjoin((x + y) / 2 + noise - 128).cast(VIPS_FORMAT_UCHAR).copy(
        vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}


vips::VImage decode(const Bytes &b) { return vips::VImage::new_from_buffer(b.data(), b.size(), "").copy_memory(); }

double maxDifference(const vips::VImage &a, const vips::VImage &b) { return (a - b).abs().max(); }

// libvips' own JPEG writer, as files from elsewhere arrive.
Bytes vipsJpeg(const vips::VImage &image, vips::VOption *options)
{
    VipsBlob *blob = image.jpegsave_buffer(options);
    size_t length = 0;
    const auto *p = static_cast<const unsigned char *>(vips_blob_get(blob, &length));
    Bytes bytes(p, p + length);
    vips_area_unref(VIPS_AREA(blob));
    return bytes;
}

} // namespace

TEST(Mark, JpegAndPngRoundTrip)
{
    for (Format f : {Format::Jpeg, Format::Png}) {
        const Bytes plain = f == Format::Jpeg ? encodeJpeg(testImage(), {}) : encodePng(testImage(), {});
        ASSERT_FALSE(hasMark(plain, f));
        const Bytes marked = withMark(plain, f);
        EXPECT_TRUE(hasMark(marked, f)) << formatName(f);
        EXPECT_EQ(marked.size(), plain.size() + markSize(f));
        EXPECT_LT(markSize(f), 100u); // "a few tens of bytes"
        // Marking twice does not stack marks.
        EXPECT_EQ(withMark(marked, f), marked);
        // The file is still a valid image with the same pixels (a bad CRC or a broken
        // segment would fail the strict decoders).
        const vips::VImage a = decode(plain), b = decode(marked);
        EXPECT_EQ(maxDifference(a, b), 0.0) << formatName(f);
        // Formats are told apart: a JPEG mark is not a PNG mark.
        EXPECT_FALSE(hasMark(marked, f == Format::Jpeg ? Format::Png : Format::Jpeg));
    }
}

TEST(Mark, ComesAfterTheLeadingAppSegmentsAndNeedsTheRightSegment)
{
    vips::VImage image = testImage().copy();
    const char exif[] = "Exif\0\0II*\0\x08\0\0\0\0\0\0\0\0\0";
    vips_image_set_blob_copy(image.get_image(), VIPS_META_EXIF_NAME, exif, sizeof exif - 1);
    const Bytes marked = withMark(encodeJpeg(image, {}), Format::Jpeg);
    // Walk: SOI, then APPn segments; the mark is APP15 and no APPn follows it.
    std::size_t at = 2;
    bool seenMark = false;
    while (marked[at] == 0xFF && marked[at + 1] >= 0xE0 && marked[at + 1] <= 0xEF) {
        if (marked[at + 1] == 0xEF)
            seenMark = true;
        else
            EXPECT_FALSE(seenMark) << "an APP segment after the mark";
        at += 2 + (std::size_t(marked[at + 2]) << 8 | marked[at + 3]);
    }
    EXPECT_TRUE(seenMark);

    // The keyword in a comment segment is not a mark.
    Bytes fake = encodeJpeg(testImage(), {});
    const char text[] = "DravikMark";
    Bytes com = {0xFF, 0xFE, 0, std::uint8_t(2 + sizeof text)};
    com.insert(com.end(), text, text + sizeof text);
    fake.insert(fake.begin() + 2, com.begin(), com.end());
    EXPECT_FALSE(hasMark(fake, Format::Jpeg));
    // Garbage and truncated files are simply unmarked.
    EXPECT_FALSE(hasMark(Bytes{0xFF, 0xD8, 0xFF}, Format::Jpeg));
    EXPECT_FALSE(hasMark(Bytes(5, 0x89), Format::Png));
}

TEST(LosslessJpeg, SamePixelsSmallerFileMetadataByPolicy)
{
    vips::VImage image = testImage(640, 480).copy();
    const char exif[] = "Exif\0\0II*\0\x08\0\0\0\0\0\0\0\0\0";
    vips_image_set_blob_copy(image.get_image(), VIPS_META_EXIF_NAME, exif, sizeof exif - 1);
    // Baseline without optimised Huffman tables: room to gain losslessly.
    const Bytes input = vipsJpeg(image, vips::VImage::option()->set("Q", 90)->set("profile", "srgb"));

    for (bool progressive : {true, false}) {
        const std::optional<Bytes> out = optimiseJpegLosslessly(input, {progressive, true, true});
        ASSERT_TRUE(out.has_value());
        EXPECT_LT(out->size(), input.size());
        const vips::VImage decoded = vips::VImage::new_from_buffer(out->data(), out->size(), "");
        EXPECT_EQ(maxDifference(decode(input), decoded), 0.0);
        EXPECT_EQ(decoded.get_int("jpeg-multiscan"), progressive ? 1 : 0);
        EXPECT_NE(decoded.get_typeof(VIPS_META_EXIF_NAME), 0u);
        EXPECT_NE(decoded.get_typeof(VIPS_META_ICC_NAME), 0u);
    }
    const std::optional<Bytes> stripped = optimiseJpegLosslessly(input, {true, false, true});
    ASSERT_TRUE(stripped.has_value());
    const vips::VImage s = vips::VImage::new_from_buffer(stripped->data(), stripped->size(), "");
    EXPECT_EQ(s.get_typeof(VIPS_META_EXIF_NAME), 0u);
    EXPECT_NE(s.get_typeof(VIPS_META_ICC_NAME), 0u);
    const std::optional<Bytes> bare = optimiseJpegLosslessly(input, {true, false, false});
    ASSERT_TRUE(bare.has_value());
    EXPECT_EQ(vips::VImage::new_from_buffer(bare->data(), bare->size(), "").get_typeof(VIPS_META_ICC_NAME), 0u);

    // A truncated file is refused, never "optimised" into a different picture.
    const Bytes truncated(input.begin(), input.begin() + std::ptrdiff_t(input.size() / 2));
    EXPECT_FALSE(optimiseJpegLosslessly(truncated, {}).has_value());
    EXPECT_FALSE(optimiseJpegLosslessly(Bytes{1, 2, 3}, {}).has_value());
}

TEST(SizeLimit, FitsHighestOrLowersOnlyAsNeeded)
{
    const vips::VImage image = testImage(512, 384).copy_memory();
    JpegSettings normal;
    normal.quality = 80;
    const std::size_t atNormal = encodeJpeg(image, normal).size();

    // Roomy limit: the normal choice is kept without hq, the top quality with hq.
    const Bytes keep = encodeJpegWithinLimit(image, normal, atNormal * 4, false, 0);
    EXPECT_EQ(keep.size(), atNormal);
    const Bytes best = encodeJpegWithinLimit(image, normal, atNormal * 4, true, 0);
    EXPECT_GT(best.size(), atNormal);
    EXPECT_LE(best.size(), atNormal * 4);

    // Tight limit: both fit, with room reserved for what comes later.
    const std::size_t limit = atNormal / 2;
    for (bool hq : {false, true}) {
        const Bytes fitted = encodeJpegWithinLimit(image, normal, limit, hq, 40);
        EXPECT_LE(fitted.size() + 40, limit);
        EXPECT_GT(fitted.size(), limit / 4); // not simply the lowest quality
    }

    try {
        encodeJpegWithinLimit(image, normal, 500, false, 0);
        ADD_FAILURE() << "a 500-byte limit cannot be met";
    } catch (const Failure &f) {
        EXPECT_EQ(f.code(), Exit::SizeLimit);
    }
}

TEST(Paths, OutputExtension)
{
    Options o;
    o.out = "/x/photo";
    EXPECT_EQ(outputPathFor(o, Format::Png), "/x/photo");
    o.outExt = true;
    EXPECT_EQ(outputPathFor(o, Format::Png), "/x/photo.png");
    EXPECT_EQ(outputPathFor(o, Format::Avif), "/x/photo.avif");
    o.out = "/x/photo.JPEG";
    EXPECT_EQ(outputPathFor(o, Format::Jpeg), "/x/photo.JPEG");
    EXPECT_EQ(outputPathFor(o, Format::Webp), "/x/photo.JPEG.webp");
    o.out = "/x/photo.Jpg";
    EXPECT_EQ(outputPathFor(o, Format::Jpeg), "/x/photo.Jpg");

}

TEST(LosslessJpeg, UprightsTheOrientationOrRefuses)
{
    vips::VImage image = testImage(320, 160).copy();
    image.set(VIPS_META_ORIENTATION, 6); // displayed turned 90 degrees clockwise
    const Bytes input = vipsJpeg(image, vips::VImage::option()->set("Q", 90));

    for (bool progressive : {true, false}) {
        const std::optional<Bytes> out = rotateJpegLosslessly(input, 6, {progressive, true, true});
        ASSERT_TRUE(out.has_value());
        const vips::VImage rotated = vips::VImage::new_from_buffer(out->data(), out->size(), "");
        EXPECT_EQ(rotated.width(), 160);
        EXPECT_EQ(rotated.height(), 320);
        EXPECT_EQ(rotated.get_int(VIPS_META_ORIENTATION), 1);
        EXPECT_EQ(rotated.get_int("jpeg-multiscan"), progressive ? 1 : 0);
        // Same picture as rotating the decoded pixels (DCT-domain rotation differs only
        // by rounding in chroma upsampling).
        const vips::VImage reference = decode(input).rot(VIPS_ANGLE_D90);
        EXPECT_LT((reference - rotated).abs().avg(), 1.0);
    }
    // 4:2:0 blocks are 16 pixels: a 100-pixel edge cannot move without loss.
    const Bytes oddInput =
        vipsJpeg(testImage(100, 50), vips::VImage::option()->set("Q", 80)->set("subsample_mode", VIPS_FOREIGN_SUBSAMPLE_ON));
    EXPECT_FALSE(rotateJpegLosslessly(oddInput, 6, {}).has_value());
    EXPECT_FALSE(rotateJpegLosslessly(oddInput, 1, {}).has_value());
}

TEST(PngChunks, GammaAndChromaticityTravelUnlessAProfileSpeaks)
{
    // A source PNG with a gAMA chunk spliced in after IHDR (33 bytes: 8 + 25).
    Bytes source = encodePng(testImage(32, 32), {});
    const unsigned char gama[] = {0, 0, 0, 4, 'g', 'A', 'M', 'A', 0, 0, 0xB1, 0x8F, 0x0B, 0xFC, 0x61, 0x05};
    source.insert(source.begin() + 33, gama, gama + sizeof gama);
    ASSERT_NO_THROW(decode(source)); // still a valid PNG

    const Bytes plain = encodePng(testImage(32, 32), {});
    const Bytes carried = withColourChunksOf(source, plain);
    EXPECT_EQ(carried.size(), plain.size() + sizeof gama);
    EXPECT_EQ(std::memcmp(&carried[33], gama, sizeof gama), 0);
    EXPECT_EQ(maxDifference(decode(plain), decode(carried)), 0.0);
    // Not twice, not over an ICC profile, not into something that is no PNG.
    EXPECT_EQ(withColourChunksOf(source, carried), carried);
    vips::VImage tagged = testImage(32, 32).copy();
    VipsBlob *srgb = vips::VImage::profile_load("srgb");
    size_t length = 0;
    const void *profile = vips_blob_get(srgb, &length);
    vips_image_set_blob_copy(tagged.get_image(), VIPS_META_ICC_NAME, profile, length);
    vips_area_unref(VIPS_AREA(srgb));
    const Bytes withProfile = encodePng(tagged, {});
    EXPECT_EQ(withColourChunksOf(source, withProfile), withProfile);
    const Bytes notPng{1, 2, 3};
    EXPECT_EQ(withColourChunksOf(source, notPng), notPng);
}

TEST(LosslessJpeg, ReadsTheQualityAndChromaAFileWasStoredWith)
{
    const vips::VImage image = testImage(64, 48);
    for (int q : {30, 84, 97}) {
        for (bool subsample : {true, false}) {
            const Bytes jpeg = vipsJpeg(image, vips::VImage::option()->set("Q", q)->set(
                "subsample_mode", subsample ? VIPS_FOREIGN_SUBSAMPLE_ON : VIPS_FOREIGN_SUBSAMPLE_OFF));
            const std::optional<JpegStorage> stored = readJpegStorage(jpeg);
            ASSERT_TRUE(stored.has_value()) << q;
            EXPECT_NEAR(stored->quality, q, 1) << q;
            EXPECT_EQ(stored->subsampledChroma, subsample) << q;
        }
    }
    EXPECT_FALSE(readJpegStorage(Bytes{0xFF, 0xD8, 0xFF}).has_value());
    EXPECT_FALSE(readJpegStorage(Bytes{}).has_value());
}
