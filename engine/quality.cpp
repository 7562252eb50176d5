#include "quality.h"

#include <algorithm>
#include <array>

namespace dravik {
namespace {

// Index 0 is level 1. Each row falls with the level so that a higher level never gives
// a larger file for the same image.
// Chosen so that smooth skies stay within each level's butteraugli bound at 4:4:4 (90
// and up); the per-image search will lower them where an image allows.
constexpr std::array<int, 8> kJpegQuality = {97, 95, 93, 92, 90, 87, 82, 74};
constexpr std::array<int, 8> kWebpQuality = {97, 95, 93, 91, 89, 85, 79, 70};
constexpr std::array<int, 8> kAvifQuality = {88, 84, 80, 77, 74, 68, 60, 52};
constexpr std::array<int, 8> kPaletteQuality = {100, 100, 100, 98, 95, 90, 80, 70};
constexpr std::array<double, 8> kPaletteTolerance = {0, 0, 1.2, 1.5, 1.8, 2.4, 3.2, 4.2};
constexpr std::array<double, 8> kGifFrameError = {0, 0, 1, 2, 3, 5, 8, 12};

int level(const Options &o) { return o.reduceMode - 1; }

} // namespace

// Extra quality for smooth images under -jpegqualitysafety: banding in a sky shows at
// settings that are invisible on foliage.
constexpr int kSafetyBoost = 3;

int guarded(const Options &o, bool smooth, int quality, int ceiling)
{
    if (o.qualitySafety && smooth && !o.quality)
        return std::min(ceiling, quality + kSafetyBoost);
    return quality;
}

JpegSettings jpegSettingsFor(const Options &o, bool smooth)
{
    JpegSettings s;
    s.progressive = !o.baseline;
    s = withJpegQuality(s, guarded(o, smooth, o.quality ? *o.quality : kJpegQuality[level(o)], 98));
    if (o.qualitySafety && smooth)
        s.fullChroma = true; // chroma blocks on smooth colour gradients are the first visible artefact
    return s;
}

JpegSettings withJpegQuality(JpegSettings s, int quality)
{
    s.quality = quality;
    // At high quality the eye starts to see chroma smearing on edges before luma
    // artefacts, and 4:4:4 costs little there relative to the total.
    s.fullChroma = quality >= 90;
    return s;
}

bool pngIsLossless(const Options &o)
{
    if (o.quality)
        return *o.quality >= 100;
    return o.reduceMode <= 2;
}

PngSettings pngSettingsFor(const Options &o, int outputPixels)
{
    PngSettings s;
    // zlib's best level costs ten times the time on large photos for a few per cent.
    s.compression = outputPixels <= 4'000'000 ? 9 : 6;
    s.palette = !pngIsLossless(o);
    s.quality = o.quality ? *o.quality : kPaletteQuality[level(o)];
    s.keep16Bit = !s.palette;
    return s;
}

double paletteToleranceFor(const Options &o)
{
    if (o.quality) // a fixed quality means the user accepts what the quantiser gives
        return 1e9;
    return kPaletteTolerance[level(o)];
}

GifSettings gifSettingsFor(const Options &o)
{
    GifSettings s;
    s.interframeMaxError = kGifFrameError[level(o)];
    return s;
}

WebpSettings webpSettingsFor(const Options &o, bool smooth)
{
    WebpSettings s;
    s.quality = guarded(o, smooth, o.quality ? *o.quality : kWebpQuality[level(o)], 98);
    s.smartSubsample = s.quality >= 85;
    return s;
}

AvifSettings avifSettingsFor(const Options &o, int outputPixels)
{
    AvifSettings s;
    s.quality = o.quality ? *o.quality : kAvifQuality[level(o)];
    s.fullChroma = s.quality >= 85;
    // Small images can afford a slower, better search; large ones must stay in seconds.
    s.effort = outputPixels <= 2'000'000 ? 3 : outputPixels <= 8'000'000 ? 2 : 1;
    return s;
}

} // namespace dravik
