import Joystick 1.0

// The joystick that steers the pod, on every page and with the drawer closed. A file of its own
// because a program without the joystick module cannot load it.
JoystickInput {
    backend: cMain
}
