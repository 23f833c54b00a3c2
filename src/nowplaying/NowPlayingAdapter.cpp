#include "nowplaying/NowPlayingAdapter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <cmath>
#include <csignal>
#include <sys/types.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcNowPlaying, "tarnwick.nowplaying", QtWarningMsg)

NowPlayingAdapter::NowPlayingAdapter(QString helperPath, QObject *parent)
    : QObject(parent)
    , m_helperPath(std::move(helperPath))
{
}

NowPlayingAdapter::~NowPlayingAdapter()
{
    // Every helper still running ends with us, and none of their exits may
    // call back into an owner that is going away.
    const auto processes = findChildren<QProcess *>(Qt::FindDirectChildrenOnly);
    for (QProcess *process : processes) {
        process->disconnect();
        if (process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(1000);
        }
        delete process;
    }
}

std::unique_ptr<NowPlayingAdapter> NowPlayingAdapter::create(const QString &helperPath)
{
    const QFileInfo info(helperPath);
    if (helperPath.isEmpty() || !info.isFile() || !info.isExecutable())
        return nullptr;
    return std::unique_ptr<NowPlayingAdapter>(new NowPlayingAdapter(info.absoluteFilePath()));
}

QString NowPlayingAdapter::findHelper()
{
    const QString fromEnv = qEnvironmentVariable("TARNWICK_NOWPLAYING_HELPER");
    if (!fromEnv.isEmpty())
        return fromEnv;
    const QString name = QString::fromLatin1(kHelperName);
    const QDir appDir(QCoreApplication::applicationDirPath());
    // Installed, the helper sits beside the application; in a build tree it
    // is built into helper/ next to the application's folder.
    for (const QString &candidate : {appDir.filePath(name), appDir.filePath(QStringLiteral("../helper/") + name),
                                     appDir.filePath(QStringLiteral("../../helper/") + name)}) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable())
            return info.canonicalFilePath();
    }
    return {};
}

QStringList NowPlayingAdapter::streamArguments()
{
    return {QStringLiteral("stream"), QStringLiteral("--micros"), QStringLiteral("--debounce=50")};
}

QStringList NowPlayingAdapter::sendArguments(NowPlayingTrack::MediaCommand command)
{
    return {QStringLiteral("send"), QString::number(int(command))};
}

std::optional<qint64> NowPlayingAdapter::seekMicros(double seconds)
{
    if (std::isnan(seconds))
        return std::nullopt;
    const double micros = std::round(std::max(seconds, 0.0) * 1'000'000.0);
    // 2^63 is exactly representable; anything at or above it does not fit.
    if (micros >= 9223372036854775808.0)
        return std::nullopt;
    return qint64(micros);
}

void NowPlayingAdapter::startStream(Update onUpdate, Finished onFinished)
{
    stopStream();
    auto *process = new QProcess(this);
    m_stream = process;
    m_reader = std::make_shared<NowPlayingLineReader>(std::move(onUpdate));
    process->setProgram(m_helperPath);
    process->setArguments(streamArguments());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->setReadChannel(QProcess::StandardOutput);

    connect(process, &QProcess::readyReadStandardOutput, this, [this, process] {
        if (m_stream != process)
            return;
        const std::shared_ptr<NowPlayingLineReader> reader = m_reader;
        while (process->bytesAvailable() > 0) {
            const QByteArray chunk = process->read(64 * 1024);
            reader->feed(chunk);
            // An update may have stopped the stream.
            if (m_stream != process)
                return;
        }
    });
    auto finish = [this, process, onFinished](std::optional<int> code) {
        if (m_stream != process)
            return;
        // Whatever is still buffered belongs to this run.
        if (code) {
            const std::shared_ptr<NowPlayingLineReader> reader = m_reader;
            reader->feed(process->readAll());
            if (m_stream != process)
                return;
            reader->finish();
            if (m_stream != process)
                return;
        }
        m_stream = nullptr;
        m_reader.reset();
        process->deleteLater();
        if (onFinished)
            onFinished(code);
    };
    connect(process, &QProcess::finished, this, [finish](int exitCode, QProcess::ExitStatus status) {
        finish(status == QProcess::NormalExit ? exitCode : -1);
    });
    connect(process, &QProcess::errorOccurred, this, [finish](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            finish(std::nullopt);
    });
    process->start(QIODevice::ReadOnly);
}

void NowPlayingAdapter::stopStream()
{
    QProcess *process = m_stream;
    m_stream = nullptr;
    if (m_reader)
        m_reader->cancel();
    m_reader.reset();
    if (!process)
        return;
    process->disconnect(this);
    if (process->state() == QProcess::NotRunning) {
        process->deleteLater();
        return;
    }
    // The helper ends on SIGTERM; the process object lives until it has, so
    // no zombie is left and its exit is not mistaken for a failure.
    connect(process, &QProcess::finished, process, &QObject::deleteLater);
    process->terminate();
}

bool NowPlayingAdapter::isStreaming() const
{
    return m_stream != nullptr;
}

void NowPlayingAdapter::seek(double seconds, std::function<void()> done)
{
    const auto micros = seekMicros(seconds);
    if (!micros) {
        if (done)
            done();
        return;
    }
    auto *process = new QProcess(this);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    auto shared = std::make_shared<std::function<void()>>(std::move(done));
    auto finish = [process, shared] {
        process->deleteLater();
        if (auto call = std::exchange(*shared, nullptr))
            call();
    };
    connect(process, &QProcess::finished, this, finish);
    connect(process, &QProcess::errorOccurred, this, [finish](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            finish();
    });
    process->start(m_helperPath, {QStringLiteral("seek"), QString::number(*micros)});
}

void NowPlayingAdapter::runOnce(const QStringList &arguments)
{
    auto *process = new QProcess(this);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    connect(process, &QProcess::finished, process, &QObject::deleteLater);
    connect(process, &QProcess::errorOccurred, process, [process](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            process->deleteLater();
    });
    process->start(m_helperPath, arguments);
}

bool NowPlayingAdapter::isStreamHelper(const QString &executable, const QStringList &arguments, const QString &helperPath)
{
    // After an upgrade the running helper's file is gone and the kernel
    // names it "<path> (deleted)"; it is still ours.
    QString exe = executable;
    if (exe.endsWith(QLatin1String(" (deleted)")))
        exe.chop(10);
    const QString ours = QFileInfo(helperPath).canonicalFilePath();
    const QString wanted = ours.isEmpty() ? helperPath : ours;
    return exe == wanted && arguments.size() >= 2 && arguments.at(1) == QLatin1String("stream");
}

void NowPlayingAdapter::terminateOrphanedStreams()
{
    const qint64 self = qint64(::getpid());
    const QDir proc(QStringLiteral("/proc"));
    const QStringList entries = proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        if (!numeric || pid == self)
            continue;
        const QString exe = QFile::symLinkTarget(proc.filePath(entry + QStringLiteral("/exe")));
        if (exe.isEmpty())
            continue;
        QFile cmdline(proc.filePath(entry + QStringLiteral("/cmdline")));
        if (!cmdline.open(QIODevice::ReadOnly))
            continue;
        QStringList arguments;
        for (const QByteArray &part : cmdline.readAll().split('\0'))
            arguments.append(QString::fromLocal8Bit(part));
        if (!isStreamHelper(exe, arguments, m_helperPath))
            continue;
        // Our own children are current streams, not leftovers.
        QFile stat(proc.filePath(entry + QStringLiteral("/stat")));
        if (stat.open(QIODevice::ReadOnly)) {
            const QByteArray line = stat.readAll();
            const qsizetype close = line.lastIndexOf(')');
            const QList<QByteArray> fields = line.mid(close + 2).split(' ');
            if (fields.size() > 1 && fields.at(1).toLongLong() == self)
                continue;
        }
        qCDebug(lcNowPlaying) << "ending a stream helper left behind:" << pid;
        ::kill(pid_t(pid), SIGTERM);
    }
}
