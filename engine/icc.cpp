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

vips::VImage reencodeGammaForSrgb(const vips::VImage &image, double fileGamma)
{
    const bool wide = image.format() == VIPS_FORMAT_USHORT;
    const double top = wide ? 65535.0 : 255.0;
    // One table entry per possible value: the curve is computed once, not per pixel.
    const vips::VImage stored = vips::VImage::identity(vips::VImage::option()->set("ushort", wide)) / top;
    const vips::VImage light = stored.pow(1.0 / fileGamma);
    const vips::VImage encoded = (light <= 0.0031308).ifthenelse(light * 12.92, light.pow(1.0 / 2.4) * 1.055 - 0.055);
    const vips::VImage table = (encoded * top + 0.5).floor().cast(image.format());
    const int colourBands = image.has_alpha() ? image.bands() - 1 : image.bands();
    vips::VImage out = image.extract_band(0, vips::VImage::option()->set("n", colourBands)).maplut(table);
    if (image.has_alpha())
        out = out.bandjoin(image.extract_band(colourBands));
    return out.copy(vips::VImage::option()->set("interpretation", image.interpretation()));
}

void removeProfile(vips::VImage &image)
{
    if (image.get_typeof(VIPS_META_ICC_NAME) != 0)
        image.remove(VIPS_META_ICC_NAME);
}

} // namespace dravik
