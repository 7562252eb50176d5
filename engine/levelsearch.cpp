#include "levelsearch.h"

#include "quality.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace dravik {
namespace {

// How ln(butteraugli) falls per quality step near the levels' bounds, measured on the
// corpus's trials (bench/fit_search.sh, median of JPEG trial pairs: 0.044): the search's
// first prediction leans on it. The other formats' are rough and leave more to the secant.
constexpr double kJpegSlope = 0.044;
constexpr double kWebpSlope = 0.04;
constexpr double kAvifSlope = 0.03;
constexpr double kPaletteSlope = 0.02;
// Whole WebP encodes judged before the last one is taken as it is.
constexpr int kWholeChecks = 2;

// mozjpeg's quantisation tables, measured on the corpus for the bytes at which each
// chroma layout stays within the bounds (trellis on both).
constexpr int kHalvedChromaTable = 2;
constexpr int kFullChromaTable = 1;
// Halved chroma needing this quality or more is kept only if full chroma is no smaller.
constexpr int kTryFullChromaFrom = 95;

bool isGrey(const vips::VImage &image)
{
    return image.bands() <= 2 || image.interpretation() == VIPS_INTERPRETATION_B_W;
}

// DRAVIK_TRACE_SEARCH=1 reports every trial on standard error (calibration, benchmarks).
bool traced()
{
    static const bool on = std::getenv("DRAVIK_TRACE_SEARCH") != nullptr;
    return on;
}

// One setting searched for one encoder on the sample: every trial encodes, judges and
// reports itself the same way.
template <typename Encode>
struct Trials {
    const SearchContext &c;
    const char *name;
    Encode encode;
    std::map<int, std::size_t> sizes;

    double operator()(int setting)
    {
        const Bytes bytes = encode(setting);
        sizes[setting] = bytes.size();
        const double score = judgeEncoding(c.judge, c.sample, bytes);
        if (traced())
            std::fprintf(stderr, "trial %s %d: %.3f, %zu bytes (target %.3f)\n", name, setting, score, bytes.size(),
                         c.target);
        return score;
    }

    SettingSearch search(const SearchShape &shape, int guess)
    {
        const SettingSearch found =
            searchSetting([this](int setting) { return (*this)(setting); }, shape, guess, c.target);
        if (traced())
            std::fprintf(stderr, "chose %s %d: %.3f after %d trials\n", name, found.setting, found.score, found.trials);
        return found;
    }

};

template <typename Encode>
Trials<Encode> trialsOf(const SearchContext &c, const char *name, Encode encode)
{
    return Trials<Encode>{c, name, std::move(encode), {}};
}

// One chroma layout searched: the lowest quality within the target and the sample's size there.
struct JpegCandidate {
    JpegSettings settings;
    std::size_t sampleBytes = 0;
    double score = 0;
};

JpegCandidate searchJpeg(const SearchContext &c, JpegSettings s, int guess)
{
    // Trials skip mozjpeg's scan search: it costs half the encode and moves every
    // quality's size by the same percent or two, so the choice comes out the same.
    JpegSettings trial = s;
    trial.optimizeScans = false;
    auto trials = trialsOf(c, s.fullChroma ? "jpeg444" : "jpeg420", [&](int q) {
        trial.quality = q;
        return encodeJpeg(c.sample.pixels, trial);
    });
    // Halved chroma out of reach falls back on full chroma; full chroma out of reach on
    // the largest file there is, worth a trial or two more to avoid.
    SearchShape shape{20, 100, kJpegSlope};
    shape.giveUp = !s.fullChroma;
    const SettingSearch found = trials.search(shape, guess);
    s.quality = found.setting;
    return {s, trials.sizes[found.setting], found.score};
}

} // namespace

JpegSettings chooseJpeg(const SearchContext &c, const Options &o)
{
    JpegSettings s = jpegSettingsFor(o);
    s.fullChroma = false;
    s.quantTable = kHalvedChromaTable;
    const JpegCandidate halved = searchJpeg(c, s, s.quality);
    // Halved chroma is the smaller file wherever it keeps within the bound below the top
    // qualities; needing them (or failing at all) is the sign of colour detail, which
    // full chroma keeps at a lower quality.
    if (isGrey(c.sample.pixels) || (halved.score <= c.target && halved.settings.quality < kTryFullChromaFrom))
        return halved.settings;
    s.fullChroma = true;
    s.quantTable = kFullChromaTable;
    const JpegCandidate full = searchJpeg(c, s, halved.score <= c.target ? halved.settings.quality - 6 : s.quality);
    if (full.score > c.target && halved.score > c.target) {
        // Out of JPEG's reach: its highest setting, where trellis would still drop detail.
        JpegSettings highest = full.settings;
        highest.quality = 100;
        highest.trellis = false;
        return highest;
    }
    const bool fullWins = halved.score > c.target || (full.score <= c.target && full.sampleBytes < halved.sampleBytes);
    return fullWins ? full.settings : halved.settings;
}

Bytes encodeWebpWithinBound(const SearchContext &c, const vips::VImage &image, const Options &o)
{
    WebpSettings s = webpSettingsFor(o);
    s.lossless = false;
    s.smartSubsample = true;
    auto trials = trialsOf(c, "webp", [&](int q) {
        s.quality = q;
        return encodeWebp(c.sample.pixels, s);
    });
    const SettingSearch found = trials.search({20, 100, kWebpSlope}, s.quality);
    s.quality = found.setting;
    // Lossy WebP halves chroma whatever the setting. Where even its highest setting stays
    // over the bound, lossless is the format's highest setting, but only worth its bytes
    // when the sample is far over: near the bound the sample judges harsher than the whole.
    if (found.score > 1.5 * c.target && found.setting == 100)
        s.lossless = true;
    if (s.lossless || (!c.sample.whole && c.sample.tiles.empty()))
        return encodeWebp(image, s);
    // WebP sets its filters and segment quantisers from the whole image, so the sample's
    // own encoding can look better than the same tiles of the real file: the real file is
    // judged on those tiles, and raised while it stays over.
    for (int check = 0; check < kWholeChecks; ++check) {
        Bytes bytes = encodeWebp(image, s);
        const vips::VImage decoded = vips::VImage::new_from_buffer(bytes.data(), bytes.size(), "");
        const double score = judgePixels(c.judge, c.sample, cutLikeSample(c.sample, decoded));
        if (traced())
            std::fprintf(stderr, "whole webp %d: %.3f, %zu bytes\n", s.quality, score, bytes.size());
        if (score <= c.target || s.quality == 100)
            return bytes;
        s.quality = std::min(100, s.quality + std::max(2, int(std::ceil(std::log(score / c.target) / kWebpSlope))));
    }
    return encodeWebp(image, s);
}

AvifSettings chooseAvif(const SearchContext &c, const Options &o, int outputPixels)
{
    AvifSettings s = avifSettingsFor(o, outputPixels);
    s.fullChroma = true;
    auto trials = trialsOf(c, "avif", [&](int q) {
        s.quality = q;
        return encodeAvif(c.sample.pixels, s);
    });
    s.quality = trials.search({20, 100, kAvifSlope}, s.quality).setting;
    return s;
}

std::optional<PngSettings> choosePalette(const SearchContext &c, const Options &o, int outputPixels)
{
    PngSettings s = pngSettingsFor(o, outputPixels);
    if (!s.palette)
        return std::nullopt;
    // The quantiser's quality sets how many colours and how much dithering it spends.
    auto trials = trialsOf(c, "palette", [&](int q) {
        s.quality = q;
        return encodePng(c.sample.pixels, s);
    });
    const SettingSearch found = trials.search({0, 100, kPaletteSlope, 30}, 90);
    if (found.score > c.target)
        return std::nullopt;
    s.quality = found.setting;
    return s;
}

bool paletteHolds(const SearchContext &c, const vips::VImage &, const Bytes &palettePng)
{
    const vips::VImage decoded = vips::VImage::new_from_buffer(palettePng.data(), palettePng.size(), "");
    const vips::VImage cut = cutLikeSample(c.sample, decoded);
    return judgePixels(c.judge, c.sample, cut) <= c.target;
}

} // namespace dravik
