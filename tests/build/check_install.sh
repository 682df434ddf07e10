#!/usr/bin/env bash
# What is installed is enough to build and run a host, by pkg-config and by find_package.
# The installed tree is laid over the real /usr in a mount namespace of its own, so the host sees the final paths.
# Usage: check_install.sh BUILD_DIR [COMPILER FLAG...]
set -euo pipefail

if [[ $1 != --inside ]]; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  DESTDIR=$work/root cmake --install "$1" >"$work/log" || { cat "$work/log"; exit 1; }
  unshare --mount --propagation private "$0" --inside "$work" "${@:2}"
  exit
fi

mount -t overlay overlay -o "lowerdir=$2/root/usr:/usr" /usr
exec "$(dirname "$(readlink -f "$0")")/consumer/build" "$2" "${@:3}"
