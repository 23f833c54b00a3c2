#pragma once

#include "camera/CameraMirror.h"
#include "camera/FrameCheck.h"
#include "core/ClockSlot.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>
#include <optional>

class EdgeLight;
class TrayStore;

// One check row's reading: what it says and whether that is good news.
struct Verdict
{
    QString text;
    bool isGood = false;

    friend bool operator==(const Verdict &, const Verdict &) = default;
};

// What the mirror drawer shows and does, worked out here so the view only
// draws: the panel for each camera state, the two check rows, the buttons'
// help texts, and a snap's progress from the flash to "saved". While the
// drawer is out (`active`) the camera runs; when it goes, the camera stops.
class MirrorDrawerModel : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool active READ isActive WRITE setActive NOTIFY activeChanged)
    Q_PROPERTY(CameraMirror *camera READ camera CONSTANT)
    Q_PROPERTY(bool showsPreCall READ showsPreCall NOTIFY statusChanged)
    Q_PROPERTY(QString panelSymbol READ panelSymbol NOTIFY statusChanged)
    Q_PROPERTY(QString panelText READ panelText NOTIFY statusChanged)
    Q_PROPERTY(QString panelButton READ panelButton NOTIFY statusChanged)
    Q_PROPERTY(QString note READ note CONSTANT)
    Q_PROPERTY(bool hasVerdicts READ hasVerdicts NOTIFY verdictsChanged)
    Q_PROPERTY(QString lightingText READ lightingText NOTIFY verdictsChanged)
    Q_PROPERTY(bool lightingGood READ lightingGood NOTIFY verdictsChanged)
    Q_PROPERTY(QString framingText READ framingText NOTIFY verdictsChanged)
    Q_PROPERTY(bool framingGood READ framingGood NOTIFY verdictsChanged)
    Q_PROPERTY(bool isMirrored READ isMirrored NOTIFY helpChanged)
    Q_PROPERTY(bool lightIsOn READ lightIsOn NOTIFY helpChanged)
    Q_PROPERTY(QString flipHelp READ flipHelp NOTIFY helpChanged)
    Q_PROPERTY(QString lightHelp READ lightHelp NOTIFY helpChanged)
    Q_PROPERTY(QString snapHelp READ snapHelp CONSTANT)
    Q_PROPERTY(QString nextCameraHelp READ nextCameraHelp CONSTANT)
    Q_PROPERTY(bool canSwitchCamera READ canSwitchCamera NOTIFY statusChanged)
    Q_PROPERTY(SnapState snapState READ snapState NOTIFY snapStateChanged)
    Q_PROPERTY(QString snapMessage READ snapMessage NOTIFY snapStateChanged)
    Q_PROPERTY(bool isFlashing READ isFlashing NOTIFY isFlashingChanged)

public:
    enum class SnapState { Ready, Working, Saved, Failed };
    Q_ENUM(SnapState)

    static constexpr double flashSeconds = 0.18;
    static constexpr double snapResultSeconds = 2.5;

    // Takes the application's camera, light and tray.
    explicit MirrorDrawerModel(QObject *parent = nullptr);
    MirrorDrawerModel(CameraMirror *camera, EdgeLight *light, TrayStore *tray, Clock &clock, QObject *parent = nullptr);

    static Verdict lightingVerdict(FrameCheck::Lighting lighting, bool lightIsOn);
    static Verdict framingVerdict(FrameCheck::Framing framing);
    static QString panelText(CameraMirror::Status status);

    bool isActive() const { return m_active; }
    void setActive(bool active);
    CameraMirror *camera() const { return m_camera; }
    bool showsPreCall() const;
    QString panelSymbol() const;
    QString panelText() const;
    QString panelButton() const;
    QString note() const { return QStringLiteral("The camera is only on while this drawer is out."); }
    bool hasVerdicts() const { return lightingVerdict().has_value(); }
    std::optional<Verdict> lightingVerdict() const;
    std::optional<Verdict> framingVerdict() const;
    QString lightingText() const { return lightingVerdict().value_or(Verdict{}).text; }
    bool lightingGood() const { return lightingVerdict().value_or(Verdict{}).isGood; }
    QString framingText() const { return framingVerdict().value_or(Verdict{}).text; }
    bool framingGood() const { return framingVerdict().value_or(Verdict{}).isGood; }
    bool isMirrored() const;
    bool lightIsOn() const;
    QString flipHelp() const;
    QString lightHelp() const;
    QString snapHelp() const { return QStringLiteral("Snap a photo into the tray"); }
    QString nextCameraHelp() const { return QStringLiteral("Use the next camera"); }
    bool canSwitchCamera() const;
    SnapState snapState() const { return m_snapState; }
    QString snapMessage() const;
    bool isFlashing() const { return m_isFlashing; }

    Q_INVOKABLE void performPanelAction();
    Q_INVOKABLE void flip();
    Q_INVOKABLE void snap();
    Q_INVOKABLE void toggleLight();
    Q_INVOKABLE void nextCamera();

Q_SIGNALS:
    void activeChanged();
    void statusChanged();
    void verdictsChanged();
    void helpChanged();
    void snapStateChanged();
    void isFlashingChanged();

private:
    void connectServices();
    void snapFinished(const QUrl &file);
    void setSnapState(SnapState state);
    void setFlashing(bool flashing);

    QPointer<CameraMirror> m_camera;
    QPointer<EdgeLight> m_light;
    QPointer<TrayStore> m_tray;
    ClockSlot m_flash;
    ClockSlot m_snapReset;
    bool m_active = false;
    bool m_awaitingSnap = false;
    SnapState m_snapState = SnapState::Ready;
    bool m_isFlashing = false;
};
