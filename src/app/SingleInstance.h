#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

// One Tarnwick per user session. The first instance listens on a socket in
// the user's runtime folder; a second launch tells it and exits, and the
// first one answers by showing its Settings window, or, for a launch with
// --toggle (what a desktop keyboard shortcut runs), by opening or closing
// the Nook with the keyboard in it.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    explicit SingleInstance(QString socketPath, QObject *parent = nullptr);
    // The standard socket: $XDG_RUNTIME_DIR/tarnwick.socket.
    static QString defaultSocketPath();

    enum class Request { ShowSettings, Toggle };

    // True when this process is the first; false when another one runs (it
    // has then been told `request`).
    bool claim(Request request = Request::ShowSettings);

Q_SIGNALS:
    void anotherLaunch();
    void toggleRequested();

private:
    QString m_path;
    QLocalServer *m_server = nullptr;
};
