#pragma once

#include "camera/FrameCheck.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <memory>

class Clock;
class QVideoSink;

// A video device as the capture layer lists it.
struct CameraDevice
{
    QString id;
    QString name;

    friend bool operator==(const CameraDevice &, const CameraDevice &) = default;
};

// The camera behind the mirror: which devices there are, starting and
// stopping one, stills, and the checks of its frames. Every callback named
// "done" arrives on the main thread, later, never inside the call; checks
// arrive on the analysis thread.
class CaptureSession
{
public:
    enum class StartResult { Running, NoCamera, Denied };
    using Started = std::function<void(StartResult, const QString &cameraName)>;
    using PhotoTaken = std::function<void(const QByteArray &jpeg)>; // empty on failure

    virtual ~CaptureSession() = default;

    // The system's cameras, through GStreamer. Cheap to make: nothing is
    // set up before the first listing or start.
    static std::unique_ptr<CaptureSession> createSystem(Clock &clock);

    virtual QList<CameraDevice> availableCameras() const = 0;
    // The device with `cameraId` when it is still there, else the default one.
    virtual void start(const QString &cameraId, Started done) = 0;
    // Closes the device: nothing of it stays open while the mirror is away.
    virtual void stop() = 0;
    // The device now open, empty when none.
    virtual QString currentCameraId() const = 0;
    virtual void capturePhoto(PhotoTaken done) = 0;
    virtual void setOnCheck(std::function<void(const FrameCheck &)> onCheck) = 0;
    // Where the live picture goes besides the analysis; null for nowhere.
    virtual void setPreviewSink(QVideoSink *sink) = 0;
};
