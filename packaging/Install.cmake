# What `cmake --install build --prefix P` lays out, and the Debian package made from the same
# rules (`cpack -G DEB` in the build folder):
#   P/bin/orbitel
#   P/share/orbitel/site/                 the shipped site: the program's own files and a start
#   P/lib/systemd/system/orbitel.service  the service, serving /var/lib/orbitel
#   P/etc/default/orbitel                 the service's options (/etc/default/orbitel for P=/usr)
#   P/share/doc/orbitel/README.md

install(TARGETS orbitel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY www/ DESTINATION ${ORBITEL_SITE_DESTINATION})
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES packaging/nginx/orbitel.conf DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples RENAME nginx-orbitel.conf)

# The unit names the program by its installed path, which is known only when installing: cpack
# installs with the package's prefix, not the one configured here.
install(CODE "set(orbitel_packaging \"${CMAKE_CURRENT_SOURCE_DIR}/packaging\")
              set(orbitel_build \"${CMAKE_CURRENT_BINARY_DIR}\")
              set(orbitel_bindir \"${CMAKE_INSTALL_BINDIR}\")")
install(SCRIPT packaging/InstallService.cmake)

set(CPACK_PACKAGE_NAME orbitel)
set(CPACK_PACKAGE_VENDOR "Orbitel")
set(CPACK_PACKAGE_CONTACT "Orbitel maintainers <orbitel@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
    "Orbitel shows a team's calendars side by side: month, week, day and who is busy now, with personal pages, appointment editing and an options page.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION web)
# The library packages come from the libraries the program links; the rest from the scripts.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser, tzdata")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/conffiles
    ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/prerm
    ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
