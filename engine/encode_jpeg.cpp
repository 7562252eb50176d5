// JPEG through libjpeg's own API, fed strip by strip by libvips. Baseline files are
// libjpeg's from start to end; progressive ones take libjpeg's coefficients and are
// written by our own scan coder (jpegscans.cpp).

// libjpeg's entropy encoder interface: the progressive path puts its own in its place.
// Defined before any header can include jpeglib.h.
#define JPEG_INTERNALS

#include "encode.h"

#include "exitcodes.h"
#include "jpegdest.h"
#include "jpegplanes.h"
#include "jpegscans.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
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

// Metadata the pipeline left on the image, as the segments that carry it: EXIF (its
// block starts with "Exif\0\0"), XMP, IPTC (a Photoshop APP13 payload) and the ICC
// profile. Oversized blocks are skipped: a JPEG segment holds at most 65533 bytes.
std::vector<JpegSegment> metadataSegments(const vips::VImage &image)
{
    std::vector<JpegSegment> segments;
    const unsigned char *data = nullptr;
    size_t length = 0;
    if (blob(image, VIPS_META_EXIF_NAME, &data, &length) && length <= 65533 && std::memcmp(data, "Exif", 4) == 0)
        segments.push_back({0xE1, Bytes(data, data + length)});
    if (blob(image, VIPS_META_XMP_NAME, &data, &length)) {
        static const char ns[] = "http://ns.adobe.com/xap/1.0/";
        if (length + sizeof ns <= 65533) {
            Bytes payload(ns, ns + sizeof ns); // with its NUL
            payload.insert(payload.end(), data, data + length);
            segments.push_back({0xE1, std::move(payload)});
        }
    }
    if (blob(image, VIPS_META_IPTC_NAME, &data, &length) && length <= 65533)
        segments.push_back({0xED, Bytes(data, data + length)});
    if (blob(image, VIPS_META_ICC_NAME, &data, &length))
        for (JpegSegment &icc : iccSegmentsFor(data, length))
            segments.push_back(std::move(icc));
    return segments;
}

// Resolution from the image, in dots per inch (libvips keeps pixels per millimetre).
int dotsPerInch(const vips::VImage &image)
{
    const double dpi = image.xres() * 25.4;
    return dpi >= 1 && dpi <= 65535 ? int(dpi + 0.5) : 0;
}

// Output libjpeg writes while it only computes coefficients for us: thrown away.
struct DiscardDestination {
    jpeg_destination_mgr pub {};
    JOCTET buffer[4096];

    void attach(j_compress_ptr cinfo)
    {
        pub.init_destination = &reset;
        pub.empty_output_buffer = &empty;
        pub.term_destination = &reset;
        cinfo->dest = &pub;
    }

private:
    static void reset(j_compress_ptr cinfo)
    {
        auto *d = reinterpret_cast<DiscardDestination *>(cinfo->dest);
        d->pub.next_output_byte = d->buffer;
        d->pub.free_in_buffer = sizeof d->buffer;
    }
    static boolean empty(j_compress_ptr cinfo)
    {
        reset(cinfo);
        return TRUE;
    }
};

// Stands in for libjpeg's Huffman encoder: libjpeg converts colour, subsamples, transforms
// and quantises (with its SIMD code) and hands each MCU's blocks here, to be kept.
struct CoefficientCapture {
    jpeg_entropy_encoder pub {}; // first member: libjpeg only sees this part
    CoefficientImage *image = nullptr;
    long mcu = 0;

    void install(j_compress_ptr cinfo, CoefficientImage *into)
    {
        image = into;
        pub.start_pass = [](j_compress_ptr, boolean) {};
        pub.encode_mcu = &keep;
        pub.finish_pass = [](j_compress_ptr) {};
        cinfo->entropy = &pub;
    }

private:
    static boolean keep(j_compress_ptr cinfo, JBLOCKROW *blocks)
    {
        bool outOfMemory = false;
        try {
            reinterpret_cast<CoefficientCapture *>(cinfo->entropy)->take(cinfo, blocks);
        } catch (const std::bad_alloc &) {
            outOfMemory = true;
        }
        if (outOfMemory) {
            // Out through libjpeg's own error path: an exception cannot cross its C frames.
            auto *err = reinterpret_cast<ErrorManager *>(cinfo->err);
            std::snprintf(err->message, sizeof err->message, "out of memory");
            std::longjmp(*err->jump, 1);
        }
        return TRUE;
    }

    void take(j_compress_ptr cinfo, JBLOCKROW *blocks)
    {
        const int mx = int(mcu % long(cinfo->MCUs_per_row));
        const int my = int(mcu / long(cinfo->MCUs_per_row));
        ++mcu;
        int b = 0;
        for (int ci = 0; ci < cinfo->comps_in_scan; ++ci) {
            const jpeg_component_info *comp = cinfo->cur_comp_info[ci];
            CoefficientPlane &plane = image->planes[std::size_t(comp->component_index)];
            for (int y = 0; y < comp->MCU_height; ++y)
                for (int x = 0; x < comp->MCU_width; ++x)
                    plane.store(mx * comp->MCU_width + x, my * comp->MCU_height + y, blocks[b++][0]);
        }
    }
};

// The frame as libjpeg set it up for its single sequential scan: components, sampling,
// quantisation tables, and storage for every block of the scan's MCU grid.
CoefficientImage coefficientImageFor(j_compress_ptr cinfo)
{
    CoefficientImage image;
    image.width = int(cinfo->image_width);
    image.height = int(cinfo->image_height);
    image.mcusPerRow = int(cinfo->MCUs_per_row);
    image.mcuRows = int(cinfo->MCU_rows_in_scan);
    for (int ci = 0; ci < cinfo->num_components; ++ci) {
        const jpeg_component_info &comp = cinfo->comp_info[ci];
        CoefficientPlane plane = planeFor(comp, cinfo->num_components > 1);
        plane.allocate(int(cinfo->MCUs_per_row) * comp.MCU_width, int(cinfo->MCU_rows_in_scan) * comp.MCU_height);
        image.planes.push_back(std::move(plane));
    }
    image.quantTables = quantTablesFor(cinfo->quant_tbl_ptrs, cinfo->comp_info, cinfo->num_components);
    return image;
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
    DiscardDestination discard;
    CoefficientCapture capture;
    CoefficientImage coefficients;
    std::jmp_buf jump;
    err.jump = &jump;
    if (setjmp(jump)) {
        jpeg_destroy_compress(&cinfo);
        fail(Exit::CannotEncode, std::string("cannot encode as JPEG: ") + err.message);
    }
    jpeg_create_compress(&cinfo);
    const bool grey = image.bands() == 1;
    cinfo.image_width = JDIMENSION(image.width());
    cinfo.image_height = JDIMENSION(image.height());
    cinfo.input_components = grey ? 1 : 3;
    cinfo.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, s.quality, TRUE);
    cinfo.dct_method = JDCT_ISLOW;
    if (!grey) {
        const int h = s.fullChroma ? 1 : 2;
        cinfo.comp_info[0].h_samp_factor = h;
        cinfo.comp_info[0].v_samp_factor = h;
        for (int c = 1; c < 3; ++c)
            cinfo.comp_info[c].h_samp_factor = cinfo.comp_info[c].v_samp_factor = 1;
    }
    const int dpi = dotsPerInch(image);
    if (dpi) {
        cinfo.density_unit = 1;
        cinfo.X_density = cinfo.Y_density = UINT16(dpi);
    }
    const std::vector<JpegSegment> metadata = metadataSegments(image);
    if (s.progressive) {
        // One plain sequential pass: libjpeg's coefficients are all we take from it.
        cinfo.optimize_coding = FALSE;
        discard.attach(&cinfo);
        jpeg_start_compress(&cinfo, TRUE);
        coefficients = coefficientImageFor(&cinfo);
        capture.install(&cinfo, &coefficients);
    } else {
        cinfo.optimize_coding = TRUE;
        destination.attach(&cinfo);
        jpeg_start_compress(&cinfo, TRUE);
        for (const JpegSegment &segment : metadata)
            jpeg_write_marker(&cinfo, segment.marker, segment.payload.data(), unsigned(segment.payload.size()));
    }

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
    if (!s.progressive)
        return std::move(destination.bytes);
    try {
        return writeProgressiveJpeg(coefficients, JpegFileHeader{dpi ? 1 : 0, dpi ? dpi : 1, dpi ? dpi : 1, metadata},
                                    codingThreads());
    } catch (const std::range_error &e) {
        fail(Exit::CannotEncode, std::string("cannot encode as JPEG: ") + e.what());
    }
}

} // namespace dravik
