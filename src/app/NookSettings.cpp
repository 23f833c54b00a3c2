#include "app/NookSettings.h"

#include "core/UserDefaults.h"

NookSettings::NookSettings(UserDefaults &defaults, QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
{
    m_defaults.registerDefaults({{kNowPlayingKey, true}, {kTrayKey, true}, {kMirrorKey, true}, {kCalendarKey, true}});
    m_showsNowPlaying = m_defaults.boolValue(kNowPlayingKey);
    m_showsTray = m_defaults.boolValue(kTrayKey);
    m_showsMirror = m_defaults.boolValue(kMirrorKey);
    m_showsCalendar = m_defaults.boolValue(kCalendarKey);
}

// Every set is written at once, even one that changes nothing, so the file
// always holds what the user last chose; only a real change notifies.
void NookSettings::store(bool &field, bool on, const QString &key, void (NookSettings::*changed)(), bool affectsPages)
{
    m_defaults.setBool(key, on);
    if (field == on)
        return;
    field = on;
    Q_EMIT(this->*changed)();
    if (affectsPages)
        Q_EMIT pagesChanged();
}

void NookSettings::setShowsNowPlaying(bool on)
{
    store(m_showsNowPlaying, on, kNowPlayingKey, &NookSettings::showsNowPlayingChanged, true);
}

void NookSettings::setShowsTray(bool on)
{
    store(m_showsTray, on, kTrayKey, &NookSettings::showsTrayChanged, true);
}

void NookSettings::setShowsMirror(bool on)
{
    store(m_showsMirror, on, kMirrorKey, &NookSettings::showsMirrorChanged, false);
}

void NookSettings::setShowsCalendar(bool on)
{
    store(m_showsCalendar, on, kCalendarKey, &NookSettings::showsCalendarChanged, false);
}

QList<NookPage> NookSettings::pages() const
{
    QList<NookPage> out;
    if (m_showsNowPlaying)
        out.append(NookPage::Media);
    if (m_showsTray)
        out.append(NookPage::Tray);
    return out;
}

QVariantList NookSettings::pageList() const
{
    QVariantList out;
    for (NookPage p : pages())
        out.append(QVariant::fromValue(p));
    return out;
}
