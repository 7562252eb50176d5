// Our progressive scan coder: its files must carry exactly the coefficients libjpeg
// computed, so they decode to the very pixels of libjpeg's own baseline file.
#include "encode.h"
#include "jpeglossless.h"
#include "jpegscans.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <tuple>

using namespace dravik;

namespace {

vips::VImage decode(const Bytes &b) { return vips::VImage::new_from_buffer(b.data(), b.size(), "").copy_memory(); }

// Noise over a ramp: many non-zero coefficients, large ones at the steps.
vips::VImage busyImage(int w, int h, int bands)
{
    vips::VImage xy = vips::VImage::xyz(w, h);
    vips::VImage image = (xy.extract_band(0) * 7 + xy.extract_band(1) * 3) % 256;
    vips::VImage noise = vips::VImage::gaussnoise(w, h, vips::VImage::option()->set("sigma", 40.0));
    image = (image + noise - 128).bandjoin(image).bandjoin(255 - image);
    image = image.extract_band(0, vips::VImage::option()->set("n", bands)).cast(VIPS_FORMAT_UCHAR);
    return image.copy(vips::VImage::option()->set(
        "interpretation", bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB));
}

// One colour everywhere: every AC band is empty, so end-of-band runs pass their limit.
vips::VImage flatImage(int w, int h)
{
    return (vips::VImage::black(w, h) + std::vector<double>{90, 140, 200}).cast(VIPS_FORMAT_UCHAR).copy(
        vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

// A grey image made block by block: fill(bx, by, block) sets each natural-order block.
template <class Fill>
CoefficientImage greyBlocks(int blocksWide, int blocksHigh, std::uint16_t quantiser, Fill &&fill)
{
    CoefficientImage image;
    image.width = 8 * blocksWide;
    image.height = 8 * blocksHigh;
    image.quantTables.push_back({});
    image.quantTables[0].fill(quantiser);
    CoefficientPlane plane;
    plane.widthInBlocks = blocksWide;
    plane.heightInBlocks = blocksHigh;
    plane.allocate(blocksWide, blocksHigh);
    for (int by = 0; by < blocksHigh; ++by)
        for (int bx = 0; bx < blocksWide; ++bx) {
            short block[64] = {};
            fill(bx, by, block);
            plane.store(bx, by, block);
        }
    image.planes.push_back(std::move(plane));
    return image;
}

bool hasMarker(const Bytes &jpeg, unsigned char marker)
{
    for (std::size_t i = 0; i + 1 < jpeg.size(); ++i)
        if (jpeg[i] == 0xFF && jpeg[i + 1] == marker)
            return true;
    return false;
}

} // namespace

TEST(JpegScans, DecodesToTheSamePixelsAsLibjpegsBaselineFile)
{
    struct Case {
        const char *name;
        vips::VImage image;
        bool fullChroma;
        bool split; // big enough to be coded in restart intervals
    };
    const Case cases[] = {
        {"colour 4:2:0, odd size", busyImage(203, 77, 3), false, false},
        {"colour 4:4:4", busyImage(64, 40, 3), true, false},
        {"grey", busyImage(99, 131, 1), false, false},
        {"one pixel", busyImage(1, 1, 3), false, false},
        {"one row", busyImage(301, 1, 3), false, false},
        {"large, split into intervals", busyImage(1211, 1003, 3), false, true},
        {"large enough to count on sampled rows", busyImage(1600, 1400, 3), false, true},
        {"flat, long end-of-band runs", flatImage(2100, 1700), true, true},
    };
    for (const Case &c : cases) {
        for (int quality : {20, 100}) {
            JpegSettings progressive;
            progressive.quality = quality;
            progressive.fullChroma = c.fullChroma;
            JpegSettings baseline = progressive;
            baseline.progressive = false;
            const Bytes ours = encodeJpeg(c.image, progressive);
            const Bytes theirs = encodeJpeg(c.image, baseline);
            SCOPED_TRACE(std::string(c.name) + " at quality " + std::to_string(quality));
            ASSERT_TRUE(hasMarker(ours, 0xC2)); // progressive frame
            ASSERT_FALSE(hasMarker(theirs, 0xC2));
            EXPECT_EQ(hasMarker(ours, 0xDD), c.split); // restart intervals declared
            const vips::VImage a = decode(ours), b = decode(theirs);
            ASSERT_EQ(a.width(), c.image.width());
            ASSERT_EQ(a.height(), c.image.height());
            ASSERT_EQ(a.bands(), b.bands());
            EXPECT_EQ((a - b).abs().max(), 0.0);
        }
    }
}

TEST(JpegScans, OneThreadOrManyGiveTheSameCoefficients)
{
    // A hand-made plane: every coefficient position, zero runs over 16, the largest
    // magnitudes, negative values.
    std::uint32_t seed = 1;
    const auto next = [&] { return seed = seed * 1664525u + 1013904223u; };
    const CoefficientImage image = greyBlocks(150, 130, 1, [&](int bx, int by, short *block) {
        block[0] = short(int(next() % 2047) - 1023); // 8-bit samples: |DC| <= 1023
        const int used = int(next() % 5);
        for (int i = 0; i < used; ++i)
            block[next() % 64] = short(int(next() % 2047) - 1023);
        if ((bx + by) % 7 == 0)
            block[63] = -1023; // after a run of zeros longer than 16
    });
    const Bytes one = writeProgressiveJpeg(image, {}, 1);
    const Bytes four = writeProgressiveJpeg(image, {}, 4);
    EXPECT_FALSE(hasMarker(one, 0xDD));
    EXPECT_TRUE(hasMarker(four, 0xDD));
    const vips::VImage a = decode(one), b = decode(four);
    EXPECT_EQ((a - b).abs().max(), 0.0);
    // The packed values come back where they were put.
    EXPECT_EQ(image.planes[0].at(7, 0, 63), -1023);
    EXPECT_EQ(image.planes[0].at(144, 129, 63), -1023);
}

TEST(JpegScans, HuffmanCodesAreValidAndLimitedTo16Bits)
{
    const auto kraft = [](const std::array<std::uint8_t, 256> &lengths) {
        double sum = 0;
        for (std::uint8_t n : lengths)
            if (n)
                sum += std::ldexp(1.0, -n);
        return sum;
    };
    // Fibonacci counts build a tree deeper than 16 before it is limited.
    std::array<std::uint32_t, 256> fibonacci {};
    std::uint32_t a = 1, b = 1;
    for (int s = 0; s < 40; ++s) {
        fibonacci[std::size_t(s)] = a;
        std::tie(a, b) = std::make_tuple(b, a + b);
    }
    std::array<std::uint32_t, 256> uniform {};
    uniform.fill(1000);
    std::array<std::uint32_t, 256> single {};
    single[17] = 5;
    for (const auto &counts : {fibonacci, uniform, single}) {
        const std::array<std::uint8_t, 256> lengths = huffmanCodeLengths(counts);
        for (int s = 0; s < 256; ++s) {
            EXPECT_EQ(lengths[std::size_t(s)] > 0, counts[std::size_t(s)] > 0) << s;
            EXPECT_LE(lengths[std::size_t(s)], 16) << s;
        }
        // A full tree but for one leaf at the deepest level: the all-ones code, which
        // the format reserves, stays unused, and no code space is wasted.
        const int longest = *std::max_element(lengths.begin(), lengths.end());
        EXPECT_EQ(kraft(lengths) + std::ldexp(1.0, -longest), 1.0);
    }
    // Frequent symbols never get longer codes than rare ones.
    const std::array<std::uint8_t, 256> lengths = huffmanCodeLengths(fibonacci);
    for (int s = 1; s < 40; ++s)
        EXPECT_LE(lengths[std::size_t(s)], lengths[std::size_t(s - 1)]) << s;
    EXPECT_EQ(huffmanCodeLengths(single)[17], 1);
}

TEST(JpegScans, IccProfilesSpanSeveralSegmentsAndReadBackWhole)
{
    // Not a real profile: libvips hands the bytes back as they were stored.
    std::string profile(150000, '\0');
    for (std::size_t i = 0; i < profile.size(); ++i)
        profile[i] = char(i * 31 % 251);
    const std::vector<JpegSegment> segments =
        iccSegmentsFor(reinterpret_cast<const unsigned char *>(profile.data()), profile.size());
    ASSERT_EQ(segments.size(), 3u);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        EXPECT_LE(segments[i].payload.size() + 2, 65535u);
        EXPECT_EQ(segments[i].payload[12], i + 1);
        EXPECT_EQ(segments[i].payload[13], 3);
    }
    vips::VImage image = busyImage(40, 30, 3).copy();
    image.set(VIPS_META_ICC_NAME, nullptr, profile.data(), profile.size());
    for (bool progressive : {true, false}) {
        JpegSettings s;
        s.progressive = progressive;
        const vips::VImage back = decode(encodeJpeg(image, s));
        ASSERT_NE(back.get_typeof(VIPS_META_ICC_NAME), 0);
        size_t length = 0;
        const void *data = back.get_blob(VIPS_META_ICC_NAME, &length);
        ASSERT_EQ(length, profile.size());
        EXPECT_EQ(std::memcmp(data, profile.data(), length), 0);
    }
}

TEST(JpegScans, LosslessRewriteKeepsEveryCoefficientAndTheDensity)
{
    struct Case {
        const char *name;
        vips::VImage image;
        bool interlace;
        bool subsample;
    };
    const Case cases[] = {
        {"4:2:0 with padding blocks", busyImage(203, 77, 3), false, true},
        {"4:4:4", busyImage(96, 50, 3), false, false},
        {"grey", busyImage(131, 45, 1), false, false},
        {"progressive source", busyImage(150, 99, 3), true, true},
        {"large, in restart intervals", busyImage(1300, 900, 3), false, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        // Resolution in pixels per millimetre.
        const vips::VImage image = c.image.copy(vips::VImage::option()->set("xres", 300 / 25.4)->set("yres", 150 / 25.4));
        VipsBlob *blob = image.jpegsave_buffer(vips::VImage::option()
                                                   ->set("Q", 92)
                                                   ->set("interlace", c.interlace)
                                                   ->set("subsample_mode", c.subsample ? VIPS_FOREIGN_SUBSAMPLE_ON
                                                                                       : VIPS_FOREIGN_SUBSAMPLE_OFF));
        size_t length = 0;
        const auto *p = static_cast<const unsigned char *>(vips_blob_get(blob, &length));
        const Bytes input(p, p + length);
        vips_area_unref(VIPS_AREA(blob));

        const std::optional<Bytes> out = optimiseJpegLosslessly(input, {true, true, true});
        ASSERT_TRUE(out.has_value());
        EXPECT_TRUE(hasMarker(*out, 0xC2));
        const vips::VImage a = decode(input), b = decode(*out);
        EXPECT_EQ((a - b).abs().max(), 0.0);
        EXPECT_NEAR(b.xres() * 25.4, 300, 0.5);
        EXPECT_NEAR(b.yres() * 25.4, 150, 0.5);
    }
}

TEST(JpegScans, EndOfBandRunsLongerThanOneSymbolCarries)
{
    // Flat blocks only, more of them than one end-of-band run can count (32767): each
    // 8x8 block decodes to 128 + its DC when the DC quantiser is 8.
    const int blocksWide = 200, blocksHigh = 190;
    const auto dcOf = [](int bx, int by) { return (bx * 7 + by * 13) % 201 - 100; };
    const CoefficientImage image =
        greyBlocks(blocksWide, blocksHigh, 8, [&](int bx, int by, short *block) { block[0] = short(dcOf(bx, by)); });
    for (int threads : {1, 3}) {
        const vips::VImage decoded = decode(writeProgressiveJpeg(image, {}, threads));
        ASSERT_EQ(decoded.width(), image.width);
        for (int by = 0; by < blocksHigh; by += 37)
            for (int bx = 0; bx < blocksWide; bx += 23)
                EXPECT_EQ(decoded.getpoint(bx * 8 + 3, by * 8 + 5)[0], 128 + dcOf(bx, by)) << bx << "," << by;
    }
}

TEST(JpegScans, CoefficientsBeyondEightBitsAreRefusedSampledOrNot)
{
    // Counting samples every fourth block row of a large scan. A DC value beyond the
    // eight-bit range (a difference of category 12 here) shows either in the count or,
    // on a row the sample skips, as a symbol the tables lack: refused both ways, never
    // written without a code.
    const auto imageWith = [](int blocksWide, int blocksHigh, int bx, int by) {
        return greyBlocks(blocksWide, blocksHigh, 1, [&](int x, int y, short *block) {
            block[1] = short((x + y) % 3 - 1);
            if (x == bx && y == by)
                block[0] = 3000;
        });
    };
    EXPECT_THROW(writeProgressiveJpeg(imageWith(300, 200, 10, 1), {}, 2), std::range_error); // row 1 unsampled
    EXPECT_THROW(writeProgressiveJpeg(imageWith(300, 200, 10, 4), {}, 2), std::range_error); // row 4 sampled
    EXPECT_THROW(writeProgressiveJpeg(imageWith(20, 4, 10, 1), {}, 1), std::range_error);   // counted whole
    EXPECT_NO_THROW(writeProgressiveJpeg(imageWith(300, 200, -1, -1), {}, 2));
}
