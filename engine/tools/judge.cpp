// dravik-judge REFERENCE CANDIDATE: prints the butteraugli max-norm distance between two
// image files the way the engine's search measures it (80 nits), after both are decoded
// as a viewer shows them: uprighted, converted to sRGB through their profiles, over white
// where transparent, at half size when over six megapixels. Benchmarks call it so that
// the engine's own notion of quality and the figures they print come from one place.
//
// dravik-judge --srgb INPUT OUTPUT.ppm: writes INPUT as the judge sees it (upright, sRGB,
// over white, 8 bits, full size), so that benchmarks judging with other tools start from
// the same colours; Debian's own libvips converts CMYK through a profile wrongly.

#include "perceptual.h"

#include <vips/vips8>

#include <cstdio>
#include <string>

namespace {

vips::VImage shown(const char *path)
{
    vips::VImage image = vips::VImage::new_from_file(path).autorot();
    if (image.get_typeof(VIPS_META_ICC_NAME) != 0)
        image = image.icc_transform("srgb", vips::VImage::option()->set("embedded", true)->set("intent",
                                                                                              VIPS_INTENT_PERCEPTUAL));
    else if (image.interpretation() == VIPS_INTERPRETATION_CMYK)
        image = image.icc_transform("srgb", vips::VImage::option()->set("input_profile", "cmyk"));
    return image;
}

// Binary PPM: every judge reads it, and this libvips build has no saver for it.
bool writePpm(const vips::VImage &image, const char *path)
{
    std::size_t size = 0;
    void *data = image.write_to_memory(&size);
    std::FILE *f = std::fopen(path, "wb");
    const bool written = f && std::fprintf(f, "P6\n%d %d\n255\n", image.width(), image.height()) > 0 &&
                         std::fwrite(data, 1, size, f) == size;
    g_free(data);
    return f && std::fclose(f) == 0 && written;
}

} // namespace

int main(int argc, char **argv)
{
    const bool convert = argc == 4 && std::string(argv[1]) == "--srgb";
    if (VIPS_INIT(argv[0]) || (argc != 3 && !convert)) {
        std::fprintf(stderr, "usage: dravik-judge REFERENCE CANDIDATE | dravik-judge --srgb INPUT OUTPUT.ppm\n");
        return 2;
    }
    try {
        if (convert) {
            if (writePpm(dravik::viewable(shown(argv[2])), argv[3]))
                return 0;
            std::fprintf(stderr, "cannot write %s\n", argv[3]);
            return 1;
        }
        vips::VImage a = shown(argv[1]);
        vips::VImage b = shown(argv[2]);
        if (a.width() != b.width() || a.height() != b.height()) {
            std::fprintf(stderr, "the images differ in size: %dx%d against %dx%d\n", a.width(), a.height(), b.width(),
                         b.height());
            return 1;
        }
        if (double(a.width()) * a.height() > 6'000'000) {
            a = a.resize(0.5);
            b = b.resize(0.5);
        }
        // In one piece: the yardstick stays independent of how the engine splits its own judging.
        const dravik::Judge judge(1);
        std::printf("%.3f\n", judge.distance(a, b));
    } catch (const vips::VError &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
