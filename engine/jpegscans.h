// A progressive JPEG writer of our own, from quantised DCT coefficients.
//
// libjpeg codes every progressive scan twice (statistics, then output), one scan after
// the other on one thread, and only after the last pixel row has arrived. Here the
// coefficients are kept in zigzag order with a bitmap of their non-zero entries, so a
// block costs one step per non-zero coefficient; each scan is cut into restart
// intervals that are counted and coded on all cores at once.
#pragma once

#include "load.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace dravik {

// One component's quantised coefficients. Most of them are zero, so each block keeps a
// bitmap of its non-zero AC coefficients (bit k for zigzag position k) and just those
// values, block after block along its block row. DC values are kept for the whole MCU
// grid of an interleaved scan, padding blocks included; the image data lies in the
// top-left widthInBlocks x heightInBlocks.
struct CoefficientPlane {
    int id = 1;            // component identifier written to the frame header
    int hSampling = 1;
    int vSampling = 1;
    int quantTable = 0;
    int widthInBlocks = 0;
    int heightInBlocks = 0;
    int stride = 0;        // DC values per stored row
    int rows = 0;          // stored DC rows

    struct AcRow {
        std::vector<std::int16_t> values; // grown ahead; `used` of them are real
        std::size_t used = 0;
    };
    std::vector<std::int16_t> dc;      // stride * rows
    std::vector<std::uint64_t> acMask; // widthInBlocks * heightInBlocks
    std::vector<AcRow> ac;             // heightInBlocks rows

    void allocate(int strideBlocks, int rowBlocks);
    // Stores a block in natural order. The blocks of one row must arrive left to right.
    void store(int bx, int by, const short *natural);
    int dcAt(int bx, int by) const { return dc[std::size_t(by) * std::size_t(stride) + std::size_t(bx)]; }
    // The block's coefficient at zigzag position k (for tests and checks, not for speed).
    int at(int bx, int by, int k) const;
};

struct CoefficientImage {
    int width = 0;
    int height = 0;
    int mcusPerRow = 0;  // of the interleaved scan; unused with one component
    int mcuRows = 0;
    std::vector<CoefficientPlane> planes;
    std::vector<std::array<std::uint16_t, 64>> quantTables; // natural order
};

// A marker segment written before the frame: marker code (0xE0..0xEF, 0xFE) and payload.
struct JpegSegment {
    unsigned char marker = 0;
    Bytes payload;
};

// What the JFIF segment says of the pixel size: unit 0 is an aspect ratio only, 1 dots
// per inch, 2 dots per centimetre.
struct JpegFileHeader {
    int densityUnit = 0;
    int xDensity = 1;
    int yDensity = 1;
    std::vector<JpegSegment> segments; // in the order they are to be written
};

// ICC profiles longer than one segment are split over numbered APP2 segments.
std::vector<JpegSegment> iccSegmentsFor(const unsigned char *profile, std::size_t length);

// Threads worth coding on: the cores, up to four.
int codingThreads();

// One progressive file from a CoefficientImage. The symbols of each scan can be counted
// while the coefficients are still arriving (rowsStored), so that only the coding is
// left once the last row is in; otherwise finish() counts, on all threads.
class ProgressiveJpegWriter {
public:
    ProgressiveJpegWriter(const CoefficientImage &image, int threads);
    ~ProgressiveJpegWriter();
    // The first `mcuRows` MCU rows of the frame are stored, in the order libjpeg's single
    // sequential scan delivers them: count what they complete.
    void rowsStored(int mcuRows);
    Bytes finish(const JpegFileHeader &header);

private:
    struct Plan;
    std::unique_ptr<Plan> plan_;
};

// The progressive file in one call: DC first, then the AC bands and their refinements
// (see the script in jpegscans.cpp), Huffman tables optimised per scan. `threads` <= 1
// counts and codes on the calling thread.
Bytes writeProgressiveJpeg(const CoefficientImage &image, const JpegFileHeader &header, int threads);

// Code lengths (1..16) of an optimal length-limited Huffman code for the 256 symbol
// counts; symbols with count 0 get no code. Exposed for tests.
std::array<std::uint8_t, 256> huffmanCodeLengths(const std::array<std::uint32_t, 256> &counts);

} // namespace dravik
