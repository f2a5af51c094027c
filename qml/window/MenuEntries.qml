import QtQuick
import "../style"

// The entries of a tool strip menu.
Column {
    padding: Theme.gap
    spacing: Theme.gap
}
