// The engine's command line: one record with every default in one place.
#pragma once

#include <optional>
#include <string>

namespace dravik {

enum class Format { Jpeg, Png, Gif, Webp, Avif };
enum class OutFormat { Same, Auto, Jpeg, Png, Gif, Webp, Avif };
enum class ResizeMode { None, Width, Height, LongSide, Zoom, Box };
enum class Fit { Within, Inner, Outer, Middle, Stretch };
enum class Kernel { Quality, Balance, Speed };
enum class IccPolicy { Auto, Keep, Convert, Remove };
enum class Anchor { TopLeft, Top, TopRight, Left, Center, Right, BottomLeft, Bottom, BottomRight };

struct Options {
    std::string in;
    std::string out;
    OutFormat outFormat = OutFormat::Same;
    bool outExt = false;
    int reduceMode = 5;
    bool qualitySafety = true;
    bool baseline = false;
    IccPolicy icc = IccPolicy::Auto;
    std::optional<int> sizeLimitKiB;
    bool sizeLimitHighQuality = false;
    bool markWrite = false;
    bool markSkipIn = false;
    bool markSkipOut = false;

    ResizeMode resize = ResizeMode::None;
    int width = 0;
    int height = 0;
    int longSide = 0;
    int zoom = 0;
    Fit fit = Fit::Within;
    bool noEnlarge = false;
    Kernel kernel = Kernel::Quality;

    std::string stamp;
    int stampOpacity = 100;
    int stampX = 0;
    int stampY = 0;
    Anchor stampAnchor = Anchor::Center;

    bool keepMetadata = true;
    std::optional<int> quality;
    bool keepDate = false;

    bool hasStamp() const { return !stamp.empty(); }
    bool hasResize() const { return resize != ResizeMode::None; }
};

// What the command line asked for: a job, or only the version line.
struct CommandLine {
    bool versionOnly = false;
    Options options;
};

// Throws Failure(BadOption) for anything the option table refuses and Failure(Usage)
// when -in or -out is missing.
CommandLine parseCommandLine(int argc, char **argv);

const char *formatName(Format f);
const char *formatExtension(Format f);

} // namespace dravik
