pragma Singleton
import QtQuick

// One clock for the small things that move with the music (the record and
// the level bars of the wings), so that they change in the same frame: two
// timers of the same pace would drift apart and each cost a frame of its own.
// It ticks only while some view has asked for it.
QtObject {
    id: clock

    readonly property int interval: 100
    // How many views are moving; each adds itself while it moves.
    property int users: 0
    // Milliseconds since the last tick.
    signal ticked(real milliseconds)

    property Timer timer: Timer {
        interval: clock.interval
        repeat: true
        running: clock.users > 0
        onTriggered: clock.ticked(interval)
    }
}
