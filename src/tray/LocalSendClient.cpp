#include "tray/LocalSendClient.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QMimeDatabase>
#include <QNetworkAccessManager>
#include <QNetworkDatagram>
#include <QNetworkReply>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QUdpSocket>
#include <QUrlQuery>

Q_LOGGING_CATEGORY(lcLocalSend, "tarnwick.tray.localsend", QtWarningMsg)

namespace {

constexpr auto kApi = "/api/localsend/v2/";
// The receiver's user has to accept the files, which can take a while; an
// upload that stalls for this long has lost its receiver.
constexpr int kAcceptTimeoutMs = 120'000;
constexpr int kStallTimeoutMs = 20'000;
// A prepare-upload answer is a session id and one token per file; anything
// much larger is not a LocalSend receiver, and is not read into memory.
constexpr qint64 kMaxAnswerBytes = 256 * 1024;

} // namespace

LocalSendClient::LocalSendClient(Config config, QObject *parent)
    : QObject(parent)
    , m_config(std::move(config))
    , m_network(new QNetworkAccessManager(this))
{
}

LocalSendClient::~LocalSendClient()
{
    if (m_reply)
        m_reply->abort();
}

QJsonObject LocalSendClient::ownInfo() const
{
    return {{QStringLiteral("alias"), m_config.alias},
            {QStringLiteral("version"), QStringLiteral("2.0")},
            {QStringLiteral("deviceModel"), QStringLiteral("Linux")},
            {QStringLiteral("deviceType"), QStringLiteral("desktop")},
            {QStringLiteral("fingerprint"), m_config.fingerprint},
            {QStringLiteral("port"), int(m_config.port)},
            {QStringLiteral("protocol"), QStringLiteral("https")},
            {QStringLiteral("download"), false}};
}

void LocalSendClient::discover()
{
    if (!m_socket) {
        m_socket = new QUdpSocket(this);
        // Other LocalSend programs on this computer listen on the same port.
        if (!m_socket->bind(QHostAddress::AnyIPv4, m_config.port,
                            QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)) {
            qCDebug(lcLocalSend) << "cannot listen for devices:" << m_socket->errorString();
        } else if (!m_socket->joinMulticastGroup(m_config.group)) {
            qCDebug(lcLocalSend) << "cannot join the LocalSend group:" << m_socket->errorString();
        }
        connect(m_socket, &QUdpSocket::readyRead, this, &LocalSendClient::readDatagrams);
    }
    QJsonObject announcement = ownInfo();
    announcement.insert(QStringLiteral("announce"), true);
    m_socket->writeDatagram(QJsonDocument(announcement).toJson(QJsonDocument::Compact), m_config.group, m_config.port);
}

void LocalSendClient::stopListening()
{
    delete m_socket;
    m_socket = nullptr;
}

std::optional<NearbyDevice> LocalSendClient::parseAnnouncement(const QByteArray &datagram, const QHostAddress &from,
                                                               const QString &ownFingerprint)
{
    const QJsonObject o = QJsonDocument::fromJson(datagram).object();
    const QString fingerprint = o.value(QStringLiteral("fingerprint")).toString();
    const QString alias = o.value(QStringLiteral("alias")).toString();
    if (fingerprint.isEmpty() || alias.isEmpty() || fingerprint == ownFingerprint || from.isNull())
        return std::nullopt;
    NearbyDevice device;
    device.kind = NearbyDevice::Kind::LocalSend;
    device.id = fingerprint;
    device.name = alias;
    device.type = o.value(QStringLiteral("deviceType")).toString();
    QHostAddress address = from;
    // A datagram from an IPv4 peer may arrive as an IPv4-mapped IPv6 address.
    bool isV4 = false;
    const quint32 v4 = address.toIPv4Address(&isV4);
    if (isV4)
        address = QHostAddress(v4);
    device.address = address;
    const int port = o.value(QStringLiteral("port")).toInt(53317);
    if (port <= 0 || port > 65535)
        return std::nullopt;
    device.port = quint16(port);
    device.https = o.value(QStringLiteral("protocol")).toString(QStringLiteral("https")) != QLatin1String("http");
    return device;
}

void LocalSendClient::readDatagrams()
{
    while (m_socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_socket->receiveDatagram();
        if (auto device = parseAnnouncement(datagram.data(), datagram.senderAddress(), m_config.fingerprint))
            Q_EMIT deviceFound(*device);
    }
}

QUrl LocalSendClient::endpoint(const QString &route, const QList<std::pair<QString, QString>> &query) const
{
    QUrl url;
    url.setScheme(m_device.https ? QStringLiteral("https") : QStringLiteral("http"));
    url.setHost(m_device.address.toString());
    url.setPort(m_device.port);
    url.setPath(QLatin1String(kApi) + route);
    QUrlQuery q;
    for (const auto &[key, value] : query)
        q.addQueryItem(key, value);
    url.setQuery(q);
    return url;
}

QNetworkRequest LocalSendClient::request(const QUrl &url, const QByteArray &contentType, int timeoutMs) const
{
    QNetworkRequest request(url);
    if (!contentType.isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader, contentType);
    request.setTransferTimeout(timeoutMs);
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    // Receivers use self-signed certificates; trust comes from the
    // fingerprint check in watchCertificate() instead of a CA.
    tls.setPeerVerifyMode(QSslSocket::VerifyNone);
    request.setSslConfiguration(tls);
    return request;
}

void LocalSendClient::watchCertificate(QNetworkReply *reply)
{
    connect(reply, &QNetworkReply::encrypted, this, [this, reply] {
        const QByteArray digest =
            reply->sslConfiguration().peerCertificate().digest(QCryptographicHash::Sha256).toHex();
        if (QString::fromLatin1(digest).compare(m_device.id, Qt::CaseInsensitive) != 0) {
            m_certificateMismatch = true;
            reply->abort();
        }
    });
}

void LocalSendClient::postCancel()
{
    QNetworkReply *reply = m_network->post(
        request(endpoint(QStringLiteral("cancel"), {{QStringLiteral("sessionId"), m_sessionId}}), {}, kStallTimeoutMs),
        QByteArray());
    watchCertificate(reply);
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
}

void LocalSendClient::send(const NearbyDevice &device, const QList<QUrl> &files)
{
    if (m_sending)
        cancel();
    m_device = device;
    m_files.clear();
    m_sessionId.clear();
    m_next = 0;
    m_total = 0;
    m_done = 0;
    m_certificateMismatch = false;
    m_answerTooLarge = false;

    static const QMimeDatabase mimes;
    QJsonObject fileMap;
    for (const QUrl &url : files) {
        const QFileInfo info(url.toLocalFile());
        if (!info.isFile())
            continue;
        Outgoing out{QStringLiteral("file-%1").arg(m_files.size()), info.absoluteFilePath(), info.size(), {}};
        fileMap.insert(out.id, QJsonObject{{QStringLiteral("id"), out.id},
                                           {QStringLiteral("fileName"), info.fileName()},
                                           {QStringLiteral("size"), double(out.size)},
                                           {QStringLiteral("fileType"), mimes.mimeTypeForFile(info).name()}});
        m_total += out.size;
        m_files.append(out);
    }
    m_sending = true;
    if (m_files.isEmpty()) {
        fail(QStringLiteral("Only files can be sent, not folders."));
        return;
    }
    const QJsonObject body{{QStringLiteral("info"), ownInfo()}, {QStringLiteral("files"), fileMap}};
    QNetworkReply *reply = m_network->post(request(endpoint(QStringLiteral("prepare-upload")), "application/json", kAcceptTimeoutMs),
                                           QJsonDocument(body).toJson(QJsonDocument::Compact));
    watchCertificate(reply);
    m_reply = reply;
    connect(reply, &QNetworkReply::downloadProgress, this, [this, reply](qint64 received, qint64 total) {
        if (received > kMaxAnswerBytes || total > kMaxAnswerBytes) {
            m_answerTooLarge = true;
            reply->abort();
        }
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { onPrepared(reply); });
}

QString LocalSendClient::networkProblem(QNetworkReply *reply) const
{
    if (m_certificateMismatch)
        return QStringLiteral("%1 isn't the device it claimed to be (its certificate doesn't match).").arg(m_device.name);
    switch (reply->error()) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("%1 isn't reachable any more.").arg(m_device.name);
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError:
        return QStringLiteral("%1 stopped answering.").arg(m_device.name);
    default:
        return QStringLiteral("%1: %2").arg(m_device.name, reply->errorString());
    }
}

void LocalSendClient::onPrepared(QNetworkReply *reply)
{
    reply->deleteLater();
    if (!m_sending || reply != m_reply)
        return;
    if (m_answerTooLarge) {
        fail(QStringLiteral("%1 answered with more than a LocalSend receiver says.").arg(m_device.name));
        return;
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    switch (status) {
    case 200:
        break;
    case 204: // the receiver already has everything
        succeed();
        return;
    case 401:
        fail(QStringLiteral("%1 asks for a PIN; turn it off there to receive from Tarnwick.").arg(m_device.name));
        return;
    case 403:
        fail(QStringLiteral("%1 declined the files.").arg(m_device.name));
        return;
    case 409:
        fail(QStringLiteral("%1 is busy with another transfer.").arg(m_device.name));
        return;
    case 429:
        fail(QStringLiteral("%1 is turning requests away; try again in a moment.").arg(m_device.name));
        return;
    default:
        fail(status ? QStringLiteral("%1 answered with an error (%2).").arg(m_device.name).arg(status)
                    : networkProblem(reply));
        return;
    }
    const QJsonObject answer = QJsonDocument::fromJson(reply->read(kMaxAnswerBytes)).object();
    m_sessionId = answer.value(QStringLiteral("sessionId")).toString();
    const QJsonObject tokens = answer.value(QStringLiteral("files")).toObject();
    // The receiver may accept only some files; those without a token stay home.
    QList<Outgoing> accepted;
    for (Outgoing out : std::as_const(m_files)) {
        out.token = tokens.value(out.id).toString();
        if (!out.token.isEmpty())
            accepted.append(out);
    }
    if (m_sessionId.isEmpty() || accepted.isEmpty()) {
        fail(QStringLiteral("%1 declined the files.").arg(m_device.name));
        return;
    }
    m_files = accepted;
    m_total = 0;
    for (const Outgoing &out : std::as_const(m_files))
        m_total += out.size;
    Q_EMIT progress(0, m_total);
    uploadNext();
}

void LocalSendClient::uploadNext()
{
    if (m_next >= m_files.size()) {
        succeed();
        return;
    }
    const Outgoing &out = m_files.at(m_next);
    m_body = new QFile(out.path, this);
    if (!m_body->open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("%1 can't be read any more.").arg(QFileInfo(out.path).fileName()));
        return;
    }
    QNetworkRequest upload = request(endpoint(QStringLiteral("upload"), {{QStringLiteral("sessionId"), m_sessionId},
                                                                          {QStringLiteral("fileId"), out.id},
                                                                          {QStringLiteral("token"), out.token}}),
                                     "application/octet-stream", kStallTimeoutMs);
    upload.setHeader(QNetworkRequest::ContentLengthHeader, m_body->size());
    QNetworkReply *reply = m_network->post(upload, m_body);
    watchCertificate(reply);
    m_reply = reply;
    m_body->setParent(reply); // the body must outlive the upload, and no longer
    connect(reply, &QNetworkReply::uploadProgress, this, [this](qint64 sent, qint64) {
        Q_EMIT progress(m_done + sent, m_total);
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        if (!m_sending || reply != m_reply)
            return;
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (reply->error() != QNetworkReply::NoError || status != 200) {
            // Once files flow, any broken connection means the receiver went
            // away (Qt may retry and then find nobody listening).
            const QString why = m_certificateMismatch ? networkProblem(reply)
                : status ? QStringLiteral("%1 stopped the transfer (%2).").arg(m_device.name).arg(status)
                         : QStringLiteral("%1 stopped answering.").arg(m_device.name);
            // Tell the receiver, in case it is still there, to drop the half file.
            postCancel();
            fail(why);
            return;
        }
        m_done += m_files.at(m_next).size;
        ++m_next;
        Q_EMIT progress(m_done, m_total);
        uploadNext();
    });
}

void LocalSendClient::cancel()
{
    if (!m_sending)
        return;
    m_sending = false;
    if (m_reply)
        m_reply->abort();
    if (!m_sessionId.isEmpty())
        postCancel();
}

void LocalSendClient::fail(const QString &error)
{
    m_sending = false;
    Q_EMIT finished(false, error);
}

void LocalSendClient::succeed()
{
    m_sending = false;
    Q_EMIT finished(true, {});
}
