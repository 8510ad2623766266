#!/bin/sh
# Builds the project and serves the example sites of examples/ through
# lighttpd on http://127.0.0.1:${PORT:-8080}/ until interrupted.
#
# The site lives in build/site: the engine and its configuration library and
# file in cgi-bin/, the examples' function library (HTMLEncode), test
# payment method (testpay, for the checkout example) and in-memory database
# type (memdb, for the report example) in lib/, the
# compiled examples in scripts/, data/ for uploads and the guestbook's
# table, and temp/. A request for /cgi-bin/oxin/NAME/index.oxc runs
# examples/NAME.
#
# For the contact example, an SMTP server (aiosmtpd) on 127.0.0.1:2525
# delivers into build/site/mail/maildir and, when started as root, Dovecot
# serves that mailbox by POP3 on 127.0.0.1:110 to the user "owner" with a
# password made up for this run and printed below.
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset default >/dev/null
cmake --build --preset default -j "$jobs"

port="${PORT:-8080}"
site="$PWD/build/site"
rm -rf "$site"
mkdir -p "$site/cgi-bin" "$site/lib" "$site/scripts" "$site/data/mailbox" "$site/temp" "$site/logs"
mkdir -p "$site/mail/maildir/new" "$site/mail/maildir/cur" "$site/mail/maildir/tmp" "$site/mail/run"
for source in examples/*/index.oxs; do
  name=$(basename "$(dirname "$source")")
  mkdir -p "$site/scripts/$name"
  build/bin/oxin-asm "$source" "$site/scripts/$name/index.oxc"
done
# Files that an example reads from the data directory (the shop's prices).
for file in examples/*/data/*; do
  cp "$file" "$site/data/"
done
cp build/bin/oxin build/lib/liboxinconfig.so "$site/cgi-bin/"
cp build/lib/liboxinhtml.so build/lib/liboxintestpay.so build/lib/liboxinmemdb.so "$site/lib/"
cat > "$site/cgi-bin/oxin.conf" <<CONF
dir_oxin = $site/scripts
dir_data = $site/data
dir_temp = $site/temp
library builtin $site/lib/liboxinhtml.so
library commerce testpay $site/lib/liboxintestpay.so
library database memdb $site/lib/liboxinmemdb.so
system contact_to = owner@localhost
system contact_smtp_host = 127.0.0.1
system contact_smtp_port = 2525
system contact_pop_host = 127.0.0.1
CONF

# Started as root, lighttpd and the engine run as nobody, who must own the
# scripts and be able to write data.
user=""
if [ "$(id -u)" -eq 0 ]; then
  chown -R nobody "$site/scripts" "$site/data" "$site/temp" "$site/logs"
  chown -R nobody:nogroup "$site/mail/maildir"
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

# The contact example's mail: aiosmtpd delivering into the maildir, and
# Dovecot reading it, which needs root for port 110.
servers=""
trap 'kill $servers 2>/dev/null' EXIT
trap 'exit 130' INT TERM
smtp="/usr/bin/python3 -m aiosmtpd -n -l 127.0.0.1:2525 -c aiosmtpd.handlers.Mailbox $site/mail/maildir"
if [ "$(id -u)" -eq 0 ]; then
  runuser -u nobody -- $smtp &
  servers="$servers $!"
  password=$(od -An -N6 -tx1 /dev/urandom | tr -d ' \n')
  echo "owner:{PLAIN}$password" > "$site/mail/passwd"
  cat > "$site/mail/dovecot.conf" <<CONF
protocols = pop3
listen = 127.0.0.1
base_dir = $site/mail/run
state_dir = $site/mail/run
log_path = $site/logs/dovecot.log
ssl = no
disable_plaintext_auth = no
passdb {
  driver = passwd-file
  args = scheme=PLAIN $site/mail/passwd
}
userdb {
  driver = static
  args = uid=nobody gid=nogroup home=$site/mail mail=maildir:$site/mail/maildir
}
service pop3-login {
  chroot =
}
service anvil {
  chroot =
}
CONF
  /usr/sbin/dovecot -F -c "$site/mail/dovecot.conf" &
  servers="$servers $!"
  mailbox="user owner, password $password"
else
  $smtp &
  servers="$servers $!"
  mailbox="not served: Dovecot needs root for port 110"
fi

echo
echo "Serving the examples on http://127.0.0.1:$port/ (Ctrl-C stops):"
for source in examples/*/index.oxs; do
  name=$(basename "$(dirname "$source")")
  echo "  http://127.0.0.1:$port/cgi-bin/oxin/$name/index.oxc"
done
echo "The contact example's mailbox: $mailbox"
lighttpd -D -f "$site/lighttpd.conf"
