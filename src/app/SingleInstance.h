#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

// One Tarnwick per user session. The first instance listens on a socket in
// the user's runtime folder; a second launch tells it and exits, and the
// first one answers by showing its Settings window.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    explicit SingleInstance(QString socketPath, QObject *parent = nullptr);
    // The standard socket: $XDG_RUNTIME_DIR/tarnwick.socket.
    static QString defaultSocketPath();

    // True when this process is the first; false when another one runs (it
    // has then been told).
    bool claim();

Q_SIGNALS:
    void anotherLaunch();

private:
    QString m_path;
    QLocalServer *m_server = nullptr;
};
