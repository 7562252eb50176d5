// Images for the engine tests: made with libvips in the test, and read back from what the
// engine wrote (format by content, dimensions, pixels, profile, metadata, JPEG structure).
#pragma once

#include <vips/vips8>

#include <string>
#include <vector>

namespace dk {

using Colour = std::vector<double>;

// The format a file really is, from its first bytes: jpg png gif webp avif heic, or "".
std::string sniffFormat(const std::string &path);

struct ImageInfo {
    bool ok = false;
    std::string error;
    std::string format; // from content
    int width = 0;      // one page
    int height = 0;     // one page
    int bands = 0;
    int pages = 1;
    VipsBandFormat bandFormat = VIPS_FORMAT_UCHAR;
    VipsInterpretation interpretation = VIPS_INTERPRETATION_sRGB;
    std::string icc;  // profile bytes, empty if none
    bool exif = false;
    bool xmp = false;
    bool iptc = false;
    bool exifThumbnail = false;
    int orientation = 1;
    int pngBitDepth = 0;   // from IHDR
    int pngColourType = -1; // from IHDR: 3 is palette
};

ImageInfo inspect(const std::string &path);

// The first page as it is stored (no orientation applied).
vips::VImage loadFirstPage(const std::string &path);
// The first page, upright, in 8-bit sRGB with the alpha it has: what a viewer shows.
vips::VImage loadForViewing(const std::string &path);
Colour pixelAt(const std::string &path, int x, int y);
bool near(const Colour &got, const Colour &want, double tolerance);
std::string colourText(const Colour &c);

// Mean absolute difference per sample of two images brought to the same size, 8-bit sRGB.
double meanDifference(vips::VImage a, vips::VImage b);

vips::VImage solid(int width, int height, const Colour &colour);
// Four flat quadrants: red, green / blue, white (with alpha when asked). Flat areas make
// colour checks robust against lossy encoders; distinct hues catch channel mix-ups.
vips::VImage quadrants(int width, int height, bool withAlpha = false);
// Smooth gradients with fine noise: compresses like a photograph.
vips::VImage photoLike(int width, int height, int seed = 1);
vips::VImage to16Bit(vips::VImage image);
// Stacks frames into one animated image (page height = one frame).
vips::VImage animation(const std::vector<vips::VImage> &frames, int delayMs = 100);

// Saves with a vips option string, e.g. save(img, "a.png", "[palette=true]").
void save(vips::VImage image, const std::string &path, const std::string &options = "");
// A built-in profile of libvips ("srgb", "p3", "cmyk") as bytes.
std::string builtinProfile(const std::string &name);
vips::VImage withProfile(vips::VImage image, const std::string &iccBytes);

// JPEG structure from the markers: which frame type (SOF0 baseline, SOF2 progressive).
struct JpegLayout {
    bool valid = false;
    bool baseline = false;
    bool progressive = false;
    int width = 0;
    int height = 0;
};
JpegLayout jpegLayout(const std::string &bytes);

} // namespace dk
