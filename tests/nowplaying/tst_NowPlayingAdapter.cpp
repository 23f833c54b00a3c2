#include "nowplaying/NowPlayingAdapter.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <sys/stat.h>

namespace {

// Whether a process is still alive (a zombie counts as gone).
bool isRunning(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close > 0 && line.mid(close + 2, 1) != "Z";
}

QString writeScript(const QTemporaryDir &dir, const QString &name, const QByteArray &body)
{
    const QString path = dir.filePath(name);
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write("#!/bin/sh\n" + body);
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

} // namespace

class tst_NowPlayingAdapter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void seekRoundsToWholeMicroseconds_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<qint64>("micros");
        QTest::addColumn<bool>("fits");
        QTest::newRow("negative clamps to 0") << -3.2 << qint64(0) << true;
        QTest::newRow("rounds to nearest") << 12.3456789 << qint64(12345679) << true;
        QTest::newRow("exact") << 5.0 << qint64(5000000) << true;
        QTest::newRow("beyond 64 bits") << 1e14 << qint64(0) << false;
        QTest::newRow("not a number") << std::nan("") << qint64(0) << false;
    }
    void seekRoundsToWholeMicroseconds()
    {
        QFETCH(double, seconds);
        QFETCH(qint64, micros);
        QFETCH(bool, fits);
        const auto result = NowPlayingAdapter::seekMicros(seconds);
        QCOMPARE(result.has_value(), fits);
        if (fits)
            QCOMPARE(*result, micros);
    }

    void createFailsWithoutAnExecutableHelper()
    {
        QTemporaryDir dir;
        const QString script = writeScript(dir, QStringLiteral("helper"), "exit 0\n");
        QVERIFY(NowPlayingAdapter::create(script));
        QFile(script).setPermissions(QFile::ReadOwner);
        for (const QString &path : {dir.filePath(QStringLiteral("absent")), dir.path(), script})
            QVERIFY2(!NowPlayingAdapter::create(path), qPrintable(path));
    }

    void streamsLinesAndReportsTheExit()
    {
        QTemporaryDir dir;
        // Checks its own command line, then speaks, then exits with 3.
        const QString script = writeScript(dir, QStringLiteral("helper"), R"(
[ "$*" = "stream --micros --debounce=50" ] || exit 9
echo '{"diff":false,"payload":{"title":"One","artist":"A"}}'
echo 'garbage'
printf '{"diff":true,"payload":{"artist":null}}'
exit 3
)");
        auto adapter = NowPlayingAdapter::create(script);
        QList<std::optional<NowPlayingTrack>> updates;
        std::optional<std::optional<int>> finished;
        adapter->startStream([&](const std::optional<NowPlayingTrack> &t) { updates.append(t); },
                             [&](std::optional<int> code) { finished = code; });
        QVERIFY(adapter->isStreaming());
        QTRY_VERIFY(finished.has_value());
        QCOMPARE(*finished, std::optional<int>(3));
        // The last line had no line break: it still counts.
        QCOMPARE(updates.size(), 2);
        QCOMPARE(*updates[0]->artist, QStringLiteral("A"));
        QVERIFY(!updates[1]->artist);
        QVERIFY(!adapter->isStreaming());
    }

    void launchFailureIsReportedAndStopIsSilent()
    {
        QTemporaryDir dir;
        const QString script = writeScript(dir, QStringLiteral("helper"), "sleep 30\n");
        auto adapter = NowPlayingAdapter::create(script);
        QFile::remove(script);
        std::optional<std::optional<int>> finished;
        adapter->startStream({}, [&](std::optional<int> code) { finished = code; });
        QTRY_VERIFY(finished.has_value());
        QVERIFY(!finished->has_value());

        writeScript(dir, QStringLiteral("helper"), "exec sleep 30\n");
        finished.reset();
        adapter->startStream({}, [&](std::optional<int> code) { finished = code; });
        QTest::qWait(100);
        adapter->stopStream();
        QTest::qWait(200);
        QVERIFY(!finished.has_value());
    }

    void seekWaitsForTheHelper()
    {
        QTemporaryDir dir;
        const QString log = dir.filePath(QStringLiteral("log"));
        const QString script = writeScript(dir, QStringLiteral("helper"), QByteArray("echo \"$*\" >> ") + log.toUtf8() + "\n");
        auto adapter = NowPlayingAdapter::create(script);
        bool done = false;
        adapter->seek(12.3456789, [&] { done = true; });
        QTRY_VERIFY(done);
        QFile file(log);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("seek 12345679\n"));
    }

    void sweepEndsOnlyOurLeftoverStreams_data()
    {
        QTest::addColumn<QString>("exe");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<bool>("ours");
        const QString helper = QStringLiteral("/opt/tarnwick/tarnwick-nowplaying");
        QTest::newRow("stream") << helper << QStringList{helper, QStringLiteral("stream"), QStringLiteral("--micros")} << true;
        QTest::newRow("upgraded away") << helper + QStringLiteral(" (deleted)") << QStringList{helper, QStringLiteral("stream")} << true;
        QTest::newRow("one-shot send") << helper << QStringList{helper, QStringLiteral("send"), QStringLiteral("2")} << false;
        QTest::newRow("another program") << QStringLiteral("/usr/local/bin/tarnwick-nowplaying")
                                         << QStringList{helper, QStringLiteral("stream")} << false;
    }
    void sweepEndsOnlyOurLeftoverStreams()
    {
        QFETCH(QString, exe);
        QFETCH(QStringList, args);
        QFETCH(bool, ours);
        QCOMPARE(NowPlayingAdapter::isStreamHelper(exe, args, QStringLiteral("/opt/tarnwick/tarnwick-nowplaying")), ours);
    }

    void sweepKillsARealLeftover()
    {
        // A real binary named like the helper that blocks on a FIFO called
        // "stream", started detached as an earlier run would have left it.
        QTemporaryDir dir;
        QVERIFY(::mkfifo(QFile::encodeName(dir.filePath(QStringLiteral("stream"))).constData(), 0600) == 0);
        const QString ours = dir.filePath(QStringLiteral("tarnwick-nowplaying"));
        const QString other = dir.filePath(QStringLiteral("someone-else"));
        QVERIFY(QFile::copy(QStringLiteral("/bin/cat"), ours));
        QVERIFY(QFile::copy(QStringLiteral("/bin/cat"), other));
        qint64 oursPid = 0;
        qint64 otherPid = 0;
        QVERIFY(QProcess::startDetached(ours, {QStringLiteral("stream")}, dir.path(), &oursPid));
        QVERIFY(QProcess::startDetached(other, {QStringLiteral("stream")}, dir.path(), &otherPid));
        QTRY_VERIFY(isRunning(oursPid) && isRunning(otherPid));

        auto adapter = NowPlayingAdapter::create(ours);
        adapter->terminateOrphanedStreams();
        QTRY_VERIFY(!isRunning(oursPid));
        QVERIFY(isRunning(otherPid));
        ::kill(pid_t(otherPid), SIGTERM);
    }
};

QTEST_GUILESS_MAIN(tst_NowPlayingAdapter)
#include "tst_NowPlayingAdapter.moc"
