#include "nowplaying/NowPlayingLineReader.h"

#include <QTest>

using Track = NowPlayingTrack;

class tst_NowPlayingLineReader : public QObject
{
    Q_OBJECT

    struct Run
    {
        QList<std::optional<NowPlayingTrack>> updates;
        NowPlayingLineReader reader{[this](const std::optional<NowPlayingTrack> &t) { updates.append(t); }};
    };

private Q_SLOTS:
    void mergesFullPayloadsAndDiffs_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QString>("mergedKeys");
        QTest::addColumn<int>("updates");
        QTest::addColumn<QString>("lastTitle"); // empty = nothing plays

        QTest::newRow("null removes, others stay")
            << QByteArray(R"({"diff":false,"payload":{"title":"T","artist":"A","album":"B"}}
{"diff":true,"payload":{"artist":null}}
)") << "album,title" << 2 << "T";
        QTest::newRow("diff before any full payload")
            << QByteArray(R"({"diff":true,"payload":{"title":"T","x":null}})" "\n") << "title" << 1 << "T";
        QTest::newRow("full payload replaces")
            << QByteArray(R"({"payload":{"title":"T","artist":"A"}}
{"payload":{"title":"U"}}
)") << "title" << 2 << "U";
        QTest::newRow("empty title means nothing plays")
            << QByteArray(R"({"payload":{"title":""}})" "\n") << "title" << 1 << "";
        QTest::newRow("diff not a boolean counts as full")
            << QByteArray(R"({"payload":{"title":"T","artist":"A"}}
{"diff":"yes","payload":{"album":"B"}}
)") << "album" << 2 << "";
        QTest::newRow("junk is skipped")
            << QByteArray("not json\n[1,2]\n\"text\"\n{\"payload\":[]}\n{\"payload\":{\"title\":\"T\"}\n"
                          "\xff\xfe{\"payload\":{}}\n\n{\"payload\":{\"title\":\"T\"}}\n")
            << "title" << 1 << "T";
        QTest::newRow("carriage returns are whitespace")
            << QByteArray("{\"payload\":{\"title\":\"T\"}}\r\n") << "title" << 1 << "T";
    }
    void mergesFullPayloadsAndDiffs()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QString, mergedKeys);
        QFETCH(int, updates);
        QFETCH(QString, lastTitle);
        // Byte by byte, as a pipe may deliver it, and all at once.
        for (const int step : {1, int(lines.size())}) {
            Run run;
            for (qsizetype i = 0; i < lines.size(); i += step)
                run.reader.feed(QByteArrayView(lines).sliced(i, std::min<qsizetype>(step, lines.size() - i)));
            QCOMPARE(run.reader.merged().keys().join(QLatin1Char(',')), mergedKeys);
            QCOMPARE(run.updates.size(), updates);
            const auto &last = run.updates.constLast();
            QCOMPARE(last ? last->title : QString(), lastTitle);
        }
    }

    // The cover is decoded from the line that brings it and shared by the
    // tracks of later lines; a line that changes or drops it is seen.
    void decodesEachCoverOnce()
    {
        Run run;
        run.reader.feed(R"({"payload":{"title":"T","artworkData":"AAEC"}}
{"diff":true,"payload":{"playing":true}}
{"diff":true,"payload":{"artworkData":"AAED"}}
{"diff":true,"payload":{"artworkData":null}}
{"payload":{"title":"T","artworkData":"AAED"}}
)");
        QCOMPARE(run.updates.size(), 5);
        const auto &u = run.updates;
        QCOMPARE(u[1]->artworkData->constData(), u[0]->artworkData->constData());
        QCOMPARE(*u[2]->artworkData, QByteArray("\x00\x01\x03", 3));
        QVERIFY(*u[2] != *u[1]);
        QVERIFY(!u[3]->artworkData);
        QCOMPARE(u[4]->artworkHash, u[2]->artworkHash);
        QCOMPARE(*u[4], *Track::fromPayload(run.reader.merged()));
    }

    void dropsAnOverlongLineAndCarriesOn()
    {
        Run run;
        run.reader.feed("{\"payload\":{\"title\":\"before\"}}\n");
        QByteArray huge = "{\"payload\":{\"title\":\"huge\",\"artworkData\":\"";
        huge.append(QByteArray(20 * 1024 * 1024, 'A'));
        huge.append("\"}}\n");
        for (qsizetype i = 0; i < huge.size(); i += 65536)
            run.reader.feed(QByteArrayView(huge).sliced(i, std::min<qsizetype>(65536, huge.size() - i)));
        run.reader.feed("{\"diff\":true,\"payload\":{\"artist\":\"after\"}}\n");
        QCOMPARE(run.updates.size(), 2);
        QCOMPARE(run.updates.last()->title, QStringLiteral("before"));
        QCOMPARE(*run.updates.last()->artist, QStringLiteral("after"));
    }
};

QTEST_GUILESS_MAIN(tst_NowPlayingLineReader)
#include "tst_NowPlayingLineReader.moc"
