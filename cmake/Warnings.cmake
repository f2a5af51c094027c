# podconsole_options: what every target of ours is compiled with. Link it PRIVATE.
add_library(podconsole_options INTERFACE)

if(MSVC)
  target_compile_options(podconsole_options INTERFACE /W4 /WX /utf-8 /permissive-)
else()
  target_compile_options(podconsole_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
endif()

target_compile_definitions(podconsole_options INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)

if(PODCONSOLE_SANITIZE)
  target_compile_options(podconsole_options INTERFACE
    -fsanitize=${PODCONSOLE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(podconsole_options INTERFACE -fsanitize=${PODCONSOLE_SANITIZE})
endif()
