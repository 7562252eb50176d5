// Resizing: exact output dimensions for every mode, where the picture lands inside the box
// (crop around the centre, margins, stretch), never-enlarge, and orientation first.
#include "engine_process.h"
#include "image_tools.h"

#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

class Resize : public EngineTest {
protected:
    // Grey picture with a red band down the left (600 px) and a blue band along the top
    // (300 px): after a resize, where the bands end tells the scale and the crop or margin.
    static VImage banded(int w, int h) {
        VImage im = solid(w, h, {128, 128, 128});
        im = im.insert(solid(w - 600, 300, {0, 0, 255}), 600, 0);
        im = im.insert(solid(600, h, {255, 0, 0}), 0, 0);
        return im;
    }
    std::pair<int, int> dims(const std::string &file) {
        ImageInfo i = inspect(file);
        EXPECT_TRUE(i.ok) << i.error;
        return {i.width, i.height};
    }
    RunResult resize(const std::string &in, std::vector<std::string> opts, const std::string &out) {
        std::vector<std::string> a{"-in", in, "-out", out};
        a.insert(a.end(), opts.begin(), opts.end());
        return run(a);
    }
    void expectColour(const std::string &file, int x, int y, const Colour &want) {
        Colour got = pixelAt(file, x, y);
        EXPECT_TRUE(near(got, want, 30)) << "at " << x << "," << y << " got " << colourText(got)
                                         << " want " << colourText(want);
    }
};

const Colour kRed{255, 0, 0}, kBlue{0, 0, 255}, kGrey{128, 128, 128}, kWhite{255, 255, 255};

TEST_F(Resize, SingleDimensionModes) {
    const std::string land = path("land.jpg"), port = path("port.jpg");
    save(banded(4000, 3000), land, "[Q=90]");
    save(banded(3000, 4000), port, "[Q=90]");
    struct Case {
        std::string in;
        std::vector<std::string> opts;
        int w, h;
    };
    const std::vector<Case> cases{
        {land, {"-width", "1000"}, 1000, 750},
        {land, {"-height", "600"}, 800, 600},
        {land, {"-longside", "1000"}, 1000, 750},
        {port, {"-longside", "1000"}, 750, 1000},
        {port, {"-width", "600"}, 600, 800},
        {land, {"-zoom", "50"}, 2000, 1500},
        {land, {"-zoom", "5"}, 200, 150},
        {land, {"-width", "1000", "-height", "1000"}, 1000, 750},
        {land, {"-width", "2000", "-height", "600"}, 800, 600},
        {port, {"-width", "1000", "-height", "1000", "-resizefit", "within"}, 750, 1000},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.opts));
        RunResult r = resize(c.in, c.opts, path("out.jpg"));
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_EQ(dims(path("out.jpg")), std::make_pair(c.w, c.h));
        // The picture is scaled, not cut: the red band keeps its share of the width.
        const auto [w, h] = dims(path("out.jpg"));
        const int band = (c.in == land ? 600.0 / 4000 : 600.0 / 3000) * w;
        expectColour(path("out.jpg"), band / 2, h / 2, kRed);
        expectColour(path("out.jpg"), band + (w - band) / 2, h - h / 8, kGrey);
    }
}

TEST_F(Resize, RoundingOfTheDerivedSide) {
    save(banded(4000, 3000), path("in.jpg"), "[Q=90]");
    RunResult r = resize(path("in.jpg"), {"-width", "333"}, path("out.jpg"));
    ASSERT_EXIT_CODE(r, 0);
    auto [w, h] = dims(path("out.jpg"));
    EXPECT_EQ(w, 333);
    EXPECT_NEAR(h, 250, 1); // 249.75
    r = resize(path("in.jpg"), {"-width", "1000", "-height", "500"}, path("out.jpg"));
    ASSERT_EXIT_CODE(r, 0);
    std::tie(w, h) = dims(path("out.jpg"));
    EXPECT_NEAR(w, 667, 1); // 666.67
    EXPECT_EQ(h, 500);
}

TEST_F(Resize, BoxFits) {
    const std::string in = path("in.png");
    save(banded(4000, 3000), in, "[compression=1]");
    const std::vector<std::string> box{"-width", "1000", "-height", "1000"};
    auto fit = [&](const std::string &mode) {
        std::vector<std::string> o = box;
        o.push_back("-resizefit");
        o.push_back(mode);
        const std::string out = path(mode + ".png");
        RunResult r = resize(in, o, out);
        EXPECT_EXIT_CODE(r, 0);
        return out;
    };
    {
        SCOPED_TRACE("within: 1000x750, no margins");
        std::string out = fit("within");
        EXPECT_EQ(dims(out), std::make_pair(1000, 750));
    }
    {
        SCOPED_TRACE("inner: 1000x750 centred in 1000x1000, white margins top and bottom");
        std::string out = fit("inner");
        EXPECT_EQ(dims(out), std::make_pair(1000, 1000));
        expectColour(out, 500, 60, kWhite);
        expectColour(out, 500, 940, kWhite);
        expectColour(out, 500, 160, kBlue); // band 125..200
        expectColour(out, 75, 500, kRed);
        expectColour(out, 500, 500, kGrey);
    }
    {
        SCOPED_TRACE("outer: 1333x1000 cropped around the centre to 1000x1000");
        std::string out = fit("outer");
        EXPECT_EQ(dims(out), std::make_pair(1000, 1000));
        expectColour(out, 12, 500, kRed); // 200 px band less 167 cropped
        expectColour(out, 60, 500, kGrey);
        expectColour(out, 500, 50, kBlue); // 100 px band, nothing cropped vertically
        expectColour(out, 500, 150, kGrey);
    }
    {
        SCOPED_TRACE("middle: 1155x866, cropped to 1000 wide, padded to 1000 high");
        std::string out = fit("middle");
        EXPECT_EQ(dims(out), std::make_pair(1000, 1000));
        expectColour(out, 500, 25, kWhite);  // margin ~67
        expectColour(out, 500, 975, kWhite);
        expectColour(out, 500, 110, kBlue);  // band 67..154
        expectColour(out, 500, 200, kGrey);
        expectColour(out, 40, 500, kRed);    // 173 px band less 77 cropped
        expectColour(out, 140, 500, kGrey);
    }
    {
        SCOPED_TRACE("fit: stretched to 1000x1000");
        std::string out = fit("fit");
        EXPECT_EQ(dims(out), std::make_pair(1000, 1000));
        expectColour(out, 100, 500, kRed); // 150 px band
        expectColour(out, 200, 500, kGrey);
        expectColour(out, 500, 80, kBlue); // 100 px band
        expectColour(out, 500, 130, kGrey);
    }
}

TEST_F(Resize, InnerMarginsAreTransparentWhenAlphaIsKept) {
    VImage im = banded(800, 400);
    im = im.bandjoin(VImage::black(800, 400).new_from_image({255}).cast(VIPS_FORMAT_UCHAR));
    im = im.insert(solid(10, 10, {0, 0, 0, 0}), 790, 390); // real transparency somewhere
    save(im, path("in.png"));
    RunResult r = resize(path("in.png"), {"-width", "400", "-height", "400", "-resizefit", "inner", "-outformat", "png"},
                         path("out.png"));
    ASSERT_EXIT_CODE(r, 0);
    ImageInfo i = inspect(path("out.png"));
    EXPECT_EQ(std::make_pair(i.width, i.height), std::make_pair(400, 400));
    Colour margin = pixelAt(path("out.png"), 200, 20);
    ASSERT_EQ(margin.size(), 4u) << "alpha lost";
    EXPECT_NEAR(margin[3], 0, 1) << colourText(margin);
    Colour inside = pixelAt(path("out.png"), 350, 280);
    EXPECT_TRUE(near(inside, {128, 128, 128, 255}, 20)) << colourText(inside);
}

TEST_F(Resize, NeverEnlarge) {
    save(banded(1000, 800), path("full.jpg"));
    // A 500x400 picture: enlarged to 1000x800 unless -resizenozoom says no.
    RunResult r = resize(path("full.jpg"), {"-width", "500"}, path("small.jpg"));
    ASSERT_EXIT_CODE(r, 0);
    const std::string small = path("small.jpg");
    struct Case {
        std::vector<std::string> opts;
        int w, h;
    };
    const std::vector<Case> cases{
        {{"-longside", "1000"}, 1000, 800},
        {{"-longside", "1000", "-resizenozoom", "on"}, 500, 400},
        {{"-longside", "1000", "-resizenozoom", "off"}, 1000, 800},
        {{"-width", "800", "-resizenozoom", "on"}, 500, 400},
        {{"-height", "4000", "-resizenozoom", "on"}, 500, 400},
        {{"-zoom", "200", "-resizenozoom", "on"}, 500, 400},
        {{"-zoom", "200"}, 1000, 800},
        {{"-width", "250", "-resizenozoom", "on"}, 250, 200}, // shrinking still happens
        {{"-width", "1000", "-height", "1000", "-resizenozoom", "on"}, 500, 400},
        {{"-width", "1000", "-height", "1000"}, 1000, 800},
        {{"-resizenozoom", "on"}, 500, 400}, // alone: no effect
        {{"-resizealg", "speed"}, 500, 400},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.opts));
        RunResult rr = resize(small, c.opts, path("out.jpg"));
        ASSERT_EXIT_CODE(rr, 0);
        EXPECT_EQ(dims(path("out.jpg")), std::make_pair(c.w, c.h));
    }
}

TEST_F(Resize, KernelsAllGiveTheSamePicture) {
    save(photoLike(1600, 1200), path("in.png"));
    VImage reference = loadFirstPage(path("in.png")).resize(0.5);
    for (std::string alg : {"quality", "balance", "speed"}) {
        SCOPED_TRACE(alg);
        RunResult r = resize(path("in.png"), {"-width", "800", "-resizealg", alg, "-outformat", "png", "-reducemode", "1"},
                             path("out.png"));
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_EQ(dims(path("out.png")), std::make_pair(800, 600));
        EXPECT_LT(meanDifference(loadFirstPage(path("out.png")), reference), 4);
    }
}

// The orientation is applied before resizing: the long side is the displayed one.
TEST_F(Resize, OrientationAppliedFirst) {
    const std::string in = corpusFile("Aqua_orient8.jpg");
    RunResult r = resize(in, {"-longside", "1000"}, path("out.jpg"));
    ASSERT_EXIT_CODE(r, 0);
    ImageInfo i = inspect(path("out.jpg"));
    EXPECT_EQ(std::make_pair(i.width, i.height), std::make_pair(1000, 625));
    EXPECT_EQ(i.orientation, 1);
    VImage upright = loadFirstPage(in).autorot();
    EXPECT_LT(meanDifference(loadFirstPage(path("out.jpg")), upright), 6);
    // and not the other way round: the picture turned the wrong way differs a lot
    EXPECT_GT(meanDifference(loadFirstPage(path("out.jpg")), upright.rot(VIPS_ANGLE_D180)), 12);

    r = resize(in, {"-width", "400", "-height", "400", "-resizefit", "fit"}, path("fit.jpg"));
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_LT(meanDifference(loadFirstPage(path("fit.jpg")), upright), 8);
}

} // namespace
