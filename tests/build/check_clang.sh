#!/usr/bin/env bash
# The second compiler takes the libraries, the fuzz targets and the tests that they share without a warning. The programs,
# hosts/, are not compiled once more: its warnings come from check_tidy.sh, too.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --preset clang --log-level=WARNING >/dev/null
nice cmake --build --preset clang -j "${EORVA_JOBS:-$(nproc)}"
