#include "core/Spring.h"
#include "core/SpringValue.h"

#include <QTest>
#include <cmath>
#include <numbers>

// The spring is pinned against a numerical integration of the oscillator it
// claims to be (mass 1, stiffness (2π/R)², damping 4πζ/R), so a slip in the
// closed form or in the conversion from response and damping shows up.
class tst_Spring : public QObject
{
    Q_OBJECT

    static double integrate(double response, double damping, double x, double v, double until)
    {
        const double k = std::pow(2 * std::numbers::pi / response, 2);
        const double c = 4 * std::numbers::pi * damping / response;
        const double h = 1e-5;
        auto acc = [&](double xx, double vv) { return -k * xx - c * vv; };
        for (double t = 0; t < until - h / 2; t += h) {
            // Classical Runge-Kutta on (x, v).
            const double k1x = v, k1v = acc(x, v);
            const double k2x = v + h / 2 * k1v, k2v = acc(x + h / 2 * k1x, v + h / 2 * k1v);
            const double k3x = v + h / 2 * k2v, k3v = acc(x + h / 2 * k2x, v + h / 2 * k2v);
            const double k4x = v + h * k3v, k4v = acc(x + h * k3x, v + h * k3v);
            x += h / 6 * (k1x + 2 * k2x + 2 * k3x + k4x);
            v += h / 6 * (k1v + 2 * k2v + 2 * k3v + k4v);
        }
        return x;
    }

private Q_SLOTS:
    void matchesTheDampedOscillator_data()
    {
        QTest::addColumn<double>("response");
        QTest::addColumn<double>("damping");
        QTest::addColumn<double>("x0");
        QTest::addColumn<double>("v0");
        QTest::newRow("open, under-damped") << 0.42 << 0.74 << 1.0 << 0.0;
        QTest::newRow("playback, under-damped") << 0.45 << 0.8 << 1.0 << 0.0;
        QTest::newRow("critically damped") << 0.35 << 1.0 << 1.0 << 0.0;
        QTest::newRow("over-damped") << 0.3 << 1.6 << 1.0 << 0.0;
        QTest::newRow("retargeted while moving") << 0.4 << 0.84 << -120.0 << 900.0;
        QTest::newRow("critical, moving") << 0.35 << 1.0 << 40.0 << -300.0;
    }
    void matchesTheDampedOscillator()
    {
        QFETCH(double, response);
        QFETCH(double, damping);
        QFETCH(double, x0);
        QFETCH(double, v0);
        const Spring spring(response, damping);
        for (double t : {0.0, 0.05, 0.1, 0.2, 0.3, 0.5, 0.8}) {
            const double expected = integrate(response, damping, x0, v0, t);
            const double actual = spring.displacement(t, x0, v0);
            QVERIFY2(std::abs(expected - actual) < 1e-6 * std::max(1.0, std::abs(x0)),
                     qPrintable(QStringLiteral("t=%1: %2 vs %3").arg(t).arg(actual).arg(expected)));
        }
    }

    void settlesWithinTolerance()
    {
        const Spring spring(0.42, 0.74);
        const double settle = spring.settlingTime();
        QVERIFY(settle > 0.3 && settle < 2.0);
        for (double t = settle; t < settle + 1; t += 0.01)
            QVERIFY(std::abs(1 - spring.progress(t)) < 1e-3);
        QCOMPARE(Spring().settlingTime(), 0.0);
    }

    void springValueFollowsAndCarriesSpeed()
    {
        SpringValue value;
        value.setSpring(Spring(0.4, 0.84));
        value.setTarget(10);
        // The first target is where it starts.
        QCOMPARE(value.value(), 10.0);
        QVERIFY(!value.isRunning());

        value.setTarget(110);
        QVERIFY(value.isRunning());
        value.advanceTo(0.1);
        const double midway = value.value();
        QVERIFY(midway > 10 && midway < 110);

        // Turning back mid-flight keeps moving forward for a moment first.
        value.setTarget(10);
        value.advanceTo(0.005);
        QVERIFY(value.value() > midway);

        // An immediate spring jumps.
        value.setSpring(Spring());
        value.setTarget(-5);
        QCOMPARE(value.value(), -5.0);
        QVERIFY(!value.isRunning());
    }
};

QTEST_GUILESS_MAIN(tst_Spring)
#include "tst_Spring.moc"
