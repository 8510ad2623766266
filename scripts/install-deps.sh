#!/bin/sh
# Installs the Debian 12 packages that the build and the tests need, when they
# are missing. Runs apt-get only if something is absent; uses sudo when not root.
set -eu

packages="cmake ninja-build g++ ccache pkg-config libgtest-dev libgmock-dev libbenchmark-dev libcrypt-dev python3 curl lighttpd apache2 python3-dbf python3-dbfread gdal-bin libsqlite3-dev"
if [ "${1:-}" = "fuzz" ]; then
  packages="$packages clang libclang-rt-14-dev"
fi

missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0

echo "Installing:$missing"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# shellcheck disable=SC2086
$sudo apt-get install -y -qq --no-install-recommends $missing
