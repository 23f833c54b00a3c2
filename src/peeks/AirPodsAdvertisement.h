#pragma once

#include "peeks/AirPodsLevels.h"

#include <QByteArray>
#include <QString>

#include <optional>

// What AirPods say about themselves in Apple's proximity-pairing
// advertisement: the message of type 0x07 inside the manufacturer data that
// Bluetooth LE scans report under Apple's company identifier (0x004C). The
// levels come in tens of percent, one four-bit value per battery.
struct AirPodsAdvertisement {
    static constexpr quint16 kAppleCompanyId = 0x004C;
    static constexpr quint8 kProximityPairing = 0x07;

    quint16 productId = 0; // 0x200e for AirPods Pro: the number Modalias carries
    std::optional<int> left;
    std::optional<int> right;
    std::optional<int> caseLevel;
    bool leftCharging = false;
    bool rightCharging = false;
    bool caseCharging = false;

    // Reads the manufacturer data as BlueZ hands it over (the company
    // identifier already taken off). Nothing when it is another message or
    // too short to hold the levels.
    static std::optional<AirPodsAdvertisement> decode(const QByteArray &data);

    // The levels of the set named `name`. Over-ear models have one battery:
    // it is reported in a bud's place and becomes `main`. `battery`, the
    // level the headset reports over its audio link, fills `main` when the
    // advertisement did not.
    AirPodsLevels levels(const QString &name, AirPodsLevels::Model model, std::optional<int> battery = {}) const;

    bool operator==(const AirPodsAdvertisement &) const = default;
};
