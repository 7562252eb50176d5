#include "metadata.h"

#include <libexif/exif-data.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace dravik {
namespace {

// Rewrites the EXIF block without IFD1 (the thumbnail's directory) and its JPEG.
void dropExifThumbnail(vips::VImage &image)
{
    if (image.get_typeof(VIPS_META_EXIF_NAME) == 0)
        return;
    size_t length = 0;
    const void *blob = image.get_blob(VIPS_META_EXIF_NAME, &length);
    if (!blob || length == 0)
        return;
    ExifData *ed = exif_data_new_from_data(static_cast<const unsigned char *>(blob), unsigned(length));
    if (!ed)
        return;
    if (ed->data) {
        std::free(ed->data);
        ed->data = nullptr;
        ed->size = 0;
    }
    ExifContent *ifd1 = ed->ifd[EXIF_IFD_1];
    while (ifd1 && ifd1->count > 0)
        exif_content_remove_entry(ifd1, ifd1->entries[0]);
    unsigned char *out = nullptr;
    unsigned int outLength = 0;
    exif_data_save_data(ed, &out, &outLength);
    exif_data_unref(ed);
    if (out && outLength > 6) {
        // libvips expects the block with its "Exif\0\0" header, as libexif writes it.
        vips_image_set_blob_copy(image.get_image(), VIPS_META_EXIF_NAME, out, outLength);
    }
    std::free(out);
}

void removeField(vips::VImage &image, const char *name)
{
    if (image.get_typeof(name) != 0)
        image.remove(name);
}

} // namespace

void prepareMetadata(vips::VImage &image, bool keep)
{
    if (keep) {
        dropExifThumbnail(image);
        return;
    }
    // Collect first: removing while libvips walks the field list is not allowed.
    std::vector<std::string> names;
    gchar **fields = vips_image_get_fields(image.get_image());
    for (gchar **field = fields; field && *field; ++field) {
        const std::string name = *field;
        if (name == VIPS_META_EXIF_NAME || name == VIPS_META_XMP_NAME || name == VIPS_META_IPTC_NAME ||
            name == VIPS_META_PHOTOSHOP_NAME || name.rfind("exif-", 0) == 0 || name.rfind("png-comment-", 0) == 0 ||
            name == "gif-comment")
            names.push_back(name);
    }
    g_strfreev(fields);
    for (const std::string &name : names)
        removeField(image, name.c_str());
}

} // namespace dravik
