// The option table: what is accepted, what is refused and with which code.
#include "exitcodes.h"
#include "options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace dravik;

namespace {

// Runs the parser on a word list (without the program name).
CommandLine parse(std::vector<std::string> words)
{
    std::vector<char *> argv{const_cast<char *>("dravik.bin")};
    for (auto &w : words)
        argv.push_back(w.data());
    return parseCommandLine(int(argv.size()), argv.data());
}

Exit refusal(std::vector<std::string> words)
{
    try {
        parse(std::move(words));
    } catch (const Failure &f) {
        return f.code();
    }
    return Exit::Ok;
}

std::vector<std::string> job(std::vector<std::string> extra)
{
    std::vector<std::string> words{"-in", "a.jpg", "-out", "b.jpg"};
    words.insert(words.end(), extra.begin(), extra.end());
    return words;
}

} // namespace

TEST(Options, DefaultsAndEveryOptionWord)
{
    const Options d = parse(job({})).options;
    EXPECT_EQ(d.outFormat, OutFormat::Same);
    EXPECT_EQ(d.reduceMode, 5);
    EXPECT_TRUE(d.qualitySafety);
    EXPECT_FALSE(d.baseline);
    EXPECT_EQ(d.icc, IccPolicy::Auto);
    EXPECT_FALSE(d.sizeLimitKiB.has_value());
    EXPECT_EQ(d.resize, ResizeMode::None);
    EXPECT_EQ(d.stampOpacity, 100);
    EXPECT_EQ(d.stampAnchor, Anchor::Center);
    EXPECT_TRUE(d.keepMetadata);
    EXPECT_FALSE(d.quality.has_value());

    const Options o = parse(job({"-outformat", "webp", "-outext", "on", "-reducemode", "8", "-jpegqualitysafety", "off",
                                 "-jpegfixbaseline", "on", "-jpegiccp", "convert", "-jpegfilesizelimit", "100000",
                                 "-jpegfilesizelimithq", "on", "-optmarkwrite", "on", "-optmarkskipin", "auto",
                                 "-optmarkskipout", "on", "-longside", "20000", "-resizenozoom", "on", "-resizealg",
                                 "speed", "-stamp", "s.png", "-stampopaque", "0", "-stampx", "-9999", "-stampy", "9999",
                                 "-stamppos", "bottomright", "-metadata", "strip", "-quality", "1", "-keepdate", "on"}))
                            .options;
    EXPECT_EQ(o.outFormat, OutFormat::Webp);
    EXPECT_TRUE(o.outExt);
    EXPECT_EQ(o.reduceMode, 8);
    EXPECT_FALSE(o.qualitySafety);
    EXPECT_TRUE(o.baseline);
    EXPECT_EQ(o.icc, IccPolicy::Convert);
    EXPECT_EQ(o.sizeLimitKiB, 100000);
    EXPECT_TRUE(o.sizeLimitHighQuality && o.markWrite && o.markSkipIn && o.markSkipOut && o.noEnlarge && o.keepDate);
    EXPECT_EQ(o.resize, ResizeMode::LongSide);
    EXPECT_EQ(o.longSide, 20000);
    EXPECT_EQ(o.kernel, Kernel::Speed);
    EXPECT_EQ(o.stamp, "s.png");
    EXPECT_EQ(o.stampOpacity, 0);
    EXPECT_EQ(o.stampX, -9999);
    EXPECT_EQ(o.stampY, 9999);
    EXPECT_EQ(o.stampAnchor, Anchor::BottomRight);
    EXPECT_FALSE(o.keepMetadata);
    EXPECT_EQ(o.quality, 1);
}

TEST(Options, RefusedWordsAndValues)
{
    EXPECT_EQ(refusal(job({"-colour", "red"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-reducemode", "3", "-reducemode", "3"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-reducemode"})), Exit::BadOption);
    for (const char *bad : {"0", "9", "", " 5", "5 ", "+5", "5x", "1e1", "five", "99999999999999"})
        EXPECT_EQ(refusal(job({"-reducemode", bad})), Exit::BadOption) << '"' << bad << '"';
    EXPECT_EQ(refusal(job({"-outformat", "JPG"})), Exit::BadOption); // case matters
    EXPECT_EQ(refusal(job({"-outformat", "jpeg"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-optmarkskipin", "on"})), Exit::BadOption); // auto or off only
    EXPECT_EQ(refusal(job({"-jpegfilesizelimit", "0"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-jpegfilesizelimit", "100001"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-stampx", "10000"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-stampopaque", "101"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-zoom", "1000"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-width", "20001"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-metadata", "none"})), Exit::BadOption);
    // -version is only the whole command line.
    EXPECT_EQ(refusal(job({"-version", "1"})), Exit::BadOption);
    EXPECT_TRUE(parse({"-version"}).versionOnly);
}

TEST(Options, MissingInOrOutIsUsageButBadOptionsWin)
{
    EXPECT_EQ(refusal({}), Exit::Usage);
    EXPECT_EQ(refusal({"-in", "a.jpg"}), Exit::Usage);
    EXPECT_EQ(refusal({"-out", "a.jpg", "-reducemode", "2"}), Exit::Usage);
    // A refused option is reported as such even when -out is missing too.
    EXPECT_EQ(refusal({"-in", "a.jpg", "-bogus", "1"}), Exit::BadOption);
    EXPECT_EQ(refusal({"-in", ""}), Exit::BadOption);
}

TEST(Options, ResizeCombinations)
{
    EXPECT_EQ(parse(job({"-width", "10"})).options.resize, ResizeMode::Width);
    EXPECT_EQ(parse(job({"-height", "10"})).options.resize, ResizeMode::Height);
    EXPECT_EQ(parse(job({"-zoom", "10"})).options.resize, ResizeMode::Zoom);
    const Options box = parse(job({"-height", "20", "-width", "10"})).options;
    EXPECT_EQ(box.resize, ResizeMode::Box);
    EXPECT_EQ(box.fit, Fit::Within);
    EXPECT_EQ(parse(job({"-resizefit", "middle", "-width", "1", "-height", "1"})).options.fit, Fit::Middle);
    // Without a resize option these two are accepted and do nothing.
    EXPECT_EQ(parse(job({"-resizenozoom", "on", "-resizealg", "balance"})).options.resize, ResizeMode::None);

    EXPECT_EQ(refusal(job({"-resizefit", "outer", "-width", "10"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-resizefit", "outer"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-width", "10", "-longside", "10"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-zoom", "10", "-height", "10"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-width", "1", "-height", "1", "-zoom", "5"})), Exit::BadOption);
    EXPECT_EQ(refusal(job({"-resizefit", "fit", "-width", "1", "-height", "1", "-longside", "5"})), Exit::BadOption);
}
