import QtQuick
import QtCore
import SettingsFile
import "../style"

// What is remembered in device_config.ini, by its groups.
Item {
    readonly property alias rtsp: rtspSettings
    readonly property alias tcp: tcpSettings
    readonly property alias com: comSettings
    readonly property alias general: generalSettings
    readonly property alias keys: keySettings
    readonly property alias view: viewSettings
    readonly property alias recording: recordingSettings
    readonly property alias place: placeSettings

    // What the operator should know of the file; empty when all is well.
    readonly property string trouble:
        file.state === SettingsFile.Damaged ? Texts.settingsDamaged(file.keptAs)
        : file.state === SettingsFile.Unwritable ? Texts.settingsUnwritable : ""

    // What makes no sense as a number leaves the default standing.
    function readNumber(group: var, key: string, most: int, byDefault: int, least = 0): int {
        const value = Validation.integerIn(String(group.value(key, byDefault)), least, most);
        return isNaN(value) ? byDefault : value;
    }

    function store(group: var, key: string, value: var) {
        group.setValue(key, value);
        file.checkWritable();
    }

    // Before the groups, which would read a damaged file.
    SettingsFile {
        id: file
        path: "device_config.ini"
    }
    Settings {
        id: rtspSettings
        category: "RTSP"
        location: "file:device_config.ini"
    }
    Settings {
        id: tcpSettings
        category: "TCP"
        location: "file:device_config.ini"
    }
    Settings {
        id: comSettings
        category: "COM"
        location: "file:device_config.ini"
    }
    Settings {
        id: generalSettings
        category: "General"
        location: "file:device_config.ini"
    }
    Settings {
        id: viewSettings
        category: "View"
        location: "file:device_config.ini"
    }
    Settings {
        id: recordingSettings
        category: "Recording"
        location: "file:device_config.ini"
    }
    Settings {
        id: placeSettings
        category: "Window"
        location: "file:device_config.ini"
    }
    Settings {
        id: keySettings
        category: "Keys"
        location: "file:device_config.ini"
    }
}
