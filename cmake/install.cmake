include(CMakePackageConfigHelpers)

# Each component is a package: runtime to run programs, development to build them, tools for qfctl.
set(libraries quickfix_utils)
set(headers include/)
if(TARGET quickfix_platform)
  list(APPEND libraries quickfix_platform)
  list(APPEND headers platform/include/)
endif()
if(QUICKFIX_PLATFORM STREQUAL memory)
  list(APPEND headers platform/memory/include/)
endif()
install(TARGETS ${libraries} EXPORT QuickFixUtilsTargets
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
install(DIRECTORY ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quickfix_utils COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/include/quick_fix_version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quickfix_utils COMPONENT development)
# Sources to build against the installed library: the conformance test and the platform in memory.
install(DIRECTORY platform/conformance DESTINATION ${CMAKE_INSTALL_DATADIR}/quickfix_utils COMPONENT development)
install(DIRECTORY platform/common platform/memory
  DESTINATION ${CMAKE_INSTALL_DATADIR}/quickfix_utils/platform COMPONENT development)
install(FILES docs/install.md docs/limits.md docs/porting.md docs/qfctl.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
foreach(script private-root container-root)
  install(PROGRAMS scripts/${script} DESTINATION ${CMAKE_INSTALL_BINDIR} RENAME quickfix-${script} COMPONENT development)
  install(FILES docs/quickfix-private-root.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME quickfix-${script}.1
    COMPONENT development)
endforeach()
install(PROGRAMS scripts/fakes/bm DESTINATION ${CMAKE_INSTALL_BINDIR} RENAME quickfix-fake-bm COMPONENT development)
install(FILES docs/quickfix-fake-bm.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT development)
if(QUICKFIX_PLATFORM STREQUAL linux)
  # A bus daemon reads policies only in /usr/share/dbus-1 and /etc/dbus-1.
  install(FILES platform/linux/dbus/teklo.CommonEventService.conf
    DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d COMPONENT runtime)
endif()
if(QUICKFIX_BUILD_TOOLS)
  install(FILES docs/qfctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES tools/qfctl/completion/qfctl
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES tools/qfctl/completion/_qfctl
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tools)
  install(FILES tools/qfctl/completion/qfctl.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tools)
endif()
if(QUICKFIX_BUILD_TOOLS AND QUICKFIX_PLATFORM STREQUAL linux)
  # systemd reads units from lib, never from lib64 or lib/TRIPLET, with the prefixes /usr and /usr/local.
  install(FILES tools/systemd/quickfix-verify.service tools/systemd/quickfix-verify.timer
    DESTINATION lib/systemd/system COMPONENT tools)
  install(FILES tools/systemd/quickfix.conf DESTINATION lib/tmpfiles.d COMPONENT tools)
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QuickFixUtils)
install(EXPORT QuickFixUtilsTargets NAMESPACE QuickFixUtils:: DESTINATION ${package_dir} COMPONENT development)
set(sources_dir ${CMAKE_INSTALL_DATADIR}/quickfix_utils/platform)
configure_package_config_file(cmake/QuickFixUtilsConfig.cmake.in QuickFixUtilsConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS sources_dir)
write_basic_package_version_file(QuickFixUtilsConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/QuickFixUtilsConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/QuickFixUtilsConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# The prefix is relative to the .pc file, so that an installed tree can be moved.
file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_prefix ${pc_prefix})
set(pc_libdir ${CMAKE_INSTALL_LIBDIR})
set(pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
foreach(folder pc_libdir pc_includedir)
  if(NOT IS_ABSOLUTE ${${folder}})
    set(${folder} "\${prefix}/${${folder}}")
  endif()
endforeach()
set(pc_libraries "-lquickfix_utils")
if(TARGET quickfix_platform)
  string(APPEND pc_libraries " -lquickfix_platform")
endif()
# Only archives need private packages. pkg-config fails, even for --cflags, if a private package is missing.
set(pc_private "")
if(NOT BUILD_SHARED_LIBS)
  set(pc_private "\nRequires.private: libcjson libcrypto")
  if(QUICKFIX_PLATFORM STREQUAL linux)
    string(APPEND pc_private " libsystemd\nLibs.private: -pthread")
  endif()
endif()
configure_file(cmake/quickfix_utils.pc.in quickfix_utils.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quickfix_utils.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
