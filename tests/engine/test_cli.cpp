// Command line: what the engine accepts and how it refuses the rest. A refusal must come
// before any file is touched, with a stop code, so a bad additional-options text stops the
// run at its first file instead of damaging anything.
#include "engine_process.h"
#include "image_tools.h"

#include <regex>
#include <sys/stat.h>
#include <unistd.h>

using namespace dk;

namespace {

class Cli : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        in = path("in.png");
        save(quadrants(40, 30), in);
        inBytes = readBytes(in);
    }
    std::vector<std::string> base(std::vector<std::string> extra = {}) {
        std::vector<std::string> a{"-in", in, "-out", path("out.png")};
        a.insert(a.end(), extra.begin(), extra.end());
        return a;
    }
    // Refused: the stop code, one line saying why, nothing written, input untouched.
    void expectRefused(const std::vector<std::string> &args, int code = 77) {
        SCOPED_TRACE(testing::PrintToString(args));
        RunResult r = run(args);
        EXPECT_EXIT_CODE(r, code);
        EXPECT_FALSE(r.err.empty()) << r.describe();
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1)
            << "the reason should be one line" << r.describe();
        EXPECT_TRUE(r.out.empty()) << r.describe();
        EXPECT_FALSE(exists(path("out.png"))) << r.describe();
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
        expectFolderHolds({"in.png"});
    }
    std::string in;
    std::string inBytes;
};

TEST_F(Cli, VersionPrintsExactLine) {
    RunResult r = run({"-version"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(std::regex_match(r.out, std::regex("Dravik  Version [0-9]+\\.[0-9]+\\.[0-9]+\n")))
        << "got [" << r.out << "]";
    EXPECT_EQ(r.out, std::string("Dravik  Version ") + DRAVIK_EXPECTED_ENGINE_VERSION + "\n");
}

TEST_F(Cli, MissingInOrOutIsUsageError) {
    expectRefused({}, 1);
    expectRefused({"-in", in}, 1);
    expectRefused({"-out", path("out.png")}, 1);
    expectRefused({"-out", path("out.png"), "-quality", "80"}, 1);
}

TEST_F(Cli, UnknownRepeatedValuelessOptionsAreRefused) {
    expectRefused(base({"-foo", "1"}));
    expectRefused(base({"-Quality", "80"}));
    expectRefused(base({"quality", "80"}));
    expectRefused(base({"-quality", "80", "-quality", "80"}));
    expectRefused(base({"-reducemode", "3", "-reducemode", "4"}));
    expectRefused({"-in", in, "-in", in, "-out", path("out.png")});
    expectRefused(base({"-quality"}));
    expectRefused({"-in", in, "-out", path("out.png"), "-stamppos"});
    // -version is only valid alone.
    expectRefused(base({"-version"}));
}

TEST_F(Cli, InvalidValuesAreRefused) {
    const std::vector<std::vector<std::string>> bad{
        {"-outformat", "bmp"},         {"-outformat", "JPEG2"},
        {"-outformat", ""},            {"-outext", "yes"},
        {"-reducemode", "0"},          {"-reducemode", "9"},
        {"-reducemode", "five"},       {"-reducemode", "5.5"},
        {"-jpegqualitysafety", "1"},   {"-jpegfixbaseline", "true"},
        {"-jpegiccp", "drop"},         {"-jpegfilesizelimit", "0"},
        {"-jpegfilesizelimit", "100001"}, {"-jpegfilesizelimit", "-3"},
        {"-jpegfilesizelimithq", "maybe"}, {"-optmarkwrite", "yes"},
        {"-optmarkskipin", "on"},      {"-optmarkskipout", "auto"},
        {"-width", "0"},               {"-width", "20001"},
        {"-width", "abc"},             {"-width", "10.5"},
        {"-width", "12px"},            {"-height", "-5"},
        {"-longside", "99999999999999999999"}, {"-zoom", "0"},
        {"-zoom", "1000"},             {"-resizenozoom", "yes"},
        {"-resizealg", "fast"},        {"-stampopaque", "101"},
        {"-stampopaque", "-1"},        {"-stampx", "10000"},
        {"-stampy", "-10000"},         {"-stamppos", "middle"},
        {"-metadata", "none"},         {"-quality", "0"},
        {"-quality", "101"},           {"-keepdate", "1"},
    };
    for (const auto &opt : bad)
        expectRefused(base(opt));
}

// Option checking comes first: a bad option stops the run even when this particular input
// is missing, which alone would only skip the file.
TEST_F(Cli, BadOptionWinsOverMissingInput) {
    RunResult r = run({"-in", path("missing.png"), "-out", path("out.png"), "-bogus", "1"});
    EXPECT_EXIT_CODE(r, 77);
}

TEST_F(Cli, BoundaryValuesAreAccepted) {
    const std::vector<std::vector<std::string>> good{
        {"-reducemode", "1"},         {"-reducemode", "8"},
        {"-quality", "1"},            {"-quality", "100"},
        {"-stampx", "-9999", "-stampy", "9999"},
        {"-jpegfilesizelimit", "100000"},
        {"-width", "20000", "-resizenozoom", "on"},
        {"-zoom", "1", "-resizealg", "speed"},
        {"-outformat", "same", "-outext", "off", "-metadata", "strip", "-keepdate", "on"},
        {"-jpegiccp", "auto", "-jpegqualitysafety", "off", "-jpegfixbaseline", "on"},
        {"-optmarkwrite", "off", "-optmarkskipin", "auto", "-optmarkskipout", "off"},
    };
    for (const auto &opt : good) {
        SCOPED_TRACE(testing::PrintToString(opt));
        unlink(path("out.png").c_str());
        RunResult r = run(base(opt));
        EXPECT_EXIT_CODE(r, 0);
        EXPECT_EQ(inspect(path("out.png")).format, "png") << r.describe();
    }
}

TEST_F(Cli, OptionsInAnyOrder) {
    RunResult r = run({"-quality", "90", "-out", path("out.jpg"), "-outformat", "jpg", "-in", in});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_EQ(inspect(path("out.jpg")).format, "jpg");
}

TEST_F(Cli, InvalidResizeCombinationsAreRefused) {
    const std::vector<std::vector<std::string>> bad{
        {"-width", "20", "-longside", "20"},
        {"-height", "20", "-longside", "20"},
        {"-zoom", "50", "-width", "20"},
        {"-zoom", "50", "-longside", "20"},
        {"-resizefit", "inner"},
        {"-resizefit", "outer", "-width", "20"},
        {"-resizefit", "within", "-height", "20"},
        {"-resizefit", "fit", "-longside", "20"},
        {"-resizefit", "middle", "-width", "20", "-height", "20", "-zoom", "50"},
        {"-resizefit", "stretch", "-width", "20", "-height", "20"},
    };
    for (const auto &opt : bad)
        expectRefused(base(opt));
}

TEST_F(Cli, InputEqualToOutputIsRefused) {
    expectRefused({"-in", in, "-out", in});
    // The same file under another spelling and through a symbolic link is still the same file.
    expectRefused({"-in", in, "-out", dir() + "/./in.png"});
    ASSERT_EQ(symlink(in.c_str(), path("link.png").c_str()), 0);
    {
        RunResult r = run({"-in", in, "-out", path("link.png")});
        EXPECT_EXIT_CODE(r, 77);
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
    }
    {
        RunResult r = run({"-in", path("link.png"), "-out", in});
        EXPECT_EXIT_CODE(r, 77);
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
    }
    // With -outext on the written name is what counts: out "in" + ".png" is the input.
    {
        RunResult r = run({"-in", in, "-out", path("in"), "-outext", "on"});
        EXPECT_EXIT_CODE(r, 77);
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
    }
    // Through a hard link, refusing is not required (the rename replaces only the link's
    // name), but the input's bytes must survive either way.
    ASSERT_EQ(link(in.c_str(), path("hard.png").c_str()), 0);
    {
        RunResult r = run({"-in", in, "-out", path("hard.png")});
        expectCleanEnd(r);
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
    }
}

} // namespace
