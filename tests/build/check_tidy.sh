#!/usr/bin/env bash
# clang-tidy and the second compiler's warnings find nothing in what is shipped. Needs a configured preset clang.
# A file that passed is not read again until it, a header or the configuration changes.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=build/clang
stamps=build/tidy
llvm=/usr/lib/llvm-19/include
part=tests/build/own_code.cpp
jobs=${EORVA_JOBS:-$(nproc)}
mkdir -p "$stamps"

library=$PWD/$stamps/own_code-$(clang-tidy-19 --version | cat - "$part" | sha256sum | cut -c 1-32).so
if [[ ! -e $library ]]; then
  g++ -std=c++17 -fno-rtti -fPIC -shared -isystem "$llvm" -o "$library.new" "$part"
  mv "$library.new" "$library"
fi
# The headers that are parsed once.
grep -o '[^ ]*/cmake_pch\.hxx\.pch' "$build/compile_commands.json" | sort -u | sed "s|^$PWD/$build/||" |
  nice xargs ninja -C "$build" -j "$jobs" --quiet

context=$({
  echo "$library"
  cat .clang-tidy "$build/compile_commands.json"
  find include src platform hosts -name '*.h' -print0 | sort -z | xargs -0 cat
} | sha256sum | cut -c 1-32)
export context build stamps library

tidy() {
  local stamp output
  stamp=$stamps/$({ echo "$context $1"; cat "$1"; } | sha256sum | cut -c 1-32)
  [[ ! -e $stamp ]] || return 0
  if ! output=$(clang-tidy-19 --load="$library" --checks=eorva-own-code --quiet -p "$build" "$1" 2>&1); then
    printf '%s\n' "$output"
    return 1
  fi
  touch "$stamp"
}
export -f tidy

find src platform hosts -name '*.cpp' -print0 | sort -z | nice xargs -0 -n 1 -P "$jobs" bash -c 'tidy "$1"' tidy
