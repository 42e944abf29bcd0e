#include "qx/log/StringBundleLogger.h"

#include <optional>
#include <string_view>
#include <vector>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/i18n/StringBundle.h>

namespace qx::log {

namespace {

struct Placeholder {
    size_t start;
    size_t length;
    size_t index;
};

/// The placeholder that @p text has at @p start, where a brace opens: an index in decimal digits,
/// without further zeros in front of it, in braces.
std::optional<Placeholder> placeholderAt(std::u16string_view text, size_t start) {
    size_t at = start + 1;
    size_t index = 0;
    // An index above the number of units cannot be reached without a gap before it.
    for (; at < text.size() && text[at] >= u'0' && text[at] <= u'9' && index <= text.size(); ++at)
        index = index * 10 + (text[at] - u'0');
    const size_t digits = at - start - 1;
    const bool isCanonical = digits == 1 || (digits > 1 && text[start + 1] != u'0');
    if (!isCanonical || at == text.size() || text[at] != u'}')
        return std::nullopt;
    return Placeholder{start, at + 1 - start, index};
}

/// In the order of their places; linear in the text.
std::vector<Placeholder> placeholdersIn(std::u16string_view text) {
    std::vector<Placeholder> found;
    for (size_t at = text.find(u'{'); at != text.npos; at = text.find(u'{', at + 1)) {
        if (const auto placeholder = placeholderAt(text, at))
            found.push_back(*placeholder);
    }
    return found;
}

/// The first index that none of them has.
size_t firstMissing(const std::vector<Placeholder>& placeholders) {
    std::vector<bool> occurs(placeholders.size() + 1);
    for (const auto& placeholder : placeholders) {
        if (placeholder.index < occurs.size())
            occurs[placeholder.index] = true;
    }
    size_t index = 0;
    while (occurs[index]) // never all: there is one more than placeholders
        ++index;
    return index;
}

/// @p message with the texts of the arguments, or as it is when there are too few.
String substituted(const String& message, const collections::List<Object>& arguments) {
    const std::u16string_view text = message.view();
    const auto placeholders = placeholdersIn(text);
    const size_t indexes = firstMissing(placeholders);
    if (indexes == 0 || indexes > static_cast<size_t>(arguments.getSize()))
        return message;
    String result;
    size_t copied = 0;
    for (const auto& placeholder : placeholders) {
        if (placeholder.index >= indexes)
            continue;
        result.append(text.substr(copied, placeholder.start - copied));
        const auto argument = arguments.get(static_cast<int>(placeholder.index));
        if (argument)
            result.append(argument->toString());
        copied = placeholder.start + placeholder.length;
    }
    return result.append(text.substr(copied));
}

} // namespace

StringBundleLogger::StringBundleLogger(i18n::StringBundle* bundle, ILevelLogger* target)
    : m_target(target), m_bundle(bundle) {
    if (!bundle || !target)
        throwResult(result::NullPointer, u"no bundle or no target");
}

StringBundleLogger::~StringBundleLogger() = default;

void StringBundleLogger::log(int level, const String& key,
                             const collections::List<Object>& arguments) {
    String message(key);
    try {
        message = m_bundle->getString(key);
        message = substituted(message, arguments);
    } catch (...) {
        // The message is as it was before what failed.
    }
    m_target->log(level, message);
}

void StringBundleLogger::log(int level, const String& key) {
    String message(key);
    try {
        message = m_bundle->getString(key);
    } catch (...) {
        // The key will do.
    }
    m_target->log(level, message);
}

} // namespace qx::log
