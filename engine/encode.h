// Encoders, one settings record per format. Every encoder takes the final pixels and a
// settings record and returns the file's bytes, so a search over settings (a size limit
// today, a perceptual budget per image) can call it repeatedly on the same pixels.
#pragma once

#include "load.h"
#include "options.h"

#include <vips/vips8>

#include <functional>

namespace dravik {

struct JpegSettings {
    int quality = 80;
    bool progressive = true;
    // Chroma at full resolution. Fine colour detail (text, graphics, saturated edges)
    // smears under 4:2:0, while photos at moderate quality lose nothing visible.
    bool fullChroma = false;
    // mozjpeg's rate-distortion choice of coefficients: smaller files for the same look.
    bool trellis = true;
    // mozjpeg tries scan splits and keeps the smallest; progressive only. It doubles the
    // encode's time for about 1 % of the bytes, which the search's time budget cannot pay.
    bool optimizeScans = false;
    // mozjpeg's table set: 3 is tuned for perceived quality at the usual settings.
    int quantTable = 3;
};

struct PngSettings {
    bool palette = false;   // quantise to at most 256 colours (libimagequant)
    int quality = 100;      // quantisation quality, 0..100
    double dither = 1.0;
    int effort = 7;         // quantisation effort 1..10
    int compression = 9;    // zlib level; 9 is ten times slower than 6 on photos
    bool keep16Bit = false;
    // Lossless only: also try without row filters and keep the smaller file. Filters
    // win on photos, lose on flat graphics and screenshots; trying both is cheap.
    bool tryUnfiltered = true;
};

struct GifSettings {
    double dither = 1.0;
    int effort = 7;
    double interframeMaxError = 0.0;  // reuse pixels of the previous frame within this error
    double interpaletteMaxError = 3.0;
    // Keep the palette the input GIF already has: no second quantisation of its pixels.
    bool reusePalette = false;
};

struct WebpSettings {
    int quality = 80;
    bool lossless = false;
    int effort = 4;
    bool smartSubsample = false;
};

struct AvifSettings {
    int quality = 50;
    bool lossless = false;
    // libaom speed. Above 2 a 12-megapixel encode takes tens of seconds and gigabytes,
    // and eight engines may run at once.
    int effort = 2;
    bool fullChroma = false;
};

// Encoding failures are the image's fault (too wide for the format and the like): 93.
// Every saver writes exactly the metadata left on the image's fields (the pipeline
// decides what stays); nothing is invented.
Bytes encodeJpeg(const vips::VImage &image, const JpegSettings &s);
Bytes encodePng(const vips::VImage &image, const PngSettings &s);
Bytes encodeGif(const vips::VImage &image, const GifSettings &s);
Bytes encodeWebp(const vips::VImage &image, const WebpSettings &s);
Bytes encodeAvif(const vips::VImage &image, const AvifSettings &s);

// Saver options every format shares: which metadata to write, the frame height.
vips::VOption *saverOptions(const vips::VImage &image);

// Runs a libvips saver that returns a blob; its failure becomes Failure(93).
Bytes saveWith(const char *format, const std::function<VipsBlob *()> &save);

// Largest width and height each format can store.
int maxDimension(Format f);

// Whether libimagequant (palette PNG, GIF) accepts an image of this size: it refuses
// rows of more than about 8.4 million pixels and more than 512 megapixels in all.
bool quantiserTakes(int width, int height);

} // namespace dravik
