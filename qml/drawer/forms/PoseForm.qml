import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../../style"

// Turns the gimbal to typed angles in whole degrees, limited to the pod's range.
Section {
    id: form

    required property DrawerActions actions

    readonly property int pitchMin: -120
    readonly property int pitchMax: 30
    readonly property int yawMin: -180
    readonly property int yawMax: 180
    // What is taken for a number at all.
    readonly property int anyAngle: 100000

    function send() {
        const pitch = Validation.integerIn(pitchInput.text, -anyAngle, anyAngle);
        const yaw = Validation.integerIn(yawInput.text, -anyAngle, anyAngle);
        if (isNaN(pitch) || isNaN(yaw)) {
            form.actions.box.show(Texts.badAngles);
            return;
        }
        const pitchGoal = Math.max(pitchMin, Math.min(pitchMax, pitch));
        const yawGoal = Math.max(yawMin, Math.min(yawMax, yaw));
        pitchInput.text = pitchGoal;
        yawInput.text = yawGoal;
        form.actions.perform(() => cMain.gimbalSetToPitchYaw(pitchGoal, yawGoal));
    }

    caption: Texts.poseSection

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.drawerSpacing

        Text {
            color: Theme.drawerText
            font.pixelSize: Theme.drawerFontSize
            text: Texts.pitch
        }
        DrawerField {
            id: pitchInput
            objectName: "pitchInput"
            inputMethodHints: Qt.ImhDigitsOnly
            text: "0"
            tip: Texts.tipPitch
            onAccepted: form.send()
        }
        Text {
            color: Theme.drawerText
            font.pixelSize: Theme.drawerFontSize
            text: Texts.yaw
        }
        DrawerField {
            id: yawInput
            objectName: "yawInput"
            inputMethodHints: Qt.ImhDigitsOnly
            text: "0"
            tip: Texts.tipYaw
            onAccepted: form.send()
        }
        DrawerButton {
            objectName: "turnToButton"
            primary: true
            text: Texts.turnTo
            tip: Texts.tipTurnTo
            onClicked: form.send()
        }
    }
}
