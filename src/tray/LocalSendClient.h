#pragma once

#include "tray/NearbyDevice.h"

#include <QHostAddress>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QNetworkRequest>
#include <QUrl>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;
class QUdpSocket;
class QFile;

// Sends files with the LocalSend protocol (version 2), which phones and
// computers of every system run: devices are found by multicast
// announcements, and files go to the receiver's HTTPS server in two steps,
// prepare-upload (the receiver may accept or decline) and one upload per
// file. The receiver's certificate must be the one whose fingerprint it
// announced, so a stranger on the network cannot pose as the device.
class LocalSendClient : public QObject
{
    Q_OBJECT

public:
    struct Config
    {
        QHostAddress group{QStringLiteral("224.0.0.167")};
        quint16 port = 53317;
        QString alias;       // our name on the receiver's screen
        QString fingerprint; // ours; random per run, as senders without a server use
    };

    explicit LocalSendClient(Config config, QObject *parent = nullptr);
    ~LocalSendClient() override;

    // Joins the group (once) and announces us, which asks every receiver to
    // answer with its own announcement.
    void discover();
    // Leaves the group and closes the socket: announcements on the network
    // no longer wake us.
    void stopListening();
    bool isListening() const { return m_socket != nullptr; }
    bool isSending() const { return m_sending; }
    // Sends regular files (folders are left out); ends with finished().
    void send(const NearbyDevice &device, const QList<QUrl> &files);
    void cancel();

    // The device a datagram describes, if it is a receiver other than us.
    static std::optional<NearbyDevice> parseAnnouncement(const QByteArray &datagram, const QHostAddress &from,
                                                         const QString &ownFingerprint);
    QJsonObject ownInfo() const;

Q_SIGNALS:
    void deviceFound(const NearbyDevice &device);
    void progress(qint64 sent, qint64 total);
    void finished(bool ok, const QString &error);

private:
    struct Outgoing
    {
        QString id;
        QString path;
        qint64 size = 0;
        QString token;
    };

    void readDatagrams();
    QUrl endpoint(const QString &route, const QList<std::pair<QString, QString>> &query = {}) const;
    QNetworkRequest request(const QUrl &url, const QByteArray &contentType, int timeoutMs) const;
    void watchCertificate(QNetworkReply *reply);
    void postCancel();
    void onPrepared(QNetworkReply *reply);
    void uploadNext();
    void fail(const QString &error);
    void succeed();
    QString networkProblem(QNetworkReply *reply) const;

    Config m_config;
    QUdpSocket *m_socket = nullptr;
    QNetworkAccessManager *m_network = nullptr;

    bool m_sending = false;
    NearbyDevice m_device;
    QString m_sessionId;
    QList<Outgoing> m_files;
    qsizetype m_next = 0;
    qint64 m_total = 0;
    qint64 m_done = 0;
    QPointer<QNetworkReply> m_reply;
    QFile *m_body = nullptr; // owned by the upload's reply
    bool m_certificateMismatch = false;
    bool m_answerTooLarge = false;
};
