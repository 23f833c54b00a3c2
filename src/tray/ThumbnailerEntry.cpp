#include "tray/ThumbnailerEntry.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>

namespace {

// Splits an Exec value the way desktop entries quote it: double quotes
// group, a backslash escapes the next character inside them.
QStringList splitExec(const QString &exec)
{
    QStringList out;
    QString current;
    bool quoted = false;
    bool inToken = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec.at(i);
        if (quoted) {
            if (c == QLatin1Char('\\') && i + 1 < exec.size()) {
                current += exec.at(++i);
            } else if (c == QLatin1Char('"')) {
                quoted = false;
            } else {
                current += c;
            }
        } else if (c == QLatin1Char('"')) {
            quoted = true;
            inToken = true;
        } else if (c.isSpace()) {
            if (inToken)
                out.append(current);
            current.clear();
            inToken = false;
        } else {
            current += c;
            inToken = true;
        }
    }
    if (inToken)
        out.append(current);
    return out;
}

} // namespace

QStringList ThumbnailerEntry::command(int size, const QString &uri, const QString &path, const QString &output) const
{
    QStringList args;
    for (const QString &token : splitExec(exec)) {
        QString arg;
        for (qsizetype i = 0; i < token.size(); ++i) {
            const QChar c = token.at(i);
            if (c != QLatin1Char('%') || i + 1 >= token.size()) {
                arg += c;
                continue;
            }
            switch (token.at(++i).unicode()) {
            case 's': arg += QString::number(size); break;
            case 'u': arg += uri; break;
            case 'i': arg += path; break;
            case 'o': arg += output; break;
            case '%': arg += QLatin1Char('%'); break;
            default: break; // unknown codes are dropped, as desktop entries do
            }
        }
        args.append(arg);
    }
    return args;
}

ThumbnailerEntry ThumbnailerEntry::parse(const QByteArray &text)
{
    ThumbnailerEntry entry;
    bool inGroup = false;
    for (const QByteArray &rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            inGroup = line == QLatin1String("[Thumbnailer Entry]");
            continue;
        }
        if (!inGroup)
            continue;
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq < 0)
            continue;
        const QString key = line.left(eq).trimmed();
        const QString value = line.mid(eq + 1).trimmed();
        if (key == QLatin1String("TryExec"))
            entry.tryExec = value;
        else if (key == QLatin1String("Exec"))
            entry.exec = value;
        else if (key == QLatin1String("MimeType"))
            entry.mimeTypes = value.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    }
    return entry;
}

QList<ThumbnailerEntry> ThumbnailerEntry::installed(const QStringList &dataDirs)
{
    QList<ThumbnailerEntry> entries;
    QSet<QString> seen;
    for (const QString &dataDir : dataDirs) {
        const QDir dir(dataDir + QStringLiteral("/thumbnailers"));
        const QStringList files = dir.entryList({QStringLiteral("*.thumbnailer")}, QDir::Files, QDir::Name);
        for (const QString &name : files) {
            if (seen.contains(name))
                continue;
            seen.insert(name);
            QFile file(dir.filePath(name));
            if (!file.open(QIODevice::ReadOnly))
                continue;
            ThumbnailerEntry entry = parse(file.readAll());
            if (!entry.isValid())
                continue;
            if (!entry.tryExec.isEmpty() && QStandardPaths::findExecutable(entry.tryExec).isEmpty()
                && !QFileInfo(entry.tryExec).isExecutable())
                continue;
            entries.append(entry);
        }
    }
    return entries;
}

QStringList ThumbnailerEntry::systemDataDirs()
{
    QStringList dirs;
    QString home = qEnvironmentVariable("XDG_DATA_HOME");
    if (home.isEmpty())
        home = QDir::homePath() + QStringLiteral("/.local/share");
    dirs.append(home);
    QString system = qEnvironmentVariable("XDG_DATA_DIRS");
    if (system.isEmpty())
        system = QStringLiteral("/usr/local/share:/usr/share");
    dirs.append(system.split(QLatin1Char(':'), Qt::SkipEmptyParts));
    return dirs;
}
