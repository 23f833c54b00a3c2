#include "tray/RecentlyUsedList.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QXmlStreamReader>

namespace RecentlyUsedList {

namespace {

int digits(QStringView s, qsizetype from, qsizetype count)
{
    int value = 0;
    for (qsizetype i = from; i < from + count; ++i) {
        const char16_t c = s.at(i).unicode();
        if (c < u'0' || c > u'9')
            return -1;
        value = value * 10 + (c - u'0');
    }
    return value;
}

QDateTime parseStamp(QStringView text)
{
    if (text.isEmpty())
        return {};
    // GLib always writes "YYYY-MM-DDTHH:MM:SS[.ffffff]Z"; reading that shape
    // by hand is several times faster than the general ISO parser, which
    // matters for lists with thousands of entries.
    if (text.size() >= 20 && text.at(4) == u'-' && text.at(7) == u'-' && text.at(10) == u'T' && text.at(13) == u':'
        && text.at(16) == u':' && text.back() == u'Z') {
        const int y = digits(text, 0, 4), mo = digits(text, 5, 2), d = digits(text, 8, 2);
        const int h = digits(text, 11, 2), mi = digits(text, 14, 2), sec = digits(text, 17, 2);
        int ms = 0;
        if (text.size() > 21 && text.at(19) == u'.') {
            const qsizetype n = std::min<qsizetype>(3, text.size() - 21);
            ms = digits(text, 20, n);
            for (qsizetype i = n; i < 3; ++i)
                ms *= 10;
        }
        const QDate date(y, mo, d);
        const QTime time(h, mi, sec, std::max(ms, 0));
        if (y >= 0 && date.isValid() && time.isValid())
            return QDateTime(date, time, Qt::UTC);
    }
    // Anything else (hand-edited files, other writers): the general parser.
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
