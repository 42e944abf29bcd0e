#include "qx/i18n/detail/MessageParser.h"

#include <algorithm>

#include <qx/platform/detail/HexDigits.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/Utf8.h>
#include <qx/util/detail/TextFile.h>

namespace qx::i18n::detail {

using qx::platform::hexValue;
using text::charset::isHighSurrogate;
using text::charset::isLowSurrogate;
using text::charset::isSurrogate;

namespace {

constexpr std::u16string_view Blanks = u" \t";

constexpr bool isBlank(char16_t unit) { return Blanks.find(unit) != Blanks.npos; }

constexpr bool isControl(char32_t unit) { return (unit < 0x20 && unit != U'\t') || unit == 0x7F; }

std::u16string_view withoutLeadingBlanks(std::u16string_view text) {
    return text.substr(std::min(text.find_first_not_of(Blanks), text.size()));
}

/// "001F"
std::u16string fourDigits(char32_t unit) {
    std::u16string digits(4, u'\0');
    qx::platform::writeHex<4>(unit, digits.data());
    return digits;
}

} // namespace

MessageParser::MessageParser(std::string_view bytes, std::vector<MessageFile::Message>& messages,
                             std::vector<MessageFile::Mistake>& mistakes)
    : m_rest(bytes), m_messages(messages), m_mistakes(mistakes) {
    if (m_rest.starts_with(util::detail::Utf8ByteOrderMark))
        m_rest.remove_prefix(util::detail::Utf8ByteOrderMark.size());
}

void MessageParser::read() {
    while (m_mistakes.size() < MessageFile::MostMistakes && takeLine()) {
        const std::u16string_view content = withoutLeadingBlanks(m_line);
        if (!content.empty() && content.front() != u'#')
            takeEntry();
    }
}

/// Decodes the next line; false when there is none.
bool MessageParser::takeLine() {
    if (m_rest.empty())
        return false;
    std::string_view bytes = m_rest.substr(0, m_rest.find('\n'));
    m_rest.remove_prefix(std::min(bytes.size() + 1, m_rest.size()));
    if (bytes.ends_with('\r'))
        bytes.remove_suffix(1);
    ++m_lineNumber;
    m_line.clear();
    m_isSound = true;
    while (!bytes.empty()) {
        const auto next = text::charset::detail::readWellFormed(
            reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        if (m_isSound && (next.length == 0 || isControl(next.value))) {
            m_isSound = false;
            complain(m_lineNumber, next.length == 0
                                       ? u"not UTF-8"
                                       : u"the control character U+" + fourDigits(next.value));
        }
        char16_t units[2];
        m_line.append(units, text::charset::writeUtf16(next.value, units));
        bytes.remove_prefix(std::max(next.length, size_t{1}));
    }
    return true;
}

/// Joins the line that was taken with those that continue it. They are read past as a whole,
/// whatever is wrong with one of them.
void MessageParser::takeEntry() {
    m_entry.clear();
    m_lineNumbers.clear();
    bool isSound = true;
    for (;;) {
        const std::u16string_view content = withoutLeadingBlanks(m_line);
        m_lineNumbers.emplace_back(m_entry.size(), m_lineNumber);
        m_entry += content;
        isSound = isSound && m_isSound;
        if (!util::detail::endsInSingleBackslash(content))
            break;
        m_entry.pop_back();
        if (!takeLine())
            return complain(m_lineNumber, u"nothing follows the \"\\\" at the end");
    }
    if (isSound)
        readEntry();
}

void MessageParser::readEntry() {
    constexpr char16_t NoEnd = u'\0'; // a control character, which no line has
    std::u16string key, text;
    m_at = 0;
    if (!readPart(key, u'='))
        return;
    if (m_at == m_entry.size() || key.empty()) {
        complain(m_at == m_entry.size() ? u"no \"=\"" : u"no key before the \"=\"");
        return;
    }
    ++m_at;
    if (!readPart(text, NoEnd))
        return;
    const int32_t line = m_lineNumbers.front().second;
    if (const auto [known, isNew] = m_lineOfKey.try_emplace(key, line); isNew)
        m_messages.push_back({String(key), String(text), line});
    else
        complain(line, (u"the key " + String(key) + u" was there in line " +
                        String::valueOf(known->second))
                           .view());
}

/// Reads up to a unit or the end of the entry, without the blanks around what there is; false when
/// there was a mistake.
bool MessageParser::readPart(std::u16string& part, char16_t end) {
    size_t kept = 0;
    while (m_at < m_entry.size() && m_entry[m_at] != end) {
        const char16_t unit = m_entry[m_at];
        if (unit == u'\\') {
            if (!readEscape(part))
                return false;
            kept = part.size();
            continue;
        }
        ++m_at;
        if (isBlank(unit) && part.empty())
            continue;
        part += unit;
        if (!isBlank(unit))
            kept = part.size();
    }
    part.resize(kept);
    return true;
}

bool MessageParser::readEscape(std::u16string& part) {
    constexpr std::u16string_view Letters = u"nrt\\=# ", Units = u"\n\r\t\\=# ";
    const char16_t letter = m_entry[m_at + 1]; // there is one, or the line would be continued
    if (letter == u'u')
        return readUnits(part);
    const size_t place = Letters.find(letter);
    if (place == Letters.npos)
        return complain(std::u16string(u"the unknown escape \\") + letter);
    part += Units[place];
    m_at += 2;
    return true;
}

/// Reads "\uXXXX", or two of them for a pair.
bool MessageParser::readUnits(std::u16string& part) {
    const auto first = takeUnit();
    if (!first)
        return complain(u"\\u without four hexadecimal digits");
    if (*first == 0)
        return complain(u"\\u0000, which no text can hold");
    part += *first;
    if (!isSurrogate(*first))
        return true;
    const auto second = isHighSurrogate(*first) ? takeUnit() : std::nullopt;
    if (!second || !isLowSurrogate(*second))
        return complain(u"\\u" + fourDigits(*first) + u", which is half a character");
    part += *second;
    return true;
}

/// The unit of "\uXXXX", or nothing when there is something else.
std::optional<char16_t> MessageParser::takeUnit() {
    constexpr size_t Length = 6;
    const std::u16string_view text = std::u16string_view(m_entry).substr(m_at, Length);
    if (text.size() != Length || !text.starts_with(u"\\u"))
        return std::nullopt;
    int unit = 0;
    for (const char16_t digit : text.substr(2)) {
        const int value = hexValue(digit);
        if (value < 0)
            return std::nullopt;
        unit = unit * 16 + value;
    }
    m_at += Length;
    return static_cast<char16_t>(unit);
}

/// A mistake where the entry is being read; false.
bool MessageParser::complain(std::u16string_view reason) {
    const auto behind =
        std::ranges::upper_bound(m_lineNumbers, m_at, {}, &std::pair<size_t, int32_t>::first);
    complain(std::prev(behind)->second, reason);
    return false;
}

void MessageParser::complain(int32_t line, std::u16string_view reason) {
    m_mistakes.push_back({line, String(reason)});
}

} // namespace qx::i18n::detail
