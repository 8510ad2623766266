#!/bin/sh
# Builds the project and runs its whole test suite.
#   scripts/test.sh            normal build in build/
#   scripts/test.sh sanitize   AddressSanitizer and UndefinedBehaviorSanitizer in build-sanitize/
#   scripts/test.sh tsan       ThreadSanitizer in build-tsan/: the tests of threads and processes
#   scripts/test.sh fuzz       libFuzzer targets in build-fuzz/, each run briefly
set -eu
cd "$(dirname "$0")/.."
preset="${1:-default}"
scripts/install-deps.sh "$preset"

jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$jobs"

if [ "$preset" = "fuzz" ]; then
  exec scripts/run-fuzzers.sh build-fuzz/bin "${FUZZ_SECONDS:-30}"
fi

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
ctest --preset "$preset" -j "$jobs"
