#include "musicmode/IconTint.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

IconTint IconTint::customColor(double red, double green, double blue)
{
    return IconTint{kCustom, QList<double>{red, green, blue, 1.0}};
}

QByteArray IconTint::encoded() const
{
    QJsonObject object{{QStringLiteral("name"), qint64(name)}};
    if (custom) {
        QJsonArray components;
        for (double c : *custom)
            components.append(c);
        object.insert(QStringLiteral("custom"), components);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<IconTint> IconTint::decoded(const QByteArray &text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text);
    const QJsonValue name = document.object().value(QStringLiteral("name"));
    if (!document.isObject() || !name.isDouble() || name.toDouble() < 0 || name.toDouble() > 0xffffffffu)
        return std::nullopt;
    IconTint tint{quint32(name.toDouble()), std::nullopt};
    const QJsonValue custom = document.object().value(QStringLiteral("custom"));
    if (custom.isArray()) {
        QList<double> components;
        for (const QJsonValue &c : custom.toArray()) {
            if (!c.isDouble())
                return std::nullopt;
            components.append(c.toDouble());
        }
        tint.custom = components;
    } else if (!custom.isUndefined() && !custom.isNull()) {
        return std::nullopt;
    }
    return tint;
}
