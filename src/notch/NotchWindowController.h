#pragma once

#include "core/ClockSlot.h"
#include "notch/NotchServices.h"
#include "notch/ScrollInput.h"
#include "notch/Swipe.h"

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <optional>

class Clock;
class NookSettings;
class NotchPanel;
class NotchViewModel;
class QMenu;
class QQmlEngine;
class QScreen;
class QWheelEvent;
class ScreenSource;
class UserDefaults;

// Owns the panel and turns raw input into calls on the view model: pointer
// movement, presses, the context menu, scrolls and swipes, screen changes,
// the screen lock and the keyboard for typing.
class NotchWindowController : public QObject, private SwipeTargets
{
    Q_OBJECT
public:
    NotchWindowController(NookSettings &settings, UserDefaults &defaults, ScreenSource &screens, Clock &clock,
                          std::function<void()> openSettings, QObject *parent = nullptr);
    ~NotchWindowController() override;

    // False when there was no screen at all: then nothing is shown.
    bool isValid() const { return m_model != nullptr; }
    NotchViewModel *model() const { return m_model.get(); }
    NotchPanel *panel() const { return m_panel.get(); }
    QQmlEngine *engine() const;

    // Services of other subsystems, each optional.
    void setVolume(VolumeControl *volume) { m_volume = volume; }
    void setDayStrip(DayStripControl *strip) { m_dayStrip = strip; }
    void setVideoApplications(const QStringList &apps) { m_videoApps = apps; }

    void show();
    void setScreenLocked(bool locked);
    void repositionForCurrentScreen();
    // Feeds the wings; none when nothing plays or is known.
    void trackChanged(const std::optional<WingsTrack> &track);

    // Video never shows the wings: a title that says so, or a player or
    // browser known for video.
    static std::optional<bool> wingsPlayback(const std::optional<WingsTrack> &track, const QStringList &videoApps);
    // Turns a Qt wheel event into the plain record the swipe rules read.
    static ScrollInput scrollInput(const QWheelEvent &event, ScrollInput::Phase phase);

    // From the panel.
    // At the event's global position, or where the cursor is now.
    void pointerMoved(std::optional<QPointF> globalPosition = std::nullopt);
    void pressBegan();
    void pressEnded();
    void showContextMenu(QPoint globalPosition);
    bool handleWheel(const QWheelEvent &event);
    void keyboardLost();
    void panelExposed();

    void setKeyboardFocus(bool on);
    // For a keyboard shortcut: opens the Nook with the keyboard in it, or
    // closes it and gives the keyboard back when it already has it.
    void toggleWithKeyboard();
    // Something in the Nook waits for the user's answer (a device to send
    // to): it stays open wherever the pointer wanders until answered.
    void setAwaitingAnswer(bool awaiting);

private:
    // SwipeTargets
    bool isExpanded() const override;
    bool isCalendarOut() const override;
    bool hasVolume() const override { return m_volume != nullptr && m_volume->isAdjustable(); }
    double volumeLevel() const override { return m_volume != nullptr ? m_volume->level() : 0; }
    void setVolume(double level) override;
    void dragPages(double total) override;
    void endPageDrag(double projected) override;
    bool hasDayStrip() const override { return m_dayStrip != nullptr; }
    void setStripOffset(double offset) override;
    void endStripDrag(double projected) override;
    void stepDays(int days) override;

    void placePanel();
    void updateInputShape();
    void releaseHoldAtPointer();
    void releaseHoldAt(QPointF qtPosition);
    void watchScreen(QScreen *screen);
    void scheduleReposition();
    void endPhaselessGesture();

    NookSettings &m_settings;
    UserDefaults &m_defaults;
    ScreenSource &m_screens;
    std::function<void()> m_openSettings;
    std::unique_ptr<NotchViewModel> m_model;
    std::unique_ptr<NotchPanel> m_panel;
    QPointer<QMenu> m_menu;

    VolumeControl *m_volume = nullptr;
    DayStripControl *m_dayStrip = nullptr;
    QStringList m_videoApps;

    bool m_isPressingInNook = false;
    bool m_isAwaitingAnswer = false;
    bool m_isLocked = false;
    Swipe m_swipe;
    // Touchpads on X11 report no gesture phases: a pause ends the gesture.
    ClockSlot m_gestureEnd;
    bool m_inPhaselessGesture = false;
    quint32 m_previousKeyboardWindow = 0;
    bool m_repositionPending = false;
};
