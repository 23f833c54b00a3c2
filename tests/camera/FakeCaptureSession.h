#pragma once

#include "camera/CaptureSession.h"

#include <QTimer>

// A capture layer under the test's control: starts complete when the test
// says so, with the device list it was given.
class FakeCaptureSession final : public CaptureSession
{
public:
    QList<CameraDevice> cameras;
    QList<std::pair<QString, Started>> starts; // requested id, completion
    QString current;
    QByteArray photo;
    std::function<void(const FrameCheck &)> onCheck;
    QVideoSink *preview = nullptr;

    QList<CameraDevice> availableCameras() const override { return cameras; }
    void start(const QString &cameraId, Started done) override { starts.append({cameraId, std::move(done)}); }
    void stop() override { current.clear(); }
    QString currentCameraId() const override { return current; }
    void capturePhoto(PhotoTaken done) override { QTimer::singleShot(0, [done, data = photo] { done(data); }); }
    void setOnCheck(std::function<void(const FrameCheck &)> handler) override { onCheck = std::move(handler); }
    void setPreviewSink(QVideoSink *sink) override { preview = sink; }

    // Completes the latest start as a real device would: the requested
    // camera when it exists, else the first.
    void completeStart()
    {
        const auto [id, done] = starts.takeLast();
        if (cameras.isEmpty())
            return done(StartResult::NoCamera, QString());
        const auto it = std::find_if(cameras.cbegin(), cameras.cend(), [&](const CameraDevice &c) { return c.id == id; });
        const CameraDevice &device = it == cameras.cend() ? cameras.first() : *it;
        current = device.id;
        done(StartResult::Running, device.name);
    }
};
