#include "FirmwareChunks.h"

std::optional<FirmwareChunks> FirmwareChunks::cut(const QByteArray &image)
{
    const qsizetype total = (image.size() + kChunkLength - 1) / kChunkLength;
    if (total > kChunksMax)
        return std::nullopt;
    FirmwareChunks chunks;
    chunks.m_image = image;
    chunks.m_total = static_cast<int>(total);
    return chunks;
}

QByteArray FirmwareChunks::at(int index) const
{
    return has(index) ? m_image.mid((index - 1) * kChunkLength, kChunkLength) : QByteArray();
}
