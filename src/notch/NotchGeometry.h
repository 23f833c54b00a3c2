#pragma once

#include "notch/ScreenReading.h"

#include <QObject>
#include <QRectF>
#include <QSizeF>
#include <QtQml/qqmlregistration.h>
#include <optional>

class ScreenSource;
class UserDefaults;

// The measured notch of one screen and every size derived from it. Screen
// rectangles (`screenFrame`, `screenRect`) grow upwards; rectangles inside
// the window (`baseRect`, `notchRect` …) grow downwards from its top left.
class NotchGeometry
{
    Q_GADGET
    QML_VALUE_TYPE(notchGeometry)
    Q_PROPERTY(QSizeF notchSize READ notchSize CONSTANT)
    Q_PROPERTY(QSizeF expandedSize READ expandedSize CONSTANT)
    Q_PROPERTY(double drawerWidth READ drawerWidth CONSTANT)
    Q_PROPERTY(bool hasPhysicalNotch READ hasPhysicalNotch CONSTANT)
    Q_PROPERTY(QRectF screenFrame READ screenFrame CONSTANT)
    Q_PROPERTY(QSizeF windowSize READ windowSize CONSTANT)
    Q_PROPERTY(QRectF baseRect READ baseRect CONSTANT)
    Q_PROPERTY(QRectF notchRect READ notchRect CONSTANT)
    Q_PROPERTY(QRectF leftDrawerRect READ leftDrawerRect CONSTANT)
    Q_PROPERTY(QRectF rightDrawerRect READ rightDrawerRect CONSTANT)

public:
    static constexpr double kPhysicalAddedWidth = 260;
    static constexpr double kMinimumOpenWidth = 530;
    static constexpr double kSimulatedNotchWidth = 190;
    static constexpr double kSimulatedOpenWidth = 530;
    static constexpr double kMinimumNotchHeight = 24;
    static constexpr double kOpenAddedHeight = 120;
    static constexpr double kDrawerMargin = 12;
    static constexpr double kMaximumDrawerWidth = 340;
    static constexpr double kTopSlop = 2;

    static inline const QString kForceSimulatedKey = QStringLiteral("TarnwickForceSimulatedNotch");

    NotchGeometry() = default;
    // Builds from a known notch size where no screen is at hand.
    NotchGeometry(QSizeF notchSize, bool hasPhysicalNotch, QRectF screenFrame);

    // Measures a screen; `forceSimulated` ignores any camera housing.
    static NotchGeometry measure(const ScreenReading &screen, bool forceSimulated);
    // Measures a screen with the switch read from the user's preferences.
    static NotchGeometry measure(const ScreenReading &screen, const UserDefaults &defaults);

    // The built-in screen with a camera housing if there is one, else the
    // first screen, else none.
    static std::optional<ScreenReading> preferredScreen(const ScreenSource &screens);

    QSizeF notchSize() const { return m_notchSize; }
    QSizeF expandedSize() const { return m_expandedSize; }
    double drawerWidth() const { return m_drawerWidth; }
    bool hasPhysicalNotch() const { return m_hasPhysicalNotch; }
    QRectF screenFrame() const { return m_screenFrame; }

    QSizeF windowSize() const;
    // y-up, like screenFrame.
    QRectF windowFrame() const;
    QRectF baseRect() const;
    QRectF notchRect() const;
    QRectF leftDrawerRect() const;
    QRectF rightDrawerRect() const;

    // A window-local rectangle on screen, widened by `slop` left and right and
    // reaching 2 points past the screen's top edge, so that a pointer pressed
    // against the top row of pixels still counts as inside.
    Q_INVOKABLE QRectF screenRect(const QRectF &windowRect, double slop) const;

    // Exact, field by field: Qt's own rectangle comparison is fuzzy.
    bool operator==(const NotchGeometry &other) const;

private:
    static double drawerWidthFor(double screenWidth, double expandedWidth);

    QSizeF m_notchSize;
    QSizeF m_expandedSize;
    double m_drawerWidth = 0;
    bool m_hasPhysicalNotch = false;
    QRectF m_screenFrame;
};
Q_DECLARE_METATYPE(NotchGeometry)
