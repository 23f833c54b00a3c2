#include "core/SpringValue.h"

#include <cmath>

namespace {
// Half a hundredth of a point: below anything a screen can show.
constexpr double kTolerance = 0.005;
} // namespace

class SpringValue::Motion : public QAbstractAnimation
{
public:
    explicit Motion(SpringValue *owner)
        : QAbstractAnimation(owner)
        , m_owner(owner)
    {
    }
    int duration() const override { return m_duration; }
    void setDurationMs(int ms) { m_duration = ms; }

protected:
    void updateCurrentTime(int ms) override { m_owner->advanceTo(ms / 1000.0); }

private:
    SpringValue *m_owner;
    int m_duration = 0;
};

SpringValue::SpringValue(QObject *parent)
    : QObject(parent)
    , m_motion(new Motion(this))
{
    connect(m_motion, &QAbstractAnimation::stateChanged, this, &SpringValue::runningChanged);
}

SpringValue::~SpringValue() = default;

bool SpringValue::isRunning() const
{
    return m_motion->state() == QAbstractAnimation::Running;
}

void SpringValue::setSpring(const Spring &spring)
{
    if (m_spring == spring)
        return;
    m_spring = spring;
    Q_EMIT springChanged();
}

void SpringValue::setTarget(double target)
{
    if (m_hasTarget && m_target == target)
        return;
    const bool first = !m_hasTarget;
    m_hasTarget = true;

    // Speed of the motion under way, carried into the new one.
    double velocity = 0;
    if (isRunning())
        m_spring.displacement(m_elapsed, m_x0, m_v0, &velocity);
    m_motion->stop();

    m_target = target;
    Q_EMIT targetChanged();

    // The first value is where the item starts, not somewhere to fly from.
    if (first || m_spring.isImmediate()) {
        setValue(target);
        return;
    }
    m_x0 = m_value - target;
    m_v0 = velocity;
    m_elapsed = 0;
    const double settle = m_spring.settlingTime(m_x0, m_v0, kTolerance);
    if (settle <= 0) {
        setValue(target);
        return;
    }
    m_motion->setDurationMs(int(std::ceil(settle * 1000.0)));
    m_motion->start();
}

void SpringValue::advanceTo(double seconds)
{
    m_elapsed = seconds;
    const double settle = m_motion->duration() / 1000.0;
    if (seconds >= settle) {
        setValue(m_target);
        return;
    }
    setValue(m_target + m_spring.displacement(seconds, m_x0, m_v0));
}

void SpringValue::setValue(double value)
{
    if (m_value == value)
        return;
    m_value = value;
    Q_EMIT valueChanged();
}
