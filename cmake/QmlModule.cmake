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
endforeach()

qt_add_qml_module(apppodconsole
  URI podconsole
  VERSION 1.0
  RESOURCE_PREFIX /qt/qml
  QML_FILES ${qml_files})

file(GLOB image_files RELATIVE ${CMAKE_SOURCE_DIR} CONFIGURE_DEPENDS
  src/image/*.png src/image/*.svg)
qt_add_resources(apppodconsole images PREFIX / FILES ${image_files})
