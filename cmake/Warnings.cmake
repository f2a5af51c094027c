# podconsole_sanitizers: for every target, generated sources included. Link both PRIVATE.
add_library(podconsole_sanitizers INTERFACE)
# podconsole_options: what every source of ours is compiled with.
add_library(podconsole_options INTERFACE)
target_link_libraries(podconsole_options INTERFACE podconsole_sanitizers)

if(MSVC)
  target_compile_options(podconsole_options INTERFACE /W4 /WX /utf-8 /permissive-)
else()
  target_compile_options(podconsole_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  # The waiting macros of later Qt Tests narrow 64-bit milliseconds, in the source that uses them.
  if(Qt6_VERSION VERSION_GREATER_EQUAL 6.5)
    target_compile_options(podconsole_options INTERFACE
      $<$<IN_LIST:Qt6::Test,$<TARGET_PROPERTY:LINK_LIBRARIES>>:-Wno-conversion>)
  endif()
endif()

target_compile_definitions(podconsole_options INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)

if(PODCONSOLE_SANITIZE)
  target_compile_options(podconsole_sanitizers INTERFACE
    -fsanitize=${PODCONSOLE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(podconsole_sanitizers INTERFACE -fsanitize=${PODCONSOLE_SANITIZE})
endif()
