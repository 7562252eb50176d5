// Command line seen from outside: a refusal comes before any file is touched, with a stop
// code and a one-line reason, so a bad additional-options text stops the run at its first
// file instead of damaging anything. Value-by-value checking is in unit_options.cpp.
#include "engine_process.h"
#include "image_tools.h"

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
    std::string in, inBytes;
};

TEST_F(Cli, VersionPrintsExactLine) {
    RunResult r = run({"-version"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_EQ(r.out, std::string("Dravik  Version ") + DRAVIK_EXPECTED_ENGINE_VERSION + "\n");
}

TEST_F(Cli, RefusalsWriteNothing) {
    struct Case {
        int code;
        std::vector<std::string> args; // "IN" and "OUT" stand for the scratch files
    };
    const std::vector<Case> cases{
        {1, {}},
        {1, {"-in", "IN"}},
        {1, {"-out", "OUT", "-quality", "80"}},
        {77, {"-in", "IN", "-out", "OUT", "-foo", "1"}},
        {77, {"-in", "IN", "-out", "OUT", "-Quality", "80"}},
        {77, {"-in", "IN", "-out", "OUT", "-quality", "80", "-quality", "80"}},
        {77, {"-in", "IN", "-out", "OUT", "-quality"}},
        {77, {"-in", "IN", "-out", "OUT", "-version"}},
        {77, {"-in", "IN", "-out", "OUT", "-width", "12px"}},
        {77, {"-in", "IN", "-out", "OUT", "-resizefit", "outer", "-width", "20"}},
        // Option checking comes first: a missing input alone would only skip the file.
        {77, {"-in", "MISSING", "-out", "OUT", "-bogus", "1"}},
        // The same file under another spelling, through a link, or once -outext names it.
        {77, {"-in", "IN", "-out", "IN"}},
        {77, {"-in", "IN", "-out", "DOTTED"}},
        {77, {"-in", "IN", "-out", "LINK"}},
        {77, {"-in", "LINK", "-out", "IN"}},
        {77, {"-in", "IN", "-out", "NOEXT", "-outext", "on"}},
    };
    ASSERT_EQ(symlink(in.c_str(), path("link.png").c_str()), 0);
    for (const auto &c : cases) {
        std::vector<std::string> args;
        for (const auto &a : c.args)
            args.push_back(a == "IN" ? in : a == "OUT" ? path("out.png") : a == "MISSING" ? path("missing.png")
                           : a == "DOTTED" ? dir() + "/./in.png" : a == "LINK" ? path("link.png") : a == "NOEXT" ? path("in") : a);
        SCOPED_TRACE(testing::PrintToString(c.args));
        RunResult r = run(args);
        EXPECT_EXIT_CODE(r, c.code);
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line of reason" << r.describe();
        EXPECT_TRUE(r.out.empty()) << r.describe();
        EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
        expectFolderHolds({"in.png", "link.png"});
    }
}

TEST_F(Cli, OptionsInAnyOrderAndHardLinkedOutput) {
    RunResult r = run({"-quality", "90", "-out", path("out.jpg"), "-outformat", "jpg", "-in", in});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_EQ(inspect(path("out.jpg")).format, "jpg");
    // Through a hard link, refusing is not required (the rename replaces only the link's
    // name), but the input's bytes must survive either way.
    ASSERT_EQ(link(in.c_str(), path("hard.png").c_str()), 0);
    r = run({"-in", in, "-out", path("hard.png")});
    expectCleanEnd(r);
    EXPECT_TRUE(sameBytes(readBytes(in), inBytes));
}

} // namespace
