#pragma once

#include "core/QmlSingleton.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

// Whether the user asked the desktop for less motion: KDE's animation speed
// set to instant, or GNOME's animations switched off. Read once at start;
// views that animate for decoration check it.
class MotionPreference : public QObject, public QmlSingleton<MotionPreference>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool reduceMotion READ reduceMotion NOTIFY reduceMotionChanged)

public:
    explicit MotionPreference(QObject *parent);

    bool reduceMotion() const { return m_reduce; }
    void setReduceMotion(bool reduce);
    // Reads the desktop's setting; GNOME's is asked for without blocking.
    void read();

    // KDE keeps it in kdeglobals: [KDE] AnimationDurationFactor=0.
    static bool kdeWantsLessMotion(const QString &kdeglobalsPath);

Q_SIGNALS:
    void reduceMotionChanged();

private:
    bool m_reduce = false;
};
