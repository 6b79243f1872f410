# Shared by the scripts: installing what is missing, and steps that say what they do and which one failed.
# Sourced, not run. Works from any directory.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

total_steps=${total_steps:-0}
step_number=0

# step "What it does" command...: announces and runs it; a failure names the step and ends the script.
step() {
  local what=$1 started=$SECONDS
  shift
  step_number=$((step_number + 1))
  printf '[%d/%d] %s\n' "$step_number" "$total_steps" "$what"
  local status=0
  "$@" || status=$?
  if [ "$status" -ne 0 ]; then
    printf '\nFAILED at step %d of %d: %s (exit status %d)\n' "$step_number" "$total_steps" "$what" "$status" >&2
    exit "$status"
  fi
  if [ $((SECONDS - started)) -ge 2 ]; then printf '      done in %d s\n' $((SECONDS - started)); fi
}

# libboost-dev: Boost.Asio and Boost.Beast, headers alone. Of the HTTP and WebSocket libraries of Debian they are the ones
# that can be polled from a loop of one's own.
device_packages=(g++ cmake ninja-build pkg-config libboost-context-dev libboost-dev libcli11-dev nlohmann-json3-dev)
build_packages=("${device_packages[@]}" binutils libturbojpeg0-dev libjpeg62-turbo-dev libtiff-dev libexiv2-dev
  libopenexr-dev libgtest-dev libgmock-dev curl)

panel_packages=(libjs-three)  # draws the camera and the panoramas in the browser; served from where Debian puts it
# Selenium steers a real browser by that browser's own driver; Debian has all three, and they fit each other.
browser_packages=("${panel_packages[@]}" python3-selenium chromium chromium-driver)

# install package...: installs those that are missing, with apt; asks nothing, says nothing if all are there.
install() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  printf '      installing %s\n' "${missing[*]}"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "not root, and there is no sudo: cannot install ${missing[*]}" >&2; return 1; }
    as_root=(sudo)
  fi
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update -qq &&
         "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
       } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

# configure_and_build preset [target...], with what else `configure_options` says
configure_options=()
configure_and_build() {
  local preset=$1
  shift
  cmake --preset "$preset" "${configure_options[@]}" >/dev/null && cmake --build --preset "$preset" ${*:+--target "$@"}
}
