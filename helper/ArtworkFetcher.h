#pragma once

#include <QByteArray>
#include <QObject>
#include <QUrl>
#include <functional>

class QNetworkAccessManager;

// Loads the cover that a player names in mpris:artUrl: a local file, a data:
// URL or an http(s) download. Covers larger than the cap are refused, so one
// odd player cannot make the helper hold (or send) megabytes per line.
class ArtworkFetcher : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 kMaxBytes = 4 * 1024 * 1024;
    static constexpr int kDownloadTimeoutMs = 10'000;

    explicit ArtworkFetcher(QObject *parent = nullptr);

    // Calls `done` with the bytes, or empty bytes when there is no usable cover.
    // Local and data: URLs answer at once; downloads answer later.
    void fetch(const QUrl &url, std::function<void(const QByteArray &)> done);

    // The bytes of a regular file within the cap, or empty; never blocks on
    // FIFOs or reads from devices.
    static QByteArray readLocalFile(const QString &path);

    // The bytes of a data: URL (base64 or percent-encoded), or empty.
    static QByteArray decodeDataUrl(const QString &url);

private:
    QNetworkAccessManager *m_network = nullptr;
};
