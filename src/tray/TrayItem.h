#pragma once

#include <QHash>
#include <QList>
#include <QMetaType>
#include <QUrl>

// One file shown in the tray or a feed. Only a reference: the file stays
// where it is. Two items are the same item exactly when their URLs are equal.
struct TrayItem
{
    QUrl url;

    // The name shown under a tile: the last path component, decoded.
    QString name() const;
    QString path() const { return url.toLocalFile(); }

    bool operator==(const TrayItem &other) const { return url == other.url; }
    bool operator!=(const TrayItem &other) const { return !(*this == other); }

    // A file URL with "." and ".." resolved by text alone, so a symbolic link
    // stays the link the user dropped. Anything that is not a file URL gives
    // an empty URL.
    static QUrl standardized(const QUrl &url);

    // Roles shared by every list of items the views read.
    enum Role { UrlRole = 0x0101, NameRole, PathRole };
    static QHash<int, QByteArray> roleNames();
    static QVariant data(const TrayItem &item, int role);
};

inline size_t qHash(const TrayItem &item, size_t seed = 0)
{
    return qHash(item.url, seed);
}

using TrayItems = QList<TrayItem>;

Q_DECLARE_METATYPE(TrayItem)
