#pragma once

#include "nowplaying/NowPlayingAdapter.h"

// Stands in for the helper in unit tests: records what the service asks for
// and lets the test play the helper's part (lines, exits, finished seeks).
class FakeAdapter : public NowPlayingAdapter
{
public:
    FakeAdapter() : NowPlayingAdapter(QStringLiteral("/fake/tarnwick-nowplaying")) { }

    void startStream(Update onUpdate, Finished onFinished) override
    {
        ++streamsStarted;
        m_update = std::move(onUpdate);
        m_finished = std::move(onFinished);
    }
    void stopStream() override
    {
        ++streamsStopped;
        m_update = nullptr;
        m_finished = nullptr;
    }
    bool isStreaming() const override { return bool(m_finished); }
    void seek(double seconds, std::function<void()> done) override
    {
        seeks.append(seconds);
        pendingSeekDone.append(std::move(done));
    }
    void runOnce(const QStringList &arguments) override { oneShots.append(arguments); }
    void terminateOrphanedStreams() override { ++sweeps; }

    void emitTrack(const std::optional<NowPlayingTrack> &track) { m_update(track); }
    void exitStream(int code = 0)
    {
        auto finished = std::exchange(m_finished, nullptr);
        m_update = nullptr;
        finished(code);
    }
    void finishSeek() { pendingSeekDone.takeFirst()(); }

    int streamsStarted = 0;
    int streamsStopped = 0;
    int sweeps = 0;
    QList<double> seeks;
    QList<std::function<void()>> pendingSeekDone;
    QList<QStringList> oneShots;

private:
    Update m_update;
    Finished m_finished;
};
