#include "icc.h"

#include <lcms2.h>

#include <algorithm>
#include <cctype>

namespace dravik {

bool isSrgbProfile(const std::string &profile)
{
    cmsHPROFILE h = cmsOpenProfileFromMem(profile.data(), cmsUInt32Number(profile.size()));
    if (!h)
        return false;
    char description[256] = {};
    cmsGetProfileInfoASCII(h, cmsInfoDescription, "en", "US", description, sizeof description);
    const bool rgb = cmsGetColorSpace(h) == cmsSigRgbData;
    cmsCloseProfile(h);
    std::string lower(description);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return rgb && lower.find("srgb") != std::string::npos;
}

IccAction decideIcc(IccPolicy policy, Format output, const std::string &profile, double imageDataBytes)
{
    if (profile.empty())
        return IccAction::None;
    const bool srgb = isSrgbProfile(profile);
    if (output == Format::Gif) // GIF cannot carry a profile: the colours must be right without it
        return srgb ? IccAction::Drop : IccAction::Convert;
    if (output == Format::Png || output == Format::Webp)
        return srgb ? IccAction::Drop : IccAction::Keep;
    switch (policy) {
    case IccPolicy::Keep:
        return IccAction::Keep;
    case IccPolicy::Remove:
        return IccAction::Drop;
    case IccPolicy::Convert:
        return srgb ? IccAction::Drop : IccAction::Convert;
    case IccPolicy::Auto:
        if (srgb)
            return IccAction::Drop;
        // A profile of a few hundred bytes on a photo is noise; a 500 KiB printer
        // profile on a thumbnail would be most of the file.
        return double(profile.size()) * 20.0 <= imageDataBytes ? IccAction::Keep : IccAction::Convert;
    }
    return IccAction::Keep;
}

vips::VImage convertToSrgb(const vips::VImage &image, bool keep16Bit)
{
    vips::VImage out = image.icc_transform(
        "srgb", vips::VImage::option()
                    ->set("embedded", true)
                    ->set("intent", VIPS_INTENT_RELATIVE)
                    ->set("depth", keep16Bit && image.format() == VIPS_FORMAT_USHORT ? 16 : 8));
    removeProfile(out);
    return out;
}

void removeProfile(vips::VImage &image)
{
    if (image.get_typeof(VIPS_META_ICC_NAME) != 0)
        image.remove(VIPS_META_ICC_NAME);
}

} // namespace dravik
