// Damaged and hostile files: headers that declare enormous pictures, truncations, bit flips.
// Built byte by byte so the declared sizes can be anything a file can claim.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace dk {

std::uint32_t crc32(const std::string &bytes);

// A PNG whose IHDR (with a correct CRC) declares width x height; the data is a token.
std::string pngDeclaring(std::uint32_t width, std::uint32_t height);
// A real small baseline JPEG with its frame header patched to width x height.
std::string jpegDeclaring(std::uint16_t width, std::uint16_t height);
// A GIF whose screen and single frame declare width x height.
std::string gifDeclaring(std::uint16_t width, std::uint16_t height);
// An extended WebP whose canvas declares width x height (1..16384) over a tiny picture.
std::string webpDeclaring(std::uint32_t width, std::uint32_t height);

// Deterministic damage.
std::string truncated(const std::string &bytes, double keepFraction);
std::string bitFlipped(const std::string &bytes, int flips, unsigned seed, std::size_t skipHead = 0);

struct HostileFile {
    std::string name;  // file name to write, with a misleading extension at times
    std::string bytes;
};
// The standard set of hostile headers, named after what they claim.
std::vector<HostileFile> hostileHeaders();

} // namespace dk
