#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QPointF>
#include <QString>

#include <array>

/// The simulated pod: what it does with a command and how it moves. Pure state, stepped by the
/// caller; it knows nothing of frames, links or pictures.
///
/// Pitch runs from kPitchMin (beyond straight down) to kPitchMax, yaw turns without end and is
/// reported in -180..180. Full speed is kMaxRate at zoom 1 and falls with the zoom, as an operator
/// expects. A stop takes about a tenth of a second.
class PodModel
{
public:
    static constexpr double kPitchMin = -120.0; ///< degrees
    static constexpr double kPitchMax = 30.0;
    static constexpr double kMaxRate = 60.0; ///< degrees per second
    static constexpr double kZoomMin = 1.0;
    static constexpr double kZoomMax = 30.0;
    static constexpr double kWideFieldOfView = 60.0; ///< degrees across at zoom 1
    static constexpr int kSbusChannels = 24;
    static constexpr int kB7NValues = 11;

    enum class Motor : quint8 { On, Off };
    enum class FollowMode : quint8 { Follow, Lock, Down, Fpv };

    /// Advances the motion by `seconds`.
    void step(double seconds);

    // Motion. Speeds are the command's bytes, 0..255; signs are +1, 0 or -1, right and up positive.
    void move(int yawSign, int pitchSign, int yawSpeed, int pitchSpeed);
    void stopMove();
    void zoom(int sign, int speed);
    void zoomTo(double ratio);
    /// Turns to the point of the picture, 0..255 on each axis from the top left.
    void pointTo(int x, int y);
    void track(int x, int y);
    void stopTracking();
    void turnTo(double pitchDegrees, double yawDegrees);
    /// Jumps there, without moving through.
    void placeAt(double pitchDegrees, double yawDegrees);
    void trim(double yawDegrees, double pitchDegrees);
    /// Back to the power-on pose and modes; settings stay.
    void reboot();

    double horizontalFieldOfView() const { return kWideFieldOfView / zoomRatio; }
    double pitchDegrees() const { return m_pitch + m_pitchTrim; }
    /// Wrapped to -180..180.
    double yawDegrees() const;
    double rollDegrees() const { return m_roll; }
    bool isMoving() const;

    QJsonObject toJson() const;

    // What commands set directly and frames and pictures report.
    double zoomRatio = kZoomMin;
    bool tracking = false;
    QPointF trackPoint; ///< 0..1 over the picture
    bool recording = false;
    int photos = 0;
    Motor motor = Motor::On;
    FollowMode mode = FollowMode::Follow;
    bool inverted = false;
    int pictureMode = 2; ///< 0 visible in thermal, 1 thermal in visible, 2 visible, 3 thermal
    int palette = 0;     ///< 0 white hot, 1 black hot, 2 colour
    bool osd = true;
    bool targetDetection = true;
    bool autoZoomTracking = false;
    bool continuousRanging = false;
    bool defog = false;
    bool electronicZoom = false;
    bool laserLight = false;
    bool manualFocus = false;
    int focusDirection = 0; ///< -1 near, 1 far
    double focus = 0.5;
    int frameSize = 0;
    int statusFrequency = 0;
    int modelCode = 45;
    std::array<int, kSbusChannels> sbus{};
    std::array<int, kB7NValues> b7n = {127, 0, 0, 1, 2, 2, 1, 127, 0, 0, 254};
    QDateTime clock;

private:
    struct Goal
    {
        double pitch;
        double yaw;
    };

    double rateAt(int speed) const;
    void approach(double &rate, double wanted, double seconds) const;
    void stepTowardsGoal(double seconds);

    double m_pitch = 0;
    double m_yaw = 0; // not wrapped
    double m_roll = 0;
    double m_pitchTrim = 0;
    double m_yawTrim = 0;
    double m_pitchRate = 0; // degrees per second
    double m_yawRate = 0;
    double m_wantedPitchRate = 0;
    double m_wantedYawRate = 0;
    double m_zoomRate = 0; // doublings per second
    bool m_hasGoal = false;
    Goal m_goal{};
};
