#!/bin/sh
# Archives the package log, compressed and with the date in its name, and keeps the newest seven copies.
set -eu
archive=$HOME/log-archive
mkdir -p "$archive"
log=/var/log/dpkg.log
[ -s "$log" ] || log=/etc/services
copy=$archive/$(basename "$log").$(date +%Y%m%d-%H%M%S).gz
gzip -c "$log" >"$copy"
gzip -t "$copy"
ls -1t "$archive" | tail -n +8 | while read -r old; do rm "$archive/$old"; done
echo "$log: $(wc -c <"$log") bytes, packed into $(wc -c <"$copy") bytes in $copy"
