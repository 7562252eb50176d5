// Resize arithmetic (exact output sizes for every mode and fit) and the resampler's
// promise to hit those sizes on every frame.
#include "options.h"
#include "resize.h"

#include <gtest/gtest.h>

using namespace dravik;

namespace {

Options box(Fit fit, int w, int h, bool noEnlarge = false)
{
    Options o;
    o.resize = ResizeMode::Box;
    o.fit = fit;
    o.width = w;
    o.height = h;
    o.noEnlarge = noEnlarge;
    return o;
}

Options single(ResizeMode mode, int value, bool noEnlarge = false)
{
    Options o;
    o.resize = mode;
    o.width = o.height = o.longSide = o.zoom = value;
    o.noEnlarge = noEnlarge;
    return o;
}

::testing::AssertionResult sizes(const ResizePlan &p, int sw, int sh, int bw, int bh)
{
    if (p.scaledWidth == sw && p.scaledHeight == sh && p.boxWidth == bw && p.boxHeight == bh)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "scaled " << p.scaledWidth << "x" << p.scaledHeight << " box "
                                         << p.boxWidth << "x" << p.boxHeight;
}

} // namespace

TEST(ResizePlan, FitsIntoABox)
{
    EXPECT_TRUE(sizes(planResize(box(Fit::Within, 1000, 1000), 4000, 3000), 1000, 750, 1000, 750));
    EXPECT_TRUE(sizes(planResize(box(Fit::Inner, 1000, 1000), 4000, 3000), 1000, 750, 1000, 1000));
    EXPECT_TRUE(sizes(planResize(box(Fit::Outer, 1000, 1000), 4000, 3000), 1333, 1000, 1000, 1000));
    EXPECT_TRUE(sizes(planResize(box(Fit::Stretch, 1000, 500), 4000, 3000), 1000, 500, 1000, 500));
    // Middle: the geometric mean of 0.25 and 1/3 is 0.2887, overflowing one way and
    // falling short the other; both end at the box.
    EXPECT_TRUE(sizes(planResize(box(Fit::Middle, 1000, 1000), 4000, 3000), 1155, 866, 1000, 1000));
    // Portrait source into a landscape box.
    EXPECT_TRUE(sizes(planResize(box(Fit::Within, 800, 600), 1600, 2560), 375, 600, 375, 600));
    EXPECT_TRUE(sizes(planResize(box(Fit::Outer, 800, 600), 1600, 2560), 800, 1280, 800, 600));
    // Extreme shapes never collapse to zero pixels.
    EXPECT_TRUE(sizes(planResize(box(Fit::Within, 3, 1), 4000, 3000), 1, 1, 1, 1));
    EXPECT_TRUE(sizes(planResize(box(Fit::Within, 100, 100), 20000, 1), 100, 1, 100, 1));
}

TEST(ResizePlan, SingleDimensionModes)
{
    EXPECT_TRUE(sizes(planResize(single(ResizeMode::Width, 333), 4000, 3000), 333, 250, 333, 250));
    EXPECT_TRUE(sizes(planResize(single(ResizeMode::Height, 333), 4000, 3000), 444, 333, 444, 333));
    EXPECT_TRUE(sizes(planResize(single(ResizeMode::LongSide, 1920), 3000, 4000), 1440, 1920, 1440, 1920));
    EXPECT_TRUE(sizes(planResize(single(ResizeMode::LongSide, 777), 4000, 3000), 777, 583, 777, 583));
    EXPECT_TRUE(sizes(planResize(single(ResizeMode::Zoom, 150), 101, 33), 152, 50, 152, 50));
    EXPECT_TRUE(sizes(planResize(single(ResizeMode::Zoom, 1), 50, 50), 1, 1, 1, 1));
    // A target equal to the image is no resampling at all (and so no pixel change).
    EXPECT_FALSE(planResize(single(ResizeMode::Width, 4000), 4000, 3000).changesPixels());
    EXPECT_FALSE(planResize(Options{}, 4000, 3000).changesPixels());
}

TEST(ResizePlan, NeverEnlarge)
{
    // Smaller than the target: keeps its size, whatever the mode.
    EXPECT_FALSE(planResize(single(ResizeMode::LongSide, 1000, true), 500, 400).changesPixels());
    EXPECT_FALSE(planResize(single(ResizeMode::Zoom, 200, true), 500, 400).changesPixels());
    EXPECT_FALSE(planResize(box(Fit::Inner, 1000, 1000, true), 500, 400).changesPixels());
    EXPECT_FALSE(planResize(box(Fit::Outer, 1000, 1000, true), 500, 400).changesPixels());
    // Larger ones still shrink.
    EXPECT_TRUE(sizes(planResize(single(ResizeMode::LongSide, 1000, true), 4000, 3000), 1000, 750, 1000, 750));
    // Partly larger: covering would enlarge, so the scale stays 1 and the box is made by
    // cropping the long side and padding the short one.
    EXPECT_TRUE(sizes(planResize(box(Fit::Outer, 1000, 300, true), 500, 400), 500, 400, 1000, 300));
    EXPECT_TRUE(sizes(planResize(box(Fit::Stretch, 300, 1000, true), 500, 400), 300, 400, 300, 400));
}

TEST(ResizePlan, ShrinkOnLoadLeavesTheKernelAFactorOfTwo)
{
    EXPECT_EQ(shrinkOnLoadFactor(6000, 4000, 1920, 1280), 1);
    EXPECT_EQ(shrinkOnLoadFactor(6000, 4000, 1500, 1000), 2);
    EXPECT_EQ(shrinkOnLoadFactor(6000, 4000, 750, 500), 4);
    EXPECT_EQ(shrinkOnLoadFactor(6000, 4000, 100, 67), 8);
    // The axis that shrinks least decides.
    EXPECT_EQ(shrinkOnLoadFactor(6000, 4000, 100, 4000), 1);
}

TEST(Resample, ExactSizesOnEveryFrameAndMargins)
{
    // Three frames of 37x23, the animation layout libvips uses.
    vips::VImage strip = (vips::VImage::black(37, 69, vips::VImage::option()->set("bands", 4)) + 200)
                             .cast(VIPS_FORMAT_UCHAR)
                             .copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
    ASSERT_TRUE(strip.has_alpha());
    strip.set("page-height", 23);
    for (Kernel k : {Kernel::Quality, Kernel::Balance, Kernel::Speed}) {
        const vips::VImage out = scaleTo(strip, 19, 7, k);
        EXPECT_EQ(out.width(), 19);
        EXPECT_EQ(out.height(), 21);
        EXPECT_EQ(pageHeightOf(out), 7);
    }
    ResizePlan plan;
    plan.canvas = true;
    plan.boxWidth = 41;
    plan.boxHeight = 11;
    // Wider box: padded left and right; lower box: cropped top and bottom.
    const vips::VImage padded = fitCanvas(strip, plan, true);
    EXPECT_EQ(padded.width(), 41);
    EXPECT_EQ(padded.height(), 33);
    EXPECT_EQ(pageHeightOf(padded), 11);
    EXPECT_EQ(padded.getpoint(0, 0)[3], 0.0);    // transparent margin
    EXPECT_EQ(padded.getpoint(20, 5)[3], 200.0); // picture
    vips::VImage rgb = vips::VImage::black(10, 10, vips::VImage::option()->set("bands", 3))
                           .cast(VIPS_FORMAT_UCHAR)
                           .copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
    plan.boxWidth = 20;
    plan.boxHeight = 10;
    EXPECT_EQ(fitCanvas(rgb, plan, true).getpoint(0, 0)[0], 255.0); // no alpha: white margin
}
