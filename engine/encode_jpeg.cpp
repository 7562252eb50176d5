// JPEG through libvips' saver, which is mozjpeg here: trellis quantisation and
// Huffman-optimised scans come with it, metadata as the image's fields say.

#include "encode.h"

#include "exitcodes.h"

#include <string>

namespace dravik {
namespace {

// The pixels the saver can take without guessing: 8-bit grey or sRGB, no alpha.
vips::VImage encodable(const vips::VImage &in)
{
    vips::VImage image = in;
    if (image.has_alpha())
        image = image.flatten(vips::VImage::option()->set("background", std::vector<double>{255.0}));
    const bool grey = image.bands() == 1;
    if (!grey && (image.interpretation() != VIPS_INTERPRETATION_sRGB || image.bands() != 3))
        image = image.colourspace(VIPS_INTERPRETATION_sRGB);
    if (grey && image.format() == VIPS_FORMAT_USHORT)
        image = image.colourspace(VIPS_INTERPRETATION_B_W);
    return image.format() == VIPS_FORMAT_UCHAR ? image : image.cast(VIPS_FORMAT_UCHAR);
}

} // namespace

Bytes encodeJpeg(const vips::VImage &input, const JpegSettings &s)
{
    vips::VImage image;
    try {
        image = encodable(input);
    } catch (const vips::VError &e) {
        failFromVips(Exit::CannotEncode, "cannot encode as JPEG: ", e.what());
    }
    if (image.width() > maxDimension(Format::Jpeg) || image.height() > maxDimension(Format::Jpeg))
        fail(Exit::CannotEncode, "the image is too large for JPEG");
    return saveWith("JPEG", [&] {
        vips::VOption *opt = saverOptions(image)
                                 ->set("Q", s.quality)
                                 ->set("interlace", s.progressive)
                                 ->set("optimize_coding", true)
                                 ->set("trellis_quant", s.trellis)
                                 ->set("optimize_scans", s.progressive && s.optimizeScans)
                                 ->set("overshoot_deringing", s.trellis)
                                 ->set("quant_table", s.quantTable)
                                 ->set("subsample_mode", s.fullChroma ? VIPS_FOREIGN_SUBSAMPLE_OFF
                                                                      : VIPS_FOREIGN_SUBSAMPLE_ON);
        return image.jpegsave_buffer(opt);
    });
}

} // namespace dravik
