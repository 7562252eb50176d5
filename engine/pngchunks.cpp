#include "pngchunks.h"

#include <cstring>
#include <string>

namespace dravik {
namespace {

constexpr unsigned char kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

struct Chunk {
    std::string type;
    std::size_t at;    // offset of the length field
    std::size_t total; // length + type + data + CRC
};

// The chunks of a PNG up to IEND; empty when it is not a well-formed PNG.
std::vector<Chunk> chunksOf(const Bytes &b)
{
    std::vector<Chunk> chunks;
    if (b.size() < 8 || std::memcmp(b.data(), kSignature, 8) != 0)
        return chunks;
    std::size_t at = 8;
    while (at + 12 <= b.size()) {
        const std::size_t length = (std::size_t(b[at]) << 24) | (std::size_t(b[at + 1]) << 16) |
                                   (std::size_t(b[at + 2]) << 8) | b[at + 3];
        if (at + 12 + length > b.size())
            return {};
        chunks.push_back({std::string(reinterpret_cast<const char *>(&b[at + 4]), 4), at, 12 + length});
        if (chunks.back().type == "IEND")
            break;
        at += 12 + length;
    }
    return chunks;
}

bool isColourChunk(const std::string &type) { return type == "gAMA" || type == "cHRM" || type == "sRGB"; }

} // namespace

std::optional<std::uint32_t> governingPngGamma(const Bytes &png)
{
    std::optional<std::uint32_t> gamma;
    for (const Chunk &c : chunksOf(png)) {
        if (c.type == "IDAT")
            break;
        if (c.type == "sRGB" || c.type == "iCCP")
            return std::nullopt;
        if (c.type == "gAMA" && c.total == 16 && !gamma) {
            const std::size_t at = c.at + 8;
            gamma = (std::uint32_t(png[at]) << 24) | (std::uint32_t(png[at + 1]) << 16) |
                    (std::uint32_t(png[at + 2]) << 8) | png[at + 3];
        }
    }
    // libpng's own bounds: anything outside is a broken chunk, not a colour statement.
    if (gamma && (*gamma < 16 || *gamma > 625'000'000))
        return std::nullopt;
    return gamma;
}

Bytes withColourChunksOf(const Bytes &from, Bytes to)
{
    const std::vector<Chunk> target = chunksOf(to);
    if (target.empty() || target.front().type != "IHDR")
        return to;
    for (const Chunk &c : target)
        if (c.type == "iCCP" || isColourChunk(c.type))
            return to;
    Bytes copied;
    for (const Chunk &c : chunksOf(from)) {
        if (c.type == "IDAT")
            break;
        if (isColourChunk(c.type))
            copied.insert(copied.end(), from.begin() + std::ptrdiff_t(c.at), from.begin() + std::ptrdiff_t(c.at + c.total));
    }
    const std::size_t afterHeader = target.front().at + target.front().total;
    to.insert(to.begin() + std::ptrdiff_t(afterHeader), copied.begin(), copied.end());
    return to;
}

} // namespace dravik
