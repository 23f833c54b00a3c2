#include "notch/NotchWindowController.h"

#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchGeometry.h"
#include "notch/NotchPanel.h"
#include "notch/NotchViewModel.h"
#include "notch/NookHitRegion.h"
#include "notch/ScreenSource.h"
#include "notch/ScreenSpace.h"
#include "platform/MotionPreference.h"
#include "platform/X11Window.h"

#include <QApplication>
#include <QCursor>
#include <QLoggingCategory>
#include <QMenu>
#include <QQmlEngine>
#include <QScreen>
#include <QWheelEvent>

Q_LOGGING_CATEGORY(lcNotch, "tarnwick.notch", QtWarningMsg)

NotchWindowController::NotchWindowController(NookSettings &settings, UserDefaults &defaults, ScreenSource &screens,
                                             Clock &clock, std::function<void()> openSettings, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_defaults(defaults)
    , m_screens(screens)
    , m_openSettings(std::move(openSettings))
    , m_gestureEnd(clock)
{
    const auto screen = NotchGeometry::preferredScreen(m_screens);
    if (!screen) {
        qCWarning(lcNotch) << "no screen: the notch is not shown";
        return;
    }
    m_model = std::make_unique<NotchViewModel>(NotchGeometry::measure(*screen, m_defaults), m_settings, clock);
    m_model->onKeyboardRequest = [this](bool on) { setKeyboardFocus(on); };
    m_model->onOpenSettings = [this] {
        if (m_openSettings)
            m_openSettings();
    };

    // Less motion, as the desktop asks, also for the notch's own springs.
    if (MotionPreference *motion = MotionPreference::instance()) {
        m_model->setReduceMotion(motion->reduceMotion());
        connect(motion, &MotionPreference::reduceMotionChanged, m_model.get(),
                [this, motion] { m_model->setReduceMotion(motion->reduceMotion()); });
    }

    m_panel = std::make_unique<NotchPanel>(*this);
    QmlModule::prepare(*m_panel->engine());

    connect(m_model.get(), &NotchViewModel::interactiveRectChanged, this, &NotchWindowController::updateInputShape);
}

NotchWindowController::~NotchWindowController()
{
    // The view goes before the model it shows.
    m_panel.reset();
}

QQmlEngine *NotchWindowController::engine() const
{
    return m_panel ? m_panel->engine() : nullptr;
}

void NotchWindowController::show()
{
    if (!m_panel)
        return;
    // The views load here, after the owner has set up the engine (image
    // providers, singletons).
    m_panel->setInitialProperties({{QStringLiteral("model"), QVariant::fromValue(m_model.get())}});
    m_panel->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/NotchRootView.qml")));
    for (const auto &error : m_panel->errors())
        qCWarning(lcNotch) << error.toString();
    placePanel();
    m_panel->create();
    X11Window::setPanelHints(m_panel.get());
    updateInputShape();
    m_panel->show();

    const QList<QScreen *> screens = QGuiApplication::screens();
    for (QScreen *screen : screens)
        watchScreen(screen);
    connect(qApp, &QGuiApplication::screenAdded, this, [this](QScreen *screen) {
        watchScreen(screen);
        scheduleReposition();
    });
    connect(qApp, &QGuiApplication::screenRemoved, this, &NotchWindowController::scheduleReposition);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, &NotchWindowController::scheduleReposition);
}

void NotchWindowController::watchScreen(QScreen *screen)
{
    connect(screen, &QScreen::geometryChanged, this, &NotchWindowController::scheduleReposition);
    connect(screen, &QScreen::availableGeometryChanged, this, &NotchWindowController::scheduleReposition);
}

// Monitors change in bursts (a hot-plug moves several screens at once); one
// reposition after the burst is enough, and it runs after Qt has updated
// its own list.
void NotchWindowController::scheduleReposition()
{
    if (m_repositionPending)
        return;
    m_repositionPending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_repositionPending = false;
            repositionForCurrentScreen();
        },
        Qt::QueuedConnection);
}

void NotchWindowController::repositionForCurrentScreen()
{
    if (!m_model)
        return;
    const auto screen = NotchGeometry::preferredScreen(m_screens);
    // With no screen at all the panel stays where it was.
    if (!screen)
        return;
    m_model->update(NotchGeometry::measure(*screen, m_defaults));
    placePanel();
    updateInputShape();
    if (!m_isLocked && m_panel->isVisible())
        m_panel->raise();
}

void NotchWindowController::placePanel()
{
    const QRect frame = ScreenSpace::toQt(m_model->geometry().windowFrame()).toAlignedRect();
    if (m_panel->geometry() != frame)
        m_panel->setGeometry(frame);
}

void NotchWindowController::updateInputShape()
{
    if (!m_panel)
        return;
    // Global, y-up → the panel's own coordinates.
    const QRectF global = ScreenSpace::toQt(m_model->interactiveRect());
    const QRectF local = global.translated(-QPointF(m_panel->position())).intersected(QRectF(QPointF(0, 0), m_panel->size()));
    X11Window::setInputShape(m_panel.get(), {local.toAlignedRect()});
}

void NotchWindowController::trackChanged(const std::optional<WingsTrack> &track)
{
    if (m_model)
        m_model->playbackChanged(wingsPlayback(track, m_videoApps));
}

std::optional<bool> NotchWindowController::wingsPlayback(const std::optional<WingsTrack> &track,
                                                         const QStringList &videoApps)
{
    if (!track)
        return std::nullopt;
    if (QLocale().toLower(track->title).contains(QLocale().toLower(QStringLiteral("video"))))
        return std::nullopt;
    if (videoApps.contains(track->sourceApplication))
        return std::nullopt;
    return track->isPlaying;
}

// ---- pointer and presses -------------------------------------------------

void NotchWindowController::pointerMoved(std::optional<QPointF> globalPosition)
{
    if (!m_model)
        return;
    const QPointF p = globalPosition.value_or(QPointF(QCursor::pos()));
    if (m_isPressingInNook) {
        // While the button is down the Nook belongs to the hand (a file
        // being dragged out of the tray, a slider being moved).
        if (QGuiApplication::mouseButtons().testFlag(Qt::LeftButton))
            return;
        m_isPressingInNook = false;
        releaseHoldAt(p);
    }
    m_model->pointerMoved(ScreenSpace::fromQt(p));
}

void NotchWindowController::pressBegan()
{
    qCDebug(lcNotch) << "press in the Nook";
    m_isPressingInNook = true;
    m_model->hold();
}

void NotchWindowController::pressEnded()
{
    qCDebug(lcNotch) << "press ended" << m_isPressingInNook;
    if (!m_isPressingInNook)
        return;
    m_isPressingInNook = false;
    releaseHoldAtPointer();
}

void NotchWindowController::releaseHoldAtPointer()
{
    releaseHoldAt(QPointF(QCursor::pos()));
}

void NotchWindowController::releaseHoldAt(QPointF qtPosition)
{
    qCDebug(lcNotch) << "release hold at" << qtPosition << "typing" << (m_model && m_model->isTyping())
                     << "awaiting" << m_isAwaitingAnswer;
    if (m_model && !m_model->isTyping() && !m_isAwaitingAnswer)
        m_model->releaseHold(ScreenSpace::fromQt(qtPosition));
}

void NotchWindowController::setAwaitingAnswer(bool awaiting)
{
    if (m_isAwaitingAnswer == awaiting)
        return;
    m_isAwaitingAnswer = awaiting;
    qCDebug(lcNotch) << "awaiting an answer" << awaiting;
    if (!m_model)
        return;
    if (awaiting)
        m_model->hold();
    else if (!m_isPressingInNook)
        releaseHoldAtPointer();
}

void NotchWindowController::showContextMenu(QPoint globalPosition)
{
    if (!m_model)
        return;
    m_model->hold();
    if (!m_menu) {
        m_menu = new QMenu;
        m_menu->setAttribute(Qt::WA_DeleteOnClose, false);
        QAction *settings = m_menu->addAction(tr("Settings…"));
        connect(settings, &QAction::triggered, this, [this] {
            if (m_openSettings)
                m_openSettings();
        });
        m_menu->addSeparator();
        QAction *quit = m_menu->addAction(tr("Quit Tarnwick"));
        connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        connect(m_menu, &QMenu::aboutToHide, this, [this] {
            // After the menu has really gone, so the pointer is read where it is.
            QMetaObject::invokeMethod(this, &NotchWindowController::releaseHoldAtPointer, Qt::QueuedConnection);
        });
    }
    m_menu->popup(globalPosition);
}

// ---- scrolling and swipes ------------------------------------------------

ScrollInput NotchWindowController::scrollInput(const QWheelEvent &event, ScrollInput::Phase phase)
{
    ScrollInput in;
    in.phase = phase;
    const bool touchpad = event.device() != nullptr && event.device()->type() == QInputDevice::DeviceType::TouchPad;
    in.precise = !event.pixelDelta().isNull() || touchpad;
    // angleDelta is in eighths of a degree; 8 of them make the pixel-ish
    // unit touchpads without pixel deltas report. Wheels keep the raw units,
    // counted into whole notches of 120.
    if (!event.pixelDelta().isNull())
        in.delta = QPointF(event.pixelDelta());
    else if (in.precise)
        in.delta = QPointF(event.angleDelta()) / 8.0;
    else
        in.delta = QPointF(event.angleDelta());
    in.inverted = event.inverted();
    return in;
}

bool NotchWindowController::handleWheel(const QWheelEvent &event)
{
    if (!m_model || !m_panel)
        return false;
    ScrollInput::Phase phase = ScrollInput::Phase::None;
    switch (event.phase()) {
    case Qt::ScrollBegin:
        phase = ScrollInput::Phase::Began;
        break;
    case Qt::ScrollUpdate:
        phase = ScrollInput::Phase::Changed;
        break;
    case Qt::ScrollEnd:
        phase = ScrollInput::Phase::Ended;
        break;
    case Qt::ScrollMomentum:
        phase = ScrollInput::Phase::Momentum;
        break;
    case Qt::NoScrollPhase:
        break;
    }
    ScrollInput in = scrollInput(event, phase);
    if (in.precise && phase == ScrollInput::Phase::None) {
        in.phase = m_inPhaselessGesture ? ScrollInput::Phase::Changed : ScrollInput::Phase::Began;
        m_inPhaselessGesture = true;
        m_gestureEnd.start(0.15, [this] { endPhaselessGesture(); });
    }
    in.overVolume = NookHitRegion::contains(m_panel.get(), NookHitRegion::Kind::Volume, event.position());
    in.overDayStrip = NookHitRegion::contains(m_panel.get(), NookHitRegion::Kind::DayStrip, event.position());
    return m_swipe.handle(in, *this);
}

void NotchWindowController::endPhaselessGesture()
{
    m_inPhaselessGesture = false;
    ScrollInput end;
    end.phase = ScrollInput::Phase::Ended;
    end.precise = true;
    m_swipe.handle(end, *this);
}

bool NotchWindowController::isExpanded() const
{
    return m_model && m_model->isExpanded();
}

bool NotchWindowController::isCalendarOut() const
{
    return m_model && m_model->drawer() == NotchViewModel::Drawer::Calendar;
}

void NotchWindowController::setVolume(double level)
{
    if (m_volume != nullptr)
        m_volume->set(level);
}

void NotchWindowController::dragPages(double total)
{
    m_model->dragPages(total);
}

void NotchWindowController::endPageDrag(double projected)
{
    m_model->endPageDrag(projected);
}

void NotchWindowController::setStripOffset(double offset)
{
    if (m_dayStrip != nullptr)
        m_dayStrip->setStripOffset(offset);
}

void NotchWindowController::endStripDrag(double projected)
{
    if (m_dayStrip != nullptr)
        m_dayStrip->endStripDrag(projected);
}

void NotchWindowController::stepDays(int days)
{
    if (m_dayStrip != nullptr)
        m_dayStrip->step(days);
}

// ---- keyboard and lock ---------------------------------------------------

void NotchWindowController::setKeyboardFocus(bool on)
{
    if (!m_panel)
        return;
    m_panel->setAllowsKeyboard(on);
    if (on) {
        // Remember who had the keyboard, to hand it back when typing ends.
        const quint32 active = X11Window::activeWindow();
        if (active != quint32(m_panel->winId()))
            m_previousKeyboardWindow = active;
        m_panel->requestActivate();
        return;
    }
    if (m_panel->isActive() && m_previousKeyboardWindow != 0)
        X11Window::activate(m_previousKeyboardWindow);
    m_previousKeyboardWindow = 0;
    releaseHoldAtPointer();
}

void NotchWindowController::toggleWithKeyboard()
{
    if (!m_model || !m_panel || m_isLocked)
        return;
    if (m_model->isExpanded() && m_panel->allowsKeyboard())
        m_model->dismiss();
    else
        m_model->openWithKeyboard();
}

void NotchWindowController::panelExposed()
{
    updateInputShape();
}

void NotchWindowController::keyboardLost()
{
    if (m_model)
        m_model->endTyping();
}

void NotchWindowController::setScreenLocked(bool locked)
{
    if (!m_panel || m_isLocked == locked)
        return;
    m_isLocked = locked;
    if (locked) {
        m_model->endTyping();
        m_model->collapse();
        m_panel->hide();
        return;
    }
    // A window manager forgets a window's states when it is withdrawn.
    repositionForCurrentScreen();
    X11Window::setPanelHints(m_panel.get());
    updateInputShape();
    m_panel->show();
    m_panel->raise();
}
