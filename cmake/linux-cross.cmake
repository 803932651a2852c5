# Toolchain: Linux on another processor, from Debian's cross compiler for `triplet`. `emulator` runs here what it
# builds; without one this machine's processor does.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
if(DEFINED emulator)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${triplet})
endif()

set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
