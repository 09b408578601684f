# Cross build for the router's 32-bit ARM (hard float), with Debian's cross
# compiler and the multiarch libraries (json-c, cJSON, GoogleTest :armhf):
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/armhf.cmake
# Test binaries are run through qemu-arm (CMAKE_CROSSCOMPILING_EMULATOR), so
# ctest works on a PC without binfmt registration.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(DC_TRIPLE arm-linux-gnueabihf)
set(DC_DEB_ARCH armhf)

set(CMAKE_C_COMPILER ${DC_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${DC_TRIPLE}-g++)
set(CMAKE_STRIP ${DC_TRIPLE}-strip CACHE FILEPATH "")

# Multiarch: headers are shared in /usr/include, libraries live in
# /usr/lib/arm-linux-gnueabihf. The sysroot stays the host root.
set(CMAKE_LIBRARY_ARCHITECTURE ${DC_TRIPLE})
set(CMAKE_FIND_ROOT_PATH /usr/${DC_TRIPLE} /usr/lib/${DC_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# pkg-config reads only the armhf .pc files.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${DC_TRIPLE}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

find_program(DC_QEMU_ARM qemu-arm)
if(DC_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${DC_QEMU_ARM} -L /usr/${DC_TRIPLE})
endif()
