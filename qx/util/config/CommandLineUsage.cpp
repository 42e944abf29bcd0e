#include "qx/util/config/CommandLineParser.h"

#include <algorithm>
#include <vector>

namespace qx::util {

namespace {

/// The name as a user types it.
String spelled(const String& name) { return (name.getLength() > 1 ? u"--" : u"-") + name; }

/// The option with a word for each value that it takes.
String synopsis(const CommandLineParser::OptionDefinition& definition) {
    String text = spelled(definition.getName());
    const int32_t count = definition.getDefinedValueCount();
    if (count > 3)
        return text + u" VALUE ... (" + String::valueOf(count) + u')';
    for (int32_t i = 0; i < count; ++i)
        text += u" VALUE";
    return text;
}

/// Description and defaults.
String explanation(const CommandLineParser::OptionDefinition& definition) {
    String text = definition.getDescription();
    for (int32_t i = 0; i < definition.getValueCount(); ++i) {
        if (i == 0)
            text += text.isEmpty() ? u"(default: " : u" (default: ";
        else
            text += u", ";
        text += definition.getValueString(i);
    }
    return definition.getValueCount() == 0 ? text : text + u')';
}

} // namespace

String CommandLineParser::usage() const {
    constexpr int32_t WidestColumn = 28;
    constexpr int32_t Margin = 2;
    auto definitions = m_definitions;
    std::ranges::sort(definitions, {}, [](const auto& each) { return each->name(); });
    std::vector<String> lines;
    int32_t column = 0;
    for (const auto& definition : definitions) {
        const String& line = lines.emplace_back(String(u' ', Margin) + synopsis(*definition));
        if (line.getLength() <= WidestColumn)
            column = std::max(column, line.getLength() + Margin);
    }
    String text;
    auto line = lines.begin();
    for (const auto& definition : definitions) {
        if (const String explained = explanation(*definition); !explained.isEmpty()) {
            if (line->getLength() + Margin > column) { // too wide: the text goes below
                text += *line + u'\n';
                line->clear();
            }
            line->resize(column, u' ');
            *line += explained;
        }
        text += *line++ + u'\n';
    }
    return text;
}

String CommandLineParser::findMistake() const {
    for (const auto& option : m_line.elements) {
        if (!m_line.isOption(*option))
            continue;
        const OptionDefinition* const definition = findDefinition(option->getName());
        if (!definition)
            return u"Unknown option " + spelled(option->getName());
        const int32_t wanted = std::max(definition->getDefinedValueCount(), 0);
        if (wanted == 0 && option->getValueCount() > 0 && !definition->hasDefaults())
            return String::format(u"Option {0} takes no value", spelled(option->getName()));
        if (option->getValueCount() < wanted)
            return String::format(u"Option {0} takes {1} {3}, not {2}", spelled(option->getName()),
                                  String::valueOf(wanted), String::valueOf(option->getValueCount()),
                                  wanted == 1 ? u"value" : u"values");
    }
    return String();
}

} // namespace qx::util
