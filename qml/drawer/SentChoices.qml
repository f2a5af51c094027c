import QtQuick

// What was switched or chosen last, kept across pages; the pod does not report these.
QtObject {
    property bool isOSDShow: true
    property bool isTargetCheck: true
    property int frameSizeIndex: -1
    property bool isTrackAutoZoom: false
    property bool isContinuousDistance: false
    property bool isClearFrog: false
    property bool isElectronicZoom: false
    property bool isLaserLight: false
    property int kjgZoomToIndex: -1
    property int rcxZoomToIndex: -1
    property int protocolIndex: -1
    property int frequencyIndex: -1
}
