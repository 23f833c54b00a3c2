#include "camera/MirrorDrawerModel.h"

#include "camera/EdgeLight.h"
#include "core/Clock.h"
#include "tray/TrayStore.h"

MirrorDrawerModel::MirrorDrawerModel(QObject *parent)
    : MirrorDrawerModel(CameraMirror::instance(), EdgeLight::instance(), TrayStore::instance(), Clock::system(), parent)
{
}

MirrorDrawerModel::MirrorDrawerModel(CameraMirror *camera, EdgeLight *light, TrayStore *tray, Clock &clock,
                                     QObject *parent)
    : QObject(parent)
    , m_camera(camera)
    , m_light(light)
    , m_tray(tray)
    , m_flash(clock)
    , m_snapReset(clock)
{
    connectServices();
}

void MirrorDrawerModel::connectServices()
{
    if (m_camera) {
        connect(m_camera, &CameraMirror::statusChanged, this, &MirrorDrawerModel::statusChanged);
        connect(m_camera, &CameraMirror::cameraNameChanged, this, &MirrorDrawerModel::statusChanged);
        connect(m_camera, &CameraMirror::checkChanged, this, &MirrorDrawerModel::verdictsChanged);
        connect(m_camera, &CameraMirror::isMirroredChanged, this, &MirrorDrawerModel::helpChanged);
        connect(m_camera, &CameraMirror::snapFinished, this, &MirrorDrawerModel::snapFinished);
    }
    if (m_light) {
        connect(m_light, &EdgeLight::isOnChanged, this, &MirrorDrawerModel::helpChanged);
        // "Too dark, try Light" stops suggesting the light once it is on.
        connect(m_light, &EdgeLight::isOnChanged, this, &MirrorDrawerModel::verdictsChanged);
    }
}

Verdict MirrorDrawerModel::lightingVerdict(FrameCheck::Lighting lighting, bool lightIsOn)
{
    using L = FrameCheck::Lighting;
    switch (lighting) {
    case L::Good:
        return {QStringLiteral("Good light"), true};
    case L::TooDark:
        return {lightIsOn ? QStringLiteral("Too dark") : QStringLiteral("Too dark, try Light"), false};
    case L::TooBright:
        return {QStringLiteral("Too bright"), false};
    }
    return {};
}

Verdict MirrorDrawerModel::framingVerdict(FrameCheck::Framing framing)
{
    using F = FrameCheck::Framing;
    switch (framing) {
    case F::Centered:
        return {QStringLiteral("Centered"), true};
    case F::NoFace:
        return {QStringLiteral("No face in view"), false};
    case F::OffCenter:
        return {QStringLiteral("Off to the side"), false};
    case F::TooClose:
        return {QStringLiteral("Too close"), false};
    case F::TooFar:
        return {QStringLiteral("Too far away"), false};
    }
    return {};
}

QString MirrorDrawerModel::panelText(CameraMirror::Status status)
{
    using S = CameraMirror::Status;
    switch (status) {
    case S::NeedsPermission:
        return QStringLiteral("Check your lighting and framing before a call. Nothing leaves your computer.");
    case S::Denied:
        // There is no camera permission to grant on a desktop; what stops us
        // is the device node's own permissions, usually the "video" group.
        return QStringLiteral("Tarnwick may not open the camera. Add yourself to the video group, "
                              "log in again, then try again.");
    case S::NoCamera:
        return QStringLiteral("Connect a camera, or open your laptop's lid.");
    case S::Idle:
    case S::Running:
        return {};
    }
    return {};
}

void MirrorDrawerModel::setActive(bool active)
{
    if (m_active == active)
        return;
    m_active = active;
    Q_EMIT activeChanged();
    if (m_camera)
        m_camera->setActive(active);
}

bool MirrorDrawerModel::showsPreCall() const
{
    if (!m_camera)
        return false;
    const auto status = m_camera->status();
    return status == CameraMirror::Status::Idle || status == CameraMirror::Status::Running;
}

QString MirrorDrawerModel::panelSymbol() const
{
    if (!m_camera)
        return {};
    switch (m_camera->status()) {
    case CameraMirror::Status::Denied:
        return QStringLiteral("no_photography");
    case CameraMirror::Status::NoCamera:
        return QStringLiteral("videocam_off");
    default:
        return QStringLiteral("videocam");
    }
}

QString MirrorDrawerModel::panelText() const
{
    return m_camera ? panelText(m_camera->status()) : QString();
}

QString MirrorDrawerModel::panelButton() const
{
    if (!m_camera)
        return {};
    switch (m_camera->status()) {
    case CameraMirror::Status::NeedsPermission:
        return QStringLiteral("Allow camera");
    case CameraMirror::Status::Denied:
        return QStringLiteral("Try again");
    default:
        return {};
    }
}

std::optional<Verdict> MirrorDrawerModel::lightingVerdict() const
{
    if (!m_camera || !m_camera->check())
        return std::nullopt;
    return lightingVerdict(m_camera->check()->lighting, lightIsOn());
}

std::optional<Verdict> MirrorDrawerModel::framingVerdict() const
{
    if (!m_camera || !m_camera->check())
        return std::nullopt;
    return framingVerdict(m_camera->check()->framing);
}

bool MirrorDrawerModel::isMirrored() const
{
    return m_camera && m_camera->isMirrored();
}

bool MirrorDrawerModel::lightIsOn() const
{
    return m_light && m_light->isOn();
}

QString MirrorDrawerModel::flipHelp() const
{
    return isMirrored() ? QStringLiteral("Flip: show as others see you") : QStringLiteral("Flip: show as a mirror");
}

QString MirrorDrawerModel::lightHelp() const
{
    return lightIsOn() ? QStringLiteral("Turn off the screen light")
                       : QStringLiteral("Light: a glowing tube around the screen, for dark rooms");
}

bool MirrorDrawerModel::canSwitchCamera() const
{
    return m_camera && m_camera->cameraCount() > 1;
}

QString MirrorDrawerModel::snapMessage() const
{
    switch (m_snapState) {
    case SnapState::Saved:
        return QStringLiteral("Saved to Pictures › Tarnwick and added to the tray");
    case SnapState::Failed:
        return QStringLiteral("Couldn't save the photo to Pictures › Tarnwick");
    default:
        return {};
    }
}

void MirrorDrawerModel::performPanelAction()
{
    if (m_camera)
        m_camera->requestAccess();
}

void MirrorDrawerModel::flip()
{
    if (m_camera)
        m_camera->setMirrored(!m_camera->isMirrored());
}

void MirrorDrawerModel::toggleLight()
{
    if (m_light)
        m_light->setOn(!m_light->isOn());
}

void MirrorDrawerModel::nextCamera()
{
    if (m_camera)
        m_camera->switchCamera();
}

void MirrorDrawerModel::snap()
{
    if (!m_camera || m_snapState == SnapState::Working)
        return;
    m_snapReset.cancel();
    setSnapState(SnapState::Working);
    setFlashing(true);
    m_flash.start(flashSeconds, [this] { setFlashing(false); });
    m_awaitingSnap = true;
    m_camera->snap();
}

void MirrorDrawerModel::snapFinished(const QUrl &file)
{
    if (!std::exchange(m_awaitingSnap, false))
        return;
    if (file.isValid()) {
        if (m_tray)
            m_tray->add({file});
        setSnapState(SnapState::Saved);
    } else {
        setSnapState(SnapState::Failed);
    }
    m_snapReset.start(snapResultSeconds, [this] { setSnapState(SnapState::Ready); });
}

void MirrorDrawerModel::setSnapState(SnapState state)
{
    if (m_snapState == state)
        return;
    m_snapState = state;
    Q_EMIT snapStateChanged();
}

void MirrorDrawerModel::setFlashing(bool flashing)
{
    if (m_isFlashing == flashing)
        return;
    m_isFlashing = flashing;
    Q_EMIT isFlashingChanged();
}
