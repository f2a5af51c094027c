# What `cmake --install` places: component "console" and, with the simulator, component "sim".
include(GNUInstallDirs)

if(WIN32)
  include(cmake/InstallWindows.cmake)
  return()
endif()

set(packaging ${CMAKE_SOURCE_DIR}/packaging)
set(libexec ${CMAKE_INSTALL_LIBEXECDIR}/podconsole)
set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)

# The console keeps its settings in its working folder; the command that users start chooses one.
install(TARGETS apppodconsole RUNTIME DESTINATION ${libexec} COMPONENT console)
file(RELATIVE_PATH launcher_to_libexec
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBEXECDIR}/podconsole)
configure_file(packaging/podconsole.sh.in podconsole.sh @ONLY)
install(PROGRAMS ${CMAKE_BINARY_DIR}/podconsole.sh DESTINATION ${CMAKE_INSTALL_BINDIR} RENAME podconsole
  COMPONENT console)

install(FILES ${packaging}/podconsole.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications
  COMPONENT console)
install(FILES ${packaging}/podconsole.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo
  COMPONENT console)
install(FILES ${packaging}/60-podconsole.rules DESTINATION lib/udev/rules.d COMPONENT console)
foreach(size 16 24 32 48 64 128 256)
  install(FILES ${packaging}/icons/${size}.png DESTINATION ${icons}/${size}x${size}/apps
    RENAME podconsole.png COMPONENT console)
endforeach()
install(FILES src/image/svg/logo.svg DESTINATION ${icons}/scalable/apps RENAME podconsole.svg
  COMPONENT console)

install(FILES LICENSE.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/podconsole RENAME copyright
  COMPONENT console)

if(TARGET podsim)
  install(TARGETS podsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sim)
  install(FILES LICENSE.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/podconsole-sim
    RENAME copyright COMPONENT sim)
endif()

include(cmake/Package.cmake)
