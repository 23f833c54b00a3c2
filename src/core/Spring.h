#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

// A spring as motion designers speak of it: `response` is the period of the
// undamped oscillation in seconds and `dampingFraction` the damping ratio
// (1 = no overshoot). In physical terms: mass 1, stiffness (2π/response)²,
// damping coefficient 4π·ζ/response. Qt Quick's SpringAnimation speaks
// another language (a stepped integrator with its own units), so Tarnwick
// moves its views with SpringValue, which follows this exact solution.
class Spring
{
    Q_GADGET
    QML_VALUE_TYPE(spring)
    Q_PROPERTY(double response READ response CONSTANT)
    Q_PROPERTY(double dampingFraction READ dampingFraction CONSTANT)
    Q_PROPERTY(bool isImmediate READ isImmediate CONSTANT)

public:
    // No motion: the change is shown at once (a live drag, a new screen).
    Spring() = default;
    Spring(double response, double dampingFraction);

    bool isImmediate() const { return m_response <= 0; }
    double response() const { return m_response; }
    double dampingFraction() const { return m_damping; }

    // Distance from the target `t` seconds after a start at distance `x0`
    // moving at `v0` (per second); the rate of change goes to `velocity`.
    double displacement(double t, double x0, double v0, double *velocity = nullptr) const;

    // From 0 to 1 for a spring that starts at rest; overshoots when under-damped.
    double progress(double t) const;

    // Time after which the motion stays within `tolerance` of the target.
    double settlingTime(double x0 = 1, double v0 = 0, double tolerance = 1e-3) const;

    bool operator==(const Spring &other) const
    {
        return m_response == other.m_response && m_damping == other.m_damping;
    }

private:
    double m_response = 0;
    double m_damping = 1.0;
};
Q_DECLARE_METATYPE(Spring)
