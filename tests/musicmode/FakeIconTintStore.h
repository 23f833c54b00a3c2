#pragma once

#include "musicmode/IconTintStore.h"

#include <QList>
#include <QMutex>
#include <QSemaphore>
#include <cmath>

// The desktop's accent colour in memory. It can refuse to be read, keep
// colours with 8-bit channels as KDE does, and hold its first read until
// the test opens the gate (to line requests up behind a running one).
class FakeIconTintStore final : public IconTintStore
{
public:
    explicit FakeIconTintStore(IconTint tint = {}) : current(std::move(tint)) { }

    std::optional<IconTint> read() override
    {
        if (holdFirstRead) {
            holdFirstRead = false;
            entered.release();
            gate.acquire();
        }
        QMutexLocker locker(&mutex);
        if (!readable)
            return std::nullopt;
        return current;
    }
    void write(const IconTint &tint) override
    {
        QMutexLocker locker(&mutex);
        current = asStored(tint);
        writes.append(current);
    }
    IconTint asStored(const IconTint &tint) const override
    {
        if (!eightBit || !tint.custom)
            return tint;
        IconTint stored = tint;
        for (double &c : *stored.custom)
            c = std::round(c * 255.0) / 255.0;
        return stored;
    }

    QMutex mutex;
    IconTint current;
    QList<IconTint> writes;
    bool readable = true;
    bool eightBit = false;
    bool holdFirstRead = false;
    QSemaphore entered;
    QSemaphore gate;
};
