#include "metadata.h"

#include <libexif/exif-data.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace dravik {
namespace {

void removeField(vips::VImage &image, const char *name)
{
    if (image.get_typeof(name) != 0)
        image.remove(name);
}

// Collects first: removing while libvips walks the field list is not allowed.
template <typename Pred>
void removeFieldsWhere(vips::VImage &image, Pred &&pred)
{
    std::vector<std::string> names;
    gchar **fields = vips_image_get_fields(image.get_image());
    for (gchar **field = fields; field && *field; ++field)
        if (pred(std::string(*field)))
            names.push_back(*field);
    g_strfreev(fields);
    for (const std::string &name : names)
        removeField(image, name.c_str());
}

void removeExifTagFields(vips::VImage &image)
{
    removeFieldsWhere(image, [](const std::string &name) { return name.rfind("exif-ifd", 0) == 0; });
}

// Rewrites the EXIF block without IFD1 (the thumbnail's directory) and its JPEG, with
// the orientation reset and the pixel size of the output.
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
    const ExifByteOrder order = exif_data_get_byte_order(ed);
    // The pixels are always upright by now.
    if (ExifEntry *orientation = exif_content_get_entry(ed->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
        orientation && orientation->format == EXIF_FORMAT_SHORT && orientation->components == 1)
        exif_set_short(orientation->data, order, 1);
    // The recorded pixel size must follow a resize.
    const auto setSize = [&](ExifTag tag, int value) {
        ExifEntry *e = exif_content_get_entry(ed->ifd[EXIF_IFD_EXIF], tag);
        if (!e || e->components != 1)
            return;
        if (e->format == EXIF_FORMAT_SHORT && value <= 65535)
            exif_set_short(e->data, order, ExifShort(value));
        else if (e->format == EXIF_FORMAT_LONG)
            exif_set_long(e->data, order, ExifLong(value));
    };
    setSize(EXIF_TAG_PIXEL_X_DIMENSION, image.width());
    const int pageHeight = vips_image_get_page_height(image.get_image());
    setSize(EXIF_TAG_PIXEL_Y_DIMENSION, pageHeight > 0 ? pageHeight : image.height());
    unsigned char *out = nullptr;
    unsigned int outLength = 0;
    exif_data_save_data(ed, &out, &outLength);
    exif_data_unref(ed);
    if (out && outLength > 6) {
        // libvips expects the block with its "Exif\0\0" header, as libexif writes it.
        vips_image_set_blob_copy(image.get_image(), VIPS_META_EXIF_NAME, out, outLength);
    }
    std::free(out);
    // libvips writes its parsed copies of the tags back into the block when saving;
    // those copies still hold the old orientation and the thumbnail's directory.
    removeExifTagFields(image);
}

} // namespace

void prepareMetadata(vips::VImage &image, bool keep)
{
    // libvips keeps the EXIF thumbnail apart and writes it back into the EXIF block.
    removeField(image, "jpeg-thumbnail-data");
    if (keep) {
        dropExifThumbnail(image);
        return;
    }
    removeFieldsWhere(image, [](const std::string &name) {
        return name == VIPS_META_EXIF_NAME || name == VIPS_META_XMP_NAME || name == VIPS_META_IPTC_NAME ||
               name == VIPS_META_PHOTOSHOP_NAME || name.rfind("exif-", 0) == 0 ||
               name.rfind("png-comment-", 0) == 0 || name == "gif-comment";
    });
}

} // namespace dravik
