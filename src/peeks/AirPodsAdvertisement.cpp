#include "peeks/AirPodsAdvertisement.h"

namespace {

// Layout after the company identifier: type, length, a prefix byte, the
// product identifier (low byte first), a status byte, the two buds' levels
// in one byte, then the charging flags (high four bits) beside the case's
// level (low four bits). Encrypted data follows, which we do not need.
constexpr int kProductOffset = 3;
constexpr int kStatusOffset = 5;
constexpr int kBudsOffset = 6;
constexpr int kCaseOffset = 7;
constexpr int kMinimumSize = 8;

// The status bit that says the left bud's level is in the low four bits.
// When it is clear the sides are swapped: the bud that happens to be the
// primary one (the first out of the case) always reports first.
constexpr quint8 kLeftInLowBits = 0x20;

// 0...10 are tens of percent; 15 means the battery is out of reach (a bud
// in a closed case, or not paired to this case); the rest is never sent.
std::optional<int> level(quint8 nibble)
{
    if (nibble <= 10)
        return nibble * 10;
    return std::nullopt;
}

} // namespace

std::optional<AirPodsAdvertisement> AirPodsAdvertisement::decode(const QByteArray &data)
{
    if (data.size() < kMinimumSize || quint8(data.at(0)) != kProximityPairing)
        return std::nullopt;
    // The declared length counts the bytes after it; a message that claims
    // fewer than the levels need is something else.
    if (quint8(data.at(1)) < kMinimumSize - 2)
        return std::nullopt;

    const auto byte = [&data](int i) { return quint8(data.at(i)); };
    AirPodsAdvertisement ad;
    ad.productId = quint16(byte(kProductOffset) | (byte(kProductOffset + 1) << 8));
    const bool leftLow = (byte(kStatusOffset) & kLeftInLowBits) != 0;
    const quint8 low = byte(kBudsOffset) & 0x0F;
    const quint8 high = byte(kBudsOffset) >> 4;
    ad.left = level(leftLow ? low : high);
    ad.right = level(leftLow ? high : low);
    ad.caseLevel = level(byte(kCaseOffset) & 0x0F);
    // Bit 0 belongs to the bud in the low four bits, bit 1 to the other.
    const quint8 charging = byte(kCaseOffset) >> 4;
    const bool lowCharging = (charging & 0x1) != 0;
    const bool highCharging = (charging & 0x2) != 0;
    ad.leftCharging = leftLow ? lowCharging : highCharging;
    ad.rightCharging = leftLow ? highCharging : lowCharging;
    ad.caseCharging = (charging & 0x4) != 0;
    return ad;
}

AirPodsLevels AirPodsAdvertisement::levels(
    const QString &name, AirPodsLevels::Model model, std::optional<int> battery) const
{
    AirPodsLevels levels;
    levels.name = name;
    levels.model = model;
    if (model == AirPodsLevels::Model::AirPodsMax) {
        levels.main = left ? left : right;
    } else {
        levels.left = left;
        levels.right = right;
        levels.caseLevel = caseLevel;
    }
    if (!levels.left && !levels.right && !levels.main)
        levels.main = battery;
    return levels;
}
