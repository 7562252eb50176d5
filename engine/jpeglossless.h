// Lossless JPEG rewrite: the input's DCT coefficients re-entropy-coded with optimal
// Huffman tables (and progressive scans unless baseline is asked). No pixel changes.
#pragma once

#include "load.h"

#include <optional>

namespace dravik {

struct LosslessJpegOptions {
    bool progressive = true;
    bool keepMetadata = true; // EXIF, XMP, IPTC, comments
    bool keepIcc = true;
};

// nullopt when libjpeg cannot read the coefficients (then the caller keeps other bytes).
std::optional<Bytes> optimiseJpegLosslessly(const Bytes &input, const LosslessJpegOptions &o);

// Applies an EXIF orientation (2..8) in the DCT domain and resets the EXIF tag to 1.
// nullopt when the rotation would not be exact (partial MCU blocks at an edge that
// moves) or the input cannot be read: then only a re-encode can apply it.
std::optional<Bytes> rotateJpegLosslessly(const Bytes &input, int orientation, const LosslessJpegOptions &o);

// How a JPEG file was stored, read from its header alone.
struct JpegStorage {
    int quality = 0; // 1..100 on libjpeg's scale: whose luma table comes closest to the file's
    bool subsampledChroma = false; // chroma at less than full resolution
};

// nullopt when the header cannot be read.
std::optional<JpegStorage> readJpegStorage(const Bytes &jpeg);

} // namespace dravik
