#include "app/LaunchAtLogin.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>
#include <QStandardPaths>

namespace {
const QString kEntryName = QStringLiteral("tarnwick.desktop");
} // namespace

LaunchAtLogin::LaunchAtLogin(QObject *parent)
    : LaunchAtLogin(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                        + QStringLiteral("/autostart"),
                    QCoreApplication::applicationFilePath(), parent)
{
}

LaunchAtLogin::LaunchAtLogin(QString autostartDir, QString executable, QObject *parent)
    : QObject(parent)
    , m_autostartDir(std::move(autostartDir))
    , m_executable(std::move(executable))
{
    m_status = readStatus();
}

QString LaunchAtLogin::entryPath() const
{
    return m_autostartDir + QLatin1Char('/') + kEntryName;
}

LaunchAtLogin::Status LaunchAtLogin::readStatus() const
{
    if (m_executable.isEmpty() || !QFileInfo(m_executable).isExecutable())
        return Status::NotFound;
    const QString path = entryPath();
    if (!QFileInfo(path).isFile())
        return Status::NotRegistered;
    QSettings entry(path, QSettings::IniFormat);
    entry.beginGroup(QStringLiteral("Desktop Entry"));
    // Desktops hide an autostart entry instead of deleting it when the user
    // turns it off in their own settings.
    const bool hidden = entry.value(QStringLiteral("Hidden")).toString().compare(u"true", Qt::CaseInsensitive) == 0;
    return hidden ? Status::NotRegistered : Status::Enabled;
}

QString LaunchAtLogin::quotedExecArgument(const QString &argument)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString escaped;
    bool needsQuotes = argument.isEmpty();
    for (QChar c : argument) {
        if (reserved.contains(c))
            needsQuotes = true;
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            escaped += u'\\';
        escaped += c;
    }
    // A literal percent sign must be doubled, or it reads as a field code.
    escaped.replace(u'%', QStringLiteral("%%"));
    if (!needsQuotes)
        return escaped;
    QString quoted = QStringLiteral("\"") + escaped + QStringLiteral("\"");
    // Inside the key's value a backslash is itself escaped once more.
    return quoted.replace(QStringLiteral("\\"), QStringLiteral("\\\\"));
}

QString LaunchAtLogin::entryText(const QString &executable)
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Tarnwick\n"
                          "Comment=Your screen's notch, made useful\n"
                          "Exec=%1\n"
                          "Icon=" TARNWICK_APP_ID "\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(quotedExecArgument(executable));
}

QString LaunchAtLogin::registerEntry()
{
    if (m_executable.isEmpty() || !QFileInfo(m_executable).isExecutable())
        return tr("Tarnwick couldn't find its own program file, so it can't start it at login.");
    if (!QDir().mkpath(m_autostartDir))
        return tr("Couldn't create the folder %1.").arg(QDir::toNativeSeparators(m_autostartDir));
    QSaveFile file(entryPath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return tr("Couldn't write %1: %2").arg(QDir::toNativeSeparators(entryPath()), file.errorString());
    file.write(entryText(m_executable).toUtf8());
    if (!file.commit())
        return tr("Couldn't write %1: %2").arg(QDir::toNativeSeparators(entryPath()), file.errorString());
    return {};
}

QString LaunchAtLogin::unregisterEntry()
{
    QFile file(entryPath());
    if (!file.exists())
        return {};
    if (!file.remove())
        return tr("Couldn't remove %1: %2").arg(QDir::toNativeSeparators(entryPath()), file.errorString());
    return {};
}

void LaunchAtLogin::setEnabled(bool on)
{
    setLastError(on ? registerEntry() : unregisterEntry());
    refresh();
}

void LaunchAtLogin::refresh()
{
    const Status now = readStatus();
    if (now != m_status) {
        m_status = now;
        Q_EMIT statusChanged();
    }
}

void LaunchAtLogin::setLastError(const QString &error)
{
    if (error == m_lastError)
        return;
    m_lastError = error;
    Q_EMIT lastErrorChanged();
}
