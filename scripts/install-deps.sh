#!/bin/sh
# Installs the Debian 12 packages that the build and the tests need, when they
# are missing, and says which it installs. Each package is known by a file it
# puts on the machine, so a machine that has everything runs no package tool.
# Uses sudo when not root.
set -eu

# package:file that it installs
packages="cmake:/usr/bin/cmake ninja-build:/usr/bin/ninja g++:/usr/bin/g++
ccache:/usr/bin/ccache pkg-config:/usr/bin/pkg-config
libgtest-dev:/usr/include/gtest/gtest.h libgmock-dev:/usr/include/gmock/gmock.h
libbenchmark-dev:/usr/include/benchmark/benchmark.h libcrypt-dev:/usr/include/crypt.h
python3:/usr/bin/python3 curl:/usr/bin/curl lighttpd:/usr/sbin/lighttpd
apache2:/usr/sbin/apache2 python3-dbf:/usr/lib/python3/dist-packages/dbf/__init__.py
python3-dbfread:/usr/lib/python3/dist-packages/dbfread/__init__.py
gdal-bin:/usr/bin/ogrinfo libsqlite3-dev:/usr/include/sqlite3.h
nginx:/usr/sbin/nginx openssl:/usr/bin/openssl libssl-dev:/usr/lib/x86_64-linux-gnu/libssl.so
debian-reference-en:/usr/share/debian-reference/index.en.html
libxml2-utils:/usr/bin/xmllint
python3-aiosmtpd:/usr/lib/python3/dist-packages/aiosmtpd/__init__.py
dovecot-pop3d:/usr/lib/dovecot/pop3
postgresql-15:/usr/lib/postgresql/15/bin/initdb
libpq-dev:/usr/include/postgresql/libpq-fe.h
pgbouncer:/usr/sbin/pgbouncer"
if [ "${1:-}" = "fuzz" ]; then
  packages="$packages clang:/usr/bin/clang
libclang-rt-14-dev:/usr/lib/llvm-14/lib/clang/14.0.6/lib/linux/libclang_rt.fuzzer-x86_64.a"
fi

missing=""
for entry in $packages; do
  [ -e "${entry#*:}" ] || missing="$missing ${entry%%:*}"
done
[ -z "$missing" ] && exit 0

echo "Installing:$missing"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# shellcheck disable=SC2086
$sudo apt-get install -y -qq --no-install-recommends $missing
