# OvPatch::Agent: what an agent is built against, the same target here, inside another project and installed.
include(GNUInstallDirs)
add_library(ovpatch_agent_header INTERFACE)
add_library(OvPatch::Agent ALIAS ovpatch_agent_header)
set_target_properties(ovpatch_agent_header PROPERTIES EXPORT_NAME Agent)
target_include_directories(ovpatch_agent_header INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
