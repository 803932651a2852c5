# Toolchain: Linux on 32-bit ARM with hardware floating point, from Debian's g++-arm-linux-gnueabihf.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
