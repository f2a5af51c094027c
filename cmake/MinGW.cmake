# Toolchain: MinGW-w64 on Linux. It takes from the environment, when a build folder is configured,
#   WINDOWS_QT      prefix of a Qt for MinGW (of Qt's own build, or built from source)
#   WINDOWS_FFMPEG  prefix of a shared FFmpeg for MinGW: bin/, include/, lib/
#   WINDOWS_SDL2    prefix of an SDL2 for MinGW; without it there are no joysticks
#   HOST_QT         prefix of this machine's Qt of the same release, for its tools; default /usr
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# Of Debian's two compilers the one whose threads the C++ library knows.
find_program(CMAKE_C_COMPILER NAMES x86_64-w64-mingw32-gcc-posix x86_64-w64-mingw32-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES x86_64-w64-mingw32-g++-posix x86_64-w64-mingw32-g++ REQUIRED)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

foreach(name QT FFMPEG SDL2)
  set(WINDOWS_${name} "$ENV{WINDOWS_${name}}" CACHE PATH "Prefix of ${name} for Windows")
  list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES WINDOWS_${name})
  if(WINDOWS_${name})
    list(APPEND CMAKE_FIND_ROOT_PATH ${WINDOWS_${name}})
  endif()
endforeach()
if(NOT WINDOWS_QT)
  message(FATAL_ERROR "Set WINDOWS_QT to the prefix of a Qt for MinGW")
endif()
list(APPEND CMAKE_PREFIX_PATH ${WINDOWS_QT})

set(host_qt "$ENV{HOST_QT}")
if(NOT host_qt)
  set(host_qt /usr)
endif()
set(QT_HOST_PATH ${host_qt} CACHE PATH "This machine's Qt")
# Debian keeps the packages' descriptions in a folder named after the machine's kind.
file(GLOB host_packages ${QT_HOST_PATH}/lib/*/cmake/Qt6 ${QT_HOST_PATH}/lib/cmake/Qt6)
if(host_packages)
  list(GET host_packages 0 host_packages)
  cmake_path(GET host_packages PARENT_PATH host_packages)
  set(QT_HOST_PATH_CMAKE_DIR ${host_packages} CACHE PATH "Where this machine's Qt is described")
endif()

# Tests run where Wine is; its WINEPATH must name the folders of the libraries.
find_program(WINE wine)
if(WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${WINE})
endif()

# Programs are this machine's, everything else is Windows'.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
