#!/usr/bin/env bash
# The second compiler takes everything without a warning, the fuzz targets included.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --preset clang --log-level=WARNING >/dev/null
nice cmake --build --preset clang -j "${EORVA_JOBS:-$(nproc)}"
