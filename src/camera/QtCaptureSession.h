#pragma once

#include "camera/CaptureSession.h"

#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <QVideoFrame>
#include <QVideoSink>
#include <memory>

class Clock;
class FrameAnalyzer;
class QCamera;
class QImageCapture;

// The camera through Qt Multimedia. The device is opened on start and closed
// again on stop (the camera object is dropped, not paused), so the camera's
// light goes out the moment the mirror goes away. Frames are analysed on a
// thread of their own.
class QtCaptureSession final : public QObject, public CaptureSession
{
    Q_OBJECT
public:
    explicit QtCaptureSession(Clock &clock, QObject *parent = nullptr);
    ~QtCaptureSession() override;

    QList<CameraDevice> availableCameras() const override;
    void start(const QString &cameraId, Started done) override;
    void stop() override;
    QString currentCameraId() const override;
    void capturePhoto(PhotoTaken done) override;
    void setOnCheck(std::function<void(const FrameCheck &)> onCheck) override;
    void setPreviewSink(QVideoSink *sink) override;

    // Frames delivered since the camera last started; for diagnostics.
    int framesSinceStart() const { return m_frames.loadRelaxed(); }

private:
    void frameArrived(const QVideoFrame &frame);
    void attachSink();

    QMediaDevices m_devices;
    QMediaCaptureSession m_session;
    std::unique_ptr<QCamera> m_camera;
    std::unique_ptr<QImageCapture> m_stills;
    QVideoSink m_ownSink;
    QPointer<QVideoSink> m_preview;
    QMetaObject::Connection m_frameConnection;
    QThread m_analysisThread;
    QObject *m_analysisContext = nullptr; // lives on m_analysisThread
    std::unique_ptr<FrameAnalyzer> m_analyzer; // used on m_analysisThread only
    QAtomicInt m_frames;
    QAtomicInt m_pending; // frames handed to the analysis thread, not yet looked at
    QMutex m_lastFrameLock;
    QVideoFrame m_lastFrame;
};
