// dravik-judge REFERENCE CANDIDATE: prints the butteraugli max-norm distance between two
// image files the way the engine's search measures it (80 nits), after both are decoded
// as a viewer shows them: uprighted, converted to sRGB through their profiles, over white
// where transparent, at half size when over six megapixels. Benchmarks call it so that
// the engine's own notion of quality and the figures they print come from one place.

#include "perceptual.h"

#include <vips/vips8>

#include <cstdio>

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

} // namespace

int main(int argc, char **argv)
{
    if (VIPS_INIT(argv[0]) || argc != 3) {
        std::fprintf(stderr, "usage: dravik-judge REFERENCE CANDIDATE\n");
        return 2;
    }
    try {
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
        const dravik::Judge judge;
        std::printf("%.3f\n", judge.distance(a, b));
    } catch (const vips::VError &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
