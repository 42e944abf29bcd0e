#include "qx/util/config/CommandLineParser.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/platform/text.h>
#include <qx/util/SystemName.h>
#include <qx/util/config/detail/CommandLineTokens.h>

namespace qx::util {

using Element = CommandLineParser::Element;
using OptionDefinition = CommandLineParser::OptionDefinition;

namespace {

/// A value with the option that it is of; a parameter has no name.
String shown(const Element& element, std::u16string_view value) {
    const String name = element.getName();
    return name.isEmpty() ? String(value) : name + u": " + String(value);
}

[[noreturn]] void throwInvalidIndex(int32_t index, int64_t size) {
    throw withDetail(Exception(u"Invalid vector index"_qs),
                     u"index " + String::valueOf(index) + u", size " + String::valueOf(size));
}

template <class T>
const T& checkedAt(const std::vector<T>& items, int32_t index) {
    if (index < 0 || index >= std::ssize(items))
        throwInvalidIndex(index, std::ssize(items));
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
    const int32_t count = other.m_valueCount; // it may be this one, which grows
    for (int32_t i = 0; i < count; ++i)
        addValue(other.valueAt(i));
}

std::u16string_view Element::valueAt(int32_t index) const {
    if (index < 0 || index >= m_valueCount)
        throwInvalidIndex(index, m_valueCount);
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
        throw withDetail(Exception(u"Unable to convert string to long"_qs), shown(*this, text));
    return static_cast<int32_t>(std::clamp<int64_t>(value, Limits::min(), Limits::max()));
}

double Element::getValueDouble(int32_t index) const {
    const std::u16string text(valueAt(index));
    char16_t* end = nullptr;
    const double value = QXStrToDW(text.c_str(), &end);
    if (end == text.c_str())
        throw withDetail(Exception(u"Unable to convert string to double"_qs), shown(*this, text));
    return value;
}

OptionDefinition::OptionDefinition(const String& name, int32_t valueCount, const char16_t* defaults,
                                   const char16_t* description)
    : Element(name, -1), m_definedValueCount(valueCount), m_hasDefaults(defaults != nullptr),
      m_description(description) {
    splitValues(TextView(defaults), u", ", [this](std::u16string_view piece) { addValue(piece); });
}

Element& CommandLineParser::Line::add(std::u16string_view name) {
    const auto position = static_cast<int32_t>(elements.size());
    elements.push_back(Reference<Element>(new Element(name, position)));
    return *elements.back();
}

void CommandLineParser::Line::addParameter(std::u16string_view text) {
    Element& parameter = add({});
    parameter.addValue(text);
    parameters.push_back(parameter.getPosition());
}

bool CommandLineParser::Line::isOption(const Element& element) const {
    return !std::ranges::binary_search(parameters, element.getPosition());
}

CommandLineParser::CommandLineParser() = default;
CommandLineParser::CommandLineParser(const CommandLineParser& other) = default;
CommandLineParser& CommandLineParser::operator=(const CommandLineParser& other) = default;
CommandLineParser::~CommandLineParser() = default;

void CommandLineParser::defineOption(const String& name, int32_t valueCount,
                                     const char16_t* defaults, const char16_t* description) {
    const Reference<OptionDefinition> definition(
        new OptionDefinition(name, valueCount, defaults, description));
    m_definitions.push_back(definition);
    const auto earlier = [&](const Reference<OptionDefinition>& each) {
        return each->name() == definition->name() && each != definition;
    };
    std::erase_if(m_definitions, earlier);
}

void CommandLineParser::setIgnoreCase(bool ignoreCase) { m_ignoreCase = ignoreCase; }

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
        const OptionDefinition* const definition = findDefinition(wrapped(option.name()));
        if (const size_t equals = token.text.find(u'='); equals < token.text.size()) {
            const auto values = token.text.substr(equals + 1);
            if (Tokens::AreExact && definition && definition->getDefinedValueCount() == 1)
                addValue(values);
            else
                splitValues(values, u",", addValue);
            hasToken = tokens.next(token);
        } else if (definition && tokens.takesDefaults()) {
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
    m_line = std::move(line);
}

void CommandLineParser::reset() noexcept { m_line = {}; }

int32_t CommandLineParser::getElementCount() const {
    return static_cast<int32_t>(m_line.elements.size());
}

Reference<const Element> CommandLineParser::getElement(int32_t index) const {
    return elementAt(index);
}

int32_t CommandLineParser::getParameterCount() const {
    return static_cast<int32_t>(m_line.parameters.size());
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
    return checkedAt(m_line.elements, index);
}

const Reference<Element>& CommandLineParser::parameterAt(int32_t index) const {
    return elementAt(checkedAt(m_line.parameters, index));
}

const Reference<Element>* CommandLineParser::findOption(const String& name) const {
    const auto& elements = m_line.elements;
    const auto found = std::find_if(elements.rbegin(), elements.rend(), [&](const auto& element) {
        return name.equals(element->name(), m_ignoreCase) && m_line.isOption(*element);
    });
    return found == elements.rend() ? nullptr : &*found;
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

/// The latest definition of the name.
OptionDefinition* CommandLineParser::findDefinition(const String& name) const {
    const auto found =
        std::find_if(m_definitions.rbegin(), m_definitions.rend(),
                     [&](const auto& each) { return name.equals(each->name(), m_ignoreCase); });
    return found == m_definitions.rend() ? nullptr : found->get();
}

} // namespace qx::util
