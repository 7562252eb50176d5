// Metadata items of a HEIF/AVIF file, removed after the fact.
//
// libvips' AVIF saver either strips everything, the colour profile included, or writes an
// EXIF block it builds from the image's fields even when the image has none. Keeping a
// profile without EXIF therefore means editing the written file.
#pragma once

#include "load.h"

#include <optional>

namespace dravik {

struct HeifItemKinds {
    bool exif = false; // items of type "Exif"
    bool xmp = false;  // "mime" items holding application/rdf+xml
};

// The file without the items of the given kinds: their entries in iinf, iloc, iref and
// ipma and their bytes in mdat go, and the locations of everything else are moved to
// match. The file unchanged when it holds no such item; nothing when its layout is one
// this cannot edit safely (an item stored inside the meta box, data shared between
// items, a removed primary item, a malformed box).
std::optional<Bytes> withoutHeifItems(const Bytes &file, HeifItemKinds kinds);

} // namespace dravik
