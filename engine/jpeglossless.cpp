#include "jpeglossless.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>

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

bool isIcc(const jpeg_saved_marker_ptr m)
{
    return m->marker == JPEG_APP0 + 2 && m->data_length >= 12 && std::memcmp(m->data, "ICC_PROFILE", 12) == 0;
}

} // namespace

std::optional<Bytes> optimiseJpegLosslessly(const Bytes &input, const LosslessJpegOptions &o)
{
    jpeg_decompress_struct src {};
    jpeg_compress_struct dst {};
    ErrorManager srcErr {}, dstErr {};
    unsigned char *outBuffer = nullptr;
    unsigned long outSize = 0;

    src.err = jpeg_std_error(&srcErr.pub);
    srcErr.pub.error_exit = onJpegError;
    srcErr.pub.emit_message = onJpegWarning;
    dst.err = jpeg_std_error(&dstErr.pub);
    dstErr.pub.error_exit = onJpegError;
    jpeg_create_decompress(&src);
    jpeg_create_compress(&dst);

    // Both error paths land here; volatile keeps the buffer pointer valid after longjmp.
    if (setjmp(srcErr.jump) || setjmp(dstErr.jump)) {
        jpeg_destroy_compress(&dst);
        jpeg_destroy_decompress(&src);
        std::free(outBuffer);
        return std::nullopt;
    }

    jpeg_mem_src(&src, input.data(), static_cast<unsigned long>(input.size()));
    // JFIF (APP0) and Adobe (APP14) are rewritten by libjpeg itself from the source's
    // parameters; everything else is saved and copied by policy below.
    for (int m = 1; m < 16; ++m)
        if (m != 14)
            jpeg_save_markers(&src, JPEG_APP0 + m, 0xFFFF);
    jpeg_save_markers(&src, JPEG_COM, 0xFFFF);
    jpeg_read_header(&src, TRUE);
    jvirt_barray_ptr *coefficients = jpeg_read_coefficients(&src);

    jpeg_copy_critical_parameters(&src, &dst);
    dst.optimize_coding = TRUE;
    if (o.progressive)
        jpeg_simple_progression(&dst);
    jpeg_mem_dest(&dst, &outBuffer, &outSize);
    jpeg_write_coefficients(&dst, coefficients);

    for (jpeg_saved_marker_ptr m = src.marker_list; m; m = m->next) {
        const bool icc = isIcc(m);
        if (icc ? !o.keepIcc : !o.keepMetadata)
            continue;
        if (m->marker == JPEG_APP0 + 15) // an old mark; the caller adds a fresh one
            continue;
        jpeg_write_marker(&dst, m->marker, m->data, m->data_length);
    }

    jpeg_finish_compress(&dst);
    jpeg_finish_decompress(&src);
    Bytes out(outBuffer, outBuffer + outSize);
    jpeg_destroy_compress(&dst);
    jpeg_destroy_decompress(&src);
    std::free(outBuffer);
    return out;
}

} // namespace dravik
