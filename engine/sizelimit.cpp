#include "sizelimit.h"

#include "exitcodes.h"
#include "quality.h"

#include <map>

namespace dravik {

Bytes encodeJpegWithinLimit(const vips::VImage &image, JpegSettings s, std::size_t limitBytes, bool highest,
                            std::size_t reserve)
{
    std::map<int, Bytes> tried;
    const auto fits = [&](int q) {
        auto found = tried.find(q);
        if (found == tried.end())
            found = tried.emplace(q, encodeJpeg(image, withJpegQuality(s, q))).first;
        return found->second.size() + reserve <= limitBytes;
    };
    int hi = highest ? 100 : s.quality;
    if (fits(hi))
        return tried[hi];
    if (!fits(1))
        fail(Exit::SizeLimit, "even the lowest JPEG quality gives " + std::to_string(tried[1].size() + reserve) +
                                  " bytes, over the limit of " + std::to_string(limitBytes) + " bytes");
    // Size grows with quality (the 4:4:4 switch only adds to that), so bisect for the
    // highest quality that fits: lo always fits, hi never does.
    int lo = 1;
    while (hi - lo > 1) {
        const int mid = (lo + hi) / 2;
        (fits(mid) ? lo : hi) = mid;
    }
    return tried[lo];
}

} // namespace dravik
