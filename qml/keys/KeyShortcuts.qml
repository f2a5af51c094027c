import QtQuick
import QtQml

// A shortcut for each row of the table. While text is typed a key is text.
Instantiator {
    id: shortcuts

    required property KeyTable table
    required property bool typing

    model: table.rows

    delegate: Shortcut {
        required property var modelData
        autoRepeat: modelData.repeats ?? false
        enabled: !shortcuts.typing
        sequences: [shortcuts.table.keys[modelData.name], modelData.also].filter(key => key !== undefined)
        onActivated: modelData.run()
    }
}
