# Debian packages of the components: the target `package`, or `cpack` in the build directory.
# OVPATCH_PACKAGES tells whether they can be made: not for another machine than this, not with the sanitizers
# in the program, and not without the tools that name the architecture and find out the dependencies.
set(OVPATCH_PACKAGES OFF)
if(NOT CMAKE_SYSTEM_NAME STREQUAL Linux OR CMAKE_CROSSCOMPILING OR OVPATCH_SANITIZE)
  return()
endif()
foreach(tool dpkg dpkg-shlibdeps file)
  find_program(OVPATCH_TOOL_${tool} ${tool})
  mark_as_advanced(OVPATCH_TOOL_${tool})
  if(NOT OVPATCH_TOOL_${tool})
    message(STATUS "No Debian packages: ${tool} is missing")
    return()
  endif()
endforeach()
set(OVPATCH_PACKAGES ON)

set(CPACK_GENERATOR DEB)
set(CPACK_SOURCE_GENERATOR "")
set(CPACK_PACKAGE_NAME ovpatch)
set(CPACK_PACKAGE_VENDOR OvPatch)
# Each package has a summary of its own; this one would be put in front of it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL program development)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/finish_tree.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "OvPatch maintainers <maintainers@ovpatch.example>")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ovpatch)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "one-shot patch executor
OvPatch applies an update that an updater has laid out in a work area: it asks
the product's own patch agent about every file, saves what it overwrites and
keeps a ledger of it. It rolls an update back on request, and a run that fails
is undone. The tool ovpatchctl tells beforehand what a run would do, watches it
and explains afterwards what became of it.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ovpatch-agent-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS ovpatch)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "header for patch agents of OvPatch
A patch agent is a shared library of a product that OvPatch asks about every
file of an update. This package holds the header with the contract, what CMake
and pkg-config need to find it, and two example agents.")

include(CPack)
