#include "core/UserDefaults.h"

UserDefaults::UserDefaults()
    : m_settings(std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                             QStringLiteral("Tarnwick"), QStringLiteral("Tarnwick")))
{
}

UserDefaults::UserDefaults(const QString &fileName)
    : m_settings(std::make_unique<QSettings>(fileName, QSettings::NativeFormat))
{
}

void UserDefaults::registerDefaults(const QHash<QString, QVariant> &defaults)
{
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it)
        m_registered.insert(it.key(), it.value());
}

QVariant UserDefaults::value(const QString &key) const
{
    // Read through to disk each time: another Tarnwick tool (or the user with
    // a text editor) may have changed the file since we started.
    return m_settings->value(key, m_registered.value(key));
}

bool UserDefaults::boolValue(const QString &key) const
{
    const QVariant v = value(key);
    // QSettings hands back strings from the INI file; "true"/"false" and 1/0
    // are what people write by hand.
    if (v.typeId() == QMetaType::QString) {
        const QString s = v.toString().trimmed().toLower();
        return s == u"true" || s == u"1" || s == u"yes" || s == u"on";
    }
    return v.toBool();
}

QString UserDefaults::stringValue(const QString &key) const
{
    return value(key).toString();
}

bool UserDefaults::contains(const QString &key) const
{
    return m_settings->contains(key);
}

void UserDefaults::setBool(const QString &key, bool value)
{
    m_settings->setValue(key, value);
}

void UserDefaults::setString(const QString &key, const QString &value)
{
    m_settings->setValue(key, value);
}

void UserDefaults::setValue(const QString &key, const QVariant &value)
{
    m_settings->setValue(key, value);
}

void UserDefaults::remove(const QString &key)
{
    m_settings->remove(key);
}

void UserDefaults::sync()
{
    m_settings->sync();
}

QString UserDefaults::fileName() const
{
    return m_settings->fileName();
}
