#include "qx/util/config/detail/IniReader.h"

#include <algorithm>
#include <utility>

#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/UTF8.h>
#include <qx/text/charset/detail/Decode.h>

#include <qx/text/charset/detail/Kernels.h>

namespace qx::util::detail {

namespace {

constexpr size_t LongestLine = 510; // bytes, with the line feed; what is longer comes in pieces
constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view SkippedStarts = "#:; \t\n\v\f\r";
constexpr char16_t Replacement = u'\xFFFD';

template <class Unit>
std::basic_string_view<Unit> trim(std::basic_string_view<Unit> text) noexcept {
    const auto isTrimmed = [](Unit unit) {
        return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
    };
    while (!text.empty() && isTrimmed(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isTrimmed(text.back()))
        text.remove_suffix(1);
    return text;
}

/// A std::u16string as the target of decoding.
struct DecodeTarget {
    std::u16string& text;

    int32_t length() const { return static_cast<int32_t>(text.size()); }
    char16_t* prepare(int32_t capacity) {
        text.resize(static_cast<size_t>(capacity));
        return text.data();
    }
    void commit(int32_t length) { text.resize(static_cast<size_t>(length)); }
};

} // namespace

IniReader::IniReader(std::string_view bytes, IniSets& sets)
    : m_rest(bytes), m_mayHoldNul(bytes.find('\0') != bytes.npos), m_sets(sets) {}

void IniReader::read() {
    while (!m_rest.empty()) {
        const std::string_view fromHere = m_rest;
        if (!readLine(takeLine())) {
            m_sets.setUnread(fromHere);
            break;
        }
    }
    endSet(true);
}

/// The next line with its line feed, up to its first 0 byte.
std::string_view IniReader::takeLine() {
    std::string_view line = m_rest.substr(0, LongestLine);
    line = line.substr(0, line.find('\n') + 1 == 0 ? line.npos : line.find('\n') + 1);
    m_rest.remove_prefix(line.size());
    return m_mayHoldNul ? line.substr(0, line.find('\0')) : line;
}

/// False when reading ends before this line.
bool IniReader::readLine(std::string_view line) {
    if (line.starts_with(ByteOrderMark)) {
        if (!m_isUtf8)
            m_decoder = new text::charset::BTCUTF8;
        m_isUtf8 = true;
        line.remove_prefix(ByteOrderMark.size());
    }
    if (line.empty() || SkippedStarts.find(line.front()) != SkippedStarts.npos)
        return true;
    if (line.ends_with('\n'))
        line.remove_suffix(1);
    return line.front() == '[' ? readSetHeader(line) : readKey(line);
}

bool IniReader::readSetHeader(std::string_view line) {
    const auto text = decode(line);
    const size_t end = text.rfind(u']');
    if (end == text.npos)
        return false;
    endSet(false);
    m_hasHeader = true;
    m_pending.text = text.substr(1, end - 1);
    m_pending.bytes = {};
    if (m_isUndecoded) [[unlikely]] {
        const auto bytes = line.substr(1, line.rfind(']') - 1);
        if (isDecodedAs({"[", bytes, "]"}, {u"[", m_pending.text, u"]"}))
            m_pending.bytes = undecoded(m_pending.text, bytes);
    }
    return true;
}

bool IniReader::readKey(std::string_view line) {
    const auto text = decode(line);
    const size_t equals = text.find(u'=');
    if (equals == text.npos)
        return false;
    if (!m_hasHeader)
        return true;
    const auto name = trim(text.substr(0, equals));
    IniKey& key = m_sets.putKept(m_pending, name, trim(text.substr(equals + 1)));
    if (m_isUndecoded) [[unlikely]] {
        const size_t equalsByte = line.find('=');
        const auto bytes = trim(line.substr(0, equalsByte));
        const auto valueBytes = trim(line.substr(equalsByte + 1));
        if (isDecodedAs({bytes, "=", valueBytes}, {name, u"=", key.value})) {
            if (key.bytes.empty() && key.text == name)
                key.bytes = undecoded(name, bytes);
            key.valueBytes = undecoded(key.value, valueBytes);
        }
    }
    return true;
}

/// Whether bytes that are no text, put together like this, would be read as that text: what begins
/// a character may take the ASCII behind it along.
bool IniReader::isDecodedAs(std::initializer_list<std::string_view> bytes,
                            std::initializer_list<std::u16string_view> text) {
    std::string line;
    for (const auto part : bytes)
        line += part;
    std::u16string expected;
    for (const auto part : text)
        expected += part;
    return decode(line) == expected;
}

/// The text of a line, kept by the sets.
std::u16string_view IniReader::decode(std::string_view line) {
    m_isUndecoded = false;
    char16_t* const units = m_sets.allocateUnits(line.size());
    const auto* const bytes = reinterpret_cast<const uint8_t*>(line.data());
    // Every encoding of a locale has ASCII.
    if (text::charset::detail::kernels().widenAscii(bytes, line.size(), units) == line.size())
        return {units, line.size()};

    if (!m_decoder)
        m_decoder = text::charset::ByteToCharConverter::getConverter(nullptr);
    m_decoder->reset();
    m_decoded.clear();
    try {
        const auto length = static_cast<int32_t>(line.size());
        const int32_t read =
            qx::detail::decode(*m_decoder, reinterpret_cast<const signed char*>(line.data()),
                               length, DecodeTarget{m_decoded});
        if (read < length)
            m_decoded.push_back(Replacement);
    } catch (const text::charset::InvalidCharacterException&) {
        // Some bytes have no substitution, such as those of a number beyond all characters.
        m_decoded.resize(line.size());
        std::ranges::transform(line, m_decoded.begin(), [](char byte) {
            return static_cast<signed char>(byte) < 0 ? Replacement : static_cast<char16_t>(byte);
        });
    }
    // A file with a byte order mark is written without it, in another encoding perhaps.
    m_isUndecoded = !m_isUtf8 && m_decoded.find(Replacement) != m_decoded.npos;
    return m_sets.keep(m_decoded);
}

/// The bytes that @p text was decoded from, when it alone could not give them back.
std::string_view IniReader::undecoded(std::u16string_view text, std::string_view bytes) const {
    return text.find(Replacement) == text.npos ? std::string_view() : m_sets.keep(bytes);
}

/// Stores the keys read since the last header. Those before the first have no set; those of a last
/// set without a name are dropped too.
void IniReader::endSet(bool isLast) {
    if (!m_hasHeader || (isLast && m_pending.text.empty()))
        return;
    IniSet& set = m_sets.makeSet(m_pending.text);
    set.keys = std::exchange(m_pending.keys, {});
    if (set.bytes.empty())
        set.bytes = m_pending.bytes;
}

} // namespace qx::util::detail
