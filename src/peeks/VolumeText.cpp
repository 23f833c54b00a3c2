#include "peeks/VolumeText.h"

#include <algorithm>
#include <cmath>

int VolumeText::percent(double level)
{
    return int(std::lround(std::clamp(level, 0.0, 1.0) * 100.0));
}

QString VolumeText::readout(double level, bool muted)
{
    if (muted)
        return tr("Muted");
    return QString::asprintf("%lld", static_cast<long long>(percent(level)));
}

QString VolumeText::accessibilityValue(double level, bool muted)
{
    if (muted)
        return tr("muted");
    return QString::asprintf("%lld", static_cast<long long>(percent(level))) + tr(" percent");
}

QString VolumeText::help(const QString &outputName, bool adjustable, double level, bool muted)
{
    // With no output known there is nothing to blame for a volume that
    // cannot be set, so the plain level reads under the name "Volume".
    const QString name = outputName.isEmpty() ? tr("Volume") : outputName;
    if (!adjustable && !outputName.isEmpty())
        return name + tr(" doesn't have a volume Tarnwick can change");
    return name + QStringLiteral(": ") + (muted ? tr("muted") : QString::number(percent(level)) + QStringLiteral("%"));
}

double VolumeText::levelForDrag(double x)
{
    return std::clamp((x - 1.0) / kTrackWidth, 0.0, 1.0);
}
