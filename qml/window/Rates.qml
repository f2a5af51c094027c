import QtQuick

// How fast counters rise, over about the last two seconds.
QtObject {
    id: rates

    readonly property int keptMs: 2000
    property var samples: []

    // Takes the counters as they are now, in a plain object.
    function take(counters: var) {
        const now = Date.now();
        samples = samples.filter(sample => now - sample.at <= keptMs && sample.at <= now)
                         .concat([{at: now, counters: counters}]);
    }

    function rise(name: string): real {
        const last = samples.length - 1;
        return last < 1 ? 0 : samples[last].counters[name] - samples[0].counters[name];
    }

    function perSecond(name: string): real {
        const last = samples.length - 1;
        const ms = last < 1 ? 0 : samples[last].at - samples[0].at;
        return ms > 0 ? rise(name) * 1000 / ms : 0;
    }
}
