# What `cmake --install` lays down, in two components: `program`, and `development` for the authors of agents.
include(CMakePackageConfigHelpers)

# ---- The program ----
set(program_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/ovpatch)
install(TARGETS OvPatch RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
install(FILES README.md packaging/copyright DESTINATION ${program_doc} COMPONENT program)
# One directory below README.md, as in the sources, so that the links between them hold.
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${documents} DESTINATION ${program_doc}/docs COMPONENT program)
if(NOT WIN32)
  install(FILES man/OvPatch.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
  install(FILES man/OvPatch.ini.5 man/OvBackup.ini.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT program)
endif()

# ---- The header, for CMake (find_package(OvPatchAgent)) and for pkg-config (ovpatch-agent) ----
# Nothing here depends on the machine, so it all lies under share/.
set(agent_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/ovpatch-agent-dev)
set(agent_cmake ${CMAKE_INSTALL_DATADIR}/cmake/OvPatchAgent)
set(agent_pkgconfig ${CMAKE_INSTALL_DATADIR}/pkgconfig)

install(FILES include/ovpatch/patch_agent.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ovpatch COMPONENT development)
install(FILES examples/agents/pinned_agent.c examples/agents/shelf_agent.c
  DESTINATION ${agent_doc}/examples COMPONENT development)
install(FILES packaging/copyright DESTINATION ${agent_doc} COMPONENT development)

install(TARGETS ovpatch_agent_header EXPORT ovpatch_agent)
install(EXPORT ovpatch_agent FILE OvPatchAgentConfig.cmake NAMESPACE OvPatch::
  DESTINATION ${agent_cmake} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OvPatchAgentConfigVersion.cmake
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${PROJECT_BINARY_DIR}/OvPatchAgentConfigVersion.cmake DESTINATION ${agent_cmake} COMPONENT development)

# Written when the prefix is known.
install(CODE "
  set(PROJECT_VERSION ${PROJECT_VERSION})
  set(INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/ovpatch-agent.pc.in ${PROJECT_BINARY_DIR}/ovpatch-agent.pc @ONLY)"
  COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/ovpatch-agent.pc DESTINATION ${agent_pkgconfig} COMPONENT development)

include(cmake/Packages.cmake)
