#include "camera/QtCaptureSession.h"

#include "camera/FrameAnalyzer.h"

#include <QBuffer>
#include <QCamera>
#include <QImageCapture>
#include <QImageWriter>
#include <QLoggingCategory>
#include <QTimer>

Q_LOGGING_CATEGORY(lcCapture, "tarnwick.camera", QtWarningMsg)

namespace {

QCameraDevice findDevice(const QString &id)
{
    if (!id.isEmpty()) {
        for (const QCameraDevice &device : QMediaDevices::videoInputs()) {
            if (QString::fromUtf8(device.id()) == id)
                return device;
        }
    }
    // An unplugged choice falls back to the camera the system offers first.
    return QMediaDevices::defaultVideoInput();
}

QByteArray jpeg(const QImage &image)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(92);
    if (image.isNull() || !writer.write(image))
        return {};
    return data;
}

} // namespace

std::unique_ptr<CaptureSession> CaptureSession::createSystem(Clock &clock)
{
    return std::make_unique<QtCaptureSession>(clock);
}

QtCaptureSession::QtCaptureSession(Clock &clock, QObject *parent)
    : QObject(parent)
    , m_analyzer(std::make_unique<FrameAnalyzer>(clock))
{
    m_analysisThread.setObjectName(QStringLiteral("tarnwick.camera.analysis"));
    m_analysisContext = new QObject;
    m_analysisContext->moveToThread(&m_analysisThread);
    connect(&m_analysisThread, &QThread::finished, m_analysisContext, &QObject::deleteLater);
    m_analysisThread.start(QThread::LowPriority);
    attachSink();
}

QtCaptureSession::~QtCaptureSession()
{
    stop();
    m_session.setVideoSink(nullptr);
    disconnect(m_frameConnection);
    m_analysisThread.quit();
    m_analysisThread.wait();
}

QList<CameraDevice> QtCaptureSession::availableCameras() const
{
    QList<CameraDevice> cameras;
    for (const QCameraDevice &device : QMediaDevices::videoInputs())
        cameras.append({QString::fromUtf8(device.id()), device.description()});
    return cameras;
}

void QtCaptureSession::start(const QString &cameraId, Started done)
{
    const QCameraDevice device = findDevice(cameraId);
    if (device.isNull()) {
        QTimer::singleShot(0, this, [done] { done(StartResult::NoCamera, QString()); });
        return;
    }
    if (m_camera && m_camera->cameraDevice() == device && m_camera->isActive()) {
        QTimer::singleShot(0, this, [done, name = device.description()] { done(StartResult::Running, name); });
        return;
    }

    stop();
    m_frames.storeRelaxed(0);
    m_camera = std::make_unique<QCamera>(device);
    auto answered = std::make_shared<bool>(false);
    connect(m_camera.get(), &QCamera::activeChanged, this, [done, answered, name = device.description()](bool active) {
        if (active && !std::exchange(*answered, true))
            done(StartResult::Running, name);
    });
    connect(m_camera.get(), &QCamera::errorOccurred, this,
            [this, done, answered, failed = m_camera.get()](QCamera::Error, const QString &message) {
                qCWarning(lcCapture) << "camera failed:" << message;
                // A device node the user may not open is a refusal, not an
                // absence: the drawer says so differently.
                const bool refused = message.contains(QLatin1String("ermission"));
                // Not from inside the camera's own signal: it is dropped
                // once the signal has returned, unless another start
                // replaced it meanwhile.
                QTimer::singleShot(0, this, [this, failed] {
                    if (m_camera.get() == failed)
                        stop();
                });
                if (!std::exchange(*answered, true))
                    done(refused ? StartResult::Denied : StartResult::NoCamera, QString());
            });
    m_session.setCamera(m_camera.get());
    if (!m_stills) {
        m_stills = std::make_unique<QImageCapture>();
        m_session.setImageCapture(m_stills.get());
    }
    m_camera->start();
}

void QtCaptureSession::stop()
{
    if (!m_camera)
        return;
    // Dropping the camera closes its device; merely stopping could keep the
    // pipeline, and with it the device node, open.
    std::unique_ptr<QCamera> camera = std::move(m_camera);
    camera->disconnect(this);
    m_session.setCamera(nullptr);
    camera.reset();
    QMutexLocker locker(&m_lastFrameLock);
    m_lastFrame = QVideoFrame();
}

QString QtCaptureSession::currentCameraId() const
{
    return m_camera ? QString::fromUtf8(m_camera->cameraDevice().id()) : QString();
}

void QtCaptureSession::capturePhoto(PhotoTaken done)
{
    if (!m_camera || !m_camera->isActive()) {
        QTimer::singleShot(0, this, [done] { done({}); });
        return;
    }
    if (m_stills && m_stills->isReadyForCapture()) {
        auto answered = std::make_shared<QMetaObject::Connection>();
        auto failed = std::make_shared<QMetaObject::Connection>();
        const int id = m_stills->capture();
        *answered = connect(m_stills.get(), &QImageCapture::imageCaptured, this,
                            [done, id, answered, failed](int captured, const QImage &image) {
                                if (captured != id && id != -1)
                                    return;
                                QObject::disconnect(*answered);
                                QObject::disconnect(*failed);
                                done(jpeg(image));
                            });
        *failed = connect(m_stills.get(), &QImageCapture::errorOccurred, this,
                          [done, id, answered, failed](int captured, QImageCapture::Error, const QString &message) {
                              if (captured != id && id != -1)
                                  return;
                              qCWarning(lcCapture) << "photo failed:" << message;
                              QObject::disconnect(*answered);
                              QObject::disconnect(*failed);
                              done({});
                          });
        return;
    }
    // Some sources cannot take stills; the picture on screen is the photo then.
    QVideoFrame frame;
    {
        QMutexLocker locker(&m_lastFrameLock);
        frame = m_lastFrame;
    }
    QTimer::singleShot(0, this, [done, frame]() mutable { done(frame.isValid() ? jpeg(frame.toImage()) : QByteArray()); });
}

void QtCaptureSession::setOnCheck(std::function<void(const FrameCheck &)> onCheck)
{
    QMetaObject::invokeMethod(
        m_analysisContext, [this, onCheck = std::move(onCheck)] { m_analyzer->setOnCheck(onCheck); },
        Qt::BlockingQueuedConnection);
}

void QtCaptureSession::setPreviewSink(QVideoSink *sink)
{
    if (m_preview == sink)
        return;
    if (m_preview)
        disconnect(m_preview, &QObject::destroyed, this, nullptr);
    m_preview = sink;
    if (sink != nullptr)
        connect(sink, &QObject::destroyed, this, [this] { setPreviewSink(nullptr); });
    attachSink();
}

void QtCaptureSession::attachSink()
{
    // The preview's own sink receives the frames when there is a preview;
    // the analysis listens to whichever sink that is.
    QVideoSink *sink = m_preview ? m_preview.data() : &m_ownSink;
    disconnect(m_frameConnection);
    m_frameConnection = connect(sink, &QVideoSink::videoFrameChanged, this, &QtCaptureSession::frameArrived,
                                Qt::DirectConnection);
    m_session.setVideoSink(sink);
}

void QtCaptureSession::frameArrived(const QVideoFrame &frame)
{
    m_frames.fetchAndAddRelaxed(1);
    {
        QMutexLocker locker(&m_lastFrameLock);
        m_lastFrame = frame;
    }
    // Late frames are dropped, not queued: the analysis looks at the newest
    // picture or none.
    if (!m_pending.testAndSetRelaxed(0, 1))
        return;
    QMetaObject::invokeMethod(m_analysisContext, [this, frame] {
        m_analyzer->frameArrived(frame);
        m_pending.storeRelaxed(0);
    });
}

// Compiled here rather than with every other class, as only this file is
// built against Qt Multimedia.
#include "moc_QtCaptureSession.cpp"
