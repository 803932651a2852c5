# Run by cpack between the installation and the packing.

# CMake makes directories under the umask of who packs; those of a package are everyone's to read.
file(GLOB components ${CPACK_TEMPORARY_DIRECTORY}/*)
file(CHMOD_RECURSE ${components} DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Debian wants manual pages and changelogs compressed, and the same pages to give the same bytes each time.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/*.[1-9] ${CPACK_TEMPORARY_DIRECTORY}/changelog)
list(FILTER pages INCLUDE REGEX "/(man/man[1-9]|doc)/[^/]*(/changelog)?$")
if(pages)
  execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
endif()
