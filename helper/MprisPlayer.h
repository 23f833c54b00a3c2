#pragma once

#include "MprisPayload.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <functional>

class ArtworkFetcher;

// Follows one MPRIS player on the bus: its properties as they change, its
// Seeked signal, and its cover. Position is never announced by players, so
// it is read on demand whenever something that moves it has changed.
class MprisPlayer : public QObject
{
    Q_OBJECT
public:
    static inline const QString kPath = QStringLiteral("/org/mpris/MediaPlayer2");
    static inline const QString kRootInterface = QStringLiteral("org.mpris.MediaPlayer2");
    static inline const QString kPlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");

    MprisPlayer(QDBusConnection bus, const QString &busName, ArtworkFetcher &artwork, QObject *parent = nullptr);

    const PlayerSnapshot &snapshot() const { return m_snapshot; }
    QString busName() const { return m_snapshot.busName; }
    // Both property sets have answered (or failed) once.
    bool isReady() const { return m_pendingGetAll == 0; }
    // Status, rate, track or a seek changed since the position was read.
    bool needsPositionRead() const { return m_needsPositionRead; }
    void markPositionStale() { m_needsPositionRead = true; }
    // Reads Position and notes the moment; calls `done` either way.
    void readPosition(std::function<void()> done);

    // Hands out increasing numbers for status changes across all players.
    static quint64 nextChangeOrder();

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void onPropertiesChanged(const QString &interface, const QVariantMap &changed, const QStringList &invalidated);
    void onSeeked(qlonglong position);

private:
    void getAll(const QString &interface);
    void apply(const QString &interface, const QVariantMap &properties);
    void setMetadata(const QVariantMap &metadata);

    QDBusConnection m_bus;
    ArtworkFetcher &m_artwork;
    PlayerSnapshot m_snapshot;
    QString m_artUrl;
    int m_pendingGetAll = 0;
    bool m_needsPositionRead = true;
};
