# The board: 32-bit ARM Linux, hard-float. Debian's cross compiler, and the libraries that scripts/build-device has
# unpacked into build/arm-sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(LUMORA_ARM_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/arm-sysroot)
cmake_path(NORMAL_PATH LUMORA_ARM_SYSROOT)
if(NOT EXISTS ${LUMORA_ARM_SYSROOT}/packages)
  message(FATAL_ERROR "The board's libraries are missing: scripts/build-device fetches them and builds")
endif()

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_ASM_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_OBJCOPY arm-linux-gnueabihf-objcopy CACHE FILEPATH "")
# Both kinds of core in the processor have NEON and the fourth floating-point unit. To calculate and count as a 64-bit
# build does: no fused multiply-add, and 64 bits for file offsets and for times. A char has no sign, as is usual here and
# not on the build machine: whoever compares the two builds compares that too. (-Wno-psabi: nothing here was ever built
# by a compiler older than 7.1.)
set(CMAKE_ASM_FLAGS_INIT "-march=armv7-a -mfpu=neon-vfpv4 -mfloat-abi=hard")
string(CONCAT CMAKE_CXX_FLAGS_INIT "${CMAKE_ASM_FLAGS_INIT} -ffp-contract=off -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64"
              " -funsigned-char -Wno-psabi")

# Headers that no architecture changes are the build machine's; the compiler looks there by itself.
set(CMAKE_FIND_ROOT_PATH ${LUMORA_ARM_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${LUMORA_ARM_SYSROOT}/usr/include/arm-linux-gnueabihf
                                           ${LUMORA_ARM_SYSROOT}/usr/include)
set(arm_libraries ${LUMORA_ARM_SYSROOT}/usr/lib/arm-linux-gnueabihf)
string(CONCAT CMAKE_EXE_LINKER_FLAGS_INIT "-L${arm_libraries} -Wl,-rpath-link,${arm_libraries}"
              ":${LUMORA_ARM_SYSROOT}/lib/arm-linux-gnueabihf")
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${LUMORA_ARM_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${arm_libraries}/pkgconfig)
