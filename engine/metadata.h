// EXIF, XMP and IPTC: carried over without the EXIF thumbnail, or stripped.
#pragma once

#include <vips/vips8>

namespace dravik {

// Leaves the image's metadata fields in the state the savers should write: with `keep`,
// EXIF loses its embedded thumbnail (it shows the old pixels and can be large);
// without it, EXIF, XMP, IPTC and text comments go. The ICC profile is not touched here.
void prepareMetadata(vips::VImage &image, bool keep);

} // namespace dravik
