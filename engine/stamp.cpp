#include "stamp.h"

#include "exitcodes.h"
#include "load.h"
#include "resize.h"

namespace dravik {

vips::VImage loadStamp(const Options &o)
{
    const Bytes bytes = readFileBytes(o.stamp, "stamp", int(Exit::Stamp));
    const char *loader = vips_foreign_find_load_buffer(bytes.data(), bytes.size());
    vips_error_clear();
    const std::string name = loader ? loader : "";
    const bool known = name.rfind("VipsForeignLoadPng", 0) == 0 || name.rfind("VipsForeignLoadWebp", 0) == 0 ||
                       name.rfind("VipsForeignLoadHeif", 0) == 0 || name.rfind("VipsForeignLoadNsgif", 0) == 0 ||
                       name.rfind("VipsForeignLoadJpeg", 0) == 0;
    if (!known)
        fail(Exit::Stamp, "the stamp \"" + o.stamp + "\" is not a PNG, WebP, AVIF, GIF or JPEG image");
    try {
        vips::VImage stamp = vips::VImage::new_from_buffer(
            bytes.data(), bytes.size(), "", vips::VImage::option()->set("fail_on", VIPS_FAIL_ON_TRUNCATED));
        if (std::uint64_t(stamp.width()) * std::uint64_t(stamp.height()) > kPixelLimit)
            fail(Exit::Stamp, "the stamp is larger than the pixel limit");
        stamp = stamp.autorot();
        if (stamp.interpretation() == VIPS_INTERPRETATION_CMYK)
            stamp = stamp.icc_transform("srgb", vips::VImage::option()->set("embedded", true)->set("input_profile", "cmyk"));
        stamp = stamp.colourspace(VIPS_INTERPRETATION_sRGB);
        if (!stamp.has_alpha())
            stamp = stamp.bandjoin_const({255.0});
        if (o.stampOpacity < 100) {
            vips::VImage alpha = stamp.extract_band(3) * (o.stampOpacity / 100.0);
            stamp = stamp.extract_band(0, vips::VImage::option()->set("n", 3)).bandjoin(alpha.cast(VIPS_FORMAT_UCHAR));
        }
        // Decoded here, so a damaged stamp is reported as the stamp's fault, not the input's.
        return stamp.cast(VIPS_FORMAT_UCHAR).copy_memory();
    } catch (const vips::VError &e) {
        failFromVips(Exit::Stamp, "the stamp \"" + o.stamp + "\" cannot be decoded: ", e.what());
    }
}

vips::VImage applyStamp(const vips::VImage &image, const vips::VImage &stamp, const Options &o)
{
    return forEachFrame(image, [&](const vips::VImage &frameIn) {
        vips::VImage frame = frameIn;
        const bool baseAlpha = frame.has_alpha();
        // The stamp is 8-bit sRGB; bring grey or 16-bit frames to the same space so the
        // blend happens in one space and the colours of the stamp survive.
        if (frame.interpretation() != VIPS_INTERPRETATION_sRGB || frame.format() != VIPS_FORMAT_UCHAR)
            frame = frame.colourspace(VIPS_INTERPRETATION_sRGB).cast(VIPS_FORMAT_UCHAR);
        const int W = frame.width(), H = frame.height(), w = stamp.width(), h = stamp.height();
        int x = 0, y = 0;
        switch (o.stampAnchor) {
        case Anchor::TopLeft: x = 0, y = 0; break;
        case Anchor::Top: x = (W - w) / 2, y = 0; break;
        case Anchor::TopRight: x = W - w, y = 0; break;
        case Anchor::Left: x = 0, y = (H - h) / 2; break;
        case Anchor::Center: x = (W - w) / 2, y = (H - h) / 2; break;
        case Anchor::Right: x = W - w, y = (H - h) / 2; break;
        case Anchor::BottomLeft: x = 0, y = H - h; break;
        case Anchor::Bottom: x = (W - w) / 2, y = H - h; break;
        case Anchor::BottomRight: x = W - w, y = H - h; break;
        }
        x += o.stampX;
        y += o.stampY;
        // Entirely outside: nothing to draw, and composite would still cost a pass.
        if (x >= W || y >= H || x + w <= 0 || y + h <= 0)
            return frame;
        // Clip the stamp to the frame ourselves, so composite only sees the visible part.
        const int left = std::max(0, -x), top = std::max(0, -y);
        const int right = std::min(w, W - x), bottom = std::min(h, H - y);
        const vips::VImage visible = stamp.crop(left, top, right - left, bottom - top);
        vips::VImage out = frame.composite2(visible, VIPS_BLEND_MODE_OVER,
                                            vips::VImage::option()->set("x", x + left)->set("y", y + top));
        if (!baseAlpha && out.has_alpha())
            out = out.extract_band(0, vips::VImage::option()->set("n", out.bands() - 1));
        return out.cast(VIPS_FORMAT_UCHAR);
    });
}

} // namespace dravik
