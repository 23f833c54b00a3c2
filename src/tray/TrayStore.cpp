#include "tray/TrayStore.h"

#include "tray/ThumbnailCache.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QThread>

TrayStore::TrayStore(ThumbnailCache &thumbnails, QObject *parent)
    : QAbstractListModel(parent)
    , m_thumbnails(thumbnails)
{
}

void TrayStore::assertMainThread() const
{
    Q_ASSERT_X(QThread::currentThread() == thread(), "TrayStore", "used off the main thread");
}

void TrayStore::setSource(TraySource source)
{
    assertMainThread();
    if (source == m_source)
        return;
    m_source = source;
    Q_EMIT sourceChanged();
}

bool TrayStore::add(const QList<QUrl> &urls)
{
    assertMainThread();
    QList<QUrl> files;
    for (const QUrl &url : urls) {
        const QUrl standard = TrayItem::standardized(url);
        if (!standard.isEmpty())
            files.append(standard);
    }

    // Only what was here before the call counts as a duplicate: the same
    // file twice in one drop is added twice, and one remove takes both.
    const qsizetype before = m_items.size();
    TrayItems fresh;
    for (const QUrl &url : std::as_const(files)) {
        const TrayItem item{url};
        if (!std::any_of(m_items.cbegin(), m_items.cbegin() + before,
                         [&](const TrayItem &existing) { return existing == item; }))
            fresh.append(item);
    }

    if (!fresh.isEmpty()) {
        beginInsertRows({}, int(before), int(before + fresh.size() - 1));
        m_items.append(fresh);
        endInsertRows();
    }
    Q_EMIT itemsChanged();

    for (const TrayItem &item : std::as_const(fresh))
        m_thumbnails.load(item.url);
    return !files.isEmpty();
}

template<typename Pred>
void TrayStore::removeWhere(Pred drop)
{
    // Walk from the end so earlier row numbers stay valid, removing each
    // contiguous run in one step.
    int row = int(m_items.size()) - 1;
    while (row >= 0) {
        if (!drop(m_items.at(row))) {
            --row;
            continue;
        }
        int first = row;
        while (first > 0 && drop(m_items.at(first - 1)))
            --first;
        beginRemoveRows({}, first, row);
        m_items.remove(first, row - first + 1);
        endRemoveRows();
        row = first - 1;
    }
    Q_EMIT itemsChanged();
}

void TrayStore::remove(const TrayItem &item)
{
    assertMainThread();
    removeWhere([&](const TrayItem &candidate) { return candidate == item; });
}

void TrayStore::removeAll()
{
    assertMainThread();
    if (!m_items.isEmpty()) {
        beginRemoveRows({}, 0, int(m_items.size()) - 1);
        m_items.clear();
        endRemoveRows();
    }
    Q_EMIT itemsChanged();
}

void TrayStore::pruneMissing()
{
    assertMainThread();
    removeWhere([](const TrayItem &item) { return !QFileInfo::exists(item.path()); });
}

int TrayStore::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant TrayStore::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    return TrayItem::data(m_items.at(index.row()), role);
}

QHash<int, QByteArray> TrayStore::roleNames() const
{
    return TrayItem::roleNames();
}
