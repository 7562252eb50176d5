#include "hostile.h"

#include "image_tools.h"
#include "engine_process.h"

#include <random>
#include <stdexcept>

namespace dk {

std::uint32_t crc32(const std::string &bytes) {
    static std::uint32_t table[256];
    static bool ready = false;
    if (!ready) {
        for (std::uint32_t n = 0; n < 256; ++n) {
            std::uint32_t c = n;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            table[n] = c;
        }
        ready = true;
    }
    std::uint32_t c = 0xFFFFFFFFu;
    for (unsigned char b : bytes)
        c = table[(c ^ b) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

static void be32(std::string &s, std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8)
        s += char((v >> shift) & 0xFF);
}
static void le16(std::string &s, std::uint32_t v) {
    s += char(v & 0xFF);
    s += char((v >> 8) & 0xFF);
}
static void le24(std::string &s, std::uint32_t v) {
    le16(s, v);
    s += char((v >> 16) & 0xFF);
}
static void le32(std::string &s, std::uint32_t v) {
    le16(s, v);
    le16(s, v >> 16);
}

static std::string pngChunk(const std::string &type, const std::string &data) {
    std::string c;
    be32(c, std::uint32_t(data.size()));
    c += type + data;
    be32(c, crc32(type + data));
    return c;
}

std::string pngDeclaring(std::uint32_t width, std::uint32_t height) {
    std::string ihdr;
    be32(ihdr, width);
    be32(ihdr, height);
    ihdr += std::string("\x08\x02\x00\x00\x00", 5); // 8-bit RGB, no interlace
    // A zlib stream of one stored block of a few zero bytes: valid, far too short.
    const std::string idat("\x78\x01\x01\x04\x00\xFB\xFF\x00\x00\x00\x00\x00\x04\x00\x01", 15);
    return std::string("\x89PNG\r\n\x1A\n", 8) + pngChunk("IHDR", ihdr) + pngChunk("IDAT", idat) +
           pngChunk("IEND", "");
}

std::string jpegDeclaring(std::uint16_t width, std::uint16_t height) {
    const std::string tmp = makeTempDir("dravik-hostile") + "/small.jpg";
    save(solid(16, 16, {90, 140, 200}), tmp, "[Q=80,strip=true]");
    std::string b = readBytes(tmp);
    removeTree(tmp.substr(0, tmp.rfind('/')));
    for (size_t i = 2; i + 9 < b.size(); ++i) {
        if (static_cast<unsigned char>(b[i]) == 0xFF && static_cast<unsigned char>(b[i + 1]) == 0xC0) {
            b[i + 5] = char(height >> 8);
            b[i + 6] = char(height & 0xFF);
            b[i + 7] = char(width >> 8);
            b[i + 8] = char(width & 0xFF);
            return b;
        }
    }
    throw std::runtime_error("no baseline frame header in the generated JPEG");
}

std::string gifDeclaring(std::uint16_t width, std::uint16_t height) {
    std::string g = "GIF89a";
    le16(g, width);
    le16(g, height);
    g += std::string("\x80\x00\x00", 3);                 // two-colour global table
    g += std::string("\x00\x00\x00\xFF\xFF\xFF", 6);
    g += '\x2C';
    le16(g, 0);
    le16(g, 0);
    le16(g, width);
    le16(g, height);
    g += '\x00';
    g += std::string("\x02\x02\x44\x01\x00", 5); // one pixel of LZW data
    g += '\x3B';
    return g;
}

std::string webpDeclaring(std::uint32_t width, std::uint32_t height) {
    const std::string dir = makeTempDir("dravik-hostile");
    save(solid(4, 4, {10, 200, 30}), dir + "/small.webp", "[lossless=true,strip=true]");
    const std::string small = readBytes(dir + "/small.webp");
    removeTree(dir);
    std::string vp8x = "VP8X";
    le32(vp8x, 10);
    vp8x += std::string(4, '\0');
    le24(vp8x, width - 1);
    le24(vp8x, height - 1);
    const std::string body = "WEBP" + vp8x + small.substr(12);
    std::string w = "RIFF";
    le32(w, std::uint32_t(body.size()));
    return w + body;
}

std::string truncated(const std::string &bytes, double keepFraction) {
    return bytes.substr(0, size_t(double(bytes.size()) * keepFraction));
}

std::string bitFlipped(const std::string &bytes, int flips, unsigned seed, std::size_t skipHead) {
    std::string b = bytes;
    if (b.size() <= skipHead)
        return b;
    std::mt19937 rng(seed);
    std::uniform_int_distribution<size_t> pos(skipHead, b.size() - 1);
    std::uniform_int_distribution<int> bit(0, 7);
    for (int i = 0; i < flips; ++i)
        b[pos(rng)] ^= char(1 << bit(rng));
    return b;
}

std::vector<HostileFile> hostileHeaders() {
    return {
        {"png-20000x20000.png", pngDeclaring(20000, 20000)},
        {"png-2pow31-wide.png", pngDeclaring(0x7FFFFFFF, 1)},
        {"png-zero-width.png", pngDeclaring(0, 100)},
        {"png-4294967295.png", pngDeclaring(0xFFFFFFFF, 0xFFFFFFFF)},
        {"jpeg-65000x65000.jpg", jpegDeclaring(65000, 65000)},
        {"jpeg-zero-height.jpg", jpegDeclaring(100, 0)},
        {"gif-30000x30000.gif", gifDeclaring(30000, 30000)},
        {"gif-65535x1.gif", gifDeclaring(65535, 1)},
        {"gif-zero.gif", gifDeclaring(0, 0)},
        {"webp-16384x16384.webp", webpDeclaring(16384, 16384)},
        {"webp-16384x1.webp", webpDeclaring(16384, 1)},
        {"png-named.jpg", pngDeclaring(20000, 20000)},
    };
}

} // namespace dk
