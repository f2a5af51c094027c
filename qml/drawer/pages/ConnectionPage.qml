import QtQuick
import FlightRecorder
import ".."
import "../controls"
import "../forms"
import "../../style"
import "../../window"

// Page 0: the ways to the pod and its encoder module.
DrawerPage {
    id: page

    required property DrawerActions actions
    required property StoredSettings settings
    required property LinkOpener opener
    required property FlightRecorder recorder

    signal urlChanged(string newUrl)
    signal recordHereClicked()
    signal snapshotClicked()

    objectName: "infoPage"

    FormRow {
        label: Texts.podVersion

        DrawerField {
            id: podversionlabel
            readonly property string version: page.actions.hasBackend ? cMain.versionno : ""
            objectName: "podversionlabel"
            activeFocusOnTab: false
            readOnly: true
            text: version
            hint: Texts.noVersion
            tip: Texts.tipVersion
        }
    }
    StreamForm {
        actions: page.actions
        settings: page.settings
        onUrlChanged: newUrl => page.urlChanged(newUrl)
    }
    TcpForm {
        actions: page.actions
        settings: page.settings
        opener: page.opener
    }
    SerialForm {
        actions: page.actions
        settings: page.settings
        opener: page.opener
    }
    EncoderForm {
        id: b7nsettinglayout
        actions: page.actions
        visible: Models.hasEncoder(podversionlabel.version)
    }
    RecordingForm {
        actions: page.actions
        settings: page.settings
        recorder: page.recorder
        onRecordHereClicked: page.recordHereClicked()
        onSnapshotClicked: page.snapshotClicked()
    }
}
