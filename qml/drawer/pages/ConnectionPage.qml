import QtQuick
import "../controls"
import "../forms"
import "../../style"

// Page 0: the ways to the pod and its encoder module.
DrawerPage {
    objectName: "infoPage"

    FormRow {
        label: Texts.podVersion

        DrawerField {
            id: podversionlabel
            readonly property string version: drawerActions.hasBackend ? cMain.versionno : ""
            objectName: "podversionlabel"
            activeFocusOnTab: false
            readOnly: true
            text: version
            placeholderText: Texts.noVersion
            tip: Texts.tipVersion
        }
    }
    StreamForm {}
    TcpForm {}
    SerialForm {}
    EncoderForm {
        id: b7nsettinglayout
        visible: Models.hasEncoder(podversionlabel.version)
    }
    RecordingForm {}
}
