#pragma once

#include <QObject>
#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <optional>

// Battery levels of one pair of AirPods, whole percentages, each absent when
// the device did not report it.
class AirPodsLevels
{
    Q_GADGET
    QML_VALUE_TYPE(airPodsLevels)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(Model model MEMBER model)
    // -1 stands for "not reported" on the QML side.
    Q_PROPERTY(int left READ leftOrNone)
    Q_PROPERTY(int right READ rightOrNone)
    Q_PROPERTY(int caseLevel READ caseOrNone)
    Q_PROPERTY(int main READ mainOrNone)
    Q_PROPERTY(int lowest READ lowestOrNone)
    // What the views draw, decided here: the model's glyph, one cell per
    // battery reported ({label, value, percent, low}), and a sentence for
    // screen readers and tooltips. The peek splits the cells by side: the
    // left bud beside the glyph left of the notch, the rest right of it.
    Q_PROPERTY(QString symbol READ symbol)
    Q_PROPERTY(QVariantList cells READ cells)
    Q_PROPERTY(QVariantList leftCells READ leftCells)
    Q_PROPERTY(QVariantList rightCells READ rightCells)
    Q_PROPERTY(QString summary READ summary)

public:
    enum class Model { AirPods, AirPodsPro, AirPodsMax };
    Q_ENUM(Model)

    QString name;
    Model model = Model::AirPods;
    std::optional<int> left;
    std::optional<int> right;
    std::optional<int> caseLevel;
    std::optional<int> main;

    // The emptiest battery that powers sound: the case does not count.
    std::optional<int> lowest() const
    {
        std::optional<int> low;
        for (const auto &level : {left, right, main}) {
            if (level && (!low || *level < *low))
                low = level;
        }
        return low;
    }

    int leftOrNone() const { return left.value_or(-1); }
    int rightOrNone() const { return right.value_or(-1); }
    int caseOrNone() const { return caseLevel.value_or(-1); }
    int mainOrNone() const { return main.value_or(-1); }
    int lowestOrNone() const { return lowest().value_or(-1); }

    // At or below this a battery is drawn as low; it is also the first
    // level at which a peek warns.
    static constexpr int kLow = 20;

    QString symbol() const;
    QVariantList cells() const;
    QVariantList leftCells() const;
    QVariantList rightCells() const;
    QString summary() const;

    bool operator==(const AirPodsLevels &) const = default;
};
Q_DECLARE_METATYPE(AirPodsLevels)
