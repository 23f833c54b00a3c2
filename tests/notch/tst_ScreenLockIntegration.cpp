#include "core/ManualClock.h"
#include "notch/ScreenLock.h"
#include "support/PrivateBus.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <memory>

// Starts python3-dbusmock with Debian's own interpreter; it finds the
// private buses through the environment the test set. Empty once it owns
// `name` on `bus`, else what went wrong.
static QString startMock(QProcess &mock, QDBusConnection &bus, const QString &name, const QStringList &arguments)
{
    mock.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    mock.setStandardOutputFile(QProcess::nullDevice());
    mock.start(QStringLiteral("/usr/bin/python3"), QStringList{QStringLiteral("-m"), QStringLiteral("dbusmock")} + arguments);
    for (int i = 0; i < 200 && mock.waitForStarted(5000); ++i) {
        if (bus.interface()->isServiceRegistered(name))
            return {};
        QTest::qWait(25);
    }
    return QStringLiteral("the mock of %1 did not come up (Debian packages: python3, python3-dbusmock)").arg(name);
}

class tst_ScreenLockIntegration : public QObject {
    Q_OBJECT

    PrivateBus m_systemBusDaemon;
    PrivateBus m_sessionBusDaemon;
    QProcess m_mocks[3];
    std::unique_ptr<QDBusConnection> m_system, m_session;
    const QString m_sessionPath = QStringLiteral("/org/freedesktop/login1/session/c7");

    // Calls a method and waits for its reply: the mocks signal before they
    // reply, so once the posted events are sent the watcher has been told.
    void call(bool system, const QString &service, const QString &path, const QString &interface,
        const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = (system ? m_system : m_session)->call(message, QDBus::Block, 10000);
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(method + ": " + reply.errorMessage()));
        QCoreApplication::sendPostedEvents();
    }
    void readHint()
    {
        call(true, QStringLiteral("org.freedesktop.login1"), m_sessionPath, QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("Get"), {QStringLiteral("org.freedesktop.login1.Session"), QStringLiteral("LockedHint")});
    }
    // A channel's report ("hint+", "gnome-", "freedesktop+" …) or a logind
    // request ("lock", "unlock").
    void report(const QString &step)
    {
        const QString login1 = QStringLiteral("org.freedesktop.login1"), session = login1 + QStringLiteral(".Session");
        const QString screenSaver = QStringLiteral("org.freedesktop.ScreenSaver");
        const bool on = step.endsWith(QLatin1Char('+'));
        if (step.startsWith(QLatin1String("hint")))
            call(true, login1, m_sessionPath, session, QStringLiteral("SetLockedHint"), {on});
        else if (step == QLatin1String("lock") || step == QLatin1String("unlock"))
            call(true, login1, m_sessionPath, session, step == QLatin1String("lock") ? QStringLiteral("Lock") : QStringLiteral("Unlock"));
        else if (step.startsWith(QLatin1String("freedesktop")))
            call(false, screenSaver, QStringLiteral("/org/freedesktop/ScreenSaver"), QStringLiteral("org.freedesktop.DBus.Mock"),
                QStringLiteral("EmitSignal"), {screenSaver, QStringLiteral("ActiveChanged"), QStringLiteral("b"),
                    QVariant::fromValue(QVariantList {on})});
        else
            call(false, QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("/org/gnome/ScreenSaver"),
                QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("SetActive"), {on});
    }

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        for (PrivateBus *bus : {&m_systemBusDaemon, &m_sessionBusDaemon}) {
            const QString error = bus->start();
            QVERIFY2(error.isEmpty(), qPrintable(error));
        }
        // What the application's own watcher and the mocks find through the environment.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_systemBusDaemon.address().toUtf8());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_sessionBusDaemon.address().toUtf8());
        qputenv("XDG_SESSION_ID", "c7");
        m_system = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_systemBusDaemon.address(), QStringLiteral("test-system")));
        m_session = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_sessionBusDaemon.address(), QStringLiteral("test-session")));
        QVERIFY(m_system->isConnected() && m_session->isConnected());

        const QString screenSaver = QStringLiteral("org.freedesktop.ScreenSaver");
        for (const QString &error : {
                 startMock(m_mocks[0], *m_system, QStringLiteral("org.freedesktop.login1"), {QStringLiteral("--template"), QStringLiteral("logind")}),
                 startMock(m_mocks[1], *m_session, QStringLiteral("org.gnome.ScreenSaver"),
                     {QStringLiteral("--template"), QStringLiteral("gnome_screensaver")}),
                 startMock(m_mocks[2], *m_session, screenSaver, {screenSaver, QStringLiteral("/org/freedesktop/ScreenSaver"), screenSaver})})
            QVERIFY2(error.isEmpty(), qPrintable(error));
        call(true, QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.DBus.Mock"), QStringLiteral("AddSession"),
            {QStringLiteral("c7"), QStringLiteral("seat0"), quint32(1000), QStringLiteral("ada"), true});
    }

    void cleanupTestCase()
    {
        for (QProcess &mock : m_mocks) {
            mock.terminate();
            mock.waitForFinished(3000);
        }
    }

    // Every mock back to unlocked, with nobody listening.
    void cleanup()
    {
        report(QStringLiteral("hint-"));
        report(QStringLiteral("gnome-"));
    }

    // The application's own watcher: the buses and the session come from
    // the environment.
    void findsItsSessionThroughTheEnvironment()
    {
        ScreenLock lock;
        QSignalSpy found(&lock, &ScreenLock::sessionPathChanged);
        lock.start();
        QVERIFY(found.wait(10000));
        QCOMPARE(lock.sessionPath(), m_sessionPath);
    }

    // `states` is the expected lock state after each step, one digit a step;
    // "wait" is the check of an unconfirmed request.
    void followsEachChannel_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("states");
        QTest::newRow("logind LockedHint") << "hint+ hint+ hint- hint-" << "1100";
        QTest::newRow("freedesktop ScreenSaver") << "freedesktop+ freedesktop+ freedesktop- freedesktop-" << "1100";
        QTest::newRow("GNOME ScreenSaver") << "gnome+ gnome+ gnome- gnome-" << "1100";
        QTest::newRow("the latest report wins") << "hint+ gnome-" << "10";
        QTest::newRow("Lock and Unlock requests alone") << "lock lock unlock" << "110";
        // swaylock and friends never send Unlock: an unconfirmed lock ends.
        QTest::newRow("an unconfirmed request is undone") << "lock wait" << "10";
        QTest::newRow("a request the hint confirms stays") << "lock hint+ wait hint-" << "1110";
        QTest::newRow("requests ignored where a screensaver reports") << "gnome+ gnome- lock unlock" << "1000";
    }
    void followsEachChannel()
    {
        QFETCH(QString, steps);
        QFETCH(QString, states);
        ManualClock clock;
        // The watcher shares the test's connections, so the match rules it
        // adds reach each bus before the calls that make the mocks signal.
        ScreenLock lock(*m_system, *m_session, QStringLiteral("c7"), clock);
        QSignalSpy found(&lock, &ScreenLock::sessionPathChanged);
        lock.start();
        lock.start();
        QVERIFY2(found.wait(10000), "the watcher did not find its logind session");
        QCOMPARE(found.count(), 1);
        readHint(); // its own first reading of the hint is answered before ours
        QVERIFY(!lock.isLocked());
        QSignalSpy changes(&lock, &ScreenLock::isLockedChanged);
        QString seen;
        for (const QString &step : steps.split(QLatin1Char(' '))) {
            if (step == QLatin1String("wait")) {
                clock.advance(ScreenLock::kRequestCheckDelay);
                readHint();
            } else {
                report(step);
            }
            seen += QLatin1Char(lock.isLocked() ? '1' : '0');
        }
        QCOMPARE(seen, states);
        QCOMPARE(changes.count(), 2);
    }
};

QTEST_GUILESS_MAIN(tst_ScreenLockIntegration)
#include "tst_ScreenLockIntegration.moc"
