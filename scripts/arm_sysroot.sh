# Sourced by what builds for the board: the board's Linux as far as a build needs it, in build/arm-sysroot. apt resolves
# and fetches armhf packages into a state of its own; the packages of this machine are neither asked nor changed.
#   LUMORA_DEBIAN_MIRROR  where from, else http://deb.debian.org/debian

arm_sysroot=$PWD/build/arm-sysroot
arm_packages=(g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf file qemu-user)

# What runs, with all that it depends on; and what only compiler and linker look at, without.
arm_run_packages=(libturbojpeg0 libjpeg62-turbo libtiff6 libboost-context1.74.0)
arm_dev_packages=(libturbojpeg0-dev libjpeg62-turbo-dev libtiff-dev zlib1g-dev libdeflate-dev liblerc-dev libwebp-dev
  liblzma-dev libzstd-dev libjbig-dev libboost-context1.74-dev)

# arm_apt STATE argument...: apt-get for armhf, on a state that is empty but for STATE/sources.list.
arm_apt() {
  local state=$1
  shift
  apt-get -qq -o APT::Architecture=armhf -o APT::Architectures::=armhf -o APT::Install-Recommends=false \
    -o Dir::State="$state" -o Dir::State::lists="$state/lists" -o Dir::State::status="$state/status" \
    -o Dir::Cache="$state" -o Dir::Cache::archives="$state/archives" -o Dir::Etc::sourcelist="$state/sources.list" \
    -o Dir::Etc::sourceparts=/dev/null -o Dir::Etc::preferencesparts=/dev/null \
    -o APT::Sandbox::User="$(id -un)" -o Debug::NoLocking=true "$@"
}

# Fetches and unpacks; does nothing if the same packages lie there already.
unpack_arm_sysroot() {
  local mirror=${LUMORA_DEBIAN_MIRROR:-http://deb.debian.org/debian} state=$arm_sysroot.apt archive
  local wanted="$mirror ${arm_run_packages[*]} ${arm_dev_packages[*]}"
  [ "$(cat "$arm_sysroot/packages" 2>/dev/null)" != "$wanted" ] || return 0
  rm -rf "$arm_sysroot" "$state"
  mkdir -p "$arm_sysroot" "$state/lists/partial" "$state/archives/partial"
  : >"$state/status"
  echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror bookworm main" >"$state/sources.list"
  arm_apt "$state" update || return
  arm_apt "$state" --yes --download-only install "${arm_run_packages[@]}" || return
  (cd "$state/archives" && arm_apt "$state" download "${arm_dev_packages[@]}") || return
  for archive in "$state"/archives/*.deb; do dpkg-deb --extract "$archive" "$arm_sysroot" || return; done
  rm -rf "$state"
  echo "$wanted" >"$arm_sysroot/packages"
}
