#include "camera/CameraMirror.h"

#include "core/Clock.h"

#include <QDir>
#include <QFile>
#include <QPointer>
#include <QSaveFile>
#include <QStandardPaths>
#include <QVideoSink>

CameraMirror::CameraMirror(CaptureSession &capture, Clock &clock, QString picturesFolder, QObject *parent)
    : QObject(parent)
    , m_capture(capture)
    , m_clock(clock)
    , m_picturesFolder(std::move(picturesFolder))
{
    // Checks come from the analysis thread; they are published from here.
    QPointer<CameraMirror> self(this);
    m_capture.setOnCheck([self](const FrameCheck &check) {
        QMetaObject::invokeMethod(self, [self, check] {
            if (self)
                self->setCheck(check);
        }, Qt::QueuedConnection);
    });
}

QString CameraMirror::defaultPicturesFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
}

void CameraMirror::setPreviewSink(QObject *sink)
{
    m_capture.setPreviewSink(qobject_cast<QVideoSink *>(sink));
}

void CameraMirror::setMirrored(bool mirrored)
{
    if (m_isMirrored == mirrored)
        return;
    m_isMirrored = mirrored;
    Q_EMIT isMirroredChanged();
}

void CameraMirror::setActive(bool active)
{
    if (active) {
        if (!m_isActive) {
            m_isActive = true;
            Q_EMIT isActiveChanged();
        }
        startCapture();
        return;
    }
    if (m_isActive) {
        m_isActive = false;
        Q_EMIT isActiveChanged();
    }
    m_capture.stop();
    if (m_status == Status::Running)
        setStatus(Status::Idle);
    // The next opening shows verdicts about the picture then, not about this one.
    if (m_check) {
        m_check.reset();
        Q_EMIT checkChanged();
    }
}

void CameraMirror::startCapture()
{
    QPointer<CameraMirror> self(this);
    m_capture.start(m_selectedCameraID, [self](CaptureSession::StartResult result, const QString &name) {
        if (self)
            self->captureStarted(result, name);
    });
}

void CameraMirror::captureStarted(CaptureSession::StartResult result, const QString &name)
{
    // The drawer went away while the camera was starting: the late start is
    // undone, so the camera never stays on behind a closed drawer.
    if (!m_isActive) {
        m_capture.stop();
        return;
    }
    using R = CaptureSession::StartResult;
    if (result == R::Denied) {
        setStatus(Status::Denied);
        return;
    }
    const QString cameraName = result == R::Running ? name : QString();
    if (m_cameraName != cameraName) {
        m_cameraName = cameraName;
        Q_EMIT cameraNameChanged();
    }
    setStatus(result == R::Running ? Status::Running : Status::NoCamera);
}

void CameraMirror::switchCamera()
{
    const QList<CameraDevice> cameras = availableCameras();
    if (cameras.size() < 2)
        return;
    const QString current = m_capture.currentCameraId();
    qsizetype at = -1;
    for (qsizetype i = 0; i < cameras.size(); ++i) {
        if (cameras[i].id == current)
            at = i;
    }
    const QString next = cameras[(at + 1) % cameras.size()].id;
    if (m_selectedCameraID != next) {
        m_selectedCameraID = next;
        Q_EMIT selectedCameraIDChanged();
    }
    if (m_isActive)
        startCapture();
}

void CameraMirror::requestAccess()
{
    if (m_isActive)
        startCapture();
}

void CameraMirror::snap()
{
    QPointer<CameraMirror> self(this);
    m_capture.capturePhoto([self](const QByteArray &jpeg) {
        if (!self)
            return;
        Q_EMIT self->snapFinished(jpeg.isEmpty() ? QUrl() : self->save(jpeg));
    });
}

QString CameraMirror::snapFileName(const QDateTime &localTime)
{
    return QStringLiteral("Tarnwick Snap ") + localTime.toString(QStringLiteral("yyyy-MM-dd 'at' HH.mm.ss"))
        + QStringLiteral(".jpg");
}

QUrl CameraMirror::save(const QByteArray &jpeg) const
{
    if (m_picturesFolder.isEmpty())
        return {};
    const QDir folder(QDir(m_picturesFolder).filePath(QStringLiteral("Tarnwick")));
    if (!QDir().mkpath(folder.path()))
        return {};
    QString path = folder.filePath(snapFileName(m_clock.now().toLocalTime()));
    // Two snaps within one second must not overwrite each other.
    for (int n = 2; QFile::exists(path); ++n)
        path = folder.filePath(snapFileName(m_clock.now().toLocalTime()).chopped(4) + QStringLiteral(" %1.jpg").arg(n));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(jpeg) != jpeg.size() || !file.commit())
        return {};
    return QUrl::fromLocalFile(path);
}

void CameraMirror::setStatus(Status status)
{
    if (m_status == status)
        return;
    m_status = status;
    Q_EMIT statusChanged();
}

void CameraMirror::setCheck(const FrameCheck &check)
{
    // A check that lands after the drawer closed belongs to a picture that
    // is gone.
    if (!m_isActive || m_check == check)
        return;
    m_check = check;
    Q_EMIT checkChanged();
}
