#include "peeks/AirPodsLevels.h"

#include <QCoreApplication>
#include <QVariantMap>

namespace {

struct Battery {
    QString label; // short, under the value
    QString spoken; // in the summary
    std::optional<int> level;
};

QList<Battery> batteries(const AirPodsLevels &levels)
{
    const auto tr = [](const char *text) { return QCoreApplication::translate("AirPodsLevels", text); };
    return {{tr("L"), tr("left"), levels.left}, {tr("R"), tr("right"), levels.right},
        {tr("Case"), tr("case"), levels.caseLevel}, {QString(), tr("battery"), levels.main}};
}

QVariantList cellsOf(const QList<Battery> &batteries)
{
    QVariantList cells;
    for (const Battery &battery : batteries) {
        if (!battery.level)
            continue;
        cells << QVariantMap {{QStringLiteral("label"), battery.label},
            {QStringLiteral("value"), QString::number(*battery.level)},
            {QStringLiteral("percent"), QStringLiteral("%1%").arg(*battery.level)},
            {QStringLiteral("low"), *battery.level <= AirPodsLevels::kLow}};
    }
    return cells;
}

} // namespace

QString AirPodsLevels::symbol() const
{
    // Material Icons glyph names, as for the volume readout.
    return model == Model::AirPodsMax ? QStringLiteral("headphones") : QStringLiteral("earbuds");
}

QVariantList AirPodsLevels::cells() const
{
    return leftCells() + rightCells();
}

QVariantList AirPodsLevels::leftCells() const
{
    return cellsOf(batteries(*this).mid(0, 1));
}

QVariantList AirPodsLevels::rightCells() const
{
    return cellsOf(batteries(*this).mid(1));
}

QString AirPodsLevels::summary() const
{
    QStringList parts;
    for (const Battery &battery : batteries(*this)) {
        if (battery.level)
            parts << QStringLiteral("%1 %2%").arg(battery.spoken).arg(*battery.level);
    }
    if (parts.isEmpty())
        return name;
    return name + QStringLiteral(": ") + parts.join(QStringLiteral(", "));
}
