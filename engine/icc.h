// Colour profiles: what happens to an embedded ICC profile, and converting to sRGB.
#pragma once

#include "options.h"

#include <vips/vips8>

#include <string>

namespace dravik {

enum class IccAction {
    None,     // no profile
    Keep,     // profile travels with the unchanged pixels
    Drop,     // profile removed, pixels unchanged (sRGB, or the user said so)
    Convert,  // pixels converted to sRGB, profile removed
};

// True for profiles that describe sRGB, which is what a file without a profile means.
bool isSrgbProfile(const std::string &profile);

// `imageDataBytes` estimates the compressed pixel data of the output, against which
// `auto` judges whether a profile is worth its bytes.
IccAction decideIcc(IccPolicy policy, Format output, const std::string &profile, double imageDataBytes);

// Converts the pixels from the embedded profile to sRGB and removes the profile.
vips::VImage convertToSrgb(const vips::VImage &image, bool keep16Bit);

void removeProfile(vips::VImage &image);

// Re-encodes pixels stored with the given encoding gamma (a PNG's gAMA, as a fraction:
// 1.0 for linear light) with the sRGB curve, so they look the same without the gamma
// statement. Alpha is not touched; 8 and 16 bits stay as they are.
vips::VImage reencodeGammaForSrgb(const vips::VImage &image, double fileGamma);

} // namespace dravik
