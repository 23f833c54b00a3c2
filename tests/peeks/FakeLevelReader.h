#pragma once

#include "peeks/AirPodsLevelReader.h"

#include <QStringList>

// AirPods levels from memory: each read answers at once with `next`.
class FakeLevelReader : public AirPodsLevelReader
{
public:
    std::optional<AirPodsLevels> next;
    QStringList reads;
    int cancels = 0;

    void read(const QString &name, Done done) override
    {
        reads << name;
        done(next);
    }
    void cancel() override { ++cancels; }
};
