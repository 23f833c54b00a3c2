#include "tray/TrayPage.h"

#include "tray/TrayStore.h"

#include <QDesktopServices>

TrayPage::TrayPage(QObject *parent)
    : TrayPage(*TrayStore::instance(), *FileFeeds::instance(), parent)
{
}

TrayPage::TrayPage(TrayStore &store, FileFeeds &feeds, QObject *parent)
    : QObject(parent)
    , m_store(&store)
    , m_feeds(&feeds)
{
    connect(&store, &TrayStore::sourceChanged, this, [this] {
        Q_EMIT sourceChanged();
        Q_EMIT contentChanged();
        m_feeds->refresh(source());
    });
    connect(&store, &TrayStore::itemsChanged, this, &TrayPage::contentChanged);
    connect(&feeds, &FileFeeds::downloadsChanged, this, &TrayPage::contentChanged);
    connect(&feeds, &FileFeeds::recentChanged, this, &TrayPage::contentChanged);
}

TraySource TrayPage::source() const
{
    return m_store ? m_store->source() : TraySource::Dropped;
}

FileFeeds::State TrayPage::feedState() const
{
    return m_feeds ? m_feeds->state(source()) : FileFeeds::State{};
}

bool TrayPage::showsClear() const
{
    // Clearing is for the user's own list only; feeds are not theirs to empty.
    return source() == TraySource::Dropped && m_store && !m_store->isEmpty();
}

TrayPage::Content TrayPage::content() const
{
    if (source() == TraySource::Dropped)
        return m_store && !m_store->isEmpty() ? Content::Grid : Content::Invitation;
    const FileFeeds::State state = feedState();
    switch (state.status) {
    case FileFeeds::Status::Loaded:
        return state.items.isEmpty() ? Content::Message : Content::Grid;
    case FileFeeds::Status::Denied:
        return Content::Message;
    case FileFeeds::Status::Idle:
    case FileFeeds::Status::Loading:
        break;
    }
    // No spinner: a first read takes a moment and a flash of one looks worse.
    return Content::Blank;
}

QAbstractItemModel *TrayPage::items() const
{
    switch (source()) {
    case TraySource::Dropped:
        return m_store;
    case TraySource::Downloads:
        return m_feeds ? m_feeds->downloadsItems() : nullptr;
    case TraySource::Recent:
        return m_feeds ? m_feeds->recentItems() : nullptr;
    }
    return nullptr;
}

QString TrayPage::messageSymbol() const
{
    if (content() != Content::Message)
        return {};
    if (feedState().status == FileFeeds::Status::Denied)
        return QStringLiteral("lock");
    return source() == TraySource::Recent ? QStringLiteral("schedule") : QStringLiteral("arrow_circle_down");
}

QString TrayPage::messageTitle() const
{
    if (content() != Content::Message)
        return {};
    if (feedState().status == FileFeeds::Status::Denied)
        return QStringLiteral("Tarnwick can't see your Downloads");
    return source() == TraySource::Recent ? QStringLiteral("No recent files") : QStringLiteral("Nothing in Downloads");
}

QString TrayPage::messageDetail() const
{
    if (content() != Content::Message)
        return {};
    if (feedState().status == FileFeeds::Status::Denied)
        return m_feeds ? m_feeds->downloadsProblem() : QString();
    return source() == TraySource::Recent ? QStringLiteral("Files you open in the last two weeks show up here.")
                                          : QString();
}

QVariantList TrayPage::sources() const
{
    QVariantList out;
    for (TraySource s : allTraySources())
        out.append(QVariantMap{{QStringLiteral("source"), QVariant::fromValue(s)},
                               {QStringLiteral("title"), titleFor(s)},
                               {QStringLiteral("symbol"), symbolFor(s)}});
    return out;
}

QString TrayPage::titleFor(TraySource source)
{
    switch (source) {
    case TraySource::Dropped:
        return QStringLiteral("Tray");
    case TraySource::Downloads:
        return QStringLiteral("Downloads");
    case TraySource::Recent:
        return QStringLiteral("Recent");
    }
    return {};
}

QString TrayPage::symbolFor(TraySource source)
{
    switch (source) {
    case TraySource::Dropped:
        return QStringLiteral("inbox");
    case TraySource::Downloads:
        return QStringLiteral("arrow_circle_down");
    case TraySource::Recent:
        return QStringLiteral("schedule");
    }
    return {};
}

QString TrayPage::removeAccessibleName(const QString &fileName)
{
    return QStringLiteral("Remove ") + fileName + QStringLiteral(" from tray");
}

void TrayPage::appear()
{
    if (m_store)
        m_store->pruneMissing();
    if (m_feeds)
        m_feeds->refresh(source());
}

void TrayPage::pick(TraySource picked)
{
    if (!m_store)
        return;
    if (picked == m_store->source()) {
        if (m_feeds)
            m_feeds->refresh(picked);
        return;
    }
    m_store->setSource(picked); // the change refreshes the new source's feed
}

void TrayPage::remove(const QUrl &url)
{
    if (m_store)
        m_store->remove(url);
}

void TrayPage::clear()
{
    if (m_store)
        m_store->removeAll();
}

void TrayPage::open(const QUrl &url)
{
    QDesktopServices::openUrl(url);
}
