#include "support.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <map>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <zlib.h>

namespace fs = std::filesystem;

namespace dk {

std::string RunResult::describe() const {
    const std::string ended = timedOut ? "timed out" : signal ? "signal " + std::to_string(signal) : "exit " + std::to_string(code);
    return "\n  command: " + commandLine + "\n  ended: " + ended + "\n  stderr: " + err.substr(0, 600) + "\n  stdout: " + out.substr(0, 300);
}

::testing::AssertionResult endedWith(const char *, const char *, const RunResult &r, int code) {
    if (r.exited() && r.code == code)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "expected exit " << code << r.describe();
}

static void setLimit(int resource, rlim_t value) {
    const struct rlimit rl{value, value};
    setrlimit(resource, &rl);
}

RunResult runProgram(const std::string &program, const Args &args, const RunOptions &options) {
    RunResult result;
    Args words{program};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (auto &w : words) {
        result.commandLine += "'" + w + "' ";
        argv.push_back(w.data());
    }
    argv.push_back(nullptr);
    // Output goes to unlinked temporary files rather than pipes: nothing blocks on a full pipe.
    FILE *out = std::tmpfile(), *err = std::tmpfile();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(options.timeoutSeconds);
    const pid_t pid = fork();
    if (pid == 0) {
        // Only async-signal-safe calls until exec: this process has vips threads.
        setpgid(0, 0);
        dup2(fileno(out), 1);
        dup2(fileno(err), 2);
        if (options.addressSpaceLimit)
            setLimit(RLIMIT_AS, options.addressSpaceLimit);
        if (options.fileSizeLimit) {
            // Ignored across exec: a write past the limit fails with EFBIG as on a full disk.
            signal(SIGXFSZ, SIG_IGN);
            setLimit(RLIMIT_FSIZE, options.fileSizeLimit);
        }
        if (options.runAsUser >= 0 &&
            (setgroups(0, nullptr) != 0 || setgid(gid_t(options.runAsUser)) != 0 || setuid(uid_t(options.runAsUser)) != 0))
            _exit(126);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    int status = 0;
    // A hang must fail its test, not block the whole run.
    while (waitpid(pid, &status, WNOHANG) != pid) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(-pid, SIGKILL);
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            result.timedOut = true;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (!result.timedOut && WIFEXITED(status))
        result.code = WEXITSTATUS(status);
    else if (!result.timedOut && WIFSIGNALED(status))
        result.signal = WTERMSIG(status);
    for (auto [file, text] : {std::pair{out, &result.out}, std::pair{err, &result.err}}) {
        std::rewind(file);
        for (int c; (c = std::fgetc(file)) != EOF;)
            *text += char(c);
        std::fclose(file);
    }
    return result;
}

RunResult runEngine(const Args &args, const RunOptions &options) { return runProgram(DRAVIK_ENGINE_PATH, args, options); }

std::string pngChunk(const std::string &type, const std::string &data) {
    auto be32 = [](std::uint32_t v) { return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; };
    const std::string body = type + data;
    return be32(std::uint32_t(data.size())) + body + be32(std::uint32_t(crc32(0, reinterpret_cast<const Bytef *>(body.data()), uInt(body.size()))));
}

std::string readBytes(const std::string &path) {
    std::ifstream f(path, std::ios::binary);
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

void writeBytes(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

long long fileSize(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_size : -1;
}

std::vector<std::string> listDir(const std::string &dir) {
    std::set<std::string> names;
    std::error_code ignored;
    for (const auto &e : fs::directory_iterator(dir, ignored))
        names.insert(e.path().filename().string());
    return {names.begin(), names.end()};
}

static VImage asSrgb(const VImage &im) {
    return im.cast(VIPS_FORMAT_UCHAR).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

VImage solid(int width, int height, const Colour &colour) { return asSrgb(VImage::black(width, height).new_from_image(colour)); }

VImage quadrants(int width, int height, bool withAlpha) {
    const VImage xy = VImage::xyz(width, height), right = xy[0] >= width / 2, bottom = xy[1] >= height / 2;
    const VImage rgb = bottom.ifthenelse(right.ifthenelse(std::vector<double>{255, 255, 255}, {0, 0, 255}),
                                         right.ifthenelse(std::vector<double>{0, 255, 0}, {255, 0, 0}));
    return asSrgb(withAlpha ? rgb.bandjoin(right.ifthenelse(128, 255)) : rgb);
}

VImage to16Bit(const VImage &image) {
    return (image.cast(VIPS_FORMAT_USHORT) * 257).cast(VIPS_FORMAT_USHORT).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_RGB16));
}

VImage photoLike(int width, int height, int seed) {
    const VImage xy = VImage::xyz(width, height);
    const VImage x = xy[0] * (200.0 / width), y = xy[1] * (200.0 / height);
    const VImage base = VImage::bandjoin(std::vector<VImage>{x + 20, y + 30, (x + y) * 0.5 + 25});
    const VImage waves = ((xy[0] * 0.05).sin() + (xy[1] * 0.031).sin() + ((xy[0] + xy[1]) * 0.013).sin()) * 6.0;
    const VImage grain = VImage::gaussnoise(width, height, VImage::option()->set("sigma", 6.0)->set("mean", 0.0)->set("seed", seed));
    return asSrgb(base + waves + grain);
}

VImage animation(const std::vector<VImage> &frames) {
    VImage strip = VImage::arrayjoin(frames, VImage::option()->set("across", 1)).copy();
    strip.set("page-height", frames.front().height());
    strip.set("delay", std::vector<int>(frames.size(), 100));
    strip.set("loop", 0);
    return strip;
}

VImage withProfile(VImage image, const std::string &iccBytes) {
    VImage copy = image.copy();
    vips_image_set_blob_copy(copy.get_image(), VIPS_META_ICC_NAME, iccBytes.data(), iccBytes.size());
    return copy;
}

static std::string blob(const VImage &im, const char *name) {
    size_t length = 0;
    const void *data = im.get_blob(name, &length);
    return std::string(static_cast<const char *>(data), length);
}

std::string builtinProfile(const std::string &name) {
    return blob(solid(4, 4, {128, 128, 128}).icc_transform(name.c_str(), VImage::option()->set("input_profile", "srgb")),
                VIPS_META_ICC_NAME);
}

void save(VImage image, const std::string &path, const std::string &options) {
    std::string o = options.empty() ? "[]" : options;
    if (o.find("keep") == std::string::npos)
        o.insert(o.size() - 1, std::string(o.size() > 2 ? "," : "") + "keep=icc:xmp:iptc:other");
    image.write_to_file((path + o).c_str());
}

VImage loadFirstPage(const std::string &path, int page) {
    vips::VOption *options = VImage::option()->set("access", VIPS_ACCESS_RANDOM);
    return VImage::new_from_file(path.c_str(), page ? options->set("page", page) : options);
}

ImageInfo inspect(const std::string &path) {
    ImageInfo info;
    try {
        const VImage im = VImage::new_from_file(path.c_str());
        auto has = [&](const char *name) { return im.get_typeof(name) != 0; };
        // The loader libvips chose from the content, never from the name.
        static const std::map<std::string, std::string> formats{{"jpeg", "jpg"}, {"png", "png"}, {"gif", "gif"}, {"webp", "webp"}, {"heif", "avif"}};
        const std::string loader = im.get_string("vips-loader");
        for (const auto &[prefix, format] : formats)
            info.format = loader.rfind(prefix, 0) == 0 ? format : info.format;
        info.width = im.width();
        info.height = has("page-height") ? im.get_int("page-height") : im.height();
        info.bands = im.bands();
        info.interpretation = im.interpretation();
        info.pages = has("n-pages") ? im.get_int("n-pages") : 1;
        info.icc = has(VIPS_META_ICC_NAME) ? blob(im, VIPS_META_ICC_NAME) : "";
        info.exif = has(VIPS_META_EXIF_NAME);
        info.xmp = has(VIPS_META_XMP_NAME);
        info.exifThumbnail = has("jpeg-thumbnail-data");
        info.orientation = has(VIPS_META_ORIENTATION) ? im.get_int(VIPS_META_ORIENTATION) : 1;
        info.ok = true;
    } catch (const vips::VError &) {
    }
    return info;
}

VImage loadForViewing(const std::string &path) {
    VImage im = loadFirstPage(path).autorot();
    const bool cmyk = im.interpretation() == VIPS_INTERPRETATION_CMYK;
    if (cmyk || im.get_typeof(VIPS_META_ICC_NAME))
        im = im.icc_transform("srgb", VImage::option()->set("embedded", true)->set("input_profile", cmyk ? "cmyk" : "srgb")->set("intent", cmyk ? VIPS_INTENT_PERCEPTUAL : VIPS_INTENT_RELATIVE));
    else if (im.interpretation() != VIPS_INTERPRETATION_sRGB || im.bands() < 3)
        im = im.colourspace(VIPS_INTERPRETATION_sRGB);
    return im.cast(VIPS_FORMAT_UCHAR);
}

Colour pixelAt(const std::string &path, int x, int y, int page) {
    VImage im = loadFirstPage(path, page);
    if (im.format() == VIPS_FORMAT_USHORT)
        im = im / 257.0;
    return (im.bands() < 3 ? im.colourspace(VIPS_INTERPRETATION_sRGB) : im).getpoint(x, y);
}

::testing::AssertionResult near(const Colour &got, const Colour &want, double tolerance) {
    bool ok = got.size() >= want.size();
    for (size_t i = 0; ok && i < want.size(); ++i)
        ok = std::isnan(want[i]) || std::fabs(got[i] - want[i]) <= tolerance; // NaN: any value
    if (ok)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "colour " << ::testing::PrintToString(got) << " is not within " << tolerance
                                         << " of " << ::testing::PrintToString(want);
}

double meanDifference(VImage a, VImage b) {
    auto rgb = [](VImage im) {
        if (im.has_alpha())
            im = im.flatten(VImage::option()->set("background", std::vector<double>{255}));
        return (im.bands() == 1 ? VImage::bandjoin(std::vector<VImage>{im, im, im}) : im).cast(VIPS_FORMAT_FLOAT);
    };
    a = rgb(a);
    b = rgb(b);
    if (a.width() != b.width() || a.height() != b.height())
        b = b.resize(double(a.width()) / b.width(), VImage::option()->set("vscale", double(a.height()) / b.height()));
    const int w = std::min(a.width(), b.width()), h = std::min(a.height(), b.height());
    return (a.crop(0, 0, w, h) - b.crop(0, 0, w, h)).abs().avg();
}

void EngineTest::SetUp() {
    char name[] = "/tmp/dravik-enginetest-XXXXXX";
    dir_ = mkdtemp(name);
}

void EngineTest::TearDown() {
    std::error_code ignored;
    for (const auto &e : fs::recursive_directory_iterator(dir_, ignored))
        fs::permissions(e.path(), fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(dir_, ignored);
}

RunResult EngineTest::job(const std::string &in, const std::string &out, const Args &options) const {
    // Options first: they may come in any order, and every job shows it.
    return run(options + Args{"-in", in, "-out", out});
}

void EngineTest::expectCleanEnd(const RunResult &r) {
    static const std::set<int> codes{0, 1, 77, 82, 83, 84, 85, 86, 90, 91, 92, 93, 94, 96};
    EXPECT_TRUE(r.exited() && codes.count(r.code)) << "no code of the table" << r.describe();
    EXPECT_TRUE(r.code == 0 || (!r.err.empty() && r.err.find('\n') + 1 == r.err.size())) << "a failure says why in one line" << r.describe();
}

void EngineTest::expectFailure(int code, const Args &args, const std::string &folder, const RunOptions &options) {
    const std::string d = folder.empty() ? dir_ : folder;
    auto snapshot = [&d] {
        std::vector<std::pair<std::string, std::string>> files;
        for (const auto &n : listDir(d))
            files.emplace_back(n, fs::is_regular_file(d + "/" + n) ? readBytes(d + "/" + n) : "");
        return files;
    };
    const auto before = snapshot();
    const RunResult r = run(args, options);
    EXPECT_EXIT_CODE(r, code);
    expectCleanEnd(r);
    EXPECT_TRUE(r.out.empty()) << r.describe();
    EXPECT_TRUE(snapshot() == before) << "the folder changed" << r.describe();
}

double EngineTest::butteraugli(const std::string &reference, const std::string &distorted) const {
    const std::string a = path("judge-ref.png"), b = path("judge-dist.png");
    VImage ref = loadForViewing(reference), dist = loadForViewing(distorted);
    // As the levels are judged: over six megapixels, both at half size.
    if (double(ref.width()) * ref.height() > 6'000'000) {
        ref = ref.resize(0.5);
        dist = dist.resize(0.5);
    }
    save(ref, a);
    save(dist, b);
    const RunResult r = runProgram("/usr/bin/butteraugli_main", {a, b});
    EXPECT_EXIT_CODE(r, 0);
    unlink(a.c_str());
    unlink(b.c_str());
    return std::atof(r.out.c_str());
}

} // namespace dk
