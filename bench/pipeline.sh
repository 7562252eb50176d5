#!/bin/sh
# Figures of the run pipeline: search time of a generated tree and the processor's own
# throughput with a stand-in engine. Prints figures; asserts nothing.
#
#   bench/pipeline.sh [folders files-per-folder process-files]   (defaults 1000 100 10000)
#
# BUILD_DIR chooses the build folder (default: build-bench beside this script's repository).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build-bench}
jobs=${JOBS:-2}

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" --target bench_pipeline -j"$jobs" >/dev/null
"$build/tests/bench_pipeline" "$@" 2>/dev/null
