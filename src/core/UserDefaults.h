#pragma once

#include <QHash>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <memory>

// The user's preferences, in ~/.config/Tarnwick/Tarnwick.conf. Registered
// defaults are remembered in memory only: an absent key reads as its
// registered default, and the file holds nothing the user did not choose.
class UserDefaults
{
public:
    // The standard store of the application.
    UserDefaults();
    // A store in the given file, for tests and tools.
    explicit UserDefaults(const QString &fileName);

    void registerDefaults(const QHash<QString, QVariant> &defaults);

    bool boolValue(const QString &key) const;
    QString stringValue(const QString &key) const;
    QVariant value(const QString &key) const;
    bool contains(const QString &key) const;

    void setBool(const QString &key, bool value);
    void setString(const QString &key, const QString &value);
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);
    // Writes pending changes to disk now, for keys that must survive a crash.
    void sync();

    QString fileName() const;

private:
    std::unique_ptr<QSettings> m_settings;
    QHash<QString, QVariant> m_registered;
};
