#include "peeks/AirPodsBattery.h"

#include <QRegularExpression>

#include <algorithm>
#include <utility>

AirPodsBattery::AirPodsBattery(Clock &clock, AirPodsLevelReader &reader, QObject *parent)
    : QObject(parent)
    , m_reader(reader)
    , m_poller(clock)
{
}

AirPodsBattery::~AirPodsBattery()
{
    if (m_polling)
        m_reader.cancel();
}

void AirPodsBattery::outputChanged(const std::optional<SystemVolume::Output> &output, bool announces)
{
    // One poller at a time: whatever ran for the previous output stops here,
    // and an answer still on its way is ignored.
    ++m_generation;
    m_poller.cancel();
    if (m_polling)
        m_reader.cancel();
    m_polling = false;
    setLevels(std::nullopt);

    if (!output || output->kind != SystemVolume::Output::Kind::AirPods)
        return;
    m_polling = true;
    m_name = output->name;
    m_announceNext = announces;
    m_attempts = 0;
    attempt();
}

void AirPodsBattery::follow(SystemVolume &volume)
{
    m_seenOutput = volume.hasOutput();
    if (m_seenOutput)
        outputChanged(volume.output(), false);
    connect(&volume, &SystemVolume::outputChanged, this, [this, &volume] {
        const bool announces = std::exchange(m_seenOutput, true);
        outputChanged(volume.output(), announces);
    });
}

void AirPodsBattery::attempt()
{
    ++m_attempts;
    const quint64 generation = m_generation;
    m_reader.read(m_name, [this, generation](std::optional<Levels> levels) {
        if (generation != m_generation)
            return;
        if (levels) {
            update(*levels, std::exchange(m_announceNext, false));
            m_poller.start(kReadAgain, [this] { attempt(); });
            return;
        }
        // A set that has just connected is often not known to the Bluetooth
        // stack by name yet: ask again soon, then settle to a slower pace.
        m_poller.start(m_attempts < kQuickAttempts ? kQuickRetry : kSlowRetry, [this] { attempt(); });
    });
}

void AirPodsBattery::update(const Levels &levels, bool justConnected)
{
    const std::optional<int> lowest = levels.lowest();
    // Each threshold alerts once per discharge. Charging re-arms it: once the
    // lowest level climbs clearly above the last threshold announced (by more
    // than the margin, so a reading that wavers around 20 % does not alert
    // twice), the thresholds at or above the new level stay spent and those
    // below it may alert again on the next discharge. This also covers a set
    // that was charged while it was away.
    if (m_lastAlert && lowest && *lowest > *m_lastAlert + kRearmMargin) {
        m_lastAlert.reset();
        for (int threshold : kThresholds) {
            if (threshold >= *lowest)
                m_lastAlert = threshold;
        }
    }

    setLevels(levels);
    if (justConnected) {
        if (onAnnounce)
            onAnnounce(levels);
        return;
    }
    if (const auto threshold = alertThreshold(lowest, m_lastAlert)) {
        m_lastAlert = threshold;
        if (onAnnounce)
            onAnnounce(levels);
    }
}

void AirPodsBattery::setLevels(const std::optional<Levels> &levels)
{
    if (m_levels == levels)
        return;
    m_levels = levels;
    Q_EMIT levelsChanged();
}

std::optional<int> AirPodsBattery::alertThreshold(std::optional<int> lowest, std::optional<int> lastAlert)
{
    if (!lowest)
        return std::nullopt;
    std::optional<int> reached;
    for (int threshold : kThresholds) {
        if (threshold >= *lowest && (!reached || threshold < *reached))
            reached = threshold;
    }
    if (!reached || (lastAlert && *reached >= *lastAlert))
        return std::nullopt;
    return reached;
}

AirPodsBattery::Model AirPodsBattery::modelFor(const QString &productId, const QString &name)
{
    static const QStringList pro
        = {QStringLiteral("0x200e"), QStringLiteral("0x2014"), QStringLiteral("0x2024"), QStringLiteral("0x2027")};
    static const QStringList max = {QStringLiteral("0x200a"), QStringLiteral("0x201f")};
    const QString id = productId.toLower();
    if (pro.contains(id))
        return Model::AirPodsPro;
    if (max.contains(id))
        return Model::AirPodsMax;
    if (name.contains(QLatin1String("max"), Qt::CaseInsensitive))
        return Model::AirPodsMax;
    if (name.contains(QLatin1String("pro"), Qt::CaseInsensitive))
        return Model::AirPodsPro;
    return Model::AirPods;
}

QString AirPodsBattery::productId(const QString &modalias)
{
    // BlueZ writes "bluetooth:v004Cp200Ed0B21": Apple's Bluetooth company
    // number; a set seen through USB would carry Apple's USB vendor 05AC.
    static const QRegularExpression pattern(
        QStringLiteral("^(bluetooth:v004C|usb:v05AC)p([0-9A-F]{4})"), QRegularExpression::CaseInsensitiveOption);
    const auto match = pattern.match(modalias);
    if (!match.hasMatch())
        return {};
    return QStringLiteral("0x") + match.captured(2).toLower();
}
