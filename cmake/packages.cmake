# Three Debian packages, each of a component of cmake/install.cmake; scripts/package builds them.
if(NOT BUILD_SHARED_LIBS OR NOT QUICKFIX_BUILD_TOOLS OR NOT QUICKFIX_PLATFORM STREQUAL linux OR CMAKE_CROSSCOMPILING)
  return()
endif()

set(CPACK_COMPONENTS_ALL runtime development tools)
get_cmake_property(components COMPONENTS)
list(REMOVE_ITEM components ${CPACK_COMPONENTS_ALL})
if(components)
  message(FATAL_ERROR "What is installed as component ${components} would be in no package")
endif()
file(STRINGS cmake/debian/changelog latest LIMIT_COUNT 1)
if(NOT latest MATCHES "^quickfix-utils \\(${PROJECT_VERSION}\\) ")
  message(FATAL_ERROR "cmake/debian/changelog does not begin with version ${PROJECT_VERSION}")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quickfix-utils)
set(CPACK_PACKAGE_CONTACT "The quickfix_utils developers <developers@quickfix-utils.example>")
# Each package has a synopsis of its own, the first line of its description.
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
# The libraries of this build, which no package on the machine provides.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/platform)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libquickfix-utils${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "default-dbus-system-bus | dbus-system-bus")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION [[utility library of a hot-patch engine
The library gives an engine that patches files and applications on a
Linux-based device what it needs around that: a log in small rotating
files, operations on files, a record of the patch's state, the proof that
what was patched is in place, and the wait for the platform's broadcasts.
.
This package contains the library, its platform port to plain Linux, and
the bus policy that broadcasts go by.]])

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquickfix-utils-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
# The caller of JsonTool::ParseJsonFromFile frees the tree with cJSON's own function; no header includes cJSON's.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "libcjson-dev, bubblewrap")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION [[utility library of a hot-patch engine (development files)
The library gives an engine that patches files and applications on a
Linux-based device what it needs around that.
.
This package contains the headers and what CMake and pkg-config need to
find the library; the porting guide, the conformance test of a port and an
example engine; and for an engine's own tests the platform in memory, a
private root with the library's directories, and a fake bundle tool.]])

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME quickfix-utils-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION [[verifies and inspects hot patches from a shell
The program qfctl verifies that patched files and applications are in
place and reports it as a table, as JSON or as a page. It also shows and
sets the state of a patch, reads the log, and waits for broadcasts. A timer
for systemd, disabled as shipped, has it verify at boot and daily.]])

# Of the packages alone, hence kept out of other installs.
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
