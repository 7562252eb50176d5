#include "levelsearch.h"

#include "quality.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace dravik {
namespace {

// At most this many trials per setting searched: the bracket is then a point or two of
// quality wide, worth less than one more trial costs.
constexpr int kMaxTrials = 5;

// mozjpeg's quantisation tables, measured on the corpus for the bytes at which each
// chroma layout stays within the bounds (trellis on both).
constexpr int kHalvedChromaTable = 2;
constexpr int kFullChromaTable = 1;
// Halved chroma needing this quality or more is kept only if full chroma is no smaller.
constexpr int kTryFullChromaFrom = 95;

// DRAVIK_TRACE_SEARCH=1 prints every trial to standard error (calibration, benchmarks).
void trace(const char *format, int setting, const char *variant, double score, std::size_t bytes)
{
    static const bool on = std::getenv("DRAVIK_TRACE_SEARCH") != nullptr;
    if (on)
        std::fprintf(stderr, "trial %s %s %d: %.3f, %zu bytes\n", format, variant, setting, score, bytes);
}

bool isGrey(const vips::VImage &image)
{
    return image.bands() <= 2 || image.interpretation() == VIPS_INTERPRETATION_B_W;
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
    std::vector<std::pair<int, std::size_t>> sizes;
    const auto scoreAt = [&](int q) {
        trial.quality = q;
        const Bytes bytes = encodeJpeg(c.sample.pixels, trial);
        sizes.push_back({q, bytes.size()});
        const double score = judgeEncoding(c.judge, c.sample, bytes);
        trace("jpeg", q, s.fullChroma ? "444" : "420", score, bytes.size());
        return score;
    };
    const SettingSearch found = searchSetting(scoreAt, 20, 100, guess, c.target, kMaxTrials);
    s.quality = found.setting;
    JpegCandidate out{s, 0, found.score};
    for (const auto &[q, bytes] : sizes)
        if (q == found.setting)
            out.sampleBytes = bytes;
    return out;
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
    const JpegCandidate full = searchJpeg(c, s, std::max(20, halved.settings.quality - 6));
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

WebpSettings chooseWebp(const SearchContext &c, const Options &o)
{
    WebpSettings s = webpSettingsFor(o);
    s.lossless = false;
    s.smartSubsample = true;
    const auto scoreAt = [&](int q) {
        s.quality = q;
        const Bytes bytes = encodeWebp(c.sample.pixels, s);
        const double score = judgeEncoding(c.judge, c.sample, bytes);
        trace("webp", q, "", score, bytes.size());
        return score;
    };
    const SettingSearch found = searchSetting(scoreAt, 20, 100, s.quality, c.target, kMaxTrials);
    s.quality = found.setting;
    // Lossy WebP halves chroma whatever the setting. Where even its highest setting stays
    // over the bound, lossless is the format's highest setting, but only worth its bytes
    // when the sample is far over: near the bound the sample judges harsher than the whole.
    if (found.score > 1.5 * c.target && found.setting == 100)
        s.lossless = true;
    return s;
}

AvifSettings chooseAvif(const SearchContext &c, const Options &o, int outputPixels)
{
    AvifSettings s = avifSettingsFor(o, outputPixels);
    s.fullChroma = true;
    const auto scoreAt = [&](int q) {
        s.quality = q;
        const Bytes bytes = encodeAvif(c.sample.pixels, s);
        const double score = judgeEncoding(c.judge, c.sample, bytes);
        trace("avif", q, "", score, bytes.size());
        return score;
    };
    const SettingSearch found = searchSetting(scoreAt, 20, 100, s.quality, c.target, kMaxTrials);
    s.quality = found.setting;
    return s;
}

std::optional<PngSettings> choosePalette(const SearchContext &c, const Options &o, int outputPixels)
{
    PngSettings s = pngSettingsFor(o, outputPixels);
    if (!s.palette)
        return std::nullopt;
    // The quantiser's quality sets how many colours and how much dithering it spends.
    const auto scoreAt = [&](int q) {
        s.quality = q;
        const Bytes bytes = encodePng(c.sample.pixels, s);
        const double score = judgeEncoding(c.judge, c.sample, bytes);
        trace("palette", q, "", score, bytes.size());
        return score;
    };
    const SettingSearch found = searchSetting(scoreAt, 0, 100, 90, c.target, 4);
    if (found.score > c.target)
        return std::nullopt;
    s.quality = found.setting;
    return s;
}

bool paletteHolds(const SearchContext &c, const vips::VImage &, const Bytes &palettePng)
{
    const vips::VImage decoded = vips::VImage::new_from_buffer(palettePng.data(), palettePng.size(), "");
    const vips::VImage cut = cutLikeSample(c.sample, decoded);
    const double score = judgePixels(c.judge, c.sample, cut);
    trace("palette", -1, "whole", score, palettePng.size());
    return score <= c.target;
}

} // namespace dravik
