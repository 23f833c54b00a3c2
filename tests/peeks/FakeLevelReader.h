#pragma once

#include "peeks/AirPodsLevelReader.h"

#include <QStringList>

// AirPods levels from memory: each read answers at once with `next`, or,
// while `holds`, keeps its answer in `held` for the test to give later.
class FakeLevelReader : public AirPodsLevelReader
{
public:
    std::optional<AirPodsLevels> next;
    bool holds = false;
    Done held;
    QStringList reads;
    int cancels = 0;

    void read(const QString &name, Done done) override
    {
        reads << name;
        if (holds)
            held = std::move(done);
        else
            done(next);
    }
    void cancel() override { ++cancels; }
};
