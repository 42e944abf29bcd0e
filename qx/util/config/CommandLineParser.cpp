#include "qx/util/config/CommandLineParser.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/detail/SampledHash.h>
#include <qx/platform/text.h>
#include <qx/util/SystemName.h>
#include <qx/util/config/detail/CommandLineTokens.h>

namespace qx::util {

using Element = CommandLineParser::Element;
using OptionDefinition = CommandLineParser::OptionDefinition;

namespace {

template <class T>
const T& checkedAt(const std::vector<T>& items, int32_t index) {
    if (index < 0 || index >= std::ssize(items))
        throw Exception(u"Invalid vector index"_qs);
    return items[static_cast<size_t>(index)];
}

/// Units that somebody else keeps, as a String.
String wrapped(std::u16string_view text) {
    return String(text.data(), String::AM_WRAP, static_cast<int32_t>(text.size()));
}

/// The name in an option's token: what stands before "=", without leading switch characters.
std::u16string_view nameIn(std::u16string_view token) {
    const std::u16string_view name = token.substr(0, token.find(u'='));
    const size_t begin = name.find_first_not_of(CommandLineParser::m_switchChars);
    return begin == std::u16string_view::npos ? std::u16string_view() : name.substr(begin);
}

} // namespace

Element::Element(TextView name, int32_t position)
    : m_text(name), m_nameLength(name.size()), m_position(position) {}

void Element::addValue(TextView value) {
    if (m_valueCount > 0)
        m_ends.push_back(m_text.size());
    m_text += value;
    ++m_valueCount;
}

void Element::copyValues(const Element& other) {
    for (int32_t i = 0; i < other.m_valueCount; ++i)
        addValue(other.valueAt(i));
}

std::u16string_view Element::valueAt(int32_t index) const {
    if (index < 0 || index >= m_valueCount)
        throw Exception(u"Invalid vector index"_qs);
    const auto at = static_cast<size_t>(index);
    const size_t begin = at == 0 ? m_nameLength : m_ends[at - 1];
    const size_t end = at < m_ends.size() ? m_ends[at] : m_text.size();
    return std::u16string_view(m_text).substr(begin, end - begin);
}

String Element::getValueString(int32_t index) const { return String(valueAt(index)); }

int32_t Element::getValueLong(int32_t index) const {
    using Limits = std::numeric_limits<int32_t>;
    const std::u16string text(valueAt(index)); // with a 0 unit behind
    char16_t* end = nullptr;
    const int64_t value = QXStrToLW(text.c_str(), &end, 0);
    if (end == text.c_str())
        throw Exception(u"Unable to convert string to long"_qs);
    return static_cast<int32_t>(std::clamp<int64_t>(value, Limits::min(), Limits::max()));
}

double Element::getValueDouble(int32_t index) const {
    const std::u16string text(valueAt(index));
    char16_t* end = nullptr;
    const double value = QXStrToDW(text.c_str(), &end);
    if (end == text.c_str())
        throw Exception(u"Unable to convert string to double"_qs);
    return value;
}

OptionDefinition::OptionDefinition(const String& name, int32_t valueCount, const char16_t* defaults,
                                   const char16_t* description)
    : Element(name, -1), m_definedValueCount(valueCount), m_hasDefaults(defaults != nullptr),
      m_description(description) {
    splitValues(TextView(defaults), u", ", [this](std::u16string_view piece) { addValue(piece); });
}

/// What a parse finds, until it has succeeded.
struct CommandLineParser::Line {
    Elements elements;
    std::vector<int32_t> parameters;

    Element& add(std::u16string_view name) {
        const auto position = static_cast<int32_t>(elements.size());
        elements.push_back(Reference<Element>(new Element(name, position)));
        return *elements.back();
    }
    void addParameter(std::u16string_view text) {
        Element& parameter = add({});
        parameter.addValue(text);
        parameters.push_back(parameter.getPosition());
    }
};

/// Where the last option of each name stands. A sorted array: no choice of names makes it slow,
/// n of them take n log n steps.
class CommandLineParser::PositionIndex {
public:
    PositionIndex(const Elements& elements, bool ignoreCase)
        : m_elements(elements), m_ignoreCase(ignoreCase) {}

    Positions make(const std::vector<int32_t>& parameters) const;
    /// The option, or null.
    const Reference<Element>* find(const Positions& positions, std::u16string_view name) const;

private:
    using Iterator = Positions::iterator;

    std::u16string_view nameOf(NamedPosition entry) const {
        return m_elements[static_cast<size_t>(entry.position)]->name();
    }
    uint32_t hashOf(std::u16string_view name) const {
        return m_ignoreCase ? qx::detail::sampledHash(name, QXToLowerW)
                            : qx::detail::sampledHash(name);
    }
    bool precedes(std::u16string_view left, std::u16string_view right) const {
        return left != right && wrapped(left).compare(right, m_ignoreCase) < 0;
    }
    bool isSame(std::u16string_view left, std::u16string_view right) const {
        return left == right || (m_ignoreCase && wrapped(left).equals(right, true));
    }
    Iterator keepLastOfEach(Iterator begin, Iterator end) const;

    const Elements& m_elements;
    const bool m_ignoreCase;
};

CommandLineParser::Positions
CommandLineParser::PositionIndex::make(const std::vector<int32_t>& parameters) const {
    Positions entries;
    entries.reserve(m_elements.size() - parameters.size());
    auto parameter = parameters.begin();
    for (const auto& element : m_elements) {
        if (parameter != parameters.end() && *parameter == element->m_position)
            ++parameter;
        else
            entries.push_back({hashOf(element->name()), element->m_position});
    }
    std::sort(entries.begin(), entries.end(), [](NamedPosition left, NamedPosition right) {
        return std::pair(left.hash, left.position) < std::pair(right.hash, right.position);
    });
    auto kept = entries.begin();
    for (auto begin = entries.begin(); begin != entries.end();) {
        const auto end = std::find_if(begin, entries.end(),
                                      [begin](NamedPosition e) { return e.hash != begin->hash; });
        kept = std::copy(begin, keepLastOfEach(begin, end), kept);
        begin = end;
    }
    entries.erase(kept, entries.end());
    return entries;
}

/// Puts entries of one hash in the order of their names, one for each. They come in the order of
/// their positions.
CommandLineParser::PositionIndex::Iterator
CommandLineParser::PositionIndex::keepLastOfEach(Iterator begin, Iterator end) const {
    const auto isFirst = [this, first = nameOf(*begin)](NamedPosition entry) {
        return isSame(nameOf(entry), first);
    };
    if (std::all_of(begin + 1, end, isFirst)) { // nearly always: hashes seldom collide
        *begin = *(end - 1);
        return begin + 1;
    }
    std::stable_sort(begin, end, [this](NamedPosition left, NamedPosition right) {
        return precedes(nameOf(left), nameOf(right));
    });
    Iterator kept = begin;
    for (Iterator entry = begin + 1; entry != end; ++entry) {
        if (precedes(nameOf(*kept), nameOf(*entry)))
            ++kept;
        *kept = *entry;
    }
    return kept + 1;
}

const Reference<Element>* CommandLineParser::PositionIndex::find(const Positions& positions,
                                                                 std::u16string_view name) const {
    const uint32_t hash = hashOf(name);
    const auto found = std::lower_bound(positions.begin(), positions.end(), name,
                                        [&](NamedPosition entry, std::u16string_view sought) {
                                            return entry.hash != hash
                                                       ? entry.hash < hash
                                                       : precedes(nameOf(entry), sought);
                                        });
    if (found == positions.end() || found->hash != hash || precedes(name, nameOf(*found)))
        return nullptr;
    return &m_elements[static_cast<size_t>(found->position)];
}

CommandLineParser::CommandLineParser() = default;
CommandLineParser::CommandLineParser(const CommandLineParser& other) = default;
CommandLineParser& CommandLineParser::operator=(const CommandLineParser& other) = default;
CommandLineParser::~CommandLineParser() = default;

void CommandLineParser::defineOption(const String& name, int32_t valueCount,
                                     const char16_t* defaults, const char16_t* description) {
    const Reference<OptionDefinition> definition(
        new OptionDefinition(name, valueCount, defaults, description));
    // What can run out of memory comes first, so that the maps never disagree: without a definition
    // a name counts as undefined.
    const String ownName(definition->name()); // the text given may lie in memory that changes
    auto& folded = m_foldedDefinitions[ownName];
    m_definitions.insert_or_assign(ownName, definition);
    folded = definition;
}

void CommandLineParser::setIgnoreCase(bool ignoreCase) {
    if (ignoreCase == m_ignoreCase)
        return;
    m_positions = PositionIndex(m_elements, ignoreCase).make(m_parameters);
    m_ignoreCase = ignoreCase;
}

void CommandLineParser::parse(const String& commandLine) {
    const String line(commandLine); // keeps the text while it is read
    parseTokens(LineTokens(line.view(), m_switchChars));
}

void CommandLineParser::parse(int argc, const char* const* argv) {
    String line;
    for (int i = 0; i < argc; ++i) {
        const String argument = fromSystemName(argv[i]);
        const bool isQuoted = argument.contains(u' ');
        if (isQuoted)
            line += u'"';
        line += argument;
        line += isQuoted ? u"\" " : u" ";
    }
    parse(line);
}

void CommandLineParser::parseArguments(int argc, const char* const* argv) {
    parseTokens(ArgumentTokens(argc, argv));
}

template <class Tokens>
void CommandLineParser::parseTokens(Tokens tokens) {
    Line line;
    CommandLineToken token;
    for (bool hasToken = tokens.next(token); hasToken;) {
        if (!token.isOption) {
            line.addParameter(token.text);
            hasToken = tokens.next(token);
            continue;
        }
        Element& option = line.add(nameIn(token.text));
        const auto addValue = [&option](std::u16string_view text) { option.addValue(text); };
        const OptionDefinition* const definition = findDefinition(option.name());
        if (const size_t equals = token.text.find(u'='); equals < token.text.size()) {
            splitValues(token.text.substr(equals + 1), u",", addValue);
            hasToken = tokens.next(token);
        } else if (definition && tokens.switchFollows()) {
            option.copyValues(*definition);
            hasToken = tokens.next(token);
        } else {
            const int32_t wanted = definition ? definition->getDefinedValueCount() : 0;
            hasToken = tokens.next(token);
            while (hasToken && !token.endsValues && option.getValueCount() < wanted) {
                addValue(token.text);
                hasToken = tokens.next(token);
            }
        }
    }
    Positions positions = PositionIndex(line.elements, m_ignoreCase).make(line.parameters);
    m_elements = std::move(line.elements);
    m_positions = std::move(positions);
    m_parameters = std::move(line.parameters);
}

void CommandLineParser::reset() noexcept {
    m_elements.clear();
    m_positions.clear();
    m_parameters.clear();
}

int32_t CommandLineParser::getElementCount() const {
    return static_cast<int32_t>(m_elements.size());
}

Reference<const Element> CommandLineParser::getElement(int32_t index) const {
    return elementAt(index);
}

int32_t CommandLineParser::getParameterCount() const {
    return static_cast<int32_t>(m_parameters.size());
}

Reference<const Element> CommandLineParser::getParameter(int32_t index) const {
    return parameterAt(index);
}

bool CommandLineParser::isPresent(const String& name) const { return findOption(name) != nullptr; }

Reference<const Element> CommandLineParser::getOption(const String& name) const {
    return optionNamed(name);
}

String CommandLineParser::getValueString(const String& name, int32_t index) const {
    return requireOption(name)->getValueString(index);
}

int32_t CommandLineParser::getValueLong(const String& name, int32_t index) const {
    return requireOption(name)->getValueLong(index);
}

double CommandLineParser::getValueDouble(const String& name, int32_t index) const {
    return requireOption(name)->getValueDouble(index);
}

Reference<const OptionDefinition> CommandLineParser::getDefinition(const String& name) const {
    return findDefinition(name);
}

const Reference<Element>& CommandLineParser::elementAt(int32_t index) const {
    return checkedAt(m_elements, index);
}

const Reference<Element>& CommandLineParser::parameterAt(int32_t index) const {
    return elementAt(checkedAt(m_parameters, index));
}

const Reference<Element>* CommandLineParser::findOption(const String& name) const {
    return PositionIndex(m_elements, m_ignoreCase).find(m_positions, name.view());
}

Reference<Element> CommandLineParser::optionNamed(const String& name) const {
    if (const Reference<Element>* const option = findOption(name))
        return *option;
    OptionDefinition* const definition = findDefinition(name);
    return definition && definition->hasDefaults() ? definition : nullptr;
}

Reference<Element> CommandLineParser::requireOption(const String& name) const {
    Reference<Element> option = optionNamed(name);
    if (!option)
        throw Exception(u"Option not present: " + name);
    return option;
}

OptionDefinition* CommandLineParser::findDefinition(TextView name) const {
    const Definitions& definitions = m_ignoreCase ? m_foldedDefinitions : m_definitions;
    const auto found = definitions.find(wrapped(name));
    return found == definitions.end() ? nullptr : found->second.get();
}

} // namespace qx::util
