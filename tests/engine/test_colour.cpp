// Colour and metadata: the profile policies, metadata kept or stripped (AVIF included),
// orientation applied, PNG gamma honoured, the modification time.
#include "support.h"

#include <cmath>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <zlib.h>

using namespace dk;

namespace {

class Colours : public EngineTest {
protected:
    // Saturated numbers tagged Display P3: keeping, converting and dropping the profile
    // give different pixels or tags.
    std::string makeP3(const std::string &name, int w, int h, const std::string &xmp = "") {
        const VImage xy = VImage::xyz(w, h);
        const VImage r = xy[0] * (255.0 / w), g = xy[1] * (255.0 / h);
        VImage im = withProfile(VImage::bandjoin(std::vector<VImage>{r, g, 255 - r}).cast(VIPS_FORMAT_UCHAR), builtinProfile("p3"));
        if (!xmp.empty())
            vips_image_set_blob_copy(im.get_image(), VIPS_META_XMP_NAME, xmp.data(), xmp.size());
        save(im.copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB)), path(name), xmp.empty() ? "[Q=95]" : "[Q=95,keep=all]");
        return path(name);
    }
    static VImage toSrgbNumbers(const std::string &file) {
        return loadFirstPage(file).icc_transform("srgb", VImage::option()->set("embedded", true)->set("intent", VIPS_INTENT_RELATIVE));
    }
};

bool holds(const std::string &bytes, const std::string &what) { return bytes.find(what) != std::string::npos; }

// Each profile policy, JPEG and AVIF alike; auto keeps a small P3 profile and converts one
// that dwarfs a tiny picture. Metadata goes with -metadata, in AVIF too, where the saver
// would make up EXIF of its own.
TEST_F(Colours, ProfilePoliciesAndMetadata) {
    const std::string p3 = builtinProfile("p3");
    const std::string xmp = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"/></x:xmpmeta>";
    const std::string in = makeP3("p3.jpg", 640, 400, xmp);
    const std::string tiny = makeP3("tiny.jpg", 12, 8);
    ASSERT_TRUE(inspect(in).exif && inspect(in).xmp);
    ASSERT_GT(meanDifference(loadFirstPage(in), toSrgbNumbers(in)), 4) << "conversion would go unnoticed";
    VImage alpha = withProfile(quadrants(120, 80, true), p3);
    vips_image_set_blob_copy(alpha.get_image(), VIPS_META_XMP_NAME, xmp.data(), xmp.size());
    save(alpha, path("alpha.png"));
    struct Case {
        std::string in, out;
        Args opts;
        bool profile, converted, metadata;
    };
    const std::vector<Case> cases{
        {in, "keep.jpg", {"-jpegiccp", "keep"}, true, false, true},
        {in, "convert.jpg", {"-jpegiccp", "convert"}, false, true, true},
        {in, "remove.jpg", {"-jpegiccp", "remove", "-metadata", "strip"}, false, false, false},
        {in, "auto.jpg", {}, true, false, true},
        {tiny, "tiny-auto.jpg", {}, false, true, false},
        {in, "keep.avif", {"-outformat", "avif", "-jpegiccp", "keep", "-metadata", "strip"}, true, false, false},
        {in, "convert.avif", {"-outformat", "avif", "-jpegiccp", "convert", "-metadata", "strip"}, false, true, false},
        {in, "meta.avif", {"-outformat", "avif", "-jpegiccp", "remove"}, false, false, true},
        // Alpha lives in an AVIF item of its own, which must survive the metadata's removal.
        {path("alpha.png"), "alpha-strip.avif", {"-outformat", "avif", "-jpegiccp", "keep", "-metadata", "strip", "-reducemode", "1"}, true, false, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.out);
        ASSERT_EXIT_CODE(job(c.in, path(c.out), c.opts), 0);
        const ImageInfo o = inspect(path(c.out));
        EXPECT_EQ(o.icc, c.profile ? p3 : "");
        EXPECT_EQ(o.xmp, c.metadata);
        EXPECT_EQ(holds(readBytes(path(c.out)), "Exif"), c.metadata && c.in == in) << "EXIF left in the file";
        const VImage want = c.converted ? toSrgbNumbers(c.in) : loadFirstPage(c.in);
        EXPECT_LT(meanDifference(loadFirstPage(path(c.out)), want), c.in == path("alpha.png") ? 2 : 4);
        EXPECT_EQ(o.bands, inspect(c.in).bands);
    }
    // A real camera file: EXIF and XMP kept without the EXIF thumbnail, which would show
    // the picture before the resize; or none of them.
    for (std::string fmt : {"jpg", "webp"}) {
        for (std::string metadata : {"keep", "strip"}) {
            SCOPED_TRACE(fmt + " " + metadata);
            const std::string out = path("kite." + fmt);
            ASSERT_EXIT_CODE(job(corpusFile("Kite_2560x1600.jpg"), out, {"-outformat", fmt, "-width", "320", "-metadata", metadata}), 0);
            const ImageInfo k = inspect(out);
            EXPECT_EQ(k.exif && k.xmp, metadata == "keep");
            EXPECT_FALSE(k.exif || k.xmp ? k.exifThumbnail : false);
        }
    }
}

// The EXIF orientation is applied to the pixels and reset, whatever happens to metadata.
TEST_F(Colours, OrientationAppliedAndReset) {
    VImage turned = photoLike(160, 96).copy();
    turned.set(VIPS_META_ORIENTATION, 6);
    save(turned, path("in.jpg"), "[Q=95,keep=exif]");
    for (const auto &[meta, out, opts] : std::vector<std::tuple<std::string, std::string, Args>>{
             {"keep", "out.jpg", {}}, {"strip", "out.jpg", {}}, {"keep", "out.png", {"-outformat", "png", "-width", "48"}}}) {
        SCOPED_TRACE(meta + " " + out);
        Args a{"-metadata", meta};
        a.insert(a.end(), opts.begin(), opts.end());
        ASSERT_EXIT_CODE(job(path("in.jpg"), path(out), a), 0);
        const ImageInfo i = inspect(path(out));
        EXPECT_EQ(std::make_pair(i.width, i.height), opts.empty() ? std::make_pair(96, 160) : std::make_pair(48, 80));
        EXPECT_EQ(i.orientation, 1) << "a viewer would turn it a second time";
        EXPECT_LT(meanDifference(loadForViewing(path(out)), loadForViewing(path("in.jpg"))), 5);
    }
}

std::string be32(std::uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

// The PNG with gAMA (and sRGB) chunks put right after its header.
std::string withGamma(const std::string &png, std::uint32_t gamma, bool srgbChunk) {
    auto chunk = [](const std::string &type, const std::string &data) {
        const std::string body = type + data;
        return be32(std::uint32_t(data.size())) + body +
               be32(std::uint32_t(crc32(0, reinterpret_cast<const Bytef *>(body.data()), uInt(body.size()))));
    };
    return png.substr(0, 33) + chunk("gAMA", be32(gamma)) + (srgbChunk ? chunk("sRGB", std::string(1, '\0')) : "") + png.substr(33);
}

// What a viewer shows for a sample stored with this gamma (PNG units), in sRGB numbers;
// 0 stands for numbers that are sRGB already.
double shownInSrgb(double stored, std::uint32_t gamma) {
    if (gamma == 0)
        return stored;
    const double light = std::pow(stored / 255.0, 100000.0 / gamma);
    return 255 * (light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
}

// A gAMA far from 1/2.2 changes how a PNG's numbers look: outputs that cannot carry the
// chunk show the same colours, PNG output keeps chunk and numbers; an sRGB chunk or a
// gamma of about 1/2.2 means the numbers are sRGB already and stay untouched.
TEST_F(Colours, PngGammaKeepsTheColours) {
    const Colour left{64, 128, 200}, right{16, 230, 100};
    const VImage picture = solid(32, 32, left).join(solid(32, 32, right), VIPS_DIRECTION_HORIZONTAL);
    save(picture, path("plain.png"));
    save((picture.cast(VIPS_FORMAT_USHORT) * 257).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_RGB16)), path("plain16.png"));
    const std::string plain = readBytes(path("plain.png")), plain16 = readBytes(path("plain16.png"));
    const std::vector<std::tuple<std::string, std::string, std::uint32_t>> cases{
        {"linear", withGamma(plain, 100000, false), 100000}, {"linear16", withGamma(plain16, 100000, false), 100000},
        {"gamma18", withGamma(plain, 55556, false), 55556},  {"gamma22", withGamma(plain, 45455, false), 0},
        {"srgbchunk", withGamma(plain, 100000, true), 0}};
    for (const auto &[name, bytes, gamma] : cases) {
        writeBytes(path(name + ".png"), bytes);
        for (std::string fmt : {"jpg", "gif", "png"}) {
            SCOPED_TRACE(name + " to " + fmt);
            const std::string out = path(name + "-out." + fmt);
            ASSERT_EXIT_CODE(job(path(name + ".png"), out, {"-outformat", fmt}), 0);
            const bool carried = fmt == "png";
            EXPECT_EQ(holds(readBytes(out), "gAMA"), carried) << "the chunk travels with PNG only";
            for (auto [x, stored] : {std::pair{16, left}, std::pair{48, right}}) {
                Colour shown;
                for (double v : stored)
                    shown.push_back(shownInSrgb(v, carried ? 0 : gamma));
                EXPECT_TRUE(near(pixelAt(out, x, 16), shown, fmt == "jpg" ? 5 : 1)) << "at x " << x;
            }
        }
    }
}

TEST_F(Colours, KeepDate) {
    save(photoLike(120, 80), path("in.jpg"), "[Q=95]");
    const struct timespec times[2] = {{981173106, 0}, {981173106, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path("in.jpg").c_str(), times, 0), 0);
    for (std::string keep : {"on", "off"}) {
        ASSERT_EXIT_CODE(job(path("in.jpg"), path(keep + ".jpg"), {"-keepdate", keep}), 0);
        struct stat st;
        ASSERT_EQ(stat(path(keep + ".jpg").c_str(), &st), 0);
        EXPECT_EQ(st.st_mtim.tv_sec == 981173106, keep == "on") << keep;
    }
    struct stat st;
    ASSERT_EQ(stat(path("in.jpg").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 981173106) << "reading the input touched its date";
}

} // namespace
