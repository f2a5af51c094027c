import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../../style"

// A zoom factor, picked or typed, and the button that sends it.
FormRow {
    id: row

    required property DrawerActions actions

    property alias choice: box.choice
    property alias tip: box.tip
    property string buttonName: ""
    // "1", "2" and so on without a gap.
    required property list<string> factors
    required property var zoomTo
    // The index of the factor that was sent.
    signal zoomed(int index)

    function send() {
        const factor = Validation.integerIn(box.editText, 1, factors.length);
        if (isNaN(factor)) {
            row.actions.box.show(Texts.badZoom + factors.length);
            return;
        }
        if (row.actions.perform(() => zoomTo(factor)))
            zoomed(factor - 1);
    }

    labelWidth: Theme.drawerWideLabelWidth

    DrawerChoice {
        id: box
        objectName: row.objectName + "Combo"
        editable: true
        inputMethodHints: Qt.ImhDigitsOnly
        model: row.factors
        onChosen: index => {
            choice = index;
        }
        onAccepted: row.send()
    }
    DrawerButton {
        objectName: row.buttonName
        Layout.preferredWidth: 64
        text: Texts.set
        tip: Texts.tipZoomTo
        onClicked: row.send()
    }
}
