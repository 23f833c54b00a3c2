#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// Finds the link to an online call in an event: its URL first, then links
// written in its location and notes, keeping the first whose host belongs to
// a call service (a company's own subdomain such as acme.zoom.us counts).
namespace CallLink {
std::optional<QUrl> find(const QUrl &url, const QStringList &texts);
// Every link in `text`, in order of appearance; bare "zoom.us/j/1" gets https.
QList<QUrl> linksIn(const QString &text);
bool isCallHost(const QString &host);
const QStringList &hosts();
}
