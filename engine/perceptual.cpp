#include "perceptual.h"

#include "encode.h"
#include "exitcodes.h"

#include <jxl/butteraugli.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <numeric>
#include <optional>
#include <set>
#include <vector>

namespace dravik {

Judge::Judge(int parts) : parts_(parts > 0 ? parts : std::max(1, vips_concurrency_get())) {}

// As the JPEG candidate of the same pixels is: over white where transparent.
vips::VImage viewable(vips::VImage image)
{
    if (image.has_alpha())
        image = image.flatten(vips::VImage::option()->set("background", std::vector<double>{255.0}));
    if (image.bands() != 3 || image.interpretation() != VIPS_INTERPRETATION_sRGB)
        image = image.colourspace(VIPS_INTERPRETATION_sRGB);
    if (image.bands() > 3)
        image = image.extract_band(0, vips::VImage::option()->set("n", 3));
    return image.format() == VIPS_FORMAT_UCHAR ? image : image.cast(VIPS_FORMAT_UCHAR);
}

namespace {

std::vector<unsigned char> packed(const vips::VImage &image)
{
    std::size_t size = 0;
    void *data = image.write_to_memory(&size);
    std::vector<unsigned char> out(static_cast<unsigned char *>(data), static_cast<unsigned char *>(data) + size);
    g_free(data);
    return out;
}

} // namespace

namespace {

// A band's distances depend on its surroundings only this far (butteraugli's widest blurs,
// at its half-resolution pass): beyond it, a band's own share judges as the whole would.
constexpr int kBandOverlap = 32;
// A display of 80 nits, as butteraugli's own command-line judge assumes.
constexpr float kIntensityTarget = 80.0f;
// Bands narrower than this cost more in overlap than the threads save.
constexpr int kMinBand = 96;
// butteraugli holds about 270 bytes a pixel while it judges: a 10-megapixel photo judged
// whole at half size in two bands took the engine from 0.4 to 1.2 GB. Bands of at most
// this many pixels, overlap included, keep that under 200 MB at two threads; the overlap
// they add cost no measurable time.
constexpr double kMaxBandPixels = 300'000;

struct Band {
    int from = 0, to = 0; // the band's own share along the cut axis
    int lo = 0, hi = 0;   // what it is judged with, overlap included
};

// `parts` bands at least, more where each would hold over kMaxBandPixels; one where
// `parts` is 1 (judged in one piece).
std::vector<Band> bandsAlong(int length, int across, int parts)
{
    if (parts > 1) {
        const double share = std::max<double>(kMinBand, kMaxBandPixels / across - 2 * kBandOverlap);
        parts = std::max(parts, int(std::ceil(length / share)));
    }
    parts = std::clamp(length / kMinBand, 1, parts);
    // Cuts on 8-pixel steps keep every band's half-resolution pass on the whole's grid.
    const auto cut = [&](int i) { return i == parts ? length : int(std::int64_t(length) * i / parts) / 8 * 8; };
    std::vector<Band> bands;
    for (int i = 0; i < parts; ++i) {
        Band b{cut(i), cut(i + 1), 0, 0};
        b.lo = std::max(0, b.from - kBandOverlap);
        b.hi = std::min(length, b.to + kBandOverlap);
        bands.push_back(b);
    }
    return bands;
}

// Rows [lo, hi) or columns [lo, hi) of packed 3-byte pixels.
std::vector<unsigned char> bandOf(const std::vector<unsigned char> &pixels, int width, int height, bool acrossX,
                                  const Band &b)
{
    if (!acrossX)
        return {pixels.begin() + std::ptrdiff_t(b.lo) * width * 3, pixels.begin() + std::ptrdiff_t(b.hi) * width * 3};
    std::vector<unsigned char> out;
    out.reserve(std::size_t(b.hi - b.lo) * height * 3);
    for (int y = 0; y < height; ++y) {
        const auto row = pixels.begin() + (std::ptrdiff_t(y) * width + b.lo) * 3;
        out.insert(out.end(), row, row + std::ptrdiff_t(b.hi - b.lo) * 3);
    }
    return out;
}

} // namespace

vips::VImage Judge::distances(const vips::VImage &reference, const vips::VImage &candidate) const
{
    const std::vector<unsigned char> a = packed(viewable(reference));
    const std::vector<unsigned char> b = packed(viewable(candidate));
    const int width = reference.width(), height = reference.height();
    // Cut across the longer side: the bands stay wide enough to hold whole tiles.
    const bool acrossX = width >= height;
    const std::vector<Band> bands = bandsAlong(acrossX ? width : height, acrossX ? height : width, parts_);
    std::vector<float> map(std::size_t(width) * height);
    std::vector<char> failed(bands.size(), 0);
    const int count = int(bands.size());
    // A signed index: MSVC's OpenMP 2.0 takes no other.
#pragma omp parallel for num_threads(std::min(count, parts_)) schedule(dynamic, 1) if (count > 1)
    for (int i = 0; i < count; ++i) {
        const Band &band = bands[i];
        // One band is the whole image, judged from the packed pixels as they are.
        std::vector<unsigned char> ownA, ownB;
        if (count > 1) {
            ownA = bandOf(a, width, height, acrossX, band);
            ownB = bandOf(b, width, height, acrossX, band);
        }
        const std::vector<unsigned char> &pa = count > 1 ? ownA : a, &pb = count > 1 ? ownB : b;
        const uint32_t w = acrossX ? band.hi - band.lo : width, h = acrossX ? height : band.hi - band.lo;
        const JxlPixelFormat format{3, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
        // The API object only holds settings: one per band keeps the threads apart.
        JxlButteraugliApi *api = JxlButteraugliApiCreate(nullptr);
        JxlButteraugliResult *result = nullptr;
        if (api) {
            JxlButteraugliApiSetIntensityTarget(api, kIntensityTarget);
            result = JxlButteraugliCompute(api, w, h, &format, pa.data(), pa.size(), &format, pb.data(), pb.size());
            JxlButteraugliApiDestroy(api);
        }
        if (!result) {
            failed[i] = 1;
            continue;
        }
        const float *bandMap = nullptr;
        uint32_t stride = 0;
        JxlButteraugliResultGetDistmap(result, &bandMap, &stride);
        // Only the band's own share: its overlap is judged by its neighbour.
        const int x0 = acrossX ? band.from : 0, x1 = acrossX ? band.to : width;
        const int y0 = acrossX ? 0 : band.from, y1 = acrossX ? height : band.to;
        const int dx = acrossX ? band.lo : 0, dy = acrossX ? 0 : band.lo;
        for (int y = y0; y < y1; ++y) {
            const float *row = bandMap + std::size_t(y - dy) * stride;
            std::copy(row + (x0 - dx), row + (x1 - dx), map.begin() + std::ptrdiff_t(y) * width + x0);
        }
        JxlButteraugliResultDestroy(result);
    }
    if (std::find(failed.begin(), failed.end(), 1) != failed.end())
        fail(Exit::OutOfMemory, "out of memory: the quality measure failed");
    return vips::VImage::new_from_memory_copy(map.data(), map.size() * sizeof(float), width, height, 1,
                                              VIPS_FORMAT_FLOAT);
}

double Judge::distance(const vips::VImage &reference, const vips::VImage &candidate) const
{
    return distances(reference, candidate).max();
}

namespace {

// Outputs over six megapixels are judged at half size, as viewers see them.
constexpr double kHalfSizeAbove = 6'000'000;
// Trials judge about this many pixels (at the judged scale); smaller images are judged whole.
constexpr int kTile = 128;
// A search aims a little under the target, so that the predicted setting passes with its
// first trial more often than not.
constexpr double kAim = 0.97;
// Two failures count as a score levelling off only this far over the target.
constexpr double kLevelsOffAbove = 1.25;
// A search without a pass stops where the model puts the highest setting's score this far
// over the aim.
constexpr double kOutOfReach = 1.7;
// Settings between the lowest pass and the highest failure beyond which a search goes on.
constexpr int kWideBracket = 1;
// Most tiles go where a quick probe encoding errs most visibly (see cellsOf); the rest
// where the statistics say encoders fail first, for what the probe's own settings miss.
constexpr int kProbeTiles = 6, kRingingTiles = 1, kColourTiles = 2, kCalmTiles = 2, kSpreadTiles = 1;
constexpr int kTiles = kProbeTiles + kRingingTiles + kColourTiles + kCalmTiles + kSpreadTiles;
// A sample is crowded when at least kCrowdedCount cells it left out err within
// kCrowdedNear of the probe's worst. On the corpus, the whole image's score over the
// sample's stayed within 1.24 on images without such cells and reached 1.34-1.83 on the
// three with 5 to 36 of them.
constexpr double kCrowdedNear = 0.85;
constexpr int kCrowdedCount = 3;
// Judging the whole costs no more than a sample about twice the tiles' size, and a
// sample of most of a small image misjudges smooth gradients, where the worst band can
// fall between tiles.
constexpr double kWholeBelow = 2.0 * kTiles * kTile * kTile;

struct Cell {
    int x = 0, y = 0;
    double edges = 0;    // mean luma gradient: texture, which hides errors
    double peaks = 0;    // mean squared gradient against the squared mean: strong edges on calm ground (ringing)
    double chroma = 0;   // mean colour gradient: colour edges smear under halved chroma
    double probe = 0;    // worst masked error of the probe encoding in the cell
};

// The probe: a plain, fast JPEG at a middle quality with halved chroma. Where it errs most
// visibly is where any encoder's error peaks first (busy edges on calm ground, fine colour,
// texture the statistics rate as calm), so trials are judged where the whole image's
// worst spot lies.
constexpr int kProbeQuality = 80;
// Masking of the probe's error by the local gradient: an error of e on a gradient of g
// counts as e / (1 + g / kMasking). On the corpus's photos and graphics, the dozen cells
// ranked worst this way held the cell of the whole image's butteraugli maximum on four
// images in six, where the statistics alone had missed it on Honeywave and paratrooper.
constexpr double kMasking = 20.0;

// How visibly `decoded` departs from `rgb` at 1/reduce of the size: the error masked by
// the local gradient there.
vips::VImage maskedError(const vips::VImage &rgb, const vips::VImage &decoded, int reduce)
{
    const vips::VImage d = rgb.cast(VIPS_FORMAT_FLOAT) - decoded.cast(VIPS_FORMAT_FLOAT);
    const vips::VImage error = (d * d).bandmean().shrink(reduce, reduce).pow(0.5);
    const vips::VImage luma = rgb.shrink(reduce, reduce).colourspace(VIPS_INTERPRETATION_B_W).cast(VIPS_FORMAT_FLOAT);
    return (error / (luma.sobel().cast(VIPS_FORMAT_FLOAT) / kMasking + 1.0)).gaussblur(1.0).cast(VIPS_FORMAT_FLOAT).copy_memory();
}

// The probe's masked error.
vips::VImage maskedProbeError(const vips::VImage &rgb, int reduce)
{
    JpegSettings probe;
    probe.quality = kProbeQuality;
    probe.progressive = false;
    probe.trellis = false;
    const Bytes bytes = encodeJpeg(rgb, probe);
    // Made here, while the probe's bytes it decodes from still exist.
    return maskedError(rgb, vips::VImage::new_from_buffer(bytes.data(), bytes.size(), ""), reduce);
}

// The largest of an error map at 1/reduce of the size over each cell (origins in full-size
// pixels).
void worstPerCell(std::vector<Cell> &cells, int cell, const vips::VImage &masked, int reduce)
{
    std::size_t size = 0;
    float *err = static_cast<float *>(masked.write_to_memory(&size));
    const int ew = masked.width(), eh = masked.height();
    for (Cell &c : cells)
        for (int y = c.y / reduce; y < std::min(eh, (c.y + cell) / reduce); ++y)
            for (int x = c.x / reduce; x < std::min(ew, (c.x + cell) / reduce); ++x)
                c.probe = std::max(c.probe, double(err[std::size_t(y) * ew + x]));
    g_free(err);
}

// Cell origins along one side: a grid, plus one flush with the far edge so nothing there
// goes unseen; origins stay on 16-pixel steps, where the whole image's blocks lie.
std::vector<int> originsAlong(int length, int cell)
{
    std::vector<int> origins;
    for (int at = 0; at + cell <= length; at += cell)
        origins.push_back(at);
    const int last = (length - cell) / 16 * 16;
    if (last > 0 && (origins.empty() || last > origins.back()))
        origins.push_back(last);
    return origins;
}

// Per-cell statistics from maps computed once at reduced size, averaged per cell by one
// shrink: a few tens of milliseconds even on 24 megapixels.
std::vector<Cell> cellsOf(const vips::VImage &image, int cell)
{
    // Statistics on a reduced copy: a cell becomes 32 pixels across.
    const int reduce = std::max(1, cell / 32);
    const vips::VImage full = viewable(image);
    const vips::VImage rgb = full.shrink(reduce, reduce);
    const vips::VImage luma = rgb.colourspace(VIPS_INTERPRETATION_B_W).cast(VIPS_FORMAT_FLOAT);
    const vips::VImage lab = rgb.colourspace(VIPS_INTERPRETATION_LAB);
    const vips::VImage g = luma.sobel().cast(VIPS_FORMAT_FLOAT);
    const vips::VImage c = (lab[1].sobel() + lab[2].sobel()).cast(VIPS_FORMAT_FLOAT);
    const int small = std::max(1, cell / reduce);
    const vips::VImage means = g.bandjoin(g * g).bandjoin(c).shrink(small, small).cast(VIPS_FORMAT_FLOAT);
    std::size_t size = 0;
    float *data = static_cast<float *>(means.write_to_memory(&size));
    const int mw = means.width(), mh = means.height();
    std::vector<Cell> cells;
    for (int y : originsAlong(image.height(), cell))
        for (int x : originsAlong(image.width(), cell)) {
            // A cell flush with the far edge takes the statistics of the last whole one.
            const float *mean = data + 3 * (std::size_t(std::min(y / cell, mh - 1)) * mw + std::min(x / cell, mw - 1));
            Cell stats;
            stats.x = x;
            stats.y = y;
            stats.edges = mean[0];
            stats.peaks = mean[1] / ((mean[0] + 2.0) * (mean[0] + 2.0));
            stats.chroma = mean[2];
            cells.push_back(stats);
        }
    g_free(data);
    // The probe's worst spot per cell, probed at the size the judge sees (a box shrink
    // stands in for its resize here: only the ranking of cells matters).
    const int judgedShrink = std::max(1, cell / kTile);
    const vips::VImage probed = judgedShrink > 1 ? full.shrink(judgedShrink, judgedShrink) : full;
    worstPerCell(cells, cell, maskedProbeError(probed, std::max(1, reduce / judgedShrink)), reduce);
    return cells;
}

// Tiles where encoders fail first: where the probe errs most visibly, strong edges on
// calm ground (ringing), colour edges (smeared by halved chroma), calm areas with some
// structure (banding and blocking); one spread over the image catches what both miss. The
// butteraugli max-norm is decided by the worst spot, so a few well chosen tiles judge as
// well as many: the counts are the fewest with which the sample's score still follows the
// whole image's on the corpus (bench/fit_search.sh).
std::vector<std::pair<int, int>> chooseTiles(const std::vector<Cell> &cells)
{
    std::set<std::pair<int, int>> chosen;
    std::vector<std::size_t> order(cells.size());
    const auto pickBy = [&](int count, auto better, auto eligible) {
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return better(cells[a], cells[b]); });
        int taken = 0;
        for (std::size_t i : order) {
            if (taken == count)
                break;
            if (eligible(cells[i]) && chosen.insert({cells[i].x, cells[i].y}).second)
                ++taken;
        }
    };
    const auto any = [](const Cell &) { return true; };
    pickBy(kProbeTiles, [](const Cell &a, const Cell &b) { return a.probe > b.probe; }, any);
    pickBy(kRingingTiles, [](const Cell &a, const Cell &b) { return a.peaks > b.peaks; }, any);
    pickBy(kColourTiles, [](const Cell &a, const Cell &b) { return a.chroma > b.chroma; }, any);
    pickBy(kCalmTiles, [](const Cell &a, const Cell &b) { return a.edges < b.edges; }, [](const Cell &c) { return c.edges > 1.0; });
    const std::size_t spread = std::max<std::size_t>(1, cells.size() / (kSpreadTiles + 1));
    for (std::size_t i = spread; i < cells.size() && chosen.size() < std::size_t(kTiles); i += spread)
        chosen.insert({cells[i].x, cells[i].y});
    return {chosen.begin(), chosen.end()};
}

bool crowded(const std::vector<Cell> &cells, const std::vector<std::pair<int, int>> &tiles)
{
    double worst = 0;
    for (const Cell &c : cells)
        worst = std::max(worst, c.probe);
    const auto nearWorstLeftOut = [&](const Cell &c) {
        return c.probe >= kCrowdedNear * worst && std::find(tiles.begin(), tiles.end(), std::pair{c.x, c.y}) == tiles.end();
    };
    // A probe without error anywhere (a flat picture) ranks nothing.
    return worst > 0 && std::count_if(cells.begin(), cells.end(), nearWorstLeftOut) >= kCrowdedCount;
}

vips::VImage judgedView(const vips::VImage &image, double scale)
{
    vips::VImage view = viewable(image);
    return scale < 1 ? view.resize(scale) : view;
}

} // namespace

Sample sampleOf(const vips::VImage &image)
{
    Sample s;
    const double pixels = double(image.width()) * vips_image_get_page_height(image.get_image());
    s.judgeScale = pixels > kHalfSizeAbove ? 0.5 : 1.0;
    const int cell = int(kTile / s.judgeScale);
    const bool animated = vips_image_get_page_height(image.get_image()) != image.height();
    if (animated || pixels * s.judgeScale * s.judgeScale <= kWholeBelow || image.width() < cell ||
        image.height() < cell) {
        // Animations: the first frame stands for the rest.
        s.pixels = animated ? image.extract_area(0, 0, image.width(), vips_image_get_page_height(image.get_image()))
                            : image;
        s.pixels = s.pixels.copy_memory();
        s.whole = !animated;
    } else {
        const std::vector<Cell> cells = cellsOf(image, cell);
        s.tiles = chooseTiles(cells);
        s.crowded = crowded(cells, s.tiles);
        s.cell = cell;
        s.whole = false;
        s.pixels = cutLikeSample(s, image).copy_memory();
    }
    s.judged = judgedView(s.pixels, s.judgeScale).copy_memory();
    return s;
}

vips::VImage cutLikeSample(const Sample &sample, const vips::VImage &full)
{
    if (sample.tiles.empty())
        return full;
    std::vector<vips::VImage> tiles;
    for (const auto &[x, y] : sample.tiles)
        tiles.push_back(full.extract_area(x, y, sample.cell, sample.cell));
    return vips::VImage::arrayjoin(tiles, vips::VImage::option()->set("across", int(tiles.size())));
}

double judgeEncoding(const Judge &judge, const Sample &sample, const Bytes &encoded)
{
    vips::VImage decoded = vips::VImage::new_from_buffer(encoded.data(), encoded.size(), "");
    if (decoded.width() != sample.pixels.width() || decoded.height() < sample.pixels.height())
        fail(Exit::Internal, "a trial encoding came back at another size");
    if (decoded.height() != sample.pixels.height())
        decoded = decoded.extract_area(0, 0, decoded.width(), sample.pixels.height());
    return judgePixels(judge, sample, decoded);
}

double judgePixels(const Judge &judge, const Sample &sample, const vips::VImage &decoded)
{
    return judge.distance(sample.judged, judgedView(decoded, sample.judgeScale));
}

double judgeWhole(const Judge &judge, const Sample &sample, const vips::VImage &image, const vips::VImage &decoded)
{
    return judge.distance(judgedView(image, sample.judgeScale), judgedView(decoded, sample.judgeScale));
}

bool searchTraced()
{
    static const bool on = std::getenv("DRAVIK_TRACE_SEARCH") != nullptr;
    return on;
}

void traceStep(const char *what)
{
    if (!searchTraced())
        return;
    static auto last = std::chrono::steady_clock::now();
    static std::clock_t lastCpu = std::clock();
    const auto now = std::chrono::steady_clock::now();
    const std::clock_t cpu = std::clock();
    std::fprintf(stderr, "step %s: %.0f ms, cpu %.0f ms\n", what,
                 std::chrono::duration<double, std::milli>(now - last).count(), 1000.0 * double(cpu - lastCpu) / CLOCKS_PER_SEC);
    last = now;
    lastCpu = cpu;
}

namespace {

double axis(const SearchShape &shape, double setting)
{
    return shape.quantiserAxis ? -std::log(std::max(0.01, shape.hi + 0.5 - setting)) : setting;
}

double fromAxis(const SearchShape &shape, double a)
{
    return shape.quantiserAxis ? shape.hi + 0.5 - std::exp(-a) : a;
}

} // namespace

double axisDistance(const SearchShape &shape, double from, double to) { return axis(shape, to) - axis(shape, from); }

int crossingSetting(const SearchShape &shape, std::pair<int, double> over, std::pair<int, double> within,
                    double target)
{
    const double aim = target * kAim;
    const double t = std::log(over.second / aim) / std::max(1e-6, std::log(over.second / within.second));
    const double a = axis(shape, over.first);
    const int at = int(std::ceil(fromAxis(shape, a + t * (axis(shape, within.first) - a)) - 1e-9));
    return std::clamp(at, over.first + 1, within.first - 1);
}

double predictedSetting(const SearchShape &shape, int setting, double score, double aimed)
{
    return fromAxis(shape, axis(shape, setting) + std::log(score / aimed) / shape.slope);
}

SettingSearch searchSetting(const std::function<double(int)> &scoreAt, const SearchShape &shape, int guess,
                            double target)
{
    // pass: lowest setting known within target; fail: highest known over it.
    std::optional<std::pair<int, double>> pass, fail, lastFail;
    int trials = 0;
    // Where ln(score) is expected to cross ln(aim), from a known point: near the target the
    // log of the score falls about linearly along the axis.
    const double aim = target * kAim;
    const auto towards = [&](const std::pair<int, double> &from) {
        const double at = predictedSetting(shape, from.first, from.second, aim);
        return int(from.second > aim ? std::ceil(at - 1e-9) : std::floor(at + 1e-9));
    };
    int next = std::clamp(guess, shape.lo, shape.hi);
    // Where the caller's only fallback is the highest setting (the largest file), a few
    // more trials to find a pass cost far less than that file; noisy scores on smooth
    // images can otherwise leave the capped search without one. Where the caller has a
    // fallback (giveUp), a search without a pass stops at its trial count.
    bool failedLast = false, failedBefore = false;
    // A pass known only far above a failure can cost half again the bytes: worth a few
    // more trials too.
    const auto unsettled = [&] { return fail && (pass ? pass->first - fail->first > kWideBracket : !shape.giveUp); };
    while (trials < shape.maxTrials || (!shape.capped && unsettled() && trials < 2 * shape.maxTrials)) {
        const double score = scoreAt(next);
        ++trials;
        failedBefore = failedLast;
        failedLast = score > target;
        if (score <= target) {
            if (!pass || next < pass->first)
                pass = std::pair{next, score};
        } else if (!fail || next > fail->first) {
            fail = std::pair{next, score};
        }
        if (pass && (pass->second >= target * shape.closeEnough || pass->first == shape.lo))
            break;
        if (fail && fail->first == shape.hi)
            break;
        if (shape.giveUp && !pass && fail && lastFail && fail->first > lastFail->first &&
            fail->second > kLevelsOffAbove * target) {
            // Two settings well over the target and none within: where the score levels off
            // (halved chroma on colour detail, a palette short of colours) the highest
            // setting will not reach it either, and further trials are wasted. Near the
            // target, a score that rose a little is noise.
            const double flat = std::log(lastFail->second / fail->second) / axisDistance(shape, lastFail->first, fail->first);
            if (flat < shape.slope && fail->second * std::exp(-flat * axisDistance(shape, fail->first, shape.hi)) > target)
                break;
        }
        if (fail)
            lastFail = fail;
        if (pass && fail) {
            if (pass->first - fail->first <= 1)
                break;
            // Between the two, where the log-linear line through them crosses the aim.
            next = crossingSetting(shape, *fail, *pass, target);
            // Where the score bends (it falls fastest near the top), the line keeps landing
            // just over the failing end: after two failures in a row, halve the bracket.
            if (failedLast && failedBefore)
                next = std::max(next, (fail->first + pass->first + 1) / 2);
            next = std::clamp(next, fail->first + 1, pass->first - 1);
        } else {
            const std::pair<int, double> &known = pass ? *pass : *fail;
            next = towards(known);
            // So far over that even the highest setting falls well short by the model:
            // another trial would only confirm it.
            if (shape.giveUp && !pass &&
                known.second * std::exp(-shape.slope * axisDistance(shape, known.first, shape.hi)) > kOutOfReach * aim)
                break;
            // At least one step away, and never further than the model's reach.
            next = pass ? std::clamp(next, known.first - shape.maxStep, known.first - 1)
                        : std::clamp(next, known.first + 1, known.first + shape.maxStep);
            next = std::clamp(next, shape.lo, shape.hi);
        }
    }
    if (pass)
        return {pass->first, pass->second, trials};
    return {shape.hi, fail ? fail->second : 0.0, trials};
}

} // namespace dravik
