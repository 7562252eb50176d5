#include "resize.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace dravik {
namespace {

int scaled(int size, double factor) { return std::max(1, int(std::lround(size * factor))); }

VipsKernel vipsKernel(Kernel k)
{
    switch (k) {
    case Kernel::Quality: return VIPS_KERNEL_LANCZOS3;
    case Kernel::Balance: return VIPS_KERNEL_CUBIC;
    case Kernel::Speed: return VIPS_KERNEL_LINEAR;
    }
    return VIPS_KERNEL_LANCZOS3;
}

std::vector<double> marginColour(const vips::VImage &image, bool transparent)
{
    const double white = image.format() == VIPS_FORMAT_USHORT ? 65535.0 : 255.0;
    std::vector<double> colour(std::size_t(image.bands()), white);
    if (image.has_alpha())
        colour.back() = transparent ? 0.0 : white;
    if (transparent && image.has_alpha())
        std::fill(colour.begin(), colour.end() - 1, 0.0);
    return colour;
}

} // namespace

int pageHeightOf(const vips::VImage &image)
{
    const int ph = image.get_typeof("page-height") != 0 ? vips_image_get_page_height(image.get_image()) : image.height();
    return (ph > 0 && image.height() % ph == 0) ? ph : image.height();
}

ResizePlan planResize(const Options &o, int W, int H)
{
    ResizePlan p;
    p.scaledWidth = p.boxWidth = W;
    p.scaledHeight = p.boxHeight = H;
    double s = 1.0;
    switch (o.resize) {
    case ResizeMode::None:
        return p;
    case ResizeMode::Width:
        s = double(o.width) / W;
        break;
    case ResizeMode::Height:
        s = double(o.height) / H;
        break;
    case ResizeMode::LongSide:
        s = double(o.longSide) / std::max(W, H);
        break;
    case ResizeMode::Zoom:
        s = o.zoom / 100.0;
        break;
    case ResizeMode::Box:
        break;
    }

    if (o.resize != ResizeMode::Box) {
        if (o.noEnlarge && s > 1.0)
            return p; // already smaller than the target: keeps its size
        p.scaledWidth = p.boxWidth = o.resize == ResizeMode::Width ? o.width : scaled(W, s);
        p.scaledHeight = p.boxHeight = o.resize == ResizeMode::Height ? o.height : scaled(H, s);
        if (o.resize == ResizeMode::LongSide) { // the long side lands exactly, never off by rounding
            (W >= H ? p.scaledWidth : p.scaledHeight) = o.longSide;
            p.boxWidth = p.scaledWidth;
            p.boxHeight = p.scaledHeight;
        }
        p.scale = p.scaledWidth != W || p.scaledHeight != H;
        return p;
    }

    const int w = o.width, h = o.height;
    if (o.noEnlarge && W <= w && H <= h)
        return p; // fits the box as it is: keeps its size
    const double inside = std::min(double(w) / W, double(h) / H);
    const double cover = std::max(double(w) / W, double(h) / H);
    const auto cap = [&](double f) { return o.noEnlarge ? std::min(f, 1.0) : f; };
    switch (o.fit) {
    case Fit::Within:
    case Fit::Inner:
        s = cap(inside);
        p.scaledWidth = std::min(w, scaled(W, s));
        p.scaledHeight = std::min(h, scaled(H, s));
        // Rounding must not make the short side miss the box's edge it was fitted to.
        if (s == double(w) / W && !o.noEnlarge)
            p.scaledWidth = w;
        if (s == double(h) / H && !o.noEnlarge)
            p.scaledHeight = h;
        break;
    case Fit::Outer:
        s = cap(cover);
        p.scaledWidth = scaled(W, s);
        p.scaledHeight = scaled(H, s);
        if (!o.noEnlarge) {
            p.scaledWidth = std::max(w, p.scaledWidth);
            p.scaledHeight = std::max(h, p.scaledHeight);
        }
        break;
    case Fit::Middle:
        s = cap(std::sqrt(inside * cover));
        p.scaledWidth = scaled(W, s);
        p.scaledHeight = scaled(H, s);
        break;
    case Fit::Stretch:
        p.scaledWidth = o.noEnlarge ? std::min(W, w) : w;
        p.scaledHeight = o.noEnlarge ? std::min(H, h) : h;
        break;
    }
    p.scale = p.scaledWidth != W || p.scaledHeight != H;
    if (o.fit == Fit::Within || o.fit == Fit::Stretch) {
        p.boxWidth = p.scaledWidth;
        p.boxHeight = p.scaledHeight;
    } else {
        p.boxWidth = w;
        p.boxHeight = h;
    }
    p.canvas = p.boxWidth != p.scaledWidth || p.boxHeight != p.scaledHeight;
    return p;
}

int shrinkOnLoadFactor(int storedWidth, int storedHeight, int targetWidth, int targetHeight, Kernel kernel)
{
    const double factor = std::min(double(storedWidth) / targetWidth, double(storedHeight) / targetHeight);
    // Measured on a 10-megapixel photo made 2.3 times smaller: decoding at half size and
    // finishing with Lanczos-3 lands butteraugli 1.02 from Lanczos-3 on the full decode,
    // leaving the kernel a factor of two lands 0.54. That is most of level 5's budget, so
    // only the faster kernels, which ask for speed, take the cheaper decode.
    const double margin = kernel == Kernel::Quality ? 2.0 : 1.0;
    for (int shrink : {8, 4, 2})
        if (factor >= shrink * margin)
            return shrink;
    return 1;
}

vips::VImage forEachFrame(const vips::VImage &image, const std::function<vips::VImage(const vips::VImage &)> &fn)
{
    const int ph = pageHeightOf(image);
    const int pages = image.height() / ph;
    if (pages <= 1)
        return fn(image);
    std::vector<vips::VImage> frames;
    frames.reserve(std::size_t(pages));
    for (int i = 0; i < pages; ++i)
        frames.push_back(fn(image.crop(0, i * ph, image.width(), ph)));
    vips::VImage joined = vips::VImage::arrayjoin(frames, vips::VImage::option()->set("across", 1));
    joined.set("page-height", frames.front().height());
    return joined;
}

vips::VImage scaleTo(const vips::VImage &image, int targetWidth, int targetHeight, Kernel kernel)
{
    return forEachFrame(image, [&](const vips::VImage &frame) {
        if (frame.width() == targetWidth && frame.height() == targetHeight)
            return frame;
        vips::VImage in = frame;
        const VipsBandFormat format = in.format();
        // Resampling straight alpha would bleed the colour of invisible pixels into
        // visible edges: premultiply around the kernel.
        const bool alpha = in.has_alpha();
        if (alpha)
            in = in.premultiply();
        const double hscale = double(targetWidth) / frame.width();
        const double vscale = double(targetHeight) / frame.height();
        vips::VImage out = in.resize(hscale, vips::VImage::option()->set("vscale", vscale)->set("kernel", vipsKernel(kernel)));
        if (alpha)
            out = out.unpremultiply().cast(format);
        // vips rounds each axis separately; make the size exact whatever it decided.
        if (out.width() != targetWidth || out.height() != targetHeight)
            out = out.embed(0, 0, targetWidth, targetHeight, vips::VImage::option()->set("extend", VIPS_EXTEND_COPY));
        return out;
    });
}

vips::VImage fitCanvas(const vips::VImage &image, const ResizePlan &plan, bool transparentMargins)
{
    return forEachFrame(image, [&](const vips::VImage &frame) {
        const int left = (plan.boxWidth - frame.width()) / 2;
        const int top = (plan.boxHeight - frame.height()) / 2;
        // embed both pads (positive offset) and crops (negative offset) in one step.
        return frame.embed(left, top, plan.boxWidth, plan.boxHeight,
                           vips::VImage::option()
                               ->set("extend", VIPS_EXTEND_BACKGROUND)
                               ->set("background", marginColour(frame, transparentMargins)));
    });
}

} // namespace dravik
