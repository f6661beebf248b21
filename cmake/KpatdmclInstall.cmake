# Installation: `cmake --install build [--prefix /usr]` puts the agent, its manual page, the example
# server configuration and the X session start-up script in place. The Debian package (debian/)
# installs the same way, into its staging folder; its copyright file and changelog are its own.
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

# The destination is chosen when installing, not when configuring: a tree configured with one prefix
# may be installed with another (cmake --install --prefix).
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
