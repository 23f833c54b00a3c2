#pragma once

#include <QObject>
#include <QString>
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

    bool operator==(const AirPodsLevels &) const = default;
};
Q_DECLARE_METATYPE(AirPodsLevels)
