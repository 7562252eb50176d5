#include "quality.h"

#include <algorithm>
#include <array>

namespace dravik {
namespace {

// Index 0 is level 1. Each row falls with the level so that a higher level never gives
// a larger file for the same image.
// Measured on photo crops (sky, foliage, skin, flat graphics): the lowest quality whose
// worst butteraugli max-norm stays within each level's bound, always with 4:4:4 chroma.
// The per-image search will go lower where an image allows.
constexpr std::array<int, 8> kJpegQuality = {98, 97, 95, 93, 92, 87, 82, 72};
// Lossy WebP (always 4:2:0) stays near 1.4 on a sky crop even at 100, above the bounds
// of levels 1 to 3: those levels take its highest setting, lossless.
constexpr std::array<int, 8> kWebpQuality = {100, 100, 100, 98, 97, 92, 85, 76};
constexpr int kWebpLosslessLevels = 3;
constexpr std::array<int, 8> kAvifQuality = {100, 98, 96, 94, 92, 85, 76, 66};
// Palette PNG: the quantiser always does its best, and the tolerance on our colour
// difference statistic decides whether its result is used. Against butteraugli on a
// screenshot, an illustration and a scanned drawing, max-norm stayed below a sixth of
// the statistic, so each tolerance is six times the level's bound (photos, at 25 and
// more, never pass).
constexpr int kPaletteQuality = 100;
constexpr std::array<double, 8> kPaletteTolerance = {0, 0, 7.2, 8.1, 9.0, 12.0, 16.2, 21.0};
constexpr std::array<double, 8> kGifFrameError = {0, 0, 1, 2, 3, 5, 8, 12};

int level(const Options &o) { return o.reduceMode - 1; }

} // namespace

// Extra quality for smooth images under -jpegqualitysafety: banding in a sky shows at
// settings that are invisible on foliage.
constexpr int kSafetyBoost = 2;

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
    if (o.quality) {
        s.quality = *o.quality;
        // A plain quality number follows the usual convention: half-resolution chroma
        // below 90, where luma artefacts dominate anyway.
        s.fullChroma = s.quality >= 90;
        return s;
    }
    // Halved chroma smears saturated edges and sky gradients by more than any level's
    // budget allows (max-norm 3 and more at every quality on a blue sky), so the levels
    // always keep full chroma.
    s.fullChroma = true;
    s.quality = guarded(o, smooth, kJpegQuality[level(o)], 98);
    return s;
}

JpegSettings withJpegQuality(JpegSettings s, int quality)
{
    s.quality = quality;
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
    // zlib's best level costs seven to ten times the time of level 6 on photographic
    // content for 5-10 % of size: only small images get it.
    s.compression = outputPixels <= 1'000'000 ? 9 : outputPixels <= 4'000'000 ? 7 : 6;
    s.palette = !pngIsLossless(o);
    s.quality = o.quality ? *o.quality : kPaletteQuality;
    s.keep16Bit = !s.palette;
    return s;
}

double paletteToleranceFor(const Options &o) { return kPaletteTolerance[level(o)]; }

GifSettings gifSettingsFor(const Options &o)
{
    GifSettings s;
    s.interframeMaxError = kGifFrameError[level(o)];
    return s;
}

WebpSettings webpSettingsFor(const Options &o, bool smooth)
{
    WebpSettings s;
    if (o.quality) {
        s.quality = *o.quality;
        s.smartSubsample = s.quality >= 85;
        return s;
    }
    s.lossless = o.reduceMode <= kWebpLosslessLevels;
    s.quality = guarded(o, smooth, kWebpQuality[level(o)], 100);
    s.smartSubsample = true; // sharper chroma edges for the same bytes
    return s;
}

AvifSettings avifSettingsFor(const Options &o, int outputPixels)
{
    AvifSettings s;
    s.quality = o.quality ? *o.quality : kAvifQuality[level(o)];
    // As for JPEG: halved chroma alone breaks the budgets on saturated edges and skies.
    s.fullChroma = !o.quality || s.quality >= 85;
    // Small images can afford a slower, better search; large ones must stay in seconds.
    s.effort = outputPixels <= 2'000'000 ? 3 : outputPixels <= 8'000'000 ? 2 : 1;
    return s;
}

} // namespace dravik
