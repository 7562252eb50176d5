#include "perceptual.h"

#include "exitcodes.h"

#include <jxl/butteraugli.h>
#include <jxl/thread_parallel_runner.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <vector>

namespace dravik {

struct Judge::Impl {
    JxlButteraugliApi *api = nullptr;
    void *runner = nullptr;
};

Judge::Judge() : impl_(std::make_unique<Impl>())
{
    impl_->api = JxlButteraugliApiCreate(nullptr);
    if (!impl_->api)
        fail(Exit::OutOfMemory, "out of memory: the quality measure cannot start");
    // A display of 80 nits, as butteraugli's own command-line judge assumes.
    JxlButteraugliApiSetIntensityTarget(impl_->api, 80.0f);
    // Two workers: the machines this runs on have few cores, and several engines share them.
    impl_->runner = JxlThreadParallelRunnerCreate(nullptr, 2);
    if (impl_->runner)
        JxlButteraugliApiSetParallelRunner(impl_->api, JxlThreadParallelRunner, impl_->runner);
}

Judge::~Judge()
{
    JxlButteraugliApiDestroy(impl_->api);
    if (impl_->runner)
        JxlThreadParallelRunnerDestroy(impl_->runner);
}

namespace {

// 8-bit sRGB as a viewer shows the file: over white where it is transparent, as the
// JPEG candidate of the same pixels is.
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

std::vector<unsigned char> packed(const vips::VImage &image)
{
    std::size_t size = 0;
    void *data = image.write_to_memory(&size);
    std::vector<unsigned char> out(static_cast<unsigned char *>(data), static_cast<unsigned char *>(data) + size);
    g_free(data);
    return out;
}

} // namespace

double Judge::distance(const vips::VImage &reference, const vips::VImage &candidate) const
{
    const std::vector<unsigned char> a = packed(viewable(reference));
    const std::vector<unsigned char> b = packed(viewable(candidate));
    const JxlPixelFormat format{3, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
    JxlButteraugliResult *result =
        JxlButteraugliCompute(impl_->api, uint32_t(reference.width()), uint32_t(reference.height()), &format, a.data(),
                              a.size(), &format, b.data(), b.size());
    if (!result)
        fail(Exit::OutOfMemory, "out of memory: the quality measure failed");
    const double d = JxlButteraugliResultGetMaxDistance(result);
    JxlButteraugliResultDestroy(result);
    return d;
}

namespace {

// Outputs over six megapixels are judged at half size, as viewers see them.
constexpr double kHalfSizeAbove = 6'000'000;
// Trials judge about this many pixels (at the judged scale); smaller images are judged whole.
constexpr int kTile = 128;
constexpr int kTilesPerKind = 3;
constexpr double kWholeBelow = 4.0 * kTilesPerKind * kTile * kTile * 1.5;

struct Cell {
    int x = 0, y = 0;
    double edges = 0;    // mean luma gradient: texture, which hides errors
    double peaks = 0;    // mean squared gradient against the squared mean: strong edges on calm ground (ringing)
    double chroma = 0;   // mean colour gradient: colour edges smear under halved chroma
};

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

// Per-cell statistics from maps computed once at reduced size.
std::vector<Cell> cellsOf(const vips::VImage &image, int cell)
{
    // Statistics on a reduced copy: a cell becomes 32 pixels across.
    const int reduce = std::max(1, cell / 32);
    const vips::VImage rgb = viewable(image).shrink(reduce, reduce);
    const vips::VImage luma = rgb.colourspace(VIPS_INTERPRETATION_B_W).cast(VIPS_FORMAT_FLOAT);
    const vips::VImage lab = rgb.colourspace(VIPS_INTERPRETATION_LAB);
    const vips::VImage g = luma.sobel().cast(VIPS_FORMAT_FLOAT);
    const vips::VImage c = (lab[1].sobel() + lab[2].sobel()).cast(VIPS_FORMAT_FLOAT);
    const vips::VImage maps = g.bandjoin(g * g).bandjoin(c).copy_memory();
    const int small = std::max(1, cell / reduce);
    std::vector<Cell> cells;
    for (int y : originsAlong(image.height(), cell))
        for (int x : originsAlong(image.width(), cell)) {
            const int sx = std::min(x / reduce, std::max(0, maps.width() - small));
            const int sy = std::min(y / reduce, std::max(0, maps.height() - small));
            const vips::VImage area =
                maps.extract_area(sx, sy, std::min(small, maps.width()), std::min(small, maps.height()));
            const double mean[3] = {area[0].avg(), area[1].avg(), area[2].avg()};
            Cell stats;
            stats.x = x;
            stats.y = y;
            stats.edges = mean[0];
            stats.peaks = mean[1] / ((mean[0] + 2.0) * (mean[0] + 2.0));
            stats.chroma = mean[2];
            cells.push_back(stats);
        }
    return cells;
}

// Tiles where encoders fail first: strong edges on calm ground, colour edges, calm areas
// with some structure (banding and blocking), and the busiest texture; a few spread over
// the image catch what the statistics miss.
std::vector<std::pair<int, int>> chooseTiles(const std::vector<Cell> &cells)
{
    std::set<std::pair<int, int>> chosen;
    std::vector<std::size_t> order(cells.size());
    const auto pickBy = [&](auto better, auto eligible) {
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return better(cells[a], cells[b]); });
        int taken = 0;
        for (std::size_t i : order) {
            if (taken == kTilesPerKind)
                break;
            if (eligible(cells[i]) && chosen.insert({cells[i].x, cells[i].y}).second)
                ++taken;
        }
    };
    const auto any = [](const Cell &) { return true; };
    pickBy([](const Cell &a, const Cell &b) { return a.peaks > b.peaks; }, any);
    pickBy([](const Cell &a, const Cell &b) { return a.chroma > b.chroma; }, any);
    pickBy([](const Cell &a, const Cell &b) { return a.edges < b.edges; }, [](const Cell &c) { return c.edges > 1.0; });
    pickBy([](const Cell &a, const Cell &b) { return a.edges > b.edges; }, any);
    const std::size_t spread = std::max<std::size_t>(1, cells.size() / kTilesPerKind);
    for (std::size_t i = spread / 2; i < cells.size() && chosen.size() < 5u * kTilesPerKind; i += spread)
        chosen.insert({cells[i].x, cells[i].y});
    return {chosen.begin(), chosen.end()};
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
        s.tiles = chooseTiles(cellsOf(image, cell));
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

SettingSearch searchSetting(const std::function<double(int)> &scoreAt, int lo, int hi, int guess, double target,
                            int maxTrials)
{
    // pass: lowest setting known within target; fail: highest known over it.
    std::optional<std::pair<int, double>> pass, fail;
    int trials = 0;
    int next = std::clamp(guess, lo, hi);
    int step = 6;
    while (trials < maxTrials) {
        const double score = scoreAt(next);
        ++trials;
        if (score <= target) {
            if (!pass || next < pass->first)
                pass = std::pair{next, score};
        } else if (!fail || next > fail->first) {
            fail = std::pair{next, score};
        }
        if (pass && fail) {
            if (pass->first - fail->first <= 1)
                break;
            // The score falls about linearly with the setting near the target.
            const double t = (fail->second - target) / std::max(1e-6, fail->second - pass->second);
            next = fail->first + int(std::lround(t * (pass->first - fail->first)));
            next = std::clamp(next, fail->first + 1, pass->first - 1);
        } else if (pass) {
            if (pass->first == lo)
                break;
            next = std::max(lo, pass->first - step);
            step *= 2;
        } else {
            if (fail->first == hi)
                break;
            next = std::min(hi, fail->first + step);
            step *= 2;
        }
    }
    if (pass)
        return {pass->first, pass->second, trials};
    return {hi, fail ? fail->second : 0.0, trials};
}

} // namespace dravik
