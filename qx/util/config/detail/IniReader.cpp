#include "qx/util/config/detail/IniReader.h"

#include <algorithm>
#include <string>
#include <utility>

#include <qx/text/charset/Surrogates.h>
#include <qx/util/config/detail/IniSyntax.h>
#include <qx/util/detail/TextFile.h>

namespace qx::util::detail {

namespace {

constexpr size_t LongestLine = 510; // bytes, with the line feed; what is longer comes in pieces
constexpr std::string_view SkippedStarts = "#:; \t\n\v\f\r";

} // namespace

IniReader::IniReader(std::string_view bytes, IniSets& sets)
    : m_bytes(bytes), m_rest(bytes), m_mayHoldNul(bytes.find('\0') != bytes.npos), m_sets(sets) {}

void IniReader::read() {
    while (!m_rest.empty()) {
        const std::string_view fromHere = m_rest;
        if (!readLine(takeLine())) {
            const auto read = m_bytes.substr(0, m_bytes.size() - fromHere.size());
            m_sets.setUnread(fromHere, std::ranges::count(read, '\n') + 1,
                             fromHere.front() == '[' ? NoSetInLine : NoKeyInLine);
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
    if (line.starts_with(Utf8ByteOrderMark)) {
        m_decoder.useUtf8();
        m_sets.setUtf8();
        line.remove_prefix(Utf8ByteOrderMark.size());
    }
    if (line.empty() || SkippedStarts.find(line.front()) != SkippedStarts.npos)
        return true;
    if (line.ends_with('\n'))
        line.remove_suffix(1);
    return line.front() == '[' ? readSetHeader(line) : readKey(line);
}

bool IniReader::readSetHeader(std::string_view line) {
    const auto name = iniHeaderName(decode(line));
    if (!name.data())
        return false;
    endSet(false);
    m_hasHeader = true;
    m_pending.text = name;
    m_pending.bytes = {};
    if (m_decoder.isUndecoded()) [[unlikely]] {
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
    const auto name = trimIni(text.substr(0, equals));
    IniKey& key = m_sets.putKept(m_pending, name, trimIni(text.substr(equals + 1)));
    if (m_decoder.isUndecoded()) [[unlikely]] {
        const size_t equalsByte = line.find('=');
        const auto bytes = trimIni(line.substr(0, equalsByte));
        const auto valueBytes = trimIni(line.substr(equalsByte + 1));
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
    char16_t* const units = m_sets.allocateUnits(line.size());
    const auto text = m_decoder.decode(line, units);
    return text.data() == units ? text : m_sets.keep(text);
}

/// The bytes that @p text was decoded from, when it alone could not give them back.
std::string_view IniReader::undecoded(std::u16string_view text, std::string_view bytes) const {
    return text.find(text::charset::ReplacementCharacter) == text.npos ? std::string_view()
                                                                       : m_sets.keep(bytes);
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
