# A 32-bit ARM device: Debian's cross compiler, Debian's libraries in a folder of their own (scripts/armhf-sysroot), and
# programs that run under emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

cmake_path(SET CMAKE_SYSROOT NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/armhf")
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L "${CMAKE_SYSROOT}")

# The compiler's remark that its calling convention changed with version 7: everything here is of version 12.
# time_t keeps its 32 bits (no _TIME_BITS=64): Debian's libraries, libcrypto first, are built that way here.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
