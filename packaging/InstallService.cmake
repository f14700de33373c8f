# Installs the service unit and its options file for the prefix being installed to. Under the
# /usr prefix of the Debian package the options file belongs in /etc.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(orbitel_etc /etc)
else()
  set(orbitel_etc ${CMAKE_INSTALL_PREFIX}/etc)
endif()
set(ORBITEL_PROGRAM ${CMAKE_INSTALL_PREFIX}/${orbitel_bindir}/orbitel)
set(ORBITEL_OPTIONS_FILE ${orbitel_etc}/default/orbitel)
configure_file(${orbitel_packaging}/orbitel.service.in ${orbitel_build}/orbitel.service @ONLY)
file(INSTALL ${orbitel_build}/orbitel.service DESTINATION ${CMAKE_INSTALL_PREFIX}/lib/systemd/system)
file(INSTALL ${orbitel_packaging}/orbitel.default DESTINATION ${orbitel_etc}/default RENAME orbitel)
