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

/// Goes through a file as QSettings does, as far as values are concerned: where a key, a value, a
/// part of a list, a quoted stretch and a comment begin and end.
class Scanner
{
public:
    /// False for a byte that a plain file does not have in this place.
    bool take(char byte)
    {
        // An escaped end of line may be of two bytes.
        if (m_escaped == Escape::Next || (m_escaped == Escape::LineEnd && isLineEnd(byte))) {
            m_escaped =
                m_escaped == Escape::Next && isLineEnd(byte) ? Escape::LineEnd : Escape::None;
            return true;
        }
        m_escaped = Escape::None;
        switch (m_place) {
        case Place::LineStart:
        case Place::Key:
            return takeKey(byte);
        case Place::Comment:
            if (isLineEnd(byte))
                m_place = Place::LineStart;
            return true;
        case Place::Value:
            break;
        }
        return takeValue(byte);
    }

private:
    enum class Place { LineStart, Key, Comment, Value };
    enum class Escape { None, Next, LineEnd };

    static bool isLineEnd(char byte) { return byte == '\n' || byte == '\r'; }

    bool takeKey(char byte)
    {
        // The console's keys have none, and they would make it a guess where the value begins.
        if (byte == '"' || (byte == ';' && m_place == Place::Key))
            return false;
        if (isLineEnd(byte))
            m_place = Place::LineStart;
        else if (byte == ';')
            m_place = Place::Comment;
        else if (byte == '=')
            beginValue();
        else
            m_place = Place::Key;
        noteEscape(byte);
        return true;
    }

    bool takeValue(char byte)
    {
        if (byte == '"') {
            m_isQuoted = !m_isQuoted;
        } else if (!m_isQuoted && byte == ',') {
            beginValue();
        } else if (!m_isQuoted && isLineEnd(byte)) {
            m_place = Place::LineStart;
        } else {
            if ((m_isAtBeginning && (byte == '@' || byte == '\\')) || (!m_isQuoted && byte == ';'))
                return false;
            m_isAtBeginning = m_isAtBeginning && kBlanks.contains(byte);
            noteEscape(byte);
        }
        return true;
    }

    void noteEscape(char byte)
    {
        if (byte == '\\')
            m_escaped = Escape::Next;
    }

    void beginValue()
    {
        m_place = Place::Value;
        m_isAtBeginning = true;
        m_isQuoted = false;
    }

    Place m_place = Place::LineStart;
    bool m_isQuoted = false;
    Escape m_escaped = Escape::None;
    bool m_isAtBeginning = false; // of a value or of a part of a list
};

} // namespace

bool isPlain(QByteArrayView content)
{
    Scanner scanner;
    return std::none_of(content.begin(), content.end(),
                        [&scanner](char byte) { return isControl(byte) || !scanner.take(byte); });
}

} // namespace settings_text
