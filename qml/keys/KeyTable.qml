import QtQuick
import "../style"
import "../window"

// What the keys do besides steering: the one table from which the shortcuts, the page that shows them
// and the group of the settings file are made. The keys can be changed, the steering ones cannot.
QtObject {
    id: keyTable

    required property PodActions actions
    required property SteeringKeys motionKeys
    required property StoredSettings settings

    // `name` is the text in Texts.keyActions, too, and what the settings file calls it; `also` is a
    // second key that stays.
    readonly property var rows: [
        {name: "photo", key: "P", run: () => actions.photo()},
        {name: "record", key: "R", run: () => actions.record()},
        {name: "recordHere", key: "Shift+R", run: () => actions.recordHere()},
        {name: "snapshot", key: "Shift+P", run: () => actions.snapshot()},
        {name: "centre", key: "C", run: () => actions.centre()},
        {name: "lookDown", key: "X", run: () => actions.lookDown()},
        {name: "yawCentre", key: "Shift+C", run: () => actions.yawCentre()},
        {name: "pitchDown", key: "Shift+X", run: () => actions.pitchDown()},
        {name: "yawFollow", key: "1", run: () => actions.yawFollow()},
        {name: "yawLock", key: "2", run: () => actions.yawLock()},
        {name: "fpv", key: "3", run: () => actions.fpv()},
        {name: "faster", key: "PgUp", repeats: true, run: () => actions.changeSpeed(1)},
        {name: "slower", key: "PgDown", repeats: true, run: () => actions.changeSpeed(-1)},
        {name: "stopTracking", key: "T", run: () => actions.stopTracking()},
        {name: "help", key: "F1", also: "?", run: () => mainWindow.showKeys()},
        {name: "drawer", key: "F2", run: () => mainWindow.toggleDrawer()},
        {name: "values", key: "I",
         run: () => mainWindow.isPodInfoValuesShow = !mainWindow.isPodInfoValuesShow},
        {name: "headUp", key: "F3", run: () => mainWindow.showHeadUp(!mainWindow.isHeadUpShown)},
        {name: "statistics", key: "F4",
         run: () => mainWindow.isStatisticsShown = !mainWindow.isStatisticsShown},
        {name: "fullScreen", key: "F11", run: () => mainWindow.toggleFullScreen()}
    ]
    // The keys in force by the names of their actions.
    property var keys: ({})

    readonly property var steering: Object.keys(motionKeys.commands).map(Number)
    readonly property var others: ({
        [Qt.Key_PageUp]: "PgUp", [Qt.Key_PageDown]: "PgDown", [Qt.Key_Home]: "Home",
        [Qt.Key_End]: "End", [Qt.Key_Insert]: "Ins", [Qt.Key_Delete]: "Del"
    })

    // The name of a pressed key, "" of one that no action can have.
    function nameOf(key: int, modifiers: int): string {
        const name = key >= Qt.Key_0 && key <= Qt.Key_9 || key >= Qt.Key_A && key <= Qt.Key_Z
            ? String.fromCharCode(key)
            : key >= Qt.Key_F1 && key <= Qt.Key_F12 ? "F" + (key - Qt.Key_F1 + 1) : others[key];
        if (!name || steering.includes(key))
            return "";
        return (modifiers & Qt.ControlModifier ? "Ctrl+" : "")
            + (modifiers & Qt.AltModifier ? "Alt+" : "")
            + (modifiers & Qt.ShiftModifier ? "Shift+" : "") + name;
    }

    function isUsable(key: string): bool {
        const parts = /^(?:Ctrl\+)?(?:Alt\+)?(?:Shift\+)?([A-Z0-9]|F[1-9]|F1[0-2]|[A-Z][a-zA-Z]{2,})$/.exec(key);
        return parts !== null && !steering.includes(parts[1].length === 1 ? parts[1].charCodeAt(0) : 0)
            && (!/[a-z]/.test(parts[1]) || Object.values(others).includes(parts[1]));
    }

    // The action that has the key, or "".
    function ownerOf(key: string): string {
        return rows.find(row => keys[row.name] === key || row.also === key)?.name ?? "";
    }

    // Gives the action the key; or says why not, and leaves all as it was.
    function assign(name: string, key: string): string {
        if (!isUsable(key))
            return Texts.keyUnusable;
        const owner = ownerOf(key);
        if (owner !== "" && owner !== name)
            return Texts.keyTaken(key, Texts.keyActions[owner]);
        keys = Object.assign({}, keys, {[name]: key});
        settings.store(settings.keys, name, key);
        return "";
    }

    function assignDefaults() {
        for (const row of rows.filter(row => keys[row.name] !== row.key))
            settings.store(settings.keys, row.name, row.key);
        read();
    }

    // What the operator chose comes first, of two equal choices the upper one. An action whose default
    // was chosen for another has no key.
    function read() {
        const found = {};
        const give = (row, key) => {
            if (isUsable(key) && !Object.values(found).includes(key))
                found[row.name] = key;
        };
        rows.forEach(row => give(row, String(settings.keys.value(row.name, ""))));
        rows.filter(row => !found[row.name]).forEach(row => give(row, row.key));
        keys = found;
    }
}
