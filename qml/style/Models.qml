pragma Singleton
import QtQuick

// What each pod model can do, told from the version text ("C-Alder-0102000307"). A version that is
// empty or names no model shows everything. docs/models.md explains the choices.
QtObject {
    id: models

    // Rows by the upper-cased model name. "RedWood" stays in mixed case: an upper-cased name never
    // equals it, so a pod of that name counts among the others.
    readonly property var named: ({
        "B7N": {encoder: true, thermal: false, laser: false, fillLight: false,
                visibleZoomMax: 30, thermalZoomMax: 0},
        "BAOBAB": {encoder: true, thermal: false, laser: true, fillLight: false,
                   visibleZoomMax: 40, thermalZoomMax: 0},
        "RedWood": {encoder: true, thermal: false, laser: true, fillLight: true,
                    visibleZoomMax: 40, thermalZoomMax: 0}
    })
    readonly property var others: ({encoder: false, thermal: true, laser: true, fillLight: true,
                                    visibleZoomMax: 30, thermalZoomMax: 8})
    readonly property var unknown: ({encoder: true, thermal: true, laser: true, fillLight: true,
                                     visibleZoomMax: 40, thermalZoomMax: 8})

    // The upper-cased model piece; empty when the version names no model.
    function modelOf(version: string): string {
        const pieces = String(version).split("-");
        const model = pieces.length > 1 ? pieces[1].toUpperCase() : "";
        return model === "NULL" ? "" : model;
    }

    function abilities(version: string): var {
        const model = modelOf(version);
        if (model === "")
            return unknown;
        return named[model] ?? others;
    }

    function hasEncoder(version: string): bool { return abilities(version).encoder; }
    function hasThermal(version: string): bool { return abilities(version).thermal; }
    function hasLaser(version: string): bool { return abilities(version).laser; }
    function hasFillLight(version: string): bool { return abilities(version).fillLight; }

    // The zoom factors on offer, as texts: "1" up to the model's largest.
    function zoomList(largest: int): list<string> {
        const factors = [];
        for (let factor = 1; factor <= largest; ++factor)
            factors.push(factor.toString());
        return factors;
    }
    function visibleZoomList(version: string): list<string> {
        return zoomList(abilities(version).visibleZoomMax);
    }
    function thermalZoomList(version: string): list<string> {
        return zoomList(abilities(version).thermalZoomMax);
    }
}
