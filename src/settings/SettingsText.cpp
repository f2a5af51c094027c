#include "SettingsText.h"

#include <algorithm>

namespace settings_text {
namespace {

constexpr QByteArrayView kBlanks = " \t\r\n";

// A power cut leaves blocks of zeros, a wrong file anything.
bool isControl(char byte)
{
    return static_cast<unsigned char>(byte) < ' ' && !kBlanks.contains(byte);
}

} // namespace

bool isPlain(QByteArrayView content)
{
    // Every place is examined where a value or a part of a list could begin, quoted ones included.
    bool beginsValue = false;
    return std::none_of(content.begin(), content.end(), [&beginsValue](char byte) {
        if (isControl(byte) || (beginsValue && (byte == '@' || byte == '\\')))
            return true;
        if (byte == '=' || byte == ',')
            beginsValue = true;
        else if (byte != '"' && !kBlanks.contains(byte))
            beginsValue = false;
        return false;
    });
}

} // namespace settings_text
