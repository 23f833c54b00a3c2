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
    // No desktop session to register with or to be found through; WirePlumber
    // gets a private bus of its own, since it will not run without one.
    env.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    if (!busAddress.isEmpty())
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    env.remove(QStringLiteral("PULSE_SERVER"));
    env.remove(QStringLiteral("PIPEWIRE_REMOTE"));
    return env;
}

// WirePlumber would otherwise take the machine's sound cards, cameras and
// Bluetooth devices into the private server.
const char kWirePlumberQuiet[] = "alsa_monitor.enabled = false\n"
                                 "v4l2_monitor.enabled = false\n"
                                 "libcamera_monitor.enabled = false\n";
const char kWirePlumberNoBluetooth[] = "bluez_monitor.enabled = false\n";

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

QString PulseDaemon::nameOf(Kind kind)
{
    return kind == Kind::PipeWire ? QStringLiteral("PipeWire") : QStringLiteral("PulseAudio");
}

PulseDaemon::PulseDaemon(QStringList scriptLines, Kind kind)
    : m_kind(kind)
    , m_script(std::move(scriptLines))
{
}

PulseDaemon::~PulseDaemon()
{
    kill();
}

QString PulseDaemon::socketPath() const
{
    return m_dir.filePath(QStringLiteral("pulse/native"));
}

QString PulseDaemon::server() const
{
    return QStringLiteral("unix:") + socketPath();
}

QString PulseDaemon::start()
{
    if (QStandardPaths::findExecutable(QStringLiteral("pactl")).isEmpty())
        return QStringLiteral("pactl is not installed (Debian package: pulseaudio-utils)");
    if (!m_dir.isValid())
        return QStringLiteral("cannot make a temporary directory");
    QDir(m_dir.path()).mkpath(QStringLiteral("pulse"));
    QFile::remove(socketPath());
    return m_kind == Kind::PipeWire ? startPipeWire() : startPulseAudio();
}

QString PulseDaemon::launch(const QString &program, const QStringList &arguments)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(isolatedEnvironment(m_dir.path(), m_busAddress));
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
    const QString script = m_dir.filePath(QStringLiteral("test.pa"));
    // Anonymous access: the test client has no cookie to show.
    QByteArray text =
        QStringLiteral("load-module module-native-protocol-unix auth-anonymous=1 socket=%1\n").arg(socketPath()).toUtf8();
    for (const QString &line : m_script)
        text += line.toUtf8() + '\n';
    if (!writeFile(script, text))
        return QStringLiteral("cannot write the daemon's script");
    // Root may run a per-user daemon; it only warns. -n skips the system's
    // default script, so nothing but the test's sinks is loaded.
    const QString error = launch(QStringLiteral("pulseaudio"),
        {QStringLiteral("--daemonize=no"), QStringLiteral("--exit-idle-time=-1"), QStringLiteral("--disallow-exit"),
            QStringLiteral("--use-pid-file=no"), QStringLiteral("--system=no"), QStringLiteral("--realtime=no"),
            QStringLiteral("--high-priority=no"), QStringLiteral("--log-level=error"),
            QStringLiteral("--log-target=stderr"), QStringLiteral("-n"), QStringLiteral("-F"), script});
    return error.isEmpty() ? waitForServer() : error;
}

QString PulseDaemon::startPipeWire()
{
    for (const char *tool : {"pipewire", "pipewire-pulse", "wireplumber", "dbus-daemon"})
        if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty())
            return QStringLiteral("%1 is not installed (Debian packages: pipewire pipewire-pulse wireplumber dbus-daemon)")
                .arg(QString::fromLatin1(tool));
    // WirePlumber restores the volumes it saved; a restarted server starts
    // fresh here, as the PulseAudio daemon does without its restore modules.
    QDir(m_dir.filePath(QStringLiteral("state"))).removeRecursively();
    const QString config = m_dir.filePath(QStringLiteral("config/wireplumber/"));
    if (!writeFile(config + QStringLiteral("main.lua.d/90-tarnwick-test.lua"), kWirePlumberQuiet)
        || !writeFile(config + QStringLiteral("bluetooth.lua.d/90-tarnwick-test.lua"), kWirePlumberNoBluetooth))
        return QStringLiteral("cannot write WirePlumber's configuration");

    // A private session bus for WirePlumber; its address is read from its
    // first line of output.
    auto bus = std::make_unique<QProcess>();
    bus->setProcessEnvironment(isolatedEnvironment(m_dir.path(), {}));
    bus->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    bus->start(QStringLiteral("dbus-daemon"),
        {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    if (!bus->waitForStarted(5000))
        return QStringLiteral("dbus-daemon did not start");
    QDeadlineTimer busDeadline(5000);
    while (!bus->canReadLine() && !busDeadline.hasExpired())
        bus->waitForReadyRead(100);
    m_busAddress = QString::fromUtf8(bus->readLine()).trimmed();
    m_processes.push_back(std::move(bus));
    if (m_busAddress.isEmpty())
        return QStringLiteral("dbus-daemon gave no address");

    // A server that was killed leaves its sockets behind; waiting for the
    // socket file below would then let WirePlumber start against a socket
    // nobody listens on yet, and it gives up for good.
    for (const char *leftover : {"pipewire-0", "pipewire-0.lock", "pipewire-0-manager", "pipewire-0-manager.lock"})
        QFile::remove(m_dir.filePath(QString::fromLatin1(leftover)));
    QString error = launch(QStringLiteral("pipewire"), {});
    // The session manager and the PulseAudio server both need the core's
    // socket; they retry for a moment if it is not there yet.
    QDeadlineTimer deadline(10000);
    while (error.isEmpty() && !QFile::exists(m_dir.filePath(QStringLiteral("pipewire-0"))) && !deadline.hasExpired())
        QThread::msleep(20);
    if (error.isEmpty())
        error = launch(QStringLiteral("wireplumber"), {});
    if (error.isEmpty())
        error = launch(QStringLiteral("pipewire-pulse"), {});
    if (error.isEmpty())
        error = waitForServer();
    if (!error.isEmpty())
        return error;

    // The script's lines become pactl commands: "load-module NAME ARGS" and
    // "set-default-sink NAME" mean the same to pipewire-pulse.
    for (const QString &line : m_script) {
        const qsizetype first = line.indexOf(QLatin1Char(' '));
        const QString command = line.left(first);
        QStringList arguments {command};
        if (command == QLatin1String("load-module")) {
            const qsizetype second = line.indexOf(QLatin1Char(' '), first + 1);
            arguments << line.mid(first + 1, second < 0 ? -1 : second - first - 1);
            if (second > 0)
                arguments << line.mid(second + 1);
        } else {
            arguments << line.mid(first + 1).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        }
        bool ok = false;
        if (command == QLatin1String("set-default-sink")) {
            // The default sink can only be set once pipewire-pulse and
            // WirePlumber have seen the sink appear: until then the request
            // is refused or forgotten, so ask again until it is taken.
            QDeadlineTimer taken(10000);
            for (;;) {
                pactl(arguments, &ok);
                if (ok && pactl({QStringLiteral("get-default-sink")}).trimmed().endsWith(arguments.last()))
                    break;
                if (taken.hasExpired()) {
                    QString gone;
                    for (const auto &process : m_processes)
                        if (process->state() != QProcess::Running)
                            gone += QStringLiteral(" (%1 has exited)").arg(process->program());
                    return QStringLiteral("pipewire-pulse never took: ") + line + gone;
                }
                QThread::msleep(50);
            }
            continue;
        }
        pactl(arguments, &ok);
        if (!ok)
            return QStringLiteral("pipewire-pulse refused: ") + line;
    }
    return {};
}

QString PulseDaemon::waitForServer()
{
    // Ready once it answers on its socket.
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        for (const auto &process : m_processes)
            if (process->state() != QProcess::Running)
                return process->program() + QStringLiteral(" exited at start-up");
        bool ok = false;
        if (QFile::exists(socketPath())) {
            pactl({QStringLiteral("info")}, &ok);
            if (ok)
                return {};
        }
        QThread::msleep(50);
    }
    return nameOf(m_kind) + QStringLiteral(" did not answer within 10 s");
}

void PulseDaemon::kill()
{
    while (!m_processes.empty()) {
        std::unique_ptr<QProcess> process = std::move(m_processes.back());
        m_processes.pop_back();
        if (process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(5000);
        }
    }
    m_busAddress.clear();
}

QString PulseDaemon::pactl(const QStringList &arguments, bool *ok) const
{
    QProcess process;
    process.setProcessEnvironment(isolatedEnvironment(m_dir.path(), {}));
    process.start(QStringLiteral("pactl"), QStringList {QStringLiteral("--server=") + server()} + arguments);
    const bool finished = process.waitForFinished(5000);
    const bool success = finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (ok)
        *ok = success;
    return success ? QString::fromUtf8(process.readAllStandardOutput()) : QString();
}
