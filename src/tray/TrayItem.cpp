#include "tray/TrayItem.h"

#include <QDir>
#include <QFileInfo>

QString TrayItem::name() const
{
    QString p = path();
    while (p.size() > 1 && p.endsWith(QLatin1Char('/')))
        p.chop(1);
    const QString n = QFileInfo(p).fileName();
    return n.isEmpty() ? p : n;
}

QUrl TrayItem::standardized(const QUrl &url)
{
    if (!url.isValid() || !url.isLocalFile())
        return {};
    const QString local = url.toLocalFile();
    if (local.isEmpty())
        return {};
    // cleanPath works on the text only; it never asks the file system, so a
    // link is not replaced by its target.
    return QUrl::fromLocalFile(QDir::cleanPath(local));
}

QHash<int, QByteArray> TrayItem::roleNames()
{
    return {{UrlRole, "url"}, {NameRole, "name"}, {PathRole, "path"}};
}

QVariant TrayItem::data(const TrayItem &item, int role)
{
    switch (role) {
    case UrlRole:
        return item.url;
    case Qt::DisplayRole:
    case NameRole:
        return item.name();
    case PathRole:
        return item.path();
    default:
        return {};
    }
}
