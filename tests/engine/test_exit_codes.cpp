// Every exit code the engine can be made to give from outside, each by a real case, and
// what a failure must leave behind: a reason on standard error, no output, no temporary
// file, the input and any existing output exactly as they were.
#include "engine_process.h"
#include "hostile.h"
#include "image_tools.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

class ExitCodes : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        good = path("good.jpg");
        save(photoLike(300, 200), good, "[Q=90]");
    }
    // Runs a job that must fail with `code` and leave the folder as it was (plus nothing).
    RunResult expectFailure(int code, const std::vector<std::string> &args,
                            const std::string &folder = "", const RunOptions &opts = {}) {
        const std::string d = folder.empty() ? dir() : folder;
        const auto before = listDir(d);
        std::vector<std::pair<std::string, std::string>> contents;
        for (const auto &n : before) {
            struct stat st;
            if (stat((d + "/" + n).c_str(), &st) == 0 && S_ISREG(st.st_mode))
                contents.emplace_back(n, readBytes(d + "/" + n));
        }
        RunResult r = run(args, opts);
        EXPECT_EXIT_CODE(r, code);
        expectCleanEnd(r);
        EXPECT_EQ(listDir(d), before) << "files appeared or vanished" << r.describe();
        for (const auto &[n, bytes] : contents)
            EXPECT_TRUE(sameBytes(readBytes(d + "/" + n), bytes)) << n << " changed";
        return r;
    }
    std::string write(const std::string &name, const std::string &bytes) {
        writeBytes(path(name), bytes);
        return path(name);
    }
    std::string good;
};

TEST_F(ExitCodes, NotAnImage82) {
    expectFailure(82, {"-in", write("text.jpg", "just some words, not a picture\n"), "-out", path("o.jpg")});
    std::string noise;
    for (int i = 0; i < 4096; ++i)
        noise += char((i * 7919 + 13) % 251);
    expectFailure(82, {"-in", write("noise.png", noise), "-out", path("o.png")});
    expectFailure(82, {"-in", write("empty.jpg", ""), "-out", path("o.jpg")});
    expectFailure(82, {"-in", write("page.html", "<html><body>hi</body></html>"), "-out", path("o.jpg"), "-outext", "on"});
}

TEST_F(ExitCodes, CannotRead90) {
    expectFailure(90, {"-in", path("missing.jpg"), "-out", path("o.jpg")});
    ASSERT_EQ(symlink(path("nowhere.jpg").c_str(), path("dangling.jpg").c_str()), 0);
    expectFailure(90, {"-in", path("dangling.jpg"), "-out", path("o.jpg")});
    ASSERT_EQ(mkdir(path("folder.jpg").c_str(), 0755), 0);
    expectFailure(90, {"-in", path("folder.jpg"), "-out", path("o.jpg")});
    expectFailure(90, {"-in", path("good.jpg/inside.jpg"), "-out", path("o.jpg")});
}

// Permission bits do not stop root: as root the engine runs as "nobody" for these cases.
class Permissions : public ExitCodes {
protected:
    void SetUp() override {
        ExitCodes::SetUp();
        ASSERT_EQ(chmod(dir().c_str(), 0777), 0);
        if (geteuid() == 0)
            opts.runAsUser = 65534;
    }
    RunOptions opts;
};

TEST_F(Permissions, UnreadableInput90) {
    ASSERT_EQ(chmod(good.c_str(), 0), 0);
    expectFailure(90, {"-in", good, "-out", path("o.jpg")}, "", opts);
    chmod(good.c_str(), 0644);
}

TEST_F(Permissions, ReadOnlyFolder84AndReadOnlyFile) {
    ASSERT_EQ(mkdir(path("ro").c_str(), 0555), 0);
    ASSERT_EQ(chmod(path("ro").c_str(), 0555), 0);
    expectFailure(84, {"-in", good, "-out", path("ro/o.jpg")}, path("ro"), opts);
    // A read-only existing output in a writable folder: replacing it is the engine's choice,
    // but whatever it does must be complete and clean.
    writeBytes(path("taken.jpg"), "old");
    ASSERT_EQ(chmod(path("taken.jpg").c_str(), 0444), 0);
    RunResult r = run({"-in", good, "-out", path("taken.jpg")}, opts);
    expectCleanEnd(r);
    if (r.code == 0)
        EXPECT_EQ(inspect(path("taken.jpg")).format, "jpg");
    else
        EXPECT_TRUE(sameBytes(readBytes(path("taken.jpg")), "old"));
}

TEST_F(ExitCodes, Damaged91) {
    const std::string photoPng = path("p.png");
    save(photoLike(400, 300), photoPng);
    const std::string png = readBytes(photoPng);
    const std::string jpg = readBytes(good);
    save(photoLike(200, 150), path("p.gif"));
    const std::string gif = readBytes(path("p.gif"));
    save(photoLike(400, 300), path("p.webp"), "[Q=90]");
    const std::string webp = readBytes(path("p.webp"));
    unlink(path("p.gif").c_str());
    unlink(path("p.webp").c_str());

    expectFailure(91, {"-in", write("cut.png", truncated(png, 0.6)), "-out", path("o.png")});
    expectFailure(91, {"-in", write("cut.jpg", truncated(jpg, 0.6)), "-out", path("o.jpg")});
    expectFailure(91, {"-in", write("cut.gif", truncated(gif, 0.6)), "-out", path("o.gif")});
    expectFailure(91, {"-in", write("cut.webp", truncated(webp, 0.6)), "-out", path("o.webp")});
    // Compressed data scrambled after the headers: the PNG checksums catch it.
    expectFailure(91, {"-in", write("flipped.png", bitFlipped(png, 40, 7, 200)), "-out", path("o.png")});
    // Also when resizing, where a lenient decoder would never read the damaged rows in full.
    expectFailure(91, {"-in", path("cut.jpg"), "-out", path("o.jpg"), "-width", "50"});
    expectFailure(91, {"-in", path("cut.png"), "-out", path("o.jpg"), "-outformat", "jpg", "-longside", "64"});
}

TEST_F(ExitCodes, TooLarge92) {
    expectFailure(92, {"-in", write("huge.png", pngDeclaring(20000, 20000)), "-out", path("o.png")});
    expectFailure(92, {"-in", write("huge.jpg", jpegDeclaring(65000, 65000)), "-out", path("o.jpg")});
    expectFailure(92, {"-in", write("huge.gif", gifDeclaring(30000, 30000)), "-out", path("o.gif")});
    // A resize does not make the input any smaller to decode.
    expectFailure(92, {"-in", path("huge.jpg"), "-out", path("o.jpg"), "-width", "100"});
    expectFailure(92, {"-in", path("huge.png"), "-out", path("o.jpg"), "-zoom", "1"});
}

TEST_F(ExitCodes, CannotEncode93) {
    // Few pixels, but wider than WebP (16383) or JPEG and GIF (65535) allow.
    save(solid(17000, 8, {20, 120, 220}), path("wide.png"));
    expectFailure(93, {"-in", path("wide.png"), "-out", path("o.webp"), "-outformat", "webp"});
    save(solid(70000, 2, {20, 120, 220}), path("wider.png"));
    expectFailure(93, {"-in", path("wider.png"), "-out", path("o.jpg"), "-outformat", "jpg"});
    expectFailure(93, {"-in", path("wider.png"), "-out", path("o.gif"), "-outformat", "gif"});
    // Made too wide by the resize.
    save(solid(2000, 4, {20, 120, 220}), path("strip.png"));
    expectFailure(93, {"-in", path("strip.png"), "-out", path("o.webp"), "-outformat", "webp", "-width", "20000"});
    // The same pictures are fine where the format allows them.
    RunResult r = run({"-in", path("wider.png"), "-out", path("o.png"), "-outformat", "png"});
    EXPECT_EXIT_CODE(r, 0);
    EXPECT_EQ(inspect(path("o.png")).width, 70000);
    r = run({"-in", path("wide.png"), "-out", path("o.jpg"), "-outformat", "jpg"});
    EXPECT_EXIT_CODE(r, 0);
}

TEST_F(ExitCodes, OutputFileNotWritable96) {
    ASSERT_EQ(mkdir(path("taken").c_str(), 0755), 0);
    expectFailure(96, {"-in", good, "-out", path("taken")});
    ASSERT_EQ(mkdir(path("taken2.jpg").c_str(), 0755), 0);
    expectFailure(96, {"-in", good, "-out", path("taken2"), "-outext", "on"});
    expectFailure(96, {"-in", good, "-out", path(std::string(300, 'n') + ".jpg")});
}

TEST_F(ExitCodes, StampProblems83) {
    expectFailure(83, {"-in", good, "-out", path("o.jpg"), "-stamp", path("nostamp.png")});
    expectFailure(83, {"-in", good, "-out", path("o.jpg"), "-stamp", write("stamp.png", "not a picture at all")});
    ASSERT_EQ(mkdir(path("stampdir").c_str(), 0755), 0);
    expectFailure(83, {"-in", good, "-out", path("o.jpg"), "-stamp", path("stampdir")});
    save(solid(40, 40, {255, 0, 0, 255}), path("real.png"));
    write("cutstamp.png", truncated(readBytes(path("real.png")), 0.5));
    expectFailure(83, {"-in", good, "-out", path("o.jpg"), "-stamp", path("cutstamp.png")});
    // A stamp problem stops the run even when this input is itself unusable: checked first
    // or not, the code must not be a continue-code for a problem that repeats on every file.
    RunResult r = run({"-in", write("text.jpg", "words"), "-out", path("o.jpg"), "-stamp", path("nostamp.png")});
    EXPECT_TRUE(r.code == 83 || r.code == 82) << r.describe();
}

TEST_F(ExitCodes, OutputFolder84) {
    expectFailure(84, {"-in", good, "-out", path("no/such/folder/o.jpg")});
    expectFailure(84, {"-in", good, "-out", path("good.jpg/o.jpg")});
    if (geteuid() == 0) {
        // Root writes through permission bits, but not into sysfs.
        expectFailure(84, {"-in", good, "-out", "/sys/dravik-enginetest-o.jpg"}, "/sys");
    } else {
        ASSERT_EQ(mkdir(path("ro").c_str(), 0555), 0);
        expectFailure(84, {"-in", good, "-out", path("ro/o.jpg")}, path("ro"));
    }
}

// A full disk: a small memory file system where the machine lets us mount one, otherwise a
// file size limit on the engine (writes then fail as on a full disk, with EFBIG).
TEST_F(ExitCodes, DiskFull84) {
    const std::string big = path("big.png");
    save(photoLike(1200, 900), big);
    const std::string mnt = path("small-disk");
    ASSERT_EQ(mkdir(mnt.c_str(), 0755), 0);
    const bool mounted = geteuid() == 0 && mount("tmpfs", mnt.c_str(), "tmpfs", 0, "size=64k") == 0;
    if (mounted) {
        writeBytes(mnt + "/o.png", "previous output");
        RunResult r = expectFailure(84, {"-in", big, "-out", mnt + "/o.png", "-reducemode", "1"}, mnt);
        EXPECT_TRUE(sameBytes(readBytes(mnt + "/o.png"), "previous output"));
        umount2(mnt.c_str(), MNT_DETACH);
    } else {
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
}

// Out of memory cannot be caused reliably from outside; an address-space limit on the
// engine is the nearest thing. Whatever it does then, it must end by a code, not a crash.
TEST_F(ExitCodes, MemoryLimitEndsCleanly) {
    const std::string big = path("big.jpg");
    save(photoLike(3000, 2000), big, "[Q=90]");
    // Below about 100 MB the dynamic loader itself fails (exit 127) before the engine runs.
    for (rlim_t mb : {160, 200, 300}) {
        for (auto job : {std::vector<std::string>{"-outformat", "png", "-reducemode", "3"},
                         {"-outformat", "avif", "-quality", "60", "-width", "1500"}}) {
            SCOPED_TRACE(std::to_string(mb) + " MB address space, " + testing::PrintToString(job));
            RunOptions limited;
            limited.addressSpaceLimit = mb * 1024 * 1024;
            const auto before = listDir(dir());
            std::vector<std::string> args{"-in", big, "-out", path("o")};
            args.insert(args.end(), job.begin(), job.end());
            RunResult r = run(args, limited);
            expectCleanEnd(r);
            EXPECT_TRUE(r.code == 0 || r.code == 85) << r.describe();
            if (r.code != 0)
                EXPECT_EQ(listDir(dir()), before);
            unlink(path("o").c_str());
        }
    }
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
    rlim_t failing = rlim_t(120) << 20, passing = rlim_t(1024) << 20;
    RunOptions limited;
    limited.addressSpaceLimit = passing;
    ASSERT_EXIT_CODE(run(args, limited), 0);
    unlink(path("o.png").c_str());
    int failures = 0;
    while (passing - failing > (rlim_t(512) << 10)) {
        limited.addressSpaceLimit = (failing + passing) / 2;
        SCOPED_TRACE(std::to_string(limited.addressSpaceLimit >> 10) + " KiB address space");
        const auto before = listDir(dir());
        RunResult r = run(args, limited);
        expectCleanEnd(r);
        ASSERT_TRUE(r.exited()) << r.describe();
        EXPECT_TRUE(r.code == 0 || r.code == 85) << r.describe();
        if (r.code == 0) {
            passing = limited.addressSpaceLimit;
            unlink(path("o.png").c_str());
        } else {
            failing = limited.addressSpaceLimit;
            ++failures;
            EXPECT_EQ(listDir(dir()), before);
        }
    }
    EXPECT_GT(failures, 0) << "no limit failed: nothing was provoked";

    save(solid(8388608, 2, {20, 120, 220}), path("wide.png"));
    for (std::string level : {"-quality", "-reducemode"}) {
        SCOPED_TRACE(level);
        RunResult r = run({"-in", path("wide.png"), "-out", path("wide-out.png"), level, level == "-quality" ? "40" : "3"});
        ASSERT_EXIT_CODE(r, 0);
        ImageInfo o = inspect(path("wide-out.png"));
        EXPECT_EQ(std::make_pair(o.width, o.height), std::make_pair(8388608, 2));
        EXPECT_TRUE(near(pixelAt(path("wide-out.png"), 8388000, 1), {20, 120, 220}, 0));
        unlink(path("wide-out.png").c_str());
    }
}

// Killed in the middle of its work, the engine leaves the previous output intact and no
// output of its own under the output name. Several moments, since where the kill lands
// (decoding, searching, writing) is up to the machine.
TEST_F(ExitCodes, KilledMidWayLeavesOutputIntact) {
    const std::string big = path("big.png");
    save(photoLike(4000, 3000), big, "[compression=1]");
    int interrupted = 0;
    for (double at : {0.3, 0.8, 1.5, 3.0}) {
        SCOPED_TRACE("killed after " + std::to_string(at) + " s");
        writeBytes(path("o.avif"), "previous output");
        RunOptions brief;
        brief.timeoutSeconds = at;
        RunResult r = run({"-in", big, "-out", path("o.avif"), "-outformat", "avif", "-reducemode", "1"}, brief);
        if (!r.timedOut)
            continue;
        ++interrupted;
        EXPECT_TRUE(sameBytes(readBytes(path("o.avif")), "previous output"));
        // A temporary file may survive a kill; clear it for the next round.
        for (const auto &n : listDir(dir()))
            if (n != "big.png" && n != "o.avif")
                unlink(path(n).c_str());
    }
    if (interrupted == 0)
        GTEST_SKIP() << "every encode finished before the kill; nothing was interrupted";
}

TEST_F(ExitCodes, SuccessLeavesOnlyTheOutput) {
    for (std::string fmt : {"jpg", "png", "webp", "gif", "avif"}) {
        RunResult r = run({"-in", good, "-out", path("o." + fmt), "-outformat", fmt});
        EXPECT_EXIT_CODE(r, 0);
        EXPECT_EQ(sniffFormat(path("o." + fmt)), fmt);
        EXPECT_TRUE(r.out.empty()) << "nothing to say on success" << r.describe();
    }
    // Replacing an existing output is a success too.
    RunResult r = run({"-in", good, "-out", path("o.jpg"), "-quality", "50"});
    EXPECT_EXIT_CODE(r, 0);
    expectFolderHolds({"good.jpg", "o.jpg", "o.png", "o.webp", "o.gif", "o.avif"});
}

} // namespace
