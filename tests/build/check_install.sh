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

work=$2
flags=("${@:3}")
sources=$(dirname "$(readlink -f "$0")")/consumer
expected='-42 0'

mount -t overlay overlay -o "lowerdir=$work/root/usr:/usr" /usr

runs() {
  local output
  output=$("$2")
  [[ $output == "$expected" ]] || { echo "the host built by $1 printed '$output', not '$expected'"; exit 1; }
  ldd "$2" | grep >/dev/null 'libeorvascheduler.so.7 => /' || { echo "the host built by $1 lacks the library"; exit 1; }
  echo "$1: builds, links, runs"
}

read -ra options < <(pkg-config --cflags --libs eorvascheduler)
[[ $(pkg-config --print-requires eorvascheduler | tr '\n' ' ') == 'jsoncpp sqlite3 ' ]]
g++ -std=c++20 "${flags[@]}" "$sources/host.cpp" "${options[@]}" -o "$work/by-pkg-config"
runs pkg-config "$work/by-pkg-config"

cmake -G Ninja -S "$sources" -B "$work/cmake" -DCMAKE_CXX_FLAGS="${flags[*]}" >"$work/log" || { cat "$work/log"; exit 1; }
cmake --build "$work/cmake" >"$work/log" || { cat "$work/log"; exit 1; }
runs find_package "$work/cmake/host"
