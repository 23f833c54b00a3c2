#pragma once

#include "core/QmlSingleton.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// Starts Tarnwick when the user logs in, through an XDG autostart entry
// (~/.config/autostart/tarnwick.desktop), which every desktop honours.
class LaunchAtLogin : public QObject, public QmlSingleton<LaunchAtLogin>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(Status status READ status NOTIFY statusChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(bool isEnabled READ isEnabled NOTIFY statusChanged)

public:
    enum class Status { NotRegistered, Enabled, RequiresApproval, NotFound };
    Q_ENUM(Status)

    // The standard autostart folder and this executable.
    explicit LaunchAtLogin(QObject *parent);
    // Any folder and executable, for tests.
    LaunchAtLogin(QString autostartDir, QString executable, QObject *parent = nullptr);

    Status status() const { return m_status; }
    bool isEnabled() const { return m_status == Status::Enabled; }
    // Empty when the last attempt worked.
    QString lastError() const { return m_lastError; }
    QString entryPath() const;

    Q_INVOKABLE void setEnabled(bool on);
    // Re-reads the entry, which the user may have removed or hidden by hand.
    Q_INVOKABLE void refresh();

    // The autostart entry's text for an executable.
    static QString entryText(const QString &executable);
    // The Exec key's quoting rules of the Desktop Entry format.
    static QString quotedExecArgument(const QString &argument);

Q_SIGNALS:
    void statusChanged();
    void lastErrorChanged();

private:
    Status readStatus() const;
    QString registerEntry();
    QString unregisterEntry();
    void setLastError(const QString &error);

    QString m_autostartDir;
    QString m_executable;
    Status m_status = Status::NotRegistered;
    QString m_lastError;
};
