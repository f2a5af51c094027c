#include "PodModel.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kAcceleration = 600.0;   // degrees per second squared
constexpr double kGoalRate = 90.0;        // degrees per second
constexpr double kZoomDoublingsMax = 1.6; // per second at full speed
constexpr double kFocusPerSecond = 0.3;
constexpr double kPictureAspect = 16.0 / 9.0;
constexpr double kByteMax = 255.0;
constexpr double kTurn = 360.0;

double wrapped(double degrees) { return std::remainder(degrees, kTurn); }

double towards(double value, double goal, double step)
{
    return value + std::clamp(goal - value, -step, step);
}

} // namespace

double PodModel::rateAt(int speed) const
{
    return kMaxRate * std::clamp(speed, 0, 255) / kByteMax / std::sqrt(zoomRatio);
}

void PodModel::approach(double &rate, double wanted, double seconds) const
{
    rate = towards(rate, wanted, kAcceleration * seconds);
}

void PodModel::step(double seconds)
{
    if (motor == Motor::On) {
        if (m_hasGoal) {
            stepTowardsGoal(seconds);
        } else {
            approach(m_pitchRate, m_wantedPitchRate, seconds);
            approach(m_yawRate, m_wantedYawRate, seconds);
            m_pitch += m_pitchRate * seconds;
            m_yaw += m_yawRate * seconds;
        }
        if (m_pitch != std::clamp(m_pitch, kPitchMin, kPitchMax)) {
            m_pitch = std::clamp(m_pitch, kPitchMin, kPitchMax);
            m_pitchRate = 0;
        }
        m_roll = -0.02 * m_yawRate;
    }
    zoomRatio = std::clamp(zoomRatio * std::exp2(m_zoomRate * seconds), kZoomMin, kZoomMax);
    focus = std::clamp(focus + focusDirection * kFocusPerSecond * seconds, 0.0, 1.0);
}

void PodModel::stepTowardsGoal(double seconds)
{
    m_pitch = towards(m_pitch, m_goal.pitch, kGoalRate * seconds);
    m_yaw = towards(m_yaw, m_goal.yaw, kGoalRate * seconds);
    m_hasGoal = m_pitch != m_goal.pitch || m_yaw != m_goal.yaw;
}

void PodModel::move(int yawSign, int pitchSign, int yawSpeed, int pitchSpeed)
{
    m_hasGoal = false;
    m_wantedYawRate = yawSign * rateAt(yawSpeed);
    m_wantedPitchRate = pitchSign * rateAt(pitchSpeed);
}

void PodModel::stopMove() { move(0, 0, 0, 0); }

void PodModel::zoom(int sign, int speed)
{
    // The console's speed steps are small numbers; the fastest is reached at 8.
    constexpr double kFullSpeed = 8.0;
    m_zoomRate = sign * kZoomDoublingsMax * std::clamp(speed / kFullSpeed, 0.1, 1.0);
    if (sign == 0)
        m_zoomRate = 0;
}

void PodModel::zoomTo(double ratio) { zoomRatio = std::clamp(ratio, kZoomMin, kZoomMax); }

void PodModel::pointTo(int x, int y)
{
    const double across = horizontalFieldOfView();
    turnTo(m_pitch - (y / kByteMax - 0.5) * across / kPictureAspect,
           m_yaw + (x / kByteMax - 0.5) * across);
}

void PodModel::track(int x, int y)
{
    tracking = true;
    trackPoint = {x / kByteMax, y / kByteMax};
}

void PodModel::stopTracking() { tracking = false; }

void PodModel::turnTo(double pitchDegrees, double yawDegrees)
{
    m_goal = {std::clamp(pitchDegrees, kPitchMin, kPitchMax), m_yaw + wrapped(yawDegrees - m_yaw)};
    m_hasGoal = true;
    m_pitchRate = m_yawRate = m_wantedPitchRate = m_wantedYawRate = 0;
}

void PodModel::placeAt(double pitchDegrees, double yawDegrees)
{
    stopMove();
    m_pitchRate = m_yawRate = 0;
    m_pitch = std::clamp(pitchDegrees, kPitchMin, kPitchMax);
    m_yaw = yawDegrees;
}

void PodModel::trim(double yawDegrees, double pitchDegrees)
{
    m_yawTrim += yawDegrees;
    m_pitchTrim += pitchDegrees;
}

void PodModel::reboot()
{
    placeAt(0, 0);
    zoom(0, 0);
    zoomRatio = kZoomMin;
    tracking = false;
    recording = false;
    motor = Motor::On;
    mode = FollowMode::Follow;
}

double PodModel::yawDegrees() const { return wrapped(m_yaw + m_yawTrim); }

bool PodModel::isMoving() const { return m_hasGoal || m_pitchRate != 0 || m_yawRate != 0; }

QJsonObject PodModel::toJson() const
{
    const auto list = [](const auto &values) {
        QJsonArray array;
        for (const int value : values)
            array.append(value);
        return array;
    };
    return {
        {QStringLiteral("yaw"), yawDegrees()},
        {QStringLiteral("pitch"), pitchDegrees()},
        {QStringLiteral("roll"), rollDegrees()},
        {QStringLiteral("moving"), isMoving()},
        {QStringLiteral("zoom"), zoomRatio},
        {QStringLiteral("zooming"), m_zoomRate != 0},
        {QStringLiteral("tracking"), tracking},
        {QStringLiteral("recording"), recording},
        {QStringLiteral("photos"), photos},
        {QStringLiteral("motor"), motor == Motor::On},
        {QStringLiteral("mode"), static_cast<int>(mode)},
        {QStringLiteral("inverted"), inverted},
        {QStringLiteral("pictureMode"), pictureMode},
        {QStringLiteral("palette"), palette},
        {QStringLiteral("osd"), osd},
        {QStringLiteral("targetDetection"), targetDetection},
        {QStringLiteral("autoZoomTracking"), autoZoomTracking},
        {QStringLiteral("continuousRanging"), continuousRanging},
        {QStringLiteral("defog"), defog},
        {QStringLiteral("electronicZoom"), electronicZoom},
        {QStringLiteral("laserLight"), laserLight},
        {QStringLiteral("manualFocus"), manualFocus},
        {QStringLiteral("focus"), focus},
        {QStringLiteral("frameSize"), frameSize},
        {QStringLiteral("statusFrequency"), statusFrequency},
        {QStringLiteral("sbus"), list(sbus)},
        {QStringLiteral("b7n"), list(b7n)},
        {QStringLiteral("clock"), clock.toString(Qt::ISODate)},
    };
}
