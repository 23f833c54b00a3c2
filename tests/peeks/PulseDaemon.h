#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A private PulseAudio server for one test run: its own runtime, state and
// home folders under a temporary directory, a script that decides its sinks,
// and no link to any desktop session. Works as root (CI) and as a user.
class PulseDaemon {
public:
    explicit PulseDaemon(QStringList scriptLines);
    ~PulseDaemon();

    // Empty on success, else a sentence saying what is missing or failed.
    QString start();
    // SIGKILL, as a crash would; waits until the process is gone.
    void kill();

    // The libpulse server string of this daemon's socket.
    QString server() const;

    // Runs pactl against this daemon; returns its standard output, or an
    // empty string with `ok` false when it failed.
    QString pactl(const QStringList &arguments, bool *ok = nullptr) const;

private:
    QTemporaryDir m_dir;
    QStringList m_script;
    QProcess m_process;
};
