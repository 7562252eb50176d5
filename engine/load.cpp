#include "load.h"

#include "exitcodes.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dravik {
namespace {

// libheif also opens HEIC, which this engine does not take: only files whose ftyp box
// names an AVIF brand count as AVIF.
bool hasAvifBrand(const Bytes &b)
{
    if (b.size() < 16 || std::memcmp(&b[4], "ftyp", 4) != 0)
        return false;
    std::uint32_t boxSize = (std::uint32_t(b[0]) << 24) | (b[1] << 16) | (b[2] << 8) | b[3];
    std::size_t end = std::min<std::size_t>(b.size(), boxSize < 16 ? 16 : boxSize);
    for (std::size_t at = 8; at + 4 <= end; at += 4) {
        if (at == 12) // minor version, not a brand
            continue;
        if (std::memcmp(&b[at], "avif", 4) == 0 || std::memcmp(&b[at], "avis", 4) == 0)
            return true;
    }
    return false;
}

} // namespace

Bytes readFileBytes(const std::string &path, const char *what, int failCode)
{
    const Exit code = Exit(failCode);
    // Non-blocking open: a FIFO without a writer must not hang the engine. Regular files
    // ignore the flag.
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        fail(code, std::string("cannot open ") + what + " \"" + path + "\": " + std::strerror(errno));
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        fail(code, std::string(what) + " \"" + path + "\" is not a regular file");
    }
    if (std::uint64_t(st.st_size) > kFileSizeLimit) {
        ::close(fd);
        fail(Exit::TooLarge, std::string(what) + " \"" + path + "\" is larger than " +
                                 std::to_string(kFileSizeLimit >> 20) + " MiB");
    }
    Bytes bytes;
    bytes.reserve(std::size_t(st.st_size));
    unsigned char chunk[1 << 16];
    for (;;) {
        ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            int err = errno;
            ::close(fd);
            fail(code, std::string("cannot read ") + what + " \"" + path + "\": " + std::strerror(err));
        }
        if (n == 0)
            break;
        bytes.insert(bytes.end(), chunk, chunk + n);
    }
    ::close(fd);
    return bytes;
}

Source readSource(const std::string &path)
{
    Source s;
    s.path = path;
    s.bytes = readFileBytes(path, "input", int(Exit::CannotRead));
    if (s.bytes.empty())
        fail(Exit::Unsupported, "the input is empty");

    const char *loader = vips_foreign_find_load_buffer(s.bytes.data(), s.bytes.size());
    vips_error_clear();
    const std::string name = loader ? loader : "";
    if (name.rfind("VipsForeignLoadJpeg", 0) == 0)
        s.format = Format::Jpeg, s.loader = "jpegload_buffer";
    else if (name.rfind("VipsForeignLoadPng", 0) == 0)
        s.format = Format::Png, s.loader = "pngload_buffer";
    else if (name.rfind("VipsForeignLoadNsgif", 0) == 0 || name.rfind("VipsForeignLoadGif", 0) == 0)
        s.format = Format::Gif, s.loader = "gifload_buffer";
    else if (name.rfind("VipsForeignLoadWebp", 0) == 0)
        s.format = Format::Webp, s.loader = "webpload_buffer";
    else if (name.rfind("VipsForeignLoadHeif", 0) == 0 && hasAvifBrand(s.bytes))
        s.format = Format::Avif, s.loader = "heifload_buffer";
    else
        fail(Exit::Unsupported, "the input is not a JPEG, PNG, GIF, WebP or AVIF image");

    // The header alone: no pixels are decoded here.
    vips::VImage header;
    try {
        vips::VOption *opt = vips::VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL);
        if (s.format == Format::Gif || s.format == Format::Webp || s.format == Format::Avif)
            opt->set("n", -1);
        header = vips::VImage::new_from_buffer(s.bytes.data(), s.bytes.size(), "", opt);
    } catch (const vips::VError &e) {
        failFromVips(Exit::Damaged, "the input is damaged: ", e.what());
    }
    s.width = header.width();
    s.pageHeight = vips_image_get_page_height(header.get_image());
    s.pages = s.pageHeight > 0 ? std::max(1, header.height() / s.pageHeight) : 1;
    if (header.get_typeof(VIPS_META_ORIENTATION) != 0)
        s.orientation = header.get_int(VIPS_META_ORIENTATION);
    if (s.orientation < 1 || s.orientation > 8)
        s.orientation = 1;
    s.hasAlpha = header.has_alpha();
    s.isCmyk = header.interpretation() == VIPS_INTERPRETATION_CMYK;
    s.is16Bit = header.format() == VIPS_FORMAT_USHORT;
    s.progressiveJpeg = s.format == Format::Jpeg && header.get_typeof("jpeg-multiscan") != 0 &&
                        header.get_int("jpeg-multiscan") != 0;
    if (header.get_typeof(VIPS_META_ICC_NAME) != 0) {
        size_t length = 0;
        const void *data = header.get_blob(VIPS_META_ICC_NAME, &length);
        if (data && length)
            s.iccProfile.assign(static_cast<const char *>(data), length);
    }
    if (s.width <= 0 || s.pageHeight <= 0)
        fail(Exit::Damaged, "the input has no pixels");
    const std::uint64_t framePixels = std::uint64_t(s.width) * std::uint64_t(s.pageHeight);
    if (framePixels > kPixelLimit)
        fail(Exit::TooLarge, "the input has " + std::to_string(s.width) + "x" + std::to_string(s.pageHeight) +
                                 " pixels, more than the limit");
    return s;
}

vips::VImage loadPixels(const Source &s, const LoadRequest &request)
{
    vips::VOption *opt = vips::VImage::option()
                             ->set("access", request.sequential ? VIPS_ACCESS_SEQUENTIAL : VIPS_ACCESS_RANDOM)
                             // A truncated file must fail, not come back with grey rows.
                             ->set("fail_on", VIPS_FAIL_ON_TRUNCATED);
    switch (s.format) {
    case Format::Jpeg:
        if (request.jpegShrink > 1)
            opt->set("shrink", request.jpegShrink);
        break;
    case Format::Webp:
        if (request.webpScale < 1.0)
            opt->set("scale", request.webpScale);
        [[fallthrough]];
    case Format::Gif:
    case Format::Avif:
        if (request.allFrames)
            opt->set("n", -1);
        break;
    case Format::Png:
        break;
    }
    try {
        return vips::VImage::new_from_buffer(s.bytes.data(), s.bytes.size(), "", opt);
    } catch (const vips::VError &e) {
        failFromVips(Exit::Damaged, "the input is damaged: ", e.what());
    }
}

} // namespace dravik
