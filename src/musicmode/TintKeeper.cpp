#include "musicmode/TintKeeper.h"

#include "core/UserDefaults.h"
#include "musicmode/IconTintStore.h"

TintKeeper::TintKeeper(std::unique_ptr<IconTintStore> store, QString defaultsFile)
    : m_store(std::move(store))
    , m_defaultsFile(std::move(defaultsFile))
{
    // One thread, first in first out: changes reach the desktop in order.
    m_queue.setMaxThreadCount(1);
    m_queue.setExpiryTimeout(-1);
}

TintKeeper::~TintKeeper()
{
    // The settings object goes on the thread that made it.
    m_queue.start([this] { m_defaults.reset(); });
    m_queue.waitForDone();
}

UserDefaults &TintKeeper::defaults()
{
    if (!m_defaults)
        m_defaults = std::make_unique<UserDefaults>(m_defaultsFile);
    return *m_defaults;
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
    defaults().remove(kOriginalTintKey);
    defaults().remove(kAppliedTintKey);
    defaults().sync();
}

std::optional<IconTint> TintKeeper::load(const QString &key)
{
    if (!defaults().contains(key))
        return std::nullopt;
    return IconTint::decoded(defaults().stringValue(key).toUtf8());
}

void TintKeeper::save(const QString &key, const IconTint &tint)
{
    defaults().setString(key, QString::fromUtf8(tint.encoded()));
    // On disk before the desktop changes: a crash right after the write must
    // still find the user's colour at the next start.
    defaults().sync();
}
