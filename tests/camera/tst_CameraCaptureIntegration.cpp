#include "camera/CameraMirror.h"
#include "camera/GstCaptureSession.h"
#include "core/Clock.h"

#include "camera/PipeWireCameras.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QImageReader>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using Status = CameraMirror::Status;

// The capture path against a real video device: a PipeWire camera node,
// found through GStreamer's device monitor and opened as any webcam would be.
class tst_CameraCaptureIntegration : public QObject
{
    Q_OBJECT

    PipeWireCameras m_cameras;
    QTemporaryDir m_pictures;
    std::unique_ptr<GstCaptureSession> m_capture;
    std::unique_ptr<CameraMirror> m_mirror;

    // Time until no one reads any of our cameras any more; -1 after 5 s.
    qint64 msUntilReleased()
    {
        QElapsedTimer waited;
        waited.start();
        while (m_cameras.readers() > 0) {
            if (waited.elapsed() > 5000)
                return -1;
            QTest::qWait(5);
        }
        return waited.elapsed();
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString pipewire = m_cameras.start();
        QVERIFY2(pipewire.isEmpty(), qPrintable(pipewire));
        m_capture = std::make_unique<GstCaptureSession>(Clock::system());
        m_mirror = std::make_unique<CameraMirror>(*m_capture, Clock::system(), m_pictures.path());
        // Nothing of the camera wakes before the mirror is first used.
        QVERIFY(!m_capture->isSetUp());
    }

    void noCameraAtAll()
    {
        QVERIFY(m_mirror->availableCameras().isEmpty());
        m_mirror->setActive(true);
        QTRY_COMPARE(m_mirror->status(), Status::NoCamera);
        m_mirror->setActive(false);
        QCOMPARE(m_mirror->status(), Status::NoCamera);
    }

    void openingOpensTheDeviceAndClosingReleasesIt()
    {
        const QString failed = m_cameras.addCamera(QStringLiteral("FaceCamera"));
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        QTRY_COMPARE_WITH_TIMEOUT(m_mirror->availableCameras().size(), 1, 15000);
        m_mirror->setActive(true);
        QTRY_COMPARE_WITH_TIMEOUT(m_mirror->status(), Status::Running, 10000);
        QCOMPARE(m_mirror->cameraName(), QStringLiteral("FaceCamera"));
        const int before = m_capture->framesSinceStart();
        QTest::qWait(1000);
        // 30 fps, less what a machine busy with other things drops.
        QVERIFY2(m_capture->framesSinceStart() - before >= 10, "the camera's frames do not reach the capture");
        // The analysis runs on what arrives: a check is published.
        QTRY_VERIFY_WITH_TIMEOUT(m_mirror->hasCheck(), 5000);
        // A snap is a real JPEG of the picture, under its dated name.
        QSignalSpy snapped(m_mirror.get(), &CameraMirror::snapFinished);
        m_mirror->snap();
        QVERIFY(snapped.wait(5000));
        const QFileInfo snap(snapped.first().first().toUrl().toLocalFile());
        QVERIFY2(snap.fileName().startsWith(QStringLiteral("Tarnwick Snap ")), qPrintable(snap.filePath()));
        QImageReader jpeg(snap.filePath());
        QCOMPARE(jpeg.format(), QByteArray("jpeg"));
        QCOMPARE(jpeg.size().width(), 640);

        m_mirror->setActive(false);
        QCOMPARE(m_mirror->status(), Status::Idle);
        const qint64 released = msUntilReleased();
        qInfo("no reader left %lld ms after the drawer closed", released);
        QVERIFY(released >= 0);
        const int atClose = m_capture->framesSinceStart();
        QTest::qWait(300);
        QCOMPARE(m_capture->framesSinceStart(), atClose);
    }

    void lateStartIsUndone()
    {
        m_mirror->setActive(true);
        m_mirror->setActive(false);
        QTest::qWait(1500);
        QVERIFY(m_mirror->status() != Status::Running);
        QCOMPARE(m_cameras.readers(), 0);
    }

    // A camera node nobody links waits for its link, for up to half a
    // minute; the drawer stays responsive meanwhile and closing it is
    // never held up.
    void aCameraThatNeverLinksDoesNotBlock()
    {
        m_cameras.setLinking(false);
        // Linking comes back however this test ends: the next ones need it.
        const auto relink = qScopeGuard([this] { m_cameras.setLinking(true); });
        QElapsedTimer took;
        took.start();
        m_mirror->setActive(true);
        QVERIFY2(took.elapsed() < 500, qPrintable(QString::number(took.elapsed())));
        took.restart();
        for (int i = 0; i < 20; ++i)
            QTest::qWait(50);
        QVERIFY2(took.elapsed() < 2000, "the main thread waited for the camera");
        QVERIFY(m_mirror->status() != Status::Running);
        took.restart();
        m_mirror->setActive(false);
        QVERIFY(took.elapsed() < 500);
        // A reader left behind would be linked now, and counted.
        m_cameras.setLinking(true);
        QVERIFY(msUntilReleased() >= 0);
    }

    void threeCamerasCycle()
    {
        for (const QString &name : {QStringLiteral("DeskCamera"), QStringLiteral("RoomCamera")}) {
            const QString failed = m_cameras.addCamera(name);
            QVERIFY2(failed.isEmpty(), qPrintable(failed));
        }
        QTRY_COMPARE_WITH_TIMEOUT(m_mirror->availableCameras().size(), 3, 15000);
        m_mirror->setActive(true);
        QTRY_COMPARE_WITH_TIMEOUT(m_mirror->status(), Status::Running, 10000);
        QStringList seen{m_mirror->cameraName()};
        for (int i = 0; i < 3; ++i) {
            m_mirror->switchCamera();
            QTRY_VERIFY_WITH_TIMEOUT(m_mirror->cameraName() != seen.last() && m_capture->framesSinceStart() > 0, 10000);
            QCOMPARE(m_mirror->status(), Status::Running);
            seen.append(m_mirror->cameraName());
        }
        // Each camera once, then round to the first again.
        QCOMPARE(QSet<QString>(seen.begin(), seen.end()).size(), 3);
        QCOMPARE(seen.last(), seen.first());

        // The chosen camera is unplugged while the drawer is in: the next
        // opening falls back to one that is still there.
        m_mirror->setActive(false);
        m_cameras.removeCamera(seen.first());
        QTRY_COMPARE_WITH_TIMEOUT(m_mirror->availableCameras().size(), 2, 15000);
        m_mirror->setActive(true);
        QTRY_COMPARE_WITH_TIMEOUT(m_mirror->status(), Status::Running, 10000);
        QVERIFY(m_mirror->cameraName() != seen.first());
        m_mirror->setActive(false);
        QVERIFY(msUntilReleased() >= 0);
    }

    void aCameraSendingOnlyJpegIsDecoded()
    {
        const QString jpegCamera = m_cameras.addJpegCamera(QStringLiteral("JpegCamera"));
        QVERIFY2(jpegCamera.isEmpty(), qPrintable(jpegCamera));
        QString id;
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                for (const CameraDevice &camera : m_mirror->availableCameras())
                    if (camera.name == QLatin1String("JpegCamera"))
                        id = camera.id;
                return !id.isEmpty();
            }(),
            15000);
        std::optional<CaptureSession::StartResult> started;
        m_capture->start(id, [&](CaptureSession::StartResult result, const QString &) { started = result; });
        QTRY_VERIFY_WITH_TIMEOUT(started, 10000);
        QCOMPARE(*started, CaptureSession::StartResult::Running);
        QTRY_VERIFY_WITH_TIMEOUT(m_capture->framesSinceStart() >= 10, 5000);
        m_capture->stop();
        QVERIFY(msUntilReleased() >= 0);
    }

    void cleanupTestCase()
    {
        m_mirror.reset();
        m_capture.reset();
    }
};

QTEST_MAIN(tst_CameraCaptureIntegration)
#include "tst_CameraCaptureIntegration.moc"
