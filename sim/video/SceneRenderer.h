#pragma once

#include "Panorama.h"

#include <QImage>
#include <QPointF>

#include <map>

/// What of the pod's state can be seen in its picture.
struct SceneView
{
    double yawDegrees = 0;
    double pitchDegrees = 0;
    double acrossDegrees = 60; ///< horizontal field of view
    double zoomRatio = 1;
    int pictureMode = 2; ///< 0 visible in thermal, 1 thermal in visible, 2 visible, 3 thermal
    int palette = 0;     ///< 0 white hot, 1 black hot, 2 colour
    bool osd = true;
    bool recording = false;
    bool tracking = false;
    QPointF trackPoint; ///< 0..1 over the picture
};

/// Draws the pod's picture: a crop of the landscape, an inset where two sensors are shown, the
/// pod's own overlay, a running number and the time.
class SceneRenderer
{
public:
    QImage render(const SceneView &view, const QSize &size, qint64 number);

private:
    const QImage &landscape(panorama::Kind kind);
    void drawSensor(QPainter &painter, const QRectF &target, const SceneView &view, bool thermal);
    static void drawOverlay(QPainter &painter, const SceneView &view, const QSize &size,
                            qint64 number);

    std::map<panorama::Kind, QImage> m_landscapes;
};
