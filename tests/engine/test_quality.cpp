// Quality and size: the perceptual levels (bounded, ordered), fixed quality, JPEG layout,
// the size limit, and never growing a file that only gets re-encoded.
#include "engine_process.h"
#include "image_tools.h"

#include <cstdlib>
#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

class Quality : public EngineTest {
protected:
    // A real photograph, cut to a size that keeps the perceptual search quick.
    std::string photoCrop(const std::string &name, const std::string &corpusName, int w, int h,
                          const std::string &options = "") {
        VImage im = loadFirstPage(corpusFile(corpusName));
        im = im.crop((im.width() - w) / 2, (im.height() - h) / 2, w, h);
        const std::string file = path(name);
        save(im, file, options);
        return file;
    }
};

TEST_F(Quality, ReduceModeNeverGrowsWithLevel) {
    const std::string jpg = photoCrop("photo.jpg", "life_by_Aitzol_Berasategi.jpg", 900, 600, "[Q=95]");
    // An illustration: palette quantisation can pay off at the higher levels.
    const std::string png = corpusFile("ImageMagick.png");
    for (const std::string &in : {jpg, png}) {
        SCOPED_TRACE(in);
        long long previous = -1;
        for (int level = 1; level <= 8; ++level) {
            const std::string out = path("level" + std::to_string(level));
            RunResult r = run({"-in", in, "-out", out, "-reducemode", std::to_string(level)});
            ASSERT_EXIT_CODE(r, 0);
            const long long size = fileSize(out);
            if (previous >= 0)
                EXPECT_LE(size, previous) << "level " << level << " is larger than level " << level - 1;
            previous = size;
        }
        if (in == jpg) // a lossy photograph must get lighter from the first level to the last
            EXPECT_LT(fileSize(path("level8")), fileSize(path("level1"))) << "the levels make no difference";
    }
}

// The visible difference stays within each level's bound: butteraugli max-norm between
// sRGB decodes of the input and the output, the measure the levels are defined by.
TEST_F(Quality, LevelsStayWithinTheirBound) {
    struct Case {
        std::string name, corpus, options, level;
    };
    const std::vector<Case> cases{
        {"stream.png", "life_by_Aitzol_Berasategi.jpg", "", "1"},
        {"stream2.png", "life_by_Aitzol_Berasategi.jpg", "", "5"},
        {"sky.png", "Kite_2560x1600.jpg", "", "5"},
        {"sky2.png", "Kite_2560x1600.jpg", "", "8"},
        {"bridge.jpg", "Bridge_by_Sander_Klootwijk.jpg", "[Q=97]", "5"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.corpus + " level " + c.level);
        const std::string in = photoCrop(c.name, c.corpus, 800, 600, c.options);
        RunResult r = run({"-in", in, "-out", path("out.jpg"), "-outformat", "jpg", "-reducemode", c.level});
        ASSERT_EXIT_CODE(r, 0);
        const double d = butteraugli(in, path("out.jpg"));
        EXPECT_LE(d, kLevelBound[std::atoi(c.level.c_str())]) << "butteraugli " << d;
    }
}

TEST_F(Quality, FixedQualityOverridesLevel) {
    const std::string in = photoCrop("photo.png", "BytheWater_2560x1600.jpg", 800, 600);
    RunResult r = run({"-in", in, "-out", path("q80a.jpg"), "-outformat", "jpg", "-quality", "80", "-reducemode", "1"});
    ASSERT_EXIT_CODE(r, 0);
    r = run({"-in", in, "-out", path("q80b.jpg"), "-outformat", "jpg", "-quality", "80", "-reducemode", "8"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(sameBytes(readBytes(path("q80a.jpg")), readBytes(path("q80b.jpg"))));
    r = run({"-in", in, "-out", path("q30.jpg"), "-outformat", "jpg", "-quality", "30"});
    ASSERT_EXIT_CODE(r, 0);
    r = run({"-in", in, "-out", path("q95.jpg"), "-outformat", "jpg", "-quality", "95"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_LT(fileSize(path("q30.jpg")), fileSize(path("q80a.jpg")));
    EXPECT_LT(fileSize(path("q80a.jpg")), fileSize(path("q95.jpg")));
}

TEST_F(Quality, BaselineOrProgressive) {
    const std::string in = photoCrop("photo.jpg", "BytheWater_2560x1600.jpg", 800, 600, "[Q=95]");
    for (auto extra : {std::vector<std::string>{"-width", "400"}, {"-quality", "60"}}) {
        SCOPED_TRACE(testing::PrintToString(extra));
        std::vector<std::string> a{"-in", in, "-out", path("prog.jpg")};
        a.insert(a.end(), extra.begin(), extra.end());
        RunResult r = run(a);
        ASSERT_EXIT_CODE(r, 0);
        JpegLayout p = jpegLayout(readBytes(path("prog.jpg")));
        EXPECT_TRUE(p.valid && p.progressive);

        a[3] = path("base.jpg");
        a.push_back("-jpegfixbaseline");
        a.push_back("on");
        r = run(a);
        ASSERT_EXIT_CODE(r, 0);
        JpegLayout b = jpegLayout(readBytes(path("base.jpg")));
        EXPECT_TRUE(b.valid && b.baseline);
    }
}

// Re-encoding alone must never make a file larger: an already light file comes back no
// larger than it went in, in every format.
TEST_F(Quality, NeverLargerWithoutPixelChanges) {
    const std::string tight = path("tight.jpg");
    save(photoLike(800, 600), tight, "[Q=40,optimize_coding=true,interlace=true,strip=true]");
    const std::string pal = path("pal.png");
    save(quadrants(500, 400), pal, "[palette=true,compression=9]");
    const std::string lossyWebp = path("low.webp");
    save(photoLike(400, 300), lossyWebp, "[Q=30]");
    const std::vector<std::string> inputs{
        tight, pal, lossyWebp, corpusFile("traffic_light.gif"), corpusFile("traffic_light_anim.webp"),
    };
    for (const auto &in : inputs) {
        for (std::string level : {"1", "5"}) {
            SCOPED_TRACE(in + " level " + level);
            const std::string out = path("out");
            RunResult r = run({"-in", in, "-out", out, "-reducemode", level});
            ASSERT_EXIT_CODE(r, 0);
            EXPECT_EQ(sniffFormat(out), sniffFormat(in));
            EXPECT_LE(fileSize(out), fileSize(in));
            ImageInfo a = inspect(in), b = inspect(out);
            EXPECT_EQ(a.width, b.width);
            EXPECT_EQ(a.height, b.height);
            EXPECT_EQ(a.pages, b.pages);
        }
    }
    // Also at a fixed quality higher than the input's.
    RunResult r = run({"-in", tight, "-out", path("q95.jpg"), "-quality", "95"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_LE(fileSize(path("q95.jpg")), fileSize(tight));

    // A plain baseline file stored below the quality asked for: its own coefficients,
    // rewritten without loss, beat a re-encode, upright or not.
    for (const auto &[orientation, stored] : {std::pair{1, 60}, std::pair{6, 60}}) {
        SCOPED_TRACE("orientation " + std::to_string(orientation) + ", stored at " + std::to_string(stored));
        vips::VImage photo = photoLike(640, 480).copy();
        photo.set(VIPS_META_ORIENTATION, orientation);
        const std::string plain = path("plain.jpg");
        save(photo, plain, "[Q=" + std::to_string(stored) + ",optimize_coding=false,interlace=false]");
        r = run({"-in", plain, "-out", path("rewritten.jpg"), "-quality", "80"});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_LT(fileSize(path("rewritten.jpg")), fileSize(plain));
        const vips::VImage upright = loadForViewing(plain);
        const vips::VImage out = loadFirstPage(path("rewritten.jpg"));
        ASSERT_EQ(out.width(), upright.width());
        // DCT-domain rotation differs from rotating decoded pixels only by chroma
        // upsampling rounding; a re-encode at 80 differs by ten times as much.
        save(upright, path("reencoded.jpg"), "[Q=80]");
        const double reencoded = meanDifference(loadFirstPage(path("reencoded.jpg")), upright);
        EXPECT_LT(meanDifference(out, upright), orientation == 1 ? 1e-9 : reencoded / 4);
        // Damage is still found when nothing else is decoded.
        std::string bytes = readBytes(plain);
        bytes.resize(bytes.size() * 2 / 3);
        writeBytes(path("cut.jpg"), bytes);
        r = run({"-in", path("cut.jpg"), "-out", path("cut-out.jpg"), "-quality", "80"});
        EXPECT_EXIT_CODE(r, 91);
        EXPECT_FALSE(exists(path("cut-out.jpg")));
    }

    // Halved chroma at nearly the level's own quality: whichever is smaller of the
    // level's re-encode and the input's own coefficients, never the input's size.
    const std::string halved = path("halved.jpg");
    save(photoLike(640, 480, 3), halved, "[Q=90,subsample_mode=on,optimize_coding=false]");
    r = run({"-in", halved, "-out", path("halved-out.jpg")});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_LT(fileSize(path("halved-out.jpg")), fileSize(halved));
}

TEST_F(Quality, SizeLimit) {
    // A lossless source converted to JPEG, so the never-larger rule for plain re-encodes
    // cannot blur what the limit alone does.
    const std::string in = photoCrop("kite.png", "Kite_2560x1600.jpg", 1600, 1000);
    const std::vector<std::string> base{"-in", in, "-outformat", "jpg"};
    auto job = [&](const std::string &out, std::vector<std::string> extra) {
        std::vector<std::string> a = base;
        a.push_back("-out");
        a.push_back(out);
        a.insert(a.end(), extra.begin(), extra.end());
        return run(a);
    };
    RunResult r = job(path("normal.jpg"), {});
    ASSERT_EXIT_CODE(r, 0);
    const long long normal = fileSize(path("normal.jpg"));

    // Below the normal result: met exactly as asked.
    const long long limit = std::max(8LL, normal / 1024 / 3);
    for (std::string hq : {"off", "on"}) {
        SCOPED_TRACE("hq " + hq);
        const std::string out = path("limit-" + hq + ".jpg");
        r = job(out, {"-jpegfilesizelimit", std::to_string(limit), "-jpegfilesizelimithq", hq});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_LE(fileSize(out), limit * 1024);
        EXPECT_GT(fileSize(out), limit * 1024 / 2) << "far lower than needed";
        EXPECT_EQ(inspect(out).width, 1600);
    }
    // Above it: off keeps the normal choice, on spends the room on quality.
    const long long roomy = normal * 2 / 1024;
    r = job(path("roomy-off.jpg"), {"-jpegfilesizelimit", std::to_string(roomy)});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(sameBytes(readBytes(path("roomy-off.jpg")), readBytes(path("normal.jpg"))));
    r = job(path("roomy-on.jpg"), {"-jpegfilesizelimit", std::to_string(roomy), "-jpegfilesizelimithq", "on"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_LE(fileSize(path("roomy-on.jpg")), roomy * 1024);
    EXPECT_GT(fileSize(path("roomy-on.jpg")), normal);

    // With a resize the limit applies to the resized result.
    r = job(path("small.jpg"), {"-width", "640", "-jpegfilesizelimit", "20"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_LE(fileSize(path("small.jpg")), 20 * 1024);
    EXPECT_EQ(inspect(path("small.jpg")).width, 640);

    // A JPEG input at its own format: the limit is met there as well.
    r = run({"-in", corpusFile("Kite_2560x1600.jpg"), "-out", path("kite.jpg"), "-jpegfilesizelimit", "150"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_LE(fileSize(path("kite.jpg")), 150 * 1024);
}

TEST_F(Quality, SizeLimitImpossible) {
    const std::string in = path("noise.png");
    VImage noise = VImage::gaussnoise(1200, 1200, VImage::option()->set("sigma", 80.0)->set("seed", 3));
    save(VImage::bandjoin(std::vector<VImage>{noise, noise.rot180(), noise.flip(VIPS_DIRECTION_HORIZONTAL)})
             .cast(VIPS_FORMAT_UCHAR)
             .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB)),
         in, "[compression=1]");
    save(solid(10, 10, {1, 2, 3}), path("out.jpg"));
    const std::string before = readBytes(path("out.jpg"));
    RunResult r = run({"-in", in, "-out", path("out.jpg"), "-outformat", "jpg", "-jpegfilesizelimit", "1"});
    EXPECT_EXIT_CODE(r, 94);
    EXPECT_FALSE(r.err.empty());
    EXPECT_TRUE(sameBytes(readBytes(path("out.jpg")), before)) << "an existing output must survive a failure";
    expectFolderHolds({"noise.png", "out.jpg"});
}

} // namespace
