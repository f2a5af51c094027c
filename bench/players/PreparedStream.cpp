#include "PreparedStream.h"

#include "ControlProbe.h"
#include "video/LatencyStrip.h"
#include "video/SceneRenderer.h"

#include <QDataStream>
#include <QDir>
#include <QSaveFile>

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>

#include <cmath>
#include <cstdio>
#include <numbers>

namespace bench {
namespace {

constexpr double kBitsPerPixel = 0.12;
constexpr double kSwingDegrees = 15; // how far the view turns to either side

QString encoderLine(const VideoFormat &format)
{
    const QSize size = format.size;
    const int kbps = int(kBitsPerPixel * size.width() * size.height() * format.fps / 1000);
    const QString encoder =
        format.codec == VideoFormat::Codec::H264
            ? QStringLiteral("x264enc tune=zerolatency speed-preset=superfast sliced-threads=false "
                             "bframes=0 key-int-max=%1 bitrate=%2 ! "
                             "video/x-h264,profile=main,stream-format=byte-stream,alignment=au")
            : QStringLiteral("x265enc tune=zerolatency speed-preset=ultrafast key-int-max=%1 "
                             "bitrate=%2 option-string=bframes=0:repeat-headers=1:log-level=none ! "
                             "video/x-h265,stream-format=byte-stream,alignment=au");
    return QStringLiteral("appsrc name=src format=time block=true max-buffers=4 "
                          "caps=video/x-raw,format=BGRx,width=%1,height=%2,framerate=%3/1 "
                          "! videoconvert ! video/x-raw,format=I420 ! %4 "
                          "! appsink name=out sync=false")
        .arg(size.width())
        .arg(size.height())
        .arg(format.fps)
        .arg(encoder.arg(format.fps).arg(kbps));
}

void takeEncoded(GstAppSink *out, GstClockTime wait, QByteArrayList &pictures)
{
    while (GstSample *sample = gst_app_sink_try_pull_sample(out, wait)) {
        GstMapInfo map;
        GstBuffer *buffer = gst_sample_get_buffer(sample);
        gst_buffer_map(buffer, &map, GST_MAP_READ);
        pictures.append(QByteArray(reinterpret_cast<const char *>(map.data), qsizetype(map.size)));
        gst_buffer_unmap(buffer, &map);
        gst_sample_unref(sample);
    }
}

QImage drawPicture(SceneRenderer &renderer, const VideoFormat &format, int index, int count)
{
    SceneView view;
    view.yawDegrees = kSwingDegrees * std::sin(2 * std::numbers::pi * index / count);
    QImage picture = renderer.render(view, format.size, index);
    latency_strip::draw(picture, index);
    return picture;
}

QByteArrayList encode(const VideoFormat &format, int count)
{
    gst_init(nullptr, nullptr);
    GstElement *pipeline = gst_parse_launch(qPrintable(encoderLine(format)), nullptr);
    if (!pipeline)
        fail("no encoder");
    GstElement *source = gst_bin_get_by_name(GST_BIN(pipeline), "src");
    GstElement *out = gst_bin_get_by_name(GST_BIN(pipeline), "out");
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    SceneRenderer renderer;
    QByteArrayList pictures;
    for (int i = 0; i < count; ++i) {
        const QImage picture = drawPicture(renderer, format, i, count);
        GstBuffer *buffer =
            gst_buffer_new_memdup(picture.constBits(), gsize(picture.sizeInBytes()));
        GST_BUFFER_PTS(buffer) = gst_util_uint64_scale(guint64(i), GST_SECOND, guint64(format.fps));
        gst_app_src_push_buffer(GST_APP_SRC(source), buffer);
        takeEncoded(GST_APP_SINK(out), 0, pictures);
    }
    gst_app_src_end_of_stream(GST_APP_SRC(source));
    takeEncoded(GST_APP_SINK(out), GST_CLOCK_TIME_NONE, pictures);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(source);
    gst_object_unref(out);
    gst_object_unref(pipeline);
    return pictures;
}

} // namespace

PreparedStream prepareStream(const VideoFormat &format, int seconds, const QString &folder)
{
    const int count = seconds * format.fps;
    // One encoded otherwise is another.
    const QString name = QStringLiteral("%1-%2-%3-%4.pictures")
                             .arg(format.size.height())
                             .arg(count)
                             .arg(format.codec == VideoFormat::Codec::H264 ? u"h264" : u"h265")
                             .arg(qHash(encoderLine(format)), 0, 16);
    QDir().mkpath(folder);
    PreparedStream stream{format, {}};
    QFile kept(QDir(folder).filePath(name));
    if (kept.open(QIODevice::ReadOnly)) {
        QDataStream data(&kept);
        data >> stream.pictures;
    } else {
        std::fprintf(stderr, "encoding %s\n", qPrintable(name));
        stream.pictures = encode(format, count);
        QSaveFile file(kept.fileName());
        if (!file.open(QIODevice::WriteOnly))
            fail("cannot keep the encoded pictures");
        QDataStream data(&file);
        data << stream.pictures;
        file.commit();
    }
    if (stream.pictures.size() != count)
        fail("the encoder did not make one access unit of every picture");
    return stream;
}

} // namespace bench
