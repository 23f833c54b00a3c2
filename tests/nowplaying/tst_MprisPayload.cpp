#include "ArtworkFetcher.h"
#include "MprisPayload.h"

#include <QDir>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

class tst_MprisPayload : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void namesThePlayersProgram_data()
    {
        QTest::addColumn<QString>("desktopEntry");
        QTest::addColumn<QString>("busName");
        QTest::addColumn<QString>("expected");
        QTest::newRow("desktop entry wins") << "org.gnome.Lollypop" << "org.mpris.MediaPlayer2.Lollypop" << "org.gnome.Lollypop";
        QTest::newRow("bus name") << "" << "org.mpris.MediaPlayer2.spotify" << "spotify";
        QTest::newRow("instance suffix") << "" << "org.mpris.MediaPlayer2.firefox.instance_1_84" << "firefox";
        QTest::newRow("numbered instance") << "" << "org.mpris.MediaPlayer2.vlc.instance7389" << "vlc";
    }
    void namesThePlayersProgram()
    {
        QFETCH(QString, desktopEntry);
        QFETCH(QString, busName);
        QFETCH(QString, expected);
        QCOMPARE(MprisPayload::bundleIdentifier(desktopEntry, busName), expected);
    }

    void mapsMprisToPayloadKeys()
    {
        PlayerSnapshot p;
        p.busName = QStringLiteral("org.mpris.MediaPlayer2.mpv");
        p.desktopEntry = QStringLiteral("mpv");
        p.metadata = {{QStringLiteral("xesam:title"), QStringLiteral("Song")},
                      {QStringLiteral("xesam:artist"), QStringList{QStringLiteral("A"), QStringLiteral("B")}},
                      {QStringLiteral("xesam:album"), QStringLiteral("LP")},
                      {QStringLiteral("mpris:length"), QVariant::fromValue(qint64(215000000))}};
        p.playbackStatus = QStringLiteral("Playing");
        p.rate = 1.0;
        p.shuffle = true;
        p.loopStatus = QStringLiteral("Track");
        p.positionMicros = 1500000;
        p.positionReadAtEpochMicros = 1795251600000000;
        p.artwork = QByteArray("\x89PNG", 4);
        QCOMPARE(MprisPayload::line(MprisPayload::payloadFor(p), false),
                 QByteArray(R"({"diff":false,"payload":{"album":"LP","artist":"A, B","artworkData":"iVBORw==",)"
                            R"("bundleIdentifier":"mpv","durationMicros":215000000,"elapsedTimeMicros":1500000,)"
                            R"("playbackRate":1,"playing":true,"repeatMode":2,"shuffleMode":3,)"
                            R"("timestampEpochMicros":1795251600000000,"title":"Song"}})"));

        p.shuffle = false;
        p.loopStatus = QStringLiteral("Playlist");
        p.playbackStatus = QStringLiteral("Paused");
        const QVariantMap paused = MprisPayload::payloadFor(p);
        QCOMPARE(QVariantList({paused[QStringLiteral("shuffleMode")], paused[QStringLiteral("repeatMode")],
                               paused[QStringLiteral("playing")]}),
                 QVariantList({1, 3, false}));
    }

    void diffsNameChangesAndRemovals()
    {
        const QVariantMap before{{QStringLiteral("title"), QStringLiteral("T")},
                                 {QStringLiteral("artist"), QStringLiteral("A")},
                                 {QStringLiteral("playing"), true}};
        const QVariantMap after{{QStringLiteral("title"), QStringLiteral("T")}, {QStringLiteral("playing"), false}};
        const QByteArray line = MprisPayload::line(MprisPayload::diff(before, after), true);
        QCOMPARE(line, QByteArray(R"({"diff":true,"payload":{"artist":null,"playing":false}})"));
        QVERIFY(MprisPayload::diff(after, after).isEmpty());
    }

    void decodesDataUrls_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("base64") << "data:image/png;base64,iVBORw==" << QByteArray("\x89PNG", 4);
        QTest::newRow("percent-encoded") << "data:image/svg+xml,%3Csvg%2F%3E" << QByteArray("<svg/>");
        QTest::newRow("broken base64") << "data:image/png;base64,***" << QByteArray();
        QTest::newRow("no comma") << "data:image/png;base64" << QByteArray();
        QTest::newRow("not a data URL") << "file:///cover.png" << QByteArray();
        QTest::newRow("over the cap")
            << QStringLiteral("data:;base64,") + QString::fromLatin1(QByteArray(ArtworkFetcher::kMaxBytes + 3, 'x').toBase64())
            << QByteArray();
    }
    void decodesDataUrls()
    {
        QFETCH(QString, url);
        QFETCH(QByteArray, bytes);
        QCOMPARE(ArtworkFetcher::decodeDataUrl(url), bytes);
    }

    // Covers named by file:// URLs: only regular files within the cap, and
    // nothing that could block the helper or fill its memory.
    void readsOnlyRegularFilesWithinTheCap_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("taken");
        const auto file = [this](const char *name, qint64 size) {
            QFile f(m_dir.filePath(QString::fromLatin1(name)));
            if (!f.open(QIODevice::WriteOnly) || f.write(QByteArray(size, 'c')) != size)
                qFatal("cannot write %s", name);
            return f.fileName();
        };
        QTest::newRow("small file") << file("small", 5000) << QByteArray(5000, 'c');
        QTest::newRow("file at the cap") << file("cap", ArtworkFetcher::kMaxBytes) << QByteArray(ArtworkFetcher::kMaxBytes, 'c');
        QTest::newRow("file over the cap") << file("over", ArtworkFetcher::kMaxBytes + 1) << QByteArray();
        const QString fifo = m_dir.filePath(QStringLiteral("fifo"));
        QTest::newRow("FIFO") << (::mkfifo(QFile::encodeName(fifo).constData(), 0600) == 0 ? fifo : QString()) << QByteArray();
        QTest::newRow("endless device") << "/dev/zero" << QByteArray();
        QTest::newRow("folder") << m_dir.path() << QByteArray();
        QTest::newRow("missing") << m_dir.filePath(QStringLiteral("missing")) << QByteArray();
    }
    void readsOnlyRegularFilesWithinTheCap()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, taken);
        QVERIFY(!path.isEmpty());
        ArtworkFetcher fetcher;
        std::optional<QByteArray> result;
        fetcher.fetch(QUrl::fromLocalFile(path), [&](const QByteArray &bytes) { result = bytes; });
        QVERIFY(result.has_value()); // at once, never waiting for a writer
        QCOMPARE(*result, taken);
    }

    // A local web server hands out covers of the given sizes; the fetcher
    // takes the small one and refuses the one over the cap.
    void downloadsCoversWithinTheCap_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("taken");
        QTest::newRow("small") << qint64(5000) << true;
        QTest::newRow("over the cap") << ArtworkFetcher::kMaxBytes + 1 << false;
    }
    void downloadsCoversWithinTheCap()
    {
        QFETCH(qint64, size);
        QFETCH(bool, taken);
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const QByteArray body(size, 'c');
        connect(&server, &QTcpServer::newConnection, &server, [&] {
            QTcpSocket *socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [socket, body] {
                socket->readAll();
                socket->write("HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nConnection: close\r\nContent-Length: "
                              + QByteArray::number(body.size()) + "\r\n\r\n" + body);
                socket->disconnectFromHost();
            });
        });
        ArtworkFetcher fetcher;
        std::optional<QByteArray> result;
        fetcher.fetch(QUrl(QStringLiteral("http://127.0.0.1:%1/cover.png").arg(server.serverPort())),
                      [&](const QByteArray &bytes) { result = bytes; });
        QTRY_VERIFY_WITH_TIMEOUT(result.has_value(), 10000);
        QCOMPARE(*result == body, taken);
        QCOMPARE(result->isEmpty(), !taken);
    }

    // Players as "name:status:order[:title]"; the expected winner by name.
    void choosesThePlayerToShow_data()
    {
        QTest::addColumn<QStringList>("players");
        QTest::addColumn<QString>("chosen");
        QTest::newRow("none") << QStringList{} << QString();
        QTest::newRow("playing beats a later pause")
            << QStringList{"music:Paused:5:Song", "video:Playing:1:Clip"} << "video";
        QTest::newRow("two playing: the latest change")
            << QStringList{"a:Playing:5:A", "b:Playing:2:B"} << "a";
        QTest::newRow("paused music beats a newly opened idle player")
            << QStringList{"music:Paused:4:Song", "browser:Stopped:0"} << "music";
        QTest::newRow("an empty player claiming to play does not take over")
            << QStringList{"music:Paused:4:Song", "idle:Playing:9"} << "music";
        QTest::newRow("a track beats a later stop without one")
            << QStringList{"music:Paused:1:Song", "video:Stopped:9"} << "music";
        QTest::newRow("both titled: the latest change")
            << QStringList{"a:Paused:5:A", "b:Stopped:9:B"} << "b";
        QTest::newRow("none titled: the latest change")
            << QStringList{"a:Stopped:3", "b:Stopped:2"} << "a";
        QTest::newRow("all just found: the first")
            << QStringList{"a:Paused:0:A", "b:Paused:0:B"} << "a";
    }
    void choosesThePlayerToShow()
    {
        QFETCH(QStringList, players);
        QFETCH(QString, chosen);
        QList<PlayerSnapshot> snapshots;
        for (const QString &row : players) {
            const QStringList f = row.split(QLatin1Char(':'));
            PlayerSnapshot p;
            p.busName = f[0];
            p.playbackStatus = f[1];
            p.statusChangeOrder = f[2].toULongLong();
            if (f.size() > 3)
                p.metadata.insert(QStringLiteral("xesam:title"), f[3]);
            snapshots.append(p);
        }
        const int index = MprisPayload::choose(snapshots);
        QCOMPARE(index < 0 ? QString() : snapshots[index].busName, chosen);
    }
};

QTEST_GUILESS_MAIN(tst_MprisPayload)
#include "tst_MprisPayload.moc"
