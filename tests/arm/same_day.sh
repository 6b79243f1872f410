#!/usr/bin/env bash
# The twin built for this machine and the twin built for the board live through the same day from the same seed, and
# leave the same bytes: shots, settings, answers, logs. Between the two builds differ the width of a long, of a pointer and of a
# size, the sign of a char, the vector and floating-point units and the C library's mathematics.
#   same_day.sh TWIN BOARD_TWIN LUMORA_SHOT SCRIPT
set -euo pipefail
twin=$1 board_twin=$2 shot_program=$3 script=$4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { printf 'FAILED: %s\n' "$*" >&2; exit 1; }

live_through() {  # PROGRAM NAME
  local disk=$folder/$2/mnt/udisk
  mkdir -p "$disk/DCIM"
  printf 'capturemode=4\nstrobemode=1\nisomode=1\nevcompval=-7\nbtnsetting=1\nprefix=a\303\204-\n' >"$disk/DCIM/setting.ini"
  printf 'red=0.93\nblue=1.1\ngreen=1\n' >"$disk/wb.ini"
  printf '\303\204' >"$disk/wifi.txt"
  "$1" --root "$folder/$2" --pace free --pictures marked --seed 42 --usb serial,ethernet --log "$folder/$2/log" \
    --script "$script" >"$folder/$2.said"
}
live_through "$twin" here
live_through "$board_twin" board

diff <(grep -vE '^(heap|stack)' "$folder/here.said") <(grep -vE '^(heap|stack)' "$folder/board.said") ||
  fail "the two builds said different things"
diff -r "$folder/here" "$folder/board" || fail "the two builds left different files"
shots=("$folder"/board/mnt/udisk/DCIM/*.ori)
[ "${#shots[@]}" -eq 4 ] || fail "${#shots[@]} shots instead of 4"
raws=("$folder"/board/mnt/udisk/DCIM/*/*.dng)
[ "${#raws[@]}" -eq 4 ] || fail "${#raws[@]} raw frames instead of 4"
for shot in "${shots[@]}"; do "$shot_program" verify "$shot"; done

# What the application took on the board, beside program, libraries and media pools.
grep -E '^(heap|stack)' "$folder/board.said"
taken=$(sed -nE 's/^(heap|stack).* at most ([0-9]+)$/\2/p' "$folder/board.said" |
  awk "{sum += \$1} END {print sum + 0}")
echo "together $taken bytes"
[ "$taken" -gt 1000000 ] && [ "$taken" -lt $((48 * 1024 * 1024)) ] || fail "too much for a process of 64 MB"
