#!/bin/sh
# Runs every fuzz_* program in the given folder for the given number of seconds,
# starting from its corpus under fuzz/corpus/<name> when there is one.
set -eu
bindir="$1"
seconds="$2"
status=0

# Compiled files start from every assembly listing of the examples and tests.
seeds_of_compiled="build-fuzz/seeds/fuzz_compiled_file"
mkdir -p "$seeds_of_compiled"
find examples tests -name '*.oxs' | while read -r listing; do
  name=$(echo "$listing" | tr '/' '_')
  "$bindir/oxin-asm" "$listing" "$seeds_of_compiled/${name%.oxs}.oxc" || exit 1
done
# One fuzzer; a failure leaves its log's tail in build-fuzz/<name>.failed.
run_fuzzer() {
  fuzzer="$1"
  name=$(basename "$fuzzer")
  work="build-fuzz/corpus/$name"
  mkdir -p "$work"
  seeds=""
  [ -d "fuzz/corpus/$name" ] && seeds="fuzz/corpus/$name"
  [ -d "build-fuzz/seeds/$name" ] && seeds="$seeds build-fuzz/seeds/$name"
  rm -f "build-fuzz/$name.failed"
  # shellcheck disable=SC2086
  # An input that runs longer than 20 s fails the run instead of stalling it.
  if ! "$fuzzer" -max_total_time="$seconds" -timeout=20 -print_final_stats=0 \
      -artifact_prefix="build-fuzz/$name-" "$work" $seeds >"build-fuzz/$name.log" 2>&1; then
    tail -n 40 "build-fuzz/$name.log" >"build-fuzz/$name.failed"
  fi
}

# As many fuzzers at once as there are processors, in batches.
jobs=$(nproc 2>/dev/null || echo 2)
running=0
for fuzzer in "$bindir"/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  echo "== $(basename "$fuzzer") for ${seconds}s"
  run_fuzzer "$fuzzer" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait
    running=0
  fi
done
wait
for failed in build-fuzz/*.failed; do
  [ -e "$failed" ] || continue
  echo "== $(basename "$failed" .failed) failed:"
  cat "$failed"
  status=1
done
exit $status
