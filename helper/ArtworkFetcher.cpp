#include "ArtworkFetcher.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

QByteArray ArtworkFetcher::readLocalFile(const QString &path)
{
    // Opened without blocking and checked on the open descriptor: a player
    // may name a FIFO (opening it would wait for a writer forever) or a
    // device such as /dev/zero (reading it would never end), and the name
    // may be swapped for one of those between a check and the open.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return {};
    QByteArray bytes;
    struct stat info {};
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size <= kMaxBytes) {
        // At most one byte past the cap: a file that grew since fstat is
        // still refused without reading all of it.
        bytes.resize(qsizetype(kMaxBytes) + 1);
        qsizetype filled = 0;
        while (filled < bytes.size()) {
            const ssize_t n = ::read(fd, bytes.data() + filled, size_t(bytes.size() - filled));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            filled += n;
        }
        bytes.truncate(filled);
        if (filled > kMaxBytes)
            bytes.clear();
        bytes.squeeze();
    }
    ::close(fd);
    return bytes;
}

void ArtworkFetcher::fetch(const QUrl &url, std::function<void(const QByteArray &)> done)
{
    const QString scheme = url.scheme().toLower();
    if (scheme == QLatin1String("file")) {
        done(readLocalFile(url.toLocalFile()));
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
