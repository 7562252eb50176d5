// JPEG through libjpeg's own API, fed strip by strip by libvips.
#include "encode.h"

#include "exitcodes.h"
#include "jpegdest.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <jpeglib.h>

namespace dravik {
namespace {

struct ErrorManager {
    jpeg_error_mgr pub;
    std::jmp_buf *jump = nullptr; // where the current caller wants to land
    char message[JMSG_LENGTH_MAX] = {};
};

extern "C" void onError(j_common_ptr cinfo)
{
    auto *err = reinterpret_cast<ErrorManager *>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, err->message);
    std::longjmp(*err->jump, 1);
}

extern "C" void silent(j_common_ptr, int) {}

// Progressive without successive approximation: DC of all components, then the AC
// coefficients of each component in one scan. libjpeg's default script (ten scans with
// refinement passes) costs twice the encode time for about half a per cent of size.
const jpeg_scan_info *scanScript(int components, int *count)
{
    static jpeg_scan_info colour[4];
    static jpeg_scan_info grey[2];
    static bool ready = false;
    if (!ready) {
        colour[0] = {3, {0, 1, 2, 0}, 0, 0, 0, 0};
        for (int c = 0; c < 3; ++c)
            colour[1 + c] = {1, {c, 0, 0, 0}, 1, 63, 0, 0};
        grey[0] = {1, {0, 0, 0, 0}, 0, 0, 0, 0};
        grey[1] = {1, {0, 0, 0, 0}, 1, 63, 0, 0};
        ready = true;
    }
    *count = components == 1 ? 2 : 4;
    return components == 1 ? grey : colour;
}

// The pixels libjpeg can take: 8-bit grey or sRGB, no alpha.
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

bool blob(const vips::VImage &image, const char *name, const unsigned char **data, size_t *length)
{
    if (image.get_typeof(name) == 0)
        return false;
    *data = static_cast<const unsigned char *>(image.get_blob(name, length));
    return *data && *length > 0;
}

// Metadata the pipeline left on the image: EXIF (its block starts with "Exif\0\0"), XMP,
// IPTC (a Photoshop APP13 payload) and the ICC profile. Oversized blocks are skipped:
// a JPEG segment holds at most 65533 bytes.
void writeMetadata(j_compress_ptr cinfo, const vips::VImage &image)
{
    const unsigned char *data = nullptr;
    size_t length = 0;
    if (blob(image, VIPS_META_EXIF_NAME, &data, &length) && length <= 65533 && std::memcmp(data, "Exif", 4) == 0)
        jpeg_write_marker(cinfo, JPEG_APP0 + 1, data, unsigned(length));
    if (blob(image, VIPS_META_XMP_NAME, &data, &length)) {
        static const char ns[] = "http://ns.adobe.com/xap/1.0/";
        if (length + sizeof ns <= 65533) {
            std::string segment(ns, sizeof ns); // with its NUL
            segment.append(reinterpret_cast<const char *>(data), length);
            jpeg_write_marker(cinfo, JPEG_APP0 + 1, reinterpret_cast<const JOCTET *>(segment.data()),
                              unsigned(segment.size()));
        }
    }
    if (blob(image, VIPS_META_IPTC_NAME, &data, &length) && length <= 65533)
        jpeg_write_marker(cinfo, JPEG_APP0 + 13, data, unsigned(length));
    if (blob(image, VIPS_META_ICC_NAME, &data, &length))
        jpeg_write_icc_profile(cinfo, data, unsigned(length));
}

struct Writer {
    jpeg_compress_struct *cinfo;
    ErrorManager *err;
};

// Called by libvips with consecutive strips, top to bottom, while its worker threads
// compute the next ones: decoding and encoding overlap.
extern "C" int writeStrip(VipsRegion *region, VipsRect *area, void *user)
{
    auto *w = static_cast<Writer *>(user);
    std::jmp_buf jump;
    w->err->jump = &jump;
    if (setjmp(jump))
        return -1;
    for (int y = area->top; y < area->top + area->height; ++y) {
        JSAMPROW row = VIPS_REGION_ADDR(region, area->left, y);
        jpeg_write_scanlines(w->cinfo, &row, 1);
    }
    return 0;
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
    if (image.width() > 65500 || image.height() > 65500)
        fail(Exit::CannotEncode, "the image is too large for JPEG");

    jpeg_compress_struct cinfo {};
    ErrorManager err {};
    cinfo.err = jpeg_std_error(&err.pub);
    err.pub.error_exit = onError;
    err.pub.emit_message = silent;
    VectorDestination destination;
    std::jmp_buf jump;
    err.jump = &jump;
    if (setjmp(jump)) {
        jpeg_destroy_compress(&cinfo);
        fail(Exit::CannotEncode, std::string("cannot encode as JPEG: ") + err.message);
    }
    jpeg_create_compress(&cinfo);
    destination.attach(&cinfo);
    const bool grey = image.bands() == 1;
    cinfo.image_width = JDIMENSION(image.width());
    cinfo.image_height = JDIMENSION(image.height());
    cinfo.input_components = grey ? 1 : 3;
    cinfo.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, s.quality, TRUE);
    cinfo.optimize_coding = TRUE;
    cinfo.dct_method = JDCT_ISLOW;
    if (!grey) {
        const int h = s.fullChroma ? 1 : 2;
        cinfo.comp_info[0].h_samp_factor = h;
        cinfo.comp_info[0].v_samp_factor = h;
        for (int c = 1; c < 3; ++c)
            cinfo.comp_info[c].h_samp_factor = cinfo.comp_info[c].v_samp_factor = 1;
    }
    if (s.progressive)
        cinfo.scan_info = scanScript(cinfo.num_components, &cinfo.num_scans);
    // Resolution from the image, in dots per inch (libvips keeps pixels per millimetre).
    const double dpi = image.xres() * 25.4;
    if (dpi >= 1 && dpi <= 65535) {
        cinfo.density_unit = 1;
        cinfo.X_density = cinfo.Y_density = UINT16(dpi + 0.5);
    }
    jpeg_start_compress(&cinfo, TRUE);
    writeMetadata(&cinfo, image);

    Writer writer{&cinfo, &err};
    const int sinkResult = vips_sink_disc(image.get_image(), writeStrip, &writer);
    err.jump = &jump;
    if (sinkResult != 0) {
        jpeg_destroy_compress(&cinfo);
        const std::string why = err.message[0] ? std::string(err.message) : std::string(vips_error_buffer());
        vips_error_clear();
        failFromVips(Exit::CannotEncode, "cannot encode as JPEG: ", why);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    return std::move(destination.bytes);
}

} // namespace dravik
