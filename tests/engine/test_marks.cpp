// The "already lightened" mark: written small, honoured on input (bytes copied only when
// the job would merely re-encode) and on output (left alone, exit 0).
#include "engine_process.h"
#include "image_tools.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

bool carriesMark(const std::string &file) {
    return readBytes(file).find("DravikMark") != std::string::npos;
}

class Marks : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        src = path("src.jpg");
        save(photoLike(640, 480), src, "[Q=95]");
    }
    // An output the engine itself wrote with its mark (JPEG unless asked otherwise).
    std::string marked(const std::string &name, const std::string &fmt = "jpg") {
        const std::string out = path(name);
        RunResult r = run({"-in", src, "-out", out, "-outformat", fmt, "-optmarkwrite", "on"});
        EXPECT_EXIT_CODE(r, 0);
        return out;
    }
    std::string src;
};

TEST_F(Marks, WrittenSmallIntoJpegAndPngOnly) {
    for (std::string fmt : {"jpg", "png"}) {
        SCOPED_TRACE(fmt);
        const std::string plain = path("plain." + fmt), withMark = path("mark." + fmt);
        RunResult r = run({"-in", src, "-out", plain, "-outformat", fmt, "-quality", "80"});
        ASSERT_EXIT_CODE(r, 0);
        r = run({"-in", src, "-out", withMark, "-outformat", fmt, "-quality", "80", "-optmarkwrite", "on"});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_FALSE(carriesMark(plain));
        EXPECT_TRUE(carriesMark(withMark));
        const long long extra = fileSize(withMark) - fileSize(plain);
        EXPECT_GT(extra, 0);
        EXPECT_LE(extra, 200) << "the mark should be a few tens of bytes";
        // Same pixels: the mark is metadata only.
        EXPECT_EQ(meanDifference(loadFirstPage(plain), loadFirstPage(withMark)), 0);
    }
    for (std::string fmt : {"webp", "gif", "avif"}) {
        SCOPED_TRACE(fmt);
        RunResult r = run({"-in", src, "-out", path("m." + fmt), "-outformat", fmt, "-optmarkwrite", "on", "-width", "100"});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_FALSE(carriesMark(path("m." + fmt)));
    }
}

TEST_F(Marks, SkipInCopiesOnlyPlainReencodes) {
    const std::string m = marked("marked.jpg");
    ASSERT_TRUE(carriesMark(m));
    const std::string mBytes = readBytes(m);
    auto job = [&](const std::string &in, std::vector<std::string> opts, const std::string &out) {
        std::vector<std::string> a{"-in", in, "-out", out, "-optmarkskipin", "auto"};
        a.insert(a.end(), opts.begin(), opts.end());
        RunResult r = run(a);
        EXPECT_EXIT_CODE(r, 0);
        return exists(out) ? readBytes(out) : std::string();
    };
    // Only a re-encode in its own format: copied, whatever the quality settings say.
    EXPECT_TRUE(sameBytes(job(m, {}, path("a.jpg")), mBytes));
    EXPECT_TRUE(sameBytes(job(m, {"-quality", "20"}, path("b.jpg")), mBytes));
    EXPECT_TRUE(sameBytes(job(m, {"-reducemode", "8", "-outformat", "jpg"}, path("c.jpg")), mBytes));
    EXPECT_TRUE(sameBytes(job(m, {"-outformat", "same", "-metadata", "strip"}, path("c2.jpg")), mBytes));
    EXPECT_TRUE(sameBytes(readBytes(m), mBytes));

    // Without skip-in the same job does re-encode.
    {
        RunResult r = run({"-in", m, "-out", path("d.jpg"), "-quality", "20"});
        ASSERT_EXIT_CODE(r, 0);
        EXPECT_FALSE(sameBytes(readBytes(path("d.jpg")), mBytes));
        EXPECT_LT(fileSize(path("d.jpg")), fileSize(m));
    }
    // Any real work is done in full.
    job(m, {"-width", "320"}, path("e.jpg"));
    EXPECT_EQ(inspect(path("e.jpg")).width, 320);
    job(m, {"-outformat", "png"}, path("f.png"));
    EXPECT_EQ(sniffFormat(path("f.png")), "png");
    const std::string st = path("stamp.png");
    save(solid(20, 20, {255, 0, 0, 255}), st);
    job(m, {"-stamp", st, "-stamppos", "topleft"}, path("g.jpg"));
    EXPECT_TRUE(near(pixelAt(path("g.jpg"), 10, 10), {255, 0, 0}, 40));
    const long long limitKiB = fileSize(m) / 1024 / 2;
    ASSERT_GE(limitKiB, 1);
    job(m, {"-jpegfilesizelimit", std::to_string(limitKiB)}, path("h.jpg"));
    EXPECT_LE(fileSize(path("h.jpg")), limitKiB * 1024);

    // An unmarked input is worked on.
    EXPECT_FALSE(sameBytes(job(src, {"-quality", "20"}, path("i.jpg")), readBytes(src)));

    // PNG marks count as well.
    const std::string mp = marked("marked.png", "png");
    ASSERT_TRUE(carriesMark(mp));
    EXPECT_TRUE(sameBytes(job(mp, {"-reducemode", "8"}, path("j.png")), readBytes(mp)));
}

// The mark is recognised in a file this engine did not write (e.g. one edited elsewhere
// that kept it), so detection reads the file, not some side record.
TEST_F(Marks, RecognisedByContent) {
    std::string jpeg = readBytes(src);
    const std::string payload = std::string("DravikMark") + '\0' + "lightened by dravik.bin 1.0.0";
    std::string seg = "\xFF\xEF";
    seg += char((payload.size() + 2) >> 8);
    seg += char((payload.size() + 2) & 0xFF);
    seg += payload;
    size_t at = 2;
    if (static_cast<unsigned char>(jpeg[3]) == 0xE0) // keep JFIF first
        at = 4 + ((static_cast<unsigned char>(jpeg[4]) << 8) | static_cast<unsigned char>(jpeg[5]));
    jpeg.insert(at, seg);
    writeBytes(path("foreign.jpg"), jpeg);
    ASSERT_TRUE(inspect(path("foreign.jpg")).ok);

    RunResult r = run({"-in", path("foreign.jpg"), "-out", path("out.jpg"), "-optmarkskipin", "auto"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(sameBytes(readBytes(path("out.jpg")), jpeg));

    // The same words in the pixels' neighbourhood but not as the mark segment do not count.
    std::string fake = readBytes(src);
    std::string com = "\xFF\xFE";
    com += char((payload.size() + 2) >> 8);
    com += char((payload.size() + 2) & 0xFF);
    com += payload;
    fake.insert(2, com);
    writeBytes(path("comment.jpg"), fake);
    r = run({"-in", path("comment.jpg"), "-out", path("out2.jpg"), "-optmarkskipin", "auto", "-quality", "20"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_FALSE(sameBytes(readBytes(path("out2.jpg")), fake));
}

TEST_F(Marks, SkipOutLeavesMarkedOutput) {
    const std::string out = marked("out.jpg");
    const std::string outBytes = readBytes(out);
    struct timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, out.c_str(), times, 0), 0);
    const std::string other = path("other.png");
    save(quadrants(300, 200), other);

    // A different input, different options: the marked output stays as it is.
    RunResult r = run({"-in", other, "-out", out, "-outformat", "jpg", "-optmarkskipout", "on", "-width", "100"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(sameBytes(readBytes(out), outBytes));
    struct stat st;
    ASSERT_EQ(stat(out.c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 1000000000) << "the file was rewritten";

    // The written name is what is checked: out + .jpg under -outext on.
    r = run({"-in", other, "-out", path("out"), "-outext", "on", "-outformat", "jpg", "-optmarkskipout", "on"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(sameBytes(readBytes(out), outBytes));

    // Skip-out off: replaced.
    r = run({"-in", other, "-out", out, "-outformat", "jpg", "-width", "100"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_EQ(inspect(out).width, 100);

    // An unmarked existing output is replaced even with skip-out on.
    r = run({"-in", other, "-out", out, "-outformat", "jpg", "-optmarkskipout", "on", "-width", "50"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_EQ(inspect(out).width, 50);

    // No output yet: written normally.
    r = run({"-in", other, "-out", path("new.png"), "-optmarkskipout", "on"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_EQ(inspect(path("new.png")).width, 300);
    expectFolderHolds({"src.jpg", "out.jpg", "other.png", "new.png"});
}

// The existing file counts by its own content: a marked JPEG stays even where this job
// would have written a PNG under that name.
TEST_F(Marks, SkipOutWhateverFormatTheJobWouldWrite) {
    const std::string out = marked("out.jpg");
    const std::string outBytes = readBytes(out);
    const std::string other = path("other.png");
    save(quadrants(300, 200), other);
    RunResult r = run({"-in", other, "-out", out, "-optmarkskipout", "on"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(sameBytes(readBytes(out), outBytes));
    r = run({"-in", other, "-out", out, "-optmarkskipout", "on", "-outformat", "webp"});
    ASSERT_EXIT_CODE(r, 0);
    EXPECT_TRUE(sameBytes(readBytes(out), outBytes));
}

} // namespace
