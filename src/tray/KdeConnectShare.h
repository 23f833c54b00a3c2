#pragma once

#include "tray/NearbyDevice.h"

#include <QDBusConnection>
#include <QObject>
#include <QUrl>

// Shares files with devices paired through KDE Connect, when its daemon runs
// on the session bus: the daemon lists the paired devices it can reach, and
// its share plugin sends the files itself, showing the transfer in its own
// notification. We learn only whether the daemon took the files.
class KdeConnectShare : public QObject
{
    Q_OBJECT

public:
    static inline const QString kService = QStringLiteral("org.kde.kdeconnect");

    explicit KdeConnectShare(QDBusConnection bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);

    // Asks the daemon, if it is there, for its reachable paired devices
    // that can receive files: listed() names them all, then deviceFound()
    // describes each.
    void discover();
    // Hands the files to the daemon; finished() tells whether it took them.
    void send(const NearbyDevice &device, const QList<QUrl> &files);

Q_SIGNALS:
    void listed(const QStringList &ids);
    void deviceFound(const NearbyDevice &device);
    void finished(bool ok, const QString &error);

private:
    void describe(const QString &id);

    QDBusConnection m_bus;
};
