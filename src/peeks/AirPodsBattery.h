#pragma once

#include "core/ClockSlot.h"
#include "core/QmlSingleton.h"
#include "peeks/AirPodsLevelReader.h"
#include "peeks/AirPodsLevels.h"
#include "peeks/SystemVolume.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

// The battery levels of the AirPods that play the sound now. It reads them
// while they are the output (never otherwise), and asks for a peek out of
// the notch when they connect and when a battery runs low.
class AirPodsBattery : public QObject, public QmlSingleton<AirPodsBattery> {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool hasLevels READ hasLevels NOTIFY levelsChanged)
    Q_PROPERTY(AirPodsLevels levels READ levelsOrEmpty NOTIFY levelsChanged)

public:
    using Levels = AirPodsLevels;
    using Model = AirPodsLevels::Model;

    static constexpr int kThresholds[] = {Levels::kLow, 10}; // percent, highest first
    static constexpr int kQuickAttempts = 6;
    static constexpr double kQuickRetry = 2; // seconds, while the set is new
    static constexpr double kSlowRetry = 15; // seconds, after the quick attempts
    static constexpr double kReadAgain = 60; // seconds, once levels are known
    static constexpr double kPeekSeconds = 4; // how long an announcement shows
    // How far above an announced threshold the level must climb before that
    // threshold may announce again.
    static constexpr int kRearmMargin = 5;

    AirPodsBattery(Clock &clock, AirPodsLevelReader &reader, QObject *parent = nullptr);
    ~AirPodsBattery() override;

    // Told on every change of the default output. `announces` is false for
    // the output found at launch: a set that was already on is not news.
    void outputChanged(const std::optional<SystemVolume::Output> &output, bool announces);
    // Hands every output of `volume` to outputChanged from now on. The output
    // it knows now, or the first one it reports when the sound server has
    // not answered yet, is the state at launch and is not announced.
    void follow(SystemVolume &volume);

    const std::optional<Levels> &levels() const { return m_levels; }
    bool hasLevels() const { return m_levels.has_value(); }
    Levels levelsOrEmpty() const { return m_levels.value_or(Levels {}); }
    bool isPolling() const { return m_polling; }

    // Called with the levels to show in a peek.
    std::function<void(const Levels &)> onAnnounce;

    // The low-battery threshold the level `lowest` reaches that has not been
    // announced yet, given the last one that was.
    static std::optional<int> alertThreshold(std::optional<int> lowest, std::optional<int> lastAlert);
    // Which AirPods a product identifier ("0x200e", any case) stands for,
    // falling back on the name when the identifier is unknown or missing.
    static Model modelFor(const QString &productId, const QString &name);
    // "0x200e" from a Bluetooth or USB modalias of an Apple device; empty
    // for anything else.
    static QString productId(const QString &modalias);

Q_SIGNALS:
    void levelsChanged();

private:
    void attempt();
    void update(const Levels &levels, bool justConnected);
    void setLevels(const std::optional<Levels> &levels);

    AirPodsLevelReader &m_reader;
    ClockSlot m_poller;
    std::optional<Levels> m_levels;
    std::optional<int> m_lastAlert;
    QString m_name;
    bool m_polling = false;
    bool m_seenOutput = false;
    bool m_announceNext = false; // the next successful read is a connection
    int m_attempts = 0;
    quint64 m_generation = 0; // tells a late answer from an output gone since
};
