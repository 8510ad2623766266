#!/bin/sh
# Runs every fuzz_* program in the given folder for the given number of seconds,
# starting from its corpus under fuzz/corpus/<name> when there is one.
set -eu
bindir="$1"
seconds="$2"
status=0
for fuzzer in "$bindir"/fuzz_*; do
  [ -x "$fuzzer" ] || continue
  name=$(basename "$fuzzer")
  work="build-fuzz/corpus/$name"
  mkdir -p "$work"
  seeds=""
  [ -d "fuzz/corpus/$name" ] && seeds="fuzz/corpus/$name"
  echo "== $name for ${seconds}s"
  # shellcheck disable=SC2086
  if ! "$fuzzer" -max_total_time="$seconds" -print_final_stats=0 "$work" $seeds >"build-fuzz/$name.log" 2>&1; then
    tail -n 40 "build-fuzz/$name.log"
    status=1
  fi
done
exit $status
