# Cross-build for the controller: 32-bit ARM (Debian armhf), with Debian's
# arm-linux-gnueabihf toolchain and the multiarch armhf -dev packages
# (scripts/setup-armhf.sh installs both). Programs built here run on the build
# machine through qemu-user, named explicitly, so neither test discovery nor
# CTest needs binfmt_misc.
#
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# Debian's multiarch layout: with the library architecture set, find_library
# and find_package look in /usr/lib/arm-linux-gnueabihf (and its cmake/
# directory) instead of the build machine's /usr/lib/x86_64-linux-gnu; the
# headers in /usr/include are shared, the few that differ live in
# /usr/include/arm-linux-gnueabihf, which the cross compiler searches itself.
# The build machine's programs (python3, openssl, sh) are still found on PATH.
# pkg-config sees the armhf .pc files and nothing of the build machine's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
set(PKG_CONFIG_EXECUTABLE /usr/bin/pkg-config CACHE FILEPATH "")

# qemu-arm-static needs no binfmt_misc and finds the armhf loader and
# libraries where multiarch puts them.
find_program(RC_QEMU_ARM NAMES qemu-arm-static qemu-arm REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${RC_QEMU_ARM})
