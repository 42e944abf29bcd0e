// Changes of an INI file that touch only the lines that they are about.

#include <algorithm>
#include <tuple>
#include <utility>

#include <qx/core/Result.h>
#include <qx/core/String.h>

#include <qx/util/config/detail/IniLines.h>
#include <qx/util/config/detail/IniSyntax.h>
#include <qx/util/detail/PlatformText.h>
#include <qx/util/detail/TextFile.h>

namespace qx::util::detail {

namespace {

using Kind = IniLine::Kind;

/// Why a change is not made.
struct Refused {
    std::string reason;
};

bool isSameName(const FoldedText& folded, std::u16string_view name) {
    return hasSameUnits(folded.text(), FoldedText(name).text());
}

/// What the lines say, in their order: set, key and value.
using Entries = std::vector<std::tuple<std::u16string, std::u16string, std::u16string>>;

Entries entriesOf(const IniLines& lines) {
    Entries entries;
    for (const IniLine& line : lines.lines())
        if (line.kind == Kind::Key && line.header != IniLine::NoSet)
            entries.emplace_back(lines.lines()[line.header].name, line.name, line.value);
    return entries;
}

bool hasLineEnd(const IniLine& line) { return line.bytes.ends_with('\n'); }

bool isBlankOrComment(const IniLine& line) {
    return line.kind == Kind::Blank || line.kind == Kind::Comment;
}

/// The text as it stands in the file.
/// @throws ResultException with result::UnmappableCharacter
std::string encoded(std::u16string_view text, bool isUtf8) {
    const String whole(text);
    if (!isUtf8)
        return narrowed(whole);
    if (!whole.isWellFormed())
        throwResult(result::UnmappableCharacter);
    return whole.toUtf8();
}

class Editor {
public:
    explicit Editor(const IniLines& lines) : m_file(lines), m_lines(lines.lines()) {
        for (const IniLine& line : m_lines)
            if (line.bytes.find('\0') != line.bytes.npos)
                refuse(line, "a byte 0, so that this is no text");
    }

    IniEdit put(std::u16string_view set, std::u16string_view key, std::u16string_view value);
    IniEdit remove(std::u16string_view set, std::u16string_view key);
    IniEdit removeSets(std::u16string_view set);

private:
    /// Lines from the first to in front of the second.
    using Range = std::pair<size_t, size_t>;

    [[noreturn]] void refuse(const IniLine& line, const std::string& reason) const {
        throw Refused{"line " + std::to_string(&line - m_lines.data() + 1) + ": " + reason};
    }
    std::optional<size_t> findKey(const FoldedText& set, const FoldedText& key) const;
    std::optional<size_t> findSet(const FoldedText& set) const;
    /// The first line from there on that is neither blank nor a comment.
    size_t nextContent(size_t line) const {
        while (line < m_lines.size() && isBlankOrComment(m_lines[line]))
            ++line;
        return line;
    }
    bool isIndented(size_t line) const {
        return line < m_lines.size() && m_lines[line].kind == Kind::Indented;
    }
    void requireCertain(size_t line) const;
    void requireNot(const FoldedText& key, const IniLine& line) const;
    Range linesOf(size_t key) const;
    Range linesOfSet(size_t header) const;
    size_t placeIn(size_t header) const;
    std::string replaced(Range range, std::u16string_view value) const;
    std::string withKey(size_t place, std::u16string_view key, std::u16string_view value) const;
    std::string withSet(std::u16string_view set, std::u16string_view key,
                        std::u16string_view value) const;
    std::string newKey(size_t place, bool isUtf8, std::u16string_view key,
                       std::u16string_view value) const;
    void requireEnd(size_t next, std::u16string_view value) const;
    std::string without(const std::vector<Range>& ranges) const;
    std::string_view lineEnd() const;
    std::string joined(size_t first, size_t end) const;
    size_t keysBefore(size_t line) const;
    IniEdit checked(std::string bytes, const Entries& expected) const;

    const IniLines& m_file;
    const std::vector<IniLine>& m_lines;
};

/// Refuses a set or key that somebody else may read as the rest of a value.
void Editor::requireCertain(size_t line) const {
    if (line < m_lines.size() && m_lines[line].isDoubtful)
        refuse(m_lines[line], "the \"\\\" at the end of the line before may take it along");
}

/// Refuses a line that somebody else may read as that key.
void Editor::requireNot(const FoldedText& key, const IniLine& line) const {
    if (line.kind != Kind::Indented && line.kind != Kind::NoKey)
        return;
    std::u16string text;
    for (const char byte : line.bytes)
        text += static_cast<char16_t>(static_cast<unsigned char>(byte));
    const auto name = trimIni(std::u16string_view(text));
    if (isSameName(key, name.substr(0, name.find_first_of(u" \t=:"))))
        refuse(line, "it may be the key too, but has not its form");
}

/// The line of the key; nothing when there is none.
std::optional<size_t> Editor::findKey(const FoldedText& set, const FoldedText& key) const {
    std::optional<size_t> found;
    for (const IniLine& line : m_lines) {
        if (line.header == IniLine::NoSet || !isSameName(set, m_lines[line.header].name))
            continue;
        requireNot(key, line);
        if (line.kind != Kind::Key || !isSameName(key, line.name))
            continue;
        if (found)
            refuse(line, "the key stands in line " + std::to_string(*found + 1) + " already");
        found = &line - m_lines.data();
    }
    return found;
}

/// The last line that begins the set.
std::optional<size_t> Editor::findSet(const FoldedText& set) const {
    for (size_t i = m_lines.size(); i-- > 0;)
        if (m_lines[i].kind == Kind::Header && isSameName(set, m_lines[i].name))
            return i;
    return std::nullopt;
}

/// The lines of a key and its continuations.
Editor::Range Editor::linesOf(size_t key) const {
    requireCertain(m_lines[key].header);
    requireCertain(key);
    size_t end = key + 1;
    for (size_t i = end; i < m_lines.size() && m_lines[i - 1].goesOn; ++i)
        if (m_lines[i].kind == Kind::Continuation)
            end = i + 1;
        else
            requireCertain(i);
    for (size_t i = key; i < end; ++i)
        if (m_lines[i].kind == Kind::Comment)
            refuse(m_lines[i], "a comment between the lines of the value");
    const size_t next = nextContent(end);
    if (isIndented(next))
        refuse(m_lines[next], "it is indented, and may belong to the value before it");
    return {key, end};
}

/// A set and its keys, with the comments between them, and those right behind them when a blank
/// line follows.
Editor::Range Editor::linesOfSet(size_t header) const {
    requireCertain(header);
    size_t next = header + 1;
    while (next < m_lines.size() && m_lines[next].header == header)
        ++next;
    requireCertain(next);
    size_t end = next;
    while (isBlankOrComment(m_lines[end - 1]))
        --end;
    size_t comments = end;
    while (comments < next && m_lines[comments].kind == Kind::Comment)
        ++comments;
    if (comments == m_lines.size() || (comments < next && m_lines[comments].kind == Kind::Blank))
        end = comments;
    while (end < next && m_lines[end].kind == Kind::Blank)
        ++end;
    return {header, end};
}

/// Where a key can be added to a set without becoming part of another value or taking one along.
size_t Editor::placeIn(size_t header) const {
    requireCertain(header);
    size_t place = header + 1;
    while (place < m_lines.size() && m_lines[place].header == header)
        ++place;
    for (; place > header; --place) {
        const IniLine& before = m_lines[place - 1];
        if (!isBlankOrComment(before) && !before.goesOn && !isIndented(nextContent(place)))
            return place;
    }
    refuse(m_lines[header], "a key behind it would become part of another value");
}

std::string_view Editor::lineEnd() const {
    return !m_lines.empty() && m_lines.front().bytes.ends_with("\r\n") ? "\r\n" : "\n";
}

std::string Editor::joined(size_t first, size_t end) const {
    std::string bytes;
    for (size_t i = first; i < end; ++i)
        bytes += m_lines[i].bytes;
    return bytes;
}

/// A value that ends in "\" takes the next line along, unless that is empty.
void Editor::requireEnd(size_t next, std::u16string_view value) const {
    if (endsInSingleBackslash(value) && next < m_lines.size() && m_lines[next].kind != Kind::Blank)
        refuse(m_lines[next], "the \"\\\" at the end of the value before would take it along");
}

/// The file with another value in the place of that of a key.
std::string Editor::replaced(Range range, std::u16string_view value) const {
    requireEnd(range.second, value);
    const IniLine& line = m_lines[range.first];
    const size_t start = line.bytes.find_first_not_of(" \t", line.bytes.find('=') + 1);
    std::string bytes = joined(0, range.first);
    bytes += line.bytes.substr(0, start);
    bytes += encoded(value, line.isUtf8);
    const auto last = m_lines[range.second - 1].bytes;
    bytes += last.ends_with("\r\n") ? "\r\n" : hasLineEnd(m_lines[range.second - 1]) ? "\n" : "";
    return bytes + joined(range.second, m_lines.size());
}

/// A line for a key, with blanks around the "=" as the key before it has them.
std::string Editor::newKey(size_t place, bool isUtf8, std::u16string_view key,
                           std::u16string_view value) const {
    const auto isBlank = [](std::string_view bytes, size_t at) {
        return at < bytes.size() && (bytes[at] == ' ' || bytes[at] == '\t');
    };
    std::string line = encoded(key, isUtf8);
    size_t model = place;
    while (model > 0 && m_lines[model - 1].kind != Kind::Key)
        --model;
    const auto bytes = model > 0 ? m_lines[model - 1].bytes : "=";
    const size_t equals = bytes.find('=');
    line += isBlank(bytes, equals - 1) ? " =" : "=";
    line += isBlank(bytes, equals + 1) && !value.empty() ? " " : "";
    line += encoded(value, isUtf8);
    return line += lineEnd();
}

std::string Editor::withKey(size_t place, std::u16string_view key,
                            std::u16string_view value) const {
    requireEnd(place, value);
    std::string bytes = joined(0, place);
    if (!hasLineEnd(m_lines[place - 1]))
        bytes += lineEnd();
    return bytes + newKey(place, m_lines[place - 1].isUtf8, key, value) +
           joined(place, m_lines.size());
}

std::string Editor::withSet(std::u16string_view set, std::u16string_view key,
                            std::u16string_view value) const {
    const bool isUtf8 = !m_lines.empty() && m_lines.back().isUtf8;
    std::string bytes = m_file.bytes();
    if (!m_lines.empty() && !hasLineEnd(m_lines.back()))
        bytes += lineEnd();
    if (!m_lines.empty() && m_lines.back().kind != Kind::Blank)
        bytes += lineEnd();
    bytes += '[';
    bytes += encoded(set, isUtf8);
    bytes += ']';
    bytes += lineEnd();
    return bytes + newKey(m_lines.size(), isUtf8, key, value);
}

/// The file without some lines. A byte order mark stays: it is about what follows, too.
std::string Editor::without(const std::vector<Range>& ranges) const {
    std::string bytes;
    size_t kept = 0;
    for (const auto& [first, end] : ranges) {
        bytes += joined(kept, first);
        if (m_lines[end - 1].isUtf8 && (first == 0 || !m_lines[first - 1].isUtf8))
            bytes += Utf8ByteOrderMark;
        kept = end;
    }
    return bytes + joined(kept, m_lines.size());
}

/// How many entries stand in front of a line.
size_t Editor::keysBefore(size_t line) const {
    return static_cast<size_t>(std::count_if(
        m_lines.begin(), m_lines.begin() + static_cast<ptrdiff_t>(line), [](const IniLine& each) {
            return each.kind == Kind::Key && each.header != IniLine::NoSet;
        }));
}

/// The edit, if the file will say what is expected of it.
IniEdit Editor::checked(std::string bytes, const Entries& expected) const {
    if (entriesOf(IniLines(bytes)) != expected)
        throw Refused{"the file would be read as something else"};
    return {result::Ok, std::move(bytes), {}};
}

IniEdit Editor::put(std::u16string_view set, std::u16string_view key, std::u16string_view value) {
    key = trimIni(key);
    value = trimIni(value);
    const FoldedText foldedSet(set);
    Entries entries = entriesOf(m_file);
    if (const auto line = findKey(foldedSet, FoldedText(key))) {
        std::get<2>(entries[keysBefore(*line)]) = value;
        return checked(replaced(linesOf(*line), value), entries);
    }
    if (const auto header = findSet(foldedSet)) {
        const size_t place = placeIn(*header);
        entries.emplace(entries.begin() + static_cast<ptrdiff_t>(keysBefore(place)),
                        m_lines[*header].name, key, value);
        return checked(withKey(place, key, value), entries);
    }
    entries.emplace_back(set, key, value);
    return checked(withSet(set, key, value), entries);
}

IniEdit Editor::remove(std::u16string_view set, std::u16string_view key) {
    const auto line = findKey(FoldedText(set), FoldedText(key));
    if (!line)
        return {result::NotFound, {}, {}};
    Entries entries = entriesOf(m_file);
    entries.erase(entries.begin() + static_cast<ptrdiff_t>(keysBefore(*line)));
    return checked(without({linesOf(*line)}), entries);
}

IniEdit Editor::removeSets(std::u16string_view set) {
    const FoldedText folded(set);
    const auto isRemoved = [&](std::u16string_view name) {
        return isSameName(folded, name) || isWithin(name, set);
    };
    std::vector<Range> ranges;
    for (size_t i = 0; i < m_lines.size(); ++i)
        if (m_lines[i].kind == Kind::Header && isRemoved(m_lines[i].name))
            ranges.push_back(linesOfSet(i));
    Entries entries = entriesOf(m_file);
    std::erase_if(entries, [&](const auto& entry) { return isRemoved(std::get<0>(entry)); });
    return checked(without(ranges), entries);
}

/// The edit that @p make makes with an editor of the lines, or the refusal that it throws.
template <class Make>
IniEdit edited(const IniLines& lines, Make make) {
    try {
        Editor editor(lines);
        return make(editor);
    } catch (const Refused& refused) {
        return {result::Fail, {}, refused.reason};
    }
}

} // namespace

IniEdit putKey(const IniLines& lines, std::u16string_view set, std::u16string_view key,
               std::u16string_view value) {
    return edited(lines, [&](Editor& editor) { return editor.put(set, key, value); });
}

IniEdit removeKey(const IniLines& lines, std::u16string_view set, std::u16string_view key) {
    return edited(lines, [&](Editor& editor) { return editor.remove(set, key); });
}

IniEdit removeSet(const IniLines& lines, std::u16string_view set) {
    return edited(lines, [&](Editor& editor) { return editor.removeSets(set); });
}

} // namespace qx::util::detail
