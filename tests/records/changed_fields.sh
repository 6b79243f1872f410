#!/usr/bin/env bash
# No field of a record that leaves the process, or that threads share, changes its type unnoticed: for each line of
# fields a copy of its header is made in which that line has another type, and each copy must break its assertions.
#   changed_fields.sh SOURCE_DIR COMPILER...
set -euo pipefail
source_dir=$1
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Prints the headers' bodies, one namespace a changed line; FIRST and LAST line of each, and the change, go to the list.
copies() {
  awk -v list="$folder/list" '
    function other(line) {
      if (sub(/^  int32_t /, "  int16_t ", line) || sub(/^  int16_t /, "  int32_t ", line) ||
          sub(/^  double /, "  float ", line) || sub(/^  char /, "  uint16_t ", line) ||
          sub(/Shared<(BYTE|int8_t)>/, "Shared<uint16_t>", line) ||
          sub(/Shared<(int|unsigned int)>/, "Shared<int64_t>", line)) return line
      return ""
    }
    function write_copy(  i, first) {
      first = ++out
      print "namespace copy" first " {"
      for (i = 1; i <= lines; i++) { print i == changed ? other(body[i]) : body[i]; out++ }
      print "}"; out++
      print first, out, FILENAME_ ": " body[changed] >list
    }
    function end_of_file() {
      for (changed = 1; changed <= lines; changed++) if (in_record[changed] && other(body[changed]) != "") write_copy()
      lines = 0
    }
    FNR == 1 { end_of_file(); FILENAME_ = FILENAME; record = 0 }
    /^#/ { next }
    /^struct Tag/ { record = 1 }
    /^}/ { record = 0 }
    { body[++lines] = $0; in_record[lines] = record }
    END { end_of_file() }' "$@"
}

cd "$source_dir"
headers=(common/calibration.h common/control_signals.h common/sample_comm_venc/container.h)
printf '#include "%s"\n' "${headers[@]}" >"$folder/unchanged.cpp"
copies "${headers[@]}" >"$folder/copies.h"
{ cat "$folder/unchanged.cpp"; echo '#include "copies.h"'; } >"$folder/changed.cpp"
[ "$(wc -l <"$folder/list")" -ge 100 ] || { echo "only $(wc -l <"$folder/list") lines of fields found" >&2; exit 1; }

for compiler in "$@"; do
  compile=("$compiler" -std=c++20 -I. -I"$folder" -fsyntax-only)
  "${compile[@]}" "$folder/unchanged.cpp"
  LC_ALL=C "${compile[@]}" -fmax-errors=0 "$folder/changed.cpp" 2>"$folder/errors" && touch "$folder/errors"
  sed -n 's/^.*copies\.h:\([0-9]*\):.*error: static assertion failed.*/\1/p' "$folder/errors" >"$folder/broken"
  awk -v compiler="$compiler" '
    NR == FNR { broken[$1] = 1; next }
    { seen = 0; for (i = $1; i <= $2; i++) if (i in broken) seen = 1
      if (!seen) { sub(/^[0-9]+ [0-9]+ /, ""); print compiler " takes another type: " $0; failed = 1 } }
    END { exit failed }' "$folder/broken" "$folder/list"
done
