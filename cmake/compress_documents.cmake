# CPack runs this before it builds a package. Debian policy requires compressed changelogs and man pages.
file(GLOB_RECURSE documents "${CPACK_TEMPORARY_DIRECTORY}/changelog" "${CPACK_TEMPORARY_DIRECTORY}/*.[1-8]")
list(FILTER documents INCLUDE REGEX "/share/(doc|man)/")
if(NOT documents)
  message(FATAL_ERROR "No changelog or man page in ${CPACK_TEMPORARY_DIRECTORY}")
endif()
foreach(document IN LISTS documents)
  execute_process(COMMAND gzip -9n "${document}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
