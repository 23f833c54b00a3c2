#include "ArtworkFetcher.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

ArtworkFetcher::ArtworkFetcher(QObject *parent)
    : QObject(parent)
{
}

QByteArray ArtworkFetcher::decodeDataUrl(const QString &url)
{
    if (!url.startsWith(QLatin1String("data:"), Qt::CaseInsensitive))
        return {};
    const qsizetype comma = url.indexOf(QLatin1Char(','));
    if (comma < 0)
        return {};
    const QString header = url.mid(5, comma - 5);
    const QByteArray body = url.mid(comma + 1).toLatin1();
    QByteArray bytes;
    if (header.endsWith(QLatin1String(";base64"), Qt::CaseInsensitive)) {
        auto decoded = QByteArray::fromBase64Encoding(body, QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            return {};
        bytes = *decoded;
    } else {
        bytes = QByteArray::fromPercentEncoding(body);
    }
    return bytes.size() > kMaxBytes ? QByteArray() : bytes;
}

void ArtworkFetcher::fetch(const QUrl &url, std::function<void(const QByteArray &)> done)
{
    const QString scheme = url.scheme().toLower();
    if (scheme == QLatin1String("file")) {
        QFile file(url.toLocalFile());
        if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxBytes) {
            done({});
            return;
        }
        done(file.readAll());
        return;
    }
    if (scheme == QLatin1String("data")) {
        done(decodeDataUrl(url.toString(QUrl::FullyEncoded)));
        return;
    }
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https")) {
        done({});
        return;
    }
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    QNetworkRequest request(url);
    request.setTransferTimeout(kDownloadTimeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    QNetworkReply *reply = m_network->get(request);
    auto received = std::make_shared<QByteArray>();
    connect(reply, &QNetworkReply::readyRead, reply, [reply, received] {
        received->append(reply->readAll());
        if (received->size() > kMaxBytes) {
            received->clear();
            reply->abort();
        }
    });
    connect(reply, &QNetworkReply::finished, this, [reply, received, done] {
        reply->deleteLater();
        if (reply->error() != QNetworkReply::NoError) {
            done({});
            return;
        }
        received->append(reply->readAll());
        done(received->size() > kMaxBytes ? QByteArray() : *received);
    });
}
