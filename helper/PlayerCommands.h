#pragma once

#include <QDBusConnection>
#include <QString>

// The one-shot verbs: a media command or a seek, sent to the player that
// the stream shows (or, without a running stream, the one that plays).
class PlayerCommands
{
public:
    explicit PlayerCommands(QDBusConnection bus);

    // Exit codes: 0 done, 1 no player or the player refused, 2 bad argument.
    int send(int command);
    int seek(qint64 micros);

    // The player a command goes to; empty when there is none.
    QString target();

private:
    QDBusConnection m_bus;
};
