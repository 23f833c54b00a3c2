#include "core/Spring.h"

#include <algorithm>
#include <cmath>
#include <numbers>

Spring::Spring(double response, double dampingFraction)
    : m_response(std::max(0.0, response))
    , m_damping(std::max(0.0, dampingFraction))
{
}

double Spring::displacement(double t, double x0, double v0, double *velocity) const
{
    if (isImmediate() || t < 0) {
        if (velocity != nullptr)
            *velocity = isImmediate() ? 0 : v0;
        return isImmediate() ? 0 : x0;
    }
    const double w0 = 2.0 * std::numbers::pi / m_response;
    const double z = m_damping;
    double x = 0;
    double v = 0;
    if (std::abs(z - 1.0) < 1e-9) {
        const double e = std::exp(-w0 * t);
        const double b = v0 + w0 * x0;
        x = e * (x0 + b * t);
        v = e * (b - w0 * (x0 + b * t));
    } else if (z < 1.0) {
        const double wd = w0 * std::sqrt(1.0 - z * z);
        const double a = x0;
        const double b = (v0 + z * w0 * x0) / wd;
        const double e = std::exp(-z * w0 * t);
        const double c = std::cos(wd * t);
        const double s = std::sin(wd * t);
        x = e * (a * c + b * s);
        v = e * (-z * w0 * (a * c + b * s) + wd * (b * c - a * s));
    } else {
        const double root = std::sqrt(z * z - 1.0);
        const double r1 = -w0 * (z - root);
        const double r2 = -w0 * (z + root);
        const double c2 = (v0 - r1 * x0) / (r2 - r1);
        const double c1 = x0 - c2;
        const double e1 = std::exp(r1 * t);
        const double e2 = std::exp(r2 * t);
        x = c1 * e1 + c2 * e2;
        v = c1 * r1 * e1 + c2 * r2 * e2;
    }
    if (velocity != nullptr)
        *velocity = v;
    return x;
}

double Spring::progress(double t) const
{
    if (isImmediate())
        return 1;
    return 1.0 - displacement(t, 1.0, 0.0);
}

double Spring::settlingTime(double x0, double v0, double tolerance) const
{
    if (isImmediate())
        return 0;
    // Walk back from a generous horizon to the last moment the motion was
    // still outside the tolerance.
    const double horizon = m_response * 10.0 + 1.0;
    const double step = 0.002;
    for (double t = horizon; t > 0; t -= step) {
        if (std::abs(displacement(t, x0, v0)) >= tolerance)
            return std::min(horizon, t + step);
    }
    return 0;
}
