# What `cmake --install` places: component "console" and, with the simulator, component "sim".
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

# install_page(source destination name component): compressed, as manual pages and change logs are.
function(install_page source destination name component)
  execute_process(COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/${source}
    OUTPUT_FILE ${CMAKE_BINARY_DIR}/pages/${name} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
  install(FILES ${CMAKE_BINARY_DIR}/pages/${name} DESTINATION ${CMAKE_INSTALL_DATADIR}/${destination}
    COMPONENT ${component})
endfunction()

file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/pages)
install(FILES LICENSE.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/podconsole RENAME copyright
  COMPONENT console)
install_page(packaging/changelog doc/podconsole changelog.gz console)
install_page(packaging/man/podconsole.1 man/man1 podconsole.1.gz console)

# The operator's manual as web pages, where there is what makes them of the sources.
find_program(CMARK cmark-gfm)
if(CMARK)
  file(GLOB manual_sources CONFIGURE_DEPENDS docs/*.md docs/images/*.png)
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/manual/manual.html
    COMMAND ${CMAKE_SOURCE_DIR}/scripts/manual-pages.sh ${CMAKE_BINARY_DIR}/manual
    DEPENDS ${manual_sources} scripts/manual-pages.sh)
  add_custom_target(manual ALL DEPENDS ${CMAKE_BINARY_DIR}/manual/manual.html)
  install(DIRECTORY ${CMAKE_BINARY_DIR}/manual DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/podconsole
    COMPONENT console)
endif()

if(TARGET podsim)
  install(TARGETS podsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sim)
  install(FILES LICENSE.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/podconsole-sim
    RENAME copyright COMPONENT sim)
  install_page(packaging/changelog doc/podconsole-sim changelog.gz sim)
  install_page(packaging/man/podsim.1 man/man1 podsim.1.gz sim)
endif()

include(cmake/Package.cmake)
