#include "app/SingleInstance.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

SingleInstance::SingleInstance(QString socketPath, QObject *parent)
    : QObject(parent)
    , m_path(std::move(socketPath))
{
}

QString SingleInstance::defaultSocketPath()
{
    QString dir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (dir.isEmpty())
        dir = QStandardPaths::writableLocation(QStandardPaths::TempLocation);
    return dir + QStringLiteral("/tarnwick.socket");
}

bool SingleInstance::claim(Request request)
{
    QLocalSocket probe;
    probe.connectToServer(m_path);
    if (probe.waitForConnected(500)) {
        probe.write(request == Request::Toggle ? "toggle\n" : "show-settings\n");
        probe.waitForBytesWritten(500);
        probe.disconnectFromServer();
        return false;
    }
    // Nobody answers: a socket left by a crashed run is taken over.
    QLocalServer::removeServer(m_path);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_path))
        return true; // No socket possible: run anyway rather than not at all.
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *client = m_server->nextPendingConnection()) {
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                const QByteArray said = client->readAll();
                if (said.contains("show-settings"))
                    Q_EMIT anotherLaunch();
                else if (said.contains("toggle"))
                    Q_EMIT toggleRequested();
            });
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
        }
    });
    return true;
}
