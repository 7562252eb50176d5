#include "levelsearch.h"

#include "quality.h"

#include <algorithm>
#include <cmath>
#include <chrono>
#include <cstdio>
#include <map>
#include <optional>

namespace dravik {
namespace {

// How ln(butteraugli) falls per unit of the setting's axis near the levels' bounds,
// measured on the corpus's trials (bench/fit_search.sh, median of trial pairs): the
// search's first prediction leans on it. JPEG's are on the quantiser axis (perceptual.h),
// per chroma layout (medians 0.49 and 0.70 at level 5). The other formats' are rough and
// leave more to the secant.
constexpr double kHalvedChromaSlope = 0.49;
constexpr double kFullChromaSlope = 0.70;
constexpr double kWebpSlope = 0.04;
constexpr double kAvifSlope = 0.03;
constexpr double kPaletteSlope = 0.02;
// Whole files (WebP, AVIF, a palette) judged after the first at the sample's choice: as
// many as make about kWholeCheckPixels encoded and judged, within these. Each costs the
// image's pixels (a 10-megapixel photo: about a second to encode and one to judge), and
// small images' scores step most (a palette's colours), where only more checks help.
constexpr int kFewestWholeChecks = 2, kMostWholeChecks = 4;
constexpr double kWholeCheckPixels = 12'000'000;
// Near the target WebP's and AVIF's scores move little while their bytes fall fast (a
// photo as AVIF: 317 KB at 1.39, 276 KB at 1.36 four steps lower): a check left is
// spent unless a pass is this close.
constexpr double kWholeCloseEnough = 0.96;
// Over the target by this much at its best, a lossy format's lossless setting is worth
// its bytes (two to three times a photo's); nearer, only where it weighs at most
// kLosslessWorth times the lossy file.
constexpr double kFarOver = 1.5;
constexpr double kLosslessWorth = 2.0;

// mozjpeg's quantisation table for both layouts (trellis on both). The flat table 1 wins
// on some graphics but its steps are coarse at the top (three qualities make one table),
// which leaves the search and the levels' order to chance; on the corpus's images that
// need full chroma, table 2 came out about as small overall.
constexpr int kQuantTable = 2;
// How ln(bytes) of a JPEG grows per unit of the quantiser axis near the levels' bounds,
// from the same trials (bench/fit_search.sh, medians 0.52 and 0.47 for the layouts): what
// a layout would weigh at the reference.
constexpr double kJpegByteSlope = 0.5;

// Trials within this of the lowest score seen count as on the floor JPEG cannot go below.
constexpr double kOnTheFloor = 1.05;

bool isGrey(const vips::VImage &image)
{
    return image.bands() <= 2 || image.interpretation() == VIPS_INTERPRETATION_B_W;
}

bool traced() { return searchTraced(); }

// One setting searched for one encoder: every trial encodes, judges and reports itself
// the same way, and its file is kept. Trials encode the sample, or (`whole`) the real
// file, judged whole against the target the real file keeps to.
template <typename Encode>
struct Trials {
    const SearchContext &c;
    const char *name;
    Encode encode;
    const vips::VImage *whole = nullptr;
    std::map<int, Bytes> files;
    std::map<int, double> scores;

    double target() const { return whole ? c.wholeTarget : c.target; }

    double judged(const Bytes &bytes) const
    {
        if (!whole)
            return judgeEncoding(c.judge, c.sample, bytes);
        return judgeWhole(c.judge, c.sample, *whole, vips::VImage::new_from_buffer(bytes.data(), bytes.size(), ""));
    }

    double operator()(int setting)
    {
        // A search starting where the layouts were compared asks for that trial again.
        if (const auto known = scores.find(setting); known != scores.end())
            return known->second;
        const auto start = std::chrono::steady_clock::now();
        Bytes bytes = encode(setting);
        const auto encoded = std::chrono::steady_clock::now();
        // Neighbouring settings can make the same file (near the top, quantisers round to
        // the same steps); its score is known then.
        const auto same = std::find_if(files.begin(), files.end(), [&](const auto &f) { return f.second == bytes; });
        const double score = same != files.end() ? scores.at(same->first) : judged(bytes);
        scores[setting] = score;
        if (traced()) {
            using ms = std::chrono::duration<double, std::milli>;
            std::fprintf(stderr, "%s %s %d: %.3f, %zu bytes (target %.3f) encode %.0f ms judge %.0f ms\n",
                         whole ? "whole" : "trial", name, setting, score, bytes.size(), target(),
                         ms(encoded - start).count(), ms(std::chrono::steady_clock::now() - encoded).count());
        }
        files[setting] = std::move(bytes);
        return score;
    }

    SettingSearch search(const SearchShape &shape, int guess)
    {
        const SettingSearch found =
            searchSetting([this](int setting) { return (*this)(setting); }, shape, guess, target());
        if (traced())
            std::fprintf(stderr, "%s %s %d: %.3f after %d trials\n", whole ? "settled" : "chose", name, found.setting,
                         found.score, found.trials);
        return found;
    }

    double lowestScore() const
    {
        double lowest = HUGE_VAL;
        for (const auto &[setting, score] : scores)
            lowest = std::min(lowest, score);
        return lowest;
    }

    // The lightest trial (its file's bytes, and its setting) scoring within `limit`.
    std::optional<std::pair<std::size_t, int>> lightestWithin(double limit) const
    {
        std::optional<std::pair<std::size_t, int>> best;
        for (const auto &[setting, score] : scores)
            if (score <= limit && (!best || files.at(setting).size() < best->first))
                best = std::pair{files.at(setting).size(), setting};
        return best;
    }
};

template <typename Encode>
Trials<Encode> trialsOf(const SearchContext &c, const char *name, Encode encode)
{
    return Trials<Encode>{c, name, std::move(encode), nullptr, {}, {}};
}

template <typename Encode>
Trials<Encode> wholeTrialsOf(const SearchContext &c, const char *name, const vips::VImage &image, Encode encode)
{
    return Trials<Encode>{c, name, std::move(encode), &image, {}, {}};
}

// One chroma layout searched: the lowest quality within the target and the sample's size there.
struct JpegCandidate {
    JpegSettings settings;
    double score = 0;
};

SearchShape jpegShape(bool fullChroma)
{
    SearchShape shape{20, 100, fullChroma ? kFullChromaSlope : kHalvedChromaSlope};
    shape.quantiserAxis = true;
    // Halved chroma out of reach falls back on full chroma; full chroma out of reach on
    // the largest file there is, worth a trial or two more to avoid.
    shape.giveUp = !fullChroma;
    return shape;
}

JpegSettings jpegLayout(const Options &o, bool full)
{
    JpegSettings s = jpegSettingsFor(o);
    s.fullChroma = full;
    s.quantTable = kQuantTable;
    return s;
}

auto jpegTrials(const SearchContext &c, JpegSettings s)
{
    return trialsOf(c, s.fullChroma ? "jpeg444" : "jpeg420", [&c, s](int q) mutable {
        s.quality = q;
        return encodeJpeg(c.sample.pixels, s);
    });
}

template <typename T>
JpegCandidate searchLayout(T &trials, JpegSettings s, int guess)
{
    SearchShape shape = jpegShape(s.fullChroma);
    // The first guess judged already (the layouts' comparison) costs no trial.
    if (trials.scores.count(guess))
        ++shape.maxTrials;
    const SettingSearch found = trials.search(shape, guess);
    s.quality = found.setting;
    return {s, found.score};
}

// Where a layout's first trial says it would reach the reference distance, by the fitted
// slope, and the log of what the sample would weigh there; nullopt past the top quality.
std::optional<double> predictedWeight(bool fullChroma, int quality, double score, std::size_t bytes)
{
    const SearchShape shape = jpegShape(fullChroma);
    const double reached = predictedSetting(shape, quality, score, layoutReferenceTarget());
    if (reached > shape.hi)
        return std::nullopt;
    return std::log(double(bytes)) + kJpegByteSlope * axisDistance(shape, quality, reached);
}

// Out of reach: some images keep a distance even at quality 100 (saturated colours
// that YCbCr in 8 bits cannot hold), and the score levels off well below the top.
// JPEG's best is then the lightest trial on that floor, which looks the same as the
// highest setting at a fraction of its bytes.
template <typename T>
JpegSettings onTheFloor(const T &halvedTrials, const T &fullTrials, const JpegSettings &halved,
                        const JpegSettings &full)
{
    const double floor = std::min(halvedTrials.lowestScore(), fullTrials.lowestScore()) * kOnTheFloor;
    std::optional<std::pair<std::size_t, JpegSettings>> best;
    for (const auto &[trials, s] : {std::pair{&halvedTrials, halved}, std::pair{&fullTrials, full}})
        if (const auto lightest = trials->lightestWithin(floor); lightest && (!best || lightest->first < best->first))
            best = std::pair{lightest->first, withJpegQuality(s, lightest->second)};
    if (best && best->second.quality < 100)
        return best->second;
    // Its highest setting, where trellis would still drop detail.
    JpegSettings highest = full;
    highest.quality = 100;
    highest.trellis = false;
    return highest;
}

// On its floor the sample cannot say how the whole scores: its scores wander by a few
// hundredths from one quality to the next, and the whole's floor lies elsewhere (a CMYK
// photo: the sample's halved floor 1.33 against full chroma's 1.16, the whole's 1.44 and
// 1.34 at quality 96, with 58 % of the bytes halved). So where the sample's halved floor
// is within the whole's target, halved chroma, the lighter layout, is tried on the real
// file and judged whole: at its floor's lightest setting, and over there, halfway to the
// top (on a floor, scores wander rather than fall). It is taken where it keeps within and
// weighs less than the floor's choice would, as their samples weigh.
template <typename T>
std::optional<JpegChoice> halvedOnWhole(const SearchContext &c, T &halvedTrials, T &fullTrials,
                                        const JpegSettings &halved, const JpegSettings &chosen,
                                        const vips::VImage &image)
{
    const double floor = halvedTrials.lowestScore();
    const auto start = halvedTrials.lightestWithin(floor * kOnTheFloor);
    if (!start || c.sample.whole || c.sample.tiles.empty() || floor > c.wholeTarget)
        return std::nullopt;
    auto whole = wholeTrialsOf(c, "jpeg420", image, [&image, s = halved](int q) mutable {
        s.quality = q;
        return encodeJpeg(image, s);
    });
    if (whole(start->second) > c.wholeTarget && start->second < 100)
        whole((start->second + 101) / 2);
    const auto within = whole.lightestWithin(c.wholeTarget);
    if (!within)
        return std::nullopt;
    const auto sampleBytes = [](T &trials, int q) {
        if (!trials.files.count(q))
            trials(q);
        return trials.files.at(q).size();
    };
    auto &chosenTrials = chosen.fullChroma ? fullTrials : halvedTrials;
    if (sampleBytes(halvedTrials, within->second) > sampleBytes(chosenTrials, chosen.quality))
        return std::nullopt;
    return JpegChoice{withJpegQuality(halved, within->second), std::move(whole.files.at(within->second))};
}

// The choice of a layout's search; where the sample is the whole image, that search's
// trial at the chosen quality is the very file to write.
template <typename T>
JpegChoice searched(const SearchContext &c, T &trials, const JpegSettings &s)
{
    const auto made = trials.files.find(s.quality);
    if (!c.sample.whole || made == trials.files.end())
        return {s, std::nullopt};
    return {s, std::move(made->second)};
}

} // namespace

JpegChoice chooseJpeg(const SearchContext &c, const Options &o, const vips::VImage &image)
{
    const JpegSettings halved = jpegLayout(o, false), full = jpegLayout(o, true);
    auto halvedTrials = jpegTrials(c, halved);
    if (isGrey(c.sample.pixels))
        return searched(c, halvedTrials, searchLayout(halvedTrials, halved, halved.quality).settings);
    // Both layouts tried at one quality: the one predicted lighter at one reference
    // distance is searched on from there. Colour detail (text, graphics, saturated edges)
    // keeps the halved layout's score high at any quality, while photos reach the target
    // at a lower quality with halved chroma's fewer bytes. Quality and reference are the
    // same for every level, so that an image keeps its layout from level to level and a
    // higher level never comes out heavier by changing layout.
    const int first = layoutReferenceQuality();
    auto fullTrials = jpegTrials(c, full);
    const double halvedScore = halvedTrials(first), fullScore = fullTrials(first);
    const std::optional<double> halvedWeight = predictedWeight(false, first, halvedScore, halvedTrials.files.at(first).size());
    const std::optional<double> fullWeight = predictedWeight(true, first, fullScore, fullTrials.files.at(first).size());
    const bool fullFirst = !halvedWeight || (fullWeight && *fullWeight < *halvedWeight);
    if (!fullFirst) {
        const JpegCandidate h = searchLayout(halvedTrials, halved, first);
        if (h.score <= c.target)
            return searched(c, halvedTrials, h.settings);
    }
    const JpegCandidate f = searchLayout(fullTrials, full, first);
    if (f.score <= c.target)
        return searched(c, fullTrials, f.settings);
    const JpegSettings floor = onTheFloor(halvedTrials, fullTrials, halved, full);
    if (auto settled = halvedOnWhole(c, halvedTrials, fullTrials, halved, floor, image))
        return std::move(*settled);
    return {floor, std::nullopt};
}

// Where a lossy search without a pass ends: its highest setting tried, or the lightest
// trial that scores no worse and about as low as any. Near their top, WebP and AVIF scores
// level off or even rise again (one photo as WebP: 1.495 at 96, 1.514 at 100), so the
// highest setting is often neither the best looking nor the lightest.
template <typename T>
int settledSetting(const T &trials, const SettingSearch &found)
{
    if (found.score <= trials.target())
        return found.setting;
    const double atTheTop = trials.scores.rbegin()->second;
    return trials.lightestWithin(std::min(trials.lowestScore() * kOnTheFloor, atTheTop))->second;
}

// The real file, searched on its own score from the sample's choice: these encoders tune
// themselves to the whole image (and a palette is the whole's), so the sample reads their
// files' faults neither where nor as badly as the whole has them. The sample makes the
// first guess; a few files more (kWholeCheckPixels) go up while over and down while well
// under, each judged whole, and the file kept is one the whole judged. Where none is
// within, the lightest about as good as any (near their top, WebP and AVIF scores level
// off). Where the sample found no pass, one file confirms it. A sample that is the whole
// image was this very file, and an animation was judged on its first frame, the sample:
// the trial's score stands.
struct Settled {
    Bytes bytes;
    double score = 0; // 0 when not judged
};

template <typename T, typename Encode>
Settled settledOnWhole(const T &trials, const vips::VImage &image, SearchShape shape, int setting, Encode encode)
{
    const SearchContext &c = trials.c;
    const auto known = trials.scores.find(setting);
    if (c.sample.whole && known != trials.scores.end())
        return {encode(setting), known->second};
    if (!c.sample.whole && c.sample.tiles.empty())
        return {encode(setting), 0};
    auto whole = wholeTrialsOf(c, trials.name, image, std::move(encode));
    const bool passed = known != trials.scores.end() && known->second <= c.target;
    const double pixels = double(image.width()) * image.height();
    const int checks = std::clamp(int(kWholeCheckPixels / pixels), kFewestWholeChecks, kMostWholeChecks);
    shape.maxTrials = passed ? 1 + checks : 1;
    shape.capped = true;
    shape.giveUp = true;
    shape.closeEnough = kWholeCloseEnough;
    const SettingSearch found = whole.search(shape, setting);
    // Over at the highest setting with a check left: near their top, WebP's and AVIF's
    // whole-image scores rise and fall from one setting to the next (a photo as AVIF: 1.48
    // at 99, 1.43 at 97, with two thirds of the bytes), so halfway down to the sample's
    // highest failure is worth a look.
    if (found.score > c.wholeTarget && found.trials < shape.maxTrials && whole.scores.count(shape.hi) &&
        whole.scores.at(shape.hi) > c.wholeTarget) {
        int below = shape.lo;
        for (const auto &[at, score] : trials.scores)
            if (at < shape.hi && score > c.target)
                below = std::max(below, at);
        const int halfway = (below + shape.hi + 1) / 2;
        if (halfway > below && halfway < shape.hi && !whole.scores.count(halfway))
            whole(halfway);
    }
    const auto within = whole.lightestWithin(c.wholeTarget);
    const int chosen = within ? within->second : settledSetting(whole, found);
    return {std::move(whole.files.at(chosen)), whole.scores.at(chosen)};
}

// The lossy file, or, where even its best stays over the bound, the format's lossless
// setting: taken where it weighs at most kLosslessWorth times the lossy file (graphics:
// often less), and whatever it weighs where the lossy one is far over.
template <typename EncodeLossless>
Bytes losslessWhereOver(const SearchContext &c, Settled lossy, EncodeLossless encodeLossless)
{
    if (lossy.score <= c.wholeTarget)
        return std::move(lossy.bytes);
    Bytes lossless = encodeLossless();
    if (lossy.score > kFarOver * c.wholeTarget || double(lossless.size()) <= kLosslessWorth * double(lossy.bytes.size()))
        return lossless;
    return std::move(lossy.bytes);
}

Bytes encodeWebpWithinBound(const SearchContext &c, const vips::VImage &image, const Options &o)
{
    WebpSettings s = webpSettingsFor(o);
    s.lossless = false;
    const auto trialsWith = [&](bool smart) {
        return trialsOf(c, smart ? "webp-sharp" : "webp", [&c, smart, t = s](int q) mutable {
            t.quality = q;
            t.smartSubsample = smart;
            return encodeWebp(c.sample.pixels, t);
        });
    };
    const SearchShape shape{20, 100, kWebpSlope};
    auto plain = trialsWith(false), sharp = trialsWith(true);
    SettingSearch found = plain.search(shape, s.quality);
    // The plain chroma conversion is lighter at the same score on most images; where it
    // levels off over the target (saturated edges, skies near the top), the sharp one can
    // still reach it.
    s.smartSubsample = false;
    if (found.score > c.target) {
        const SettingSearch sharpFound = sharp.search(shape, s.quality);
        if (sharpFound.score <= c.target || sharp.lowestScore() < plain.lowestScore()) {
            found = sharpFound;
            s.smartSubsample = true;
        }
    }
    const auto &trials = s.smartSubsample ? sharp : plain;
    const auto lossless = [&] {
        s.lossless = true;
        return encodeWebp(image, s);
    };
    // Lossy WebP halves chroma whatever the setting: colour detail can keep it far over.
    if (trials.lowestScore() > kFarOver * c.target)
        return lossless();
    Settled r = settledOnWhole(trials, image, shape, settledSetting(trials, found), [&](int q) {
        s.quality = q;
        return encodeWebp(image, s);
    });
    return losslessWhereOver(c, std::move(r), lossless);
}

Bytes encodeAvifWithinBound(const SearchContext &c, const vips::VImage &image, const Options &o, int outputPixels)
{
    AvifSettings s = avifSettingsFor(o, outputPixels);
    s.fullChroma = true;
    auto trials = trialsOf(c, "avif", [&](int q) {
        s.quality = q;
        return encodeAvif(c.sample.pixels, s);
    });
    // Its quality 100 is lossless, at several times the bytes: the search stays below, and
    // looks for a pass before settling on its highest setting, whose file is several times
    // the size of one a few steps lower (its score falls slowly, then all at once).
    SearchShape shape{20, 99, kAvifSlope};
    shape.giveUp = false;
    const SettingSearch found = trials.search(shape, s.quality);
    Settled r = settledOnWhole(trials, image, shape, settledSetting(trials, found), [&](int q) {
        s.quality = q;
        return encodeAvif(image, s);
    });
    return losslessWhereOver(c, std::move(r), [&] {
        s.quality = 100;
        return encodeAvif(image, s);
    });
}

std::optional<Bytes> encodePaletteWithinBound(const SearchContext &c, const vips::VImage &image, const Options &o,
                                              int outputPixels)
{
    PngSettings s = pngSettingsFor(o, outputPixels);
    if (!s.palette)
        return std::nullopt;
    // The quantiser's quality sets how many colours and how much dithering it spends.
    auto trials = trialsOf(c, "palette", [&](int q) {
        s.quality = q;
        return encodePng(c.sample.pixels, s);
    });
    const SearchShape shape{0, 100, kPaletteSlope, 30};
    const SettingSearch found = trials.search(shape, 90);
    if (found.score > c.target)
        return std::nullopt;
    // The whole image shares one palette, which the sample's trial could not show.
    Settled r = settledOnWhole(trials, image, shape, found.setting, [&](int q) {
        s.quality = q;
        return encodePng(image, s);
    });
    if (r.score > c.wholeTarget)
        return std::nullopt;
    return std::move(r.bytes);
}

} // namespace dravik
