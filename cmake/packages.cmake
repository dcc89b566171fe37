# Three Debian packages, one per component of cmake/install.cmake. scripts/package builds them.
if(NOT BUILD_SHARED_LIBS OR NOT QUICKFIX_BUILD_TOOLS OR NOT QUICKFIX_PLATFORM STREQUAL linux OR CMAKE_CROSSCOMPILING)
  return()
endif()

set(CPACK_COMPONENTS_ALL runtime development tools)
get_cmake_property(components COMPONENTS)
list(REMOVE_ITEM components ${CPACK_COMPONENTS_ALL})
if(components)
  message(FATAL_ERROR "No package contains the component ${components}")
endif()
file(STRINGS cmake/debian/changelog latest LIMIT_COUNT 1)
if(NOT latest MATCHES "^quickfix-utils \\(${PROJECT_VERSION}\\) ")
  message(FATAL_ERROR "The first entry of cmake/debian/changelog is not for version ${PROJECT_VERSION}")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quickfix-utils)
set(CPACK_PACKAGE_CONTACT "The quickfix_utils developers <developers@quickfix-utils.example>")
# The first line of each description is the synopsis of its package.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/compress_documents.cmake)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE quickfix-utils)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# dpkg-shlibdeps finds the libraries of this build here, because no installed package provides them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/platform)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libquickfix-utils${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "default-dbus-system-bus | dbus-system-bus")
# The dependency of programs: as long as the major version is 0, the next minor version may be incompatible.
math(EXPR next_minor "${PROJECT_VERSION_MINOR} + 1")
configure_file(cmake/debian/shlibs.in shlibs @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers ${PROJECT_BINARY_DIR}/shlibs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION [[utility library of a hot-patch engine
An engine that patches files and applications on a Linux-based device uses
the library to log to small rotating files, to work with files, to store
the status of a patch, to verify patched files and applications, and to
wait for broadcasts of the platform.
.
This package contains the library, its port of the platform to plain Linux,
and the bus policy for broadcasts.]])

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquickfix-utils-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
# Callers of JsonTool::ParseJsonFromFile free the tree with cJSON_Delete. No installed header includes a header of
# cJSON.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "libcjson-dev, bubblewrap")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION [[utility library of a hot-patch engine (development files)
An engine that patches files and applications on a Linux-based device uses
the library.
.
This package contains the headers, the files for CMake and pkg-config, the
porting guide, the conformance test of a port and an example engine. For
tests of an engine it contains the platform in memory, a private root with
the library's directories, and a fake bundle tool.]])

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME quickfix-utils-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION [[verifies and inspects hot patches from a shell
The program qfctl verifies patched files and applications, and reports the
result as a table, as JSON or as an HTML page. It also shows and sets the
status of a patch, reads the log, and waits for broadcasts. A systemd timer
verifies at boot and daily; it is disabled by default.]])

# For the packages only: EXCLUDE_FROM_ALL leaves these files out of other installs.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES cmake/debian/changelog cmake/debian/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

install(FILES docs/fleet.md docs/qfctl.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_TOOLS_PACKAGE_NAME} COMPONENT tools EXCLUDE_FROM_ALL)

install(FILES cmake/debian/${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME}.lintian-overrides
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME}
  COMPONENT runtime EXCLUDE_FROM_ALL)

include(CPack)
