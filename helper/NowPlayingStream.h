#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVariantMap>
#include <cstdio>

class ArtworkFetcher;
class MprisPlayer;

// The `stream` verb: follows every MPRIS player on the session bus, picks
// the one to show, and writes a line whenever what it shows changes. It sits
// on the bus between changes; nothing runs on a timer except the short
// debounce that gathers a burst of changes into one line.
class NowPlayingStream : public QObject
{
    Q_OBJECT
public:
    NowPlayingStream(QDBusConnection bus, int debounceMs, FILE *out, QObject *parent = nullptr);
    // False when the bus cannot be watched.
    bool start();

    // Where the shown player's bus name is kept for the one-shot verbs, so a
    // command goes to the player the user sees.
    static QString chosenPlayerFile();

private Q_SLOTS:
    void onNameOwnerChanged(const QString &name, const QString &oldOwner, const QString &newOwner);

private:
    void addPlayer(const QString &name);
    void removePlayer(const QString &name);
    void scheduleWrite();
    void write();
    void emitLine(const QVariantMap &payload, bool isDiff);
    void rememberChoice(const QString &busName);

    QDBusConnection m_bus;
    ArtworkFetcher *m_artwork;
    FILE *m_out;
    QTimer m_debounce;
    QHash<QString, MprisPlayer *> m_players;
    bool m_readingPosition = false;
    bool m_wroteOnce = false;
    QString m_lastBusName;
    QString m_positionReadFor;
    QString m_lastTrackKey;
    QVariantMap m_lastPayload;
};
