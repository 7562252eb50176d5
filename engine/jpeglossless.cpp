#include "jpeglossless.h"

#include "jpegdest.h"

#include <csetjmp>
#include <cstdio>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>
#include <algorithm>

#include <jpeglib.h>
#include <turbojpeg.h>

namespace dravik {
namespace {

struct ErrorManager {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
};

extern "C" void onJpegError(j_common_ptr cinfo)
{
    auto *err = reinterpret_cast<ErrorManager *>(cinfo->err);
    std::longjmp(err->jump, 1);
}

// A corrupt-data warning means the coefficients we would copy may be garbage: treat it
// as failure, so a damaged input is never passed off as an optimised one.
extern "C" void onJpegWarning(j_common_ptr cinfo, int level)
{
    if (level < 0)
        std::longjmp(reinterpret_cast<ErrorManager *>(cinfo->err)->jump, 1);
}

// Errors of a libjpeg object land on `err.jump`; with `warningsFail`, corrupt-data
// warnings too.
template <class LibjpegObject>
void attachErrors(LibjpegObject &object, ErrorManager &err, bool warningsFail)
{
    object.err = jpeg_std_error(&err.pub);
    err.pub.error_exit = onJpegError;
    if (warningsFail)
        err.pub.emit_message = onJpegWarning;
}

bool isIcc(const jpeg_saved_marker_ptr m)
{
    return m->marker == JPEG_APP0 + 2 && m->data_length >= 12 && std::memcmp(m->data, "ICC_PROFILE", 12) == 0;
}

// Sets the EXIF orientation tag of IFD0 to 1 in place (same size, nothing else moves).
void resetExifOrientation(Bytes &jpeg)
{
    std::size_t at = 2;
    while (at + 4 <= jpeg.size() && jpeg[at] == 0xFF && jpeg[at + 1] != 0xDA) {
        const std::size_t length = 2 + ((std::size_t(jpeg[at + 2]) << 8) | jpeg[at + 3]);
        if (at + length > jpeg.size())
            return;
        if (jpeg[at + 1] == 0xE1 && length > 18 && std::memcmp(&jpeg[at + 4], "Exif\0\0", 6) == 0) {
            unsigned char *tiff = &jpeg[at + 10];
            const std::size_t tiffSize = length - 10;
            const bool little = tiff[0] == 'I';
            const auto u16 = [&](std::size_t o) { return little ? tiff[o] | tiff[o + 1] << 8 : tiff[o] << 8 | tiff[o + 1]; };
            const auto u32 = [&](std::size_t o) {
                return little ? std::uint32_t(tiff[o] | tiff[o + 1] << 8 | tiff[o + 2] << 16) | std::uint32_t(tiff[o + 3]) << 24
                              : std::uint32_t(tiff[o] << 16 | tiff[o + 1] << 8 | tiff[o + 2]) << 8 | tiff[o + 3];
            };
            const std::size_t ifd = u32(4);
            if (ifd + 2 > tiffSize)
                return;
            const std::size_t count = std::size_t(u16(ifd));
            for (std::size_t i = 0; i < count && ifd + 2 + 12 * (i + 1) <= tiffSize; ++i) {
                const std::size_t entry = ifd + 2 + 12 * i;
                if (u16(entry) == 0x0112 && u16(entry + 2) == 3) { // Orientation, SHORT
                    tiff[entry + 8] = little ? 1 : 0;
                    tiff[entry + 9] = little ? 0 : 1;
                    return;
                }
            }
            return;
        }
        at += length;
    }
}

// JFIF (APP0) and Adobe (APP14) are rewritten from the source's parameters; everything
// else is saved, to be copied by policy.
void saveMarkers(j_decompress_ptr src)
{
    for (int m = 1; m < 16; ++m)
        if (m != 14)
            jpeg_save_markers(src, JPEG_APP0 + m, 0xFFFF);
    jpeg_save_markers(src, JPEG_COM, 0xFFFF);
}

// Markers carried over by policy; an old mark is dropped, the caller adds a fresh one.
bool keepsMarker(const jpeg_saved_marker_ptr m, const LosslessJpegOptions &o)
{
    if (m->marker == JPEG_APP0 + 15)
        return false;
    return isIcc(m) ? o.keepIcc : o.keepMetadata;
}

// APP2 ICC_PROFILE segments of a JPEG, as raw bytes, in order.
Bytes iccSegments(const Bytes &jpeg)
{
    Bytes out;
    std::size_t at = 2;
    while (at + 4 <= jpeg.size() && jpeg[at] == 0xFF && jpeg[at + 1] != 0xDA) {
        const std::size_t length = 2 + ((std::size_t(jpeg[at + 2]) << 8) | jpeg[at + 3]);
        if (at + length > jpeg.size())
            break;
        if (jpeg[at + 1] == 0xE2 && length >= 16 && std::memcmp(&jpeg[at + 4], "ICC_PROFILE", 12) == 0)
            out.insert(out.end(), jpeg.begin() + std::ptrdiff_t(at), jpeg.begin() + std::ptrdiff_t(at + length));
        at += length;
    }
    return out;
}

} // namespace

std::optional<Bytes> rotateJpegLosslessly(const Bytes &input, int orientation, const LosslessJpegOptions &o)
{
    static const int operations[9] = {TJXOP_NONE, TJXOP_NONE, TJXOP_HFLIP, TJXOP_ROT180, TJXOP_VFLIP,
                                      TJXOP_TRANSPOSE, TJXOP_ROT90, TJXOP_TRANSVERSE, TJXOP_ROT270};
    if (orientation < 2 || orientation > 8)
        return std::nullopt;
    tjhandle handle = tjInitTransform();
    if (!handle)
        return std::nullopt;
    tjtransform transform {};
    transform.op = operations[orientation];
    // PERFECT refuses instead of dropping or garbling partial edge blocks.
    // Sequential here; the rewrite below makes the Huffman tables optimal and the file
    // progressive when asked.
    transform.options = TJXOPT_PERFECT | (o.keepMetadata ? 0 : TJXOPT_COPYNONE);
    unsigned char *out = nullptr;
    unsigned long outSize = 0;
    const int rc = tjTransform(handle, input.data(), static_cast<unsigned long>(input.size()), 1, &out, &outSize,
                               &transform, 0);
    std::optional<Bytes> result;
    if (rc == 0 && out && outSize > 4) {
        Bytes bytes(out, out + outSize);
        if (o.keepMetadata) {
            resetExifOrientation(bytes);
        } else if (o.keepIcc) {
            const Bytes icc = iccSegments(input);
            bytes.insert(bytes.begin() + 2, icc.begin(), icc.end());
        }
        result = std::move(bytes);
    }
    tjFree(out);
    tjDestroy(handle);
    // The transform keeps the source's Huffman tables; the coefficient rewrite below
    // makes them optimal, and the file progressive unless baseline is asked.
    if (result)
        if (std::optional<Bytes> optimised = optimiseJpegLosslessly(*result, o))
            result = std::move(optimised);
    return result;
}

std::optional<Bytes> optimiseJpegLosslessly(const Bytes &input, const LosslessJpegOptions &o)
{
    jpeg_decompress_struct src {};
    jpeg_compress_struct dst {};
    ErrorManager srcErr {}, dstErr {};
    VectorDestination destination;

    attachErrors(src, srcErr, true);
    attachErrors(dst, dstErr, false);
    jpeg_create_decompress(&src);
    jpeg_create_compress(&dst);

    // Both error paths land here.
    if (setjmp(srcErr.jump) || setjmp(dstErr.jump)) {
        jpeg_destroy_compress(&dst);
        jpeg_destroy_decompress(&src);
        return std::nullopt;
    }

    jpeg_mem_src(&src, input.data(), static_cast<unsigned long>(input.size()));
    saveMarkers(&src);
    jpeg_read_header(&src, TRUE);
    jvirt_barray_ptr *coefficients = jpeg_read_coefficients(&src);

    jpeg_copy_critical_parameters(&src, &dst);
    dst.optimize_coding = TRUE;
    if (o.progressive)
        jpeg_simple_progression(&dst);
    destination.attach(&dst);
    jpeg_write_coefficients(&dst, coefficients);

    for (jpeg_saved_marker_ptr m = src.marker_list; m; m = m->next)
        if (keepsMarker(m, o))
            jpeg_write_marker(&dst, m->marker, m->data, m->data_length);

    jpeg_finish_compress(&dst);
    jpeg_finish_decompress(&src);
    jpeg_destroy_compress(&dst);
    jpeg_destroy_decompress(&src);
    return std::move(destination.bytes);
}

std::optional<JpegStorage> readJpegStorage(const Bytes &jpeg)
{
    // libjpeg's own table at quality 50 is the standard one its scaling starts from.
    jpeg_compress_struct reference {};
    ErrorManager referenceErr {};
    attachErrors(reference, referenceErr, false);
    jpeg_decompress_struct src {};
    ErrorManager srcErr {};
    attachErrors(src, srcErr, false);
    jpeg_create_compress(&reference);
    jpeg_create_decompress(&src);
    if (setjmp(referenceErr.jump) || setjmp(srcErr.jump)) {
        jpeg_destroy_decompress(&src);
        jpeg_destroy_compress(&reference);
        return std::nullopt;
    }
    reference.in_color_space = JCS_RGB;
    reference.input_components = 3;
    jpeg_set_defaults(&reference);
    jpeg_set_quality(&reference, 50, FALSE);
    jpeg_mem_src(&src, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
    jpeg_read_header(&src, TRUE);
    std::optional<JpegStorage> storage;
    const JQUANT_TBL *table = src.comp_info && src.num_components > 0 ? src.quant_tbl_ptrs[src.comp_info[0].quant_tbl_no] : nullptr;
    if (table) {
        // The mean scale against the standard table, turned back into a quality the way
        // libjpeg turns a quality into a scale.
        double scale = 0;
        for (int k = 0; k < 64; ++k)
            scale += 100.0 * table->quantval[k] / reference.quant_tbl_ptrs[0]->quantval[k];
        scale /= 64;
        const double q = scale <= 100 ? (200 - scale) / 2 : 5000 / scale;
        storage = JpegStorage{std::clamp(int(q + 0.5), 1, 100), false};
        for (int c = 1; c < src.num_components; ++c)
            if (src.comp_info[c].h_samp_factor < src.max_h_samp_factor ||
                src.comp_info[c].v_samp_factor < src.max_v_samp_factor)
                storage->subsampledChroma = true;
    }
    jpeg_destroy_decompress(&src);
    jpeg_destroy_compress(&reference);
    return storage;
}

} // namespace dravik
