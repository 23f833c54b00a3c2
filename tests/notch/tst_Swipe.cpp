#include "notch/NookLayout.h"
#include "notch/NotchWindowController.h"
#include "notch/Swipe.h"

#include <QTest>

namespace {

// Records what a swipe did, as the controller's real targets would receive it.
struct Recorder : SwipeTargets
{
    bool expanded = true;
    bool calendarOut = false;
    double level = 0.5;
    QList<double> daySteps, pageDrags, pageEnds, stripOffsets, stripEnds;

    bool isExpanded() const override { return expanded; }
    bool isCalendarOut() const override { return calendarOut; }
    bool hasVolume() const override { return true; }
    double volumeLevel() const override { return level; }
    void setVolume(double l) override { level = l; }
    void dragPages(double total) override { pageDrags.append(total); }
    void endPageDrag(double projected) override { pageEnds.append(projected); }
    bool hasDayStrip() const override { return true; }
    void setStripOffset(double offset) override { stripOffsets.append(offset); }
    void endStripDrag(double projected) override { stripEnds.append(projected); }
    void stepDays(int days) override { daySteps.append(days); }
};

QString join(const QList<double> &values)
{
    QStringList out;
    for (double v : values)
        out << QString::number(v);
    return out.join(QLatin1Char(','));
}

// Steps are "<kind><flags>:dx,dy": kind W for a wheel, B C E M for a touchpad's
// began, changed, ended and momentum phases; flags v over the volume, s over
// the day strip, i an inverted device.
ScrollInput input(const QString &step)
{
    static const QString kinds = QStringLiteral("WBCEM");
    static const ScrollInput::Phase phases[] = {ScrollInput::Phase::None, ScrollInput::Phase::Began,
                                                ScrollInput::Phase::Changed, ScrollInput::Phase::Ended,
                                                ScrollInput::Phase::Momentum};
    const QString flags = step.section(QLatin1Char(':'), 0, 0);
    const QStringList delta = step.section(QLatin1Char(':'), 1).split(QLatin1Char(','));
    ScrollInput in;
    in.phase = phases[kinds.indexOf(flags[0])];
    in.precise = flags[0] != QLatin1Char('W');
    in.delta = {delta[0].toDouble(), delta[1].toDouble()};
    in.overVolume = flags.contains(QLatin1Char('v'));
    in.overDayStrip = flags.contains(QLatin1Char('s'));
    in.inverted = flags.contains(QLatin1Char('i'));
    return in;
}

} // namespace

class tst_Swipe : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // The result reads "level | day steps | page drags | page drag ends |
    // strip offsets | strip drag ends"; `handled` has one digit a step.
    void gestures_data()
    {
        QTest::addColumn<bool>("expanded");
        QTest::addColumn<bool>("calendarOut");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("handled");
        QTest::addColumn<QString>("result");
        const auto row = [](const char *name, const QString &steps, const char *result, bool calendarOut = false,
                            bool expanded = true) {
            const QString handled = QString(QLatin1Char('1')).repeated(steps.count(QLatin1Char(':')));
            QTest::newRow(name) << expanded << calendarOut << steps << handled << result;
        };
        // Classic wheels send 120 units a notch, high-resolution ones (libinput,
        // XWayland) eight events of 15: both step once a notch.
        const auto hiRes = [](const char *step) { return QString::fromLatin1(step).append(' ').repeated(8).trimmed(); };
        row("classic notch up", "Wv:0,120", "0.5625|||||");
        row("classic notch down", "Wv:0,-120", "0.4375|||||");
        row("hi-res notch up", hiRes("Wv:0,15"), "0.5625|||||");
        row("hi-res half notch waits", "Wv:0,15 Wv:0,15 Wv:0,15 Wv:0,15", "0.5|||||");
        row("two notches in one event", "Wv:0,240", "0.625|||||");
        row("turning back starts over", "Wv:0,60 Wv:0,-60 Wv:0,-60", "0.4375|||||");
        row("horizontal wheel right raises", "Wv:-120,0", "0.5625|||||");
        row("inverted device: vertical undone", "Wvi:0,120", "0.4375|||||");
        row("tie goes to the vertical axis", "Wv:-120,-120", "0.4375|||||");
        row("zero delta is consumed", "Wv:0,0", "0.5|||||");
        row("hi-res notch over the strip", hiRes("Ws:0,15"), "0.5|-1||||", true);
        row("hi-res notch back over the strip", hiRes("Ws:0,-15"), "0.5|1||||", true);
        row("classic notches over the strip", "Ws:0,120 Ws:0,-120 Ws:0,-120", "0.5|-1,1,1||||", true);
        // A touchpad gesture begun over the volume keeps it when the fingers
        // leave the wedge; its glide is swallowed without moving the level.
        row("trackpad over the volume", "Bv:0,0 Cv:0,30 C:0,-60 M:0,40", "0.4|||||");
        // Decided horizontal once past a small start; the glide is swallowed.
        QTest::newRow("horizontal swipe turns pages")
            << true << false << "B:0.2,0.2 C:-10,3 C:-20,30 E:0,0 M:-5,0" << "01111" << "0.5||-10,-30|-270||";
        QTest::newRow("vertical swipe is left to the lists")
            << true << false << "B:1,8 C:-20,8 E:0,0 M:0,8" << "0000" << "0.5|||||";
        row("swipe over the day strip", "Bs:-4,0 C:-6,0 E:0,0", "0.5||||-4,-10|-82", true);
        QTest::newRow("no strip without the calendar") << true << false << "Ws:0,120" << "0" << "0.5|||||";
        QTest::newRow("closed notch lets everything pass") << false << false << "Wv:0,120 C:-30,0" << "00" << "0.5|||||";
        QTest::newRow("a wheel over nothing passes on") << true << false << "W:0,120" << "0" << "0.5|||||";
    }
    void gestures()
    {
        QFETCH(bool, expanded);
        QFETCH(bool, calendarOut);
        QFETCH(QString, steps);
        QFETCH(QString, handled);
        QFETCH(QString, result);
        Recorder t;
        t.expanded = expanded;
        t.calendarOut = calendarOut;
        Swipe swipe;
        QString took;
        for (const QString &step : steps.split(QLatin1Char(' ')))
            took += QLatin1Char(swipe.handle(input(step), t) ? '1' : '0');
        QCOMPARE(took, handled);
        QCOMPARE(QStringList({QString::number(t.level), join(t.daySteps),
                              join(t.pageDrags), join(t.pageEnds), join(t.stripOffsets), join(t.stripEnds)})
                     .join(QLatin1Char('|')),
                 result);
    }

    void pageOpacityFollowsDistance()
    {
        // page, visible page, drag offset → opacity
        const QList<std::tuple<int, int, double, double>> rows{
            {0, 0, 0, 1}, {1, 0, 0, 0}, {1, 0, -265, 0.3}, {0, 0, -265, 0.3}, {0, 0, -400, 0}};
        for (const auto &[page, visible, offset, opacity] : rows)
            QCOMPARE(qRound(NookLayout::pageOpacity(530, page, visible, offset) * 1000) / 1000.0, opacity);
    }

    // Browsers and video players never show the wings, nor do titles that say video.
    void videoNeverShowsTheWings()
    {
        const QStringList players{QStringLiteral("firefox"), QStringLiteral("mpv")};
        const auto wings = [&](const char *title, const char *app, bool playing) {
            const auto result = NotchWindowController::wingsPlayback(WingsTrack{title, app, playing}, players);
            return result ? int(*result) : -1; // -1 none, 0 paused, 1 playing
        };
        QCOMPARE(wings("Blue in Green", "org.gnome.Rhythmbox3", true), 1);
        QCOMPARE(wings("Blue in Green", "spotify", false), 0);
        QCOMPARE(wings("Lecture", "firefox", true), -1);
        QCOMPARE(wings("Music VIDEO (live)", "spotify", true), -1);
        QVERIFY(!NotchWindowController::wingsPlayback(std::nullopt, {}));
    }
};

QTEST_GUILESS_MAIN(tst_Swipe)
#include "tst_Swipe.moc"
