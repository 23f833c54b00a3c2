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
    void seekRoundsToWholeMicroseconds()
    {
        // Negative clamps to 0, beyond 64 bits and not a number are refused.
        QList<std::optional<qint64>> micros;
        for (double seconds : {-3.2, 12.3456789, 5.0, 1e14, std::nan("")})
            micros.append(NowPlayingAdapter::seekMicros(seconds));
        QCOMPARE(micros, (QList<std::optional<qint64>>{0, 12345679, 5000000, std::nullopt, std::nullopt}));
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

    // Real binaries named like the helper (copies of cat) that block on
    // FIFOs named like its verbs, started detached as an earlier run would
    // have left them: only streams of our helper go, also one whose file an
    // upgrade replaced.
    void sweepEndsOnlyOurLeftoverStreams()
    {
        QTemporaryDir dir;
        for (const char *fifo : {"stream", "send"})
            QVERIFY(::mkfifo(QFile::encodeName(dir.filePath(QString::fromLatin1(fifo))).constData(), 0600) == 0);
        const QString ours = dir.filePath(QStringLiteral("tarnwick-nowplaying"));
        const QString other = dir.filePath(QStringLiteral("someone-else"));
        QVERIFY(QFile::copy(QStringLiteral("/bin/cat"), ours));
        QVERIFY(QFile::copy(QStringLiteral("/bin/cat"), other));
        const auto start = [&](const QString &program, const char *verb) {
            qint64 pid = 0;
            QProcess::startDetached(program, {QString::fromLatin1(verb)}, dir.path(), &pid);
            return pid;
        };
        const qint64 upgraded = start(ours, "stream");
        QTRY_VERIFY(isRunning(upgraded));
        QVERIFY(QFile::remove(ours) && QFile::copy(QStringLiteral("/bin/cat"), ours));
        const qint64 stream = start(ours, "stream"), send = start(ours, "send"), foreign = start(other, "stream");
        QTRY_VERIFY(isRunning(stream) && isRunning(send) && isRunning(foreign));

        NowPlayingAdapter::create(ours)->terminateOrphanedStreams();
        QTRY_VERIFY(!isRunning(stream) && !isRunning(upgraded));
        QVERIFY(isRunning(send) && isRunning(foreign));
        ::kill(pid_t(send), SIGTERM);
        ::kill(pid_t(foreign), SIGTERM);
    }
};

QTEST_GUILESS_MAIN(tst_NowPlayingAdapter)
#include "tst_NowPlayingAdapter.moc"
