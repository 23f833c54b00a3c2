#pragma once

#include <QDir>
#include <QImage>
#include <QQuickWindow>
#include <QTest>

// Views grab themselves into $TARNWICK_SCREENSHOTS (docs/screenshots when run
// by hand) so a person can look at every state; without it nothing is kept.
inline bool grabScreen(QQuickWindow &window, const QString &name)
{
    QTest::qWait(250); // let colour fades and late pictures settle
    const QImage image = window.grabWindow();
    if (image.isNull())
        return false;
    const QString dir = qEnvironmentVariable("TARNWICK_SCREENSHOTS");
    if (dir.isEmpty())
        return true;
    QDir().mkpath(dir);
    return image.save(dir + QLatin1Char('/') + name + QStringLiteral(".png"));
}
