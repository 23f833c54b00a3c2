#include "camera/CameraMirror.h"
#include "camera/QtCaptureSession.h"
#include "core/Clock.h"

#include "camera/PipeWireCameras.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

using Status = CameraMirror::Status;

// The capture path against a real video device: a PipeWire camera node fed
// by GStreamer, found and opened by Qt Multimedia as any webcam would be.
class tst_CameraCaptureIntegration : public QObject
{
    Q_OBJECT

    PipeWireCameras m_cameras;
    QTemporaryDir m_pictures;
    std::unique_ptr<QtCaptureSession> m_capture;
    std::unique_ptr<CameraMirror> m_mirror;

    bool waitForCameras(int count)
    {
        QElapsedTimer waited;
        waited.start();
        while (m_mirror->availableCameras().size() != count && waited.elapsed() < 15000)
            QTest::qWait(50);
        return m_mirror->availableCameras().size() == count;
    }

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
        m_capture = std::make_unique<QtCaptureSession>(Clock::system());
        m_mirror = std::make_unique<CameraMirror>(*m_capture, Clock::system(), m_pictures.path());
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
        QVERIFY2(m_cameras.addCamera(QStringLiteral("FaceCamera")).isEmpty(), "camera did not start");
        QVERIFY2(waitForCameras(1), "Qt does not list the PipeWire camera");

        m_mirror->setActive(true);
        QTRY_COMPARE_WITH_TIMEOUT(m_mirror->status(), Status::Running, 10000);
        QCOMPARE(m_mirror->cameraName(), QStringLiteral("FaceCamera"));

        m_mirror->setActive(false);
        QCOMPARE(m_mirror->status(), Status::Idle);
        const qint64 released = msUntilReleased();
        qInfo("no reader left %lld ms after the drawer closed", released);
        QVERIFY(released >= 0);
    }

    void lateStartIsUndone()
    {
        m_mirror->setActive(true);
        m_mirror->setActive(false);
        QTest::qWait(1500);
        QVERIFY(m_mirror->status() != Status::Running);
        QCOMPARE(m_cameras.readers(), 0);
    }

    void cleanupTestCase()
    {
        m_mirror.reset();
        m_capture.reset();
    }
};

QTEST_MAIN(tst_CameraCaptureIntegration)
#include "tst_CameraCaptureIntegration.moc"
