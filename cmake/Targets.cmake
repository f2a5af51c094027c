# The two kinds of target that are compiled with our own options.

# podconsole_library(name SOURCES ... LINK ...): a static library; users of it link LINK too and
# include from the folder that adds it.
function(podconsole_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LINK} PRIVATE podconsole_options)
endfunction()

# podconsole_program(name SOURCES ... LINK ...)
function(podconsole_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} podconsole_options)
endfunction()
