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
};

JpegSettings chooseJpeg(const SearchContext &c, const Options &o);
// The WebP file itself: its settings are checked on the whole image's encoding.
Bytes encodeWebpWithinBound(const SearchContext &c, const vips::VImage &image, const Options &o);
AvifSettings chooseAvif(const SearchContext &c, const Options &o, int outputPixels);
// Palette settings that keep within the bound, or nullopt when only lossless does.
std::optional<PngSettings> choosePalette(const SearchContext &c, const Options &o, int outputPixels);

// Whether a full palette encode stays within the bound, judged on the sample's tiles cut
// from it: the whole image shares one palette, which the sample's trial could not show.
bool paletteHolds(const SearchContext &c, const vips::VImage &image, const Bytes &palettePng);

} // namespace dravik
