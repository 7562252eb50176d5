// A stand-in for the image engine, for the processor's tests and benchmark. It never looks at
// pixels: what it does is chosen by words in the input file's name.
//
//   exitN      exit with code N without writing anything (exit0 gives a success with no output)
//   sleepN     sleep N milliseconds before acting
//   hang       sleep far longer than any test waits
//   crash      abort
//   big        write an output larger than the input
//   tojpg      with -outformat auto, choose JPEG (otherwise PNG)
//
// Otherwise it writes an output that holds its own arguments, one a line, so tests can read the
// command line back. With "-outext on" the extension of the written format is appended unless
// the output path already ends with it, as the real engine does; "-outformat same" keeps the
// input's extension. A missing -in or -out exits 1; a repeated option exits 77.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <sys/resource.h>
#endif

namespace {

std::string Lower(std::string text)
{
    for (char &c : text)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// The number after word in name, or -1.
long NumberAfter(const std::string &name, const std::string &word)
{
    std::smatch match;
    return std::regex_search(name, match, std::regex(word + "([0-9]+)")) ? std::stol(match[1]) : -1;
}

} // namespace

int main(int argc, char **argv)
{
    std::map<std::string, std::string> options;
    const std::vector<std::string> args(argv + 1, argv + argc);
    for (size_t i = 0; i + 1 < args.size(); i += 2) {
        if (!options.emplace(args[i], args[i + 1]).second)
            return 77;
    }
    if (options.count("-version") != 0 || (args.size() == 1 && args[0] == "-version")) {
        std::puts("Dravik  Version 0.0.0-standin");
        return 0;
    }
    if (options.count("-in") == 0 || options.count("-out") == 0)
        return 1;
    const std::string input = options["-in"];
    const std::string name = Lower(input.substr(input.find_last_of("/\\") + 1));

    if (const long ms = NumberAfter(name, "sleep"); ms >= 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    if (name.find("hang") != std::string::npos)
        std::this_thread::sleep_for(std::chrono::hours(1));
    if (name.find("crash") != std::string::npos) {
#ifndef _WIN32
        // A crash on purpose should leave no core file behind in the build tree.
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
#endif
        std::abort();
    }
    if (const long code = NumberAfter(name, "exit"); code >= 0)
        return int(code);

    std::ifstream in(input, std::ios::binary | std::ios::ate);
    if (!in) {
        std::fputs("cannot read input\n", stderr);
        return 90;
    }

    std::string output = options["-out"];
    const std::string format = options.count("-outformat") ? options["-outformat"] : "same";
    if (options["-outext"] == "on" && format != "same") {
        const std::string extension = format != "auto" ? "." + format : name.find("tojpg") != std::string::npos ? ".jpg" : ".png";
        if (!std::regex_search(Lower(output), std::regex(extension == ".jpg" ? "\\.jpe?g$" : "\\" + extension + "$")))
            output += extension;
    }

    std::string content;
    for (const std::string &arg : args)
        content += arg + "\n";
    if (name.find("big") != std::string::npos)
        content.resize(static_cast<size_t>(in.tellg()) + 100 + content.size(), 'x');
    std::ofstream out(output, std::ios::binary | std::ios::trunc);
    if (!out)
        return 96;
    out << content;
    return out ? 0 : 84;
}
