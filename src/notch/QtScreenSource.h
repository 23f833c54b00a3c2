#pragma once

#include "notch/ScreenSource.h"

#include <QStringList>

class QScreen;

// The screens as Qt reports them, converted into the notch's coordinates.
class QtScreenSource final : public ScreenSource
{
public:
    QtScreenSource();
    // A machine other than this one, for tests.
    explicit QtScreenSource(QStringList deviceCompatible);

    QList<ScreenReading> screens() const override;
    ScreenReading reading(QScreen *screen) const;

private:
    QStringList m_compatible;
};
