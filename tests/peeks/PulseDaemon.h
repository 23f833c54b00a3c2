#pragma once

#include "support/PrivateBus.h"

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

// A private sound server speaking the PulseAudio protocol, for one test run:
// either PulseAudio itself, or PipeWire with WirePlumber and pipewire-pulse
// (what most desktops run now). It has its own runtime, state and home
// folders under a temporary directory, the sinks its script loads, and no
// link to any desktop session or sound card. Works as root (CI) and as a user.
class PulseDaemon {
public:
    enum class Kind { PulseAudio, PipeWire };

    // The kind named by $TARNWICK_SOUND_SERVER ("pulseaudio" or "pipewire"),
    // so one test binary runs its cases against either server.
    static Kind kindFromEnvironment();

    // `scriptLines` are pactl command lines ("load-module NAME ARGS",
    // "set-default-sink NAME"), run at every start.
    explicit PulseDaemon(QStringList scriptLines, Kind kind = Kind::PulseAudio);
    ~PulseDaemon() { kill(); }

    QString name() const { return m_kind == Kind::PipeWire ? QStringLiteral("PipeWire") : QStringLiteral("PulseAudio"); }
    // Empty on success, else a sentence saying what is missing or failed.
    QString start();
    // SIGKILL, as a crash would; waits until every process is gone.
    void kill();
    // The libpulse server string of this daemon's socket.
    QString server() const { return QStringLiteral("unix:") + socketPath(); }
    // Runs pactl with `line` split at its spaces; its standard output, or an
    // empty string with `ok` false when it failed.
    QString pactl(const QString &line, bool *ok = nullptr) const;

private:
    QString startPulseAudio();
    QString startPipeWire();
    QString launch(const QString &program, const QStringList &arguments = {});
    QString waitForServer();
    QString exited() const; // " (NAME has exited)" for each process gone
    QString socketPath() const { return m_dir.filePath(QStringLiteral("pulse/native")); }

    Kind m_kind;
    QTemporaryDir m_dir;
    QStringList m_script;
    std::unique_ptr<PrivateBus> m_bus; // WirePlumber's; it will not run without one
    std::vector<std::unique_ptr<QProcess>> m_processes; // started in order, killed in reverse
};
