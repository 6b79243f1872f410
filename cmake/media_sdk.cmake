# The media library that the device program is linked against. The device has the chip maker's; LUMORA_MEDIA_SDK names
# a directory with its shared libraries. Without it an import library stands in: every name that sdk/ declares, under
# the file name that the device knows, and behind each a function that fails.
set(LUMORA_MEDIA_SDK "" CACHE PATH "Directory with the chip maker's media libraries; empty: an import library")

add_library(media_sdk INTERFACE)
if(LUMORA_MEDIA_SDK)
  file(GLOB MEDIA_SDK_LIBRARIES ${LUMORA_MEDIA_SDK}/*.so)
  if(NOT MEDIA_SDK_LIBRARIES)
    message(FATAL_ERROR "No media libraries (*.so) in ${LUMORA_MEDIA_SDK}")
  endif()
  # They call each other in no order that the linker knows, and the device's copies bring what else they need.
  target_link_options(media_sdk INTERFACE -Wl,--as-needed -Wl,--allow-shlib-undefined)
  target_link_libraries(media_sdk INTERFACE ${MEDIA_SDK_LIBRARIES})
  return()
endif()

file(GLOB MEDIA_SDK_HEADERS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/sdk/*.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${MEDIA_SDK_HEADERS})
set(stubs "/* Made from the declarations in sdk/: each call as it answers where there is no media hardware. */\n")
foreach(header IN LISTS MEDIA_SDK_HEADERS)
  file(STRINGS ${header} declarations REGEX "^(HI_S32|void\\*) HI_[A-Za-z0-9_]+\\(")
  foreach(declaration IN LISTS declarations)
    string(REGEX REPLACE "^[A-Za-z0-9_*]+ (HI_[A-Za-z0-9_]+)\\(.*" "\\1" call "${declaration}")
    if(declaration MATCHES "^void\\*")
      string(APPEND stubs "extern \"C\" void* ${call}() { return nullptr; }\n")
    else()
      string(APPEND stubs "extern \"C\" int ${call}() { return -1; }\n")
    endif()
  endforeach()
endforeach()
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/media_sdk/import_library.cpp CONTENT "${stubs}" @ONLY)

add_library(media_sdk_import SHARED EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/media_sdk/import_library.cpp)
set_target_properties(media_sdk_import PROPERTIES OUTPUT_NAME mpi LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/media_sdk)
target_link_options(media_sdk_import PRIVATE -nostdlib)
target_link_libraries(media_sdk INTERFACE media_sdk_import)
