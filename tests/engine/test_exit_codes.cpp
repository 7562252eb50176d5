// Every exit code the engine can be made to give from outside, each by real cases, and
// what a failure must leave behind: a reason on standard error, no output, no temporary
// file, the input and any existing output exactly as they were.
#include "engine_process.h"
#include "hostile.h"
#include "image_tools.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace dk;

namespace {

class ExitCodes : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        good = path("good.jpg");
        save(photoLike(300, 200), good, "[Q=90]");
        if (geteuid() == 0) // permission bits do not stop root
            asNobody.runAsUser = 65534;
    }
    // Runs a job that must fail with `code` and leave `folder` exactly as it was.
    void expectFailure(int code, const std::vector<std::string> &args, const std::string &folder = "",
                       const RunOptions &opts = {}) {
        const std::string d = folder.empty() ? dir() : folder;
        std::vector<std::pair<std::string, std::string>> before;
        for (const auto &n : listDir(d)) {
            struct stat st;
            if (stat((d + "/" + n).c_str(), &st) == 0 && S_ISREG(st.st_mode))
                before.emplace_back(n, readBytes(d + "/" + n));
        }
        const auto names = listDir(d);
        RunResult r = run(args, opts);
        EXPECT_EXIT_CODE(r, code);
        expectCleanEnd(r);
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line of reason" << r.describe();
        EXPECT_EQ(listDir(d), names) << "files appeared or vanished" << r.describe();
        for (const auto &[n, bytes] : before)
            EXPECT_TRUE(sameBytes(readBytes(d + "/" + n), bytes)) << n << " changed";
    }
    std::string write(const std::string &name, const std::string &bytes) {
        writeBytes(path(name), bytes);
        return path(name);
    }
    std::string saved(const std::string &name, const vips::VImage &im) {
        save(im, path(name));
        return path(name);
    }
    std::string good;
    RunOptions asNobody;
};

TEST_F(ExitCodes, EachFailureItsCodeAndNothingTouched) {
    const std::string png = readBytes(saved("p.png", photoLike(400, 300)));
    const std::string gif = readBytes(saved("p.gif", photoLike(200, 150)));
    const std::string stamp = readBytes(saved("stamp.png", solid(40, 40, {255, 0, 0, 255})));
    std::string noise;
    for (int i = 0; i < 4096; ++i)
        noise += char((i * 7919 + 13) % 251);
    ASSERT_EQ(symlink(path("nowhere.jpg").c_str(), path("dangling.jpg").c_str()), 0);
    for (const char *d : {"folder.jpg", "taken", "taken2.jpg", "stampdir"})
        ASSERT_EQ(mkdir(path(d).c_str(), 0755), 0);
    saved("wide.png", solid(17000, 8, {20, 120, 220}));
    saved("wider.png", solid(70000, 2, {20, 120, 220}));
    saved("strip.png", solid(2000, 4, {20, 120, 220}));

    struct Case {
        int code;
        std::vector<std::string> args;
    };
    const std::string o = path("o.jpg");
    const std::vector<Case> cases{
        {82, {"-in", write("text.jpg", "just some words, not a picture\n"), "-out", o}},
        {82, {"-in", write("noise.png", noise), "-out", o}},
        {82, {"-in", write("empty.jpg", ""), "-out", o}},
        {90, {"-in", path("missing.jpg"), "-out", o}},
        {90, {"-in", path("dangling.jpg"), "-out", o}},
        {90, {"-in", path("folder.jpg"), "-out", o}},
        {90, {"-in", path("good.jpg/inside.jpg"), "-out", o}},
        {91, {"-in", write("cut.png", truncated(png, 0.6)), "-out", path("o.png")}},
        {91, {"-in", write("cut.jpg", truncated(readBytes(good), 0.6)), "-out", o}},
        {91, {"-in", write("cut.gif", truncated(gif, 0.6)), "-out", path("o.gif")}},
        {91, {"-in", write("flipped.png", bitFlipped(png, 40, 7, 200)), "-out", path("o.png")}},
        // Also when resizing, where a lenient decoder would never read the damaged rows.
        {91, {"-in", path("cut.jpg"), "-out", o, "-width", "50"}},
        {91, {"-in", path("cut.png"), "-out", o, "-outformat", "jpg", "-longside", "64"}},
        {92, {"-in", write("huge.png", pngDeclaring(20000, 20000)), "-out", path("o.png")}},
        {92, {"-in", write("huge.jpg", jpegDeclaring(65000, 65000)), "-out", o}},
        {92, {"-in", write("huge.gif", gifDeclaring(30000, 30000)), "-out", path("o.gif")}},
        {92, {"-in", path("huge.png"), "-out", o, "-zoom", "1"}},
        // Few pixels, but wider than WebP (16383) or JPEG and GIF (65535) allow.
        {93, {"-in", path("wide.png"), "-out", path("o.webp"), "-outformat", "webp"}},
        {93, {"-in", path("wider.png"), "-out", o, "-outformat", "jpg"}},
        {93, {"-in", path("wider.png"), "-out", path("o.gif"), "-outformat", "gif"}},
        {93, {"-in", path("strip.png"), "-out", path("o.webp"), "-outformat", "webp", "-width", "20000"}},
        {96, {"-in", good, "-out", path("taken")}},
        {96, {"-in", good, "-out", path("taken2"), "-outext", "on"}},
        {96, {"-in", good, "-out", path(std::string(300, 'n') + ".jpg")}},
        {83, {"-in", good, "-out", o, "-stamp", path("nostamp.png")}},
        {83, {"-in", good, "-out", o, "-stamp", write("bad-stamp.png", "not a picture at all")}},
        {83, {"-in", good, "-out", o, "-stamp", path("stampdir")}},
        {83, {"-in", good, "-out", o, "-stamp", write("cut-stamp.png", truncated(stamp, 0.5))}},
        {84, {"-in", good, "-out", path("no/such/folder/o.jpg")}},
        {84, {"-in", good, "-out", path("good.jpg/o.jpg")}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        expectFailure(c.code, c.args);
    }
    // The same pictures are fine where the format allows them.
    RunResult r = run({"-in", path("wider.png"), "-out", path("o.png"), "-outformat", "png"});
    EXPECT_EXIT_CODE(r, 0);
    EXPECT_EQ(inspect(path("o.png")).width, 70000);
}

TEST_F(ExitCodes, PermissionsUnreadableInput90ReadOnlyFolder84) {
    ASSERT_EQ(chmod(dir().c_str(), 0777), 0);
    ASSERT_EQ(chmod(good.c_str(), 0), 0);
    expectFailure(90, {"-in", good, "-out", path("o.jpg")}, "", asNobody);
    chmod(good.c_str(), 0644);
    ASSERT_EQ(mkdir(path("ro").c_str(), 0555), 0);
    ASSERT_EQ(chmod(path("ro").c_str(), 0555), 0);
    expectFailure(84, {"-in", good, "-out", path("ro/o.jpg")}, path("ro"), asNobody);
    // A read-only existing output: replacing it is the engine's choice, but whatever it
    // does must be complete and clean.
    writeBytes(path("taken.jpg"), "old");
    ASSERT_EQ(chmod(path("taken.jpg").c_str(), 0444), 0);
    RunResult r = run({"-in", good, "-out", path("taken.jpg")}, asNobody);
    expectCleanEnd(r);
    if (r.code == 0)
        EXPECT_EQ(inspect(path("taken.jpg")).format, "jpg");
    else
        EXPECT_TRUE(sameBytes(readBytes(path("taken.jpg")), "old"));
}

// A full disk: a small memory file system where the machine lets us mount one, otherwise a
// file size limit on the engine (writes then fail as on a full disk, with EFBIG).
TEST_F(ExitCodes, DiskFull84) {
    const std::string big = path("big.png");
    save(photoLike(1200, 900), big);
    const std::string mnt = path("small-disk");
    ASSERT_EQ(mkdir(mnt.c_str(), 0755), 0);
    if (geteuid() == 0 && mount("tmpfs", mnt.c_str(), "tmpfs", 0, "size=64k") == 0) {
        writeBytes(mnt + "/o.png", "previous output");
        expectFailure(84, {"-in", big, "-out", mnt + "/o.png", "-reducemode", "1"}, mnt);
        umount2(mnt.c_str(), MNT_DETACH);
        return;
    }
    writeBytes(path("o.png"), "previous output");
    RunOptions limited;
    limited.fileSizeLimit = 64 * 1024;
    const auto before = listDir(dir());
    RunResult r = run({"-in", big, "-out", path("o.png"), "-reducemode", "1"}, limited);
    expectCleanEnd(r);
    EXPECT_TRUE(r.code == 84 || r.code == 96) << r.describe();
    EXPECT_EQ(listDir(dir()), before) << "a temporary file was left behind";
    EXPECT_TRUE(sameBytes(readBytes(path("o.png")), "previous output"));
}

// A palette PNG needs the quantiser's working copy of the pixels, the last large
// allocation of the job. Where the address space runs out just there, that is out of
// memory (85, the run stops), not a file that cannot be encoded (93). Halving the limit
// between failing and succeeding ends right at that allocation. An image wider than the
// quantiser takes is no memory matter: it is written lossless instead.
TEST_F(ExitCodes, PaletteQuantiserOutOfMemory85) {
    const std::string in = path("in.png");
    save(photoLike(2000, 2000), in, "[compression=1]");
    const std::vector<std::string> args{"-in", in, "-out", path("o.png"), "-outformat", "png", "-quality", "40"};
    rlim_t failing = rlim_t(48) << 20, passing = rlim_t(1024) << 20;
    RunOptions limited;
    int failures = 0;
    while (passing - failing > (rlim_t(2) << 20)) {
        limited.addressSpaceLimit = (failing + passing) / 2;
        SCOPED_TRACE(std::to_string(limited.addressSpaceLimit >> 10) + " KiB address space");
        const auto before = listDir(dir());
        RunResult r = run(args, limited);
        ASSERT_TRUE(r.exited()) << r.describe();
        EXPECT_TRUE(r.code == 0 || r.code == 85) << r.describe();
        (r.code == 0 ? passing : failing) = limited.addressSpaceLimit;
        if (r.code != 0) {
            ++failures;
            EXPECT_EQ(listDir(dir()), before);
        }
        unlink(path("o.png").c_str());
    }
    EXPECT_GT(failures, 0) << "no limit failed: nothing was provoked";

    save(solid(8388608, 2, {20, 120, 220}), path("wide.png"));
    RunResult r = run({"-in", path("wide.png"), "-out", path("wide-out.png"), "-quality", "40"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_EQ(inspect(path("wide-out.png")).width, 8388608);
    EXPECT_TRUE(near(pixelAt(path("wide-out.png"), 8388000, 1), {20, 120, 220}, 0));
}

// Killed in the middle of its work, the engine leaves the previous output intact. Several
// moments, since where the kill lands (decoding, searching, writing) is up to the machine.
TEST_F(ExitCodes, KilledMidWayLeavesOutputIntact) {
    const std::string big = path("big.png");
    save(photoLike(4000, 3000), big, "[compression=1]");
    for (double at : {0.3, 0.8, 1.5, 3.0}) {
        SCOPED_TRACE("killed after " + std::to_string(at) + " s");
        writeBytes(path("o.avif"), "previous output");
        RunOptions brief;
        brief.timeoutSeconds = at;
        RunResult r = run({"-in", big, "-out", path("o.avif"), "-outformat", "avif", "-reducemode", "1"}, brief);
        if (r.timedOut)
            EXPECT_TRUE(sameBytes(readBytes(path("o.avif")), "previous output"));
    }
}

TEST_F(ExitCodes, SuccessLeavesOnlyTheOutput) {
    for (std::string fmt : {"jpg", "png", "webp", "gif", "avif"}) {
        RunResult r = run({"-in", good, "-out", path("o." + fmt), "-outformat", fmt});
        EXPECT_EXIT_CODE(r, 0);
        EXPECT_EQ(sniffFormat(path("o." + fmt)), fmt);
        EXPECT_TRUE(r.out.empty()) << "nothing to say on success" << r.describe();
    }
    expectFolderHolds({"good.jpg", "o.jpg", "o.png", "o.webp", "o.gif", "o.avif"});
}

} // namespace
