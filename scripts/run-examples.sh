#!/bin/sh
# Builds the project and serves the example sites of examples/ through
# lighttpd on http://127.0.0.1:${PORT:-8080}/ until interrupted.
#
# The site lives in build/site: the engine and its configuration library and
# file in cgi-bin/, the examples' function library (HTMLEncode) in lib/, the
# compiled examples in scripts/, data/ for uploads and the guestbook's
# table, and temp/. A request for /cgi-bin/oxin/NAME/index.oxc runs
# examples/NAME.
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset default >/dev/null
cmake --build --preset default -j "$jobs"

port="${PORT:-8080}"
site="$PWD/build/site"
rm -rf "$site"
mkdir -p "$site/cgi-bin" "$site/lib" "$site/scripts" "$site/data" "$site/temp" "$site/logs"
for source in examples/*/index.oxs; do
  name=$(basename "$(dirname "$source")")
  mkdir -p "$site/scripts/$name"
  build/bin/oxin-asm "$source" "$site/scripts/$name/index.oxc"
done
cp build/bin/oxin build/lib/liboxinconfig.so "$site/cgi-bin/"
cp build/lib/liboxinhtml.so "$site/lib/"
cat > "$site/cgi-bin/oxin.conf" <<CONF
dir_oxin = $site/scripts
dir_data = $site/data
dir_temp = $site/temp
library builtin $site/lib/liboxinhtml.so
CONF

# Started as root, lighttpd and the engine run as nobody, who must own the
# scripts and be able to write data.
user=""
if [ "$(id -u)" -eq 0 ]; then
  chown -R nobody "$site/scripts" "$site/data" "$site/temp" "$site/logs"
  user='server.username = "nobody"
server.groupname = "nogroup"'
fi
cat > "$site/lighttpd.conf" <<CONF
server.modules = ("mod_cgi",)
server.document-root = "$site"
server.bind = "127.0.0.1"
server.port = $port
server.errorlog = "$site/logs/error.log"
server.stream-request-body = 2
$user
\$HTTP["url"] =~ "^/cgi-bin/" { cgi.assign = ("" => "") }
CONF

echo
echo "Serving the examples on http://127.0.0.1:$port/ (Ctrl-C stops):"
for source in examples/*/index.oxs; do
  name=$(basename "$(dirname "$source")")
  echo "  http://127.0.0.1:$port/cgi-bin/oxin/$name/index.oxc"
done
exec lighttpd -D -f "$site/lighttpd.conf"
