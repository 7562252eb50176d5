// Every output format from every input format, format found by content, output naming,
// the automatic choice, animation, bit depth and unusual file names.
#include "engine_process.h"
#include "image_tools.h"

#include <functional>
#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

constexpr int W = 64, H = 48;

// Frames of an animation: the quadrants, then two frames of a flat colour each, so a
// frame mix-up or a lost frame shows in the pixels.
VImage animated(bool alpha) {
    Colour c1{200, 30, 30}, c2{30, 30, 200};
    if (alpha) {
        c1.push_back(255);
        c2.push_back(255);
    }
    return animation({quadrants(W, H, alpha), solid(W, H, c1), solid(W, H, c2)});
}

struct InputKind {
    const char *name, *file;
    bool alpha, lossy, grey;
    int frames;
    std::function<void(const std::string &)> make;
};

const InputKind kInputs[] = {
    {"jpeg", "in.jpg", false, true, false, 1, [](auto f) { save(quadrants(W, H), f, "[Q=95]"); }},
    {"png8", "in.png", false, false, false, 1, [](auto f) { save(quadrants(W, H), f); }},
    {"png16", "in.png", false, false, false, 1, [](auto f) { save(to16Bit(quadrants(W, H)), f); }},
    {"pngpalette", "in.png", false, false, false, 1, [](auto f) { save(quadrants(W, H), f, "[palette=true]"); }},
    {"pngalpha", "in.png", true, false, false, 1, [](auto f) { save(quadrants(W, H, true), f); }},
    {"gif", "in.gif", false, false, false, 1, [](auto f) { save(quadrants(W, H), f); }},
    {"gifanimated", "in.gif", false, false, false, 3, [](auto f) { save(animated(false), f); }},
    {"webp", "in.webp", false, true, false, 1, [](auto f) { save(quadrants(W, H), f, "[Q=95]"); }},
    {"webpanimated", "in.webp", true, false, false, 3, [](auto f) { save(animated(true), f, "[lossless=true]"); }},
    {"avif", "in.avif", false, true, false, 1, [](auto f) { save(quadrants(W, H), f, "[Q=90,effort=0]"); }},
    {"greyjpeg", "in.jpg", false, true, true, 1,
     [](auto f) { save(quadrants(W, H).colourspace(VIPS_INTERPRETATION_B_W), f, "[Q=95]"); }},
    {"greyalphapng", "in.png", true, false, true, 1,
     [](auto f) { save(quadrants(W, H, true).colourspace(VIPS_INTERPRETATION_B_W), f); }},
};

void PrintTo(const InputKind &k, std::ostream *os) { *os << k.name; }

class FormatMatrix : public EngineTest, public testing::WithParamInterface<InputKind> {};

TEST_P(FormatMatrix, EveryOutputFormat) {
    const InputKind &k = GetParam();
    const std::string in = path(k.file);
    k.make(in);
    const std::string inBytes = readBytes(in);
    for (std::string fmt : {"jpg", "png", "gif", "webp", "avif"}) {
        SCOPED_TRACE(std::string(k.name) + " -> " + fmt);
        const std::string out = path("out." + fmt);
        ASSERT_EXIT_CODE(run({"-in", in, "-out", out, "-outformat", fmt}), 0);
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
        ImageInfo info = inspect(out);
        ASSERT_TRUE(info.ok) << info.error;
        EXPECT_EQ(info.format, fmt);
        EXPECT_EQ(std::make_pair(info.width, info.height), std::make_pair(W, H))
            << "an animation must not come out as a strip of frames";
        const bool animatedOut = fmt == "gif" || fmt == "webp";
        EXPECT_EQ(info.pages, animatedOut ? k.frames : 1);

        // Colours survive: opaque left half always; the half-transparent right half only
        // where the output keeps alpha. A grey input is compared with its own levels.
        const double tol = (fmt == "jpg" || fmt == "avif" || fmt == "webp" || k.lossy) ? 40 : 12;
        auto want = [&](int x, int y, Colour c) {
            if (k.grey) {
                c = pixelAt(in, x, y);
                c.resize(3);
            }
            return c;
        };
        std::vector<std::pair<std::pair<int, int>, Colour>> probes{{{W / 4, H / 4}, {255, 0, 0}},
                                                                   {{W / 4, 3 * H / 4}, {0, 0, 255}}};
        if (!k.alpha) {
            probes.push_back({{3 * W / 4, H / 4}, {0, 255, 0}});
            probes.push_back({{3 * W / 4, 3 * H / 4}, {255, 255, 255}});
        }
        for (const auto &[at, colour] : probes) {
            Colour got = pixelAt(out, at.first, at.second);
            EXPECT_TRUE(near(got, want(at.first, at.second, colour), tol)) << colourText(got);
        }
        if (k.alpha && fmt != "jpg" && fmt != "gif") {
            EXPECT_TRUE(info.bands == 4 || info.bands == 2) << "alpha lost, bands " << info.bands;
            if (!k.grey && k.frames == 1)
                EXPECT_TRUE(near(pixelAt(out, 3 * W / 4, H / 4), {0, 255, 0, 128}, tol));
        }
        if (k.frames > 1 && animatedOut) {
            Colour c = VImage::new_from_file(out.c_str(), VImage::option()->set("page", 2)).getpoint(W / 2, H / 2);
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
// result after what was written, keeping an extension that already says so in any case.
TEST_F(Formats, OutputNamedAfterWhatWasWritten) {
    // libvips picks the saver from the suffix: save under the true one, then rename.
    for (const auto &[name, real] : {std::pair{"png-named.jpg", "png"}, {"jpeg-named.png", "jpg"},
                                     {"webp-named.gif", "webp"}, {"gif-noext", "gif"}}) {
        save(quadrants(W, H), path(std::string("tmp.") + real));
        ASSERT_EQ(rename(path(std::string("tmp.") + real).c_str(), path(name).c_str()), 0);
    }
    struct Case {
        std::string in, out, outext, format, written, content;
    };
    const std::vector<Case> cases{
        {"png-named.jpg", "s1", "off", "same", "s1", "png"},
        {"png-named.jpg", "n1", "on", "same", "n1.png", "png"},
        {"jpeg-named.png", "n2", "on", "same", "n2.jpg", "jpg"},
        {"webp-named.gif", "n3", "on", "same", "n3.webp", "webp"},
        {"gif-noext", "n4", "on", "same", "n4.gif", "gif"},
        {"gif-noext", "a", "on", "jpg", "a.jpg", "jpg"},
        {"gif-noext", "c.JPG", "on", "jpg", "c.JPG", "jpg"},
        {"gif-noext", "d.jpeg", "on", "jpg", "d.jpeg", "jpg"},
        {"gif-noext", "e.JPEG", "on", "jpg", "e.JPEG", "jpg"},
        {"gif-noext", "f.png", "on", "jpg", "f.png.jpg", "jpg"},
        {"gif-noext", "g.jpg", "on", "png", "g.jpg.png", "png"},
        {"gif-noext", "h.PNG", "on", "png", "h.PNG", "png"},
        {"gif-noext", "i", "on", "webp", "i.webp", "webp"},
        {"gif-noext", "j", "on", "avif", "j.avif", "avif"},
        {"gif-noext", "l.Gif", "on", "gif", "l.Gif", "gif"},
        {"gif-noext", "n.png", "off", "jpg", "n.png", "jpg"},
        {"gif-noext", "p.webp.jpg", "on", "webp", "p.webp.jpg.webp", "webp"},
    };
    std::set<std::string> expected{"png-named.jpg", "jpeg-named.png", "webp-named.gif", "gif-noext"};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in + " -> " + c.out + " " + c.outext + " " + c.format);
        ASSERT_EXIT_CODE(run({"-in", path(c.in), "-out", path(c.out), "-outext", c.outext, "-outformat", c.format}), 0);
        expected.insert(c.written);
        EXPECT_EQ(sniffFormat(path(c.written)), c.content);
        expectFolderHolds(expected);
    }
}

TEST_F(Formats, AutoPicksPngForTransparencyAndJpegForPhotos) {
    save(quadrants(400, 300, true), path("alpha.png"));
    save(photoLike(800, 600), path("photo.png"));
    // Transparency on a JPEG-class photo still wins: the alpha must not be dropped.
    VImage alpha = VImage::black(800, 600).new_from_image({255}).cast(VIPS_FORMAT_UCHAR);
    alpha = alpha.insert(VImage::black(100, 100).cast(VIPS_FORMAT_UCHAR), 0, 0);
    save(photoLike(800, 600).bandjoin(alpha), path("photoalpha.png"));
    for (const auto &[in, written] : {std::pair{"alpha.png", "a.png"}, {"photo.png", "a.jpg"},
                                      {"photoalpha.png", "a.png"}}) {
        SCOPED_TRACE(in);
        ASSERT_EXIT_CODE(run({"-in", path(in), "-out", path("a"), "-outformat", "auto", "-outext", "on"}), 0);
        EXPECT_TRUE(exists(path(written)));
        unlink(path(written).c_str());
    }
}

// Corpus animations: frames, their order and frame size survive a GIF/WebP round trip and
// a resize; other outputs take the first frame at the frame's size.
TEST_F(Formats, AnimationKept) {
    for (std::string src : {"traffic_light.gif", "traffic_light_anim.webp"}) {
        const ImageInfo in = inspect(corpusFile(src));
        for (std::string fmt : {"gif", "webp", "png"}) {
            for (bool resize : {false, true}) {
                SCOPED_TRACE(src + " -> " + fmt + (resize ? " resized" : ""));
                const std::string out = path("anim." + fmt);
                std::vector<std::string> a{"-in", corpusFile(src), "-out", out, "-outformat", fmt};
                if (resize)
                    a.insert(a.end(), {"-width", "30"});
                ASSERT_EXIT_CODE(run(a), 0);
                const ImageInfo got = inspect(out);
                EXPECT_EQ(got.pages, fmt == "png" ? 1 : in.pages);
                EXPECT_EQ(got.width, resize ? 30 : in.width);
                EXPECT_NEAR(got.height, resize ? in.height * 30.0 / in.width : in.height, 1);
                for (int p = 0; !resize && p < std::min(in.pages, got.pages); ++p) {
                    VImage x = VImage::new_from_file(corpusFile(src).c_str(), VImage::option()->set("page", p));
                    VImage y = VImage::new_from_file(out.c_str(), VImage::option()->set("page", p));
                    EXPECT_LT(meanDifference(x, y), 12) << "frame " << p;
                }
            }
        }
    }
}

// Levels 1 and 2 write PNG losslessly: a 16-bit input stays 16-bit and exact; a lossy
// input comes out as exactly its decoded pixels. Lossy outputs scale 16-bit tones.
TEST_F(Formats, BitDepthAndLosslessPng) {
    VImage xy = VImage::xyz(300, 200);
    VImage deep = VImage::bandjoin(
        std::vector<VImage>{xy[0] * 211.0 + xy[1] * 97.0, xy[1] * 301.0 + 7, xy[0] * 53.0 + xy[1] * 149.0});
    save(deep.cast(VIPS_FORMAT_USHORT).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_RGB16)),
         path("deep.png"));
    ASSERT_EXIT_CODE(run({"-in", path("deep.png"), "-out", path("out.png"), "-reducemode", "1"}), 0);
    EXPECT_EQ(inspect(path("out.png")).pngBitDepth, 16);
    VImage a = loadFirstPage(path("deep.png")), b = loadFirstPage(path("out.png"));
    EXPECT_EQ((a.cast(VIPS_FORMAT_INT) - b.cast(VIPS_FORMAT_INT)).abs().max(), 0);

    ASSERT_EXIT_CODE(run({"-in", corpusFile("ImageMagick.png"), "-out", path("im.jpg"), "-outformat", "jpg"}), 0);
    EXPECT_LT(meanDifference(loadForViewing(corpusFile("ImageMagick.png")), loadForViewing(path("im.jpg"))), 6);

    save(photoLike(1200, 800), path("in.jpg"), "[Q=90]");
    save(photoLike(600, 400), path("in.webp"), "[Q=80]");
    save(photoLike(300, 200), path("in.avif"), "[Q=60,effort=0]");
    for (const std::string in : {path("in.jpg"), path("in.webp"), path("in.avif")}) {
        for (std::string level : {"1", "2"}) {
            SCOPED_TRACE(in + " level " + level);
            ASSERT_EXIT_CODE(run({"-in", in, "-out", path("out.png"), "-outformat", "png", "-reducemode", level}), 0);
            EXPECT_LT(meanDifference(loadForViewing(in), loadFirstPage(path("out.png"))), 0.5);
        }
    }
}

// Names are names: brackets (libvips reads "[...]" after a file name as save options),
// spaces, non-ASCII letters, a leading dash, several dots.
TEST_F(Formats, UnusualFileNames) {
    for (const auto &[inName, outName] : std::vector<std::pair<std::string, std::string>>{
             {"photo [1].jpg", "out [Q=5].jpg"}, {"snímek 空.jpg", "výstup 出力.jpg"}, {"-dash.jpg", "-out.jpg"},
             {"a.b.c.jpg", "x.y.z"}, {"in[palette].png", "out[palette].png"}}) {
        SCOPED_TRACE(inName + " -> " + outName);
        save(photoLike(120, 80), path("tmp.jpg"), "[Q=90]");
        ASSERT_EQ(rename(path("tmp.jpg").c_str(), path(inName).c_str()), 0);
        const std::string inBytes = readBytes(path(inName));
        ASSERT_EXIT_CODE(run({"-in", path(inName), "-out", path(outName), "-width", "60"}), 0);
        EXPECT_EQ(inspect(path(outName)).width, 60);
        EXPECT_TRUE(sameBytes(readBytes(path(inName)), inBytes));
        expectFolderHolds({inName, outName});
        unlink(path(inName).c_str());
        unlink(path(outName).c_str());
    }
}

} // namespace
