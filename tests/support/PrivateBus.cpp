#include "support/PrivateBus.h"

#include <QStandardPaths>

PrivateBus::~PrivateBus()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

QString PrivateBus::start()
{
    if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty())
        return QStringLiteral("dbus-daemon is not installed (Debian package: dbus-daemon)");
    m_process.start(QStringLiteral("dbus-daemon"),
                    {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    if (!m_process.waitForStarted(5000))
        return QStringLiteral("dbus-daemon did not start");
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(5000))
            return QStringLiteral("dbus-daemon printed no address");
    }
    m_address = QString::fromUtf8(m_process.readLine()).trimmed();
    return {};
}
