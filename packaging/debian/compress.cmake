# Runs within cpack, on the installed tree before it is packed: manual pages and the changelog are
# compressed in a Debian package, whoever installed them.
file(GLOB_RECURSE files "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
list(FILTER files INCLUDE REGEX "/share/(man/.*|doc/loggermodule/changelog)$")
list(FILTER files EXCLUDE REGEX "\\.gz$")
foreach(file IN LISTS files)
    execute_process(COMMAND gzip -n -9 -f "${file}" COMMAND_ERROR_IS_FATAL ANY)
    file(CHMOD "${file}.gz" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endforeach()
