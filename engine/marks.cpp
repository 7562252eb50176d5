#include "marks.h"

#include <zlib.h>

#include <cstring>
#include <string>

namespace dravik {
namespace {

constexpr char kKeyword[] = "DravikMark"; // sizeof includes the NUL that ends it
const std::string kText = std::string("lightened by dravik.bin ") + DRAVIK_ENGINE_VERSION;

std::uint32_t be32(const unsigned char *p) { return (std::uint32_t(p[0]) << 24) | (p[1] << 16) | (p[2] << 8) | p[3]; }

// Walks the JPEG marker segments before the image data. Calls fn(marker, start, length)
// for each, where start is the index of the 0xFF and length covers the whole segment;
// stops when fn returns false or at SOS/EOI. Returns the index where walking stopped.
template <typename Fn>
std::size_t walkJpeg(const Bytes &b, Fn &&fn)
{
    if (b.size() < 4 || b[0] != 0xFF || b[1] != 0xD8)
        return 0;
    std::size_t at = 2;
    while (at + 4 <= b.size()) {
        if (b[at] != 0xFF)
            return at;
        const unsigned marker = b[at + 1];
        if (marker == 0xFF) { // fill byte
            ++at;
            continue;
        }
        if (marker == 0xDA || marker == 0xD9)
            return at;
        const std::size_t length = 2 + ((std::size_t(b[at + 2]) << 8) | b[at + 3]);
        if (length < 4 || at + length > b.size())
            return at;
        if (!fn(marker, at, length))
            return at;
        at += length;
    }
    return at;
}

bool jpegHasMark(const Bytes &b)
{
    bool found = false;
    walkJpeg(b, [&](unsigned marker, std::size_t at, std::size_t length) {
        if (marker == 0xEF && length >= 4 + sizeof kKeyword && std::memcmp(&b[at + 4], kKeyword, sizeof kKeyword) == 0)
            found = true;
        return !found;
    });
    return found;
}

// Walks PNG chunks; fn(type, start, total length) as for JPEG, stopping at IEND.
template <typename Fn>
void walkPng(const Bytes &b, Fn &&fn)
{
    static const unsigned char signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (b.size() < 8 || std::memcmp(b.data(), signature, 8) != 0)
        return;
    std::size_t at = 8;
    while (at + 12 <= b.size()) {
        const std::size_t total = 12 + std::size_t(be32(&b[at]));
        if (total < 12 || at + total > b.size())
            return;
        const std::string type(reinterpret_cast<const char *>(&b[at + 4]), 4);
        if (!fn(type, at, total) || type == "IEND")
            return;
        at += total;
    }
}

bool pngHasMark(const Bytes &b)
{
    bool found = false;
    walkPng(b, [&](const std::string &type, std::size_t at, std::size_t total) {
        if ((type == "tEXt" || type == "iTXt") && total >= 12 + sizeof kKeyword &&
            std::memcmp(&b[at + 8], kKeyword, sizeof kKeyword) == 0)
            found = true;
        return !found;
    });
    return found;
}

Bytes jpegSegment()
{
    Bytes s;
    s.reserve(4 + sizeof kKeyword + kText.size());
    s.assign({0xFF, 0xEF, 0, 0});
    s.insert(s.end(), kKeyword, kKeyword + sizeof kKeyword);
    s.insert(s.end(), kText.begin(), kText.end());
    const std::size_t length = s.size() - 2;
    s[2] = static_cast<unsigned char>(length >> 8);
    s[3] = static_cast<unsigned char>(length & 0xFF);
    return s;
}

Bytes pngChunk()
{
    Bytes data(kKeyword, kKeyword + sizeof kKeyword);
    data.insert(data.end(), kText.begin(), kText.end());
    Bytes c;
    c.reserve(12 + data.size());
    const auto put32 = [&](std::uint32_t v) {
        for (int shift = 24; shift >= 0; shift -= 8)
            c.push_back(static_cast<unsigned char>(v >> shift));
    };
    put32(std::uint32_t(data.size()));
    const std::size_t typeAt = c.size();
    for (char ch : {'t', 'E', 'X', 't'})
        c.push_back(static_cast<unsigned char>(ch));
    c.insert(c.end(), data.begin(), data.end());
    put32(std::uint32_t(crc32(0, &c[typeAt], uInt(c.size() - typeAt))));
    return c;
}

} // namespace

bool hasMark(const Bytes &file, Format format)
{
    if (format == Format::Jpeg)
        return jpegHasMark(file);
    if (format == Format::Png)
        return pngHasMark(file);
    return false;
}

std::size_t markSize(Format format)
{
    if (format == Format::Jpeg)
        return jpegSegment().size();
    if (format == Format::Png)
        return pngChunk().size();
    return 0;
}

Bytes withMark(const Bytes &file, Format format)
{
    if (hasMark(file, format))
        return file;
    std::size_t insertAt = 0;
    Bytes piece;
    if (format == Format::Jpeg) {
        insertAt = 2;
        walkJpeg(file, [&](unsigned marker, std::size_t at, std::size_t length) {
            if (marker < 0xE0 || marker > 0xEF)
                return false;
            insertAt = at + length;
            return true;
        });
        piece = jpegSegment();
        if (file.size() < 4)
            return file;
    } else if (format == Format::Png) {
        walkPng(file, [&](const std::string &type, std::size_t at, std::size_t) {
            if (type == "IDAT") {
                insertAt = at;
                return false;
            }
            return true;
        });
        if (insertAt == 0)
            return file;
        piece = pngChunk();
    } else {
        return file;
    }
    Bytes out;
    out.reserve(file.size() + piece.size());
    out.insert(out.end(), file.begin(), file.begin() + std::ptrdiff_t(insertAt));
    out.insert(out.end(), piece.begin(), piece.end());
    out.insert(out.end(), file.begin() + std::ptrdiff_t(insertAt), file.end());
    return out;
}

} // namespace dravik
