// Reading the input: its bytes, its format found from content, its header, and pixels.
#pragma once

#include "options.h"

#include <vips/vips8>

#include <cstdint>
#include <string>
#include <vector>

namespace dravik {

// Decompression bombs are refused from the header, before any pixel is decoded.
inline constexpr std::uint64_t kPixelLimit = 16383ull * 16383ull; // about 268 megapixels

// Files are read whole; no image within the pixel limit needs more than this.
inline constexpr std::uint64_t kFileSizeLimit = 1ull << 30;

using Bytes = std::vector<unsigned char>;

struct Source {
    std::string path;
    Bytes bytes;          // the whole file: kept for byte copies and lossless JPEG work
    Format format = Format::Jpeg;
    std::string loader;   // libvips loader name, e.g. "jpegload_buffer"
    int width = 0;        // as stored (before the EXIF orientation)
    int pageHeight = 0;   // height of one frame
    int pages = 1;        // frames in the file
    int orientation = 1;
    bool hasAlpha = false;
    bool isCmyk = false;
    bool is16Bit = false;
    bool progressiveJpeg = false; // its Huffman tables are optimal already
    std::string iccProfile; // the embedded profile, empty when there is none

    bool swapsAxes() const { return orientation >= 5 && orientation <= 8; }
    int displayWidth() const { return swapsAxes() ? pageHeight : width; }
    int displayHeight() const { return swapsAxes() ? width : pageHeight; }
};

// Reads the file (90), identifies it (82), reads its header (91) and checks the pixel
// limit (92) for one frame; all frames together are checked where they are kept.
Source readSource(const std::string &path);

struct LoadRequest {
    bool allFrames = false; // animation kept
    int jpegShrink = 1;     // 1, 2, 4 or 8: JPEG's scaled IDCT
    double webpScale = 1.0; // libwebp scales while decoding
    bool sequential = true;
};

// A lazy image: decoding happens when pixels are demanded, so decode errors surface later.
vips::VImage loadPixels(const Source &source, const LoadRequest &request);

// Reads raw bytes of a file; throws Failure(code) with `what` in the reason.
Bytes readFileBytes(const std::string &path, const char *what, int failCode);

} // namespace dravik
