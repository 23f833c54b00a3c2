#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

// A private sound server speaking the PulseAudio protocol, for one test run:
// either PulseAudio itself, or PipeWire with WirePlumber and pipewire-pulse
// (what most desktops run now). Each gets its own runtime, state and home
// folders under a temporary directory, a script that decides its sinks, and
// no link to any desktop session or sound card. Works as root (CI) and as a
// user.
class PulseDaemon {
public:
    enum class Kind { PulseAudio, PipeWire };

    // The kind named by $TARNWICK_SOUND_SERVER ("pulseaudio" or "pipewire"),
    // so one test binary runs its cases against either server.
    static Kind kindFromEnvironment();
    static QString nameOf(Kind kind);

    explicit PulseDaemon(QStringList scriptLines, Kind kind = Kind::PulseAudio);
    ~PulseDaemon();

    Kind kind() const { return m_kind; }

    // Empty on success, else a sentence saying what is missing or failed.
    QString start();
    // SIGKILL, as a crash would; waits until every process is gone.
    void kill();

    // The libpulse server string of this daemon's socket.
    QString server() const;

    // Runs pactl against this daemon; returns its standard output, or an
    // empty string with `ok` false when it failed.
    QString pactl(const QStringList &arguments, bool *ok = nullptr) const;

private:
    QString startPulseAudio();
    QString startPipeWire();
    QString launch(const QString &program, const QStringList &arguments);
    QString waitForServer();
    QString socketPath() const;

    Kind m_kind;
    QTemporaryDir m_dir;
    QStringList m_script;
    QString m_busAddress;
    // Started in order, killed in reverse.
    std::vector<std::unique_ptr<QProcess>> m_processes;
};
