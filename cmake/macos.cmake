# Cross build of orvel-sound for macOS 12 and later, arm64 or x86_64, with Zig's
# C/C++ compiler: it carries macOS's own C headers and a libc++. CoreAudio and
# CoreFoundation are the project's stand-in frameworks (headers and link stubs),
# so the backend compiles and links exactly as on a Mac.
#
#   cmake -S . -B build-macos-arm64 --toolchain cmake/macos.cmake -DORVEL_TESTS=OFF \
#         -DORVEL_ZIG=/path/to/zig -DORVEL_MACOS_ARCH=aarch64
#   cmake --build build-macos-arm64 --target orvel-sound
#
# ORVEL_MACOS_ARCH: aarch64 (the default) or x86_64. ORVEL_ZIG: Zig 0.11's
# executable; zig on the PATH when not given.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_OSX_DEPLOYMENT_TARGET 12.0)

set(ORVEL_ZIG "" CACHE FILEPATH "Zig's executable")
set(ORVEL_MACOS_ARCH aarch64 CACHE STRING "The Mac's processor: aarch64 or x86_64")
# try_compile projects read this file again and need the same values.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORVEL_ZIG ORVEL_MACOS_ARCH)
if(NOT ORVEL_ZIG)
  find_program(ORVEL_ZIG zig REQUIRED)
endif()
set(CMAKE_SYSTEM_PROCESSOR ${ORVEL_MACOS_ARCH})
# CMake's probe of the compiler's ABI passes the linker a -v that Zig refuses,
# so the probe fails (harmlessly) and can't tell the pointer size: 64 bits.
set(CMAKE_SIZEOF_VOID_P 8)

set(target -target ${ORVEL_MACOS_ARCH}-macos.12.0)
set(CMAKE_C_COMPILER ${ORVEL_ZIG} cc ${target})
set(CMAKE_CXX_COMPILER ${ORVEL_ZIG} c++ ${target})
# Zig turns Apple's libc++ availability rules off, as it links its own libc++;
# a Mac's libc++ has them, so the build must see them (std::to_chars of a double
# needs macOS 13.3, for one).
set(CMAKE_CXX_FLAGS_INIT -U_LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS)

# CMake takes one executable as the archiver: Zig's, through a small script.
foreach(tool ar ranlib)
  set(script ${CMAKE_BINARY_DIR}/zig-${tool})
  file(WRITE ${script} "#!/bin/sh\nexec '${ORVEL_ZIG}' ${tool} \"$@\"\n")
  file(CHMOD ${script} FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
       GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  string(TOUPPER ${tool} name)
  set(CMAKE_${name} ${script})
endforeach()

# The stand-in frameworks, found by find_library as a Mac's would be.
set(CMAKE_FRAMEWORK_PATH ${CMAKE_CURRENT_LIST_DIR}/../src/sound/coreaudio/stand-in)

# nlohmann/json's headers alone: /usr/include would bring glibc's headers in.
set(ORVEL_JSON_INCLUDE ${CMAKE_BINARY_DIR}/json-include)
file(MAKE_DIRECTORY ${ORVEL_JSON_INCLUDE})
if(NOT EXISTS ${ORVEL_JSON_INCLUDE}/nlohmann)
  file(CREATE_LINK /usr/include/nlohmann ${ORVEL_JSON_INCLUDE}/nlohmann SYMBOLIC)
endif()
