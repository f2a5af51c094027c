#pragma once

namespace compat {

/// Makes the keyboard's auto-repeat tellable from the operator's own presses. On X11 a key that is
/// held arrives as releases and presses in turn, and Qt does not always recognise the pairs; after
/// this call it arrives as presses alone, and the only release is the real one. Does nothing on
/// other window systems. To be called once the QGuiApplication exists.
void makeKeyRepeatTellable();

} // namespace compat
