#include "Protocol.h"

#include <algorithm>
#include <optional>

namespace collector {

namespace {

constexpr size_t LongestSource = 64;

/// Cuts off what stands before the first blank.
std::string_view takeWord(std::string_view& line) {
    const std::string_view word = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(word.size() + 1, line.size()));
    return word;
}

std::optional<Level> levelNamed(std::string_view name) {
    constexpr std::string_view Names[] = {"DEBUG", "INFO", "WARNING", "ERROR"};
    const auto found = std::ranges::find(Names, name);
    if (found == std::end(Names))
        return std::nullopt;
    return static_cast<Level>(found - Names + static_cast<int>(Level::Debug));
}

/// Such a character could fake or hide what stands in a log that somebody looks at.
bool hasControlCharacter(std::string_view text) {
    return std::ranges::any_of(
        text, [](unsigned char c) { return (c < ' ' && c != '\t') || c == '\x7F'; });
}

/// Nothing when it is no UTF-8: what is malformed comes back as something else.
std::optional<qx::String> decode(std::string_view bytes) {
    auto text = qx::String::fromUtf8(bytes);
    if (text.toUtf8() != bytes)
        return std::nullopt;
    return text;
}

} // namespace

Request parse(std::string_view line) {
    if (line == "STATS")
        return Command::Statistics;
    if (line == "QUIT")
        return Command::Quit;
    if (hasControlCharacter(line))
        return Mistake{"control character"};
    const auto level = levelNamed(takeWord(line));
    const std::string_view source = takeWord(line);
    if (!level || source.empty() || line.empty())
        return Mistake{"expected LEVEL SOURCE MESSAGE"};
    if (source.size() > LongestSource)
        return Mistake{"source of more than " + std::to_string(LongestSource) + " bytes"};
    if (source == AllSources || source == OtherSources)
        return Mistake{"source with a name of the statistics"};
    const auto name = decode(source);
    const auto text = decode(line);
    if (!name || !text)
        return Mistake{"not UTF-8"};
    return Message{*level, *name, *text, line.size()};
}

} // namespace collector
