#pragma once

#include "notch/ScreenReading.h"

#include <QList>

// The list of screens, in the platform's order.
class ScreenSource
{
public:
    virtual ~ScreenSource() = default;
    virtual QList<ScreenReading> screens() const = 0;
};
