#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

class QIODevice;

// The desktop's list of recently used files: the XBEL file GTK and KDE
// applications both write to $XDG_DATA_HOME/recently-used.xbel.
namespace RecentlyUsedList {

struct Bookmark
{
    QString href;
    QString mimeType;
    QDateTime modified;
    QDateTime visited;

    // When the user last used it: the later of the two stamps.
    QDateTime lastUsed() const;
};

// Reads every bookmark; a damaged file gives what could be read before the
// damage.
QList<Bookmark> read(QIODevice &device);
QList<Bookmark> readFile(const QString &path);

// $XDG_DATA_HOME/recently-used.xbel.
QString defaultPath();

} // namespace RecentlyUsedList
