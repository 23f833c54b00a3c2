#include "musicmode/TintKeeper.h"

#include "core/UserDefaults.h"
#include "musicmode/IconTintStore.h"

TintKeeper::TintKeeper(std::unique_ptr<IconTintStore> store, std::unique_ptr<UserDefaults> defaults)
    : m_store(std::move(store))
    , m_defaults(std::move(defaults))
{
    // One thread, first in first out: changes reach the desktop in order.
    m_queue.setMaxThreadCount(1);
    m_queue.setExpiryTimeout(-1);
}

TintKeeper::~TintKeeper()
{
    m_queue.waitForDone();
}

void TintKeeper::request(const Target &target)
{
    QMutexLocker locker(&m_lock);
    m_wanted = target;
    if (m_drainScheduled)
        return;
    m_drainScheduled = true;
    m_queue.start([this] { drain(); });
}

void TintKeeper::drain()
{
    Target target;
    {
        QMutexLocker locker(&m_lock);
        target = m_wanted;
        m_drainScheduled = false;
    }
    converge(target);
}

void TintKeeper::restoreNow()
{
    {
        QMutexLocker locker(&m_lock);
        m_wanted = Target::original();
    }
    m_queue.start([this] { converge(Target::original()); });
    m_queue.waitForDone();
}

void TintKeeper::waitForIdle()
{
    m_queue.waitForDone();
}

void TintKeeper::converge(const Target &target)
{
    const std::optional<IconTint> current = m_store->read();
    // An unreadable setting changes nothing; the keys stay for the next try.
    if (!current)
        return;
    const std::optional<IconTint> applied = load(kAppliedTintKey);

    if (target.kind == Target::Kind::Accent) {
        const IconTint desired = m_store->asStored(IconTint::customColor(target.red, target.green, target.blue));
        // The desktop does not show our last colour: what it shows is the
        // user's own, the one to give back later.
        if (!applied || *applied != *current)
            save(kOriginalTintKey, *current);
        if (*current != desired)
            m_store->write(desired);
        save(kAppliedTintKey, desired);
        return;
    }

    // Only our own colour is taken back; a colour the user picked while the
    // album's was on stays.
    if (applied && *applied == *current) {
        if (const std::optional<IconTint> original = load(kOriginalTintKey))
            m_store->write(*original);
    }
    m_defaults->remove(kOriginalTintKey);
    m_defaults->remove(kAppliedTintKey);
    m_defaults->sync();
}

std::optional<IconTint> TintKeeper::load(const QString &key) const
{
    if (!m_defaults->contains(key))
        return std::nullopt;
    return IconTint::decoded(m_defaults->stringValue(key).toUtf8());
}

void TintKeeper::save(const QString &key, const IconTint &tint)
{
    m_defaults->setString(key, QString::fromUtf8(tint.encoded()));
    // On disk before the desktop changes: a crash right after the write must
    // still find the user's colour at the next start.
    m_defaults->sync();
}
