#pragma once

#include "nowplaying/NowPlayingLineReader.h"
#include "nowplaying/NowPlayingTrack.h"

#include <QLoggingCategory>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

class QProcess;

Q_DECLARE_LOGGING_CATEGORY(lcNowPlaying)

// Runs the `tarnwick-nowplaying` helper: a long-running `stream` whose JSON
// lines become tracks, and one-shot `send` and `seek` runs. The helper reads
// the media players over D-Bus in its own process, so a player that hangs
// the bus never stalls the notch. Restarting and user-visible states belong
// to NowPlayingService; this class keeps no state between streams.
class NowPlayingAdapter : public QObject
{
    Q_OBJECT
public:
    using Update = NowPlayingLineReader::Update;
    // The helper's exit code, or nothing when it could not be launched.
    using Finished = std::function<void(std::optional<int> exitCode)>;

    static constexpr const char *kHelperName = "tarnwick-nowplaying";

    // Nothing unless `helperPath` is an executable file.
    static std::unique_ptr<NowPlayingAdapter> create(const QString &helperPath);
    // Where the helper is looked for: $TARNWICK_NOWPLAYING_HELPER, beside the
    // application, then the build tree's helper/ folder. Empty when none.
    static QString findHelper();

    ~NowPlayingAdapter() override;

    QString helperPath() const { return m_helperPath; }

    static QStringList streamArguments();
    static QStringList sendArguments(NowPlayingTrack::MediaCommand command);
    // Whole microseconds, never negative; nothing for a target that does not
    // fit the wire's 64-bit integer.
    static std::optional<qint64> seekMicros(double seconds);

    // Starts the stream. `onUpdate` runs after every line that parses;
    // `onFinished` once when the helper exits or fails to launch, but not
    // after stopStream().
    virtual void startStream(Update onUpdate, Finished onFinished);
    // Terminates the running stream, if any.
    virtual void stopStream();
    virtual bool isStreaming() const;

    // Runs `seek` and calls `done` once the helper has exited (at once when it
    // cannot be launched).
    virtual void seek(double seconds, std::function<void()> done);
    // Starts a one-shot helper and does not wait for it; failures are silent.
    virtual void runOnce(const QStringList &arguments);

    // Ends stream helpers that an earlier run of the application left behind.
    virtual void terminateOrphanedStreams();
    // Whether a process with this executable and these arguments is one of
    // our stream helpers.
    static bool isStreamHelper(const QString &executable, const QStringList &arguments, const QString &helperPath);

protected:
    explicit NowPlayingAdapter(QString helperPath, QObject *parent = nullptr);

private:
    QString m_helperPath;
    QPointer<QProcess> m_stream;
    // Shared so that an update which stops or restarts the stream does not
    // destroy the reader while it is still handling a line.
    std::shared_ptr<NowPlayingLineReader> m_reader;
};
