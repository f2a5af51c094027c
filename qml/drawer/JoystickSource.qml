import Joystick 1.0

// The joystick that steers the pod, on every page and with the drawer closed. A file of its own
// because a program without the joystick module cannot load it. The two switches that the pod does
// not report are kept in step with the drawer's.
JoystickInput {
    backend: cMain
    guard: motion
    zoomSpeed: mainWindow.zoomspeed
    osdOn: root.isOSDShow
    laserLightOn: root.isLaserLight
    onOsdOnChanged: root.isOSDShow = osdOn
    onLaserLightOnChanged: root.isLaserLight = laserLightOn
}
