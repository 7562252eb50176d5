// From the user's words (-reducemode, -quality, -jpegfixbaseline) to encoder settings.
//
// For now a fixed table per level; the per-image perceptual search replaces the table
// lookups but keeps these signatures: it receives the same level and returns the same
// settings records.
#pragma once

#include "encode.h"
#include "options.h"

namespace dravik {

// `smooth`: the image has large smooth or low-contrast areas (see analyse.h); with
// -jpegqualitysafety on, those get a stricter budget.
JpegSettings jpegSettingsFor(const Options &o, bool smooth);
// The same settings at another quality (a size-limit search walks this).
JpegSettings withJpegQuality(JpegSettings s, int quality);
PngSettings pngSettingsFor(const Options &o, int outputPixels);
GifSettings gifSettingsFor(const Options &o);
WebpSettings webpSettingsFor(const Options &o, bool smooth);
AvifSettings avifSettingsFor(const Options &o, int outputPixels);

// PNG at levels 1 and 2 (or -quality 100) stays lossless, so 16-bit survives there.
bool pngIsLossless(const Options &o);

// Largest colour difference (CIE dE76, after a slight blur that stands for viewing
// distance) a palette PNG may show at this level before we keep the lossless one.
// Not used with -quality, which takes the palette version as it comes.
double paletteToleranceFor(const Options &o);

} // namespace dravik
