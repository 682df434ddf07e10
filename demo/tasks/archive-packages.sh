#!/bin/sh
# Archives the list of installed packages, compressed and with the date in its name, and keeps the newest seven copies.
set -eu
archive=$HOME/package-lists
mkdir -p "$archive"
list=/var/lib/dpkg/status
copy=$archive/packages.$(date +%Y%m%d-%H%M%S).gz
gzip -c "$list" >"$copy"
gzip -t "$copy"
ls -1t "$archive" | tail -n +8 | while read -r old; do rm "$archive/$old"; done
echo "$list: $(wc -c <"$list") bytes, packed into $(wc -c <"$copy") bytes in $copy"
