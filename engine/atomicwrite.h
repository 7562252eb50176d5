// Writing the output so that no reader ever sees half a file.
#pragma once

#include "load.h"

#include <ctime>
#include <optional>
#include <string>

namespace dravik {

// Writes `bytes` to a temporary file beside `path` and renames it into place. The
// temporary file is removed on every failure, and on SIGINT/SIGTERM/SIGHUP while it
// exists. `mtime`, when given, becomes the output's modification time.
// Failures: 84 when the folder refuses any new file or the disk is full, 96 otherwise.
void writeAtomically(const std::string &path, const Bytes &bytes, const std::optional<timespec> &mtime);

// Installs the signal handlers that remove a pending temporary file.
void installCleanupHandlers();

} // namespace dravik
