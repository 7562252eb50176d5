// The perceptual choice of -reducemode: per image, the smallest encoding whose
// butteraugli distance from the pixels stays within the level's bound. Trials run on a
// sample (perceptual.h); the caller makes the one full encode with the settings chosen.
#pragma once

#include "encode.h"
#include "options.h"
#include "perceptual.h"

#include <optional>

namespace dravik {

// What a search needs about one image, made once and shared by every format tried.
struct SearchContext {
    const Judge &judge;
    const Sample &sample;
    double target; // the level's bound, with our margin and the safety switch applied
    // What the real file, judged whole (judgeWhole), keeps to.
    double wholeTarget;
};

// JPEG's settings, and the file itself where the search made it (a layout settled on the
// real file, judged whole, where the sample reads only a floor the bound is over).
struct JpegChoice {
    JpegSettings settings;
    std::optional<Bytes> file;
};
JpegChoice chooseJpeg(const SearchContext &c, const Options &o, const vips::VImage &image);
// The WebP and AVIF files themselves: these encoders tune themselves to the whole image,
// so the sample's choice is only where a short search on the real file, judged whole,
// starts; where lossy stays over at its best, the lossless setting is written if it costs
// little.
Bytes encodeWebpWithinBound(const SearchContext &c, const vips::VImage &image, const Options &o);
Bytes encodeAvifWithinBound(const SearchContext &c, const vips::VImage &image, const Options &o, int outputPixels);
// The palette file within the bound, searched on the whole image from the sample's choice
// (the palette is the whole image's); nullopt when only lossless keeps within (photos,
// mostly).
std::optional<Bytes> encodePaletteWithinBound(const SearchContext &c, const vips::VImage &image, const Options &o,
                                              int outputPixels);

} // namespace dravik
