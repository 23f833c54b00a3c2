#pragma once

#include <QElapsedTimer>
#include <QList>

#include <algorithm>
#include <functional>

// The median wall time of `runs` runs of `work`, in milliseconds: one slow
// run on a shared machine does not move it.
inline double medianMs(int runs, const std::function<void()> &work)
{
    QList<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        work();
        times.append(t.nsecsElapsed() / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times.at(times.size() / 2);
}
