#pragma once

#include "calendar/AgendaEvent.h"
#include "calendar/CalendarAgenda.h"
#include "calendar/QuickEvent.h"
#include "core/ClockSlot.h"
#include "core/Spring.h"

#include <QLocale>
#include <QObject>
#include <QPointer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <memory>

// What the calendar drawer shows, worked out here so the view only draws:
// the header, the days of the strip, each row's time line, the quick-add
// read-back and failure line, and the access panel's texts. While the drawer
// is on screen (`active`) the time moves on every minute, so "in 5 min"
// stays true; hidden, nothing ticks.
class CalendarDrawerModel : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(CalendarAgenda *agenda READ agenda WRITE setAgenda NOTIFY agendaChanged)
    Q_PROPERTY(bool active READ isActive WRITE setActive NOTIFY activeChanged)
    Q_PROPERTY(QDateTime now READ now NOTIFY nowChanged)
    Q_PROPERTY(QString headerTitle READ headerTitle NOTIFY contentChanged)
    Q_PROPERTY(QString headerSubtitle READ headerSubtitle NOTIFY contentChanged)
    Q_PROPERTY(QVariantList days READ days NOTIFY contentChanged)
    Q_PROPERTY(QVariantList rows READ rows NOTIFY contentChanged)
    Q_PROPERTY(QString emptyText READ emptyText NOTIFY contentChanged)
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(QString readBack READ readBack NOTIFY readBackChanged)
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)
    Q_PROPERTY(QString placeholder READ placeholder CONSTANT)
    Q_PROPERTY(QString example READ example CONSTANT)
    Q_PROPERTY(QString exampleHint READ exampleHint CONSTANT)
    Q_PROPERTY(QString returnHint READ returnHint CONSTANT)
    Q_PROPERTY(bool showsList READ showsList NOTIFY contentChanged)
    Q_PROPERTY(bool showsQuickAdd READ showsQuickAdd NOTIFY contentChanged)
    Q_PROPERTY(QString accessSymbol READ accessSymbol NOTIFY contentChanged)
    Q_PROPERTY(QString accessTitle READ accessTitle NOTIFY contentChanged)
    Q_PROPERTY(QString accessText READ accessText NOTIFY contentChanged)
    Q_PROPERTY(QString accessButton READ accessButton NOTIFY contentChanged)
    Q_PROPERTY(Spring slideSpring READ slideSpring CONSTANT)

public:
    explicit CalendarDrawerModel(QObject *parent = nullptr);
    ~CalendarDrawerModel() override;

    static constexpr int kStripDays = 19;
    // The date strip's slide to a new day.
    static inline const Spring kSlideSpring{0.35, 0.86};
    Spring slideSpring() const { return kSlideSpring; }

    static QString placeholderText() { return QStringLiteral("Type an event, then press Return"); }

    CalendarAgenda *agenda() const { return m_agenda; }
    void setAgenda(CalendarAgenda *agenda);
    bool isActive() const { return m_active; }
    void setActive(bool active);
    QDateTime now() const { return m_now; }
    void setLocale(const QLocale &locale);

    QString headerTitle() const;
    QString headerSubtitle() const;
    QVariantList days() const;
    QVariantList rows() const;
    QString emptyText() const;
    QString text() const { return m_text; }
    void setText(const QString &text);
    QString readBack() const { return m_readBack; }
    QString error() const { return m_error; }
    QString placeholder() const { return placeholderText(); }
    QString example() const { return QStringLiteral("Lunch with Sam tomorrow at 1pm"); }
    QString exampleHint() const { return QStringLiteral("Try \u201c%1\u201d").arg(example()); }
    QString returnHint() const { return QStringLiteral("Return to add"); }
    // Weekday and month names come from here: the locale itself, unless it
    // has no names of its own.
    static QLocale namesLocale(const QLocale &locale);
    bool showsList() const;
    bool showsQuickAdd() const;
    QString accessSymbol() const;
    QString accessTitle() const;
    QString accessText() const;
    QString accessButton() const;

    // Return in the field: parse the line and save it. True when saved.
    Q_INVOKABLE bool submit();
    Q_INVOKABLE void selectDay(const QDateTime &day);
    // The strip follows the finger; at the end the drag is projected as a
    // flick would carry it (speed measured over the last tenth of a second,
    // so a pause before letting go means no flick) before the day step is
    // decided.
    Q_INVOKABLE void dragStrip(double translation);
    Q_INVOKABLE void endStripDrag(double translation);
    Q_INVOKABLE void join(const QUrl &url);
    Q_INVOKABLE void performAccessAction();
    Q_INVOKABLE void openCalendarApp();
    // Whole days from one day of the strip to another.
    Q_INVOKABLE int daysBetween(const QDateTime &from, const QDateTime &to) const;

    // The time line under an event's title.
    static QString detail(const AgendaEvent &event, const QDateTime &now, bool isToday, const QLocale &locale, const QTimeZone &zone);
    // One line describing a parsed event before it is saved.
    static QString readBackText(const QuickEvent &event, const QLocale &locale, const QTimeZone &zone);
    static double projectedTranslation(double translation, double velocity);

Q_SIGNALS:
    void agendaChanged();
    void activeChanged();
    void nowChanged();
    void contentChanged();
    void textChanged();
    void readBackChanged();
    void errorChanged();

private:
    void tick();
    void updateNow();
    void updateReadBack();
    void setError(const QString &error);
    QuickEvent parsed() const;
    void recordDrag(double translation);
    double dragVelocity() const;
    QTimeZone zone() const;

    QPointer<CalendarAgenda> m_agenda;
    std::unique_ptr<ClockSlot> m_minute;
    QList<QMetaObject::Connection> m_connections;
    bool m_active = false;
    QDateTime m_now;
    QString m_text;
    QString m_readBack;
    QString m_error;
    QLocale m_locale;
    struct DragSample
    {
        double time;
        double translation;
    };
    QList<DragSample> m_drag;
};
