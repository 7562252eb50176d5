// Resizing through the whole program: where the picture lands inside the box (crop around
// the centre, margins, stretch), never-enlarge on a real file and transparent margins.
// The size arithmetic of every mode is in unit_resize.cpp; orientation in
// test_colour_metadata.cpp.
#include "engine_process.h"
#include "image_tools.h"

using namespace dk;
using vips::VImage;

namespace {

const Colour kRed{255, 0, 0}, kBlue{0, 0, 255}, kGrey{128, 128, 128}, kWhite{255, 255, 255};

// Grey picture with a red band down the left (600 px) and a blue band along the top
// (300 px): after a resize, where the bands end tells the scale and the crop or margin.
VImage banded(int w, int h) {
    VImage im = solid(w, h, kGrey);
    im = im.insert(solid(w - 600, 300, kBlue), 600, 0);
    return im.insert(solid(600, h, kRed), 0, 0);
}

class Resize : public EngineTest {};

TEST_F(Resize, SizeAndPlacement) {
    save(banded(4000, 3000), path("land.png"), "[compression=1]");
    save(banded(1000, 800).resize(0.5), path("small.png"));
    struct Probe {
        int x, y;
        Colour colour;
    };
    struct Case {
        std::string in;
        std::vector<std::string> opts;
        int w, h;
        std::vector<Probe> probes;
    };
    const std::vector<Case> cases{
        // Scaled, not cut: the red band keeps its share of the width.
        {"land.png", {"-width", "1000"}, 1000, 750, {{75, 375, kRed}, {500, 700, kGrey}}},
        {"land.png", {"-height", "600"}, 800, 600, {{60, 300, kRed}, {400, 550, kGrey}}},
        {"land.png", {"-zoom", "5"}, 200, 150, {{15, 75, kRed}}},
        {"land.png", {"-width", "1000", "-height", "1000", "-resizefit", "within"}, 1000, 750, {}},
        // 1000x750 centred, white margins top and bottom.
        {"land.png", {"-width", "1000", "-height", "1000", "-resizefit", "inner"}, 1000, 1000,
         {{500, 60, kWhite}, {500, 940, kWhite}, {500, 160, kBlue}, {75, 500, kRed}, {500, 500, kGrey}}},
        // 1333x1000 cropped around the centre: 200 px band less 167 cropped.
        {"land.png", {"-width", "1000", "-height", "1000", "-resizefit", "outer"}, 1000, 1000,
         {{12, 500, kRed}, {60, 500, kGrey}, {500, 50, kBlue}, {500, 150, kGrey}}},
        // 1155x866: cropped to 1000 wide, padded to 1000 high.
        {"land.png", {"-width", "1000", "-height", "1000", "-resizefit", "middle"}, 1000, 1000,
         {{500, 25, kWhite}, {500, 975, kWhite}, {500, 110, kBlue}, {40, 500, kRed}, {140, 500, kGrey}}},
        {"land.png", {"-width", "1000", "-height", "1000", "-resizefit", "fit"}, 1000, 1000,
         {{100, 500, kRed}, {200, 500, kGrey}, {500, 80, kBlue}, {500, 130, kGrey}}},
        // A 500x400 picture: enlarged unless -resizenozoom says no; shrinking still happens.
        {"small.png", {"-longside", "1000"}, 1000, 800, {}},
        {"small.png", {"-longside", "1000", "-resizenozoom", "on"}, 500, 400, {}},
        {"small.png", {"-zoom", "200", "-resizenozoom", "on"}, 500, 400, {}},
        {"small.png", {"-width", "1000", "-height", "1000", "-resizenozoom", "on"}, 500, 400, {}},
        {"small.png", {"-width", "250", "-resizenozoom", "on"}, 250, 200, {}},
        {"small.png", {"-resizenozoom", "on"}, 500, 400, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in + " " + testing::PrintToString(c.opts));
        std::vector<std::string> a{"-in", path(c.in), "-out", path("out.png"), "-reducemode", "1"};
        a.insert(a.end(), c.opts.begin(), c.opts.end());
        ASSERT_EXIT_CODE(run(a), 0);
        ImageInfo i = inspect(path("out.png"));
        EXPECT_EQ(std::make_pair(i.width, i.height), std::make_pair(c.w, c.h));
        for (const auto &p : c.probes) {
            Colour got = pixelAt(path("out.png"), p.x, p.y);
            EXPECT_TRUE(near(got, p.colour, 30)) << "at " << p.x << "," << p.y << " " << colourText(got);
        }
    }
}

TEST_F(Resize, InnerMarginsAreTransparentWhenAlphaIsKept) {
    VImage im = banded(800, 400);
    im = im.bandjoin(VImage::black(800, 400).new_from_image({255}).cast(VIPS_FORMAT_UCHAR));
    im = im.insert(solid(10, 10, {0, 0, 0, 0}), 790, 390); // real transparency somewhere
    save(im, path("in.png"));
    RunResult r = run({"-in", path("in.png"), "-out", path("out.png"), "-width", "400", "-height", "400",
                       "-resizefit", "inner", "-outformat", "png"});
    ASSERT_EXIT_CODE(r, 0);
    Colour margin = pixelAt(path("out.png"), 200, 20);
    ASSERT_EQ(margin.size(), 4u) << "alpha lost";
    EXPECT_NEAR(margin[3], 0, 1) << colourText(margin);
    EXPECT_TRUE(near(pixelAt(path("out.png"), 350, 280), {128, 128, 128, 255}, 20));
}

} // namespace
