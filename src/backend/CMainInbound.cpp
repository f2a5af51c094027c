#include "CMain.h"
#include "log/DefaultLog.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QScopedValueRollback>

#include <utility>
#include <variant>

// What the transport reports: the pod's frames become properties, its state becomes ours.

void CMain::handleDataReceived(const QByteArray &data)
{
    const QScopedValueRollback depth(m_transportSignalDepth, m_transportSignalDepth + 1);
    ++m_linkStatistics.framesIn;
    m_linkStatistics.bytesIn += quint64(data.size());
    const protocol::InboundFrame frame = protocol::decodeInbound(data);
    if (std::holds_alternative<protocol::SbusMap>(frame))
        qCDebug(defaultLog) << "SBUS:" << data.first(protocol::kSbusReply.length).toHex();
    std::visit([this](const auto &decoded) { apply(decoded); }, frame);
    // Written for every delivery, recognised or not.
    qCDebug(defaultLog) << "收到未知数据:" << data.toHex(' ').toUpper();
}

void CMain::handleCommunicationError(const QString &error)
{
    const QScopedValueRollback depth(m_transportSignalDepth, m_transportSignalDepth + 1);
    qDebug() << "通信错误:" << error;
    emit sbusDataError(error);
    setMessage(error);
}

void CMain::handleCommunicationConnectionChanged(bool connected)
{
    const QScopedValueRollback depth(m_transportSignalDepth, m_transportSignalDepth + 1);
    qDebug() << "CMain::handleCommunicationConnectionChanged - connected:" << connected
             << "current m_isConnected:" << m_isConnected;
    // Before anything else, and before anyone is told: the pod may have been left moving.
    if (connected && std::exchange(m_owesBeginning, false)) {
        sendStops(m_motions.owedStops());
        connected = isConnected(); // sending may be what finds that it is not
    }
    if (connected == m_isConnected) {
        qDebug() << "状态相同，忽略重复信号";
        return;
    }
    m_isConnected = connected;
    emit connectionChanged(connected);
    if (!connected) {
        qDebug() << "连接已断开（CMain）";
        clearReplies();
    }
}

void CMain::clearReplies()
{
    m_b7n = {};
    emit b7nIPAddressChanged();
    m_versionno.clear();
    emit versionChanged();
}

void CMain::watchStatus(bool connected)
{
    if (connected)
        m_staleTimer->start();
    else
        m_staleTimer->stop();
    setStatusStale(false);
}

void CMain::setStatusStale(bool stale)
{
    if (stale == m_statusStale)
        return;
    m_statusStale = stale;
    emit statusStaleChanged();
}

void CMain::apply(const protocol::TruncatedFrame &frame)
{
    qDebug() << "数据帧不完整，已忽略，类型:" << frame.kind.type
             << "应有长度:" << frame.kind.length;
}

LinkStatistics CMain::linkStatistics() const
{
    LinkStatistics statistics = m_linkStatistics;
    if (m_sinceStatus.isValid())
        statistics.statusAgeMs = double(m_sinceStatus.nsecsElapsed()) / 1e6;
    return statistics;
}

void CMain::apply(const protocol::StatusFrame &status)
{
    ++m_linkStatistics.statusFrames;
    m_sinceStatus.start();
    watchStatus(true);
    m_motions.statusArrived(QDeadlineTimer::current().deadline());
    applyAttitude(status);
    if (status.camera)
        applyCamera(*status.camera);
    applyZoom(status);
    if (status.tracking != m_tracking) {
        m_tracking = status.tracking;
        emit trackingChanged();
    }
    applyTarget(status);
    if (status.plane && m_isEE0A)
        applyPlane(*status.plane);
    if (m_watcher.reported)
        m_watcher.reported(status);
}

void CMain::applyAttitude(const protocol::StatusFrame &status)
{
    if (qFuzzyCompare(status.roll, m_roll) && qFuzzyCompare(status.pitch, m_pitch)
        && qFuzzyCompare(status.yaw, m_yaw))
        return;
    m_roll = status.roll;
    m_pitch = status.pitch;
    m_yaw = status.yaw;
    emit attitudeChanged();
}

void CMain::applyCamera(const protocol::CameraStatus &camera)
{
    if (camera.recording == m_recording && camera.workMode == m_workMode)
        return;
    m_recording = camera.recording;
    m_workMode = camera.workMode;
    emit statusChanged();
}

void CMain::applyZoom(const protocol::StatusFrame &status)
{
    // A frame without the ratio leaves the last one standing.
    const double ratio = status.camera ? status.camera->zoomRatio : m_zoom;
    if (qFuzzyCompare(ratio, m_zoom) && status.zoomStep == m_zoomStep)
        return;
    m_zoom = ratio;
    m_zoomStep = status.zoomStep;
    emit zoomChanged();
}

void CMain::applyTarget(const protocol::StatusFrame &status)
{
    if (qFuzzyCompare(status.targetLatitude, m_targetLatitude)
        && qFuzzyCompare(status.targetLongitude, m_targetLongitude)
        && qFuzzyCompare(status.laserDistance, m_laserDistance)
        && status.targetAltitude == m_targetAltitude)
        return;
    m_targetLatitude = status.targetLatitude;
    m_targetLongitude = status.targetLongitude;
    m_targetAltitude = status.targetAltitude;
    m_laserDistance = status.laserDistance;
    emit targetChanged();
}

void CMain::applyPlane(const protocol::PlaneStatus &plane)
{
    if (qFuzzyCompare(plane.latitude, m_plane.latitude)
        && qFuzzyCompare(plane.longitude, m_plane.longitude)
        && qFuzzyCompare(plane.yaw, m_plane.yaw) && plane.altitude == m_plane.altitude)
        return;
    m_plane = plane;
    emit planeChanged();
}

void CMain::apply(const protocol::SbusMap &map)
{
    m_awaitingSbus = false;
    m_sbusReadTimer->stop();
    m_sbus = map;
    emit sbusPitchIndexChanged();
}

void CMain::apply(const protocol::VersionReply &version)
{
    m_versionno = version.text;
    emit versionChanged();
}

void CMain::apply(const protocol::B7NReply &reply)
{
    m_b7n.address = reply.address;
    if (reply.settings)
        m_b7n.settings = *reply.settings;
    emit b7nIPAddressChanged();
}
