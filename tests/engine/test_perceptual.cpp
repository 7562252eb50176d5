// The per-image perceptual choice on generated images of different character: the bound
// holds, "auto" picks the format that suits, the safety switch tightens smooth images,
// and CMYK comes out as lcms2's own converter shows it.
#include "engine_process.h"
#include "image_tools.h"

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

class Perceptual : public EngineTest {};

VImage srgb(VImage image) {
    return image.cast(VIPS_FORMAT_UCHAR).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

// A flat graphic: coloured strokes one to three pixels wide on white, as text and line
// art are. Halved chroma smears exactly this.
VImage flatGraphic(int w, int h) {
    VImage xy = VImage::xyz(w, h);
    VImage x = xy[0], y = xy[1];
    VImage strokes = ((x % 23) < 2) | ((y % 17) < 1) | (((x + y) % 41) < 3);
    VImage r = strokes.ifthenelse(((x / 37) % 2) * 200 + 20, 255);
    VImage g = strokes.ifthenelse(((y / 29) % 2) * 60 + 10, 255);
    VImage b = strokes.ifthenelse(((x / 53) % 3) * 100, 255);
    return srgb(VImage::bandjoin(std::vector<VImage>{r, g, b}));
}

// A slow, low-contrast gradient with a camera's faint grain: where blocking and banding
// show first. (Without grain not even JPEG's highest setting keeps level 5's bound: the
// colour conversion's rounding alone shows on it.)
VImage smoothGradient(int w, int h) {
    VImage xy = VImage::xyz(w, h);
    VImage grain = VImage::gaussnoise(w, h, VImage::option()->set("sigma", 1.5)->set("mean", 0.0));
    return srgb(VImage::bandjoin(std::vector<VImage>{xy[0] * (30.0 / w) + 110, xy[1] * (24.0 / h) + 140,
                                                     (xy[0] + xy[1]) * (16.0 / (w + h)) + 190}) +
                grain);
}

// Fine noise over a mid tone: texture that hides errors, and costs bytes.
VImage noisyTexture(int w, int h) {
    VImage noise = VImage::gaussnoise(w, h, VImage::option()->set("sigma", 28.0)->set("mean", 128.0));
    VImage tint = VImage::xyz(w, h)[0] * (60.0 / w);
    return srgb(VImage::bandjoin(std::vector<VImage>{noise, noise * 0.8 + tint, noise * 0.6 + 40}));
}

TEST_F(Perceptual, EveryLossyOutputStaysWithinTheLevelsBound) {
    struct Case {
        std::string name;
        VImage image;
    };
    const std::vector<Case> images{{"graphic.png", flatGraphic(320, 224)},
                                   {"gradient.png", smoothGradient(320, 224)},
                                   {"noise.png", noisyTexture(320, 224)}};
    struct Output {
        std::string format, level;
    };
    const std::vector<Output> outputs{{"jpg", "1"}, {"jpg", "5"}, {"jpg", "8"}, {"webp", "5"}, {"avif", "5"},
                                      {"png", "5"}};
    for (const Case &c : images) {
        const std::string in = path(c.name);
        save(c.image, in);
        // Where JPEG's highest setting cannot keep a bound, that setting is what is due.
        save(c.image, path("best.jpg"), "[Q=100,subsample-mode=off]");
        const double bestJpeg = butteraugli(in, path("best.jpg"));
        long long previous = 0, firstLevel = 0;
        for (const Output &o : outputs) {
            SCOPED_TRACE(c.name + " as " + o.format + " at level " + o.level);
            const std::string out = path("out." + o.format);
            RunResult r = run({"-in", in, "-out", out, "-outformat", o.format, "-reducemode", o.level});
            ASSERT_EXIT_CODE(r, 0);
            const double d = butteraugli(in, out);
            const double bound = kLevelBound[std::atoi(o.level.c_str())];
            EXPECT_LE(d, o.format == "jpg" ? std::max(bound, bestJpeg + 0.05) : bound) << "butteraugli " << d;
            // Within the bound is not enough: the search must also spend no more than it
            // needs, so a higher level never weighs more, and level 8 clearly less than 1.
            if (o.format == "jpg") {
                if (previous)
                    EXPECT_LE(fileSize(out), previous) << "a higher level gave a heavier file";
                if (o.level == "1")
                    firstLevel = fileSize(out);
                if (o.level == "8")
                    EXPECT_LT(fileSize(out), firstLevel * 0.8);
                previous = fileSize(out);
            }
        }
    }
}

TEST_F(Perceptual, AutoPicksPngForGraphicsAndJpegForPhotos) {
    // Two flat colour blocks on white: a palette holds it exactly, JPEG blurs the edges.
    VImage xy = VImage::xyz(480, 320);
    VImage first = (xy[0] >= 40) & (xy[0] < 200) & (xy[1] >= 40) & (xy[1] < 130);
    VImage second = (xy[0] >= 260) & (xy[0] < 430) & (xy[1] >= 150) & (xy[1] < 270);
    VImage graphic = first.ifthenelse(std::vector<double>{200, 30, 30},
                                      second.ifthenelse(std::vector<double>{20, 90, 200}, std::vector<double>{255, 255, 255}));
    save(srgb(graphic), path("graphic.png"));
    save(noisyTexture(480, 320).gaussblur(1.2), path("photo.png"));
    // Real transparency is PNG whatever JPEG would weigh.
    save(photoLike(320, 240).bandjoin(VImage::xyz(320, 240)[0].cast(VIPS_FORMAT_UCHAR)), path("alpha.png"));
    const std::vector<std::pair<std::string, std::string>> cases{
        {"graphic.png", "png"}, {"photo.png", "jpg"}, {"alpha.png", "png"}};
    for (const auto &[name, expected] : cases) {
        SCOPED_TRACE(name);
        RunResult r = run({"-in", path(name), "-out", path("auto"), "-outformat", "auto", "-outext", "on"});
        ASSERT_EXIT_CODE(r, 0);
        const std::string out = path("auto." + expected);
        ASSERT_TRUE(exists(out)) << "no ." << expected << " written; folder: " << testing::PrintToString(listDir(dir()));
        EXPECT_LE(butteraugli(path(name), out), kLevelBound[5]);
        unlink(out.c_str());
    }
}

// Safety on: a smooth, low-contrast picture gets a stricter bound, so a heavier file and
// a smaller distance. At level 8 without it the gradient shows blocks and bands (butteraugli
// about 3); with it the distance stays well inside the level's bound.
TEST_F(Perceptual, SafetyTightensSmoothLowContrastImages) {
    save(smoothGradient(640, 480), path("sky.png"));
    for (std::string level : {"6", "8"}) {
        SCOPED_TRACE("level " + level);
        RunResult r = run({"-in", path("sky.png"), "-out", path("on.jpg"), "-outformat", "jpg", "-reducemode", level});
        ASSERT_EXIT_CODE(r, 0);
        r = run({"-in", path("sky.png"), "-out", path("off.jpg"), "-outformat", "jpg", "-reducemode", level,
                 "-jpegqualitysafety", "off"});
        ASSERT_EXIT_CODE(r, 0);
        const double on = butteraugli(path("sky.png"), path("on.jpg"));
        const double off = butteraugli(path("sky.png"), path("off.jpg"));
        EXPECT_GT(fileSize(path("on.jpg")), fileSize(path("off.jpg")));
        EXPECT_LT(on, off);
        EXPECT_LE(on, 0.85 * kLevelBound[std::atoi(level.c_str())]);
    }
}

// A CMYK JPEG with an embedded press profile: the engine's sRGB must be lcms2's own
// converter's (jpgicc) to within a butteraugli distance of 1.
TEST_F(Perceptual, CmykWithProfileMatchesLcms) {
    // The press profile of libvips, embedded in a CMYK picture made from an sRGB one.
    VImage cmyk = photoLike(400, 300).icc_export(VImage::option()->set("output_profile", "cmyk"));
    save(cmyk, path("cmyk.jpg"), "[Q=98,keep=icc]");
    ASSERT_EQ(inspect(path("cmyk.jpg")).interpretation, VIPS_INTERPRETATION_CMYK);
    RunResult r = runProgram("/usr/bin/jpgicc", {"-q100", path("cmyk.jpg"), path("lcms.jpg")});
    ASSERT_EXIT_CODE(r, 0);
    r = run({"-in", path("cmyk.jpg"), "-out", path("ours.png"), "-outformat", "png", "-reducemode", "1"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_LE(butteraugli(path("lcms.jpg"), path("ours.png")), 1.0);
}

} // namespace
