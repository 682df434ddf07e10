#!/usr/bin/env bash
# The public headers are documented whole: Doxygen has nothing to warn about.
set -euo pipefail
cd "$(dirname "$0")/../.."
output=$(mktemp -d)
trap 'rm -rf "$output"' EXIT
{
  cat docs/Doxyfile
  echo "OUTPUT_DIRECTORY = $output"
} | doxygen -
