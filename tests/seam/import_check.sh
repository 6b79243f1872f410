#!/usr/bin/env bash
# Nothing escapes the seam: every symbol that the application imports is a door, a pure call, or supplied by the twin.
#   import_check.sh ARCHIVE DOORS PURE SUPPLIED
set -euo pipefail
archive=$1 doors=$2 pure=$3
shift 3
imported=$(nm -P --undefined-only "$archive" | awk 'NF >= 2 {print $1}' | sort -u)
defined=$(nm -P --defined-only "$archive" | awk 'NF >= 2 {print $1}' | sort -u)
allowed=$( { awk '{print $1}' "$doors"; grep -v '^#' "$pure"; printf '%s\n' "$@"; } | sed '/^$/d')
escaped=0
while read -r symbol; do
  [ -n "$symbol" ] || continue
  matched=0
  while read -r pattern; do
    # shellcheck disable=SC2053
    if [[ $symbol == $pattern ]]; then matched=1; break; fi
  done <<<"$allowed"
  if [ "$matched" = 0 ]; then
    echo "escapes the seam: $symbol"
    escaped=1
  fi
done < <(comm -23 <(echo "$imported") <(echo "$defined"))
exit "$escaped"
