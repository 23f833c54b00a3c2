#include "calendar/CallLink.h"

#include <QRegularExpression>

namespace CallLink {

const QStringList &hosts()
{
    static const QStringList list = {
        QStringLiteral("zoom.us"),         QStringLiteral("meet.google.com"), QStringLiteral("teams.microsoft.com"),
        QStringLiteral("teams.live.com"),  QStringLiteral("webex.com"),       QStringLiteral("whereby.com"),
        QStringLiteral("chime.aws"),       QStringLiteral("gotomeeting.com"), QStringLiteral("facetime.apple.com"),
    };
    return list;
}

bool isCallHost(const QString &rawHost)
{
    const QString host = rawHost.toLower();
    if (host.isEmpty())
        return false;
    for (const QString &h : hosts()) {
        // "notzoom.us" must not pass for zoom.us: only whole labels count.
        if (host == h || host.endsWith(QLatin1Char('.') + h))
            return true;
    }
    return false;
}

QList<QUrl> linksIn(const QString &text)
{
    // Links with a scheme, "www." links, and bare host/path links as people
    // paste them ("zoom.us/j/123"). Trailing punctuation belongs to the
    // sentence, not the link.
    static const QRegularExpression link(
        QStringLiteral("(?:\\b[a-z][a-z0-9+.-]*://|\\bwww\\.|\\b(?=[a-z0-9-]+(?:\\.[a-z0-9-]+)*\\.[a-z]{2,}/))[^\\s<>\"'`]+"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    static const QString trailing = QStringLiteral(".,;:!?)]}>'\"");
    QList<QUrl> links;
    for (auto it = link.globalMatch(text); it.hasNext();) {
        QString s = it.next().captured(0);
        while (!s.isEmpty() && trailing.contains(s.back()))
            s.chop(1);
        if (!s.contains(QStringLiteral("://")))
            s.prepend(QStringLiteral("https://"));
        const QUrl url(s, QUrl::TolerantMode);
        if (url.isValid() && !url.host().isEmpty())
            links.append(url);
    }
    return links;
}

std::optional<QUrl> find(const QUrl &url, const QStringList &texts)
{
    QList<QUrl> candidates;
    if (url.isValid() && !url.isEmpty())
        candidates.append(url);
    QStringList present;
    for (const QString &t : texts) {
        if (!t.isEmpty())
            present.append(t);
    }
    const QString joined = present.join(QLatin1Char('\n'));
    if (!joined.isEmpty())
        candidates.append(linksIn(joined));
    for (const QUrl &candidate : candidates) {
        if (isCallHost(candidate.host()))
            return candidate;
    }
    return std::nullopt;
}

} // namespace CallLink
