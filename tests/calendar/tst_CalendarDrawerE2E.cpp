#include "app/NookSettings.h"
#include "calendar/CalendarAgenda.h"
#include "calendar/VdirEventStore.h"
#include "calendar/ZonedTime.h"
#include "core/Clock.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchGeometry.h"
#include "notch/NotchViewModel.h"

#include "support/PrivateDisplay.h"

#include <QDir>
#include <QApplication>
#include <QProcess>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <csignal>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

Q_IMPORT_QML_PLUGIN(TarnwickPlugin)

// The whole road of a quick add on a real X server: click into the drawer's
// field, type a sentence with the keyboard, press Return, and find the new
// .ics file on disk and the drawer on the new day.
class tst_CalendarDrawerE2E : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typedSentenceBecomesAnIcsFile();

private:
    void xdotool(const QStringList &args);
};

void tst_CalendarDrawerE2E::xdotool(const QStringList &args)
{
    QProcess p;
    p.start(QStringLiteral("/usr/bin/xdotool"), args);
    // Keep our own event loop turning while xdotool types into us.
    QTRY_VERIFY2_WITH_TIMEOUT(p.state() == QProcess::NotRunning, qPrintable(args.join(' ')), 20000);
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QCOMPARE(p.exitCode(), 0);
}

void tst_CalendarDrawerE2E::typedSentenceBecomesAnIcsFile()
{
    QStandardPaths::setTestModeEnabled(true);
    QTemporaryDir dir;
    const QString root = dir.filePath(QStringLiteral("Calendars"));
    UserDefaults defaults(dir.filePath(QStringLiteral("t.conf")));
    NookSettings settings(defaults);
    VdirEventStore store(Clock::system(), root);
    CalendarAgenda agenda(store, Clock::system());
    CalendarAgenda::setInstance(&agenda);
    NotchViewModel model(NotchGeometry(QSizeF(185, 32), true, QRectF(0, 0, 1280, 800)), settings, Clock::system());

    QQuickView view;
    QmlModule::prepare(*view.engine());
    view.setColor(Qt::black);
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setInitialProperties({{QStringLiteral("model"), QVariant::fromValue(&model)}});
    view.setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/CalendarDrawerView.qml")));
    QCOMPARE(view.status(), QQuickView::Ready);
    view.setGeometry(100, 40, 340, 152);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));

    QQuickItem *field = nullptr;
    for (QQuickItem *item : view.rootObject()->findChildren<QQuickItem *>()) {
        if (item->inherits("QQuickTextField") && item->isVisible())
            field = item;
    }
    QVERIFY(field);
    const QPoint inField = field->mapToScene(QPointF(field->width() / 2, field->height() / 2)).toPoint();
    const QString window = QString::number(view.winId());

    xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), window});
    if (QTest::currentTestFailed())
        return;
    xdotool({QStringLiteral("mousemove"), QStringLiteral("--window"), window, QString::number(inField.x()),
                     QString::number(inField.y()), QStringLiteral("click"), QStringLiteral("1")});
    if (QTest::currentTestFailed())
        return;
    QTRY_VERIFY(field->hasActiveFocus());
    QVERIFY(model.isTyping());
    xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("15"), QStringLiteral("Lunch with Sam tomorrow at 1pm")});
    if (QTest::currentTestFailed())
        return;
    QTRY_COMPARE(field->property("text").toString(), QStringLiteral("Lunch with Sam tomorrow at 1pm"));
    xdotool({QStringLiteral("key"), QStringLiteral("Return")});
    if (QTest::currentTestFailed())
        return;

    // One new file in the calendar made on first use, and the drawer on tomorrow.
    const QString personal = root + QStringLiteral("/personal");
    QTRY_COMPARE(QDir(personal).entryList({QStringLiteral("*.ics")}, QDir::Files).size(), 1);
    QFile ics(QDir(personal).filePath(QDir(personal).entryList({QStringLiteral("*.ics")}, QDir::Files).first()));
    QVERIFY(ics.open(QIODevice::ReadOnly));
    QVERIFY(ics.readAll().contains("SUMMARY:Lunch with Sam"));
    const QDate tomorrow = ZonedTime::dayOf(Clock::system().now(), agenda.zone()).addDays(1);
    QTRY_COMPARE(agenda.selectedDay(), ZonedTime::startOfDay(tomorrow, agenda.zone()));
    QTRY_COMPARE(agenda.events().size(), 1);
    QCOMPARE(agenda.events().first().start.toTimeZone(agenda.zone()).time(), QTime(13, 0));
    QVERIFY(!model.isTyping());
    QCOMPARE(field->property("text").toString(), QString());
    CalendarAgenda::setInstance(nullptr);
}

int main(int argc, char *argv[])
{
    for (const char *tool : {"/usr/bin/Xvfb", "/usr/bin/xdotool"}) {
        if (access(tool, X_OK) != 0) {
            std::fprintf(stderr, "FAIL: %s is missing (Debian packages xvfb and xdotool)\n", tool);
            return 1;
        }
    }
    PrivateDisplay display;
    if (!display.start())
        return 1;
    qputenv("QT_QPA_PLATFORM", "xcb");
    int result = 1;
    {
        // QApplication: QtTest built against Qt Widgets expects one for mouse events.
        QApplication app(argc, argv);
        tst_CalendarDrawerE2E test;
        result = QTest::qExec(&test, argc, argv);
    }
    return result;
}

#include "tst_CalendarDrawerE2E.moc"
