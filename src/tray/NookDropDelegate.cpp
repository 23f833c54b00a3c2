#include "tray/NookDropDelegate.h"

#include "core/Clock.h"
#include "notch/NotchViewModel.h"
#include "tray/DroppedFiles.h"
#include "tray/NearbyShare.h"
#include "tray/TrayStore.h"

NookDropDelegate::NookDropDelegate(QObject *parent)
    : NookDropDelegate(Clock::system(), TrayStore::instance(), NearbyShare::instance(), parent)
{
}

NookDropDelegate::NookDropDelegate(Clock &clock, TrayStore *store, NearbyShare *share, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_store(store)
    , m_share(share)
{
}

void NookDropDelegate::setModel(NotchViewModel *model)
{
    if (model == m_model)
        return;
    disconnect(m_stateConnection);
    disconnect(m_pagesConnection);
    m_model = model;
    if (model) {
        m_expandedAt = model->isExpanded() ? -1e9 : m_clock.monotonicNow();
        m_stateConnection = connect(model, &NotchViewModel::stateChanged, this, [this] {
            if (m_model && m_model->isExpanded())
                m_expandedAt = m_clock.monotonicNow();
        });
        m_pagesConnection = connect(model, &NotchViewModel::pagesChanged, this, &NookDropDelegate::offersTrayChanged);
    }
    Q_EMIT modelChanged();
    Q_EMIT offersTrayChanged();
}

bool NookDropDelegate::offersTray() const
{
    return m_model && m_model->pages().contains(NookPage::Tray);
}

bool NookDropDelegate::isOpen() const
{
    return m_model && m_model->isExpanded() && m_clock.monotonicNow() - m_expandedAt >= kOpeningTime;
}

bool NookDropDelegate::isFileDrag(const QList<QUrl> &urls)
{
    return std::any_of(urls.cbegin(), urls.cend(), [](const QUrl &url) { return url.isLocalFile(); });
}

DropZone NookDropDelegate::zoneAt(QPointF point) const
{
    if (!offersTray())
        return DropZone::AirDrop;
    if (!isOpen())
        return DropZone::Tray;
    return point.x() < m_model->geometry().baseRect().center().x() ? DropZone::Tray : DropZone::AirDrop;
}

bool NookDropDelegate::enter(const QList<QUrl> &urls, QPointF point)
{
    if (!m_model || !isFileDrag(urls))
        return false;
    m_model->setDropTargeted(true);
    m_model->setDropZone(zoneAt(point));
    // Devices answer discovery within a moment; asking now means they are
    // known by the time the files are let go.
    if (m_share)
        m_share->startLooking();
    return true;
}

void NookDropDelegate::move(QPointF point)
{
    if (m_model && m_model->isDropTargeted())
        m_model->setDropZone(zoneAt(point)); // the model announces only real changes
}

void NookDropDelegate::exit()
{
    if (m_model)
        m_model->setDropTargeted(false);
}

bool NookDropDelegate::drop(const QList<QUrl> &urls, QPointF point)
{
    if (!m_model)
        return false;
    move(point);
    const DropZone zone = m_model->dropZone();
    m_model->setDropTargeted(false);
    if (!isFileDrag(urls))
        return false;
    DroppedFiles::load(urls, this, [this, zone](const QList<QUrl> &files) { deliver(zone, files); });
    return true;
}

void NookDropDelegate::deliver(DropZone zone, const QList<QUrl> &files)
{
    Q_EMIT delivered(zone, files);
    if (zone == DropZone::Tray) {
        if (!m_store)
            return;
        m_store->add(files);
        // Show the drop where it landed.
        if (m_store->source() != TraySource::Dropped)
            m_store->setSource(TraySource::Dropped);
    } else if (m_share) {
        m_share->send(files);
    }
}
