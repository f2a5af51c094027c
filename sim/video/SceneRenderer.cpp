#include "SceneRenderer.h"

#include <QPainter>
#include <QTime>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kInsetShare = 0.34;

panorama::Kind kindOf(int palette)
{
    switch (palette) {
    case 1:
        return panorama::Kind::BlackHot;
    case 2:
        return panorama::Kind::Iron;
    default:
        return panorama::Kind::WhiteHot;
    }
}

QFont overlayFont(const QSize &size, double share)
{
    QFont font(QStringLiteral("DejaVu Sans Mono"));
    font.setPixelSize(std::max(int(size.height() * share), 8));
    font.setBold(true);
    return font;
}

void drawOutlined(QPainter &painter, const QPointF &at, const QString &text, const QColor &colour)
{
    painter.setPen(Qt::black);
    painter.drawText(at + QPointF(1.5, 1.5), text);
    painter.setPen(colour);
    painter.drawText(at, text);
}

} // namespace

const QImage &SceneRenderer::landscape(panorama::Kind kind)
{
    QImage &image = m_landscapes[kind];
    if (image.isNull())
        image = panorama::draw(kind);
    return image;
}

void SceneRenderer::drawSensor(QPainter &painter, const QRectF &target, const SceneView &view,
                               bool thermal)
{
    using namespace panorama;
    const QImage &image = landscape(thermal ? kindOf(view.palette) : Kind::Visible);
    const double width = view.acrossDegrees * kPixelsPerDegree;
    const double height = width * target.height() / target.width();
    double left = view.yawDegrees * kPixelsPerDegree - width / 2;
    if (left < 0)
        left += 360.0 * kPixelsPerDegree;
    const double top = (kTopDegrees - view.pitchDegrees) * kPixelsPerDegree - height / 2;
    const QRectF source(left, std::clamp(top, 0.0, image.height() - height), width, height);
    painter.drawImage(target, image, source);
}

QImage SceneRenderer::render(const SceneView &view, const QSize &size, qint64 number)
{
    QImage picture(size, QImage::Format_RGB32);
    QPainter painter(&picture);
    // Smoothing costs more than all the rest; only a magnified landscape needs it.
    painter.setRenderHint(QPainter::SmoothPixmapTransform, view.zoomRatio > 2);
    const bool thermal = view.pictureMode == 0 || view.pictureMode == 3;
    drawSensor(painter, QRectF(QPointF(), size), view, thermal);
    if (view.pictureMode < 2) {
        const QSizeF inset = QSizeF(size) * kInsetShare;
        const QRectF target(
            QPointF(size.width() - inset.width() - size.width() / 16.0, size.height() / 12.0),
            inset);
        drawSensor(painter, target, view, !thermal);
        painter.setPen(QPen(Qt::white, 2));
        painter.drawRect(target);
    }
    if (view.osd)
        drawOverlay(painter, view, size, number);
    return picture;
}

void SceneRenderer::drawOverlay(QPainter &painter, const SceneView &view, const QSize &size,
                                qint64 number)
{
    const double w = size.width();
    const double h = size.height();
    const QPointF centre(w / 2, h / 2);
    painter.setPen(QPen(QColor(120, 255, 140), 2));
    for (const int sign : {-1, 1}) {
        painter.drawLine(centre + QPointF(sign * w * 0.01, 0),
                         centre + QPointF(sign * w * 0.035, 0));
        painter.drawLine(centre + QPointF(0, sign * w * 0.01),
                         centre + QPointF(0, sign * w * 0.035));
    }
    if (view.tracking) {
        const QPointF at(view.trackPoint.x() * w, view.trackPoint.y() * h);
        painter.setPen(QPen(QColor(255, 70, 60), 3));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(QRectF(at - QPointF(h / 18, h / 18), QSizeF(h / 9, h / 9)));
    }
    painter.setFont(overlayFont(size, 0.032));
    drawOutlined(painter, {w * 0.02, h * 0.93},
                 QStringLiteral("YAW %1  PITCH %2  ZOOM %3X")
                     .arg(view.yawDegrees, 6, 'f', 1)
                     .arg(view.pitchDegrees, 6, 'f', 1)
                     .arg(view.zoomRatio, 0, 'f', 1),
                 Qt::white);
    drawOutlined(painter, {w * 0.02, h * 0.975},
                 QStringLiteral("%1  #%2")
                     .arg(QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz")))
                     .arg(number),
                 Qt::white);
    if (view.recording)
        drawOutlined(painter, {w * 0.9, h * 0.975}, QStringLiteral("● REC"), QColor(255, 80, 70));
}
