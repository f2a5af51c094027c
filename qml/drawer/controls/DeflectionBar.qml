import QtQuick
import QtQuick.Controls
import "../../style"

// One half of an axis, growing away from the centre.
ProgressBar {
    id: bar

    property bool leftward: false
    property string axis: ""

    width: 60
    height: 12
    padding: 0
    Accessible.name: Texts.axisDeflection(axis, leftward)

    background: Rectangle {
        color: Theme.drawerDisabledFill
        border.color: Theme.drawerBorder
        radius: 2
    }
    contentItem: Item {
        Rectangle {
            x: bar.leftward ? parent.width - width : 0
            width: bar.value * parent.width
            height: parent.height
            radius: 2
            color: Theme.progressForeground
        }
    }
}
