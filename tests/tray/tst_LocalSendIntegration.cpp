#include "TrayTestFiles.h"
#include "core/ManualClock.h"
#include "tray/NearbyShare.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// Sends files to a real LocalSend receiver started by the test: found by
// multicast, uploaded over HTTPS with its self-signed certificate.
class tst_LocalSendIntegration : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    ManualClock m_clock;
    QList<QUrl> m_files;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    bool makeCertificate(const QString &name)
    {
        QProcess openssl;
        openssl.start(QStringLiteral("openssl"), QStringLiteral("req -x509 -newkey rsa:2048 -nodes -days 2 -subj "
                                                                "/CN=localsend-test -keyout %1.key -out %1.crt")
                                                     .arg(path(name))
                                                     .split(u' '));
        return openssl.waitForFinished(30000) && openssl.exitCode() == 0;
    }

    struct Receiver
    {
        QProcess process;
        quint16 port = 0;
        QString outdir;
        ~Receiver()
        {
            process.closeWriteChannel();
            if (!process.waitForFinished(3000))
                process.kill();
        }
    };

    // Starts a receiver on a port of its own, so parallel runs don't meet.
    void start(Receiver &receiver, const QString &mode, const QString &announcedCert = {})
    {
        receiver.port = quint16(40000 + QRandomGenerator::global()->bounded(20000));
        receiver.outdir = path(QStringLiteral("received-%1-%2").arg(mode).arg(receiver.port));
        QDir().mkpath(receiver.outdir);
        QStringList args{QStringLiteral(TRAY_TEST_DATA "/localsend_receiver.py"), QString::number(receiver.port),
                         path(QStringLiteral("device.crt")), path(QStringLiteral("device.key")), receiver.outdir, mode};
        if (!announcedCert.isEmpty())
            args.append(announcedCert);
        receiver.process.start(QStringLiteral("/usr/bin/python3"), args);
        QVERIFY2(receiver.process.waitForStarted(5000), "needs Debian's python3");
        QVERIFY(receiver.process.waitForReadyRead(10000));
        QCOMPARE(receiver.process.readLine().trimmed(), QByteArray("ready"));
    }

    LocalSendClient::Config config(quint16 port) const
    {
        LocalSendClient::Config c = NearbyShare::defaultLocalSendConfig();
        c.port = port;
        return c;
    }

    // Finds the receiver and sends it the files; returns the final phase.
    NearbyShare::Phase sendAll(NearbyShare &share)
    {
        share.startLooking();
        if (!QTest::qWaitFor([&] { return share.canPerform(); }, 10000) || !share.send(m_files))
            return NearbyShare::Phase::Idle;
        share.choose(0);
        (void)QTest::qWaitFor([&] { return share.phase() != NearbyShare::Phase::Choosing
                                     && share.phase() != NearbyShare::Phase::Sending; }, 30000);
        return share.phase();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("openssl")).isEmpty(), "install the Debian package openssl");
        QVERIFY(makeCertificate(QStringLiteral("device")));
        QVERIFY(makeCertificate(QStringLiteral("impostor")));
        QByteArray big(3 * 1024 * 1024, Qt::Uninitialized);
        QRandomGenerator(42).fillRange(reinterpret_cast<quint32 *>(big.data()), big.size() / 4);
        QVERIFY(writeFile(path(QStringLiteral("files/photo.raw")), big));
        QVERIFY(writeFile(path(QStringLiteral("files/notes ü.txt")), "Tarnwick sends this byte for byte.\n"));
        m_files = {QUrl::fromLocalFile(path(QStringLiteral("files/photo.raw"))),
                   QUrl::fromLocalFile(path(QStringLiteral("files/notes ü.txt")))};
    }

    void devicesThatStopAnsweringLeave()
    {
        auto receiver = std::make_unique<Receiver>();
        start(*receiver, QStringLiteral("accept"));
        NearbyShare share(m_clock, config(receiver->port), QDBusConnection(QString()));
        share.startLooking();
        QVERIFY(QTest::qWaitFor([&] { return share.canPerform(); }, 10000));
        QVERIFY(share.isListening());
        m_clock.advance(NearbyShare::kAnswerWindow);
        // Found, and nothing listens until the next look.
        QVERIFY(share.canPerform());
        QVERIFY(!share.isListening());

        receiver.reset();
        share.startLooking();
        QVERIFY(share.isListening());
        m_clock.advance(NearbyShare::kAnswerWindow);
        QVERIFY(!share.canPerform());
        QCOMPARE(share.deviceHint(), QStringLiteral("Looking for devices…"));
    }

    void sends_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("impostor");
        QTest::addColumn<QString>("because"); // empty: sent
        QTest::newRow("every byte arrives") << "accept" << false << QString();
        QTest::newRow("the device declines") << "reject" << false << "Test Phone declined the files.";
        QTest::newRow("the device vanishes mid-transfer") << "vanish" << false << "Test Phone stopped answering.";
        QTest::newRow("an endless answer")
            << "flood" << false << "Test Phone answered with more than a LocalSend receiver says.";
        QTest::newRow("a certificate other than the announced one")
            << "accept" << true << "Test Phone isn't the device it claimed to be (its certificate doesn't match).";
    }

    void sends()
    {
        QFETCH(QString, mode);
        QFETCH(bool, impostor);
        QFETCH(QString, because);
        const auto before = checksumsUnder(path(QStringLiteral("files")));
        Receiver receiver;
        start(receiver, mode, impostor ? path(QStringLiteral("impostor.crt")) : QString());
        NearbyShare share(m_clock, config(receiver.port), QDBusConnection(QString()));
        QSignalSpy progress(&share, &NearbyShare::progressChanged);
        QMap<QString, QByteArray> received;
        if (because.isEmpty()) {
            QCOMPARE(sendAll(share), NearbyShare::Phase::Sent);
            QCOMPARE(share.statusText(), QStringLiteral("Sent to Test Phone"));
            QCOMPARE(share.progress(), 1.0);
            QVERIFY(progress.count() >= 2);
            for (auto it = before.cbegin(); it != before.cend(); ++it)
                received.insert(receiver.outdir + QLatin1Char('/') + QFileInfo(it.key()).fileName(), it.value());
            m_clock.advance(NearbyShare::kResultLinger);
            QCOMPARE(share.phase(), NearbyShare::Phase::Idle);
        } else {
            QCOMPARE(sendAll(share), NearbyShare::Phase::Failed);
            QCOMPARE(share.statusText(), QStringLiteral("Couldn't send: ") + because);
        }
        QCOMPARE(checksumsUnder(receiver.outdir), received);
        QCOMPARE(checksumsUnder(path(QStringLiteral("files"))), before);
    }
};

QTEST_GUILESS_MAIN(tst_LocalSendIntegration)
#include "tst_LocalSendIntegration.moc"
