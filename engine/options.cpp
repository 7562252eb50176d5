#include "options.h"

#include "exitcodes.h"

#include <charconv>
#include <functional>
#include <map>
#include <set>
#include <vector>

namespace dravik {
namespace {

// Strict decimal: an optional minus sign and digits, nothing else (no blanks, no "+",
// no trailing letters), so "10px" or " 5" are refused instead of half-read.
std::optional<int> parseInt(const std::string &text, int lo, int hi)
{
    if (text.empty() || text.size() > 12)
        return std::nullopt;
    int value = 0;
    const char *first = text.data();
    const char *last = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(first, last, value);
    if (ec != std::errc() || ptr != last || value < lo || value > hi)
        return std::nullopt;
    return value;
}

std::optional<bool> parseOnOff(const std::string &text)
{
    if (text == "on")
        return true;
    if (text == "off")
        return false;
    return std::nullopt;
}

template <typename E>
std::optional<E> parseWord(const std::string &text, std::initializer_list<std::pair<const char *, E>> words)
{
    for (const auto &[word, value] : words)
        if (text == word)
            return value;
    return std::nullopt;
}

// One setter per option word: it stores the value and says whether it was valid.
using Setter = std::function<bool(Options &, const std::string &)>;

template <typename T>
bool store(T &field, const std::optional<T> &value)
{
    if (!value)
        return false;
    field = *value;
    return true;
}

template <typename T>
bool storeOptional(std::optional<T> &field, const std::optional<T> &value)
{
    if (!value)
        return false;
    field = value;
    return true;
}

const std::map<std::string, Setter> &optionTable()
{
    static const std::map<std::string, Setter> table = {
        {"-in", [](Options &o, const std::string &v) { o.in = v; return !v.empty(); }},
        {"-out", [](Options &o, const std::string &v) { o.out = v; return !v.empty(); }},
        {"-outformat", [](Options &o, const std::string &v) {
             return store(o.outFormat, parseWord<OutFormat>(v, {{"same", OutFormat::Same}, {"auto", OutFormat::Auto},
                                                                 {"jpg", OutFormat::Jpeg}, {"png", OutFormat::Png},
                                                                 {"gif", OutFormat::Gif}, {"webp", OutFormat::Webp},
                                                                 {"avif", OutFormat::Avif}}));
         }},
        {"-outext", [](Options &o, const std::string &v) { return store(o.outExt, parseOnOff(v)); }},
        {"-reducemode", [](Options &o, const std::string &v) { return store(o.reduceMode, parseInt(v, 1, 8)); }},
        {"-jpegqualitysafety", [](Options &o, const std::string &v) { return store(o.qualitySafety, parseOnOff(v)); }},
        {"-jpegfixbaseline", [](Options &o, const std::string &v) { return store(o.baseline, parseOnOff(v)); }},
        {"-jpegiccp", [](Options &o, const std::string &v) {
             return store(o.icc, parseWord<IccPolicy>(v, {{"auto", IccPolicy::Auto}, {"keep", IccPolicy::Keep},
                                                           {"convert", IccPolicy::Convert}, {"remove", IccPolicy::Remove}}));
         }},
        {"-jpegfilesizelimit", [](Options &o, const std::string &v) { return storeOptional(o.sizeLimitKiB, parseInt(v, 1, 100000)); }},
        {"-jpegfilesizelimithq", [](Options &o, const std::string &v) { return store(o.sizeLimitHighQuality, parseOnOff(v)); }},
        {"-optmarkwrite", [](Options &o, const std::string &v) { return store(o.markWrite, parseOnOff(v)); }},
        {"-optmarkskipin", [](Options &o, const std::string &v) {
             return store(o.markSkipIn, parseWord<bool>(v, {{"auto", true}, {"off", false}}));
         }},
        {"-optmarkskipout", [](Options &o, const std::string &v) { return store(o.markSkipOut, parseOnOff(v)); }},
        {"-width", [](Options &o, const std::string &v) { return store(o.width, parseInt(v, 1, 20000)); }},
        {"-height", [](Options &o, const std::string &v) { return store(o.height, parseInt(v, 1, 20000)); }},
        {"-longside", [](Options &o, const std::string &v) { return store(o.longSide, parseInt(v, 1, 20000)); }},
        {"-zoom", [](Options &o, const std::string &v) { return store(o.zoom, parseInt(v, 1, 999)); }},
        {"-resizefit", [](Options &o, const std::string &v) {
             return store(o.fit, parseWord<Fit>(v, {{"within", Fit::Within}, {"inner", Fit::Inner}, {"outer", Fit::Outer},
                                                     {"middle", Fit::Middle}, {"fit", Fit::Stretch}}));
         }},
        {"-resizenozoom", [](Options &o, const std::string &v) { return store(o.noEnlarge, parseOnOff(v)); }},
        {"-resizealg", [](Options &o, const std::string &v) {
             return store(o.kernel, parseWord<Kernel>(v, {{"quality", Kernel::Quality}, {"balance", Kernel::Balance},
                                                           {"speed", Kernel::Speed}}));
         }},
        {"-stamp", [](Options &o, const std::string &v) { o.stamp = v; return !v.empty(); }},
        {"-stampopaque", [](Options &o, const std::string &v) { return store(o.stampOpacity, parseInt(v, 0, 100)); }},
        {"-stampx", [](Options &o, const std::string &v) { return store(o.stampX, parseInt(v, -9999, 9999)); }},
        {"-stampy", [](Options &o, const std::string &v) { return store(o.stampY, parseInt(v, -9999, 9999)); }},
        {"-stamppos", [](Options &o, const std::string &v) {
             return store(o.stampAnchor,
                          parseWord<Anchor>(v, {{"topleft", Anchor::TopLeft}, {"top", Anchor::Top},
                                                {"topright", Anchor::TopRight}, {"left", Anchor::Left},
                                                {"center", Anchor::Center}, {"right", Anchor::Right},
                                                {"bottomleft", Anchor::BottomLeft}, {"bottom", Anchor::Bottom},
                                                {"bottomright", Anchor::BottomRight}}));
         }},
        {"-metadata", [](Options &o, const std::string &v) {
             return store(o.keepMetadata, parseWord<bool>(v, {{"keep", true}, {"strip", false}}));
         }},
        {"-quality", [](Options &o, const std::string &v) { return storeOptional(o.quality, parseInt(v, 1, 100)); }},
        {"-keepdate", [](Options &o, const std::string &v) { return store(o.keepDate, parseOnOff(v)); }},
    };
    return table;
}

// Which resize options came, and whether they make one of the allowed combinations:
// one of width, height, long side or zoom alone; width and height (within unless a fit
// is named); a fit only together with width and height.
void resolveResize(Options &o, const std::set<std::string> &seen)
{
    const bool w = seen.count("-width"), h = seen.count("-height"), l = seen.count("-longside"),
               z = seen.count("-zoom"), f = seen.count("-resizefit");
    const int count = int(w) + int(h) + int(l) + int(z);
    if (w && h && !l && !z)
        o.resize = ResizeMode::Box;
    else if (f)
        fail(Exit::BadOption, "-resizefit needs both -width and -height and no other resize option");
    else if (count > 1)
        fail(Exit::BadOption, "resize options -width, -height, -longside and -zoom cannot be combined this way");
    else if (w)
        o.resize = ResizeMode::Width;
    else if (h)
        o.resize = ResizeMode::Height;
    else if (l)
        o.resize = ResizeMode::LongSide;
    else if (z)
        o.resize = ResizeMode::Zoom;
}

} // namespace

CommandLine parseCommandLine(int argc, char **argv)
{
    CommandLine result;
    if (argc == 2 && std::string(argv[1]) == "-version") {
        result.versionOnly = true;
        return result;
    }
    Options &o = result.options;
    std::set<std::string> seen;
    const auto &table = optionTable();
    for (int i = 1; i < argc; i += 2) {
        const std::string word = argv[i];
        const auto entry = table.find(word);
        if (entry == table.end())
            fail(Exit::BadOption, "unknown option: " + word);
        if (!seen.insert(word).second)
            fail(Exit::BadOption, "option given twice: " + word);
        if (i + 1 >= argc)
            fail(Exit::BadOption, "option without a value: " + word);
        const std::string value = argv[i + 1];
        if (!entry->second(o, value))
            fail(Exit::BadOption, "invalid value for " + word + ": \"" + value + "\"");
    }
    resolveResize(o, seen);
    if (!seen.count("-in") || !seen.count("-out"))
        fail(Exit::Usage, "usage: dravik.bin -in INPUT -out OUTPUT [-option value]...  (or -version)");
    return result;
}

const char *formatName(Format f)
{
    switch (f) {
    case Format::Jpeg: return "JPEG";
    case Format::Png: return "PNG";
    case Format::Gif: return "GIF";
    case Format::Webp: return "WebP";
    case Format::Avif: return "AVIF";
    }
    return "?";
}

const char *formatExtension(Format f)
{
    switch (f) {
    case Format::Jpeg: return ".jpg";
    case Format::Png: return ".png";
    case Format::Gif: return ".gif";
    case Format::Webp: return ".webp";
    case Format::Avif: return ".avif";
    }
    return "";
}

} // namespace dravik
