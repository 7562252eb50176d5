// Stamps through the whole program: composited at their own size after the resize, read
// from every stamp format with their alpha, on lossless and lossy outputs. Anchors,
// offsets, clipping and opacity are in unit_pixels.cpp.
#include "engine_process.h"
#include "image_tools.h"

using namespace dk;
using vips::VImage;

namespace {

constexpr int BW = 400, BH = 300, SW = 40, SH = 20;
const Colour kGrey{128, 128, 128}, kRed{255, 0, 0};

class Stamp : public EngineTest {
protected:
    void expectAt(const std::string &file, int x, int y, const Colour &want, double tol) {
        Colour got = pixelAt(file, x, y);
        EXPECT_TRUE(near(got, want, tol)) << "at " << x << "," << y << " got " << colourText(got);
    }
};

TEST_F(Stamp, AtItsOwnSizeAfterTheResizeFromEveryFormat) {
    save(solid(2 * BW, 2 * BH, kGrey), path("base.png"));
    save(photoLike(BW, BH), path("photo.jpg"), "[Q=92]");
    struct Case {
        std::string in, stampFormat, out;
        std::vector<std::string> opts;
        int stampX, stampY; // where the stamp's opaque right half starts
        double tolerance;
    };
    const std::vector<Case> cases{
        {"base.png", "png", "out.png", {"-width", "400"}, (BW - SW) / 2 + SW / 2, (BH - SH) / 2, 2},
        {"base.png", "webp", "out.png", {"-width", "400", "-height", "400", "-resizefit", "outer",
                                         "-stamppos", "bottomright"}, BW - SW / 2, BW - SH, 2},
        {"base.png", "gif", "out.png", {"-zoom", "50", "-stamppos", "topleft"}, SW / 2, 0, 2},
        {"base.png", "avif", "out.png", {"-zoom", "50", "-stamppos", "topleft"}, SW / 2, 0, 30},
        {"photo.jpg", "png", "out.jpg", {"-stamppos", "bottomright"}, BW - SW / 2, BH - SH, 40},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in + " with a " + c.stampFormat + " stamp " + testing::PrintToString(c.opts));
        // Opaque red with a transparent left half: the alpha must be honoured.
        const std::string s = path("s." + c.stampFormat);
        const std::string opts = c.stampFormat == "webp" ? "[lossless=true]"
                                 : c.stampFormat == "avif" ? "[Q=90,effort=0]" : "";
        save(solid(SW, SH, {255, 0, 0, 255}).insert(solid(SW / 2, SH, {0, 0, 0, 0}), 0, 0), s, opts);
        std::vector<std::string> a{"-in", path(c.in), "-out", path(c.out), "-reducemode", "1", "-stamp", s};
        a.insert(a.end(), c.opts.begin(), c.opts.end());
        ASSERT_EXIT_CODE(run(a), 0);
        expectAt(path(c.out), c.stampX + SW / 4, c.stampY + SH / 2, kRed, c.tolerance);
        expectAt(path(c.out), c.stampX + SW / 2 - 1, c.stampY + SH - 1, kRed, c.tolerance);
        if (c.in == "base.png") {
            expectAt(path(c.out), c.stampX - SW / 4, c.stampY + SH / 2, kGrey, 6); // the transparent half
            expectAt(path(c.out), c.stampX + SW / 4, c.stampY > 0 ? c.stampY - 1 : c.stampY + SH, kGrey, 2);
        }
    }
}

} // namespace
