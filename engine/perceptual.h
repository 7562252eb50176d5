// How visible an encoding's difference is, measured the way the output is judged:
// butteraugli's max-norm between the pixels we were asked to write and the decoded file,
// at half size for images over six megapixels. Judging a whole 12-megapixel image takes
// seconds, so the search judges a sample: tiles cut where encoders fail first, put side
// by side into one small image that is encoded exactly like the whole.
#pragma once

#include "load.h"

#include <vips/vips8>

#include <functional>
#include <utility>
#include <vector>

namespace dravik {

// Butteraugli max-norm distance between two images of the same size (any 8-bit sRGB or
// grey image; alpha is not judged). libjxl's butteraugli runs on one thread whatever runner
// it is given, so the judge cuts the images into overlapping bands, judges `parts` of them
// side by side and takes the largest distance inside each band's own share; 0 means as
// many as libvips has workers. Large images get more bands than that, as butteraugli's
// memory grows with the pixels it holds. 1 judges in one piece (the benchmarks' reference).
class Judge {
public:
    explicit Judge(int parts = 0);
    double distance(const vips::VImage &reference, const vips::VImage &candidate) const;

private:
    // The distance at every pixel (one float band), put together from the bands.
    vips::VImage distances(const vips::VImage &reference, const vips::VImage &candidate) const;
    int parts_ = 1;
};

// 8-bit sRGB as a viewer shows the image: over white where it is transparent.
vips::VImage viewable(vips::VImage image);

// The part of an image a search judges, and the scale it is judged at.
struct Sample {
    vips::VImage pixels;   // what trials encode: whole image or a mosaic of tiles, in memory
    vips::VImage judged;   // `pixels` as the judge sees it (sRGB, resized by judgeScale)
    double judgeScale = 1; // 0.5 for outputs over six megapixels
    bool whole = true;     // pixels is the whole image
    // Where the tiles were cut (top-left corners) and their side, when not whole.
    std::vector<std::pair<int, int>> tiles;
    int cell = 0;
    // Many cells the sample left out err about as visibly as its worst, by the probe: the
    // whole image's worst among so many reads well above the sample's (more chances), so
    // a search that has nothing but the sample aims lower.
    bool crowded = false;
};

// The sample's part of a full-size image: the same tiles side by side, or the whole.
vips::VImage cutLikeSample(const Sample &sample, const vips::VImage &full);

Sample sampleOf(const vips::VImage &image);

// Decodes `encoded` (an encoding of sample.pixels) and measures it against the sample.
double judgeEncoding(const Judge &judge, const Sample &sample, const Bytes &encoded);
// The same for pixels already decoded, of the sample's size.
double judgePixels(const Judge &judge, const Sample &sample, const vips::VImage &decoded);

// The smallest setting in [lo, hi] whose score stays within `target`, for a score that
// falls as the setting rises; `hi` when none does. From `guess`, each trial predicts the
// next from the log of the score falling by about `slope` per unit of the setting's axis
// (secant once the target is bracketed), and the search stops at a pass close enough to
// the target, at two neighbours, or after `maxTrials` (then the lowest setting known to
// pass); up to twice that while a pass is known only well above a failure, or none at all
// where the caller has no fallback but the highest setting.
struct SearchShape {
    int lo = 0, hi = 100;
    double slope = 0.05; // fall of ln(score) per unit of the axis near the bounds
    int maxStep = 12;    // the model is trusted this far from a known point
    int maxTrials = 4;
    // Stop once the highest setting looks out of reach; off where the caller has no
    // better fallback than that setting, so trials near the top are worth their cost.
    bool giveUp = true;
    // JPEG's quality scales its quantisers by (100 - quality) from 50 up, and the error
    // follows the quantisers: on this axis, -ln(100.5 - setting), ln(score) falls about
    // linearly right up to the top, where a plain setting axis bends sharply.
    bool quantiserAxis = false;
    // Each trial is the real file (seconds on a large image): never more than maxTrials.
    bool capped = false;
    // A pass this close to the target is worth less than another trial could save.
    double closeEnough = 0.92;
};
struct SettingSearch {
    int setting = 0;
    double score = 0;
    int trials = 0;
};
// A full-size encoding judged as the output is: the whole image, at the sample's scale.
// For encoders that tune themselves to the whole image (WebP, AVIF, a shared palette),
// whose faults a sample cut before encoding does not show where or as badly as the real
// file has them.
double judgeWhole(const Judge &judge, const Sample &sample, const vips::VImage &image, const vips::VImage &decoded);

// DRAVIK_TRACE_SEARCH=1: whether the search reports itself on standard error, and one
// step's report with the milliseconds since the previous one (benchmarks, calibration).
bool searchTraced();
void traceStep(const char *what);

SettingSearch searchSetting(const std::function<double(int)> &scoreAt, const SearchShape &shape, int guess,
                            double target);
// Where the log-linear line between a setting over the target and one within it crosses
// `target` times the search's aim (a little under it), strictly between the two.
int crossingSetting(const SearchShape &shape, std::pair<int, double> over, std::pair<int, double> within,
                    double target);
// Where the model puts the setting at which a score of `score` at `setting` falls to
// `aimed` (unclamped, fractional), and how far along the axis that is.
double predictedSetting(const SearchShape &shape, int setting, double score, double aimed);
double axisDistance(const SearchShape &shape, double from, double to);

} // namespace dravik
