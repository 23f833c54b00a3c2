#pragma once

#include "core/ClockSlot.h"
#include "core/QmlSingleton.h"
#include "tray/KdeConnectShare.h"
#include "tray/LocalSendClient.h"
#include "tray/NearbyDeviceList.h"

#include <QObject>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

// Sending dropped files to a nearby device: LocalSend receivers on the
// local network and phones paired with KDE Connect. Files dropped on the
// device side wait here while the user picks a device in the Nook; then the
// transfer's progress and its outcome show there too. Nothing is moved or
// deleted: the files are only read.
class NearbyShare : public QObject, public QmlSingleton<NearbyShare>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(NearbyDeviceList *devices READ devices CONSTANT)
    Q_PROPERTY(bool canPerform READ canPerform NOTIFY canPerformChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY phaseChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY phaseChanged)
    Q_PROPERTY(QString deviceHint READ deviceHint NOTIFY canPerformChanged)
    Q_PROPERTY(QString dismissText READ dismissText NOTIFY phaseChanged)

public:
    enum class Phase { Idle, Choosing, Sending, Sent, Failed };
    Q_ENUM(Phase)

    // How long a result stays in the Nook before it clears itself.
    static constexpr double kResultLinger = 4;
    // How long LocalSend devices get to answer a look. Those that stay
    // silent have left; then we stop listening until the next look.
    static constexpr double kAnswerWindow = 3;

    static LocalSendClient::Config defaultLocalSendConfig();

    NearbyShare(Clock &clock, LocalSendClient::Config localSend,
                QDBusConnection bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);

    Phase phase() const { return m_phase; }
    NearbyDeviceList *devices() { return &m_devices; }
    // Some device is reachable: the only test there is before sending.
    bool canPerform() const { return m_devices.count() > 0; }
    double progress() const { return m_progress; }
    QString statusText() const;
    QString lastError() const { return m_lastError; }
    // A line for the drop target's device half.
    QString deviceHint() const;
    // The close button's name: it stops a transfer under way.
    QString dismissText() const
    {
        return m_phase == Phase::Sending ? QStringLiteral("Stop sending") : QStringLiteral("Close");
    }
    const QList<QUrl> &pendingFiles() const { return m_files; }
    bool isListening() const { return m_localSend.isListening(); }

    // Looks for devices (a drag is coming).
    Q_INVOKABLE void startLooking();
    // Offers the files to the devices found; false, and nothing happens,
    // when none is reachable.
    bool send(const QList<QUrl> &files);
    // The user picked a device from the list.
    Q_INVOKABLE void choose(int row);
    // Closes the chooser or the result, stopping a transfer under way.
    Q_INVOKABLE void dismiss();

Q_SIGNALS:
    void phaseChanged();
    void canPerformChanged();
    void progressChanged();

private:
    void setPhase(Phase phase);
    void setProgress(double progress);
    void finish(bool ok, const QString &error);

    ClockSlot m_linger;
    ClockSlot m_answerWindow;
    QStringList m_answered; // LocalSend devices heard since the look began
    LocalSendClient m_localSend;
    KdeConnectShare m_kdeConnect;
    NearbyDeviceList m_devices;
    Phase m_phase = Phase::Idle;
    QList<QUrl> m_files;
    NearbyDevice m_target;
    double m_progress = 0;
    QString m_lastError;
};
