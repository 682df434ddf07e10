#!/usr/bin/env bash
# A shared library exports exactly its listed interface, and the list is that of its header.
# Usage: check_exports.sh LIBRARY LIST HEADER MARK SONAME [UNDEFINED_SYMBOL...]
set -euo pipefail
library=$1 list=$2 header=$3 mark=$4 soname=$5
shift 5
export LC_ALL=C
status=0

fail() {
  printf '%s: %s\n' "${library##*/}" "$*"
  status=1
}

same() {
  diff -u --label "$1" --label "$2" "$3" "$4" || fail "$2 differs from $1"
}

dynamic_symbols() { nm --dynamic --demangle "$@" "$library"; }

# A complete and a base constructor carry the same name, hence the unique sort.
same "${list##*/}" "the dynamic symbol table" <(sort -u "$list") \
  <(dynamic_symbols --defined-only | cut -d ' ' -f 3- | sort -u)

kinds=$(nm --dynamic --defined-only "$library" | awk '$2 != "T" { print $2, $3 }')
[[ -z $kinds ]] || fail "exports something else than plain functions: $kinds"

# Function names alone: the header's marked declarations against the list. Members of a marked class stand unmarked
# in the header, so their names (with "::") are left to the comparison above.
same "the header's declarations" "the list" \
  <(grep -E "^$mark " "$header" | sed -E 's/^[^(]*[ *&]([A-Za-z_0-9]+)\(.*/\1/' | sort) \
  <(grep -vE '^(OrvaJsonDbApi|ORVA::UIX::LocalizedStringParser)::' "$list" |
    sed -E 's/^ORVA_JSON_DB:://; s/(\[abi:[a-z0-9]+\])?(\(.*)?$//' | sort)

actual=$(readelf --dynamic --wide "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[[ $actual == "$soname" ]] || fail "its SONAME is '$actual', not '$soname'"

for symbol in "$@"; do
  dynamic_symbols --undefined-only | grep " U $symbol\$" >/dev/null || fail "$symbol is not left to the host"
done
exit "$status"
