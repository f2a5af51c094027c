# podconsole::sdl2: SDL's joystick interface. Optional; the target exists only where SDL2 was found,
# and without it the console is built without joystick support.
option(PODCONSOLE_JOYSTICK "Read joysticks through SDL2, where it is installed" ON)
if(NOT PODCONSOLE_JOYSTICK)
  return()
endif()

find_package(SDL2 2.0.14 QUIET CONFIG)
if(NOT TARGET SDL2::SDL2 AND NOT CMAKE_CROSSCOMPILING) # there it would find this machine's
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND)
    pkg_check_modules(SDL2 QUIET IMPORTED_TARGET sdl2>=2.0.14)
  endif()
endif()
foreach(target SDL2::SDL2 PkgConfig::SDL2)
  if(TARGET ${target} AND NOT TARGET podconsole::sdl2)
    add_library(podconsole_sdl2 INTERFACE)
    add_library(podconsole::sdl2 ALIAS podconsole_sdl2)
    target_link_libraries(podconsole_sdl2 INTERFACE ${target})
  endif()
endforeach()
if(NOT TARGET podconsole::sdl2)
  message(STATUS "SDL2 not found; the console is built without joystick support")
endif()
