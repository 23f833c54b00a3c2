#include "PulseDaemon.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

namespace {

QProcessEnvironment isolatedEnvironment(const QString &dir, const QString &busAddress)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), dir);
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir);
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir + QStringLiteral("/config"));
    env.insert(QStringLiteral("XDG_STATE_HOME"), dir + QStringLiteral("/state"));
    env.insert(QStringLiteral("PULSE_RUNTIME_PATH"), dir + QStringLiteral("/pulse"));
    env.insert(QStringLiteral("PULSE_STATE_PATH"), dir + QStringLiteral("/state"));
    // No desktop session to register with or to be found through.
    if (busAddress.isEmpty())
        env.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    else
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "PULSE_SERVER", "PIPEWIRE_REMOTE"})
        env.remove(QString::fromLatin1(name));
    return env;
}

bool writeFile(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(contents) == contents.size();
}

} // namespace

PulseDaemon::Kind PulseDaemon::kindFromEnvironment()
{
    return qEnvironmentVariable("TARNWICK_SOUND_SERVER") == QLatin1String("pipewire") ? Kind::PipeWire
                                                                                      : Kind::PulseAudio;
}

PulseDaemon::PulseDaemon(QStringList scriptLines, Kind kind)
    : m_kind(kind)
    , m_script(std::move(scriptLines))
{
}

QString PulseDaemon::start()
{
    if (QStandardPaths::findExecutable(QStringLiteral("pactl")).isEmpty())
        return QStringLiteral("pactl is not installed (Debian package: pulseaudio-utils)");
    if (!m_dir.isValid())
        return QStringLiteral("cannot make a temporary directory");
    QDir(m_dir.path()).mkpath(QStringLiteral("pulse"));
    QFile::remove(socketPath());
    QString error = m_kind == Kind::PipeWire ? startPipeWire() : startPulseAudio();
    if (error.isEmpty())
        error = waitForServer();
    for (const QString &line : m_script) {
        bool ok = false;
        // PipeWire sets a default sink only once it and WirePlumber have seen
        // the sink appear: until then the request is refused or forgotten,
        // so ask again until it is taken.
        const bool isDefault = line.startsWith(QLatin1String("set-default-sink "));
        for (QDeadlineTimer taken(10000); error.isEmpty(); QThread::msleep(50)) {
            pactl(line, &ok);
            if (ok && (!isDefault || pactl(QStringLiteral("get-default-sink")).trimmed().endsWith(line.section(u' ', 1))))
                break;
            if (!isDefault || taken.hasExpired())
                error = name() + QStringLiteral(" refused: ") + line + exited();
        }
    }
    return error;
}

QString PulseDaemon::launch(const QString &program, const QStringList &arguments)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(isolatedEnvironment(m_dir.path(), m_bus ? m_bus->address() : QString()));
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->start(program, arguments);
    if (!process->waitForStarted(5000))
        return program + QStringLiteral(" did not start: ") + process->errorString();
    m_processes.push_back(std::move(process));
    return {};
}

QString PulseDaemon::startPulseAudio()
{
    if (QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty())
        return QStringLiteral("pulseaudio is not installed (Debian package: pulseaudio)");
    // Root may run a per-user daemon; it only warns. -n skips the system's
    // default script, so nothing but the test's sinks is loaded; anonymous
    // access, as the test client has no cookie to show.
    return launch(QStringLiteral("pulseaudio"),
        {QStringLiteral("--daemonize=no"), QStringLiteral("--exit-idle-time=-1"), QStringLiteral("--disallow-exit"),
            QStringLiteral("--use-pid-file=no"), QStringLiteral("--system=no"), QStringLiteral("--realtime=no"),
            QStringLiteral("--high-priority=no"), QStringLiteral("--log-level=error"),
            QStringLiteral("--log-target=stderr"), QStringLiteral("-n"),
            QStringLiteral("--load=module-native-protocol-unix auth-anonymous=1 socket=") + socketPath()});
}

QString PulseDaemon::startPipeWire()
{
    for (const char *tool : {"pipewire", "pipewire-pulse", "wireplumber"})
        if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty())
            return QStringLiteral("%1 is not installed (Debian packages: pipewire pipewire-pulse wireplumber)")
                .arg(QString::fromLatin1(tool));
    // WirePlumber restores the volumes it saved; a restarted server starts
    // fresh here, as the PulseAudio daemon does without its restore modules.
    QDir(m_dir.filePath(QStringLiteral("state"))).removeRecursively();
    // Nor may it take the machine's sound cards, cameras and Bluetooth
    // devices into the private server.
    const QString config = m_dir.filePath(QStringLiteral("config/wireplumber/"));
    if (!writeFile(config + QStringLiteral("main.lua.d/90-tarnwick-test.lua"),
            "alsa_monitor.enabled = false\nv4l2_monitor.enabled = false\nlibcamera_monitor.enabled = false\n")
        || !writeFile(config + QStringLiteral("bluetooth.lua.d/90-tarnwick-test.lua"), "bluez_monitor.enabled = false\n"))
        return QStringLiteral("cannot write WirePlumber's configuration");
    m_bus = std::make_unique<PrivateBus>();
    if (QString error = m_bus->start(); !error.isEmpty())
        return error;
    // A server that was killed leaves its sockets behind; waiting for the
    // socket file below would then let WirePlumber start against a socket
    // nobody listens on yet, and it gives up for good.
    for (const char *leftover : {"pipewire-0", "pipewire-0.lock", "pipewire-0-manager", "pipewire-0-manager.lock"})
        QFile::remove(m_dir.filePath(QString::fromLatin1(leftover)));
    QString error = launch(QStringLiteral("pipewire"));
    // The session manager and the PulseAudio server both need the core's
    // socket; they retry for a moment if it is not there yet.
    QDeadlineTimer deadline(10000);
    while (error.isEmpty() && !QFile::exists(m_dir.filePath(QStringLiteral("pipewire-0"))) && !deadline.hasExpired())
        QThread::msleep(20);
    for (const char *program : {"wireplumber", "pipewire-pulse"})
        if (error.isEmpty())
            error = launch(QString::fromLatin1(program));
    return error;
}

QString PulseDaemon::exited() const
{
    QString gone;
    for (const auto &process : m_processes)
        if (process->state() != QProcess::Running)
            gone += QStringLiteral(" (%1 has exited)").arg(process->program());
    return gone;
}

QString PulseDaemon::waitForServer()
{
    // Ready once it answers on its socket.
    for (QDeadlineTimer deadline(10000); !deadline.hasExpired(); QThread::msleep(50)) {
        if (const QString gone = exited(); !gone.isEmpty())
            return QStringLiteral("at start-up") + gone;
        bool ok = false;
        if (QFile::exists(socketPath()) && (pactl(QStringLiteral("info"), &ok), ok))
            return {};
    }
    return name() + QStringLiteral(" did not answer within 10 s");
}

void PulseDaemon::kill()
{
    for (; !m_processes.empty(); m_processes.pop_back()) {
        QProcess &process = *m_processes.back();
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(5000);
        }
    }
    m_bus.reset();
}

QString PulseDaemon::pactl(const QString &line, bool *ok) const
{
    // pactl joins the words after a module's name back into its arguments.
    QProcess process;
    process.setProcessEnvironment(isolatedEnvironment(m_dir.path(), {}));
    process.start(QStringLiteral("pactl"),
        QStringList {QStringLiteral("--server=") + server()} + line.split(u' ', Qt::SkipEmptyParts));
    const bool success = process.waitForFinished(5000) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
    if (ok)
        *ok = success;
    return success ? QString::fromUtf8(process.readAllStandardOutput()) : QString();
}
