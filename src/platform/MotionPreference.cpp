#include "platform/MotionPreference.h"

#include <QFileInfo>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>

MotionPreference::MotionPreference(QObject *parent)
    : QObject(parent)
{
}

void MotionPreference::setReduceMotion(bool reduce)
{
    if (m_reduce == reduce)
        return;
    m_reduce = reduce;
    Q_EMIT reduceMotionChanged();
}

bool MotionPreference::kdeWantsLessMotion(const QString &kdeglobalsPath)
{
    if (!QFileInfo::exists(kdeglobalsPath))
        return false;
    QSettings kde(kdeglobalsPath, QSettings::IniFormat);
    bool ok = false;
    const double factor = kde.value(QStringLiteral("KDE/AnimationDurationFactor")).toDouble(&ok);
    return ok && factor == 0;
}

void MotionPreference::read()
{
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    if (kdeWantsLessMotion(config + QStringLiteral("/kdeglobals"))) {
        setReduceMotion(true);
        return;
    }
    if (QStandardPaths::findExecutable(QStringLiteral("gsettings")).isEmpty())
        return;
    auto *gsettings = new QProcess(this);
    connect(gsettings, &QProcess::finished, this, [this, gsettings](int code) {
        if (code == 0 && gsettings->readAllStandardOutput().trimmed() == "false")
            setReduceMotion(true);
        gsettings->deleteLater();
    });
    gsettings->start(QStringLiteral("gsettings"),
                     {QStringLiteral("get"), QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("enable-animations")});
}
