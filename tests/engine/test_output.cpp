// What a successful job writes: every format from every format, the output's name, the
// resize modes, the stamp, the mark, profiles, metadata, orientation and the date.
#include "support.h"

#include <cmath>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using namespace dk;

namespace {

constexpr int W = 64, H = 48;
const Colour kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255}, kWhite{255, 255, 255}, kGrey{128, 128, 128};

VImage threeFrames(bool alpha) {
    const double a = alpha ? 255 : -1;
    auto c = [a](Colour rgb) { return a < 0 ? rgb : Colour{rgb[0], rgb[1], rgb[2], a}; };
    return animation({quadrants(W, H, alpha), solid(W, H, c({200, 30, 30})), solid(W, H, c({30, 30, 200}))});
}

struct InputKind { const char *name, *file; bool alpha, lossy; int frames; std::function<VImage()> make; const char *options; };
void PrintTo(const InputKind &k, std::ostream *os) { *os << k.name; }

const InputKind kInputs[] = {
    {"jpeg", "in.jpg", false, true, 1, [] { return quadrants(W, H); }, "[Q=95]"},
    {"png16", "in.png", false, false, 1, [] { return to16Bit(quadrants(W, H)); }, ""},
    {"pngpalette", "in.png", false, false, 1, [] { return quadrants(W, H); }, "[palette=true]"},
    {"pngalpha", "in.png", true, false, 1, [] { return quadrants(W, H, true); }, ""},
    {"gifanimated", "in.gif", false, false, 3, [] { return threeFrames(false); }, ""},
    {"webpanimated", "in.webp", true, false, 3, [] { return threeFrames(true); }, "[lossless=true]"},
    {"avif", "in.avif", false, true, 1, [] { return quadrants(W, H); }, "[Q=90,effort=0]"},
};

class Formats : public EngineTest, public testing::WithParamInterface<InputKind> {};

// Format found by content, size, frames, colours and alpha survive; success says nothing
// and leaves only the output.
TEST_P(Formats, EveryOutputFormat) {
    const InputKind &k = GetParam();
    const std::string in = path(k.file);
    save(k.make(), in, k.options);
    const std::string inBytes = readBytes(in);
    for (std::string fmt : {"jpg", "png", "gif", "webp", "avif"}) {
        SCOPED_TRACE(std::string(k.name) + " -> " + fmt);
        const std::string out = path("out." + fmt);
        // PNG at level 2 is lossless: exactly the decoded pixels, 16 bits kept.
        const RunResult r = job(in, out, {"-outformat", fmt, "-reducemode", fmt == "png" ? "2" : "5"});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_TRUE(r.out.empty() && r.err.empty()) << r.describe();
        EXPECT_EQ(readBytes(in), inBytes);
        EXPECT_EQ(listDir(dir()), (std::vector<std::string>{k.file, "out." + fmt}));
        const ImageInfo info = inspect(out);
        EXPECT_EQ(info.format, fmt);
        EXPECT_EQ(std::make_pair(info.width, info.height), std::make_pair(W, H)) << "frames come out as a strip";
        const bool animatedOut = fmt == "gif" || fmt == "webp";
        EXPECT_EQ(info.pages, animatedOut ? k.frames : 1);
        // Opaque left half always; the half-transparent right half where alpha is kept.
        const double tol = (fmt == "jpg" || fmt == "avif" || fmt == "webp" || k.lossy) ? 40 : 12;
        std::vector<std::tuple<int, int, Colour>> probes{{W / 4, H / 4, kRed}, {W / 4, 3 * H / 4, kBlue}};
        if (!k.alpha)
            probes.insert(probes.end(), {{3 * W / 4, H / 4, kGreen}, {3 * W / 4, 3 * H / 4, kWhite}});
        else if (fmt != "jpg" && fmt != "gif" && k.frames == 1)
            probes.push_back({3 * W / 4, H / 4, {0, 255, 0, 128}});
        for (const auto &[x, y, want] : probes)
            EXPECT_TRUE(near(pixelAt(out, x, y), want, tol)) << x << "," << y;
        if (fmt == "png")
            EXPECT_EQ(meanDifference(loadFirstPage(out), loadFirstPage(in)), 0);
        if (k.frames > 1 && animatedOut)
            EXPECT_TRUE(near(pixelAt(out, W / 2, H / 2, 2), {30, 30, 200}, tol)) << "third frame";
        unlink(out.c_str());
    }
}

INSTANTIATE_TEST_SUITE_P(Inputs, Formats, testing::ValuesIn(kInputs),
                         [](const testing::TestParamInfo<InputKind> &i) { return i.param.name; });

class Output : public EngineTest {};

// The name says nothing about the content; -outext names the result after what was
// written, keeping an extension that already says so in any case (.jpeg for JPEG). Names
// are names: brackets (libvips reads "[...]" after a name as options), spaces, non-ASCII
// letters, a leading dash. -keepdate gives the output the input's date.
TEST_F(Output, NamedAfterWhatWasWritten) {
    const struct timespec old[2] = {{981173106, 0}, {981173106, 0}};
    for (const auto &[name, real] : {std::pair{"png [1].jpg", "png"}, {"jpeg 空.png", "jpg"}, {"-gif", "gif"}}) {
        save(quadrants(W, H), path(std::string("tmp.") + real));
        ASSERT_EQ(rename(path(std::string("tmp.") + real).c_str(), path(name).c_str()), 0);
        ASSERT_EQ(utimensat(AT_FDCWD, path(name).c_str(), old, 0), 0);
    }
    struct Case { std::string in, out, outext, format, written, content; };
    const std::vector<Case> cases{
        {"png [1].jpg", "s1", "off", "same", "s1", "png"},
        {"png [1].jpg", "n1 [Q=5]", "on", "same", "n1 [Q=5].png", "png"},
        {"jpeg 空.png", "výstup 出力", "on", "same", "výstup 出力.jpg", "jpg"},
        {"-gif", "-n4", "on", "same", "-n4.gif", "gif"},
        {"-gif", "c.JPG", "on", "jpg", "c.JPG", "jpg"},
        {"-gif", "d.jpeg", "on", "jpg", "d.jpeg", "jpg"},
        {"-gif", "e.JPEG", "on", "jpg", "e.JPEG", "jpg"},
        {"-gif", "f.png", "on", "jpg", "f.png.jpg", "jpg"},
        {"-gif", "h.PNG", "on", "png", "h.PNG", "png"},
        {"-gif", "i[palette]", "on", "webp", "i[palette].webp", "webp"},
        {"-gif", "j", "on", "avif", "j.avif", "avif"},
        {"-gif", "n.png", "off", "jpg", "n.png", "jpg"},
        {"-gif", "p.webp.jpg", "on", "webp", "p.webp.jpg.webp", "webp"},
    };
    std::vector<std::string> expected{"-gif", "jpeg 空.png", "png [1].jpg"};
    struct stat st;
    const auto keptOldDate = [&](const std::string &name) { return stat(path(name).c_str(), &st) == 0 && st.st_mtim.tv_sec == old[0].tv_sec; };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in + " -> " + c.out + " " + c.outext + " " + c.format);
        const std::string keep = c.outext == "on" ? "on" : "off";
        ASSERT_EXIT_CODE(job(path(c.in), path(c.out), {"-outext", c.outext, "-outformat", c.format, "-keepdate", keep}), 0);
        expected.insert(std::upper_bound(expected.begin(), expected.end(), c.written), c.written);
        EXPECT_EQ(inspect(path(c.written)).format, c.content);
        EXPECT_EQ(listDir(dir()), expected);
        EXPECT_EQ(keptOldDate(c.written), keep == "on");
        EXPECT_TRUE(keptOldDate(c.in)) << "reading touched the input";
    }
}

// Where the picture lands in the box: a red band down the left (60 px) and a blue one
// along the top (30 px) on grey tell the scale, the crop and the margins.
TEST_F(Output, ResizeSizeAndPlacement) {
    auto banded = [](int w, int h) {
        return solid(w, h, kGrey).insert(solid(w - 60, 30, kBlue), 60, 0).insert(solid(60, h, kRed), 0, 0);
    };
    save(banded(400, 300), path("land.png"));
    save(banded(100, 80), path("small.png"));
    save(solid(400, 1, kGrey), path("line.png"));
    save(banded(400, 300).bandjoin_const({255}).insert(solid(10, 10, {0, 0, 0, 0}), 390, 290), path("alpha.png"));
    save(threeFrames(false), path("anim.gif"));
    struct Probe { int x, y; Colour colour; };
    struct Case { std::string in; Args opts; int w, h; std::vector<Probe> probes; };
    const std::vector<Case> cases{
        {"land.png", {"-width", "200"}, 200, 150, {{15, 75, kRed}, {100, 140, kGrey}}},
        {"land.png", {"-height", "60"}, 80, 60, {{5, 30, kRed}, {40, 50, kGrey}}},
        {"land.png", {"-zoom", "50", "-resizealg", "speed"}, 200, 150, {{15, 75, kRed}}},
        {"land.png", {"-width", "200", "-height", "200"}, 200, 150, {}},
        // 200x150 centred, white margins top and bottom.
        {"land.png", {"-width", "200", "-height", "200", "-resizefit", "inner"}, 200, 200,
         {{100, 12, kWhite}, {100, 188, kWhite}, {100, 32, kBlue}, {15, 100, kRed}, {100, 100, kGrey}}},
        // 267x200 cropped around the centre: a 40 px band less 33 cropped.
        {"land.png", {"-width", "200", "-height", "200", "-resizefit", "outer"}, 200, 200,
         {{3, 100, kRed}, {12, 100, kGrey}, {100, 10, kBlue}, {100, 30, kGrey}}},
        // 231x173: cropped to 200 wide, padded to 200 high.
        {"land.png", {"-width", "200", "-height", "200", "-resizefit", "middle"}, 200, 200,
         {{100, 5, kWhite}, {100, 195, kWhite}, {100, 22, kBlue}, {8, 100, kRed}, {28, 100, kGrey}}},
        {"land.png", {"-width", "200", "-height", "200", "-resizefit", "fit"}, 200, 200,
         {{20, 100, kRed}, {40, 100, kGrey}, {100, 16, kBlue}, {100, 26, kGrey}}},
        // Margins are transparent where the output keeps alpha.
        {"alpha.png", {"-width", "200", "-height", "200", "-resizefit", "inner"}, 200, 200,
         {{100, 10, {NAN, NAN, NAN, 0}}, {100, 100, {128, 128, 128, 255}}}},
        // Enlarged unless -resizenozoom says no; shrinking still happens.
        {"small.png", {"-longside", "200"}, 200, 160, {}},
        {"small.png", {"-longside", "200", "-resizenozoom", "on"}, 100, 80, {}},
        {"land.png", {"-longside", "100", "-resizenozoom", "on"}, 100, 75, {}},
        {"small.png", {"-width", "200", "-height", "200", "-resizefit", "outer", "-resizenozoom", "on"}, 100, 80, {}},
        // A side never collapses to nothing.
        {"line.png", {"-width", "100"}, 100, 1, {}},
        // Every frame of an animation, each at the new size.
        {"anim.gif", {"-width", "32"}, 32, 24, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in + " " + testing::PrintToString(c.opts));
        const std::string out = path("out." + c.in.substr(c.in.size() - 3));
        ASSERT_EXIT_CODE(job(path(c.in), out, Args{"-reducemode", "1"} + c.opts), 0);
        const ImageInfo i = inspect(out);
        EXPECT_EQ(std::make_pair(i.width, i.height), std::make_pair(c.w, c.h));
        EXPECT_EQ(i.pages, c.in == "anim.gif" ? 3 : 1);
        for (const auto &p : c.probes)
            EXPECT_TRUE(near(pixelAt(out, p.x, p.y), p.colour, 30)) << "at " << p.x << "," << p.y;
    }
}

// A stamp (left half transparent, right half opaque red) lands at its anchor and offset
// at its own size after the resize, from every stamp format, with its opacity, on
// lossless and lossy outputs.
TEST_F(Output, StampAtItsOwnSizeAfterTheResize) {
    constexpr int SW = 40, SH = 20;
    save(solid(400, 300, kGrey), path("base.png"));
    const VImage stamp = solid(SW, SH, {255, 0, 0, 255}).insert(solid(SW / 2, SH, {0, 0, 0, 0}), 0, 0);
    save(stamp, path("s.png"));
    save(stamp, path("s.webp"), "[lossless=true]");
    save(stamp, path("s.avif"), "[Q=90,effort=0]");
    // x, y: where the opaque half starts; red: what it shows there.
    struct Case { std::string in, stamp, out; Args opts; int x, y; Colour red; double tolerance; };
    const Colour halfRed{191, 64, 64};
    const std::vector<Case> cases{
        {"base.png", "s.png", "out.png", {"-width", "200"}, 100, 65, kRed, 2},
        {"base.png", "s.webp", "out.png", {"-width", "200", "-height", "200", "-resizefit", "outer", "-stamppos", "bottomright"},
         200 - SW / 2, 200 - SH, kRed, 2},
        {"base.png", "s.png", "out.jpg", {"-zoom", "50", "-stamppos", "topleft", "-stampx", "7", "-stampy", "5"}, 27, 5, kRed, 40},
        {"base.png", "s.avif", "out.png", {"-stamppos", "top", "-stampopaque", "50"}, 200, 0, halfRed, 30},
        {"base.png", "s.png", "out.png", {"-stamppos", "left", "-stampopaque", "50"}, SW / 2, 140, halfRed, 2},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in + " with " + c.stamp + " " + testing::PrintToString(c.opts));
        ASSERT_EXIT_CODE(job(path(c.in), path(c.out), Args{"-reducemode", "1", "-stamp", path(c.stamp)} + c.opts), 0);
        EXPECT_TRUE(near(pixelAt(path(c.out), c.x + SW / 4, c.y + SH / 2), c.red, c.tolerance));
        EXPECT_TRUE(near(pixelAt(path(c.out), c.x + SW / 2 - 1, c.y + SH - 1), c.red, c.tolerance));
        EXPECT_TRUE(near(pixelAt(path(c.out), c.x - SW / 4, c.y + SH / 2), kGrey, 6)) << "the transparent half";
        EXPECT_TRUE(near(pixelAt(path(c.out), c.x + SW / 4, c.y > 0 ? c.y - 1 : c.y + SH), kGrey, 6)) << "outside";
    }
}

// The mark as another program would have kept it: an APP15 segment after JFIF.
std::string withMark(std::string jpeg) {
    const std::string payload = std::string("DravikMark") + '\0' + "lightened by dravik.bin 1.0.0";
    const std::string seg = "\xFF\xEF" + std::string{char((payload.size() + 2) >> 8), char(payload.size() + 2)} + payload;
    const size_t jfif = static_cast<unsigned char>(jpeg[3]) == 0xE0 ? 2 + ((jpeg[4] & 0xFF) << 8 | (jpeg[5] & 0xFF)) : 0;
    return jpeg.insert(2 + jfif, seg);
}

// Skip-in copies a marked input only when the job would merely re-encode it; skip-out
// leaves a marked output alone whatever the job, unmarked ones are replaced.
TEST_F(Output, MarksWrittenAndHonoured) {
    const std::string src = path("src.jpg");
    save(photoLike(320, 240), src, "[Q=95]");
    for (const char *fmt : {"jpg", "png"})
        ASSERT_EXIT_CODE(job(src, path(std::string("marked.") + fmt), {"-outformat", fmt, "-optmarkwrite", "on"}), 0);
    writeBytes(path("foreign.jpg"), withMark(readBytes(src)));
    save(solid(20, 20, {255, 0, 0, 255}), path("stamp.png"));
    const std::string halfKiB = std::to_string(fileSize(path("marked.jpg")) / 2048);
    const Args skip{"-optmarkskipin", "auto"};
    const std::vector<std::tuple<std::string, Args, bool>> skipIn{
        {"marked.jpg", skip + Args{"-quality", "20"}, true},
        {"marked.jpg", skip + Args{"-reducemode", "8", "-outformat", "jpg", "-metadata", "strip"}, true},
        {"marked.png", skip + Args{"-reducemode", "8"}, true},
        {"foreign.jpg", skip, true},
        {"marked.jpg", Args{"-quality", "20"}, false},
        {"marked.jpg", skip + Args{"-width", "160"}, false},
        {"marked.jpg", skip + Args{"-outformat", "png"}, false},
        {"marked.jpg", skip + Args{"-stamp", path("stamp.png")}, false},
        {"marked.jpg", skip + Args{"-jpegfilesizelimit", halfKiB}, false},
        {"src.jpg", skip + Args{"-quality", "20"}, false},
    };
    for (const auto &[in, opts, copied] : skipIn) {
        SCOPED_TRACE(in + " " + testing::PrintToString(opts));
        ASSERT_EXIT_CODE(job(path(in), path("out"), opts), 0);
        EXPECT_EQ(readBytes(path("out")) == readBytes(path(in)), copied);
    }

    // In order: kept while marked, then replaced with skip-out off, then replaced as unmarked.
    const std::string marked = readBytes(path("marked.jpg"));
    const Args skipOut{"-optmarkskipout", "on"};
    for (const auto &[out, opts, width] : std::vector<std::tuple<std::string, Args, int>>{
             {"marked.jpg", skipOut + Args{"-outformat", "jpg", "-width", "100"}, 0},
             {"marked.jpg", skipOut + Args{"-outformat", "webp"}, 0},
             {"marked", skipOut + Args{"-outext", "on"}, 0},
             {"marked.jpg", {"-width", "100"}, 100},
             {"marked.jpg", skipOut + Args{"-width", "50"}, 50}}) {
        SCOPED_TRACE(out + " " + testing::PrintToString(opts));
        ASSERT_EXIT_CODE(job(src, path(out), opts), 0);
        EXPECT_TRUE(width == 0 ? readBytes(path("marked.jpg")) == marked : inspect(path("marked.jpg")).width == width);
    }
}

} // namespace
