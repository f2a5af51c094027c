# The Debian packages, made by scripts/package.sh: podconsole, and podconsole-sim with the simulator.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The podconsole authors <podconsole@kavro.example>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL console)
if(TARGET podsim)
  list(APPEND CPACK_COMPONENTS_ALL sim)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON) # the libraries; the lists below add what is loaded by name

# QML modules: those that qml/ imports, and those that they import in turn.
list(APPEND console_needs
  qml6-module-qtcore qml6-module-qtqml qml6-module-qtqml-models qml6-module-qtqml-workerscript
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-dialogs
  qml6-module-qtquick-layouts qml6-module-qtquick-templates qml6-module-qtquick-window
  qml6-module-qt-labs-folderlistmodel qml6-module-qt-labs-settings)
# The reader of SVG pictures is in a package of its own from Qt 6.6 on.
list(APPEND console_needs "qt6-svg-plugins | libqt6svg6 (<< 6.6)")
# The interface is Chinese first.
list(APPEND console_needs "fonts-noto-cjk | fonts-wqy-microhei | fonts-wqy-zenhei")
list(JOIN console_needs ", " CPACK_DEBIAN_CONSOLE_PACKAGE_DEPENDS)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_NAME podconsole)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_SECTION video)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_RECOMMENDS qt6-wayland)
set(CPACK_DEBIAN_CONSOLE_DESCRIPTION "ground-control console for a stabilised camera gimbal
One window shows the live video of a stabilised camera gimbal, the pod, on
an aircraft. Keyboard, mouse and joystick steer it, zoom, focus, photograph,
record, point and track; the drawer sets the pod up and upgrades its
firmware.")

set(CPACK_DEBIAN_SIM_PACKAGE_NAME podconsole-sim)
set(CPACK_DEBIAN_SIM_PACKAGE_SECTION video)
set(CPACK_DEBIAN_SIM_PACKAGE_DEPENDS "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good, \
gstreamer1.0-plugins-bad, gstreamer1.0-plugins-ugly, gstreamer1.0-libav")
set(CPACK_DEBIAN_SIM_DESCRIPTION "simulated camera gimbal for podconsole
podsim answers on the control link, streams video, and plays the bootloader
and the upgrade server, so that podconsole can be tried without a pod.")

include(CPack)
