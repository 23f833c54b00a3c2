#include "tray/RecentlyUsedList.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QXmlStreamReader>

namespace RecentlyUsedList {

namespace {

QDateTime parseStamp(QStringView text)
{
    if (text.isEmpty())
        return {};
    // GLib writes microseconds ("…T10:00:00.123456Z"); Qt reads at most
    // milliseconds, so the fraction is cut to three digits first.
    QString s = text.toString();
    const qsizetype dot = s.indexOf(QLatin1Char('.'));
    if (dot >= 0) {
        qsizetype end = dot + 1;
        while (end < s.size() && s.at(end).isDigit())
            ++end;
        if (end - dot - 1 > 3)
            s.remove(dot + 4, end - dot - 4);
    }
    QDateTime t = QDateTime::fromString(s, Qt::ISODateWithMs);
    return t.isValid() ? t.toUTC() : QDateTime();
}

} // namespace

QDateTime Bookmark::lastUsed() const
{
    if (!visited.isValid())
        return modified;
    if (!modified.isValid())
        return visited;
    return std::max(visited, modified);
}

QList<Bookmark> read(QIODevice &device)
{
    QList<Bookmark> out;
    QXmlStreamReader xml(&device);
    Bookmark *current = nullptr;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (xml.name() == QLatin1String("bookmark")) {
                const auto attrs = xml.attributes();
                out.append(Bookmark{attrs.value(QLatin1String("href")).toString(), {},
                                    parseStamp(attrs.value(QLatin1String("modified"))),
                                    parseStamp(attrs.value(QLatin1String("visited")))});
                current = &out.last();
            } else if (current && xml.name() == QLatin1String("mime-type")) {
                current->mimeType = xml.attributes().value(QLatin1String("type")).toString();
            }
        } else if (token == QXmlStreamReader::EndElement && xml.name() == QLatin1String("bookmark")) {
            current = nullptr;
        }
    }
    return out;
}

QList<Bookmark> readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return read(file);
}

QString defaultPath()
{
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (data.isEmpty())
        data = QDir::homePath() + QStringLiteral("/.local/share");
    return data + QStringLiteral("/recently-used.xbel");
}

} // namespace RecentlyUsedList
