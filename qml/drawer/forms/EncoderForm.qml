import QtQuick
import ".."
import "../controls"
import "../../style"

// The pod's video-encoder module. Its addresses are shown and taken in the pod's own form, each
// part with at least two digits.
Section {
    id: form

    required property DrawerActions actions

    // The codes on the wire begin at 1, the lists at 0.
    readonly property int firstCode: 1

    function load() {
        if (!form.actions.hasBackend)
            return;
        ipaddresstext.text = cMain.b7nIPAddress;
        gatewaytext.text = cMain.b7nGateWay;
        bitratecombo.choice = cMain.b7nBitRateIndex;
        resolutioncombo.choice = cMain.b7nResolutionIndex;
        encodetypecombo.choice = cMain.b7nEncodeTypeIndex;
    }

    function send() {
        const indices = [bitratecombo.currentIndex, resolutioncombo.currentIndex,
            encodetypecombo.currentIndex];
        if (!Validation.isIpAddress(ipaddresstext.text) || !Validation.isIpAddress(gatewaytext.text)
                || Math.min(...indices) < 0) {
            form.actions.box.show(Texts.badEncoder);
            return;
        }
        const values = [...Validation.addressBytes(ipaddresstext.text),
            ...Array.from(indices, index => index + firstCode),
            ...Validation.addressBytes(gatewaytext.text)];
        if (form.actions.perform(() => cMain.setB7N(values)))
            form.actions.box.show(Texts.encoderSet);
    }

    objectName: "b7nsettinglayout"
    caption: Texts.encoderSection
    Component.onCompleted: load()

    Connections {
        target: form.actions.hasBackend ? cMain : null
        function onB7nIPAddressChanged() {
            form.load();
        }
    }

    FormRow {
        label: "IP"
        DrawerField {
            id: ipaddresstext
            objectName: "ipaddresstext"
            tip: Texts.tipEncoderAddress
        }
    }
    FormRow {
        label: Texts.gateway
        DrawerField {
            id: gatewaytext
            objectName: "gatewaytext"
            tip: Texts.tipGateway
        }
    }
    FormRow {
        label: Texts.bitRate
        DrawerChoice {
            id: bitratecombo
            objectName: "bitratecombo"
            model: ["4Mbit/s", "8Mbit/s", "1Mbit/s", "1.5Mbit/s", "2Mbit/s", "2.5Mbit/s", "3Mbit/s"]
            tip: Texts.tipBitRate
            onChosen: index => choice = index
        }
    }
    FormRow {
        label: Texts.resolution
        DrawerChoice {
            id: resolutioncombo
            objectName: "resolutioncombo"
            model: ["1920x1080", "1280x720"]
            tip: Texts.tipResolution
            onChosen: index => choice = index
        }
    }
    FormRow {
        label: Texts.encoding
        DrawerChoice {
            id: encodetypecombo
            objectName: "encodetypecombo"
            model: ["H.264", "H.265"]
            tip: Texts.tipEncoding
            onChosen: index => choice = index
        }
    }
    ButtonRow {
        DrawerButton {
            objectName: "b7nQueryButton"
            text: Texts.query
            tip: Texts.tipQueryEncoder
            onClicked: form.actions.perform(() => cMain.queryB7N())
        }
        DrawerButton {
            objectName: "b7nSetButton"
            primary: true
            text: Texts.set
            tip: Texts.tipSetEncoder
            onClicked: form.send()
        }
    }
}
