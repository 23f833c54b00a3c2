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

    // A NearbyShare on `bus`; LocalSend looks on a port of its own, where nobody answers.
    std::unique_ptr<NearbyShare> share(const QDBusConnection &bus)
    {
        LocalSendClient::Config config = NearbyShare::defaultLocalSendConfig();
        config.port = quint16(40000 + QRandomGenerator::global()->bounded(20000));
        auto share = std::make_unique<NearbyShare>(m_clock, config, bus);
        share->startLooking();
        return share;
    }

    static bool finishedSending(NearbyShare &share)
    {
        return QTest::qWaitFor([&] { return share.phase() != NearbyShare::Phase::Sending; }, 10000);
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
        QVERIFY2(QTest::qWaitFor([&] { return m_pair.canReadLine() || m_pair.state() == QProcess::NotRunning; }, 150000),
                 "the two KDE Connect daemons did not pair within 150 s");
        m_info = QJsonDocument::fromJson(m_pair.readLine()).object();
        QVERIFY2(!m_info.contains(QLatin1String("error")), qPrintable(info("error")));
        QVERIFY(QDBusConnection::connectToBus(info("busA"), QStringLiteral("busA")).isConnected());
    }

    void cleanupTestCase()
    {
        m_pair.closeWriteChannel();
        if (!m_pair.waitForFinished(20000))
            m_pair.kill();
        QDBusConnection::disconnectFromBus(QStringLiteral("busA"));
    }

    void noDaemonIsStartedJustToLook()
    {
        // The daemon's service file would start it on demand; looking for
        // devices must not, or every drag would launch KDE Connect.
        PrivateBus quiet;
        QCOMPARE(quiet.start(), QString());
        QDBusConnection connection = QDBusConnection::connectToBus(quiet.address(), QStringLiteral("quiet"));
        {
            auto s = share(connection);
            QTest::qWait(1500);
            QCOMPARE(s->canPerform(), false);
            QCOMPARE(connection.interface()->isServiceRegistered(KdeConnectShare::kService).value(), false);
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("quiet"));
    }

    void sendsToThePairedDevice()
    {
        const auto before = checksumsUnder(path(QStringLiteral("files")));
        QMap<QString, QByteArray> expected;
        for (auto it = before.cbegin(); it != before.cend(); ++it)
            expected.insert(info("downloadsB") + QLatin1Char('/') + QFileInfo(it.key()).fileName(), it.value());

        auto s = share(QDBusConnection(QStringLiteral("busA")));
        QVERIFY2(QTest::qWaitFor([&] { return s->canPerform(); }, 10000), "the paired device was not offered");
        QCOMPARE(s->devices()->count(), 1);
        const NearbyDevice device = s->devices()->devices().first();
        QCOMPARE(device.kind, NearbyDevice::Kind::KdeConnect);
        QCOMPARE(device.name, info("nameB"));
        QVERIFY2(!device.type.isEmpty(), "the device's type comes from the daemon");
        QCOMPARE(s->deviceHint(), info("nameB"));

        QVERIFY(s->send(m_files));
        s->choose(0);
        QVERIFY(finishedSending(*s));
        QCOMPARE(s->statusText(), QStringLiteral("Handed to KDE Connect for ") + info("nameB"));
        // Every file arrives whole (the daemon hands them over one by one).
        QVERIFY2(QTest::qWaitFor([&] { return checksumsUnder(info("downloadsB")) == expected; }, 30000),
                 qPrintable(QStringLiteral("the device received %1 of %2 files")
                                .arg(checksumsUnder(info("downloadsB")).size())
                                .arg(m_files.size())));
        QCOMPARE(checksumsUnder(path(QStringLiteral("files"))), before);
    }

    // Last: it ends the second daemon.
    void aDeviceOutOfRangeIsNoLongerOffered()
    {
        auto s = share(QDBusConnection(QStringLiteral("busA")));
        QVERIFY(QTest::qWaitFor([&] { return s->canPerform(); }, 10000));
        QVERIFY(s->send(m_files));
        m_pair.write("stop-b\n");
        QVERIFY(m_pair.waitForReadyRead(20000));
        QCOMPARE(m_pair.readLine().trimmed(), QByteArray("ok"));

        // Sending to a device that left while the user was choosing fails
        // clearly rather than claiming success.
        s->choose(0);
        QVERIFY(finishedSending(*s));
        QCOMPARE(s->phase(), NearbyShare::Phase::Failed);
        QVERIFY2(s->lastError().startsWith(QStringLiteral("KDE Connect couldn't send to ") + info("nameB")),
                 qPrintable(s->lastError()));
        // The next look drops it.
        s->startLooking();
        QVERIFY(QTest::qWaitFor([&] { return !s->canPerform(); }, 10000));
        QCOMPARE(s->deviceHint(), QStringLiteral("Looking for devices…"));
    }
};

QTEST_GUILESS_MAIN(tst_KdeConnectIntegration)
#include "tst_KdeConnectIntegration.moc"
