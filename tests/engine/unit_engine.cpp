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
#include <turbojpeg.h>

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
// cut across, tall ones down, ones too small for bands are judged whole, and large ones
// get more bands than threads.
TEST(Judge, BandsScoreAsTheWhole) {
    const Judge whole(1), banded(3);
    for (const auto &[w, h] : std::vector<std::pair<int, int>>{{700, 180}, {180, 700}, {150, 150}, {1600, 900}}) {
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

// JPEG's whole-image margin is small because viewers decode the file to the very pixels
// the search judged: libjpeg-turbo with its defaults against our decoder, either chroma
// layout.
TEST(Jpeg, ViewersDecodeThePixelsWeJudged) {
    const int w = 203, h = 77;
    const VImage xy = VImage::xyz(w, h), noise = noiseOf(w, h, 30);
    const VImage image = srgb8({xy[0] * (255.0 / w), noise + 128, (xy[0] + xy[1]) % 64 * 4});
    for (const bool full : {false, true}) {
        JpegSettings s;
        s.fullChroma = full;
        const Bytes bytes = encodeJpeg(image, s);
        const VImage ours = VImage::new_from_buffer(bytes.data(), bytes.size(), "").copy_memory();
        std::vector<unsigned char> theirs(std::size_t(w) * h * 3);
        tjhandle tj = tjInitDecompress();
        ASSERT_NE(tj, nullptr);
        const int failed = tjDecompress2(tj, bytes.data(), static_cast<unsigned long>(bytes.size()), theirs.data(), w,
                                         0, h, TJPF_RGB, 0);
        tjDestroy(tj);
        ASSERT_EQ(failed, 0) << tjGetErrorStr();
        const VImage viewer = VImage::new_from_memory(theirs.data(), theirs.size(), w, h, 3, VIPS_FORMAT_UCHAR);
        EXPECT_EQ((ours - viewer).abs().max(), 0) << (full ? "4:4:4" : "4:2:0");
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
