#pragma once

#include "peeks/AirPodsLevels.h"

#include <QString>

#include <functional>
#include <optional>

// Where AirPodsBattery gets its levels from. A read may take a few seconds
// (it listens to the air for a moment), so it answers through a callback.
class AirPodsLevelReader {
public:
    using Done = std::function<void(std::optional<AirPodsLevels>)>;

    virtual ~AirPodsLevelReader() = default;

    // Reads the levels of the connected set whose name is `name` and calls
    // `done` exactly once, at once or later, with nothing when there are
    // none. A read started while another runs replaces it.
    virtual void read(const QString &name, Done done) = 0;
    // Drops the running read: its `done` is never called, and whatever it
    // started on the system is stopped now.
    virtual void cancel() = 0;
};
