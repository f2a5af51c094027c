# The console's folder on Windows: the program, and beside it, gathered by Qt's windeployqt, what it
# needs of Qt. vcpkg's toolchain adds the FFmpeg and SDL libraries it built; those of FFMPEG_ROOT are
# copied from there.
install(TARGETS apppodconsole RUNTIME DESTINATION . COMPONENT console)
if(CMAKE_CROSSCOMPILING) # scripts/package-windows.sh gathers the rest
  return()
endif()

find_program(WINDEPLOYQT windeployqt REQUIRED HINTS ${Qt6_DIR}/../../../bin)
install(CODE "
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND \"${WINDEPLOYQT}\" --no-translations
    --qmldir \"${CMAKE_SOURCE_DIR}/qml\" \"\${CMAKE_INSTALL_PREFIX}/apppodconsole.exe\")"
  COMPONENT console)

if(FFMPEG_ROOT)
  file(GLOB ffmpeg_libraries ${FFMPEG_ROOT}/bin/*.dll)
  install(FILES ${ffmpeg_libraries} DESTINATION . COMPONENT console)
endif()
