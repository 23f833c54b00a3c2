#include "TrayTestFiles.h"
#include "core/SystemClock.h"
#include "support/PrivateBus.h"
#include "tray/NearbyShare.h"

#include <QDBusConnectionInterface>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

// Sends files through two real KDE Connect daemons, paired with each other
// in network namespaces of their own: Tarnwick talks to the first over its
// session bus, and the files must arrive in the second one's Downloads.
class tst_KdeConnectIntegration : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    // Real time: files follow each other at the pace the daemons set.
    SystemClock m_clock;
    QProcess m_pair;
    QJsonObject m_info;
    QList<QUrl> m_files;

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString info(const char *key) const { return m_info.value(QLatin1String(key)).toString(); }

    QDBusConnection bus(const char *key) const
    {
        return QDBusConnection::connectToBus(info(key), QString::fromLatin1(key));
    }

    LocalSendClient::Config localSend() const
    {
        // LocalSend keeps looking on a port of its own, where nobody answers.
        LocalSendClient::Config config = NearbyShare::defaultLocalSendConfig();
        config.port = quint16(40000 + QRandomGenerator::global()->bounded(20000));
        return config;
    }

    // Asks the pair's script to do something and waits until it has.
    void command(const QByteArray &line)
    {
        m_pair.write(line + '\n');
        QVERIFY(m_pair.waitForReadyRead(20000));
        QCOMPARE(m_pair.readLine().trimmed(), QByteArray("ok"));
    }

    bool find(NearbyShare &share)
    {
        share.startLooking();
        return QTest::qWaitFor([&] { return share.canPerform(); }, 10000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QByteArray big(2 * 1024 * 1024 + 17, Qt::Uninitialized);
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32 *>(big.data()), big.size() / 4);
        QVERIFY(writeFile(path(QStringLiteral("files/recording.raw")), big));
        QVERIFY(writeFile(path(QStringLiteral("files/plan für morgen.txt")), "Sent through KDE Connect.\n"));
        m_files = {QUrl::fromLocalFile(path(QStringLiteral("files/recording.raw"))),
                   QUrl::fromLocalFile(path(QStringLiteral("files/plan für morgen.txt")))};

        QDir().mkpath(path(QStringLiteral("pair")));
        m_pair.start(QStringLiteral("/usr/bin/python3"),
                     {QStringLiteral(TRAY_TEST_DATA "/kdeconnect_pair.py"), path(QStringLiteral("pair"))});
        QVERIFY2(m_pair.waitForStarted(5000), "needs Debian's python3");
        QVERIFY2(QTest::qWaitFor([&] { return m_pair.canReadLine() || m_pair.state() == QProcess::NotRunning; }, 60000),
                 "the two KDE Connect daemons did not pair within 60 s");
        m_info = QJsonDocument::fromJson(m_pair.readLine()).object();
        QVERIFY2(!m_info.contains(QLatin1String("error")), qPrintable(info("error")));
        QVERIFY(bus("busA").isConnected());
        QVERIFY(bus("busB").isConnected());
    }

    void cleanupTestCase()
    {
        m_pair.closeWriteChannel();
        if (!m_pair.waitForFinished(20000))
            m_pair.kill();
        QDBusConnection::disconnectFromBus(QStringLiteral("busA"));
        QDBusConnection::disconnectFromBus(QStringLiteral("busB"));
    }

    void noDaemonIsStartedJustToLook()
    {
        // The daemon's service file would start it on demand; looking for
        // devices must not, or every drag would launch KDE Connect.
        PrivateBus quiet;
        QCOMPARE(quiet.start(), QString());
        QDBusConnection connection = QDBusConnection::connectToBus(quiet.address(), QStringLiteral("quiet"));
        {
            NearbyShare share(m_clock, localSend(), connection);
            share.startLooking();
            QTest::qWait(1500);
            QCOMPARE(share.canPerform(), false);
            QCOMPARE(connection.interface()->isServiceRegistered(KdeConnectShare::kService).value(), false);
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("quiet"));
    }

    void sendsToThePairedDevice()
    {
        const auto before = checksumsUnder(path(QStringLiteral("files")));
        QStringList received;
        const QString sharePath = QStringLiteral("/modules/kdeconnect/devices/%1/share").arg(info("idA"));
        QVERIFY(bus("busB").connect(KdeConnectShare::kService, sharePath, QStringLiteral("org.kde.kdeconnect.device.share"),
                                    QStringLiteral("shareReceived"), this, SLOT(onShareReceived(QString))));
        m_received = &received;

        NearbyShare share(m_clock, localSend(), bus("busA"));
        QVERIFY2(find(share), "the paired device was not offered");
        QCOMPARE(share.devices()->count(), 1);
        const NearbyDevice device = share.devices()->devices().first();
        QCOMPARE(device.kind, NearbyDevice::Kind::KdeConnect);
        QCOMPARE(device.id, info("idB"));
        QCOMPARE(device.name, info("nameB"));
        QVERIFY2(!device.type.isEmpty(), "the device's type comes from the daemon");
        QCOMPARE(share.deviceHint(), info("nameB"));

        QVERIFY(share.send(m_files));
        share.choose(0);
        QVERIFY(QTest::qWaitFor([&] { return share.phase() != NearbyShare::Phase::Sending; }, 10000));
        QCOMPARE(share.phase(), NearbyShare::Phase::Sent);
        QCOMPARE(share.statusText(), QStringLiteral("Handed to KDE Connect for ") + info("nameB"));

        QVERIFY2(QTest::qWaitFor([&] { return received.size() == m_files.size(); }, 30000),
                 qPrintable(QStringLiteral("the device received %1 of %2 files").arg(received.size()).arg(m_files.size())));
        m_received = nullptr;
        QMap<QString, QByteArray> expected;
        for (auto it = before.cbegin(); it != before.cend(); ++it)
            expected.insert(info("downloadsB") + QLatin1Char('/') + QFileInfo(it.key()).fileName(), it.value());
        QCOMPARE(checksumsUnder(info("downloadsB")), expected);
        QCOMPARE(checksumsUnder(path(QStringLiteral("files"))), before);
    }

    // Last: it ends the second daemon.
    void aDeviceOutOfRangeIsNoLongerOffered()
    {
        const auto before = checksumsUnder(path(QStringLiteral("files")));
        NearbyShare share(m_clock, localSend(), bus("busA"));
        QVERIFY(find(share));
        QVERIFY(share.send(m_files));

        command("stop-b");
        // Sending to a device that left while the user was choosing fails
        // clearly rather than claiming success.
        share.choose(0);
        QVERIFY(QTest::qWaitFor([&] { return share.phase() != NearbyShare::Phase::Sending; }, 10000));
        QCOMPARE(share.phase(), NearbyShare::Phase::Failed);
        QVERIFY2(share.lastError().startsWith(QStringLiteral("KDE Connect couldn't send to ") + info("nameB")),
                 qPrintable(share.lastError()));
        QCOMPARE(checksumsUnder(path(QStringLiteral("files"))), before);

        // The next look drops it.
        share.startLooking();
        QVERIFY(QTest::qWaitFor([&] { return !share.canPerform(); }, 10000));
        QCOMPARE(share.deviceHint(), QStringLiteral("Looking for devices…"));
    }

public Q_SLOTS:
    // Not a test: the second daemon's signal for each file it saved.
    void onShareReceived(const QString &url)
    {
        if (m_received)
            m_received->append(url);
    }

private:
    QStringList *m_received = nullptr;
};

QTEST_GUILESS_MAIN(tst_KdeConnectIntegration)
#include "tst_KdeConnectIntegration.moc"
