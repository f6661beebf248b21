# Cross-building for 64-bit ARM with Debian's tool chain (crossbuild-essential-arm64) and the :arm64
# development packages, which live in the multiarch folders (/usr/lib/aarch64-linux-gnu,
# /usr/include/aarch64-linux-gnu) beside the build machine's own:
#
#   cmake -S . -B build-arm64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64-linux-gnu.cmake
#
# The tests then run under the user-mode emulator (qemu-user), which ctest puts in front of every
# test program; the end-to-end tests start the agent through it too (KPATDMCL_EMULATOR).

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(PKG_CONFIG_EXECUTABLE aarch64-linux-gnu-pkg-config CACHE FILEPATH "pkg-config for the arm64 libraries")

# qemu-aarch64 finds the arm64 dynamic loader and libraries in the multiarch folders of this machine.
find_program(KP_QEMU_AARCH64 NAMES qemu-aarch64 qemu-aarch64-static REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${KP_QEMU_AARCH64})

# Programs (python3, gzip) are the build machine's; libraries, headers and packages the target's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
