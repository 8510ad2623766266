#!/bin/sh
# Builds the project and shows what it has built. Serving the example sites
# through a local web server comes with the CGI host; until then this lists the
# programs in build/bin, assembles the examples and lists one of them.
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset default >/dev/null
cmake --build --preset default -j "$jobs"

echo
echo "Built programs in build/bin:"
for program in build/bin/*; do
  [ -x "$program" ] || continue
  name=$(basename "$program")
  case "$name" in
    oxin_tests_*) what="test suite (run them all with scripts/test.sh)" ;;
    bench_*) what="benchmark: run it by hand, e.g. $program --benchmark_min_time=0.2" ;;
    oxin-asm) what="assembles assembly text into a compiled script (docs/assembly.md)" ;;
    oxin-dis) what="lists what a compiled script holds, as assembly text" ;;
    *) what="" ;;
  esac
  echo "  $name  $what"
done

echo
echo "Examples, assembled into build/examples:"
for source in examples/*/*.oxs; do
  [ -f "$source" ] || continue
  target="build/examples/${source#examples/}"
  target="${target%.oxs}.oxc"
  mkdir -p "$(dirname "$target")"
  build/bin/oxin-asm "$source" "$target"
  echo "  $target ($(wc -c < "$target") bytes)"
done
echo
echo "build/bin/oxin-dis build/examples/hello/index.oxc:"
build/bin/oxin-dis build/examples/hello/index.oxc
