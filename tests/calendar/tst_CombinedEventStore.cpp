#include "CalendarTestEvents.h"
#include "FakeEventStore.h"
#include "calendar/CombinedEventStore.h"

#include <QSignalSpy>
#include <QTest>

using Auth = EventStore::Authorization;

namespace {

EventStore::Event occurrence(const QString &uid, int hour, const QString &title)
{
    const QDateTime start(QDate(2026, 12, 1), QTime(hour, 0), Qt::UTC);
    EventStore::Event e = makeEvent(title, start, start.addSecs(3600));
    e.uid = uid;
    return e;
}

} // namespace

// The desktop's service comes first, the folders second, as at start-up.
class tst_CombinedEventStore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        service = std::make_unique<FakeEventStore>();
        folders = std::make_unique<FakeEventStore>();
        folders->calendars = {{QStringLiteral("/home/me/cal"), QStringLiteral("Mine"), QColor(Qt::green), true}};
        combined = std::make_unique<CombinedEventStore>(QList<EventStore *> {service.get(), folders.get()});
    }

    void readableWhenEitherStoreIs_data()
    {
        QTest::addColumn<Auth>("serviceAuth");
        QTest::addColumn<Auth>("folderAuth");
        QTest::addColumn<Auth>("expected");
        QTest::addColumn<QString>("problem");
        QTest::newRow("no service") << Auth::Restricted << Auth::FullAccess << Auth::FullAccess << QString();
        QTest::newRow("folders broken") << Auth::FullAccess << Auth::Denied << Auth::FullAccess << QString();
        QTest::newRow("service still opening")
            << Auth::NotDetermined << Auth::Denied << Auth::Denied << QStringLiteral("service unreachable\nno folder");
    }
    void readableWhenEitherStoreIs()
    {
        QFETCH(Auth, serviceAuth);
        QFETCH(Auth, folderAuth);
        service->authorization = serviceAuth;
        service->problemText = serviceAuth == Auth::FullAccess ? QString() : QStringLiteral("service unreachable");
        folders->authorization = folderAuth;
        folders->problemText = folderAuth == Auth::FullAccess ? QString() : QStringLiteral("no folder");
        QTEST(combined->authorizationStatus(), "expected");
        QTEST(combined->problem(), "problem");
    }

    void anEventInBothStoresIsListedOnce()
    {
        service->stored = {occurrence(QStringLiteral("a@x"), 9, QStringLiteral("standup (service)")),
            occurrence(QStringLiteral("b@x"), 12, QStringLiteral("lunch"))};
        // The same rule's other occurrence, the same event, and one without a UID.
        folders->stored = {occurrence(QStringLiteral("a@x"), 10, QStringLiteral("standup, later")),
            occurrence(QStringLiteral("b@x"), 12, QStringLiteral("lunch (folder)")),
            occurrence({}, 12, QStringLiteral("no uid"))};
        const QDateTime day(QDate(2026, 12, 1), QTime(0, 0), Qt::UTC);
        QCOMPARE(titles(combined->events(day, day.addDays(1))),
            (QStringList {QStringLiteral("standup (service)"), QStringLiteral("lunch"),
                QStringLiteral("standup, later"), QStringLiteral("no uid")}));

        service->authorization = Auth::Restricted;
        QCOMPARE(titles(combined->events(day, day.addDays(1))),
            (QStringList {
                QStringLiteral("standup, later"), QStringLiteral("lunch (folder)"), QStringLiteral("no uid")}));
    }

    void quickAddGoesToTheServiceWhenItIsThere_data()
    {
        QTest::addColumn<Auth>("serviceAuth");
        QTest::addColumn<QString>("calendarId");
        QTest::addColumn<bool>("toService");
        QTest::newRow("service present") << Auth::FullAccess << QString() << true;
        QTest::newRow("service absent") << Auth::Restricted << QString() << false;
        QTest::newRow("service still opening") << Auth::NotDetermined << QString() << false;
        QTest::newRow("a folder chosen") << Auth::FullAccess << QStringLiteral("/home/me/cal") << false;
    }
    void quickAddGoesToTheServiceWhenItIsThere()
    {
        QFETCH(Auth, serviceAuth);
        QFETCH(QString, calendarId);
        QFETCH(bool, toService);
        service->authorization = serviceAuth;
        QString why;
        QVERIFY(combined->save({QStringLiteral("Lunch"), {}, {}, false}, calendarId, &why));
        QCOMPARE(service->saved.size(), toService ? 1 : 0);
        QCOMPARE(folders->saved.size(), toService ? 0 : 1);
        QCOMPARE((toService ? service : folders)->saved.first().second,
            toService ? QStringLiteral("cal-b") : QStringLiteral("/home/me/cal"));
    }

    void changesOfEitherStoreReachTheAgenda()
    {
        QSignalSpy spy(combined.get(), &EventStore::changed);
        service->announce();
        folders->announce();
        QCOMPARE(spy.count(), 2);
    }

private:
    std::unique_ptr<FakeEventStore> service;
    std::unique_ptr<FakeEventStore> folders;
    std::unique_ptr<CombinedEventStore> combined;
};

QTEST_GUILESS_MAIN(tst_CombinedEventStore)
#include "tst_CombinedEventStore.moc"
