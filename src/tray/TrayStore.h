#pragma once

#include "core/QmlSingleton.h"
#include "tray/TrayItem.h"
#include "tray/TraySource.h"

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

class ThumbnailCache;

// The files the user parked on the notch, oldest first, and which source the
// tray page shows. Items are references only: the store never copies, moves
// or deletes a file, and nothing of it outlives the run.
//
// Every operation is one observable change: `itemsChanged` fires exactly
// once per add, remove, removeAll and pruneMissing, even when nothing moved,
// so observers can rely on a call being answered.
class TrayStore : public QAbstractListModel, public QmlSingleton<TrayStore>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(TraySource source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(int count READ count NOTIFY itemsChanged)
    Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY itemsChanged)

public:
    explicit TrayStore(ThumbnailCache &thumbnails, QObject *parent = nullptr);

    const TrayItems &items() const { return m_items; }
    int count() const { return int(m_items.size()); }
    bool isEmpty() const { return m_items.isEmpty(); }
    TraySource source() const { return m_source; }
    void setSource(TraySource source);
    ThumbnailCache &thumbnails() const { return m_thumbnails; }

    // Keeps the file URLs among `urls`, standardized, appends those not
    // already in the tray (checked only against what was there before the
    // call), and starts their thumbnails. True when any file URL was given,
    // also if all of them were already here: the drop was for us.
    Q_INVOKABLE bool add(const QList<QUrl> &urls);
    void remove(const TrayItem &item);
    Q_INVOKABLE void remove(const QUrl &url) { remove(TrayItem{url}); }
    Q_INVOKABLE void removeAll();
    // Forgets items whose file is gone; the only clean-up there is.
    Q_INVOKABLE void pruneMissing();

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void itemsChanged();
    void sourceChanged();

private:
    void assertMainThread() const;
    // Removes the rows for which `drop` holds, in as few model steps as the
    // runs allow, and announces the whole operation once.
    template<typename Pred>
    void removeWhere(Pred drop);

    ThumbnailCache &m_thumbnails;
    TrayItems m_items;
    TraySource m_source = TraySource::Dropped;
};
