#include "tray/DroppedFiles.h"

#include "tray/TrayItem.h"

DroppedFiles::Collector::Collector(int outstanding, QObject *receiver, Completion completion)
    : m_outstanding(outstanding)
    , m_receiver(receiver)
    , m_completion(std::move(completion))
{
}

int DroppedFiles::Collector::outstanding() const
{
    QMutexLocker lock(&m_mutex);
    return m_outstanding;
}

void DroppedFiles::Collector::receive(const std::optional<QUrl> &address)
{
    QList<QUrl> files;
    Completion completion;
    {
        QMutexLocker lock(&m_mutex);
        if (m_outstanding <= 0)
            return; // a late or repeated answer changes nothing
        if (address && address->isLocalFile())
            m_files.append(*address);
        if (--m_outstanding > 0)
            return;
        files = m_files;
        completion = std::move(m_completion);
    }
    if (!completion || !m_receiver)
        return;
    // The drop handler touches the tray and the view model, which live on
    // the main thread.
    QMetaObject::invokeMethod(
        m_receiver.data(), [completion, files] { completion(files); }, Qt::QueuedConnection);
}

std::optional<QUrl> DroppedFiles::resolve(const QUrl &item)
{
    const QUrl file = TrayItem::standardized(item);
    if (file.isEmpty())
        return std::nullopt;
    return file;
}

std::shared_ptr<DroppedFiles::Collector> DroppedFiles::load(const QList<QUrl> &items, QObject *receiver,
                                                            Completion completion)
{
    // An empty drop still completes, once, with nothing.
    auto collector = std::make_shared<Collector>(std::max(1, int(items.size())), receiver, std::move(completion));
    if (items.isEmpty()) {
        collector->receive(std::nullopt);
        return collector;
    }
    for (const QUrl &item : items)
        collector->receive(resolve(item));
    return collector;
}
