// From the user's words (-reducemode, -quality, -jpegfixbaseline) to encoder settings:
// -quality as it stands, and for the levels the bound the per-image search keeps to
// (levelsearch.h) with the settings it starts from.
#pragma once

#include "encode.h"
#include "options.h"

namespace dravik {

// The butteraugli distance the level allows.
double levelBound(const Options &o);
// What a search's scores were judged on: the whole image (decoded as any viewer decodes
// it), a sample of it, or a crowded sample (perceptual.h) that nothing judged on the real
// file makes up for.
enum class Judged { Whole, Sample, CrowdedSample };
// What the search aims at: the bound less the margin a judgement of what was judged needs
// to hold on the whole image (a small one when the whole is judged). `smooth`: the image
// has large areas of gently changing tone or low contrast (analyse.h), which
// -jpegqualitysafety on holds to a stricter bound.
double searchTarget(const Options &o, bool smooth, Judged judged);
// One search target and JPEG quality for every level (the middle level's, without the
// safety switch): where choices that must not change from level to level are made.
double layoutReferenceTarget();
int layoutReferenceQuality();

// With -quality, the settings it names; otherwise where the level's search starts.
JpegSettings jpegSettingsFor(const Options &o);
// The same settings at another quality (a size-limit search walks this).
JpegSettings withJpegQuality(JpegSettings s, int quality);
PngSettings pngSettingsFor(const Options &o, int outputPixels);
GifSettings gifSettingsFor(const Options &o);
WebpSettings webpSettingsFor(const Options &o);
AvifSettings avifSettingsFor(const Options &o, int outputPixels);

// PNG at levels 1 and 2 (or -quality 100) stays lossless, so 16-bit survives there.
bool pngIsLossless(const Options &o);


} // namespace dravik
