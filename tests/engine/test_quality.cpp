// Quality and size, judged from outside by butteraugli as the levels are defined: each
// level within its bound and never heavier than the one below, the automatic format,
// the safety switch, CMYK as lcms2 converts it, fixed quality, lossless PNG, the size
// limit, and never growing a file that is only re-encoded.
#include "support.h"

#include <cstdlib>
#include <unistd.h>

using namespace dk;

namespace {

VImage srgb(const VImage &image) {
    return image.cast(VIPS_FORMAT_UCHAR).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

// Coloured strokes one to three pixels wide on white, as text and line art are; their
// colours `saturation` of the way from grey.
VImage flatGraphic(int w, int h, double saturation) {
    const VImage xy = VImage::xyz(w, h), x = xy[0], y = xy[1];
    const VImage strokes = ((x % 23) < 2) | ((y % 17) < 1) | (((x + y) % 41) < 3);
    const VImage colour = VImage::bandjoin(std::vector<VImage>{((x / 37) % 2) * 200 + 20, ((y / 29) % 2) * 60 + 10, ((x / 53) % 3) * 100});
    const VImage grey = colour.bandmean();
    return srgb(strokes.ifthenelse(grey + (colour - grey) * saturation, 255));
}
VImage flatGraphic(int w, int h) { return flatGraphic(w, h, 1.0); }

// A slow, low-contrast gradient with faint grain: where blocking and banding show first.
VImage smoothGradient(int w, int h) {
    const VImage xy = VImage::xyz(w, h);
    const VImage grain = VImage::gaussnoise(w, h, VImage::option()->set("sigma", 1.5)->set("mean", 0.0)->set("seed", 7));
    return srgb(VImage::bandjoin(std::vector<VImage>{xy[0] * (30.0 / w) + 110, xy[1] * (24.0 / h) + 140,
                                                     (xy[0] + xy[1]) * (16.0 / (w + h)) + 190}) + grain);
}

// A logo: flat shapes of muted colour with soft edges on white, as line art and charts are.
VImage flatShapes(int w, int h) {
    const VImage xy = VImage::xyz(w, h), x = xy[0], y = xy[1];
    const VImage box = (x > w / 8) & (x < w / 2) & (y > h / 4) & (y < 3 * h / 4);
    const VImage disc = ((x - 3 * w / 4) * (x - 3 * w / 4) + (y - h / 2) * (y - h / 2)) < (h * h / 25);
    const auto paint = [&](double inBox, double inDisc) { return box.ifthenelse(inBox, disc.ifthenelse(inDisc, 255.0)); };
    return srgb(VImage::bandjoin(std::vector<VImage>{paint(170, 80), paint(110, 120), paint(90, 170)}).gaussblur(0.8));
}

// Fine noise over a mid tone: texture that hides errors and costs bytes.
VImage noisyTexture(int w, int h) {
    const VImage noise = VImage::gaussnoise(w, h, VImage::option()->set("sigma", 28.0)->set("mean", 128.0)->set("seed", 11));
    return srgb(VImage::bandjoin(std::vector<VImage>{noise, noise * 0.8 + VImage::xyz(w, h)[0] * (60.0 / w), noise * 0.6 + 40}));
}

struct Character { const char *name; VImage (*make)(int, int); };
void PrintTo(const Character &c, std::ostream *os) { *os << c.name; }

class Levels : public EngineTest, public testing::WithParamInterface<Character> {};

// Every level within its bound as JPEG (or at JPEG's best where even that cannot keep
// it), no level heavier than the one below and level 8 clearly lighter than 1;
// WebP, AVIF and PNG within level 5's bound.
TEST_P(Levels, WithinTheBoundAndOrdered) {
    const std::string in = path("in.png");
    save(GetParam().make(320, 224), in);
    save(loadFirstPage(in), path("best.jpg"), "[Q=100,subsample-mode=off]");
    const double bestJpeg = butteraugli(in, path("best.jpg"));
    long long previous = 0, first = 0;
    for (int level = 1; level <= 8; ++level) {
        SCOPED_TRACE("jpg level " + std::to_string(level));
        ASSERT_EXIT_CODE(job(in, path("out.jpg"), {"-outformat", "jpg", "-reducemode", std::to_string(level)}), 0);
        EXPECT_LE(butteraugli(in, path("out.jpg")), std::max(kLevelBound[level], bestJpeg + 0.05));
        const long long size = fileSize(path("out.jpg"));
        EXPECT_TRUE(level == 1 || size <= previous) << size << " bytes, " << previous << " at the level below";
        first = level == 1 ? size : first;
        previous = size;
    }
    EXPECT_LT(previous, first * 0.8) << "the levels make little difference";
    for (std::string fmt : {"webp", "avif", "png"}) {
        SCOPED_TRACE(fmt + " level 5");
        ASSERT_EXIT_CODE(job(in, path("out." + fmt), {"-outformat", fmt}), 0);
        EXPECT_LE(butteraugli(in, path("out." + fmt)), kLevelBound[5]);
    }
}

INSTANTIATE_TEST_SUITE_P(Images, Levels,
                         testing::Values(Character{"graphic", flatGraphic}, Character{"gradient", smoothGradient},
                                         Character{"noise", noisyTexture}),
                         [](const testing::TestParamInfo<Character> &i) { return i.param.name; });

class Quality : public EngineTest {};

// auto: a flat graphic is PNG, a photograph JPEG, real transparency PNG whatever JPEG
// would weigh; each within level 5's bound.
TEST_F(Quality, AutoPicksPngForGraphicsAndJpegForPhotos) {
    const VImage xy = VImage::xyz(240, 160);
    const VImage block = (xy[0] >= 20) & (xy[0] < 100) & (xy[1] >= 20) & (xy[1] < 65);
    save(srgb(block.ifthenelse(std::vector<double>{200, 30, 30}, std::vector<double>{255, 255, 255})), path("graphic.png"));
    save(noisyTexture(240, 160).gaussblur(1.2), path("photo.png"));
    save(photoLike(240, 160).bandjoin(VImage::xyz(240, 160)[0].cast(VIPS_FORMAT_UCHAR)), path("alpha.png"));
    for (const auto &[name, expected] : {std::pair{"graphic", "png"}, {"photo", "jpg"}, {"alpha", "png"}}) {
        SCOPED_TRACE(name);
        const std::string in = path(name + std::string(".png")), out = path(std::string("auto.") + expected);
        ASSERT_EXIT_CODE(job(in, path("auto"), {"-outformat", "auto", "-outext", "on"}), 0);
        ASSERT_EQ(inspect(out).format, expected) << testing::PrintToString(listDir(dir()));
        EXPECT_LE(butteraugli(in, out), kLevelBound[5]);
        unlink(out.c_str());
    }
}

// Lossy WebP halves chroma at any setting: faint colour strokes keep it over level 2's
// bound even at its top, and its lossless setting, no heavier for such a graphic, is written.
TEST_F(Quality, WebpOutOfReachIsLossless) {
    save(flatGraphic(320, 224, 0.2), path("in.png"));
    ASSERT_EXIT_CODE(job(path("in.png"), path("out.webp"), {"-outformat", "webp", "-reducemode", "2"}), 0);
    EXPECT_LE(butteraugli(path("in.png"), path("out.webp")), kLevelBound[2]);
    save(loadFirstPage(path("in.png")), path("top.webp"), "[Q=100]");
    EXPECT_LE(fileSize(path("out.webp")), 2 * fileSize(path("top.webp")));
}

// Files whose encoder tunes itself to the whole image are judged whole: the screenshot's
// shared palette at the sample's choice is over the bound and is raised, the drawing's
// WebP there is well within and is lowered, the bridge photo's AVIF errs worst where no
// sampled tile lies, and the wings' AVIF is over at its top setting though within two
// steps lower (scores near the top rise and fall). The wings as JPEG: its sample is on a
// floor, where only the whole shows that halved chroma keeps within. Each file is within
// the bound and near it; where a case names the format's top setting (lossless, for PNG),
// well under that.
TEST_F(Quality, WholeFileSettlesNearTheBound) {
    const struct { const char *name, *fmt, *top; } cases[] = {{"gimp-prefs-color-management.png", "png", "100"},
                                                             {"schulz.png", "webp", "100"},
                                                             {"Bridge_by_Sander_Klootwijk.jpg", "avif", nullptr},
                                                             {"TwoWings_cmyk.jpg", "avif", "99"},
                                                             {"TwoWings_cmyk.jpg", "jpg", "96"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const std::string in = std::string(DRAVIK_CORPUS_PATH "/") + c.name, out = path(std::string("out.") + c.fmt),
                          top = path(std::string("top.") + c.fmt);
        ASSERT_EXIT_CODE(job(in, out, {"-outformat", c.fmt}), 0);
        const double score = butteraugli(in, out);
        EXPECT_LE(score, kLevelBound[5]);
        EXPECT_GE(score, 0.8 * kLevelBound[5]);
        if (!c.top)
            continue;
        ASSERT_EXIT_CODE(job(in, top, {"-outformat", c.fmt, "-quality", c.top}), 0);
        EXPECT_LT(fileSize(out), 0.8 * fileSize(top));
    }
}

// A photo whose hard spots are many and alike (the corpus's colourful artwork): a dozen
// sampled tiles read its worst well under the whole's, a third lower at level 3, so its
// JPEG search aims lower and the file stays within the bound.
TEST_F(Quality, CrowdedPhotoStaysWithinTheBound) {
    const std::string in = DRAVIK_CORPUS_PATH "/Picture_0B_by_freespace.avif";
    ASSERT_EXIT_CODE(job(in, path("out.jpg"), {"-outformat", "jpg", "-reducemode", "3"}), 0);
    EXPECT_LE(butteraugli(in, path("out.jpg")), kLevelBound[3]);
}

// JPEG's blocking, measured: the mean luma step across 8-pixel block edges over the mean
// step between the pixels inside blocks. About 1 on a picture without block structure;
// blocks flattened into steps raise it.
double blockiness(const std::string &file) {
    const VImage luma = loadFirstPage(file).colourspace(VIPS_INTERPRETATION_B_W)[0].cast(VIPS_FORMAT_FLOAT);
    const int w = luma.width(), h = luma.height();
    const VImage across = (luma.extract_area(1, 0, w - 1, h) - luma.extract_area(0, 0, w - 1, h)).abs();
    const VImage down = (luma.extract_area(0, 1, w, h - 1) - luma.extract_area(0, 0, w, h - 1)).abs();
    // A step from column 7 to 8 (of each block) crosses an edge; the other seven do not.
    const VImage edgeAcross = (VImage::xyz(w - 1, h)[0] % 8) == 7, edgeDown = (VImage::xyz(w, h - 1)[1] % 8) == 7;
    const double atEdges = edgeAcross.ifthenelse(across, 0).avg() + edgeDown.ifthenelse(down, 0).avg();
    const double inside = edgeAcross.ifthenelse(0, across).avg() + edgeDown.ifthenelse(0, down).avg();
    return 7 * atEdges / inside;
}

// Safety on: a smooth, low-contrast picture gets a stricter bound, so a heavier file and
// a smaller distance, well inside the level's bound; off flattens its grain into blocks
// whose edges show, on keeps it (at level 5, block structure no more than the input's).
// Flat colour cannot band: a logo on white keeps the level's bound.
TEST_F(Quality, SafetyTightensSmoothLowContrastImages) {
    save(smoothGradient(640, 480), path("sky.png"));
    save(flatShapes(640, 480), path("logo.png"));
    const auto both = [&](const std::string &in, const std::string &fmt, const std::string &level) {
        for (std::string safety : {"on", "off"})
            EXPECT_EXIT_CODE(job(path(in), path(safety + "." + fmt), {"-outformat", fmt, "-reducemode", level, "-jpegqualitysafety", safety}), 0);
    };
    for (std::string level : {"5", "6"}) {
        SCOPED_TRACE("level " + level);
        both("sky.png", "jpg", level);
        const double on = butteraugli(path("sky.png"), path("on.jpg")), off = butteraugli(path("sky.png"), path("off.jpg"));
        EXPECT_GT(fileSize(path("on.jpg")), fileSize(path("off.jpg")));
        EXPECT_LT(on, off);
        EXPECT_LE(on, 0.85 * kLevelBound[std::atoi(level.c_str())]);
        EXPECT_LT(blockiness(path("on.jpg")), 0.6 * blockiness(path("off.jpg")));
        if (level == "5")
            EXPECT_LT(blockiness(path("on.jpg")), 1.15 * blockiness(path("sky.png")));
    }
    both("logo.png", "jpg", "5");
    EXPECT_EQ(readBytes(path("on.jpg")), readBytes(path("off.jpg"))) << "the logo";
    // A JPEG switch: WebP filters its own block edges and keeps the level's bound.
    both("sky.png", "webp", "8");
    EXPECT_EQ(readBytes(path("on.webp")), readBytes(path("off.webp")));
}

// A CMYK JPEG with a press profile comes out as 8-bit sRGB, as lcms2's own converter
// (jpgicc) shows it, within a butteraugli distance of 1.
TEST_F(Quality, CmykWithProfileMatchesLcms) {
    save(photoLike(240, 160).icc_export(VImage::option()->set("output_profile", "cmyk")), path("cmyk.jpg"), "[Q=98,keep=icc]");
    ASSERT_EQ(inspect(path("cmyk.jpg")).interpretation, VIPS_INTERPRETATION_CMYK);
    ASSERT_EXIT_CODE(runProgram("/usr/bin/jpgicc", {"-q100", path("cmyk.jpg"), path("lcms.jpg")}), 0);
    for (std::string fmt : {"png", "jpg"}) {
        ASSERT_EXIT_CODE(job(path("cmyk.jpg"), path("ours." + fmt), {"-outformat", fmt, "-reducemode", "1"}), 0);
        const ImageInfo i = inspect(path("ours." + fmt));
        EXPECT_EQ(i.bands, 3);
        EXPECT_TRUE(i.icc.empty() || i.icc.substr(16, 4) == "RGB ") << "a profile that describes CMYK";
        EXPECT_LE(butteraugli(path("lcms.jpg"), path("ours." + fmt)), 1.0) << fmt;
    }
}

// -quality is taken as given, whatever the level; progressive unless baseline is asked.
TEST_F(Quality, FixedQualityAndJpegLayout) {
    save(photoLike(240, 160), path("in.png"));
    std::vector<long long> sizes;
    for (const Args &opts : {Args{"-quality", "30"}, Args{"-quality", "80", "-reducemode", "1"}, Args{"-quality", "80", "-reducemode", "8"},
                             Args{"-quality", "95"}, Args{"-width", "120", "-jpegfixbaseline", "on"}}) {
        ASSERT_EXIT_CODE(job(path("in.png"), path("q.jpg"), Args{"-outformat", "jpg"} + opts), 0);
        sizes.push_back(fileSize(path("q.jpg")));
        EXPECT_EQ(loadFirstPage(path("q.jpg")).get_int("jpeg-multiscan"), opts.back() == "on" ? 0 : 1) << testing::PrintToString(opts);
    }
    EXPECT_TRUE(sizes[0] < sizes[1] && sizes[1] == sizes[2] && sizes[2] < sizes[3]) << testing::PrintToString(sizes);
}

// Re-encoding alone never makes a file larger, in every format; a plain baseline JPEG
// below the asked quality is rewritten from its own coefficients, upright or not.
TEST_F(Quality, NeverLargerWithoutPixelChanges) {
    save(photoLike(320, 240), path("tight.jpg"), "[Q=40,optimize_coding=true,interlace=true,strip=true]");
    save(quadrants(200, 160), path("pal.png"), "[palette=true,compression=9]");
    save(photoLike(200, 150), path("low.webp"), "[Q=30]");
    save(animation({photoLike(64, 48, 1), photoLike(64, 48, 2)}), path("anim.gif"));
    save(photoLike(320, 240, 3), path("halved.jpg"), "[Q=90,subsample_mode=on,optimize_coding=false]");
    for (int orientation : {1, 6}) {
        VImage photo = photoLike(320, 240).copy();
        photo.set(VIPS_META_ORIENTATION, orientation);
        save(photo, path("plain" + std::to_string(orientation) + ".jpg"), "[Q=60,optimize_coding=false,keep=exif]");
    }
    // Whether the input's own coefficients must be visibly smaller than the input.
    const std::vector<std::tuple<std::string, Args, bool>> cases{
        {"tight.jpg", {"-reducemode", "1"}, false}, {"tight.jpg", {}, false}, {"tight.jpg", {"-quality", "95"}, false},
        {"pal.png", {"-reducemode", "1"}, false},   {"pal.png", {}, false},   {"low.webp", {"-reducemode", "1"}, false},
        {"anim.gif", {}, false},                    {"halved.jpg", {}, true}, {"plain1.jpg", {"-quality", "80"}, true},
        {"plain6.jpg", {"-quality", "80"}, true}};
    for (const auto &[in, opts, smaller] : cases) {
        SCOPED_TRACE(in + " " + testing::PrintToString(opts));
        ASSERT_EXIT_CODE(job(path(in), path("out"), opts), 0);
        EXPECT_EQ(inspect(path("out")).format, inspect(path(in)).format);
        EXPECT_LE(fileSize(path("out")), fileSize(path(in)) - (smaller ? 1 : 0));
        const VImage upright = loadForViewing(path(in));
        const ImageInfo o = inspect(path("out"));
        EXPECT_EQ(std::make_tuple(o.width, o.height, o.pages), std::make_tuple(upright.width(), upright.height(), inspect(path(in)).pages));
        // Same pixels upright; turned in the DCT domain, which differs from turning the
        // decoded pixels only by chroma rounding.
        if (in.rfind("plain", 0) == 0)
            EXPECT_LE(meanDifference(loadFirstPage(path("out")), upright), in == "plain1.jpg" ? 0 : 0.5);
    }
}

// The size limit is met as asked: lowered only as far as needed, or the highest quality
// that fits with hq; a roomy limit changes nothing without hq and is spent with it.
TEST_F(Quality, SizeLimit) {
    save(photoLike(320, 240), path("in.png"));
    ASSERT_EXIT_CODE(job(path("in.png"), path("normal.jpg"), {"-outformat", "jpg"}), 0);
    const long long normal = fileSize(path("normal.jpg"));
    const long long tight = std::max(4LL, normal / 1024 / 3), roomy = normal * 2 / 1024;
    struct Case { long long limit; std::string hq; Args extra; int width; };
    for (const Case &c : {Case{tight, "off", {}, 320}, Case{tight, "on", {}, 320}, Case{roomy, "off", {}, 320},
                          Case{roomy, "on", {}, 320}, Case{tight / 2, "off", {"-width", "160"}, 160}}) {
        SCOPED_TRACE(std::to_string(c.limit) + " KiB, hq " + c.hq + " " + testing::PrintToString(c.extra));
        const Args limit{"-outformat", "jpg", "-jpegfilesizelimit", std::to_string(c.limit), "-jpegfilesizelimithq", c.hq};
        ASSERT_EXIT_CODE(job(path("in.png"), path("out.jpg"), limit + c.extra), 0);
        const long long size = fileSize(path("out.jpg"));
        EXPECT_LE(size, c.limit * 1024);
        EXPECT_EQ(inspect(path("out.jpg")).width, c.width);
        if (c.limit == roomy)
            EXPECT_TRUE(c.hq == "on" ? size > normal : readBytes(path("out.jpg")) == readBytes(path("normal.jpg")));
        else
            EXPECT_GT(size, c.limit * 1024 / 2) << "far lower than needed";
    }
}

} // namespace
