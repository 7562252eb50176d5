// Every output format from every input format, format found by content, output naming,
// the automatic choice, and animation.
#include "engine_process.h"
#include "image_tools.h"

#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

constexpr int W = 64, H = 48;

struct InputKind {
    const char *name;
    const char *file;
    bool alpha;
    int frames;
};

const InputKind kInputs[] = {
    {"jpeg", "in.jpg", false, 1},          {"png8", "in.png", false, 1},
    {"png16", "in.png", false, 1},         {"pngpalette", "in.png", false, 1},
    {"pngalpha", "in.png", true, 1},       {"gif", "in.gif", false, 1},
    {"gifanimated", "in.gif", false, 3},   {"webp", "in.webp", false, 1},
    {"webpanimated", "in.webp", true, 3},  {"avif", "in.avif", false, 1},
    {"greyjpeg", "in.jpg", false, 1},      {"greyalphapng", "in.png", true, 1},
};

// Frames of an animation: the quadrants, then two frames of a flat colour each, so a
// frame mix-up or a lost frame shows in the pixels.
std::vector<VImage> frames(bool alpha) {
    std::vector<VImage> f{quadrants(W, H, alpha)};
    Colour c1{200, 30, 30}, c2{30, 30, 200};
    if (alpha) {
        c1.push_back(255);
        c2.push_back(255);
    }
    f.push_back(solid(W, H, c1));
    f.push_back(solid(W, H, c2));
    return f;
}

void makeInput(const InputKind &k, const std::string &file) {
    const std::string n = k.name;
    if (n == "jpeg")
        save(quadrants(W, H), file, "[Q=95]");
    else if (n == "png8")
        save(quadrants(W, H), file);
    else if (n == "png16")
        save(to16Bit(quadrants(W, H)), file);
    else if (n == "pngpalette")
        save(quadrants(W, H), file, "[palette=true]");
    else if (n == "pngalpha")
        save(quadrants(W, H, true), file);
    else if (n == "gif")
        save(quadrants(W, H), file);
    else if (n == "gifanimated")
        save(animation(frames(false)), file);
    else if (n == "webp")
        save(quadrants(W, H), file, "[Q=95]");
    else if (n == "webpanimated")
        save(animation(frames(true)), file, "[lossless=true]");
    else if (n == "avif")
        save(quadrants(W, H), file, "[Q=90,effort=0]");
    else if (n == "greyjpeg")
        save(quadrants(W, H).colourspace(VIPS_INTERPRETATION_B_W), file, "[Q=95]");
    else if (n == "greyalphapng")
        save(quadrants(W, H, true).colourspace(VIPS_INTERPRETATION_B_W), file);
}

void PrintTo(const InputKind &k, std::ostream *os) { *os << k.name; }

class FormatMatrix : public EngineTest, public testing::WithParamInterface<InputKind> {};

TEST_P(FormatMatrix, EveryOutputFormat) {
    const InputKind k = GetParam();
    const std::string in = path(k.file);
    makeInput(k, in);
    const std::string inBytes = readBytes(in);
    const bool lossyIn = std::string(k.name) == "jpeg" || std::string(k.name) == "avif" ||
                         std::string(k.name) == "webp";

    for (std::string fmt : {"jpg", "png", "gif", "webp", "avif"}) {
        SCOPED_TRACE(std::string(k.name) + " -> " + fmt);
        const std::string out = path("out." + fmt);
        RunResult r = run({"-in", in, "-out", out, "-outformat", fmt});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
        ImageInfo info = inspect(out);
        ASSERT_TRUE(info.ok) << info.error;
        EXPECT_EQ(info.format, fmt);
        EXPECT_EQ(info.width, W);
        EXPECT_EQ(info.height, H) << "an animation must not come out as a strip of frames";

        const bool animatedOut = fmt == std::string("gif") || fmt == std::string("webp");
        EXPECT_EQ(info.pages, animatedOut ? k.frames : 1);

        // Colours survive: opaque left half always; the half-transparent right half is
        // checked only where the output keeps alpha.
        const double tol = (fmt == std::string("jpg") || fmt == std::string("avif") ||
                            fmt == std::string("webp") || lossyIn)
                               ? 40
                               : 12;
        // A grey input's quadrants are four grey levels: compared with the input itself.
        const bool grey = std::string(k.name).rfind("grey", 0) == 0;
        auto want = [&](int x, int y, Colour c) {
            if (grey) {
                c = pixelAt(in, x, y);
                c.resize(3);
            }
            return c;
        };
        Colour red = pixelAt(out, W / 4, H / 4), blue = pixelAt(out, W / 4, 3 * H / 4);
        EXPECT_TRUE(near(red, want(W / 4, H / 4, {255, 0, 0}), tol)) << colourText(red);
        EXPECT_TRUE(near(blue, want(W / 4, 3 * H / 4, {0, 0, 255}), tol)) << colourText(blue);
        if (!k.alpha) {
            Colour green = pixelAt(out, 3 * W / 4, H / 4), white = pixelAt(out, 3 * W / 4, 3 * H / 4);
            EXPECT_TRUE(near(green, want(3 * W / 4, H / 4, {0, 255, 0}), tol)) << colourText(green);
            EXPECT_TRUE(near(white, want(3 * W / 4, 3 * H / 4, {255, 255, 255}), tol)) << colourText(white);
        } else if (fmt == std::string("png") || fmt == std::string("webp") ||
                   fmt == std::string("avif")) {
            EXPECT_TRUE(info.bands == 4 || info.bands == 2) << "alpha lost, bands " << info.bands;
            if (std::string(k.name) == "pngalpha") {
                Colour green = pixelAt(out, 3 * W / 4, H / 4);
                ASSERT_EQ(green.size(), 4u);
                EXPECT_TRUE(near(green, {0, 255, 0, 128}, tol)) << colourText(green);
            }
        }
        if (k.frames > 1 && animatedOut) {
            VImage third = VImage::new_from_file(out.c_str(), VImage::option()->set("page", 2));
            Colour c = third.getpoint(W / 2, H / 2);
            EXPECT_TRUE(near(c, {30, 30, 200}, tol)) << "third frame " << colourText(c);
        }
        unlink(out.c_str());
    }
    expectFolderHolds({k.file});
}

INSTANTIATE_TEST_SUITE_P(Inputs, FormatMatrix, testing::ValuesIn(kInputs),
                         [](const testing::TestParamInfo<InputKind> &i) { return i.param.name; });

class Formats : public EngineTest {};

// The name says nothing: a PNG called .jpg stays PNG under "same", and -outext names the
// result after what was written.
TEST_F(Formats, FormatFoundByContentNotName) {
    struct Case {
        std::string file;
        std::string realFormat;
    };
    const std::vector<Case> cases{
        {"png-named.jpg", "png"}, {"jpeg-named.png", "jpg"}, {"webp-named.gif", "webp"}, {"gif-noext", "gif"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.file);
        // libvips picks the saver from the suffix: save under the true one, then rename.
        const std::string tmp = path("tmp." + c.realFormat);
        save(quadrants(W, H), tmp);
        ASSERT_EQ(rename(tmp.c_str(), path(c.file).c_str()), 0);
        ASSERT_EQ(sniffFormat(path(c.file)), c.realFormat);

        RunResult r = run({"-in", path(c.file), "-out", path("same-out"), "-outformat", "same"});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_EQ(sniffFormat(path("same-out")), c.realFormat);

        r = run({"-in", path(c.file), "-out", path("named"), "-outext", "on"});
        ASSERT_EXIT_CODE(r, 0);
        const std::string ext = c.realFormat;
        EXPECT_TRUE(exists(path("named." + ext))) << r.describe();
        EXPECT_EQ(sniffFormat(path("named." + ext)), c.realFormat);
        expectFolderHolds({c.file, "same-out", "named." + ext});
        unlink(path(c.file).c_str());
        unlink(path("same-out").c_str());
        unlink(path("named." + ext).c_str());
    }
}

TEST_F(Formats, OutExtNaming) {
    const std::string in = path("in.png");
    save(quadrants(W, H), in);
    struct Case {
        std::string out, outext, format, written;
    };
    const std::vector<Case> cases{
        {"a", "on", "jpg", "a.jpg"},
        {"b.jpg", "on", "jpg", "b.jpg"},
        {"c.JPG", "on", "jpg", "c.JPG"},
        {"d.jpeg", "on", "jpg", "d.jpeg"},
        {"e.JPEG", "on", "jpg", "e.JPEG"},
        {"f.png", "on", "jpg", "f.png.jpg"},
        {"g.jpg", "on", "png", "g.jpg.png"},
        {"h.PNG", "on", "png", "h.PNG"},
        {"i", "on", "webp", "i.webp"},
        {"j", "on", "avif", "j.avif"},
        {"k", "on", "gif", "k.gif"},
        {"l.Gif", "on", "gif", "l.Gif"},
        {"m", "off", "jpg", "m"},
        {"n.png", "off", "jpg", "n.png"},
        {"o.x", "on", "same", "o.x.png"},
        {"p.webp.jpg", "on", "webp", "p.webp.jpg.webp"},
    };
    std::set<std::string> expected{"in.png"};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.out + " " + c.outext + " " + c.format);
        RunResult r = run({"-in", in, "-out", path(c.out), "-outext", c.outext, "-outformat", c.format});
        ASSERT_EXIT_CODE(r, 0);
        expected.insert(c.written);
        EXPECT_TRUE(exists(path(c.written))) << r.describe();
        const std::string want = c.format == "same" ? "png" : c.format;
        EXPECT_EQ(sniffFormat(path(c.written)), want);
        expectFolderHolds(expected);
    }
}

TEST_F(Formats, AutoPicksPngForTransparencyAndJpegForPhotos) {
    save(quadrants(400, 300, true), path("alpha.png"));
    RunResult r = run({"-in", path("alpha.png"), "-out", path("a"), "-outformat", "auto", "-outext", "on"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(exists(path("a.png"))) << r.describe();
    Colour c = pixelAt(path("a.png"), 300, 75);
    EXPECT_TRUE(near(c, {0, 255, 0, 128}, 12)) << colourText(c);

    // A photograph is much lighter as JPEG at any budget; also when it arrives as PNG.
    save(photoLike(800, 600), path("photo.png"));
    r = run({"-in", path("photo.png"), "-out", path("p"), "-outformat", "auto", "-outext", "on"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(exists(path("p.jpg"))) << r.describe();

    // Transparency on a JPEG-class photo still wins: the alpha must not be dropped.
    VImage photo = photoLike(800, 600);
    VImage alpha = VImage::black(800, 600).new_from_image({255}).cast(VIPS_FORMAT_UCHAR);
    alpha = alpha.insert(VImage::black(100, 100).cast(VIPS_FORMAT_UCHAR), 0, 0);
    save(photo.bandjoin(alpha), path("photoalpha.png"));
    r = run({"-in", path("photoalpha.png"), "-out", path("pa"), "-outformat", "auto", "-outext", "on"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(exists(path("pa.png"))) << r.describe();
    expectFolderHolds({"alpha.png", "a.png", "photo.png", "p.jpg", "photoalpha.png", "pa.png"});
}

// Corpus animations: frames, their order and frame size survive a GIF/WebP round trip.
TEST_F(Formats, AnimationKept) {
    for (std::string src : {"traffic_light.gif", "traffic_light_anim.webp"}) {
        for (std::string fmt : {"gif", "webp"}) {
            SCOPED_TRACE(src + " -> " + fmt);
            const std::string out = path("anim." + fmt);
            RunResult r = run({"-in", corpusFile(src), "-out", out, "-outformat", fmt});
            ASSERT_EXIT_CODE(r, 0);
            ImageInfo in = inspect(corpusFile(src)), got = inspect(out);
            EXPECT_EQ(got.pages, in.pages);
            EXPECT_EQ(got.width, in.width);
            EXPECT_EQ(got.height, in.height);
            for (int p = 0; p < std::min(in.pages, got.pages); ++p) {
                VImage a = VImage::new_from_file(corpusFile(src).c_str(), VImage::option()->set("page", p));
                VImage b = VImage::new_from_file(out.c_str(), VImage::option()->set("page", p));
                EXPECT_LT(meanDifference(a, b), 12) << "frame " << p;
            }
            unlink(out.c_str());
        }
        // Resizing an animation resizes every frame and keeps them all.
        {
            const std::string out = path("small.gif");
            RunResult r = run({"-in", corpusFile(src), "-out", out, "-outformat", "gif", "-width", "30"});
            ASSERT_EXIT_CODE(r, 0);
            ImageInfo in = inspect(corpusFile(src)), got = inspect(out);
            EXPECT_EQ(got.pages, in.pages);
            EXPECT_EQ(got.width, 30);
            EXPECT_NEAR(got.height, in.height * 30.0 / in.width, 1);
            unlink(out.c_str());
        }
        // Other outputs take the first frame only, at the frame's size.
        const std::string out = path("first.png");
        RunResult r = run({"-in", corpusFile(src), "-out", out, "-outformat", "png"});
        ASSERT_EXIT_CODE(r, 0);
        ImageInfo in = inspect(corpusFile(src)), got = inspect(out);
        EXPECT_EQ(got.pages, 1);
        EXPECT_EQ(got.width, in.width);
        EXPECT_EQ(got.height, in.height);
        unlink(out.c_str());
    }
}

// 16-bit PNG stays 16-bit and exact when the PNG output is lossless.
TEST_F(Formats, SixteenBitKeptInLosslessPng) {
    VImage xy = VImage::xyz(300, 200);
    VImage deep = VImage::bandjoin(
        std::vector<VImage>{xy[0] * 211.0 + xy[1] * 97.0, xy[1] * 301.0 + 7, xy[0] * 53.0 + xy[1] * 149.0});
    deep = deep.cast(VIPS_FORMAT_USHORT).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_RGB16));
    save(deep, path("deep.png"));
    RunResult r = run({"-in", path("deep.png"), "-out", path("out.png"), "-reducemode", "1"});
    ASSERT_EXIT_CODE(r, 0);
    ImageInfo info = inspect(path("out.png"));
    EXPECT_EQ(info.pngBitDepth, 16);
    VImage a = loadFirstPage(path("deep.png")), b = loadFirstPage(path("out.png"));
    EXPECT_EQ((a.cast(VIPS_FORMAT_INT) - b.cast(VIPS_FORMAT_INT)).abs().max(), 0);

    // Any lossy output is 8-bit, with the tones scaled rather than clipped.
    r = run({"-in", corpusFile("ImageMagick.png"), "-out", path("im.jpg"), "-outformat", "jpg"});
    ASSERT_EXIT_CODE(r, 0);
    ASSERT_EQ(sniffFormat(path("im.jpg")), "jpg");
    EXPECT_LT(meanDifference(loadForViewing(corpusFile("ImageMagick.png")), loadForViewing(path("im.jpg"))), 6);
}

TEST_F(Formats, CorpusAvifAndWebpInputs) {
    RunResult r = run({"-in", corpusFile("Picture_0B_by_freespace.avif"), "-out", path("a.jpg"),
                       "-outformat", "jpg", "-longside", "800"});
    ASSERT_EXIT_CODE(r, 0);
    ImageInfo info = inspect(path("a.jpg"));
    EXPECT_EQ(info.width, 800);
    EXPECT_NEAR(info.height, 541, 1);
    EXPECT_LT(meanDifference(loadForViewing(path("a.jpg")), loadForViewing(corpusFile("Picture_0B_by_freespace.avif"))), 8);

    r = run({"-in", corpusFile("truchet-l.webp"), "-out", path("t.webp"), "-width", "1024"});
    ASSERT_EXIT_CODE(r, 0);
    info = inspect(path("t.webp"));
    EXPECT_EQ(info.format, "webp");
    EXPECT_EQ(info.width, 1024);
    EXPECT_EQ(info.height, 1024);
}

// Levels 1 and 2 write PNG losslessly: from a lossy input that means exactly the decoded
// pixels, at any size.
TEST_F(Formats, LosslessPngFromLossyInputs) {
    save(photoLike(1200, 800), path("in.jpg"), "[Q=90]");
    save(photoLike(600, 400), path("in.webp"), "[Q=80]");
    save(photoLike(300, 200), path("in.avif"), "[Q=60,effort=0]");
    for (const std::string in : {path("in.jpg"), corpusFile("apple-orchard-truck-from-camera.jpg"), path("in.webp"),
                                 path("in.avif")}) {
        for (std::string level : {"1", "2"}) {
            SCOPED_TRACE(in + " level " + level);
            RunResult r = run({"-in", in, "-out", path("out.png"), "-outformat", "png", "-reducemode", level});
            ASSERT_EXIT_CODE(r, 0);
            ASSERT_EQ(sniffFormat(path("out.png")), "png");
            EXPECT_LT(meanDifference(loadForViewing(in), loadFirstPage(path("out.png"))), 0.5);
        }
    }
}

// Names are names: brackets (libvips reads "[...]" after a file name as save options),
// spaces, non-ASCII letters, a leading dash, several dots.
TEST_F(Formats, UnusualFileNames) {
    const std::vector<std::pair<std::string, std::string>> names{
        {"photo [1].jpg", "out [Q=5].jpg"},
        {"snímek 空.jpg", "výstup 出力.jpg"},
        {"-dash.jpg", "-out.jpg"},
        {"a.b.c.jpg", "x.y.z"},
        {"in[palette].png", "out[palette].png"},
    };
    for (const auto &[inName, outName] : names) {
        SCOPED_TRACE(inName + " -> " + outName);
        const std::string in = path(inName);
        save(photoLike(120, 80), path("tmp.jpg"), "[Q=90]");
        ASSERT_EQ(rename(path("tmp.jpg").c_str(), in.c_str()), 0);
        const std::string inBytes = readBytes(in);
        RunResult r = run({"-in", in, "-out", path(outName), "-width", "60"});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_EQ(inspect(path(outName)).width, 60);
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
        expectFolderHolds({inName, outName});
        unlink(in.c_str());
        unlink(path(outName).c_str());
    }
}

} // namespace
