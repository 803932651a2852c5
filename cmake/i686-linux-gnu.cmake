# Toolchain: Linux on 32-bit x86, from Debian's g++-i686-linux-gnu.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triplet i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
