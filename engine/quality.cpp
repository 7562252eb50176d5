#include "quality.h"

#include <algorithm>
#include <array>

namespace dravik {
namespace {

// Index 0 is level 1: the butteraugli max-norm each level allows.
constexpr std::array<double, 8> kBound = {0.8, 1.0, 1.2, 1.35, 1.5, 2.0, 2.7, 3.5};
// A sample of tiles misses the whole image's worst spot now and then (on photos whose
// hard areas are many and alike, the worst of a hundred cells is not among the dozen
// judged); aiming this much lower keeps the whole image within. Fitted by
// bench/fit_search.sh at level 5: the whole image's score over the sample's reached 1.24
// on samples that are not crowded (median over sampled ones about 1.15), 1.15 on the
// held-out ones.
constexpr double kSampleMargin = 0.75;
// A crowded sample's worst under-reads the whole's most at the fine levels, where errors
// are sparse peaks. At the settings the sample margin picks: by up to 1.54 at levels 3
// and 4 (0.93 / 1.54 = 0.6), 1.34-1.38 at level 5, 1.08-1.39 at level 6, and no more than
// other samples from level 7, where errors are everywhere. Its margin runs from
// kCrowdedMargin at kCrowdedFinest's bound to the sample margin at kCrowdedCoarsest's.
constexpr double kCrowdedMargin = 0.6;
constexpr double kCrowdedFinest = 1.2, kCrowdedCoarsest = 2.0;
// Decoded as every viewer decodes it, the whole image scores as judged here: the margin
// only covers judges built apart (the benchmark's read WebP and AVIF files within 1 % of
// ours on the corpus). JPEG too: libjpeg-turbo's decoder (Debian's libvips, ImageMagick)
// gave back our decoder's pixels exactly, halved chroma and full.
constexpr double kWholeMargin = 0.97;
// Banding in a sky or on skin shows at distances that pass on foliage.
constexpr double kSafetyFactor = 0.8;

// Where each level's search starts, and the quality a level stands for where no search
// runs (deciding whether a lossless rewrite of a JPEG input can win). mozjpeg's tables.
constexpr std::array<int, 8> kJpegStart = {95, 92, 90, 88, 86, 80, 72, 62};
constexpr std::array<int, 8> kWebpStart = {98, 96, 94, 92, 90, 84, 76, 66};
constexpr std::array<int, 8> kAvifStart = {90, 86, 82, 78, 74, 66, 58, 50};
constexpr std::array<double, 8> kGifFrameError = {0, 0, 1, 2, 3, 5, 8, 12};

int level(const Options &o) { return std::clamp(o.reduceMode, 1, 8) - 1; }

} // namespace

double levelBound(const Options &o) { return kBound[std::size_t(level(o))]; }

double searchTarget(const Options &o, bool smooth, Judged judged)
{
    const double bound = levelBound(o);
    const double coarseness = std::clamp((bound - kCrowdedFinest) / (kCrowdedCoarsest - kCrowdedFinest), 0.0, 1.0);
    const double margin = judged == Judged::Whole    ? kWholeMargin
                          : judged == Judged::Sample ? kSampleMargin
                                                     : kCrowdedMargin + (kSampleMargin - kCrowdedMargin) * coarseness;
    const double target = bound * margin;
    return o.qualitySafety && smooth ? target * kSafetyFactor : target;
}

double layoutReferenceTarget() { return kBound[4] * kSampleMargin; }

int layoutReferenceQuality() { return kJpegStart[4]; }

JpegSettings jpegSettingsFor(const Options &o)
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
    s.quality = kJpegStart[std::size_t(level(o))];
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
    s.quality = o.quality ? *o.quality : 100;
    s.keep16Bit = !s.palette;
    return s;
}

GifSettings gifSettingsFor(const Options &o)
{
    GifSettings s;
    s.interframeMaxError = kGifFrameError[std::size_t(level(o))];
    return s;
}

WebpSettings webpSettingsFor(const Options &o)
{
    WebpSettings s;
    s.quality = o.quality ? *o.quality : kWebpStart[std::size_t(level(o))];
    // Sharper chroma edges for the same bytes where quality is asked for.
    s.smartSubsample = !o.quality || s.quality >= 85;
    return s;
}

AvifSettings avifSettingsFor(const Options &o, int outputPixels)
{
    AvifSettings s;
    s.quality = o.quality ? *o.quality : kAvifStart[std::size_t(level(o))];
    // Halved chroma smears saturated edges and skies at any quality the levels ask for.
    s.fullChroma = !o.quality || s.quality >= 85;
    // Small images can afford a slower, better search; large ones must stay in seconds.
    s.effort = outputPixels <= 2'000'000 ? 3 : outputPixels <= 8'000'000 ? 2 : 1;
    return s;
}

} // namespace dravik
