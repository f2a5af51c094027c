# podconsole::ffmpeg: the four FFmpeg libraries the console uses, 4.4 to 7.
# Found by pkg-config, or (Windows) in FFMPEG_ROOT, a folder with include/ and lib/.
set(FFMPEG_ROOT "" CACHE PATH "Folder of an FFmpeg build, with include/ and lib/; empty: pkg-config")
add_library(podconsole_ffmpeg INTERFACE)
add_library(podconsole::ffmpeg ALIAS podconsole_ffmpeg)

if(NOT FFMPEG_ROOT)
  find_package(PkgConfig QUIET)
endif()
if(PkgConfig_FOUND AND NOT FFMPEG_ROOT)
  pkg_check_modules(FFMPEG QUIET IMPORTED_TARGET
    libavformat>=58.76 libavcodec>=58.134 libavutil>=56.70 libswscale>=5.9)
endif()

if(FFMPEG_FOUND)
  target_link_libraries(podconsole_ffmpeg INTERFACE PkgConfig::FFMPEG)
else()
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
