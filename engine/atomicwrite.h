// Writing the output so that no reader ever sees half a file.
#pragma once

#include "load.h"

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>

namespace dravik {

// Writes `bytes` to a temporary file beside `path` and renames it into place. The
// temporary file is removed on every failure, and on SIGINT/SIGTERM/SIGHUP while it
// exists. `mtime`, when given, becomes the output's modification time.
// Failures: 84 when the folder is missing, refuses any new file, or the disk is full
// (every later file would fail the same way); 96 for this one name.
void writeAtomically(const std::string &path, const Bytes &bytes, const std::optional<timespec> &mtime);

// A second place (shared with a supervising parent process) where the path of the
// pending temporary file is kept while it exists, NUL-terminated, empty otherwise.
void sharePendingPath(char *buffer, std::size_t size);

// Installs the signal handlers that remove a pending temporary file.
void installCleanupHandlers();

} // namespace dravik
