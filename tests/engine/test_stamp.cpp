// Stamps: where they land for each anchor and offset, to the pixel; opacity; clipping;
// composited at their own size after the resize; every stamp format.
#include "engine_process.h"
#include "image_tools.h"

#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

constexpr int BW = 400, BH = 300, SW = 40, SH = 20;
const Colour kGrey{128, 128, 128};
const Colour kRed{255, 0, 0};

class Stamp : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        base = path("base.png");
        save(solid(BW, BH, kGrey), base);
        stamp = path("stamp.png");
        save(solid(SW, SH, {255, 0, 0, 255}), stamp);
    }
    // PNG at level 1 is lossless, so every pixel can be checked exactly.
    RunResult stampRun(std::vector<std::string> opts, const std::string &stampFile = "") {
        std::vector<std::string> a{"-in", base, "-out", path("out.png"), "-reducemode", "1",
                                   "-stamp", stampFile.empty() ? stamp : stampFile};
        a.insert(a.end(), opts.begin(), opts.end());
        return run(a);
    }
    Colour at(int x, int y) { return pixelAt(path("out.png"), x, y); }
    void expectAt(int x, int y, const Colour &want, double tol = 2) {
        if (x < 0 || y < 0 || x >= BW || y >= BH)
            return;
        Colour got = at(x, y);
        EXPECT_TRUE(near(got, want, tol)) << "at " << x << "," << y << " got " << colourText(got)
                                          << " want " << colourText(want);
    }
    // The stamp covers exactly [sx, sx+SW) x [sy, sy+SH), clipped to the picture.
    void expectStampAt(int sx, int sy) {
        expectAt(sx, sy, kRed);
        expectAt(sx + SW - 1, sy + SH - 1, kRed);
        expectAt(sx + SW / 2, sy + SH / 2, kRed);
        expectAt(sx - 1, sy + SH / 2, kGrey);
        expectAt(sx + SW, sy + SH / 2, kGrey);
        expectAt(sx + SW / 2, sy - 1, kGrey);
        expectAt(sx + SW / 2, sy + SH, kGrey);
        EXPECT_EQ(inspect(path("out.png")).width, BW);
        EXPECT_EQ(inspect(path("out.png")).height, BH);
    }
    std::string base, stamp;
};

TEST_F(Stamp, AnchorsAndOffsets) {
    struct Anchor {
        const char *name;
        int x, y;
    };
    const Anchor anchors[] = {
        {"topleft", 0, 0},        {"top", (BW - SW) / 2, 0},          {"topright", BW - SW, 0},
        {"left", 0, (BH - SH) / 2}, {"center", (BW - SW) / 2, (BH - SH) / 2}, {"right", BW - SW, (BH - SH) / 2},
        {"bottomleft", 0, BH - SH}, {"bottom", (BW - SW) / 2, BH - SH},  {"bottomright", BW - SW, BH - SH},
    };
    for (const auto &a : anchors) {
        SCOPED_TRACE(a.name);
        RunResult r = stampRun({"-stamppos", a.name});
        ASSERT_EXIT_CODE(r, 0);
        expectStampAt(a.x, a.y);
        // Positive offsets move right and down from every anchor, negative left and up;
        // what leaves the picture is clipped.
        r = stampRun({"-stamppos", a.name, "-stampx", "12", "-stampy", "7"});
        ASSERT_EXIT_CODE(r, 0);
        expectStampAt(a.x + 12, a.y + 7);
        r = stampRun({"-stamppos", a.name, "-stampx", "-15", "-stampy", "-9"});
        ASSERT_EXIT_CODE(r, 0);
        expectStampAt(a.x - 15, a.y - 9);
    }
    // Default anchor is the centre.
    RunResult r = stampRun({});
    ASSERT_EXIT_CODE(r, 0);
    expectStampAt((BW - SW) / 2, (BH - SH) / 2);
}

TEST_F(Stamp, OpacityMultipliesTheStampsAlpha) {
    RunResult r = stampRun({"-stampopaque", "50"});
    ASSERT_EXIT_CODE(r, 0);
    expectAt(BW / 2, BH / 2, {191.5, 64, 64}, 4);

    r = stampRun({"-stampopaque", "0"});
    ASSERT_EXIT_CODE(r, 0);
    expectAt(BW / 2, BH / 2, kGrey, 2);

    const std::string half = path("half.png");
    save(solid(SW, SH, {255, 0, 0, 128}), half);
    r = stampRun({"-stampopaque", "100"}, half);
    ASSERT_EXIT_CODE(r, 0);
    expectAt(BW / 2, BH / 2, {191.7, 63.7, 63.7}, 4);
    r = stampRun({"-stampopaque", "50"}, half);
    ASSERT_EXIT_CODE(r, 0);
    expectAt(BW / 2, BH / 2, {159.9, 95.9, 95.9}, 4);
}

TEST_F(Stamp, Clipping) {
    // Larger than the picture: covers it all, the picture keeps its size.
    const std::string big = path("big.png");
    save(solid(BW + 200, BH + 200, {255, 0, 0, 255}), big);
    RunResult r = stampRun({}, big);
    ASSERT_EXIT_CODE(r, 0);
    expectAt(0, 0, kRed);
    expectAt(BW - 1, BH - 1, kRed);

    // Entirely outside: nothing changes, and that is no error.
    for (auto off : {std::vector<std::string>{"-stampx", "9999"}, {"-stampy", "-9999"},
                     {"-stampx", "-9999", "-stampy", "9999"}}) {
        SCOPED_TRACE(testing::PrintToString(off));
        r = stampRun(off);
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_EQ(inspect(path("out.png")).width, BW);
        EXPECT_EQ(loadFirstPage(path("out.png")).min(), 128);
        EXPECT_EQ(loadFirstPage(path("out.png")).max(), 128);
    }
}

TEST_F(Stamp, AppliedAfterResizeAtItsOwnSize) {
    save(solid(2 * BW, 2 * BH, kGrey), base);
    RunResult r = stampRun({"-width", std::to_string(BW)});
    ASSERT_EXIT_CODE(r, 0);
    expectStampAt((BW - SW) / 2, (BH - SH) / 2);
    r = stampRun({"-width", std::to_string(BW), "-height", std::to_string(BW), "-resizefit", "outer",
                  "-stamppos", "bottomright"});
    ASSERT_EXIT_CODE(r, 0);
    // Output is BW x BW here.
    Colour corner = pixelAt(path("out.png"), BW - 1, BW - 1);
    EXPECT_TRUE(near(corner, kRed, 2)) << colourText(corner);
    Colour outside = pixelAt(path("out.png"), BW - SW - 1, BW - 1);
    EXPECT_TRUE(near(outside, kGrey, 2)) << colourText(outside);
}

TEST_F(Stamp, EveryStampFormat) {
    for (std::string ext : {"webp", "gif", "avif", "png"}) {
        SCOPED_TRACE(ext);
        const std::string s = path("s." + ext);
        const std::string opts = ext == "webp" ? "[lossless=true]" : ext == "avif" ? "[Q=90,effort=0]" : "";
        // Opaque red with a transparent left half: the alpha must be honoured.
        VImage im = solid(SW, SH, {255, 0, 0, 255}).insert(solid(SW / 2, SH, {0, 0, 0, 0}), 0, 0);
        save(im, s, opts);
        RunResult r = stampRun({"-stamppos", "topleft"}, s);
        ASSERT_EXIT_CODE(r, 0);
        expectAt(SW / 4, SH / 2, kGrey, 6);
        expectAt(3 * SW / 4, SH / 2, kRed, ext == "avif" ? 30 : 2);
    }
}

// A coloured stamp on a grey picture stays coloured: the picture gains colour channels.
TEST_F(Stamp, ColouredStampOnGreyPicture) {
    save(solid(BW, BH, kGrey).colourspace(VIPS_INTERPRETATION_B_W), path("grey.jpg"), "[Q=95]");
    save(solid(BW, BH, kGrey).colourspace(VIPS_INTERPRETATION_B_W), path("grey.png"));
    for (std::string in : {"grey.jpg", "grey.png"}) {
        SCOPED_TRACE(in);
        ASSERT_EQ(inspect(path(in)).bands, 1);
        const std::string out = path("stamped-" + in);
        RunResult r = run({"-in", path(in), "-out", out, "-stamp", stamp});
        ASSERT_EXIT_CODE(r, 0);
        Colour c = pixelAt(out, BW / 2, BH / 2);
        EXPECT_TRUE(near(c, kRed, 40)) << colourText(c);
        Colour g = pixelAt(out, 10, 10);
        EXPECT_TRUE(near(g, {kGrey[0], kGrey[0], kGrey[0]}, 8)) << colourText(g);
    }
}

TEST_F(Stamp, OnJpegOutput) {
    save(photoLike(BW, BH), path("photo.jpg"), "[Q=92]");
    RunResult r = run({"-in", path("photo.jpg"), "-out", path("out.jpg"), "-stamp", stamp, "-stamppos", "bottomright"});
    ASSERT_EXIT_CODE(r, 0);
    Colour c = pixelAt(path("out.jpg"), BW - SW / 2, BH - SH / 2);
    EXPECT_TRUE(near(c, kRed, 40)) << colourText(c);
    EXPECT_EQ(sniffFormat(path("out.jpg")), "jpg");
}

} // namespace
