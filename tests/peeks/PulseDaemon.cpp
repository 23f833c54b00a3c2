#include "PulseDaemon.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

namespace {

QProcessEnvironment isolatedEnvironment(const QString &dir)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), dir);
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir);
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir + QStringLiteral("/config"));
    env.insert(QStringLiteral("PULSE_RUNTIME_PATH"), dir);
    env.insert(QStringLiteral("PULSE_STATE_PATH"), dir + QStringLiteral("/state"));
    // No desktop session to register with or to be found through.
    env.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("PULSE_SERVER"));
    return env;
}

} // namespace

PulseDaemon::PulseDaemon(QStringList scriptLines)
    : m_script(std::move(scriptLines))
{
}

PulseDaemon::~PulseDaemon()
{
    kill();
}

QString PulseDaemon::server() const
{
    return QStringLiteral("unix:") + m_dir.filePath(QStringLiteral("native"));
}

QString PulseDaemon::start()
{
    if (QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty())
        return QStringLiteral("pulseaudio is not installed (Debian package: pulseaudio)");
    if (QStandardPaths::findExecutable(QStringLiteral("pactl")).isEmpty())
        return QStringLiteral("pactl is not installed (Debian package: pulseaudio-utils)");
    if (!m_dir.isValid())
        return QStringLiteral("cannot make a temporary directory");

    const QString socket = m_dir.filePath(QStringLiteral("native"));
    QFile::remove(socket);
    QFile script(m_dir.filePath(QStringLiteral("test.pa")));
    if (!script.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QStringLiteral("cannot write the daemon's script");
    // Anonymous access: the test client has no cookie to show.
    script.write(
        QStringLiteral("load-module module-native-protocol-unix auth-anonymous=1 socket=%1\n").arg(socket).toUtf8());
    for (const QString &line : m_script)
        script.write(line.toUtf8() + '\n');
    script.close();

    m_process.setProcessEnvironment(isolatedEnvironment(m_dir.path()));
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.setStandardOutputFile(QProcess::nullDevice());
    // Root may run a per-user daemon; it only warns. -n skips the system's
    // default script, so nothing but the test's sinks is loaded.
    m_process.start(QStringLiteral("pulseaudio"),
        {QStringLiteral("--daemonize=no"), QStringLiteral("--exit-idle-time=-1"), QStringLiteral("--disallow-exit"),
            QStringLiteral("--use-pid-file=no"), QStringLiteral("--system=no"), QStringLiteral("--realtime=no"),
            QStringLiteral("--high-priority=no"), QStringLiteral("--log-level=error"),
            QStringLiteral("--log-target=stderr"), QStringLiteral("-n"), QStringLiteral("-F"), script.fileName()});
    if (!m_process.waitForStarted(5000))
        return QStringLiteral("pulseaudio did not start: ") + m_process.errorString();

    // Ready once it answers on its socket.
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        if (m_process.state() != QProcess::Running)
            return QStringLiteral("pulseaudio exited at start-up");
        bool ok = false;
        if (QFile::exists(socket)) {
            pactl({QStringLiteral("info")}, &ok);
            if (ok)
                return {};
        }
        QThread::msleep(50);
    }
    return QStringLiteral("pulseaudio did not answer within 10 s");
}

void PulseDaemon::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(5000);
}

QString PulseDaemon::pactl(const QStringList &arguments, bool *ok) const
{
    QProcess process;
    process.setProcessEnvironment(isolatedEnvironment(m_dir.path()));
    process.start(QStringLiteral("pactl"), QStringList {QStringLiteral("--server=") + server()} + arguments);
    const bool finished = process.waitForFinished(5000);
    const bool success = finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (ok)
        *ok = success;
    return success ? QString::fromUtf8(process.readAllStandardOutput()) : QString();
}
