# The flags that every target of the project is built with.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT WIN32)
  # On a 32-bit host the calls that read directories and look at files refuse large sizes, inode numbers and late
  # times otherwise.
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build: Release, RelWithDebInfo, Debug" FORCE)
endif()

option(OVPATCH_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)

add_library(ovpatch_warnings INTERFACE)
target_compile_options(ovpatch_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2)
# Another project builds with compilers that warn of other things.
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(ovpatch_warnings INTERFACE -Werror)
endif()

# The program itself runs without exceptions and without type information; tests may use both.
add_library(ovpatch_program_flags INTERFACE)
target_compile_options(ovpatch_program_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
target_link_libraries(ovpatch_program_flags INTERFACE ovpatch_warnings)

if(OVPATCH_SANITIZE)
  # Without type information in the program there is nothing for the vptr check to look at.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  # The checks make the compiler see uninitialised values inside the standard library where there are none.
  add_compile_options(-Wno-maybe-uninitialized)
  add_link_options(-fsanitize=address,undefined)
elseif(NOT WIN32)
  # Hardening; the checks of buffer sizes need an optimised build.
  add_compile_options(-fstack-protector-strong
                      $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endif()

# ovpatch_room(<name> [FLAGS <target>] SOURCES ... USES <room> ...): the static library of one folder under src/.
# A room sees the headers of all rooms, but links only those it names, so that an include against the
# current fails to link. FLAGS names what it is built with instead of the program's own flags.
function(ovpatch_room name)
  cmake_parse_arguments(ROOM "" "FLAGS" "SOURCES;USES" ${ARGN})
  if(NOT ROOM_FLAGS)
    set(ROOM_FLAGS ovpatch_program_flags)
  endif()
  add_library(ovpatch_${name} STATIC ${ROOM_SOURCES})
  target_include_directories(ovpatch_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(ovpatch_${name} PRIVATE ${ROOM_FLAGS})
  foreach(used IN LISTS ROOM_USES)
    target_link_libraries(ovpatch_${name} PUBLIC ovpatch_${used})
  endforeach()
endfunction()
