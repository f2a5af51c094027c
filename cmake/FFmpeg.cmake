# podconsole::ffmpeg: the four FFmpeg libraries the console uses, 4.4 to 7.
# Found by pkg-config; without it (Windows), through FFMPEG_ROOT, a folder with include/ and lib/.
add_library(podconsole_ffmpeg INTERFACE)
add_library(podconsole::ffmpeg ALIAS podconsole_ffmpeg)

find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(FFMPEG QUIET IMPORTED_TARGET
    libavformat>=58.76 libavcodec>=58.134 libavutil>=56.70 libswscale>=5.9)
endif()

if(FFMPEG_FOUND)
  target_link_libraries(podconsole_ffmpeg INTERFACE PkgConfig::FFMPEG)
else()
  set(FFMPEG_ROOT "" CACHE PATH "Folder of an FFmpeg build, with include/ and lib/")
  find_path(FFMPEG_INCLUDE_DIR libavformat/avformat.h HINTS ${FFMPEG_ROOT}/include)
  foreach(name avformat avcodec avutil swscale)
    find_library(FFMPEG_${name}_LIBRARY ${name} HINTS ${FFMPEG_ROOT}/lib)
    if(NOT FFMPEG_INCLUDE_DIR OR NOT FFMPEG_${name}_LIBRARY)
      message(FATAL_ERROR "FFmpeg (4.4 to 7) not found: install its development files or set FFMPEG_ROOT")
    endif()
    target_link_libraries(podconsole_ffmpeg INTERFACE ${FFMPEG_${name}_LIBRARY})
  endforeach()
  target_include_directories(podconsole_ffmpeg SYSTEM INTERFACE ${FFMPEG_INCLUDE_DIR})
endif()
