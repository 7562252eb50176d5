// Colour profiles (kept, converted, removed, automatic), CMYK, metadata, orientation and
// the modification time.
#include "engine_process.h"
#include "hostile.h"
#include "image_tools.h"

#include <cmath>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

class ColourAndMetadata : public EngineTest {
protected:
    // A saturated picture whose numbers are Display P3: read as sRGB it looks different
    // enough that keeping, converting and dropping can be told apart.
    std::string makeP3(const std::string &name, int w = 800, int h = 600) {
        VImage xy = VImage::xyz(w, h);
        VImage r = xy[0] * (255.0 / w), g = xy[1] * (255.0 / h), b = 255 - r;
        VImage im = VImage::bandjoin(std::vector<VImage>{r, g, b}).cast(VIPS_FORMAT_UCHAR).copy(
            VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
        const std::string file = path(name);
        save(withProfile(im, builtinProfile("p3")), file, "[Q=95]");
        return file;
    }
    static VImage toSrgbNumbers(const std::string &file) {
        return loadFirstPage(file).icc_transform(
            "srgb", VImage::option()->set("embedded", true)->set("intent", VIPS_INTENT_RELATIVE));
    }
};

// Each profile policy on a P3 picture, the automatic choice on an sRGB profile (dead weight),
// on a small P3 profile (kept) and on a profile that dwarfs a tiny picture (converted), and
// a corpus Adobe RGB file; AVIF follows the same option.
TEST_F(ColourAndMetadata, ProfilePolicies) {
    const std::string p3 = builtinProfile("p3");
    const std::string in = makeP3("p3.jpg");
    const std::string adobe = corpusFile("DarkestHour_adobergb.jpg");
    const std::string adobeIcc = inspect(adobe).icc; // 18 KB
    save(withProfile(solid(24, 16, {40, 200, 60}), adobeIcc), path("tiny.jpg"), "[Q=90]");
    // Precondition: the conversion really moves the numbers, or this test proves nothing.
    ASSERT_GT(meanDifference(loadFirstPage(in), toSrgbNumbers(in)), 4);
    struct Case {
        std::string in, out;
        std::vector<std::string> opts;
        std::string icc;
        bool converted;
        double tolerance;
    };
    const std::vector<Case> cases{
        {in, "keep.jpg", {"-jpegiccp", "keep"}, p3, false, 2.5},
        {in, "convert.jpg", {"-jpegiccp", "convert"}, "", true, 2.5},
        {in, "remove.jpg", {"-jpegiccp", "remove"}, "", false, 2.5},
        {in, "auto.jpg", {}, p3, false, 2.5},
        {in, "keep.avif", {"-outformat", "avif", "-jpegiccp", "keep", "-width", "200"}, p3, false, 100},
        {in, "convert.avif", {"-outformat", "avif", "-jpegiccp", "convert", "-width", "200"}, "", true, 4},
        {path("tiny.jpg"), "tiny-auto.jpg", {}, "", true, 4},
        {adobe, "adobe.jpg", {"-width", "640", "-jpegiccp", "convert"}, "", true, 3},
        {adobe, "adobekeep.jpg", {"-width", "640", "-jpegiccp", "keep"}, adobeIcc, false, 100},
        {corpusFile("Kite_2560x1600.jpg"), "kite.jpg", {"-width", "640"}, "", false, 100},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.out);
        std::vector<std::string> a{"-in", c.in, "-out", path(c.out)};
        a.insert(a.end(), c.opts.begin(), c.opts.end());
        ASSERT_EXIT_CODE(run(a), 0);
        EXPECT_EQ(inspect(path(c.out)).icc, c.icc);
        const VImage out = loadFirstPage(path(c.out));
        const double toWant = meanDifference(out, c.converted ? toSrgbNumbers(c.in) : loadFirstPage(c.in));
        EXPECT_LT(toWant, c.tolerance);
        if (c.converted)
            EXPECT_LT(toWant, meanDifference(out, loadFirstPage(c.in))) << "pixels were not converted";
    }
    EXPECT_LT(fileSize(path("tiny-auto.jpg")), 4000);
}

TEST_F(ColourAndMetadata, CmykBecomesSrgb) {
    const std::string in = corpusFile("TwoWings_cmyk.jpg");
    for (std::string fmt : {"jpg", "png"}) {
        SCOPED_TRACE(fmt);
        const std::string out = path("out." + fmt);
        RunResult r = run({"-in", in, "-out", out, "-outformat", fmt, "-width", "640"});
        ASSERT_EXIT_CODE(r, 0);
        ImageInfo i = inspect(out);
        EXPECT_EQ(i.bands, 3);
        EXPECT_NE(i.interpretation, VIPS_INTERPRETATION_CMYK);
        if (!i.icc.empty()) // whatever profile remains must describe RGB, not CMYK
            EXPECT_EQ(i.icc.substr(16, 4), "RGB ");
        EXPECT_LT(meanDifference(loadForViewing(out), loadForViewing(in)), 6);
    }
}

TEST_F(ColourAndMetadata, MetadataKeptOrStripped) {
    const std::string kite = corpusFile("Kite_2560x1600.jpg"); // EXIF with thumbnail, XMP
    ImageInfo src = inspect(kite);
    ASSERT_TRUE(src.exif && src.xmp && src.exifThumbnail);
    for (std::string fmt : {"jpg", "png", "webp"}) {
        SCOPED_TRACE(fmt);
        RunResult r = run({"-in", kite, "-out", path("keep." + fmt), "-outformat", fmt, "-width", "320"});
        ASSERT_EXIT_CODE(r, 0);
        ImageInfo k = inspect(path("keep." + fmt));
        EXPECT_TRUE(k.exif);
        EXPECT_TRUE(k.xmp);
        EXPECT_FALSE(k.exifThumbnail) << "the EXIF thumbnail would show the unresized picture";

        r = run({"-in", kite, "-out", path("strip." + fmt), "-outformat", fmt, "-width", "320", "-metadata", "strip"});
        ASSERT_EXIT_CODE(r, 0);
        ImageInfo s = inspect(path("strip." + fmt));
        EXPECT_FALSE(s.exif);
        EXPECT_FALSE(s.xmp);
        EXPECT_FALSE(s.iptc);
        EXPECT_LT(fileSize(path("strip." + fmt)), fileSize(path("keep." + fmt)));
    }
}

TEST_F(ColourAndMetadata, OrientationAppliedAndReset) {
    const std::string in = corpusFile("Aqua_orient8.jpg");
    for (std::string meta : {"keep", "strip"}) {
        SCOPED_TRACE(meta);
        RunResult r = run({"-in", in, "-out", path("out.jpg"), "-metadata", meta});
        ASSERT_EXIT_CODE(r, 0);
        ImageInfo i = inspect(path("out.jpg"));
        EXPECT_EQ(std::make_pair(i.width, i.height), std::make_pair(2560, 1600));
        EXPECT_EQ(i.orientation, 1) << "a viewer would turn it a second time";
        EXPECT_LT(meanDifference(loadForViewing(path("out.jpg")), loadForViewing(in)), 5);
    }
    // Also when nothing else changes and the format stays: the turn is a pixel change.
    RunResult r = run({"-in", in, "-out", path("png.png"), "-outformat", "png", "-width", "400"});
    ASSERT_EXIT_CODE(r, 0);
    ImageInfo i = inspect(path("png.png"));
    EXPECT_EQ(std::make_pair(i.width, i.height), std::make_pair(400, 250));
}

TEST_F(ColourAndMetadata, KeepDate) {
    const std::string in = path("in.jpg");
    save(photoLike(300, 200), in, "[Q=95]");
    struct timespec times[2];
    times[0].tv_sec = times[1].tv_sec = 981173106; // 2001-02-03 04:05:06 UTC
    times[0].tv_nsec = times[1].tv_nsec = 0;
    ASSERT_EQ(utimensat(AT_FDCWD, in.c_str(), times, 0), 0);

    RunResult r = run({"-in", in, "-out", path("on.jpg"), "-keepdate", "on"});
    ASSERT_EXIT_CODE(r, 0);
    struct stat st;
    ASSERT_EQ(stat(path("on.jpg").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 981173106);

    r = run({"-in", in, "-out", path("off.jpg")});
    ASSERT_EXIT_CODE(r, 0);
    ASSERT_EQ(stat(path("off.jpg").c_str(), &st), 0);
    EXPECT_GT(st.st_mtim.tv_sec, std::time(nullptr) - 600);

    // The input's own date is not touched by reading it.
    ASSERT_EQ(stat(in.c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 981173106);
}

bool holds(const std::string &bytes, const std::string &what) { return bytes.find(what) != std::string::npos; }

// With strip, an AVIF holds no EXIF or XMP, not even the block its saver makes up from the
// resolution, whatever happens to the profile; with keep, both travel. The editing of the
// written file must leave a picture that decodes as before, alpha included.
TEST_F(ColourAndMetadata, AvifMetadataFollowsStripWithTheProfilePolicy) {
    const std::string p3 = builtinProfile("p3");
    VImage picture = loadFirstPage(makeP3("p3.jpg", 400, 300)).copy();
    const std::string xmp = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
                            "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
                            "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" dc:format=\"image/jpeg\"/></rdf:RDF></x:xmpmeta>";
    vips_image_set_blob_copy(picture.get_image(), VIPS_META_XMP_NAME, xmp.data(), xmp.size());
    const std::string in = path("in.jpg");
    save(picture, in, "[Q=95,keep=all]"); // keep=all: the saver makes up an EXIF block
    ImageInfo src = inspect(in);
    ASSERT_TRUE(src.exif && src.xmp && src.icc == p3);
    const VImage raw = loadFirstPage(in);

    struct Case {
        std::string icc, metadata;
        bool profile, metadataKept;
    };
    for (const Case &c : {Case{"keep", "strip", true, false}, Case{"convert", "strip", false, false},
                          Case{"remove", "strip", false, false}, Case{"keep", "keep", true, true}}) {
        SCOPED_TRACE(c.icc + " " + c.metadata);
        const std::string out = path(c.icc + "-" + c.metadata + ".avif");
        RunResult r = run({"-in", in, "-out", out, "-outformat", "avif", "-jpegiccp", c.icc, "-metadata", c.metadata});
        ASSERT_EXIT_CODE(r, 0);
        ImageInfo o = inspect(out);
        ASSERT_TRUE(o.ok) << o.error;
        EXPECT_EQ(o.icc, c.profile ? p3 : std::string());
        EXPECT_EQ(o.exif, c.metadataKept);
        EXPECT_EQ(o.xmp, c.metadataKept);
        const std::string bytes = readBytes(out);
        EXPECT_EQ(holds(bytes, "Exif"), c.metadataKept) << "an EXIF item or its data is left in the file";
        EXPECT_EQ(holds(bytes, "xmpmeta"), c.metadataKept);
        const VImage want = c.icc == "convert" ? toSrgbNumbers(in) : raw;
        EXPECT_LT(meanDifference(loadFirstPage(out), want), 4);
    }

    // Alpha lives in an item of its own, and XMP without EXIF puts the made-up EXIF between
    // items that stay: their data moves when it goes. No EXIF is made up for a PNG that
    // has none, also with keep.
    VImage alpha = withProfile(quadrants(300, 200, true), p3);
    vips_image_set_blob_copy(alpha.get_image(), VIPS_META_XMP_NAME, xmp.data(), xmp.size());
    save(alpha, path("alpha.png"));
    ASSERT_TRUE(inspect(path("alpha.png")).xmp);
    for (std::string metadata : {"strip", "keep"}) {
        SCOPED_TRACE("alpha, " + metadata);
        const std::string out = path("alpha-" + metadata + ".avif");
        RunResult r = run({"-in", path("alpha.png"), "-out", out, "-outformat", "avif", "-jpegiccp", "keep",
                           "-metadata", metadata, "-reducemode", "1"});
        ASSERT_EXIT_CODE(r, 0);
        ImageInfo o = inspect(out);
        ASSERT_TRUE(o.ok) << o.error;
        EXPECT_EQ(o.icc, p3);
        EXPECT_EQ(o.bands, 4);
        EXPECT_FALSE(o.exif);
        EXPECT_FALSE(holds(readBytes(out), "Exif"));
        ASSERT_EQ(o.xmp, metadata == "keep");
        if (o.xmp) {
            size_t length = 0;
            const VImage back = loadFirstPage(out);
            const void *data = back.get_blob(VIPS_META_XMP_NAME, &length);
            EXPECT_TRUE(holds(std::string(static_cast<const char *>(data), length), xmp));
        }
        for (auto [x, y] : {std::pair{50, 50}, std::pair{250, 50}, std::pair{50, 150}, std::pair{250, 150}}) {
            const Colour want = pixelAt(path("alpha.png"), x, y), got = pixelAt(out, x, y);
            EXPECT_TRUE(near(got, want, 6)) << x << "," << y << ": " << colourText(got) << " for " << colourText(want);
        }
    }
}

// A PNG chunk with its length and CRC.
std::string pngChunk(const std::string &type, const std::string &data) {
    std::string c;
    const auto be32 = [&c](std::uint32_t v) {
        for (int i = 3; i >= 0; --i)
            c.push_back(char((v >> (8 * i)) & 0xFF));
    };
    be32(std::uint32_t(data.size()));
    c += type + data;
    be32(crc32(type + data));
    return c;
}

// The PNG with colour chunks put right after its header (IHDR is always 33 bytes in).
std::string withChunks(const std::string &png, std::uint32_t gamma, bool srgbChunk) {
    std::string data;
    for (int i = 3; i >= 0; --i)
        data.push_back(char((gamma >> (8 * i)) & 0xFF));
    std::string chunks = pngChunk("gAMA", data);
    if (srgbChunk)
        chunks += pngChunk("sRGB", std::string(1, '\0'));
    return png.substr(0, 33) + chunks + png.substr(33);
}

// What a viewer shows for a sample stored with this gamma (PNG units), in sRGB numbers;
// gamma 0 stands for numbers that are sRGB already.
double shownInSrgb(double stored, std::uint32_t gamma) {
    if (gamma == 0)
        return stored;
    const double light = std::pow(stored / 255.0, 100000.0 / gamma);
    const double encoded = light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
    return encoded * 255.0;
}

// A gAMA far from 1/2.2 (linear light, 1/1.8) changes how a PNG's numbers look. Outputs
// that cannot carry the chunk must show the same colours; PNG output keeps chunk and
// numbers; an sRGB chunk or a gamma of about 1/2.2 means the numbers are sRGB already.
TEST_F(ColourAndMetadata, PngGammaKeepsTheColoursAcrossFormats) {
    const Colour left{64, 128, 200}, right{16, 230, 100};
    const VImage picture = solid(64, 64, left).join(solid(64, 64, right), VIPS_DIRECTION_HORIZONTAL);
    save(picture, path("plain.png"));
    save(to16Bit(picture), path("plain16.png"));
    const std::string plain = readBytes(path("plain.png")), plain16 = readBytes(path("plain16.png"));
    ASSERT_EQ(plain.substr(12, 4), "IHDR");

    const auto expectShown = [&](const std::string &out, std::uint32_t gamma) {
        for (auto [x, want] : {std::pair{20, left}, std::pair{100, right}}) {
            Colour expected;
            for (double v : want)
                expected.push_back(shownInSrgb(v, gamma));
            const Colour got = pixelAt(out, x, 32);
            EXPECT_TRUE(near(got, expected, 5)) << out << " at x " << x << ": " << colourText(got) << " instead of "
                                                << colourText(expected);
        }
    };
    struct Case {
        std::string name;
        std::string bytes;
        std::uint32_t shownGamma; // the gamma the numbers must be read with, 0 for sRGB
    };
    const std::vector<Case> cases{
        {"linear", withChunks(plain, 100000, false), 100000},
        {"linear16", withChunks(plain16, 100000, false), 100000},
        {"gamma18", withChunks(plain, 55556, false), 55556},
        {"gamma22", withChunks(plain, 45455, false), 0},
        {"srgbchunk", withChunks(plain, 100000, true), 0},
    };
    for (const Case &c : cases) {
        writeBytes(path(c.name + ".png"), c.bytes);
        for (std::string fmt : {"jpg", "webp", "avif", "gif"}) {
            SCOPED_TRACE(c.name + " to " + fmt);
            const std::string out = path(c.name + "." + fmt);
            RunResult r = run({"-in", path(c.name + ".png"), "-out", out, "-outformat", fmt});
            ASSERT_EXIT_CODE(r, 0);
            expectShown(out, c.shownGamma);
        }
    }
    // The gamma-22 numbers were not touched: exactly the stored values, not a near miss.
    const Colour untouched = pixelAt(path("gamma22.gif"), 20, 32);
    EXPECT_TRUE(near(untouched, left, 1)) << colourText(untouched);

    // PNG output carries the chunk on, with the numbers as stored.
    RunResult r = run({"-in", path("linear.png"), "-out", path("linear-out.png"), "-outformat", "png"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(holds(readBytes(path("linear-out.png")), withChunks(plain, 100000, false).substr(33, 16)));
    EXPECT_TRUE(near(pixelAt(path("linear-out.png"), 20, 32), left, 1));

    // Choosing the format per image: whichever wins must show the linear colours, by its
    // numbers or by the chunk that came along with them.
    r = run({"-in", path("linear.png"), "-out", path("auto"), "-outformat", "auto", "-outext", "on"});
    ASSERT_EXIT_CODE(r, 0);
    for (std::string ext : {".png", ".jpg"}) {
        if (!exists(path("auto" + ext)))
            continue;
        const std::string bytes = readBytes(path("auto" + ext));
        expectShown(path("auto" + ext), holds(bytes, "gAMA") ? 0 : 100000);
    }
}

} // namespace
