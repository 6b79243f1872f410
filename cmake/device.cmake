# The program that goes on the device: the application as it is, its own access to the hardware, and the media library.
add_executable(lumora EXCLUDE_FROM_ALL ${LUMORA_HARDWARE_SOURCES})
target_link_libraries(lumora PRIVATE lumora_flags lumora_app media_sdk Threads::Threads)

if(NOT CMAKE_CROSSCOMPILING)
  target_link_libraries(lumora PRIVATE PkgConfig::TURBOJPEG PkgConfig::TIFF)
  return()
endif()

# No access that the processor would have to take apart. And a way back through every function: the twin ends threads
# where they stand, also in calls that the C library promises will throw nothing.
target_compile_options(lumora_app PRIVATE -Wcast-align=strict -funwind-tables)
target_compile_options(lumora PRIVATE -Wcast-align=strict)

# A camera takes a new program as one file, so the program carries its picture libraries and its C++ runtime. What is
# left to be found on the device is the C library and the media library; what they lack shows at the start and not in
# the middle of a shot. What nothing calls stays away, and with it calls that only the newest C library has.
set(picture_libraries ${TURBOJPEG_STATIC_LDFLAGS} ${TIFF_STATIC_LDFLAGS})
list(REMOVE_ITEM picture_libraries -lm -pthread -lpthread)
target_link_libraries(lumora PRIVATE -Wl,-Bstatic ${picture_libraries} -Wl,-Bdynamic)
target_link_options(lumora PRIVATE -static-libstdc++ -static-libgcc -Wl,-z,now -Wl,--gc-sections)
set_target_properties(lumora PROPERTIES SKIP_BUILD_RPATH ON)

# Symbols go into a file beside the program; a debugger finds it by the link that stays behind.
set(LUMORA_DEVICE_DIR ${CMAKE_BINARY_DIR}/device)
add_custom_command(TARGET lumora POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E make_directory ${LUMORA_DEVICE_DIR}
  COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:lumora> ${LUMORA_DEVICE_DIR}/lumora.debug
  COMMAND ${CMAKE_OBJCOPY} --strip-all $<TARGET_FILE:lumora> ${LUMORA_DEVICE_DIR}/lumora
  COMMAND ${CMAKE_COMMAND} -E chdir ${LUMORA_DEVICE_DIR} ${CMAKE_OBJCOPY} --add-gnu-debuglink=lumora.debug lumora
  VERBATIM)
