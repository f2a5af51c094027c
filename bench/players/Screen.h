#pragma once

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

#include <optional>

namespace bench {

/// A virtual display whose memory can be read while others draw on it. Pictures are looked for
/// where the players put them: kPicture wide and high, somewhere near the left edge.
class Screen
{
public:
    static constexpr QSize kPicture = {1280, 720};
    static constexpr QSize kSize = {1282, 960};

    Screen();
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    QString display() const { return m_display; }

    qint64 serverPid() const { return m_server.processId(); }

    /// What the strip of the picture on screen carries; nothing while no whole one is there.
    std::optional<qint64> readStrip();

    const QImage &pixels() const { return m_pixels; }

private:
    void map();

    QTemporaryDir m_folder;
    QProcess m_server;
    QString m_display;
    QFile m_file;
    QImage m_pixels; // of the display itself
    QRect m_area;    // where a picture was found last
};

} // namespace bench
