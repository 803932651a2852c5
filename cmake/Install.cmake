# What `cmake --install` lays down, in two components: `program`, and `development` for the authors of agents.
include(CMakePackageConfigHelpers)

# install_with_prefix(<file>.in <directory> <component>): a file that names where it is installed, which is known
# only then.
function(install_with_prefix source directory component)
  cmake_path(GET source STEM LAST_ONLY name)
  install(CODE "
    set(PROJECT_VERSION ${PROJECT_VERSION})
    set(BINDIR ${CMAKE_INSTALL_BINDIR})
    set(INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
    foreach(directory BINDIR INCLUDEDIR)
      cmake_path(ABSOLUTE_PATH \${directory} BASE_DIRECTORY \${CMAKE_INSTALL_PREFIX})
    endforeach()
    string(REPLACE \"\${CMAKE_INSTALL_PREFIX}/\" [[\${prefix}/]] INCLUDEDIR \${INCLUDEDIR})
    configure_file(${PROJECT_SOURCE_DIR}/${source} ${PROJECT_BINARY_DIR}/${name} @ONLY)"
    COMPONENT ${component})
  install(FILES ${PROJECT_BINARY_DIR}/${name} DESTINATION ${directory} COMPONENT ${component})
endfunction()

# ---- The program ----
set(program_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/ovpatch)
install(TARGETS OvPatch RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
if(OVPATCH_CTL)
  install(TARGETS ovpatchctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
  if(NOT WIN32)
    install(FILES man/ovpatchctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
    install(FILES packaging/ovpatchctl.bash-completion RENAME ovpatchctl
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT program)
  endif()
endif()
install(FILES README.md packaging/copyright packaging/changelog DESTINATION ${program_doc} COMPONENT program)
# One directory below README.md, as in the sources, so that the links between them hold.
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md ${PROJECT_SOURCE_DIR}/docs/*.svg)
install(FILES ${documents} DESTINATION ${program_doc}/docs COMPONENT program)
if(NOT WIN32)
  install(FILES man/OvPatch.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
  install(FILES man/OvPatch.ini.5 man/OvBackup.ini.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT program)
endif()
if(CMAKE_SYSTEM_NAME STREQUAL Linux)
  install_with_prefix(packaging/ovpatch@.service.in lib/systemd/system program)
endif()

# ---- The header, for CMake (find_package(OvPatchAgent)) and for pkg-config (ovpatch-agent) ----
# Nothing here depends on the machine, so it all lies under share/.
set(agent_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/ovpatch-agent-dev)
set(agent_cmake ${CMAKE_INSTALL_DATADIR}/cmake/OvPatchAgent)
set(agent_pkgconfig ${CMAKE_INSTALL_DATADIR}/pkgconfig)

install(FILES include/ovpatch/patch_agent.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ovpatch COMPONENT development)
install(FILES examples/agents/pinned_agent.c examples/agents/shelf_agent.c
  DESTINATION ${agent_doc}/examples COMPONENT development)
install(FILES packaging/copyright packaging/changelog docs/agents.md DESTINATION ${agent_doc} COMPONENT development)

install(TARGETS ovpatch_agent_header EXPORT ovpatch_agent)
install(EXPORT ovpatch_agent FILE OvPatchAgentConfig.cmake NAMESPACE OvPatch::
  DESTINATION ${agent_cmake} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OvPatchAgentConfigVersion.cmake
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${PROJECT_BINARY_DIR}/OvPatchAgentConfigVersion.cmake DESTINATION ${agent_cmake} COMPONENT development)

install_with_prefix(cmake/ovpatch-agent.pc.in ${agent_pkgconfig} development)

include(cmake/Packages.cmake)
