// The few engine parts a black-box run cannot pin down: the shrink-on-load factor
// (invisible in the pixels) and the supervising parent, which turns deaths into codes and
// removes a dead child's temporary file.
#include "atomicwrite.h"
#include "encode.h"
#include "exitcodes.h"
#include "perceptual.h"
#include "resize.h"
#include "supervise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <cstdlib>
#include <sys/resource.h>
#include <unistd.h>

using namespace dravik;

namespace {

// Decoding at 1/2, 1/4, 1/8 leaves the kernel at least a factor of two on the axis that
// shrinks least, so the result stays sharp.
TEST(Resize, ShrinkOnLoadLeavesTheKernelAFactorOfTwo) {
    const std::vector<std::pair<std::array<int, 4>, int>> cases{
        {{6000, 4000, 1920, 1280}, 1}, {{6000, 4000, 1600, 1067}, 1}, {{6000, 4000, 1500, 1000}, 2},
        {{6000, 4000, 750, 500}, 4},   {{6000, 4000, 100, 67}, 8},     {{6000, 4000, 100, 4000}, 1}};
    for (const auto &[s, factor] : cases)
        EXPECT_EQ(shrinkOnLoadFactor(s[0], s[1], s[2], s[3]), factor) << testing::PrintToString(s);
}

using vips::VImage;

VImage srgb8(const std::vector<VImage> &bands) {
    const VImage joined = VImage::bandjoin(bands).cast(VIPS_FORMAT_UCHAR);
    return joined.copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB)).copy_memory();
}

VImage noiseOf(int w, int h, double sigma) {
    return VImage::gaussnoise(w, h, VImage::option()->set("sigma", sigma)->set("seed", 3));
}

// Judged in bands side by side, an image scores as it does in one piece: wide images are
// cut across, tall ones down, and ones too small for bands are judged whole.
TEST(Judge, BandsScoreAsTheWhole) {
    const Judge whole(1), banded(3);
    for (const auto &[w, h] : std::vector<std::pair<int, int>>{{700, 180}, {180, 700}, {150, 150}}) {
        const VImage xy = VImage::xyz(w, h), noise = noiseOf(w, h, 20);
        // Strokes on a calm ground, busier towards one end, so the worst spot lies in one band.
        const VImage strokes = ((xy[0] % 19) < 2) & ((xy[0] + xy[1]) > (w + h) / 2);
        const VImage image =
            srgb8({strokes.ifthenelse(40, noise + 160), strokes.ifthenelse(200, noise + 150), xy[1] * (80.0 / h) + 90});
        JpegSettings low;
        low.quality = 40;
        const Bytes bytes = encodeJpeg(image, low);
        const VImage decoded = VImage::new_from_buffer(bytes.data(), bytes.size(), "").copy_memory();
        const double expected = whole.distance(image, decoded);
        EXPECT_NEAR(banded.distance(image, decoded), expected, 0.02 * expected) << w << "x" << h;
    }
}

// Faults a sample cut before encoding misses, as encoders that tune themselves to the whole
// image leave them: found where the real file errs most, and judged as the whole judges them.
TEST(Judge, WorstSpotsOfTheRealFile) {
    const Judge judge;
    const int w = 1200, h = 700;
    const VImage xy = VImage::xyz(w, h), texture = (xy[0] > w / 2).ifthenelse(noiseOf(w, h, 25), 0);
    // Calm gradients on the left, texture on the right.
    const VImage image = srgb8({xy[0] * (40.0 / w) + 100 + texture, xy[1] * (30.0 / h) + 120 + texture,
                                (xy[0] + xy[1]) * (20.0 / (w + h)) + 160});
    const Sample sample = sampleOf(image);
    ASSERT_FALSE(sample.tiles.empty());
    // A cell of each half whose middle no sample tile overlaps.
    const auto unsampled = [&](int from) {
        for (int y = 0;; y += sample.cell)
            for (int x = from; x + sample.cell <= w; x += sample.cell)
                if (std::none_of(sample.tiles.begin(), sample.tiles.end(), [&](const auto &t) {
                        return t.first < x + 96 && x + 32 < t.first + sample.cell && t.second < y + 96 &&
                               y + 32 < t.second + sample.cell;
                    }))
                    return std::pair{x, y};
    };
    const std::vector<std::pair<const char *, std::function<VImage(const VImage &)>>> faults{
        {"colour shifted on calm ground", [](const VImage &p) { return p + std::vector<double>{0, 0, 12}; }},
        {"detail lost in texture", [](const VImage &p) { return p.gaussblur(1.5); }}};
    for (const auto &[name, fault] : faults) {
        const auto [x, y] = unsampled(name[0] == 'c' ? 0 : w / 2 + sample.cell);
        const VImage patch = fault(image.extract_area(x + 32, y + 32, 64, 64)).cast(VIPS_FORMAT_UCHAR);
        const VImage decoded = image.insert(patch, x + 32, y + 32).copy_memory();
        const double whole = judge.distance(image, decoded);
        EXPECT_LT(judgePixels(judge, sample, cutLikeSample(sample, decoded)), 0.5 * whole) << name;
        EXPECT_NEAR(judgeWhereWorst(judge, sample, image, decoded), whole, 0.1 * whole) << name;
    }
}

std::string g_folder;

int returnsSeven(int, char **) { return 7; }
int throwsDamaged(int, char **) { fail(Exit::Damaged, "test"); }
int crashes(int, char **) { return ::raise(SIGSEGV); }
int killedHard(int, char **) { return ::raise(SIGKILL); } // as the kernel's OOM killer does
int libraryExitsOne(int, char **) { std::exit(1); }      // as libgomp does without threads
// Killed by SIGXFSZ inside the write, while its temporary file exists.
int diesWhileWriting(int, char **) {
    const struct rlimit limit{1 << 20, 1 << 20};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::signal(SIGXFSZ, SIG_DFL);
    writeAtomically(g_folder + "/out.bin", Bytes(std::size_t(4) << 20, 0), std::nullopt);
    return 0;
}

// Codes pass through; a death becomes a stop code (never the usage code 1) and leaves
// neither a temporary file nor half an output.
TEST(Supervise, DeathsBecomeStopCodesAndLeaveNoFile) {
    char dir[] = "/tmp/dravik-unit-sv-XXXXXX";
    ASSERT_NE(::mkdtemp(dir), nullptr);
    g_folder = dir;
    const std::vector<std::pair<int (*)(int, char **), Exit>> cases{
        {returnsSeven, Exit(7)},         {throwsDamaged, Exit::Damaged},       {crashes, Exit::Internal},
        {killedHard, Exit::OutOfMemory}, {libraryExitsOne, Exit::Internal},    {diesWhileWriting, Exit::Internal}};
    for (const auto &[body, code] : cases) {
        char name[] = "engine";
        char *argv[] = {name, nullptr};
        EXPECT_EQ(runSupervised(body, 1, argv), int(code));
    }
    EXPECT_EQ(::rmdir(dir), 0) << "a file was left behind";
}

} // namespace
