#include "notch/ScreenLock.h"
#include "support/PrivateBus.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <memory>

namespace {

// One python3-dbusmock process on a private bus.
class Mock {
public:
    ~Mock()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.terminate();
            if (!m_process.waitForFinished(3000)) {
                m_process.kill();
                m_process.waitForFinished(3000);
            }
        }
    }

    // Debian's own interpreter: python3-dbusmock is installed for it.
    QString start(const QString &busVariable, const QString &busAddress, const QStringList &arguments)
    {
        const QString python = QStringLiteral("/usr/bin/python3");
        if (!QFileInfo(python).isExecutable())
            return QStringLiteral("/usr/bin/python3 is missing (Debian package: python3)");
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(busVariable, busAddress);
        m_process.setProcessEnvironment(env);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.start(python, QStringList {QStringLiteral("-m"), QStringLiteral("dbusmock")} + arguments);
        if (!m_process.waitForStarted(5000))
            return QStringLiteral("python3 -m dbusmock did not start (Debian package: python3-dbusmock)");
        return {};
    }

    bool isRunning() const { return m_process.state() == QProcess::Running; }

private:
    QProcess m_process;
};

} // namespace

class tst_ScreenLockIntegration : public QObject {
    Q_OBJECT

private:
    // Calls a method and waits for its reply: the mocks signal before they
    // reply, so when this returns the watcher has been told.
    void call(QDBusConnection &bus, const QString &service, const QString &path, const QString &interface,
        const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = bus.call(message, QDBus::Block, 10000);
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(method + ": " + reply.errorMessage()));
        // The signal came in before the reply; its delivery to the watcher
        // is already queued here.
        QCoreApplication::sendPostedEvents();
    }

    bool waitForName(QDBusConnection &bus, const QString &name, const Mock &mock)
    {
        for (int i = 0; i < 200 && mock.isRunning(); ++i) {
            if (bus.interface()->isServiceRegistered(name))
                return true;
            QTest::qWait(25);
        }
        return false;
    }

    PrivateBus m_systemBusDaemon;
    PrivateBus m_sessionBusDaemon;
    Mock m_logind;
    Mock m_gnomeScreenSaver;
    Mock m_screenSaver;
    std::unique_ptr<QDBusConnection> m_system;
    std::unique_ptr<QDBusConnection> m_session;
    std::unique_ptr<ScreenLock> m_lock;
    QString m_sessionPath;

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        for (PrivateBus *bus : {&m_systemBusDaemon, &m_sessionBusDaemon}) {
            const QString error = bus->start();
            QVERIFY2(error.isEmpty(), qPrintable(error));
        }
        m_system = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_systemBusDaemon.address(), QStringLiteral("test-system")));
        m_session = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_sessionBusDaemon.address(), QStringLiteral("test-session")));
        QVERIFY(m_system->isConnected());
        QVERIFY(m_session->isConnected());
        // What the application's own watcher finds through the environment.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_systemBusDaemon.address().toUtf8());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_sessionBusDaemon.address().toUtf8());
        qputenv("XDG_SESSION_ID", "c7");

        const QString systemVariable = QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS");
        const QString sessionVariable = QStringLiteral("DBUS_SESSION_BUS_ADDRESS");
        QString error = m_logind.start(
            systemVariable, m_systemBusDaemon.address(), {QStringLiteral("--template"), QStringLiteral("logind")});
        QVERIFY2(error.isEmpty(), qPrintable(error));
        error = m_gnomeScreenSaver.start(sessionVariable, m_sessionBusDaemon.address(),
            {QStringLiteral("--template"), QStringLiteral("gnome_screensaver")});
        QVERIFY2(error.isEmpty(), qPrintable(error));
        error = m_screenSaver.start(sessionVariable, m_sessionBusDaemon.address(),
            {QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("/org/freedesktop/ScreenSaver"),
                QStringLiteral("org.freedesktop.ScreenSaver")});
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QVERIFY2(waitForName(*m_system, QStringLiteral("org.freedesktop.login1"), m_logind),
            "the logind mock did not come up (Debian package: python3-dbusmock)");
        QVERIFY2(waitForName(*m_session, QStringLiteral("org.gnome.ScreenSaver"), m_gnomeScreenSaver),
            "the GNOME screensaver mock did not come up (Debian package: python3-dbusmock)");
        QVERIFY2(waitForName(*m_session, QStringLiteral("org.freedesktop.ScreenSaver"), m_screenSaver),
            "the screensaver mock did not come up (Debian package: python3-dbusmock)");

        call(*m_system, QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.DBus.Mock"), QStringLiteral("AddSession"),
            {QStringLiteral("c7"), QStringLiteral("seat0"), quint32(1000), QStringLiteral("ada"), true});

        // The watcher shares the test's connections, so the match rules it
        // adds reach each bus before the calls that make the mocks signal.
        m_lock = std::make_unique<ScreenLock>(*m_system, *m_session, QStringLiteral("c7"));
        QSignalSpy found(m_lock.get(), &ScreenLock::sessionPathChanged);
        m_lock->start();
        m_lock->start();
        QVERIFY(found.wait(10000));
        m_sessionPath = QStringLiteral("/org/freedesktop/login1/session/c7");
        QCOMPARE(m_lock->sessionPath(), m_sessionPath);
        QCOMPARE(found.count(), 1);
        QVERIFY(!m_lock->isLocked());
    }

    void cleanupTestCase() { m_lock.reset(); }

    void findsItsSessionThroughTheEnvironment()
    {
        ScreenLock lock;
        QSignalSpy found(&lock, &ScreenLock::sessionPathChanged);
        QSignalSpy changes(&lock, &ScreenLock::isLockedChanged);
        lock.start();
        QVERIFY(found.wait(10000));
        QCOMPARE(lock.sessionPath(), m_sessionPath);
        // A round trip on each of its connections: the bus has then taken
        // the match rules it sent before.
        QVERIFY(
            QDBusConnection::systemBus().interface()->isServiceRegistered(QStringLiteral("org.freedesktop.login1")));
        QVERIFY(
            QDBusConnection::sessionBus().interface()->isServiceRegistered(QStringLiteral("org.gnome.ScreenSaver")));

        const QString session = QStringLiteral("org.freedesktop.login1.Session");
        call(*m_system, QStringLiteral("org.freedesktop.login1"), m_sessionPath, session,
            QStringLiteral("SetLockedHint"), {true});
        QTRY_VERIFY(lock.isLocked());
        call(*m_session, QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("/org/gnome/ScreenSaver"),
            QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("SetActive"), {false});
        QTRY_VERIFY(!lock.isLocked());
        QCOMPARE(changes.count(), 2);
        // Leave the session unlocked by every source for the next test.
        call(*m_system, QStringLiteral("org.freedesktop.login1"), m_sessionPath, session,
            QStringLiteral("SetLockedHint"), {false});
    }

    void eachSourceLocksAndUnlocksOnce_data()
    {
        QTest::addColumn<QString>("source");
        QTest::newRow("logind LockedHint") << "hint";
        QTest::newRow("logind Lock and Unlock requests") << "request";
        QTest::newRow("freedesktop ScreenSaver") << "freedesktop";
        QTest::newRow("GNOME ScreenSaver") << "gnome";
    }

    void eachSourceLocksAndUnlocksOnce()
    {
        QFETCH(QString, source);
        const QString session = QStringLiteral("org.freedesktop.login1.Session");
        auto report = [&](bool locked) {
            if (source == QLatin1String("hint")) {
                call(*m_system, QStringLiteral("org.freedesktop.login1"), m_sessionPath, session,
                    QStringLiteral("SetLockedHint"), {locked});
            } else if (source == QLatin1String("request")) {
                call(*m_system, QStringLiteral("org.freedesktop.login1"), m_sessionPath, session,
                    locked ? QStringLiteral("Lock") : QStringLiteral("Unlock"));
            } else if (source == QLatin1String("freedesktop")) {
                call(*m_session, QStringLiteral("org.freedesktop.ScreenSaver"),
                    QStringLiteral("/org/freedesktop/ScreenSaver"), QStringLiteral("org.freedesktop.DBus.Mock"),
                    QStringLiteral("EmitSignal"),
                    {QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("ActiveChanged"),
                        QStringLiteral("b"), QVariant::fromValue(QVariantList {locked})});
            } else {
                call(*m_session, QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("/org/gnome/ScreenSaver"),
                    QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("SetActive"), {locked});
            }
        };

        QSignalSpy changes(m_lock.get(), &ScreenLock::isLockedChanged);
        report(true);
        QTRY_VERIFY(m_lock->isLocked());
        // Said twice, locked once.
        report(true);
        report(false);
        QTRY_VERIFY(!m_lock->isLocked());
        report(false);
        QCOMPARE(changes.count(), 2);
        QVERIFY(!m_lock->isLocked());
    }
};

QTEST_GUILESS_MAIN(tst_ScreenLockIntegration)
#include "tst_ScreenLockIntegration.moc"
