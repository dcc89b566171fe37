# All folders that something is installed to; one that isn't named here is left behind by an uninstall.
set(install_folders
  ${CMAKE_INSTALL_BINDIR}
  ${CMAKE_INSTALL_INCLUDEDIR}/quickfix_utils/platform
  ${CMAKE_INSTALL_LIBDIR}/cmake/QuickFixUtils
  ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d
  ${CMAKE_INSTALL_DATADIR}/quickfix_utils/conformance
  ${CMAKE_INSTALL_MANDIR}/man1)
configure_file(cmake/note_folders.cmake.in note_folders.cmake @ONLY)
# A component of its own, so that it runs in a whole install only, which alone has a manifest to uninstall by.
install(SCRIPT ${PROJECT_BINARY_DIR}/note_folders.cmake COMPONENT uninstall)

configure_file(cmake/uninstall.cmake.in uninstall.cmake @ONLY)
add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -P ${PROJECT_BINARY_DIR}/uninstall.cmake VERBATIM)
