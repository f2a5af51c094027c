#pragma once

#include <QByteArrayView>

#include <cstdint>

/// Reads the bits of a unit, without the bytes that keep start codes from appearing in it. Beyond
/// the end all bits are zero.
class BitReader
{
public:
    explicit BitReader(QByteArrayView bytes)
        : m_bytes(bytes)
    {
    }

    std::uint32_t bits(unsigned count)
    {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < count; ++i)
            value = 2 * value + (bit() ? 1 : 0);
        return value;
    }

    /// A number in Exp-Golomb form.
    std::uint32_t number()
    {
        unsigned zeros = 0;
        while (zeros < kZerosMax && !bit())
            ++zeros;
        return (std::uint32_t(1) << zeros) - 1 + bits(zeros);
    }

    bool atEnd() const { return m_left == 0 && m_at >= m_bytes.size(); }

private:
    static constexpr unsigned kZerosMax = 31;

    bool bit()
    {
        if (m_left == 0)
            nextByte();
        return ((m_byte >> --m_left) & 1U) != 0;
    }

    void nextByte()
    {
        if (m_zeros >= 2 && m_at < m_bytes.size() && m_bytes[m_at] == 3) {
            ++m_at;
            m_zeros = 0;
        }
        m_byte = m_at < m_bytes.size() ? static_cast<unsigned char>(m_bytes[m_at++]) : 0;
        m_zeros = m_byte == 0 ? m_zeros + 1 : 0;
        m_left = 8;
    }

    QByteArrayView m_bytes;
    qsizetype m_at = 0;
    int m_zeros = 0; // bytes of zero just read
    unsigned m_byte = 0;
    unsigned m_left = 0; // bits of m_byte
};
