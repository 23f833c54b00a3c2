#pragma once

#include "core/ClockSlot.h"
#include "core/Spring.h"
#include "notch/DropZone.h"
#include "notch/NookPage.h"
#include "notch/NotchGeometry.h"
#include "peeks/AirPodsLevels.h"

#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <optional>

class NookSettings;

// The one state of the notch: closed or open, what peeks out, which page and
// drawer show, whether the user types, whether files hover over it. It owns
// every timer of the shell and decides every transition; the panel only
// feeds it pointer positions and events, and the views only read it.
//
// Pointer positions and `interactiveRect` are in screen space (y up); the
// panel converts Qt's coordinates once at its edge.
class NotchViewModel : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Owned by the notch window controller")

    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(bool isExpanded READ isExpanded NOTIFY stateChanged)
    Q_PROPERTY(bool hasPeek READ hasPeek NOTIFY peekChanged)
    Q_PROPERTY(AirPodsLevels peekLevels READ peekLevels NOTIFY peekChanged)
    Q_PROPERTY(bool showsPlayback READ showsPlayback NOTIFY showsPlaybackChanged)
    Q_PROPERTY(NotchGeometry geometry READ geometry NOTIFY geometryChanged)
    Q_PROPERTY(NookPage page READ page NOTIFY pageChanged)
    Q_PROPERTY(Drawer drawer READ drawer NOTIFY drawerChanged)
    Q_PROPERTY(bool isTyping READ isTyping NOTIFY isTypingChanged)
    Q_PROPERTY(bool isDropTargeted READ isDropTargeted NOTIFY isDropTargetedChanged)
    Q_PROPERTY(DropZone dropZone READ dropZone WRITE setDropZone NOTIFY dropZoneChanged)
    Q_PROPERTY(double pageDragOffset READ pageDragOffset NOTIFY pageDragOffsetChanged)
    Q_PROPERTY(double hoverOpenDelay READ hoverOpenDelay WRITE setHoverOpenDelay NOTIFY hoverOpenDelayChanged)
    Q_PROPERTY(double collapseDelay READ collapseDelay WRITE setCollapseDelay NOTIFY collapseDelayChanged)

    Q_PROPERTY(bool hasVisiblePage READ hasVisiblePage NOTIFY visiblePageChanged)
    Q_PROPERTY(NookPage visiblePage READ visiblePageOrMedia NOTIFY visiblePageChanged)
    Q_PROPERTY(int visibleIndex READ visibleIndex NOTIFY visiblePageChanged)
    Q_PROPERTY(bool isOnHomePage READ isOnHomePage NOTIFY visiblePageChanged)
    Q_PROPERTY(QVariantList pages READ pageList NOTIFY pagesChanged)
    Q_PROPERTY(QRectF shapeRect READ shapeRect NOTIFY shapeRectChanged)
    Q_PROPERTY(double topRadius READ topRadius NOTIFY radiiChanged)
    Q_PROPERTY(double bottomRadius READ bottomRadius NOTIFY radiiChanged)
    // Window-local rooms beside the closed notch for the playback wings, and
    // the whole widened strip for a peek.
    Q_PROPERTY(QRectF leftWingRect READ leftWingRect NOTIFY geometryChanged)
    Q_PROPERTY(QRectF rightWingRect READ rightWingRect NOTIFY geometryChanged)
    Q_PROPERTY(QRectF peekRect READ peekRect NOTIFY geometryChanged)
    Q_PROPERTY(QRectF interactiveRect READ interactiveRect NOTIFY interactiveRectChanged)

    // The spring of the latest change, and of the latest change to the
    // outline and to the page row: views animate each with its own.
    Q_PROPERTY(Spring animation READ animation NOTIFY animationChanged)
    Q_PROPERTY(Spring outlineAnimation READ outlineAnimation NOTIFY outlineAnimationChanged)
    Q_PROPERTY(Spring pageAnimation READ pageAnimation NOTIFY pageAnimationChanged)
    Q_PROPERTY(Spring drawerAnimation READ drawerAnimation NOTIFY reduceMotionChanged)
    // The user asked the desktop for less motion: every change of the shell
    // is shown at once.
    Q_PROPERTY(bool reduceMotion READ reduceMotion WRITE setReduceMotion NOTIFY reduceMotionChanged)
    // A view for the left drawer exists; without one the left strip offers
    // nothing rather than an empty drawer.
    Q_PROPERTY(bool mirrorAvailable READ mirrorAvailable WRITE setMirrorAvailable NOTIFY mirrorAvailableChanged)

public:
    enum class State { Collapsed, Expanded };
    Q_ENUM(State)
    enum class Drawer { None, Mirror, Calendar };
    Q_ENUM(Drawer)

    // The one kind of peek: AirPods battery levels.
    struct Peek
    {
        AirPodsLevels levels;
        bool operator==(const Peek &) const = default;
    };

    enum class Playback { NeverTold, Unknown, Playing, Paused };

    static inline const Spring kOpenSpring{0.42, 0.74};
    static inline const Spring kCloseSpring{0.38, 0.9};
    static inline const Spring kDrawerSpring{0.4, 0.84};
    static inline const Spring kPageSpring{0.4, 0.86};
    static inline const Spring kTraySpring{0.35, 1.0};
    static inline const Spring kPlaybackSpring{0.45, 0.8};
    static inline const Spring kPeekInSpring{0.45, 0.78};
    static inline const Spring kPeekOutSpring{0.4, 0.9};

    static constexpr double kDrawerStrip = 30;
    static constexpr double kDrawerTerritory = 150;
    static constexpr double kDrawerDwell = 0.11;
    static constexpr double kPauseLinger = 5;
    static constexpr double kPeekWidening = 74;
    static constexpr double kPlaybackWidening = 44;
    static constexpr double kClosedSlop = 8;
    static constexpr double kClosedTopRadius = 6;
    static constexpr double kOpenTopRadius = 8;
    static constexpr double kOpenBottomRadius = 22;
    static constexpr double kPhysicalBottomRadius = 10;
    static constexpr double kRubberBand = 0.3;

    NotchViewModel(const NotchGeometry &geometry, NookSettings &settings, Clock &clock, QObject *parent = nullptr);
    ~NotchViewModel() override;

    State state() const { return m_state; }
    bool isExpanded() const { return m_state == State::Expanded; }
    const std::optional<Peek> &peek() const { return m_peek; }
    bool hasPeek() const { return m_peek.has_value(); }
    AirPodsLevels peekLevels() const { return m_peek ? m_peek->levels : AirPodsLevels{}; }
    bool showsPlayback() const { return m_showsPlayback; }
    const NotchGeometry &geometry() const { return m_geometry; }
    NookPage page() const { return m_page; }
    Drawer drawer() const { return m_drawer; }
    bool isTyping() const { return m_isTyping; }
    bool isDropTargeted() const { return m_isDropTargeted; }
    DropZone dropZone() const { return m_dropZone; }
    double pageDragOffset() const { return m_pageDragOffset; }
    double hoverOpenDelay() const { return m_hoverOpenDelay; }
    double collapseDelay() const { return m_collapseDelay; }
    bool isHeld() const { return m_isHeld; }
    bool isPointerInside() const { return m_isPointerInside; }

    std::optional<NookPage> visiblePage() const;
    bool hasVisiblePage() const { return visiblePage().has_value(); }
    NookPage visiblePageOrMedia() const { return visiblePage().value_or(NookPage::Media); }
    int visibleIndex() const;
    bool isOnHomePage() const;
    QList<NookPage> pages() const;
    QVariantList pageList() const;
    QRectF shapeRect() const;
    QRectF interactiveRect() const;
    double topRadius() const { return radii(isExpanded(), m_geometry).top; }
    double bottomRadius() const { return radii(isExpanded(), m_geometry).bottom; }
    QRectF leftWingRect() const;
    QRectF rightWingRect() const;
    QRectF peekRect() const;

    struct Radii
    {
        double top = 0;
        double bottom = 0;
        bool operator==(const Radii &) const = default;
    };
    // The outline's corners: the open Nook is rounder; a simulated notch
    // closes into a pill, a real housing keeps its own small rounding.
    static Radii radii(bool open, const NotchGeometry &geometry);
    // How far the closed outline reaches out on each side of the notch.
    static double closedWidening(bool peek, bool playback);

    Spring animation() const { return m_animation; }
    Spring outlineAnimation() const { return m_outlineAnimation; }
    Spring pageAnimation() const { return m_pageAnimation; }
    Spring drawerAnimation() const { return m_reduceMotion ? Spring() : kDrawerSpring; }
    bool reduceMotion() const { return m_reduceMotion; }
    void setReduceMotion(bool reduce);
    bool mirrorAvailable() const { return m_mirrorAvailable; }
    void setMirrorAvailable(bool available);

    void setDropZone(DropZone zone);
    void setHoverOpenDelay(double seconds);
    void setCollapseDelay(double seconds);

    void update(const NotchGeometry &geometry);
    void pointerMoved(QPointF to);
    void releaseHold(QPointF pointerAt);
    // A press held inside the Nook suspends hover tracking until released.
    void hold();

    Q_INVOKABLE void expand();
    Q_INVOKABLE void collapse();
    Q_INVOKABLE void show(NookPage page);
    Q_INVOKABLE void dragPages(double dx);
    Q_INVOKABLE void endPageDrag(double projectedTranslation);
    Q_INVOKABLE void setDropTargeted(bool targeted);
    void playbackChanged(std::optional<bool> isPlaying);
    void showPeek(const Peek &peek, double seconds);
    Q_INVOKABLE void endPeek();
    Q_INVOKABLE void beginTyping();
    Q_INVOKABLE void endTyping();
    // For views: the Return key while typing, and the "Open Settings" button.
    Q_INVOKABLE void enterKey();
    Q_INVOKABLE void openSettings();
    // Escape in the Nook: typing ends, the keyboard goes back, the Nook closes.
    Q_INVOKABLE void dismiss();
    // Opened from the keyboard: the Nook stays open wherever the pointer is,
    // takes the keyboard, and the views put focus on the first control.
    void openWithKeyboard();

    std::function<void(bool)> onKeyboardRequest;
    std::function<void()> onOpenSettings;
    std::function<void()> onExpand;
    std::function<void()> onEnterKey;

Q_SIGNALS:
    void stateChanged();
    void peekChanged();
    void showsPlaybackChanged();
    void geometryChanged();
    void pageChanged();
    void drawerChanged();
    void isTypingChanged();
    void isDropTargetedChanged();
    void dropZoneChanged();
    void pageDragOffsetChanged();
    void hoverOpenDelayChanged();
    void collapseDelayChanged();
    void visiblePageChanged();
    void pagesChanged();
    void shapeRectChanged();
    void radiiChanged();
    void interactiveRectChanged();
    void animationChanged();
    void outlineAnimationChanged();
    void pageAnimationChanged();
    void reduceMotionChanged();
    void keyboardFocusRequested();
    void mirrorAvailableChanged();

private:
    void updateDrawer(QPointF p);
    Drawer drawerTarget(QPointF p) const;
    void scheduleTransition(double seconds, void (NotchViewModel::*action)());
    void closeDrawer();

    // Every change goes through these so that the spring is named first and
    // observers hear only of real changes.
    void useSpring(const Spring &spring);
    void publishSpring();
    void setState(State state);
    void setPeek(const std::optional<Peek> &peek);
    void setShowsPlayback(bool shows);
    void setPage(NookPage page);
    void setDrawer(Drawer drawer);
    void setPageDragOffset(double offset);
    void setTyping(bool typing);
    void refreshDerived();
    void publishOutlineSpring();

    NookSettings &m_settings;
    NotchGeometry m_geometry;

    State m_state = State::Collapsed;
    std::optional<Peek> m_peek;
    bool m_showsPlayback = false;
    NookPage m_page = NookPage::Media;
    Drawer m_drawer = Drawer::None;
    bool m_isTyping = false;
    bool m_isDropTargeted = false;
    DropZone m_dropZone = DropZone::Tray;
    double m_pageDragOffset = 0;
    double m_hoverOpenDelay = 0.12;
    double m_collapseDelay = 0.4;

    bool m_isPointerInside = false;
    bool m_isHeld = false;
    Playback m_lastPlayback = Playback::NeverTold;
    double m_pauseLinger = kPauseLinger;

    ClockSlot m_pendingTransition;
    ClockSlot m_pendingDrawer;
    ClockSlot m_peekTimer;
    ClockSlot m_playbackLinger;

    bool m_reduceMotion = false;
    bool m_mirrorAvailable = false;
    Spring m_animation;
    Spring m_nextSpring;
    Spring m_outlineAnimation;
    Spring m_pageAnimation;

    // Last published derived values, to notify only on real change.
    std::optional<NookPage> m_visiblePage;
    int m_visibleIndex = 0;
    bool m_isOnHomePage = true;
    QList<NookPage> m_pages;
    QRectF m_shapeRect;
    Radii m_radii;
    // The outline as last given a spring: rectangle and radii move as one.
    QRectF m_springShape;
    Radii m_springRadii;
    QRectF m_interactiveRect;
};
