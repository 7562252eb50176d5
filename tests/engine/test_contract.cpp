// The engine's promises whatever the image: every exit code from real cases, and what a
// failure leaves behind (a one-line reason, the input and any existing output exactly as
// they were, no output, no temporary file), also when killed or out of disk.
#include "support.h"

#include <random>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace dk;

namespace {

std::string be32(std::uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

// A PNG whose header declares any size over a token of data.
std::string pngDeclaring(std::uint32_t width, std::uint32_t height) {
    const std::string idat("\x78\x01\x01\x04\x00\xFB\xFF\x00\x00\x00\x00\x00\x04\x00\x01", 15);
    return std::string("\x89PNG\r\n\x1A\n", 8) + pngChunk("IHDR", be32(width) + be32(height) + std::string("\x08\x02\0\0\0", 5)) +
           pngChunk("IDAT", idat) + pngChunk("IEND", "");
}

// A real small baseline JPEG whose frame header is patched to any size.
std::string jpegDeclaring(const std::string &scratch, std::uint16_t width, std::uint16_t height) {
    save(solid(16, 16, {90, 140, 200}), scratch, "[Q=80,strip=true]");
    std::string b = readBytes(scratch);
    unlink(scratch.c_str());
    const size_t sof = b.find("\xFF\xC0");
    b.replace(sof + 5, 4, {char(height >> 8), char(height), char(width >> 8), char(width)});
    return b;
}

std::string truncated(const std::string &bytes, double keep) { return bytes.substr(0, size_t(double(bytes.size()) * keep)); }

std::string bitFlipped(std::string bytes, int flips, unsigned seed, size_t from, size_t to) {
    std::mt19937 rng(seed);
    for (int i = 0; i < flips; ++i)
        bytes[std::uniform_int_distribution<size_t>(from, std::min(to, bytes.size()) - 1)(rng)] ^= char(1 << (rng() % 8));
    return bytes;
}

class Contract : public EngineTest {
protected:
    std::string write(const std::string &name, const std::string &bytes) {
        writeBytes(path(name), bytes);
        return path(name);
    }
    std::string saved(const std::string &name, const VImage &im, const std::string &options = "") {
        save(im, path(name), options);
        return path(name);
    }
};

TEST_F(Contract, VersionLine) {
    const RunResult r = run({"-version"});
    EXPECT_EXIT_CODE(r, 0);
    EXPECT_EQ(r.out, std::string("Dravik  Version ") + DRAVIK_EXPECTED_ENGINE_VERSION + "\n");
}

// Each code of the table from the cases that must give it, nothing touched each time.
TEST_F(Contract, EachFailureItsCodeAndNothingTouched) {
    const std::string good = saved("good.jpg", photoLike(120, 80), "[Q=90]");
    const std::string png = readBytes(saved("p.png", photoLike(200, 150)));
    const std::string stamp = readBytes(saved("stamp.png", solid(40, 40, {255, 0, 0, 255})));
    const std::string o = write("o.jpg", "previous output"), op = write("o.png", "previous output");
    ASSERT_EQ(symlink(good.c_str(), path("link.jpg").c_str()), 0);
    ASSERT_EQ(mkdir(path("taken").c_str(), 0755), 0);
    saved("wide.png", solid(17000, 8, {20, 120, 220}));
    saved("wider.png", solid(70000, 2, {20, 120, 220}));
    VImage noise = VImage::gaussnoise(800, 800, VImage::option()->set("sigma", 80.0));
    saved("noise.png", VImage::bandjoin(std::vector<VImage>{noise, noise.rot180(), noise.fliphor()}).cast(VIPS_FORMAT_UCHAR));
    const std::vector<std::pair<int, Args>> cases{
        {1, {}},
        {77, {"-in", good, "-out", o, "-foo", "1"}},
        {77, {"-in", good, "-out", o, "-quality", "80", "-quality", "80"}},
        {77, {"-in", good, "-out", o, "-quality"}},
        {77, {"-in", good, "-out", o, "-version"}},
        {77, {"-in", good, "-out", o, "-reducemode", "9"}},
        {77, {"-in", good, "-out", o, "-resizefit", "outer", "-width", "20"}},
        {77, {"-in", good, "-out", o, "-width", "20", "-zoom", "50"}},
        {77, {"-in", path("missing.jpg"), "-out", o, "-bogus", "1"}}, // options are checked first
        {77, {"-in", good, "-out", good}},
        {77, {"-in", good, "-out", path("link.jpg")}},
        {77, {"-in", good, "-out", path("good"), "-outext", "on"}},
        {82, {"-in", write("text.jpg", "just some words, not a picture\n"), "-out", o}},
        {82, {"-in", write("empty.jpg", ""), "-out", o}},
        {90, {"-in", path("missing.jpg"), "-out", o}},
        {91, {"-in", write("cut.png", truncated(png, 0.6)), "-out", op}},
        {91, {"-in", write("cut.jpg", truncated(readBytes(good), 0.6)), "-out", o}},
        {91, {"-in", write("flipped.png", bitFlipped(png, 40, 7, 200, png.size())), "-out", op}},
        {91, {"-in", path("cut.jpg"), "-out", o, "-width", "50"}}, // shrinking must not skip the damage
        {91, {"-in", path("cut.jpg"), "-out", o, "-quality", "95"}}, // nor rewriting the stored coefficients
        {92, {"-in", write("huge.png", pngDeclaring(20000, 20000)), "-out", op}},
        {92, {"-in", write("huge.jpg", jpegDeclaring(path("j.jpg"), 65000, 65000)), "-out", o}},
        {92, {"-in", path("huge.png"), "-out", o, "-zoom", "1"}}, // the limit is on what is decoded
        {93, {"-in", path("wide.png"), "-out", path("o.webp"), "-outformat", "webp"}},
        {93, {"-in", path("wider.png"), "-out", o, "-outformat", "jpg"}},
        {94, {"-in", path("noise.png"), "-out", o, "-outformat", "jpg", "-quality", "50", "-jpegfilesizelimit", "1"}},
        {96, {"-in", good, "-out", path("taken")}},
        {96, {"-in", good, "-out", path(std::string(300, 'n') + ".jpg")}},
        {83, {"-in", good, "-out", o, "-stamp", path("nostamp.png")}},
        {83, {"-in", good, "-out", o, "-stamp", write("cut-stamp.png", truncated(stamp, 0.5))}},
        {84, {"-in", good, "-out", path("no/such/folder/o.jpg")}},
    };
    for (const auto &[code, args] : cases) {
        SCOPED_TRACE(testing::PrintToString(args));
        expectFailure(code, args);
    }
    // Where the format allows the size, the same picture is fine.
    ASSERT_EXIT_CODE(job(path("wider.png"), path("wide-out.png"), {"-outformat", "png"}), 0);
    EXPECT_EQ(inspect(path("wide-out.png")).width, 70000);
}

// Permission bits, a read-only folder and a full disk: the input and the previous output
// survive and no temporary file is left.
TEST_F(Contract, UnreadableInputReadOnlyFolderFullDisk) {
    RunOptions asUser;
    if (geteuid() == 0) // permission bits do not stop root
        asUser.runAsUser = 65534;
    const std::string good = path("good.png");
    save(photoLike(600, 450), good);
    ASSERT_EQ(chmod(dir().c_str(), 0777), 0);
    ASSERT_EQ(chmod(good.c_str(), 0), 0);
    expectFailure(90, {"-in", good, "-out", path("o.jpg")}, "", asUser);
    ASSERT_EQ(chmod(good.c_str(), 0644), 0);
    ASSERT_EQ(mkdir(path("ro").c_str(), 0555), 0);
    ASSERT_EQ(chmod(path("ro").c_str(), 0555), 0);
    expectFailure(84, {"-in", good, "-out", path("ro/o.jpg")}, path("ro"), asUser);

    // A small memory file system where we may mount one; otherwise a file size limit,
    // under which writes fail with EFBIG as on a full disk.
    const std::string disk = path("disk");
    ASSERT_EQ(mkdir(disk.c_str(), 0777), 0);
    RunOptions limited;
    const bool mounted = geteuid() == 0 && mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=64k") == 0;
    if (!mounted)
        limited.fileSizeLimit = 64 * 1024;
    writeBytes(disk + "/o.png", "previous output");
    expectFailure(84, {"-in", good, "-out", disk + "/o.png", "-reducemode", "1"}, disk, limited);
    if (mounted)
        umount2(disk.c_str(), MNT_DETACH);
}

// Killed while decoding, searching or writing (where the kill lands is up to the
// machine), the engine leaves the previous output intact and nothing else.
TEST_F(Contract, KilledMidWayLeavesOutputIntact) {
    const std::string big = path("big.png");
    save(photoLike(2400, 1800), big, "[compression=1]");
    int killed = 0;
    for (double at : {0.3, 1.0, 2.5}) {
        SCOPED_TRACE("killed after " + std::to_string(at) + " s");
        writeBytes(path("o.avif"), "previous output");
        RunOptions brief;
        brief.timeoutSeconds = at;
        const RunResult r = run({"-in", big, "-out", path("o.avif"), "-outformat", "avif", "-reducemode", "1"}, brief);
        killed += r.timedOut;
        if (r.timedOut)
            EXPECT_EQ(readBytes(path("o.avif")), "previous output");
        EXPECT_EQ(listDir(dir()), (std::vector<std::string>{"big.png", "o.avif"}));
    }
    EXPECT_GT(killed, 0) << "the engine finished before every kill: nothing was shown";
}

// Damaged versions of every input format, through a plain re-encode and resizes into
// other formats: each ends by a code of the table within seconds, never by
// a signal; a success is a readable image; the input is never changed.
TEST_F(Contract, DamagedInputsEndInACode) {
    const std::vector<std::pair<std::string, std::string>> sources{
        {"in.jpg", "[Q=85]"}, {"in.png", ""}, {"in.gif", ""}, {"in.webp", "[Q=80]"}, {"in.avif", "[Q=60,effort=0]"}};
    const std::vector<Args> jobs{{}, {"-outformat", "jpg", "-width", "64"}, {"-outformat", "png", "-zoom", "50"}};
    int n = 0;
    for (const auto &[name, options] : sources) {
        save(photoLike(160, 120), path(name), options);
        const std::string bytes = readBytes(path(name));
        std::vector<std::string> damaged{"", truncated(bytes, 0.1), truncated(bytes, 0.5), truncated(bytes, 0.95),
                                         bitFlipped(bytes, 12, 1, 64, bytes.size()), bitFlipped(bytes, 3, 2, 0, 64)};
        if (name == "in.png") // sizes no decoder should believe
            damaged.insert(damaged.end(), {pngDeclaring(0, 100), pngDeclaring(0x7FFFFFFF, 1), pngDeclaring(~0u, ~0u)});
        for (const std::string &d : damaged) {
            SCOPED_TRACE(name + ", damage " + std::to_string(n));
            writeBytes(path(name), d);
            const RunResult r = job(path(name), path("out"), jobs[n++ % jobs.size()]);
            expectCleanEnd(r);
            EXPECT_EQ(readBytes(path(name)), d) << "the input was changed";
            // A success is a readable image; a failure leaves only the input.
            EXPECT_EQ(listDir(dir()).size(), r.code == 0 ? 2u : 1u) << r.describe();
            EXPECT_TRUE(r.code != 0 || inspect(path("out")).ok) << r.describe();
            unlink(path("out").c_str());
        }
        unlink(path(name).c_str());
    }
}

} // namespace
