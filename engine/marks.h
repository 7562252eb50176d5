// The "lightened by Dravik" mark in JPEG and PNG files.
//
// JPEG: an APP15 segment right after the leading APPn segments (so JFIF/EXIF stay first):
//     FF EF, big-endian length, "DravikMark" NUL, then the ASCII text
//     "lightened by dravik.bin <version>".
// PNG: a tEXt chunk placed just before the first IDAT, keyword "DravikMark", the same text.
// Detection looks only for the segment/chunk kind and the "DravikMark" keyword, never at
// the text, so files marked by any version count.
#pragma once

#include "load.h"
#include "options.h"

namespace dravik {

bool hasMark(const Bytes &file, Format format);

// Returns the file with the mark added (an existing mark is not duplicated). Formats
// without a mark definition come back unchanged.
Bytes withMark(const Bytes &file, Format format);

// Bytes the mark adds, so a size limit can reserve room for it.
std::size_t markSize(Format format);

} // namespace dravik
