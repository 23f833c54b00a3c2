#include "peeks/SystemVolume.h"

#include "peeks/VolumeText.h"

#include <algorithm>
#include <cmath>

namespace {

bool containsWord(const QString &text, QLatin1StringView word)
{
    return text.contains(word, Qt::CaseInsensitive);
}

bool isBluetooth(const VolumeBackend::Sink &sink)
{
    const QString api = sink.properties.value(QStringLiteral("device.api"));
    return sink.properties.value(QStringLiteral("device.bus")) == QLatin1String("bluetooth")
        || api == QLatin1String("bluez") || api == QLatin1String("bluez5");
}

// ALSA names its HDMI and DisplayPort outputs through the port ("hdmi-output-0",
// "[Out] HDMI1"), the profile ("hdmi-stereo") or only the description ("...
// Digital Stereo (HDMI)"); DisplayPort audio rides on the same "hdmi" names.
bool isDisplay(const VolumeBackend::Sink &sink)
{
    if (sink.portType == VolumeBackend::PortType::Hdmi)
        return true;
    const QString hints[] = {sink.portName, sink.properties.value(QStringLiteral("device.profile.name")),
        sink.properties.value(QStringLiteral("device.profile.description")), sink.description};
    return std::any_of(std::begin(hints), std::end(hints), [](const QString &hint) {
        return containsWord(hint, QLatin1StringView("hdmi")) || containsWord(hint, QLatin1StringView("displayport"));
    });
}

// PulseAudio's RAOP sinks are named "raop_output.<host>", PipeWire's
// "raop_sink.<host>", and both carry "raop.*" properties.
bool isAirPlay(const VolumeBackend::Sink &sink)
{
    if (sink.id.startsWith(QLatin1String("raop"), Qt::CaseInsensitive))
        return true;
    const auto keys = sink.properties.keys();
    return std::any_of(
        keys.begin(), keys.end(), [](const QString &key) { return key.startsWith(QLatin1String("raop.")); });
}

bool isBuiltIn(const VolumeBackend::Sink &sink)
{
    return sink.properties.value(QStringLiteral("device.form_factor")) == QLatin1String("internal")
        || sink.portType == VolumeBackend::PortType::Speaker
        || containsWord(sink.portName, QLatin1StringView("speaker"));
}

} // namespace

QString SystemVolume::Output::symbol() const
{
    switch (kind) {
    case Kind::BuiltIn:
        return QStringLiteral("volume_up");
    case Kind::AirPods:
        // "Max" first: the over-ear model gets the headphones glyph even if
        // someone renamed it "AirPods Max Pro".
        if (containsWord(name, QLatin1StringView("max")))
            return QStringLiteral("headphones");
        return QStringLiteral("earbuds");
    case Kind::Headphones:
        return QStringLiteral("headphones");
    case Kind::AirPlay:
        return QStringLiteral("airplay");
    case Kind::Display:
        return QStringLiteral("tv");
    case Kind::Other:
        break;
    }
    return QStringLiteral("speaker");
}

SystemVolume::Output::Kind SystemVolume::Output::kindOf(const VolumeBackend::Sink &sink, const QString &name)
{
    if (isBluetooth(sink))
        return containsWord(name, QLatin1StringView("airpods")) ? Kind::AirPods : Kind::Headphones;
    if (isDisplay(sink))
        return Kind::Display;
    if (isAirPlay(sink))
        return Kind::AirPlay;
    if (isBuiltIn(sink))
        return Kind::BuiltIn;
    return Kind::Other;
}

SystemVolume::SystemVolume(VolumeBackend &backend, QObject *parent)
    : QObject(parent)
    , m_backend(backend)
{
    // The texts follow every value they are made of.
    for (auto signal : {&SystemVolume::levelChanged, &SystemVolume::isMutedChanged,
                        &SystemVolume::isAdjustableChanged, &SystemVolume::outputChanged})
        connect(this, signal, this, &SystemVolume::textsChanged);
    connect(&m_backend, &VolumeBackend::changed, this, [this] {
        if (isAvailable() != m_wasAvailable) {
            m_wasAvailable = isAvailable();
            Q_EMIT textsChanged();
        }
    });
    m_wasAvailable = isAvailable();
}

QString SystemVolume::unreachableText()
{
    return tr("Tarnwick can't reach the sound server");
}

QString SystemVolume::readout() const
{
    if (!isAvailable())
        return QStringLiteral("–");
    return VolumeText::readout(m_level, m_isMuted);
}

QString SystemVolume::readoutSymbol() const
{
    // A speaker without waves: not the struck-out one that means muted.
    if (!isAvailable())
        return QStringLiteral("volume_mute");
    if (m_isMuted)
        return QStringLiteral("volume_off");
    // Before the first read there is no output to draw; the plain speaker
    // stands in.
    return m_output ? m_output->symbol() : QStringLiteral("volume_up");
}

QString SystemVolume::accessibilityValue() const
{
    if (!isAvailable())
        return unreachableText();
    return VolumeText::accessibilityValue(m_level, m_isMuted);
}

QString SystemVolume::help() const
{
    if (!isAvailable())
        return unreachableText();
    return VolumeText::help(outputName(), m_isAdjustable, m_level, m_isMuted);
}

QString SystemVolume::unnamedOutput()
{
    return QStringLiteral("Output");
}

void SystemVolume::start()
{
    if (m_started)
        return;
    m_started = true;
    connect(&m_backend, &VolumeBackend::changed, this, &SystemVolume::followDefaultOutput);
    m_backend.start();
    followDefaultOutput();
}

void SystemVolume::followDefaultOutput()
{
    // While the server is away (restarting, say) everything stays as it was,
    // so the control does not flash empty for the second a restart takes.
    const auto sink = m_backend.defaultSink();
    if (!sink)
        return;
    m_device = sink->id;

    const QString description = sink->description.trimmed();
    const QString name = description.isEmpty() ? unnamedOutput() : description;
    const Output output {name, Output::kindOf(*sink, name)};
    if (m_output != output) {
        m_output = output;
        Q_EMIT outputChanged();
    }
    refresh(*sink);
}

void SystemVolume::refresh(const VolumeBackend::Sink &sink)
{
    const bool adjustable = sink.hasVolume;
    // Servers allow amplification past 100 %; the control's scale ends at 1.
    const double level = adjustable && std::isfinite(sink.volume) ? std::clamp(sink.volume, 0.0, 1.0) : 0.0;

    if (adjustable != m_isAdjustable) {
        m_isAdjustable = adjustable;
        Q_EMIT isAdjustableChanged();
    }
    // Servers round volumes to their own steps, so a level written as 0.5
    // comes back as 0.50003; that is not a change worth a redraw.
    if (std::abs(level - m_level) > 0.0001)
        setLevel(level);
    setIsMuted(sink.muted);
}

void SystemVolume::set(double level)
{
    const double clamped = std::isnan(level) ? 0.0 : std::clamp(level, 0.0, 1.0);
    if (!m_device.isEmpty())
        m_backend.setVolume(m_device, clamped);
    // Turning the volume up is a request to hear something; turning it to
    // zero is not a request to unmute.
    if (m_isMuted && clamped > 0)
        setMuted(false);
    // The control follows the pointer at once instead of waiting for the
    // server's echo.
    setLevel(clamped);
}

void SystemVolume::setMuted(bool muted)
{
    if (!m_device.isEmpty())
        m_backend.setMuted(m_device, muted);
    setIsMuted(muted);
}

void SystemVolume::setLevel(double level)
{
    if (level == m_level)
        return;
    m_level = level;
    Q_EMIT levelChanged();
}

void SystemVolume::setIsMuted(bool muted)
{
    if (muted == m_isMuted)
        return;
    m_isMuted = muted;
    Q_EMIT isMutedChanged();
}
