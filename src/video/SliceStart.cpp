#include "SliceStart.h"

using namespace annexb;

namespace {

/// Reads bits, without the bytes that keep start codes from appearing.
class BitReader
{
public:
    explicit BitReader(QByteArrayView bytes)
        : m_bytes(bytes)
    {
    }

    /// A number in Exp-Golomb form.
    std::uint32_t number()
    {
        unsigned zeros = 0;
        while (zeros < kZerosMax && !bit())
            ++zeros;
        std::uint32_t value = 1;
        for (unsigned i = 0; i < zeros; ++i)
            value = 2 * value + (bit() ? 1 : 0);
        return value - 1;
    }

private:
    static constexpr unsigned kZerosMax = 31;

    bool bit()
    {
        if (m_left == 0) {
            if (m_zeros >= 2 && m_at < m_bytes.size() && m_bytes[m_at] == 3) {
                ++m_at;
                m_zeros = 0;
            }
            m_byte = m_at < m_bytes.size() ? static_cast<unsigned char>(m_bytes[m_at++]) : 0;
            m_zeros = m_byte == 0 ? m_zeros + 1 : 0;
            m_left = 8;
        }
        return ((m_byte >> --m_left) & 1U) != 0;
    }

    QByteArrayView m_bytes;
    qsizetype m_at = 0;
    int m_zeros = 0; // bytes of zero just read
    unsigned m_byte = 0;
    unsigned m_left = 0; // bits of m_byte
};

} // namespace

SliceStart readSliceStart(QByteArrayView header, Codec codec)
{
    const int type = unitType(header, codec);
    if (codec == Codec::H265) {
        const bool isKey = type >= h265::FirstKeySlice && type <= h265::LastKeySlice;
        return {(static_cast<unsigned char>(header[2]) & 0x80U) != 0, isKey, isKey, 0};
    }
    constexpr std::uint32_t kIntraSlice = 2;
    constexpr std::uint32_t kSliceTypes = 5; // each twice: of this slice, of all of the picture
    BitReader bits(header.sliced(1));
    const std::uint32_t macroblock = bits.number();
    const bool isIntra = bits.number() % kSliceTypes == kIntraSlice;
    return {macroblock == 0, isIntra || type == h264::KeySlice, type == h264::KeySlice, macroblock};
}
