// A progressive JPEG writer of our own, from quantised DCT coefficients.
//
// libjpeg codes every progressive scan twice (statistics, then output), one scan after
// the other on one thread, and only after the last pixel row has arrived. Here the
// coefficients are kept in zigzag order with a bitmap of their non-zero entries, so a
// block costs one step per non-zero coefficient; each scan is cut into restart
// intervals that are counted (large scans on a sample of their rows) and coded on all
// cores at once.
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

    // A row's values fill fixed chunks from the plane's arena; a block never straddles
    // two chunks: one that has less room left than a block can need is left behind.
    static constexpr std::size_t kChunkValues = 2048; // 4 KiB
    struct AcRow {
        std::vector<std::int16_t *> chunks;
        std::int16_t *cursor = nullptr;
        std::int16_t *end = nullptr;
    };
    // Walks a row's values block by block, by the same rule the rows were filled.
    class AcReader {
    public:
        explicit AcReader(const AcRow &row) : row_(row) {}
        // The values of the next block, which has `count` of them.
        const std::int16_t *next(int count)
        {
            if (end_ - values_ < 63) {
                values_ = row_.chunks[chunk_++];
                end_ = values_ + kChunkValues;
            }
            const std::int16_t *here = values_;
            values_ += count;
            return here;
        }

    private:
        const AcRow &row_;
        std::size_t chunk_ = 0;
        const std::int16_t *values_ = nullptr;
        const std::int16_t *end_ = nullptr;
    };

    std::vector<std::int16_t> dc;                   // stride * rows
    std::unique_ptr<std::uint64_t[]> acMask;        // widthInBlocks * heightInBlocks, each written once
    std::vector<AcRow> ac;                          // heightInBlocks rows
    std::vector<std::unique_ptr<std::int16_t[]>> slabs; // the arena, left uninitialised
    std::size_t slabChunksLeft = 0;

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

// The progressive file: DC first, then the AC bands and their refinements (see the
// script in jpegscans.cpp), Huffman tables optimised per scan. `threads` <= 1 counts
// and codes on the calling thread. Throws std::range_error for coefficients beyond what
// eight-bit JPEG can hold (libjpeg's encoder refuses them too).
Bytes writeProgressiveJpeg(const CoefficientImage &image, const JpegFileHeader &header, int threads);

// Code lengths (1..16) of an optimal length-limited Huffman code for the 256 symbol
// counts; symbols with count 0 get no code. Exposed for tests.
std::array<std::uint8_t, 256> huffmanCodeLengths(const std::array<std::uint32_t, 256> &counts);

} // namespace dravik
