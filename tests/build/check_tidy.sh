#!/usr/bin/env bash
# clang-tidy finds nothing in what is shipped. Needs the compile commands of preset clang.
# A file that passed is not read again until it, a header or the configuration changes.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=build/clang
stamps=build/tidy
mkdir -p "$stamps"

context=$({
  clang-tidy-19 --version
  cat .clang-tidy "$build/compile_commands.json"
  find include src platform hosts -name '*.h' -print0 | sort -z | xargs -0 cat
} | sha256sum | cut -c 1-32)
export context build stamps

tidy() {
  local stamp output
  stamp=$stamps/$({ echo "$context $1"; cat "$1"; } | sha256sum | cut -c 1-32)
  [[ ! -e $stamp ]] || return 0
  if ! output=$(clang-tidy-19 --quiet -p "$build" "$1" 2>&1); then
    printf '%s\n' "$output"
    return 1
  fi
  touch "$stamp"
}
export -f tidy

find src platform hosts -name '*.cpp' -print0 | sort -z |
  nice xargs -0 -n 1 -P "${EORVA_JOBS:-$(nproc)}" bash -c 'tidy "$1"' tidy
