#!/usr/bin/env bash
# Runs the commands of docs/http.md, in the page's order, against a camera of its own on free ports, and compares each
# answer with the page's. Also how a served camera ends: by the page's last command, or by Ctrl-C.
#   check_page.sh PAGE LUMORA_TWIN LUMORA_SHOT
#
# In the page's sh blocks a line with "$ " in front is a command; what follows up to the next one is its answer, with
# line ends as a terminal shows them. An answer that is different each time has a pattern in front of its block:
# <!-- varies: EXTENDED REGULAR EXPRESSION -->, its lines joined by blanks.
set -uo pipefail
page=$(realpath "$1") twin=$(realpath "$2") shot_program=$(realpath "$3")

folder=$(mktemp -d)
camera=
clean_up() {
  [ -z "$camera" ] || kill -KILL "$camera" 2>/dev/null
  rm -rf "$folder"
}
trap clean_up EXIT
fail() {
  printf 'FAILED: %s\n' "$*" >&2
  [ ! -f "$folder/camera" ] || sed 's/^/camera: /' "$folder/camera" >&2
  exit 1
}

is_free() {
  if { exec 3<>"/dev/tcp/127.0.0.1/$1"; } 2>/dev/null; then
    exec 3>&-
    return 1
  fi
}
choose_port() {
  for port in $(shuf -i 20000-40000 -n 50); do
    if is_free "$port" && is_free $((port + 1)); then return; fi
  done
  fail "no free ports"
}
start_camera() {
  : >"$folder/camera"  # here, or the one before could still be read in it
  "$twin" --serve --port "$port" --pictures marked --root "$folder/board" --log "$folder/log" "$@" \
    </dev/null >"$folder/camera" 2>&1 &
  camera=$!
  local waited=0
  until grep -q '^fetch ' "$folder/camera"; do
    kill -0 "$camera" 2>/dev/null && [ $((waited++)) -lt 600 ] || fail "the camera's ports do not open"
    sleep 0.1
  done
}
# Its exit status must be 0, and the board must not have objected to anything.
end_camera() {
  local waited=0 status=0
  while kill -0 "$camera" 2>/dev/null; do
    [ $((waited++)) -lt 600 ] || fail "the camera does not end"
    sleep 0.1
  done
  wait "$camera" || status=$?
  camera=
  [ "$status" -eq 0 ] || fail "the camera ended with $status"
  ! grep 'the board objects' "$folder/camera" || fail "see above"
  is_free "$port" || fail "port $port is still open"
}

commands=0 mistakes=0
# Carries out `command` here, so that what one line of the page sets, the next can use.
check() {
  local here answer
  here=${command//:8080/:$port}
  here=${here//:8081/:$((port + 1))}
  here=${here//build\/bin\/lumora-shot/$shot_program}
  eval "$here" >"$folder/answer" 2>&1
  answer=$(tr -d '\r' <"$folder/answer")
  commands=$((commands + 1))
  if [ -n "$pattern" ]; then
    [[ ${answer//$'\n'/ } =~ ^($pattern)$ ]] && return
  else
    [ "$answer" = "$expected" ] && return
  fi
  mistakes=$((mistakes + 1))
  printf -- '--- line %d: %s\npage:   %s\ncamera: %s\n' "$at" "$command" "${pattern:-$expected}" "$answer" >&2
}

choose_port
start_camera
# A second one at the same ports says so at once, and is gone.
second=$("$twin" --serve --port "$port" --pictures marked </dev/null 2>&1)
[ $? -eq 2 ] && [[ $second == *":$port: Address already in use"* ]] || fail "a port that is taken: $second"

mkdir "$folder/here" && cd "$folder/here" || exit 1
number=0 inside=0 command='' expected='' pattern=''
finish() {
  [ -z "$command" ] || check
  command='' expected=''
}
while IFS= read -r line; do
  number=$((number + 1))
  case $line in
    '```sh') inside=1 ;;
    '```')
      if [ "$inside" = 1 ]; then
        finish
        pattern=''
      fi
      inside=0 ;;
    '<!-- varies: '*' -->') pattern=${line#'<!-- varies: '} pattern=${pattern%' -->'} ;;
    '$ '*)
      [ "$inside" = 1 ] || continue
      finish
      command=${line#'$ '} at=$number ;;
    *) [ "$inside" = 0 ] || expected+=${expected:+$'\n'}$line ;;
  esac
done <"$page"
end_camera  # the page's last command switches it off
[ "$commands" -ge 40 ] || fail "only $commands commands were found"

# What a person does instead. The disk must be in order: a camera that starts from it finds what the first one left.
choose_port
start_camera
kill -INT "$camera"
end_camera
grep -q '^switching off' "$folder/camera" && grep -q 'Quit$' "$folder/log" || fail "Ctrl-C did not switch it off in order"

printf '%d commands, %d wrong\n' "$commands" "$mistakes"
[ "$mistakes" -eq 0 ]
