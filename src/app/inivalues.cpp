#include "inivalues.h"

#include <QString>

#include <array>
#include <optional>

namespace {

constexpr std::array<const char *, 2> serialisedForms{"@Variant(", "@DateTime("};

// Hands out the characters of an INI text as its values hold them, in the way of QSettings' own reader:
// quotes are dropped, escapes undone, comments left out, and also every unquoted blank.
class IniCharacters
{
public:
    explicit IniCharacters(const QByteArray &text) : m_text(text) {}

    struct Character
    {
        ushort code;
        bool separator; // unquoted '=', ',' or end of a line, behind which a value begins
    };

    // Nothing at the end of the text.
    std::optional<Character> next()
    {
        while (m_at < m_text.size()) {
            const char character = m_text.at(m_at++);
            if (character == '\\') {
                if (const auto code = escaped()) {
                    return Character{*code, false};
                }
            } else if (character == '"') {
                m_quoted = !m_quoted;
            } else if (isByteOrderMark(m_at - 1)) {
                m_at += 2; // where text is decoded as UTF-8 it is dropped
            } else if (m_quoted) {
                return Character{static_cast<uchar>(character), false};
            } else if (character == ';') {
                skipLine();
            } else if (character != ' ' && character != '\t') {
                return Character{static_cast<uchar>(character), isSeparator(character)};
            }
        }
        return {};
    }

private:
    static bool isSeparator(char character)
    {
        return character == '=' || character == ',' || character == '\n' || character == '\r';
    }

    bool isByteOrderMark(int position) const
    {
        return qstrncmp(m_text.constData() + position, "\xEF\xBB\xBF", 3) == 0;
    }

    // What an escape stands for; nothing for one that is ignored.
    std::optional<ushort> escaped()
    {
        if (m_at >= m_text.size()) {
            return {};
        }
        const char kind = m_text.at(m_at++);
        if (kind == 'x') {
            return number(16);
        }
        if (kind >= '0' && kind <= '7') {
            --m_at;
            return number(8);
        }
        if (kind == '\n' || kind == '\r') { // the value goes on behind the line break, which may be two bytes
            const char other = kind == '\n' ? '\r' : '\n';
            m_at += m_at < m_text.size() && m_text.at(m_at) == other ? 1 : 0;
            return {};
        }
        // None of the known letters gives a character of the forms looked for; others are left out.
        return QByteArray("abfnrtv\"?'\\").contains(kind) ? std::optional<ushort>(' ') : std::nullopt;
    }

    // As many digits as there are; the lowest 16 bits count.
    std::optional<ushort> number(int base)
    {
        std::optional<ushort> value;
        for (; m_at < m_text.size(); ++m_at) {
            bool isDigit = false;
            const int digit = m_text.mid(m_at, 1).toInt(&isDigit, base);
            if (!isDigit) {
                break;
            }
            value = static_cast<ushort>(value.value_or(0) * base + digit);
        }
        return value;
    }

    void skipLine()
    {
        while (m_at < m_text.size() && m_text.at(m_at) != '\n' && m_text.at(m_at) != '\r') {
            ++m_at;
        }
    }

    const QByteArray &m_text;
    int m_at = 0;
    bool m_quoted = false;
};

} // namespace

bool holdsSerialisedValue(const QByteArray &ini)
{
    IniCharacters characters(ini);
    QString value; // its beginning, as much as a form is long
    constexpr int longestForm = 10;
    while (const auto character = characters.next()) {
        if (character->separator) {
            value.clear();
        } else if (value.size() < longestForm) {
            value.append(QChar(character->code));
            for (const char *form : serialisedForms) {
                if (value == QLatin1String(form)) {
                    return true;
                }
            }
        }
    }
    return false;
}
