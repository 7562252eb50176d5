#include "pipeline.h"

#include "analyse.h"
#include "atomicwrite.h"
#include "encode.h"
#include "exitcodes.h"
#include "icc.h"
#include "jpeglossless.h"
#include "levelsearch.h"
#include "load.h"
#include "marks.h"
#include "metadata.h"
#include "paths.h"
#include "pngchunks.h"
#include "quality.h"
#include "resize.h"
#include "sizelimit.h"
#include "stamp.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <future>
#include <memory>
#include <optional>
#include <system_error>
#include <sys/stat.h>
#include <vector>

namespace dravik {
namespace {

bool holdsAlpha(Format f) { return f != Format::Jpeg; }

// Runs the lazy pipeline into memory. Everything upstream is decoding plus cheap
// arithmetic, so a failure here is the input's fault.
vips::VImage materialise(const vips::VImage &image)
{
    try {
        return image.copy_memory();
    } catch (const vips::VError &e) {
        failFromVips(Exit::Damaged, "the input is damaged: ", e.what());
    }
}

void checkDecodes(const Source &src, LoadRequest request)
{
    request.allFrames = true;
    try {
        loadPixels(src, request).avg();
    } catch (const vips::VError &e) {
        failFromVips(Exit::Damaged, "the input is damaged: ", e.what());
    }
}

// CMYK through its embedded profile, or through a generic press profile when the
// embedded one is missing or unusable: CMYK values without a profile mean nothing on screen.
// Perceptual intent: press profiles carry their gamut mapping in the perceptual tables,
// and that is what lcms2's own converters apply by default.
vips::VImage cmykToSrgb(const vips::VImage &image)
{
    vips::VImage out;
    try {
        out = image.icc_transform("srgb", vips::VImage::option()
                                              ->set("embedded", true)
                                              ->set("input_profile", "cmyk")
                                              ->set("intent", VIPS_INTENT_PERCEPTUAL));
    } catch (const vips::VError &) {
        try {
            out = image.icc_transform(
                "srgb", vips::VImage::option()->set("input_profile", "cmyk")->set("intent", VIPS_INTENT_PERCEPTUAL));
        } catch (const vips::VError &e) {
            failFromVips(Exit::Damaged, "the CMYK input cannot be converted: ", e.what());
        }
    }
    removeProfile(out);
    return out;
}

bool comesFromDecoder(const std::string &message)
{
    for (const char *sign : {"load", "vipspng", "libpng read error", "VipsJpeg", "Premature end", "Corrupt JPEG",
                             "unable to parse", "Unexpected end"})
        if (message.find(sign) != std::string::npos)
            return true;
    return false;
}

bool hasRealTransparency(const vips::VImage &image)
{
    if (!image.has_alpha())
        return false;
    const double opaque = image.format() == VIPS_FORMAT_USHORT ? 65535.0 : 255.0;
    return image.extract_band(image.bands() - 1).min() < opaque;
}

vips::VImage dropAlpha(const vips::VImage &image)
{
    return image.extract_band(0, vips::VImage::option()->set("n", image.bands() - 1));
}

vips::VImage to8Bit(const vips::VImage &image)
{
    if (image.format() != VIPS_FORMAT_USHORT)
        return image;
    const bool grey = image.bands() <= 2;
    return image.colourspace(grey ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB).cast(VIPS_FORMAT_UCHAR);
}

struct Encoded {
    Format format;
    Bytes bytes;
};

// The judge and the sample of one image, made when a level's search first needs them
// and shared by every format tried.
class Search {
public:
    Search(const vips::VImage &image, const Options &o) : image_(image), o_(o) {}

    // `jpeg`: the safety switch guards JPEG's blocking and banding; WebP and AVIF smooth
    // their blocks' edges themselves, and butteraugli judges what they leave. A crowded
    // sample tightens JPEG's target only: the other formats' files are checked whole.
    SearchContext context(bool jpeg = false)
    {
        if (jpeg && !smooth_)
            // Smoothness is looked at only here: it matters to nothing but JPEG's bound.
            smooth_ = o_.qualitySafety && looksSmooth(image_);
        if (!sample_) {
            traceStep("pixels ready");
            judge_ = std::make_unique<Judge>();
            try {
                sample_ = sampleOf(image_);
            } catch (const vips::VError &e) {
                failFromVips(Exit::CannotEncode, "cannot judge the image: ", e.what());
            }
            traceStep("sample");
            if (searchTraced())
                std::fprintf(stderr, "sample %s\n", sample_->whole ? "whole" : sample_->crowded ? "crowded" : "tiles");
        }
        const bool guarded = jpeg && *smooth_;
        // WebP, AVIF and a palette search on the real file, judged whole; JPEG's search
        // only where its sample is on its floor.
        const Judged judged = sample_->whole                ? Judged::Whole
                              : jpeg && sample_->crowded ? Judged::CrowdedSample
                                                          : Judged::Sample;
        return SearchContext{*judge_, *sample_, searchTarget(o_, guarded, judged),
                             searchTarget(o_, guarded, Judged::Whole)};
    }

private:
    const vips::VImage &image_;
    const Options &o_;
    std::optional<bool> smooth_;
    std::unique_ptr<Judge> judge_;
    std::optional<Sample> sample_;
};

Bytes encodePngForLevel(const vips::VImage &image, const Options &o, Search &search)
{
    const PngSettings settings = pngSettingsFor(o, image.width() * pageHeightOf(image));
    PngSettings lossless = settings;
    lossless.palette = false;
    lossless.keep16Bit = false;
    if (!settings.palette)
        return encodePng(image, settings);
    // A palette is only ever a saving: an image the quantiser cannot take stays lossless.
    if (!quantiserTakes(image.width(), image.height()))
        return encodePng(image, lossless);
    // A fixed quality asks for the palette version as such.
    if (o.quality)
        return encodePng(image, settings);
    // A palette is kept only where it stays within the bound and is also the smaller file.
    const std::optional<Bytes> quantised =
        encodePaletteWithinBound(search.context(), image, o, image.width() * pageHeightOf(image));
    Bytes full = encodePng(image, lossless);
    if (quantised && quantised->size() < full.size())
        return *quantised;
    return full;
}

Bytes encodeAs(Format f, const vips::VImage &image, const Options &o, Search &search, bool gifPaletteIntact)
{
    const int pixels = image.width() * pageHeightOf(image);
    switch (f) {
    case Format::Jpeg: {
        JpegChoice choice =
            o.quality ? JpegChoice{jpegSettingsFor(o), std::nullopt} : chooseJpeg(search.context(true), o, image);
        const JpegSettings &settings = choice.settings;
        traceStep("search");
        if (o.sizeLimitKiB)
            return encodeJpegWithinLimit(image, settings, std::size_t(*o.sizeLimitKiB) * 1024, o.sizeLimitHighQuality,
                                         o.markWrite ? markSize(Format::Jpeg) : 0);
        if (choice.file)
            return std::move(*choice.file);
        return encodeJpeg(image, settings);
    }
    case Format::Png:
        return encodePngForLevel(image, o, search);
    case Format::Gif:
    {
        GifSettings settings = gifSettingsFor(o);
        settings.reusePalette = gifPaletteIntact;
        return encodeGif(image, settings);
    }
    case Format::Webp:
        return o.quality ? encodeWebp(image, webpSettingsFor(o)) : encodeWebpWithinBound(search.context(), image, o);
    case Format::Avif:
        return o.quality ? encodeAvif(image, avifSettingsFor(o, pixels)) : encodeAvifWithinBound(search.context(), image, o, pixels);
    }
    fail(Exit::Internal, "unknown output format");
}

std::optional<Format> fixedOutputFormat(const Options &o, Format input)
{
    switch (o.outFormat) {
    case OutFormat::Same: return input;
    case OutFormat::Auto: return std::nullopt;
    case OutFormat::Jpeg: return Format::Jpeg;
    case OutFormat::Png: return Format::Png;
    case OutFormat::Gif: return Format::Gif;
    case OutFormat::Webp: return Format::Webp;
    case OutFormat::Avif: return Format::Avif;
    }
    return input;
}

std::optional<timespec> inputTime(const Options &o)
{
    if (!o.keepDate)
        return std::nullopt;
    struct stat st {};
    if (::stat(o.in.c_str(), &st) != 0)
        return std::nullopt;
    return st.st_mtim;
}

void write(const Options &o, Format f, const Bytes &bytes)
{
    const std::string path = outputPathFor(o, f);
    refuseSameFile(o.in, path);
    writeAtomically(path, bytes, inputTime(o));
}

} // namespace

int processImage(const Options &o)
{
    // Refused before the input is even read: an option problem outranks a file problem.
    refuseSameFile(o.in, o.out);
    if (o.outFormat != OutFormat::Same && o.outFormat != OutFormat::Auto)
        refuseSameFile(o.in, outputPathFor(o, *fixedOutputFormat(o, Format::Jpeg)));

    traceStep("start");
    const Source src = readSource(o.in);
    const std::optional<Format> target = fixedOutputFormat(o, src.format);
    const std::vector<Format> candidates = target ? std::vector<Format>{*target}
                                                  : std::vector<Format>{Format::Jpeg, Format::Png};
    for (Format f : candidates)
        refuseSameFile(o.in, outputPathFor(o, f));

    // An output already lightened by us is left alone, whatever format it holds.
    if (o.markSkipOut) {
        for (Format f : candidates) {
            const std::string path = outputPathFor(o, f);
            struct stat st {};
            if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
                continue;
            try {
                const Bytes existing = readFileBytes(path, "output", int(Exit::CannotWriteFile));
                if (hasMark(existing, Format::Jpeg) || hasMark(existing, Format::Png))
                    return 0;
            } catch (const Failure &) {
                // an unreadable existing output is simply replaced
            }
        }
    }

    const ResizePlan plan = planResize(o, src.displayWidth(), src.displayHeight());
    const bool keepFrames = src.pages > 1 && target && (*target == Format::Gif || *target == Format::Webp);
    const std::uint64_t outFrames = keepFrames ? std::uint64_t(src.pages) : 1;
    // An animation is decoded whole when it is kept: all its frames count.
    if (std::uint64_t(src.width) * std::uint64_t(src.pageHeight) * outFrames > kPixelLimit)
        fail(Exit::TooLarge, "the animation has " + std::to_string(src.pages) + " frames of " +
                                 std::to_string(src.width) + "x" + std::to_string(src.pageHeight) +
                                 " pixels, more than the limit together");
    if (std::uint64_t(plan.boxWidth) * std::uint64_t(plan.boxHeight) * outFrames > kPixelLimit)
        fail(Exit::CannotEncode, "the output would have more pixels than the limit");
    for (Format f : candidates)
        if (plan.boxWidth > maxDimension(f) || plan.boxHeight > maxDimension(f))
            fail(Exit::CannotEncode, std::string("the image is too large for ") + formatName(f));

    // The stamp is checked before any decoding: a bad stamp fails every file the same way.
    const vips::VImage stamp = o.hasStamp() ? loadStamp(o) : vips::VImage();

    // ICC policy is a JPEG/AVIF matter; with "auto" the JPEG candidate decides.
    const Format iccFormat = candidates.front();
    const double inputPixels = double(src.width) * src.pageHeight;
    const double estimatedData = double(src.bytes.size()) * (double(plan.boxWidth) * plan.boxHeight) / inputPixels;
    const IccAction icc = src.isCmyk ? IccAction::Convert : decideIcc(o.icc, iccFormat, src.iccProfile, estimatedData);

    // Pixel changes the user asked for. Uprighting an EXIF orientation is not one of
    // them: a JPEG can be rotated without loss, the others keep their own bytes below.
    const bool asksPixelChange = plan.changesPixels() || o.hasStamp() || icc == IccAction::Convert || src.isCmyk;
    const bool changesPixels = asksPixelChange || src.orientation != 1;

    // A file we lightened before is copied as it is, unless this job changes pixels.
    if (o.markSkipIn && target == src.format && !asksPixelChange && !o.sizeLimitKiB && hasMark(src.bytes, src.format)) {
        write(o, src.format, src.bytes);
        return 0;
    }

    // A level's search judges trials on pixels held in memory; GIF has none.
    const bool searched = !o.quality && std::any_of(candidates.begin(), candidates.end(),
                                                    [](Format f) { return f != Format::Gif; });

    // The input's own coefficients, Huffman-optimised (and uprighted when EXIF asks),
    // are the same picture. They can only beat a re-encode when the input was stored at
    // no more than the quality about to be used plus a little (the rewrite saves up to
    // some 15 % on a baseline input); above that a re-encode is clearly smaller and the
    // rewrite, a full transcode, would only cost time. When it may win it needs nothing
    // from the decode, so it runs beside the decode and encode.
    const LosslessJpegOptions lossless{!o.baseline, o.keepMetadata, icc == IccAction::Keep};
    const bool rewritable = src.format == Format::Jpeg && target == Format::Jpeg && !asksPixelChange;
    const std::optional<JpegStorage> stored = rewritable ? readJpegStorage(src.bytes) : std::nullopt;
    const JpegSettings reencoding = jpegSettingsFor(o);
    constexpr int kRewriteQualityMargin = 3;
    const bool rewriteMayWin =
        rewritable && !o.sizeLimitKiB && (!stored || stored->quality <= reencoding.quality + kRewriteQualityMargin);
    const auto rewrite = [&src, lossless] {
        return src.orientation == 1 ? optimiseJpegLosslessly(src.bytes, lossless)
                                    : rotateJpegLosslessly(src.bytes, src.orientation, lossless);
    };
    // Stored clearly below the quality about to be used, or no higher but with halved
    // chroma where the re-encode keeps it whole, the input cannot be re-encoded smaller
    // than its own coefficients are: when the rewrite succeeds nothing is decoded.
    constexpr int kRewriteSureMargin = 5;
    const bool rewriteSurelyWins =
        rewriteMayWin && stored &&
        (stored->quality + kRewriteSureMargin <= reencoding.quality ||
         (stored->quality <= reencoding.quality && stored->subsampledChroma && reencoding.fullChroma));
    std::future<std::optional<Bytes>> rewritten;
    if (rewriteMayWin && !rewriteSurelyWins) {
        try {
            rewritten = std::async(std::launch::async, rewrite);
        } catch (const std::system_error &) {
            // no thread to be had: the rewrite is then made after the encode
        }
    }

    std::optional<Encoded> best;
    bool bytesFromInput = false; // the result is the input's own bytes or coefficients
    if (rewriteSurelyWins)
        if (std::optional<Bytes> kept = rewrite())
            best = Encoded{Format::Jpeg, std::move(*kept)}, bytesFromInput = true;

    if (!best) {
        // Decode, shrinking on load where the resize allows it. Resampling happens in the
        // stored orientation so the loader can stream top to bottom; rotation comes after,
        // on the small image in memory.
        LoadRequest request;
        request.allFrames = keepFrames;
        int storedWidth = plan.scaledWidth, storedHeight = plan.scaledHeight;
        if (src.swapsAxes())
            std::swap(storedWidth, storedHeight);
        if (plan.scale && src.format == Format::Jpeg)
            request.jpegShrink = shrinkOnLoadFactor(src.width, src.pageHeight, storedWidth, storedHeight, o.kernel);
        vips::VImage image = loadPixels(src, request);
        // A PNG may say its numbers are encoded with another gamma than the usual 1/2.2 (linear
        // light, for one). Only PNG output carries that statement on (see below); every other
        // output gets the numbers re-encoded for sRGB, before resampling and stamping, so the
        // picture looks as it did. Values near 1/2.2 are what sRGB means anyway.
        const std::uint32_t pngGamma = src.format == Format::Png ? governingPngGamma(src.bytes).value_or(0) : 0;
        const bool pngOnly = candidates.size() == 1 && candidates.front() == Format::Png;
        const bool reencodeGamma = pngGamma != 0 && !pngOnly && (pngGamma < 45000 || pngGamma > 46000) &&
                                   (image.format() == VIPS_FORMAT_UCHAR || image.format() == VIPS_FORMAT_USHORT);
        if (reencodeGamma)
            image = reencodeGammaForSrgb(image, pngGamma / 100000.0);
        if (plan.scale)
            image = scaleTo(image, storedWidth, storedHeight, o.kernel);
        if (src.orientation != 1) {
            // Rotation reads the image out of order, which a streaming loader cannot serve.
            image = materialise(image).autorot().copy();
            // The pixels are upright now; savers rewrite the EXIF tag from this field.
            image.set(VIPS_META_ORIENTATION, 1);
        }

        // Colour: CMYK always ends as sRGB; other profiles as the ICC policy says.
        const bool pngLossless = candidates.size() == 1 && candidates.front() == Format::Png && pngIsLossless(o);
        if (src.isCmyk) {
            image = cmykToSrgb(image);
        } else if (icc == IccAction::Convert) {
            try {
                image = convertToSrgb(image, pngLossless);
            } catch (const vips::VError &) {
                // A profile that does not fit the pixels (an RGB profile on grey, a broken
                // one) cannot be applied; the pixels as stored are the best we have.
                image = image.copy();
                removeProfile(image);
            }
        } else if (icc == IccAction::Drop) {
            image = image.copy();
            removeProfile(image);
        }
        if (!pngLossless)
            image = to8Bit(image);

        if (plan.canvas) {
            const bool transparent = image.has_alpha() && std::all_of(candidates.begin(), candidates.end(), holdsAlpha);
            image = fitCanvas(image, plan, transparent);
        }
        if (o.hasStamp())
            image = applyStamp(image, stamp, o);

        // Several encodes of the same pixels (auto, a size limit, palette against lossless
        // PNG) or a look at the alpha band want the pixels decoded once, in memory. A single
        // encode streams instead: decoding and encoding overlap and no full copy is held.
        const bool encodesMoreThanOnce =
            candidates.size() > 1 || o.sizeLimitKiB || candidates.front() == Format::Png || searched;
        const bool inMemory = encodesMoreThanOnce || image.has_alpha();
        if (inMemory)
            image = materialise(image);
        // An alpha band that is opaque everywhere only costs bytes.
        if (image.has_alpha() && !hasRealTransparency(image))
            image = dropAlpha(image);

        image = image.copy(); // fields are about to change: never on a shared image
        prepareMetadata(image, o.keepMetadata);
        if (keepFrames)
            image.set("page-height", pageHeightOf(image));

        // Encode every candidate; "auto" keeps the smaller of JPEG and PNG, and an image
        // with real transparency only ever becomes PNG.
        Search search(image, o);
        for (Format f : candidates) {
            if (f == Format::Jpeg && !target && image.has_alpha())
                continue;
            vips::VImage pixels = image;
            if (f == Format::Jpeg && pixels.has_alpha())
                pixels = pixels.flatten(vips::VImage::option()->set("background", std::vector<double>{255.0}));
            Bytes bytes;
            try {
                try {
                    bytes = encodeAs(f, pixels, o, search, src.format == Format::Gif && !asksPixelChange);
                } catch (const vips::VError &e) {
                    // Trials and the judge work on pixels already in memory: what fails there
                    // is a resource, or this image in this format.
                    failFromVips(Exit::CannotEncode, std::string("cannot encode as ") + formatName(f) + ": ", e.what());
                }
            } catch (const Failure &failure) {
                // While streaming, a damaged input shows up as an encoder error: decode the
                // input alone to tell the two apart, and trust the decoders' own words where
                // a damaged tail only fails on the way the encoder reads.
                if (failure.code() == Exit::CannotEncode && !inMemory) {
                    checkDecodes(src, request);
                    if (comesFromDecoder(failure.what())) {
                        // Drop our "cannot encode as ...:" prefix: the decoder's words are the reason.
                        const std::string what = failure.what();
                        const std::size_t colon = what.find(": ");
                        fail(Exit::Damaged, "the input is damaged: " + (colon == std::string::npos ? what : what.substr(colon + 2)));
                    }
                }
                throw;
            }
            if (f == Format::Png && src.format == Format::Png && icc != IccAction::Convert && !reencodeGamma)
                bytes = withColourChunksOf(src.bytes, std::move(bytes));
            if (!best || bytes.size() < best->bytes.size())
                best = Encoded{f, std::move(bytes)};
        }

    }

    // Same format and nothing pixel-changing asked: never hand back a larger file.
    const bool marked = o.markWrite && (best->format == Format::Jpeg || best->format == Format::Png);
    const std::size_t markBytes = marked ? markSize(best->format) : 0;
    const std::size_t limit = o.sizeLimitKiB ? std::size_t(*o.sizeLimitKiB) * 1024 : SIZE_MAX;
    if (best->format == src.format && !asksPixelChange) {
        // The rewrite wins when it is smaller. It is needed when the re-encode is no
        // smaller than the input, and worth trying when it can come within reach: at most
        // some 15 % smaller for a baseline input, next to nothing for a progressive one.
        const double reach = src.progressiveJpeg ? 1.0 : 0.85;
        const bool needed = best->bytes.size() >= src.bytes.size();
        const bool worthTrying = rewriteMayWin && double(best->bytes.size()) >= reach * double(src.bytes.size());
        if (src.format == Format::Jpeg && !bytesFromInput && (rewritten.valid() || needed || worthTrying)) {
            std::optional<Bytes> kept = rewritten.valid() ? rewritten.get() : rewrite();
            if (kept && kept->size() < best->bytes.size() && kept->size() + markBytes <= limit)
                best->bytes = std::move(*kept), bytesFromInput = true;
        }
        // Never larger than the input: then the input itself.
        if (src.orientation == 1 && best->bytes.size() >= src.bytes.size() && src.bytes.size() <= limit)
            best->bytes = src.bytes, bytesFromInput = true;
    }
    // The mark goes in unless it alone would make an unchanged file larger than its input.
    if (marked && (!bytesFromInput || best->bytes.size() + markBytes < src.bytes.size() || changesPixels))
        best->bytes = withMark(best->bytes, best->format);

    traceStep("final encode");
    write(o, best->format, best->bytes);
    return 0;
}

} // namespace dravik
