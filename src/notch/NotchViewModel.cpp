#include "notch/NotchViewModel.h"

#include "app/NookSettings.h"
#include "notch/ScreenSpace.h"

#include <cmath>

namespace {
bool sameRect(const QRectF &a, const QRectF &b)
{
    return a.x() == b.x() && a.y() == b.y() && a.width() == b.width() && a.height() == b.height();
}
} // namespace

NotchViewModel::NotchViewModel(const NotchGeometry &geometry, NookSettings &settings, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_geometry(geometry)
    , m_pendingTransition(clock)
    , m_pendingDrawer(clock)
    , m_peekTimer(clock)
    , m_playbackLinger(clock)
{
    m_pages = m_settings.pages();
    m_visiblePage = visiblePage();
    m_visibleIndex = visibleIndex();
    m_isOnHomePage = isOnHomePage();
    m_shapeRect = shapeRect();
    m_radii = radii(isExpanded(), m_geometry);
    m_springShape = m_shapeRect;
    m_springRadii = m_radii;
    m_interactiveRect = interactiveRect();

    connect(&m_settings, &NookSettings::pagesChanged, this, [this] {
        useSpring(kPageSpring);
        refreshDerived();
    });
    // A drawer switched off while it is out goes away; a closed one is no
    // longer offered (see drawerTarget).
    connect(&m_settings, &NookSettings::showsMirrorChanged, this, [this] {
        if (m_drawer == Drawer::Mirror && !m_settings.showsMirror())
            closeDrawer();
    });
    connect(&m_settings, &NookSettings::showsCalendarChanged, this, [this] {
        if (m_drawer == Drawer::Calendar && !m_settings.showsCalendar())
            closeDrawer();
    });
}

NotchViewModel::~NotchViewModel() = default;

// ---- derived values ------------------------------------------------------

QList<NookPage> NotchViewModel::pages() const
{
    return m_settings.pages();
}

QVariantList NotchViewModel::pageList() const
{
    return m_settings.pageList();
}

std::optional<NookPage> NotchViewModel::visiblePage() const
{
    const QList<NookPage> all = pages();
    if (all.contains(m_page))
        return m_page;
    if (all.isEmpty())
        return std::nullopt;
    return all.first();
}

int NotchViewModel::visibleIndex() const
{
    const auto visible = visiblePage();
    return visible ? int(pages().indexOf(*visible)) : 0;
}

bool NotchViewModel::isOnHomePage() const
{
    const QList<NookPage> all = pages();
    const auto visible = visiblePage();
    if (all.isEmpty())
        return !visible.has_value();
    return visible == all.first();
}

QRectF NotchViewModel::shapeRect() const
{
    const QSizeF expanded = m_geometry.expandedSize();
    const double drawer = m_geometry.drawerWidth();
    if (m_state == State::Expanded) {
        switch (m_drawer) {
        case Drawer::Mirror:
            return {0, 0, expanded.width() + drawer, expanded.height()};
        case Drawer::Calendar:
            return {drawer, 0, expanded.width() + drawer, expanded.height()};
        case Drawer::None:
            break;
        }
        return {drawer, 0, expanded.width(), expanded.height()};
    }
    const double widen = closedWidening(m_peek.has_value(), m_showsPlayback);
    return m_geometry.notchRect().adjusted(-widen, 0, widen, 0);
}

double NotchViewModel::closedWidening(bool peek, bool playback)
{
    return peek ? kPeekWidening : (playback ? kPlaybackWidening : 0.0);
}

NotchViewModel::Radii NotchViewModel::radii(bool open, const NotchGeometry &geometry)
{
    if (open)
        return {kOpenTopRadius, kOpenBottomRadius};
    return {kClosedTopRadius,
            geometry.hasPhysicalNotch() ? kPhysicalBottomRadius : geometry.notchSize().height() / 2};
}

QRectF NotchViewModel::leftWingRect() const
{
    const QRectF notch = m_geometry.notchRect();
    return {notch.x() - kPlaybackWidening, notch.y(), kPlaybackWidening, notch.height()};
}

QRectF NotchViewModel::rightWingRect() const
{
    const QRectF notch = m_geometry.notchRect();
    return {notch.x() + notch.width(), notch.y(), kPlaybackWidening, notch.height()};
}

QRectF NotchViewModel::peekRect() const
{
    return m_geometry.notchRect().adjusted(-kPeekWidening, 0, kPeekWidening, 0);
}

QRectF NotchViewModel::interactiveRect() const
{
    return m_geometry.screenRect(shapeRect(), m_state == State::Expanded ? 0.0 : kClosedSlop);
}

void NotchViewModel::refreshDerived()
{
    const QList<NookPage> all = pages();
    if (all != m_pages) {
        m_pages = all;
        Q_EMIT pagesChanged();
    }
    const auto visible = visiblePage();
    const int index = visibleIndex();
    const bool home = isOnHomePage();
    if (visible != m_visiblePage || index != m_visibleIndex || home != m_isOnHomePage) {
        m_visiblePage = visible;
        m_visibleIndex = index;
        m_isOnHomePage = home;
        if (!(m_pageAnimation == m_animation)) {
            m_pageAnimation = m_animation;
            Q_EMIT pageAnimationChanged();
        }
        Q_EMIT visiblePageChanged();
    }
    publishOutlineSpring();
    const QRectF shape = shapeRect();
    if (!sameRect(shape, m_shapeRect)) {
        m_shapeRect = shape;
        Q_EMIT shapeRectChanged();
    }
    const Radii corners = radii(isExpanded(), m_geometry);
    if (!(corners == m_radii)) {
        m_radii = corners;
        Q_EMIT radiiChanged();
    }
    const QRectF interactive = interactiveRect();
    if (!sameRect(interactive, m_interactiveRect)) {
        m_interactiveRect = interactive;
        Q_EMIT interactiveRectChanged();
    }
}

// The outline's six numbers and the content fade move on one spring: when
// any of them is about to change, the spring of this change is published
// before anyone hears of the change itself, so no view starts a motion with
// the spring of the change before.
void NotchViewModel::publishOutlineSpring()
{
    const QRectF shape = shapeRect();
    const Radii corners = radii(isExpanded(), m_geometry);
    if (sameRect(shape, m_springShape) && corners == m_springRadii)
        return;
    m_springShape = shape;
    m_springRadii = corners;
    if (!(m_outlineAnimation == m_animation)) {
        m_outlineAnimation = m_animation;
        Q_EMIT outlineAnimationChanged();
    }
}

// ---- setters that notify only on change ----------------------------------

// The spring is only named here; it becomes the published animation when a
// property really changes, so a call that changes nothing notifies nobody.
void NotchViewModel::useSpring(const Spring &spring)
{
    m_nextSpring = m_reduceMotion ? Spring() : spring;
}

void NotchViewModel::setReduceMotion(bool reduce)
{
    if (m_reduceMotion == reduce)
        return;
    m_reduceMotion = reduce;
    Q_EMIT reduceMotionChanged();
}

void NotchViewModel::setMirrorAvailable(bool available)
{
    if (m_mirrorAvailable == available)
        return;
    m_mirrorAvailable = available;
    Q_EMIT mirrorAvailableChanged();
    if (!available && m_drawer == Drawer::Mirror)
        closeDrawer();
}

void NotchViewModel::publishSpring()
{
    if (m_animation == m_nextSpring)
        return;
    m_animation = m_nextSpring;
    Q_EMIT animationChanged();
}

void NotchViewModel::setState(State state)
{
    if (m_state == state)
        return;
    publishSpring();
    m_state = state;
    publishOutlineSpring();
    Q_EMIT stateChanged();
    refreshDerived();
}

void NotchViewModel::setPeek(const std::optional<Peek> &peek)
{
    if (m_peek == peek)
        return;
    publishSpring();
    m_peek = peek;
    publishOutlineSpring();
    Q_EMIT peekChanged();
    refreshDerived();
}

void NotchViewModel::setShowsPlayback(bool shows)
{
    if (m_showsPlayback == shows)
        return;
    publishSpring();
    m_showsPlayback = shows;
    publishOutlineSpring();
    Q_EMIT showsPlaybackChanged();
    refreshDerived();
}

void NotchViewModel::setPage(NookPage page)
{
    if (m_page == page)
        return;
    publishSpring();
    m_page = page;
    Q_EMIT pageChanged();
    refreshDerived();
}

void NotchViewModel::setDrawer(Drawer drawer)
{
    if (m_drawer == drawer)
        return;
    publishSpring();
    m_drawer = drawer;
    publishOutlineSpring();
    Q_EMIT drawerChanged();
    refreshDerived();
}

void NotchViewModel::setPageDragOffset(double offset)
{
    if (m_pageDragOffset == offset)
        return;
    publishSpring();
    m_pageDragOffset = offset;
    if (!(m_pageAnimation == m_animation)) {
        m_pageAnimation = m_animation;
        Q_EMIT pageAnimationChanged();
    }
    Q_EMIT pageDragOffsetChanged();
}

void NotchViewModel::setTyping(bool typing)
{
    if (m_isTyping == typing)
        return;
    m_isTyping = typing;
    Q_EMIT isTypingChanged();
}

void NotchViewModel::setDropZone(DropZone zone)
{
    if (m_dropZone == zone)
        return;
    m_dropZone = zone;
    Q_EMIT dropZoneChanged();
}

void NotchViewModel::setHoverOpenDelay(double seconds)
{
    if (m_hoverOpenDelay == seconds)
        return;
    m_hoverOpenDelay = seconds;
    Q_EMIT hoverOpenDelayChanged();
}

void NotchViewModel::setCollapseDelay(double seconds)
{
    if (m_collapseDelay == seconds)
        return;
    m_collapseDelay = seconds;
    Q_EMIT collapseDelayChanged();
}

void NotchViewModel::update(const NotchGeometry &geometry)
{
    if (m_geometry == geometry)
        return;
    // A new screen arrangement is shown as it is, not flown to.
    useSpring(Spring());
    publishSpring();
    m_geometry = geometry;
    publishOutlineSpring();
    Q_EMIT geometryChanged();
    refreshDerived();
}

// ---- pointer, hover and drawers ------------------------------------------

void NotchViewModel::scheduleTransition(double seconds, void (NotchViewModel::*action)())
{
    m_pendingTransition.start(seconds, [this, action] { (this->*action)(); });
}

void NotchViewModel::pointerMoved(QPointF p)
{
    if (m_isHeld)
        return;
    const bool inside = ScreenSpace::contains(interactiveRect(), p);
    if (inside == m_isPointerInside) {
        if (inside)
            updateDrawer(p);
        return;
    }
    m_isPointerInside = inside;
    m_pendingTransition.cancel();
    if (!inside) {
        if (isExpanded())
            scheduleTransition(m_collapseDelay, &NotchViewModel::collapse);
        return;
    }
    if (!isExpanded())
        scheduleTransition(m_hoverOpenDelay, &NotchViewModel::expand);
    updateDrawer(p);
}

NotchViewModel::Drawer NotchViewModel::drawerTarget(QPointF p) const
{
    using namespace ScreenSpace;
    const QRectF centre = m_geometry.screenRect(m_geometry.baseRect(), 0);
    // The strips are measured from the page's edge as the user sees it: the
    // open outline's walls stand in from its rectangle by the top radius,
    // and the pages live inside them. The sliver between wall and rectangle
    // edge belongs to the strip as well, so the whole strip is 30 points of
    // visible page plus that sliver.
    const double leftWall = minX(centre) + kOpenTopRadius;
    const double rightWall = maxX(centre) - kOpenTopRadius;
    const bool wantsRight = m_settings.showsCalendar() && rightWall - kDrawerStrip <= p.x() && p.x() <= maxX(centre);
    const bool wantsLeft = m_mirrorAvailable && m_settings.showsMirror() && minX(centre) <= p.x()
        && p.x() <= leftWall + kDrawerStrip;
    // An open drawer keeps a 150-point band of the centre page, so a small
    // wobble back towards the middle does not close it.
    switch (m_drawer) {
    case Drawer::None:
        return wantsRight ? Drawer::Calendar : (wantsLeft ? Drawer::Mirror : Drawer::None);
    case Drawer::Mirror:
        if (p.x() <= leftWall + kDrawerTerritory)
            return Drawer::Mirror;
        return wantsRight ? Drawer::Calendar : Drawer::None;
    case Drawer::Calendar:
        if (p.x() >= rightWall - kDrawerTerritory)
            return Drawer::Calendar;
        return wantsLeft ? Drawer::Mirror : Drawer::None;
    }
    return Drawer::None;
}

void NotchViewModel::updateDrawer(QPointF p)
{
    if (!isExpanded() || m_isDropTargeted || !isOnHomePage() || m_pageDragOffset != 0
        || m_geometry.drawerWidth() <= 0)
        return;
    const Drawer target = drawerTarget(p);
    if (target == m_drawer) {
        m_pendingDrawer.cancel();
        return;
    }
    if (target != Drawer::None) {
        // A pending opening keeps its first target: passing from one strip
        // to the other does not restart the dwell.
        if (m_pendingDrawer.isActive())
            return;
        m_pendingDrawer.start(kDrawerDwell, [this, target] {
            if (target != m_drawer) {
                useSpring(kDrawerSpring);
                setDrawer(target);
            }
        });
        return;
    }
    // Closing has no delay; only opening waits.
    m_pendingDrawer.cancel();
    closeDrawer();
}

void NotchViewModel::closeDrawer()
{
    m_pendingDrawer.cancel();
    if (m_drawer == Drawer::None)
        return;
    useSpring(kDrawerSpring);
    setDrawer(Drawer::None);
}

void NotchViewModel::hold()
{
    m_isHeld = true;
    m_pendingTransition.cancel();
}

void NotchViewModel::releaseHold(QPointF p)
{
    m_isHeld = false;
    m_isPointerInside = ScreenSpace::contains(interactiveRect(), p);
    if (!m_isPointerInside && isExpanded())
        scheduleTransition(m_collapseDelay, &NotchViewModel::collapse);
}

// ---- opening and closing -------------------------------------------------

void NotchViewModel::expand()
{
    m_pendingTransition.cancel();
    if (isExpanded())
        return;
    m_peekTimer.cancel();
    useSpring(kOpenSpring);
    // The open Nook never carries a peek; state and peek change as one.
    const bool hadPeek = m_peek.has_value();
    publishSpring();
    m_peek.reset();
    setState(State::Expanded);
    if (hadPeek)
        Q_EMIT peekChanged();
    if (onExpand)
        onExpand();
}

void NotchViewModel::collapse()
{
    m_pendingTransition.cancel();
    if (!isExpanded())
        return;
    m_pendingDrawer.cancel();
    useSpring(kCloseSpring);
    // One change of the outline: state and drawer together.
    const bool hadDrawer = m_drawer != Drawer::None;
    publishSpring();
    m_drawer = Drawer::None;
    setState(State::Collapsed);
    if (hadDrawer)
        Q_EMIT drawerChanged();
}

// ---- pages ---------------------------------------------------------------

void NotchViewModel::show(NookPage page)
{
    closeDrawer();
    useSpring(kPageSpring);
    setPage(page);
}

void NotchViewModel::dragPages(double dx)
{
    closeDrawer();
    const QList<NookPage> all = pages();
    const int index = visibleIndex();
    const bool first = all.isEmpty() || index == 0;
    const bool last = all.isEmpty() || index == all.size() - 1;
    double offset = dx;
    if ((first && dx > 0) || (last && dx < 0))
        offset = dx * kRubberBand;
    useSpring(Spring());
    setPageDragOffset(offset);
}

void NotchViewModel::endPageDrag(double projectedTranslation)
{
    const double width = m_geometry.expandedSize().width();
    double t = projectedTranslation;
    // A drag that already carried the page past its middle turns it, even
    // if the finger flicks back at the end.
    if (std::abs(m_pageDragOffset) > width * 0.5)
        t = m_pageDragOffset;
    int index = visibleIndex();
    if (t < -0.2 * width)
        index += 1;
    else if (t > 0.2 * width)
        index -= 1;
    const QList<NookPage> all = pages();
    useSpring(kPageSpring);
    if (index >= 0 && index < all.size())
        setPage(all.at(index));
    setPageDragOffset(0);
}

// ---- drops, playback, peeks, typing --------------------------------------

void NotchViewModel::setDropTargeted(bool targeted)
{
    if (m_isDropTargeted == targeted)
        return;
    m_isDropTargeted = targeted;
    Q_EMIT isDropTargetedChanged();
    if (!targeted)
        return;
    closeDrawer();
    expand();
    if (m_page != NookPage::Tray && pages().contains(NookPage::Tray)) {
        useSpring(kTraySpring);
        setPage(NookPage::Tray);
    }
}

void NotchViewModel::playbackChanged(std::optional<bool> isPlaying)
{
    const Playback report = !isPlaying ? Playback::Unknown : (*isPlaying ? Playback::Playing : Playback::Paused);
    if (m_lastPlayback != Playback::NeverTold && report == m_lastPlayback)
        return;
    m_lastPlayback = report;
    m_playbackLinger.cancel();
    switch (report) {
    case Playback::Unknown:
        if (m_showsPlayback) {
            useSpring(kPlaybackSpring);
            setShowsPlayback(false);
        }
        break;
    case Playback::Playing:
        if (!m_showsPlayback) {
            useSpring(kPlaybackSpring);
            setShowsPlayback(true);
        }
        break;
    case Playback::Paused:
        // A pause shorter than the linger never makes the wings blink.
        if (m_showsPlayback) {
            m_playbackLinger.start(m_pauseLinger, [this] {
                if (m_showsPlayback) {
                    useSpring(kPlaybackSpring);
                    setShowsPlayback(false);
                }
            });
        }
        break;
    case Playback::NeverTold:
        break;
    }
}

void NotchViewModel::showPeek(const Peek &peek, double seconds)
{
    if (isExpanded())
        return;
    useSpring(kPeekInSpring);
    setPeek(peek);
    m_peekTimer.start(seconds, [this] { endPeek(); });
}

void NotchViewModel::endPeek()
{
    m_peekTimer.cancel();
    if (!m_peek)
        return;
    useSpring(kPeekOutSpring);
    setPeek(std::nullopt);
}

void NotchViewModel::beginTyping()
{
    if (m_isTyping)
        return;
    // The Nook must not close under the user's hands.
    m_isHeld = true;
    m_pendingTransition.cancel();
    setTyping(true);
    if (onKeyboardRequest)
        onKeyboardRequest(true);
}

void NotchViewModel::endTyping()
{
    if (!m_isTyping)
        return;
    setTyping(false);
    if (onKeyboardRequest)
        onKeyboardRequest(false);
}

void NotchViewModel::enterKey()
{
    if (m_isTyping && onEnterKey)
        onEnterKey();
}

void NotchViewModel::dismiss()
{
    endTyping();
    collapse();
}

void NotchViewModel::openWithKeyboard()
{
    expand();
    // Held like typing: keys go to the Nook, and it does not close under
    // a pointer that is somewhere else.
    beginTyping();
    Q_EMIT keyboardFocusRequested();
}

void NotchViewModel::openSettings()
{
    if (onOpenSettings)
        onOpenSettings();
}
