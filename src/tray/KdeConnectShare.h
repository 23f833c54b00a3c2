#pragma once

#include "core/ClockSlot.h"
#include "tray/NearbyDevice.h"

#include <QDBusConnection>
#include <QObject>
#include <QUrl>

#include <memory>

class QSocketNotifier;

// Shares files with devices paired through KDE Connect, when its daemon runs
// on the session bus: the daemon lists the paired devices it can reach, and
// its share plugin sends the files itself, showing the transfer in its own
// notification. We learn only whether the daemon took the files.
//
// Files go over one at a time. The daemon (KDE Connect 22.12, Debian 12)
// puts files handed to it while an upload runs into the same batch, and a
// batch of several files loses one whenever the receiver connects for the
// next file before the previous connection has closed (another computer's
// daemon does that); the device's link stays stuck afterwards. So the next
// file is handed over only once the daemon has finished reading the
// previous one, which starts a new batch for it, and a moment later: the
// receiving daemon saves files one after the other but connects for the
// next one as soon as it hears of it, and misses a file whose sender
// finished before it got round to it.
class KdeConnectShare : public QObject
{
    Q_OBJECT

public:
    static inline const QString kService = QStringLiteral("org.kde.kdeconnect");
    // How long the daemon may take to start reading a file it took before
    // we stop waiting for it (the device never asked for it).
    static constexpr double kStartTimeout = 60;
    // How long the device gets to save the end of one file, after the
    // daemon has sent it, before it hears of the next.
    static constexpr double kSettle = 1;

    explicit KdeConnectShare(Clock &clock, QDBusConnection bus = QDBusConnection::sessionBus(),
                             QObject *parent = nullptr);
    ~KdeConnectShare() override;

    // Asks the daemon, if it is there, for its reachable paired devices
    // that can receive files: listed() names them all, then deviceFound()
    // describes each.
    void discover();
    // Hands the files to the daemon; finished() tells whether it took them.
    void send(const NearbyDevice &device, const QList<QUrl> &files);
    // Stops handing over the files not yet given to the daemon.
    void cancel();

Q_SIGNALS:
    void listed(const QStringList &ids);
    void deviceFound(const NearbyDevice &device);
    void finished(bool ok, const QString &error);

private Q_SLOTS:
    // The daemon lost the device while files still wait for it.
    void onReachableChanged(bool reachable);

private:
    void describe(const QString &id);
    void watchDevice(bool on);
    void handNext();
    bool watch(const QString &path);
    void unwatch();
    void readEvents();
    void settle();
    void end(bool ok, const QString &error);

    QDBusConnection m_bus;
    ClockSlot m_wait;
    NearbyDevice m_device;
    QList<QUrl> m_queue;
    quint64 m_generation = 0; // replies for an earlier send are ignored
    int m_inotify = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    bool m_handedOver = false; // the daemon answered for the file being read
    bool m_read = false;       // and has finished reading it
    bool m_watchingDevice = false;
};
