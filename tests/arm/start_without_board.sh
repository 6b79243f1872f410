#!/usr/bin/env bash
# The program itself, as it goes on the camera, started where there is no camera: it says what is missing and ends with
# a status, whichever part of the board fails first. It runs under the processor emulator in a root directory of its
# own that holds nothing but it, without privileges, so it reaches no register, device or command of this machine.
#   start_without_board.sh ARM_BUILD ARM_SYSROOT
set -euo pipefail
arm_build=$(realpath "$1") arm_sysroot=$(realpath "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { printf 'FAILED: %s\n' "$*" >&2; exit 1; }

# --- the empty root ---

root=$folder/root
mkdir -p "$root"/{dev,tmp,mnt/local,mnt/udisk/DCIM}
chmod 755 "$folder"
chmod 777 "$root"/{tmp,mnt/local,mnt/udisk,mnt/udisk/DCIM}
emulator=$(command -v qemu-arm)
cp -r "$arm_sysroot/lib" "$root"
for file in "$emulator" $(ldd "$emulator" | grep -o '/[^ ]*'); do install -D "$file" "$root$file"; done
cp "$arm_build/media_sdk/libmpi.so" "$root/lib/arm-linux-gnueabihf"
cp "$arm_build/device/lumora" "$root"

# Where the registers are memory: a file with the two lines of the layers' configuration high, so it seems to succeed.
registers() {
  rm -f "$root/dev/mem"
  truncate -s 320M "$root/dev/mem"
  for line in 0x12145200 0x12146008; do
    printf '\377' | dd of="$root/dev/mem" bs=1 seek=$((line)) conv=notrunc status=none
  done
  chmod 666 "$root/dev/mem"
}

# An SPI device on which every transfer goes well and reads ones.
arm-linux-gnueabihf-gcc -O1 -shared -fPIC -nostdlib -x c -o "$root/lib/arm-linux-gnueabihf/spi.so" - <<'C'
#include <linux/spi/spidev.h>
#include <string.h>
int __ioctl_time64(int fd, unsigned long request, void* record) {
  if (request == SPI_IOC_MESSAGE(1)) {
    struct spi_ioc_transfer* transfer = record;
    unsigned char* to = (unsigned char*)(unsigned long)transfer->rx_buf;
    for (unsigned i = 0; i < transfer->len; i++) to[i] = 0xFF;
  }
  return 0;
}
C

# --- starts ---

# In "/", which so stands for the program's folder.
as_nobody=(chroot --userspec=65534:65534 "$root")
[ "$(id -u)" -eq 0 ] || as_nobody=(unshare --map-root-user chroot "$root")

# Runs it, with what is there; log and status are left in $log and $status.
start() {
  local preload=()
  [ ! -e "$root/dev/spidev0.0" ] || preload=(-E LD_PRELOAD=spi.so)
  status=0
  timeout --preserve-status --signal TERM "${limit:-60}" "${as_nobody[@]}" "$emulator" "${preload[@]}" /lumora >"$folder/out" 2>"$folder/log" || status=$?
}
# ends_with STATUS LINE...: what the log's last lines say, without the numbers of source lines.
ends_with() {
  local wanted=$1 said
  shift
  said=$(tail -n $# "$folder/log" | sed 's/:[0-9]*: /: /')
  [ "$said" = "$(printf '%s\n' "$@")" ] || { tail -n 30 "$folder/log" >&2; fail "not the last words: $*"; }
  [ "$status" -eq "$wanted" ] || fail "status $status, not $wanted"
}

start
ends_with 255 'memmap():open /dev/mem error!' 'LumoSpiInit: Open /dev/spidev0.0 error!' \
  'LumoDeviceOpen: LumoSpiInit error' 'main: LumoDeviceOpen error'

touch "$root/dev/spidev0.0"
start
ends_with 255 'memmap():open /dev/mem error!' 'LumoDeviceOpen: LumoFpgaInit error' 'main: LumoDeviceOpen error'
grep -q 'LumoGpioGetFpgaInitD error, rlt = 0' "$folder/log" || fail "not the line that layers answer by"

# All is there but the calibration; and the log goes to the disk that asks for it.
registers
: >"$root/mnt/udisk/debug"
chmod 666 "$root/mnt/udisk/debug"
start
[ ! -s "$folder/log" ] || fail "said on standard error: $(cat "$folder/log")"
cp "$root/mnt/udisk/debug" "$folder/log"
ends_with 255 'LumoDeviceOpen: Read CameraConf_800 error' 'main: LumoDeviceOpen error'
rm "$root/mnt/udisk/debug"

# With the calibration it starts its threads; a media library that refuses everything only costs it the pictures. It
# stays until it is told to end.
head -c 800 /dev/zero >"$root/CameraConf_800"
limit=6 start
grep -q 'HI_MPI_VB_SetConf failed with 0xffffffff!' "$folder/out" || { cat "$folder/out" >&2; fail "no word of the media library"; }
grep -q 'LumoInitAngle:[0-9]*: mpu_init error' "$folder/log" || fail "no control thread"
[ "$status" -eq 255 ] && grep -q 'program termination abnormally!' "$folder/out" || fail "ended by a signal with $status"

rm "$root/lib/arm-linux-gnueabihf/libmpi.so"
start
ends_with 127 '/lumora: error while loading shared libraries: libmpi.so: cannot open shared object file: No such file or directory'
