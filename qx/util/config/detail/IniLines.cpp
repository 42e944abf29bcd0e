#include "qx/util/config/detail/IniLines.h"

#include <utility>

#include <qx/util/config/detail/IniDecoder.h>
#include <qx/util/config/detail/IniSyntax.h>
#include <qx/util/detail/TextFile.h>

namespace qx::util::detail {

using Kind = IniLine::Kind;

/// Takes the lines apart, one after the other.
class IniLines::Parser {
public:
    explicit Parser(std::vector<IniLine>& lines) : m_lines(lines) {}

    void read(std::string_view bytes) {
        while (!bytes.empty()) {
            const size_t end = bytes.find('\n');
            const auto line = bytes.substr(0, end == bytes.npos ? end : end + 1);
            bytes.remove_prefix(line.size());
            readLine(line);
        }
    }

private:
    void readLine(std::string_view bytes);
    Kind kindOf(std::u16string_view text) const;
    void readKey(IniLine& line, std::u16string_view text);
    void goOn(std::u16string_view text);

    std::vector<IniLine>& m_lines;
    IniDecoder m_decoder;
    std::u16string m_room;
    size_t m_header = IniLine::NoSet;
    size_t m_key = 0;       ///< the last line with a key
    bool m_goesOn = false;  ///< the last line asks for another one
    bool m_isValue = false; ///< and is part of a value
};

void IniLines::Parser::readLine(std::string_view bytes) {
    std::string_view rest = bytes;
    if (rest.starts_with(Utf8ByteOrderMark)) {
        m_decoder.useUtf8();
        rest.remove_prefix(Utf8ByteOrderMark.size());
    }
    for (const char end : {'\n', '\r'})
        if (rest.ends_with(end))
            rest.remove_suffix(1);
    m_room.resize(rest.size());
    const auto text = m_decoder.decode(rest, m_room.data());

    IniLine line;
    line.bytes = bytes;
    line.isUtf8 = m_decoder.isUtf8();
    line.kind = kindOf(text);
    line.isDoubtful = m_goesOn && (line.kind == Kind::Header || line.kind == Kind::Key);
    if (line.kind == Kind::Header) {
        m_header = m_lines.size();
        line.name = iniHeaderName(text);
    } else if (line.kind == Kind::NoHeader) {
        m_header = IniLine::NoSet;
    }
    line.header = m_header;
    if (line.kind == Kind::Key)
        readKey(line, text);
    else if (line.kind == Kind::Continuation)
        goOn(text);
    if (line.kind != Kind::Comment) {
        m_goesOn = endsInSingleBackslash(text);
        m_isValue = line.kind == Kind::Key || line.kind == Kind::Continuation;
    }
    line.goesOn = m_goesOn;
    m_lines.push_back(std::move(line));
}

Kind IniLines::Parser::kindOf(std::u16string_view text) const {
    const size_t start = text.find_first_not_of(IniWhiteSpace);
    if (start == text.npos)
        return Kind::Blank;
    // A ":" begins no comment in the files whose values go on.
    const bool asksForMore = m_goesOn && m_isValue;
    const bool isOldComment = text[start] == u':';
    if (IniCommentStarts.find(text[start]) != text.npos &&
        (!isOldComment || (start == 0 && !asksForMore)))
        return Kind::Comment;
    if (start == 0 && text.front() == u'[' && text.find(u']') != text.npos)
        return Kind::Header;
    if (start == 0 && text.front() != u'[' && text.find(u'=') != text.npos)
        return Kind::Key;
    if (asksForMore)
        return Kind::Continuation;
    if (start > 0)
        return Kind::Indented;
    return text.front() == u'[' ? Kind::NoHeader : Kind::NoKey;
}

void IniLines::Parser::readKey(IniLine& line, std::u16string_view text) {
    const size_t equals = text.find(u'=');
    line.name = trimIni(text.substr(0, equals));
    line.value = trimIni(text.substr(equals + 1));
    m_key = m_lines.size();
}

/// Takes the text as the rest of the last value, whose last unit is the "\" that asked for it.
void IniLines::Parser::goOn(std::u16string_view text) {
    std::u16string& value = m_lines[m_key].value;
    value.back() = u' ';
    value += text.substr(text.find_first_not_of(IniWhiteSpace));
    value = trimIni(std::u16string_view(value));
}

IniLines::IniLines(std::string bytes) : m_bytes(std::move(bytes)) { Parser(m_lines).read(m_bytes); }

void IniLines::readInto(IniSets& sets) const {
    IniSet* set = nullptr;
    for (const IniLine& line : m_lines) {
        if (line.kind == Kind::Header)
            set = &sets.makeSet(line.name);
        else if (line.kind == Kind::Key && line.header != IniLine::NoSet)
            sets.put(*set, line.name, line.value);
        else if (line.kind == Kind::NoHeader && sets.lineNotUnderstood() == 0)
            sets.setNotUnderstood(&line - m_lines.data() + 1, NoSetInLine);
        else if (line.kind == Kind::NoKey && sets.lineNotUnderstood() == 0)
            sets.setNotUnderstood(&line - m_lines.data() + 1, NoKeyInLine);
    }
}

} // namespace qx::util::detail
