# Toolchain: Linux on a 64-bit processor that stores the high byte first, from Debian's g++-s390x-linux-gnu.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triplet s390x-linux-gnu)
set(emulator qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
