#include "CalendarTestEvents.h"
#include "FakeEventStore.h"

#include "app/NookSettings.h"
#include "calendar/CalendarAgenda.h"
#include "calendar/CalendarDrawerModel.h"
#include "core/ManualClock.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchGeometry.h"
#include "notch/NotchViewModel.h"

#include <QDir>
#include <QApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(TarnwickPlugin)

namespace {

QDateTime at(int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute), berlin());
}

void typeText(QWindow *window, const char *text)
{
    for (const char *c = text; *c; ++c)
        QTest::keyClick(window, *c);
}

} // namespace

// Loads the real drawer in an offscreen window, drives it with keys as a
// user would, and writes the screenshots when TARNWICK_SCREENSHOTS is set.
class tst_CalendarDrawerView : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<NookSettings> m_settings;
    std::unique_ptr<ManualClock> m_clock;
    std::unique_ptr<NotchViewModel> m_model;
    std::unique_ptr<FakeEventStore> m_store;
    std::unique_ptr<CalendarAgenda> m_agenda;
    std::unique_ptr<QQuickView> m_view;

    void show()
    {
        m_view = std::make_unique<QQuickView>();
        QmlModule::prepare(*m_view->engine());
        m_view->setColor(Qt::black);
        m_view->setResizeMode(QQuickView::SizeRootObjectToView);
        m_view->setInitialProperties({{QStringLiteral("model"), QVariant::fromValue(m_model.get())}});
        m_view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/CalendarDrawerView.qml")));
        QVERIFY2(m_view->status() == QQuickView::Ready, qPrintable(m_view->errors().isEmpty() ? QString() : m_view->errors().first().toString()));
        const NotchGeometry g = m_model->geometry();
        // As wide as the drawer may be, as tall as the open Nook.
        m_view->resize(int(std::min(340.0, g.drawerWidth())), int(g.notchSize().height() + 120));
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    }

    QQuickItem *find(const char *type) const
    {
        const auto items = m_view->rootObject()->findChildren<QQuickItem *>();
        for (QQuickItem *item : items) {
            if (item->inherits(type) && item->isVisible())
                return item;
        }
        return nullptr;
    }

    QPoint centreOf(QQuickItem *item) const { return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint(); }

    void focusField()
    {
        QQuickItem *input = find("QQuickTextField");
        QVERIFY(input);
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, centreOf(input));
        QTRY_VERIFY(input->hasActiveFocus());
    }

    void snap(const QString &name)
    {
        // Let springs and fades settle on the animation clock.
        QTest::qWait(450);
        const QImage image = m_view->grabWindow();
        QVERIFY(!image.isNull());
        const QString dir = qEnvironmentVariable("TARNWICK_SCREENSHOTS");
        if (!dir.isEmpty()) {
            QDir().mkpath(dir);
            QVERIFY(image.save(QDir(dir).filePath(name + QStringLiteral(".png"))));
        }
    }

private Q_SLOTS:
    void init()
    {
        // A binding that breaks shows up as a QML warning, not as a crash.
        QTest::failOnWarning(QRegularExpression(QStringLiteral("qml"), QRegularExpression::CaseInsensitiveOption));
        m_defaults = std::make_unique<UserDefaults>(m_dir.filePath(QStringLiteral("t.conf")));
        m_settings = std::make_unique<NookSettings>(*m_defaults);
        m_clock = std::make_unique<ManualClock>(at(16, 9, 5));
        // A 14-inch MacBook Pro's notch on its 1512-point-wide screen.
        m_model = std::make_unique<NotchViewModel>(NotchGeometry(QSizeF(185, 32), true, QRectF(0, 0, 1512, 982)), *m_settings, *m_clock);
        m_store = std::make_unique<FakeEventStore>();
        const QColor work(0xff, 0x95, 0x00), home(0x30, 0xd1, 0x58), team(0x0a, 0x84, 0xff);
        EventStore::Event review = makeEvent(QStringLiteral("Design review"), at(16, 9), at(16, 9, 45), false, team);
        review.notes = QStringLiteral("Join Zoom Meeting https://acme.zoom.us/j/84512345678");
        EventStore::Event sync = makeEvent(QStringLiteral("Sync with Tokyo office"), at(16, 10, 30), at(16, 11), false, work);
        sync.url = QUrl(QStringLiteral("https://meet.google.com/abc-defg-hij"));
        m_store->stored = {makeEvent(QStringLiteral("Zoë's birthday"), at(16, 0), at(17, 0), true, home), review, sync,
                           makeEvent(QStringLiteral("Lunch with Sam"), at(16, 13), at(16, 14), false, home),
                           makeEvent(QStringLiteral("Dentist"), at(18, 9), at(18, 9, 45), false, home),
                           makeEvent(QStringLiteral("Lisbon trip"), at(21, 0), at(24, 0), true, home),
                           makeEvent(QStringLiteral("Retro"), at(12, 15), at(12, 16), false, work)};
        m_agenda = std::make_unique<CalendarAgenda>(*m_store, *m_clock, berlin());
        CalendarAgenda::setInstance(m_agenda.get());
    }

    void cleanup()
    {
        m_view.reset();
        CalendarAgenda::setInstance(nullptr);
        m_agenda.reset();
        m_model.reset();
    }

    void showsEachState_data()
    {
        QTest::addColumn<int>("authorization");
        QTest::addColumn<bool>("emptyDay");
        QTest::addColumn<int>("rows"); // -1: no list at all, an access panel instead

        using A = EventStore::Authorization;
        QTest::newRow("calendar-drawer-events") << int(A::FullAccess) << false << 4;
        QTest::newRow("calendar-drawer-empty") << int(A::FullAccess) << true << 0;
        QTest::newRow("calendar-drawer-denied") << int(A::Denied) << false << -1;
        QTest::newRow("calendar-drawer-needs-permission") << int(A::NotDetermined) << false << -1;
    }

    void showsEachState()
    {
        QFETCH(int, authorization);
        QFETCH(bool, emptyDay);
        QFETCH(int, rows);
        m_store->authorization = EventStore::Authorization(authorization);
        m_store->problemText = QStringLiteral("Tarnwick couldn't open the calendar folder ~/.local/share/Tarnwick/Calendars.");
        if (emptyDay)
            m_store->stored.removeIf([](const auto &e) { return e.start.date() == QDate(2026, 11, 16); });
        m_agenda->refresh();
        show();
        QQuickItem *list = find("QQuickListView");
        QCOMPARE(list ? list->property("count").toInt() : -1, rows);
        // Without access there is nothing to add to: no quick-add line either.
        QCOMPARE(find("QQuickTextField") != nullptr, rows >= 0);
        snap(QString::fromLatin1(QTest::currentDataTag()));

        // The panel's button asks, and the day shows once access is given.
        if (m_store->authorization == EventStore::Authorization::NotDetermined) {
            QQuickItem *button = find("QQuickButton");
            QVERIFY(button);
            QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, centreOf(button));
            QCOMPARE(m_agenda->status(), CalendarAgenda::Status::Ready);
            QTRY_VERIFY(find("QQuickListView"));
        }
    }

    void stripTapsAndDrags()
    {
        show();
        auto *strip = m_view->rootObject()->findChild<QQuickItem *>(QStringLiteral("dateStrip"));
        QVERIFY(strip);
        const QPoint centre = centreOf(strip);
        // Two cells (26 points and 4 of spacing each) to the right of the selected day.
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, centre + QPoint(60, 0));
        QTRY_COMPARE(m_agenda->selectedDay(), at(18, 0));

        // A slow drag to the left by a little over two days' worth steps forward.
        QPoint p = centre;
        QTest::mousePress(m_view.get(), Qt::LeftButton, {}, p);
        for (int i = 0; i < 20; ++i) {
            p.rx() -= 5;
            QTest::mouseMove(m_view.get(), p, 30);
        }
        QTest::qWait(300);
        QTest::mouseRelease(m_view.get(), Qt::LeftButton, {}, p);
        QTRY_COMPARE(m_agenda->selectedDay(), at(20, 0));
        QCOMPARE(m_agenda->stripOffset(), 0.0);
    }

    void returnSavesOrKeepsTheLine_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::newRow("saved") << QString();
        QTest::newRow("read-only calendar")
            << QStringLiteral("The calendar folder ~/.local/share/Tarnwick/Calendars/personal is read-only.");
    }

    // What the model makes of the line is tested with the model; here, that
    // the keys reach it and the keyboard is held and given back.
    void returnSavesOrKeepsTheLine()
    {
        QFETCH(QString, failure);
        const bool fails = !failure.isEmpty();
        m_store->failWith = failure;
        show();
        focusField();
        QVERIFY(m_model->isTyping());
        typeText(m_view.get(), "Lunch with Sam tomorrow at 1pm");
        auto *drawer = m_view->rootObject()->findChild<CalendarDrawerModel *>();
        QVERIFY(drawer);
        QVERIFY(drawer->readBack().startsWith(QStringLiteral("Lunch with Sam, ")));
        if (!fails)
            snap(QStringLiteral("calendar-drawer-typing"));

        QTest::keyClick(m_view.get(), Qt::Key_Return);
        QCOMPARE(m_store->saved.size(), fails ? 0 : 1);
        // A failed line keeps the keyboard so it can be corrected.
        QCOMPARE(m_model->isTyping(), fails);
        snap(fails ? QStringLiteral("calendar-drawer-failure") : QStringLiteral("calendar-drawer-added"));
        if (!fails)
            return;
        QTest::keyClick(m_view.get(), Qt::Key_Escape);
        QVERIFY(!m_model->isTyping());
        // Hiding the drawer mid-typing gives it back too.
        focusField();
        QVERIFY(m_model->isTyping());
        m_view->rootObject()->setVisible(false);
        QVERIFY(!m_model->isTyping());
    }
};

int main(int argc, char *argv[])
{
    // Screenshots at twice the point size, as on a HiDPI screen.
    qputenv("QT_SCALE_FACTOR", "2");
    // QApplication: QtTest built against Qt Widgets expects one for mouse events.
    QApplication app(argc, argv);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    tst_CalendarDrawerView test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_CalendarDrawerView.moc"
