#!/usr/bin/env bash
# The second compiler takes the library, the fuzz targets and the tests that they share without a warning. What else is
# shipped is not compiled once more: check_tidy.sh shows the second compiler's warnings, too.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --preset clang --log-level=WARNING >/dev/null
nice cmake --build --preset clang -j "${EORVA_JOBS:-$(nproc)}"
