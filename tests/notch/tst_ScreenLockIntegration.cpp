#include "core/ManualClock.h"
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

    // Debian's own interpreter: python3-dbusmock is installed for it. Empty
    // once the mock owns `name` on `bus`, else what went wrong.
    QString start(QDBusConnection &bus, const PrivateBus &daemon, const char *busVariable, const QString &name,
                  const QStringList &arguments)
    {
        const QString python = QStringLiteral("/usr/bin/python3");
        if (!QFileInfo(python).isExecutable())
            return QStringLiteral("/usr/bin/python3 is missing (Debian package: python3)");
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QString::fromLatin1(busVariable), daemon.address());
        m_process.setProcessEnvironment(env);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.start(python, QStringList {QStringLiteral("-m"), QStringLiteral("dbusmock")} + arguments);
        if (!m_process.waitForStarted(5000))
            return QStringLiteral("python3 -m dbusmock did not start (Debian package: python3-dbusmock)");
        for (int i = 0; i < 200 && m_process.state() == QProcess::Running; ++i) {
            if (bus.interface()->isServiceRegistered(name))
                return {};
            QTest::qWait(25);
        }
        return QStringLiteral("the mock of %1 did not come up (Debian package: python3-dbusmock)").arg(name);
    }

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

    PrivateBus m_systemBusDaemon;
    PrivateBus m_sessionBusDaemon;
    Mock m_logind;
    Mock m_gnomeScreenSaver;
    Mock m_screenSaver;
    std::unique_ptr<QDBusConnection> m_system;
    std::unique_ptr<QDBusConnection> m_session;
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

        QString error = m_logind.start(*m_system, m_systemBusDaemon, "DBUS_SYSTEM_BUS_ADDRESS",
            QStringLiteral("org.freedesktop.login1"), {QStringLiteral("--template"), QStringLiteral("logind")});
        QVERIFY2(error.isEmpty(), qPrintable(error));
        error = m_gnomeScreenSaver.start(*m_session, m_sessionBusDaemon, "DBUS_SESSION_BUS_ADDRESS",
            QStringLiteral("org.gnome.ScreenSaver"), {QStringLiteral("--template"), QStringLiteral("gnome_screensaver")});
        QVERIFY2(error.isEmpty(), qPrintable(error));
        const QString screenSaver = QStringLiteral("org.freedesktop.ScreenSaver");
        error = m_screenSaver.start(*m_session, m_sessionBusDaemon, "DBUS_SESSION_BUS_ADDRESS", screenSaver,
            {screenSaver, QStringLiteral("/org/freedesktop/ScreenSaver"), screenSaver});
        QVERIFY2(error.isEmpty(), qPrintable(error));

        call(*m_system, QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.DBus.Mock"), QStringLiteral("AddSession"),
            {QStringLiteral("c7"), QStringLiteral("seat0"), quint32(1000), QStringLiteral("ada"), true});

        m_sessionPath = QStringLiteral("/org/freedesktop/login1/session/c7");
    }

    // The watcher shares the test's connections, so the match rules it adds
    // reach each bus before the calls that make the mocks signal.
    std::unique_ptr<ScreenLock> startWatcher(ManualClock &clock)
    {
        auto lock = std::make_unique<ScreenLock>(*m_system, *m_session, QStringLiteral("c7"), clock);
        QSignalSpy found(lock.get(), &ScreenLock::sessionPathChanged);
        lock->start();
        lock->start();
        if (!found.wait(10000) || lock->sessionPath() != m_sessionPath || found.count() != 1)
            return nullptr;
        // Its first reading of the hint is answered before ours.
        readHint();
        return lock;
    }

    void readHint()
    {
        call(*m_system, QStringLiteral("org.freedesktop.login1"), m_sessionPath,
            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
            {QStringLiteral("org.freedesktop.login1.Session"), QStringLiteral("LockedHint")});
    }

    void report(const QString &step)
    {
        const QString session = QStringLiteral("org.freedesktop.login1.Session");
        const bool on = step.endsWith(QLatin1Char('+'));
        if (step.startsWith(QLatin1String("hint"))) {
            call(*m_system, QStringLiteral("org.freedesktop.login1"), m_sessionPath, session,
                QStringLiteral("SetLockedHint"), {on});
        } else if (step == QLatin1String("lock") || step == QLatin1String("unlock")) {
            call(*m_system, QStringLiteral("org.freedesktop.login1"), m_sessionPath, session,
                step == QLatin1String("lock") ? QStringLiteral("Lock") : QStringLiteral("Unlock"));
        } else if (step.startsWith(QLatin1String("freedesktop"))) {
            call(*m_session, QStringLiteral("org.freedesktop.ScreenSaver"),
                QStringLiteral("/org/freedesktop/ScreenSaver"), QStringLiteral("org.freedesktop.DBus.Mock"),
                QStringLiteral("EmitSignal"),
                {QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("ActiveChanged"),
                    QStringLiteral("b"), QVariant::fromValue(QVariantList {on})});
        } else {
            call(*m_session, QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("/org/gnome/ScreenSaver"),
                QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("SetActive"), {on});
        }
    }

    // Every mock back to unlocked, with nobody listening.
    void cleanup()
    {
        for (const QString &step : {QStringLiteral("hint-"), QStringLiteral("gnome-")})
            report(step);
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

    // Steps: a channel's report ("hint+", "gnome-" …), a logind request
    // ("lock", "unlock"), or "wait" for the check of an unconfirmed request.
    // `states` is the expected lock state after each step, one digit a step.
    void followsEachChannel_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QString>("states");
        QTest::addColumn<int>("changes");
        auto steps = [](const char *list) { return QString::fromLatin1(list).split(QLatin1Char(' ')); };
        QTest::newRow("logind LockedHint") << steps("hint+ hint+ hint- hint-") << "1100" << 2;
        QTest::newRow("freedesktop ScreenSaver") << steps("freedesktop+ freedesktop+ freedesktop- freedesktop-") << "1100" << 2;
        QTest::newRow("GNOME ScreenSaver") << steps("gnome+ gnome+ gnome- gnome-") << "1100" << 2;
        QTest::newRow("the latest report wins") << steps("hint+ gnome-") << "10" << 2;
        QTest::newRow("Lock and Unlock requests alone") << steps("lock lock unlock") << "110" << 2;
        // swaylock and friends never send Unlock: an unconfirmed lock ends.
        QTest::newRow("an unconfirmed request is undone") << steps("lock wait") << "10" << 2;
        QTest::newRow("a request the hint confirms stays") << steps("lock hint+ wait hint-") << "1110" << 2;
        QTest::newRow("requests ignored where a screensaver reports")
            << steps("gnome+ gnome- lock unlock") << "1000" << 2;
    }
    void followsEachChannel()
    {
        QFETCH(QStringList, steps);
        QFETCH(QString, states);
        QFETCH(int, changes);
        ManualClock clock;
        const auto lock = startWatcher(clock);
        QVERIFY2(lock, "the watcher did not find its logind session");
        QVERIFY(!lock->isLocked());
        QSignalSpy spy(lock.get(), &ScreenLock::isLockedChanged);
        for (qsizetype i = 0; i < steps.size(); ++i) {
            if (steps[i] == QLatin1String("wait")) {
                clock.advance(ScreenLock::kRequestCheckDelay);
                readHint();
            } else {
                report(steps[i]);
            }
            QCOMPARE(lock->isLocked(), states[i] == QLatin1Char('1'));
        }
        QCOMPARE(spy.count(), changes);
    }
};

QTEST_GUILESS_MAIN(tst_ScreenLockIntegration)
#include "tst_ScreenLockIntegration.moc"
