#pragma once

#include "camera/CaptureSession.h"

#include <QAtomicInt>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QVideoFrame>
#include <QVideoSink>
#include <memory>

class Clock;
class FrameAnalyzer;
struct _GstDeviceMonitor;

// The camera through GStreamer: the device's own source element, converted
// to 640 pixels wide NV12 and handed over by an app sink. Frames arrive on
// GStreamer's streaming thread, where they are analysed; the preview gets a
// copy on the main thread. Starting and stopping a device may block for a
// long time (a PipeWire camera nobody links waits for its link), so state
// changes run on a thread of their own and the main thread never waits.
// Nothing is set up until the first use: a user who never opens the mirror
// pays nothing for it.
class GstCaptureSession final : public QObject, public CaptureSession
{
    Q_OBJECT
public:
    explicit GstCaptureSession(Clock &clock, QObject *parent = nullptr);
    ~GstCaptureSession() override;

    QList<CameraDevice> availableCameras() const override;
    void start(const QString &cameraId, Started done) override;
    void stop() override;
    QString currentCameraId() const override;
    void capturePhoto(PhotoTaken done) override;
    void setOnCheck(std::function<void(const FrameCheck &)> onCheck) override;
    void setPreviewSink(QVideoSink *sink) override;

    // Frames delivered since the camera last started.
    int framesSinceStart() const;
    // Whether anything of GStreamer has been set up yet.
    bool isSetUp() const { return m_monitor != nullptr; }

    // How long a device may take to deliver its first frame before it counts
    // as absent.
    static constexpr int firstFrameTimeoutMs = 10000;

private:
    struct Pipeline;
    struct Shared;

    void setUp() const;
    void answer(StartResult result, const QString &name);
    void fail(StartResult result);

    mutable _GstDeviceMonitor *m_monitor = nullptr;
    std::shared_ptr<Shared> m_shared; // what the streaming threads reach
    std::shared_ptr<Pipeline> m_pipeline;
    QList<std::weak_ptr<Pipeline>> m_closing; // every pipeline whose thread may still run
    Started m_pendingStart;
    QString m_pendingName;
    QString m_currentId;
};
