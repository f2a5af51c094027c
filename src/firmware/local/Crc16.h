#pragma once

#include <QByteArrayView>

#include <array>

namespace ymodem {

/// One step of the CRC for every value of the byte that leaves the register.
inline constexpr std::array<quint16, 256> kCrcTable = []() {
    constexpr quint32 kPolynomial = 0x1021;
    constexpr quint32 kTopBit = 0x8000;
    std::array<quint16, 256> table{};
    for (quint32 value = 0; value < table.size(); ++value) {
        quint32 crc = value << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & kTopBit) != 0 ? (crc << 1) ^ kPolynomial : crc << 1;
        table[value] = static_cast<quint16>(crc);
    }
    return table;
}();

/// CRC-16/XMODEM: polynomial 0x1021, initial value 0, most significant bit first, no reflection,
/// no final XOR.
constexpr quint16 crc16(QByteArrayView bytes)
{
    quint16 crc = 0;
    for (const char byte : bytes) {
        const auto index = static_cast<quint8>((crc >> 8) ^ static_cast<quint8>(byte));
        crc = static_cast<quint16>((crc << 8) ^ kCrcTable[index]);
    }
    return crc;
}

} // namespace ymodem
