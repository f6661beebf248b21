# Installation and the Debian package.
#
#   cmake --install build [--prefix /usr]      puts the agent, its manual page, the example server
#                                              configuration and the X session start-up script in place
#   cpack --config build/CPackConfig.cmake     builds kpatdmcl_<version>_<arch>.deb (prefix /usr)
#
# Layout under the prefix: bin/kpatdmcl, share/man/man1/kpatdmcl.1.gz,
# share/doc/kpatdmcl/examples/client.prf. The X session script is read by Xsession only from
# /etc/X11/Xsession.d, so it goes there when the prefix is /usr (the package) and to
# <prefix>/etc/X11/Xsession.d for any other prefix, where the administrator links it in by hand.
# The agent's own configuration (/opt/kpa_tem/etc/client.prf) is site-specific and never installed.

include(GNUInstallDirs)

set(KP_PACKAGING_DIR ${CMAKE_SOURCE_DIR}/packaging)

install(TARGETS kpatdmcl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Manual pages are shipped compressed; -n keeps the archive free of time stamps so that two builds
# of the same sources give the same package.
find_program(KP_GZIP gzip)
if(KP_GZIP)
  set(_man_gz ${CMAKE_BINARY_DIR}/packaging/kpatdmcl.1.gz)
  add_custom_command(OUTPUT ${_man_gz}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/packaging
    COMMAND ${KP_GZIP} -9 -n -c ${KP_PACKAGING_DIR}/kpatdmcl.1 > ${_man_gz}
    DEPENDS ${KP_PACKAGING_DIR}/kpatdmcl.1
    COMMENT "Compressing the manual page"
    VERBATIM)
  add_custom_target(kpatdmcl_manpage ALL DEPENDS ${_man_gz})
  install(FILES ${_man_gz} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
  install(FILES ${KP_PACKAGING_DIR}/kpatdmcl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()

install(FILES ${KP_PACKAGING_DIR}/client.prf DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

# The copyright file and the changelog name the maintainer, so they are written at configure time;
# the changelog is compressed like the manual page.
set(KPATDMCL_VERSION 0.1.0)
set(KPATDMCL_MAINTAINER "kpatdmcl developers <maintainers@kpatdmcl.org>" CACHE STRING
    "Maintainer named in the Debian package, its copyright file and its changelog")
configure_file(${KP_PACKAGING_DIR}/copyright.in ${CMAKE_BINARY_DIR}/packaging/copyright @ONLY)
configure_file(${KP_PACKAGING_DIR}/changelog.in ${CMAKE_BINARY_DIR}/packaging/changelog @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(KP_GZIP)
  set(_changelog_gz ${CMAKE_BINARY_DIR}/packaging/changelog.gz)
  add_custom_command(OUTPUT ${_changelog_gz}
    COMMAND ${KP_GZIP} -9 -n -c ${CMAKE_BINARY_DIR}/packaging/changelog > ${_changelog_gz}
    DEPENDS ${KP_PACKAGING_DIR}/changelog.in
    COMMENT "Compressing the changelog"
    VERBATIM)
  add_custom_target(kpatdmcl_changelog ALL DEPENDS ${_changelog_gz})
  install(FILES ${_changelog_gz} DESTINATION ${CMAKE_INSTALL_DOCDIR})
else()
  install(FILES ${CMAKE_BINARY_DIR}/packaging/changelog DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()

# The destination is chosen when installing, not when configuring: cpack installs the same build
# tree with the prefix /usr although the tree was configured with another one.
install(CODE "
  if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    set(_kp_xsession_dir /etc/X11/Xsession.d)
  else()
    set(_kp_xsession_dir \${CMAKE_INSTALL_PREFIX}/etc/X11/Xsession.d)
  endif()
  file(INSTALL DESTINATION \${_kp_xsession_dir} TYPE FILE
       PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
       FILES \"${KP_PACKAGING_DIR}/90kpatdmcl\")
")

# ---------------------------------------------------------------- Debian package
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kpatdmcl)
set(CPACK_PACKAGE_VERSION ${KPATDMCL_VERSION})
set(CPACK_PACKAGE_VENDOR "kpatdmcl developers")
set(CPACK_PACKAGE_CONTACT "${KPATDMCL_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "client-drive-mapping agent for remote-desktop sessions")
# Lines stay under 80 columns: package tools show the description as it is written.
set(CPACK_PACKAGE_DESCRIPTION
    "kpatdmcl runs once per remote-desktop session on an application server.
It receives the remote client's drive announcements over the session's X
display (XKPDEV extension), configures the local SMB/NFS file server over
ONC RPC/UDP, and keeps a link to the mapped drives in the user's home
directory.")
# Installed with DESTDIR so that the absolute /etc destination of the session script lands in the
# package tree; the package then holds /usr/... and /etc/... .
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION x11)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The agent carries the C++ run-time inside (see app/CMakeLists.txt): it needs only the C library and
# the X client libraries.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libx11-6, libxext6, libc6")
# The session script lives under /etc: keep the administrator's edits on upgrade.
file(WRITE ${CMAKE_BINARY_DIR}/packaging/conffiles "/etc/X11/Xsession.d/90kpatdmcl\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/packaging/conffiles)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)
