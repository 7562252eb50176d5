// The "already lightened" mark through the whole program: honoured on input (bytes copied
// only when the job would merely re-encode) and on output (left alone, exit 0), recognised
// by content in files this engine did not write. Writing it is in unit_files.cpp.
#include "engine_process.h"
#include "image_tools.h"

#include <fcntl.h>
#include <sys/stat.h>

using namespace dk;

namespace {

// The mark as another program would have kept it: an APP15 segment after JFIF, or the
// same words in a comment segment, which is not a mark.
std::string withSegment(std::string jpeg, const char *marker) {
    const std::string payload = std::string("DravikMark") + '\0' + "lightened by dravik.bin 1.0.0";
    std::string seg = marker;
    seg += char((payload.size() + 2) >> 8);
    seg += char((payload.size() + 2) & 0xFF);
    seg += payload;
    size_t at = 2;
    if (static_cast<unsigned char>(jpeg[3]) == 0xE0) // keep JFIF first
        at = 4 + ((static_cast<unsigned char>(jpeg[4]) << 8) | static_cast<unsigned char>(jpeg[5]));
    return jpeg.insert(at, seg);
}

class Marks : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        src = path("src.jpg");
        save(photoLike(640, 480), src, "[Q=95]");
        for (const char *fmt : {"jpg", "png"})
            ASSERT_EXIT_CODE(run({"-in", src, "-out", path(std::string("marked.") + fmt), "-outformat", fmt,
                                  "-optmarkwrite", "on"}), 0);
        writeBytes(path("foreign.jpg"), withSegment(readBytes(src), "\xFF\xEF"));
        writeBytes(path("comment.jpg"), withSegment(readBytes(src), "\xFF\xFE"));
        save(solid(20, 20, {255, 0, 0, 255}), path("stamp.png"));
    }
    std::string src;
};

TEST_F(Marks, SkipInCopiesOnlyPlainReencodesOfMarkedFiles) {
    struct Case {
        std::string in;
        std::vector<std::string> opts;
        bool copied;
    };
    const std::string halfKiB = std::to_string(fileSize(path("marked.jpg")) / 2048);
    const std::vector<Case> cases{
        {"marked.jpg", {}, true},
        {"marked.jpg", {"-quality", "20"}, true},
        {"marked.jpg", {"-reducemode", "8", "-outformat", "jpg", "-metadata", "strip"}, true},
        {"marked.png", {"-reducemode", "8"}, true},
        {"foreign.jpg", {}, true},
        // Any real work is done in full.
        {"marked.jpg", {"-width", "320"}, false},
        {"marked.jpg", {"-outformat", "png"}, false},
        {"marked.jpg", {"-stamp", "STAMP", "-stamppos", "topleft"}, false},
        {"marked.jpg", {"-jpegfilesizelimit", halfKiB}, false},
        // Unmarked inputs, or the words outside the mark's segment, are worked on.
        {"src.jpg", {"-quality", "20"}, false},
        {"comment.jpg", {"-quality", "20"}, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in + " " + testing::PrintToString(c.opts));
        const std::string inBytes = readBytes(path(c.in));
        std::vector<std::string> a{"-in", path(c.in), "-out", path("out"), "-optmarkskipin", "auto"};
        for (const auto &o : c.opts)
            a.push_back(o == "STAMP" ? path("stamp.png") : o);
        ASSERT_EXIT_CODE(run(a), 0);
        EXPECT_EQ(readBytes(path("out")) == inBytes, c.copied);
        EXPECT_TRUE(sameBytes(readBytes(path(c.in)), inBytes));
    }
    // Without skip-in the same job does re-encode.
    ASSERT_EXIT_CODE(run({"-in", path("marked.jpg"), "-out", path("out"), "-quality", "20"}), 0);
    EXPECT_LT(fileSize(path("out")), fileSize(path("marked.jpg")));
}

TEST_F(Marks, SkipOutLeavesAMarkedOutputWhateverTheJob) {
    const std::string out = path("marked.jpg");
    const std::string outBytes = readBytes(out);
    struct timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, out.c_str(), times, 0), 0);
    save(quadrants(300, 200), path("other.png"));
    // A different input, different options, another format, or the name -outext writes.
    for (auto job : {std::vector<std::string>{"-out", out, "-outformat", "jpg", "-width", "100"},
                     {"-out", out},
                     {"-out", out, "-outformat", "webp"},
                     {"-out", path("marked"), "-outext", "on", "-outformat", "jpg"}}) {
        SCOPED_TRACE(testing::PrintToString(job));
        job.insert(job.end(), {"-in", path("other.png"), "-optmarkskipout", "on"});
        ASSERT_EXIT_CODE(run(job), 0);
        EXPECT_TRUE(sameBytes(readBytes(out), outBytes));
    }
    struct stat st;
    ASSERT_EQ(stat(out.c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 1000000000) << "the file was rewritten";

    // Skip-out off replaces it; an unmarked output is replaced even with skip-out on.
    ASSERT_EXIT_CODE(run({"-in", path("other.png"), "-out", out, "-outformat", "jpg", "-width", "100"}), 0);
    EXPECT_EQ(inspect(out).width, 100);
    ASSERT_EXIT_CODE(run({"-in", path("other.png"), "-out", out, "-outformat", "jpg", "-optmarkskipout", "on",
                          "-width", "50"}), 0);
    EXPECT_EQ(inspect(out).width, 50);
}

} // namespace
