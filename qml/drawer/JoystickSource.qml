import Joystick 1.0

// The joystick that steers the pod, on every page and with the drawer closed. A file of its own
// because a program without the joystick module cannot load it. The two switches that the pod does
// not report are kept in step with the drawer's.
JoystickInput {
    id: source

    required property SentChoices sent

    backend: cMain
    zoomSpeed: mainWindow.zoomspeed
    osdOn: source.sent.isOSDShow
    laserLightOn: source.sent.isLaserLight
    onOsdOnChanged: source.sent.isOSDShow = osdOn
    onLaserLightOnChanged: source.sent.isLaserLight = laserLightOn
}
