// Exit codes of dravik.bin and the one place where a failure becomes a code.
//
// The application decides from the code alone whether a run goes on (a failure that
// concerns only this file) or stops (a failure that would repeat for every file), so a
// code is part of the contract: never invent one here without updating the callers.
#pragma once

#include <stdexcept>
#include <string>

namespace dravik {

enum class Exit : int {
    Ok = 0,
    Usage = 1,              // -in or -out missing
    BadOption = 77,         // unknown, repeated, value-less or invalid option; -in equals -out
    Unsupported = 82,       // not an image of a supported format
    CannotRead = 90,        // missing, permission, I/O error
    Damaged = 91,           // decoding failed
    TooLarge = 92,          // more pixels than the limit
    CannotEncode = 93,      // the image does not fit the output format
    SizeLimit = 94,         // the JPEG size limit cannot be met
    CannotWriteFile = 96,   // this output file cannot be written
    Stamp = 83,             // stamp missing, unreadable or not an image
    OutputFolder = 84,      // output folder not writable at all, or disk full
    OutOfMemory = 85,
    Internal = 86,
};

// Every failure travels as this exception up to main, which prints the reason and
// returns the code; nothing below main calls exit().
class Failure : public std::runtime_error {
public:
    Failure(Exit code, const std::string &reason) : std::runtime_error(reason), code_(code) {}
    Exit code() const { return code_; }

private:
    Exit code_;
};

[[noreturn]] inline void fail(Exit code, const std::string &reason) { throw Failure(code, reason); }

// A libvips error is usually the file's fault (`blame`), but running out of memory or
// threads shows up through the same channel and must stop the run instead (85): it
// would hit every following file too.
[[noreturn]] void failFromVips(Exit blame, const std::string &context, const std::string &vipsMessage);

// Runs the body and maps whatever escapes it (Failure, vips::VError, bad_alloc, anything
// else) to an exit code, printing a one-line reason on standard error.
int runGuarded(int (*body)(int, char **), int argc, char **argv);

} // namespace dravik
