// What the engine's black-box tests share: running dravik.bin as a child with a time-out
// and limits, a scratch folder per test, images made with libvips, and reading back what
// the engine wrote.
#pragma once

#include <gtest/gtest.h>
#include <vips/vips8>

#include <string>
#include <sys/resource.h>
#include <vector>

namespace dk {

using vips::VImage;
using Args = std::vector<std::string>;
using Colour = std::vector<double>;

inline Args operator+(Args a, const Args &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct RunOptions {
    double timeoutSeconds = 200; // generous: shared machines are slow
    rlim_t addressSpaceLimit = 0; // RLIMIT_AS of the child; 0 leaves it alone
    rlim_t fileSizeLimit = 0;     // RLIMIT_FSIZE of the child, with SIGXFSZ ignored
    long runAsUser = -1;          // uid and gid of the child, for tests run as root
};

struct RunResult {
    int code = -1;
    int signal = 0;
    bool timedOut = false;
    std::string out, err, commandLine;
    bool exited() const { return signal == 0 && !timedOut; }
    std::string describe() const;
};

// The run ended on its own with this code.
::testing::AssertionResult endedWith(const char *, const char *, const RunResult &r, int code);
RunResult runProgram(const std::string &program, const Args &args, const RunOptions &options = {});
RunResult runEngine(const Args &args, const RunOptions &options = {});

// A PNG chunk with its length and CRC.
std::string pngChunk(const std::string &type, const std::string &data);
std::string readBytes(const std::string &path);
void writeBytes(const std::string &path, const std::string &bytes);
long long fileSize(const std::string &path);
std::vector<std::string> listDir(const std::string &dir);

// Made images, all 8-bit sRGB.
VImage solid(int width, int height, const Colour &colour);
// Red, green / blue, white quadrants; with alpha the right half is half transparent.
VImage quadrants(int width, int height, bool withAlpha = false);
// Smooth gradients, waves and grain: compresses like a photograph.
VImage photoLike(int width, int height, int seed = 1);
VImage to16Bit(const VImage &image);
VImage animation(const std::vector<VImage> &frames);
VImage withProfile(VImage image, const std::string &iccBytes);
std::string builtinProfile(const std::string &name); // "srgb", "p3", "cmyk"
// Saves with a vips option string; no EXIF is made up unless the options keep it.
void save(VImage image, const std::string &path, const std::string &options = "");

// Reading back; the format ("jpg" "png" "gif" "webp" "avif") is found from the content.
struct ImageInfo {
    bool ok = false;
    std::string format, icc;
    int width = 0, height = 0, bands = 0, pages = 1, orientation = 1;
    bool exif = false, xmp = false, exifThumbnail = false;
    VipsInterpretation interpretation = VIPS_INTERPRETATION_sRGB;
};
ImageInfo inspect(const std::string &path);
VImage loadFirstPage(const std::string &path, int page = 0);
// Upright 8-bit sRGB as a viewer shows it (profiles applied, CMYK as lcms2 shows it).
VImage loadForViewing(const std::string &path);
Colour pixelAt(const std::string &path, int x, int y, int page = 0);
::testing::AssertionResult near(const Colour &got, const Colour &want, double tolerance);
// Mean absolute difference per sample, alpha flattened on white, sizes matched.
double meanDifference(VImage a, VImage b);

// The butteraugli bound of each -reducemode level (index 0 unused).
inline constexpr double kLevelBound[9] = {0, 0.8, 1.0, 1.2, 1.35, 1.5, 2.0, 2.7, 3.5};

class EngineTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    std::string path(const std::string &name) const { return dir_ + "/" + name; }
    const std::string &dir() const { return dir_; }
    RunResult run(const Args &args, const RunOptions &options = {}) const { return runEngine(args, options); }
    // The options, then -in IN -out OUT.
    RunResult job(const std::string &in, const std::string &out, const Args &options = {}) const;
    // The run must end with `code` and a one-line reason, leaving `folder` (the scratch
    // folder by default) exactly as it was: same names, same bytes.
    void expectFailure(int code, const Args &args, const std::string &folder = "", const RunOptions &options = {});
    // The engine ended on its own, with a code of its table, saying why if it failed.
    static void expectCleanEnd(const RunResult &r);
    // butteraugli max-norm between sRGB decodes (at half size over six megapixels), as the
    // levels' bounds are defined.
    double butteraugli(const std::string &reference, const std::string &distorted) const;

private:
    std::string dir_;
};

} // namespace dk

#define EXPECT_EXIT_CODE(result, expected) EXPECT_PRED_FORMAT2(::dk::endedWith, result, expected)
#define ASSERT_EXIT_CODE(result, expected) ASSERT_PRED_FORMAT2(::dk::endedWith, result, expected)
