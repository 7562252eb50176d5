// Running the engine under a small supervising parent process.
//
// Under memory exhaustion libraries can crash in their own threads (glib recursing in its
// out-of-memory path until the stack runs out, a decoder dereferencing a failed
// allocation), where no handler of ours can run. A parent that only waits turns any such
// death into a table code and removes the child's temporary file, so the caller always
// gets a code and never a half-written file.
#pragma once

namespace dravik {

// Forks, runs runGuarded(body) in the child and returns its code. A child killed by a
// fatal signal yields 85 (out of memory) when it was the OOM killer's SIGKILL or an
// address-space limit was in force, 86 otherwise; so does a child that a library ended
// with its own exit() before our code could report. Termination signals sent to the
// parent are passed on to the child.
int runSupervised(int (*body)(int, char **), int argc, char **argv);

} // namespace dravik
