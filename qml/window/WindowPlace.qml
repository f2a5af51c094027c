import QtQuick
import QtQuick.Window

// Where the window is and how large, kept from one start to the next.
QtObject {
    required property Window window
    required property StoredSettings settings

    // The place counts only if it is still on a screen; screens left of or above the first one have
    // negative coordinates.
    function restore() {
        const size = Qt.size(read("width", 0), read("height", 0));
        if (size.width < window.minimumWidth || size.height < window.minimumHeight)
            return;
        window.width = size.width;
        window.height = size.height;
        const corner = Qt.point(read("x", -100000), read("y", -100000));
        if (Array.from(Qt.application.screens).some(screen => shows(screen, corner))) {
            window.x = corner.x;
            window.y = corner.y;
        }
        if (read("maximised", 0) === 1)
            window.showMaximized();
    }

    function keep() {
        settings.place.setValue("maximised", window.visibility === Window.Maximized ? 1 : 0);
        if (window.visibility !== Window.Windowed)
            return;
        for (const key of ["x", "y", "width", "height"])
            settings.place.setValue(key, window[key]);
    }

    function read(key: string, least: int): int {
        return settings.readNumber(settings.place, key, 100000, least, least);
    }

    // Enough of the window to grasp it by its title bar.
    function shows(screen: var, corner: point): bool {
        return corner.x >= screen.virtualX && corner.y >= screen.virtualY
            && corner.x <= screen.virtualX + screen.width - 100
            && corner.y <= screen.virtualY + screen.height - 100;
    }
}
