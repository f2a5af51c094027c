pragma Singleton
import QtQuick

// The one place for texts in both languages.
QtObject {
    id: texts

    // 0 Chinese, 1 English; the main window keeps it in step with the operator's choice.
    property int languageIndex: 0

    function pick(chinese: string, english: string): string {
        return texts.languageIndex === 1 ? english : chinese;
    }

    // Main window
    readonly property string connected: pick("已连接", "Connected")
    readonly property string disconnected: pick("未连接", "Disconnected")
}
