#pragma once

#include <QByteArray>

#include <optional>

/// A firmware image as the chunks in which it is sent, numbered from 1; the last one is the rest.
class FirmwareChunks
{
public:
    static constexpr qsizetype kChunkLength = 116; // bytes
    static constexpr qsizetype kChunksMax = 65535; // the 16-bit total of a command frame

    FirmwareChunks() = default;
    /// Nothing when the image needs more than kChunksMax chunks.
    static std::optional<FirmwareChunks> cut(const QByteArray &image);

    int total() const { return m_total; }

    qsizetype imageSize() const { return m_image.size(); }

    bool has(int index) const { return index >= 1 && index <= m_total; }

    /// Empty for an index that the image does not have.
    QByteArray at(int index) const;

private:
    QByteArray m_image;
    int m_total = 0;
};
