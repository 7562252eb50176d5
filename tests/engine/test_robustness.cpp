// Damaged and hostile input, a short version of bench/engine_robustness.sh: every run ends
// within seconds by a code of the table, never by a signal; a failure leaves no output and
// no temporary file; the input's bytes are never changed; a success is a readable image.
#include "engine_process.h"
#include "hostile.h"
#include "image_tools.h"

#include <functional>
#include <unistd.h>

using namespace dk;
using vips::VImage;

namespace {

struct Source {
    const char *name;
    std::function<std::string(const std::string &dir)> make; // returns the file's bytes
};

void PrintTo(const Source &s, std::ostream *os) { *os << s.name; }

std::string fromCorpus(const char *file) { return readBytes(corpusFile(file)); }

std::string generated(const std::string &dir, const std::string &file, VImage im, const std::string &opts) {
    save(im, dir + "/" + file, opts);
    std::string b = readBytes(dir + "/" + file);
    unlink((dir + "/" + file).c_str());
    return b;
}

const Source kSources[] = {
    {"jpeg", [](const std::string &) { return fromCorpus("apple-orchard-truck-from-camera.jpg"); }},
    {"png", [](const std::string &) { return fromCorpus("gimp-prefs-color-management.png"); }},
    {"gif", [](const std::string &) { return fromCorpus("traffic_light.gif"); }},
    {"webp", [](const std::string &) { return fromCorpus("traffic_light_anim.webp"); }},
    {"avif", [](const std::string &d) { return generated(d, "g.avif", photoLike(240, 160), "[Q=60,effort=0]"); }},
    {"png16alpha", [](const std::string &d) {
         return generated(d, "g.png", to16Bit(quadrants(200, 120, true)), "");
     }},
    {"jpegprogressive", [](const std::string &d) {
         return generated(d, "g.jpg", photoLike(300, 200), "[Q=85,interlace=true]");
     }},
};

class DamageFeeder : public EngineTest {
protected:
    // One damaged file through one job; everything promised for any input is checked.
    void feed(const std::string &label, const std::string &bytes, const std::string &ext,
              const std::vector<std::string> &extra) {
        SCOPED_TRACE(label);
        const std::string in = path("in" + ext);
        writeBytes(in, bytes);
        const std::string out = path("out" + ext);
        std::vector<std::string> args{"-in", in, "-out", out};
        args.insert(args.end(), extra.begin(), extra.end());
        RunOptions opts;
        opts.timeoutSeconds = 30;
        RunResult r = run(args, opts);
        expectCleanEnd(r);
        EXPECT_TRUE(sameBytes(readBytes(in), bytes)) << "the input was modified";
        if (r.exited() && r.code == 0) {
            ImageInfo i = inspect(out);
            EXPECT_TRUE(i.ok) << "a success must be a readable image: " << i.error << r.describe();
            expectFolderHolds({"in" + ext, "out" + ext});
        } else {
            expectFolderHolds({"in" + ext});
        }
        unlink(out.c_str());
        unlink(in.c_str());
    }
};

class Robustness : public DamageFeeder, public testing::WithParamInterface<Source> {};

TEST_P(Robustness, DamagedVersions) {
    const Source s = GetParam();
    const std::string bytes = s.make(dir());
    ASSERT_GT(bytes.size(), 100u);
    const std::string ext = "." + std::string(s.name).substr(0, 4);
    // Alternate jobs so damage meets different code paths: plain re-encode, resize into
    // another format, and a stamp.
    const std::vector<std::vector<std::string>> jobs{
        {}, {"-outformat", "jpg", "-width", "64"}, {"-outformat", "png", "-zoom", "50"}};
    int n = 0;
    auto job = [&] { return jobs[n++ % jobs.size()]; };

    feed("zero length", "", ext, job());
    for (double keep : {0.01, 0.1, 0.5, 0.9, 0.99})
        feed("truncated to " + std::to_string(keep), truncated(bytes, keep), ext, job());
    for (unsigned seed : {1u, 2u, 3u})
        feed("bits flipped in the data, seed " + std::to_string(seed), bitFlipped(bytes, 12, seed, 64), ext, job());
    for (unsigned seed : {4u, 5u})
        feed("bits flipped in the header, seed " + std::to_string(seed),
             bitFlipped(bytes.substr(0, 64), 3, seed) + bytes.substr(64), ext, job());
}

INSTANTIATE_TEST_SUITE_P(Inputs, Robustness, testing::ValuesIn(kSources),
                         [](const testing::TestParamInfo<Source> &i) { return i.param.name; });

class HostileHeaders : public DamageFeeder {};

TEST_F(HostileHeaders, EndInACodeQuickly) {
    for (const auto &h : hostileHeaders()) {
        const std::string ext = h.name.substr(h.name.rfind('.'));
        feed(h.name, h.bytes, ext, {});
        feed(h.name + " resized", h.bytes, ext, {"-outformat", "jpg", "-longside", "100"});
    }
}

} // namespace
