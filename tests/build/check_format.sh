#!/usr/bin/env bash
# Every source file is formatted as .clang-format says; "./dev format" mends it.
set -euo pipefail
cd "$(dirname "$0")/../.."
find bench fuzz hosts include platform src tests \( -name '*.cpp' -o -name '*.h' \) -print0 |
  xargs -0 clang-format-19 --dry-run -Werror
