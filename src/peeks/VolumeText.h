#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// The words and numbers of the volume control, so the views only show them.
class VolumeText : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(double trackWidth READ trackWidth CONSTANT)
    Q_PROPERTY(double accessibleStep READ accessibleStep CONSTANT)

public:
    using QObject::QObject;

    static constexpr double kTrackWidth = 86;
    static constexpr double kAccessibleStep = 0.0625;
    static double trackWidth() { return kTrackWidth; }
    static double accessibleStep() { return kAccessibleStep; }

    // The readout beside the wedge: "Muted", or the whole percentage.
    Q_INVOKABLE static QString readout(double level, bool muted);
    // What a screen reader says for the value.
    Q_INVOKABLE static QString accessibilityValue(double level, bool muted);
    // The wedge's tooltip; an empty name means no output is known.
    Q_INVOKABLE static QString help(const QString &outputName, bool adjustable, double level, bool muted);
    // The level a drag at `x` points into the wedge asks for: the usable
    // track is 86 points wide and starts 1 point in from the left edge.
    Q_INVOKABLE static double levelForDrag(double x);
    Q_INVOKABLE static int percent(double level);
};
