#include "jpegscans.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace dravik {
namespace {

// Natural (row-major) index of the k-th coefficient in zigzag order.
constexpr int kNatural[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// Bits set, without the popcount instruction the base x86-64 target lacks (the
// library fallback is a call).
inline int popcount(std::uint64_t x)
{
    x = x - ((x >> 1) & 0x5555555555555555ull);
    x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
    x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    return int((x * 0x0101010101010101ull) >> 56);
}

// Restart intervals are counted in 16 bits.
constexpr long kMaxInterval = 65535;
// Below this many blocks a scan is coded in one piece: a restart marker costs bytes and
// a thread costs more than it saves.
constexpr long kBlocksWorthSplitting = 16384;
// The longest run of empty blocks one EOBRUN symbol can carry.
constexpr std::uint32_t kMaxEobRun = 0x7FFF;

using Counts = std::array<std::uint32_t, 256>;

struct HuffmanTable {
    std::array<std::uint8_t, 17> bits {}; // bits[n]: number of codes of length n
    std::vector<std::uint8_t> values;     // symbols in code order
    std::array<std::uint16_t, 256> code {};
    std::array<std::uint8_t, 256> length {};
};

HuffmanTable tableFor(Counts counts)
{
    // A scan always codes at least one symbol; keep the table valid should it not.
    if (std::all_of(counts.begin(), counts.end(), [](std::uint32_t c) { return c == 0; }))
        counts[0] = 1;
    const std::array<std::uint8_t, 256> lengths = huffmanCodeLengths(counts);
    HuffmanTable t;
    for (int n = 1; n <= 16; ++n)
        for (int s = 0; s < 256; ++s)
            if (lengths[s] == n) {
                t.values.push_back(std::uint8_t(s));
                ++t.bits[n];
            }
    // Canonical codes: consecutive within a length, doubled from one length to the next.
    unsigned code = 0;
    std::size_t k = 0;
    for (int n = 1; n <= 16; ++n) {
        for (int i = 0; i < t.bits[n]; ++i) {
            const std::uint8_t s = t.values[k++];
            t.code[s] = std::uint16_t(code++);
            t.length[s] = std::uint8_t(n);
        }
        code <<= 1;
    }
    return t;
}

// Entropy-coded bytes, with a zero stuffed after every 0xFF as the format demands.
// Bits gather in a 64-bit word and leave four bytes at a time.
class BitWriter {
public:
    BitWriter(Bytes &out, std::size_t expected) : out_(out) { out_.resize(expected + 16); }

    void put(std::uint32_t bits, int count) // count <= 32
    {
        buffer_ = (buffer_ << count) | bits;
        filled_ += count;
        if (filled_ >= 32) {
            filled_ -= 32;
            putWord(std::uint32_t(buffer_ >> filled_));
        }
    }

    // Pads the last byte with one bits; the output ends where the bits do.
    void finish()
    {
        if (filled_ % 8)
            put((1u << (8 - filled_ % 8)) - 1, 8 - filled_ % 8);
        while (filled_ >= 8) {
            filled_ -= 8;
            putByte(static_cast<unsigned char>(buffer_ >> filled_));
        }
        out_.resize(end_);
    }

private:
    void room(std::size_t bytes)
    {
        if (end_ + bytes > out_.size())
            out_.resize(out_.size() * 2 + bytes);
    }

    void putByte(unsigned char byte)
    {
        room(2);
        out_[end_++] = byte;
        if (byte == 0xFF)
            out_[end_++] = 0;
    }

    void putWord(std::uint32_t word)
    {
        // A byte of the word is 0xFF exactly when the inverted word has a zero byte.
        const std::uint32_t inverted = ~word;
        if (((inverted - 0x01010101u) & ~inverted & 0x80808080u) == 0) {
            room(4);
            unsigned char *p = out_.data() + end_;
            p[0] = static_cast<unsigned char>(word >> 24);
            p[1] = static_cast<unsigned char>(word >> 16);
            p[2] = static_cast<unsigned char>(word >> 8);
            p[3] = static_cast<unsigned char>(word);
            end_ += 4;
            return;
        }
        for (int shift = 24; shift >= 0; shift -= 8)
            putByte(static_cast<unsigned char>(word >> shift));
    }

    Bytes &out_;
    std::size_t end_ = 0;
    std::uint64_t buffer_ = 0;
    int filled_ = 0;
};

// Correction bits of a refinement scan, waiting for the symbol they follow.
class BitQueue {
public:
    bool empty() const { return size_ == 0; }

    void push(std::uint32_t bits, int count) // count <= 32, bits within count
    {
        if (count == 0)
            return;
        const int used = int(size_ & 63);
        if (used == 0)
            words_.push_back(0);
        const int free = 64 - used;
        if (count <= free) {
            words_.back() |= std::uint64_t(bits) << (free - count);
        } else {
            words_.back() |= std::uint64_t(bits) >> (count - free);
            words_.push_back(std::uint64_t(bits) << (64 - (count - free)));
        }
        size_ += std::size_t(count);
    }

    // Calls out(bits, count) with every bit in order, at most 32 at a time.
    template <class Out>
    void forEach(Out &&out) const
    {
        std::size_t left = size_;
        for (std::uint64_t w : words_) {
            const int n = int(std::min<std::size_t>(64, left));
            left -= std::size_t(n);
            if (n > 32) {
                out(std::uint32_t(w >> 32), 32);
                const std::uint32_t low = std::uint32_t(w >> (64 - n)); // the next n - 32 bits
                out(n == 64 ? low : low & ((1u << (n - 32)) - 1), n - 32);
            } else {
                out(std::uint32_t(w >> (64 - n)), n);
            }
        }
    }

    void append(const BitQueue &other)
    {
        other.forEach([this](std::uint32_t bits, int count) { push(bits, count); });
    }

    void clear()
    {
        words_.clear();
        size_ = 0;
    }

private:
    std::vector<std::uint64_t> words_;
    std::size_t size_ = 0;
};

// While counting only how many correction bits wait matters.
class BitCount {
public:
    bool empty() const { return size_ == 0; }
    void push(std::uint32_t, int count) { size_ += std::size_t(count); }
    void append(const BitCount &other) { size_ += other.size_; }
    void clear() { size_ = 0; }
    std::size_t size() const { return size_; }

private:
    std::size_t size_ = 0;
};

struct CountingSink {
    using Queue = BitCount;
    std::array<Counts, 2> counts {};
    std::uint64_t plainBits = 0; // besides the symbols' codes
    void emit(int table, int symbol, std::uint32_t, int extraBits)
    {
        ++counts[std::size_t(table)][std::size_t(symbol)];
        plainBits += std::uint64_t(extraBits);
    }
    void raw(const BitCount &bits) { plainBits += bits.size(); }
    void raw(std::uint32_t, int count) { plainBits += std::uint64_t(count); }
};

struct CodingSink {
    using Queue = BitQueue;
    CodingSink(Bytes &out, std::size_t expected, const HuffmanTable *a, const HuffmanTable *b)
        : writer(out, expected), tables{a, b}
    {
    }
    BitWriter writer;
    const HuffmanTable *tables[2];
    bool missedSymbol = false; // a symbol without a code: the output is no good
    void emit(int table, int symbol, std::uint32_t extra, int extraBits)
    {
        const HuffmanTable &t = *tables[table];
        if (t.length[symbol] == 0)
            missedSymbol = true;
        writer.put((std::uint32_t(t.code[symbol]) << extraBits) | extra, t.length[symbol] + extraBits);
    }
    void raw(const BitQueue &bits)
    {
        bits.forEach([this](std::uint32_t b, int n) { writer.put(b, n); });
    }
    void raw(std::uint32_t bits, int count) { writer.put(bits, count); }
};

// Magnitude category and the extra bits that give the value within it.
inline int category(int v) { return std::bit_width(unsigned(std::abs(v))); }
inline std::uint32_t extraBits(int v, int n) { return std::uint32_t(v < 0 ? v - 1 : v) & ((1u << n) - 1); }
// An AC coefficient with its low `al` bits of magnitude held back for a later scan.
inline int pointTransformed(int v, int al) { return v < 0 ? -(-v >> al) : v >> al; }

struct Scan {
    std::vector<int> planes; // indices into CoefficientImage::planes
    int ss = 0;              // spectral band, zigzag indices
    int se = 0;
    int ah = 0;              // successive approximation: bit position of the previous scan
    int al = 0;              // and of this one
    long mcus = 0;           // MCUs (blocks, when non-interleaved) in the scan
    long interval = 0;       // restart interval in MCUs; equal to mcus when not split
    long segments() const { return (mcus + interval - 1) / interval; }
    bool isDc() const { return ss == 0; }
    bool isRefinement() const { return ah > 0; }
    bool needsTable() const { return !(isDc() && isRefinement()); }
};

// Codes (or counts, with CountingSink) one scan, a range of MCUs at a time; the state
// between ranges is what runs on within a restart interval: DC predictions, the
// end-of-band run and the correction bits that wait with it.
template <class Sink>
class ScanCoder {
public:
    ScanCoder(const CoefficientImage &image, const Scan &scan, Sink &sink) : image_(image), scan_(scan), sink_(sink) {}

    void code(long first, long last)
    {
        if (scan_.isDc())
            codeDc(first, last);
        else if (scan_.isRefinement())
            codeAcRefinement(first, last);
        else
            codeAcFirst(first, last);
    }

    // At a restart marker, and at the end of the scan.
    void endSegment()
    {
        flushRun();
        std::fill(std::begin(previous_), std::end(previous_), 0);
    }

private:
    // Visits the blocks of the DC scan in MCU order: fn(slot in scan, table, block's DC).
    template <class Fn>
    void forEachDc(long first, long last, Fn &&fn)
    {
        if (scan_.planes.size() == 1) {
            const CoefficientPlane &p = image_.planes[std::size_t(scan_.planes[0])];
            const int table = scan_.planes[0] == 0 ? 0 : 1;
            for (long m = first; m < last; ++m)
                fn(0, table, p.dcAt(int(m % p.widthInBlocks), int(m / p.widthInBlocks)));
            return;
        }
        for (long m = first; m < last; ++m) {
            const int mx = int(m % image_.mcusPerRow);
            const int my = int(m / image_.mcusPerRow);
            for (std::size_t slot = 0; slot < scan_.planes.size(); ++slot) {
                const CoefficientPlane &p = image_.planes[std::size_t(scan_.planes[slot])];
                const int table = scan_.planes[slot] == 0 ? 0 : 1;
                for (int y = 0; y < p.vSampling; ++y)
                    for (int x = 0; x < p.hSampling; ++x)
                        fn(int(slot), table, p.dcAt(mx * p.hSampling + x, my * p.vSampling + y));
            }
        }
    }

    // DC: differences to the previous block of the same component, luma and chroma with
    // tables of their own; a refinement adds one plain bit per block.
    void codeDc(long first, long last)
    {
        if (scan_.isRefinement()) {
            forEachDc(first, last, [&](int, int, int dc) { sink_.raw(std::uint32_t(dc >> scan_.al) & 1, 1); });
            return;
        }
        forEachDc(first, last, [&](int slot, int table, int dc) {
            const int value = dc >> scan_.al; // an arithmetic shift, as the format defines it for DC
            const int diff = value - previous_[slot];
            previous_[slot] = value;
            const int n = category(diff);
            sink_.emit(table, n, extraBits(diff, n), n);
        });
    }

    // Visits the blocks of one component's band in raster order, whole block rows:
    // fn(mask of the block's non-zero coefficients in the band, the values of those).
    template <class Fn>
    void forEachAcBlock(long first, long last, Fn &&fn)
    {
        const CoefficientPlane &p = image_.planes[std::size_t(scan_.planes[0])];
        const std::uint64_t below = (1ull << scan_.ss) - 1;
        const std::uint64_t band = (scan_.se == 63 ? ~0ull : (1ull << (scan_.se + 1)) - 1) & ~below;
        const int width = p.widthInBlocks;
        for (long row = first / width; row < (last + width - 1) / width; ++row) {
            const std::uint64_t *masks = &p.acMask[std::size_t(row) * std::size_t(width)];
            CoefficientPlane::AcReader reader(p.ac[std::size_t(row)]);
            for (int bx = 0; bx < width; ++bx) {
                const std::uint64_t mask = masks[bx];
                // Values are packed: the band's start after those below it.
                const std::int16_t *values = reader.next(popcount(mask));
                fn(mask & band, values + popcount(mask & below));
            }
        }
    }

    void flushRun()
    {
        if (!eobRun_)
            return;
        const int n = std::bit_width(eobRun_) - 1;
        sink_.emit(0, n << 4, eobRun_ & ((1u << n) - 1), n);
        eobRun_ = 0;
        sink_.raw(runBits_);
        runBits_.clear();
    }

    // A first AC scan over the band ss..se: each non-zero coefficient as (zero run,
    // category) plus its bits; blocks whose band is empty to its end are gathered into
    // one end-of-band run across blocks.
    void codeAcFirst(long first, long last)
    {
        forEachAcBlock(first, last, [&](std::uint64_t bits, const std::int16_t *v) {
            int previous = scan_.ss - 1; // last coefficient coded
            for (; bits; bits &= bits - 1, ++v) {
                const int value = pointTransformed(*v, scan_.al);
                if (value == 0)
                    continue;
                const int k = std::countr_zero(bits);
                flushRun();
                int run = k - previous - 1;
                for (; run > 15; run -= 16)
                    sink_.emit(0, 0xF0, 0, 0);
                const int n = category(value);
                sink_.emit(0, (run << 4) | n, extraBits(value, n), n);
                previous = k;
            }
            if (previous < scan_.se && ++eobRun_ == kMaxEobRun)
                flushRun();
        });
    }

    // An AC refinement: coefficients that become non-zero at this bit are coded like a
    // first scan (always of magnitude one, so with a sign bit only); those already
    // non-zero get their next bit as a plain correction bit, which waits for the next
    // symbol, or travels with the end-of-band run its block joins.
    void codeAcRefinement(long first, long last)
    {
        forEachAcBlock(first, last, [&](std::uint64_t bits, const std::int16_t *values) {
            // The last coefficient that becomes non-zero here: zero runs past it need no
            // ZRL, the end-of-band covers them.
            int eob = -1;
            {
                const std::int16_t *v = values;
                for (std::uint64_t b = bits; b; b &= b - 1, ++v)
                    if ((std::abs(*v) >> scan_.al) == 1)
                        eob = std::countr_zero(b);
            }
            int run = 0; // coefficients still zero at this bit
            int previous = scan_.ss - 1;
            const std::int16_t *v = values;
            for (; bits; bits &= bits - 1, ++v) {
                const int k = std::countr_zero(bits);
                run += k - previous - 1;
                previous = k;
                const int magnitude = std::abs(*v) >> scan_.al;
                if (magnitude == 0) {
                    ++run;
                    continue;
                }
                for (; run > 15 && k <= eob; run -= 16) {
                    flushRun();
                    sink_.emit(0, 0xF0, 0, 0);
                    sink_.raw(blockBits_);
                    blockBits_.clear();
                }
                if (magnitude > 1) {
                    blockBits_.push(std::uint32_t(magnitude & 1), 1);
                    continue;
                }
                flushRun();
                sink_.emit(0, (run << 4) | 1, *v < 0 ? 0 : 1, 1);
                sink_.raw(blockBits_);
                blockBits_.clear();
                run = 0;
            }
            run += scan_.se - previous;
            if (run > 0 || !blockBits_.empty()) {
                runBits_.append(blockBits_);
                blockBits_.clear();
                if (++eobRun_ == kMaxEobRun)
                    flushRun();
            }
        });
    }

    const CoefficientImage &image_;
    const Scan &scan_;
    Sink &sink_;
    int previous_[4] = {0, 0, 0, 0};
    std::uint32_t eobRun_ = 0;
    typename Sink::Queue runBits_;   // correction bits of the blocks in the run
    typename Sink::Queue blockBits_; // correction bits of this block, not yet sent
};

template <class Sink>
void codeSegment(const CoefficientImage &image, const Scan &scan, long segment, Sink &sink)
{
    const long first = segment * scan.interval;
    ScanCoder<Sink> coder(image, scan, sink);
    coder.code(first, std::min(scan.mcus, first + scan.interval));
    coder.endSegment();
}

// Runs task(0..count-1) on up to `threads` threads, largest-first order left to the
// caller. The first exception thrown by any task is rethrown here.
void runTasks(std::size_t count, int threads, const std::function<void(std::size_t)> &task)
{
    std::atomic<std::size_t> next {0};
    std::exception_ptr failure;
    std::mutex failureLock;
    const auto worker = [&] {
        for (std::size_t i; (i = next++) < count;) {
            try {
                task(i);
            } catch (...) {
                const std::lock_guard<std::mutex> lock(failureLock);
                if (!failure)
                    failure = std::current_exception();
                next = count;
            }
        }
    };
    std::vector<std::thread> pool;
    try {
        for (int t = 1; t < threads && std::size_t(t) < count; ++t)
            pool.emplace_back(worker);
    } catch (const std::system_error &) {
        // no more threads to be had: the ones running share the work
    }
    worker();
    for (std::thread &t : pool)
        t.join();
    if (failure)
        std::rethrow_exception(failure);
}

void put16(Bytes &out, unsigned v)
{
    out.push_back(static_cast<unsigned char>(v >> 8));
    out.push_back(static_cast<unsigned char>(v));
}

void putMarker(Bytes &out, unsigned char marker)
{
    out.push_back(0xFF);
    out.push_back(marker);
}

void putSegment(Bytes &out, unsigned char marker, const Bytes &payload)
{
    putMarker(out, marker);
    put16(out, unsigned(payload.size() + 2));
    out.insert(out.end(), payload.begin(), payload.end());
}

Bytes jfif(const JpegFileHeader &h)
{
    const bool valid = h.densityUnit >= 0 && h.densityUnit <= 2 && h.xDensity >= 1 && h.xDensity <= 65535 &&
                       h.yDensity >= 1 && h.yDensity <= 65535;
    Bytes p = {'J', 'F', 'I', 'F', 0, 1, 1, static_cast<unsigned char>(valid ? h.densityUnit : 0)};
    put16(p, valid ? unsigned(h.xDensity) : 1);
    put16(p, valid ? unsigned(h.yDensity) : 1);
    p.push_back(0); // no thumbnail
    p.push_back(0);
    return p;
}

Bytes quantisationTables(const CoefficientImage &image)
{
    Bytes p;
    for (std::size_t t = 0; t < image.quantTables.size(); ++t) {
        const auto &q = image.quantTables[t];
        const bool wide = std::any_of(q.begin(), q.end(), [](std::uint16_t v) { return v > 255; });
        p.push_back(static_cast<unsigned char>((wide ? 0x10 : 0x00) | t));
        for (int k = 0; k < 64; ++k) {
            if (wide)
                put16(p, q[std::size_t(kNatural[k])]);
            else
                p.push_back(static_cast<unsigned char>(q[std::size_t(kNatural[k])]));
        }
    }
    return p;
}

Bytes frameHeader(const CoefficientImage &image)
{
    Bytes p = {8};
    put16(p, unsigned(image.height));
    put16(p, unsigned(image.width));
    p.push_back(static_cast<unsigned char>(image.planes.size()));
    for (const CoefficientPlane &c : image.planes) {
        p.push_back(static_cast<unsigned char>(c.id));
        p.push_back(static_cast<unsigned char>(c.hSampling << 4 | c.vSampling));
        p.push_back(static_cast<unsigned char>(c.quantTable));
    }
    return p;
}

void appendTable(Bytes &p, int tableClass, int id, const HuffmanTable &t)
{
    p.push_back(static_cast<unsigned char>(tableClass << 4 | id));
    p.insert(p.end(), t.bits.begin() + 1, t.bits.end());
    p.insert(p.end(), t.values.begin(), t.values.end());
}

Bytes scanHeader(const CoefficientImage &image, const Scan &scan)
{
    Bytes p = {static_cast<unsigned char>(scan.planes.size())};
    for (int index : scan.planes) {
        const int table = index == 0 ? 0 : 1;
        p.push_back(static_cast<unsigned char>(image.planes[std::size_t(index)].id));
        // DC scans name the DC table, AC scans the AC table; the other half is unused.
        p.push_back(static_cast<unsigned char>(scan.isDc() ? table << 4 : table));
    }
    p.push_back(static_cast<unsigned char>(scan.ss));
    p.push_back(static_cast<unsigned char>(scan.se));
    p.push_back(static_cast<unsigned char>(scan.ah << 4 | scan.al));
    return p;
}

// One step of a scan script: a component (or all, for DC), a band, and the bit positions.
struct Step {
    int component; // -1: all components, in one interleaved DC scan
    int ss, se, ah, al;
};

// DC first, whole; luma's AC in two bands without their two lowest bits, then chroma
// whole; then luma's two lower bits, one refinement each. Measured on photographs at
// quality 80 and 92: 3.6 % smaller than one whole scan per component, and as small as
// splitting DC or chroma by bits too, which only add scans.
constexpr Step kScript[] = {
    {-1, 0, 0, 0, 0},  {0, 1, 2, 0, 2},  {0, 3, 63, 0, 2}, {2, 1, 63, 0, 0},
    {1, 1, 63, 0, 0},  {0, 1, 63, 2, 1}, {0, 1, 63, 1, 0},
};

std::vector<Scan> scanScript(const CoefficientImage &image, int threads)
{
    std::vector<Scan> scans;
    const bool grey = image.planes.size() == 1;
    for (const Step &step : kScript) {
        if (grey && step.component > 0)
            continue;
        Scan scan;
        scan.ss = step.ss;
        scan.se = step.se;
        scan.ah = step.ah;
        scan.al = step.al;
        if (step.component < 0) {
            for (std::size_t i = 0; i < image.planes.size(); ++i)
                scan.planes.push_back(int(i));
        } else {
            scan.planes = {step.component};
        }
        const CoefficientPlane &p = image.planes[std::size_t(scan.planes[0])];
        scan.mcus = scan.planes.size() == 1 ? long(p.widthInBlocks) * p.heightInBlocks
                                            : long(image.mcusPerRow) * image.mcuRows;
        scans.push_back(scan);
    }
    // Restart intervals are whole rows of MCUs, so every piece starts at a row of its own.
    for (Scan &s : scans) {
        const bool interleaved = s.planes.size() > 1;
        const CoefficientPlane &p = image.planes[std::size_t(s.planes[0])];
        const long perRow = interleaved ? image.mcusPerRow : p.widthInBlocks;
        const long rows = interleaved ? image.mcuRows : p.heightInBlocks;
        const long maxRows = std::max<long>(1, kMaxInterval / perRow);
        long pieces = (rows + maxRows - 1) / maxRows;
        if (threads > 1 && s.mcus >= kBlocksWorthSplitting)
            pieces = std::max<long>(pieces, std::min<long>(rows, threads));
        s.interval = perRow * ((rows + pieces - 1) / pieces);
    }
    return scans;
}

} // namespace

void CoefficientPlane::allocate(int strideBlocks, int rowBlocks)
{
    stride = strideBlocks;
    rows = rowBlocks;
    dc.assign(std::size_t(stride) * std::size_t(rows), 0);
    // Not zeroed: every block of the image is stored before anything reads it.
    acMask.reset(new std::uint64_t[std::size_t(widthInBlocks) * std::size_t(heightInBlocks)]);
    ac.assign(std::size_t(heightInBlocks), AcRow{});
    slabs.clear();
    slabChunksLeft = 0;
}

void CoefficientPlane::store(int bx, int by, const short *natural)
{
    dc[std::size_t(by) * std::size_t(stride) + std::size_t(bx)] = natural[0];
    // Padding blocks of the MCU grid only ever show their DC.
    if (bx >= widthInBlocks || by >= heightInBlocks)
        return;
    AcRow &row = ac[std::size_t(by)];
    if (row.end - row.cursor < 63) {
        if (slabChunksLeft == 0) {
            constexpr std::size_t kSlabChunks = 64; // 256 KiB
            slabs.emplace_back(new std::int16_t[kSlabChunks * kChunkValues]);
            slabChunksLeft = kSlabChunks;
        }
        row.cursor = slabs.back().get() + (64 - slabChunksLeft) * kChunkValues;
        --slabChunksLeft;
        row.end = row.cursor + kChunkValues;
        row.chunks.push_back(row.cursor);
    }
    // Written unconditionally, kept only when non-zero: no branch to mispredict.
    std::int16_t *out = row.cursor;
    std::size_t kept = 0;
    std::uint64_t mask = 0;
    for (int k = 1; k < 64; ++k) {
        const std::int16_t v = natural[kNatural[k]];
        out[kept] = v;
        kept += v != 0;
        mask |= std::uint64_t(v != 0) << k;
    }
    row.cursor += kept;
    acMask[std::size_t(by) * std::size_t(widthInBlocks) + std::size_t(bx)] = mask;
}

int CoefficientPlane::at(int bx, int by, int k) const
{
    if (k == 0)
        return dcAt(bx, by);
    const std::uint64_t *masks = &acMask[std::size_t(by) * std::size_t(widthInBlocks)];
    AcReader reader(ac[std::size_t(by)]);
    const std::int16_t *values = nullptr;
    for (int x = 0; x <= bx; ++x)
        values = reader.next(popcount(masks[x]));
    const std::uint64_t mask = masks[bx];
    if (!(mask >> k & 1))
        return 0;
    return values[popcount(mask & ((1ull << k) - 1))];
}

std::vector<JpegSegment> iccSegmentsFor(const unsigned char *profile, std::size_t length)
{
    static const char tag[] = "ICC_PROFILE"; // with its NUL: 12 bytes
    constexpr std::size_t kChunk = 65533 - 14;
    const std::size_t count = (length + kChunk - 1) / kChunk;
    std::vector<JpegSegment> segments;
    if (length == 0 || count > 255)
        return segments;
    for (std::size_t i = 0; i < count; ++i) {
        JpegSegment s;
        s.marker = 0xE2;
        s.payload.assign(tag, tag + sizeof tag);
        s.payload.push_back(static_cast<unsigned char>(i + 1));
        s.payload.push_back(static_cast<unsigned char>(count));
        const std::size_t from = i * kChunk;
        s.payload.insert(s.payload.end(), profile + from, profile + std::min(length, from + kChunk));
        segments.push_back(std::move(s));
    }
    return segments;
}

std::array<std::uint8_t, 256> huffmanCodeLengths(const std::array<std::uint32_t, 256> &counts)
{
    // Symbol 256 is a placeholder with the smallest count: it takes the one code of all
    // one bits, which the format reserves, and is dropped at the end.
    std::array<std::uint64_t, 257> freq {};
    std::copy(counts.begin(), counts.end(), freq.begin());
    freq[256] = 1;
    std::array<int, 257> size {};
    std::array<int, 257> others;
    others.fill(-1);
    for (;;) {
        // The two smallest counts; among equals the higher symbol, so the placeholder
        // ends deepest.
        int v1 = -1, v2 = -1;
        for (int i = 0; i < 257; ++i)
            if (freq[i] && (v1 < 0 || freq[i] <= freq[v1]))
                v1 = i;
        for (int i = 0; i < 257; ++i)
            if (freq[i] && i != v1 && (v2 < 0 || freq[i] <= freq[v2]))
                v2 = i;
        if (v2 < 0)
            break;
        freq[v1] += freq[v2];
        freq[v2] = 0;
        for (++size[v1]; others[v1] >= 0; ++size[v1])
            v1 = others[v1];
        others[v1] = v2;
        for (++size[v2]; others[v2] >= 0; ++size[v2])
            v2 = others[v2];
    }
    // Codes longer than 16 bits are shortened by moving pairs up the tree.
    std::array<int, 258> bits {};
    for (int s : size)
        if (s)
            ++bits[std::size_t(s)];
    for (int i = 257; i > 16; --i) {
        while (bits[std::size_t(i)] > 0) {
            int j = i - 2;
            while (bits[std::size_t(j)] == 0)
                --j;
            bits[std::size_t(i)] -= 2;
            ++bits[std::size_t(i - 1)];
            bits[std::size_t(j + 1)] += 2;
            --bits[std::size_t(j)];
        }
    }
    int longest = 16;
    while (longest > 0 && bits[std::size_t(longest)] == 0)
        --longest;
    --bits[std::size_t(longest)]; // the placeholder's code
    // Hand the lengths out in the order of the unlimited code, shortest first; among
    // equal lengths the more frequent symbol first, so shortening never favours a
    // rarer one.
    std::vector<int> order;
    for (int s = 0; s < 256; ++s)
        if (size[s])
            order.push_back(s);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        return size[a] != size[b] ? size[a] < size[b] : counts[std::size_t(a)] > counts[std::size_t(b)];
    });
    std::array<std::uint8_t, 256> lengths {};
    std::size_t next = 0;
    for (int n = 1; n <= 16; ++n)
        for (int i = 0; i < bits[std::size_t(n)] && next < order.size(); ++i)
            lengths[std::size_t(order[next++])] = std::uint8_t(n);
    return lengths;
}

int codingThreads()
{
    const unsigned cores = std::thread::hardware_concurrency();
    return int(std::clamp(cores, 1u, 4u));
}

namespace {

// Scans of more blocks than this are counted on every fourth row of blocks only: the
// symbol statistics of a large image hardly change, and the count costs as much as
// the coding itself.
constexpr long kSampleAbove = 32768;
constexpr long kSampleEvery = 4;

// Every symbol a scan of this kind can use (eight-bit samples: DC differences up to
// 11 bits, AC magnitudes up to 10), so that a table built from sampled counts still
// has a code for whatever the rows left out hold.
void addPossibleSymbols(const Scan &scan, std::array<Counts, 2> &counts)
{
    for (Counts &c : counts) {
        if (scan.isDc()) {
            for (int n = 0; n <= 11; ++n)
                ++c[std::size_t(n)];
            continue;
        }
        for (int e = 0; e < 15; ++e)
            ++c[std::size_t(e << 4)]; // end-of-band runs
        ++c[0xF0];
        const int largest = scan.isRefinement() ? 1 : 10;
        for (int run = 0; run < 16; ++run)
            for (int n = 1; n <= largest; ++n)
                ++c[std::size_t(run << 4 | n)];
    }
}

// What libjpeg's own encoder refuses too: DC differences past 11 bits, AC values past
// 10. Such coefficients only come from a damaged or forged file read for a rewrite.
bool withinEightBitRange(const Scan &scan, const std::array<Counts, 2> &counts)
{
    for (const Counts &c : counts)
        for (std::size_t sym = 0; sym < 256; ++sym)
            if (c[sym] && (scan.isDc() ? sym > 11 : (sym & 15) > 10))
                return false;
    return true;
}

const char *const kOutOfRange = "coefficients beyond the range of eight-bit JPEG";

// The symbol counts of one piece of a scan, all of it or every few rows.
CountingSink countPiece(const CoefficientImage &image, const Scan &scan, long segment, bool sampled)
{
    CountingSink sink;
    ScanCoder<CountingSink> coder(image, scan, sink);
    const long first = segment * scan.interval;
    const long last = std::min(scan.mcus, first + scan.interval);
    if (!sampled) {
        coder.code(first, last);
    } else {
        const long perRow = scan.planes.size() > 1 ? image.mcusPerRow
                                                   : image.planes[std::size_t(scan.planes[0])].widthInBlocks;
        for (long row = first; row < last; row += perRow * kSampleEvery)
            coder.code(row, std::min(last, row + perRow));
    }
    coder.endSegment();
    return sink;
}

} // namespace

Bytes writeProgressiveJpeg(const CoefficientImage &image, const JpegFileHeader &header, int threads)
{
    const std::vector<Scan> scans = scanScript(image, threads);

    struct Task {
        std::size_t scan;
        long segment;
        long mcus;
    };
    std::vector<Task> tasks;
    for (std::size_t s = 0; s < scans.size(); ++s)
        for (long g = 0; g < scans[s].segments(); ++g)
            tasks.push_back({s, g, std::min(scans[s].interval, scans[s].mcus - g * scans[s].interval)});
    // Big pieces first, so the last ones to finish are small. AC work follows the
    // block count; a DC block costs a fraction of an AC block.
    std::stable_sort(tasks.begin(), tasks.end(), [&](const Task &a, const Task &b) {
        const auto weight = [&](const Task &t) { return scans[t.scan].isDc() ? t.mcus / 4 : t.mcus; };
        return weight(a) > weight(b);
    });

    std::vector<std::array<HuffmanTable, 2>> tables(scans.size());
    std::vector<std::uint64_t> scanBits(scans.size(), 0);
    // Pass one counts the symbols of every piece and builds each scan's tables.
    const auto count = [&] {
        std::vector<CountingSink> counted(tasks.size());
        runTasks(tasks.size(), threads, [&](std::size_t i) {
            const Scan &scan = scans[tasks[i].scan];
            if (scan.needsTable())
                counted[i] = countPiece(image, scan, tasks[i].segment, scan.mcus > kSampleAbove);
        });
        std::vector<CountingSink> totals(scans.size());
        for (std::size_t i = 0; i < tasks.size(); ++i) {
            CountingSink &total = totals[tasks[i].scan];
            for (std::size_t t = 0; t < 2; ++t)
                for (std::size_t sym = 0; sym < 256; ++sym)
                    total.counts[t][sym] += counted[i].counts[t][sym];
            total.plainBits += counted[i].plainBits;
        }
        for (std::size_t s = 0; s < scans.size(); ++s) {
            if (!scans[s].needsTable())
                continue;
            const bool sampled = scans[s].mcus > kSampleAbove;
            if (!withinEightBitRange(scans[s], totals[s].counts))
                throw std::range_error(kOutOfRange);
            if (sampled)
                addPossibleSymbols(scans[s], totals[s].counts);
            tables[s][0] = tableFor(totals[s].counts[0]);
            if (scans[s].isDc() && scans[s].planes.size() > 1)
                tables[s][1] = tableFor(totals[s].counts[1]);
            std::uint64_t bits = totals[s].plainBits;
            for (std::size_t t = 0; t < 2; ++t)
                for (std::size_t sym = 0; sym < 256; ++sym)
                    bits += std::uint64_t(totals[s].counts[t][sym]) * tables[s][t].length[sym];
            scanBits[s] = sampled ? bits * kSampleEvery : bits;
        }
        for (std::size_t s = 0; s < scans.size(); ++s)
            if (!scans[s].needsTable()) // one bit a block
                scanBits[s] = std::uint64_t(scans[s].mcus) * 6;
    };

    // Pass two codes every piece with its scan's tables.
    std::vector<Bytes> coded(tasks.size());
    const auto code = [&] {
        std::atomic<bool> complete {true};
        runTasks(tasks.size(), threads, [&](std::size_t i) {
            const Task &t = tasks[i];
            const Scan &scan = scans[t.scan];
            // The piece's share of its scan, with room for stuffed bytes (about one in 256).
            const std::uint64_t bits = scanBits[t.scan] * std::uint64_t(t.mcus) / std::uint64_t(scan.mcus);
            CodingSink sink(coded[i], std::size_t(bits / 8 + bits / 1024 + 64), &tables[t.scan][0], &tables[t.scan][1]);
            codeSegment(image, scan, t.segment, sink);
            sink.writer.finish();
            if (sink.missedSymbol)
                complete = false;
        });
        return complete.load();
    };

    // Sampled tables hold every symbol eight-bit coefficients can produce; a symbol
    // found missing while coding therefore comes from coefficients beyond that range.
    count();
    if (!code())
        throw std::range_error(kOutOfRange);
    // Pieces back in file order.
    std::vector<std::vector<const Bytes *>> pieces(scans.size());
    for (std::size_t s = 0; s < scans.size(); ++s)
        pieces[s].resize(std::size_t(scans[s].segments()));
    std::size_t total = 0;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        pieces[tasks[i].scan][std::size_t(tasks[i].segment)] = &coded[i];
        total += coded[i].size() + 2;
    }

    Bytes out;
    out.reserve(total + 4096);
    putMarker(out, 0xD8);
    putSegment(out, 0xE0, jfif(header));
    for (const JpegSegment &s : header.segments)
        if (s.payload.size() + 2 <= 65535)
            putSegment(out, s.marker, s.payload);
    putSegment(out, 0xDB, quantisationTables(image));
    putSegment(out, 0xC2, frameHeader(image));
    long interval = 0; // as last declared
    for (std::size_t s = 0; s < scans.size(); ++s) {
        const Scan &scan = scans[s];
        if (scan.needsTable()) {
            Bytes huffman;
            if (scan.isDc()) {
                appendTable(huffman, 0, 0, tables[s][0]);
                if (scan.planes.size() > 1)
                    appendTable(huffman, 0, 1, tables[s][1]);
            } else {
                appendTable(huffman, 1, scan.planes[0] == 0 ? 0 : 1, tables[s][0]);
            }
            putSegment(out, 0xC4, huffman);
        }
        const long wanted = scan.segments() > 1 ? scan.interval : 0;
        if (wanted != interval) {
            Bytes dri;
            put16(dri, unsigned(wanted));
            putSegment(out, 0xDD, dri);
            interval = wanted;
        }
        putSegment(out, 0xDA, scanHeader(image, scan));
        for (std::size_t g = 0; g < pieces[s].size(); ++g) {
            if (g > 0)
                putMarker(out, static_cast<unsigned char>(0xD0 + (g - 1) % 8));
            out.insert(out.end(), pieces[s][g]->begin(), pieces[s][g]->end());
        }
    }
    putMarker(out, 0xD9);
    return out;
}



} // namespace dravik
