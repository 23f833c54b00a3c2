#include "tray/NearbyShare.h"

#include <QFileInfo>
#include <QRandomGenerator>
#include <QSysInfo>

LocalSendClient::Config NearbyShare::defaultLocalSendConfig()
{
    LocalSendClient::Config config;
    config.alias = QStringLiteral("Tarnwick on ") + QSysInfo::machineHostName();
    // A sender without a server of its own announces a random fingerprint,
    // new each run, only so that it does not discover itself.
    QByteArray random(16, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(random.data()), random.size() / 4);
    config.fingerprint = QString::fromLatin1(random.toHex());
    return config;
}

NearbyShare::NearbyShare(Clock &clock, LocalSendClient::Config localSend, QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_linger(clock)
    , m_answerWindow(clock)
    , m_localSend(std::move(localSend))
    , m_kdeConnect(clock, std::move(bus))
{
    // The hint names the devices, so any device coming or going is news.
    connect(&m_devices, &NearbyDeviceList::countChanged, this, &NearbyShare::canPerformChanged);
    connect(&m_localSend, &LocalSendClient::deviceFound, this, [this](const NearbyDevice &device) {
        m_answered.append(device.id);
        m_devices.upsert(device);
    });
    connect(&m_kdeConnect, &KdeConnectShare::deviceFound, &m_devices, &NearbyDeviceList::upsert);
    // A device that went out of range or was unpaired is no longer offered.
    // A transfer under way keeps its own copy of the device it goes to.
    connect(&m_kdeConnect, &KdeConnectShare::listed, &m_devices,
            [this](const QStringList &ids) { m_devices.keepOnly(NearbyDevice::Kind::KdeConnect, ids); });
    connect(&m_localSend, &LocalSendClient::progress, this, [this](qint64 sent, qint64 total) {
        setProgress(total > 0 ? double(sent) / double(total) : 0);
    });
    connect(&m_localSend, &LocalSendClient::finished, this, &NearbyShare::finish);
    connect(&m_kdeConnect, &KdeConnectShare::finished, this, &NearbyShare::finish);
}

void NearbyShare::startLooking()
{
    // Our announcement asks every LocalSend device to answer at once; one
    // that does not has left (LocalSend devices never say goodbye).
    m_answered.clear();
    m_localSend.discover();
    m_kdeConnect.discover();
    m_answerWindow.start(kAnswerWindow, [this] {
        m_localSend.stopListening();
        m_devices.keepOnly(NearbyDevice::Kind::LocalSend, m_answered);
    });
}

bool NearbyShare::send(const QList<QUrl> &files)
{
    if (!canPerform() || files.isEmpty() || m_phase == Phase::Sending)
        return false;
    m_linger.cancel();
    m_files = files;
    m_lastError.clear();
    setProgress(0);
    setPhase(Phase::Choosing);
    return true;
}

void NearbyShare::choose(int row)
{
    if (m_phase != Phase::Choosing || row < 0 || row >= m_devices.count())
        return;
    m_target = m_devices.devices().at(row);
    setProgress(0);
    setPhase(Phase::Sending);
    if (m_target.kind == NearbyDevice::Kind::KdeConnect)
        m_kdeConnect.send(m_target, m_files);
    else
        m_localSend.send(m_target, m_files);
}

void NearbyShare::dismiss()
{
    m_linger.cancel();
    if (m_phase == Phase::Sending) {
        m_localSend.cancel();
        m_kdeConnect.cancel();
    }
    m_files.clear();
    setPhase(Phase::Idle);
}

void NearbyShare::finish(bool ok, const QString &error)
{
    if (m_phase != Phase::Sending)
        return;
    m_lastError = ok ? QString() : error;
    if (ok)
        setProgress(1);
    m_files.clear();
    setPhase(ok ? Phase::Sent : Phase::Failed);
    m_linger.start(kResultLinger, [this] { setPhase(Phase::Idle); });
}

void NearbyShare::setPhase(Phase phase)
{
    if (phase == m_phase)
        return;
    m_phase = phase;
    Q_EMIT phaseChanged();
}

void NearbyShare::setProgress(double progress)
{
    if (qFuzzyCompare(progress + 1, m_progress + 1))
        return;
    m_progress = progress;
    Q_EMIT progressChanged();
}

QString NearbyShare::statusText() const
{
    const auto what = [this] {
        return m_files.size() == 1 ? QFileInfo(m_files.first().toLocalFile()).fileName()
                                   : QStringLiteral("%1 files").arg(m_files.size());
    };
    switch (m_phase) {
    case Phase::Idle:
        return {};
    case Phase::Choosing:
        return QStringLiteral("Send %1 to…").arg(what());
    case Phase::Sending:
        return QStringLiteral("Sending to %1…").arg(m_target.name);
    case Phase::Sent:
        // KDE Connect carries on with the transfer after taking the files.
        if (m_target.kind == NearbyDevice::Kind::KdeConnect)
            return QStringLiteral("Handed to KDE Connect for %1").arg(m_target.name);
        return QStringLiteral("Sent to %1").arg(m_target.name);
    case Phase::Failed:
        return QStringLiteral("Couldn't send: ") + m_lastError;
    }
    return {};
}

QString NearbyShare::deviceHint() const
{
    switch (m_devices.count()) {
    case 0:
        return QStringLiteral("Looking for devices…");
    case 1:
        return m_devices.devices().first().name;
    default:
        return QStringLiteral("%1 and %2 more").arg(m_devices.devices().first().name).arg(m_devices.count() - 1);
    }
}
