// Colour and metadata: the profile policies, metadata kept or stripped (AVIF included),
// orientation applied.
#include "support.h"

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
    struct Case { std::string in, out; Args opts; bool profile, converted, metadata; };
    const std::vector<Case> cases{
        {in, "keep.jpg", {"-jpegiccp", "keep"}, true, false, true},
        {in, "convert.jpg", {"-jpegiccp", "convert"}, false, true, true},
        {in, "remove.jpg", {"-jpegiccp", "remove", "-metadata", "strip"}, false, false, false},
        {in, "auto.jpg", {}, true, false, true},
        {tiny, "tiny-auto.jpg", {}, false, true, false},
        {in, "keep.avif", {"-outformat", "avif", "-jpegiccp", "keep", "-metadata", "strip", "-width", "200"}, true, false, false},
        {in, "convert.avif", {"-outformat", "avif", "-jpegiccp", "convert", "-metadata", "strip", "-width", "200"}, false, true, false},
        {in, "meta.avif", {"-outformat", "avif", "-jpegiccp", "remove", "-width", "200"}, false, false, true},
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
    // the picture before the resize.
    ASSERT_EXIT_CODE(job(DRAVIK_CORPUS_PATH "/Kite_2560x1600.jpg", path("kite.jpg"), {"-width", "320"}), 0);
    const ImageInfo kite = inspect(path("kite.jpg"));
    EXPECT_TRUE(kite.exif && kite.xmp && !kite.exifThumbnail);
}

// The EXIF orientation is applied to the pixels and reset, whatever happens to metadata.
TEST_F(Colours, OrientationAppliedAndReset) {
    VImage turned = photoLike(160, 96).copy();
    turned.set(VIPS_META_ORIENTATION, 6);
    save(turned, path("in.jpg"), "[Q=95,keep=exif]");
    for (const auto &[meta, out, opts] : std::vector<std::tuple<std::string, std::string, Args>>{
             {"keep", "out.jpg", {}}, {"strip", "out.png", {"-outformat", "png", "-width", "48"}}}) {
        SCOPED_TRACE(meta + " " + out);
        ASSERT_EXIT_CODE(job(path("in.jpg"), path(out), Args{"-metadata", meta} + opts), 0);
        const ImageInfo i = inspect(path(out));
        EXPECT_EQ(std::make_pair(i.width, i.height), opts.empty() ? std::make_pair(96, 160) : std::make_pair(48, 80));
        EXPECT_EQ(i.orientation, 1) << "a viewer would turn it a second time";
        EXPECT_LT(meanDifference(loadForViewing(path(out)), loadForViewing(path("in.jpg"))), 5);
    }
}

} // namespace
