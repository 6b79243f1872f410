# The application, once as it goes on the device, and once with its calls to the outside led through the doors.

file(GLOB_RECURSE LUMORA_SOURCES CONFIGURE_DEPENDS
  ${CMAKE_SOURCE_DIR}/common/*.cpp ${CMAKE_SOURCE_DIR}/sensor/*.cpp ${CMAKE_SOURCE_DIR}/venc/*.cpp)

# What touches registers, burns processor cycles or is the device builder's to fill: the device's own, supplied by the twin when it stands in.
set(LUMORA_HARDWARE_SOURCES
  ${CMAKE_SOURCE_DIR}/common/angle_reader/i2c_delay.cpp
  ${CMAKE_SOURCE_DIR}/common/fpga_ctrl/array/registers.cpp
  ${CMAKE_SOURCE_DIR}/common/fpga_ctrl/array/write_cipher.cpp
  ${CMAKE_SOURCE_DIR}/common/fpga_ctrl/device/stc_delay.cpp)
list(REMOVE_ITEM LUMORA_SOURCES ${LUMORA_HARDWARE_SOURCES})
list(APPEND LUMORA_SOURCES ${CMAKE_SOURCE_DIR}/venc/blobs.S)

add_library(lumora_app STATIC ${LUMORA_SOURCES})
target_link_libraries(lumora_app PRIVATE lumora_flags PkgConfig::TURBOJPEG PkgConfig::TIFF)
# No fortified calls: each call keeps the name that stands in the list of doors. Position-dependent data sections
# keep their plain names, which is how the twin finds the application's variables.
target_compile_options(lumora_app PRIVATE -U_FORTIFY_SOURCE -fno-common)
if(LUMORA_TSAN)
  # Threads end where they stand, also in calls that are said to throw nothing: no landing pads on that way.
  target_compile_options(lumora_app PRIVATE -fsanitize=thread -fno-exceptions -fasynchronous-unwind-tables)
  set(LUMORA_SEEN_CALLS --redefine-sym=memcpy=twin_seen_memcpy --redefine-sym=memmove=twin_seen_memmove
                        --redefine-sym=memset=twin_seen_memset)
endif()
set_source_files_properties(${CMAKE_SOURCE_DIR}/venc/blobs.S PROPERTIES
  COMPILE_OPTIONS "-I${LUMORA_BLOB_DIR}" OBJECT_DEPENDS "${LUMORA_BLOB_FILES}")
add_dependencies(lumora_app lumora_blob_files)

set(LUMORA_DOORS ${CMAKE_SOURCE_DIR}/twin/seam/doors.txt)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Where the processor has 32 bits, the C library gives calls with 64-bit offsets and times names of their own.
  set(LUMORA_NAMES_32BIT ${CMAKE_SOURCE_DIR}/twin/seam/names_32bit.txt)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${LUMORA_DOORS} ${LUMORA_NAMES_32BIT})
  file(READ ${LUMORA_DOORS} doors)
  file(STRINGS ${LUMORA_NAMES_32BIT} names)
  foreach(name IN LISTS names)
    separate_arguments(name)
    list(GET name 0 plain)
    list(GET name 1 called)
    string(REGEX REPLACE "(^|\n)${plain} " "\\1${called} " doors "${doors}")
  endforeach()
  set(LUMORA_DOORS ${CMAKE_BINARY_DIR}/doors.txt)
  file(CONFIGURE OUTPUT ${LUMORA_DOORS} CONTENT "${doors}" @ONLY)
endif()

set(LUMORA_ON_TWIN ${CMAKE_BINARY_DIR}/liblumora_on_twin.a)
add_custom_command(OUTPUT ${LUMORA_ON_TWIN}
  COMMAND ${CMAKE_OBJCOPY} --redefine-syms=${LUMORA_DOORS}
          ${LUMORA_SEEN_CALLS} --rename-section .data=lumora_data --rename-section .bss=lumora_bss
          $<TARGET_FILE:lumora_app> ${LUMORA_ON_TWIN}
  DEPENDS lumora_app ${LUMORA_DOORS}
  COMMENT "Leading the application through the doors" VERBATIM)
add_custom_target(lumora_on_twin_file DEPENDS ${LUMORA_ON_TWIN})
add_library(lumora_on_twin STATIC IMPORTED GLOBAL)
set_target_properties(lumora_on_twin PROPERTIES IMPORTED_LOCATION ${LUMORA_ON_TWIN})
add_dependencies(lumora_on_twin lumora_on_twin_file)
