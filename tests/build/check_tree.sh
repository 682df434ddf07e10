#!/usr/bin/env bash
# The tree is at home anywhere: it names no folder of the machine it was written on, and links only to places that
# everybody can reach.
set -euo pipefail
cd "$(dirname "$0")/../.."
status=0

# The brackets keep these lines from finding themselves.
folders='(^|[^[:alnum:]_.-])/([w]ork|[t]mp/wt)/'
links='[h]ttps?://[^/ ">)]+'
known='://(([a-z.]*\.)?example\.(com|org|net)|localhost|127\.0\.0\.1|www\.debian\.org|www\.w3\.org|json-schema\.org)(:[0-9]+)?$'

files() {
  find . -path ./.git -prune -o -path ./build -prune -o -type f -print0
}

if files | xargs -0 grep -nIE "$folders"; then
  echo "these lines name a folder of one machine"
  status=1
fi
if files | xargs -0 grep -noIE "$links" | grep -vE "$known"; then
  echo "these lines link to a place that is not on the list in $0"
  status=1
fi
exit "$status"
