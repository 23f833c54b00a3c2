#pragma once

#include "camera/CaptureSession.h"
#include "camera/FrameCheck.h"
#include "core/QmlSingleton.h"

#include <QObject>
#include <QUrl>
#include <QtQml/qqmlregistration.h>
#include <optional>

class Clock;

// The camera behind the mirror drawer. It runs only while the drawer is out
// (setActive), publishes the latest lighting and framing check, and saves
// snaps under the Pictures folder. Everything here changes on the main
// thread; the capture and the analysis report back to it.
class CameraMirror : public QObject, public QmlSingleton<CameraMirror>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(Status status READ status NOTIFY statusChanged)
    Q_PROPERTY(bool hasCheck READ hasCheck NOTIFY checkChanged)
    Q_PROPERTY(QString cameraName READ cameraName NOTIFY cameraNameChanged)
    Q_PROPERTY(bool isMirrored READ isMirrored WRITE setMirrored NOTIFY isMirroredChanged)
    Q_PROPERTY(bool isActive READ isActive NOTIFY isActiveChanged)
    Q_PROPERTY(QString selectedCameraID READ selectedCameraID NOTIFY selectedCameraIDChanged)
    Q_PROPERTY(int cameraCount READ cameraCount NOTIFY cameraNameChanged)

public:
    enum class Status { NeedsPermission, Denied, NoCamera, Idle, Running };
    Q_ENUM(Status)

    CameraMirror(CaptureSession &capture, Clock &clock, QString picturesFolder, QObject *parent = nullptr);

    Status status() const { return m_status; }
    const std::optional<FrameCheck> &check() const { return m_check; }
    bool hasCheck() const { return m_check.has_value(); }
    QString cameraName() const { return m_cameraName; }
    bool isMirrored() const { return m_isMirrored; }
    void setMirrored(bool mirrored);
    bool isActive() const { return m_isActive; }
    QString selectedCameraID() const { return m_selectedCameraID; }
    int cameraCount() const { return int(availableCameras().size()); }
    CaptureSession &capture() const { return m_capture; }

    // The drawer calls this with true when it comes out and false when it goes.
    Q_INVOKABLE void setActive(bool active);
    // Moves to the next camera, wrapping after the last.
    Q_INVOKABLE void switchCamera();
    // Takes a photo and saves it; answers with snapFinished (an empty URL
    // when nothing was saved).
    Q_INVOKABLE void snap();
    // There is no camera permission to ask for outside a sandbox; asking
    // again retries the device, which is what a user who fixed the device's
    // permissions expects.
    Q_INVOKABLE void requestAccess();
    QList<CameraDevice> availableCameras() const { return m_capture.availableCameras(); }
    // The live preview's video sink (a QVideoSink), or null.
    Q_INVOKABLE void setPreviewSink(QObject *sink);

    // "Tarnwick Snap 2026-11-14 at 19.47.12.jpg"
    static QString snapFileName(const QDateTime &localTime);
    static QString defaultPicturesFolder();

Q_SIGNALS:
    void statusChanged();
    void checkChanged();
    void cameraNameChanged();
    void isMirroredChanged();
    void isActiveChanged();
    void selectedCameraIDChanged();
    void snapFinished(const QUrl &file);

private:
    void startCapture();
    void captureStarted(CaptureSession::StartResult result, const QString &name);
    void setStatus(Status status);
    void setCheck(const FrameCheck &check);
    QUrl save(const QByteArray &jpeg) const;

    CaptureSession &m_capture;
    Clock &m_clock;
    QString m_picturesFolder;
    Status m_status = Status::Idle;
    std::optional<FrameCheck> m_check;
    QString m_cameraName;
    bool m_isMirrored = true;
    bool m_isActive = false;
    QString m_selectedCameraID;
};
