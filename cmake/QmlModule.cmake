# The QML module podconsole and the pictures under ":/src/image/".

# All the module exposes; the files behind them are reached by relative import only.
set(exposed_components Main PodControlDrawer TitleBar)

file(GLOB_RECURSE qml_files RELATIVE ${CMAKE_SOURCE_DIR} CONFIGURE_DEPENDS qml/*.qml)
foreach(file IN LISTS qml_files)
  string(REGEX REPLACE "^qml/" "" alias ${file})
  set_source_files_properties(${file} PROPERTIES QT_RESOURCE_ALIAS ${alias})
  string(REGEX REPLACE "\\.qml$" "" component ${alias})
  if(NOT component IN_LIST exposed_components)
    set_source_files_properties(${file} PROPERTIES QT_QML_SKIP_QMLDIR_ENTRY TRUE)
  endif()
  if(component MATCHES "^style/")
    set_source_files_properties(${file} PROPERTIES QT_QML_SINGLETON_TYPE TRUE)
  endif()
endforeach()

qt_add_qml_module(apppodconsole
  URI podconsole
  VERSION 1.0
  RESOURCE_PREFIX /qt/qml
  QML_FILES ${qml_files})

# The singletons of qml/style are named by a description of their own.
configure_file(qml/style/qmldir ${CMAKE_BINARY_DIR}/podconsole/style/qmldir COPYONLY)
set_source_files_properties(qml/style/qmldir PROPERTIES QT_RESOURCE_ALIAS style/qmldir)
qt_add_resources(apppodconsole style_module PREFIX /qt/qml/podconsole FILES qml/style/qmldir)

# podconsole_qml(target): gives a test the module's QML under the console's own resource paths.
function(podconsole_qml target)
  list(TRANSFORM qml_files PREPEND ${CMAKE_SOURCE_DIR}/ OUTPUT_VARIABLE files)
  set(module_folder ${CMAKE_BINARY_DIR}/podconsole)
  qt_add_resources(${target} module PREFIX /qt/qml/podconsole BASE ${CMAKE_SOURCE_DIR}/qml
    FILES ${files} ${CMAKE_SOURCE_DIR}/qml/style/qmldir)
  qt_add_resources(${target} module_description PREFIX /qt/qml/podconsole BASE ${module_folder}
    FILES ${module_folder}/qmldir)
endfunction()

# podconsole_images(target): gives a program the pictures.
function(podconsole_images target)
  file(GLOB image_files CONFIGURE_DEPENDS
    ${CMAKE_SOURCE_DIR}/src/image/*.png ${CMAKE_SOURCE_DIR}/src/image/*.svg)
  qt_add_resources(${target} images PREFIX / BASE ${CMAKE_SOURCE_DIR} FILES ${image_files})
endfunction()
podconsole_images(apppodconsole)
